#include "session.h"

#include <fmt/format.h>
#include <pthread.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <chrono>
#include <mutex>
#include <new>

#include "hostError.h"
#include "packages.h"
#include "passwords.h"

namespace kelhost {
namespace {

constexpr size_t mostPreparedQueries = 8;
constexpr size_t longestPreparedText = 2048;
constexpr Dialect unknownDialect{};  // until the driver has said what it speaks to

std::string embeddedConnection(const Instance& instance) {
    const std::string path = instance.databaseFiles() + "/kelpolicy.db";
    if (path.find_first_of(";{}") != std::string::npos) {
        throw HostError(-30081, "08001",
                        "the path of the instance directory must not hold ';', '{' or '}' for the embedded database: " +
                            instance.path());
    }
    return "DRIVER=SQLite3;Database=" + path;
}

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
std::string withTimeout(const char* text, const Dialect& dialect, std::chrono::milliseconds lockTimeout) {
    const int64_t waits = dialect.waitsForALock;
    const int64_t each = lockTimeout.count() / waits + (lockTimeout.count() % waits > 0 ? 1 : 0);
    return fmt::format(fmt::runtime(text), std::clamp<int64_t>(each, 1, INT32_MAX));
}

// What a setting of the connection string's own means for the lock timeout stays its business, but for how often the
// driver waits.
std::string completed(std::string connection, const Dialect& dialect, const DatabaseOptions& options) {
    for (const std::string_view text : dialect.connectionSettings) {
        const auto own = valueOf(connection, text.substr(0, text.find('=')));
        std::chrono::milliseconds timeout = options.lockTimeout;
        if (own.has_value()) {
            int64_t given = 0;
            std::from_chars(own->data(), own->data() + own->size(), given);
            if (given <= 0 || text.find("{}") == std::string_view::npos) continue;
            timeout = std::chrono::milliseconds(given);
        }
        connection = withTimeout(text.data(), dialect, timeout) + ';' + connection;  // of two the first counts
    }
    return connection;
}

}  // namespace

Session::Session(const Instance& instance, const DatabaseOptions& options)
    : driver_(driverManager()),
      instance_(instance),
      reads_(options.access == Access::read),
      packages_(std::make_unique<Packages>(*this)) {
    try {
        connect(options);
        setUp(options);
        prepared_.reserve(mostPreparedQueries);
    } catch (...) {
        closeStatements();
        if (connected_) driver_.disconnect(connection_);
        driver_.freeHandle(SQL_HANDLE_DBC, connection_);
        driver_.freeHandle(SQL_HANDLE_ENV, environment_);
        throw;
    }
}

Session::~Session() {
    try {
        rollback();
    } catch (const std::exception&) {
        // The database rolls back what an ending session leaves.
    }
    closeStatements();
    driver_.disconnect(connection_);
    driver_.freeHandle(SQL_HANDLE_DBC, connection_);
    driver_.freeHandle(SQL_HANDLE_ENV, environment_);
}

void Session::forgetPrepared() noexcept {
    for (DriverStatement& statement : prepared_) driver_.freeHandle(SQL_HANDLE_STMT, statement.handle);
    prepared_.clear();
}

void Session::closeStatements() noexcept {
    forgetPrepared();
    for (DriverStatement* statement : {&control_, &verify_}) {
        if (statement->handle != SQL_NULL_HSTMT) driver_.freeHandle(SQL_HANDLE_STMT, statement->handle);
        statement->handle = SQL_NULL_HSTMT;
    }
}

// Which settings a database needs is known when it has been connected to; then it is done once more with them.
// One at a time: the driver manager keeps its configuration, and drivers the locale, for the whole process unguarded.
void Session::connect(const DatabaseOptions& options) {
    // A fork does not wait for a server. Its child finds the lock free, but the driver manager as it was.
    static constinit std::mutex opening;
    static const int isKept = ::pthread_atfork(nullptr, nullptr, [] { ::new (&opening) std::mutex; });
    static_cast<void>(isKept);
    const std::lock_guard lock(opening);
    if (driver_.allocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_) != SQL_SUCCESS) throw std::bad_alloc();
    driver_.setEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    if (driver_.allocHandle(SQL_HANDLE_DBC, environment_, &connection_) != SQL_SUCCESS) throw std::bad_alloc();
    std::string connection = options.connection.empty() ? embeddedConnection(instance_) : options.connection;
    if (reads_) connection = "NoCreat=1;" + connection;  // else a database file that is missing would be made
    mainFile_ = fileIn(connection);
    if (!mainFile_.empty()) {
        if (reads_) {
            requireMainFile();
            connection = "Database=:memory:;" + connection;  // only the policy schema's file is read
        }
        connectOnce(completed(connection, *dialectOf("SQLite"), options));
    } else {
        connectOnce(connection);
        const std::string whole = completed(connection, *dialect_, options);
        if (whole != connection) {
            connected_ = false;
            driver_.disconnect(connection_);
            connectOnce(whole);
        }
    }
    if (dialect_->unitStart == UnitStart::driver) {
        driver_.setConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0);
    }
}

void Session::connectOnce(const std::string& connection) {
    const SQLRETURN result = driver_.driverConnect(connection_, nullptr, sqlChars(connection.c_str()), SQL_NTS, nullptr,
                                                   0, nullptr, SQL_DRIVER_NOPROMPT);
    if (!SQL_SUCCEEDED(result)) {
        Outcome outcome = driverOutcome(SQL_HANDLE_DBC, connection_, unknownDialect);
        outcome.detail = withoutPasswords(outcome.detail, connection);
        if (outcome.sqlcode == -99999) outcome = failure("08001", std::move(outcome.detail));
        require(outcome, "cannot connect to the database");
    }
    connected_ = true;
    const std::string databaseSystem = driverInfo(SQL_DBMS_NAME);
    dialect_ = dialectOf(databaseSystem);
    if (dialect_ == nullptr) {
        throw HostError(
            -30081, "08001",
            fmt::format("the database system \"{}\" is not supported: {} are", databaseSystem, supportedSystems()));
    }
    databaseName_ = withoutPasswords(driverInfo(SQL_DATABASE_NAME));
}

// Empty when the driver does not say.
std::string Session::driverInfo(SQLUSMALLINT what) const {
    std::array<char, 512> text{};
    const SQLRETURN result =
        driver_.getInfo(connection_, what, text.data(), static_cast<SQLSMALLINT>(text.size()), nullptr);
    return SQL_SUCCEEDED(result) ? text.data() : "";
}

void Session::setUp(const DatabaseOptions& options) {
    require(allocate(control_), "cannot use the database");
    if (dialect_->unitStart == UnitStart::host) attachPolicySchema();
    for (const char* text : dialect_->sessionSetup) {
        require(run(withTimeout(text, *dialect_, options.lockTimeout)), "cannot set the database session up");
    }
    for (const SessionCheck& demanded : dialect_->sessionChecks) check(demanded);
    if (reads_) require(run(dialect_->readOnly), "cannot set the database session up");
    commit();
}

// What a statement means must not depend on who configured the database, the data source or the connection string.
void Session::check(const SessionCheck& demanded) {
    if (firstText(demanded.query, 1) != demanded.answer)
        throw HostError(-30081, "08001", std::string("the database session cannot be used: ") + demanded.demand);
}

void Session::require(const Outcome& outcome, const std::string& what) const {
    if (outcome.failed()) throw HostError(outcome.sqlcode, outcome.sqlstate, what + ": " + outcome.detail);
}

Outcome Session::allocate(DriverStatement& statement) {
    statement.text.clear();
    if (SQL_SUCCEEDED(driver_.allocHandle(SQL_HANDLE_STMT, connection_, &statement.handle))) return {};
    statement.handle = SQL_NULL_HSTMT;
    return driverOutcome(SQL_HANDLE_DBC, connection_, *dialect_);
}

std::optional<DriverStatement> Session::takePrepared(std::string_view text) noexcept {
    for (auto& candidate : prepared_) {
        if (candidate.text != text) continue;
        std::swap(candidate, prepared_.back());
        std::optional<DriverStatement> taken(std::move(prepared_.back()));
        prepared_.pop_back();
        return taken;
    }
    return std::nullopt;
}

void Session::giveBack(DriverStatement statement) noexcept {
    const bool useful =
        dialect_->keepsPreparedQueries && !statement.text.empty() && statement.text.size() <= longestPreparedText;
    if (useful && SQL_SUCCEEDED(driver_.freeStmt(statement.handle, SQL_CLOSE))) {
        if (prepared_.size() == mostPreparedQueries) {
            driver_.freeHandle(SQL_HANDLE_STMT, prepared_.front().handle);
            prepared_.erase(prepared_.begin());
        }
        prepared_.push_back(std::move(statement));  // room was reserved
        return;
    }
    driver_.freeHandle(SQL_HANDLE_STMT, statement.handle);
}

Outcome Session::run(const std::string& text) {
    const SQLRETURN result = driver_.execDirect(control_.handle, sqlChars(text.c_str()), SQL_NTS);
    const bool done = SQL_SUCCEEDED(result) || result == SQL_NO_DATA;
    Outcome outcome = done ? Outcome{} : driverOutcome(SQL_HANDLE_STMT, control_.handle, *dialect_);
    driver_.freeStmt(control_.handle, SQL_CLOSE);
    return outcome;
}

void Session::administer(const std::string& text) {
    const SqlText scanned = scanSql(text, *dialect_);
    constexpr const char* what = "cannot run the statement";
    if (scanned.error != nullptr) require(failure(scanned.error, scanned.errorDetail), what);
    const std::string spelled = spellSql(text, scanned, *dialect_, currentTimestamp());
    require(asStatement(SqlKind::other, [&] { return run(spelled); }), what);
}

std::string Session::firstText(const char* query, SQLUSMALLINT column) {
    std::array<char, 4096> text{};
    SQLLEN length = 0;
    if (SQL_SUCCEEDED(driver_.prepare(control_.handle, sqlChars(query), SQL_NTS)) &&
        SQL_SUCCEEDED(driver_.execute(control_.handle)) && SQL_SUCCEEDED(driver_.fetch(control_.handle))) {
        driver_.getData(control_.handle, column, SQL_C_CHAR, text.data(), static_cast<SQLLEN>(text.size()), &length);
    }
    driver_.freeStmt(control_.handle, SQL_CLOSE);
    return text.data();
}

}  // namespace kelhost
