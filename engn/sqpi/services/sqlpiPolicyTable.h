/* Whether the policy table is there. Internal. */
#ifndef SQLPI_POLICY_TABLE_H
#define SQLPI_POLICY_TABLE_H

#include <cstdint>

#include "sqlca.h"

/* Verifies the policy table, and creates it when it is missing and `create` says so. Returns the SQLCODE of the verify
 * or create step, which is also in `ca`: 0 when the table is usable. Threads: any number at once; needs an engine
 * context on the thread. */
int32_t sqlpiCheckPolicyTable(bool create, sqlca& ca) noexcept;

#endif
