// kelpolicy install: single rows through the engine's procedure.
#include <nlohmann/json.hpp>

#include "scenario.h"

namespace scenario {
namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

const std::string document = "<PolicyDocument/>";
const Words backupKey = {"--med",  "KELDatabaseRecoveryMED", "--decision", "DBBackupDecision",
                         "--name", "DBBackupPolicy"};

Words operator+(Words left, const Words& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

json errorOf(const Outcome& outcome) {
    const size_t place = outcome.err.find("{\"error\"");
    EXPECT_NE(place, std::string::npos) << outcome.err;
    return place == std::string::npos ? json() : json::parse(outcome.err.substr(place)).at("error");
}

class CliInstall : public Scenario {
protected:
    /* The document under the key's options; nothing when there is no such row. */
    std::optional<std::string> stored(const Words& key) const {
        const Outcome outcome = run(Words{"retrieve", "--documents", "--json"} + key);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        const json rows = json::parse(outcome.out);
        if (rows.empty()) return {};
        EXPECT_EQ(rows.size(), 1U);
        return rows[0].at("document").get<std::string>();
    }
    Outcome insert(const Words& key, const std::string& text) const {
        return run(Words{"install", "insert", "--policy", "-"} + key, {.input = text});
    }
    size_t rows() const { return json::parse(run({"retrieve", "--json"}).out).size(); }
};

TEST_F(CliInstall, insertsReplacesAndDeletesARow) {
    const Words key = {"--med", "M", "--decision", "D", "--name", "N"};
    const Outcome inserted = run(Words{"install", "insert", "--json", "--policy", "-"} + key, {.input = document});
    ASSERT_EQ(inserted.status, 0) << inserted.err;
    EXPECT_EQ(inserted.err, "");
    json said = json::parse(inserted.out);
    EXPECT_EQ(said.at("updateTime").get<std::string>().size(), 26U);
    said.erase("updateTime");
    EXPECT_EQ(said, (json{{"action", "insert"},
                          {"med", "M"},
                          {"decision", "D"},
                          {"name", "N"},
                          {"bytes", document.size()},
                          {"asGiven", true},
                          {"parses", true}}));
    EXPECT_EQ(stored(key), document);

    writeFile(file("new.xml"), "<PolicyDocument> </PolicyDocument>");
    const Outcome updated = run(Words{"install", "update", "--policy", file("new.xml")} + key);
    ASSERT_EQ(updated.status, 0) << updated.err;
    EXPECT_EQ(updated.err, "");
    EXPECT_EQ(updated.out.find("update: MED \"M\", DECISION \"D\", NAME \"N\", 34 bytes, stored 2"), 0U) << updated.out;
    EXPECT_EQ(stored(key), "<PolicyDocument> </PolicyDocument>");

    const Outcome deleted = run(Words{"install", "delete", "--yes", "--json"} + key);
    ASSERT_EQ(deleted.status, 0) << deleted.err;
    said = json::parse(deleted.out);
    EXPECT_EQ(said.at("updateTime").get<std::string>().size(), 26U);
    said.erase("updateTime");
    EXPECT_EQ(said, (json{{"action", "delete"}, {"med", "M"}, {"decision", "D"}, {"name", "N"}, {"bytes", 34}}));
    EXPECT_EQ(stored(key), std::nullopt);
    EXPECT_EQ(rows(), 5U);
}

/* What cannot be told is done all the same: the answer comes behind the commit. */
TEST_F(CliInstall, tellsOnlyWhatIsCommitted) {
    const Words key = {"--med", "M"};
    writeFile(file("new.xml"), document);
    const Outcome unwritten =
        run(Words{"install", "insert", "--policy", file("new.xml")} + key, {.outputFile = "/dev/full"});
    EXPECT_EQ(unwritten.status, 1);
    EXPECT_NE(unwritten.err.find("cannot write all of the answer"), std::string::npos) << unwritten.err;
    EXPECT_EQ(stored(key), document);
}

TEST_F(CliInstall, usesTheEnginesDefaultsForKeysThatAreNotGiven) {
    ASSERT_EQ(insert({"--med", "M"}, document).status, 0);
    EXPECT_EQ(stored({"--med", "M", "--decision", "NOP", "--name", "SYSTOOLS.POLICY"}), document);
    ASSERT_EQ(insert({"--med", "M", "--decision", "", "--name", ""}, document).status, 0) << "an empty key is one";
    EXPECT_EQ(stored({"--med", "M", "--decision", "", "--name", ""}), document);
    EXPECT_EQ(rows(), 7U);
    EXPECT_EQ(run({"install", "delete", "--med", "M", "--yes"}).status, 0);
    EXPECT_EQ(stored({"--med", "M", "--decision", "NOP"}), std::nullopt);
    EXPECT_EQ(rows(), 6U);
}

TEST_F(CliInstall, storesKeysOfAnyBytesAsTheyAre) {
    const std::string keys[] = {
        "O'Brien''s",        std::string(128, 'k'),        std::string(128, '\''), "'; DELETE FROM SYSTOOLS.POLICY; --",
        "a/b\\c\"d $1 {}%s", "2026-11-21-12.00.00.000000", "Grün\xE2\x82\xAC",     " blank at both ends "};
    for (const std::string& key : keys) {
        SCOPED_TRACE(key);
        const Words options = {"--med", key, "--decision", key, "--name", key};
        const Outcome outcome = insert(options, document);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(stored({"--name", key}), document);
        const json row = json::parse(run({"retrieve", "--json", "--med", key}).out)[0];
        for (const char* part : {"med", "decision", "name"}) EXPECT_EQ(row[part], key);
        ASSERT_EQ(run(Words{"install", "delete", "--yes"} + options).status, 0);
        EXPECT_EQ(rows(), 5U);
    }
}

TEST_F(CliInstall, refusesKeysThatTheEngineWouldCut) {
    for (const char* option : {"--med", "--decision", "--name"}) {
        const Outcome outcome = insert({"--med", "M", option, std::string(129, 'k')}, document);
        EXPECT_EQ(outcome.status, 2) << option;
        EXPECT_NE(outcome.err.find("129 bytes"), std::string::npos) << outcome.err;
    }
    EXPECT_FALSE(std::filesystem::exists(instance()));
}

TEST_F(CliInstall, readsTheDocumentFromAFileOfTheServer) {
    ASSERT_EQ(run({"init"}).status, 0);
    writeFile(instance() + "/tmp/new.xml", document);
    for (const std::string& name : {std::string("tmp/new.xml"), instance() + "/tmp/new.xml"}) {
        const Outcome outcome =
            run({"install", "insert", "--med", "M", "--name", name, "--policy-file", name, "--json"});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(json::parse(outcome.out).at("asGiven"), true);
        EXPECT_EQ(stored({"--name", name}), document);
    }
    writeFile(file("outside.xml"), document);
    for (const std::string& name : {std::string("tmp/none.xml"), file("outside.xml"), std::string("../outside.xml")}) {
        const Outcome outcome = run({"install", "insert", "--med", "X", "--policy-file", name, "--json"});
        EXPECT_EQ(outcome.status, 1) << name;
        const json error = errorOf(outcome);
        EXPECT_EQ(error.at("sqlcode"), -901) << error;
        EXPECT_EQ(error.at("sqlstate"), "58004") << error;
        EXPECT_NE(error.at("message").get<std::string>().find("cannot insert the row MED \"X\""), std::string::npos);
        EXPECT_NE(error.at("hint").get<std::string>().find("below the instance directory"), std::string::npos) << error;
    }
    EXPECT_EQ(rows(), 7U);
}

TEST_F(CliInstall, saysThatARowIsThereAlready) {
    const Outcome outcome = run(Words{"install", "insert", "--json", "--policy", "-"} + backupKey, {.input = document});
    EXPECT_EQ(outcome.status, 1);
    const json error = errorOf(outcome);
    EXPECT_EQ(error.at("sqlcode"), -803);
    EXPECT_EQ(error.at("sqlstate"), "23505");
    EXPECT_NE(error.at("message").get<std::string>().find("NAME \"DBBackupPolicy\" already"), std::string::npos)
        << error;
    EXPECT_NE(stored(backupKey), document);
}

TEST_F(CliInstall, saysWhyNoRowIsTouched) {
    ASSERT_EQ(run({"init"}).status, 0);
    const struct {
        Words key;
        std::string why;
        std::string hint;
    } cases[] = {
        {{"--med", "M"}, "there is only MED \"KELCommonMED\", \"KELDatabaseRecoveryMED\"", "Without --name"},
        {{"--med", "KELTableMaintenanceMED"},
         "with this MED there is only DECISION \"StatsProfileDecision\", \"TableReorgDecision\"",
         "Without --decision it is \"NOP\""},
        {{"--med", "KELCommonMED"}, "there is only NAME \"CommonPolicy\"", "Without --name it is \"SYSTOOLS.POLICY\""}};
    for (const auto& example : cases) {
        for (const Words& command :
             {Words{"install", "update", "--policy", "-"}, Words{"install", "delete", "--yes"}}) {
            const Outcome outcome = run(Words{"--json"} + command + example.key, {.input = document});
            EXPECT_EQ(outcome.status, 1) << example.why;
            EXPECT_EQ(outcome.out, "");
            const json error = errorOf(outcome);
            EXPECT_EQ(error.at("sqlcode"), 100) << error;
            EXPECT_EQ(error.at("sqlstate"), "02000") << error;
            EXPECT_NE(error.at("message").get<std::string>().find(example.why), std::string::npos) << error;
            EXPECT_NE(error.at("message").get<std::string>().find("nothing was changed"), std::string::npos) << error;
            EXPECT_NE(error.at("hint").get<std::string>().find(example.hint), std::string::npos) << error;
        }
    }
    EXPECT_EQ(rows(), 5U);
    EXPECT_EQ(readFile(instance() + "/log/administration.log"), "") << "what did not happen is not recorded";

    execute("DELETE FROM SYSTOOLS.POLICY");
    const Outcome empty = run({"install", "delete", "--yes", "--med", "M"});
    EXPECT_NE(empty.err.find("the table is empty"), std::string::npos) << empty.err;
}

TEST_F(CliInstall, needsADocumentFromOnePlace) {
    const Words cases[] = {
        {"install", "insert", "--med", "M"},
        {"install", "update", "--med", "M"},
        {"install", "insert", "--med", "M", "--policy", "a", "--policy-file", "b"},
        {"install", "insert", "--policy", "a"},
        {"install", "insert", "--med", "M", "--policy", ""},
        {"install", "update", "--med", "M", "--policy-file", ""},
        {"install", "delete"},
        {"install", "delete", "--med", "M", "--policy", "a"},
        {"install"},
        {"install", "replace"},
    };
    for (const Words& words : cases) EXPECT_EQ(run(words).status, 2) << words.back();

    for (const auto& [text, message] :
         {std::pair{std::string(), "is empty"}, std::pair{std::string(2097153, ' '), "is longer than 2097152 bytes"}}) {
        const Outcome outcome = run({"install", "insert", "--med", "M", "--policy", "-", "--json"}, {.input = text});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(errorOf(outcome).at("sqlcode"), -1436);
        EXPECT_NE(errorOf(outcome).at("message").get<std::string>().find(message), std::string::npos);
    }
    EXPECT_EQ(insert({"--med", "M"}, std::string(2097152, ' ')).status, 0) << "the largest document";
}

TEST_F(CliInstall, saysThatTheEngineWillNotReadTheDocument) {
    makeInstance();
    const struct {
        const char* text;
        const char* note;
        bool parses;
    } cases[] = {{"<PolicyDocument>\n <And>", "does not parse at line 2", false},
                 {"<PolicyDocument/>", "has no element of the Backup policy", true}};
    for (const auto& example : cases) {
        const std::optional<std::string> before = stored(backupKey);
        const Words update = Words{"install", "update", "--json", "--policy", "-"} + backupKey;
        const Outcome refused = run(update, {.input = example.text});
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.out, "");
        EXPECT_EQ(errorOf(refused).at("sqlcode"), -1438);
        EXPECT_NE(errorOf(refused).at("message").get<std::string>().find(example.note), std::string::npos);
        EXPECT_NE(errorOf(refused).at("hint").get<std::string>().find("--force"), std::string::npos);
        EXPECT_EQ(stored(backupKey), before);

        const Outcome outcome = run(update + Words{"--force"}, {.input = example.text});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(json::parse(outcome.out).at("parses"), example.parses) << example.text;
        EXPECT_EQ(json::parse(outcome.out).at("asGiven"), true) << example.text;
        const std::string note = json::parse(outcome.err).at("note");
        EXPECT_NE(note.find(example.note), std::string::npos) << note;
        EXPECT_NE(note.find("built-in defaults"), std::string::npos) << note;
        EXPECT_EQ(stored(backupKey), example.text);
    }
    const Outcome other = run({"install", "insert", "--med", "M", "--policy", "-"}, {.input = "no XML"});
    EXPECT_EQ(other.status, 0) << other.err;
    EXPECT_NE(other.err.find("note: the stored document does not parse"), std::string::npos) << other.err;
    EXPECT_EQ(other.err.find(".."), std::string::npos) << other.err;
}

/* A row of the engine's takes documents of its policy only: others would be the end of it, without a word. */
TEST_F(CliInstall, refusesADocumentOfAnotherPolicy) {
    ASSERT_EQ(run({"init"}).status, 0);
    const struct {
        const char* policy;
        std::string document;
        const char* why;
    } cases[] = {
        {"DBBackupPolicy", readFile(sample("reorg.xml")),
         "has no element of the Backup policy: the built-in defaults are in force; it has elements of the Reorg "
         "policy"},
        {"CommonPolicy", readFile(sample("backup-to-disk.xml")), "it has elements of the Backup policy"},
        {"TableRunstatsPolicy", readFile(sample("reorg.xml")),
         "has elements of the Reorg policy, and of the Runstats policy only what both have"},
        {"StatsProfilePolicy", readFile(sample("runstats.xml")), "has elements of the Runstats policy"},
        {"DBBackupPolicy", readFile(sample("configuration/backup.xml")),
         "it is a configuration document of AUTO_BACKUP"},
    };
    for (const auto& example : cases) {
        const json rows = json::parse(run({"retrieve", "--json", "--name", example.policy}).out);
        const Words key = {"--med", rows[0].at("med"), "--decision", rows[0].at("decision"), "--name", example.policy};
        const std::optional<std::string> before = stored(key);
        writeFile(instance() + "/tmp/given.xml", example.document);
        for (const Words& from :
             {Words{"--policy", instance() + "/tmp/given.xml"}, Words{"--policy-file", "tmp/given.xml"}}) {
            const Outcome outcome = run(Words{"install", "update", "--json"} + from + key);
            EXPECT_EQ(outcome.status, 1) << example.why;
            EXPECT_NE(errorOf(outcome).at("message").get<std::string>().find(example.why), std::string::npos)
                << errorOf(outcome);
            EXPECT_EQ(stored(key), before) << example.why;
        }
        ASSERT_EQ(run(Words{"install", "delete", "--yes"} + key).status, 0);
        EXPECT_EQ(insert(key, example.document).status, 1) << example.why;
        EXPECT_EQ(stored(key), std::nullopt);
        const Outcome forced =
            run(Words{"install", "insert", "--force", "--policy", "-"} + key, {.input = example.document});
        EXPECT_EQ(forced.status, 0) << forced.err;
        EXPECT_NE(forced.err.find("note: "), std::string::npos);
        EXPECT_EQ(stored(key), example.document);
        store(example.policy, *before);
    }
}

TEST_F(CliInstall, saysThatTheReorgSettingsReplacedWhatWasGiven) {
    store("TableReorgPolicy", readFile(sample("reorg.xml")));  // it has a reclaim size
    writeFile(file("backup.xml"), readFile(sample("backup-to-disk.xml")));
    writeFile(instance() + "/tmp/backup.xml", readFile(sample("backup-to-disk.xml")));
    for (const Words& from : {Words{"--policy", file("backup.xml")}, Words{"--policy-file", "tmp/backup.xml"}}) {
        const std::optional<std::string> before = stored(backupKey);
        const Outcome refused = run(Words{"install", "update", "--json"} + from + backupKey);
        EXPECT_EQ(refused.status, 1);
        const std::string why = errorOf(refused).at("message");
        EXPECT_NE(why.find("the engine follows every update with a reorg policy of its own making"), std::string::npos)
            << why;
        EXPECT_EQ(stored(backupKey), before);

        const Outcome outcome = run(Words{"install", "update", "--json", "--force"} + from + backupKey);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(json::parse(outcome.out).at("asGiven"), false);
        EXPECT_NE(outcome.err.find("the document given was replaced"), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("reclaim size"), std::string::npos) << outcome.err;
        EXPECT_NE(stored(backupKey)->find("<kel:TableReorg "), std::string::npos) << *stored(backupKey);
    }
    ASSERT_EQ(run(Words{"install", "delete", "--yes"} + backupKey).status, 0);
    const Outcome asItIs = run(Words{"install", "insert", "--json", "--policy", file("backup.xml")} + backupKey);
    EXPECT_EQ(json::parse(asItIs.out).at("asGiven"), true) << asItIs.err;
    EXPECT_EQ(asItIs.err, "");
}

/* What the engine makes of a reorg policy to keep two settings must say what the document given says. */
TEST_F(CliInstall, refusesAReorgPolicyThatTheEngineWouldMakeLessOf) {
    const Words key = {"--med",  "KELTableMaintenanceMED", "--decision", "TableReorgDecision",
                       "--name", "TableReorgPolicy"};
    const auto reorg = [](const std::string& filter, const std::string& options) {
        return "<PolicyDocument><Equals><kel:Sensors>Tables</kel:Sensors><Constant>" + filter +
               "</Constant></Equals><kel:TableReorg mode='write'" + options + "/></PolicyDocument>";
    };
    const std::string reclaim = " reclaimExtentsSizeForMDCTables='51200'";
    const struct {
        const char* name;
        std::string before;
        std::string given;
        const char* why; /* empty: it is stored */
    } cases[] = {
        {"a filter with a sign that must be escaped", reorg("A = B", reclaim), reorg("A &lt; B", ""),
         "without escaping, and what it makes does not parse"},
        {"the same with the settings", reorg("A = B", ""), reorg("A &lt; B", reclaim), "without escaping"},
        {"a filter that would become another", reorg("A = B", reclaim), reorg("A &lt;!-- C -->", ""),
         "tablesFilter would be \"A \" in place of \"A <!-- C -->\""},
        {"a setting that there was not", reorg("A = B", ""), reorg("A = B", reclaim),
         "reclaimExtentsSizeForMDCTables would be 0 in place of 51200"},
        {"another setting", reorg("A = B", " reclaimExtentsSizeForMDCTables='100'"), reorg("A = B", reclaim),
         "reclaimExtentsSizeForMDCTables would be 100 in place of 51200"},
        {"settings that the document leaves to the engine", reorg("A = B", reclaim), reorg("C = D", ""), ""},
        {"the same settings", reorg("A = B", reclaim), reorg("C = D", reclaim), ""},
    };
    for (const auto& example : cases) {
        store("TableReorgPolicy", example.before);
        writeFile(instance() + "/tmp/given.xml", example.given);
        for (const Words& from :
             {Words{"--policy", instance() + "/tmp/given.xml"}, Words{"--policy-file", "tmp/given.xml"}}) {
            const Outcome outcome = run(Words{"install", "update", "--json"} + from + key);
            const bool isStored = *example.why == '\0';
            EXPECT_EQ(outcome.status, isStored ? 0 : 1) << example.name << outcome.err;
            if (!isStored) {
                const std::string why = errorOf(outcome).at("message");
                EXPECT_NE(why.find(example.why), std::string::npos) << example.name << ": " << why;
                EXPECT_EQ(why.find("written to meanwhile"), std::string::npos) << why;
                EXPECT_EQ(stored(key), example.before) << example.name;
            }
        }
        const json record = json::parse(run({"show", "reorg", "--json"}).out);
        if (*example.why == '\0') {
            EXPECT_EQ(record.at("tablesFilter"), "C = D") << example.name;
            EXPECT_EQ(record.at("reclaimExtentsSizeForMDCTables"), 51200) << example.name;
        }
    }
    store("TableReorgPolicy", reorg("A = B", reclaim));
    const Outcome forced =
        run(Words{"install", "update", "--json", "--force", "--policy", "-"} + key, {.input = reorg("A &lt; B", "")});
    EXPECT_EQ(forced.status, 0) << forced.err;
    EXPECT_NE(forced.err.find("the document given was replaced"), std::string::npos) << forced.err;
    EXPECT_NE(forced.err.find("does not parse"), std::string::npos) << forced.err;
    EXPECT_EQ(json::parse(forced.out).at("parses"), false);
}

TEST_F(CliInstall, asksBeforeItDeletes) {
    if (!requireTerminals()) return;
    ASSERT_EQ(insert({"--med", "M"}, document).status, 0);
    const Words command = {"install", "delete", "--med", "M"};

    const Outcome script = run(command, {.input = "y\n"});
    EXPECT_EQ(script.status, 1) << "an answer that nobody was asked for";
    EXPECT_NE(script.err.find("--yes"), std::string::npos) << script.err;
    EXPECT_EQ(rows(), 6U);

    for (const char* answer : {"n\n", "\n", "\x04", "yellow\n"}) {
        const Outcome refused = runOnTerminal(command, {.answer = [answer] { return answer; }});
        EXPECT_EQ(refused.status, 1) << refused.out;
        EXPECT_NE(refused.out.find("Delete MED \"M\", DECISION \"NOP\", NAME \"SYSTOOLS.POLICY\", stored 2"),
                  std::string::npos)
            << refused.out;
        EXPECT_NE(refused.out.find("17 bytes? [y/N] "), std::string::npos) << refused.out;
        EXPECT_NE(refused.out.find("nothing was deleted"), std::string::npos) << refused.out;
        EXPECT_EQ(rows(), 6U);
    }
    const auto yes = [] { return "y\n"; };
    const Outcome done = runOnTerminal(command, {.answer = yes});
    EXPECT_EQ(done.status, 0) << done.out;
    EXPECT_EQ(rows(), 5U);

    const Outcome engines = runOnTerminal(Words{"install", "delete"} + backupKey, {.answer = [] { return "n\n"; }});
    EXPECT_NE(engines.out.find("built-in defaults for this policy? [y/N] "), std::string::npos) << engines.out;
    EXPECT_EQ(runOnTerminal(Words{"install", "delete", "--yes"} + backupKey).status, 0) << "--yes asks nobody";
    EXPECT_EQ(rows(), 4U);
}

/* Others may work while a person thinks; what he said yes to must still be there. */
TEST_F(CliInstall, deletesNothingThatChangedWhileItAsked) {
    if (!requireTerminals()) return;
    const Words command = {"install", "delete", "--med", "M"};
    const Words changes[] = {{"install", "update", "--med", "M", "--policy", "-"},
                             {"install", "delete", "--med", "M", "--yes"}};
    for (const Words& change : changes) {
        insert({"--med", "M"}, document);
        const auto changeFirst = [&] {
            EXPECT_EQ(run(change, {.input = "<PolicyDocument>other</PolicyDocument>"}).status, 0);
            return "y\n";
        };
        const Outcome outcome = runOnTerminal(command, {.answer = changeFirst});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_NE(outcome.out.find("the row was changed while you were asked"), std::string::npos) << outcome.out;
        if (change[1] == "update") {
            EXPECT_EQ(stored({"--med", "M"}), "<PolicyDocument>other</PolicyDocument>");
        }
    }
}

}  // namespace
}  // namespace scenario
