// The trace: one line for each record, in the order in which the threads wrote them.
#include "trace.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string>

#include "hostLogs.h"
#include "logSink.h"
#include "sqlca.h"

uint32_t g_sqltCompTraceFlags = 0;

namespace kelhost {
namespace {

using Event = LogRecord::Event;

constexpr size_t mostBytesOfAnItem = 4096;

std::string showInteger(const pdtItem& item) {
    switch (item.length) {
        case 1: {
            int8_t value = 0;
            std::memcpy(&value, item.data, sizeof value);
            return std::to_string(value);
        }
        case 2: {
            int16_t value = 0;
            std::memcpy(&value, item.data, sizeof value);
            return std::to_string(value);
        }
        case 4: {
            int32_t value = 0;
            std::memcpy(&value, item.data, sizeof value);
            return std::to_string(value);
        }
        case 8: {
            int64_t value = 0;
            std::memcpy(&value, item.data, sizeof value);
            return std::to_string(value);
        }
        default:
            return "(no integer)";
    }
}

std::string showBytes(const unsigned char* bytes, size_t length) {
    std::string text = "0x";
    for (size_t i = 0; i < length; ++i) text += fmt::format("{:02X}", bytes[i]);
    return text;
}

std::string showSqlca(const pdtItem& item) {
    sqlca ca{};
    if (item.length < sizeof ca) return "(no sqlca)";
    std::memcpy(&ca, item.data, sizeof ca);
    const auto length =
        std::clamp<size_t>(static_cast<size_t>(std::max<int16_t>(ca.sqlerrml, 0)), 0, sizeof ca.sqlerrmc);
    return fmt::format("sqlcode {} sqlstate \"{}\" tokens \"{}\"", ca.sqlcode,
                       inOneLine({ca.sqlstate, sizeof ca.sqlstate}), inOneLine({ca.sqlerrmc, length}));
}

std::string showItem(const pdtItem& item) {
    if (item.data == nullptr) return "null";
    const size_t length = std::min(item.length, mostBytesOfAnItem);
    switch (item.kind) {
        case PDT_TEXT:
            return "\"" + inOneLine({static_cast<const char*>(item.data), length}) + "\"";
        case PDT_INTEGER:
            return showInteger(item);
        case PDT_SQLCA:
            return showSqlca(item);
        default:
            return showBytes(static_cast<const unsigned char*>(item.data), length);
    }
}

void writeTrace(Event event, const char* what, const char* function, uint32_t probe, int64_t code,
                std::initializer_list<const pdtItem*> items) noexcept {
    try {
        LogRecord record;
        record.kind = LogKind::trace;
        record.event = event;
        record.function = function;
        record.probe = probe;
        record.code = code;
        record.text = what;
        if (event == Event::exit) record.text += fmt::format(" result {}", code);
        if (probe != 0) record.text += fmt::format(" probe {}", probe);
        if (event == Event::error) record.text += fmt::format(" code {}", code);
        for (const pdtItem* item : items) {
            if (item == nullptr) continue;
            record.text += " " + showItem(*item);
            record.items.emplace_back();
            if (item->data != nullptr) {
                record.items.back().assign(static_cast<const char*>(item->data),
                                           std::min(item->length, mostBytesOfAnItem));
            }
        }
        writeRecord(record, fmt::format("{} {} {}", recordHead(), record.function, record.text));
    } catch (...) {
        // A record that cannot be written is dropped.
    }
}

}  // namespace

void setTraceFlags(uint32_t flags) noexcept {
    __atomic_store_n(&g_sqltCompTraceFlags, flags, __ATOMIC_RELAXED);
}

uint32_t traceFlags() noexcept {
    return __atomic_load_n(&g_sqltCompTraceFlags, __ATOMIC_RELAXED);
}

}  // namespace kelhost

using kelhost::Event;
using kelhost::writeTrace;

void pdtEntry(const char* function) {
    writeTrace(Event::entry, "entry", function, 0, 0, {});
}

void pdtExit(const char* function, int64_t result) {
    writeTrace(Event::exit, "exit", function, 0, result, {});
}

void pdtData1(const char* function, uint32_t probe, const struct pdtItem* item) {
    writeTrace(Event::data, "data", function, probe, 0, {item});
}

void pdtData2(const char* function, uint32_t probe, const struct pdtItem* first, const struct pdtItem* second) {
    writeTrace(Event::data, "data", function, probe, 0, {first, second});
}

void pdtData3(const char* function, uint32_t probe, const struct pdtItem* first, const struct pdtItem* second,
              const struct pdtItem* third) {
    writeTrace(Event::data, "data", function, probe, 0, {first, second, third});
}

void pdtError1(const char* function, uint32_t probe, int64_t error, const struct pdtItem* item) {
    writeTrace(Event::error, "error", function, probe, error, {item});
}
