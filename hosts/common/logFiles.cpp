#include "logFiles.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

#include "hostError.h"

namespace kelhost {
namespace {

constexpr mode_t permissions = 0666;  // less the process's mask
constexpr const char* lockFile = "logs.lock";

Descriptor openToAppend(const std::string& path) noexcept {
    return Descriptor(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, permissions));
}

/* Who may not write in the directory may still hold the lock that another user made. */
Descriptor openLock(const std::string& path) noexcept {
    Descriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, permissions));
    return lock.number() >= 0 ? std::move(lock) : Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
}

/* Whether the descriptor is still that of the path's file, which another process may have renamed. */
bool isCurrent(const std::string& path, const struct stat& open) noexcept {
    struct stat named {};
    return ::stat(path.c_str(), &named) == 0 && named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

bool append(int descriptor, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t done = ::write(descriptor, text.data(), text.size());
        if (done < 0 && errno != EINTR) return false;
        text.remove_prefix(done < 0 ? 0 : static_cast<size_t>(done));
    }
    return true;
}

void shorten(int descriptor, off_t size) noexcept {
    if (::ftruncate(descriptor, size) != 0) return;  // nothing more can be done
}

bool exists(const std::string& path) noexcept {
    return ::access(path.c_str(), F_OK) == 0;
}

}  // namespace

LogFiles::LogFiles(const std::filesystem::path& directory, LogOptions options)
    : options_(options), lockPath_((directory / lockFile).string()) {
    const char* const names[] = {diagnosticLogFile, administrationLogFile, traceFile};
    for (size_t i = 0; i < files_.size(); ++i) {
        files_.at(i).path = (directory / names[i]).string();
        files_.at(i).descriptor = openToAppend(files_.at(i).path);
        const int reason = errno;
        if (files_.at(i).descriptor.number() < 0)
            throw systemError(fmt::format("cannot open \"{}\" of the logs in \"{}\"", names[i], directory.string()),
                              reason);
    }
}

/* False when the lock cannot be had: a process that was stopped while it held it shall not stop all others. */
bool LogFiles::lock() noexcept {
    if (lockOwner_ != ::getpid()) {
        lock_ = openLock(lockPath_);
        lockOwner_ = ::getpid();
    }
    constexpr int mostTries = 10'000;
    constexpr std::chrono::microseconds pause(200);
    for (int left = patient_ ? mostTries : 1; left > 0; --left) {
        patient_ = ::flock(lock_.number(), LOCK_EX | LOCK_NB) == 0;
        if (patient_ || (errno != EWOULDBLOCK && errno != EINTR)) break;
        if (left > 1) std::this_thread::sleep_for(pause);
    }
    return patient_;
}

void LogFiles::unlock() noexcept {
    ::flock(lock_.number(), LOCK_UN);
}

void LogFiles::write(LogKind kind, const std::string& line) noexcept {
    const bool locked = lock();
    try {
        File& file = files_.at(static_cast<size_t>(kind));
        struct stat status {};
        bool known = ::fstat(file.descriptor.number(), &status) == 0;
        if (!known || !isCurrent(file.path, status)) {
            Descriptor current = openToAppend(file.path);
            if (current.number() >= 0) file.descriptor = std::move(current);
            known = ::fstat(file.descriptor.number(), &status) == 0;
        }
        off_t size = known ? status.st_size : 0;
        const std::string text = line + '\n';
        const bool isFull = size > 0 && static_cast<size_t>(size) + text.size() > options_.maximumFileBytes;
        if (isFull && locked && rotate(file)) size = 0;
        const int descriptor = file.descriptor.number();
        // Where there is no room no half line stays, in which the next record would be lost.
        if (!append(descriptor, text) && locked) shorten(descriptor, size);
    } catch (...) {
        // A record that cannot be written is dropped.
    }
    if (locked) unlock();
}

/* The full file becomes number 1, and the others move on by one as far as there is no gap: one that a process left
 * which died amid this is filled. The oldest goes when there are as many as are kept. When the files cannot be renamed,
 * the current one grows. */
bool LogFiles::rotate(File& file) const {
    if (options_.keptFiles == 0) {
        if (::unlink(file.path.c_str()) != 0) return false;
    } else {
        size_t last = 1;
        while (last < options_.keptFiles && exists(numbered(file, last))) ++last;
        for (; last > 0; --last) {
            const std::string from = last == 1 ? file.path : numbered(file, last - 1);
            if (::rename(from.c_str(), numbered(file, last).c_str()) != 0) return false;
        }
    }
    Descriptor next = openToAppend(file.path);
    if (next.number() < 0) return false;
    file.descriptor = std::move(next);
    return true;
}

std::string LogFiles::numbered(const File& file, size_t number) const {
    const std::filesystem::path path(file.path);
    return (path.parent_path() / fmt::format("{}.{}{}", path.stem().string(), number, path.extension().string()))
        .string();
}

}  // namespace kelhost
