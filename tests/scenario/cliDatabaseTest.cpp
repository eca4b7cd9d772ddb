// Where the connection string of the database comes from, and that a password in it is told to nobody.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "scenario.h"

namespace scenario {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Words = std::vector<std::string>;

const std::string secret = "s3;cret";  // what no driver takes but within braces

class CliDatabase : public Scenario {
protected:
    /* A database of the test's own; its name is that of the file. */
    std::string connection(const std::string& name) const {
        return "DRIVER=SQLite3;PWD=s3cret;Database=" + file(name + ".db");
    }
    std::string written(const std::string& name, const std::string& text, mode_t mode = 0600) const {
        writeFile(file(name), text);
        EXPECT_EQ(::chmod(file(name).c_str(), mode), 0);
        return file(name);
    }
    std::string databaseOf(const Words& words, Surroundings surroundings = {}) const {
        Words all = {"init", "--json"};
        all.insert(all.end(), words.begin(), words.end());
        const Outcome outcome = run(all, std::move(surroundings));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.status == 0 ? json::parse(outcome.out).at("database").at("name").get<std::string>() : "";
    }
};

TEST_F(CliDatabase, isTheFirstThatIsGiven) {
    const std::string path = written("connection", connection("fromFile") + "\n");
    const Surroundings environment = {.environment = {{"KELPOLICY_DATABASE", connection("fromEnvironment")}}};
    EXPECT_EQ(databaseOf({}), "kelpolicy");
    EXPECT_EQ(databaseOf({}, {.environment = {{"KELPOLICY_DATABASE", ""}}}), "kelpolicy");
    EXPECT_EQ(databaseOf({}, environment), "fromEnvironment");
    EXPECT_EQ(databaseOf({"--database-file", path}), "fromFile");
    EXPECT_EQ(databaseOf({"--database-file", path}, environment), "fromFile");
    EXPECT_EQ(databaseOf({"--database", connection("fromOption")}, environment), "fromOption");
    const Outcome both = run({"init", "--database", connection("x"), "--database-file", path});
    EXPECT_EQ(both.status, 2) << both.err;
    EXPECT_EQ(both.err.find("cret"), std::string::npos) << both.err;
}

TEST_F(CliDatabase, fileIsOnlyTheUsers) {
    const std::string text = connection("kel");
    ASSERT_EQ(::mkfifo(file("pipe").c_str(), 0600), 0);
    const struct {
        std::string path;
        const char* message; /* empty: it is taken */
    } cases[] = {
        {written("private", text), ""},
        {written("readonly", text, 0400), ""},
        {written("lineEnd", text + "\r\n"), ""},
        {written("group", text, 0640), "mode is 0640"},
        {written("others", text, 0604), "mode is 0604"},
        {written("writable", text, 0620), "mode is 0620"},
        {written("executable", text, 0601), "mode is 0601"},
        {written("empty", ""), "is empty"},
        {written("blank", "\n"), "is empty"},
        {written("lines", text + "\n\n"), "has more than one line"},
        {written("zero", text + std::string(1, '\0')), "has more than one line"},
        {written("long", text + std::string(4096, ';')), "has more than 4096 bytes"},
        {file("missing"), "No such file"},
        {file("pipe"), "is no regular file"},
        {"/dev/null", "is no regular file"},
        {file(""), "is no regular file"},
    };
    for (const auto& one : cases) {
        const Outcome outcome = run({"init", "--database-file", one.path});
        const bool isTaken = *one.message == '\0';
        EXPECT_EQ(outcome.status, isTaken ? 0 : 1) << one.path << '\n' << outcome.err;
        EXPECT_NE(outcome.err.find(isTaken ? "" : one.message), std::string::npos) << one.path << '\n' << outcome.err;
        EXPECT_EQ((outcome.out + outcome.err).find("cret"), std::string::npos) << outcome.err;
    }
    // It is the file that counts, not the name.
    fs::create_symlink(file("private"), file("toPrivate"));
    fs::create_symlink(file("group"), file("toGroup"));
    EXPECT_EQ(run({"init", "--database-file", file("toPrivate")}).status, 0);
    EXPECT_EQ(run({"init", "--database-file", file("toGroup")}).status, 1);
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    ASSERT_EQ(::chown(file("private").c_str(), 65534, 65534), 0);
    const Outcome outcome = run({"init", "--database-file", file("private")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("belongs to the user with the number 65534"), std::string::npos) << outcome.err;
}

/* In whatever the program says, and in whatever it writes. */
TEST_F(CliDatabase, passwordIsToldToNobody) {
    const std::string windows = sample("configuration/windows-nights.xml");
    const Words commands[] = {{"init"},    {"set", "windows", windows}, {"get", "windows"}, {"describe"},
                              {"history"}, {"dump", file("dump")}};
    const std::string unreachable[] = {"DSN=there-is-none;PWD={" + secret + "}",
                                       "DRIVER=there-is-none;Pwd={" + secret + "}",
                                       "postgresql://kel:" + secret + "@localhost/kel", "Password={" + secret + "}"};
    std::string said;
    const auto tell = [&](Words words, const std::string& given) {
        for (const char* more : {"", "--json"}) {
            if (*more != '\0') words.emplace_back(more);
            const Outcome inEnvironment = run(words, {.environment = {{"KELPOLICY_DATABASE", given}}});
            Words all = {"--database", given, "--trace", "all"};
            all.insert(all.end(), words.begin(), words.end());
            const Outcome inWords = run(all);
            said += inEnvironment.out + inEnvironment.err + inWords.out + inWords.err;
        }
    };
    for (const Words& words : commands) tell(words, connection("kel"));
    for (const std::string& given : unreachable) tell({"describe"}, given);
    said += run({"--databse", connection("kel"), "describe"}).err;
    said += run({"describe", "CommonPolicy", connection("kel")}).err;
    said += run({"show", "runstats", "--document", connection("kel")}).err;
    EXPECT_NE(said.find("PWD=***"), std::string::npos) << "some refusals repeat what was given\n" << said;
    for (const std::string& written : {instance(), file("dump")})
        for (const auto& entry : fs::recursive_directory_iterator(written))
            if (entry.is_regular_file()) said += readFile(entry.path());
    EXPECT_EQ(said.find("cret"), std::string::npos) << said.substr(std::max<size_t>(said.find("cret"), 300) - 300, 600);
}

TEST_F(CliDatabase, passwordDoesNotStayInTheProcessList) {
    const Outcome outcome = runProgram({"/bin/sh", "-c",
                                        "mkfifo \"$1\"\n"
                                        "exec 3<>\"$1\"\n"
                                        "\"$2\" --database \"$GIVEN\" validate windows - <&3 &\n"
                                        "for try in $(seq 6000); do\n"
                                        "  words=$(tr '\\0' ' ' </proc/$!/cmdline)\n"
                                        "  case $words in *cret*) ;; \"$2 \"*) break ;; esac\n"
                                        "  sleep 0.01\n"
                                        "done\n"
                                        "kill $!; echo \"$words\"",
                                        "sh", file("waits"), program()},
                                       {.environment = {{"GIVEN", connection("kel")}}});
    EXPECT_EQ(outcome.out,
              program() + " --database DRIVER=SQLite3;PWD=******;Database=" + file("kel.db") + " validate windows - \n")
        << outcome.err;
}

}  // namespace
}  // namespace scenario
