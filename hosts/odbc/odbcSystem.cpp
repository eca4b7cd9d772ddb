#include "odbcSystem.h"

#include <array>

namespace kelhost {
namespace {

constexpr std::array sqliteConnection = {"Timeout={}"};

// What a trigger or a rule within the file calls may not do more than compute either.
constexpr std::array sqliteSetup = {"PRAGMA trusted_schema = OFF"};
constexpr std::array sqliteChecks = {
    SessionCheck{"PRAGMA trusted_schema", "0", "SQLite must know \"PRAGMA trusted_schema\" (3.31 or later)"}};

// The driver's own way to keep a failing statement from spoiling the unit of work gives the whole unit up after some
// failures; it is switched off for this host's savepoints.
constexpr std::array postgresConnection = {"Protocol=7.4-0", "ByteaAsLongVarBinary=1", "UseServerSidePrepare=1"};

// The settings of the session win over those of the database and of the user.
constexpr std::array postgresSetup = {"SET lock_timeout = {}", "SET standard_conforming_strings = on"};

// The database refuses a text of two statements where it is asked to prepare it. The driver does so under a name that
// the session can see, unless it is told otherwise.
constexpr std::array postgresChecks = {
    SessionCheck{"SELECT '\\'", "\\", "standard_conforming_strings must be on"},
    SessionCheck{
        "SELECT CASE WHEN EXISTS (SELECT 1 FROM pg_catalog.pg_prepared_statements WHERE NOT from_sql) "
        "THEN 'prepared' END",
        "prepared",
        "the connection string and its data source must leave UseServerSidePrepare at 1 and UseDeclareFetch at 0"}};

const std::array<OdbcSystem, 2> systems = {{
    {.name = "SQLite",
     .dialect = sqliteDialect,
     .hasPolicyFile = true,
     .waitsForALock = 2,
     .connectionSettings = sqliteConnection,
     .sessionSetup = sqliteSetup,
     .sessionChecks = sqliteChecks,
     .readOnly = "PRAGMA query_only = 1",
     .compile = "EXPLAIN ",
     .timeLimit = nullptr,
     .noTimeLimit = nullptr},
    {.name = "PostgreSQL",
     .dialect = postgresDialect,
     .hasPolicyFile = false,
     .waitsForALock = 1,
     .connectionSettings = postgresConnection,
     .sessionSetup = postgresSetup,
     .sessionChecks = postgresChecks,
     .readOnly = "SET SESSION CHARACTERISTICS AS TRANSACTION READ ONLY",
     .compile = nullptr,
     .timeLimit = "SET statement_timeout = {}",
     .noTimeLimit = "RESET statement_timeout"},
}};

}  // namespace

const OdbcSystem* odbcSystemOf(std::string_view name) noexcept {
    for (const OdbcSystem& system : systems)
        if (system.name == name) return &system;
    return nullptr;
}

std::string supportedSystems() {
    std::string names;
    for (const OdbcSystem& system : systems) names += (names.empty() ? "" : " and ") + std::string(system.name);
    return names;
}

}  // namespace kelhost
