/* When maintenance may run after a change of its windows and could not before, and the other way round. */
#ifndef KELPOLICY_WINDOW_CHANGE_H
#define KELPOLICY_WINDOW_CHANGE_H

#include <vector>

#include "console/output.h"
#include "windows/windowSearch.h"

namespace kelpolicy {

struct WindowChange {
    std::vector<Stretch> gained; /* in order, none touching the next */
    std::vector<Stretch> lost;
};

/* Within [from, to). */
WindowChange compareWindows(const sqlpiMaintWindowInfo& before, const sqlpiMaintWindowInfo& after, int64_t from,
                            int64_t to);

/* {"gained":{"seconds","stretches":[...]},"lost":{...}} */
Json windowChangeObject(const WindowChange& change);

/* In words, one stretch on a line: the first ones, or all. `name` is "online" or "offline". */
void writeWindowChange(const char* name, const WindowChange& change, bool all, Output& output);

}  // namespace kelpolicy

#endif
