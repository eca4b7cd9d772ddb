/* Logs and trace as files of the instance, and records captured for tests.
 *
 * One set of files per process. Records that are written before openLogs or after closeLogs reach captures only. Every
 * function may be called by any thread. */
#ifndef KELHOST_HOST_LOGS_H
#define KELHOST_HOST_LOGS_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace kelhost {

/* Files in the log directory; a full one is renamed to <name>.1.log, .2.log and so on, the oldest is dropped. */
inline constexpr const char* diagnosticLogFile = "diagnostic.log";
inline constexpr const char* administrationLogFile = "administration.log";
inline constexpr const char* traceFile = "trace.log";

struct LogOptions {
    size_t maximumFileBytes = size_t{8} << 20U;
    size_t keptFiles = 4; /* full ones beside the current one, of each kind */
};

/* Opens (or moves on to) the files in the directory. Throws HostError when they cannot be opened; the previous ones
 * then stay in use. */
void openLogs(const std::filesystem::path& directory, LogOptions options = {});
void closeLogs() noexcept;

/* Which trace records are made: PDT_FLAG_* bits of trace.h. */
void setTraceFlags(uint32_t flags) noexcept;
uint32_t traceFlags() noexcept;

enum class LogKind { diagnostic, administration, trace };

struct LogRecord {
    LogKind kind = LogKind::diagnostic;
    int32_t importance = 0;     /* PD_*; 0 in a trace */
    uint32_t messageNumber = 0; /* administration log only */
    std::string function;
    uint32_t probe = 0;
    std::string text; /* as it was handed over, byte for byte; in a trace: what happened, readable */
    int64_t code = 0; /* trace: result of an exit record, error of an error record */
    enum class Event { none, entry, exit, data, error } event = Event::none; /* trace only */
    std::vector<std::string> items;                                          /* trace: the data items' bytes */
};

/* Keeps a copy of every record that any thread writes while it lives. */
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogRecord> records() const;
    std::vector<LogRecord> records(LogKind kind) const;
    std::vector<std::string> texts(LogKind kind) const;
    void clear();

    struct Kept;

private:
    std::shared_ptr<Kept> kept_;
};

}  // namespace kelhost

#endif
