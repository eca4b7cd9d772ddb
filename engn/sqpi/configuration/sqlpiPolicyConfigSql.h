/* The SQL of the configuration procedures, run through the library's package. Internal.
 *
 * Every function leaves the outcome in `ca` and returns its SQLCODE. Threads: any number at once; needs an engine
 * context on the thread. The statements belong to that context's unit of work. */
#ifndef SQLPI_POLICY_CONFIG_SQL_H
#define SQLPI_POLICY_CONFIG_SQL_H

#include <cstddef>
#include <cstdint>

#include "base/sqlpiOwn.h"
#include "sqlca.h"

/* Runs the package's probe (section 1): opens a cursor on the policy table and closes it. The SQLCODE is the open's. */
int32_t sqlpiRunPolicyProbe(sqlca& ca) noexcept;

/* Prepares and runs a SELECT of one POLICY column. On SQLCODE 0 `bytes` holds the first row's value, terminated, and
 * `length` its bytes without the terminator; otherwise `bytes` is null and `length` 0: 100 no row, -954 no memory. The
 * block is of the default pool; `bytes` keeps its own tag for giving it back. */
int32_t sqlpiRunPolicySelect(const char* statementText, sqlpiBlock& bytes, int32_t& length, sqlca& ca) noexcept;

/* Prepares the UPDATE with its one parameter, the document; and runs the prepared one. 100 when it changed no row;
 * sqlerrd[2] is the number of rows changed. -433 when the document is longer than a POLICY column. */
int32_t sqlpiPreparePolicyUpdate(const char* statementText, sqlca& ca) noexcept;
int32_t sqlpiExecutePolicyUpdate(const char* document, size_t length, sqlca& ca) noexcept;

#endif
