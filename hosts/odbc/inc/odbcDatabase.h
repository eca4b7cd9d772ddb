/* A database that an ODBC driver reaches: PostgreSQL, and SQLite where that is wanted. */
#ifndef KELHOST_ODBC_DATABASE_H
#define KELHOST_ODBC_DATABASE_H

#include <memory>

#include "database.h"

namespace kelhost {

/* REQUIRES: `options.connection` is a connection string of the driver manager. Throws HostError. */
std::unique_ptr<Database> openOdbcDatabase(const DatabaseOptions& options);

}  // namespace kelhost

#endif
