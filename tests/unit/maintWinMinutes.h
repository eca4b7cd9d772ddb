/* A second answer to the window question, by stepping through local time minute by minute. It knows nothing of days to
 * jump to or times to convert: it looks at the clock on the wall and asks whether a window is open. For windows on
 * whole minutes that do not last 24 hours. */
#ifndef TESTS_UNIT_MAINT_WIN_MINUTES_H
#define TESTS_UNIT_MAINT_WIN_MINUTES_H

#include <cstdint>
#include <optional>

#include "sqlpiMaintWin.h"

namespace maintWinMinutes {

struct Stretch {
    int64_t start;
    int64_t end;
};

/* The first stretch of at least `minDuration` seconds from `now` on, open for work, that begins within `days` days of
 * `now` or of the start limit. Its end is cut where those days are over. `startLimit` and `endLimit`: the period as
 * moments, 0 where it is open. */
std::optional<Stretch> find(const sqlpiMaintWindowInfo& info, int64_t now, int32_t minDuration, int64_t startLimit,
                            int64_t endLimit, int days);

}  // namespace maintWinMinutes

#endif
