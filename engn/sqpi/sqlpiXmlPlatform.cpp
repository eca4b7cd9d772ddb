#include "sqlpiXmlPlatform.h"

#include <atomic>
#include <mutex>
#include <string_view>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

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

}  // namespace

bool sqlpiHoldXmlPlatform() noexcept {
    static constinit std::atomic<bool> held = false;
    static constinit std::mutex once;
    if (held.load(std::memory_order_acquire)) return true;
    try {
        const std::lock_guard lock(once);
        if (held.load(std::memory_order_relaxed)) return true;
        xercesc::XMLPlatformUtils::Initialize();
        warmUp();
        held.store(true, std::memory_order_release);
        return true;
    } catch (...) {
        return false;
    }
}
