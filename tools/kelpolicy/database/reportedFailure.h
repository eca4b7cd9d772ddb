/* Failures that the host, the database or the engine reports. */
#ifndef KELPOLICY_REPORTED_FAILURE_H
#define KELPOLICY_REPORTED_FAILURE_H

#include <string>

#include "console/failure.h"
#include "hostError.h"
#include "sqlca.h"

namespace kelpolicy {

Failure failureOf(const kelhost::HostError& error);

/* The failure that a communication area reports; `what` could not be done. */
Failure failureOf(const std::string& what, const sqlca& ca);

}  // namespace kelpolicy

#endif
