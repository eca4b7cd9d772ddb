// The host that fails on demand does so at the planned call, and leaves the real host in order.
#include <vector>

#include "bindFile.h"
#include "clock.h"
#include "embeddedSql.h"
#include "engineState.h"
#include "faulty.h"
#include "files.h"
#include "host/callLevelClient.h"
#include "host/hostFixture.h"
#include "memoryPool.h"
#include "messages.h"

namespace {

using faulty::Duration;
using faulty::Service;
using hosttest::chars;
using hosttest::Client;
using hosttest::connectToContext;
using hosttest::stateOf;

class FaultyHost : public hosttest::ContextTest {
    const faulty::Scope scope_;
};

std::string memoryPattern(int count) {
    std::string pattern;
    for (int i = 0; i < count; ++i) {
        void* block = sqlogmblkEx(nullptr, 8, "faultyHostTest", 1);
        pattern += block == nullptr ? 'x' : '.';
        sqlofmblkEx(block, "faultyHostTest", 1);
    }
    return pattern;
}

TEST_F(FaultyHost, OnceMeansTheNthCallOnly) {
    ASSERT_TRUE(faulty::failCall(Service::sqlogmblkEx, 3));
    EXPECT_EQ(memoryPattern(6), "..x...");
    EXPECT_EQ(faulty::calls(Service::sqlogmblkEx), 6U);
    EXPECT_EQ(faulty::failures(Service::sqlogmblkEx), 1U);
}

TEST_F(FaultyHost, ForEverMeansTheNthCallAndAllAfterIt) {
    ASSERT_TRUE(faulty::failCall(Service::sqlogmblkEx, 3, Duration::forEver));
    EXPECT_EQ(memoryPattern(6), "..xxxx");
    faulty::reset();
    EXPECT_EQ(memoryPattern(3), "...");
    EXPECT_EQ(faulty::calls(Service::sqlogmblkEx), 3U) << "counted since the reset";
}

TEST_F(FaultyHost, PlansAreCountedFromWhenTheyAreMade) {
    EXPECT_EQ(memoryPattern(2), "..");
    ASSERT_TRUE(faulty::failCall(Service::sqlogmblkEx, 1));
    ASSERT_TRUE(faulty::failCall(Service::sqlogmblkEx, 3));
    EXPECT_EQ(memoryPattern(5), "x.x..");
    EXPECT_FALSE(faulty::failCall(Service::sqlogmblkEx, 0)) << "calls are counted from 1";
    for (int i = 0; i < 14; ++i) EXPECT_TRUE(faulty::failCall(Service::sqlogmblkEx, 100));
    EXPECT_FALSE(faulty::failCall(Service::sqlogmblkEx, 100)) << "no room for another plan";
}

TEST_F(FaultyHost, AGroupCountsTheCallsOfAllItsServices) {
    ASSERT_TRUE(faulty::failCall(Service::anyMemory, 2));
    void* block = sqlogmblkEx(nullptr, 8, "faultyHostTest", 1);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(_ossMemAlloc(8), nullptr);
    EXPECT_EQ(ossPathExists("/"), 1) << "no memory service";
    EXPECT_EQ(faulty::calls(Service::anyMemory), 2U);
    EXPECT_EQ(faulty::calls(Service::any), 3U);
    sqlofmblkEx(block, "faultyHostTest", 1);
    void* plain = _ossMemAlloc(8);
    EXPECT_NE(plain, nullptr);
    _ossMemFree(plain);
}

TEST_F(FaultyHost, ServicesAreNamed) {
    EXPECT_STREQ(faulty::serviceName(Service::sqlogmblkEx), "sqlogmblkEx");
    EXPECT_STREQ(faulty::serviceName(Service::SQLAllocHandle), "SQLAllocHandle");
    EXPECT_STREQ(faulty::serviceName(Service::SQLGetSQLCA), "SQLGetSQLCA");
    EXPECT_STREQ(faulty::serviceName(Service::any), "any service");
}

TEST_F(FaultyHost, EachServiceFailsInItsOwnWay) {
    const std::string path = instancePath() + "/tmp/f";
    ASSERT_TRUE(faulty::failCall(Service::any, 1, Duration::forEver));
    OSSHFile* file = nullptr;
    size_t done = 7;
    uint64_t size = 7;
    char text[64] = "?";
    const int64_t moment = 0;
    tm local{};
    local.tm_hour = 7;
    sqlca ca{};
    EXPECT_EQ(sqlogmblkEx(nullptr, 8, "t", 1), nullptr);
    EXPECT_EQ(_ossMemAlloc(8), nullptr);
    EXPECT_EQ(ossFileOpen(&file, path.c_str(), OSS_FILE_CREATE, 0600), OSS_ERROR);
    EXPECT_EQ(ossFileRead(file, text, 1, &done), OSS_ERROR);
    EXPECT_EQ(done, 0U);
    done = 7;
    EXPECT_EQ(ossFileWrite(file, text, 1, &done), OSS_ERROR);
    EXPECT_EQ(done, 0U);
    EXPECT_EQ(ossFileSize(file, &size), OSS_ERROR);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(ossFileClose(nullptr), OSS_ERROR);
    EXPECT_EQ(ossFileOpenBelow(&file, "/", "f", OSS_FILE_REPLACE, 0600), OSS_ERROR);
    EXPECT_EQ(ossFileCommit(nullptr), OSS_ERROR);
    EXPECT_EQ(ossPathExists("/"), 0);
    EXPECT_EQ(ossIsDirectory("/"), 0);
    EXPECT_EQ(ossDirectoryCreate("/", 0755), OSS_ERROR);
    EXPECT_EQ(ossDirectoryCreateBelow("/", ".", 0755), OSS_ERROR);
    EXPECT_EQ(ossBaseName("a", text, sizeof text), OSS_ERROR);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(ossDirectoryName("a", text, sizeof text), OSS_ERROR);
    EXPECT_EQ(sqloInstancePath(text, sizeof text), OSS_NOT_FOUND);
    EXPECT_EQ(sqlo_localtime(&moment, &local), -1);
    EXPECT_EQ(local.tm_hour, 0);
    EXPECT_EQ(isSharedLibInitSuccess(), 0);
    sqlpiGetDefaultAutoBackupPath(text, sizeof text, &ca);
    EXPECT_EQ(ca.sqlcode, -902);
    EXPECT_LT(sqlaintp_api(text, sizeof text, 0, nullptr, &ca), 0);
    EXPECT_EQ(faulty::failures(Service::any), faulty::calls(Service::any));
}

TEST_F(FaultyHost, ShortTransfersMoveHalfOfTheBytes) {
    const std::string path = instancePath() + "/tmp/f";
    OSSHFile* file = nullptr;
    ASSERT_EQ(ossFileOpen(&file, path.c_str(), OSS_FILE_CREATE, 0600), OSS_OK);
    faulty::failCall(Service::ossFileWrite, 1, Duration::once, faulty::shortTransfer);
    size_t done = 0;
    EXPECT_EQ(ossFileWrite(file, "0123456789", 10, &done), OSS_NO_SPACE);
    EXPECT_EQ(done, 5U);
    faulty::failCall(Service::ossFileClose, 1, Duration::once, OSS_NO_SPACE);
    EXPECT_EQ(ossFileClose(file), OSS_NO_SPACE) << "closed, and said to have failed";
    EXPECT_EQ(hosttest::readWhole(path), "01234");
    ASSERT_EQ(ossFileOpen(&file, path.c_str(), OSS_FILE_READ, 0), OSS_OK);
    faulty::failCall(Service::ossFileRead, 1, Duration::once, faulty::shortTransfer);
    char text[16] = "";
    EXPECT_EQ(ossFileRead(file, text, 4, &done), OSS_OK);
    EXPECT_EQ(done, 2U);
    EXPECT_EQ(ossFileClose(file), OSS_OK);
}

// The calls of one read of a policy, each with its status; goes on only while they succeed, then gives everything back.
// `ca` is the outcome of the last call that did not simply succeed.
std::vector<SQLRETURN> readPolicy(sqlca* ca) {
    std::vector<SQLRETURN> results;
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    bool connected = false;
    const auto step = [&](SQLRETURN result) {
        results.push_back(result);
        if (result != SQL_SUCCESS) SQLGetSQLCA(env, dbc, stmt, ca);
        return SQL_SUCCEEDED(result);
    };
    if (step(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env)) &&
        step(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc)) && (connected = step(connectToContext(dbc))) &&
        step(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt)) && step(SQLExecDirect(stmt, chars("SELECT 1"), SQL_NTS))) {
        step(SQLFetch(stmt));
    }
    if (stmt != SQL_NULL_HSTMT) step(SQLFreeHandle(SQL_HANDLE_STMT, stmt));
    stmt = SQL_NULL_HSTMT;
    if (connected) step(SQLDisconnect(dbc));
    if (dbc != SQL_NULL_HDBC) step(SQLFreeHandle(SQL_HANDLE_DBC, dbc));
    dbc = SQL_NULL_HDBC;
    if (env != SQL_NULL_HENV) step(SQLFreeHandle(SQL_HANDLE_ENV, env));
    return results;
}

TEST_F(FaultyHost, EveryCallOfTheCallLevelFailsWithTheChosenCodeAndNoHandleIsLost) {
    sqlca ca{};
    const size_t calls = readPolicy(&ca).size();
    ASSERT_EQ(calls, 10U);
    for (const int code : {SQL_ERROR, SQL_INVALID_HANDLE, SQL_SUCCESS_WITH_INFO, SQL_NEED_DATA, SQL_NO_DATA}) {
        for (size_t call = 1; call <= calls; ++call) {
            for (const Duration duration : {Duration::once, Duration::forEver}) {
                const auto before = kelhost::openHandles();
                faulty::reset();
                faulty::failCall(Service::anyCallLevel, call, duration, code, -4711);
                ca = {};
                const auto results = readPolicy(&ca);
                const std::string which = "call " + std::to_string(call) + " answers " + std::to_string(code);
                EXPECT_EQ(results.at(call - 1), code) << which;
                EXPECT_EQ(kelhost::openHandles(), before) << which;
                EXPECT_GE(faulty::failures(Service::anyCallLevel), 1U) << which;
                const int32_t sqlcode = code == SQL_NO_DATA ? 100 : code == SQL_SUCCESS_WITH_INFO ? 0 : -4711;
                if (call > 1) {
                    EXPECT_EQ(ca.sqlcode, sqlcode) << which;
                }
                faulty::reset();
                EXPECT_EQ(readPolicy(&ca), std::vector<SQLRETURN>(10, SQL_SUCCESS))
                    << "the host is in order after " << which;
            }
        }
    }
}

TEST_F(FaultyHost, AFailedAllocationIsReportedForTheParent) {
    Client client;
    faulty::failCall(Service::SQLAllocHandle, 1, Duration::once, SQL_ERROR, -954);
    SQLHSTMT stmt = client.stmt;
    EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, client.dbc, &stmt), SQL_ERROR);
    EXPECT_EQ(stmt, nullptr);
    sqlca ca{};
    EXPECT_EQ(SQLGetSQLCA(client.env, client.dbc, SQL_NULL_HSTMT, &ca), SQL_SUCCESS);
    EXPECT_EQ(ca.sqlcode, -954);
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, client.dbc, &stmt), SQL_SUCCESS);
    EXPECT_EQ(SQLGetSQLCA(client.env, client.dbc, SQL_NULL_HSTMT, &ca), SQL_SUCCESS);
    EXPECT_EQ(ca.sqlcode, 0) << "the next call's outcome counts";
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_STMT, stmt), SQL_SUCCESS);
    faulty::failCall(Service::SQLGetSQLCA, 1, Duration::once, SQL_ERROR, -1);
    EXPECT_EQ(SQLGetSQLCA(client.env, client.dbc, SQL_NULL_HSTMT, &ca), SQL_ERROR);
    EXPECT_EQ(ca.sqlcode, -1);
}

TEST_F(FaultyHost, AFailedExecutionChangesNothing) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    faulty::failCall(Service::SQLExecute, 1);
    EXPECT_EQ(client.insert("a", "<x/>"), SQL_ERROR);
    EXPECT_EQ(client.ca().sqlcode, -901);
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
    faulty::failCall(Service::SQLExecDirect, 1, Duration::once, SQL_NO_DATA);
    EXPECT_EQ(client.run("DELETE FROM SYSTOOLS.POLICY"), SQL_NO_DATA);
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
}

TEST_F(FaultyHost, SuccessWithInformationIsCarriedOut) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    faulty::failCall(Service::SQLExecute, 1, Duration::once, SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(client.insert("a", "<x/>"), SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(client.document("a"), "<x/>");
}

// What is written is on the device when the close says so.
TEST_F(FaultyHost, ABinderSaysThatItsMessagesMayBeLost) {
    const std::string bindFile = instancePath() + "/bnd/p.bnd";
    const std::string messages = instancePath() + "/bnd/messages";
    std::ofstream(bindFile) << kelhost::writeBindFile(
        {"NULLID", "P", {{kelhost::SectionKind::cursor, "SELECT 1", {}, {{}}}}});
    for (const Service service : {Service::ossFileWrite, Service::ossFileClose}) {
        const faulty::Scope scope;
        sqlca ca;
        EXPECT_EQ(sqlabndx(bindFile.c_str(), messages.c_str(), nullptr, &ca), 0);
        ASSERT_TRUE(faulty::failCall(service, service == Service::ossFileClose ? 2 : 1));
        EXPECT_EQ(sqlabndx(bindFile.c_str(), messages.c_str(), nullptr, &ca), 25) << faulty::serviceName(service);
        EXPECT_EQ(hosttest::tokensOf(ca), "no messages could be written to \"messages\"");
        EXPECT_EQ(faulty::failures(service), 1U);
    }
}

}  // namespace
