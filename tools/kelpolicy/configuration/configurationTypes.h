/* The policies that can be got and set as configuration documents. */
#ifndef KELPOLICY_CONFIGURATION_TYPES_H
#define KELPOLICY_CONFIGURATION_TYPES_H

#include <string>

#include "configuration/policyKinds.h"

namespace kelpolicy {

struct ConfigurationType {
    const char* name;      /* as the engine's procedures take it */
    const char* shortName; /* as a person may write it */
    const char* root;      /* element of its documents */
    const PolicyKind& kind;
};

inline constexpr ConfigurationType configurationTypes[] = {
    {"MAINTENANCE_WINDOW", "windows", "KELMaintenanceWindows", windowsKind},
    {"AUTO_BACKUP", "backup", "KELAutoBackupPolicy", backupKind},
    {"AUTO_REORG", "reorg", "KELAutoReorgPolicy", reorgKind},
    {"AUTO_RUNSTATS", "runstats", "KELAutoRunstatsPolicy", runstatsKind}};

/* The type that a person names in any case, or in short; null when there is none. */
const ConfigurationType* findConfigurationType(const std::string& word);

/* The policy that a person names in any case: by the NAME of its row, its type, or in short; null when there is none.
 */
const PolicyKind* findPolicy(const std::string& word);
Failure unknownPolicy(const std::string& word);

}  // namespace kelpolicy

#endif
