/* The files of a SQLite database, however a host reaches it: the policy schema stands in a file of its own beside the
 * database's. */
#ifndef KELHOST_SQLITE_FILES_H
#define KELHOST_SQLITE_FILES_H

#include <sys/types.h>

#include <ctime>
#include <optional>
#include <string>

#include "outcome.h"

namespace kelhost {

class Database;

/* Changes whenever a file is written to. */
struct FileState {
    ino_t number;
    off_t size;
    time_t seconds;
    long nanoseconds;

    friend bool operator==(const FileState&, const FileState&) = default;
};

/* How the database names a file that is opened in a certain way; the path may hold anything. */
std::string sqliteUri(const std::string& path, const char* how);

/* Throws HostError when it is not there. */
void requireSqliteFile(const std::string& path);

class SqliteFiles {
public:
    /* Attaches the policy schema to a session that was just opened. `mainFile`, where it is known, is the database's; a
     * session that only reads need not have opened it. Throws HostError. */
    void attach(Database& database, std::string mainFile);

    const std::string& databaseName() const noexcept { return databaseName_; }

    /* Empty: it is in memory. */
    const std::string& policyFile() const noexcept { return policyFile_; }

    /* Whether nobody wrote to a file that was read as one that nobody writes to. */
    Outcome confirmReads() const;

private:
    static Outcome attachPolicies(Database& database, const std::string& name);
    void attachToRead(Database& database);
    void attachToChange(Database& database, const std::string& mainFile);

    std::string databaseName_{};
    std::string policyFile_{};
    std::optional<FileState> readAlone_{}; /* of the file that is read as one that nobody writes to */
};

}  // namespace kelhost

#endif
