/* The engine's records as fields that can be shown. */
#ifndef KELPOLICY_RECORDS_H
#define KELPOLICY_RECORDS_H

#include <optional>
#include <string>
#include <vector>

#include "console/output.h"
#include "sqlpiCommonPolicy.h"

namespace kelpolicy {

struct Field {
    const char* name; /* as in the record */
    Json value;
    std::string meaning; /* in words */
};
using Fields = std::vector<Field>;

/* Each reads one record: from a policy-language document over the engine's defaults (a backup policy in an engine
 * context: over the one in force), or, without one, from the policy table, which needs an engine context on the thread.
 */
Fields readBackupRecord(std::optional<std::string>& document);
Fields readReorgRecord(std::optional<std::string>& document);
Fields readRunstatsRecord(std::optional<std::string>& document);
Fields readStatsProfileRecord(std::optional<std::string>& document);
sqlpiMaintWindow readWindows(std::optional<std::string>& document);

/* A backup policy from a document over an empty record: what the document itself says. REQUIRES: a document. */
Fields readBackupDocument(std::optional<std::string>& document);

}  // namespace kelpolicy

#endif
