/* Generation: configuration records to policy-language text, and engine records to configuration documents. */
#ifndef SQLPI_POLICY_GEN_H
#define SQLPI_POLICY_GEN_H

#include <cstddef>

#include "sqlpiBackup.h"
#include "sqlpiCommonPolicy.h"
#include "sqlpiPolicyRecords.h"
#include "sqlpiStatsProf.h"

/* Working buffers in bytes, terminator included: no document is longer. */
constexpr size_t SQLPI_OLD_MW_POLICY_SIZE = 12000;
constexpr size_t SQLPI_OLD_BACKUP_POLICY_SIZE = 12000;
constexpr size_t SQLPI_OLD_REORG_POLICY_SIZE = 4096;
constexpr size_t SQLPI_OLD_RUNSTATS_POLICY_SIZE = 4096;
constexpr size_t SQLPI_OLD_POLICY_SIZE = 12000; /* what the output of any of them needs */
constexpr size_t SQLPI_NEW_MW_POLICY_SIZE = 10000;
constexpr size_t SQLPI_NEW_BACKUP_POLICY_SIZE = 10000;
constexpr size_t SQLPI_NEW_REORG_POLICY_SIZE = 10000;
constexpr size_t SQLPI_NEW_RUNSTATS_POLICY_SIZE = 4096;

/* Write the policy-language document of a record into `output` of SQLPI_OLD_POLICY_SIZE bytes, terminated. Text is
 * inserted as it is. Return SQLPI_CONFIG_OK, or SQLPI_CONFIG_FAILED when it does not fit its working buffer: `output`
 * is then an empty text, never a cut one. */
uint32_t sqlpiGenerateOldMWPolicy(const maintenanceOldPolicy& policy, char* output) noexcept;
uint32_t sqlpiGenerateOldBackupPolicy(const backupPolicy& policy, char* output) noexcept;
uint32_t sqlpiGenerateOldReorgPolicy(const reorgPolicy& policy, char* output) noexcept;
uint32_t sqlpiGenerateOldRunsatsPolicy(const runStatsPolicy& policy, char* output) noexcept;

/* Fill a configuration record, which the caller has zeroed, from an engine record. Return SQLPI_CONFIG_OK, or
 * SQLPI_CONFIG_FAILED when there is no memory for a text or the record cannot hold a filter whole. */
uint32_t sqlpiFillAutoBackupValues(const sqlpiBackupPolicy* engine, backupPolicy* policy) noexcept;
uint32_t sqlpiFillAutoReorgValues(const sqlpiReorgPolicy* engine, reorgPolicy* policy) noexcept;
uint32_t sqlpiFillAutoRunstatsValues(const sqlpiRunStatsPolicy* engine, runStatsPolicy* policy) noexcept;
uint32_t sqlpiFillAutoMaintWindowValues(const sqlpiMaintWindow* engine, maintenanceNewPolicy* policy) noexcept;
void sqlpiFillWindow(const sqlpiMaintWindowInfo& info, maintenanceNewWindow& window) noexcept;

/* Write the configuration document of a record. `*document` receives a terminated block of the default pool, which the
 * caller frees, and `*length` its bytes without the terminator. Return SQLPI_CONFIG_OK, or SQLPI_CONFIG_FAILED (and
 * null) when there is no memory or the document does not fit its working buffer. Text is inserted as it is. */
uint32_t sqlpiGenerateNewAutoMaintWindowPolicy(char** document, int* length,
                                               const maintenanceNewPolicy& policy) noexcept;
uint32_t sqlpiGenerateNewAutoBackupPolicy(char** document, int* length, const backupPolicy& policy) noexcept;
uint32_t sqlpiGenerateNewAutoReorgPolicy(char** document, int* length, const reorgPolicy& policy) noexcept;
uint32_t sqlpiGenerateNewAutoRunstatsPolicy(char** document, int* length, const runStatsPolicy& policy) noexcept;

#endif
