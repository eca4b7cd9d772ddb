#include "clock.h"

#include <mutex>

#include "forkSafe.h"
#include "hostTime.h"

namespace kelhost {

namespace {

constinit std::mutex inRuntime;
const int isKept = keepAcrossForks<inRuntime>();

}  // namespace

bool localTime(time_t moment, tm& out) noexcept {
    out = {};
    const std::lock_guard lock(inRuntime);
    return localtime_r(&moment, &out) != nullptr;
}

}  // namespace kelhost

int32_t sqlo_localtime(const int64_t* seconds, struct tm* out) {
    if (kelhost::localTime(*seconds, *out)) return 0;
    *out = {};
    return -1;
}
