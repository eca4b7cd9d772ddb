// Open files. Only regular files are opened; what was written is on the device when the close says so.
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <new>

#include "fileStatus.h"
#include "files.h"

using kelhost::checkPath;
using kelhost::fileStatus;

struct OSSHFile {
    int descriptor;
    bool written;
};

namespace {

constexpr mode_t permissionBits = 0777;
constexpr int mostAttempts = 100;                 // of finding a name that is free
constexpr size_t largestStep = size_t{1} << 30U;  // one read or write of the system may be limited

// Opening a device can have effects of its own, so the kind is looked at before; and, because the name may mean another
// file by then, once more after.
int32_t openRegular(const char* path, int flags, mode_t permissions, int& descriptor) noexcept {
    struct stat status {};
    if (::lstat(path, &status) == 0) {
        if (!S_ISREG(status.st_mode)) return OSS_NOT_REGULAR;
    } else if (errno != ENOENT || (flags & O_CREAT) == 0) {
        return fileStatus(errno);
    }
    do {
        descriptor = ::open(path, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, permissions);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) return fileStatus(errno);
    const bool known = ::fstat(descriptor, &status) == 0;
    int32_t result = known && !S_ISREG(status.st_mode) ? OSS_NOT_REGULAR : OSS_OK;
    if (!known || (result == OSS_OK && (flags & O_CREAT) != 0 && ::ftruncate(descriptor, 0) != 0)) {
        result = fileStatus(errno);
    }
    if (result != OSS_OK) {
        ::close(descriptor);
        descriptor = -1;
    }
    return result;
}

}  // namespace

int32_t ossFileOpen(OSSHFile** file, const char* path, uint32_t mode, uint32_t permissions) {
    *file = nullptr;
    const int32_t usable = checkPath(path);
    if (usable != OSS_OK) return usable;
    if (mode != OSS_FILE_READ && mode != OSS_FILE_CREATE) return OSS_ERROR;
    const bool writes = mode == OSS_FILE_CREATE;
    auto* opened = new (std::nothrow) OSSHFile{-1, writes};
    if (opened == nullptr) return OSS_NO_MEMORY;
    const int32_t result = openRegular(path, writes ? O_WRONLY | O_CREAT : O_RDONLY,
                                       static_cast<mode_t>(permissions) & permissionBits, opened->descriptor);
    if (result == OSS_OK) {
        *file = opened;
    } else {
        delete opened;
    }
    return result;
}

int32_t ossFileCreateUnique(OSSHFile** file, const char* directory, uint32_t permissions, char* path, size_t size) {
    *file = nullptr;
    if (ossIsDirectory(directory) == 0) return OSS_NOT_FOUND;
    auto* opened = new (std::nothrow) OSSHFile{-1, true};
    if (opened == nullptr) return OSS_NO_MEMORY;
    int32_t result = OSS_ERROR;
    for (int attempt = 0; attempt < mostAttempts && opened->descriptor < 0; ++attempt) {
        uint64_t number = 0;
        if (::getrandom(&number, sizeof number, 0) != sizeof number) continue;
        const int length = snprintf(path, size, "%s/.kelpolicy-%016" PRIx64, directory, number);
        if (length < 0 || static_cast<size_t>(length) >= std::min<size_t>(size, OSS_PATH_SIZE)) {
            result = OSS_TOO_LONG;
            break;
        }
        opened->descriptor = ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                    static_cast<mode_t>(permissions) & permissionBits);
        result = opened->descriptor < 0 ? fileStatus(errno) : OSS_OK;
        if (opened->descriptor < 0 && errno != EEXIST && errno != EINTR) break;
    }
    if (result == OSS_OK) {
        *file = opened;
    } else {
        delete opened;
    }
    return result;
}

int32_t ossFileRead(OSSHFile* file, void* buffer, size_t size, size_t* done) {
    *done = 0;
    auto* bytes = static_cast<char*>(buffer);
    while (*done < size) {
        const size_t wanted = std::min<size_t>(size - *done, largestStep);
        const ssize_t got = ::read(file->descriptor, bytes + *done, wanted);
        if (got == 0) break;
        if (got > 0) {
            *done += static_cast<size_t>(got);
        } else if (errno != EINTR) {
            return fileStatus(errno);
        }
    }
    return OSS_OK;
}

int32_t ossFileWrite(OSSHFile* file, const void* buffer, size_t size, size_t* done) {
    *done = 0;
    const auto* bytes = static_cast<const char*>(buffer);
    while (*done < size) {
        const size_t wanted = std::min<size_t>(size - *done, largestStep);
        const ssize_t put = ::write(file->descriptor, bytes + *done, wanted);
        if (put > 0) {
            *done += static_cast<size_t>(put);
        } else if (put == 0) {
            return OSS_NO_SPACE;
        } else if (errno != EINTR) {
            return errno == EBADF ? OSS_NO_PERMISSION : fileStatus(errno);
        }
    }
    return OSS_OK;
}

int32_t ossFileSize(OSSHFile* file, uint64_t* size) {
    struct stat status {};
    *size = 0;
    if (::fstat(file->descriptor, &status) != 0) return fileStatus(errno);
    *size = static_cast<uint64_t>(status.st_size);
    return OSS_OK;
}

int32_t ossFileClose(OSSHFile* file) {
    if (file == nullptr) return OSS_OK;
    int32_t result = OSS_OK;
    if (file->written && ::fsync(file->descriptor) != 0) result = fileStatus(errno);
    // The descriptor is gone even when close fails, EINTR included.
    if (::close(file->descriptor) != 0 && errno != EINTR && result == OSS_OK) result = fileStatus(errno);
    delete file;
    return result;
}
