/* What a statement does, whoever holds it: a handle of the call level, or a section of a package. Internal.
 *
 * Each function records its outcome in the statement, after a failure with why; REQUIRES: the outcome was cleared. May
 * throw what the standard library throws. */
#ifndef KELHOST_STATEMENT_WORK_H
#define KELHOST_STATEMENT_WORK_H

#include <string_view>

#include "handles.h"

namespace kelhost {

/* Records what the driver said about a call that did not simply succeed. */
SQLRETURN answer(Statement& statement, SQLRETURN result);

/* Refuses texts that must not run inside an engine context. */
SQLRETURN prepareStatement(Statement& statement, std::string_view text);
SQLRETURN executeStatement(Statement& statement);
SQLRETURN executeText(Statement& statement, std::string_view text);

/* As SQLBindParameter, SQLFetch, SQLGetData and SQLCloseCursor. */
SQLRETURN bindValue(Statement& statement, SQLUSMALLINT parameter, SQLSMALLINT direction, SQLSMALLINT cType,
                    SQLSMALLINT sqlType, SQLULEN columnSize, SQLSMALLINT decimals, SQLPOINTER value, SQLLEN size,
                    SQLLEN* indicator);
SQLRETURN fetchRow(Statement& statement);
SQLRETURN getValue(Statement& statement, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value, SQLLEN size,
                   SQLLEN* indicator);
SQLRETURN closeResult(Statement& statement);

/* Gives the driver's statement back; the statement is then a new one without a session. */
void endStatement(Statement& statement) noexcept;

/* A statement of the host's own, ended at the end of the scope. REQUIRES: the session lives longer. */
struct OwnStatement : Statement {
    explicit OwnStatement(Session& of) noexcept { session = &of; }
    ~OwnStatement() { endStatement(*this); }
    OwnStatement(const OwnStatement&) = delete;
    OwnStatement& operator=(const OwnStatement&) = delete;
};

}  // namespace kelhost

#endif
