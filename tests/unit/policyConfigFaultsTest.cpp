/* Getting and setting policies while the engine fails: each call of each service, once and from then on. */
#include <algorithm>
#include <chrono>
#include <functional>
#include <numeric>
#include <sstream>
#include <thread>

#include "faulty.h"
#include "unit/configSupport.h"

namespace {

using config::Outcome;
using faulty::Duration;
using faulty::Service;

/* A procedure with what it starts from, and what it changes or answers: a row, a file, a document. */
struct Procedure {
    const char* name;
    std::function<void()> prepare;
    std::function<Outcome()> call;
    std::function<std::string(const Outcome&)> result;
};

constexpr Service failingServices[] = {Service::sqlogmblkEx,
                                       Service::ossMemAlloc,
                                       Service::SQLAllocHandle,
                                       Service::SQLSetConnectAttr,
                                       Service::SQLConnect,
                                       Service::SQLPrepare,
                                       Service::SQLExecute,
                                       Service::SQLExecDirect,
                                       Service::SQLFetch,
                                       Service::SQLGetData,
                                       Service::SQLBindParameter,
                                       Service::SQLFreeHandle,
                                       Service::SQLDisconnect,
                                       Service::ossFileOpen,
                                       Service::ossFileOpenBelow,
                                       Service::ossFileRead,
                                       Service::ossFileWrite,
                                       Service::ossFileSize,
                                       Service::ossFileClose,
                                       Service::ossFileCommit,
                                       Service::ossDirectoryCreateBelow,
                                       Service::ossPathExists,
                                       Service::ossIsDirectory,
                                       Service::ossDirectoryCreate,
                                       Service::ossBaseName,
                                       Service::ossDirectoryName,
                                       Service::sqloInstancePath,
                                       Service::isSharedLibInitSuccess,
                                       Service::sqlaintp_api};

class PolicyConfigFaults : public config::ProceduresTest {
protected:
    std::string outputFile() const { return tmp("out/p.xml"); }

    std::vector<Procedure> procedures(const config::Type& type) const {
        const std::string before = *services::stored(type.key);
        const auto setRow = [type, before] {
            if (services::stored(type.key) != before) return;
            ASSERT_TRUE(config::setDocument(type.name, config::soundDocument(type.name)).isDone());
        };
        const auto removeFile = [this] { std::filesystem::remove_all(tmp("out")); };
        const auto file = [this](const Outcome&) { return filesBelow(tmp("out")) + config::readWhole(outputFile()); };
        const auto get = [type] { return config::getFile(type.name, "out/p.xml"); };
        const auto restoreRow = [type, before] {
            if (services::stored(type.key) != before) services::store(type.key, before);
        };
        const auto row = [type](const Outcome&) { return *services::stored(type.key); };
        return {
            {"set document", restoreRow,
             [type] { return config::setDocument(type.name, config::soundDocument(type.name)); }, row},
            {"set file", restoreRow, [type] { return config::setFile(type.name, "in.xml"); }, row},
            {"get document", setRow, [type] { return config::getDocument(type.name); },
             [](const Outcome& outcome) { return outcome.document; }},
            {"get new file", removeFile, get, file},
            {"replace file", [this] { config::writeWhole(outputFile(), "old"); }, get, file},
        };
    }

    /* The names of the files there, one line each. */
    static std::string filesBelow(const std::string& directory) {
        std::vector<std::string> names;
        if (std::filesystem::exists(directory))
            for (const auto& entry : std::filesystem::directory_iterator(directory))
                names.push_back(entry.path().filename().string() + "\n");
        std::sort(names.begin(), names.end());
        return std::accumulate(names.begin(), names.end(), std::string());
    }

    /* Whatever fails: a procedure that says it is done has done what it does when nothing fails; one that failed says
     * why and changed nothing; and nothing is left over. False when the call was not reached. */
    bool tryFailing(const Procedure& procedure, const std::string& before, const std::string& after, Service service) {
        const int64_t blocks = kelhost::memoryTotal().blocks;
        const Outcome outcome = procedure.call();
        const bool reached = faulty::failures(Service::any) > 0;
        faulty::reset();
        EXPECT_EQ(kelhost::memoryTotal().blocks, blocks) << kelhost::describeMemoryInUse();
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
        const std::string result = procedure.result(outcome);
        EXPECT_EQ(result, outcome.isDone() ? after : before) << outcome;
        if (!outcome.isDone()) {
            EXPECT_TRUE(reached);
            EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
            EXPECT_NE(outcome.sqlcode, 0) << outcome;
            // The call level's own SQLCODE comes through; without any handle there is nothing that could report one.
            const bool isCallLevel = service >= Service::SQLAllocHandle && service <= Service::SQLGetData;
            EXPECT_TRUE(!isCallLevel || outcome.sqlcode == -901 || outcome.sqlcode == -99999) << outcome;
            EXPECT_TRUE(outcome.sqlstate.size() == 5 && outcome.sqlstate != "00000") << outcome;
        }
        return reached;
    }

    int tried_ = 0;

    void tryEveryCall(const Procedure& procedure) {
        procedure.prepare();
        const std::string before = procedure.result({});
        const Outcome faultless = procedure.call();
        ASSERT_TRUE(faultless.isDone()) << faultless;
        const std::string after = procedure.result(faultless);
        ASSERT_NE(after, before);
        for (const Service service : failingServices) {
            for (const Duration duration : {Duration::once, Duration::forEver}) {
                for (uint64_t call = 1;; ++call) {
                    SCOPED_TRACE(std::string(procedure.name) + ", " + faulty::serviceName(service) + " call " +
                                 std::to_string(call) + (duration == Duration::once ? " once" : " and later"));
                    procedure.prepare();
                    clearLogs();
                    faulty::reset();
                    ASSERT_TRUE(faulty::failCall(service, call, duration));
                    if (!tryFailing(procedure, before, after, service) || HasFailure()) break;
                    ++tried_;
                }
            }
        }
        procedure.prepare();
    }
};

TEST_F(PolicyConfigFaults, EveryCallOfEveryServiceMayFail) {
    for (const config::Type& type : config::types) {
        SCOPED_TRACE(type.name);
        config::writeWhole(tmp("in.xml"), config::soundDocument(type.name));
        for (const Procedure& procedure : procedures(type)) tryEveryCall(procedure);
    }
    EXPECT_GT(tried_, 1000);  // else the calls were not reached
    RecordProperty("failures", tried_);
}

/* The real table, read by threads while others set: every answer is one of the two policies that there ever were, and
 * what was set last stays. */
TEST_F(PolicyConfigFaults, AnyNumberOfThreadsGetAndSetAtOnce) {
    struct Both {
        std::string unset, set; /* as a get gives them */
        std::string row;        /* as it is stored after the set */
    };
    std::vector<Both> policies;
    for (const config::Type& type : config::types) {
        Both both;
        both.unset = config::getDocument(type.name).document;
        ASSERT_TRUE(config::setDocument(type.name, config::soundDocument(type.name)).isDone());
        both.set = config::getDocument(type.name).document;
        both.row = *services::stored(type.key);
        ASSERT_NE(both.unset, both.set) << type.name;
        policies.push_back(both);
    }
    kelhost::EngineContext::current()->rollback();

    const std::string directory = instance().path();
    std::vector<std::string> strange(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < strange.size(); ++i) {
        threads.emplace_back([&, i] {
            kelhost::EngineContext context(kelhost::Instance::open(directory), {.lockTimeout = std::chrono::hours(1)});
            const kelhost::EngineContext::Scope scope(context);
            const std::string name = "thread" + std::to_string(i) + "/p.xml";
            for (size_t round = 0; round < 10; ++round) {
                const size_t which = (i + round) % std::size(config::types);
                const config::Type& type = config::types[which];
                const bool sets = (i + round) % 3 == 0;
                const Outcome outcome = sets ? config::setDocument(type.name, config::soundDocument(type.name))
                                             : config::getFile(type.name, name);
                const std::string seen = sets ? config::getDocument(type.name).document : config::readWhole(tmp(name));
                context.commit();
                if (outcome.isDone() && (seen == policies[which].set || (!sets && seen == policies[which].unset)))
                    continue;
                std::ostringstream text;
                text << type.name << (sets ? " set " : " get ") << outcome << ": " << seen;
                strange[i] = text.str();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(strange, std::vector<std::string>(strange.size()));
    for (size_t i = 0; i < std::size(config::types); ++i)
        EXPECT_EQ(services::stored(config::types[i].key), policies[i].row) << config::types[i].name;
}

}  // namespace
