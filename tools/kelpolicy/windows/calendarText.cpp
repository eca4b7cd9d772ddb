// The calendar for a terminal: one line for each day, one character for each hour of its clock.
#include <fmt/format.h>

#include "console/terminal.h"
#include "console/text.h"
#include "windows/calendar.h"

namespace kelpolicy {
namespace {

constexpr const char* weekdays[] = {"Su", "Mo", "Tu", "We", "Th", "Fr", "Sa"};

/* Letters tell the windows apart without colour. */
std::string bar(const CalendarDay& day, const std::vector<Hours>& hours, char all, char part, Style style,
                const Output& output) {
    std::string text;
    for (const HourShare share : sharesOfHours(day, hours)) {
        switch (share) {
            case HourShare::doesNotExist:
                text += ' ';
                break;
            case HourShare::none:
                text += '.';
                break;
            case HourShare::part:
                text += part;
                break;
            case HourShare::all:
                text += all;
                break;
        }
    }
    return "|" + (hours.empty() ? text : output.styled(style, text)) + "|";
}

std::string listOf(const char* name, const std::vector<Hours>& hours) {
    std::string text;
    for (const Hours& part : hours) text += (text.empty() ? std::string(name) + " " : ", ") + shownHours(part);
    return text;
}

/* A line that wrapped would tear the picture: the list of hours is cut where the terminal ends, the bars tell them. */
std::string line(const CalendarDay& day, const Output& output) {
    constexpr size_t pictureWidth = 63;
    const std::string name =
        fmt::format("{}{}{} {:2}", day.isToday ? '>' : ' ', day.clockChange.has_value() ? '!' : ' ',
                    weekdays[weekdayOf(day.date)], day.date.day);
    std::string list;
    for (const std::string& part : {listOf("online", day.online), listOf("offline", day.offline),
                                    day.start == day.end ? std::string("this day is left out") : std::string(),
                                    day.clockChange.has_value() ? shownClockChange(*day.clockChange) : std::string()})
        if (!part.empty()) list += "  " + part;
    if (const std::optional<size_t> width = terminalWidth(); width.has_value() && *width > pictureWidth)
        list = cutToWidth(list, *width - pictureWidth);
    return fmt::format("{}  {}  {}{}", day.isToday ? output.styled(Style::heading, name) : name,
                       bar(day, day.online, 'O', 'o', Style::good, output),
                       bar(day, day.offline, 'X', 'x', Style::warning, output), list);
}

}  // namespace

std::string calendarText(const Calendar& calendar, const Output& output) {
    std::string text = fmt::format("online   {}\noffline  {}\n", calendar.onlineRule, calendar.offlineRule);
    for (const CalendarMonth& page : calendar.months) {
        const std::string title = fmt::format("{} {}", monthName(page.month), page.year);
        text += fmt::format("\n{}  ({})\n", output.styled(Style::heading, title), calendar.zone);
        text += "         0     6     12    18    24  0     6     12    18    24\n";
        for (const CalendarDay& day : page.days) text += line(day, output) + "\n";
    }
    text +=
        "\nO online work may run, o in a part of the hour; X, x the same for offline work; . not; blank: the hour does "
        "not exist.\n> today, ! the clock changes.\n";
    return text;
}

}  // namespace kelpolicy
