/* The time on the clock of the process's zone. */
#ifndef KELHOST_HOST_TIME_H
#define KELHOST_HOST_TIME_H

#include <ctime>

namespace kelhost {

/* False when the platform does not know it. The child of a fork can always ask, as no thread that asks here has the C
 * runtime's own lock when it forks. */
bool localTime(time_t moment, tm& out) noexcept;

}  // namespace kelhost

#endif
