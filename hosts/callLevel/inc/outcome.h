/* How a call ended: what SQLGetSQLCA and SQLGetDiagRec answer. */
#ifndef KELHOST_OUTCOME_H
#define KELHOST_OUTCOME_H

#include <cstdint>
#include <string>
#include <string_view>

#include "sqlca.h"

namespace kelhost {

struct Dialect;

struct Outcome {
    int32_t sqlcode = 0;
    char sqlstate[SQLCA_STATE_LENGTH + 1] = "00000";
    int64_t rows = -1;      /* rows changed, -1 unknown */
    int32_t nativeCode = 0; /* the database's own, of a failure */
    std::string detail{};   /* what the message is about: a name, or the database's text */

    void clear() noexcept {
        if (sqlcode != 0 || rows != -1 || sqlstate[1] != '0') *this = {};
    }
    bool failed() const noexcept { return sqlcode < 0; }
    bool found() const noexcept { return sqlcode == 0; }
    std::string_view state() const noexcept { return {sqlstate, SQLCA_STATE_LENGTH}; }
};

/* SQLCODE for a SQLSTATE: by the whole state, else by its class, else -99999. */
int32_t sqlcodeOf(const char* sqlstate) noexcept;

/* The outcome "failed with this SQLSTATE". */
Outcome failure(const char* sqlstate, std::string detail);

/* The same in the engine's terms, for what a database said: its SQLSTATE ("HY000" says nothing), code and text. */
Outcome databaseFailure(const Dialect& dialect, const char* sqlstate, int32_t nativeCode, std::string_view text);

/* Throws HostError with `what` before the detail when the call failed. */
void require(const Outcome& outcome, const std::string& what);

void fillSqlca(sqlca& ca, const Outcome& outcome) noexcept;

}  // namespace kelhost

#endif
