/* The record of a maintenance window in JSON and in words. */
#ifndef KELPOLICY_WINDOW_RECORD_H
#define KELPOLICY_WINDOW_RECORD_H

#include <string>

#include "console/output.h"
#include "sqlpiCommonPolicy.h"

namespace kelpolicy {

/* The record with its field names: masks as strings of 0 and 1, times "hh:mm:ss", date-times as objects. */
Json windowObject(const sqlpiMaintWindowInfo& window);

int secondsOf(const sqlpiMaintWindowTime& time); /* of the day */

/* In words. */
std::string shownMonths(const sqlpiMaintWindowInfo& window);      /* "all", "JAN, FEB" */
std::string shownDaysOfMonth(const sqlpiMaintWindowInfo& window); /* "all", "1, 2, last, 2nd last" */
std::string shownDaysOfWeek(const sqlpiMaintWindowInfo& window);
std::string shownTimeOfDay(const sqlpiMaintWindowInfo& window); /* "22:00:00 to 06:00:00 of the next day" */
std::string shownPeriod(const sqlpiMaintWindowInfo& window);

/* All of it in one sentence. */
std::string shownRule(const sqlpiMaintWindowInfo& window);

}  // namespace kelpolicy

#endif
