/* Policy administration entry points: one policy row inserted, replaced or deleted; rows handed back as a result set.
 *
 * They work in the unit of work of the thread's engine context and neither commit nor roll back. Threads: any number at
 * once. */
#ifndef SQLPI_POLICY_SP_H
#define SQLPI_POLICY_SP_H

#include <cstddef>
#include <cstdint>

#include "routines.h"
#include "sqlca.h"
#include "sqlpiApi.h"

/* The most bytes of the arguments, without their terminator. One that is longer is refused. */
constexpr size_t SQLPI_KEY_SIZE = 128;
constexpr size_t SQLPI_POLICY_FILE_SIZE = 2048;

/* The keys of the row; a null `decision` is "NOP", a null `name` "SYSTOOLS.POLICY". Every indicator may be null itself:
 * the argument is then given. */
struct kelPolicyInstallNulls {
    const int16_t* action;
    const int16_t* med;
    const int16_t* decision;
    const int16_t* name;
    const int16_t* policyFile;
    const int16_t* policy;
};

/* `action` is "I" (insert), "U" (replace) or "D" (delete). The POLICY value of an insert or replacement is the contents
 * of `policyFile`, a file on the server (as SQLBindFileToParam reads one), or, where none is named, `policy`.
 *
 * A replacement is reported to the administration log with the policy's descriptions before and after. While the stored
 * reorg policy has a reclaim size or a number of pseudo-empty pages, or the replaced reorg policy was described with
 * one, every replacement, whatever its keys, is followed by a second one: the reorg policy, generated anew with the
 * values of that description (0 where it shows none), takes the place of the row.
 *
 * Returns 0 with SQLSTATE "00000", also when no row had the keys; or -1 with SQLSTATE "56038" (no such action) or
 * "58004" (anything else), and then the beginning of the engine's message on the first failure in `message`. A text
 * that is too long is told as SQLCODE -171, before anything is executed; so is an output that is missing, by -1 alone.
 * REQUIRES: `sqlstate` has SQLUDF_STATE_SIZE bytes, `message` SQLUDF_MESSAGE_SIZE. */
SQLPI_ENTRY int32_t kelPolicyInstallSp(const char* action, const char* med, const char* decision, const char* name,
                                       const char* policyFile, const sqludf_lob* policy,
                                       const kelPolicyInstallNulls* nulls, char* sqlstate, char* message,
                                       const sqludf_dbinfo* dbinfo) noexcept;
SQLPI_ENTRY int32_t kelPolicyInstallSpLocal(const char* action, const char* med, const char* decision, const char* name,
                                            const char* policyFile, const sqludf_lob* policy,
                                            const kelPolicyInstallNulls* nulls, char* sqlstate, char* message,
                                            const sqludf_dbinfo* dbinfo) noexcept;

/* Selects MED, DECISION, NAME and POLICY of the rows with the keys that are given: not null by its indicator
 * (`nullIndicators` holds three, in the order of the keys; a null pointer: all are given) and not empty. On success
 * `ca` is clear and the result set stays open for the caller to read and close. The keys go into the statement as they
 * are: the caller is trusted with them. -171 when a key does not fit the statement. Does nothing without `ca`. */
SQLPI_ENTRY void kelPolicyRetrieve(const char* med, const char* decision, const char* name,
                                   const int16_t* nullIndicators, sqlca* ca) noexcept;

/* Accepts everything: returns 0. */
SQLPI_ENTRY int32_t kelPolicyValidateUdf(...) noexcept;

#endif
