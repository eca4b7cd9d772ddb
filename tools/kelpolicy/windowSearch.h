/* Stretches of time in which maintenance may run, as the engine finds them. */
#ifndef KELPOLICY_WINDOW_SEARCH_H
#define KELPOLICY_WINDOW_SEARCH_H

#include <cstdint>
#include <optional>
#include <vector>

#include "output.h"
#include "sqlpiCommonPolicy.h"

namespace kelpolicy {

/* From `start` to before `end`; `open`: both are the same, and there is no end. */
struct Stretch {
    int64_t start;
    int64_t end;
    bool isOpen() const noexcept { return start == end; }
};

/* What sqlpiFindMaintWindow answers. */
std::optional<Stretch> findStretch(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration);

/* The first is what findStretch answers, the next ones what it answers at the end of the one before; fewer than `count`
 * when there are no more, or one is open. */
std::vector<Stretch> findStretches(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration, size_t count);

/* All stretches of at least a second that overlap [from, to), in their full extent. The engine is asked from a day
 * before, so that a stretch which runs into the time has the beginning that it had then. An open one ends at `to`. */
std::vector<Stretch> stretchesBetween(const sqlpiMaintWindowInfo& window, int64_t from, int64_t to);

/* {"found","open","start","end","start_local","end_local"}; all but `found` and `open` are null without one. */
Json stretchObject(const std::optional<Stretch>& stretch);

}  // namespace kelpolicy

#endif
