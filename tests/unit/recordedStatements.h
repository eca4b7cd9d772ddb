/* recordedCalls.h for what also prepares statements and runs them. */
#ifndef TESTS_UNIT_RECORDED_STATEMENTS_H
#define TESTS_UNIT_RECORDED_STATEMENTS_H

#include <cstdint>

#include "unit/recordedCalls.h"

// NOLINTBEGIN(bugprone-reserved-identifier,misc-definitions-in-headers): the linker's names
WRAP(SQLRETURN, SQLSetConnectAttr, (SQLHDBC connection, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length)) {
    return recorded::record(
        "attribute " + std::to_string(attribute) + " " + std::to_string(reinterpret_cast<uintptr_t>(value)),
        [&] { return __real_SQLSetConnectAttr(connection, attribute, value, length); });
}
WRAP(SQLRETURN, SQLPrepare, (SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length)) {
    return recorded::record("prepare" + recorded::textOf(text, length),
                            [&] { return __real_SQLPrepare(statement, text, length); });
}
WRAP(SQLRETURN, SQLExecute, (SQLHSTMT statement)) {
    return recorded::record("execute", [&] { return __real_SQLExecute(statement); });
}
// NOLINTEND(bugprone-reserved-identifier,misc-definitions-in-headers)

#endif
