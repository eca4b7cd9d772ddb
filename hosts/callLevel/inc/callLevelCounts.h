/* How many handles of the call-level interface are open in this process, for tests and diagnosis. */
#ifndef KELHOST_CALL_LEVEL_COUNTS_H
#define KELHOST_CALL_LEVEL_COUNTS_H

#include <cstdint>

namespace kelhost {

struct HandleCounts {
    int64_t environments = 0;
    int64_t connections = 0;
    int64_t statements = 0;

    friend bool operator==(const HandleCounts&, const HandleCounts&) = default;
};

HandleCounts openHandles() noexcept;

}  // namespace kelhost

#endif
