/* What is legal in a maintenance window and yet surely not meant. */
#ifndef KELPOLICY_WINDOW_LINT_H
#define KELPOLICY_WINDOW_LINT_H

#include <string>
#include <vector>

#include "sqlpiCommonPolicy.h"
#include "windowPlaces.h"

namespace kelpolicy {

struct Finding {
    const char* check;    /* its name, for programs */
    const char* severity; /* "error": the window does nothing; "warning": not what it says; "note": worth a look */
    const char* window;   /* "online" or "offline" */
    TextPlace place;      /* of the element concerned; line 0: there is no document */
    std::string what;     /* what happens */
    std::string instead;  /* what to write */
};

/* What the texts of the conditions say is not what the engine reads. */
std::vector<Finding> lintTexts(const std::vector<WindowCondition>& conditions);

/* What the windows do from `now` on, in the process's zone. `conditions` tell the places. */
std::vector<Finding> lintWindow(const char* name, const sqlpiMaintWindowInfo& window,
                                const std::vector<WindowCondition>& conditions, int64_t now);

}  // namespace kelpolicy

#endif
