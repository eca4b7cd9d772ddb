#include "hostLogs.h"

#include <pthread.h>

#include <algorithm>
#include <mutex>
#include <optional>

#include "logFiles.h"
#include "logSink.h"

namespace kelhost {

struct LogCapture::Kept {
    std::vector<LogRecord> records;
};

namespace {

struct Sinks {
    std::mutex guard;
    std::optional<LogFiles> files;
    std::vector<std::shared_ptr<LogCapture::Kept>> captures;
};

Sinks& sinks();

// Never destroyed: a thread may still write while the process ends. A process that is forked meanwhile finds the guard
// free.
Sinks* makeSinks() {
    ::pthread_atfork([] { sinks().guard.lock(); }, [] { sinks().guard.unlock(); }, [] { sinks().guard.unlock(); });
    return new Sinks;
}

Sinks& sinks() {
    static auto* all = makeSinks();
    return *all;
}

}  // namespace

void openLogs(const std::filesystem::path& directory, LogOptions options) {
    userOfProcess();  // looked up before there are threads and forks
    LogFiles files(directory, options);
    const std::lock_guard lock(sinks().guard);
    sinks().files.emplace(std::move(files));
}

void closeLogs() noexcept {
    const std::lock_guard lock(sinks().guard);
    sinks().files.reset();
}

void writeRecord(const LogRecord& record, const std::string& line) noexcept {
    try {
        const std::lock_guard lock(sinks().guard);
        for (const auto& capture : sinks().captures) capture->records.push_back(record);
        if (sinks().files.has_value()) sinks().files->write(record.kind, line);
    } catch (...) {
        // A record that cannot be written is dropped.
    }
}

LogCapture::LogCapture() : kept_(std::make_shared<Kept>()) {
    const std::lock_guard lock(sinks().guard);
    sinks().captures.push_back(kept_);
}

LogCapture::~LogCapture() {
    const std::lock_guard lock(sinks().guard);
    std::erase(sinks().captures, kept_);
}

std::vector<LogRecord> LogCapture::records() const {
    const std::lock_guard lock(sinks().guard);
    return kept_->records;
}

std::vector<LogRecord> LogCapture::records(LogKind kind) const {
    std::vector<LogRecord> chosen = records();
    std::erase_if(chosen, [kind](const LogRecord& record) { return record.kind != kind; });
    return chosen;
}

std::vector<std::string> LogCapture::texts(LogKind kind) const {
    std::vector<std::string> texts;
    for (LogRecord& record : records(kind)) texts.push_back(std::move(record.text));
    return texts;
}

void LogCapture::clear() {
    const std::lock_guard lock(sinks().guard);
    kept_->records.clear();
}

}  // namespace kelhost
