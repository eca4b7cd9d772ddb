#include "document/sqlpiXmlPlatform.h"

#include <link.h>
#include <pthread.h>

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
#include <xercesc/util/XMLMutexMgr.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "base/sqlpiForks.h"
#include "document/sqlpiXmlConverters.h"

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

/* Whoever is in a lock of the XML library shares it; a fork has it alone. */
constinit pthread_rwlock_t inXmlLocks = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;
constinit thread_local size_t locksHeld = 0; /* of the XML library, by this thread */

/* The XML library's locks, which no fork finds taken: those that exist stay what they are. */
class ForkSafeMutexes : public xercesc::XMLMutexMgr {
public:
    explicit ForkSafeMutexes(xercesc::XMLMutexMgr& real) : real_(real) {}

    xercesc::XMLMutexHandle create(xercesc::MemoryManager* memory) override { return real_.create(memory); }
    void destroy(xercesc::XMLMutexHandle mutex, xercesc::MemoryManager* memory) override {
        real_.destroy(mutex, memory);
    }
    void lock(xercesc::XMLMutexHandle mutex) override {
        if (locksHeld++ == 0) pthread_rwlock_rdlock(&inXmlLocks);
        real_.lock(mutex);
    }
    /* One that was taken before this manager came was not counted. */
    void unlock(xercesc::XMLMutexHandle mutex) override {
        real_.unlock(mutex);
        if (locksHeld != 0 && --locksHeld == 0) pthread_rwlock_unlock(&inXmlLocks);
    }

private:
    xercesc::XMLMutexMgr& real_;
};

void keepLocksAcrossForks() {
    using xercesc::XMLPlatformUtils;
    XMLPlatformUtils::fgMutexMgr = new ForkSafeMutexes(*XMLPlatformUtils::fgMutexMgr);
    pthread_atfork([] { pthread_rwlock_wrlock(&inXmlLocks); }, [] { pthread_rwlock_unlock(&inXmlLocks); },
                   [] { inXmlLocks = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP; });  // nobody waits any more
}

/* Counts of others that meet each other may be lost, and must not end the platform under us. */
constexpr int references = 1000;

bool begin() noexcept {
    try {
        for (int i = 0; i < references; ++i)
            xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, panicHandler());
        keepLocksAcrossForks();
        sqlpiLendConverters();
        warmUp();
        return true;
    } catch (...) {
        return false;  // the XML library can neither go on nor begin again from where it failed
    }
}

/* Runs `begin` under the loader's lock, the one that all copies of this library have in common. */
bool beginAlone() noexcept {
    bool hasBegun = false;
    dl_iterate_phdr(
        [](dl_phdr_info*, size_t, void* answer) {
            *static_cast<bool*>(answer) = begin();
            return 1;
        },
        &hasBegun);
    return hasBegun;
}

constinit std::mutex firstCall;

}  // namespace

bool sqlpiHoldXmlPlatform() noexcept {
    enum State { untried, usable, broken };
    static constinit std::atomic<State> state = untried;
    if (const State known = state.load(std::memory_order_acquire); known != untried) return known == usable;
    const sqlpiForkSafeLock<firstCall> lock;
    if (state.load(std::memory_order_relaxed) == untried)
        state.store(beginAlone() ? usable : broken, std::memory_order_release);
    return state.load(std::memory_order_relaxed) == usable;
}
