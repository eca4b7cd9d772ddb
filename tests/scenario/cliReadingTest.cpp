// Commands that answer make nothing and need no right to write; what is damaged or missing is told as such.
#include <unistd.h>

#include <fstream>
#include <future>

#include "configurationScenario.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr unsigned nobody = 65534;

class CliReading : public ConfigurationScenario {
protected:
    std::vector<std::vector<std::string>> answeringCommands() const {
        return {{"describe"},          {"show", "backup"},        {"show", "reorg"},
                {"show", "runstats"},  {"show", "stats-profile"}, {"show", "windows"},
                {"window", "next"},    {"window", "calendar"},    {"window", "status", "--check"},
                {"window", "lint"},    {"get", "backup"},         {"retrieve"},
                {"dump", file("dump")}};
    }

    std::string policyFile() const { return instance() + "/db/kelpolicy.systools.db"; }

    /* All that stands below a directory, with the bytes of the files. */
    static std::map<std::string, std::string> below(const std::string& directory) {
        std::map<std::string, std::string> found;
        for (const auto& entry : fs::recursive_directory_iterator(directory))
            found[entry.path()] = entry.is_regular_file() ? readFile(entry.path()) : "";
        return found;
    }

    /* Everybody may read the instance and nobody but its owner write to it. */
    void openToAll() const {
        fs::permissions(fs::path(instance()).parent_path(), fs::perms(0755));
        fs::permissions(instance(), fs::perms(0755));
        for (const auto& entry : fs::recursive_directory_iterator(instance()))
            fs::permissions(entry.path(), entry.is_directory() ? fs::perms(0755) : fs::perms(0644));
    }

    void expectAnswers(const std::function<Outcome(std::vector<std::string>)>& runIt, const std::string& how) {
        for (const auto& command : answeringCommands()) {
            if (command.front() == "dump") continue;  // it writes, elsewhere
            const Outcome outcome = runIt(command);
            EXPECT_EQ(outcome.status, 0) << how << ", " << command.back() << ": " << outcome.err;
            EXPECT_NE(outcome.out, "") << how << ", " << command.back();
        }
    }
};

TEST_F(CliReading, makesNoInstanceAndSaysWhichCommandDoes) {
    for (const auto& command : answeringCommands()) {
        const Outcome outcome = run(command);
        EXPECT_EQ(outcome.status, 1) << command.back() << outcome.out;
        EXPECT_EQ(outcome.out, "") << command.back();
        EXPECT_NE(outcome.err.find("there is no instance at \"" + instance() + "\""), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("kelpolicy --instance " + instance() + " init"), std::string::npos) << outcome.err;
        EXPECT_FALSE(fs::exists(instance())) << command.back();
        EXPECT_FALSE(fs::exists(file("dump"))) << command.back();
    }
    const Outcome history = run({"history"});
    EXPECT_EQ(history.status, 1);
    EXPECT_NE(history.err.find("there is no instance at"), std::string::npos) << history.err;

    writeFile(file("windows.xml"), windowsConfiguration({}));
    const Outcome dryRun = run({"set", "windows", file("windows.xml"), "--dry-run"});
    EXPECT_EQ(dryRun.status, 1);
    EXPECT_NE(dryRun.err.find("there is no instance at"), std::string::npos) << dryRun.err;
    EXPECT_FALSE(fs::exists(instance()));
}

TEST_F(CliReading, takesADirectoryThatIsNoInstanceForNone) {
    fs::create_directory(file("it's no instance"));
    const Outcome outcome = run({"--instance", file("it's no instance"), "describe"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("there is no instance at"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("it'\"'\"'s no instance' init"), std::string::npos) << outcome.err;
    EXPECT_TRUE(fs::is_empty(file("it's no instance")));
}

TEST_F(CliReading, makesNoDatabaseAndNoTable) {
    ASSERT_EQ(run({"init"}).status, 0);
    const std::string connection = "DRIVER=SQLite3;Database=";
    {
        kelhost::EngineContext context(kelhost::Instance::find(instance()),
                                       {.connection = connection + file("app.db")});
        const kelhost::EngineContext::Scope bound(context);
        context.administer("CREATE TABLE ORDERS (ID INTEGER)");
        context.commit();
    }
    fs::remove(file("app.systools.db"));
    for (const char* name : {"app.db", "mistyped.db"}) {
        const auto before = below(file(""));
        for (const auto& command : answeringCommands()) {
            std::vector<std::string> words = command;
            words.insert(words.end(), {"--database", connection + file(name)});
            const Outcome outcome = run(words);
            EXPECT_EQ(outcome.status, 1) << name << command.back();
            const bool isThere = std::string(name) == "app.db";
            EXPECT_NE(outcome.err.find(isThere ? "there is no policy table SYSTOOLS.POLICY in the database \"app\""
                                               : "there is no database file \"" + file(name) + "\""),
                      std::string::npos)
                << outcome.err;
            EXPECT_NE(outcome.err.find("\"kelpolicy init\""), std::string::npos) << outcome.err;
        }
        auto after = below(file(""));
        for (const auto& [path, text] : before) {
            if (!path.ends_with(".log")) {
                EXPECT_EQ(after[path], text) << path;
            }
        }
        EXPECT_EQ(after.size(), before.size()) << name;
    }
    fs::remove_all(instance() + "/db");
    fs::create_directory(instance() + "/db");
    const Outcome outcome = run({"window", "status", "--check"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("there is no database file"), std::string::npos) << outcome.err;
    EXPECT_TRUE(fs::is_empty(instance() + "/db"));
}

TEST_F(CliReading, leavesNothingBesideTheDatabase) {
    ASSERT_EQ(run({"init"}).status, 0);
    const std::vector<std::string> names = namesIn(instance() + "/db");
    expectAnswers([this](const std::vector<std::string>& words) { return run(words); }, "the owner");
    EXPECT_EQ(namesIn(instance() + "/db"), names);
}

TEST_F(CliReading, answersAUserWhoMayOnlyRead) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can run the program as somebody else";
    ASSERT_EQ(run({"init"}).status, 0);
    openToAll();
    if (run({"--version"}, {.user = nobody}).status == 127) GTEST_SKIP() << "the program cannot be reached";
    const auto asNobody = [this](const std::vector<std::string>& words) { return run(words, {.user = nobody}); };
    expectAnswers(asNobody, "nobody has the database open");
    {
        kelhost::EngineContext context(kelhost::Instance::find(instance()));
        const kelhost::EngineContext::Scope bound(context);
        hosttest::Client client;
        ASSERT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET MED = MED"), SQL_SUCCESS);
        context.commit();
        openToAll();
        expectAnswers(asNobody, "somebody writes");
    }
    const Outcome change =
        run({"install", "delete", "--med", "KELCommonMED", "--name", "CommonPolicy", "--yes"}, {.user = nobody});
    EXPECT_EQ(change.status, 1);
    EXPECT_NE(change.err.find("as a user who may"), std::string::npos) << change.err;
}

TEST_F(CliReading, saysWhyALogOfChangesCannotBeRead) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can run the program as somebody else";
    ASSERT_EQ(run({"init"}).status, 0);
    const std::string kept = file("kept");
    {
        kelhost::EngineContext context(kelhost::Instance::find(instance()));
        const kelhost::EngineContext::Scope bound(context);
        hosttest::Client client;
        ASSERT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET MED = MED"), SQL_SUCCESS);
        context.commit();
        fs::copy_file(policyFile() + "-wal", kept);  // as a machine that stops at this moment leaves it
    }
    fs::copy_file(kept, policyFile() + "-wal");
    openToAll();
    const Outcome outcome = run({"describe"}, {.user = nobody});
    if (outcome.status == 127) GTEST_SKIP() << "the program cannot be reached as somebody else";
    EXPECT_EQ(outcome.status, 1) << outcome.out;
    EXPECT_NE(outcome.err.find("the latest changes of the database file \"" + policyFile() + "\" stand in"),
              std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.err.find("as the owner of the directory"), std::string::npos) << outcome.err;
    EXPECT_EQ(run({"init"}).status, 0);
    openToAll();
    EXPECT_EQ(run({"describe"}, {.user = nobody}).status, 0) << "the remedy helps";
}

TEST_F(CliReading, answersOnAFileSystemThatMayOnlyBeRead) {
    ASSERT_EQ(run({"init"}).status, 0);
    const auto mounted = [this](const std::vector<std::string>& arguments) {
        std::vector<std::string> words = {"/usr/bin/unshare",
                                          "--mount",
                                          "/bin/sh",
                                          "-c",
                                          "mount --bind \"$0\" \"$0\" && mount -o remount,bind,ro \"$0\" || exit 77; "
                                          "exec \"$@\"",
                                          instance(),
                                          program()};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return runProgram(words, {.environment = {{"KELPOLICY_INSTANCE", instance()}, {"TZ", "UTC"}}});
    };
    const int status = mounted({"--version"}).status;
    if (status != 0) GTEST_SKIP() << "nothing can be mounted here";
    expectAnswers(mounted, "read-only");
    const Outcome change = mounted({"init"});
    EXPECT_EQ(change.status, 1);
    EXPECT_NE(change.err.find("commands that change something need another one"), std::string::npos) << change.err;
}

TEST_F(CliReading, saysThatAnInstanceMayNotBeRead) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can run the program as somebody else";
    ASSERT_EQ(run({"init"}).status, 0);
    openToAll();
    const struct {
        std::string path;
        std::vector<std::string> command;
    } cases[] = {{instance(), {"describe"}},
                 {instance() + "/db", {"describe"}},
                 {policyFile(), {"describe"}},
                 {instance() + "/log", {"history"}}};
    for (const auto& example : cases) {
        const fs::perms before = fs::status(example.path).permissions();
        fs::permissions(example.path, fs::perms::none);
        const Outcome outcome = run(example.command, {.user = nobody});
        fs::permissions(example.path, before);
        if (outcome.status == 127) GTEST_SKIP() << "the program cannot be reached as somebody else";
        if (example.command.front() == "history") continue;
        EXPECT_EQ(outcome.status, 1) << example.path;
        EXPECT_NE(outcome.err.find("Permission denied"), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("Run the command as a user who may read the instance directory"), std::string::npos)
            << outcome.err;
    }
}

TEST_F(CliReading, namesADatabaseFileThatIsDamaged) {
    ASSERT_EQ(run({"init"}).status, 0);
    const std::string whole = readFile(policyFile());
    const struct {
        std::string file;
        std::string text;
        std::vector<std::string> command;
    } cases[] = {
        {policyFile(), std::string(8192, 'x'), {"describe"}},
        {policyFile(), std::string(8192, 'x'), {"init"}},
        {policyFile(), whole.substr(0, 4096) + std::string(whole.size() - 4096, 'x'), {"describe"}},
        {policyFile(), whole.substr(0, 4096) + std::string(whole.size() - 4096, 'x'), {"get", "windows"}},
        {instance() + "/db/kelpolicy.db", std::string(8192, 'x'), {"init"}},
    };
    for (const auto& example : cases) {
        const std::string before = readFile(example.file);
        writeFile(example.file, example.text);
        const Outcome outcome = run(example.command);
        EXPECT_EQ(outcome.status, 1) << example.command.front();
        EXPECT_NE(outcome.err.find("\"" + example.file + "\""), std::string::npos) << outcome.err;
        const bool isTold = outcome.err.find("not a database") != std::string::npos ||
                            outcome.err.find("malformed") != std::string::npos;
        EXPECT_TRUE(isTold) << outcome.err;
        EXPECT_NE(outcome.err.find("from a backup. Or move it away"), std::string::npos) << outcome.err;
        EXPECT_EQ(readFile(example.file), example.text) << "nothing is written over it";
        writeFile(example.file, before);
    }
    EXPECT_EQ(run({"describe"}).status, 0);
}

TEST_F(CliReading, restoresAMissingRowWithTheCommandThatTheAnswerNames) {
    ASSERT_EQ(run({"init"}).status, 0);
    for (const ConfigurationName& name : configurationNames) {
        execute(std::string("DELETE FROM SYSTOOLS.POLICY WHERE NAME='") + name.policy + "'");
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"describe", name.policy}, {"show", name.shortName}, {"get", name.shortName}}) {
            const Outcome outcome = run(command);
            EXPECT_EQ(outcome.status, command.front() == "get" ? 1 : 0) << outcome.err;
            EXPECT_NE(outcome.err.find("\"kelpolicy init\" makes the default row"), std::string::npos) << outcome.err;
        }
    }
    const std::string kept = row("StatsProfilePolicy").updateTime;
    const json said = json::parse(run({"init", "--json"}).out);
    for (const json& policy : said.at("policies"))
        EXPECT_EQ(policy.at("state"), policy.at("name") == "StatsProfilePolicy" ? "was there" : "made") << policy;
    EXPECT_EQ(row("StatsProfilePolicy").updateTime, kept);
    for (const ConfigurationName& name : configurationNames)
        EXPECT_EQ(run({"get", name.shortName}).status, 0) << name.shortName;
}

/* Somebody else's change is not committed as long as the program runs. */
TEST_F(CliReading, answersWhileAnotherUnitOfWorkHoldsTheLock) {
    ASSERT_EQ(run({"init"}).status, 0);
    for (const char* change : {"UPDATE SYSTOOLS.PACKAGE SET TOKEN = '0123456789ABCDEF'", "DELETE FROM SYSTOOLS.PACKAGE",
                               "DROP TABLE SYSTOOLS.PACKAGE"}) {
        administer(change);
        kelhost::EngineContext context(kelhost::Instance::find(instance()));
        const kelhost::EngineContext::Scope bound(context);
        hosttest::Client client;
        ASSERT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET MED = MED"), SQL_SUCCESS);
        for (const ConfigurationName& name : configurationNames) {
            const Outcome outcome = run({"get", name.shortName});
            EXPECT_EQ(outcome.status, 0) << change << ": " << outcome.err;
        }
        context.rollback();
    }
}

TEST_F(CliReading, bindsThePackageInAUnitOfItsOwnBeforeAChange) {
    writeFile(file("windows.xml"), windowsConfiguration({}));
    ASSERT_EQ(run({"init"}).status, 0);
    ASSERT_EQ(run({"dump", file("dumped")}).status, 0);
    const auto tokens = [this] {
        kelhost::EngineContext context(kelhost::Instance::find(instance()));
        const kelhost::EngineContext::Scope bound(context);
        hosttest::Client client;
        return client.rows("SELECT TOKEN FROM SYSTOOLS.PACKAGE");
    };
    const std::vector<std::string> own = tokens();
    ASSERT_EQ(own.size(), 1U);
    const std::vector<std::string> another = {"0123456789ABCDEF"};
    const struct {
        std::vector<std::string> command;
        bool binds;
        int status;
    } cases[] = {{{"get", "windows"}, false, 0},
                 {{"describe"}, false, 0},
                 {{"set", "windows", file("missing.xml")}, false, 1},
                 {{"set", "windows", file("windows.xml")}, true, 0},
                 {{"set", "windows", file("dump/nothing"), "--force"}, false, 1},
                 {{"install", "delete", "--med", "none", "--yes"}, true, 1},
                 {{"load", file("dumped")}, true, 0},
                 {{"init"}, true, 0}};
    for (const auto& example : cases) {
        execute("UPDATE SYSTOOLS.PACKAGE SET TOKEN = '" + another.front() + "'");
        const Outcome outcome = run(example.command);
        EXPECT_EQ(outcome.status, example.status) << example.command.front() << outcome.err;
        EXPECT_EQ(tokens(), example.binds ? own : another) << example.command.front();
    }
}

/* Every process sets the same policy many times; the log must tell one story. */
TEST_F(CliReading, eachChangeBeginsWithWhatTheOneBeforeLeft) {
    ASSERT_EQ(run({"init"}).status, 0);
    constexpr int processes = 4;
    constexpr int rounds = 6;
    {
        std::vector<std::future<void>> setters;
        for (int process = 0; process < processes; ++process) {
            setters.push_back(std::async(std::launch::async, [this, process] {
                for (int round = 0; round < rounds; ++round) {
                    const std::string hours = std::to_string(1 + process * rounds + round);
                    set("backup", backupConfiguration(diskTarget(""), hours));
                }
            }));
        }
    }
    const json changes = json::parse(run({"history", "--json"}).out);
    ASSERT_EQ(changes.size(), size_t{processes * rounds});
    for (size_t i = 1; i < changes.size(); ++i) EXPECT_EQ(changes[i].at("before"), changes[i - 1].at("after")) << i;
}

}  // namespace
}  // namespace scenario
