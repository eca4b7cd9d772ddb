// What the command line does when it is not understood, or when something around it is broken.
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "scenario.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class CliFailure : public Scenario {};

TEST_F(CliFailure, answersAWrongCommandLineWithStatusTwo) {
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        std::string inMessage;
        std::string inHint;
    } cases[] = {
        {"nothing",
         {},
         "say which: kelpolicy init, describe, tree, show, window, get, set, validate, convert, extract",
         "\"kelpolicy --help\""},
        {"unknown command", {"frob"}, "\"frob\" is no command of kelpolicy", "\"kelpolicy --help\""},
        {"unknown option", {"init", "--frob"}, "--frob", "\"kelpolicy init --help\""},
        {"group alone",
         {"show"},
         "say which: show backup, reorg, runstats, stats-profile, windows",
         "\"kelpolicy show --help\""},
        {"unknown in a group", {"show", "frob"}, "\"frob\" is no command of show", "\"kelpolicy show --help\""},
        {"too many words", {"describe", "CommonPolicy", "more"}, "more", "\"kelpolicy describe --help\""},
        {"two commands", {"init", "describe"}, "describe", "\"kelpolicy init --help\""},
        {"option without value", {"show", "backup", "--document"}, "--document", "\"kelpolicy show backup --help\""},
        {"empty document", {"show", "backup", "--document", ""}, "--document: the value is empty", ""},
        {"empty instance", {"--instance", "", "init"}, "--instance: the value is empty", ""},
        {"empty connection", {"--database", "", "init"}, "--database: the value is empty", ""},
        {"missing path", {"tree"}, "PATH is required", "\"kelpolicy tree --help\""},
        {"trace flag", {"--trace", "entry,frob", "init"}, "\"frob\" is not entry, exit, data or all", ""},
        {"no trace flag", {"--trace", ",", "init"}, "is not entry, exit, data or all", ""},
    };
    for (const auto& example : cases) {
        const Outcome text = run(example.arguments);
        EXPECT_EQ(text.status, 2) << example.name;
        EXPECT_EQ(text.out, "") << example.name;
        EXPECT_EQ(text.err.find("kelpolicy: "), 0U) << text.err;
        EXPECT_NE(text.err.find(example.inMessage), std::string::npos) << example.name << ": " << text.err;
        EXPECT_NE(text.err.find(example.inHint), std::string::npos) << example.name << ": " << text.err;

        std::vector<std::string> withJson = example.arguments;
        withJson.insert(withJson.begin(), "--json");
        const Outcome object = run(withJson);
        EXPECT_EQ(object.status, 2) << example.name;
        EXPECT_NE(json::parse(object.err)["error"]["message"].get<std::string>().find(example.inMessage),
                  std::string::npos)
            << object.err;
    }
    EXPECT_FALSE(fs::exists(instance())) << "a wrong command line makes nothing";
}

TEST_F(CliFailure, explainsEachCommandWithAnExample) {
    const std::vector<std::vector<std::string>> commands = {{},
                                                            {"init"},
                                                            {"describe"},
                                                            {"tree"},
                                                            {"show"},
                                                            {"show", "backup"},
                                                            {"show", "reorg"},
                                                            {"show", "runstats"},
                                                            {"show", "stats-profile"},
                                                            {"show", "windows"},
                                                            {"window"},
                                                            {"window", "next"},
                                                            {"window", "status"},
                                                            {"window", "calendar"},
                                                            {"window", "lint"},
                                                            {"get"},
                                                            {"set"},
                                                            {"validate"},
                                                            {"convert"},
                                                            {"extract"}};
    for (std::vector<std::string> command : commands) {
        command.emplace_back("--help");
        const Outcome outcome = run(command);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "") << outcome.err;
        EXPECT_NE(outcome.out.find("Example:\n  kelpolicy "), std::string::npos) << outcome.out;
    }
    EXPECT_EQ(run({"--version"}).status, 0);
    EXPECT_FALSE(fs::exists(instance()));
}

TEST_F(CliFailure, takesGlobalOptionsBeforeAndAfterTheCommand) {
    const Outcome before = run({"--json", "show", "backup"});
    EXPECT_EQ(before.out, run({"show", "--json", "backup"}).out);
    EXPECT_EQ(before.out, run({"show", "backup", "--json"}).out);
    EXPECT_EQ(json::parse(before.out)["targetLocation"], instance() + "/backup");
    const json elsewhere = json::parse(run({"show", "backup", "--json", "--instance", file("other")}).out);
    EXPECT_EQ(elsewhere["targetLocation"], file("other") + "/backup");
}

TEST_F(CliFailure, tellsWhatIsWrongWithTheInstance) {
    writeFile(file("plain"), "no directory");
    ASSERT_EQ(run({"init"}).status, 0);
    fs::remove_all(instance() + "/log");
    writeFile(instance() + "/log", "no directory either");
    const struct {
        const char* name;
        std::string directory;
        std::string inMessage;
    } cases[] = {{"a file", file("plain"), "Not a directory"},
                 {"below a file", file("plain") + "/deeper", "Not a directory"},
                 {"a part is a file", instance(), "is no directory"},
                 {"too long", "/" + std::string(2000, 'x'), "2001 bytes"}};
    for (const auto& example : cases) {
        const Outcome outcome = run({"describe", "--json", "--instance", example.directory});
        EXPECT_EQ(outcome.status, 1) << example.name;
        const json error = json::parse(outcome.err)["error"];
        EXPECT_NE(error["message"].get<std::string>().find(example.inMessage), std::string::npos)
            << example.name << error;
        EXPECT_EQ(error["sqlcode"], -902) << example.name;
        EXPECT_EQ(error["sqlstate"], "58030") << example.name;
        EXPECT_NE(error["hint"].get<std::string>().find("--instance"), std::string::npos) << example.name;
    }
}

TEST_F(CliFailure, tellsThatItMayNotWrite) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can run the program as somebody else";
    ASSERT_EQ(run({"init"}).status, 0);
    fs::permissions(fs::path(instance()).parent_path(), fs::perms::all);
    fs::permissions(instance(), fs::perms(0755));
    for (const auto& entry : fs::recursive_directory_iterator(instance()))
        fs::permissions(entry.path(), entry.is_directory() ? fs::perms(0755) : fs::perms(0644));
    const Outcome outcome = run({"describe", "--json"}, {.user = 65534});
    if (outcome.status == 127) GTEST_SKIP() << "the program cannot be reached as somebody else";
    EXPECT_EQ(outcome.status, 1);
    const json error = json::parse(outcome.err)["error"];
    EXPECT_NE(error["message"].get<std::string>().find("Permission denied"), std::string::npos) << error;
    EXPECT_EQ(error["sqlcode"], -902);
    EXPECT_EQ(error["sqlstate"], "58030");
}

TEST_F(CliFailure, tellsThatTheDatabaseCannotBeReached) {
    const struct {
        const char* name;
        std::string connection;
        std::string sqlstate;
    } cases[] = {{"unknown data source", "DSN=there-is-none", "IM002"},
                 {"unknown driver", "DRIVER=there-is-none;Database=x", ""},
                 {"no connection string", "nonsense", ""},
                 {"a file that cannot be opened", "DRIVER=SQLite3;Database=/nonexistent/x.db", ""}};
    for (const auto& example : cases) {
        const Outcome outcome = run({"describe", "--json", "--database", example.connection});
        EXPECT_EQ(outcome.status, 1) << example.name;
        EXPECT_EQ(outcome.out, "") << example.name;
        const json error = json::parse(outcome.err)["error"];
        EXPECT_LT(error["sqlcode"], 0) << example.name;
        EXPECT_EQ(error["sqlstate"].get<std::string>().size(), 5U) << example.name;
        if (!example.sqlstate.empty()) {
            EXPECT_EQ(error["sqlstate"], example.sqlstate) << example.name;
        }
        EXPECT_NE(error["message"].get<std::string>().find("the database: "), std::string::npos) << error;
        EXPECT_NE(error["hint"].get<std::string>().find("--database"), std::string::npos) << error;
    }
    const Outcome text = run({"describe", "--database", "DSN=there-is-none"});
    EXPECT_NE(text.err.find("\n  SQLCODE -30081, SQLSTATE IM002\n"), std::string::npos) << text.err;
}

TEST_F(CliFailure, tellsThatTheDatabaseFileIsNone) {
    ASSERT_EQ(run({"init"}).status, 0);
    for (const auto& entry : fs::directory_iterator(instance() + "/db"))
        writeFile(entry.path(), std::string(8192, 'x'));
    const Outcome outcome = run({"show", "backup", "--json"});
    EXPECT_EQ(outcome.status, 1);
    const json error = json::parse(outcome.err)["error"];
    EXPECT_LT(error["sqlcode"], 0) << error;
    EXPECT_NE(error["message"].get<std::string>().find("not a database"), std::string::npos) << error;
}

TEST_F(CliFailure, saysWhereAStoredDocumentDoesNotParseWhicheverCommandReadsIt) {
    const struct {
        std::vector<std::string> command;
        const char* policy;
    } cases[] = {{{"init"}, "CommonPolicy"},
                 {{"init"}, "DBBackupPolicy"},
                 {{"describe"}, "StatsProfilePolicy"},
                 {{"describe", "TableReorgPolicy"}, "TableReorgPolicy"},
                 {{"show", "backup"}, "DBBackupPolicy"},
                 {{"show", "reorg"}, "TableReorgPolicy"},
                 {{"show", "runstats"}, "TableRunstatsPolicy"},
                 {{"show", "stats-profile"}, "StatsProfilePolicy"},
                 {{"show", "windows"}, "CommonPolicy"},
                 {{"window", "next"}, "CommonPolicy"},
                 {{"window", "status"}, "CommonPolicy"},
                 {{"window", "status", "--check"}, "CommonPolicy"},
                 {{"window", "calendar"}, "CommonPolicy"},
                 {{"window", "lint"}, "CommonPolicy"}};
    for (const auto& one : cases) {
        const std::string whole = "the stored policy " + std::string(one.policy);
        store(one.policy, "<PolicyDocument>\n<Scope>\n</PolicyDocument>");
        const Outcome text = run(one.command);
        EXPECT_EQ(text.status, 1) << one.command.back();
        EXPECT_NE(text.err.find(whole + " does not parse at line 3, column 3: expected end of tag 'Scope'"),
                  std::string::npos)
            << one.command.back() << ": " << text.err;

        std::vector<std::string> withJson = one.command;
        withJson.emplace_back("--json");
        const Outcome object = run(withJson);
        EXPECT_EQ(object.status, 1) << one.command.back();
        const size_t place = object.err.find("{\"error\"");
        ASSERT_NE(place, std::string::npos) << one.command.back() << ": " << object.err;
        const json error = json::parse(object.err.substr(place, object.err.find('\n', place) - place))["error"];
        EXPECT_EQ(error["policy"], one.policy) << one.command.back();
        EXPECT_EQ(error["line"], 3) << one.command.back();
        EXPECT_EQ(error["column"], 3) << one.command.back();
        store(one.policy, "<PolicyDocument/>");
    }
}

TEST_F(CliFailure, tellsThatTheAnswerCouldNotBeWritten) {
    ASSERT_EQ(run({"init"}).status, 0);
    const Outcome outcome = run({"describe"}, {.outputFile = "/dev/full"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("cannot write all of the answer to standard output"), std::string::npos) << outcome.err;
}

TEST_F(CliFailure, writesATraceAndSaysWhere) {
    const Outcome outcome = run({"--trace", "entry,exit", "show", "backup", "--json"});
    EXPECT_EQ(outcome.status, 0);
    const std::string path = instance() + "/log/trace.log";
    EXPECT_EQ(json::parse(outcome.err), (json{{"note", "the trace is written to " + path}}));
    const std::string trace = readFile(path);
    EXPECT_NE(trace.find("sqlpiGetBackup entry"), std::string::npos) << trace;
    EXPECT_NE(trace.find("sqlpiGetBackup exit"), std::string::npos) << trace;
    EXPECT_EQ(trace.find(" probe "), std::string::npos) << trace;

    ASSERT_EQ(run({"--trace", "all", "show", "reorg", "--document", sample("reorg.xml")}).status, 0);
    const std::string more = readFile(path).substr(trace.size());
    EXPECT_NE(more.find(" probe "), std::string::npos) << more;
    EXPECT_NE(more.find("sqlpiGetReorgPolicy"), std::string::npos) << more;
    ASSERT_EQ(run({"show", "backup"}).status, 0);
    EXPECT_EQ(readFile(path), trace + more) << "a trace is written only when it is asked for";
}

TEST_F(CliFailure, coloursOnlyATerminalThatWantsIt) {
    ASSERT_EQ(run({"init"}).status, 0);
    const auto hasColour = [](const Outcome& outcome) { return outcome.out.find('\x1B') != std::string::npos; };
    const std::vector<std::string> command = {"show", "backup"};
    EXPECT_TRUE(hasColour(runOnTerminal(command)));
    EXPECT_FALSE(hasColour(run(command)));
    EXPECT_FALSE(hasColour(runOnTerminal(command, {.environment = {{"NO_COLOR", "1"}}})));
    EXPECT_TRUE(hasColour(runOnTerminal(command, {.environment = {{"NO_COLOR", ""}}})));
    EXPECT_FALSE(hasColour(runOnTerminal(command, {.environment = {{"TERM", "dumb"}}})));
    EXPECT_FALSE(hasColour(runOnTerminal(command, {.environment = {{"TERM", std::nullopt}}})));
    EXPECT_FALSE(hasColour(runOnTerminal({"show", "backup", "--json"})));
    EXPECT_EQ(runOnTerminal(command).status, 0);
}

}  // namespace
}  // namespace scenario
