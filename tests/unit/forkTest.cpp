/* A process whose threads are at work forks: its child can do what docs/porting.md says. */
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "endProcess.h"
#include "logs.h"
#include "parserSupport.h"
#include "sqlpiMaintWin.h"
#include "unit/validateSupport.h"

namespace {

class Fork : public services::DocumentTest {};

/* What a child may do; says whether the answers were right. */
bool doTheRound() {
    bool isRight = parseTree("<PolicyDocument><And>text</And></PolicyDocument>") != nullptr;
    isRight = parseTree("<!DOCTYPE PolicyDocument [<!ENTITY e 'x'>]><PolicyDocument>&e;<") == nullptr && isRight;
    for (const config::Type& type : config::types) {
        isRight = validated::validate(type.name, config::soundDocument(type.name)).status == 0 && isRight;
        isRight = validated::validate(type.name, "<!DOCTYPE x [<!ENTITY e 'x'>]><x/>").status != 0 && isRight;
    }
    sqlpiMaintWindowInfo info = {};
    OSSTime start = {};
    OSSTime end = {};
    sqlpiFindMaintWindow(&info, {1700000000, 0}, 1, &start, &end);
    pdLog(PD_INFO, "forkTest", 1, "a record");
    return isRight && kelhost::memoryTotal().blocks >= 0;
}

TEST_F(Fork, TheChildOfAProcessAtWorkDoesEverythingAgain) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "this sanitizer's allocator leaves its own locks held in the child";
#endif
    std::atomic<bool> isOver = false;
    std::atomic<int> rounds = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (; !isOver; ++rounds) doTheRound();
        });
    while (rounds < 4) std::this_thread::yield();
    for (int i = 0; i < 60 && !HasFailure(); ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            alarm(60);  // ends a child that hangs
            endProcess(doTheRound() ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status)) << "child " << i << " ended by signal " << WTERMSIG(status);
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : 0, 0) << "child " << i;
    }
    isOver = true;
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
