/* The check of the library's package: probe, binding, and the statements that run through it. */
#include <fstream>
#include <thread>

#include "configuration/sqlpiPolicyConfigSql.h"
#include "configuration/sqlpiPolicyPackage.h"
#include "embeddedSql.h"
#include "faulty.h"
#include "host/callLevelClient.h"
#include "unit/servicesSupport.h"

namespace {

using faulty::Duration;
using faulty::Service;
using services::LogRecord;

const LogRecord notRequired = {PD_INFO, "Bind not required "};
const LogRecord trying = {PD_WARNING, "Bind required,trying to bind "};
const LogRecord completed = {PD_INFO, "Bind required. Bind compeleted with success"};

LogRecord failedWith(int32_t sqlcode) {
    return {PD_ERROR, "Bind required,Bind Failedrc = " + std::to_string(sqlcode) + " "};
}

constexpr const char* backupQuery =
    "SELECT POLICY FROM SYSTOOLS.POLICY WHERE MED = 'KELDatabaseRecoveryMED' AND DECISION = 'DBBackupDecision' AND "
    "NAME "
    "= 'DBBackupPolicy' ";
constexpr const char* backupUpdate =
    "UPDATE SYSTOOLS.POLICY SET UPDATE_TIME=CURRENT TIMESTAMP, POLICY = ? WHERE MED = 'KELDatabaseRecoveryMED' AND "
    "DECISION = 'DBBackupDecision' AND NAME = 'DBBackupPolicy' ";

class PackageCheck : public services::EngineTest {
protected:
    struct Checked {
        int32_t result;
        sqlca ca;
        std::vector<LogRecord> log;
    };
    Checked check() {
        clearLogs();
        Checked checked{0, {}, {}};
        checked.result = sqlpiCheckPolicyPkgBind(checked.ca);
        checked.log = takeDiagnosticLog();
        EXPECT_EQ(checked.result, checked.ca.sqlcode);
        return checked;
    }
    void expectBound(const char* why) {
        const Checked checked = check();
        EXPECT_EQ(checked.result, 0) << why;
        EXPECT_EQ(checked.log, (std::vector{trying, completed})) << why;
        EXPECT_EQ(check().log, std::vector{notRequired}) << why;
    }

    std::string bindFile() const { return instance().path() + "/bnd/kelpolicy.bnd"; }

    const faulty::Scope faults_;
};

TEST_F(PackageCheck, bindsTheInstancesFileOnceAndThenNeedsIt) {
    expectBound("a new database");
    std::filesystem::remove(bindFile());
    EXPECT_EQ(check().log, std::vector{notRequired}) << "bound once for all";
    services::administer("DROP TABLE SYSTOOLS.PACKAGE");
    const Checked checked = check();
    EXPECT_EQ(checked.result, -902) << "no bind file";
    EXPECT_EQ(checked.log, (std::vector{trying, failedWith(-902)}));
    EXPECT_NE(hosttest::tokensOf(checked.ca).find("kelpolicy.bnd"), std::string::npos);
}

TEST_F(PackageCheck, bindsAnewForEachRealReason) {
    struct Reason {
        const char* name;
        int32_t sqlcode;
        const char* change;
    };
    for (const Reason& reason : {
             Reason{"of another version", -818, "UPDATE SYSTOOLS.PACKAGE SET TOKEN = '0123456789abcdef'"},
             Reason{"not there", -805, "DELETE FROM SYSTOOLS.PACKAGE"},
             Reason{"no right", -551, "UPDATE SYSTOOLS.PACKAGE SET BINDER = 'another', GRANTED = 0"},
         }) {
        ASSERT_EQ(check().result, 0);
        services::execute(reason.change);
        sqlca ca = {};
        EXPECT_EQ(sqlpiRunPolicyProbe(ca), reason.sqlcode) << reason.name;
        expectBound(reason.name);
    }
}

TEST_F(PackageCheck, bindsAfterTheThreeCodesOnly) {
    ASSERT_EQ(check().result, 0);
    for (const int32_t sqlcode : {-818, -805, -551, -204, -911, -964, -1, 100, 25, 1}) {
        const bool binds = sqlcode == -818 || sqlcode == -805 || sqlcode == -551;
        faulty::reset();
        ASSERT_TRUE(faulty::failCall(Service::sqlacall, 1, Duration::once, faulty::usualFailure, sqlcode));
        const Checked checked = check();
        EXPECT_EQ(checked.result, binds ? 0 : sqlcode);
        EXPECT_EQ(checked.log, binds ? (std::vector{trying, completed}) : std::vector<LogRecord>{}) << sqlcode;
        EXPECT_EQ(faulty::calls(Service::sqlabndx), binds ? 1U : 0U) << sqlcode;
    }
}

TEST_F(PackageCheck, reportsWhatTheBindAnswersInTheEnd) {
    ASSERT_EQ(check().result, 0);
    struct Case {
        int32_t first;
        Duration duration;
        int32_t result;
        uint64_t binds;
    };
    for (const Case& one : std::vector<Case>{{0, Duration::once, 0, 1},
                                             {25, Duration::forEver, 0, 1},
                                             {-964, Duration::once, -964, 1},
                                             {-911, Duration::once, 0, 2},
                                             {-911, Duration::forEver, -911, 2},
                                             {-902, Duration::forEver, -902, 2}}) {
        faulty::reset();
        ASSERT_TRUE(faulty::failCall(Service::sqlacall, 1, Duration::once, faulty::usualFailure, -805));
        ASSERT_TRUE(faulty::failCall(Service::sqlabndx, 1, one.duration, faulty::usualFailure, one.first));
        const Checked checked = check();
        EXPECT_EQ(checked.result, one.result) << one.first;
        EXPECT_EQ(checked.log, (std::vector{trying, one.result == 0 ? completed : failedWith(one.result)}))
            << one.first;
        EXPECT_EQ(faulty::calls(Service::sqlabndx), one.binds) << one.first;
    }
}

TEST_F(PackageCheck, failsWhenThePolicyTableIsMissing) {
    services::administer("DROP TABLE SYSTOOLS.POLICY");
    const Checked checked = check();
    EXPECT_EQ(checked.result, -204) << "the package's statements cannot be prepared";
    EXPECT_EQ(checked.log, (std::vector{trying, failedWith(-204)}));
}

TEST_F(PackageCheck, failsWithoutAnEngineContext) {
    std::thread([this] {
        EXPECT_EQ(check().result, -900);
        sqlca ca = {};
        EXPECT_EQ(sqlpiBindPolicyPkg("kelpolicy.bnd", ca), -902);
        EXPECT_EQ(hosttest::tokensOf(ca), "kelpolicy.bnd");
        EXPECT_EQ(hosttest::stateOf(ca), "     ");
    }).join();
}

TEST_F(PackageCheck, refusesAPathThatDoesNotFit) {
    sqlca ca = {};
    EXPECT_EQ(sqlpiBindPolicyPkg(std::string(4096, 'n').c_str(), ca), -902);
    EXPECT_EQ(faulty::calls(Service::sqlabndx), 0U);
    faulty::failCall(Service::sqloInstancePath, 1);
    EXPECT_EQ(sqlpiBindPolicyPkg("kelpolicy.bnd", ca), -902);
    EXPECT_EQ(faulty::calls(Service::sqlabndx), 0U);
    // The longest path that is possible is handed over whole.
    const size_t before = (instance().path() + "/bnd/").size();
    EXPECT_EQ(sqlpiBindPolicyPkg(std::string(4095 - before, 'n').c_str(), ca), -902);
    EXPECT_EQ(faulty::calls(Service::sqlabndx), 2U);
}

TEST_F(PackageCheck, survivesEveryFailingCallOfTheRuntime) {
    ASSERT_EQ(check().result, 0);
    faulty::reset();
    check();
    const uint64_t calls = faulty::calls(Service::anyEmbeddedSql);
    ASSERT_EQ(calls, 6U) << "start, allocate, set, call for the open; start and call for the close";
    for (uint64_t call = 1; call <= calls; ++call) {
        for (const Duration duration : {Duration::once, Duration::forEver}) {
            faulty::reset();
            ASSERT_TRUE(faulty::failCall(Service::anyEmbeddedSql, call, duration, faulty::usualFailure, -4711));
            // How the cursor is closed says nothing about the package.
            EXPECT_EQ(check().result, call <= 4 ? -4711 : 0) << call;
            faulty::reset();
            sqlca ca = {};
            const int32_t next = sqlpiRunPolicyProbe(ca);
            EXPECT_EQ(next, call <= 4 ? 0 : -502) << call << ": a cursor that was not closed is still open";
            commit();
            EXPECT_EQ(check().result, 0) << call;
        }
    }
}

class PolicyStatements : public PackageCheck {
protected:
    PolicyStatements() { EXPECT_EQ(check().result, 0); }

    struct Selected {
        int32_t sqlcode;
        std::string bytes;
    };
    static Selected select(const char* query) {
        sqlpiBlock bytes(nullptr, sqlpiFreeBlock{"test"});
        int32_t length = -1;
        sqlca ca = {};
        const int32_t sqlcode = sqlpiRunPolicySelect(query, bytes, length, ca);
        EXPECT_EQ(sqlcode, ca.sqlcode);
        EXPECT_EQ(bytes != nullptr, sqlcode == 0);
        if (bytes == nullptr) {
            EXPECT_EQ(length, 0);
            return {sqlcode, ""};
        }
        EXPECT_EQ(bytes.get()[length], '\0');
        return {sqlcode, std::string(bytes.get(), static_cast<size_t>(length))};
    }

    static int32_t update(const std::string& document) {
        sqlca ca = {};
        EXPECT_EQ(sqlpiPreparePolicyUpdate(backupUpdate, ca), 0);
        const int32_t sqlcode = sqlpiExecutePolicyUpdate(document.data(), document.size(), ca);
        EXPECT_EQ(sqlcode, ca.sqlcode);
        if (sqlcode == 0) {
            EXPECT_EQ(ca.sqlerrd[2], 1);
        }
        return sqlcode;
    }
};

TEST_F(PolicyStatements, readBackWhatWasWrittenAtEverySize) {
    for (const size_t size : {size_t{0}, size_t{1}, size_t{2}, size_t{16383}, size_t{16384}, size_t{16385},
                              size_t{32768}, size_t{32769}, size_t{1'000'000}, size_t{2097151}, size_t{2097152}}) {
        std::string document(size, '\0');
        for (size_t i = 0; i < size; ++i) document[i] = static_cast<char>(i * 7 + i / 256);
        EXPECT_EQ(update(document), 0) << size;
        const Selected selected = select(backupQuery);
        EXPECT_EQ(selected.sqlcode, 0) << size;
        EXPECT_TRUE(selected.bytes == document) << size << ": " << selected.bytes.size();
    }
}

TEST_F(PolicyStatements, refuseADocumentThatNoColumnHolds) {
    const Selected before = select(backupQuery);
    EXPECT_EQ(update(std::string(2097153, 'x')), -433);
    EXPECT_EQ(select(backupQuery).bytes, before.bytes);
}

TEST_F(PolicyStatements, tellWhenThereIsNoRow) {
    services::remove(SQLPI_BACKUP_KEY);
    EXPECT_EQ(select(backupQuery).sqlcode, 100);
    EXPECT_EQ(update("document"), 100);
}

TEST_F(PolicyStatements, failAtTheStepThatIsWrong) {
    sqlca ca = {};
    EXPECT_EQ(select("SELECT POLICY FROM SYSTOOLS.ABSENT").sqlcode, -204);
    EXPECT_EQ(sqlpiPreparePolicyUpdate("UPDATE SYSTOOLS.ABSENT SET POLICY = ?", ca), -204);
    EXPECT_EQ(sqlpiExecutePolicyUpdate("x", 1, ca), -518) << "nothing is prepared";
    EXPECT_EQ(sqlpiPreparePolicyUpdate(nullptr, ca), -104);
    EXPECT_EQ(select("SELECT POLICY, NAME FROM SYSTOOLS.POLICY").sqlcode, -313) << "one column too many";
    EXPECT_EQ(select(backupQuery).sqlcode, 0) << "the cursor was closed";
}

TEST_F(PolicyStatements, useThePolicyOfTheFirstRow) {
    const std::string query = "SELECT POLICY FROM SYSTOOLS.POLICY ORDER BY NAME";
    const Selected first = select(query.c_str());
    EXPECT_EQ(first.sqlcode, 0);
    EXPECT_EQ(select(query.c_str()).bytes, first.bytes);
}

/* What a read does to its package when the document needs a second try with more room. */
struct Step {
    const char* name;
    uint64_t calls;  /* of the runtime */
    int32_t once;    /* the outcome when one of these fails */
    int32_t forEver; /* and when all later ones do */
};
constexpr Step steps[] = {
    {"prepare", 3, -4711, -4711},
    {"open", 2, -4711, -4711},
    {"fetch", 4, -4711, -4711},
    {"close", 2, -502, -4711},  // a cursor whose close failed cannot be opened for the second try
    {"open again", 2, -4711, -4711},
    {"fetch again", 4, -4711, -4711},
    {"close again", 2, 0, 0},  // the document has been read
};

TEST_F(PolicyStatements, surviveEveryFailingCall) {
    const std::string large(100'000, 'x');
    ASSERT_EQ(update(large), 0);
    const auto expectOutcome = [&](Service service, uint64_t call, Duration duration, int32_t outcome) {
        SCOPED_TRACE(std::string(faulty::serviceName(service)) + " " + std::to_string(call) +
                     (duration == Duration::once ? " once" : " and later"));
        faulty::reset();
        ASSERT_TRUE(faulty::failCall(service, call, duration, faulty::usualFailure, -4711));
        const Selected selected = select(backupQuery);
        EXPECT_GE(faulty::failures(service), 1U);
        EXPECT_EQ(selected.sqlcode, outcome);
        EXPECT_EQ(selected.bytes, outcome == 0 ? large : "");
        faulty::reset();
        commit();
        ASSERT_EQ(select(backupQuery).bytes, large) << "the next one finds all in order";
    };
    faulty::reset();
    ASSERT_EQ(select(backupQuery).bytes, large);
    const uint64_t calls = faulty::calls(Service::anyEmbeddedSql);
    const uint64_t allocations = faulty::calls(Service::anyMemory);
    ASSERT_EQ(allocations, 2U) << "one for each try";
    uint64_t call = 1;
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        for (const uint64_t end = call + step.calls; call < end; ++call) {
            expectOutcome(Service::anyEmbeddedSql, call, Duration::once, step.once);
            expectOutcome(Service::anyEmbeddedSql, call, Duration::forEver, step.forEver);
        }
    }
    EXPECT_EQ(call - 1, calls);
    for (uint64_t allocation = 1; allocation <= allocations; ++allocation)
        for (const Duration duration : {Duration::once, Duration::forEver})
            expectOutcome(Service::anyMemory, allocation, duration, -954);
}

}  // namespace
