/* The engine's five policies, as this program names them. */
#ifndef KELPOLICY_POLICY_KINDS_H
#define KELPOLICY_POLICY_KINDS_H

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "console/failure.h"
#include "console/text.h"
#include "database/policyRow.h"
#include "model/sqlpiTree.h"
#include "services/sqlpiPolicyKeys.h"
#include "sqlpiPolicyBase.h"

namespace kelpolicy {

struct PolicyKind {
    const char* title;
    const sqlpiPolicyKey& key;
    std::span<const SQLPI_POL_ELEMENT_TYPE> elements; /* a document without any of these is none of this policy */
};

namespace detail {
inline constexpr SQLPI_POL_ELEMENT_TYPE windowElements[] = {SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION};
inline constexpr SQLPI_POL_ELEMENT_TYPE backupElements[] = {SQLPI_ELEMENT_DB_BACKUP_SENSORS, SQLPI_ELEMENT_DB_BACKUP};
inline constexpr SQLPI_POL_ELEMENT_TYPE reorgElements[] = {SQLPI_ELEMENT_SENSORS, SQLPI_ELEMENT_TABLE_REORG_SENSORS,
                                                           SQLPI_ELEMENT_TABLE_REORG};
inline constexpr SQLPI_POL_ELEMENT_TYPE runstatsElements[] = {
    SQLPI_ELEMENT_SENSORS, SQLPI_ELEMENT_TABLE_RUNSTATS_GOAL_CONSTRAINT_SENSORS, SQLPI_ELEMENT_TABLE_RUNSTATS_DECISION};
inline constexpr SQLPI_POL_ELEMENT_TYPE statsProfileElements[] = {SQLPI_ELEMENT_SENSORS, SQLPI_ELEMENT_STATS_PROFILE};
}  // namespace detail

inline constexpr PolicyKind windowsKind = {"Maintenance windows", SQLPI_MAINT_WINDOW_KEY, detail::windowElements};
inline constexpr PolicyKind backupKind = {"Backup policy", SQLPI_BACKUP_KEY, detail::backupElements};
inline constexpr PolicyKind reorgKind = {"Reorg policy", SQLPI_REORG_KEY, detail::reorgElements};
inline constexpr PolicyKind runstatsKind = {"Runstats policy", SQLPI_RUNSTATS_KEY, detail::runstatsElements};
inline constexpr PolicyKind statsProfileKind = {"Statistics profile policy", SQLPI_STATS_PROFILE_KEY,
                                                detail::statsProfileElements};
inline constexpr const PolicyKind* policyKinds[] = {&windowsKind, &backupKind, &reorgKind, &runstatsKind,
                                                    &statsProfileKind};

/* The NAMEs of all policies. */
std::vector<std::string> policyNames();

/* The policy of that NAME, or null. */
const PolicyKind* findPolicyKind(std::string_view name);

/* The policy that stands in the row of that key, or null. */
const PolicyKind* findPolicyKind(const RowKey& key);

/* Where a parser's complaint belongs: the parser reads ahead, so that it cannot tell the place of a byte that is no
 * text. */
TextPlace placeOfProblem(std::string_view document, std::string_view message, TextPlace told);

/* The element tree of a document; nothing, and the reason in `failure`, when it has none. `name` says which document
 * it is. Throws std::bad_alloc. */
sqlpiTree parseDocument(std::string_view document, const std::string& name, std::optional<Failure>& failure);

/* What a person should know of a document that is read as this policy. */
struct DocumentVerdict {
    std::optional<Failure> problem{};  /* it does not parse, or is empty: the engine uses its defaults */
    bool saysNothing = false;          /* it parses, and has no element of the policy */
    const PolicyKind* other = nullptr; /* whose elements it has, where it has none that are this policy's alone */

    bool isFit() const { return !problem.has_value() && !saysNothing && other == nullptr; }
};

/* The note for a document that says nothing, or is another policy's; `origin` says where it comes from.
 * REQUIRES: it parses, and is not fit. */
std::string noteOfMisfit(const PolicyKind& kind, const DocumentVerdict& verdict, const std::string& origin);

enum class DocumentOrigin { stored, given };

/* `name` says which document it is. */
DocumentVerdict judgeDocument(const PolicyKind& kind, std::string_view document, DocumentOrigin origin,
                              const std::string& name);

/* The same for the policy's row. */
DocumentVerdict judgeStoredDocument(const PolicyKind& kind, std::string_view document);

/* The same for any row; of one that is no policy of the engine's only whether it parses. */
DocumentVerdict judgeRow(const RowKey& key, std::string_view document);

}  // namespace kelpolicy

#endif
