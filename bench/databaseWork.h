/* What the benchmarks of the database share: an instance of its own, and the same calls made directly on the driver
 * manager, on a session that is open. */
#ifndef BENCH_DATABASE_WORK_H
#define BENCH_DATABASE_WORK_H

#include <benchmark/benchmark.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "driverManager.h"
#include "engineContext.h"
#include "instance.h"
#include "memoryPool.h"
#include "services/sqlpiPolicyKeys.h"
#include "sqlpiApplReadPolicyTable.h"

/* An instance of its own with the default policies, gone at the end. */
class Database {
public:
    Database()
        : directory_(std::filesystem::temp_directory_path() / "kelpolicy-bench-XXXXXX"),
          context_((makeDirectory(), kelhost::Instance::create(directory_))),
          bound_(context_) {
        read();
        context_.commit();
    }
    ~Database() { std::filesystem::remove_all(directory_); }

    static int32_t read() {
        char* document = nullptr;
        int32_t length = 0;
        const sqlpiPolicyKey& key = SQLPI_BACKUP_KEY;
        const int32_t status = sqlpiGetPolicy(key.med, SQLPI_KEY_KIND, key.decision, SQLPI_KEY_KIND, key.name,
                                              SQLPI_KEY_KIND, &document, &length, nullptr);
        benchmark::DoNotOptimize(length);
        sqlofmblkEx(document, "bench", 0);
        return status;
    }

    std::filesystem::path file() const {
        for (const auto& entry : std::filesystem::directory_iterator(directory_ / "db"))
            if (entry.path().string().ends_with("systools.db")) return entry.path();
        throw std::runtime_error("no policy file");
    }

private:
    void makeDirectory() {
        std::string name = directory_.string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
        directory_ = name;
    }

    std::filesystem::path directory_;
    kelhost::EngineContext context_;
    kelhost::EngineContext::Scope bound_;
};

/* Each function returns false when a call failed. */
class BareSession {
public:
    explicit BareSession(const std::filesystem::path& file) {
        odbc_.allocHandle(SQL_HANDLE_ENV, nullptr, &environment_);
        odbc_.setEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
        odbc_.allocHandle(SQL_HANDLE_DBC, environment_, &connection_);
        const std::string connectionString = "DRIVER=SQLite3;Database=:memory:";
        odbc_.driverConnect(connection_, nullptr, kelhost::sqlChars(connectionString.c_str()), SQL_NTS, nullptr, 0,
                            nullptr, SQL_DRIVER_NOPROMPT);
        if (!direct("ATTACH '" + file.string() + "' AS SYSTOOLS")) throw std::runtime_error("no bare session");
        odbc_.setConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0);
    }
    ~BareSession() {
        odbc_.endTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK);
        odbc_.disconnect(connection_);
        odbc_.freeHandle(SQL_HANDLE_DBC, connection_);
        odbc_.freeHandle(SQL_HANDLE_ENV, environment_);
    }
    BareSession(const BareSession&) = delete;
    BareSession& operator=(const BareSession&) = delete;

    bool verify() { return direct("SELECT MED, DECISION, NAME, UPDATE_TIME, POLICY FROM SYSTOOLS.POLICY WHERE 1 = 0"); }
    bool probe() { return direct("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED = 'KELDatabaseRecoveryMED'"); }
    bool select() {
        const Statement statement(*this);
        bool good = execute(statement.handle, "SELECT POLICY FROM SYSTOOLS.POLICY" + key_) &&
                    odbc_.fetch(statement.handle) == SQL_SUCCESS;
        std::array<char, 4> probe{};
        SQLLEN length = 0;
        good = good && SQL_SUCCEEDED(odbc_.getData(statement.handle, 1, SQL_C_BINARY, probe.data(), 0, &length));
        std::vector<char> document(length > 0 ? static_cast<size_t>(length) : 0);
        return good &&
               odbc_.getData(statement.handle, 1, SQL_C_BINARY, document.data(), length, &length) == SQL_SUCCESS;
    }
    bool update(std::string& document) {
        const Statement statement(*this);
        const std::string text =
            "UPDATE SYSTOOLS.POLICY SET UPDATE_TIME=strftime('%Y-%m-%d-%H.%M.%f000','now','localtime'), POLICY = ?" +
            key_;
        auto length = static_cast<SQLLEN>(document.size());
        return SQL_SUCCEEDED(odbc_.prepare(statement.handle, kelhost::sqlChars(text.c_str()), SQL_NTS)) &&
               SQL_SUCCEEDED(odbc_.bindParameter(statement.handle, 1, SQL_PARAM_INPUT, SQL_C_BINARY, SQL_LONGVARBINARY,
                                                 document.size(), 0, document.data(), length, &length)) &&
               SQL_SUCCEEDED(odbc_.execute(statement.handle));
    }

private:
    struct Statement {
        explicit Statement(BareSession& session) : odbc(session.odbc_) {
            odbc.allocHandle(SQL_HANDLE_STMT, session.connection_, &handle);
        }
        ~Statement() { odbc.freeHandle(SQL_HANDLE_STMT, handle); }
        Statement(const Statement&) = delete;
        Statement& operator=(const Statement&) = delete;

        const kelhost::DriverManager& odbc;
        SQLHSTMT handle = nullptr;
    };
    bool execute(SQLHSTMT statement, const std::string& text) {
        return SQL_SUCCEEDED(odbc_.execDirect(statement, kelhost::sqlChars(text.c_str()), SQL_NTS));
    }
    bool direct(const std::string& text) { return execute(Statement(*this).handle, text); }

    const kelhost::DriverManager& odbc_ = kelhost::driverManager();
    SQLHENV environment_ = nullptr;
    SQLHDBC connection_ = nullptr;
    const std::string key_ =
        " WHERE MED='KELDatabaseRecoveryMED' AND DECISION='DBBackupDecision' AND NAME='DBBackupPolicy' ";
};

#endif
