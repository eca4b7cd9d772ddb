#include "database/globalOptions.h"

#include <cstdlib>

#include "console/failure.h"

namespace kelpolicy {

std::string instanceDirectory(const GlobalOptions& options) {
    if (!options.instance.empty()) return options.instance;
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0')
        throw Failure("there is no instance directory: neither --instance nor KELPOLICY_INSTANCE nor HOME is set",
                      "Name one, for example: kelpolicy --instance /var/lib/kelpolicy init", systemErrorCode,
                      systemErrorState);
    return std::string(home) + "/.kelpolicy";
}

}  // namespace kelpolicy
