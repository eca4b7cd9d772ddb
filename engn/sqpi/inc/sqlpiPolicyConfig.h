/* Automatic-maintenance procedures: get and set a policy as a configuration document, as a value or through a file
 * below the instance's "tmp" directory.
 *
 * A policy type is "MAINTENANCE_WINDOW", "AUTO_BACKUP", "AUTO_REORG" or "AUTO_RUNSTATS". The procedures work in the
 * unit of work of the thread's engine context and neither commit nor roll back. Threads: any number at once. */
#ifndef SQLPI_POLICY_CONFIG_H
#define SQLPI_POLICY_CONFIG_H

#include <cstdint>
#include <string_view>

#include "routines.h"
#include "sqlpiApi.h"
#include "sqlpiPolicyRecords.h"

/* The entries. Each returns SQLPI_CONFIG_OK with SQLSTATE "00000", or SQLPI_CONFIG_FAILED with an SQLSTATE ("5U0ZZ"
 * unless the database gave one) and, mostly, an SQLCODE and tokens in `ca`: -171 an argument, -1448 a file that cannot
 * be written, -1436 a file that cannot be read, -1437 an invalid document, -1438 and -1447 one that cannot be used, 100
 * no such policy row, else the database's own. On failure nothing has been changed. Without `sqlstate` or `ca` nothing
 * is done. REQUIRES: `sqlstate` has SQLUDF_STATE_SIZE bytes. A null indicator pointer means not null. */

/* Writes the policy into the file, whole or not at all. */
SQLPI_ENTRY uint32_t kelAutomaintGetPolicyFileSpLocal(const char* policyType, const char* fileName,
                                                      const int16_t* policyTypeNull, const int16_t* fileNameNull,
                                                      char* sqlstate, const char* routineName, const char* specificName,
                                                      char* message, const sqludf_dbinfo* dbinfo, sqlca* ca) noexcept;

/* Writes the policy into `document`, which has room for SQLUDF_LARGEST_LOB bytes. */
SQLPI_ENTRY uint32_t kelAutomaintGetPolicyDocSpLocal(const char* policyType, sqludf_lob* document,
                                                     const int16_t* policyTypeNull, int16_t* documentNull,
                                                     char* sqlstate, const char* routineName, const char* specificName,
                                                     char* message, const sqludf_dbinfo* dbinfo, sqlca* ca) noexcept;

/* Stores the policy that the file holds, at most SQLUDF_LARGEST_LOB bytes. */
SQLPI_ENTRY uint32_t kelAutomaintSetPolicyFileSpLocal(const char* policyType, const char* fileName,
                                                      const int16_t* policyTypeNull, const int16_t* fileNameNull,
                                                      char* sqlstate, const char* routineName, const char* specificName,
                                                      char* message, const sqludf_dbinfo* dbinfo, sqlca* ca) noexcept;

/* Stores the policy. */
SQLPI_ENTRY uint32_t kelAutomaintSetPolicyDocSpLocal(const char* policyType, const sqludf_lob* document,
                                                     const int16_t* policyTypeNull, const int16_t* documentNull,
                                                     char* sqlstate, const char* routineName, const char* specificName,
                                                     char* message, const sqludf_dbinfo* dbinfo, sqlca* ca) noexcept;

#endif
