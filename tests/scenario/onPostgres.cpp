// The command line on a server: commands that answer need no right to write there, and changes at the same time end.
#include <chrono>
#include <cstdlib>
#include <future>
#include <thread>

#include "configurationScenario.h"

namespace scenario {
namespace {

using nlohmann::json;

std::string fromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

class OnPostgres : public ConfigurationScenario {
protected:
    OnPostgres() {
        if (main_.empty() || standby_.empty()) throw std::runtime_error("tests/host/with-postgres runs this");
        sql({"DROP SCHEMA IF EXISTS SYSTOOLS CASCADE"});
    }

    Outcome on(const std::string& connection, std::vector<std::string> words, const std::string& input = {}) const {
        words.insert(words.end(), {"--database", connection});
        return run(words, {.input = input});
    }
    Outcome onMain(std::vector<std::string> words, const std::string& input = {}) const {
        return on(main_, std::move(words), input);
    }

    void sql(const std::vector<std::string>& statements) const {
        kelhost::EngineContext context(kelhost::Instance::create(file("other")), {.connection = main_});
        const kelhost::EngineContext::Scope bound(context);
        for (const std::string& statement : statements) context.administer(statement);
        context.commit();
    }

    /* What a query of the server's own tables answers, which a context does not let through. */
    std::string ask(const std::string& query) const {
        const std::string key = "Servername=";
        const size_t from = main_.find(key) + key.size();
        const Outcome outcome = runProgram({"/usr/bin/psql", "-h", main_.substr(from, main_.find(';', from) - from),
                                            "-U", "kel", "-d", "postgres", "-Atc", query});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    }

    void expectAnswers(const std::string& connection) const {
        for (const std::vector<std::string>& command : {std::vector<std::string>{"describe"},
                                                        {"show", "backup"},
                                                        {"show", "windows"},
                                                        {"window", "status"},
                                                        {"get", "windows"},
                                                        {"get", "reorg"},
                                                        {"retrieve"},
                                                        {"dump", file("dumped")}}) {
            const Outcome outcome = on(connection, command);
            EXPECT_EQ(outcome.status, 0) << command.back() << ": " << outcome.err;
        }
    }

    const std::string main_ = fromEnvironment("KELPOLICY_TEST_CONNECTION");
    const std::string standby_ = fromEnvironment("KELPOLICY_TEST_STANDBY");
};

TEST_F(OnPostgres, makesNoTableToAnswer) {
    ASSERT_EQ(run({"init"}).status, 0);
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"describe"}, {"window", "status", "--check"}, {"get", "backup"}, {"retrieve"}}) {
        const Outcome outcome = onMain(command);
        EXPECT_EQ(outcome.status, 1) << command.front();
        EXPECT_NE(outcome.err.find("there is no policy table SYSTOOLS.POLICY in the database \"postgres\""),
                  std::string::npos)
            << outcome.err;
    }
    EXPECT_EQ(ask("SELECT count(*) FROM pg_namespace WHERE nspname = 'systools'"), "0\n");
}

TEST_F(OnPostgres, answersAUserWhoMayOnlyRead) {
    ASSERT_EQ(onMain({"init"}).status, 0);
    sql({"DROP TABLE SYSTOOLS.PACKAGE", "CREATE ROLE reader LOGIN", "GRANT USAGE ON SCHEMA SYSTOOLS TO reader",
         "GRANT SELECT ON SYSTOOLS.POLICY TO reader"});
    std::string reader = main_;
    const std::string owner = "Username=kel";
    ASSERT_NE(reader.find(owner), std::string::npos) << reader;
    expectAnswers(reader.replace(reader.find(owner), owner.size(), "Username=reader"));
    sql({"DROP SCHEMA SYSTOOLS CASCADE", "DROP OWNED BY reader", "DROP ROLE reader"});
}

TEST_F(OnPostgres, answersOnAStandby) {
    ASSERT_EQ(onMain({"init"}).status, 0);
    sql({"UPDATE SYSTOOLS.PACKAGE SET TOKEN = '0123456789ABCDEF'"});  // another version's
    while (on(standby_, {"get", "windows"}).status != 0)              // it follows in its own time
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    expectAnswers(standby_);
    const Outcome change =
        on(standby_, {"install", "delete", "--med", "KELCommonMED", "--name", "CommonPolicy", "--yes"});
    EXPECT_EQ(change.status, 1);
    EXPECT_NE(change.err.find("on the primary server where this one is its standby"), std::string::npos) << change.err;
}

/* The first row by its key is the last that the table holds, where a change of the whole table would find it. A load
 * that waits for it must hold no other. */
TEST_F(OnPostgres, aLoadHoldsRowsInTheOrderOfTheirKeys) {
    ASSERT_EQ(onMain({"init"}).status, 0);
    ASSERT_EQ(onMain({"dump", file("dumped")}).status, 0);
    const std::string where = " WHERE NAME = 'CommonPolicy'";
    sql({"UPDATE SYSTOOLS.POLICY SET MED = MED" + where, "UPDATE SYSTOOLS.POLICY SET MED = 'A'" + where});
    kelhost::EngineContext context(kelhost::Instance::find(instance()), {.connection = main_});
    const kelhost::EngineContext::Scope bound(context);
    hosttest::Client client;
    ASSERT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET MED = MED" + where), SQL_SUCCESS);
    auto load = std::async(std::launch::async, [this] { return onMain({"load", file("dumped")}); });
    while (ask("SELECT count(*) FROM pg_locks WHERE NOT granted") == "0\n")
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET MED = MED WHERE NAME = 'TableRunstatsPolicy'"), SQL_SUCCESS)
        << hosttest::tokensOf(client.ca());
    context.commit();
    const Outcome outcome = load.get();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(OnPostgres, loadsAndSetsAtTheSameTimeTellOneStory) {
    ASSERT_EQ(onMain({"init"}).status, 0);
    ASSERT_EQ(onMain({"dump", file("dumped")}).status, 0);
    constexpr int processes = 4;
    constexpr int rounds = 6;
    std::vector<std::future<void>> changers;
    for (int process = 0; process < processes; ++process) {
        changers.push_back(std::async(std::launch::async, [this, process] {
            for (int round = 0; round < rounds; ++round) {
                const std::string hours = std::to_string(1 + process * rounds + round);
                const Outcome set = onMain({"set", "backup", "-"}, backupConfiguration(diskTarget(""), hours));
                EXPECT_EQ(set.status, 0) << set.err;
            }
        }));
    }
    for (auto& changer : changers) changer.get();
    changers.clear();
    const json changes = json::parse(run({"history", "--json"}).out);
    ASSERT_EQ(changes.size(), size_t{processes * rounds});
    for (size_t i = 1; i < changes.size(); ++i) EXPECT_EQ(changes[i].at("before"), changes[i - 1].at("after")) << i;

    for (int process = 0; process < processes; ++process) {
        changers.push_back(std::async(std::launch::async, [this] {
            for (int round = 0; round < rounds; ++round) {
                const Outcome load = onMain({"load", file("dumped"), "--replace"});
                EXPECT_EQ(load.status, 0) << load.err;
            }
        }));
    }
    for (auto& changer : changers) changer.get();
}

}  // namespace
}  // namespace scenario
