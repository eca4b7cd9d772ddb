// kelpolicy init.

#include <thread>

#include "configurationScenario.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class CliInit : public Scenario {};

TEST_F(CliInit, makesDirectoriesDatabaseTableAndPoliciesAndSaysSo) {
    const Outcome outcome = run({"init", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(namesIn(instance()), (std::vector<std::string>{"backup", "bnd", "db", "log", "misc", "tmp"}));

    const json said = json::parse(outcome.out);
    EXPECT_EQ(said.at("instance").at("path"), instance());
    EXPECT_EQ(said.at("instance").at("state"), "made");
    EXPECT_EQ(said.at("database").at("state"), "made");
    EXPECT_EQ(said.at("table").at("name"), "SYSTOOLS.POLICY");
    EXPECT_EQ(said.at("table").at("state"), "made");
    ASSERT_EQ(said.at("policies").size(), 5U);
    std::vector<std::string> policies;
    for (const json& policy : said.at("policies")) {
        EXPECT_EQ(policy.at("state"), "made");
        policies.push_back(policy.at("name"));
    }
    EXPECT_EQ(policies, (std::vector<std::string>{"CommonPolicy", "DBBackupPolicy", "TableReorgPolicy",
                                                  "TableRunstatsPolicy", "StatsProfilePolicy"}));
}

TEST_F(CliInit, leavesWhatIsThereAsItIs) {
    ASSERT_EQ(run({"init"}).status, 0);
    store("DBBackupPolicy", readFile(sample("backup-to-disk.xml")));
    const json before = json::parse(run({"show", "backup", "--json"}).out);

    const Outcome again = run({"init", "--json"});
    ASSERT_EQ(again.status, 0) << again.err;
    const json said = json::parse(again.out);
    EXPECT_EQ(said.at("policies").size(), 5U);
    for (const char* part : {"instance", "database", "table"})
        EXPECT_EQ(said.at(part).at("state"), "was there") << part;
    for (const json& policy : said.at("policies")) EXPECT_EQ(policy.at("state"), "was there") << policy;
    EXPECT_EQ(json::parse(run({"show", "backup", "--json"}).out), before);
    EXPECT_EQ(before.at("targetLocation"), "/var/backups/orders");
}

TEST_F(CliInit, saysWhichStoredDocumentsDoNotParse) {
    store("DBBackupPolicy", "<PolicyDocument>\n <And>");
    store("StatsProfilePolicy", "");
    const Outcome outcome = run({"init", "--json"});
    EXPECT_EQ(outcome.status, 1);
    const json answer = json::parse(outcome.out);
    EXPECT_EQ(answer.at("policies").size(), 5U);
    for (const json& policy : answer.at("policies")) EXPECT_EQ(policy.at("state"), "was there") << policy;

    const std::vector<json> errors = objectsOf(outcome.err, "error");
    ASSERT_EQ(errors.size(), 2U) << outcome.err;
    EXPECT_EQ(errors[0].at("policy"), "DBBackupPolicy");
    EXPECT_EQ(errors[0].at("line"), 2);
    EXPECT_EQ(errors[0].at("column"), 7);
    EXPECT_EQ(errors[1].at("policy"), "StatsProfilePolicy");

    const Outcome text = run({"init"});
    EXPECT_EQ(text.status, 1);
    EXPECT_NE(text.err.find("the stored policy DBBackupPolicy does not parse at line 2, column 7: "), std::string::npos)
        << text.err;
    EXPECT_NE(text.err.find("the stored policy StatsProfilePolicy is empty"), std::string::npos) << text.err;
}

TEST_F(CliInit, takesTheDirectoryOfTheOptionThenOfTheEnvironmentThenOfTheHomeDirectory) {
    const auto at = [this](std::vector<std::string> arguments, Surroundings surroundings) {
        arguments.insert(arguments.end(), {"init", "--json"});
        const Outcome outcome = run(arguments, std::move(surroundings));
        return outcome.status == 0 ? json::parse(outcome.out).at("instance").at("path").get<std::string>()
                                   : outcome.err;
    };
    EXPECT_EQ(at({"--instance", file("option")}, {.environment = {{"KELPOLICY_INSTANCE", file("environment")}}}),
              file("option"));
    EXPECT_EQ(at({}, {.environment = {{"KELPOLICY_INSTANCE", file("environment")}, {"HOME", file("home")}}}),
              file("environment"));
    EXPECT_EQ(at({}, {.environment = {{"KELPOLICY_INSTANCE", std::nullopt}, {"HOME", file("home")}}}),
              file("home/.kelpolicy"));
    EXPECT_EQ(at({}, {.environment = {{"KELPOLICY_INSTANCE", ""}, {"HOME", file("home2")}}}), file("home2/.kelpolicy"));

    const Outcome nowhere =
        run({"init"}, {.environment = {{"KELPOLICY_INSTANCE", std::nullopt}, {"HOME", std::nullopt}}});
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_NE(nowhere.err.find("neither --instance nor KELPOLICY_INSTANCE nor HOME is set"), std::string::npos)
        << nowhere.err;
}

TEST_F(CliInit, manyProcessesAtOnceMakeOneInstance) {
    constexpr size_t processes = 8;
    std::vector<Outcome> outcomes(processes);
    {
        std::vector<std::jthread> runners;
        for (Outcome& outcome : outcomes) runners.emplace_back([this, &outcome] { outcome = run({"init", "--json"}); });
    }
    size_t makers = 0;
    for (const Outcome& outcome : outcomes) {
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const json said = json::parse(outcome.out);
        makers += said.at("table").at("state") == "made" ? 1 : 0;
        EXPECT_EQ(said.at("policies").size(), 5U);
        for (const json& policy : said.at("policies")) EXPECT_NE(policy.at("state"), "missing");
    }
    EXPECT_GE(makers, 1U);
    EXPECT_EQ(run({"describe"}).status, 0);
}

}  // namespace
}  // namespace scenario
