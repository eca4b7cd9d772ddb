// kelpolicy history: what the administration log tells of changes.

#include <pwd.h>
#include <unistd.h>

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
    static std::string user() {
        const passwd* entry = ::getpwuid(::getuid());
        return entry == nullptr ? std::to_string(::getuid()) : entry->pw_name;
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
    for (const json& change : changes) {
        EXPECT_EQ(change.at("user"), user());
        EXPECT_EQ(change.at("action"), "update");
        EXPECT_FALSE(change.contains("cut"));
    }
    for (const char* name : {"DBBackupPolicy", "AUTO_BACKUP", "backup", "Backup"})
        EXPECT_EQ(policies({"--name", name}), (Words{"DBBackupPolicy", "AUTO_BACKUP"})) << name;
    for (const char* name : {"AUTO_REORG", "windows", "CommonPolicy", "stats-profile", "StatsProfilePolicy"})
        EXPECT_EQ(policies({"--name", name}), Words{}) << name;
}

TEST_F(CliHistory, refusesANameThatNothingHas) {
    openLogs();
    change("MyPolicy", "a", "b");
    EXPECT_EQ(policies({"--name", "MyPolicy"}), Words{"MyPolicy"});
    for (const char* name : {"windws", "mypolicy", "10515"}) {
        const Outcome outcome = run({"history", "--json", "--name", name});
        EXPECT_EQ(outcome.status, 1) << name;
        EXPECT_EQ(outcome.out, "");
        const json error = json::parse(outcome.err).at("error");
        EXPECT_EQ(error.at("message"), "there is no policy named \"" + std::string(name) + "\"");
        EXPECT_EQ(error.at("hint"),
                  "Name one of these: CommonPolicy, DBBackupPolicy, TableReorgPolicy, TableRunstatsPolicy, "
                  "StatsProfilePolicy.");
    }
}

TEST_F(CliHistory, tellsOfRowsThatAreInsertedAndDeleted) {
    makeInstance();
    const Words backup = {"--med",  "KELDatabaseRecoveryMED", "--decision", "DBBackupDecision",
                          "--name", "DBBackupPolicy"};
    const Words own = {"--med", "M", "--decision", "D", "--name", "Mine"};
    const auto install = [&](const char* action, const Words& key, Words more) {
        Words words = {"install", action};
        words.insert(words.end(), key.begin(), key.end());
        words.insert(words.end(), more.begin(), more.end());
        EXPECT_EQ(run(words).status, 0) << action << more.front();
    };
    ASSERT_EQ(run({"dump", file("dump")}).status, 0);
    install("delete", backup, {"--yes"});
    install("insert", backup, {"--policy", sample("backup-to-disk.xml")});
    install("insert", own, {"--policy", sample("backup-to-disk.xml")});
    install("delete", own, {"--yes"});
    install("delete", backup, {"--yes"});
    ASSERT_EQ(run({"load", file("dump")}).status, 0);
    install("insert", own, {"--policy", sample("backup-to-disk.xml")});
    ASSERT_EQ(run({"dump", file("withOwn")}).status, 0);
    ASSERT_EQ(run({"load", file("dump"), "--replace"}).status, 0);
    ASSERT_EQ(run({"load", file("withOwn")}).status, 0);
    const json changes = history();
    std::vector<std::pair<std::string, std::string>> told;
    for (const json& change : changes) told.emplace_back(change.at("action"), change.at("policy"));
    EXPECT_EQ(told, (std::vector<std::pair<std::string, std::string>>{{"delete", "DBBackupPolicy"},
                                                                      {"insert", "DBBackupPolicy"},
                                                                      {"insert", "Mine"},
                                                                      {"delete", "Mine"},
                                                                      {"delete", "DBBackupPolicy"},
                                                                      {"insert", "DBBackupPolicy"},
                                                                      {"insert", "Mine"},
                                                                      {"delete", "Mine"},
                                                                      {"insert", "Mine"}}));
    const std::string inserted = changes[1].at("after");
    EXPECT_NE(inserted.find("Pathname: /var/backups/orders"), std::string::npos);
    EXPECT_EQ(changes[1].at("before"), "");
    EXPECT_EQ(changes[4].at("before"), inserted);
    EXPECT_EQ(changes[4].at("after"), "");
    EXPECT_EQ(changes[5].at("after"), changes[0].at("before"));
    EXPECT_EQ(changes[2].at("after"), "");
    for (const json& change : changes) {
        EXPECT_EQ(change.at("user"), user());
        EXPECT_EQ(change.at("database"), "kelpolicy");
    }
    const std::string shown = run({"history", "--name", "Mine"}).out;
    EXPECT_NE(shown.find("  Mine  inserted  (database kelpolicy, user " + user() + ")\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("  Mine  deleted  (database"), std::string::npos) << shown;

    const Outcome refused = run({"install", "insert", "--med", "KELCommonMED", "--decision", "NOP", "--name",
                                 "CommonPolicy", "--policy", sample("windows.xml")});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(history(), changes) << "what did not happen is not told";
}

TEST_F(CliHistory, isNotMisledByTheNameOfTheDatabase) {
    openLogs();
    const std::string names[] = {"x: policy changed policy",
                                 "x: policy changed policy=\"P\" before=\"a\" after=\"b\"",
                                 "a user b",
                                 "y info 10515 f probe 1: policy changed ",
                                 "-",
                                 "\\",
                                 "two words"};
    for (const std::string& name : names) {
        const kelhost::BoundThreadScope scope({nullptr, &name});
        record("AUTO_BACKUP" + separator + "a" + separator + "b");
        change("P", "c", "d");
        record("plain", SQLT_ADMIN_TEXT);
    }
    const json changes = history();
    ASSERT_EQ(changes.size(), 2 * std::size(names));
    for (size_t i = 0; i < changes.size(); ++i) {
        const bool isConfiguration = i % 2 == 0;
        EXPECT_EQ(changes[i].at("database"), isConfiguration ? names[i / 2] : "DB");
        EXPECT_EQ(changes[i].at("user"), user());
        EXPECT_EQ(changes[i].at("before"), isConfiguration ? "a" : "c");
    }
    EXPECT_EQ(run({"history"}).err, "");
}

/* A text that fills the record may end too early, or leave no room for the one after. */
TEST_F(CliHistory, marksWhatTheRecordCut) {
    std::string many;
    for (int word = 0; many.size() < 4200; ++word) many += "w" + std::to_string(word) + " ";
    const std::string head = "TableReorgPolicy" + separator + "DB" + separator;
    const std::string half = many.substr(0, 2500);
    openLogs();
    record((head + many).substr(0, 4093));
    record((head + half + separator + half).substr(0, 4093));
    record((head + half + separator + "new " + half).substr(0, 4093));
    const json changes = history();
    ASSERT_EQ(changes.size(), 3U);
    EXPECT_EQ(changes[0].at("database"), "DB");
    EXPECT_EQ(changes[0].at("before"), many.substr(0, 4093 - head.size()));
    EXPECT_EQ(changes[0].at("after"), nullptr);
    EXPECT_EQ(changes[0].at("cut"), "before");
    EXPECT_EQ(changes[0].at("difference"), json::array());
    for (size_t i : {1U, 2U}) {
        EXPECT_EQ(changes[i].at("before"), half);
        EXPECT_EQ(changes[i].at("cut"), "after");
        for (const json& part : changes[i].at("difference")) EXPECT_FALSE(part.contains("removed")) << part;
    }
    EXPECT_EQ(changes[2].at("difference")[0], (json{{"added", "new "}}));
    const std::string shown = run({"history"}).out;
    EXPECT_NE(shown.find("  before: w0 w1 "), std::string::npos);
    EXPECT_NE(
        shown.find("  (the record was full: the end of this text and what the policy was changed to are missing)\n"),
        std::string::npos);
    EXPECT_NE(shown.find("  (the record was full: the end is missing)\n"), std::string::npos);
}

/* As they were written before they told the user, what was done, and what is cut. */
TEST_F(CliHistory, readsOlderRecords) {
    writeFile(log(), readFile(KELPOLICY_TEST_DATA "/administration.log"));
    const json changes = history();
    ASSERT_EQ(changes.size(), 8U);
    for (const json& change : changes) {
        EXPECT_EQ(change.at("database"), "kelpolicy");
        EXPECT_EQ(change.at("user"), "-");
        EXPECT_EQ(change.at("action"), "update");
    }
    EXPECT_EQ(changes[0].at("policy"), "MAINTENANCE_WINDOW");
    EXPECT_FALSE(changes[0].contains("cut"));
    EXPECT_FALSE(changes[2].contains("cut"));
    EXPECT_EQ(changes[3].at("cut"), "after");
    EXPECT_EQ(changes[4].at("cut"), "before");
    EXPECT_EQ(changes[4].at("before").get<std::string>().find("Table Scope: WHERE TABSCHEMA = 'C'"), 0U);
    EXPECT_EQ(changes[4].at("after"), nullptr);
    EXPECT_FALSE(changes[5].contains("cut")) << "a configuration's is not cut";
    EXPECT_EQ(policies({"--name", "runstats"}).size(), 5U);
    EXPECT_EQ(run({"history"}).err, "");

    std::string odd = readFile(KELPOLICY_TEST_DATA "/administration.log");
    odd.resize(odd.find('\n') + 1);
    const std::string name = "x: policy changed policy";
    odd.replace(odd.find("database kelpolicy") + 9, 9, name);
    writeFile(log(), odd);
    ASSERT_EQ(history().size(), 1U);
    EXPECT_EQ(history()[0].at("database"), name);
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
        EXPECT_EQ(head.substr(26), "  P  (database DB, user " + user() + ")");
        std::getline(lines, shown);
        EXPECT_EQ(shown, "  " + cases[i].shown);
    }
}

TEST_F(CliHistory, coloursTheDifferenceOnATerminal) {
    if (!requireTerminals()) return;
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
