// kelpolicy history: what the administration log tells of changes.

#include <nlohmann/json.hpp>

#include "hostLogs.h"
#include "logs.h"
#include "scenario.h"

namespace scenario {
namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

const std::string separator = "\xFF";

class CliHistory : public Scenario {
protected:
    CliHistory() { kelhost::Instance::create(instance()); }
    ~CliHistory() override { kelhost::closeLogs(); }

    std::string log(const std::string& name = "administration.log") const { return instance() + "/log/" + name; }

    /* Records are written as the engine writes them. */
    void openLogs(kelhost::LogOptions options = {}) const { kelhost::openLogs(instance() + "/log", options); }
    static void record(const std::string& text, uint32_t number = SQLT_ADMIN_POLICY_CHANGED) {
        sqlt_logadmin(number, PD_INFO, "test", 1, text.data(), text.size());
    }
    static void change(const std::string& policy, const std::string& before, const std::string& after) {
        record(policy + separator + "DB" + separator + before + separator + after);
    }
    json history(Words options = {}) const {
        options.insert(options.begin(), {"history", "--json"});
        const Outcome outcome = run(options);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }
    Words policies(const Words& options = {}) const {
        Words names;
        for (const json& change : history(options)) names.push_back(change.at("policy"));
        return names;
    }
};

TEST_F(CliHistory, tellsOfChangesByTheEnginesProcedures) {
    ASSERT_EQ(run({"install", "update", "--med", "KELDatabaseRecoveryMED", "--decision", "DBBackupDecision", "--name",
                   "DBBackupPolicy", "--policy", sample("backup-to-disk.xml")})
                  .status,
              0);
    ASSERT_EQ(run({"set", "backup", sample("configuration/backup-to-storage-manager.xml")}).status, 0);
    const json changes = history();
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].at("policy"), "DBBackupPolicy");
    EXPECT_EQ(changes[0].at("database"), "kelpolicy");
    EXPECT_EQ(changes[0].at("time").get<std::string>().size(), 26U);
    EXPECT_NE(changes[0].at("before").get<std::string>().find("Pathname: " + instance() + "/backup"),
              std::string::npos);
    EXPECT_NE(changes[0].at("after").get<std::string>().find("Pathname: /var/backups/orders"), std::string::npos);
    EXPECT_EQ(changes[1].at("policy"), "AUTO_BACKUP");
    EXPECT_EQ(changes[1].at("database"), "kelpolicy") << "from the record's head";
    EXPECT_EQ(policies({"--name", "DBBackupPolicy"}), (Words{"DBBackupPolicy", "AUTO_BACKUP"}));
    EXPECT_EQ(policies({"--name", "AUTO_BACKUP"}), (Words{"DBBackupPolicy", "AUTO_BACKUP"}));
    EXPECT_EQ(policies({"--name", "AUTO_REORG"}), Words{});
}

TEST_F(CliHistory, showsTheDifferenceWordByWord) {
    const struct {
        std::string before;
        std::string after;
        std::string shown;
        json difference;
    } cases[] = {{"a b c",
                  "a x c",
                  "a [-b-]{+x+} c",
                  {{{"kept", "a "}}, {{"removed", "b "}}, {{"added", "x "}}, {{"kept", "c"}}}},
                 {"a b", "a", "a [-b-]", {{{"kept", "a"}}, {{"removed", "b"}}}},
                 {"a", "a b", "a {+b+}", {{{"kept", "a "}}, {{"added", "b"}}}},
                 {"b", "a b", "{+a+} b", {{{"added", "a "}}, {{"kept", "b"}}}},
                 {"", "a", "{+a+}", {{{"added", "a"}}}},
                 {"a", "", "[-a-]", {{{"removed", "a"}}}},
                 {"a b c d", "x y", "[-a b c d-]{+x y+}", {{{"removed", "a b c d"}}, {{"added", "x y"}}}},
                 {"Mode: 1  Size: 2 KB",
                  "Mode: 1  Size: 3 KB",
                  "Mode: 1  Size: [-2-]{+3+} KB",
                  {{{"kept", "Mode: 1  Size: "}}, {{"removed", "2 "}}, {{"added", "3 "}}, {{"kept", "KB"}}}},
                 {"same  words", "same words", "same words", {{{"kept", "same words"}}}},
                 {"1 2 3 4 5",
                  "1 3 5",
                  "1 [-2-] 3 [-4-] 5",
                  {{{"kept", "1 "}}, {{"removed", "2 "}}, {{"kept", "3 "}}, {{"removed", "4 "}}, {{"kept", "5"}}}}};
    openLogs();
    for (const auto& example : cases) change("P", example.before, example.after);
    const json changes = history();
    ASSERT_EQ(changes.size(), std::size(cases));
    std::istringstream lines(run({"history"}).out);
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(changes[i].at("before"), cases[i].before);
        EXPECT_EQ(changes[i].at("after"), cases[i].after);
        EXPECT_EQ(changes[i].at("difference"), cases[i].difference) << i;
        std::string head;
        std::string shown;
        std::getline(lines, head);
        EXPECT_EQ(head.substr(26), "  P  (database DB)");
        std::getline(lines, shown);
        EXPECT_EQ(shown, "  " + cases[i].shown);
    }
}

TEST_F(CliHistory, coloursTheDifferenceOnATerminal) {
    openLogs();
    change("P", "a b c", "a x c");
    const std::string coloured = runOnTerminal({"history"}).out;
    EXPECT_NE(coloured.find("  a \x1B[31mb\x1B[0m\x1B[32mx\x1B[0m c\r\n"), std::string::npos) << coloured;
    const std::string plain = runOnTerminal({"history"}, {.environment = {{"NO_COLOR", "1"}}}).out;
    EXPECT_NE(plain.find("  a [-b-]{+x+} c\r\n"), std::string::npos) << plain;
}

TEST_F(CliHistory, readsFullFilesTooInOrder) {
    openLogs({.maximumFileBytes = 1000, .keptFiles = 4});
    for (int number = 0; number < 40; ++number) change(std::to_string(number), "a", "b");
    ASSERT_TRUE(std::filesystem::exists(log("administration.4.log")));
    const Words names = policies();
    ASSERT_GT(names.size(), 20U);
    for (size_t i = 0; i < names.size(); ++i) EXPECT_EQ(names[i], std::to_string(40 - names.size() + i));
    EXPECT_EQ(policies({"--count", "3"}), (Words{"37", "38", "39"}));
    EXPECT_EQ(policies({"--count", "1000"}), names);
    EXPECT_EQ(policies({"--name", "38", "--count", "3"}), Words{"38"});
}

TEST_F(CliHistory, givesTextsBackByteForByte) {
    const std::string odd = "quote \" backslash \\ tab \t line \n control \x01 policy changed policy=\"x\" \\x41";
    openLogs();
    change(odd, "before " + odd, "Gr\xC3\xBC\xC3\x9F\x65");
    change("P", "not UTF-8 \xE9", "b");
    const json changes = history();
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].at("policy"), odd);
    EXPECT_EQ(changes[0].at("before"), "before " + odd);
    EXPECT_EQ(changes[0].at("after"), "Gr\xC3\xBC\xC3\x9F\x65");
    EXPECT_EQ(changes[1].at("before"), nullptr);
    EXPECT_EQ(changes[1].at("beforeBase64"), "bm90IFVURi04IOk=");
    EXPECT_EQ(run({"history"}).out.find('\x01'), std::string::npos);
}

TEST_F(CliHistory, leavesOutWhatIsNoChangeAndCountsWhatIsDamaged) {
    openLogs();
    record("plain text: policy changed policy=\"P\" before=\"a\" after=\"b\"", SQLT_ADMIN_TEXT);
    change("first", "a", "b");
    kelhost::closeLogs();
    const std::string whole = readFile(log());
    const std::string line = whole.substr(whole.find('\n') + 1);
    const std::string marker = "policy changed ";
    const size_t place = line.find(marker) + marker.size();
    std::string damaged;
    for (const std::string& fields : {std::string("policy=\"torn"), std::string("policy=\"no after\" before=\"a\""),
                                      std::string("policy"), std::string("policy=\"a\\xZZ\" before=\"a\" after=\"b\""),
                                      std::string("policy=\"a\\"), std::string("policy=x before=\"a\" after=\"b\"")})
        damaged += line.substr(0, place) + fields + "\n";
    damaged += "not a time" + line.substr(10);
    writeFile(log(), whole + damaged + line.substr(0, 40) + "\n\n" + line);
    EXPECT_EQ(policies(), (Words{"first", "first"}));
    const Outcome outcome = run({"history"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "note: 7 records of changes are damaged and left out\n");
}

TEST_F(CliHistory, comparesAlsoWhatIsTooLongForARecord) {
    std::string many;
    for (int word = 0; word < 5000; ++word) many += "w" + std::to_string(word) + " ";
    openLogs();
    change("P", "a", "b");
    kelhost::closeLogs();
    std::string line = readFile(log());
    line.replace(line.find("before=\"a\""), 10, "before=\"" + many + "\"");
    line.replace(line.find("after=\"b\""), 9, "after=\"" + many + "end\"");
    writeFile(log(), line);
    const json changes = history();
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].at("difference"), (json{{{"removed", many}}, {{"added", many + "end"}}}));
}

TEST_F(CliHistory, saysThatThereIsNoChange) {
    const Outcome outcome = run({"history"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "note: no such change is in the logs of " + instance() + "/log\n");
    EXPECT_EQ(history(), json::array());
}

TEST_F(CliHistory, refusesWhatMakesNoSense) {
    for (const Words& options : {Words{"--count", "0"}, Words{"--count", "x"}, Words{"--name", ""}, Words{"more"}}) {
        Words words = {"history"};
        words.insert(words.end(), options.begin(), options.end());
        EXPECT_EQ(run(words).status, 2) << options.front();
    }
    const Outcome none = run({"history", "--json", "--instance", file("none")});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(json::parse(none.err).at("error").at("sqlcode"), -902) << none.err;
    EXPECT_FALSE(std::filesystem::exists(file("none"))) << "looking back makes no instance";

    std::filesystem::remove(log());
    std::filesystem::create_directory(log());
    const Outcome directory = run({"history", "--json"});
    EXPECT_EQ(directory.status, 1);
    EXPECT_NE(directory.err.find("administration.log"), std::string::npos) << directory.err;
}

}  // namespace
}  // namespace scenario
