// Open files. Only regular files are opened; what was written is on the device when the close says so.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <new>
#include <utility>

#include "fileStatus.h"
#include "fileWalk.h"
#include "files.h"

using kelhost::checkPath;
using kelhost::Descriptor;
using kelhost::FilePlace;
using kelhost::fileStatus;
using kelhost::openRegularAt;

/* A replacement is written beside the file that it will replace; or, where the file's mode and owner could not be given
 * to another one, into memory, and from there into the file. */
struct OSSHFile {
    ~OSSHFile() {
        if (beside[0] != '\0') ::unlinkat(place.directory.number(), beside, 0);
    }

    Descriptor descriptor{}; /* what is read or written */
    bool written = false;
    FilePlace place{};     /* of a replacement, as the next two */
    char beside[32] = "";  /* empty: there is none, or it took the file's name */
    Descriptor replaced{}; /* the file as it is, to be written */
};

namespace {

constexpr mode_t permissionBits = 0777;
constexpr int mostAttempts = 100;                 // of finding a name that is free
constexpr size_t largestStep = size_t{1} << 30U;  // one read or write of the system may be limited

/* Makes the file that takes the name later. */
int32_t createBeside(OSSHFile& file, mode_t permissions) noexcept {
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        uint64_t number = 0;
        if (::getrandom(&number, sizeof number, 0) != sizeof number) continue;
        snprintf(file.beside, sizeof file.beside, ".kelpolicy-%016" PRIx64, number);
        file.descriptor = Descriptor(::openat(file.place.directory.number(), file.beside,
                                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, permissions));
        if (file.descriptor.isOpen()) return OSS_OK;
        const int reason = errno;
        file.beside[0] = '\0';
        if (reason != EEXIST && reason != EINTR) return fileStatus(reason);
    }
    return OSS_ERROR;
}

/* Whether a file beside has the mode and the owner of the one that it replaces. */
bool createAlike(OSSHFile& file, const struct stat& replaced) noexcept {
    constexpr mode_t ownerOnly = 0600;
    if (createBeside(file, ownerOnly) != OSS_OK) return false;
    struct stat made {};
    const int number = file.descriptor.number();
    const bool isAlike = ::fstat(number, &made) == 0 &&
                         ((made.st_uid == replaced.st_uid && made.st_gid == replaced.st_gid) ||
                          ::fchown(number, replaced.st_uid, replaced.st_gid) == 0) &&
                         ::fchmod(number, replaced.st_mode & permissionBits) == 0;
    if (isAlike) return true;
    ::unlinkat(file.place.directory.number(), file.beside, 0);
    file.beside[0] = '\0';
    file.descriptor = Descriptor();
    return false;
}

int32_t openReplacement(OSSHFile& file, mode_t permissions) noexcept {
    const int reason = openRegularAt(file.place.directory.number(), file.place.name, O_WRONLY, 0, file.replaced);
    if (reason == ENOENT) return createBeside(file, permissions);
    if (reason != 0) return fileStatus(reason);
    struct stat replaced {};
    if (::fstat(file.replaced.number(), &replaced) != 0) return fileStatus(errno);
    if (createAlike(file, replaced)) return OSS_OK;
    file.descriptor = Descriptor(::memfd_create("kelpolicy", MFD_CLOEXEC));
    return file.descriptor.isOpen() ? OSS_OK : fileStatus(errno);
}

int32_t sync(int descriptor) noexcept {
    return ::fsync(descriptor) == 0 ? OSS_OK : fileStatus(errno);
}

int32_t takeName(OSSHFile& file) noexcept {
    const int directory = file.place.directory.number();
    const int32_t synced = sync(file.descriptor.number());
    if (synced != OSS_OK) return synced;
    if (::renameat(directory, file.beside, directory, file.place.name) != 0) return fileStatus(errno);
    file.beside[0] = '\0';
    // The new name is safe from a power failure when the directory is on the device.
    const Descriptor readable(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return readable.isOpen() ? sync(readable.number()) : fileStatus(errno);
}

/* Before a byte of the file changes, the room for all is there. */
int32_t writeInPlace(OSSHFile& file) noexcept {
    const int to = file.replaced.number();
    struct stat replaced {};
    struct stat text {};
    if (::fstat(to, &replaced) != 0 || ::fstat(file.descriptor.number(), &text) != 0) return fileStatus(errno);
    if (text.st_size > 0 && ::fallocate(to, 0, 0, text.st_size) != 0 && errno != EOPNOTSUPP && errno != ENOSYS) {
        const int32_t noRoom = fileStatus(errno);
        return ::ftruncate(to, replaced.st_size) == 0 ? noRoom : OSS_ERROR;
    }
    std::array<char, 65536> piece;
    for (off_t done = 0; done < text.st_size;) {
        const ssize_t got = ::pread(file.descriptor.number(), piece.data(), piece.size(), done);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return OSS_ERROR;
        const ssize_t put = ::pwrite(to, piece.data(), static_cast<size_t>(got), done);
        if (put < 0 && errno != EINTR) return fileStatus(errno);
        done += std::max<ssize_t>(put, 0);
    }
    return ::ftruncate(to, text.st_size) == 0 ? sync(to) : fileStatus(errno);
}

int32_t openPath(OSSHFile& file, const char* path, uint32_t mode, mode_t permissions) noexcept {
    file.written = mode == OSS_FILE_CREATE;
    const int flags = file.written ? O_WRONLY | O_CREAT : O_RDONLY;
    const int reason = openRegularAt(AT_FDCWD, path, flags, permissions, file.descriptor);
    if (reason != 0) return fileStatus(reason);
    return !file.written || ::ftruncate(file.descriptor.number(), 0) == 0 ? OSS_OK : fileStatus(errno);
}

int32_t openBelow(OSSHFile& file, const char* root, const char* name, uint32_t mode, mode_t permissions) noexcept {
    const int reason = kelhost::findPlaceBelow(root, name, file.place);
    if (reason != 0) return fileStatus(reason);
    if (mode == OSS_FILE_REPLACE) return openReplacement(file, permissions);
    return fileStatus(
        openRegularAt(file.place.directory.number(), file.place.name, O_RDONLY, permissions, file.descriptor));
}

/* A handle that `open` has filled. */
template <class Open>
int32_t makeHandle(OSSHFile** file, Open open) noexcept {
    *file = nullptr;
    auto* opened = new (std::nothrow) OSSHFile;
    if (opened == nullptr) return OSS_NO_MEMORY;
    const int32_t result = open(*opened);
    if (result == OSS_OK)
        *file = opened;
    else
        delete opened;
    return result;
}

}  // namespace

int32_t ossFileOpen(OSSHFile** file, const char* path, uint32_t mode, uint32_t permissions) {
    *file = nullptr;
    const int32_t usable = checkPath(path);
    if (usable != OSS_OK) return usable;
    if (mode != OSS_FILE_READ && mode != OSS_FILE_CREATE) return OSS_ERROR;
    return makeHandle(file, [&](OSSHFile& opened) noexcept {
        return openPath(opened, path, mode, static_cast<mode_t>(permissions) & permissionBits);
    });
}

int32_t ossFileOpenBelow(OSSHFile** file, const char* root, const char* name, uint32_t mode, uint32_t permissions) {
    *file = nullptr;
    const int32_t usable = checkPath(root) != OSS_OK ? checkPath(root) : checkPath(name);
    if (usable != OSS_OK) return usable;
    if (mode != OSS_FILE_READ && mode != OSS_FILE_REPLACE) return OSS_ERROR;
    return makeHandle(file, [&](OSSHFile& opened) noexcept {
        return openBelow(opened, root, name, mode, static_cast<mode_t>(permissions) & permissionBits);
    });
}

int32_t ossFileCommit(OSSHFile* file) {
    if (file->beside[0] != '\0') return takeName(*file);
    return file->replaced.isOpen() ? writeInPlace(*file) : OSS_ERROR;
}

int32_t ossFileRead(OSSHFile* file, void* buffer, size_t size, size_t* done) {
    *done = 0;
    auto* bytes = static_cast<char*>(buffer);
    while (*done < size) {
        const size_t wanted = std::min<size_t>(size - *done, largestStep);
        const ssize_t got = ::read(file->descriptor.number(), bytes + *done, wanted);
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
        const ssize_t put = ::write(file->descriptor.number(), bytes + *done, wanted);
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
    if (::fstat(file->descriptor.number(), &status) != 0) return fileStatus(errno);
    *size = static_cast<uint64_t>(status.st_size);
    return OSS_OK;
}

int32_t ossFileClose(OSSHFile* file) {
    if (file == nullptr) return OSS_OK;
    int32_t result = file->written ? sync(file->descriptor.number()) : OSS_OK;
    // The descriptor is gone even when close fails, EINTR included.
    if (::close(file->descriptor.release()) != 0 && errno != EINTR && result == OSS_OK) result = fileStatus(errno);
    delete file;
    return result;
}
