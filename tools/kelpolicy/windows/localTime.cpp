#include "windows/localTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>

#include "sqlpiCommonPolicy.h"
#include "sqlpiMaintWin.h"

namespace kelpolicy {
namespace {

namespace fs = std::filesystem;

constexpr int64_t secondsOfDay = 86400;

/* Moments that can be asked about: in every zone they lie in the years that can be shown. */
constexpr int64_t firstMoment = 31622400;     // 1971-01-02 00:00:00 UTC
constexpr int64_t lastMoment = 221876841599;  // 9000-12-30 23:59:59 UTC
constexpr const char* shownMoments = "from 1971-01-02 to 9000-12-30";

constexpr size_t longestText = 128; /* of a zone or a moment; regular expressions need a bound */
constexpr const char* zoneDirectory = "/usr/share/zoneinfo";

std::chrono::sys_days civil(Date date) {
    return std::chrono::sys_days(std::chrono::year(date.year) / date.month / date.day);
}

/* The number that is all of the text; of one that is too large, the largest. */
std::optional<int64_t> wholeNumber(std::string_view text) {
    int64_t value = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size() || failure == std::errc::invalid_argument) return {};
    using Range = std::numeric_limits<int64_t>;
    if (failure == std::errc::result_out_of_range) return text.front() == '-' ? Range::min() : Range::max();
    return value;
}

int numberIn(const std::cmatch& match, size_t group) {
    return match[group].matched ? static_cast<int>(wholeNumber(match[group].str()).value_or(0)) : 0;
}

/* Seconds by which local time is ahead of UTC. */
int64_t offsetAt(int64_t moment) {
    return localTime(moment).tm_gmtoff;
}

/* Local time to a moment: of the offsets in force about then the one that fits, the earlier moment when two do. In a
 * gap none fits; then the offset from before it leads as far behind it. */
int64_t momentOfLocal(int64_t clock) {
    const int64_t before = clock - offsetAt(clock - secondsOfDay);
    const int64_t after = clock - offsetAt(clock + secondsOfDay);
    for (const int64_t moment : {std::min(before, after), std::max(before, after)})
        if (moment + offsetAt(moment) == clock) return moment;
    return before;
}

/* A moment as it is written. */
struct WrittenMoment {
    int64_t seconds; /* as if it were UTC, or less its offset */
    bool isLocal;    /* it has no offset */
};

std::optional<WrittenMoment> readMoment(std::string_view text) {
    if (text.size() > longestText) return {};
    if (const auto seconds = wholeNumber(text)) return WrittenMoment{*seconds, false};
    static const std::regex iso(R"((\d{4})-(\d\d)-(\d\d)(?:[T ](\d\d):(\d\d)(?::(\d\d))?(Z|([+-])(\d\d):?(\d\d))?)?)");
    std::cmatch match;
    if (!std::regex_match(text.data(), text.data() + text.size(), match, iso)) return {};
    const Date date = {numberIn(match, 1), numberIn(match, 2), numberIn(match, 3)};
    const std::chrono::year_month_day day(std::chrono::year(date.year),
                                          std::chrono::month(static_cast<unsigned>(date.month)),
                                          std::chrono::day(static_cast<unsigned>(date.day)));
    const int hour = numberIn(match, 4);
    const int minute = numberIn(match, 5);
    const int second = numberIn(match, 6);
    const int offsetHours = numberIn(match, 9);
    const int offsetMinutes = numberIn(match, 10);
    if (!day.ok() || hour > 24 || minute > 59 || second > 59 || (hour == 24 && minute + second > 0)) return {};
    if (offsetHours > 23 || offsetMinutes > 59) return {};
    const int64_t offset = int64_t{offsetHours} * 3600 + int64_t{offsetMinutes} * 60;
    const int64_t clock = civilSeconds(date) + int64_t{hour} * 3600 + int64_t{minute} * 60 + second;
    return WrittenMoment{clock - (match[8].str() == "-" ? -offset : offset), !match[7].matched};
}

bool isInRange(const WrittenMoment& moment) {
    return moment.seconds >= firstMoment && moment.seconds <= lastMoment;
}

bool isZoneFile(const fs::path& path) {
    std::error_code failure;
    if (!fs::is_regular_file(path, failure)) return false;
    std::array<char, 4> start{};
    std::ifstream(path, std::ios::binary).read(start.data(), start.size());
    return std::string_view(start.data(), start.size()) == "TZif";
}

/* "EST5EDT,M3.2.0/2,M11.1.0": names, offsets to 24 hours, dates of the year, and times to a week before or behind. */
bool isPosixZone(const std::string& zone) {
    const std::string minutes = "(:[0-5]?\\d){0,2}";
    const std::string name = "([A-Za-z]{3,}|<[A-Za-z0-9+-]{3,}>)";
    const std::string offset = "[+-]?([01]?\\d|2[0-4])" + minutes;
    const std::string date =
        "(M([1-9]|1[0-2])\\.[1-5]\\.[0-6]|J([1-9]|[1-9]\\d|[12]\\d\\d|3[0-5]\\d|36[0-5])|"
        "(\\d|[1-9]\\d|[12]\\d\\d|3[0-5]\\d|36[0-5]))";
    const std::string time = "(/[+-]?(\\d?\\d|1[0-5]\\d|16[0-7])" + minutes + ")?";
    static const std::regex posix(name + offset + "(" + name + "(" + offset + ")?((," + date + time + "){2})?)?");
    return std::regex_match(zone, posix);
}

}  // namespace

bool isKnownTimeZone(const std::string& zone) {
    if (zone.empty() || zone.size() > longestText) return false;
    if (zone == "UTC" || isPosixZone(zone)) return true;
    const fs::path relative(zone);
    if (relative.is_absolute() || zone.find("..") != std::string::npos) return false;
    const char* directory = std::getenv("TZDIR");
    return isZoneFile(fs::path(directory == nullptr ? zoneDirectory : directory) / relative);
}

void setTimeZone(const std::string& zone) {
    ::setenv("TZ", zone.c_str(), 1);
    ::tzset();
}

bool isOwnTimeZoneKnown() {
    const char* zone = std::getenv("TZ");
    if (zone == nullptr || *zone == '\0') return true;
    const std::string name = timeZoneName();
    return fs::path(name).is_absolute() ? isZoneFile(name) : isKnownTimeZone(name);
}

std::string timeZoneName() {
    if (const char* zone = std::getenv("TZ"); zone != nullptr && *zone != '\0') return *zone == ':' ? zone + 1 : zone;
    std::error_code failure;
    const std::string target = fs::read_symlink("/etc/localtime", failure).string();
    const size_t found = target.find("zoneinfo/");
    return failure || found == std::string::npos ? "local time"
                                                 : target.substr(found + std::string_view("zoneinfo/").size());
}

std::string momentComplaint(std::string_view text) {
    const std::optional<WrittenMoment> written = readMoment(text);
    if (!written.has_value())
        return fmt::format(
            "\"{}\" is no moment: give seconds since the epoch, or local time as 2026-03-29T02:30:00, with +02:00 "
            "behind it for an offset",
            text);
    if (!isInRange(*written)) return fmt::format("\"{}\" is out of range: give a moment {}", text, shownMoments);
    return {};
}

std::optional<int64_t> parseMoment(std::string_view text) {
    const std::optional<WrittenMoment> written = readMoment(text);
    if (!written.has_value() || !isInRange(*written)) return {};
    return written->isLocal ? momentOfLocal(written->seconds) : written->seconds;
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
    return moment + offsetAt(moment);
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
    // A change and the one that takes it back are an hour less than a week apart at least, as in Recife in 2000.
    constexpr int64_t step = 6 * secondsOfDay;
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
