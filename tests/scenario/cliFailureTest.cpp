// What the command line does when it is not understood, or when something around it is broken.
#include <unistd.h>

#include <sstream>

#include <nlohmann/json.hpp>

#include "commandHelp.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class CliFailure : public HelpScenario {};

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
        {"unknown option",
         {"init", "--frob"},
         "The following argument was not expected: --frob",
         "\"kelpolicy init --help\""},
        {"group alone",
         {"show"},
         "say which: show backup, reorg, runstats, stats-profile, windows",
         "\"kelpolicy show --help\""},
        {"unknown in a group", {"show", "frob"}, "\"frob\" is no command of show", "\"kelpolicy show --help\""},
        {"too many words",
         {"describe", "CommonPolicy", "more"},
         "The following argument was not expected: more",
         "\"kelpolicy describe --help\""},
        {"two commands",
         {"init", "describe"},
         "The following argument was not expected: describe",
         "\"kelpolicy init --help\""},
        {"option without value",
         {"show", "backup", "--document"},
         "--document: 1 required PATH missing",
         "\"kelpolicy show backup --help\""},
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
        EXPECT_NE(json::parse(object.err).at("error").at("message").get<std::string>().find(example.inMessage),
                  std::string::npos)
            << object.err;
    }
    EXPECT_FALSE(fs::exists(instance())) << "a wrong command line makes nothing";
}

TEST_F(CliFailure, explainsEachCommandWithAnExample) {
    for (std::vector<std::string> command : everyCommand()) {
        command.emplace_back("--help");
        const Outcome outcome = run(command);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "") << outcome.err;
        EXPECT_NE(outcome.out.find("Example:\n  "), std::string::npos) << outcome.out;
        const std::string folder = "samples/";
        for (size_t at = outcome.out.find(folder); at != std::string::npos; at = outcome.out.find(folder, at + 1)) {
            const size_t name = at + folder.size();
            const std::string path = sample(outcome.out.substr(name, outcome.out.find_first_of(" \n", name) - name));
            EXPECT_TRUE(fs::is_regular_file(path)) << path;
        }
    }
    const Outcome version = run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.out.starts_with("kelpolicy ") && version.out.ends_with('\n')) << version.out;
    EXPECT_FALSE(fs::exists(instance()));
}

TEST_F(CliFailure, takesGlobalOptionsBeforeAndAfterTheCommand) {
    makeInstance();
    ASSERT_EQ(run({"init", "--instance", file("other")}).status, 0);
    const Outcome before = run({"--json", "show", "backup"});
    EXPECT_EQ(before.out, run({"show", "--json", "backup"}).out);
    EXPECT_EQ(before.out, run({"show", "backup", "--json"}).out);
    EXPECT_EQ(json::parse(before.out).at("targetLocation"), instance() + "/backup");
    const json elsewhere = json::parse(run({"show", "backup", "--json", "--instance", file("other")}).out);
    EXPECT_EQ(elsewhere.at("targetLocation"), file("other") + "/backup");
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
    } cases[] = {{"a file", file("plain"), "is no directory"},
                 {"below a file", file("plain") + "/deeper", "Not a directory"},
                 {"a part is a file", instance(), "is no directory"},
                 {"too long", "/" + std::string(2000, 'x'), "2001 bytes"}};
    for (const auto& example : cases) {
        const Outcome outcome = run({"describe", "--json", "--instance", example.directory});
        EXPECT_EQ(outcome.status, 1) << example.name;
        const json error = json::parse(outcome.err).at("error");
        EXPECT_NE(error.at("message").get<std::string>().find(example.inMessage), std::string::npos)
            << example.name << error;
        EXPECT_EQ(error.at("sqlcode"), -902) << example.name;
        EXPECT_EQ(error.at("sqlstate"), "58030") << example.name;
        EXPECT_NE(error.at("hint").get<std::string>().find("--instance"), std::string::npos) << example.name;
    }
}

TEST_F(CliFailure, tellsThatItMayNotWrite) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can run the program as somebody else";
    ASSERT_EQ(run({"init"}).status, 0);
    fs::permissions(fs::path(instance()).parent_path(), fs::perms::all);
    fs::permissions(instance(), fs::perms(0755));
    for (const auto& entry : fs::recursive_directory_iterator(instance()))
        fs::permissions(entry.path(), entry.is_directory() ? fs::perms(0755) : fs::perms(0644));
    const Outcome outcome = run({"init", "--json"}, {.user = 65534});
    if (outcome.status == 127) GTEST_SKIP() << "the program cannot be reached as somebody else";
    EXPECT_EQ(outcome.status, 1);
    const json error = json::parse(outcome.err).at("error");
    EXPECT_NE(error.at("message").get<std::string>().find("Permission denied"), std::string::npos) << error;
    EXPECT_EQ(error.at("sqlcode"), -902);
    EXPECT_EQ(error.at("sqlstate"), "58030");
}

TEST_F(CliFailure, tellsThatTheDatabaseCannotBeReached) {
    makeInstance();
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
        const json error = json::parse(outcome.err).at("error");
        EXPECT_LT(error.at("sqlcode"), 0) << example.name;
        EXPECT_EQ(error.at("sqlstate").get<std::string>().size(), 5U) << example.name;
        if (!example.sqlstate.empty()) {
            EXPECT_EQ(error.at("sqlstate"), example.sqlstate) << example.name;
        }
        EXPECT_NE(error.at("message").get<std::string>().find("database"), std::string::npos) << error;
        EXPECT_NE(error.at("hint").get<std::string>().find("--database"), std::string::npos) << error;
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
    const json error = json::parse(outcome.err).at("error");
    EXPECT_LT(error.at("sqlcode"), 0) << error;
    EXPECT_NE(error.at("message").get<std::string>().find("not a database"), std::string::npos) << error;
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
        const json error = json::parse(object.err.substr(place, object.err.find('\n', place) - place)).at("error");
        EXPECT_EQ(error.at("policy"), one.policy) << one.command.back();
        EXPECT_EQ(error.at("line"), 3) << one.command.back();
        EXPECT_EQ(error.at("column"), 3) << one.command.back();
        store(one.policy, "<PolicyDocument/>");
    }
}

TEST_F(CliFailure, tellsThatTheAnswerCouldNotBeWritten) {
    ASSERT_EQ(run({"init"}).status, 0);
    const std::vector<std::string> commands[] = {
        {"describe"}, {"describe", "--help"}, {"--version"}, {"completion", "bash"}, {"retrieve", "--documents"}};
    for (const std::vector<std::string>& command : commands) {
        const Outcome outcome = run(command, {.outputFile = "/dev/full"});
        EXPECT_EQ(outcome.status, 1) << command.back();
        EXPECT_EQ(outcome.err.find("kelpolicy: cannot write all of the answer to standard output: No space left on "
                                   "device\n  SQLCODE -902, SQLSTATE 58030\n"),
                  0U)
            << command.back() << outcome.err;
    }
}

/* Else the files that the program opens would take their numbers. */
TEST_F(CliFailure, takesNoOtherFileForAStandardFileThatIsClosed) {
    makeInstance();
    const std::string windows = sample("configuration/windows-nights.xml");
    const struct {
        std::vector<int> closed;
        std::vector<std::string> command;
        int status;
    } cases[] = {
        {{1}, {"get", "windows"}, 1},
        {{1}, {"--version"}, 1},
        {{1}, {"set", "windows", windows}, 1},
        {{1}, {"--json", "retrieve", "--documents"}, 1},
        {{1}, {"get", "windows", "--output", file("got.xml")}, 1},
        {{0, 1}, {"describe"}, 1},
        {{1, 2}, {"describe"}, 1},
        {{0, 1, 2}, {"describe"}, 1},
        {{0}, {"describe"}, 0},
        {{0}, {"set", "windows", "-"}, 1},
        {{2}, {"describe"}, 0},
        {{0, 2}, {"set", "windows", windows}, 0},
        {{0, 2}, {"set", "windows", "-"}, 1},
        {{2}, {"get", "nonsense"}, 2},
    };
    ASSERT_EQ(run({"init"}).status, 0);
    const auto foreign = [this](const std::string& name) {
        std::istringstream lines(readFile(instance() + "/log/" + name));
        std::string found;
        for (std::string line; std::getline(lines, line);)
            if (line.find(" process ") != 26) found += line + "\n";
        return found;
    };
    for (const auto& one : cases) {
        const std::string what = one.command.front() + " without " + std::to_string(one.closed.front());
        // A library that is preloaded, as for another time of day, would open files before the program does.
        const Outcome outcome = run(one.command, {.environment = {{"LD_PRELOAD", std::nullopt}}, .closed = one.closed});
        EXPECT_EQ(outcome.status, one.status) << what << outcome.err;
        const bool tells = one.status == 1 && one.closed.front() <= 1 && one.closed.back() == 1;
        EXPECT_EQ(outcome.err.find("cannot write all of the answer") != std::string::npos, tells) << outcome.err;
        for (const char* name : {"diagnostic.log", "administration.log", "trace.log"})
            EXPECT_EQ(foreign(name), "") << what << ", " << name;
    }
    EXPECT_EQ(readFile(file("got.xml")), run({"get", "windows"}).out) << "only the answer is lost";
}

/* What a path means cannot be told then; every command that takes one says so, and ends. */
TEST_F(CliFailure, tellsThatTheCurrentDirectoryIsGone) {
    ASSERT_EQ(run({"init"}).status, 0);
    const std::string document = sample("windows.xml");
    const struct {
        std::vector<std::string> arguments;
        std::string inMessage;
    } cases[] = {
        {{"window", "calendar", "--document", document, "--html", "a.html", "--ics", "a.ics"},
         "\"a.html\" cannot be written: No such file or directory"},
        {{"window", "calendar", "--document", document, "--ics", "a.ics"},
         "\"a.ics\" cannot be written: No such file or directory"},
        {{"get", "windows", "--output", "w.xml"}, "\"w.xml\" cannot be written: No such file or directory"},
        {{"dump", "d"}, "the directory \"d\" cannot be made: No such file or directory"},
        {{"load", "d"}, "the directory \"d\" cannot be read: No such file or directory"},
        {{"manual", "--directory", "m"}, "the directory \"m\" cannot be made: No such file or directory"},
        {{"show", "backup", "--document", "b.xml"}, "the document \"b.xml\" cannot be read: No such file"},
        {{"init", "--instance", "i"}, "No such file or directory"},
    };
    for (const auto& example : cases) {
        std::vector<std::string> words = {
            "/bin/sh", "-c",    R"(mkdir -p "$1" && cd "$1" && rmdir "$1" && shift && exec "$@")", "sh", file("gone"),
            program(), "--json"};
        words.insert(words.end(), example.arguments.begin(), example.arguments.end());
        const Outcome outcome = runProgram(words, {.environment = {{"KELPOLICY_INSTANCE", instance()}}});
        EXPECT_EQ(outcome.status, 1) << example.arguments[0] << outcome.err;
        EXPECT_EQ(outcome.out, "") << example.arguments[0];
        ASSERT_TRUE(json::accept(outcome.err)) << example.arguments[0] << outcome.err;
        const json error = json::parse(outcome.err).at("error");
        EXPECT_NE(error.at("message").get<std::string>().find(example.inMessage), std::string::npos) << error;
        EXPECT_NE(error.at("sqlcode"), -901) << "it is no defect of the program: " << error;
    }
}

TEST_F(CliFailure, writesATraceAndSaysWhere) {
    makeInstance();
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
    if (!requireTerminals()) return;
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

TEST_F(CliFailure, keepsTheOldFileWhereFilesMayNotGrow) {
    makeInstance();
    ASSERT_EQ(run({"get", "backup", "--server-file", "kept.xml"}).status, 0);
    const std::string before = readFile(instance() + "/tmp/kept.xml");
    const Outcome outcome = run({"get", "backup", "--server-file", "kept.xml", "--json"}, {.fileBytes = 100});
    EXPECT_EQ(outcome.status, 1) << "a failure, not a signal";
    EXPECT_EQ(json::parse(outcome.err).at("error").at("sqlcode"), -1448);
    EXPECT_EQ(readFile(instance() + "/tmp/kept.xml"), before);
    size_t files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(instance() + "/tmp")) ++files;
    EXPECT_EQ(files, 1U) << "nothing is left beside it";
}

TEST_F(CliFailure, answersOnASmallStack) {
    makeInstance();
    ASSERT_EQ(run({"get", "windows", "--output", file("windows.xml")}).status, 0);
    ASSERT_EQ(run({"get", "backup", "--output", file("backup.xml")}).status, 0);
    ASSERT_EQ(run({"get", "reorg", "--output", file("reorg.xml")}).status, 0);
    ASSERT_EQ(run({"get", "runstats", "--output", file("runstats.xml")}).status, 0);
    const std::vector<std::vector<std::string>> commands = {
        {"describe"},
        {"show", "backup"},
        {"show", "windows"},
        {"window", "next", "online"},
        {"window", "status"},
        {"window", "calendar"},
        {"window", "lint"},
        {"history"},
        {"retrieve"},
        {"get", "reorg"},
        {"set", "windows", file("windows.xml")},
        {"set", "backup", file("backup.xml")},
        {"set", "reorg", file("reorg.xml")},
        {"set", "runstats", file("runstats.xml")},
        {"validate", "reorg", file("reorg.xml")},
        {"dump", file("dump")},
    };
    for (const auto& command : commands) {
        const Outcome usual = run(command);
        if (command[0] == "dump") fs::remove_all(file("dump"));
        const Outcome outcome = run(command, {.stackKilobytes = 64});
        EXPECT_EQ(outcome.status, usual.status) << command[0] << " " << outcome.err;
        EXPECT_EQ(outcome.out.empty(), usual.out.empty()) << command[0];
    }
}

}  // namespace
}  // namespace scenario
