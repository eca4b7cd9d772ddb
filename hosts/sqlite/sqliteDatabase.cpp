#include "sqliteDatabase.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "dialect.h"
#include "hostError.h"
#include "sqliteAuthorizer.h"
#include "sqliteFiles.h"

namespace kelhost {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* inMemory = ":memory:";

struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using StatementHandle = std::unique_ptr<sqlite3_stmt, Finalize>;

struct CloseConnection {
    void operator()(sqlite3* connection) const noexcept { sqlite3_close_v2(connection); }
};
using ConnectionHandle = std::unique_ptr<sqlite3, CloseConnection>;

class SqliteStatement;

class SqliteDatabase final : public Database {
public:
    SqliteDatabase(const std::string& file, const DatabaseOptions& options);
    SqliteDatabase(const SqliteDatabase&) = delete;
    SqliteDatabase& operator=(const SqliteDatabase&) = delete;

    const Dialect& dialect() const noexcept override { return sqliteDialect; }
    Access access() const noexcept override { return options_.access; }
    const std::string& name() const noexcept override { return files_.databaseName(); }
    const std::string& policyFile() const noexcept override { return files_.policyFile(); }

    Outcome prepare(std::string_view text, Authority authority, std::unique_ptr<PreparedStatement>& statement) override;
    Outcome run(std::string_view text) override;
    Outcome begin() override { return runKept(begin_, "BEGIN IMMEDIATE"); }
    Outcome savepoint(const char* name) override { return run(std::string("SAVEPOINT ") + name); }
    Outcome rollBackTo(const char* name) override { return run(std::string("ROLLBACK TO ") + name); }
    Outcome release(const char* name) override { return run(std::string("RELEASE ") + name); }
    Outcome commit() override { return runKept(commit_, "COMMIT"); }
    Outcome rollBack() override { return isInUnit() ? runKept(rollBack_, "ROLLBACK") : Outcome{}; }
    bool isInUnit() override { return sqlite3_get_autocommit(connection_.get()) == 0; }
    Outcome confirmReads() override { return files_.confirmReads(); }
    void cancel() noexcept override;
    Outcome runAlone(std::string_view text, Clock::time_point deadline) override;
    std::unique_ptr<Database> another() const override { return std::make_unique<SqliteDatabase>(file_, options_); }

    /* Runs `work`, which compiles or steps a statement and gives SQLite's code, on behalf of whom it is for. */
    template <class Work>
    int at(Compiling compiling, Work work) {
        const Compiling before = std::exchange(compiling_, compiling);
        cancelled_.store(false, std::memory_order_relaxed);
        waitsSince_.reset();
        const int code = work();
        compiling_ = before;
        return code;
    }

    sqlite3* connection() const noexcept { return connection_.get(); }

    /* What the last call failed with. */
    Outcome failureOf(int code) const;

private:
    Outcome prepareAs(Compiling compiling, std::string_view text, std::unique_ptr<SqliteStatement>& statement);
    Outcome runKept(std::unique_ptr<SqliteStatement>& statement, const char* text);
    void open();
    void secure() const;
    bool isTimeOver() const noexcept { return limit_.has_value() && Clock::now() >= *limit_; }
    bool waitForLock(int tries);

    static int authorise(void* database, int action, const char* first, const char* second, const char* schema,
                         const char* trigger) noexcept;
    static int onBusy(void* database, int tries) noexcept;
    static int onProgress(void* database) noexcept;

    const DatabaseOptions options_;
    const std::string file_;
    SqliteFiles files_{};
    Compiling hostOwn_ = Compiling::opening; /* for the host's own statements: until the session is set up */
    Compiling compiling_ = Compiling::opening;
    std::optional<Clock::time_point> waitsSince_{}; /* the statement that runs waits for a lock */
    std::optional<Clock::time_point> limit_{};      /* the statement that runs ends then */
    std::mutex waiting_{};
    std::condition_variable wake_{};
    std::atomic<bool> cancelled_{false};
    ConnectionHandle connection_{};
    std::unique_ptr<SqliteStatement> begin_{};
    std::unique_ptr<SqliteStatement> commit_{};
    std::unique_ptr<SqliteStatement> rollBack_{};
};

/* --- a statement -------------------------------------------------------------------------------------------------- */

// It runs to its end at once and its rows are kept: an open result has no lock, and stays whatever becomes of the unit.
class SqliteStatement final : public PreparedStatement {
public:
    SqliteStatement(SqliteDatabase& database, Compiling compiling, StatementHandle handle)
        : database_(database), compiling_(compiling), handle_(std::move(handle)) {}

    Outcome compile(unsigned& columns) override {
        columns = columnCount();
        return {};
    }
    Outcome bind(unsigned parameter, const InputValue& value) override;
    Outcome execute(unsigned& columns) override { return executeAs(compiling_, columns); }
    Outcome executeAs(Compiling compiling, unsigned& columns);
    Outcome fetch() override;
    Outcome read(unsigned column, ValueForm form, OutputValue& value) override;
    Outcome describe(unsigned column, ColumnDescription& description) override;
    Outcome reset() override;

private:
    struct Cell {
        size_t begin;
        size_t length;
        int type;
    };

    unsigned columnCount() const noexcept { return static_cast<unsigned>(sqlite3_column_count(handle_.get())); }
    int keepRow();
    void dropRows() noexcept;

    SqliteDatabase& database_;
    const Compiling compiling_;
    StatementHandle handle_;
    std::string contents_{}; /* of the rows, one value after the other */
    std::vector<Cell> cells_{};
    size_t next_ = 0; /* the first cell of the next row */
    std::string hexadecimal_{};
};

// A value of no bytes is told from null by having an address.
Outcome SqliteStatement::bind(unsigned parameter, const InputValue& value) {
    const int number = static_cast<int>(std::min<unsigned>(parameter, INT32_MAX));
    const char* const content = value.content.empty() ? "" : value.content.data();
    int code = SQLITE_OK;
    if (value.isNull) {
        code = sqlite3_bind_null(handle_.get(), number);
    } else if (value.kind == ValueKind::number) {
        code = sqlite3_bind_int64(handle_.get(), number, value.number);
    } else if (value.kind == ValueKind::text) {
        code = sqlite3_bind_text64(handle_.get(), number, content, value.content.size(), SQLITE_STATIC, SQLITE_UTF8);
    } else {
        code = sqlite3_bind_blob64(handle_.get(), number, content, value.content.size(), SQLITE_STATIC);
    }
    if (code == SQLITE_RANGE) return failure("07009", "there is no such parameter");
    return code == SQLITE_OK ? Outcome{} : database_.failureOf(code);
}

Outcome SqliteStatement::executeAs(Compiling compiling, unsigned& columns) {
    dropRows();
    Outcome outcome;
    const int code = database_.at(compiling, [this] {
        int step = SQLITE_ROW;
        while ((step = sqlite3_step(handle_.get())) == SQLITE_ROW) {
            const int kept = keepRow();
            if (kept != SQLITE_OK) return kept;
        }
        return step;
    });
    if (code != SQLITE_DONE) outcome = database_.failureOf(code);
    sqlite3_reset(handle_.get());
    if (outcome.failed()) {
        dropRows();
        return outcome;
    }
    columns = columnCount();
    outcome.rows = sqlite3_changes64(database_.connection());
    return outcome;
}

int SqliteStatement::keepRow() {
    const auto columns = static_cast<int>(columnCount());
    for (int column = 0; column < columns; ++column) {
        const int type = sqlite3_column_type(handle_.get(), column);
        const void* const value = type == SQLITE_BLOB
                                      ? sqlite3_column_blob(handle_.get(), column)
                                      : static_cast<const void*>(sqlite3_column_text(handle_.get(), column));
        const auto length = static_cast<size_t>(sqlite3_column_bytes(handle_.get(), column));
        if (value == nullptr && type != SQLITE_NULL && !(type == SQLITE_BLOB && length == 0)) return SQLITE_NOMEM;
        cells_.push_back({contents_.size(), length, type});
        if (length > 0) contents_.append(static_cast<const char*>(value), length);
    }
    return SQLITE_OK;
}

// What a large result took is not held for as long as the statement is kept.
void SqliteStatement::dropRows() noexcept {
    constexpr size_t mostKept = 65536;
    next_ = 0;
    cells_.clear();
    contents_.clear();
    hexadecimal_.clear();
    if (contents_.capacity() > mostKept) contents_ = {};
    if (hexadecimal_.capacity() > mostKept) hexadecimal_ = {};
    if (cells_.capacity() * sizeof(Cell) > mostKept) cells_ = {};
}

Outcome SqliteStatement::fetch() {
    if (next_ == cells_.size()) return failure("02000", {});
    next_ += columnCount();
    return {};
}

Outcome SqliteStatement::read(unsigned column, ValueForm form, OutputValue& value) {
    const unsigned columns = columnCount();
    if (column == 0 || column > columns) return failure("07009", "there is no such column");
    if (next_ < columns) return failure("24000", "there is no current row");
    const Cell& cell = cells_[next_ - columns + column - 1];
    value = {.isNull = cell.type == SQLITE_NULL,
             .content = std::string_view(contents_).substr(cell.begin, cell.length)};
    if (cell.type != SQLITE_BLOB || form == ValueForm::bytes) return {};
    hexadecimal_.clear();
    for (const char c : value.content) {
        constexpr const char* digits = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(c);
        hexadecimal_ += {digits[byte >> 4U], digits[byte & 15U]};
    }
    value.content = hexadecimal_;
    return {};
}

Outcome SqliteStatement::describe(unsigned column, ColumnDescription& description) {
    const int index = static_cast<int>(column) - 1;
    const char* const name = sqlite3_column_name(handle_.get(), index);
    if (name == nullptr) return database_.failureOf(SQLITE_NOMEM);
    const char* const declared = sqlite3_column_decltype(handle_.get(), index);
    const std::string_view type = declared == nullptr ? "" : declared;
    const auto mentions = [type](const char* word) { return type.find(word) != std::string_view::npos; };
    description = {.name = name};
    if (mentions("BLOB")) description.sqlType = SQL_LONGVARBINARY;
    if (mentions("INT")) description.sqlType = SQL_INTEGER;
    return {};
}

Outcome SqliteStatement::reset() {
    dropRows();
    sqlite3_clear_bindings(handle_.get());
    return {};
}

/* --- opening ------------------------------------------------------------------------------------------------------ */

SqliteDatabase::SqliteDatabase(const std::string& file, const DatabaseOptions& options)
    : options_(options), file_(file == inMemory ? file : std::filesystem::absolute(file).string()) {
    open();
    secure();
    files_.attach(*this, file_ == inMemory ? std::string() : file_);
    if (options_.access == Access::read) require(run("PRAGMA query_only = 1"), "cannot set the database session up");
    hostOwn_ = Compiling::host;
}

// A session that only reads opens the policy schema's file and no other.
void SqliteDatabase::open() {
    const bool reads = options_.access == Access::read;
    if (reads && file_ != inMemory) requireSqliteFile(file_);
    sqlite3* connection = nullptr;
    const int code = sqlite3_open_v2(
        reads ? inMemory : file_.c_str(), &connection,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE,
        nullptr);
    connection_.reset(connection);
    if (connection == nullptr) throw std::bad_alloc();
    if (code != SQLITE_OK) {
        const std::string reason = sqlite3_errmsg(connection);
        throw HostError(-30081, "08001", "cannot open the database file \"" + file_ + "\": " + reason);
    }
}

// What is set is asked for again: a library that does not know a setting would leave it as it is.
void SqliteDatabase::secure() const {
    const struct {
        int setting;
        int value;
    } settings[] = {{SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0},
                    {SQLITE_DBCONFIG_DEFENSIVE, 1},
                    {SQLITE_DBCONFIG_WRITABLE_SCHEMA, 0},
                    {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
                    {SQLITE_DBCONFIG_ENABLE_FTS3_TOKENIZER, 0}};
    for (const auto& [setting, value] : settings) {
        int is = -1;
        if (sqlite3_db_config(connection(), setting, value, &is) != SQLITE_OK || is != value)
            throw HostError(-30081, "08001", "this SQLite cannot be used: it lacks a setting that keeps statements in");
    }
    void* const self = const_cast<SqliteDatabase*>(this);
    sqlite3_set_authorizer(connection(), authorise, self);
    sqlite3_busy_handler(connection(), onBusy, self);
}

/* --- statements --------------------------------------------------------------------------------------------------- */

Outcome SqliteDatabase::failureOf(int code) const {
    const int primary = code & 0xFF;
    if (primary == SQLITE_NOMEM) return failure("57011", {});
    const bool isStopped = primary == SQLITE_INTERRUPT || primary == SQLITE_BUSY;
    if (isStopped && isTimeOver()) return failure("57014", "the time of the statement is over");
    if (isStopped && cancelled_.load()) return failure("57014", "the statement was cancelled");
    return databaseFailure(sqliteDialect, "HY000", primary, sqlite3_errmsg(connection()));
}

// The database itself tells where the first statement ends; what is left must be no other.
Outcome SqliteDatabase::prepareAs(Compiling compiling, std::string_view text,
                                  std::unique_ptr<SqliteStatement>& statement) {
    if (text.find('\0') != std::string_view::npos) return failure("42601", "the statement holds a zero byte");
    if (text.size() > INT32_MAX) return failure("42601", "the statement is too long");
    const unsigned flags =
        SQLITE_PREPARE_PERSISTENT | (compiling == Compiling::client ? unsigned{SQLITE_PREPARE_NO_VTAB} : 0U);
    StatementHandle handle;
    const auto compileNext = [&] {
        return at(compiling, [&] {
            sqlite3_stmt* compiled = nullptr;
            const char* rest = nullptr;
            const int code =
                sqlite3_prepare_v3(connection(), text.data(), static_cast<int>(text.size()), flags, &compiled, &rest);
            handle.reset(compiled);
            if (rest != nullptr) text.remove_prefix(static_cast<size_t>(rest - text.data()));
            return code;
        });
    };
    const int code = compileNext();
    if (code != SQLITE_OK) return failureOf(code);
    if (handle == nullptr) return failure("42601", "the statement is empty");
    StatementHandle first = std::move(handle);
    while (!text.empty()) {
        if (compileNext() != SQLITE_OK || handle != nullptr)
            return failure("42601", "more than one statement in one text");
    }
    statement = std::make_unique<SqliteStatement>(*this, compiling, std::move(first));
    return {};
}

Outcome SqliteDatabase::prepare(std::string_view text, Authority authority,
                                std::unique_ptr<PreparedStatement>& statement) {
    std::unique_ptr<SqliteStatement> prepared;
    Outcome outcome = prepareAs(authority == Authority::client ? Compiling::client : hostOwn_, text, prepared);
    if (!outcome.failed()) statement = std::move(prepared);
    return outcome;
}

Outcome SqliteDatabase::run(std::string_view text) {
    std::unique_ptr<SqliteStatement> statement;
    Outcome outcome = prepareAs(hostOwn_, text, statement);
    unsigned columns = 0;
    return outcome.failed() ? outcome : statement->execute(columns);
}

Outcome SqliteDatabase::runKept(std::unique_ptr<SqliteStatement>& statement, const char* text) {
    Outcome outcome;
    if (statement == nullptr) outcome = prepareAs(Compiling::host, text, statement);
    unsigned columns = 0;
    return outcome.failed() ? outcome : statement->execute(columns);
}

Outcome SqliteDatabase::runAlone(std::string_view text, Clock::time_point deadline) {
    if (isInUnit()) return failure("25001", "a unit of work is open");
    limit_ = deadline;
    constexpr int instructions = 1000;
    sqlite3_progress_handler(connection(), instructions, onProgress, this);
    unsigned columns = 0;
    std::unique_ptr<SqliteStatement> statement;
    Outcome outcome =
        isTimeOver() ? failure("57014", "there is no time left") : prepareAs(Compiling::host, text, statement);
    if (!outcome.failed()) outcome = statement->executeAs(Compiling::rebuilding, columns);
    sqlite3_progress_handler(connection(), 0, nullptr, nullptr);
    limit_.reset();
    return outcome;
}

void SqliteDatabase::cancel() noexcept {
    {
        const std::lock_guard lock(waiting_);
        cancelled_ = true;
    }
    wake_.notify_all();
    sqlite3_interrupt(connection());
}

/* --- what the database asks --------------------------------------------------------------------------------------- */

int SqliteDatabase::authorise(void* database, int action, const char* first, const char* second, const char* /*schema*/,
                              const char* /*trigger*/) noexcept {
    return kelhost::authorise(static_cast<SqliteDatabase*>(database)->compiling_, action, first, second);
}

// One statement may meet several locks, one after the other; it waits for all of them together as long as it may.
bool SqliteDatabase::waitForLock(int tries) {
    using std::chrono::milliseconds;
    constexpr std::array steps = {1, 2, 5, 10, 15, 20, 25, 50, 100};
    const auto now = Clock::now();
    if (!waitsSince_.has_value()) waitsSince_ = now;
    auto until = *waitsSince_ + std::max(options_.lockTimeout, milliseconds(1));
    if (limit_.has_value()) until = std::min(until, *limit_);
    if (now >= until) return false;
    const milliseconds step(steps[std::min<size_t>(static_cast<size_t>(tries), steps.size() - 1)]);
    std::unique_lock lock(waiting_);
    return !wake_.wait_until(lock, std::min(until, now + step), [this] { return cancelled_.load(); });
}

int SqliteDatabase::onBusy(void* database, int tries) noexcept {
    try {
        return static_cast<SqliteDatabase*>(database)->waitForLock(tries) ? 1 : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

int SqliteDatabase::onProgress(void* database) noexcept {
    return static_cast<SqliteDatabase*>(database)->isTimeOver() ? 1 : 0;
}

}  // namespace

std::unique_ptr<Database> openSqliteDatabase(const std::string& file, const DatabaseOptions& options) {
    return std::make_unique<SqliteDatabase>(file, options);
}

}  // namespace kelhost
