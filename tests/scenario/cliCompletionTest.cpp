// kelpolicy completion: the scripts in the shells that they are for.
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <set>

#include "commandHelp.h"

namespace scenario {
namespace {

using nlohmann::json;
using Words = std::vector<std::string>;
using Candidates = std::set<std::string>;

struct Shell {
    const char* name;
    const char* path;
    /* $1 is the script, the words to complete follow, the last one unfinished; prints candidates, one on a line. */
    const char* program;
};

std::ostream& operator<<(std::ostream& out, const Shell& shell) {
    return out << shell.name;
}

/* The completion systems of zsh and fish work in a terminal only; for zsh its functions print what they are given. */
const Shell shells[] = {
    {"bash", "/bin/bash", R"(
        set -u
        source "$1"; shift
        COMP_WORDS=(kelpolicy "$@"); COMP_CWORD=$#
        _kelpolicy
        printf '%s\n' "${COMPREPLY[@]+"${COMPREPLY[@]}"}")"},
    {"zsh", "/usr/bin/zsh", R"(
        compdef() { }
        compset() { words[CURRENT]=${words[CURRENT]#*=} }
        matching() { local each; for each in "$@"; do [[ $each == ${words[CURRENT]}* ]] && print -r -- "${each%%:*}"; done }
        compadd() { shift; matching "$@" }
        _describe() { matching "${(@P)2}" }
        _files() { local -a found; [[ ${1:-} == -/ ]] && found=(*(N/)) || found=(*(N)); matching "${found[@]}" }
        source "$1"; shift
        words=(kelpolicy "$@"); CURRENT=${#words}
        _kelpolicy
        true)"},
    {"fish", "/usr/bin/fish", R"(
        source $argv[1]
        set -l line kelpolicy (string escape -- $argv[2..-2])
        for candidate in (complete -C "$line $argv[-1]")
            string replace -r '\t.*' '' -- $candidate | string trim -r -c /
        end
        true)"},
};

class CliCompletion : public HelpScenario, public ::testing::WithParamInterface<Shell> {
protected:
    void SetUp() override {
        if (!requireInstalled(GetParam().path)) return;
        const Outcome outcome = run({"completion", GetParam().name});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        writeFile(script(), outcome.out);
        std::filesystem::create_directories(file("here/folder"));
        writeFile(file("here/document.xml"), "");
        EXPECT_FALSE(std::filesystem::exists(instance())) << "a script needs no instance";
    }
    std::string script() const { return file("script"); }

    Candidates complete(const Words& words) const {
        const bool isFish = std::string_view(GetParam().name) == "fish";
        Words command = {"/usr/bin/env", "-C", file("here"), GetParam().path};
        if (isFish) command.emplace_back("--no-config");
        command.insert(command.end(), {"-c", GetParam().program});
        if (!isFish) command.emplace_back("complete");  // $0
        command.push_back(script());
        command.insert(command.end(), words.begin(), words.end());
        const Outcome outcome = runProgram(command, {.environment = {{"HOME", file("here")}}});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        Candidates found;
        std::istringstream lines(outcome.out);
        for (std::string line; std::getline(lines, line);)
            if (!line.empty()) found.insert(line);
        return found;
    }
};

TEST_P(CliCompletion, offersWhatMayStandThere) {
    const struct {
        Words words;
        Candidates expected;
    } cases[] = {
        {{"sho"}, {"show"}},
        {{"l"}, {"load"}},
        {{"show", "st"}, {"stats-profile"}},
        {{"show", ""}, {"backup", "reorg", "runstats", "stats-profile", "windows"}},
        {{"install", ""}, {"insert", "update", "delete"}},
        {{"completion", ""}, {"bash", "zsh", "fish"}},
        {{"completion", "z"}, {"zsh"}},
        {{"window", "next", "--k"}, {"--kind"}},
        {{"window", "next", "--kind", ""}, {"online", "offline"}},
        {{"window", "next", "--kind", "of"}, {"offline"}},
        {{"window", "next", "--tz", "Europe/Berlin", "--kind", "on"}, {"online"}},
        {{"--instance", "show", "dum"}, {"dump"}},
        {{"--json", "show", "b"}, {"backup"}},
        {{"show", "--instance", "backup", "re"}, {"reorg"}},
        {{"show", "backup", "--doc"}, {"--document"}},
        {{"show", "backup", "--document", "d"}, {"document.xml"}},
        {{"tree", "d"}, {"document.xml"}},
        {{"load", "f"}, {"folder"}},
        {{"load", "d"}, {}},
        {{"init", "--instance", "f"}, {"folder"}},
        {{"load", "--rep"}, {"--replace"}},
        {{"show", "backup", "--rep"}, {}},
        {{"show", "backup", "--ins"}, {"--instance"}},
        {{"--vers"}, {"--version"}},
        {{"show", "--vers"}, {}},
        {{"manual", "run"}, {"runstats"}},
        {{"describe", "Com"}, {"CommonPolicy"}},
        {{"set", ""}, {"windows", "backup", "reorg", "runstats"}},
        {{"set", "windows", "d"}, {"document.xml"}},
    };
    for (const auto& example : cases) {
        const Candidates found = complete(example.words);
        EXPECT_EQ(found, example.expected) << GetParam().name << ": " << json(example.words) << " gave " << json(found);
    }
}

TEST_P(CliCompletion, knowsEveryCommandAndOption) {
    forEachCommandOfHelp([this](const CommandHelp& help) {
        Words asked = help.command;
        asked.emplace_back("--");
        Candidates expected = help.options;
        expected.insert({"--instance", "--database", "--database-file", "--json", "--trace"});
        EXPECT_EQ(complete(asked), expected) << json(help.command);
        asked.back() = "";
        const Candidates offered = complete(asked);
        for (const std::string& command : help.commands)
            EXPECT_TRUE(offered.contains(command)) << json(help.command) << " does not offer " << command;
    });
}

INSTANTIATE_TEST_SUITE_P(Shells, CliCompletion, ::testing::ValuesIn(shells),
                         [](const auto& shell) { return std::string(shell.param.name); });

class CliCompletionScript : public Scenario {};

TEST_F(CliCompletionScript, takesAnOptionWithAnEqualsSign) {
    writeFile(file("script"), run({"completion", "bash"}).out);
    // bash hands "--kind=of" over as three words
    const Outcome outcome = runProgram({"/bin/bash", "-c", R"(source "$0"
        COMP_WORDS=(kelpolicy window next --kind = of); COMP_CWORD=5; _kelpolicy; echo "${COMPREPLY[@]}"
        COMP_WORDS=(kelpolicy window next --kind =); COMP_CWORD=4; _kelpolicy; echo "${COMPREPLY[@]}"
        COMP_WORDS=(kelpolicy --instance = show w); COMP_CWORD=4; _kelpolicy; echo "${COMPREPLY[@]}"
        complete -p kelpolicy)",
                                        file("script")});
    EXPECT_EQ(outcome.out, "offline\nonline offline\nwindow\ncomplete -F _kelpolicy kelpolicy\n") << outcome.err;
}

TEST_F(CliCompletionScript, knowsThreeShells) {
    const Outcome unknown = run({"completion", "tcsh"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("tcsh"), std::string::npos) << unknown.err;
    EXPECT_EQ(run({"completion"}).status, 2);
    for (const char* shell : {"bash", "zsh", "fish"})
        EXPECT_EQ(json::parse(run({"completion", shell, "--json"}).out),
                  (json{{"shell", shell}, {"script", run({"completion", shell}).out}}));
}

}  // namespace
}  // namespace scenario
