/* The options that every command has: the instance and the database that it works in, and how it answers. */
#ifndef KELPOLICY_GLOBAL_OPTIONS_H
#define KELPOLICY_GLOBAL_OPTIONS_H

#include <cstdint>
#include <string>

namespace kelpolicy {

struct GlobalOptions {
    std::string instance{}; /* directory; empty: the default */
    std::string database{}; /* connection string; empty: the embedded database */
    std::string databaseFile{};
    bool json = false;
    uint32_t traceFlags = 0; /* PDT_FLAG_* */
};

/* The instance directory that the options mean. Throws Failure when there is none to be found. */
std::string instanceDirectory(const GlobalOptions& options);

}  // namespace kelpolicy

#endif
