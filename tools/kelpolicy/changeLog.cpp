// The administration log is written for people; its lines are made so that they can be taken apart again: a head with
// time, process, thread and database, then "10515 <function> probe <n>: policy changed", then the fields in quotes.
#include "changeLog.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <map>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "documentFile.h"
#include "failure.h"
#include "hostLogs.h"
#include "logs.h"

namespace kelpolicy {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view marker = ": policy changed ";

/* The byte of "\xNN"; nothing when it is none. */
std::optional<char> hexByte(std::string_view digits) {
    unsigned value = 0;
    const char* end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value, 16);
    if (digits.size() != 2 || read.ptr != end) return {};
    return static_cast<char>(value);
}

/* Takes a text in quotes off the line, and gives what was quoted; nothing when the quotes do not end. */
std::optional<std::string> takeQuoted(std::string_view& line) {
    std::string text;
    if (!line.starts_with('"')) return {};
    for (size_t i = 1; i < line.size(); ++i) {
        if (line[i] == '"') {
            line.remove_prefix(i + 1);
            return text;
        }
        if (line[i] != '\\') {
            text += line[i];
            continue;
        }
        if (++i == line.size()) return {};
        if (line[i] == 'x') {
            const std::optional<char> byte = hexByte(line.substr(i + 1, 2));
            if (!byte.has_value()) return {};
            text += *byte;
            i += 2;
        } else {
            text += line[i] == 'n' ? '\n' : line[i] == 't' ? '\t' : line[i];
        }
    }
    return {};
}

std::optional<std::map<std::string, std::string>> takeFields(std::string_view line) {
    std::map<std::string, std::string> fields;
    while (!line.empty()) {
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) return {};
        const std::string name(line.substr(0, equals));
        line.remove_prefix(equals + 1);
        std::optional<std::string> value = takeQuoted(line);
        if (!value.has_value()) return {};
        fields[name] = *std::move(value);
        if (line.starts_with(' ')) line.remove_prefix(1);
    }
    return fields;
}

bool isTime(std::string_view text) {
    constexpr std::string_view pattern = "dddd-dd-dd-dd.dd.dd.dddddd";
    return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(), [](char given, char wanted) {
        return wanted == 'd' ? given >= '0' && given <= '9' : given == wanted;
    });
}

/* The record of a line about a change; nothing when it is damaged. */
std::optional<PolicyChange> takeChange(std::string_view line, size_t place) {
    constexpr size_t timeLength = 26;
    constexpr std::string_view databaseLabel = " database ";
    const std::string_view head = line.substr(0, place);
    const auto fields = takeFields(line.substr(place + marker.size()));
    if (!isTime(head.substr(0, timeLength)) || !fields.has_value()) return {};
    for (const char* name : {"policy", "before", "after"})
        if (!fields->contains(name)) return {};
    PolicyChange change{std::string(head.substr(0, timeLength)), fields->at("policy"), "-", fields->at("before"),
                        fields->at("after")};
    const size_t label = head.find(databaseLabel);
    if (fields->contains("database")) {
        change.database = fields->at("database");
    } else if (label != std::string_view::npos) {
        const std::string_view name = head.substr(label + databaseLabel.size());
        change.database = name.substr(0, name.find(' '));
    }
    return change;
}

class LogFile {
public:
    explicit LogFile(const fs::path& path)
        : path_(path), descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        if (descriptor_ < 0 && errno != ENOENT) fail(errno);
    }
    ~LogFile() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    LogFile(LogFile&& other) noexcept
        : path_(std::move(other.path_)), descriptor_(std::exchange(other.descriptor_, -1)) {}
    LogFile& operator=(LogFile&&) = delete;

    bool isThere() const { return descriptor_ >= 0; }
    std::pair<dev_t, ino_t> identity() const {
        struct stat status {};
        if (::fstat(descriptor_, &status) != 0) fail(errno);
        return {status.st_dev, status.st_ino};
    }
    std::string read() const {
        std::string text;
        ssize_t done = 0;
        do {
            done = appendPiece(descriptor_, text);
        } while (done > 0);
        if (done < 0) fail(errno);
        return text;
    }

private:
    [[noreturn]] void fail(int reason) const {
        throw Failure(
            fmt::format("the log \"{}\" cannot be read: {}", path_.string(), std::generic_category().message(reason)),
            "Run the command as a user who may read the log directory of the instance.", systemErrorCode,
            systemErrorState);
    }

    fs::path path_;
    int descriptor_;
};

fs::path nameOf(size_t number) {
    const fs::path currentFile = kelhost::administrationLogFile;
    return number == 0 ? currentFile
                       : fs::path(fmt::format("{}.{}{}", currentFile.stem().string(), number,
                                              currentFile.extension().string()));
}

/* How many full files there are at most. */
size_t countFullFiles(const fs::path& directory) {
    std::error_code unreadable;
    const auto entries = std::distance(fs::directory_iterator(directory, unreadable), fs::directory_iterator());
    return unreadable ? 0 : static_cast<size_t>(entries);
}

/* The newest first: a file that is renamed meanwhile then comes a second time, rather than not at all. */
std::vector<LogFile> openFiles(const fs::path& directory) {
    std::vector<LogFile> files;
    std::set<std::pair<dev_t, ino_t>> known;
    const size_t most = countFullFiles(directory) + 1;  // one more may come meanwhile
    for (size_t number = 0; number <= most; ++number) {
        LogFile file(directory / nameOf(number));
        if (file.isThere() && known.insert(file.identity()).second) files.push_back(std::move(file));
    }
    return files;
}

}  // namespace

void readChanges(std::string_view lines, ChangeLog& log) {
    const std::string number = fmt::format(" {} ", SQLT_ADMIN_POLICY_CHANGED);
    while (!lines.empty()) {
        const size_t end = std::min(lines.find('\n'), lines.size());
        const std::string_view line = lines.substr(0, end);
        lines.remove_prefix(std::min(end + 1, lines.size()));
        const size_t place = line.find(marker);
        if (place == std::string_view::npos || line.substr(0, place).find(number) == std::string_view::npos) continue;
        if (std::optional<PolicyChange> change = takeChange(line, place))
            log.changes.push_back(*std::move(change));
        else
            ++log.unreadable;
    }
}

ChangeLog readChangeLog(const fs::path& directory) {
    const std::vector<LogFile> files = openFiles(directory);
    ChangeLog log;
    for (auto file = files.rbegin(); file != files.rend(); ++file) readChanges(file->read(), log);
    return log;
}

}  // namespace kelpolicy
