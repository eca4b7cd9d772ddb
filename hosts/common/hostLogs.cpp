#include "hostLogs.h"

#include <algorithm>
#include <mutex>
#include <optional>

#include "forkSafe.h"
#include "logFiles.h"
#include "logSink.h"

namespace kelhost {

struct LogCapture::Kept {
    std::vector<LogRecord> records;
};

namespace {

struct Sinks {
    std::optional<LogFiles> files;
    std::vector<std::shared_ptr<LogCapture::Kept>> captures;
};

// Whoever writes or looks holds it, so that no fork meets a record that is half written.
constinit std::mutex guard;
const int isKept = keepAcrossForks<guard>();

// Never destroyed: a thread may still write while the process ends.
// REQUIRES: the guard is held.
Sinks& sinks() {
    static constinit Sinks* all = nullptr;
    if (all == nullptr) all = new Sinks;
    return *all;
}

}  // namespace

void openLogs(const std::filesystem::path& directory, LogOptions options) {
    userOfProcess();  // looked up before there are threads and forks
    LogFiles files(directory, options);
    const std::lock_guard lock(guard);
    sinks().files.emplace(std::move(files));
}

void closeLogs() noexcept {
    const std::lock_guard lock(guard);
    sinks().files.reset();
}

void writeRecord(const LogRecord& record, const std::string& line) noexcept {
    try {
        const std::lock_guard lock(guard);
        for (const auto& capture : sinks().captures) capture->records.push_back(record);
        if (sinks().files.has_value()) sinks().files->write(record.kind, line);
    } catch (...) {
        // A record that cannot be written is dropped.
    }
}

LogCapture::LogCapture() : kept_(std::make_shared<Kept>()) {
    const std::lock_guard lock(guard);
    sinks().captures.push_back(kept_);
}

LogCapture::~LogCapture() {
    const std::lock_guard lock(guard);
    std::erase(sinks().captures, kept_);
}

std::vector<LogRecord> LogCapture::records() const {
    const std::lock_guard lock(guard);
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
    const std::lock_guard lock(guard);
    kept_->records.clear();
}

}  // namespace kelhost
