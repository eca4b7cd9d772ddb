#include "windows/windowSearch.h"

#include <fmt/format.h>

#include <algorithm>

#include "sqlpiMaintWin.h"
#include "windows/localTime.h"

namespace kelpolicy {
namespace {

/* The moment to ask at so that the stretch which runs into `from` has the beginning that it had then: the engine lets a
 * stretch in which it is asked begin at the question. So go back until an answer begins later than its question; where
 * the engine finds nothing, that may be for a clock change, so go back past it. */
int64_t momentBefore(const sqlpiMaintWindowInfo& window, int64_t from) {
    constexpr int64_t day = 86400;
    constexpr int64_t pastAClockChange = 4 * day;
    constexpr int64_t earliest = 2 * day;  // the engine searches no time before 1970
    for (int64_t distance = day; from - distance > earliest; distance *= 2) {
        const int64_t at = from - distance;
        const std::optional<Stretch> stretch = findStretch(window, at, 1);
        const bool isClear = stretch.has_value() ? stretch->isOpen() || stretch->isOverAt(from) || stretch->start > at
                                                 : distance >= pastAClockChange;
        if (isClear) return at;
    }
    return earliest;
}

}  // namespace

std::optional<Stretch> findStretch(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration) {
    OSSTime start = {};
    OSSTime end = {};
    if (sqlpiFindMaintWindow(&window, {at, 0}, minDuration, &start, &end) == 0) return {};
    return Stretch{start.seconds, end.seconds};
}

std::optional<Stretch> findStretchAhead(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration) {
    constexpr int64_t minute = 60;
    std::optional<Stretch> stretch = findStretch(window, at, minDuration);
    for (int64_t later = at + minute; stretch.has_value() && stretch->isOverAt(at); later += minute)
        stretch = findStretch(window, later, minDuration);
    return stretch;
}

std::vector<Stretch> findStretches(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration, size_t count) {
    std::vector<Stretch> all;
    for (std::optional<Stretch> stretch = findStretch(window, at, minDuration); stretch.has_value();
         stretch = findStretchAhead(window, at, minDuration)) {
        all.push_back(*stretch);
        if (stretch->isOpen() || all.size() >= count) break;
        at = std::max(at, stretch->end);
    }
    return all;
}

std::vector<Stretch> stretchesBetween(const sqlpiMaintWindowInfo& window, int64_t from, int64_t to) {
    std::vector<Stretch> all;
    for (int64_t at = momentBefore(window, from); at < to;) {
        const std::optional<Stretch> stretch = findStretchAhead(window, at, 1);
        if (!stretch.has_value()) {
            // The engine gives up after two days that a clock change made too short, and finds more when asked later.
            at = startOfDay(nextDay(dateOf(at)));
            continue;
        }
        if (stretch->start >= to) break;
        if (stretch->isOpen()) {
            all.push_back({std::max(stretch->start, from), to});
            break;
        }
        if (stretch->end > from) all.push_back(*stretch);
        at = stretch->end;
    }
    return all;
}

std::string shownStretch(const Stretch& stretch) {
    if (stretch.isOpen()) return fmt::format("from {} on, without end", shownLocal(stretch.start));
    return fmt::format("{}  to  {}  ({})", shownLocal(stretch.start), shownLocal(stretch.end),
                       shownDuration(stretch.end - stretch.start));
}

Json stretchArray(const std::vector<Stretch>& stretches) {
    Json array = Json::array();
    for (const Stretch& stretch : stretches)
        array.push_back({{"start", stretch.start},
                         {"end", stretch.end},
                         {"start_local", isoLocal(stretch.start)},
                         {"end_local", isoLocal(stretch.end)}});
    return array;
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
