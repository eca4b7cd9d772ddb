/* The check of the policy table, and how the configuration procedures report an error. */
#include "base/sqlpiReport.h"
#include "services/sqlpiPolicyTable.h"

#include <thread>

#include "faulty.h"
#include "host/callLevelClient.h"
#include "unit/servicesSupport.h"

namespace {

using faulty::Duration;
using faulty::Service;
using hosttest::stateOf;
using services::LogRecord;

const LogRecord exists = {PD_INFO, "Poliy Table exist "};
const LogRecord missing = {PD_WARNING, "Poliy Table does not exist "};

TEST(PrepSqlca, fillsCodeAndTokensOverABlankState) {
    struct Case {
        const char* name;
        std::initializer_list<std::string_view> tokens;
        std::string kept;
    };
    const std::string longToken(69, 'x');
    const std::string split = longToken + "\xC3\xA4";
    const std::initializer_list<std::string_view> many = {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11"};
    for (const Case& one : {
             Case{"no token", {}, ""},
             Case{"one token", {"kelpolicy.bnd"}, "kelpolicy.bnd"},
             Case{"two tokens",
                  {"2", "AUTOMAINT_SET_POLICY"},
                  "2\xFF"
                  "AUTOMAINT_SET_POLICY"},
             Case{"a token that is not terminated", {std::string_view("12345").substr(1, 3)}, "234"},
             Case{"no text",
                  {std::string_view(), "b"},
                  "\xFF"
                  "b"},
             Case{"more bytes than the area holds", {longToken, "yz"}, longToken + "\xFF"},
             Case{"a character that does not fit whole", {split}, longToken},
             Case{"more tokens than a message has", many,
                  "1\xFF"
                  "2\xFF"
                  "3\xFF"
                  "4\xFF"
                  "5\xFF"
                  "6\xFF"
                  "7\xFF"
                  "8\xFF"
                  "9"},
         }) {
        sqlca ca;
        std::memset(&ca, 0x2A, sizeof ca);
        sqlpiPrepSqlca(ca, -171, nullptr, one.tokens);
        EXPECT_EQ(ca.sqlcode, -171) << one.name;
        EXPECT_EQ(stateOf(ca), "     ") << one.name;
        EXPECT_EQ(hosttest::tokensOf(ca), one.kept) << one.name;
        EXPECT_EQ(ca.sqlcabc, 0x2A2A2A2A) << one.name << ": the rest stays as it is";
        EXPECT_EQ(ca.sqlerrd[2], 0x2A2A2A2A) << one.name;
    }
}

/* An engine without a policy table. */
class PolicyTableCheck : public services::DocumentTest {
protected:
    ~PolicyTableCheck() override { EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{}); }

    struct Checked {
        int32_t result;
        sqlca ca;
        std::vector<LogRecord> log;
    };
    Checked check(bool create) {
        Checked checked{0, {}, {}};
        clearLogs();
        std::memset(&checked.ca, 0x2A, sizeof checked.ca);
        checked.result = sqlpiCheckPolicyTable(create, checked.ca);
        checked.log = takeDiagnosticLog();
        EXPECT_EQ(checked.result, checked.ca.sqlcode);
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
        return checked;
    }
    void commit() { context_.commit(); }
    void rollback() { context_.rollback(); }

    const faulty::Scope faults_;
    services::TemporaryInstance instance_;
    kelhost::EngineContext context_{instance_.get()};
    kelhost::EngineContext::Scope scope_{context_};
};

TEST_F(PolicyTableCheck, failsWithoutCreationAndCreatesWithIt) {
    Checked checked = check(false);
    EXPECT_EQ(checked.result, -204);
    EXPECT_EQ(stateOf(checked.ca), "42704");
    EXPECT_EQ(checked.log, std::vector{missing});

    checked = check(true);
    EXPECT_EQ(checked.result, 0);
    EXPECT_EQ(stateOf(checked.ca), "00000");
    EXPECT_EQ(checked.log, std::vector{missing});

    for (const bool create : {false, true}) {
        checked = check(create);
        EXPECT_EQ(checked.result, 0) << create;
        EXPECT_EQ(checked.log, std::vector{exists}) << create;
    }
    rollback();
    EXPECT_EQ(check(false).result, -204) << "the table belongs to the caller's unit of work";
}

TEST_F(PolicyTableCheck, needsAnEngineContext) {
    std::thread([] {
        sqlca ca = {};
        EXPECT_EQ(sqlpiCheckPolicyTable(true, ca), -900);
        EXPECT_EQ(ca.sqlcode, -900);
    }).join();
}

/* The calls of one check, in their order. */
struct Call {
    const char* name;
    Service service;
    uint64_t number; /* of that service */
};
constexpr Call stepsToVerify[] = {
    {"environment", Service::SQLAllocHandle, 1},  {"connection", Service::SQLAllocHandle, 2},
    {"attribute", Service::SQLSetConnectAttr, 1}, {"connect", Service::SQLConnect, 1},
    {"statement", Service::SQLAllocHandle, 3},
};
constexpr Call verifySteps[] = {{"prepare", Service::SQLPrepare, 1}, {"execute", Service::SQLExecute, 1}};
constexpr Call createSteps[] = {{"second statement", Service::SQLAllocHandle, 4},
                                {"create", Service::SQLExecDirect, 1}};

constexpr Duration durations[] = {Duration::once, Duration::forEver};

class FailingCheck : public PolicyTableCheck {
protected:
    /* With this call failing with SQLCODE -4711. */
    Checked checkFailing(const Call& call, Duration duration, bool create, int32_t sqlcode = -4711) {
        faulty::reset();
        EXPECT_TRUE(faulty::failCall(call.service, call.number, duration, SQL_ERROR, sqlcode));
        Checked checked = check(create);
        EXPECT_GE(faulty::failures(call.service), 1U) << call.name;
        faulty::reset();
        return checked;
    }
};

TEST_F(FailingCheck, stopsBeforeTheVerifyStepWithTheFailuresCode) {
    ASSERT_EQ(check(true).result, 0);
    for (const Call& call : stepsToVerify) {
        for (const Duration duration : durations) {
            for (const bool create : {false, true}) {
                const Checked checked = checkFailing(call, duration, create);
                // Nothing can say why the first allocation failed.
                EXPECT_EQ(checked.result, call.number == 1 && call.service == Service::SQLAllocHandle ? -99999 : -4711)
                    << call.name;
                EXPECT_EQ(checked.log, std::vector<LogRecord>{}) << call.name;
            }
        }
    }
}

TEST_F(FailingCheck, isNeverUsableAfterAFailureThatReportsNothing) {
    ASSERT_EQ(check(true).result, 0);
    for (const Call& call : stepsToVerify) {
        EXPECT_EQ(checkFailing(call, Duration::once, false, 0).result, -99999) << call.name;
    }
    for (const Call& call : verifySteps) {
        EXPECT_EQ(checkFailing(call, Duration::once, false, 0).result, -99999) << call.name;
        EXPECT_EQ(checkFailing(call, Duration::once, true, 0).result, 0) << call.name << ", then the table is created";
    }
}

TEST_F(FailingCheck, takesAFailedVerifyStepForAMissingTable) {
    ASSERT_EQ(check(true).result, 0);
    for (const Call& call : verifySteps) {
        for (const Duration duration : durations) {
            Checked checked = checkFailing(call, duration, false);
            EXPECT_EQ(checked.result, -4711) << call.name;
            EXPECT_EQ(checked.log, std::vector{missing}) << call.name;
            checked = checkFailing(call, duration, true);
            EXPECT_EQ(checked.result, 0) << call.name << ": the create step leaves the table as it is";
            EXPECT_EQ(checked.log, std::vector{missing}) << call.name;
        }
    }
}

TEST_F(FailingCheck, reportsWhyTheTableCannotBeCreated) {
    for (const Call& call : createSteps) {
        for (const Duration duration : durations) {
            const Checked checked = checkFailing(call, duration, true);
            EXPECT_EQ(checked.result, -4711) << call.name;
            EXPECT_EQ(checked.log, std::vector{missing}) << call.name;
            EXPECT_EQ(checkFailing(call, duration, true, 0).result, -99999) << call.name;
            EXPECT_EQ(check(false).result, -204) << call.name << ": nothing was created";
        }
    }
}

TEST_F(FailingCheck, resultStaysAsItIsWhateverTheReleaseDoes) {
    for (const bool isThere : {false, true}) {
        if (isThere) {
            ASSERT_EQ(check(true).result, 0);
            commit();
        }
        for (const bool create : {false, true}) {
            const uint64_t statements = create && !isThere ? 2 : 1;
            for (const auto& [service, calls] :
                 {std::pair(Service::SQLFreeHandle, statements + 2), std::pair(Service::SQLDisconnect, uint64_t{1})}) {
                for (uint64_t number = 1; number <= calls; ++number) {
                    for (const Duration duration : durations) {
                        const Checked checked = checkFailing({"release", service, number}, duration, create);
                        EXPECT_EQ(checked.result, isThere || create ? 0 : -204)
                            << faulty::serviceName(service) << number << isThere << create;
                        EXPECT_EQ(checked.log, std::vector{isThere ? exists : missing});
                        rollback();
                    }
                }
            }
        }
    }
}

TEST_F(FailingCheck, goesOnAfterInformation) {
    for (const Call& call : stepsToVerify) {
        faulty::reset();
        ASSERT_TRUE(faulty::failCall(call.service, call.number, Duration::once, SQL_SUCCESS_WITH_INFO));
        EXPECT_EQ(check(true).result, 0) << call.name;
        rollback();
    }
}

TEST_F(FailingCheck, asksForTheAreaAfterEveryCall) {
    ASSERT_EQ(check(true).result, 0);
    faulty::reset();
    ASSERT_EQ(check(false).result, 0);
    EXPECT_EQ(faulty::calls(Service::SQLGetSQLCA), 7U);
    EXPECT_EQ(faulty::calls(Service::SQLSetConnectAttr), 1U);
    EXPECT_EQ(faulty::calls(Service::SQLFreeHandle), 3U);
    EXPECT_EQ(faulty::calls(Service::SQLDisconnect), 1U);
    EXPECT_EQ(faulty::calls(Service::SQLExecDirect), 0U);
    faulty::reset();
    ASSERT_TRUE(faulty::failCall(Service::SQLExecute, 1));
    ASSERT_EQ(check(true).result, 0);
    EXPECT_EQ(faulty::calls(Service::SQLGetSQLCA), 9U);
    EXPECT_EQ(faulty::calls(Service::SQLExecDirect), 1U);
    EXPECT_EQ(faulty::calls(Service::SQLFreeHandle), 4U);
}

}  // namespace
