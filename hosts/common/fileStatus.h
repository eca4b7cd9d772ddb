/* What errno means in the terms of the file contract. Internal. */
#ifndef KELHOST_FILE_STATUS_H
#define KELHOST_FILE_STATUS_H

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "files.h"

namespace kelhost {

inline int32_t fileStatus(int errorNumber) noexcept {
    switch (errorNumber) {
        case 0:
            return OSS_OK;
        case ENOENT:
        case ENOTDIR:
            return OSS_NOT_FOUND;
        case EACCES:
        case EPERM:
        case EROFS:
            return OSS_NO_PERMISSION;
        case ELOOP:
        case EISDIR:
        case ENXIO:
        case ENODEV:
            return OSS_NOT_REGULAR;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return OSS_NO_SPACE;
        case ENAMETOOLONG:
            return OSS_TOO_LONG;
        case ENOMEM:
            return OSS_NO_MEMORY;
        default:
            return OSS_ERROR;
    }
}

/* OSS_OK for a path that may be handed to the operating system. */
inline int32_t checkPath(const char* path) noexcept {
    if (path == nullptr || path[0] == '\0') return OSS_NOT_FOUND;
    return strnlen(path, OSS_PATH_SIZE) < OSS_PATH_SIZE ? OSS_OK : OSS_TOO_LONG;
}

}  // namespace kelhost

#endif
