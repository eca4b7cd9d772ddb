/* Reorg, runstats and statistics-profile policies as the engine asks for them. */
#ifndef SQLPI_STATS_PROF_APPL_H
#define SQLPI_STATS_PROF_APPL_H

#include <cstdint>
#include <ctime>

#include "sqlpiApi.h"
#include "sqlpiStatsProf.h"

/* Reads the policy if it has been updated since `lastRead` (null: always; the record is then cleared first), into the
 * caller's record, which is otherwise not cleared. `*changed` tells whether the record may have changed.
 * `policy` and `changed` may be null: the table is read all the same, and the rest comes back.
 * Returns 0 (also when there is no row), or the status of the reader or the parser.
 * Threads: any number at once; needs an engine context on the thread. */
SQLPI_ENTRY int32_t sqlpiGetReorg(sqlpiReorgPolicy* policy, const time_t* lastRead, bool* changed) noexcept;
SQLPI_ENTRY int32_t sqlpiGetRunStats(sqlpiRunStatsPolicy* policy, const time_t* lastRead, bool* changed) noexcept;

/* Fills `policy` with the defaults and then from the stored statistics-profile policy. */
SQLPI_ENTRY void sqlpiGetStatsProfile(sqlpiStatsProfPolicy* policy) noexcept;

#endif
