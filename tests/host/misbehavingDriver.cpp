/* What is not defined here the driver manager finds in SQLite's driver, which this one is linked with. */
#include "host/misbehavingDriver.h"

#include <dlfcn.h>
#include <sql.h>
#include <sqlext.h>

#include <cstring>
#include <map>
#include <optional>
#include <string_view>

namespace {

std::map<SQLHSTMT, std::string> texts; /* of the statements */
struct Failed {
    SQLHANDLE handle;
    std::string state;
    std::string text = "planned";
};
std::optional<Failed> failed; /* the call before */

template <class Function>
Function* real(Function* /*wrapper*/, const char* name) {
    static void* const driver = ::dlopen(KELPOLICY_REAL_DRIVER, RTLD_NOW | RTLD_LOCAL);
    return reinterpret_cast<Function*>(::dlsym(driver, name));
}
#define REAL(name) real(&name, #name)

/* The call, unless it is to fail. */
template <class Call>
SQLRETURN unlessFailing(SQLHANDLE handle, const std::string& state, Call call) {
    failed.reset();
    if (state.empty()) return call();
    if (state == "02000") return SQL_NO_DATA;
    if (state != "?") failed = {.handle = handle, .state = state};
    return SQL_ERROR;
}

std::string ask(const std::function<std::string(const std::string&)>& plan, SQLHSTMT statement) {
    return plan ? plan(texts[statement]) : "";
}

std::string textOf(const SQLCHAR* text, SQLINTEGER length) {
    const auto* const chars = reinterpret_cast<const char*>(text);
    return length == SQL_NTS ? chars : std::string(chars, static_cast<size_t>(length));
}

}  // namespace

hosttest::Misbehaviour& misbehaviour() {
    static hosttest::Misbehaviour only;
    return only;
}

SQLRETURN SQLGetInfo(SQLHDBC dbc, SQLUSMALLINT what, SQLPOINTER value, SQLSMALLINT size, SQLSMALLINT* length) {
    const std::string& system = misbehaviour().databaseSystem;
    if (what != SQL_DBMS_NAME || system.empty()) return REAL(SQLGetInfo)(dbc, what, value, size, length);
    static_cast<char*>(value)[system.copy(static_cast<char*>(value), static_cast<size_t>(size) - 1)] = '\0';
    if (length != nullptr) *length = static_cast<SQLSMALLINT>(system.size());
    return SQL_SUCCESS;
}

SQLRETURN SQLDriverConnect(SQLHDBC dbc, SQLHWND window, SQLCHAR* in, SQLSMALLINT inLength, SQLCHAR* out,
                           SQLSMALLINT outSize, SQLSMALLINT* outLength, SQLUSMALLINT completion) {
    if (misbehaviour().refusal.empty())
        return REAL(SQLDriverConnect)(dbc, window, in, inLength, out, outSize, outLength, completion);
    failed = {.handle = dbc, .state = "08001", .text = misbehaviour().refusal + textOf(in, inLength)};
    return SQL_ERROR;
}

SQLRETURN SQLPrepare(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length) {
    texts[statement] = textOf(text, length);
    return REAL(SQLPrepare)(statement, text, length);
}

SQLRETURN SQLExecute(SQLHSTMT statement) {
    return unlessFailing(statement, ask(misbehaviour().run, statement), [&] { return REAL(SQLExecute)(statement); });
}

SQLRETURN SQLExecDirect(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length) {
    texts[statement] = textOf(text, length);
    return unlessFailing(statement, ask(misbehaviour().run, statement),
                         [&] { return REAL(SQLExecDirect)(statement, text, length); });
}

SQLRETURN SQLFetch(SQLHSTMT statement) {
    return unlessFailing(statement, ask(misbehaviour().fetch, statement), [&] { return REAL(SQLFetch)(statement); });
}

SQLRETURN SQLGetData(SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT type, SQLPOINTER value, SQLLEN size,
                     SQLLEN* length) {
    const SQLRETURN result = REAL(SQLGetData)(statement, column, type, value, size, length);
    if (misbehaviour().tellsNoLength && length != nullptr && *length > 0) *length = SQL_NO_TOTAL;
    return result;
}

// The driver manager asks until there is nothing more.
SQLRETURN SQLError(SQLHENV env, SQLHDBC dbc, SQLHSTMT statement, SQLCHAR* state, SQLINTEGER* code, SQLCHAR* message,
                   SQLSMALLINT size, SQLSMALLINT* length) {
    const SQLHANDLE handle = statement != SQL_NULL_HSTMT ? statement : dbc;
    if (!failed || failed->handle != handle) {
        return REAL(SQLError)(env, dbc, statement, state, code, message, size, length);
    }
    const std::string& text = failed->text;
    std::memcpy(state, failed->state.c_str(), failed->state.size() + 1);
    *code = 1;
    *length = static_cast<SQLSMALLINT>(text.size());
    message[text.copy(reinterpret_cast<char*>(message), static_cast<size_t>(size) - 1)] = '\0';
    failed.reset();
    return SQL_SUCCESS;
}
