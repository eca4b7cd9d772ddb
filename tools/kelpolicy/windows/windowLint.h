/* What is legal in a maintenance window and yet surely not meant. */
#ifndef KELPOLICY_WINDOW_LINT_H
#define KELPOLICY_WINDOW_LINT_H

#include <vector>

#include "document/finding.h"
#include "sqlpiCommonPolicy.h"
#include "windows/windowPlaces.h"

namespace kelpolicy {

/* What the texts of the conditions say is not what the engine reads. */
std::vector<Finding> lintTexts(const std::vector<WindowCondition>& conditions);

/* What the windows do from `now` on, in the process's zone. `conditions` tell the places. */
std::vector<Finding> lintWindow(const char* name, const sqlpiMaintWindowInfo& window,
                                const std::vector<WindowCondition>& conditions, int64_t now);

}  // namespace kelpolicy

#endif
