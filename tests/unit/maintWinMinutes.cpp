#include "maintWinMinutes.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace maintWinMinutes {

namespace {

constexpr int64_t MINUTE = 60;
constexpr int64_t DAY = 86400;

struct WallClock {
    std::chrono::sys_days date;
    int timeOfDay;
};

WallClock wallClock(int64_t moment) {
    tm local{};
    localtime_r(&moment, &local);
    const std::chrono::year_month_day date{std::chrono::year(local.tm_year + 1900),
                                           std::chrono::month(static_cast<unsigned>(local.tm_mon + 1)),
                                           std::chrono::day(static_cast<unsigned>(local.tm_mday))};
    return {std::chrono::sys_days(date), local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec};
}

bool isSelected(const sqlpiMaintWindowInfo& info, std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    const auto fromStart = static_cast<unsigned>(date.day()) - 1;
    const std::chrono::year_month_day last =
        std::chrono::year_month_day_last(date.year(), std::chrono::month_day_last(date.month()));
    const auto fromEnd = static_cast<unsigned>(last.day()) - static_cast<unsigned>(date.day());
    return info.monthOfYear[static_cast<unsigned>(date.month()) - 1] &&
           info.dayOfWeek[std::chrono::weekday(day).c_encoding()] &&
           (info.dayOfMonth[fromStart] || info.dayOfMonth[31 + fromEnd]);
}

}  // namespace

std::optional<Stretch> find(const sqlpiMaintWindowInfo& info, int64_t now, int32_t minDuration, int64_t startLimit,
                            int64_t endLimit, int days) {
    const auto seconds = [](const sqlpiMaintWindowTime& time) { return time.hour * 3600 + time.minute * 60; };
    const int S = seconds(info.startTime);
    const int E = seconds(info.endTime);
    const bool overMidnight = S > E;
    const int64_t first = std::max(now, startLimit);
    const auto firstEver = startLimit == 0 ? std::chrono::sys_days::min() : wallClock(startLimit).date;

    // A window over midnight that has begun in time runs to its end, also past the end of the period.
    bool begun = false;
    const auto isOpen = [&](int64_t moment) {
        const WallClock clock = wallClock(moment);
        bool open = false;
        if (!overMidnight) {
            open = clock.timeOfDay >= S && clock.timeOfDay < E && isSelected(info, clock.date);
        } else if (clock.timeOfDay >= S) {
            open = isSelected(info, clock.date);
        } else if (clock.timeOfDay < E) {
            const auto evening = clock.date - std::chrono::days(1);
            open = evening >= firstEver && isSelected(info, evening);
        }
        const bool inPeriod = endLimit == 0 || moment < endLimit;
        open = open && (inPeriod || (overMidnight && begun));
        begun = open;
        return open;
    };

    const bool wantsOpen = info.outside == 0;
    const int64_t last = first + days * DAY;
    int64_t start = -1;
    for (int64_t moment = first; moment < last + DAY; moment += MINUTE) {
        const bool usable = wantsOpen ? isOpen(moment) : !isOpen(moment) && (endLimit == 0 || moment < endLimit);
        if (usable && start < 0 && moment < last) start = moment;
        if (!usable && start >= 0) {
            if (moment - start >= minDuration) return Stretch{start, moment};
            start = -1;
        }
    }
    if (start < 0) return std::nullopt;
    return Stretch{start, last};
}

}  // namespace maintWinMinutes
