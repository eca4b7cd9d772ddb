/* One session of a database: what a host brings in place of a whole call level.
 *
 * A session begins, divides and ends one unit of work at a time, and runs one statement after the other. It is used by
 * one thread at a time, but for `cancel`. Functions tell how they ended, or throw what the standard library throws; the
 * unit of work is then as after a failure.
 *
 * Units of work. Until `begin` each statement is a unit of its own, unless the dialect says that failures spoil the
 * unit: then the first statement begins it. A failing statement does as much harm as the database has it do:
 * `isInUnit` tells whether there still is a unit, and a savepoint before it brings back what was. */
#ifndef KELHOST_DATABASE_H
#define KELHOST_DATABASE_H

#include <sql.h>
#include <sqlext.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "outcome.h"

namespace kelhost {

struct Dialect;
class Instance;

enum class Access {
    change, /* what a statement or the library finds missing may be made */
    read,   /* nothing is made and nothing is written, so no right to write is needed */
};

struct DatabaseOptions {
    /* A file of SQLite's (FILE or sqlite:FILE), or a connection string of the ODBC driver manager; empty: the
     * instance's own database. */
    std::string connection{};
    /* How long a statement waits for another unit of work, at least a millisecond. For SQLite over ODBC the connection
     * string decides instead where it has a Timeout of its own. */
    std::chrono::milliseconds lockTimeout{10000};
    Access access = Access::change;
};

/* Whose statement it is. */
enum class Authority {
    client, /* its text may say more than who wrote it meant: it reads and changes rows, and no more */
    host,   /* also makes and changes tables; reaches no file, no code and no setting of the session's safety */
};

enum class ValueKind { text, bytes, number };

struct InputValue {
    ValueKind kind = ValueKind::text;
    bool isNull = false;
    std::string_view content{}; /* of text and bytes */
    int64_t number = 0;
};

/* As text, numbers are written in decimal, and bytes as the database writes them; as bytes, a value is what is stored.
 */
enum class ValueForm { text, bytes };

struct OutputValue {
    bool isNull = false;
    std::string_view content{}; /* until the next call on the statement */
};

struct ColumnDescription {
    std::string name{};
    SQLSMALLINT sqlType = SQL_VARCHAR;
    SQLULEN size = 0;
    SQLSMALLINT decimals = 0;
    bool mayBeNull = true;
};

/* A statement that the database has, or will have, compiled. It must not outlive its session. */
class PreparedStatement {
public:
    PreparedStatement() = default;
    virtual ~PreparedStatement() = default;
    PreparedStatement(const PreparedStatement&) = delete;
    PreparedStatement& operator=(const PreparedStatement&) = delete;

    /* Compiles it where that was put off, so that all that is wrong with the text comes out, and counts the columns of
     * its rows: 0, it has none. */
    virtual Outcome compile(unsigned& columns) = 0;

    /* `parameter` from 1. REQUIRES: what the value refers to lives until the statement has run. */
    virtual Outcome bind(unsigned parameter, const InputValue& value) = 0;

    /* Runs it; REQUIRES: no rows are open. `rows` of the outcome counts what a change has changed. Where it has
     * columns, rows are open afterwards. */
    virtual Outcome execute(unsigned& columns) = 0;

    /* The next row; SQLCODE 100 when there is none. REQUIRES: rows are open, as for the two that follow. */
    virtual Outcome fetch() = 0;

    /* A value of the current row, as often as wanted; `column` from 1. */
    virtual Outcome read(unsigned column, ValueForm form, OutputValue& value) = 0;

    virtual Outcome describe(unsigned column, ColumnDescription& description) = 0;

    /* Closes the rows and forgets the values: the next one may bind and run it. */
    virtual Outcome reset() = 0;
};

class Database {
public:
    Database() = default;
    virtual ~Database() = default; /* rolls back */
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    virtual const Dialect& dialect() const noexcept = 0;
    virtual Access access() const noexcept = 0;
    virtual const std::string& name() const noexcept = 0;
    /* The file of the policy schema, where it is one of this machine's. */
    virtual const std::string& policyFile() const noexcept = 0;

    /* Exactly one statement: the database refuses more. Neither begins nor spoils a unit; where the database would, the
     * compilation is put off. */
    virtual Outcome prepare(std::string_view text, Authority authority,
                            std::unique_ptr<PreparedStatement>& statement) = 0;

    /* Prepares and runs a statement of the host's own, and drops its rows. */
    virtual Outcome run(std::string_view text) = 0;

    /* Begins a unit that is going to change something, with the lock that this takes, if any. Does nothing where
     * statements begin it. */
    virtual Outcome begin() = 0;
    virtual Outcome savepoint(const char* name) = 0;
    virtual Outcome rollBackTo(const char* name) = 0;
    virtual Outcome release(const char* name) = 0;
    virtual Outcome commit() = 0;
    virtual Outcome rollBack() = 0;
    /* After a failed statement of a unit: whether the unit is still there. */
    virtual bool isInUnit() = 0;

    /* Whether what was read may be relied on; a failure where a file was read without locks, and changed. */
    virtual Outcome confirmReads() = 0;

    /* Ends the statement that runs, or waits for a lock, at this moment with SQLSTATE 57014. By any thread, as long as
     * the session lives; without such a statement it does nothing. SQLite's ODBC driver ends no wait before its time.
     */
    virtual void cancel() noexcept = 0;

    /* Runs one statement of the host's own outside of any unit (25001 inside one), as long as until `deadline`, then
     * ends it with SQLSTATE 57014. It waits for locks no longer than other statements do. */
    virtual Outcome runAlone(std::string_view text, std::chrono::steady_clock::time_point deadline) = 0;

    /* Another session of the same database with the same options. Throws HostError. */
    virtual std::unique_ptr<Database> another() const = 0;
};

/* The session that the options ask for. Which databases there are is the choice of who links this. Throws HostError. */
std::unique_ptr<Database> openDatabase(const Instance& instance, const DatabaseOptions& options);

}  // namespace kelhost

#endif
