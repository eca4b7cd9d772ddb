/* What the tests of the policy services share: an engine with its policy table, documents, and trees built by hand. */
#ifndef TESTS_UNIT_SERVICES_SUPPORT_H
#define TESTS_UNIT_SERVICES_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "callLevel.h"
#include "callLevelCounts.h"
#include "engineContext.h"
#include "hostLogs.h"
#include "logs.h"
#include "services/sqlpiStoredPolicy.h"
#include "sqlpiFormat.h"
#include "unit/balance.h"
#include "unit/trees.h"

namespace services {

/* A well-formed policy document with that content. */
inline std::string document(const std::string& content) {
    return "<?xml version='1.0' encoding='UTF-8'?><PolicyDocument xmlns:kel='urn:kel'>" + content + "</PolicyDocument>";
}

/* The text in a field of fixed size, which need not be terminated. */
template <size_t Size>
std::string textOf(const char (&field)[Size]) {
    return {field, strnlen(field, Size)};
}

/* What a test compares of a record in a log. */
struct LogRecord {
    int32_t importance;
    std::string text;

    bool operator==(const LogRecord&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const LogRecord& record) {
    return out << record.importance << " \"" << record.text << '"';
}

/* The root of a tree that is put together by hand, also one that no document can give. */
inline Tree emptyTree() {
    return Tree(addChild<SQLPIPolicyDocument>(nullptr, SQLPI_ELEMENT_POLICY_DOCUMENT));
}

/* Watches the logs. */
class DocumentTest : public BalancedTest {
protected:
    std::vector<kelhost::LogRecord> recordsOf(kelhost::LogKind kind) const { return capture_.records(kind); }
    std::vector<LogRecord> takeLog(kelhost::LogKind kind) {
        std::vector<LogRecord> taken;
        for (const kelhost::LogRecord& record : capture_.records(kind))
            taken.push_back({record.importance, record.text});
        capture_.clear();
        return taken;
    }
    std::vector<LogRecord> takeDiagnosticLog() { return takeLog(kelhost::LogKind::diagnostic); }
    void clearLogs() { capture_.clear(); }

private:
    kelhost::LogCapture capture_;
};

/* An instance directory that disappears at the end. */
class TemporaryInstance {
public:
    TemporaryInstance() : instance_(kelhost::Instance::create(makeDirectory())) {}
    ~TemporaryInstance() { std::filesystem::remove_all(instance_.path()); }
    TemporaryInstance(const TemporaryInstance&) = delete;
    TemporaryInstance& operator=(const TemporaryInstance&) = delete;

    const kelhost::Instance& get() const { return instance_; }

private:
    static std::string makeDirectory() {
        std::string path = std::filesystem::temp_directory_path() / "kelpolicyXXXXXX";
        if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no directory " + path);
        return path;
    }

    kelhost::Instance instance_;
};

/* Runs a statement that only the host may run in the unit of work of the thread's engine context. */
inline void administer(const std::string& statement) {
    kelhost::EngineContext::current()->administer(statement);
}

/* Runs a statement in the unit of work of the thread's engine context, its markers bound to the bytes given. */
inline void execute(const std::string& statement, std::vector<std::string> values = {}) {
    SQLHANDLE environment = nullptr;
    SQLHANDLE connection = nullptr;
    SQLHANDLE handle = nullptr;
    const auto check = [&](SQLRETURN status) {
        if (SQL_SUCCEEDED(status)) return;
        sqlca ca = {};
        SQLGetSQLCA(environment, connection, handle, &ca);
        throw std::runtime_error(statement + ": SQLSTATE " + std::string(ca.sqlstate, sizeof ca.sqlstate));
    };
    check(SQLAllocHandle(SQL_HANDLE_ENV, nullptr, &environment));
    check(SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection));
    check(SQLConnect(connection, nullptr, SQL_NTS, nullptr, SQL_NTS, nullptr, SQL_NTS));
    check(SQLAllocHandle(SQL_HANDLE_STMT, connection, &handle));
    std::string text = statement;
    check(SQLPrepare(handle, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS));
    std::vector<SQLLEN> lengths(values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        lengths[i] = static_cast<SQLLEN>(values[i].size());
        check(SQLBindParameter(handle, static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT, SQL_C_BINARY,
                               SQL_LONGVARBINARY, values[i].size(), 0, values[i].data(), lengths[i], &lengths[i]));
    }
    const SQLRETURN status = SQLExecute(handle);
    if (status != SQL_NO_DATA) check(status);  // no row changed
    SQLFreeHandle(SQL_HANDLE_STMT, handle);
    SQLDisconnect(connection);
    SQLFreeHandle(SQL_HANDLE_DBC, connection);
    SQLFreeHandle(SQL_HANDLE_ENV, environment);
}

inline std::string whereKey(const sqlpiPolicyKey& key) {
    return std::string(" WHERE MED='") + key.med + "' AND DECISION='" + key.decision + "' AND NAME='" + key.name + "'";
}

inline void remove(const sqlpiPolicyKey& key) {
    execute("DELETE FROM SYSTOOLS.POLICY" + whereKey(key));
}

/* Stores a document under its key; `updateTime` is an SQL expression. */
inline void store(const sqlpiPolicyKey& key, const std::string& document,
                  const std::string& updateTime = "CURRENT TIMESTAMP") {
    remove(key);
    execute(std::string("INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES ('") + key.med +
                "','" + key.decision + "','" + key.name + "'," + updateTime + ",?)",
            {document});
}

/* The document as it is stored; nothing when there is no row. */
inline std::optional<std::string> stored(const sqlpiPolicyKey& key) {
    const sqlpiStoredPolicy policy(key);
    if (!policy.isPresent()) return {};
    return std::string(policy.document.get(), static_cast<size_t>(policy.length));
}

/* How the policy of that name is described to administrators. */
inline std::string describe(const char* name) {
    char text[4096];
    EXPECT_EQ(sqpiGetPolicyFormatString(text, sizeof text, name), SQLPI_FORMAT_OK) << name;
    return text;
}

/* An engine whose policy table holds the default policies; demands that all handles have been given back. */
class EngineTest : public DocumentTest {
protected:
    EngineTest() { execute("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','C','','')"); }
    ~EngineTest() override { EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{}); }

    const kelhost::Instance& instance() const { return instance_.get(); }
    void commit() { context_.commit(); }

private:
    TemporaryInstance instance_;
    kelhost::EngineContext context_{instance_.get()};
    kelhost::EngineContext::Scope scope_{context_};
};

}  // namespace services

#endif
