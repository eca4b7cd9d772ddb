/* How a call ended: what SQLGetSQLCA and SQLGetDiagRec answer. Internal. */
#ifndef KELHOST_OUTCOME_H
#define KELHOST_OUTCOME_H

#include <sql.h>

#include <cstdint>
#include <string>

#include "sqlca.h"

namespace kelhost {

struct Dialect;

struct Outcome {
    int32_t sqlcode = 0;
    char sqlstate[SQLCA_STATE_LENGTH + 1] = "00000";
    int64_t rows = -1;  /* rows changed, -1 unknown */
    std::string detail; /* what the message is about: a name, or the driver's text */

    void clear() noexcept {
        if (sqlcode != 0 || rows != -1 || sqlstate[1] != '0') *this = {};
    }
    bool failed() const noexcept { return sqlcode < 0; }
};

/* SQLCODE for a SQLSTATE: by the whole state, else by its class, else -99999. */
int32_t sqlcodeOf(const char* sqlstate) noexcept;

/* The outcome "failed with this SQLSTATE". */
Outcome failure(const char* sqlstate, std::string detail);

/* The driver's first diagnostic record of a handle whose call failed; and of one whose call succeeded with information.
 * Whatever the driver says, or does not say: the first is a failure, the second none. */
Outcome driverOutcome(SQLSMALLINT handleType, SQLHANDLE handle, const Dialect& dialect);
Outcome driverInformation(SQLSMALLINT handleType, SQLHANDLE handle, const Dialect& dialect);

void fillSqlca(sqlca& ca, const Outcome& outcome) noexcept;

}  // namespace kelhost

#endif
