/* The files that every instance directory has; their bytes are part of the program. Internal. */
#ifndef KELHOST_INSTALLED_FILES_H
#define KELHOST_INSTALLED_FILES_H

#include <array>
#include <string_view>

namespace kelhost {

struct InstalledFile {
    const char* name; /* below the instance directory */
    std::string_view bytes;
};

/* The package's bind file and the message catalogue. */
extern const std::array<InstalledFile, 2> installedFiles;

inline std::string_view installedCatalogue() noexcept {
    return installedFiles[1].bytes;
}

}  // namespace kelhost

#endif
