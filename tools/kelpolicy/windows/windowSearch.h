/* Stretches of time in which maintenance may run, as the engine finds them. */
#ifndef KELPOLICY_WINDOW_SEARCH_H
#define KELPOLICY_WINDOW_SEARCH_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "console/output.h"
#include "sqlpiCommonPolicy.h"

namespace kelpolicy {

/* From `start` to before `end`; `open`: both are the same, and there is no end. */
struct Stretch {
    int64_t start;
    int64_t end;
    bool isOpen() const noexcept { return start == end; }
    bool isOverAt(int64_t moment) const noexcept { return !isOpen() && end <= moment; }
    bool contains(int64_t moment) const noexcept { return start <= moment && !isOverAt(moment); }
};

/* What sqlpiFindMaintWindow answers. At a clock change it may begin, and even be over, before `at`. */
std::optional<Stretch> findStretch(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration);

/* The same, but searched on behind what is over at `at`. */
std::optional<Stretch> findStretchAhead(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration);

/* The first is what findStretch answers, the next ones what findStretchAhead answers at the end of the one before;
 * fewer than `count` when it finds no more, or one is open. */
std::vector<Stretch> findStretches(const sqlpiMaintWindowInfo& window, int64_t at, int32_t minDuration, size_t count);

/* All stretches of at least a second that overlap [from, to), in their full extent, whatever `from` and `to` are. An
 * open one has no extent of its own: it begins and ends with them. */
std::vector<Stretch> stretchesBetween(const sqlpiMaintWindowInfo& window, int64_t from, int64_t to);

/* "FROM  to  UNTIL  (DURATION)" */
std::string shownStretch(const Stretch& stretch);

/* [{"start","end","start_local","end_local"}] */
Json stretchArray(const std::vector<Stretch>& stretches);

/* {"found","open","start","end","start_local","end_local"}; all but `found` and `open` are null without one. */
Json stretchObject(const std::optional<Stretch>& stretch);

}  // namespace kelpolicy

#endif
