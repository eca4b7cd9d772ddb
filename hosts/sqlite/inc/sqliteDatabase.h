/* A database in a file, on SQLite's own interface. */
#ifndef KELHOST_SQLITE_DATABASE_H
#define KELHOST_SQLITE_DATABASE_H

#include <memory>
#include <string>

#include "database.h"

namespace kelhost {

/* `file`, or ":memory:"; the policy schema stands beside it. For a change, what is missing is made. Throws HostError.
 */
std::unique_ptr<Database> openSqliteDatabase(const std::string& file, const DatabaseOptions& options);

}  // namespace kelhost

#endif
