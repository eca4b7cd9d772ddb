/* Trace of one function: entry now, exit with its result at the end of the scope, data in between. Internal. */
#ifndef SQLPI_TRACE_H
#define SQLPI_TRACE_H

#include <cstdint>
#include <cstring>

#include "sqlca.h"
#include "trace.h"

inline bool sqlpiTraceWants(uint32_t flag) noexcept {
    return (__atomic_load_n(&g_sqltCompTraceFlags, __ATOMIC_RELAXED) & flag) != 0;
}

inline pdtItem sqlpiTextItem(const char* text) noexcept {
    return {PDT_TEXT, text == nullptr ? 0 : std::strlen(text), text};
}

class sqlpiFunctionTrace {
public:
    explicit sqlpiFunctionTrace(const char* function) noexcept : function_(function) {
        if (sqlpiTraceWants(PDT_FLAG_ENTRY)) pdtEntry(function_);
    }
    ~sqlpiFunctionTrace() {
        if (sqlpiTraceWants(PDT_FLAG_EXIT)) pdtExit(function_, result_);
    }
    sqlpiFunctionTrace(const sqlpiFunctionTrace&) = delete;
    sqlpiFunctionTrace& operator=(const sqlpiFunctionTrace&) = delete;

    /* Remembers the result for the exit record and passes it on. */
    template <class Result>
    Result exit(Result result) noexcept {
        result_ = static_cast<int64_t>(result);
        return result;
    }

    void data(uint32_t probe, const pdtItem& item) const noexcept {
        if (sqlpiTraceWants(PDT_FLAG_DATA)) pdtData1(function_, probe, &item);
    }
    void error(uint32_t probe, int64_t code, const sqlca& ca) const noexcept {
        const pdtItem item = {PDT_SQLCA, sizeof ca, &ca};
        if (sqlpiTraceWants(PDT_FLAG_DATA)) pdtError1(function_, probe, code, &item);
    }

private:
    const char* function_;
    int64_t result_ = 0;
};

#endif
