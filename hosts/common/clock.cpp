#include "clock.h"

int32_t sqlo_localtime(const int64_t* seconds, struct tm* out) {
    const time_t moment = *seconds;
    *out = {};
    if (localtime_r(&moment, out) != nullptr) return 0;
    *out = {};
    return -1;
}
