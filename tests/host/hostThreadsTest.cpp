// Any number of threads, each with an engine context of its own, work on one database at once.
#include <atomic>
#include <thread>

#include "host/callLevelClient.h"
#include "host/hostFixture.h"

namespace {

using hosttest::Client;
using hosttest::HostContext;
using hosttest::HostTest;
using hosttest::tokensOf;

class HostThreads : public HostTest {
protected:
    // Runs `work` on `count` threads, each with its own context bound.
    template <class Work>
    void onThreads(int count, Work work) {
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([this, i, &work] {
                const auto context = makeContext();
                context->bind();
                work(i, *context);
                context->unbind();
            });
        }
        for (std::thread& thread : threads) thread.join();
    }
};

TEST_F(HostThreads, EightThreadsCreateTheTableOnce) {
    onThreads(8, [](int, HostContext& context) {
        {
            Client client;
            if (client.verifyPolicyTable() != SQL_SUCCESS) {
                EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS) << tokensOf(client.ca());
            }
        }
        context.commit();
    });
    onThreads(1, [](int, HostContext&) {
        Client client;
        EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
    });
}

TEST_F(HostThreads, NoChangeIsLost) {
    onThreads(1, [](int, HostContext& context) {
        {
            Client client;
            ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
            ASSERT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET DECISION = '' WHERE NAME = 'DBBackupPolicy'"),
                      SQL_SUCCESS);
        }
        context.commit();
    });
    constexpr int rounds = 15;
    onThreads(8, [](int thread, HostContext& context) {
        for (int round = 0; round < rounds; ++round) {
            {
                // As the library does it: verify first, then read, then change.
                Client client;
                EXPECT_EQ(client.verifyPolicyTable(), SQL_SUCCESS);
                EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE NAME = 'DBBackupPolicy'").size(), 1U);
                EXPECT_EQ(
                    client.run("UPDATE SYSTOOLS.POLICY SET UPDATE_TIME = CURRENT TIMESTAMP, DECISION = DECISION || 'x' "
                               "WHERE NAME = 'DBBackupPolicy'"),
                    SQL_SUCCESS)
                    << tokensOf(client.ca());
                EXPECT_EQ(client.insert("t" + std::to_string(thread) + "." + std::to_string(round), "x"), SQL_SUCCESS)
                    << tokensOf(client.ca());
            }
            context.commit();
        }
    });
    onThreads(1, [](int, HostContext&) {
        Client client;
        EXPECT_EQ(client.rows("SELECT DECISION FROM SYSTOOLS.POLICY WHERE NAME = 'DBBackupPolicy'"),
                  std::vector<std::string>{std::string(8 * rounds, 'x')});
        EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED='M'").size(), size_t{8 * rounds});
    });
}

TEST_F(HostThreads, ReadersSeeWholeDocuments) {
    const std::string first(5000, 'a');
    const std::string second(70000, 'b');
    onThreads(1, [&](int, HostContext& context) {
        {
            Client client;
            ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
            ASSERT_EQ(client.insert("d", first), SQL_SUCCESS);
        }
        context.commit();
    });
    std::atomic<int> writing{2};
    onThreads(6, [&](int thread, HostContext& context) {
        if (thread >= 2) {
            while (writing > 0) {
                Client client;
                const std::string seen = client.document("d");
                EXPECT_TRUE(seen == first || seen == second) << seen.size();
            }
            return;
        }
        for (int round = 0; round < 25; ++round) {
            {
                Client client;
                EXPECT_EQ(
                    SQLPrepare(client.stmt, hosttest::chars("UPDATE SYSTOOLS.POLICY SET POLICY = ? WHERE NAME = 'd'"),
                               SQL_NTS),
                    SQL_SUCCESS);
                EXPECT_EQ(client.bindAndExecute(round % 2 == 0 ? second : first), SQL_SUCCESS) << tokensOf(client.ca());
            }
            round % 5 == 4 ? context.rollback() : context.commit();
        }
        --writing;
    });
}

TEST_F(HostThreads, WaitingForAnotherUnitOfWorkEndsWithATimeout) {
    onThreads(1, [this](int, HostContext& context) {
        {
            Client client;
            ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
        }
        context.commit();
        Client client;
        ASSERT_EQ(client.insert("held", "x"), SQL_SUCCESS);
        for (const auto atOnce : {std::chrono::milliseconds(0), std::chrono::milliseconds(-1)}) {
            const auto hasty = makeContext(atOnce);
            hasty->bind();
            Client waiting;
            EXPECT_EQ(waiting.insert("held", "x"), SQL_ERROR) << atOnce.count() << " ms is not for ever";
            EXPECT_EQ(waiting.state(), "40001");
            hasty->unbind();
        }
        const auto other = makeContext(std::chrono::milliseconds(50));
        other->bind();
        {
            Client waiting;
            EXPECT_EQ(waiting.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED='M'").size(), 0U)
                << "reading does not wait";
            EXPECT_EQ(waiting.insert("held", "x"), SQL_ERROR);
            EXPECT_EQ(waiting.ca().sqlcode, -911);
            EXPECT_EQ(waiting.state(), "40001");
            EXPECT_EQ(waiting.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U)
                << "the unit of work is still usable";
        }
        context.commit();
        {
            Client waiting;
            EXPECT_EQ(waiting.insert("waits", "x"), SQL_SUCCESS) << tokensOf(waiting.ca());
        }
        other->commit();
        other->unbind();
        EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED='M' ORDER BY NAME"),
                  (std::vector<std::string>{"held", "waits"}));
    });
}

TEST_F(HostThreads, HandlesOfManyThreadsDoNotMeet) {
    onThreads(8, [](int thread, HostContext&) {
        for (int round = 0; round < 200; ++round) {
            Client client;
            EXPECT_EQ(client.rows("SELECT " + std::to_string(thread)),
                      std::vector<std::string>{std::to_string(thread)});
        }
    });
}

}  // namespace
