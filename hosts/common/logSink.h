/* Where a finished record goes. Internal. */
#ifndef KELHOST_LOG_SINK_H
#define KELHOST_LOG_SINK_H

#include <string>
#include <string_view>

#include "hostLogs.h"

namespace kelhost {

/* Hands the record to the captures and writes `line` (without line end) to the kind's file. Drops it when it cannot be
 * written. */
void writeRecord(const LogRecord& record, const std::string& line) noexcept;

/* "2026-03-29-02.30.00.123456 process 41 thread 42 database X user Y": who writes, and when. The names stand in quotes,
 * as inOneLine shows them, when they could be taken for more than one word. */
std::string recordHead();

/* The name of the user who started the process, or the user's number. */
const std::string& userOfProcess();

/* The text in one line: '"' and '\' as in a C string, whatever acts on a terminal or turns the reading direction,
 * and bytes that are no UTF-8, as \n, \t or \xNN. */
std::string inOneLine(std::string_view text);

}  // namespace kelhost

#endif
