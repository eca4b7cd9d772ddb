#include "windows/windowChange.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "windows/localTime.h"

namespace kelpolicy {
namespace {

/* Cut to [from, to), in order, those that overlap or touch made one. */
std::vector<Stretch> merged(std::vector<Stretch> stretches, int64_t from, int64_t to) {
    std::sort(stretches.begin(), stretches.end(), [](const Stretch& a, const Stretch& b) { return a.start < b.start; });
    std::vector<Stretch> all;
    for (Stretch stretch : stretches) {
        stretch = {std::max(stretch.start, from), std::min(stretch.end, to)};
        if (stretch.start >= stretch.end) continue;
        if (!all.empty() && stretch.start <= all.back().end)
            all.back().end = std::max(all.back().end, stretch.end);
        else
            all.push_back(stretch);
    }
    return all;
}

/* What of `whole` is not in `taken`; both merged. */
std::vector<Stretch> without(const std::vector<Stretch>& whole, const std::vector<Stretch>& taken) {
    std::vector<Stretch> rest;
    for (const Stretch& stretch : whole) {
        int64_t start = stretch.start;
        for (const Stretch& part : taken) {
            if (part.end <= start || part.start >= stretch.end) continue;
            if (part.start > start) rest.push_back({start, part.start});
            start = part.end;
        }
        if (start < stretch.end) rest.push_back({start, stretch.end});
    }
    return rest;
}

int64_t secondsOf(const std::vector<Stretch>& stretches) {
    return std::accumulate(stretches.begin(), stretches.end(), int64_t{0},
                           [](int64_t sum, const Stretch& stretch) { return sum + stretch.end - stretch.start; });
}

void writeStretches(const char* name, const char* what, Style style, const std::vector<Stretch>& stretches, bool all,
                    Output& output) {
    constexpr size_t most = 3;
    if (stretches.empty()) return;
    output.writeLine(
        output.styled(style, fmt::format("{} window {}: {}", name, what, shownDuration(secondsOf(stretches)))));
    // One more takes no more room than the line that tells of it.
    const size_t shown = all || stretches.size() <= most + 1 ? stretches.size() : most;
    for (size_t i = 0; i < shown; ++i) output.writeLine("  " + shownStretch(stretches[i]));
    if (shown < stretches.size())
        output.writeLine(fmt::format("  and {} more, which --all shows", stretches.size() - shown));
}

}  // namespace

WindowChange compareWindows(const sqlpiMaintWindowInfo& before, const sqlpiMaintWindowInfo& after, int64_t from,
                            int64_t to) {
    const std::vector<Stretch> one = merged(stretchesBetween(before, from, to), from, to);
    const std::vector<Stretch> other = merged(stretchesBetween(after, from, to), from, to);
    return {without(other, one), without(one, other)};
}

Json windowChangeObject(const WindowChange& change) {
    const auto object = [](const std::vector<Stretch>& stretches) -> Json {
        return {{"seconds", secondsOf(stretches)}, {"stretches", stretchArray(stretches)}};
    };
    return {{"gained", object(change.gained)}, {"lost", object(change.lost)}};
}

void writeWindowChange(const char* name, const WindowChange& change, bool all, Output& output) {
    writeStretches(name, "gained", Style::good, change.gained, all, output);
    writeStretches(name, "lost", Style::bad, change.lost, all, output);
    if (change.gained.empty() && change.lost.empty())
        output.writeLine(fmt::format("{} window: nothing gained, nothing lost", name));
}

}  // namespace kelpolicy
