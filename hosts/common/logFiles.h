/* The files of a log directory, written by any number of processes at once. Internal. */
#ifndef KELHOST_LOG_FILES_H
#define KELHOST_LOG_FILES_H

#include <sys/types.h>

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

#include "hostLogs.h"

namespace kelhost {

/* One descriptor, closed at the end. */
class LogDescriptor {
public:
    LogDescriptor() noexcept = default;
    explicit LogDescriptor(int number) noexcept : number_(number) {}
    ~LogDescriptor();
    LogDescriptor(LogDescriptor&& other) noexcept;
    LogDescriptor& operator=(LogDescriptor&& other) noexcept;

    int number() const noexcept { return number_; } /* below 0: none */

private:
    int number_ = -1;
};

/* All processes take the lock of the directory for each record, so that one of them rotates and the others go on in the
 * new file. The system frees the lock of a process that dies. Used by one thread at a time. */
class LogFiles {
public:
    /* Throws HostError when a file cannot be opened. */
    LogFiles(const std::filesystem::path& directory, LogOptions options);

    /* Appends the line and a line end; drops it when it cannot be written. */
    void write(LogKind kind, const std::string& line) noexcept;

private:
    struct File {
        std::string path;
        LogDescriptor descriptor;
    };

    bool lock() noexcept;
    void unlock() noexcept;
    bool rotate(File& file) const;
    std::string numbered(const File& file, size_t number) const;

    LogOptions options_;
    std::string lockPath_;
    LogDescriptor lock_{};
    pid_t lockOwner_ = 0; /* the process that opened it: one that was forked shares the lock of its parent */
    bool patient_ = true;
    std::array<File, 3> files_; /* by LogKind */
};

}  // namespace kelhost

#endif
