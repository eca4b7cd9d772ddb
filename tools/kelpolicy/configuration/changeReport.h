/* Records in the administration log of what the engine's procedures do not report themselves. */
#ifndef KELPOLICY_CHANGE_REPORT_H
#define KELPOLICY_CHANGE_REPORT_H

#include <string>

#include "database/policyRow.h"

namespace kelpolicy {

/* How a change reads: nothing for a row that is none of the engine's policies, and for one that is not there. */
struct RowChange {
    const char* action; /* insert, update or delete */
    std::string before{};
    std::string after{};
};

/* The stored policy in the words of the administration log; nothing for a row that is none of the engine's. */
std::string describeRow(const RowKey& key);

/* Writes the record. `command` is who did it. */
void reportChange(const char* command, const RowKey& key, const std::string& database, const RowChange& change);

}  // namespace kelpolicy

#endif
