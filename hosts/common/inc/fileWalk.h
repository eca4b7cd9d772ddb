/* The way to a file below a directory, walked name by name with open directories: no symbolic link leads away from it,
 * whoever exchanges names meanwhile. Slashes at the end of a name mean nothing, nor does
 * "." amid it; ".." is not found. */
#ifndef KELHOST_FILE_WALK_H
#define KELHOST_FILE_WALK_H

#include <sys/types.h>

#include <optional>
#include <string_view>

#include "descriptor.h"

namespace kelhost {

/* The directory of that name below `root`, which is no link itself; a missing one is made where `permissions` are
 * given. Without a descriptor the reason is in errno. */
Descriptor openDirectoryBelow(const char* root, std::string_view name, std::optional<mode_t> permissions = {}) noexcept;

/* A file's directory, and its name there. */
struct FilePlace {
    Descriptor directory{};
    char name[256] = "";
};

/* Returns 0, or the reason as errno has it. */
int findPlaceBelow(const char* root, std::string_view name, FilePlace& place) noexcept;

/* Opens a regular file, as openat does, without following or waiting for anything. Returns 0, or the reason as errno
 * has it; ENXIO for what is no regular file. */
int openRegularAt(int directory, const char* name, int flags, mode_t permissions, Descriptor& file) noexcept;

}  // namespace kelhost

#endif
