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

/* A parameter that is read from a file when the statement is executed. The pointers are the caller's. */
struct FileParameter {
    SQLUSMALLINT number;
    SQLSMALLINT sqlType;
    const SQLCHAR* name;
    const SQLSMALLINT* nameLength;
    const SQLUINTEGER* options;
    SQLSMALLINT maximumNameLength;
    const SQLINTEGER* indicator;
    std::string content; /* while the statement runs */
    SQLLEN length;
};

struct Statement {
    Outcome outcome{};
    Session* session = nullptr;
    SQLHDBC connection = SQL_NULL_HDBC;
    DriverStatement driver{};
    std::string text{}; /* prepared, when it must be spelled anew for each execution */
    SqlText scanned{};
    std::vector<FileParameter> files{};
    bool prepared = false;
    bool bound = false;      /* parameters are bound: not for the next user of the driver's handle */
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
