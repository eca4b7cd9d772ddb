#include "archive/dumpDirectory.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <system_error>

#include "archive/bytes.h"
#include "archive/replaceFile.h"
#include "console/text.h"
#include "document/documentFile.h"
#include "files.h"
#include "hostFile.h"

namespace kelpolicy {
namespace {

namespace fs = std::filesystem;

constexpr const char* manifestName = "manifest.json";
constexpr const char* format = "kelpolicy-dump";
constexpr int version = 1;
constexpr size_t largestManifest = size_t{256} << 20;

Failure directoryFailure(const std::string& directory, const std::string& what, const char* hint) {
    return {fmt::format("the directory \"{}\" {}", directory, what), hint, systemErrorCode, systemErrorState};
}

Failure systemFailure(const std::string& directory, const char* what, int reason) {
    return directoryFailure(directory, fmt::format("cannot be {}: {}", what, std::generic_category().message(reason)),
                            "Check the path, and that you may write to the directory that holds it.");
}

/* What is wrong with a file of a dump. */
struct Damage {
    std::string what;
};

/* A regular file of at most `limit` bytes. Throws Damage. */
std::string readWhole(const fs::path& path, size_t limit) {
    std::string text;
    switch (kelhost::readWholeFile(path.c_str(), limit, text)) {
        case OSS_OK:
            return text;
        case OSS_NOT_FOUND:
            throw Damage{"is missing"};
        case OSS_NOT_REGULAR:
            throw Damage{"is no regular file"};
        case OSS_TOO_LONG:
            throw Damage{fmt::format("has more than {} bytes", limit)};
        default:
            throw Damage{"cannot be read"};
    }
}

std::vector<std::string> namesIn(const fs::path& directory) {
    std::error_code failure;
    std::vector<std::string> names;
    for (fs::directory_iterator entry(directory, failure), end; !failure && entry != end; entry.increment(failure))
        names.push_back(entry->path().filename().string());
    if (failure) throw systemFailure(directory.string(), "read", failure.value());
    std::sort(names.begin(), names.end());
    return names;
}

/* A name for people: the number keeps it unique, the rest says what it is. */
std::string fileNameFor(size_t number, const std::string& policy) {
    constexpr size_t longest = 40;
    std::string name;
    for (const char byte : policy.substr(0, longest)) {
        const bool isPlain =
            (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') || byte == '-';
        name += isPlain ? byte : '_';
    }
    return fmt::format("{:06}-{}.xml", number, name);
}

std::string checksumOf(Json manifest) {
    manifest.erase("sha256");
    return sha256(manifest.dump());
}

Json rowObject(const DumpedRow& row) {
    Json object = {{"file", row.file}};
    putKey(object, row.key);
    object["updateTime"] = row.updateTime;
    object["bytes"] = row.bytes;
    object["sha256"] = row.sha256;
    return object;
}

/* Takes the members of a row; each throws Damage that names the row and the member. */
class RowReader {
public:
    RowReader(const Json& object, size_t number) : object_(object), name_(fmt::format("row {}", number)) {
        if (!object_.isObject()) throw Damage{fmt::format("is damaged: {} is no object", name_)};
        const std::string file = text("file");
        name_ = fmt::format("the row of the file \"{}\"", file);
    }

    std::string text(const char* key) const {
        const Json* value = object_.find(key);
        if (value == nullptr || !value->isText()) throw damage(key, "is no text");
        requireNoNul(key, value->text());
        return value->text();
    }
    size_t number(const char* key) const {
        const Json* value = object_.find(key);
        if (value == nullptr || !value->isNumber()) throw damage(key, "is no whole number");
        return value->number();
    }
    std::string keyPart(const char* key) const {
        std::optional<std::string> bytes = takeBytes(object_, key);
        if (!bytes.has_value()) throw damage(key, "is no text, and has none in base64 beside it");
        if (bytes->size() > longestKeyPart) throw damage(key, "is longer than 128 bytes");
        requireNoNul(key, *bytes);  // where it is bound and read back, a key ends there
        return *std::move(bytes);
    }

private:
    void requireNoNul(const char* key, const std::string& text) const {
        if (text.find('\0') != std::string::npos) throw damage(key, "holds a byte 0");
    }
    Damage damage(const char* key, const char* what) const {
        return {fmt::format("is damaged: {}: \"{}\" {}", name_, key, what)};
    }

    const Json& object_;
    std::string name_;
};

/* Throws Damage. */
DumpedRow rowOf(const Json& object, size_t number) {
    const RowReader reader(object, number);
    return {{reader.keyPart("med"), reader.keyPart("decision"), reader.keyPart("name")},
            reader.text("updateTime"),
            reader.text("file"),
            reader.number("bytes"),
            reader.text("sha256")};
}

/* Throws JsonError, or Damage. */
std::vector<DumpedRow> rowsOf(const std::string& text) {
    constexpr int deepest = 4;
    const Json manifest = Json::parse(text, deepest);
    if (manifest.at("format") != format) throw Damage{"is no manifest of a dump"};
    if (manifest.at("version") != version)
        throw Damage{fmt::format("is of version {}, this program reads {}", manifest.at("version").dump(), version)};
    if (manifest.at("sha256") != checksumOf(manifest)) throw Damage{"is damaged: its checksum differs"};
    std::vector<DumpedRow> rows;
    for (const Json& object : manifest.at("rows").elements()) rows.push_back(rowOf(object, rows.size() + 1));
    return rows;
}

void syncDirectory(const fs::path& directory) {
    const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    ::fsync(descriptor);
    ::close(descriptor);
}

/* Removes a dump's files and its directory; what else may be in there stays. */
void removeDump(const fs::path& directory, const std::vector<DumpedRow>& rows) {
    std::error_code ignored;
    for (const DumpedRow& row : rows) fs::remove(directory / row.file, ignored);
    fs::remove(directory / manifestName, ignored);
    fs::remove(directory, ignored);
}

/* The dump that has this name; nothing when the name is free or an empty directory's. Throws Failure for all else. */
std::optional<Dump> earlierDump(const std::string& directory) {
    std::error_code failure;
    const fs::file_status status = fs::status(directory, failure);
    if (!fs::exists(status)) return {};
    if (!fs::is_directory(status))
        throw directoryFailure(directory, "is no directory", "Name a new directory, or one that holds a dump.");
    if (namesIn(directory).empty()) return {};
    std::optional<Dump> dump;
    try {
        dump.emplace(directory);
    } catch (const Failure& notOne) {
        throw directoryFailure(directory, fmt::format("is not empty, and holds no dump ({})", notOne.what()),
                               "Name a new directory, an empty one, or one that holds a dump.");
    }
    const std::vector<std::string> foreign = dump->foreignFiles();
    if (!foreign.empty())
        throw directoryFailure(directory,
                               fmt::format("holds a dump, and \"{}\", which is none of its files", foreign.front()),
                               "Move away what is not the dump's, or name another directory.");
    return dump;
}

std::string makePartial(const fs::path& target) {
    for (int number = 0;; ++number) {
        const fs::path path =
            target.parent_path() / fmt::format(".{}.{}-{}.partial", target.filename().string(), ::getpid(), number);
        std::error_code failure;
        if (fs::create_directory(path, failure)) return path.string();
        if (failure) throw systemFailure(target.string(), "made", failure.value());
    }
}

}  // namespace

NewDump::NewDump(const std::string& directory) {
    std::error_code failure;
    fs::path target = realPath(directory, failure);
    if (!failure && !target.has_filename()) target = target.parent_path();
    if (failure || !target.has_filename()) throw systemFailure(directory, "made", failure ? failure.value() : ENOENT);
    target_ = target.string();
    earlierDump(target_);
    partial_ = makePartial(target);
}

NewDump::~NewDump() {
    if (!partial_.empty()) removeDump(partial_, rows_);
}

void NewDump::add(const RowKey& key, const PolicyRow& row) {
    rows_.push_back(
        {key, row.updateTime, fileNameFor(rows_.size() + 1, key.name), row.document.size(), sha256(row.document)});
    replaceFile((fs::path(partial_) / rows_.back().file).string(), row.document);
}

void NewDump::writeManifest(const std::string& database) const {
    Json manifest = {{"format", format}, {"version", version}};
    putBytes(manifest, "database", database);
    Json rows = Json::array();
    for (const DumpedRow& row : rows_) rows.push_back(rowObject(row));
    manifest["rows"] = std::move(rows);
    manifest["sha256"] = checksumOf(manifest);
    replaceFile((fs::path(partial_) / manifestName).string(), manifest.dump(2) + "\n");
}

void NewDump::publish(const std::string& database) {
    writeManifest(database);
    const std::optional<Dump> earlier = earlierDump(target_);
    const unsigned flags = earlier.has_value() ? RENAME_EXCHANGE : 0;
    if (::renameat2(AT_FDCWD, partial_.c_str(), AT_FDCWD, target_.c_str(), flags) != 0)
        throw systemFailure(target_, "given its name", errno);
    syncDirectory(fs::path(target_).parent_path());
    if (earlier.has_value()) removeDump(partial_, earlier->rows());
    partial_.clear();
}

Dump::Dump(const std::string& directory) : directory_(directory) {
    const auto damaged = [this](const std::string& what) {
        return Failure(fmt::format("{} of the dump \"{}\" {}", manifestName, directory_.string(), what),
                       "Name the directory of a dump; one that is damaged cannot be loaded.", policyFileCode,
                       policyState);
    };
    std::error_code failure;
    if (!fs::is_directory(directory_, failure))
        throw directoryFailure(directory,
                               failure ? fmt::format("cannot be read: {}", failure.message()) : std::string("is none"),
                               "Name the directory of a dump.");
    try {
        rows_ = rowsOf(readWhole(directory_ / manifestName, largestManifest));
    } catch (const Damage& damage) {
        throw damaged(damage.what);
    } catch (const JsonError& error) {
        throw damaged(fmt::format("is damaged: {}", error.what()));
    }
    std::set<std::string> files;
    std::set<RowKey> keys;
    for (const DumpedRow& row : rows_) {
        const bool isName = row.file.find('/') == std::string::npos && row.file.find('\0') == std::string::npos &&
                            row.file != "." && row.file != ".." && !row.file.empty() && row.file != manifestName;
        if (!isName) throw damaged(fmt::format("names the file \"{}\", which is none of a dump", row.file));
        if (!files.insert(row.file).second) throw damaged(fmt::format("names the file \"{}\" twice", row.file));
        if (!keys.insert(row.key).second) throw damaged(fmt::format("has the key {} twice", shownKey(row.key)));
    }
}

std::vector<std::string> Dump::foreignFiles() const {
    std::set<std::string> known = {manifestName};
    for (const DumpedRow& row : rows_) known.insert(row.file);
    std::vector<std::string> names = namesIn(directory_);
    std::erase_if(names, [&known](const std::string& name) { return known.contains(name); });
    return names;
}

namespace {

/* Throws Damage. */
std::string readRow(const fs::path& directory, const DumpedRow& row) {
    std::string document = readWhole(directory / row.file, largestPolicyDocument);
    if (document.size() != row.bytes)
        throw Damage{fmt::format("has {} bytes, {} were dumped", document.size(), row.bytes)};
    if (sha256(document) != row.sha256) throw Damage{"does not hold the bytes that were dumped"};
    return document;
}

}  // namespace

std::string Dump::document(const DumpedRow& row) const {
    try {
        return readRow(directory_, row);
    } catch (const Damage& damage) {
        throw Failure(fmt::format("the file \"{}\" of the dump \"{}\" {}", row.file, directory_.string(), damage.what),
                      "Run the command again when nobody writes to the dump.", policyFileCode, policyState);
    }
}

void Dump::check(const std::function<void()>& step) const {
    std::vector<std::string> damages;
    for (const DumpedRow& row : rows_) {
        try {
            readRow(directory_, row);
        } catch (const Damage& damage) {
            damages.push_back(fmt::format("the file \"{}\" {}", row.file, damage.what));
        }
        step();
    }
    for (const std::string& name : foreignFiles())
        damages.push_back(fmt::format("the file \"{}\" is none of the dump's", name));
    if (damages.empty()) return;
    constexpr size_t most = 10;
    std::string all;
    for (size_t i = 0; i < std::min(damages.size(), most); ++i) all += (i == 0 ? "" : "; ") + damages[i];
    if (damages.size() > most) all += fmt::format("; and {} more", damages.size() - most);
    throw Failure(fmt::format("the dump \"{}\" is not as it was made: {}", directory_.string(), all),
                  "Nothing was loaded. Restore the dump's files, and move others away.", policyFileCode, policyState);
}

}  // namespace kelpolicy
