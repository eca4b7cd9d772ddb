/* Configuration records: what stands between a configuration document and the policy language, in both directions.
 *
 * Plain records. Text is UTF-8 and terminated. An owned text is a block of the default pool, or null when absent. */
#ifndef SQLPI_POLICY_RECORDS_H
#define SQLPI_POLICY_RECORDS_H

#include <cstdint>
#include <string_view>

/* How a step of the configuration procedures ends. */
constexpr uint32_t SQLPI_CONFIG_OK = 0;
constexpr uint32_t SQLPI_CONFIG_FAILED = 0x90000002;

constexpr int SQLPI_MOST_DAY_NUMBERS = 62;

/* One window as the policy language takes it; mask characters are '0' or '1'. */
struct maintenanceOldWindow {
    char dayOfWeekMask[8];                          /* position 0 is Sunday */
    char monthOfYearMask[13];                       /* position 0 is January */
    int32_t dayNumbers[SQLPI_MOST_DAY_NUMBERS + 1]; /* the days of the month as listed, ended by a 0 */
    char dayOfMonthMask[63];                        /* 0..30: days 1..31; 31..61: last to 31st-last day */
    char timeRange[20];                             /* "Thhmmss/Thhmmss" */
    char occurrence[10];                            /* "During" or "Outside" */
};

struct maintenanceOldPolicy {
    bool onlinePresent;
    bool offlinePresent; /* the last element child of the root is an OfflineWindow */
    maintenanceOldWindow online;
    maintenanceOldWindow offline;
};

/* One window as a configuration document takes it: each text as it is written. */
struct maintenanceNewWindow {
    char daysOfWeek[100];
    char daysOfMonth[200];
    char monthsOfYear[100];
    char startTime[100];
    char duration[10];
    char occurrence[100];
};

struct maintenanceNewPolicy {
    bool onlinePresent;
    maintenanceNewWindow online;
    bool offlinePresent;
    maintenanceNewWindow offline;
};
static_assert(sizeof(maintenanceNewPolicy) == 1222);

struct backupPolicy {
    char* mode;                            /* owned: "Online" or "Offline" */
    char* numberOfFullBackups;             /* owned, as written */
    char* timeSinceLastBackup;             /* owned, as written; hours */
    char* logSpaceConsumedSinceLastBackup; /* owned, as written; pages of 4 KB */
    char* numberOfSessions;                /* owned: storage manager and backup services */
    char path[4096];                       /* disk, tape: path; vendor library: its file name */
    char* libOptions;                      /* owned: vendor library */
    bool useDefaultPath;                   /* disk without a path */
    bool diskTarget;                       /* exactly one of the five targets is set */
    bool tapeTarget;
    bool vltTarget;    /* storage manager */
    bool xbsaTarget;   /* backup services */
    bool vendorTarget; /* vendor library */
};

struct reorgPolicy {
    char* dictionaryOption;                        /* owned: "Keep" or "Rebuild" */
    char* indexReorgMode;                          /* owned: "Online" or "Offline" */
    char* useSystemTempTableSpace;                 /* owned: "true" or "false" */
    char* maxOfflineReorgTableSize;                /* owned; KB */
    char* reclaimExtentsSizeForMDCTables;          /* owned; "0": not set */
    char* numInxPseudoEmptyPagesForVolatileTables; /* owned; "0": not set */
    char filterClause[10000];                      /* whatever its configuration document has room for */
};

struct runStatsPolicy {
    char filterCondition[4096];
};

/* Every namespace of the documents; the host part is this project's own, under a reserved domain. */
#define SQLPI_NAMESPACE_HOST "http://kelpolicy.example"
#define SQLPI_CONFIG_NAMESPACE SQLPI_NAMESPACE_HOST "/xmlns/prod/kel/autonomic/config"
#define SQLPI_POLICY_NAMESPACE SQLPI_NAMESPACE_HOST "/xmlns/prod/kel/autonomic/policy"
#define SQLPI_POLICYLANG_NAMESPACE SQLPI_NAMESPACE_HOST "/xmlns/prod/kel/autonomic/policylang"
#define SQLPI_SCHEMA_INSTANCE_NAMESPACE "http://www.w3.org/2001/XMLSchema-instance"

#endif
