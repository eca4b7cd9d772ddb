#include "outcome.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "dialect.h"
#include "hostError.h"
#include "passwords.h"

namespace kelhost {
namespace {

struct StateCode {
    std::string_view sqlstate;  // five characters, or a class of two
    int32_t sqlcode;
};

constexpr StateCode stateCodes[] = {
    {"00000", 0},    {"02000", 100},  {"07002", -313}, {"07003", -518}, {"07005", -517}, {"08003", -900},
    {"22001", -433}, {"22002", -305}, {"22003", -302}, {"22007", -180}, {"22008", -181}, {"23502", -407},
    {"23503", -530}, {"23505", -803}, {"23513", -545}, {"23514", -545}, {"24000", -501}, {"24502", -502},
    {"24506", -519}, {"25006", -817}, {"26501", -514}, {"2D000", -925}, {"40001", -911}, {"42501", -551},
    {"42601", -104}, {"42703", -206}, {"42704", -204}, {"42710", -601}, {"42802", -117}, {"42815", -171},
    {"42884", -440}, {"51002", -805}, {"51003", -818}, {"53100", -964}, {"57011", -954}, {"58004", -901},
    {"58030", -902}, {"00", 0},       {"01", 0},       {"02", 100},     {"08", -30081},  {"IM", -30081},
    {"22", -302},    {"23", -545},    {"40", -911},    {"42", -104},    {"53", -904},    {"55", -904},
    {"57", -904},    {"58", -902},
};

// The same meaning under other names: what drivers answer, and what the engine calls it.
struct OtherName {
    std::string_view given;
    const char* engine;
};

constexpr OtherName otherNames[] = {
    {"42S02", "42704"}, {"42P01", "42704"}, {"3F000", "42704"}, {"42S22", "42703"}, {"42S01", "42710"},
    {"42P07", "42710"}, {"42P06", "42710"}, {"42883", "42884"}, {"42000", "42601"}, {"40P01", "40001"},
    {"55P03", "40001"}, {"23514", "23513"}, {"HY001", "57011"}, {"53200", "57011"}, {"HYT00", "40001"},
};

const char* engineState(std::string_view given) noexcept {
    for (const OtherName& name : otherNames) {
        if (name.given == given) return name.engine;
    }
    return nullptr;
}

bool contains(std::string_view text, std::string_view part) noexcept {
    return text.find(part) != std::string_view::npos;
}

const char* nativeState(const Dialect& dialect, std::string_view state, int32_t nativeCode,
                        std::string_view text) noexcept {
    for (const NativeFailure& failure : dialect.failures) {
        const bool applies = failure.nativeCode == 0 || (failure.nativeCode == nativeCode && state == "HY000");
        if (applies && contains(text, failure.text)) return failure.sqlstate;
    }
    return nullptr;
}

// For an undefined name the message is about the name: in quotes, or after a colon.
std::string detailOf(const char* sqlstate, std::string_view text) {
    const std::string_view state(sqlstate);
    if (state != "42704" && state != "42703") return std::string(text);
    const size_t quote = text.find('"');
    const size_t end = quote == std::string_view::npos ? quote : text.find('"', quote + 1);
    if (end != std::string_view::npos) return std::string(text.substr(quote + 1, end - quote - 1));
    const size_t colon = text.find(": ");
    return std::string(colon == std::string_view::npos ? text : text.substr(colon + 2));
}

}  // namespace

int32_t sqlcodeOf(const char* sqlstate) noexcept {
    const std::string_view state(sqlstate);
    for (const size_t length : {size_t{5}, size_t{2}}) {
        for (const StateCode& entry : stateCodes) {
            if (entry.sqlstate == state.substr(0, length)) return entry.sqlcode;
        }
    }
    return -99999;
}

Outcome failure(const char* sqlstate, std::string detail) {
    Outcome outcome;
    outcome.sqlcode = sqlcodeOf(sqlstate);
    std::memcpy(outcome.sqlstate, sqlstate, SQLCA_STATE_LENGTH);
    outcome.detail = std::move(detail);
    return outcome;
}

Outcome databaseFailure(const Dialect& dialect, const char* sqlstate, int32_t nativeCode, std::string_view text) {
    const char* engine = nativeState(dialect, sqlstate, nativeCode, text);
    if (engine == nullptr) engine = engineState(sqlstate);
    if (engine == nullptr) engine = sqlstate;
    Outcome outcome = failure(engine, withoutPasswords(detailOf(engine, text)));
    outcome.nativeCode = nativeCode;
    return outcome;
}

void require(const Outcome& outcome, const std::string& what) {
    if (outcome.failed()) throw HostError(outcome.sqlcode, outcome.sqlstate, what + ": " + outcome.detail);
}

void fillSqlca(sqlca& ca, const Outcome& outcome) noexcept {
    fillSqlca(ca, outcome.sqlcode, outcome.sqlstate, outcome.detail);
    if (outcome.rows >= 0) ca.sqlerrd[2] = static_cast<int32_t>(std::min<int64_t>(outcome.rows, INT32_MAX));
    if (outcome.sqlstate[0] == '0' && outcome.sqlstate[1] == '1') ca.sqlwarn[0] = 'W';
}

}  // namespace kelhost
