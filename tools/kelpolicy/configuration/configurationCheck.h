/* Whether a configuration document can be set, and whether what is stored then says the same. */
#ifndef KELPOLICY_CONFIGURATION_CHECK_H
#define KELPOLICY_CONFIGURATION_CHECK_H

#include <optional>
#include <string>
#include <vector>

#include "configuration/configurationFacts.h"
#include "configuration/configurationTypes.h"
#include "console/failure.h"

namespace kelpolicy {

struct CheckedConfiguration {
    std::string stored;                     /* the policy-language document that setting it stores */
    std::optional<Failure> refusal{};       /* the engine would not read back from that what the document says */
    std::vector<std::string> notes{};       /* what is stored or read back as something else that comes close */
    std::vector<ConfigurationFact> facts{}; /* what the document says */
};

/* All that a set checks before it stores. `path` names the document in messages. Throws Failure when the document is
 * refused by the engine's procedures. REQUIRES: an instance is bound to the thread where there is one. */
CheckedConfiguration checkConfiguration(const ConfigurationType& type, const std::string& document,
                                        const std::string& path);

/* What is legal in the document and yet surely not meant, as lint finds it from `now` on in the process's zone. */
std::vector<std::string> lintConfiguration(const ConfigurationType& type, const CheckedConfiguration& checked,
                                           int64_t now);

/* The configuration document of a stored policy, as a get makes it. `name` names the policy in messages. Throws
 * Failure. */
std::string extractConfiguration(const ConfigurationType& type, const std::string& stored, const std::string& name);

/* What the stored policy has and setting the configuration document made from it would change, or why that would fail.
 * `where` says in the messages where it is stored: "in force". */
std::vector<std::string> compareWithStored(const ConfigurationType& type, const std::string& configuration,
                                           const std::string& stored, const std::string& where);

/* What the policy in force has, a get cannot write, and setting the document changes to what a get writes for it. */
std::vector<std::string> compareWithForce(const ConfigurationType& type, const CheckedConfiguration& checked,
                                          const std::string& inForce);

}  // namespace kelpolicy

#endif
