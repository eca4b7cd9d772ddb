#include "session.h"

#include <fmt/format.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <mutex>

#include "hostError.h"
#include "packages.h"

namespace kelhost {
namespace {

constexpr size_t mostPreparedQueries = 8;
constexpr size_t longestPreparedText = 2048;

std::string embeddedConnection(const Instance& instance) {
    const std::string path = instance.databaseFiles() + "/kelpolicy.db";
    if (path.find_first_of(";{}") != std::string::npos) {
        throw HostError(-30081, "08001",
                        "the path of the instance directory must not hold ';', '{' or '}' for the embedded database: " +
                            instance.path());
    }
    return "DRIVER=SQLite3;Database=" + path;
}

// A database may take 0 for "wait for ever".
std::string withTimeout(const char* text, const DatabaseOptions& options) {
    return fmt::format(fmt::runtime(text), std::clamp<int64_t>(options.lockTimeout.count(), 1, INT32_MAX));
}

/* Whether the connection string has the key of the setting "Key=Value". */
bool hasKey(std::string_view connection, std::string_view setting) {
    const std::string_view key = setting.substr(0, setting.find('=') + 1);
    const auto isSame = [](char one, char other) {
        return std::tolower(static_cast<unsigned char>(one)) == std::tolower(static_cast<unsigned char>(other));
    };
    while (!connection.empty()) {
        const std::string_view start = connection.substr(0, key.size());
        if (std::equal(start.begin(), start.end(), key.begin(), key.end(), isSame)) return true;
        connection.remove_prefix(std::min(connection.find(';'), connection.size() - 1) + 1);
    }
    return false;
}

std::string completed(std::string connection, const Dialect& dialect, const DatabaseOptions& options) {
    for (const char* text : dialect.connectionSettings) {
        const std::string setting = withTimeout(text, options);
        if (!hasKey(connection, setting)) connection += (connection.ends_with(';') ? "" : ";") + setting;
    }
    return connection;
}

}  // namespace

Session::Session(const Instance& instance, const DatabaseOptions& options)
    : driver_(driverManager()), instance_(instance), packages_(std::make_unique<Packages>(*this)) {
    try {
        const bool embedded = options.connection.empty();
        connect(embedded ? completed(embeddedConnection(instance), dialectOf("SQLite"), options) : options.connection,
                options);
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
void Session::connect(const std::string& connection, const DatabaseOptions& options) {
    static constinit std::mutex opening;
    const std::lock_guard lock(opening);
    if (driver_.allocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_) != SQL_SUCCESS) throw std::bad_alloc();
    driver_.setEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    if (driver_.allocHandle(SQL_HANDLE_DBC, environment_, &connection_) != SQL_SUCCESS) throw std::bad_alloc();
    connectOnce(connection);
    const std::string whole = completed(connection, *dialect_, options);
    if (whole != connection) {
        connected_ = false;
        driver_.disconnect(connection_);
        connectOnce(whole);
    }
    if (dialect_->unitStart == UnitStart::driver) {
        driver_.setConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0);
    }
}

void Session::connectOnce(const std::string& connection) {
    const SQLRETURN result = driver_.driverConnect(connection_, nullptr, sqlChars(connection.c_str()), SQL_NTS, nullptr,
                                                   0, nullptr, SQL_DRIVER_NOPROMPT);
    if (!SQL_SUCCEEDED(result)) {
        Outcome outcome = driverOutcome(SQL_HANDLE_DBC, connection_, dialectOf(""));
        if (outcome.sqlcode == -99999) outcome = failure("08001", std::move(outcome.detail));
        require(outcome, "cannot connect to the database");
    }
    connected_ = true;
    dialect_ = &dialectOf(driverInfo(SQL_DBMS_NAME).c_str());
    databaseName_ = driverInfo(SQL_DATABASE_NAME);
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
        require(run(withTimeout(text, options)), "cannot set the database session up");
    }
    commit();
}

// The policy schema stands in a file of its own beside the database's. Write-ahead logging lets readers and a writer
// work side by side and survives a killed process; the mode stays with the file.
void Session::attachPolicySchema() {
    const std::string main = firstText("PRAGMA database_list", 3);
    databaseName_ = main.empty() ? "memory" : std::filesystem::path(main).stem().string();
    std::string policies =
        main.empty() ? ":memory:" : std::filesystem::path(main).replace_extension(".systools.db").string();
    for (size_t quote = policies.find('\''); quote != std::string::npos; quote = policies.find('\'', quote + 2)) {
        policies.insert(quote, 1, '\'');
    }
    require(run("ATTACH '" + policies + "' AS SYSTOOLS"), "cannot open the policy schema");
    if (main.empty()) return;
    for (const char* schema : {"main", "SYSTOOLS"}) {
        const std::string mode = std::string("PRAGMA ") + schema + ".journal_mode";
        // Another process may be changing the mode at this moment; without the change the file works as well.
        if (firstText(mode.c_str(), 1) != "wal") run(mode + " = WAL");
    }
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

std::string Session::firstText(const char* query, SQLUSMALLINT column) {
    std::array<char, 4096> text{};
    SQLLEN length = 0;
    if (SQL_SUCCEEDED(driver_.execDirect(control_.handle, sqlChars(query), SQL_NTS)) &&
        SQL_SUCCEEDED(driver_.fetch(control_.handle))) {
        driver_.getData(control_.handle, column, SQL_C_CHAR, text.data(), static_cast<SQLLEN>(text.size()), &length);
    }
    driver_.freeStmt(control_.handle, SQL_CLOSE);
    return text.data();
}

}  // namespace kelhost
