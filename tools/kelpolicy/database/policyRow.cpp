#include "database/policyRow.h"

#include <fmt/format.h>

namespace kelpolicy {
namespace {

constexpr const char* reading = "cannot read the policy table";

}  // namespace

RowKey keyOf(const sqlpiPolicyKey& key) {
    return {key.med, key.decision, key.name};
}

std::string shownKey(const RowKey& key) {
    return fmt::format("MED \"{}\", DECISION \"{}\", NAME \"{}\"", key.med, key.decision, key.name);
}

std::string shownOrigin(const sqlpiPolicyKey& key, const PolicyRow& row) {
    return fmt::format("{}, stored {}", key.name, row.updateTime);
}

std::string noteOfMissingRow(const sqlpiPolicyKey& key) {
    return fmt::format("no row {}: the built-in defaults are in force; \"kelpolicy init\" makes the default row",
                       key.name);
}

SqlValues keyValues(const RowKey& key) {
    return {{key.med}, {key.decision}, {key.name}};
}

std::optional<PolicyRow> readPolicyRow(const RowKey& key) {
    SqlStatement statement(fmt::format("cannot read the policy {}", key.name));
    statement.execute(fmt::format("SELECT UPDATE_TIME, POLICY FROM SYSTOOLS.POLICY {}", whereKey), keyValues(key));
    if (!statement.fetch()) return {};
    PolicyRow row;
    row.updateTime = statement.shortText(1);
    row.document = statement.bytes(2);
    return row;
}

std::optional<PolicyRow> readPolicyRow(const sqlpiPolicyKey& key) {
    return readPolicyRow(keyOf(key));
}

std::vector<ListedRow> listPolicyRows() {
    SqlStatement statement(reading);
    statement.execute("SELECT MED, DECISION, NAME, UPDATE_TIME FROM SYSTOOLS.POLICY ORDER BY MED, DECISION, NAME");
    std::vector<ListedRow> rows;
    while (statement.fetch()) {
        ListedRow row = {{statement.bytes(1), statement.bytes(2), statement.bytes(3)}, statement.shortText(4)};
        rows.push_back(std::move(row));
    }
    return rows;
}

void forEachPolicyRow(const std::function<void(const RowKey&, const PolicyRow&)>& visit) {
    SqlStatement statement(reading);
    statement.execute(
        "SELECT MED, DECISION, NAME, UPDATE_TIME, POLICY FROM SYSTOOLS.POLICY ORDER BY MED, DECISION, NAME");
    while (statement.fetch()) {
        const RowKey key = {statement.bytes(1), statement.bytes(2), statement.bytes(3)};
        const PolicyRow row = {statement.shortText(4), statement.bytes(5)};
        visit(key, row);
    }
}

bool holdPolicyRow(const RowKey& key) {
    return SqlStatement("cannot change the policy table")
        .change(fmt::format("UPDATE SYSTOOLS.POLICY SET MED = MED {}", whereKey), keyValues(key));
}

}  // namespace kelpolicy
