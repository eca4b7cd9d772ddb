#include "dialect.h"

#include <array>

namespace kelhost {
namespace {

constexpr const char* verifyPolicyTable =
    "SELECT MED, DECISION, NAME, UPDATE_TIME, POLICY FROM SYSTOOLS.POLICY WHERE 1 = 0";

// SQLite: the stored text sorts as the moment does, so the table accepts no other form. The lengths count bytes.
constexpr std::array createForSqlite = {
    "CREATE TABLE SYSTOOLS.POLICY ("
    "MED VARCHAR(128) NOT NULL CONSTRAINT MED_TOO_LONG CHECK (length(CAST(MED AS BLOB)) <= 128),"
    "DECISION VARCHAR(128) NOT NULL CONSTRAINT DECISION_TOO_LONG CHECK (length(CAST(DECISION AS BLOB)) <= 128),"
    "NAME VARCHAR(128) NOT NULL CONSTRAINT NAME_TOO_LONG CHECK (length(CAST(NAME AS BLOB)) <= 128),"
    "UPDATE_TIME CHAR(26) NOT NULL CONSTRAINT UPDATE_TIME_NO_TIMESTAMP CHECK (UPDATE_TIME GLOB "
    "'[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]-[0-9][0-9].[0-9][0-9].[0-9][0-9].[0-9][0-9][0-9][0-9][0-9][0-9]'),"
    "POLICY BLOB NOT NULL CONSTRAINT POLICY_TOO_LONG CHECK (length(CAST(POLICY AS BLOB)) <= 2097152),"
    "PRIMARY KEY (MED, DECISION, NAME))"};

constexpr std::array packagesForSqlite = {
    "CREATE TABLE SYSTOOLS.PACKAGE ("
    "COLLECTION VARCHAR(128) NOT NULL, NAME VARCHAR(128) NOT NULL, TOKEN CHAR(16) NOT NULL, "
    "BINDER VARCHAR(128) NOT NULL, GRANTED INTEGER NOT NULL, BIND_TIME CHAR(26) NOT NULL, CONTENT BLOB NOT NULL, "
    "PRIMARY KEY (COLLECTION, NAME))"};

// A driver, or a program, adds functions that read and write files, and lets one load code.
constexpr std::array functionsOfSqlite = {"ABS",          "AVG",     "CAST",   "COALESCE",   "COUNT", "DENSE_RANK",
                                          "GROUP_CONCAT", "HEX",     "IFNULL", "INSTR",      "LAG",   "LEAD",
                                          "LENGTH",       "LOWER",   "LTRIM",  "MAX",        "MIN",   "NULLIF",
                                          "RANK",         "REPLACE", "ROUND",  "ROW_NUMBER", "RTRIM", "SUBSTR",
                                          "SUBSTRING",    "SUM",     "TRIM",   "TYPEOF",     "UPPER"};
constexpr std::array ownNamesOfSqlite = {"SQLITE_", "PRAGMA_"};

constexpr std::array<NativeFailure, 28> failuresOfSqlite = {{
    {0, "no such table", "42704"},
    {0, "no such column", "42703"},
    {0, "has no column named", "42703"},
    {0, "no such function", "42884"},
    {0, "already exists", "42710"},
    {0, "syntax error", "42601"},
    {0, "incomplete input", "42601"},
    {0, "unrecognized token", "42601"},
    {0, "unknown database", "42704"},
    {0, "values for", "42802"},
    {0, "UNIQUE constraint failed", "23505"},
    {0, "NOT NULL constraint failed", "23502"},
    {0, "_TOO_LONG", "22001"},
    {0, "_NO_TIMESTAMP", "22007"},
    {0, "CHECK constraint failed", "23513"},
    {0, "not authorized", "42501"},
    {0, "is prohibited", "42501"},
    {0, "unsafe use of", "42501"},
    {5, "", "40001"},   // busy
    {6, "", "40001"},   // locked
    {7, "", "57011"},   // no memory
    {9, "", "57014"},   // interrupted
    {8, "", "25006"},   // read-only
    {13, "", "53100"},  // device full
    {23, "", "42501"},  // not authorized
    {10, "", "58030"},  // input or output
    {11, "", "58030"},  // file damaged
    {26, "", "58030"},  // no database
}};

constexpr std::array functionsOfPostgres = {
    "ABS",      "AVG",        "CAST",         "CHAR_LENGTH", "COALESCE", "COUNT",   "DENSE_RANK", "EXTRACT",
    "GREATEST", "LAG",        "LEAD",         "LEAST",       "LENGTH",   "LOWER",   "LTRIM",      "MAX",
    "MIN",      "NULLIF",     "OCTET_LENGTH", "POSITION",    "RANK",     "REPLACE", "ROUND",      "ROW_NUMBER",
    "RTRIM",    "STRING_AGG", "SUBSTR",       "SUBSTRING",   "SUM",      "TRIM",    "UPPER"};

// Also a view can read a file or change a setting.
constexpr std::array ownNamesOfPostgres = {"PG_"};

constexpr std::array<NativeFailure, 1> failuresOfPostgres = {{{0, "_too_long", "22001"}}};

constexpr std::array createForPostgres = {
    "CREATE SCHEMA IF NOT EXISTS SYSTOOLS",
    "CREATE TABLE SYSTOOLS.POLICY ("
    "MED VARCHAR(128) NOT NULL CONSTRAINT MED_TOO_LONG CHECK (octet_length(MED) <= 128),"
    "DECISION VARCHAR(128) NOT NULL CONSTRAINT DECISION_TOO_LONG CHECK (octet_length(DECISION) <= 128),"
    "NAME VARCHAR(128) NOT NULL CONSTRAINT NAME_TOO_LONG CHECK (octet_length(NAME) <= 128),"
    "UPDATE_TIME TIMESTAMP(6) NOT NULL,"
    "POLICY BYTEA NOT NULL CONSTRAINT POLICY_TOO_LONG CHECK (octet_length(POLICY) <= 2097152),"
    "PRIMARY KEY (MED, DECISION, NAME))"};

constexpr std::array packagesForPostgres = {
    "CREATE SCHEMA IF NOT EXISTS SYSTOOLS",
    "CREATE TABLE SYSTOOLS.PACKAGE ("
    "COLLECTION VARCHAR(128) NOT NULL, NAME VARCHAR(128) NOT NULL, TOKEN CHAR(16) NOT NULL, "
    "BINDER VARCHAR(128) NOT NULL, GRANTED INTEGER NOT NULL, BIND_TIME TIMESTAMP(6) NOT NULL, CONTENT BYTEA NOT NULL, "
    "PRIMARY KEY (COLLECTION, NAME))"};

}  // namespace

constinit const Dialect sqliteDialect = {
    .databaseSystem = "SQLite",
    .lexis = {.quotes = "'\"`[", .lineEnds = "\n", .nestedComments = false, .escapes = false},
    .functions = functionsOfSqlite,
    .ownNames = ownNamesOfSqlite,
    .timestamps = TimestampLiteral::engineText,
    .failuresSpoilUnit = false,
    .keepsPrepared = true,
    .verifyPolicyTable = verifyPolicyTable,
    .createPolicyTable = createForSqlite,
    .createPackageTable = packagesForSqlite,
    .currentUser = nullptr,
    .failures = failuresOfSqlite};

constinit const Dialect postgresDialect = {
    .databaseSystem = "PostgreSQL",
    .lexis = {.quotes = "'\"", .lineEnds = "\r\n", .nestedComments = true, .escapes = true},
    .functions = functionsOfPostgres,
    .ownNames = ownNamesOfPostgres,
    .timestamps = TimestampLiteral::iso,
    .failuresSpoilUnit = true,
    .keepsPrepared = false,
    .verifyPolicyTable = verifyPolicyTable,
    .createPolicyTable = createForPostgres,
    .createPackageTable = packagesForPostgres,
    .currentUser = "SELECT CURRENT_USER",
    .failures = failuresOfPostgres};

}  // namespace kelhost
