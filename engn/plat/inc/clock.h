/* Time. The library also uses localtime_r, mktime and strftime of the C runtime: local time means the process's zone.
 *
 * Threads: any. Nothing here throws or jumps. */
#ifndef PLAT_CLOCK_H
#define PLAT_CLOCK_H

#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A moment. */
struct OSSTime {
    int64_t seconds;   /* since 1970-01-01 00:00:00 UTC */
    int64_t subSecond; /* the engine's sub-second part; the library only copies it */
};

/* The local broken-down time of a moment given in seconds since the epoch. Returns 0, or -1 (with `out` zeroed) when
 * the year does not fit. */
int32_t sqlo_localtime(const int64_t* seconds, struct tm* out);

#ifdef __cplusplus
}
#endif

#endif
