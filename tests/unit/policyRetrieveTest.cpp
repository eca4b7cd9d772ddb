/* Policy rows as an open result set, and the validation function. */
#include <functional>

#include "faulty.h"
#include "sqlpiPolicySp.h"
#include "trace.h"
#include "unit/configSupport.h"

namespace {

using config::Argument;
using config::pointer;
using faulty::Service;

using Rows = std::vector<std::vector<std::string>>;

std::string column(SQLHSTMT statement, SQLUSMALLINT number) {
    std::string value(100'000, '\0');
    SQLLEN length = 0;
    EXPECT_EQ(SQLGetData(statement, number, SQL_C_BINARY, value.data(), static_cast<SQLLEN>(value.size()), &length),
              SQL_SUCCESS);
    value.resize(static_cast<size_t>(length));
    return value;
}

class PolicyRetrieve : public services::EngineTest {
protected:
    PolicyRetrieve() {
        services::execute("DELETE FROM SYSTOOLS.POLICY");
        for (const char* const key : {"A", "B"})
            for (const char* const name : {"N1", "N2"}) services::store({key, "D", name}, std::string(key) + name);
    }

    /* Calls with area and takes the result set over; reads at most `most` rows. */
    static Rows retrieve(const Argument& med, const Argument& decision, const Argument& name,
                         const std::vector<int16_t>& nulls = {0, 0, 0}, size_t most = 100) {
        sqlca ca;
        std::memset(&ca, 0x2A, sizeof ca);
        kelPolicyRetrieve(pointer(med), pointer(decision), pointer(name), nulls.empty() ? nullptr : nulls.data(), &ca);
        const sqlca clear = {};
        EXPECT_EQ(std::memcmp(&ca, &clear, sizeof ca), 0) << ca.sqlcode;
        EXPECT_EQ(kelhost::openHandles(), (kelhost::HandleCounts{0, 0, 1}));
        const auto open = kelhost::EngineContext::current()->openResults();
        EXPECT_EQ(open.size(), 1u);
        Rows rows;
        if (open.empty()) return rows;
        while (rows.size() < most && SQLFetch(open[0]) == SQL_SUCCESS)
            rows.push_back({column(open[0], 1), column(open[0], 2), column(open[0], 3), column(open[0], 4)});
        SQLFreeHandle(SQL_HANDLE_STMT, open[0]);
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
        std::sort(rows.begin(), rows.end());
        return rows;
    }
};

const Rows allRows = {
    {"A", "D", "N1", "AN1"}, {"A", "D", "N2", "AN2"}, {"B", "D", "N1", "BN1"}, {"B", "D", "N2", "BN2"}};

TEST_F(PolicyRetrieve, SelectsByAnyOfTheKeys) {
    const struct {
        const char* what;
        Argument med;
        Argument decision;
        Argument name;
        std::vector<int16_t> nulls;
        Rows rows;
    } cases[] = {
        {"null pointers", {}, {}, {}, {0, 0, 0}, allRows},
        {"empty texts", "", "", "", {0, 0, 0}, allRows},
        {"null by indicator", "A", "X", "N1", {-1, -1, -1}, allRows},
        {"any negative indicator", "A", "X", "N1", {-1, -2, -32768}, allRows},
        {"no indicators", "A", {}, {}, {}, {allRows[0], allRows[1]}},
        {"MED", "A", {}, {}, {0, 0, 0}, {allRows[0], allRows[1]}},
        {"DECISION", {}, "D", {}, {0, 0, 0}, allRows},
        {"NAME only", {}, {}, "N2", {0, 0, 0}, {allRows[1], allRows[3]}},
        {"MED and NAME", "B", "x", "N1", {0, -1, 0}, {allRows[2]}},
        {"all three", "B", "D", "N1", {0, 0, 0}, {allRows[2]}},
        {"no such row", "C", {}, {}, {0, 0, 0}, {}},
    };
    for (const auto& select : cases) {
        SCOPED_TRACE(select.what);
        EXPECT_EQ(retrieve(select.med, select.decision, select.name, select.nulls), select.rows);
    }
}

TEST_F(PolicyRetrieve, NothingLeaksWhenTheReaderStopsEarly) {
    EXPECT_EQ(retrieve({}, {}, {}, {0, 0, 0}, 1).size(), 1u);
    EXPECT_EQ(retrieve({}, {}, {}, {0, 0, 0}, 0).size(), 0u);
}

TEST_F(PolicyRetrieve, KeysGoIntoTheStatementAsTheyStand) {
    EXPECT_EQ(retrieve("A' OR MED='B", {}, {}), allRows);
    sqlca ca;
    kelPolicyRetrieve("it's", nullptr, nullptr, nullptr, &ca);
    EXPECT_LT(ca.sqlcode, 0);
    EXPECT_EQ(std::string(ca.sqlstate, 2), "42");
}

TEST_F(PolicyRetrieve, AKeyCanReadMoreThanItsRowsButReachesNothingElse) {
    const struct {
        const char* name;
        int32_t sqlcode;
        const char* token;
    } cases[] = {
        {"' UNION SELECT 'a','b',load_extension('/nowhere/x.so'),'' --", -551,
         "function \"load_extension\" may not be called here"},
        {"' UNION SELECT 'a','b',\"blob_import\" ('/etc/passwd'),'' --", -551,
         "function \"blob_import\" may not be called here"},
        {"' UNION SELECT 1,2,file,'' FROM pragma_database_list --", -551,
         "\"pragma_database_list\" is the database's own"},
        {"'; DELETE FROM SYSTOOLS.POLICY --", -104, "more than one statement in one text"},
    };
    for (const auto& [name, sqlcode, token] : cases) {
        sqlca ca;
        kelPolicyRetrieve(nullptr, nullptr, name, nullptr, &ca);
        EXPECT_EQ(ca.sqlcode, sqlcode) << name;
        EXPECT_EQ(config::tokensOf(ca), std::vector<std::string>{token});
    }
    EXPECT_EQ(retrieve({}, {}, {}), allRows);
}

TEST_F(PolicyRetrieve, AQueryThatDoesNotFitIsRefused) {
    // "SELECT ... POLICY " has 56 bytes, "WHERE MED='' " 13, and the terminator takes one.
    const std::string fits(2048 - 56 - 13 - 1, 'k');
    EXPECT_EQ(retrieve(fits, {}, {}), Rows{});
    const struct {
        std::string med;
        std::string decision;
        std::string name;
        const char* position;
    } cases[] = {
        {fits + "k", "", "", "1"}, {"A", fits, "", "2"}, {"A", "D", fits, "3"}, {"", "", std::string(5000, 'n'), "3"}};
    for (const auto& [med, decision, name, position] : cases) {
        sqlca ca;
        std::memset(&ca, 0x2A, sizeof ca);
        kelPolicyRetrieve(med.c_str(), decision.c_str(), name.c_str(), nullptr, &ca);
        EXPECT_EQ(ca.sqlcode, -171);
        EXPECT_EQ(std::string(ca.sqlstate, sizeof ca.sqlstate), "5U0ZZ");
        EXPECT_EQ(config::tokensOf(ca), (std::vector<std::string>{position, "kelPolicyRetrieve"}));
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
    }
}

TEST_F(PolicyRetrieve, WithoutAnAreaNothingIsExecuted) {
    const faulty::Scope scope;
    kelPolicyRetrieve("A", "D", "N1", nullptr, nullptr);
    EXPECT_EQ(faulty::calls(Service::SQLAllocHandle), 0U);
    EXPECT_TRUE(kelhost::EngineContext::current()->openResults().empty());
}

TEST_F(PolicyRetrieve, EachStepThatFailsIsReportedAndCleanedUp) {
    const struct {
        Service service;
        uint64_t call;
    } cases[] = {{Service::SQLAllocHandle, 1},
                 {Service::SQLAllocHandle, 2},
                 {Service::SQLConnect, 1},
                 {Service::SQLAllocHandle, 3},
                 {Service::SQLExecDirect, 1}};
    for (const auto& [service, call] : cases) {
        SCOPED_TRACE(std::string(faulty::serviceName(service)) + " " + std::to_string(call));
        const faulty::Scope scope;
        faulty::failCall(service, call, faulty::Duration::once, faulty::usualFailure, -901);
        sqlca ca = {};
        kelPolicyRetrieve(nullptr, nullptr, nullptr, nullptr, &ca);
        // Without any handle there is nothing that could report.
        EXPECT_EQ(ca.sqlcode, service == Service::SQLAllocHandle && call == 1 ? -99999 : -901);
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
    }
    EXPECT_TRUE(takeDiagnosticLog().empty());
}

TEST_F(PolicyRetrieve, EachStepTracesItsOwnProbe) {
    kelhost::setTraceFlags(PDT_FLAG_DATA);
    for (const auto& [service, probe] : {std::pair{Service::SQLConnect, 10U}, {Service::SQLExecDirect, 20U}}) {
        const faulty::Scope scope;
        clearLogs();
        faulty::failCall(service, 1, faulty::Duration::once, faulty::usualFailure, -901);
        sqlca ca = {};
        kelPolicyRetrieve(nullptr, nullptr, nullptr, nullptr, &ca);
        const auto records = recordsOf(kelhost::LogKind::trace);
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].probe, probe);
        EXPECT_EQ(records[0].code, -901);
    }
    kelhost::setTraceFlags(0);
}

TEST_F(PolicyRetrieve, AReleaseThatFailsTakesTheResultSetFromNobody) {
    const std::pair<Service, uint64_t> releases[] = {
        {Service::SQLDisconnect, 1}, {Service::SQLFreeHandle, 1}, {Service::SQLFreeHandle, 2}};
    for (const auto& [service, call] : releases) {
        SCOPED_TRACE(std::string(faulty::serviceName(service)) + " " + std::to_string(call));
        const faulty::Scope scope;
        faulty::failCall(service, call);
        EXPECT_EQ(retrieve("A", {}, {}), (Rows{allRows[0], allRows[1]}));
        EXPECT_EQ(faulty::failures(service), 1U);
    }
}

TEST_F(PolicyRetrieve, TakesNoMemoryOfTheEngine) {
    const faulty::Scope scope;
    faulty::failCall(Service::anyMemory, 1, faulty::Duration::forEver);
    EXPECT_EQ(retrieve({}, {}, {}), allRows);
    EXPECT_EQ(faulty::calls(Service::anyMemory), 0U);
}

TEST_F(PolicyRetrieve, AMissingTableIsReported) {
    services::administer("DROP TABLE SYSTOOLS.POLICY");
    sqlca ca = {};
    kelPolicyRetrieve(nullptr, nullptr, nullptr, nullptr, &ca);
    EXPECT_LT(ca.sqlcode, 0);
    EXPECT_TRUE(kelhost::EngineContext::current()->openResults().empty());
}

TEST(PolicyValidate, AcceptsEveryCall) {
    EXPECT_EQ(kelPolicyValidateUdf(1), 0);
    EXPECT_EQ(kelPolicyValidateUdf("x", 2, 3.0, nullptr), 0);
}

}  // namespace
