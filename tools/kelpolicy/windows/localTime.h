/* Local time of the process: zones, moments as a person writes and reads them, days and clock changes.
 *
 * Moments are seconds since the epoch. */
#ifndef KELPOLICY_LOCAL_TIME_H
#define KELPOLICY_LOCAL_TIME_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace kelpolicy {

/* The years whose months can be shown. The engine searches no time before 1970, and a month's first stretch may begin
 * long before it. */
inline constexpr int firstYear = 1971;
inline constexpr int lastYear = 9000;

/* Whether local times of that zone can be computed: a name of the zone database, or a POSIX zone, which may have rules.
 */
bool isKnownTimeZone(const std::string& zone);

/* Makes the zone the process's.
 * REQUIRES: no other thread runs. */
void setTimeZone(const std::string& zone);

/* Whether the process's zone is one; where TZ names none, all local times are UTC. */
bool isOwnTimeZoneKnown();

/* The process's zone as a person knows it. */
std::string timeZoneName();

/* Why a text is no moment that can be asked about, in words and whatever the zone; empty when it is one. It may be
 * "2026-03-29", "2026-03-29T02:30", "2026-03-29 02:30:15", each also with "Z" or "+02:00" behind a time, or seconds
 * since the epoch. */
std::string momentComplaint(std::string_view text);

/* The moment. Without an offset it is local time: one that a clock change skips is as much later, and of one that it
 * doubles the first is meant. Nothing when there is a complaint. */
std::optional<int64_t> parseMoment(std::string_view text);

tm localTime(int64_t moment);

std::string isoLocal(int64_t moment);       /* 2026-03-29T03:00:00+02:00 */
std::string shownLocal(int64_t moment);     /* Sun 2026-03-29 03:00:00 CEST */
std::string shownDuration(int64_t seconds); /* 1 h 30 min */

struct Date {
    int year;
    int month; /* 1..12 */
    int day;   /* 1..31 */

    friend auto operator<=>(const Date&, const Date&) = default;  // NOLINT(modernize-use-nullptr): as in policyRow.h
};

Date dateOf(int64_t moment);
Date nextDay(Date date);
int weekdayOf(Date date); /* 0 is Sunday */
std::string isoDate(Date date);

/* Local time as a number: what a clock shows, in seconds since its 1970-01-01 00:00:00. */
int64_t civilSeconds(Date date); /* at midnight */
int64_t civilSecondsAt(int64_t moment);
Date dateOfCivil(int64_t seconds);

/* The day's first moment: the first at or after which the local date is not earlier. */
int64_t startOfDay(Date date);

struct ClockChange {
    int64_t moment;  /* the first with the new offset */
    int64_t seconds; /* the clock goes forward by so much; below 0: back */
};

/* The first clock change in [from, to). */
std::optional<ClockChange> findClockChange(int64_t from, int64_t to);

std::string shownClockChange(const ClockChange& change); /* the clock goes forward from 02:00 to 03:00 */

}  // namespace kelpolicy

#endif
