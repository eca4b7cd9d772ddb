// The calendar as an iCalendar file (RFC 5545): one event for each stretch of time, in UTC, so that no reader needs the
// zone to get the moments right.
#include <fmt/format.h>

#include <ctime>

#include "windows/calendar.h"

namespace kelpolicy {
namespace {

std::string utc(int64_t moment) {
    const time_t seconds = moment;
    tm time = {};
    ::gmtime_r(&seconds, &time);
    return fmt::format("{:04}{:02}{:02}T{:02}{:02}{:02}Z", time.tm_year + 1900, time.tm_mon + 1, time.tm_mday,
                       time.tm_hour, time.tm_min, time.tm_sec);
}

/* A value of text, with the characters escaped that mean something in the format. */
std::string escaped(const std::string& text) {
    std::string value;
    for (const char character : text) {
        if (character == '\\' || character == ';' || character == ',') value += '\\';
        value += character;
    }
    return value;
}

/* Ends a line; one of more than 75 bytes goes on in further lines that begin with a blank. The text is ASCII. */
void addLine(std::string& file, std::string line) {
    constexpr size_t widest = 75;
    while (line.size() > widest) {
        file += line.substr(0, widest) + "\r\n";
        line = " " + line.substr(widest);
    }
    file += line + "\r\n";
}

void addEvents(std::string& file, const char* kind, const std::string& rule, const std::vector<Stretch>& stretches,
               const std::string& stamp) {
    for (const Stretch& stretch : stretches) {
        addLine(file, "BEGIN:VEVENT");
        addLine(file, fmt::format("UID:{}-{}-{}@kelpolicy", kind, stretch.start, stretch.end));
        addLine(file, "DTSTAMP:" + stamp);
        addLine(file, "DTSTART:" + utc(stretch.start));
        addLine(file, "DTEND:" + utc(stretch.end));
        addLine(file, fmt::format("SUMMARY:Database maintenance: {} window", kind));
        addLine(file, "DESCRIPTION:" + escaped(rule));
        addLine(file, fmt::format("CATEGORIES:{}", kind));
        addLine(file, "TRANSP:TRANSPARENT");
        addLine(file, "END:VEVENT");
    }
}

}  // namespace

std::string calendarIcs(const Calendar& calendar, int64_t now) {
    std::string file;
    addLine(file, "BEGIN:VCALENDAR");
    addLine(file, "VERSION:2.0");
    addLine(file, "PRODID:-//kelpolicy//maintenance windows//EN");
    addLine(file, "CALSCALE:GREGORIAN");
    addEvents(file, "online", calendar.onlineRule, calendar.online, utc(now));
    addEvents(file, "offline", calendar.offlineRule, calendar.offline, utc(now));
    addLine(file, "END:VCALENDAR");
    return file;
}

}  // namespace kelpolicy
