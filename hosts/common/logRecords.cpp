// The records of the diagnostic and the administration log: one line each, readable by a person, fields in a fixed
// order.
#include <fmt/format.h>
#include <pwd.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "hostText.h"
#include "hostTime.h"
#include "instance.h"
#include "logSink.h"
#include "logs.h"
#include "sqlca.h"

namespace kelhost {
namespace {

const char* importanceName(int32_t importance) noexcept {
    switch (importance) {
        case PD_SEVERE:
            return "severe";
        case PD_ERROR:
            return "error";
        case PD_WARNING:
            return "warning";
        default:
            return "info";
    }
}

std::vector<std::string_view> splitTokens(std::string_view text) {
    std::vector<std::string_view> tokens;
    for (size_t end = text.find(SQLCA_TOKEN_SEPARATOR); end != std::string_view::npos;
         end = text.find(SQLCA_TOKEN_SEPARATOR)) {
        tokens.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    tokens.push_back(text);
    return tokens;
}

bool isConfigurationType(std::string_view policy) {
    return policy.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_") == std::string_view::npos;
}

// Whether the end of the text may be missing: one that was cut between characters has up to three bytes less.
bool mayBeCut(std::string_view text, const std::vector<std::string_view>& tokens) {
    constexpr size_t mostBytesLess = 3;
    return tokens.size() <= 4 && text.size() <= SQLT_ADMIN_CHANGE_SIZE &&
           text.size() + mostBytesLess >= SQLT_ADMIN_CHANGE_SIZE && !isConfigurationType(tokens.front());
}

// Of a text that may be cut, the last token that is there is named behind all: those behind it are missing.
std::string describePolicyChange(std::string_view text) {
    const std::vector<std::string_view> tokens = splitTokens(text);
    const bool isCut = mayBeCut(text, tokens);
    std::string line = "policy changed";
    std::vector<const char*> names = {"policy", "database", "before", "after", "action"};
    if (tokens.size() == 3 && !isCut) names = {"policy", "before", "after"};
    names.resize(std::max(names.size(), tokens.size()), "more");
    for (size_t i = 0; i < tokens.size(); ++i) line += fmt::format(" {}=\"{}\"", names[i], inOneLine(tokens[i]));
    if (isCut) line += fmt::format(" cut=\"{}\"", names[tokens.size() - 1]);
    return line;
}

std::string inHead(const std::string& name) {
    const std::string shown = inOneLine(name);
    const bool isOneWord = shown == name && !name.empty() && name != "-" && name.find(' ') == std::string::npos;
    return isOneWord ? shown : fmt::format("\"{}\"", shown);
}

std::string lookUpUser() {
    const uid_t number = ::getuid();
    std::vector<char> texts(16384);
    passwd entry{};
    passwd* found = nullptr;
    const int failure = ::getpwuid_r(number, &entry, texts.data(), texts.size(), &found);
    return failure == 0 && found != nullptr ? found->pw_name : std::to_string(number);
}

// Of an administration record: two descriptions of a policy fit well.
constexpr size_t mostAdministrationBytes = size_t{4} * PD_RECORD_SIZE;

LogRecord makeRecord(LogKind kind, int32_t importance, const char* function, uint32_t probe, std::string_view text) {
    LogRecord record;
    record.kind = kind;
    record.importance = importance;
    record.function = function == nullptr ? "" : function;
    record.probe = probe;
    record.text = text;
    return record;
}

void writeDiagnostic(int32_t importance, const char* function, uint32_t probe, std::string_view text) {
    const LogRecord record = makeRecord(LogKind::diagnostic, importance, function, probe, text);
    writeRecord(record, fmt::format("{} {} {} probe {}: {}", recordHead(), importanceName(importance), record.function,
                                    probe, inOneLine(text)));
}

}  // namespace

std::string recordHead() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localTime(now.tv_sec, local);
    const std::string* database = threadScope().database;
    return fmt::format("{:04}-{:02}-{:02}-{:02}.{:02}.{:02}.{:06} process {} thread {} database {} user {}",
                       local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                       now.tv_nsec / 1000, ::getpid(), ::syscall(SYS_gettid),
                       database == nullptr ? "-" : inHead(*database), inHead(userOfProcess()));
}

const std::string& userOfProcess() {
    static const std::string name = lookUpUser();
    return name;
}

std::string inOneLine(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const size_t length = characterLength(text);
        const std::string_view character = text.substr(0, length == 0 ? 1 : length);
        if (character == "\n") {
            line += "\\n";
        } else if (character == "\t") {
            line += "\\t";
        } else if (length == 0 || !isHarmless(character)) {
            for (const char byte : character) line += fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
        } else {
            if (character == "\"" || character == "\\") line += '\\';
            line += character;
        }
        text.remove_prefix(character.size());
    }
    return line;
}

}  // namespace kelhost

void pdLog(int32_t importance, const char* function, uint32_t probe, const char* text) {
    try {
        kelhost::writeDiagnostic(importance, function, probe, {text, strnlen(text, PD_RECORD_SIZE)});
    } catch (...) {
        // A record that cannot be written is dropped.
    }
}

void pdLogPrintf(int32_t importance, const char* function, uint32_t probe, const char* format, ...) {
    std::array<char, PD_RECORD_SIZE + 1> text{};
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the checker misses va_start
    const int wanted = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    if (wanted >= 0) pdLog(importance, function, probe, text.data());
}

void sqlt_logadmin(uint32_t messageNumber, int32_t importance, const char* function, uint32_t probe, const char* text,
                   size_t length) {
    try {
        const std::string_view kept(text, std::min(length, kelhost::mostAdministrationBytes));
        kelhost::LogRecord record =
            kelhost::makeRecord(kelhost::LogKind::administration, importance, function, probe, kept);
        record.messageNumber = messageNumber;
        const std::string message =
            messageNumber == SQLT_ADMIN_POLICY_CHANGED ? kelhost::describePolicyChange(kept) : kelhost::inOneLine(kept);
        kelhost::writeRecord(
            record, fmt::format("{} {} {} {} probe {}: {}", kelhost::recordHead(), kelhost::importanceName(importance),
                                messageNumber, record.function, probe, message));
    } catch (...) {
        // A record that cannot be written is dropped.
    }
}
