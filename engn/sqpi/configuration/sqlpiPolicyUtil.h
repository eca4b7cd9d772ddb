/* What the configuration procedures make sure of first: the policy table is there, their package is bound. And the one
 * way in which they report an error. */
#ifndef SQLPI_POLICY_UTIL_H
#define SQLPI_POLICY_UTIL_H

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "logs.h"
#include "sqlca.h"

/* The SQLCODEs that the library's routines report themselves, with the tokens of each. */
constexpr int32_t SQLPI_BAD_ARGUMENT = -171;       /* its position, the routine */
constexpr int32_t SQLPI_UNREADABLE_FILE = -1436;   /* file name */
constexpr int32_t SQLPI_INVALID_DOCUMENT = -1437;  /* line, column, message */
constexpr int32_t SQLPI_UNUSABLE_DOCUMENT = -1438; /* none: no schema, no content, no memory; of a stored one: reason */
constexpr int32_t SQLPI_REFUSED_DOCUMENT = -1447;  /* reason: "1", "5" or one of those below */
constexpr int32_t SQLPI_UNWRITABLE_FILE = -1448;   /* file name */

/* Reasons, which choose the message's text. */
constexpr const char* SQLPI_NOT_PARSED = "4";
constexpr const char* SQLPI_TEXT_TOO_LONG = "6";
constexpr const char* SQLPI_NO_TEXT = "7";

/* Reports an error: SQLSTATE five blanks, SQLCODE and message tokens. `text` is always null. */
void sqlpiPrepSqlca(sqlca& ca, int32_t sqlcode, const char* text,
                    std::initializer_list<std::string_view> tokens) noexcept;

/* Logs and reports that memory ran out. */
inline void sqlpiReportNoMemory(sqlca& ca, const char* function, uint32_t probe,
                                const char* logText = "Out of memory. Unable to allocate object.") noexcept {
    pdLog(PD_SEVERE, function, probe, logText);
    sqlpiPrepSqlca(ca, SQLPI_UNUSABLE_DOCUMENT, nullptr, {});
}

/* Verifies the policy table, and creates it when it is missing and `create` says so. Returns the SQLCODE of the verify
 * or create step, which is also in `ca`: 0 when the table is usable. Threads: any number at once; needs an engine
 * context on the thread. */
int32_t sqlpiCheckPolicyTable(bool create, sqlca& ca) noexcept;

/* Makes sure that the package of the library's static SQL can be run in the database of the engine context, binding it
 * if needed. Returns 0, or the SQLCODE of what failed, which is also in `ca`. */
int32_t sqlpiCheckPolicyPkgBind(sqlca& ca) noexcept;

/* Binds the file of that name in the instance's "bnd" directory; once more when the first try fails. Returns the bind
 * status, which is also in `ca`. */
int32_t sqlpiBindPolicyPkg(const char* fileName, sqlca& ca) noexcept;

#endif
