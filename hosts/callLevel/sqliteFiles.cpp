#include "sqliteFiles.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "database.h"
#include "engineContext.h"
#include "hostError.h"

namespace kelhost {
namespace {

namespace fs = std::filesystem;

std::string inQuotes(std::string text) {
    for (size_t quote = text.find('\''); quote != std::string::npos; quote = text.find('\'', quote + 2)) {
        text.insert(quote, 1, '\'');
    }
    return '\'' + text + '\'';
}

bool exists(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) return true;
    if (errno == ENOENT) return false;
    throw systemError("cannot open the database file \"" + path + "\"", errno);
}

bool isDamage(const Outcome& outcome) noexcept {
    return outcome.detail.find("not a database") != std::string::npos ||
           outcome.detail.find("malformed") != std::string::npos;
}

[[noreturn]] void failOpening(const std::string& path, const Outcome& outcome) {
    if (isDamage(outcome)) {
        throw HostError(-902, "58030", "the database file \"" + path + "\" is damaged: " + outcome.detail,
                        adviceOnDamage(path));
    }
    if (::access(path.c_str(), R_OK) != 0 && errno != ENOENT) {
        throw systemError("cannot open the database file \"" + path + "\"", errno);
    }
    const bool isKnown = outcome.state() != "HY000";
    throw HostError(isKnown ? outcome.sqlcode : -902, isKnown ? outcome.sqlstate : "58030",
                    "cannot open the database file \"" + path + "\": " + outcome.detail);
}

std::optional<FileState> stateOf(const std::string& path) noexcept {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return std::nullopt;
    return FileState{status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

// The first row's value, as text; empty when there is none, or the question fails.
std::string firstText(Database& database, std::string_view query, unsigned column) {
    std::unique_ptr<PreparedStatement> statement;
    OutputValue value;
    unsigned columns = 0;
    if (database.prepare(query, Authority::host, statement).failed() || statement->execute(columns).failed() ||
        !statement->fetch().found() || statement->read(column, ValueForm::text, value).failed())
        return {};
    return std::string(value.content);
}

}  // namespace

std::string adviceOnDamage(const std::string& path) {
    return "Restore \"" + path +
           "\" from a backup. Or move it away, with what stands beside it under its name and -wal or -shm, make a new "
           "one with \"kelpolicy init\", and load the latest \"kelpolicy dump\".";
}

std::string sqliteUri(const std::string& path, const char* how) {
    std::string uri = "file:";
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isPlain = std::isalnum(byte) != 0 || std::strchr("/._-", c) != nullptr;
        uri += isPlain ? std::string(1, c) : fmt::format("%{:02X}", byte);
    }
    return uri + '?' + how;
}

void requireSqliteFile(const std::string& path) {
    if (exists(path)) return;
    throw HostError(-30081, "08001", "there is no database file \"" + path + "\"",
                    "\"kelpolicy init\", with the same --instance and --database, makes it.");
}

void SqliteFiles::attach(Database& database, std::string mainFile) {
    const bool reads = database.access() == Access::read;
    if (mainFile.empty() || !reads) mainFile = firstText(database, "PRAGMA database_list", 3);
    databaseName_ = mainFile.empty() ? "memory" : fs::path(mainFile).stem().string();
    if (!mainFile.empty()) policyFile_ = fs::path(mainFile).replace_extension(".systools.db").string();
    if (policyFile_.empty() || (reads && !exists(policyFile_))) {
        require(database.run("ATTACH ':memory:' AS SYSTOOLS"), "cannot use the database");
    } else if (reads) {
        attachToRead(database);
    } else {
        attachToChange(database, mainFile);
    }
}

Outcome SqliteFiles::attachPolicies(Database& database, const std::string& name) {
    Outcome outcome = database.run("ATTACH " + inQuotes(name) + " AS SYSTOOLS");
    if (outcome.failed()) return outcome;
    outcome = database.run("SELECT count(*) FROM SYSTOOLS.sqlite_master");
    if (outcome.failed()) database.run("DETACH SYSTOOLS");
    return outcome;
}

// Write-ahead logging lets readers and a writer work side by side and survives a killed process; the mode stays with
// the file.
void SqliteFiles::attachToChange(Database& database, const std::string& mainFile) {
    const Outcome opened = database.run("SELECT count(*) FROM main.sqlite_master");
    if (opened.failed()) failOpening(mainFile, opened);
    const Outcome attached = attachPolicies(database, policyFile_);
    if (attached.failed()) failOpening(policyFile_, attached);
    for (const char* schema : {"main", "SYSTOOLS"}) {
        const std::string mode = std::string("PRAGMA ") + schema + ".journal_mode";
        // Another process may be changing the mode at this moment; without the change the file works as well.
        if (firstText(database, mode, 1) != "wal") database.run(mode + " = WAL");
    }
}

// Who may write beside the file shares it as everybody does, and leaves nothing behind. Who may not can still do so
// while others have it open. Else nobody writes to it, most likely, and what it holds is all there is unless a log of
// changes stands beside it; whether nobody did is seen at the end.
void SqliteFiles::attachToRead(Database& database) {
    const std::optional<FileState> before = stateOf(policyFile_);
    const Outcome shared = attachPolicies(database, sqliteUri(policyFile_, "mode=rw"));
    if (!shared.failed()) return;
    if (isDamage(shared) || shared.state() == "40001") failOpening(policyFile_, shared);
    const std::string changes = policyFile_ + "-wal";
    const std::optional<FileState> log = stateOf(changes);
    if (log.has_value() && log->size > 0) {
        throw HostError(-902, "58030",
                        "the latest changes of the database file \"" + policyFile_ + "\" stand in \"" + changes +
                            "\", which only who may write to their directory can read: " + shared.detail,
                        "Run \"kelpolicy init\" as the owner of the directory, which puts them in their place; or copy "
                        "the instance directory to where you may write, and name the copy with --instance.");
    }
    const Outcome alone = attachPolicies(database, sqliteUri(policyFile_, "immutable=1"));
    if (alone.failed()) failOpening(policyFile_, alone);
    readAlone_ = before;
}

Outcome SqliteFiles::confirmReads() const {
    if (!readAlone_.has_value() || readAlone_ == stateOf(policyFile_)) return {};
    return failure("40001", "the database file \"" + policyFile_ + "\" was written to while it was read");
}

}  // namespace kelhost
