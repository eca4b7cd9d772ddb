/* Rows of the policy table. */
#ifndef KELPOLICY_POLICY_ROW_H
#define KELPOLICY_POLICY_ROW_H

#include <compare>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "database/sqlStatement.h"
#include "services/sqlpiPolicyKeys.h"

namespace kelpolicy {

struct PolicyRow {
    std::string updateTime{}; /* as the database writes it */
    std::string document{};
};

/* "NAME, stored UPDATE_TIME" */
std::string shownOrigin(const sqlpiPolicyKey& key, const PolicyRow& row);

/* That the policy has no row, and what to do. */
std::string noteOfMissingRow(const sqlpiPolicyKey& key);

/* Bytes of each part of a key. */
inline constexpr size_t longestKeyPart = 128;

/* The key of any row, also of one that is no policy of the engine's. */
struct RowKey {
    std::string med{};
    std::string decision{};
    std::string name{};

    auto operator<=>(const RowKey&) const = default;  // NOLINT(modernize-use-nullptr): the checker misses <=>
};
RowKey keyOf(const sqlpiPolicyKey& key);

/* MED "...", DECISION "...", NAME "..." */
std::string shownKey(const RowKey& key);

/* The condition of a key, and what its markers stand for. REQUIRES of the values: the key lives longer. */
inline constexpr const char* whereKey = "WHERE MED = ? AND DECISION = ? AND NAME = ?";
SqlValues keyValues(const RowKey& key);

/* The row of a key; nothing when there is none. Throws Failure when the table cannot be read, as the others do.
 * REQUIRES: an engine context on the thread, as for the others. */
std::optional<PolicyRow> readPolicyRow(const RowKey& key);
std::optional<PolicyRow> readPolicyRow(const sqlpiPolicyKey& key);

/* The keys of all rows, in order, with their UPDATE_TIME. */
struct ListedRow {
    RowKey key{};
    std::string updateTime{};
};
std::vector<ListedRow> listPolicyRows();

/* All rows in the order of their keys, as they are at one moment. */
void forEachPolicyRow(const std::function<void(const RowKey&, const PolicyRow&)>& visit);

/* Keeps the row from being changed by others until the unit of work ends; false when there is no such row. */
bool holdPolicyRow(const RowKey& key);

}  // namespace kelpolicy

#endif
