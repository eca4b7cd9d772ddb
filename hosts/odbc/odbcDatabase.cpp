#include "odbcDatabase.h"

#include <fmt/format.h>
#include <pthread.h>
#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <mutex>
#include <new>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "driverManager.h"
#include "hostError.h"
#include "odbcSystem.h"
#include "passwords.h"
#include "sqliteFiles.h"

namespace kelhost {
namespace {

constexpr Dialect unknownDialect{};  // until the driver has said what it speaks to

/* The value of a key of the connection string; nothing when it has no such key. */
std::optional<std::string_view> valueOf(std::string_view connection, std::string_view key) {
    const auto isSame = [](char one, char other) {
        return std::tolower(static_cast<unsigned char>(one)) == std::tolower(static_cast<unsigned char>(other));
    };
    while (!connection.empty()) {
        const std::string_view setting = connection.substr(0, connection.find(';'));
        const std::string_view name = setting.substr(0, setting.find('='));
        if (name.size() < setting.size() && std::equal(name.begin(), name.end(), key.begin(), key.end(), isSame))
            return setting.substr(name.size() + 1);
        connection.remove_prefix(std::min(setting.size() + 1, connection.size()));
    }
    return std::nullopt;
}

// The database's file, where the connection string names one for SQLite.
std::string fileIn(std::string_view connection) {
    std::string driver(valueOf(connection, "DRIVER").value_or(""));
    std::transform(driver.begin(), driver.end(), driver.begin(), [](unsigned char c) { return std::tolower(c); });
    const std::string_view file = valueOf(connection, "Database").value_or("");
    return driver.find("sqlite") != std::string::npos && file.starts_with('/') ? std::string(file) : std::string();
}

// A driver that waits several times for one lock is told to wait a part of the time each time. A database may take 0
// for "wait for ever".
std::string withTimeout(const char* text, const OdbcSystem& system, std::chrono::milliseconds lockTimeout) {
    const int64_t waits = system.waitsForALock;
    const int64_t each = lockTimeout.count() / waits + (lockTimeout.count() % waits > 0 ? 1 : 0);
    return fmt::format(fmt::runtime(text), std::clamp<int64_t>(each, 1, INT32_MAX));
}

// What a setting of the connection string's own means for the lock timeout stays its business, but for how often the
// driver waits.
std::string completed(std::string connection, const OdbcSystem& system, const DatabaseOptions& options) {
    for (const std::string_view text : system.connectionSettings) {
        const auto own = valueOf(connection, text.substr(0, text.find('=')));
        std::chrono::milliseconds timeout = options.lockTimeout;
        if (own.has_value()) {
            int64_t given = 0;
            std::from_chars(own->data(), own->data() + own->size(), given);
            if (given <= 0 || text.find("{}") == std::string_view::npos) continue;
            timeout = std::chrono::milliseconds(given);
        }
        connection = withTimeout(text.data(), system, timeout) + ';' + connection;  // of two the first counts
    }
    return connection;
}

/* --- what drivers say --------------------------------------------------------------------------------------------- */

// Drivers put their names before the database's text, and sometimes their own remarks after it.
std::string_view databaseText(std::string_view text) noexcept {
    while (text.starts_with('[')) {
        const size_t end = text.find(']');
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    if (text.starts_with("ERROR: ")) text.remove_prefix(7);
    text = text.substr(0, text.find(";\n"));
    const size_t code = text.rfind(" (");
    if (text.ends_with(')') && code != std::string_view::npos &&
        std::all_of(text.begin() + static_cast<ptrdiff_t>(code) + 2, text.end() - 1,
                    [](char c) { return c >= '0' && c <= '9'; })) {
        text = text.substr(0, code);
    }
    while (text.ends_with('\n') || text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

Outcome diagnostics(SQLSMALLINT handleType, SQLHANDLE handle, const Dialect& dialect) {
    SQLCHAR state[SQLCA_STATE_LENGTH + 1] = "00000";
    SQLCHAR message[SQL_MAX_MESSAGE_LENGTH] = "";
    SQLINTEGER nativeCode = 0;
    SQLSMALLINT length = 0;
    driverManager().getDiagRec(handleType, handle, 1, state, &nativeCode, message, sizeof message, &length);
    return databaseFailure(dialect, reinterpret_cast<const char*>(state), nativeCode,
                           databaseText(reinterpret_cast<const char*>(message)));
}

// The driver's first diagnostic record of a handle whose call failed. Whatever it says, or does not say, it is one.
Outcome failureOf(SQLSMALLINT handleType, SQLHANDLE handle, const Dialect& dialect) {
    Outcome outcome = diagnostics(handleType, handle, dialect);
    return outcome.failed() ? outcome : failure("HY000", std::move(outcome.detail));
}

Outcome outcomeOf(SQLRETURN result, SQLSMALLINT handleType, SQLHANDLE handle, const Dialect& dialect) {
    switch (result) {
        case SQL_SUCCESS:
            return {};
        case SQL_NO_DATA:
            return failure("02000", {});
        case SQL_SUCCESS_WITH_INFO: {
            Outcome outcome = diagnostics(handleType, handle, dialect);
            return outcome.sqlcode == 0 ? outcome : failure("01000", std::move(outcome.detail));
        }
        default:
            return failureOf(handleType, handle, dialect);
    }
}

/* Ends the session's statement when its time is over, unless it was destroyed before. */
class Limit {
public:
    Limit(Database& database, std::chrono::steady_clock::time_point deadline)
        : watcher_([this, &database, deadline] {
              std::unique_lock lock(guard_);
              // Once more, should the statement not have begun when it was cancelled.
              constexpr std::chrono::milliseconds again(20);
              for (auto until = deadline; !ended_.wait_until(lock, until, [this] { return isOver_; }); until += again)
                  database.cancel();
          }) {}
    ~Limit() {
        {
            const std::lock_guard lock(guard_);
            isOver_ = true;
        }
        ended_.notify_one();
        watcher_.join();
    }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

private:
    std::mutex guard_{};
    std::condition_variable ended_{};
    bool isOver_ = false;
    std::thread watcher_;
};

/* --- a session ---------------------------------------------------------------------------------------------------- */

class OdbcDatabase final : public Database {
public:
    explicit OdbcDatabase(const DatabaseOptions& options);
    ~OdbcDatabase() override;
    OdbcDatabase(const OdbcDatabase&) = delete;
    OdbcDatabase& operator=(const OdbcDatabase&) = delete;

    const Dialect& dialect() const noexcept override { return system_ == nullptr ? unknownDialect : system_->dialect; }
    Access access() const noexcept override { return options_.access; }
    const std::string& name() const noexcept override { return databaseName_; }
    const std::string& policyFile() const noexcept override { return files_.policyFile(); }

    Outcome prepare(std::string_view text, Authority authority, std::unique_ptr<PreparedStatement>& statement) override;
    Outcome run(std::string_view text) override;
    Outcome begin() override { return startsUnits() ? Outcome{} : run("BEGIN IMMEDIATE"); }
    Outcome savepoint(const char* name) override;
    Outcome rollBackTo(const char* name) override;
    Outcome release(const char* name) override;
    Outcome commit() override { return end(true); }
    Outcome rollBack() override { return end(false); }
    bool isInUnit() override;
    Outcome confirmReads() override { return files_.confirmReads(); }
    void cancel() noexcept override;
    Outcome runAlone(std::string_view text, std::chrono::steady_clock::time_point deadline) override;
    std::unique_ptr<Database> another() const override { return std::make_unique<OdbcDatabase>(options_); }

    const OdbcSystem& system() const noexcept { return *system_; }
    Outcome allocate(SQLHSTMT& handle) const;
    Outcome outcomeOf(SQLRETURN result, SQLHSTMT handle) const {
        return kelhost::outcomeOf(result, SQL_HANDLE_STMT, handle, dialect());
    }

    /* Runs the driver's call, which `cancel` may then end. */
    template <class Call>
    SQLRETURN cancellable(SQLHSTMT handle, Call call) {
        const Running running(*this, handle);
        hasBegun_ = startsUnits() && !isAlone_;
        return call();
    }

    /* Fails when the database cannot compile the text, which is no query. */
    Outcome compile(const std::string& text);

private:
    /* The statement that runs, for `cancel`. */
    class Running {
    public:
        Running(OdbcDatabase& database, SQLHSTMT handle) : database_(database) {
            const std::lock_guard lock(database.running_);
            database.runningStatement_ = handle;
        }
        ~Running() {
            const std::lock_guard lock(database_.running_);
            database_.runningStatement_ = SQL_NULL_HSTMT;
        }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

    private:
        OdbcDatabase& database_;
    };

    bool startsUnits() const noexcept { return dialect().failuresSpoilUnit; }
    void connect();
    void connectOnce(const std::string& connection);
    std::string driverInfo(SQLUSMALLINT what) const;
    void setUp(const std::string& mainFile);
    void check(const SessionCheck& demanded);
    void close() noexcept;
    Outcome end(bool commits);
    void setAutomaticCommit(bool on) const;

    const DriverManager& driver_ = driverManager();
    const DatabaseOptions options_;
    const OdbcSystem* system_ = nullptr;
    std::string databaseName_{};
    SqliteFiles files_{};
    SQLHENV environment_ = SQL_NULL_HENV;
    SQLHDBC connection_ = SQL_NULL_HDBC;
    bool connected_ = false;
    SQLHSTMT control_ = SQL_NULL_HSTMT; /* runs the host's own statements */
    bool hasBegun_ = false;             /* the driver has begun a unit */
    bool isAlone_ = false;              /* the statement that runs is a unit of its own */
    std::vector<bool> savepoints_{};    /* those that are open, and whether the database knows of them */
    std::mutex running_{};
    SQLHSTMT runningStatement_ = SQL_NULL_HSTMT;
};

/* --- a statement -------------------------------------------------------------------------------------------------- */

class OdbcStatement final : public PreparedStatement {
public:
    OdbcStatement(OdbcDatabase& database, SQLHSTMT handle, std::string_view text)
        : database_(database), handle_(handle), text_(text) {}
    ~OdbcStatement() override { driver_.freeHandle(SQL_HANDLE_STMT, handle_); }
    OdbcStatement(const OdbcStatement&) = delete;
    OdbcStatement& operator=(const OdbcStatement&) = delete;

    Outcome compile(unsigned& columns) override {
        Outcome outcome = countColumns(columns);
        if (outcome.failed() || columns > 0 || database_.system().compile == nullptr) return outcome;
        return database_.compile(text_);
    }

    Outcome bind(unsigned parameter, const InputValue& value) override;
    Outcome execute(unsigned& columns) override;

    // Drivers fetch rows from the server as they like, and wait for it.
    Outcome fetch() override {
        values_.clear();
        return outcomeOf(database_.cancellable(handle_, [this] { return driver_.fetch(handle_); }));
    }

    Outcome read(unsigned column, ValueForm form, OutputValue& value) override;
    Outcome describe(unsigned column, ColumnDescription& description) override;

    Outcome reset() override {
        values_.clear();
        driver_.freeStmt(handle_, SQL_RESET_PARAMS);
        return outcomeOf(driver_.freeStmt(handle_, SQL_CLOSE));
    }

private:
    struct ReadValue {
        unsigned column;
        ValueForm form;
        bool isNull;
        std::string content;
    };

    Outcome outcomeOf(SQLRETURN result) const { return database_.outcomeOf(result, handle_); }
    // Drivers that put the preparation off do it when they are asked for the columns.
    Outcome countColumns(unsigned& columns) {
        SQLSMALLINT count = 0;
        const SQLRETURN asked = database_.cancellable(handle_, [&] { return driver_.numResultCols(handle_, &count); });
        columns = static_cast<unsigned>(count);
        return SQL_SUCCEEDED(asked) ? Outcome{} : outcomeOf(asked);
    }
    Outcome readValue(unsigned column, ReadValue& value);

    const DriverManager& driver_ = driverManager();
    OdbcDatabase& database_;
    SQLHSTMT handle_;
    std::string text_;
    /* What the driver looks at when the statement runs, one for each parameter. */
    struct Bound {
        SQLLEN length;
        int32_t number;
    };
    std::vector<std::unique_ptr<Bound>> bound_{};
    std::vector<ReadValue> values_{}; /* of the current row: a driver gives each once */
};

Outcome OdbcStatement::bind(unsigned parameter, const InputValue& value) {
    if (bound_.size() < parameter) bound_.resize(parameter);
    std::unique_ptr<Bound>& bound = bound_[parameter - 1];
    if (bound == nullptr) bound = std::make_unique<Bound>();
    const auto number = static_cast<SQLUSMALLINT>(parameter);
    if (value.kind == ValueKind::number) {
        bound->number = static_cast<int32_t>(value.number);
        bound->length = value.isNull ? SQLLEN{SQL_NULL_DATA} : SQLLEN{sizeof bound->number};
        return outcomeOf(driver_.bindParameter(handle_, number, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0,
                                               &bound->number, sizeof bound->number, &bound->length));
    }
    static char empty = '\0';  // a value of no bytes has no address of its own
    const bool isText = value.kind == ValueKind::text;
    void* const content = value.content.empty() ? &empty : const_cast<char*>(value.content.data());
    const auto size = static_cast<SQLLEN>(value.content.size());
    bound->length = value.isNull ? SQLLEN{SQL_NULL_DATA} : size;
    return outcomeOf(driver_.bindParameter(
        handle_, number, SQL_PARAM_INPUT, isText ? SQL_C_CHAR : SQL_C_BINARY, isText ? SQL_VARCHAR : SQL_LONGVARBINARY,
        static_cast<SQLULEN>(std::max<SQLLEN>(size, 1)), 0, content, size, &bound->length));
}

// Always prepared: what is executed directly some drivers hand over as it is, and the database would take several
// statements.
Outcome OdbcStatement::execute(unsigned& columns) {
    const SQLRETURN result = database_.cancellable(handle_, [this] { return driver_.execute(handle_); });
    Outcome outcome = outcomeOf(result);
    if (outcome.failed()) return outcome;
    if (result == SQL_NO_DATA) outcome.clear();  // some drivers call a change of no rows so
    SQLSMALLINT count = 0;
    driver_.numResultCols(handle_, &count);
    columns = static_cast<unsigned>(count);
    SQLLEN rows = 0;
    driver_.rowCount(handle_, &rows);
    outcome.rows = rows;
    return outcome;
}

Outcome OdbcStatement::read(unsigned column, ValueForm form, OutputValue& value) {
    auto known = std::find_if(values_.begin(), values_.end(),
                              [&](const ReadValue& read) { return read.column == column && read.form == form; });
    if (known == values_.end()) {
        ReadValue read{.column = column, .form = form, .isNull = false, .content = {}};
        Outcome outcome = readValue(column, read);
        if (outcome.failed()) return outcome;
        known = values_.insert(values_.end(), std::move(read));
    }
    value = {.isNull = known->isNull, .content = known->content};
    return {};
}

Outcome OdbcStatement::readValue(unsigned column, ReadValue& value) {
    const bool isText = value.form == ValueForm::text;
    const SQLSMALLINT cType = isText ? SQL_C_CHAR : SQL_C_BINARY;
    SQLLEN length = 0;
    char none = '\0';
    const auto get = [&](void* room, size_t size) {
        return driver_.getData(handle_, static_cast<SQLUSMALLINT>(column), cType, room, static_cast<SQLLEN>(size),
                               &length);
    };
    SQLRETURN result = get(&none, 0);
    if (!SQL_SUCCEEDED(result)) return result == SQL_NO_DATA ? failure("HY000", {}) : outcomeOf(result);
    // A caller would take it for no value, or an empty one.
    if (length == SQL_NO_TOTAL) return failure("58004", "the driver does not tell how long a value is");
    value.isNull = length == SQL_NULL_DATA;
    if (length <= 0) return {};
    const size_t terminator = isText ? 1 : 0;
    value.content.resize(static_cast<size_t>(length) + terminator);
    result = get(value.content.data(), value.content.size());
    value.content.resize(value.content.size() - terminator);
    return SQL_SUCCEEDED(result) ? Outcome{} : outcomeOf(result);
}

Outcome OdbcStatement::describe(unsigned column, ColumnDescription& description) {
    std::array<SQLCHAR, 512> name{};
    SQLSMALLINT nullable = SQL_NULLABLE;
    const SQLRETURN result = driver_.describeCol(handle_, static_cast<SQLUSMALLINT>(column), name.data(),
                                                 static_cast<SQLSMALLINT>(name.size()), nullptr, &description.sqlType,
                                                 &description.size, &description.decimals, &nullable);
    description.name = reinterpret_cast<const char*>(name.data());
    description.mayBeNull = nullable != SQL_NO_NULLS;
    return SQL_SUCCEEDED(result) ? Outcome{} : outcomeOf(result);
}

/* --- opening and closing ------------------------------------------------------------------------------------------ */

OdbcDatabase::OdbcDatabase(const DatabaseOptions& options) : options_(options) {
    try {
        connect();
    } catch (...) {
        close();
        throw;
    }
}

OdbcDatabase::~OdbcDatabase() {
    try {
        if (!startsUnits() || hasBegun_) end(false);
    } catch (const std::exception&) {
        // The database rolls back what an ending session leaves.
    }
    close();
}

void OdbcDatabase::close() noexcept {
    if (control_ != SQL_NULL_HSTMT) driver_.freeHandle(SQL_HANDLE_STMT, control_);
    if (connected_) driver_.disconnect(connection_);
    driver_.freeHandle(SQL_HANDLE_DBC, connection_);
    driver_.freeHandle(SQL_HANDLE_ENV, environment_);
}

// Which settings a database needs is known when it has been connected to; then it is done once more with them.
// One at a time: the driver manager keeps its configuration, and drivers the locale, for the whole process unguarded.
void OdbcDatabase::connect() {
    // A fork does not wait for a server. Its child finds the lock free, but the driver manager as it was.
    static constinit std::mutex opening;
    static const int isKept = ::pthread_atfork(nullptr, nullptr, [] { ::new (&opening) std::mutex; });
    static_cast<void>(isKept);
    const std::lock_guard lock(opening);
    if (driver_.allocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_) != SQL_SUCCESS) throw std::bad_alloc();
    driver_.setEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    if (driver_.allocHandle(SQL_HANDLE_DBC, environment_, &connection_) != SQL_SUCCESS) throw std::bad_alloc();
    const bool reads = options_.access == Access::read;
    std::string connection = options_.connection;
    if (reads) connection = "NoCreat=1;" + connection;  // else a database file that is missing would be made
    const std::string mainFile = fileIn(connection);
    if (!mainFile.empty()) {
        if (reads) {
            requireSqliteFile(mainFile);
            connection = "Database=:memory:;" + connection;  // only the policy schema's file is read
        }
        connectOnce(completed(connection, *odbcSystemOf("SQLite"), options_));
    } else {
        connectOnce(connection);
        const std::string whole = completed(connection, *system_, options_);
        if (whole != connection) {
            connected_ = false;
            driver_.disconnect(connection_);
            connectOnce(whole);
        }
    }
    if (startsUnits()) setAutomaticCommit(false);
    setUp(mainFile);
}

void OdbcDatabase::connectOnce(const std::string& connection) {
    const SQLRETURN result = driver_.driverConnect(connection_, nullptr, sqlChars(connection.c_str()), SQL_NTS, nullptr,
                                                   0, nullptr, SQL_DRIVER_NOPROMPT);
    if (!SQL_SUCCEEDED(result)) {
        Outcome outcome = failureOf(SQL_HANDLE_DBC, connection_, unknownDialect);
        outcome.detail = withoutPasswords(outcome.detail, connection);
        if (outcome.sqlcode == -99999) outcome = failure("08001", std::move(outcome.detail));
        require(outcome, "cannot connect to the database");
    }
    connected_ = true;
    const std::string systemName = driverInfo(SQL_DBMS_NAME);
    system_ = odbcSystemOf(systemName);
    if (system_ == nullptr) {
        throw HostError(
            -30081, "08001",
            fmt::format("the database system \"{}\" is not supported: {} are", systemName, supportedSystems()));
    }
    databaseName_ = withoutPasswords(driverInfo(SQL_DATABASE_NAME));
}

// Empty when the driver does not say.
std::string OdbcDatabase::driverInfo(SQLUSMALLINT what) const {
    std::array<char, 512> text{};
    const SQLRETURN result =
        driver_.getInfo(connection_, what, text.data(), static_cast<SQLSMALLINT>(text.size()), nullptr);
    return SQL_SUCCEEDED(result) ? text.data() : "";
}

void OdbcDatabase::setUp(const std::string& mainFile) {
    require(allocate(control_), "cannot use the database");
    if (system_->hasPolicyFile) {
        files_.attach(*this, mainFile);
        databaseName_ = files_.databaseName();
    }
    constexpr const char* what = "cannot set the database session up";
    for (const char* text : system_->sessionSetup)
        require(run(withTimeout(text, *system_, options_.lockTimeout)), what);
    for (const SessionCheck& demanded : system_->sessionChecks) check(demanded);
    if (options_.access == Access::read) require(run(system_->readOnly), what);
    if (startsUnits()) require(end(true), what);
}

// What a statement means must not depend on who configured the database, the data source or the connection string.
void OdbcDatabase::check(const SessionCheck& demanded) {
    std::unique_ptr<PreparedStatement> statement;
    OutputValue answer;
    unsigned columns = 0;
    const bool isAnswered = !prepare(demanded.query, Authority::host, statement).failed() &&
                            !statement->execute(columns).failed() && statement->fetch().found() &&
                            !statement->read(1, ValueForm::text, answer).failed();
    if (!isAnswered || answer.content != demanded.answer)
        throw HostError(-30081, "08001", std::string("the database session cannot be used: ") + demanded.demand);
}

void OdbcDatabase::setAutomaticCommit(bool on) const {
    const auto value = static_cast<uintptr_t>(on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): so the interface takes numbers
    driver_.setConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(value), 0);
}

/* --- statements and units ----------------------------------------------------------------------------------------- */

Outcome OdbcDatabase::allocate(SQLHSTMT& handle) const {
    if (SQL_SUCCEEDED(driver_.allocHandle(SQL_HANDLE_STMT, connection_, &handle))) return {};
    handle = SQL_NULL_HSTMT;
    return failureOf(SQL_HANDLE_DBC, connection_, dialect());
}

// Drivers split a text of several statements. A client's text was looked at before it came here.
Outcome OdbcDatabase::prepare(std::string_view text, Authority authority,
                              std::unique_ptr<PreparedStatement>& statement) {
    if (authority == Authority::host && !isOneStatement(text, dialect()))
        return failure("42601", "no statement, or more than one in one text");
    SQLHSTMT handle = SQL_NULL_HSTMT;
    Outcome outcome = allocate(handle);
    if (outcome.failed()) return outcome;
    auto prepared = std::make_unique<OdbcStatement>(*this, handle, text);
    const SQLRETURN result = driver_.prepare(handle, sqlChars(text.data()), static_cast<SQLINTEGER>(text.size()));
    outcome = outcomeOf(result, handle);
    if (!outcome.failed()) statement = std::move(prepared);
    return outcome;
}

Outcome OdbcDatabase::run(std::string_view text) {
    const std::string terminated(text);
    const SQLRETURN result =
        cancellable(control_, [&] { return driver_.execDirect(control_, sqlChars(terminated.c_str()), SQL_NTS); });
    const bool done = SQL_SUCCEEDED(result) || result == SQL_NO_DATA;
    Outcome outcome = done ? Outcome{} : outcomeOf(result, control_);
    driver_.freeStmt(control_, SQL_CLOSE);
    return outcome;
}

Outcome OdbcDatabase::compile(const std::string& text) {
    std::unique_ptr<PreparedStatement> statement;
    unsigned columns = 0;
    Outcome outcome = prepare(system_->compile + text, Authority::host, statement);
    return outcome.failed() ? outcome : statement->compile(columns);
}

// Before the first statement of a unit there is nothing to go back to but its beginning, and the database need not be
// told of a savepoint.
Outcome OdbcDatabase::savepoint(const char* name) {
    const bool isKnown = !startsUnits() || hasBegun_;
    Outcome outcome = isKnown ? run(std::string("SAVEPOINT ") + name) : Outcome{};
    if (!outcome.failed()) savepoints_.push_back(isKnown);
    return outcome;
}

Outcome OdbcDatabase::rollBackTo(const char* name) {
    if (savepoints_.back()) return run(std::string("ROLLBACK TO SAVEPOINT ") + name);
    const SQLRETURN ended = driver_.endTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK);
    if (!SQL_SUCCEEDED(ended)) return failureOf(SQL_HANDLE_DBC, connection_, dialect());
    hasBegun_ = false;
    return {};
}

Outcome OdbcDatabase::release(const char* name) {
    const bool isKnown = savepoints_.back();
    savepoints_.pop_back();
    return isKnown ? run(std::string("RELEASE SAVEPOINT ") + name) : Outcome{};
}

Outcome OdbcDatabase::end(bool commits) {
    savepoints_.clear();
    if (startsUnits()) {
        if (!SQL_SUCCEEDED(driver_.endTran(SQL_HANDLE_DBC, connection_, commits ? SQL_COMMIT : SQL_ROLLBACK)))
            return failureOf(SQL_HANDLE_DBC, connection_, dialect());
        hasBegun_ = false;
        return {};
    }
    Outcome outcome = run(commits ? "COMMIT" : "ROLLBACK");
    const bool hadEnded = outcome.detail.find("no transaction is active") != std::string::npos;
    if (!commits && hadEnded) outcome.clear();
    return outcome;
}

// The database tells when it is asked to begin another one: it refuses while there is one.
bool OdbcDatabase::isInUnit() {
    if (startsUnits()) return hasBegun_;
    const Outcome begun = run("BEGIN");
    if (begun.failed()) return begun.detail.find("within a transaction") != std::string::npos;
    run("ROLLBACK");
    return false;
}

void OdbcDatabase::cancel() noexcept {
    const std::lock_guard lock(running_);
    if (runningStatement_ != SQL_NULL_HSTMT) driver_.cancel(runningStatement_);
}

// Where the database itself ends a statement in time, no late request to cancel can meet the one that follows.
Outcome OdbcDatabase::runAlone(std::string_view text, std::chrono::steady_clock::time_point deadline) {
    using std::chrono::milliseconds;
    if (startsUnits() ? hasBegun_ : isInUnit()) return failure("25001", "a unit of work is open");
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left < milliseconds(1)) return failure("57014", "there is no time left");
    const bool limits = system_->timeLimit != nullptr;
    if (startsUnits()) setAutomaticCommit(true);
    isAlone_ = true;
    Outcome outcome;
    if (limits) {
        const auto most = std::min<int64_t>(left.count(), INT32_MAX);
        outcome = run(fmt::format(fmt::runtime(system_->timeLimit), most));
    }
    if (!outcome.failed()) {
        std::optional<Limit> limit;
        if (!limits) limit.emplace(*this, deadline);
        std::unique_ptr<PreparedStatement> statement;
        unsigned columns = 0;
        outcome = prepare(text, Authority::host, statement);
        if (!outcome.failed()) outcome = statement->execute(columns);
    }
    if (limits) run(system_->noTimeLimit);
    isAlone_ = false;
    if (startsUnits()) setAutomaticCommit(false);
    return outcome;
}

}  // namespace

std::unique_ptr<Database> openOdbcDatabase(const DatabaseOptions& options) {
    return std::make_unique<OdbcDatabase>(options);
}

}  // namespace kelhost
