// The administration log is written for people; its lines are made so that they can be taken apart again: a head with
// time, process, thread, database and user, then "10515 <function> probe <n>: policy changed", then the fields in
// quotes. Older lines have no user, a database's name of several words without quotes, and no mark of a record that was
// cut.
#include "archive/changeLog.h"

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

#include "console/failure.h"
#include "document/documentFile.h"
#include "hostLogs.h"
#include "logs.h"

namespace kelpolicy {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view marker = ": policy changed ";
constexpr std::string_view changeNumber = " 10515 ";
static_assert(SQLT_ADMIN_POLICY_CHANGED == 10515);
constexpr std::string_view installFunction = " kelPolicyInstallSp";

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

/* Where the words begin behind which the fields stand. A name in the head may read like them, but has no quote without
 * a backslash. */
size_t findMarker(std::string_view line) {
    const std::string firstField = std::string(marker) + "policy";
    const size_t place = line.find(firstField + "=\"");
    return place != std::string_view::npos ? place : line.find(firstField);
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

/* The name behind the label in a head; "-" when there is none. An older name of several words ends where `last` begins,
 * the words behind the names. */
std::string takeName(std::string_view& head, std::string_view label, std::string_view last) {
    const size_t place = head.find(label);
    if (place == std::string_view::npos) return "-";
    std::string_view name = head.substr(place + label.size());
    if (name.starts_with('"')) {
        std::optional<std::string> quoted = takeQuoted(name);
        head = name;
        return std::move(quoted).value_or("-");
    }
    const size_t user = name.find(" user ");
    const size_t end = std::min(user, name.size() - std::min(last.size(), name.size()));
    head = name.substr(end);
    return std::string(name.substr(0, end));
}

/* What stands behind the names in a head: importance, number, function and probe. */
std::string_view wordsBehindNames(std::string_view head) {
    const size_t number = head.rfind(changeNumber);
    const size_t importance = number == std::string_view::npos ? number : head.rfind(' ', number - 1);
    return importance == std::string_view::npos ? std::string_view() : head.substr(importance);
}

/* An older record does not say that it was cut: the install procedure names the database always, and what it hands over
 * has no more than SQLT_ADMIN_CHANGE_SIZE bytes. */
void completeOlderRecord(PolicyChange& change, bool hasDatabase) {
    constexpr size_t mostBytesLess = 3;
    constexpr size_t separators = 3;
    if (!hasDatabase) {
        change.database = std::exchange(change.before, std::exchange(change.after, ""));
        change.cut = "before";
        return;
    }
    const size_t size =
        change.policy.size() + change.database.size() + change.before.size() + change.after.size() + separators;
    if (size <= SQLT_ADMIN_CHANGE_SIZE && size + mostBytesLess >= SQLT_ADMIN_CHANGE_SIZE) change.cut = "after";
}

/* The record of a line about a change; nothing when it is damaged. */
std::optional<PolicyChange> takeChange(std::string_view line, size_t place) {
    constexpr size_t timeLength = 26;
    std::string_view head = line.substr(0, place);
    auto fields = takeFields(line.substr(place + marker.size()));
    if (!isTime(head.substr(0, timeLength)) || !fields.has_value()) return {};
    const std::string cut = (*fields)["cut"];
    for (const char* name : {"policy", "before", "after"})
        if (!fields->contains(name) && (cut.empty() || name == std::string_view("policy"))) return {};
    const std::string_view last = wordsBehindNames(head);
    const bool isInstalled = last.find(installFunction) != std::string_view::npos;
    PolicyChange change;
    change.time = head.substr(0, timeLength);
    change.policy = fields->at("policy");
    change.database = takeName(head, " database ", last);
    change.user = takeName(head, " user ", last);
    change.before = (*fields)["before"];
    change.after = (*fields)["after"];
    change.cut = cut;
    change.action = fields->contains("action") ? fields->at("action") : "update";
    if (fields->contains("database")) change.database = fields->at("database");
    if (change.user == "-" && isInstalled) completeOlderRecord(change, fields->contains("database"));
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
    while (!lines.empty()) {
        const size_t end = std::min(lines.find('\n'), lines.size());
        const std::string_view line = lines.substr(0, end);
        lines.remove_prefix(std::min(end + 1, lines.size()));
        const size_t place = findMarker(line);
        if (place == std::string_view::npos || line.substr(0, place).find(changeNumber) == std::string_view::npos)
            continue;
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
