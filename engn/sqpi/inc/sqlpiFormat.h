/* Readable policy descriptions: one line of text for each policy. */
#ifndef SQLPI_FORMAT_H
#define SQLPI_FORMAT_H

#include <cstdint>

#include "sqlpiApi.h"
#include "sqlpiBackup.h"
#include "sqlpiCommonPolicy.h"
#include "sqlpiStatsProf.h"

constexpr uint32_t SQLPI_FORMAT_OK = 0;
constexpr uint32_t SQLPI_FORMAT_FAILED = 0x9000000C;

/* Describes the stored policy of that NAME ("CommonPolicy", "TableRunstatsPolicy", "TableReorgPolicy",
 * "StatsProfilePolicy", "DBBackupPolicy") into `buffer` of `size` bytes: terminated, cut where it does not fit.
 * Returns SQLPI_FORMAT_OK, or SQLPI_FORMAT_FAILED for a null buffer or name, a size below 1, or an unknown name (which
 * is told in the buffer). Threads: any number at once; needs an engine context on the thread. */
SQLPI_ENTRY uint32_t sqpiGetPolicyFormatString(char* buffer, int32_t size, const char* name) noexcept;

/* The renderers behind it: each describes one record into `buffer` of `size` bytes, in the same way. A single piece of
 * a line, such as the one with a table filter, is cut at 4095 bytes; the lines of backup and statistics profile as a
 * whole as well. With no window defined, the maintenance windows' buffer is left as it was. */
uint32_t sqlpiGetBackupFormatStrings(char* buffer, int32_t size, const sqlpiBackupPolicy& policy) noexcept;
uint32_t sqlpiGetReorgFormatStrings(char* buffer, int32_t size, const sqlpiReorgPolicy& policy, bool updated) noexcept;
uint32_t sqlpiGetRunstatsFormatStrings(char* buffer, int32_t size, const sqlpiRunStatsPolicy& policy) noexcept;
uint32_t sqpiGetStatsProfileFormatStrings(char* buffer, int32_t size, const sqlpiStatsProfPolicy& policy) noexcept;
uint32_t sqlpiGetMaintWindowFormatStrings(char* buffer, int32_t size, const sqlpiMaintWindow& window) noexcept;

/* Appends the description of one window to the text already in `buffer`. */
uint32_t sqpiFormatMaintenanceWindow(char* buffer, int32_t size, const sqlpiMaintWindowInfo* info) noexcept;

#endif
