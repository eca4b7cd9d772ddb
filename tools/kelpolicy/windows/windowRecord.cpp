#include "windows/windowRecord.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace kelpolicy {
namespace {

template <size_t Count>
std::string maskText(const bool (&mask)[Count]) {
    std::string text;
    for (const bool isSet : mask) text += isSet ? '1' : '0';
    return text;
}

template <size_t Count, class Name>
std::string listed(const bool (&mask)[Count], Name name) {
    if (std::all_of(std::begin(mask), std::end(mask), [](bool isSet) { return isSet; })) return "all";
    std::string text;
    for (size_t i = 0; i < Count; ++i)
        if (mask[i]) text += (text.empty() ? "" : ", ") + std::string(name(i));
    return text.empty() ? "none" : text;
}

std::string clockText(const sqlpiMaintWindowTime& time) {
    return fmt::format("{:02}:{:02}:{:02}", time.hour, time.minute, time.second);
}

Json limitObject(const sqlpiMaintWindowDateTime& limit) {
    return {{"boundKind", limit.boundKind}, {"year", limit.year},     {"month", limit.month},  {"day", limit.day},
            {"hour", limit.hour},           {"minute", limit.minute}, {"second", limit.second}};
}

std::string limitText(const sqlpiMaintWindowDateTime& limit) {
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", limit.year, limit.month, limit.day, limit.hour,
                       limit.minute, limit.second);
}

std::string dayOfMonthName(size_t index) {
    if (index < 31) return std::to_string(index + 1);
    const size_t fromEnd = index - 30;
    if (fromEnd == 1) return "last";
    const char* suffix = fromEnd % 10 == 2 && fromEnd != 12   ? "nd"
                         : fromEnd % 10 == 3 && fromEnd != 13 ? "rd"
                         : fromEnd % 10 == 1 && fromEnd != 11 ? "st"
                                                              : "th";
    return fmt::format("{}{} last", fromEnd, suffix);
}

}  // namespace

Json windowObject(const sqlpiMaintWindowInfo& window) {
    return {{"defined", window.defined},
            {"monthOfYear", maskText(window.monthOfYear)},
            {"dayOfMonth", maskText(window.dayOfMonth)},
            {"dayOfWeek", maskText(window.dayOfWeek)},
            {"outside", window.outside},
            {"startDateTime", limitObject(window.startDateTime)},
            {"endDateTime", limitObject(window.endDateTime)},
            {"startTime", clockText(window.startTime)},
            {"endTime", clockText(window.endTime)}};
}

int secondsOf(const sqlpiMaintWindowTime& time) {
    return time.hour * 3600 + time.minute * 60 + time.second;
}

std::string shownMonths(const sqlpiMaintWindowInfo& window) {
    return listed(window.monthOfYear, [](size_t index) { return MONTHS_OF_YEAR[index]; });
}

std::string shownDaysOfMonth(const sqlpiMaintWindowInfo& window) {
    const auto* fromEnd = std::begin(window.dayOfMonth) + 31;
    if (std::all_of(std::begin(window.dayOfMonth), fromEnd, [](bool isSet) { return isSet; })) return "all";
    return listed(window.dayOfMonth, dayOfMonthName);
}

std::string shownDaysOfWeek(const sqlpiMaintWindowInfo& window) {
    return listed(window.dayOfWeek, [](size_t index) { return DAYS_OF_WEEK[index]; });
}

std::string shownTimeOfDay(const sqlpiMaintWindowInfo& window) {
    const int start = secondsOf(window.startTime);
    const int end = secondsOf(window.endTime);
    if (start == end) return start == 0 ? "all day" : fmt::format("24 hours from {}", clockText(window.startTime));
    return fmt::format("{} to {}{}", clockText(window.startTime), clockText(window.endTime),
                       start > end ? " of the next day" : "");
}

std::string shownPeriod(const sqlpiMaintWindowInfo& window) {
    const bool hasStart = window.startDateTime.boundKind != MAINT_WINDOW_THISANDPRIOR;
    const bool hasEnd = window.endDateTime.boundKind != MAINT_WINDOW_THISANDFUTURE;
    if (!hasStart && !hasEnd) return "always";
    std::string text;
    if (hasStart) text += "from " + limitText(window.startDateTime);
    if (hasEnd) text += (hasStart ? " " : "") + ("until " + limitText(window.endDateTime));
    return text;
}

std::string shownRule(const sqlpiMaintWindowInfo& window) {
    if (!window.defined) return "there is no such window";
    const std::string weekdays = shownDaysOfWeek(window);
    const std::string daysOfMonth = shownDaysOfMonth(window);
    const std::string months = shownMonths(window);
    const bool isAllDay = secondsOf(window.startTime) == secondsOf(window.endTime);
    std::string days = weekdays == "all" ? "" : "on " + weekdays;
    if (daysOfMonth != "all")
        days += fmt::format("{} the days {} of the month", days.empty() ? "on" : " among", daysOfMonth);
    if (days.empty()) days = "every day";
    if (months != "all") days += " in " + months;
    std::string text = fmt::format("{}{}{} {}", window.outside == 0 ? "" : "at all times, but not ", days,
                                   isAllDay ? "," : " from", shownTimeOfDay(window));
    if (const std::string period = shownPeriod(window); period != "always") text += "; valid " + period;
    return text;
}

}  // namespace kelpolicy
