/* Which statements a client of an engine context may run. Internal.
 *
 * Keys stand in some of the library's statements as they were given, so a statement may say more than who wrote it
 * meant. Whatever it says, it only reads and changes rows: it calls no function but those that the dialect lists, and
 * touches nothing that is the database's own. */
#ifndef KELHOST_SQL_GATE_H
#define KELHOST_SQL_GATE_H

#include <string_view>

#include "dialect.h"
#include "outcome.h"

namespace kelhost {

/* A failure when the statement may not run. REQUIRES: scanSql finds no error in the text. */
Outcome passGate(std::string_view text, const Dialect& dialect);

}  // namespace kelhost

#endif
