/* Where the checks of the policy table and of the package trace and log the step that fails. */
#include "configuration/sqlpiPolicyPackage.h"
#include "faulty.h"
#include "services/sqlpiPolicyTable.h"
#include "trace.h"
#include "unit/servicesSupport.h"

namespace {

using faulty::Service;

class PolicyUtilProbes : public services::EngineTest {
protected:
    PolicyUtilProbes() { kelhost::setTraceFlags(PDT_FLAG_DATA); }
    ~PolicyUtilProbes() override { kelhost::setTraceFlags(0); }

    /* The probes of the errors that the check traces; each carries the call's return code. */
    std::vector<uint32_t> probesOf(bool create) {
        clearLogs();
        sqlca ca = {};
        EXPECT_NE(sqlpiCheckPolicyTable(create, ca), 0);
        std::vector<uint32_t> probes;
        for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::trace)) {
            EXPECT_EQ(record.function, "sqlpiCheckPolicyTable");
            EXPECT_EQ(record.code, SQL_ERROR);
            probes.push_back(record.probe);
        }
        return probes;
    }
};

TEST_F(PolicyUtilProbes, EachStepHasItsOwn) {
    const struct {
        Service service;
        uint64_t call;
        uint32_t probe;
    } steps[] = {{Service::SQLAllocHandle, 1, 10},    {Service::SQLAllocHandle, 2, 20},
                 {Service::SQLSetConnectAttr, 1, 30}, {Service::SQLConnect, 1, 40},
                 {Service::SQLAllocHandle, 3, 50},    {Service::SQLPrepare, 1, 60},
                 {Service::SQLExecute, 1, 70}};
    for (const auto& step : steps) {
        const faulty::Scope scope;
        faulty::failCall(step.service, step.call);
        EXPECT_EQ(probesOf(false), std::vector<uint32_t>{step.probe}) << faulty::serviceName(step.service);
    }
}

TEST_F(PolicyUtilProbes, SoHaveTheStepsThatCreateTheTable) {
    for (const auto& [service, call, probe] :
         {std::tuple{Service::SQLAllocHandle, 4, 80U}, {Service::SQLExecDirect, 1, 90U}}) {
        const faulty::Scope scope;
        faulty::failCall(Service::SQLExecute, 1);
        faulty::failCall(service, static_cast<uint64_t>(call));
        EXPECT_EQ(probesOf(true), (std::vector<uint32_t>{70, probe})) << faulty::serviceName(service);
    }
}

TEST_F(PolicyUtilProbes, ThePackageHasItsOwn) {
    using Records = std::vector<std::string>;
    sqlca ca = {};
    ASSERT_EQ(sqlpiCheckPolicyPkgBind(ca), 0);  // the first use binds
    const auto check = [&](int32_t probed, int32_t bound, int32_t wanted) {
        const faulty::Scope scope;
        clearLogs();
        faulty::failCall(Service::sqlacall, 1, faulty::Duration::once, faulty::usualFailure, probed);
        if (bound != 0) faulty::failCall(Service::sqlabndx, 1, faulty::Duration::forEver, faulty::usualFailure, bound);
        EXPECT_EQ(sqlpiCheckPolicyPkgBind(ca), wanted);
        Records records;
        for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::diagnostic))
            records.push_back("log " + std::to_string(record.probe));
        for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::trace))
            records.push_back(record.function + " " + std::to_string(record.probe) + " " + std::to_string(record.code));
        return records;
    };
    EXPECT_EQ(check(-911, 0, -911), (Records{"sqlpiCheckPolicyPkgBind 10 -911"}));
    EXPECT_EQ(check(-818, 0, 0), (Records{"log 20", "log 30", "sqlpiCheckPolicyPkgBind 10 -818"}));
    EXPECT_EQ(check(-805, 25, 0), (Records{"log 20", "log 30", "sqlpiCheckPolicyPkgBind 10 -805"}));
    EXPECT_EQ(check(-551, -902, -902),
              (Records{"log 20", "log 30", "sqlpiCheckPolicyPkgBind 10 -551", "sqlpiBindPolicyPkg 20 -902"}));
    EXPECT_EQ(check(-818, -964, -964), (Records{"log 20", "log 30", "sqlpiCheckPolicyPkgBind 10 -818"}));
    faulty::failCall(Service::sqlacall, 1, faulty::Duration::once, faulty::usualFailure, -818);
    faulty::failCall(Service::sqloInstancePath, 1);
    clearLogs();
    EXPECT_NE(sqlpiCheckPolicyPkgBind(ca), 0);
    ASSERT_EQ(recordsOf(kelhost::LogKind::trace).size(), 2U);
    EXPECT_EQ(recordsOf(kelhost::LogKind::trace)[1].probe, 10U);
    faulty::reset();
}

}  // namespace
