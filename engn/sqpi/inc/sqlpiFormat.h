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

#endif
