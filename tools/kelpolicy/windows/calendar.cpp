#include "windows/calendar.h"

#include <fmt/format.h>

#include <algorithm>

#include "windows/windowRecord.h"

namespace kelpolicy {
namespace {

/* The clock at a moment of a day; told from the other moment at which it shows the same. */
std::string clockAt(int64_t moment, const CalendarDay& day) {
    if (moment == day.end) return "24:00";
    const tm local = localTime(moment);
    std::string text = fmt::format("{:02}:{:02}", local.tm_hour, local.tm_min);
    if (local.tm_sec != 0) text += fmt::format(":{:02}", local.tm_sec);
    if (!day.clockChange.has_value() || day.clockChange->seconds >= 0) return text;
    const int64_t doubled = -day.clockChange->seconds;
    const bool isTwice = moment >= day.clockChange->moment - doubled && moment < day.clockChange->moment + doubled;
    return isTwice ? fmt::format("{} {}", text, local.tm_zone) : text;
}

std::vector<Hours> hoursOf(const std::vector<Stretch>& stretches, const CalendarDay& day) {
    std::vector<Hours> hours;
    for (const Stretch& stretch : stretches) {
        const int64_t start = std::max(stretch.start, day.start);
        const int64_t end = std::min(stretch.end, day.end);
        if (start < end) hours.push_back({start, end, clockAt(start, day), clockAt(end, day)});
    }
    return hours;
}

Json hoursArray(const std::vector<Hours>& hours) {
    Json array = Json::array();
    for (const Hours& part : hours)
        array.push_back({{"from", part.from}, {"until", part.until}, {"start", part.start}, {"end", part.end}});
    return array;
}

}  // namespace

Calendar makeCalendar(const sqlpiMaintWindow& windows, int year, int month, int months, int64_t now) {
    Calendar calendar;
    calendar.zone = timeZoneName();
    calendar.onlineRule = shownRule(windows.online);
    calendar.offlineRule = shownRule(windows.offline);
    const int last = (month - 1) + months;
    const int64_t from = startOfDay({year, month, 1});
    const int64_t to = startOfDay({year + last / 12, last % 12 + 1, 1});
    calendar.online = stretchesBetween(windows.online, from, to);
    calendar.offline = stretchesBetween(windows.offline, from, to);

    const Date today = dateOf(now);
    Date date = {year, month, 1};
    int64_t start = from;
    for (int i = 0; i < months; ++i) {
        CalendarMonth& page = calendar.months.emplace_back();
        page.year = date.year;
        page.month = date.month;
        while (date.month == page.month) {
            CalendarDay& day = page.days.emplace_back();
            day.date = date;
            day.start = start;
            date = nextDay(date);
            day.end = start = startOfDay(date);
            day.isToday = day.date == today;
            day.clockChange = findClockChange(day.start, day.end);
            day.online = hoursOf(calendar.online, day);
            day.offline = hoursOf(calendar.offline, day);
        }
    }
    return calendar;
}

std::string monthName(int month) {
    constexpr const char* names[] = {"January", "February", "March",     "April",   "May",      "June",
                                     "July",    "August",   "September", "October", "November", "December"};
    return names[month - 1];
}

std::string shownHours(const Hours& hours) {
    return hours.from + "–" + hours.until;
}

std::array<HourShare, 24> sharesOfHours(const CalendarDay& day, const std::vector<Hours>& hours) {
    struct Seconds {
        int64_t all;
        int64_t covered;
    };
    std::array<Seconds, 24> seconds{};
    // Clocks change by quarters of an hour, since zones have offsets of whole minutes.
    constexpr int64_t quarter = 900;
    for (int64_t moment = day.start; moment < day.end; moment += quarter) {
        const int64_t end = std::min(moment + quarter, day.end);
        Seconds& hour = seconds.at(static_cast<size_t>(localTime(moment).tm_hour));
        hour.all += end - moment;
        for (const Hours& part : hours)
            hour.covered += std::max<int64_t>(0, std::min(end, part.end) - std::max(moment, part.start));
    }
    std::array<HourShare, 24> shares{};
    std::transform(seconds.begin(), seconds.end(), shares.begin(), [](const Seconds& hour) {
        if (hour.all == 0) return HourShare::doesNotExist;
        if (hour.covered == 0) return HourShare::none;
        return hour.covered == hour.all ? HourShare::all : HourShare::part;
    });
    return shares;
}

Json calendarObject(const Calendar& calendar) {
    Json months = Json::array();
    for (const CalendarMonth& page : calendar.months) {
        Json days = Json::array();
        for (const CalendarDay& day : page.days)
            days.push_back({{"date", isoDate(day.date)},
                            {"today", day.isToday},
                            {"clock_change",
                             day.clockChange.has_value() ? Json(shownClockChange(*day.clockChange)) : Json(nullptr)},
                            {"online", hoursArray(day.online)},
                            {"offline", hoursArray(day.offline)}});
        months.push_back({{"year", page.year}, {"month", page.month}, {"days", days}});
    }
    return {{"zone", calendar.zone},
            {"months", months},
            {"stretches", {{"online", stretchArray(calendar.online)}, {"offline", stretchArray(calendar.offline)}}}};
}

}  // namespace kelpolicy
