#include "policyTable.h"

#include <iterator>
#include <string_view>

#include "defaultPolicies.h"
#include "dialect.h"

namespace kelhost {

Outcome PolicyTable::installObjects(const std::vector<std::string>& arguments) {
    const std::string& tool = arguments[0];
    const std::string& action = arguments[1];
    if (tool != "POLICY") return failure("42815", "1\xFFSYSINSTALLOBJECTS");
    if (!arguments[2].empty()) return failure("42815", "3\xFFSYSINSTALLOBJECTS");
    if (!arguments[3].empty()) return failure("42815", "4\xFFSYSINSTALLOBJECTS");
    if (action == "V") return verify();
    if (action == "C") return create();
    return failure("42815", "2\xFFSYSINSTALLOBJECTS");
}

// The database itself answers each time; the prepared statement only makes the question cheap.
Outcome PolicyTable::verify() {
    return unit_.asStatement(SqlKind::query, [this] {
        Outcome outcome;
        if (question_ == nullptr) {
            outcome = database_.prepare(database_.dialect().verifyPolicyTable, Authority::host, question_);
        }
        unsigned columns = 0;
        if (!outcome.failed()) outcome = question_->execute(columns);
        if (!outcome.failed()) outcome = question_->reset();
        if (outcome.failed() || !database_.dialect().keepsPrepared) question_.reset();
        return outcome;
    });
}

// An existing table keeps its rows.
Outcome PolicyTable::create() {
    return unit_.createIfMissing([this] { return verify(); }, [this] { return make(); });
}

Outcome PolicyTable::make() {
    for (const char* text : database_.dialect().createPolicyTable) {
        Outcome outcome = database_.run(text);
        if (outcome.failed()) return outcome;
    }
    for (const DefaultPolicy& policy : defaultPolicies) {
        Outcome outcome = add(policy);
        if (outcome.failed()) return outcome;
    }
    return {};
}

Outcome PolicyTable::add(const DefaultPolicy& policy) {
    constexpr std::string_view text =
        "INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES (?, ?, ?, CURRENT TIMESTAMP, ?)";
    const Dialect& dialect = database_.dialect();
    std::unique_ptr<PreparedStatement> statement;
    Outcome outcome = database_.prepare(spellSql(text, scanSql(text, dialect), dialect, currentTimestamp()),
                                        Authority::host, statement);
    const std::string_view values[] = {policy.med, policy.decision, policy.name, policy.document};
    for (unsigned i = 0; i < std::size(values) && !outcome.failed(); ++i) {
        const ValueKind kind = i < 3 ? ValueKind::text : ValueKind::bytes;
        outcome = statement->bind(i + 1, {.kind = kind, .content = values[i]});
    }
    unsigned columns = 0;
    return outcome.failed() ? outcome : statement->execute(columns);
}

}  // namespace kelhost
