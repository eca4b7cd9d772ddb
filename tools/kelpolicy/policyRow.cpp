#include "policyRow.h"

#include <fmt/format.h>

#include "sqlStatement.h"

namespace kelpolicy {

std::optional<PolicyRow> readPolicyRow(const sqlpiPolicyKey& key) {
    SqlStatement statement(fmt::format("cannot read the policy {}", key.name));
    statement.execute(
        fmt::format("SELECT UPDATE_TIME, POLICY FROM SYSTOOLS.POLICY WHERE MED='{}' AND DECISION='{}' AND NAME='{}'",
                    key.med, key.decision, key.name));
    if (!statement.fetch()) return {};
    PolicyRow row;
    row.updateTime = statement.shortText(1);
    row.document = statement.bytes(2);
    return row;
}

}  // namespace kelpolicy
