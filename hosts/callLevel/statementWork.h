/* What a statement does, whoever holds it: a handle of the call level, or a section of a package. Internal.
 *
 * Each function records its outcome in the statement, after a failure with why; REQUIRES: the outcome was cleared. May
 * throw what the standard library throws. */
#ifndef KELHOST_STATEMENT_WORK_H
#define KELHOST_STATEMENT_WORK_H

#include <string_view>

#include "handles.h"

namespace kelhost {

/* Refuses texts that must not run inside an engine context. */
SQLRETURN prepareStatement(Statement& statement, std::string_view text);
SQLRETURN executeStatement(Statement& statement);
SQLRETURN executeText(Statement& statement, std::string_view text);

/* All that is wrong with a prepared text comes out, whatever the database puts off to its first run; the columns of its
 * rows are counted. */
SQLRETURN compileStatement(Statement& statement, unsigned& columns);

/* As SQLBindParameter, SQLFetch, SQLGetData, SQLCloseCursor, SQLNumResultCols and SQLDescribeCol. */
SQLRETURN bindValue(Statement& statement, SQLSMALLINT direction, const BoundValue& bound);
SQLRETURN fetchRow(Statement& statement);
SQLRETURN getValue(Statement& statement, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value, SQLLEN size,
                   SQLLEN* indicator);
SQLRETURN closeResult(Statement& statement);
SQLRETURN countColumns(Statement& statement, SQLSMALLINT& count);
SQLRETURN describeColumn(Statement& statement, SQLUSMALLINT column, ColumnDescription& description);

/* A column's whole value, until the next call on the statement. */
SQLRETURN readWhole(Statement& statement, SQLUSMALLINT column, ValueForm form, OutputValue& value);

/* Gives the prepared statement back; the statement is then a new one without a session. */
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
