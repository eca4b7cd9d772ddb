/* What a configuration document says, one thing at a time. */
#ifndef KELPOLICY_CONFIGURATION_FACTS_H
#define KELPOLICY_CONFIGURATION_FACTS_H

#include <string>
#include <vector>

#include "console/text.h"

namespace kelpolicy {

struct ConfigurationFact {
    std::string name;  /* "FilterClause", "BackupOptions/@mode", "OfflineWindow/DaysOfWeek" */
    std::string value; /* as written; what is not written has its default */
    std::string sense; /* the same for values that mean the same */
    bool isFreeText;   /* stored as it is, not converted */
    TextPlace place;   /* of the element's start tag */
    size_t offset;     /* of its first byte; the document's size when it is not written as such a tag */
};

/* All facts in document order; attributes that may be left out are always there.
 * REQUIRES: the document is a valid configuration document. Throws std::bad_alloc. */
std::vector<ConfigurationFact> readConfigurationFacts(const std::string& document);

/* The fact of that name, or null. */
const ConfigurationFact* findFact(const std::vector<ConfigurationFact>& facts, std::string_view name);

}  // namespace kelpolicy

#endif
