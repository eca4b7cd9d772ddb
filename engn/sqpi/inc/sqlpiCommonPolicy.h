/* Maintenance window policy: the windows' records, and how they are read from the stored policy. */
#ifndef SQLPI_COMMON_POLICY_H
#define SQLPI_COMMON_POLICY_H

#include <cstdint>

#include "sqlpiApi.h"
#include "sqlpiPolicyBase.h"

enum sqlpiBoundKind : int32_t {
    MAINT_WINDOW_DATE_TIME = 0,     /* an explicit date and time */
    MAINT_WINDOW_THISANDPRIOR = 1,  /* no start limit */
    MAINT_WINDOW_THISANDFUTURE = 2, /* no end limit */
};

/* One limit of the validity period, local time. */
struct sqlpiMaintWindowDateTime {
    int32_t boundKind; /* sqlpiBoundKind */
    uint16_t year;     /* full year, e.g. 2024 */
    uint8_t month;     /* 1..12 */
    uint8_t day;       /* 1..31 */
    uint8_t hour;      /* 0..23 */
    uint8_t minute;
    uint8_t second;
};

/* A time of day, local time. */
struct sqlpiMaintWindowTime {
    uint8_t hour;
    uint8_t minute;
    uint8_t second;
};

constexpr int SQLPI_MONTHS = 12;
constexpr int SQLPI_MONTH_DAYS = 62; /* 31 counted from the month's start, then 31 counted back from its end */
constexpr int SQLPI_WEEK_DAYS = 7;

/* One window. Plain data. */
struct sqlpiMaintWindowInfo {
    bool defined;                      /* the window exists */
    bool monthOfYear[SQLPI_MONTHS];    /* index 0 is January */
    bool dayOfMonth[SQLPI_MONTH_DAYS]; /* 0..30: days 1..31; 31: the last day of the month, 32: the one before, .. 61.
                                          Day d of a month of n days is selected by index d-1 or index n-d+31 */
    bool dayOfWeek[SQLPI_WEEK_DAYS];   /* index 0 is Sunday */
    int32_t outside;                   /* 1: work runs outside the window, 0: inside */
    sqlpiMaintWindowDateTime startDateTime; /* start of the validity period */
    sqlpiMaintWindowDateTime endDateTime;   /* end of the validity period */
    sqlpiMaintWindowTime startTime;         /* daily start */
    sqlpiMaintWindowTime endTime;           /* daily end; equal to the start: 24 hours; before it: into the next day */
};

/* Owned by the caller. */
struct sqlpiMaintWindow {
    sqlpiMaintWindowInfo online;
    sqlpiMaintWindowInfo offline;
};

extern "C" {
extern SQLPI_VISIBLE const char* const DAYS_OF_WEEK[SQLPI_WEEK_DAYS]; /* "SUN" to "SAT" */
extern SQLPI_VISIBLE const char* const MONTHS_OF_YEAR[SQLPI_MONTHS];  /* "JAN" to "DEC" */
}

/* Fills `window` (null: nothing happens) with the defaults and then from the stored policy. Threads: any number at
 * once; needs an engine context on the thread. */
SQLPI_ENTRY void sqlpiGetMaintWindow(sqlpiMaintWindow* window) noexcept;

/* Extracts the windows from a policy-language document of `length` bytes into a record that the caller has preset
 * (null: the document is parsed, and that is all). Returns the parser's status, 0 on success. Threads: any number at
 * once. */
SQLPI_ENTRY int32_t sqlpiGetMaintWindowPolicy(char* document, int32_t length, sqlpiMaintWindow* window) noexcept;

#endif
