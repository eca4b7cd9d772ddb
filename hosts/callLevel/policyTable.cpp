// SYSINSTALLOBJECTS: the policy table and the rows it starts with.
#include <iterator>
#include <string_view>

#include "defaultPolicies.h"
#include "session.h"

namespace kelhost {
Outcome Session::installObjects(const std::vector<std::string>& arguments) {
    const std::string& tool = arguments[0];
    const std::string& action = arguments[1];
    if (tool != "POLICY") return failure("42815", "1\xFFSYSINSTALLOBJECTS");
    if (!arguments[2].empty()) return failure("42815", "3\xFFSYSINSTALLOBJECTS");
    if (!arguments[3].empty()) return failure("42815", "4\xFFSYSINSTALLOBJECTS");
    if (action == "V") return verifyPolicyTable();
    if (action == "C") return createPolicyTable();
    return failure("42815", "2\xFFSYSINSTALLOBJECTS");
}

// The database itself answers each time; the prepared statement only makes the question cheap.
Outcome Session::verifyPolicyTable() {
    return asStatement(SqlKind::query, [this] {
        Outcome outcome;
        SQLRETURN result = SQL_SUCCESS;
        if (verify_.handle == SQL_NULL_HSTMT) {
            outcome = allocate(verify_);
            if (outcome.failed()) return outcome;
            result = driver_.prepare(verify_.handle, sqlChars(dialect_->verifyPolicyTable), SQL_NTS);
        }
        if (SQL_SUCCEEDED(result)) result = driver_.execute(verify_.handle);
        if (!SQL_SUCCEEDED(result)) outcome = driverOutcome(SQL_HANDLE_STMT, verify_.handle, *dialect_);
        if (outcome.failed() || !dialect_->keepsPreparedQueries) {
            driver_.freeHandle(SQL_HANDLE_STMT, verify_.handle);
            verify_.handle = SQL_NULL_HSTMT;
        } else {
            driver_.freeStmt(verify_.handle, SQL_CLOSE);
        }
        return outcome;
    });
}

// An existing table keeps its rows.
Outcome Session::createPolicyTable() {
    return createIfMissing([this] { return verifyPolicyTable(); }, [this] { return makePolicyTable(); });
}

Outcome Session::makePolicyTable() {
    for (const char* text : dialect_->createPolicyTable) {
        Outcome outcome = run(text);
        if (outcome.failed()) return outcome;
    }
    for (const DefaultPolicy& policy : defaultPolicies) {
        Outcome outcome = addDefaultPolicy(policy);
        if (outcome.failed()) return outcome;
    }
    return {};
}

Outcome Session::addDefaultPolicy(const DefaultPolicy& policy) {
    constexpr std::string_view text =
        "INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES (?, ?, ?, CURRENT TIMESTAMP, ?)";
    const std::string spelled = spellSql(text, scanSql(text, *dialect_), *dialect_, currentTimestamp());
    DriverStatement statement;
    Outcome outcome = allocate(statement);
    if (outcome.failed()) return outcome;
    const std::string_view values[] = {policy.med, policy.decision, policy.name, policy.document};
    SQLLEN lengths[std::size(values)];
    SQLRETURN result = driver_.prepare(statement.handle, sqlChars(spelled.c_str()), SQL_NTS);
    for (size_t i = 0; i < std::size(values) && SQL_SUCCEEDED(result); ++i) {
        const bool isKey = i < 3;
        lengths[i] = static_cast<SQLLEN>(values[i].size());
        result =
            driver_.bindParameter(statement.handle, static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT,
                                  isKey ? SQL_C_CHAR : SQL_C_BINARY, isKey ? SQL_VARCHAR : SQL_LONGVARBINARY,
                                  values[i].size(), 0, const_cast<char*>(values[i].data()), lengths[i], &lengths[i]);
    }
    if (SQL_SUCCEEDED(result)) result = driver_.execute(statement.handle);
    if (!SQL_SUCCEEDED(result)) outcome = driverOutcome(SQL_HANDLE_STMT, statement.handle, *dialect_);
    giveBack(std::move(statement));
    return outcome;
}

}  // namespace kelhost
