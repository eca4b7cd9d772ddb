#include "hostLogs.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include <algorithm>
#include <array>
#include <mutex>

#include "hostError.h"
#include "logSink.h"

namespace kelhost {

struct LogCapture::Kept {
    mutable std::mutex guard;
    std::vector<LogRecord> records;
};

namespace {

using Files = std::array<std::shared_ptr<spdlog::logger>, 3>;

struct Sinks {
    std::mutex guard;
    Files files;
    std::vector<std::shared_ptr<LogCapture::Kept>> captures;
};

// Never destroyed: a thread may still write while the process ends.
Sinks& sinks() {
    static auto* all = new Sinks;
    return *all;
}

std::shared_ptr<spdlog::logger> openFile(const std::filesystem::path& path, LogOptions options) {
    auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path.string(), options.maximumFileBytes,
                                                                       options.keptFiles);
    auto logger = std::make_shared<spdlog::logger>(path.filename().string(), std::move(sink));
    logger->set_pattern("%v", spdlog::pattern_time_type::local);
    logger->flush_on(spdlog::level::trace);
    logger->set_error_handler([](const std::string&) {});  // what cannot be written is dropped
    return logger;
}

}  // namespace

void openLogs(const std::filesystem::path& directory, LogOptions options) {
    Files files;
    try {
        files = {openFile(directory / diagnosticLogFile, options), openFile(directory / administrationLogFile, options),
                 openFile(directory / traceFile, options)};
    } catch (const spdlog::spdlog_ex& failure) {
        throw HostError(-902, "58030", "cannot open the logs in \"" + directory.string() + "\": " + failure.what());
    }
    const std::lock_guard lock(sinks().guard);
    sinks().files.swap(files);
}

void closeLogs() noexcept {
    Files files;
    const std::lock_guard lock(sinks().guard);
    sinks().files.swap(files);
}

void writeRecord(const LogRecord& record, std::string_view line) noexcept {
    try {
        std::shared_ptr<spdlog::logger> file;
        {
            const std::lock_guard lock(sinks().guard);
            file = sinks().files.at(static_cast<size_t>(record.kind));
            for (const auto& capture : sinks().captures) {
                const std::lock_guard captureLock(capture->guard);
                capture->records.push_back(record);
            }
        }
        if (file != nullptr) file->log(spdlog::level::info, spdlog::string_view_t(line.data(), line.size()));
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
    const std::lock_guard lock(kept_->guard);
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
    const std::lock_guard lock(kept_->guard);
    kept_->records.clear();
}

}  // namespace kelhost
