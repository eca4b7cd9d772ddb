#include "windowSearch.h"

#include <algorithm>

#include "localTime.h"
#include "sqlpiMaintWin.h"

namespace kelpolicy {

std::optional<Stretch> findStretch(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration) {
    OSSTime start = {};
    OSSTime end = {};
    if (sqlpiFindMaintWindow(&window, {at, 0}, minDuration, &start, &end) == 0) return {};
    return Stretch{start.seconds, end.seconds};
}

std::vector<Stretch> findStretches(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration, size_t count) {
    std::vector<Stretch> all;
    while (all.size() < count) {
        const std::optional<Stretch> stretch = findStretch(window, at, minDuration);
        if (!stretch.has_value()) break;
        all.push_back(*stretch);
        if (stretch->isOpen() || stretch->end <= at) break;
        at = stretch->end;
    }
    return all;
}

std::vector<Stretch> stretchesBetween(const sqlpiMaintWindowInfo& window, int64_t from, int64_t to) {
    constexpr int64_t day = 86400;
    std::vector<Stretch> all;
    for (int64_t at = from - day; at < to;) {
        const std::optional<Stretch> stretch = findStretch(window, at, 1);
        if (!stretch.has_value()) {
            // The engine gives up after two days that a clock change made too short, and finds more when asked later.
            at = startOfDay(nextDay(dateOf(at)));
            continue;
        }
        if (stretch->start >= to) break;
        const int64_t end = stretch->isOpen() ? to : stretch->end;
        if (end > from && end > stretch->start) all.push_back({stretch->start, end});
        // A clock change can put an occurrence before the moment it was searched from.
        constexpr int64_t minute = 60;
        at = end > at ? end : at + minute;
    }
    return all;
}

Json stretchObject(const std::optional<Stretch>& stretch) {
    if (!stretch.has_value())
        return {{"found", false}, {"open", false},          {"start", nullptr},
                {"end", nullptr}, {"start_local", nullptr}, {"end_local", nullptr}};
    return {{"found", true},
            {"open", stretch->isOpen()},
            {"start", stretch->start},
            {"end", stretch->end},
            {"start_local", isoLocal(stretch->start)},
            {"end_local", isoLocal(stretch->end)}};
}

}  // namespace kelpolicy
