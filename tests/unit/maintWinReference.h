/* The window search, day by day, with the platform's own mktime: slow, and simple enough to be checked by reading.
 * The library's answers are compared with it. For one thread: mktime remembers. */
#ifndef TESTS_UNIT_MAINT_WIN_REFERENCE_H
#define TESTS_UNIT_MAINT_WIN_REFERENCE_H

#include <cstdint>
#include <ctime>

#include "sqlpiMaintWin.h"

namespace maintWinReference {

/* mktime reads a local time that comes twice, or never, with the UTC offset of the conversion the process did before.
 */
enum class Memory {
    pinned, /* that conversion is made first, with the offset in force where the walk stands: one question, one answer
             */
    asLeft  /* mktime is called as it is */
};

/* Normalises with mktime, and once more when the hour came out another. */
int64_t adjustTime(tm* time);

bool is24x7(const sqlpiMaintWindowInfo& info);

int32_t findInside(const sqlpiMaintWindowInfo& info, OSSTime now, int32_t minDuration, OSSTime* start, OSSTime* end,
                   Memory memory = Memory::pinned);

int32_t find(const sqlpiMaintWindowInfo& info, OSSTime now, int32_t minDuration, OSSTime* start, OSSTime* end,
             Memory memory = Memory::pinned);

}  // namespace maintWinReference

#endif
