/* Descriptions of records. Internal. */
#ifndef SQLPI_FORMAT_RECORDS_H
#define SQLPI_FORMAT_RECORDS_H

#include <cstdint>

#include "sqlpiBackup.h"
#include "sqlpiCommonPolicy.h"
#include "sqlpiStatsProf.h"

/* Each describes one record into `buffer` of `size` bytes, as
 * sqpiGetPolicyFormatString does. A single piece of
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
