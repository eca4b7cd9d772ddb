/* Failures of the engine's procedures with all that is known of them. */
#ifndef KELPOLICY_FAILURE_WITNESS_H
#define KELPOLICY_FAILURE_WITNESS_H

#include <string>

#include "console/failure.h"
#include "hostLogs.h"
#include "sqlca.h"

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

}  // namespace kelpolicy

#endif
