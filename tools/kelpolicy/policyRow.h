/* One row of the policy table. */
#ifndef KELPOLICY_POLICY_ROW_H
#define KELPOLICY_POLICY_ROW_H

#include <optional>
#include <string>

#include "sqlpiPolicyKeys.h"

namespace kelpolicy {

struct PolicyRow {
    std::string updateTime{}; /* as the database writes it */
    std::string document{};
};

/* The row of a key; nothing when there is none. Throws Failure when the table cannot be read.
 * REQUIRES: an engine context on the thread. */
std::optional<PolicyRow> readPolicyRow(const sqlpiPolicyKey& key);

}  // namespace kelpolicy

#endif
