#include "sqlpiXmlPlatform.h"

#include <atomic>
#include <cstddef>
#include <mutex>
#include <new>
#include <string_view>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PanicHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace {

/* Touches what a parse builds on first use: message tables, transcoders, the document type scanner. */
void warmUp() {
    constexpr std::string_view document =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><!DOCTYPE a [<!ENTITY b \"c\">]><a>&b;<d";
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(), "warmup");
    xercesc::SAXParser parser;
    xercesc::HandlerBase ignoreErrors;
    parser.setErrorHandler(&ignoreErrors);
    try {
        parser.parse(source);
    } catch (const xercesc::SAXException&) {
        // The document ends too early on purpose, so that the error messages are loaded as well.
    }
}

/* Without one the XML library would end the process when it cannot be initialised. */
class ThrowingPanicHandler : public xercesc::PanicHandler {
public:
    void panic(xercesc::PanicHandler::PanicReasons /*reason*/) override { throw xercesc::OutOfMemoryException(); }
};

/* It lives as long as the process, and nothing runs at its end. */
xercesc::PanicHandler* panicHandler() {
    alignas(ThrowingPanicHandler) static constinit std::byte place[sizeof(ThrowingPanicHandler)] = {};
    static auto* handler = ::new (place) ThrowingPanicHandler;
    return handler;
}

constinit std::mutex counter; /* of the platform's references */

}  // namespace

bool sqlpiHoldXmlPlatform() noexcept {
    enum State { untried, usable, broken };
    static constinit std::atomic<State> state = untried;
    if (const State known = state.load(std::memory_order_acquire); known != untried) return known == usable;
    const std::lock_guard counting(counter);
    if (state.load(std::memory_order_relaxed) == untried) {
        State found = broken;
        try {
            xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, panicHandler());
            warmUp();
            found = usable;
        } catch (...) {
            // The XML library can neither go on nor begin again from where it failed.
        }
        state.store(found, std::memory_order_release);
    }
    return state.load(std::memory_order_relaxed) == usable;
}

sqlpiXmlPlatformUse::sqlpiXmlPlatformUse() {
    const std::lock_guard counting(counter);
    xercesc::XMLPlatformUtils::Initialize();
}

sqlpiXmlPlatformUse::~sqlpiXmlPlatformUse() {
    const std::lock_guard counting(counter);
    xercesc::XMLPlatformUtils::Terminate();
}
