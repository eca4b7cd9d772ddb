// kelpolicy dump and load: all rows as files and back.
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "host/callLevelClient.h"
#include "scenario.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;
using Words = std::vector<std::string>;

class CliDump : public Scenario {
protected:
    CliDump() { makeInstance(); }

    std::string dump() const { return file("dump"); }
    std::string other() const { return file("other"); } /* another instance */

    void add(const std::string& key, const std::string& document) const {
        const Outcome outcome =
            run({"install", "insert", "--med", key, "--decision", key, "--name", key, "--policy", "-"},
                {.input = document});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }
    /* All rows with their documents; without UPDATE_TIME. */
    json rows(const std::string& ofInstance) const {
        json all = json::parse(run({"retrieve", "--documents", "--json", "--instance", ofInstance}).out);
        for (json& row : all) row.erase("updateTime");
        return all;
    }
    json rows() const { return rows(instance()); }

    json done(const Words& words) const {
        Words all = {"--json"};
        all.insert(all.end(), words.begin(), words.end());
        const Outcome outcome = run(all);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return json::parse(outcome.out);
    }
    std::string refusal(const Words& words, int sqlcode) const {
        Words all = {"--json"};
        all.insert(all.end(), words.begin(), words.end());
        const Outcome outcome = run(all);
        EXPECT_EQ(outcome.status, 1) << outcome.out;
        EXPECT_EQ(outcome.out, "");
        const json error = json::parse(outcome.err).at("error");
        EXPECT_EQ(error.at("sqlcode"), sqlcode) << error;
        return error.at("message");
    }
    json manifest() const { return json::parse(readFile(dump() + "/manifest.json")); }
    std::string fileOf(const std::string& name) const {
        const json rows = manifest().at("rows");
        for (const json& row : rows)
            if (row.at("name") == name) return dump() + "/" + row.at("file").get<std::string>();
        ADD_FAILURE() << "no row of " << name;
        return {};
    }
};

const std::string oddKeys[] = {"a/b",
                               "..",
                               ".",
                               "-rf",
                               "O'Brien",
                               "k\xE9y \xFF",
                               "line\nbreak \x01 \"q\" \\",
                               std::string(128, '/'),
                               std::string(128, 'x'),
                               "",
                               "manifest.json"};

TEST_F(CliDump, bringsAllRowsBackByteForByte) {
    for (const std::string& key : oddKeys) add(key, "<PolicyDocument/>" + key);
    add("bytes", std::string("\0\xFF\r\n\x80 x\0", 8));
    add("large", std::string(2097152, 'L'));
    execute("INSERT INTO SYSTOOLS.POLICY VALUES ('E', 'E', 'E', CURRENT TIMESTAMP, X'')");
    const json before = rows();
    const size_t count = 5 + std::size(oddKeys) + 3;
    ASSERT_EQ(before.size(), count);

    EXPECT_EQ(done({"dump", dump()}), (json{{"directory", dump()}, {"rows", count}}));
    EXPECT_EQ(namesIn(dump()).size(), count + 1);
    EXPECT_EQ(namesIn(fs::path(dump()).parent_path()), (Words{"dump", "instance"})) << "nothing is left over";
    for (const std::string& name : namesIn(dump())) EXPECT_LE(name.size(), 64U) << name;

    execute("DELETE FROM SYSTOOLS.POLICY");
    EXPECT_EQ(done({"load", dump()}), (json{{"directory", dump()},
                                            {"rows", count},
                                            {"inserted", count},
                                            {"updated", 0},
                                            {"unchanged", 0},
                                            {"kept", 0},
                                            {"removed", 0}}));
    EXPECT_EQ(rows(), before);

    const json fresh = done({"load", dump(), "--instance", other()});
    EXPECT_EQ(fresh.at("inserted"), count - 5);
    EXPECT_EQ(rows(other()), before);
}

TEST_F(CliDump, describesTheFilesInItsManifest) {
    execute("DELETE FROM SYSTOOLS.POLICY");
    execute("INSERT INTO SYSTOOLS.POLICY VALUES ('M', 'D', 'O''Brien/1', '2026-01-02-03.04.05.000006', X'616263')");
    execute("INSERT INTO SYSTOOLS.POLICY VALUES ('M', 'D', CAST(X'E9' AS TEXT), '2026-01-02-03.04.05.000007', X'')");
    done({"dump", dump()});
    json found = manifest();
    EXPECT_EQ(found.at("sha256").get<std::string>().size(), 64U);
    found.erase("sha256");
    EXPECT_EQ(found, (json{{"format", "kelpolicy-dump"},
                           {"version", 1},
                           {"database", "kelpolicy"},
                           {"rows",
                            {{{"file", "000001-O_Brien_1.xml"},
                              {"med", "M"},
                              {"decision", "D"},
                              {"name", "O'Brien/1"},
                              {"updateTime", "2026-01-02-03.04.05.000006"},
                              {"bytes", 3},
                              {"sha256", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}},
                             {{"file", "000002-_.xml"},
                              {"med", "M"},
                              {"decision", "D"},
                              {"name", nullptr},
                              {"nameBase64", "6Q=="},
                              {"updateTime", "2026-01-02-03.04.05.000007"},
                              {"bytes", 0},
                              {"sha256", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"}}}}}));
    EXPECT_EQ(readFile(dump() + "/000001-O_Brien_1.xml"), "abc");
}

TEST_F(CliDump, keepsOtherRowsUnlessTheyAreToBeReplaced) {
    add("dumped", "old");
    add("same", "same");
    done({"dump", dump()});
    ASSERT_EQ(run({"install", "delete", "--med", "KELCommonMED", "--name", "CommonPolicy", "--yes"}).status, 0);
    ASSERT_EQ(run({"install", "update", "--med", "dumped", "--decision", "dumped", "--name", "dumped", "--policy", "-"},
                  {.input = "new"})
                  .status,
              0);
    add("other", "other");
    EXPECT_EQ(done({"load", dump()}), (json{{"directory", dump()},
                                            {"rows", 7},
                                            {"inserted", 1},
                                            {"updated", 1},
                                            {"unchanged", 5},
                                            {"kept", 1},
                                            {"removed", 0}}));
    EXPECT_EQ(rows().size(), 8U);
    const json replaced = done({"load", dump(), "--replace"});
    EXPECT_EQ(replaced.at("unchanged"), 7);
    EXPECT_EQ(replaced.at("kept"), 0);
    EXPECT_EQ(replaced.at("removed"), 1);
    EXPECT_EQ(rows().size(), 7U);
    EXPECT_EQ(run({"retrieve", "--name", "dumped", "--documents"}).out, "old");
    const Outcome text = run({"load", dump()});
    EXPECT_EQ(text.out, "loaded 7 rows: 0 inserted, 0 updated, 7 unchanged; others: 0 kept, 0 removed\n");
}

/* The engine looks for policies whose time is later than that of its last look: an old document that comes back is a
 * change, one that is there already is none. */
TEST_F(CliDump, givesOnlyRowsThatChangeANewTime) {
    execute("DELETE FROM SYSTOOLS.POLICY");
    execute("INSERT INTO SYSTOOLS.POLICY VALUES ('M', 'D', 'changed', '2001-01-01-00.00.00.000000', X'61')");
    execute("INSERT INTO SYSTOOLS.POLICY VALUES ('M', 'D', 'same', '2001-01-01-00.00.00.000000', X'62')");
    done({"dump", dump()});
    execute("UPDATE SYSTOOLS.POLICY SET POLICY = X'63' WHERE NAME = 'changed'");
    done({"load", dump()});
    const json all = json::parse(run({"retrieve", "--json"}).out);
    EXPECT_GT(all[0].at("updateTime").get<std::string>(), "2002") << all;
    EXPECT_EQ(all[1].at("updateTime"), "2001-01-01-00.00.00.000000") << all;
}

TEST_F(CliDump, leavesATraceOfChangedPoliciesInTheHistory) {
    done({"dump", dump()});
    store("DBBackupPolicy", readFile(sample("backup-to-disk.xml")));
    done({"load", dump()});
    const json changes = json::parse(run({"history", "--json"}).out);
    ASSERT_EQ(changes.size(), 1U) << changes;
    EXPECT_EQ(changes[0].at("policy"), "DBBackupPolicy");
    EXPECT_NE(changes[0].at("before").get<std::string>().find("/var/backups/orders"), std::string::npos);
    EXPECT_EQ(changes[0].at("after").get<std::string>().find("/var/backups/orders"), std::string::npos);
    done({"load", dump()});
    EXPECT_EQ(json::parse(run({"history", "--json"}).out).size(), 1U) << "a load that changes nothing";

    const std::string document = run({"retrieve", "--name", "DBBackupPolicy", "--documents"}).out;
    store("DBBackupPolicy", document + "\n");
    done({"load", dump()});
    const json again = json::parse(run({"history", "--json"}).out);
    ASSERT_EQ(again.size(), 2U) << "a change that the description does not show";
    EXPECT_EQ(again[1].at("before"), again[1].at("after"));
}

/* Who writes meanwhile is waited for, and what he wrote is what the load changes. */
TEST_F(CliDump, describesThePoliciesThatItReplacesWhenNobodyElseCanChangeThem) {
    done({"dump", dump()});
    kelhost::EngineContext context(kelhost::Instance::create(instance()));
    const kelhost::EngineContext::Scope bound(context);
    Outcome load;
    std::jthread loader;
    {
        hosttest::Client client;
        ASSERT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET POLICY = X'" + hexOf(readFile(sample("backup-to-disk.xml"))) +
                             "' WHERE NAME = 'DBBackupPolicy'"),
                  SQL_SUCCESS);
        loader = std::jthread([&] { load = run({"load", dump()}); });
        std::this_thread::sleep_for(std::chrono::milliseconds(500));  // a load that begins later meets the same
    }
    context.commit();
    loader.join();
    EXPECT_EQ(load.status, 0) << load.err;
    const json changes = json::parse(run({"history", "--json"}).out);
    ASSERT_EQ(changes.size(), 1U) << changes;
    EXPECT_NE(changes[0].at("before").get<std::string>().find("/var/backups/orders"), std::string::npos) << changes;
    EXPECT_EQ(changes[0].at("after").get<std::string>().find("/var/backups/orders"), std::string::npos) << changes;
}

TEST_F(CliDump, loadsNothingWhenAFileIsNotAsItWas) {
    add("first", "the first document");
    add("second", "the second document");
    done({"dump", dump()});
    const json sound = rows();
    ASSERT_EQ(run({"install", "delete", "--med", "first", "--decision", "first", "--name", "first", "--yes"}).status,
              0);
    const json now = rows();
    const std::string first = fileOf("first");
    const std::string second = fileOf("second");
    const std::string firstName = fs::path(first).filename();
    const std::string secondName = fs::path(second).filename();
    const std::string saved = file("saved");
    const struct {
        const char* name;
        std::function<void()> damage;
        Words inMessage;
    } cases[] = {
        {"a byte changed",
         [&] { writeFile(first, "the First document"); },
         {firstName, "does not hold the bytes that were dumped"}},
        {"a byte missing", [&] { writeFile(first, "the first documen"); }, {firstName, "has 17 bytes, 18 were dumped"}},
        {"a byte more", [&] { writeFile(first, "the first document\n"); }, {firstName, "has 19 bytes, 18 were dumped"}},
        {"emptied", [&] { writeFile(first, ""); }, {firstName, "has 0 bytes"}},
        {"too large", [&] { writeFile(first, std::string(2097153, 'x')); }, {firstName, "more than 2097152"}},
        {"missing", [&] { fs::remove(first); }, {firstName, "is missing"}},
        {"a directory",
         [&] {
             fs::remove(first);
             fs::create_directory(first);
         },
         {firstName, "is no regular file"}},
        {"a link",
         [&] {
             fs::rename(first, file("away"));
             fs::create_symlink(file("away"), first);
         },
         {firstName, "is no regular file"}},
        {"a pipe",
         [&] {
             fs::remove(first);
             ::mkfifo(first.c_str(), 0600);
         },
         {firstName, "is no regular file"}},
        {"renamed",
         [&] { fs::rename(first, dump() + "/renamed.xml"); },
         {firstName + "\" is missing", "\"renamed.xml\" is none of the dump's"}},
        {"exchanged",
         [&] {
             fs::rename(first, file("x"));
             fs::rename(second, first);
             fs::rename(file("x"), second);
         },
         {firstName, secondName}},
        {"one too many", [&] { writeFile(dump() + "/.hidden", ""); }, {"\".hidden\" is none of the dump's"}},
    };
    fs::copy(dump(), saved);
    for (const auto& example : cases) {
        example.damage();
        const std::string message = refusal({"load", dump()}, -1436);
        for (const std::string& text : example.inMessage)
            EXPECT_NE(message.find(text), std::string::npos) << example.name << ": " << message;
        EXPECT_EQ(rows(), now) << example.name;
        fs::remove_all(dump());
        fs::copy(saved, dump());
    }
    done({"load", dump()});
    EXPECT_EQ(rows(), sound) << "the dump itself is sound";
}

TEST_F(CliDump, loadsNothingWhenTheManifestIsNotAsItWas) {
    done({"dump", dump()});
    const std::string path = dump() + "/manifest.json";
    const std::string sound = readFile(path);
    const auto replaced = [&sound](const std::string& from, const std::string& to) {
        std::string text = sound;
        const size_t place = text.find(from);
        EXPECT_NE(place, std::string::npos) << from;
        return text.replace(place, from.size(), to);
    };
    const struct {
        const char* name;
        std::string text;
        const char* inMessage;
    } cases[] = {
        {"empty", "", "is damaged"},
        {"torn", sound.substr(0, sound.size() / 2), "is damaged"},
        {"no JSON", "<xml/>", "is damaged"},
        {"another file", "{}", "is damaged"},
        {"an array", "[]", "is damaged"},
        {"another format", replaced("kelpolicy-dump", "other"), "is no manifest of a dump"},
        {"a later version", replaced("\"version\": 1", "\"version\": 2"), "is of version 2, this program reads 1"},
        {"a changed key", replaced("CommonPolicy\"", "CommonPolicx\""), "its checksum differs"},
        {"a changed file name", replaced("000001-", "000009-"), "its checksum differs"},
        {"a changed checksum of a file", replaced("\"sha256\": \"", "\"sha256\": \"0"), "its checksum differs"},
        {"deep", std::string(1'000'000, '['), "nests too deep"},
    };
    for (const auto& example : cases) {
        writeFile(path, example.text);
        const std::string message = refusal({"load", dump()}, -1436);
        EXPECT_NE(message.find(example.inMessage), std::string::npos) << example.name << ": " << message;
        EXPECT_NE(message.find("manifest.json"), std::string::npos) << message;
    }
    fs::remove(path);
    EXPECT_NE(refusal({"load", dump()}, -1436).find("is missing"), std::string::npos);
    EXPECT_NE(refusal({"load", file("none")}, -902).find(file("none")), std::string::npos);
    EXPECT_EQ(run({"load"}).status, 2);
    EXPECT_EQ(run({"dump", ""}).status, 2);
}

/* Whoever writes a manifest by hand can make its checksum fit. */
TEST_F(CliDump, refusesAManifestWithValuesThatAreNone) {
    done({"dump", dump()});
    const json before = rows();
    const std::string path = dump() + "/manifest.json";
    const auto sound = nlohmann::ordered_json::parse(readFile(path));
    const struct {
        const char* key;
        nlohmann::ordered_json row; /* members of the first row in place of its own */
        const char* why;
    } cases[] = {
        {"med", {{"med", nullptr}, {"medBase64", "!!!"}}, "base64"},
        {"med", {{"med", nullptr}, {"medBase64", "TQ="}}, "base64"},
        {"med", {{"med", nullptr}, {"medBase64", " TQ== "}}, "base64"},
        {"med", {{"med", nullptr}, {"medBase64", "TR=="}}, "base64"},
        {"med", {{"med", nullptr}, {"medBase64", "===="}}, "base64"},
        {"med", {{"med", nullptr}, {"medBase64", 1}}, "base64"},
        {"med", {{"med", nullptr}}, "base64"},
        {"med", {{"med", std::string("a\0b", 3)}}, "holds a byte 0"},
        {"name", {{"name", nullptr}, {"nameBase64", "YQBi"}}, "holds a byte 0"},
        {"decision", {{"decision", std::string(129, 'k')}}, "longer than 128 bytes"},
        {"name", {{"name", 5}}, "no text"},
        {"decision", {{"decision", json::array()}}, "no text"},
        {"bytes", {{"bytes", 1e30}}, "no whole number"},
        {"bytes", {{"bytes", -1}}, "no whole number"},
        {"bytes", {{"bytes", 1.5}}, "no whole number"},
        {"bytes", {{"bytes", "1"}}, "no whole number"},
        {"sha256", {{"sha256", nullptr}}, "no text"},
        {"updateTime", {{"updateTime", 0}}, "no text"},
    };
    for (const auto& example : cases) {
        nlohmann::ordered_json manifest = sound;
        for (const auto& [key, value] : example.row.items()) manifest["rows"][0][key] = value;
        manifest.erase("sha256");
        writeFile(file("text"), manifest.dump());
        manifest["sha256"] = runProgram({"/usr/bin/sha256sum", file("text")}).out.substr(0, 64);
        writeFile(path, manifest.dump());
        const std::string message = refusal({"load", dump(), "--replace"}, -1436);
        for (const std::string& part : {std::string("manifest.json"), "\"" + std::string(example.key) + "\"",
                                        std::string(example.why), sound["rows"][0]["file"].get<std::string>()})
            EXPECT_NE(message.find(part), std::string::npos) << example.row << ": " << message;
        EXPECT_EQ(rows(), before);
    }
}

TEST_F(CliDump, loadsAllOrNothing) {
    done({"dump", dump()});
    execute("DELETE FROM SYSTOOLS.POLICY WHERE NAME = 'CommonPolicy'");
    execute("UPDATE SYSTOOLS.POLICY SET MED = 'Other' WHERE NAME = 'TableRunstatsPolicy'");
    administer("CREATE UNIQUE INDEX SYSTOOLS.NAMES ON POLICY (NAME)");  // the dumped row cannot stand beside it
    const json now = rows();
    const Outcome outcome = run({"load", dump()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("cannot load the row MED \"KELTableMaintenanceMED\""), std::string::npos) << outcome.err;
    EXPECT_EQ(rows(), now) << "CommonPolicy came before it";
}

TEST_F(CliDump, replacesAnEarlierDumpAndNothingElse) {
    add("first", "1");
    done({"dump", dump()});
    writeFile(fileOf("first"), "damaged");
    add("second", "2");
    done({"dump", dump() + "/"});
    EXPECT_EQ(manifest().at("rows").size(), 7U);
    EXPECT_EQ(readFile(fileOf("first")), "1");
    EXPECT_EQ(namesIn(file("")), (Words{"dump", "instance"})) << "the earlier dump is gone";

    const std::string empty = file("empty");
    fs::create_directory(empty);
    done({"dump", empty});
    EXPECT_EQ(namesIn(empty).size(), 8U);

    const std::string link = file("link");
    fs::create_directory_symlink(dump(), link);
    EXPECT_EQ(done({"dump", link}).at("directory"), dump());
    EXPECT_TRUE(fs::is_symlink(link));
}

TEST_F(CliDump, refusesADirectoryThatIsNotItsOwn) {
    done({"dump", dump()});
    const std::string foreign = file("foreign");
    fs::create_directory(foreign);
    writeFile(foreign + "/letter.txt", "dear");
    writeFile(file("plain"), "a file");
    EXPECT_NE(refusal({"dump", foreign}, -902).find("holds no dump"), std::string::npos);
    EXPECT_NE(refusal({"dump", file("plain")}, -902).find("is no directory"), std::string::npos);
    EXPECT_NE(refusal({"dump", file("none/dump")}, -902).find("cannot be made"), std::string::npos);
    EXPECT_NE(refusal({"dump", "/"}, -902).find("\"/\""), std::string::npos);
    writeFile(dump() + "/letter.txt", "dear");
    const json before = manifest();
    EXPECT_NE(refusal({"dump", dump()}, -902).find("\"letter.txt\", which is none of its files"), std::string::npos);
    fs::remove(dump() + "/letter.txt");
    writeFile(dump() + "/manifest.json", "{}");
    EXPECT_NE(refusal({"dump", dump()}, -902).find("holds no dump"), std::string::npos);
    EXPECT_EQ(readFile(foreign + "/letter.txt"), "dear");
    EXPECT_EQ(namesIn(foreign), Words{"letter.txt"});
}

TEST_F(CliDump, showsProgressOnATerminalOnly) {
    if (!requireTerminals()) return;
    const Outcome onTerminal = runOnTerminal({"dump", dump()});
    EXPECT_NE(onTerminal.out.find("\rdumping row 1 of 5"), std::string::npos) << onTerminal.out;
    EXPECT_NE(onTerminal.out.find("\rdumping row 5 of 5\r"), std::string::npos) << onTerminal.out;
    const Outcome load = runOnTerminal({"load", dump()});
    EXPECT_NE(load.out.find("\rchecking row 5 of 5\r"), std::string::npos) << load.out;
    EXPECT_NE(load.out.find("\rloading row 5 of 5\r"), std::string::npos) << load.out;
    EXPECT_EQ(runOnTerminal({"load", dump(), "--json"}).out.find("row 5"), std::string::npos);
    EXPECT_EQ(run({"dump", dump()}).err, "");
    EXPECT_EQ(run({"load", dump()}).err, "");
}

}  // namespace
}  // namespace scenario
