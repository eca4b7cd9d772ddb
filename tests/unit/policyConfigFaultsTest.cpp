/* Getting and setting policies while the engine fails: each call of each service, once and from then on. */
#include <functional>
#include <sstream>
#include <thread>

#include "faulty.h"
#include "unit/configSupport.h"

namespace {

using config::Outcome;
using faulty::Duration;
using faulty::Service;

struct Procedure {
    const char* name;
    std::function<Outcome()> call;
};

std::vector<Procedure> procedures(const config::Type& type) {
    const std::string name = type.name;
    return {
        {"get document", [name] { return config::getDocument(name); }},
        {"get file", [name] { return config::getFile(name, "out/p.xml"); }},
        {"set document", [name] { return config::setDocument(name, config::soundDocument(name)); }},
        {"set file", [name] { return config::setFile(name, "in.xml"); }},
    };
}

constexpr Service failingServices[] = {
    Service::sqlogmblkEx,   Service::ossMemAlloc,      Service::SQLAllocHandle,      Service::SQLSetConnectAttr,
    Service::SQLConnect,    Service::SQLPrepare,       Service::SQLExecute,          Service::SQLExecDirect,
    Service::SQLFetch,      Service::SQLGetData,       Service::SQLBindParameter,    Service::SQLFreeHandle,
    Service::SQLDisconnect, Service::ossFileOpen,      Service::ossFileCreateUnique, Service::ossFileRead,
    Service::ossFileWrite,  Service::ossFileSize,      Service::ossFileClose,        Service::ossFileRename,
    Service::ossFileDelete, Service::ossPathExists,    Service::ossIsDirectory,      Service::ossDirectoryCreate,
    Service::ossBaseName,   Service::ossDirectoryName, Service::sqloInstancePath,    Service::isSharedLibInitSuccess,
    Service::sqlaintp_api};

class PolicyConfigFaults : public config::ProceduresTest {
protected:
    /* Whatever fails: a procedure that says it is done has done it; one that failed says why and changed nothing; and
     * nothing is left over. False when the call was not reached. */
    static bool tryFailing(const Procedure& procedure, const config::Type& type, const std::string& before,
                           Service service) {
        const int64_t blocks = kelhost::memoryTotal().blocks;
        const Outcome outcome = procedure.call();
        const bool reached = faulty::failures(Service::any) > 0;
        faulty::reset();
        EXPECT_EQ(kelhost::memoryTotal().blocks, blocks) << kelhost::describeMemoryInUse();
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
        if (!outcome.isDone()) {
            EXPECT_TRUE(reached);
            EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
            EXPECT_NE(outcome.sqlcode, 0) << outcome;
            // The call level's own SQLCODE comes through; without any handle there is nothing that could report one.
            const bool isCallLevel = service >= Service::SQLAllocHandle && service <= Service::SQLGetData;
            EXPECT_TRUE(!isCallLevel || outcome.sqlcode == -901 || outcome.sqlcode == -99999) << outcome;
            EXPECT_TRUE(outcome.sqlstate.size() == 5 && outcome.sqlstate != "00000") << outcome;
            EXPECT_EQ(config::storedText(type), before);
        } else if (config::storedText(type) != before) {
            services::store(type.key, before);
        }
        return reached;
    }

    int tried_ = 0;

    void tryEveryCall(const Procedure& procedure, const config::Type& type, const std::string& before,
                      Service service) {
        for (const Duration duration : {Duration::once, Duration::forEver}) {
            for (uint64_t call = 1;; ++call) {
                SCOPED_TRACE(std::string(type.name) + ", " + procedure.name + ", " + faulty::serviceName(service) +
                             " call " + std::to_string(call) + (duration == Duration::once ? " once" : " and later"));
                faulty::reset();
                ASSERT_TRUE(faulty::failCall(service, call, duration));
                if (!tryFailing(procedure, type, before, service) || HasFailure()) break;
                ++tried_;
                clearLogs();
            }
        }
    }
};

TEST_F(PolicyConfigFaults, EveryCallOfEveryServiceMayFail) {
    for (const config::Type& type : config::types) {
        config::writeWhole(tmp("in.xml"), config::soundDocument(type.name));
        const std::string before = *config::storedText(type);
        for (const Procedure& procedure : procedures(type))
            for (const Service service : failingServices) tryEveryCall(procedure, type, before, service);
    }
    EXPECT_GT(tried_, 1000);  // else the calls were not reached
    RecordProperty("failures", tried_);
}

/* The real table, read by a thread while others set and get: every answer is one of the policies that were set. */
TEST_F(PolicyConfigFaults, AnyNumberOfThreadsGetAndSetAtOnce) {
    const std::string directory = instance().path();
    std::vector<std::string> strange(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < strange.size(); ++i) {
        threads.emplace_back([&directory, &strange, i] {
            kelhost::EngineContext context(kelhost::Instance::open(directory));
            const kelhost::EngineContext::Scope scope(context);
            for (int round = 0; round < 10; ++round) {
                const config::Type& type = config::types[(i + static_cast<size_t>(round)) % std::size(config::types)];
                const bool sets = (i + static_cast<size_t>(round)) % 3 == 0;
                const Outcome outcome = sets ? config::setDocument(type.name, config::soundDocument(type.name))
                                             : config::getFile(type.name, "thread" + std::to_string(i) + "/p.xml");
                context.commit();
                std::ostringstream text;
                text << type.name << (sets ? " set " : " get ") << outcome;
                if (!outcome.isDone()) strange[i] = text.str();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(strange, std::vector<std::string>(strange.size()));
}

}  // namespace
