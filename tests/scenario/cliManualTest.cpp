// kelpolicy manual: the pages, and what the formatters of manual pages think of them.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "commandHelp.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;
using Words = std::vector<std::string>;

class CliManual : public HelpScenario {
protected:
    void SetUp() override { requireInstalled("/usr/bin/groff"); }

    std::string page(const Words& command) const {
        Words words = {"manual"};
        words.insert(words.end(), command.begin(), command.end());
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }
    /* As a person sees it. */
    std::string shown(const Words& command) const {
        const Outcome outcome =
            runProgram({"/usr/bin/groff", "-man", "-Tascii", "-P-c", "-P-b", "-P-u", "-rLL=200n", "-rHY=0"},
                       {.input = page(command)});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    }
};

TEST_F(CliManual, hasAPageForEveryCommandThatItsFormattersAccept) {
    if (!requireInstalled("/usr/bin/mandoc")) return;
    const std::string directory = file("man/man1");
    const json written = json::parse(run({"manual", "--directory", directory, "--json"}).out).at("written");
    EXPECT_FALSE(fs::exists(instance())) << "a page needs no instance";
    EXPECT_EQ(written.size(), everyCommand().size());
    for (const Words& command : everyCommand()) {
        std::string name = "/kelpolicy";
        for (const std::string& word : command) name += "-" + word;
        EXPECT_NE(std::find(written.begin(), written.end(), directory + name + ".1"), written.end()) << name;
    }
    for (const std::string path : written) {
        const std::string text = readFile(path);
        EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char byte) { return byte > 0; }))
            << path << " is not ASCII";
        const Outcome groff = runProgram({"/usr/bin/groff", "-man", "-ww", "-z", "-Tutf8", path});
        EXPECT_EQ(groff.status, 0) << path;
        EXPECT_EQ(groff.err, "") << path;
        const Outcome mandoc = runProgram({"/usr/bin/mandoc", "-T", "lint", "-W", "error", path});
        EXPECT_EQ(mandoc.status, 0) << mandoc.out << mandoc.err;
    }
    const Outcome text = run({"manual", "--directory", directory});
    EXPECT_EQ(text.out, "written: " + std::to_string(written.size()) + " pages in " + directory + "\n");
}

TEST_F(CliManual, saysWhatTheDefinitionsSay) {
    const struct {
        Words command;
        Words texts;
    } cases[] = {
        {{},
         {"KELPOLICY(1)", "kelpolicy - Shows and sets the automatic-maintenance policies", "kelpolicy [-",
          "COMMAND ...", "--instance DIR", "Environment: KELPOLICY_INSTANCE.", "0 done, 1 refused or failed, 2 usage",
          "kelpolicy-window(1)"}},
        {{"show"}, {"KELPOLICY-SHOW(1)", "kelpolicy-show-backup(1)", "COMMANDS", "kelpolicy show backup"}},
        {{"window", "next"},
         {"kelpolicy window next [--help] [--kind online|offline]", "--kind online|offline", "One of: online, offline.",
          "Range: 1 - 100000.", "kelpolicy window next --kind offline --count 3 --tz Europe/Berlin",
          "explained in kelpolicy(1)."}},
        {{"install", "insert"},
         {"kelpolicy install insert [--help] --med KEY [--decision KEY] [--name KEY] [--policy PATH] [--policy-file "
          "SERVERFILE]",
          "Not with --policy-file.", "Not with --policy.", "(default: NOP)."}},
        {{"load"}, {"kelpolicy load [--help] [--replace] DIR", "ARGUMENTS", "Remove rows that are not in the dump."}},
        {{"manual"}, {"[COMMAND ...]"}},
        {{"validate"}, {"EXIT STATUS", "0 valid, 1 not."}},
    };
    for (const auto& example : cases) {
        const std::string text = shown(example.command);
        for (const std::string& part : example.texts)
            EXPECT_NE(text.find(part), std::string::npos) << "\"" << part << "\" is not in:\n" << text;
    }
    std::string stats = shown({"show", "stats-profile"});
    EXPECT_EQ(stats.find("kelpolicy-show-stats-profile - "), stats.find("kelpolicy-show-stats")) << stats;
}

/* Whether a line of the page begins an entry of that name: "-h, --help", "DIR", "load   Load ...". */
bool hasEntry(const std::string& page, const std::string& name) {
    const std::string indent(7, ' ');
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with(indent) || line.substr(indent.size()).starts_with(' ')) continue;
        std::istringstream words(line);
        for (std::string word; words >> word;) {
            const bool goesOn = word.ends_with(',');
            if (goesOn) word.pop_back();
            if (word == name) return true;
            if (!goesOn) break;
        }
    }
    return false;
}

/* Whatever --help explains stands in the page, too. */
TEST_F(CliManual, explainsEveryOptionOfTheHelp) {
    forEachCommandOfHelp([this](const CommandHelp& help) {
        const std::string text = shown(help.command);
        for (const std::set<std::string>* names : {&help.options, &help.arguments, &help.commands})
            for (const std::string& name : *names)
                EXPECT_TRUE(hasEntry(text, name)) << json(help.command) << " does not explain " << name << "\n" << text;
    });
}

TEST_F(CliManual, answersInJson) {
    EXPECT_EQ(json::parse(run({"manual", "show", "backup", "--json"}).out),
              (json{{"page", "kelpolicy-show-backup"}, {"section", 1}, {"troff", page({"show", "backup"})}}));
}

TEST_F(CliManual, refusesWhatIsNoCommand) {
    const Outcome unknown = run({"manual", "show", "frob", "--json"});
    EXPECT_EQ(unknown.status, 1);
    const json error = json::parse(unknown.err).at("error");
    EXPECT_EQ(error.at("message"), "\"frob\" is no command of kelpolicy show");
    EXPECT_EQ(error.at("sqlcode"), -204);
    EXPECT_EQ(run({"manual", "show", "--directory", file("man")}).status, 2);
    EXPECT_EQ(run({"manual", "--directory", ""}).status, 2);
    writeFile(file("plain"), "");
    EXPECT_EQ(run({"manual", "--directory", file("plain")}).status, 1);
}

}  // namespace
}  // namespace scenario
