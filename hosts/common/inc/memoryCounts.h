/* What the default pool and the plain allocation have handed out and not got back, for tests and diagnosis. */
#ifndef KELHOST_MEMORY_COUNTS_H
#define KELHOST_MEMORY_COUNTS_H

#include <cstdint>
#include <map>
#include <string>

namespace kelhost {

/* The tag under which _ossMemAlloc's blocks are counted. */
inline constexpr const char* plainAllocationTag = "(plain allocation)";

struct MemoryCounts {
    int64_t blocks = 0;      /* handed out and not yet returned */
    int64_t bytes = 0;       /* their sizes as asked for */
    int64_t allocations = 0; /* handed out since the process started */
};

/* By tag, over all threads, tags without any block left out. Exact when no other thread allocates meanwhile. */
std::map<std::string, MemoryCounts> memoryInUse();

/* The sum over all tags, `allocations` included. */
MemoryCounts memoryTotal();

/* "3 blocks, 120 bytes by sqlpiPolicyBase; ...", empty when the balance is zero. */
std::string describeMemoryInUse();

}  // namespace kelhost

#endif
