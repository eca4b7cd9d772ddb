/* The one way in which the routines report an error. Internal. */
#ifndef SQLPI_REPORT_H
#define SQLPI_REPORT_H

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

#endif
