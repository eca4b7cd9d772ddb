/* The files of a log directory, written by any number of processes at once. Internal. */
#ifndef KELHOST_LOG_FILES_H
#define KELHOST_LOG_FILES_H

#include <sys/types.h>

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

#include "descriptor.h"
#include "hostLogs.h"

namespace kelhost {

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
        Descriptor descriptor;
    };

    bool lock() noexcept;
    void unlock() noexcept;
    bool rotate(File& file) const;
    std::string numbered(const File& file, size_t number) const;

    LogOptions options_;
    std::string lockPath_;
    Descriptor lock_{};
    pid_t lockOwner_ = 0; /* the process that opened it: one that was forked shares the lock of its parent */
    bool patient_ = true;
    std::array<File, 3> files_; /* by LogKind */
};

}  // namespace kelhost

#endif
