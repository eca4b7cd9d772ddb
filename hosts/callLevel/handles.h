/* What stands behind the handles of the call-level interface. Internal. */
#ifndef KELHOST_HANDLES_H
#define KELHOST_HANDLES_H

#include <sql.h>
#include <sqlext.h>

#include <new>
#include <string>
#include <vector>

#include "handleTable.h"
#include "outcome.h"
#include "session.h"

namespace kelhost {

struct Environment {
    Outcome outcome{};
    int connections = 0;
};

struct Connection {
    Outcome outcome{};
    SQLHENV environment = SQL_NULL_HENV;
    Session* session = nullptr; /* null: not connected */
    bool automaticCommit = true;
};

/* A parameter as it was bound; the pointers are the caller's and read when the statement is executed. */
struct BoundValue {
    SQLUSMALLINT number;
    SQLSMALLINT cType;
    SQLSMALLINT sqlType;
    const void* value;
    const SQLLEN* indicator;
};

/* One that is read from a file then. */
struct FileParameter {
    SQLUSMALLINT number;
    const SQLCHAR* name;
    const SQLSMALLINT* nameLength;
    const SQLUINTEGER* options;
    SQLSMALLINT maximumNameLength;
    const SQLINTEGER* indicator;
    std::string content{}; /* while the statement runs */
};

/* How much of the current row's value has been read. */
struct ReadSoFar {
    SQLUSMALLINT column = 0; /* 0: none of any */
    size_t bytes = 0;
    bool isWhole = false;
};

struct Statement {
    Outcome outcome{};
    Session* session = nullptr;
    SQLHDBC connection = SQL_NULL_HDBC;
    KeptStatement compiled{}; /* what the database has of it */
    std::string text{};       /* when it must be spelled anew for each execution */
    SqlText scanned{};
    std::vector<BoundValue> values{};
    std::vector<FileParameter> files{};
    unsigned columns = 0; /* of its rows, after it was executed */
    ReadSoFar readSoFar{};
    int64_t rows = -1; /* changed by its last execution */
    bool isPrepared = false;
    bool openResult = false; /* rows may be fetched */
};

extern HandleTable<Environment, 1> environments;
extern HandleTable<Connection, 2> connections;
extern HandleTable<Statement, 3> statements;

/* Ends a statement and makes its handle invalid. */
void freeStatement(SQLHSTMT handle, Statement& statement) noexcept;

/* Ends what is joined to a session that is about to close. */
void detachHandles(Session& session) noexcept;

/* Records a failure and gives the return code for it. Never throws: without memory the detail is left out. */
inline SQLRETURN fail(Outcome& outcome, const char* sqlstate, const char* detail) noexcept {
    try {
        outcome = failure(sqlstate, detail);
    } catch (const std::bad_alloc&) {
        outcome = failure(sqlstate, {});
    }
    return SQL_ERROR;
}

/* Runs one call on a handle's object: clears its outcome before, and lets no exception out. */
template <class Object, class Call>
SQLRETURN onObject(Object* object, Call call) noexcept {
    if (object == nullptr) return SQL_INVALID_HANDLE;
    try {
        object->outcome.clear();
        return call(*object);
    } catch (const std::bad_alloc&) {
        return fail(object->outcome, "57011", "");
    } catch (const std::exception& unexpected) {
        return fail(object->outcome, "58004", unexpected.what());
    }
}

}  // namespace kelhost

#endif
