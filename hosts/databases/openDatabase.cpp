// Which database the options ask for.
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "hostError.h"
#include "instance.h"
#include "odbcDatabase.h"
#include "passwords.h"
#include "sqliteDatabase.h"

namespace kelhost {
namespace {

constexpr std::string_view sqliteScheme = "sqlite:";

// "Key=..." and what follows. A path that has a '=' has a '/' before it, or can be given one.
bool isConnectionString(std::string_view text) {
    const std::string_view key = text.substr(0, text.find('='));
    return key.size() < text.size() && !key.empty() &&
           std::none_of(key.begin(), key.end(), [](char c) { return c == '/' || c == ';'; });
}

bool isFile(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

std::unique_ptr<Database> openDatabase(const Instance& instance, const DatabaseOptions& options) {
    const std::string& given = options.connection;
    if (given.empty()) return openSqliteDatabase(instance.databaseFiles() + "/kelpolicy.db", options);
    if (given.starts_with(sqliteScheme) && given.size() > sqliteScheme.size())
        return openSqliteDatabase(given.substr(sqliteScheme.size()), options);
    if (isConnectionString(given)) return openOdbcDatabase(options);
    if (isFile(given)) return openSqliteDatabase(given, options);
    throw HostError(
        -30081, "08001",
        "\"" + withoutPasswords(given) + "\" is no database: neither a connection string nor a file that is there",
        "Name a database file, sqlite:FILE for one that is to be made, or a connection string with --database, "
        "--database-file or KELPOLICY_DATABASE.");
}

}  // namespace kelhost
