#include "localTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include "sqlpiCommonPolicy.h"
#include "sqlpiMaintWin.h"

namespace kelpolicy {
namespace {

namespace fs = std::filesystem;

constexpr int64_t secondsOfDay = 86400;
constexpr int64_t lastMoment = 253402300799;  // 9999-12-31 23:59:59 UTC

constexpr size_t longestText = 128; /* of a zone or a moment; regular expressions need a bound */
constexpr const char* zoneDirectory = "/usr/share/zoneinfo";

std::chrono::sys_days civil(Date date) {
    return std::chrono::sys_days(std::chrono::year(date.year) / date.month / date.day);
}

/* The number that is all of the text. */
std::optional<int64_t> wholeNumber(std::string_view text) {
    int64_t value = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (failure != std::errc() || end != text.data() + text.size()) return {};
    return value;
}

int numberIn(const std::cmatch& match, size_t group) {
    return match[group].matched ? static_cast<int>(wholeNumber(match[group].str()).value_or(0)) : 0;
}

/* Local time to a moment: of the offsets in force about then the one that fits, the earlier moment when two do. In a
 * gap none fits; then the offset from before it leads as far behind it. */
int64_t momentOfLocal(int64_t clock) {
    const auto offsetAt = [](int64_t moment) { return int64_t{localTime(moment).tm_gmtoff}; };
    const int64_t before = clock - offsetAt(clock - secondsOfDay);
    const int64_t after = clock - offsetAt(clock + secondsOfDay);
    for (const int64_t moment : {std::min(before, after), std::max(before, after)})
        if (moment + offsetAt(moment) == clock) return moment;
    return before;
}

bool isInRange(int64_t moment) {
    return moment >= 2 * secondsOfDay && moment <= lastMoment - secondsOfDay;
}

}  // namespace

bool isKnownTimeZone(const std::string& zone) {
    static const std::regex posixZone(
        R"(([A-Za-z]{3,}|<[A-Za-z0-9+-]{3,}>)[+-]?\d{1,2}(:\d{2}){0,2}(([A-Za-z]{3,}|<[A-Za-z0-9+-]{3,}>)([+-]?\d{1,2}(:\d{2}){0,2})?(,(M\d{1,2}\.\d\.\d|J?\d{1,3})(/[+-]?\d{1,3}(:\d{2}){0,2})?){2})?)");
    if (zone.size() > longestText) return false;
    if (std::regex_match(zone, posixZone)) return true;
    const fs::path relative(zone);
    if (zone.empty() || relative.is_absolute() || zone.find("..") != std::string::npos) return false;
    const char* directory = std::getenv("TZDIR");
    std::error_code ignored;
    const fs::path file = fs::path(directory == nullptr ? zoneDirectory : directory) / relative;
    return zone == "UTC" || fs::is_regular_file(file, ignored);
}

void setTimeZone(const std::string& zone) {
    ::setenv("TZ", zone.c_str(), 1);
    ::tzset();
}

std::string timeZoneName() {
    if (const char* zone = std::getenv("TZ"); zone != nullptr && *zone != '\0') return *zone == ':' ? zone + 1 : zone;
    std::error_code failure;
    const std::string target = fs::read_symlink("/etc/localtime", failure).string();
    const size_t found = target.find("zoneinfo/");
    return failure || found == std::string::npos ? "local time"
                                                 : target.substr(found + std::string_view("zoneinfo/").size());
}

std::optional<int64_t> parseMoment(std::string_view text) {
    if (const auto seconds = wholeNumber(text)) return isInRange(*seconds) ? seconds : std::nullopt;
    static const std::regex iso(R"((\d{4})-(\d\d)-(\d\d)(?:[T ](\d\d):(\d\d)(?::(\d\d))?(Z|([+-])(\d\d):?(\d\d))?)?)");
    std::cmatch match;
    if (text.size() > longestText || !std::regex_match(text.data(), text.data() + text.size(), match, iso)) return {};
    const Date date = {numberIn(match, 1), numberIn(match, 2), numberIn(match, 3)};
    const std::chrono::year_month_day day(std::chrono::year(date.year),
                                          std::chrono::month(static_cast<unsigned>(date.month)),
                                          std::chrono::day(static_cast<unsigned>(date.day)));
    const int hour = numberIn(match, 4);
    const int minute = numberIn(match, 5);
    const int second = numberIn(match, 6);
    if (!day.ok() || hour > 24 || minute > 59 || second > 59 || (hour == 24 && minute + second > 0)) return {};
    const int64_t clock = civilSeconds(date) + hour * 3600 + minute * 60 + second;
    if (!isInRange(clock)) return {};
    if (!match[7].matched) return momentOfLocal(clock);
    const int64_t offset = numberIn(match, 9) * 3600 + numberIn(match, 10) * 60;
    return clock - (match[8].str() == "-" ? -offset : offset);
}

tm localTime(int64_t moment) {
    const time_t seconds = moment;
    tm local = {};
    ::localtime_r(&seconds, &local);
    return local;
}

std::string isoLocal(int64_t moment) {
    const tm local = localTime(moment);
    const long minutes = std::labs(local.tm_gmtoff) / 60;
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}{}{:02}:{:02}", local.tm_year + 1900, local.tm_mon + 1,
                       local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, local.tm_gmtoff < 0 ? '-' : '+',
                       minutes / 60, minutes % 60);
}

std::string shownLocal(int64_t moment) {
    constexpr const char* weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    const tm local = localTime(moment);
    return fmt::format("{} {:04}-{:02}-{:02} {:02}:{:02}:{:02} {}", weekdays[local.tm_wday], local.tm_year + 1900,
                       local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, local.tm_zone);
}

std::string shownDuration(int64_t seconds) {
    std::string text;
    const auto add = [&text](int64_t count, const char* unit) {
        if (count > 0) text += fmt::format("{}{} {}", text.empty() ? "" : " ", count, unit);
    };
    add(seconds / 3600, "h");
    add(seconds / 60 % 60, "min");
    add(seconds % 60, "s");
    return text.empty() ? "0 s" : text;
}

Date dateOf(int64_t moment) {
    const tm local = localTime(moment);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

Date nextDay(Date date) {
    if (date.day < sqlpiGetTotalDayInMonth(date.year, date.month)) return {date.year, date.month, date.day + 1};
    return date.month < 12 ? Date{date.year, date.month + 1, 1} : Date{date.year + 1, 1, 1};
}

int weekdayOf(Date date) {
    return static_cast<int>(std::chrono::weekday(civil(date)).c_encoding());
}

std::string isoDate(Date date) {
    return fmt::format("{:04}-{:02}-{:02}", date.year, date.month, date.day);
}

int64_t civilSeconds(Date date) {
    return int64_t{civil(date).time_since_epoch().count()} * secondsOfDay;
}

int64_t civilSecondsAt(int64_t moment) {
    return moment + localTime(moment).tm_gmtoff;
}

Date dateOfCivil(int64_t seconds) {
    const auto days = std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds(std::chrono::seconds(seconds)));
    const std::chrono::year_month_day day(days);
    return {static_cast<int>(day.year()), static_cast<int>(static_cast<unsigned>(day.month())),
            static_cast<int>(static_cast<unsigned>(day.day()))};
}

int64_t startOfDay(Date date) {
    // Local time is less than two days away from UTC, also where a zone moved over the date line.
    int64_t earlier = civilSeconds(date) - 2 * secondsOfDay;
    int64_t found = civilSeconds(date) + 2 * secondsOfDay;
    while (found - earlier > 1) {
        const int64_t middle = earlier + (found - earlier) / 2;
        (dateOf(middle) < date ? earlier : found) = middle;
    }
    return found;
}

std::optional<ClockChange> findClockChange(int64_t from, int64_t to) {
    const auto offsetAt = [](int64_t moment) { return int64_t{localTime(moment).tm_gmtoff}; };
    // Two changes are never so close to each other that one step could hide both.
    constexpr int64_t step = 7 * secondsOfDay;
    for (int64_t before = from - 1; before < to - 1;) {
        int64_t after = std::min(before + step, to - 1);
        const int64_t change = offsetAt(after) - offsetAt(before);
        if (change == 0) {
            before = after;
            continue;
        }
        while (after - before > 1) {
            const int64_t middle = before + (after - before) / 2;
            (offsetAt(middle) - offsetAt(before) == 0 ? before : after) = middle;
        }
        return ClockChange{after, offsetAt(after) - offsetAt(before)};
    }
    return {};
}

std::string shownClockChange(const ClockChange& change) {
    const int64_t after = civilSecondsAt(change.moment);
    const auto clock = [](int64_t seconds) {
        const int64_t minutes = (seconds % secondsOfDay + secondsOfDay) % secondsOfDay / 60;
        return fmt::format("{:02}:{:02}", minutes / 60, minutes % 60);
    };
    return fmt::format("the clock goes {} from {} to {}", change.seconds > 0 ? "forward" : "back",
                       clock(after - change.seconds), clock(after));
}

}  // namespace kelpolicy
