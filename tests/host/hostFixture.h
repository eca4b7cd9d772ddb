/* What the conformance tests need from a host beyond the platform contracts: an instance directory, and engine contexts
 * that can be bound, committed and rolled back. A new host brings its own version of this file and runs the same tests.
 */
#ifndef TESTS_HOST_HOST_FIXTURE_H
#define TESTS_HOST_HOST_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "callLevelCounts.h"
#include "engineContext.h"
#include "host/callLevelClient.h"
#include "host/wholeFile.h"
#include "hostLogs.h"
#include "memoryCounts.h"

namespace hosttest {

/* A directory of its own for one test, removed at the end. */
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "kelpolicy-host-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
        path_ = std::filesystem::canonical(name);
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

/* Which database the tests run on: empty, the embedded one. "{files}" stands for the instance's folder of databases. */
inline std::string testConnection() {
    const char* connection = std::getenv("KELPOLICY_TEST_CONNECTION");
    return connection == nullptr ? "" : connection;
}

inline std::string testConnection(const kelhost::Instance& instance) {
    constexpr std::string_view place = "{files}";
    std::string connection = testConnection();
    const size_t found = connection.find(place);
    return found == std::string::npos ? connection : connection.replace(found, place.size(), instance.databaseFiles());
}

inline bool isPostgres() {
    return testConnection().find("PostgreSQL") != std::string::npos;
}

/* One unit of work on the database of the test's instance. */
class HostContext {
public:
    HostContext(const kelhost::Instance& instance, std::chrono::milliseconds lockTimeout)
        : context_(instance, {.connection = testConnection(instance), .lockTimeout = lockTimeout}) {}

    void bind() { bound_.emplace(context_); }
    void unbind() { bound_.reset(); }
    void commit() { context_.commit(); }
    void rollback() { context_.rollback(); }
    /* What the host may do and no client: throws HostError. */
    void administer(const std::string& statement) { context_.administer(statement); }
    std::vector<SQLHSTMT> openResults() const { return context_.openResults(); }

private:
    kelhost::EngineContext context_;
    std::optional<kelhost::EngineContext::Scope> bound_;
};

/* A fresh instance for each test; everything taken must have been given back at its end. */
class HostTest : public ::testing::Test {
public:
    HostTest() {
        if (isPostgres()) dropPolicySchema();
    }
    ~HostTest() override {
        EXPECT_EQ(kelhost::memoryTotal().blocks, blocksBefore_) << kelhost::describeMemoryInUse();
        EXPECT_EQ(kelhost::openHandles(), handlesBefore_) << "handles are left over";
    }

protected:
    std::string instancePath() const { return instance_.path(); }
    /* Waits for locks for longer than any test takes, unless it is told otherwise. */
    std::unique_ptr<HostContext> makeContext(std::chrono::milliseconds lockTimeout = std::chrono::hours(1)) const {
        return std::make_unique<HostContext>(instance_, lockTimeout);
    }

private:
    void dropPolicySchema() const {
        const auto context = makeContext();
        context->administer("DROP SCHEMA IF EXISTS SYSTOOLS CASCADE");
        context->commit();
    }

    int64_t blocksBefore_ = kelhost::memoryTotal().blocks;
    kelhost::HandleCounts handlesBefore_ = kelhost::openHandles();
    TemporaryDirectory directory_;
    kelhost::Instance instance_ = kelhost::Instance::create(directory_.path() / "instance");
};

/* The same with a context bound to the test's thread. */
class ContextTest : public HostTest {
protected:
    ContextTest() { context_->bind(); }
    ~ContextTest() override { context_->unbind(); }

    HostContext& context() { return *context_; }

private:
    std::unique_ptr<HostContext> context_ = makeContext();
};

}  // namespace hosttest

#endif
