/* Where the check of the policy table traces the step that fails. */
#include "faulty.h"
#include "sqlpiPolicyUtil.h"
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

}  // namespace
