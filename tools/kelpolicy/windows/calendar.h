/* Months of maintenance: for each day the hours in which the engine may work. What the pictures are made from. */
#ifndef KELPOLICY_CALENDAR_H
#define KELPOLICY_CALENDAR_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "console/output.h"
#include "sqlpiCommonPolicy.h"
#include "windows/localTime.h"
#include "windows/windowSearch.h"

namespace kelpolicy {

/* A part of one day, as its clock shows it. */
struct Hours {
    int64_t start;
    int64_t end;
    std::string from;  /* "22:00", with seconds where they are not 0, with the zone where the clock shows it twice */
    std::string until; /* "24:00" at the end of the day */
};

struct CalendarDay {
    Date date{};
    int64_t start = 0; /* first moment; the day ends where the next begins; both the same: a zone left the day out */
    int64_t end = 0;
    bool isToday = false;
    std::optional<ClockChange> clockChange{};
    std::vector<Hours> online{};
    std::vector<Hours> offline{};
};

struct CalendarMonth {
    int year = 0;
    int month = 0; /* 1..12 */
    std::vector<CalendarDay> days{};
};

struct Calendar {
    std::string zone{};
    std::string onlineRule{}; /* in words */
    std::string offlineRule{};
    std::vector<CalendarMonth> months{};
    std::vector<Stretch> online{}; /* all that overlap the months, in their full extent */
    std::vector<Stretch> offline{};
};

Calendar makeCalendar(const sqlpiMaintWindow& windows, int year, int month, int months, int64_t now);

std::string monthName(int month); /* "January" */

/* "22:00–24:00" */
std::string shownHours(const Hours& hours);

/* How much of each hour of the day's clock, 0 to 23, lies in the hours: of all moments at which the clock shows it. */
enum class HourShare { doesNotExist, none, part, all };
std::array<HourShare, 24> sharesOfHours(const CalendarDay& day, const std::vector<Hours>& hours);

Json calendarObject(const Calendar& calendar);

/* Each gives the calendar as text: for a terminal, as a page by itself, as an iCalendar file. */
std::string calendarText(const Calendar& calendar, const Output& output);
std::string calendarHtml(const Calendar& calendar);
std::string calendarIcs(const Calendar& calendar, int64_t now);

}  // namespace kelpolicy

#endif
