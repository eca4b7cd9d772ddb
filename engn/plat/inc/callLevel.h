/* SQL call level: the ISO call-level interface with its own names, types and codes, plus two functions of the engine.
 *
 * What the library calls: SQLAllocHandle, SQLFreeHandle, SQLSetConnectAttr (SQL_ATTR_AUTOCOMMIT off), SQLConnect,
 * SQLDisconnect, SQLPrepare, SQLExecute, SQLExecDirect, SQLBindParameter, SQLFetch, SQLGetData. What else a reader of
 * result sets needs (SQLNumResultCols, SQLDescribeCol, SQLRowCount, SQLCloseCursor, SQLGetConnectAttr, SQLGetDiagRec)
 * is there for the host's own programs and tests.
 *
 * The engine context. SQLConnect with null names connects to "the database of the current engine context": the unit of
 * work that the host has bound to the calling thread. Connecting joins it, SQLDisconnect leaves it; neither commits nor
 * rolls back, and automatic commit turned off inside changes nothing outside. Without a context on the thread
 * SQLConnect fails with SQLSTATE 08003 and does nothing else.
 *
 * Statements. Every statement is atomic by itself: one that fails leaves the unit of work usable. Where a failure made
 * the database give the whole unit of work up (a full device), statements fail with SQLSTATE 40001 until the host has
 * rolled it back. A text that holds more than one statement is refused with SQLSTATE 42601. A statement handle may
 * outlive the connection handle it came from: the host then owns the open result set.
 *
 * Values. SQLGetData with a buffer length of 0 asks for the length alone: it writes nothing but the indicator, and
 * returns SQL_SUCCESS_WITH_INFO (SQLSTATE 01004) where bytes are waiting, SQL_SUCCESS where the value is empty or null.
 * The next call on the column begins at the value's first byte. A length that is not known is a failure.
 *
 * SQL that every host must understand besides plain SELECT, INSERT, UPDATE and DELETE on SYSTOOLS.POLICY:
 *   CURRENT TIMESTAMP                           the local time, to the microsecond
 *   'yyyy-mm-dd-hh.mm.ss.uuuuuu'                a timestamp, compared with UPDATE_TIME
 *   CALL [SYSPROC.]SYSINSTALLOBJECTS('POLICY','V','','')   fails (SQLSTATE 42704) when the policy table is missing
 *   CALL [SYSPROC.]SYSINSTALLOBJECTS('POLICY','C','','')   creates the table and its default rows, or neither; a table
 *                                                          that is there already is left as it is
 *
 * Threads: a handle is used by one thread at a time; different handles may be used by different threads at once.
 * Nothing here throws or jumps. */
#ifndef PLAT_CALL_LEVEL_H
#define PLAT_CALL_LEVEL_H

#include <sql.h>
#include <sqlext.h>

#include "sqlca.h"

#ifdef __cplusplus
extern "C" {
#endif

#define SQL_FILE_READ 2 /* file option of SQLBindFileToParam: an existing regular file, read only */

/* Fills `ca` with the outcome of the last call on the most specific of the three handles (`stmt`, else `dbc`, else
 * `env`); a handle that does not exist is given as SQL_NULL_HANDLE. A failed SQLAllocHandle is an outcome of the handle
 * it was given. After a call that succeeded, `ca` holds SQLCODE 0 and SQLSTATE "00000" (with information: SQLCODE 0,
 * SQLSTATE "01..." and a warning flag); after SQL_NO_DATA SQLCODE 100 and "02000"; sqlerrd[2] is the number of rows
 * changed. With no handle at all it reports SQLCODE -99999, SQLSTATE "58005". Returns SQL_SUCCESS, or
 * SQL_INVALID_HANDLE when a handle given is none (`ca` then reports as with no handle). */
SQLRETURN SQLGetSQLCA(SQLHENV env, SQLHDBC dbc, SQLHSTMT stmt, struct sqlca* ca);

/* Binds parameter `parameter` (from 1) of a prepared statement to the contents of a file on the server, read when the
 * statement is executed. `sqlType` is the parameter's SQL type (SQL_LONGVARBINARY for a binary large object).
 * `fileName` (`*fileNameLength` bytes or SQL_NTS, at most `maxFileNameLength`) names a regular file of at most 2 MB
 * under the instance directory, from there or from the root, without ".." and symbolic links; anything else is an error
 * of the execution. `*fileOptions` is SQL_FILE_READ. `indicator` may be null, or point to SQL_NULL_DATA for a null
 * value. REQUIRES: all pointers stay valid until the statement has been executed. */
SQLRETURN SQLBindFileToParam(SQLHSTMT stmt, SQLUSMALLINT parameter, SQLSMALLINT sqlType, SQLCHAR* fileName,
                             SQLSMALLINT* fileNameLength, SQLUINTEGER* fileOptions, SQLSMALLINT maxFileNameLength,
                             SQLINTEGER* indicator);

#ifdef __cplusplus
}
#endif

#endif
