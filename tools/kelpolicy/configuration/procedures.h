/* The engine's automatic-maintenance procedures, called as a user of the database calls them. */
#ifndef KELPOLICY_PROCEDURES_H
#define KELPOLICY_PROCEDURES_H

#include <optional>
#include <string>

#include "configuration/configurationTypes.h"
#include "database/policyRow.h"

namespace kelpolicy {

/* Each calls one procedure in the unit of work of the thread's engine context, and throws Failure when it fails. A file
 * is one below the instance's "tmp" directory. */
std::string getPolicyDocument(const ConfigurationType& type);
void getPolicyFile(const ConfigurationType& type, const std::string& fileName);
void setPolicyDocument(const ConfigurationType& type, const std::string& document);
void setPolicyFile(const ConfigurationType& type, const std::string& fileName);

enum class InstallAction : char { insert = 'I', update = 'U', remove = 'D' };

/* The policy install procedure, in the same way. A document comes from `document` or, without one, from a file below
 * the instance directory. */
void installPolicy(InstallAction action, const RowKey& key, const std::optional<std::string>& document,
                   const std::string& fileName);

/* The stored policy in the words of the administration log. */
std::string describePolicy(const ConfigurationType& type);

}  // namespace kelpolicy

#endif
