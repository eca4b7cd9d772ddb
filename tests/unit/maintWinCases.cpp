#include "maintWinCases.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <ostream>
#include <random>

namespace maintWinCases {

namespace {

constexpr int64_t HOUR = 3600;
constexpr int64_t DAY = 86400;

tm localOf(int64_t moment) {
    tm local{};
    localtime_r(&moment, &local);
    return local;
}

/* Each draw is a statement's only one, or stands in braces: otherwise compilers make them in different orders. */
class Draw {
public:
    explicit Draw(uint64_t seed) : engine_(seed) {}

    int64_t from(int64_t least, int64_t most) { return std::uniform_int_distribution<int64_t>(least, most)(engine_); }
    uint8_t byte(int least, int most) { return static_cast<uint8_t>(from(least, most)); }
    bool chance(int percent) { return from(1, 100) <= percent; }

    template <class List>
    auto oneOf(const List& list) {
        return list[static_cast<size_t>(from(0, static_cast<int64_t>(std::size(list)) - 1))];
    }

private:
    std::mt19937_64 engine_;
};

template <size_t Size>
void drawMask(Draw& draw, bool (&mask)[Size], int first, int count, int percent) {
    for (int i = first; i < first + count; ++i) mask[i] = draw.chance(percent);
}

sqlpiMaintWindowTime drawTime(Draw& draw) {
    switch (draw.from(0, 3)) {
        case 0:
            return {draw.byte(0, 23), draw.byte(0, 59), draw.byte(0, 59)};
        case 1:
            return {draw.byte(0, 23), static_cast<uint8_t>(30 * draw.from(0, 1)), 0};
        case 2:
            return {draw.byte(0, 4), static_cast<uint8_t>(5 * draw.from(0, 11)), 0};
        default:
            return {0, 0, 0};
    }
}

/* A time of day that a clock change skips or doubles, or nearly. */
sqlpiMaintWindowTime timeNear(Draw& draw, int64_t change) {
    const tm local = localOf(change + draw.from(-9, 9) * 900);
    return {static_cast<uint8_t>(local.tm_hour), static_cast<uint8_t>(local.tm_min), 0};
}

void drawTimes(Draw& draw, sqlpiMaintWindowInfo* info, const int64_t* change) {
    const auto time = [&] { return change != nullptr && draw.chance(50) ? timeNear(draw, *change) : drawTime(draw); };
    info->startTime = time();
    info->endTime = draw.chance(25) ? info->startTime : time();
    if (draw.chance(3)) {
        info->startTime = {draw.byte(0, 255), draw.byte(0, 255), draw.byte(0, 255)};
        if (draw.chance(50)) info->endTime = {draw.byte(0, 255), draw.byte(0, 255), draw.byte(0, 255)};
        if (draw.chance(30)) info->endTime = info->startTime;
    }
}

void drawMasks(Draw& draw, sqlpiMaintWindowInfo* info, int64_t near) {
    if (draw.chance(30)) drawMask(draw, info->monthOfYear, 0, 12, draw.oneOf(std::array{8, 30, 70, 92}));
    if (draw.chance(40)) drawMask(draw, info->dayOfWeek, 0, 7, draw.oneOf(std::array{10, 30, 60, 85}));
    if (draw.chance(50)) {
        constexpr std::array shares = {0, 2, 10, 50, 90, 100};
        drawMask(draw, info->dayOfMonth, 0, 31, draw.oneOf(shares));
        drawMask(draw, info->dayOfMonth, 31, 31, draw.oneOf(shares));
    }
    if (draw.chance(30)) {
        const tm local = localOf(near + draw.from(-1, 1) * DAY);
        info->monthOfYear[local.tm_mon] = true;
        info->dayOfWeek[local.tm_wday] = true;
        info->dayOfMonth[local.tm_mday - 1] = true;
    }
}

sqlpiMaintWindowDateTime drawLimit(Draw& draw, int64_t moment) {
    const tm local = localOf(std::max<int64_t>(moment, 0));
    sqlpiMaintWindowDateTime limit =
        dateTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    if (draw.chance(5)) limit.day = draw.byte(0, 35);
    if (draw.chance(2)) limit.month = draw.byte(0, 14);
    if (draw.chance(2)) limit.hour = draw.byte(22, 30);
    return limit;
}

int32_t drawDuration(Draw& draw, const sqlpiMaintWindowInfo& info) {
    const auto seconds = [](const sqlpiMaintWindowTime& time) {
        return time.hour * 3600 + time.minute * 60 + time.second;
    };
    constexpr std::array lengths = {1, 60, 900, 3600, 7200, 10800, 82800, 86400, 90000, 172800};
    switch (draw.from(0, 9)) {
        case 0:
        case 1:
        case 2:
            return 1;
        case 3:
        case 4: {
            const int32_t length = draw.oneOf(lengths);
            return length + static_cast<int32_t>(draw.from(-1, 1));
        }
        case 5: {
            const auto more = static_cast<int32_t>(draw.from(-1, 1));
            return ((seconds(info.endTime) - seconds(info.startTime)) % 86400 + 86400) % 86400 + more +
                   static_cast<int32_t>(draw.from(-1, 1)) * 3600;
        }
        case 6:
            return static_cast<int32_t>(draw.from(1, 24) * 3600);
        case 7: {
            const int64_t days = draw.from(1, draw.oneOf(std::array{4, 40, 1500}));
            return static_cast<int32_t>(days * DAY + draw.from(-3, 3) * HOUR / 2);
        }
        case 8:
            return draw.oneOf(std::array{0, -1, -3600, -100000, std::numeric_limits<int32_t>::min(),
                                         std::numeric_limits<int32_t>::max()});
        default:
            return static_cast<int32_t>(draw.from(0, 200000));
    }
}

std::string maskText(const bool* mask, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += mask[i] ? '1' : '0';
    return text;
}

std::string timeText(int hour, int minute, int second) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d", hour, minute, second);
    return text.data();
}

std::string limitText(const sqlpiMaintWindowDateTime& limit, int32_t openKind) {
    if (limit.boundKind == openKind) return "open";
    return std::to_string(limit.year) + "-" + std::to_string(limit.month) + "-" + std::to_string(limit.day) + " " +
           timeText(limit.hour, limit.minute, limit.second);
}

}  // namespace

ZoneScope::ZoneScope(const std::string& zone) : hadFormer_(std::getenv("TZ") != nullptr) {
    if (hadFormer_) former_ = std::getenv("TZ");
    if (zone.empty()) {
        unsetenv("TZ");
    } else {
        setenv("TZ", zone.c_str(), 1);
    }
    tzset();
}

ZoneScope::~ZoneScope() {
    if (hadFormer_) {
        setenv("TZ", former_.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}

void PrintTo(const Zone& zone, std::ostream* stream) {
    *stream << zone.name << " " << zone.firstYear << " to " << zone.lastYear;
}

std::vector<int64_t> clockChanges(const Zone& zone) {
    constexpr int64_t stride = 4 * DAY;
    const auto same = [](int64_t a, int64_t b) {
        const tm first = localOf(a);
        const tm second = localOf(b);
        return first.tm_gmtoff == second.tm_gmtoff && first.tm_isdst == second.tm_isdst;
    };
    std::vector<int64_t> changes;
    const int64_t last = localTime(zone.lastYear, 12, 31, 23, 59);
    for (int64_t moment = localTime(zone.firstYear, 1, 1, 0, 0); moment < last; moment += stride) {
        if (same(moment, moment + stride)) continue;
        int64_t before = moment;
        int64_t after = moment + stride;
        while (after - before > 1) {
            const int64_t middle = before + (after - before) / 2;
            (same(moment, middle) ? before : after) = middle;
        }
        changes.push_back(after);
    }
    return changes;
}

Case randomCase(uint64_t seed, const Zone& zone, const std::vector<int64_t>& changes) {
    Draw draw(seed);
    Case question{};
    question.info = dailyWindow({0, 0, 0}, {0, 0, 0});
    const int64_t first = localTime(zone.firstYear, 1, 1, 0, 0);
    const int64_t last = localTime(zone.lastYear, 12, 31, 23, 59);
    int64_t near = draw.from(first, last);
    const int64_t* change = nullptr;
    if (!changes.empty() && draw.chance(65)) {
        change = &changes[static_cast<size_t>(draw.from(0, static_cast<int64_t>(changes.size()) - 1))];
        near = *change;
        switch (draw.from(0, 3)) {
            case 0:
                near += draw.from(-4 * HOUR, 4 * HOUR);
                break;
            case 1:
                near += draw.from(-9, 9) * 900;
                near += draw.from(-1, 1);
                break;
            case 2:
                near += draw.from(-3 * DAY, 3 * DAY);
                break;
            default:
                near += draw.from(-60 * DAY, 2 * DAY);
                break;
        }
    }
    near = std::max<int64_t>(near, 0);
    question.now = {near, draw.from(0, 999999)};
    drawTimes(draw, &question.info, change);
    drawMasks(draw, &question.info, near);
    question.minDuration = drawDuration(draw, question.info);
    if (draw.chance(10)) {
        question.info.outside = 1;
        // Gaps that are long enough are rare, and a walk over five years of days is slow.
        if (draw.chance(85)) question.minDuration = static_cast<int32_t>(draw.from(0, 8 * HOUR));
    }
    if (draw.chance(25))
        question.info.startDateTime =
            drawLimit(draw, near + (draw.chance(70) ? draw.from(-3 * DAY, 6 * DAY) : draw.from(-400 * DAY, 900 * DAY)));
    if (draw.chance(25))
        question.info.endDateTime =
            drawLimit(draw, near + (draw.chance(70) ? draw.from(-1 * DAY, 9 * DAY) : draw.from(-9 * DAY, 2500 * DAY)));
    return question;
}

sqlpiMaintWindowInfo dailyWindow(sqlpiMaintWindowTime start, sqlpiMaintWindowTime end) {
    sqlpiMaintWindowInfo info{};
    info.defined = true;
    std::fill(std::begin(info.monthOfYear), std::end(info.monthOfYear), true);
    std::fill(std::begin(info.dayOfMonth), std::end(info.dayOfMonth), true);
    std::fill(std::begin(info.dayOfWeek), std::end(info.dayOfWeek), true);
    info.startDateTime.boundKind = MAINT_WINDOW_THISANDPRIOR;
    info.endDateTime.boundKind = MAINT_WINDOW_THISANDFUTURE;
    info.startTime = start;
    info.endTime = end;
    return info;
}

int64_t localTime(int year, int month, int day, int hour, int minute, int second) {
    tm civil{};
    civil.tm_year = year - 1900;
    civil.tm_mon = month - 1;
    civil.tm_mday = day;
    civil.tm_hour = hour;
    civil.tm_min = minute;
    civil.tm_sec = second;
    const int64_t utc = timegm(&civil);
    const int64_t guess = utc - localOf(utc - DAY).tm_gmtoff;
    const int64_t offset = localOf(guess).tm_gmtoff;
    return guess + offset == utc ? guess : utc - offset;
}

sqlpiMaintWindowDateTime dateTime(int year, int month, int day, int hour, int minute, int second) {
    return {MAINT_WINDOW_DATE_TIME,      static_cast<uint16_t>(year), static_cast<uint8_t>(month),
            static_cast<uint8_t>(day),   static_cast<uint8_t>(hour),  static_cast<uint8_t>(minute),
            static_cast<uint8_t>(second)};
}

std::string testNameOf(std::string zone) {
    std::replace(zone.begin(), zone.end(), '/', '_');
    return zone;
}

std::string describe(const sqlpiMaintWindowInfo& info) {
    return std::string(info.defined ? "" : "undefined ") + (info.outside != 0 ? "outside " : "") +
           timeText(info.startTime.hour, info.startTime.minute, info.startTime.second) + "-" +
           timeText(info.endTime.hour, info.endTime.minute, info.endTime.second) + " months " +
           maskText(info.monthOfYear, SQLPI_MONTHS) + " days " + maskText(info.dayOfMonth, 31) + " from end " +
           maskText(info.dayOfMonth + 31, 31) + " weekdays " + maskText(info.dayOfWeek, SQLPI_WEEK_DAYS) + " period " +
           limitText(info.startDateTime, MAINT_WINDOW_THISANDPRIOR) + " to " +
           limitText(info.endDateTime, MAINT_WINDOW_THISANDFUTURE);
}

std::string describe(const Case& question) {
    return describe(question.info) + " now " + describeLocal(question.now.seconds) + " minDuration " +
           std::to_string(question.minDuration);
}

std::string describeLocal(int64_t moment) {
    std::array<char, 64> text{};
    const tm local = localOf(moment);
    std::strftime(text.data(), text.size(), "%a %F %T %Z", &local);
    return std::to_string(moment) + " (" + text.data() + ")";
}

}  // namespace maintWinCases
