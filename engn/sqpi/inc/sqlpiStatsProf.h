/* Reorg, runstats and statistics-profile policies: their records, and how these are read from a document. */
#ifndef SQLPI_STATS_PROF_H
#define SQLPI_STATS_PROF_H

#include <cstdint>

#include "sqlpiApi.h"
#include "sqlpiPolicyBase.h"

/* The table scope of a policy; the other records of this header begin with the same field. */
struct sqlpiAtmSensors {
    char* tablesFilter; /* filter clause over tables, terminated; null: all tables. From the default pool, owned by the
                           caller, who frees it (sqlofmblkEx) before asking again: it is overwritten, not released */
};

using sqlpiRunStatsPolicy = sqlpiAtmSensors;

struct sqlpiReorgPolicy {
    char* tablesFilter;                               /* as in sqlpiAtmSensors */
    int32_t reorgSizeLimitKB;                         /* largest table, in KB, that is reorganised; 0: no limit */
    int32_t useTempTbsp;                              /* 1 through a temporary table space, 0 not */
    int32_t indexReorgMode;                           /* 0 "read" (offline), 1 "write" (online) */
    int32_t dictionaryOption;                         /* 0 keep the compression dictionary, 1 rebuild it */
    uint64_t reclaimExtentsSizeForMDCTables;          /* KB; 0: not set */
    uint64_t numInxPseudoEmptyPagesForVolatileTables; /* pages; 0: not set */
};

enum sqlpiProfileType : int32_t { PROFILE_SINGLE_COLUMN = 0, PROFILE_COLUMN_GROUPS = 1, PROFILE_NOT_STATED = 2 };

struct sqlpiStatsProfPolicy {
    char* tablesFilter;          /* as in sqlpiAtmSensors; default null */
    int32_t maxFiles;            /* monitor: files; default 20 */
    int32_t maxFileSize;         /* monitor: size of a file; default 128 */
    int32_t maxFWSize;           /* feedback warehouse population; default 20 */
    int32_t maxSingleTableStats; /* default 50 */
    int32_t maxColGroupStats;    /* default 50 */
    int32_t maxFrequentValues;   /* default 20 */
    int32_t maxProfiles;         /* default 20 */
    int32_t profileType;         /* sqlpiProfileType; default PROFILE_NOT_STATED */
};

/* The defaults of a statistics-profile record. */
inline constexpr sqlpiStatsProfPolicy SQLPI_STATS_PROF_DEFAULTS = {nullptr,           20, 128, 20, 50, 50, 20, 20,
                                                                   PROFILE_NOT_STATED};

/* Each reads a policy-language document of `length` bytes into a record that is not cleared first: what the document
 * does not say is left as it is; a null record is not filled. Returns the parser's status (sqlpiPolicyCommonParser.h).
 * Threads: any number at once. */
SQLPI_ENTRY int32_t sqlpiGetAtmSensors(char* document, int32_t length, sqlpiAtmSensors* sensors) noexcept;
SQLPI_ENTRY int32_t sqlpiGetReorgPolicy(char* document, int32_t length, sqlpiReorgPolicy* policy) noexcept;
SQLPI_ENTRY int32_t sqlpiGetStatsProfilePolicy(char* document, int32_t length, sqlpiStatsProfPolicy* policy) noexcept;

#endif
