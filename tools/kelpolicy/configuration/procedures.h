/* The engine's automatic-maintenance procedures, called as a user of the database calls them. */
#ifndef KELPOLICY_PROCEDURES_H
#define KELPOLICY_PROCEDURES_H

#include <optional>
#include <string>

#include "configuration/configurationTypes.h"
#include "console/failure.h"
#include "database/policyRow.h"
#include "hostLogs.h"

namespace kelpolicy {

/* Takes down what the engine logs, to tell more of a failure than its codes do. */
class FailureWitness {
public:
    /* `what` could not be done: the message, codes and tokens of `ca`, and, as its detail, the first error that was
     * logged meanwhile. */
    Failure failure(const std::string& what, const sqlca& ca) const;

private:
    kelhost::LogCapture capture_;
};

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
