/* Reading a policy row within an engine context, beside the same calls made directly on the driver manager. */
#include <benchmark/benchmark.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "driverManager.h"
#include "engineContext.h"
#include "instance.h"
#include "memoryPool.h"
#include "sqlpiApplReadPolicyTable.h"
#include "sqlpiPolicyKeys.h"

namespace {

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

void sqlpiGetPolicyInContext(benchmark::State& state) {
    const Database database;
    for (auto _ : state)
        if (Database::read() != 0) state.SkipWithError("read failed");
}
BENCHMARK(sqlpiGetPolicyInContext);

/* The bare calls, on a session that is open: a statement that verifies the table, and one that reads the row. */
void yardstickBareOdbcCalls(benchmark::State& state) {
    const Database database;
    const kelhost::DriverManager& odbc = kelhost::driverManager();
    SQLHENV environment = nullptr;
    SQLHDBC connection = nullptr;
    odbc.allocHandle(SQL_HANDLE_ENV, nullptr, &environment);
    odbc.setEnvAttr(environment, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    odbc.allocHandle(SQL_HANDLE_DBC, environment, &connection);
    const std::string connectionString = "DRIVER=SQLite3;Database=:memory:";
    odbc.driverConnect(connection, nullptr, kelhost::sqlChars(connectionString.c_str()), SQL_NTS, nullptr, 0, nullptr,
                       SQL_DRIVER_NOPROMPT);
    const auto execute = [&](SQLHSTMT statement, const std::string& text) {
        return SQL_SUCCEEDED(odbc.execDirect(statement, kelhost::sqlChars(text.c_str()), SQL_NTS));
    };
    SQLHSTMT statement = nullptr;
    odbc.allocHandle(SQL_HANDLE_STMT, connection, &statement);
    execute(statement, "ATTACH '" + database.file().string() + "' AS SYSTOOLS");
    odbc.freeHandle(SQL_HANDLE_STMT, statement);
    odbc.setConnectAttr(connection, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0);

    for (auto _ : state) {
        odbc.allocHandle(SQL_HANDLE_STMT, connection, &statement);
        bool good =
            execute(statement, "SELECT MED, DECISION, NAME, UPDATE_TIME, POLICY FROM SYSTOOLS.POLICY WHERE 1 = 0");
        odbc.freeStmt(statement, SQL_CLOSE);
        good = good && execute(statement,
                               "SELECT POLICY FROM SYSTOOLS.POLICY WHERE MED='KELDatabaseRecoveryMED' AND "
                               "DECISION='DBBackupDecision' AND NAME='DBBackupPolicy' ");
        good = good && odbc.fetch(statement) == SQL_SUCCESS;
        std::array<char, 4> probe{};
        SQLLEN length = 0;
        good = good && SQL_SUCCEEDED(odbc.getData(statement, 1, SQL_C_BINARY, probe.data(), 0, &length));
        std::vector<char> document(length > 0 ? static_cast<size_t>(length) : 0);
        good = good && odbc.getData(statement, 1, SQL_C_BINARY, document.data(), length, &length) == SQL_SUCCESS;
        odbc.freeHandle(SQL_HANDLE_STMT, statement);
        if (!good) state.SkipWithError("a bare call failed");
    }
    odbc.endTran(SQL_HANDLE_DBC, connection, SQL_ROLLBACK);
    odbc.disconnect(connection);
    odbc.freeHandle(SQL_HANDLE_DBC, connection);
    odbc.freeHandle(SQL_HANDLE_ENV, environment);
}
BENCHMARK(yardstickBareOdbcCalls);

}  // namespace
