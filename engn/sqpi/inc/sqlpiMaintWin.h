/* Maintenance window scheduling: when the next stretch of time begins and ends in which maintenance may run.
 *
 * All calendar work is done in the process's local time; moments and lengths are in seconds. The moment and the window
 * are arguments, nothing is kept between calls. No argument is changed unless said so, and a null pointer is answered
 * with 0 (with -1 where the result is a moment). Threads: any number at once. */
#ifndef SQLPI_MAINT_WIN_H
#define SQLPI_MAINT_WIN_H

#include <cstdint>
#include <ctime>

#include "clock.h"
#include "sqlpiApi.h"
#include "sqlpiCommonPolicy.h"

/* The next stretch of at least `minDuration` seconds from `now` on: an occurrence of the window, or, with its `outside`
 * flag set, a gap between occurrences. Returns 1 with `*start` and `*end` written (start equal to end: open from there
 * with no end), 0 when there is none, the window is not defined or a limit of its period is no moment from 1970 on.
 * "None" is also what a search that has gone far enough says: where the period has no end, an occurrence is looked for
 * up to the end of the fifth year after that of `now` or of the period's start, whichever is later, and a gap up to
 * 157,680,000 seconds (five years of 365 days) after them; and of a window that is shorter than 24 hours, the second
 * occurrence that is too short ends the search, whatever comes behind it.
 * The sub-second parts are left alone; only a gap that begins at `now` takes over its, and one that begins or ends with
 * an occurrence gets 0 there.
 * Of a local time that occurs twice the one is taken that has the UTC offset of `now`, or of the day looked at before.
 * One that a clock change skips may be read as an earlier moment, so that beside the change a stretch may begin, and
 * even end, before `now`: 02:30 to 02:40, asked at 01:50 when 02:00 becomes 03:00, is 01:30 to 01:40. */
SQLPI_ENTRY int32_t sqlpiFindMaintWindow(const sqlpiMaintWindowInfo* info, OSSTime now, int32_t minDuration,
                                         OSSTime* start, OSSTime* end) noexcept;

/* The same for an occurrence of the window, whatever its `outside` flag. */
SQLPI_ENTRY int32_t sqlpiFindInsideMaintWindow(const sqlpiMaintWindowInfo* info, OSSTime now, int32_t minDuration,
                                               OSSTime* start, OSSTime* end) noexcept;

/* Whether the window on `day` (its time of day is the position) lasts at least `*remaining` seconds from there: 1 with
 * `*windowEnd` filled, else 0; then, for a 24-hour window, `*carried` is set and `*remaining` reduced by the length.
 * Like the routines below, it reads local times as mktime does, which remembers the process's last conversion. */
SQLPI_ENTRY int32_t sqlpiCheckWindowSize(const tm* day, const sqlpiMaintWindowInfo* info, int32_t* remaining,
                                         tm* windowEnd, bool* carried) noexcept;

/* 1 when the window is always open from its start limit on, else 0. */
SQLPI_ENTRY int32_t sqlpiIs24x7MaintWindow(const sqlpiMaintWindowInfo* info) noexcept;

/* The limit of the validity period as a moment, with `*time` filled; 0, and `*time` left alone, when that side is open;
 * -1 when a pointer is null or the platform has no such moment. */
SQLPI_ENTRY int64_t sqlpiGetStartDateTime(const sqlpiMaintWindowInfo* info, tm* time) noexcept;
SQLPI_ENTRY int64_t sqlpiGetEndDateTime(const sqlpiMaintWindowInfo* info, tm* time) noexcept;

/* Days of a month (1..12) by the Gregorian rule; 0 for month 0, -1 for any other. */
SQLPI_ENTRY int32_t sqlpiGetTotalDayInMonth(int32_t year, int32_t month) noexcept;

/* Normalises local time and returns the moment, as mktime does with the daylight-saving flag left to it. When the hour
 * comes out another, as in the gap of a clock change, it is tried once more with the flag the platform settled on. */
SQLPI_ENTRY int64_t sqlpiAdjustTime(tm* time) noexcept;

/* A hook for windows stored by earlier releases; changes nothing. */
SQLPI_ENTRY void sqlpiConvertMaintWindow(sqlpiMaintWindowInfo* info) noexcept;

#endif
