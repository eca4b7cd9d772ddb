/* The calls that a piece of the library makes on its engine, written down in order with their arguments. The linker
 * hands them to the one file of a program that includes this (see CMakeLists.txt), which adds those that it alone
 * watches. */
#ifndef TESTS_UNIT_RECORDED_CALLS_H
#define TESTS_UNIT_RECORDED_CALLS_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "callLevel.h"

using Calls = std::vector<std::string>;

inline Calls operator+(Calls first, const Calls& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

namespace recorded {

struct Recorder {
    bool isOn = false;
    std::map<std::string, SQLRETURN> plan{}; /* what a call answers instead, by how it is written down */
    Calls calls{};
};
inline Recorder recorder;

/* Writes a call down and makes it. A planned answer replaces the call, but for success with information. */
template <class Real>
SQLRETURN record(const std::string& call, Real real) {
    if (!recorder.isOn) return real();
    recorder.calls.push_back(call);
    const auto planned = recorder.plan.find(call);
    if (planned == recorder.plan.end()) return real();
    if (planned->second == SQL_SUCCESS_WITH_INFO) real();
    return planned->second;
}

/* Writes down a call whose own calls do not matter, and makes it. */
template <class Real>
auto recordWhole(const std::string& call, Real real) {
    if (recorder.isOn) recorder.calls.push_back(call);
    const bool wasOn = std::exchange(recorder.isOn, false);
    const auto result = real();
    recorder.isOn = wasOn;
    return result;
}

inline std::string present(const void* pointer) {
    return pointer == nullptr ? " -" : " +";
}

inline std::string textOf(SQLCHAR* text, SQLINTEGER length) {
    return " " + std::to_string(length) + " " + reinterpret_cast<const char*>(text);
}

}  // namespace recorded

// NOLINTBEGIN(bugprone-reserved-identifier,misc-definitions-in-headers): the linker's names
#define WRAP(Result, name, parameters)          \
    extern "C" Result __real_##name parameters; \
    extern "C" Result __wrap_##name parameters; \
    extern "C" Result __wrap_##name parameters

WRAP(SQLRETURN, SQLAllocHandle, (SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE* handle)) {
    return recorded::record("allocate " + std::to_string(type) + recorded::present(parent),
                            [&] { return __real_SQLAllocHandle(type, parent, handle); });
}
WRAP(SQLRETURN, SQLFreeHandle, (SQLSMALLINT type, SQLHANDLE handle)) {
    return recorded::record("free " + std::to_string(type), [&] { return __real_SQLFreeHandle(type, handle); });
}
WRAP(SQLRETURN, SQLConnect,
     (SQLHDBC connection, SQLCHAR* server, SQLSMALLINT serverLength, SQLCHAR* user, SQLSMALLINT userLength,
      SQLCHAR* password, SQLSMALLINT passwordLength)) {
    return recorded::record(
        "connect" + recorded::present(server) + std::to_string(serverLength) + recorded::present(user) +
            std::to_string(userLength) + recorded::present(password) + std::to_string(passwordLength),
        [&] {
            return __real_SQLConnect(connection, server, serverLength, user, userLength, password, passwordLength);
        });
}
WRAP(SQLRETURN, SQLDisconnect, (SQLHDBC connection)) {
    return recorded::record("disconnect", [&] { return __real_SQLDisconnect(connection); });
}
WRAP(SQLRETURN, SQLExecDirect, (SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length)) {
    return recorded::record("run" + recorded::textOf(text, length),
                            [&] { return __real_SQLExecDirect(statement, text, length); });
}
WRAP(SQLRETURN, SQLGetSQLCA, (SQLHENV environment, SQLHDBC connection, SQLHSTMT statement, sqlca* ca)) {
    return recorded::record(
        "sqlca" + recorded::present(environment) + recorded::present(connection) + recorded::present(statement),
        [&] { return __real_SQLGetSQLCA(environment, connection, statement, ca); });
}
// NOLINTEND(bugprone-reserved-identifier,misc-definitions-in-headers)

#endif
