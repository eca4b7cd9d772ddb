/* The commands as their --help tells of them. */
#ifndef TESTS_SCENARIO_COMMAND_HELP_H
#define TESTS_SCENARIO_COMMAND_HELP_H

#include <algorithm>
#include <set>
#include <sstream>

#include "scenario.h"

namespace scenario {

/* What one command's --help lists. */
struct CommandHelp {
    std::vector<std::string> command{}; /* its words behind the program's name */
    std::set<std::string> options{};    /* "--help" */
    std::set<std::string> arguments{};
    std::set<std::string> commands{}; /* below it */
};

class HelpScenario : public Scenario {
protected:
    static std::vector<std::vector<std::string>> everyCommand() {
        return {{},
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
                {"extract"},
                {"sample"},
                {"schema"},
                {"install"},
                {"install", "insert"},
                {"install", "update"},
                {"install", "delete"},
                {"retrieve"},
                {"history"},
                {"dump"},
                {"load"},
                {"completion"},
                {"manual"}};
    }

    CommandHelp helpOf(const std::vector<std::string>& command) const {
        std::vector<std::string> words = command;
        words.emplace_back("--help");
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        CommandHelp help{command};
        std::istringstream lines(outcome.out);
        std::string section;
        for (std::string line; std::getline(lines, line);) {
            if (!line.empty() && line[0] != ' ') section = line;
            if (!line.starts_with("  ") || line.starts_with("   ")) continue;
            std::istringstream fields(line);
            std::string name;
            fields >> name;
            if (section == "Options:") help.options.insert(name.substr(name.find("--")));
            if (section == "Positionals:") help.arguments.insert(name);
            if (section == "Subcommands:") help.commands.insert(name);
        }
        EXPECT_TRUE(help.options.contains("--help")) << outcome.out;
        return help;
    }

    /* Follows --help from the program on; fails where that leads to other commands than everyCommand(). */
    template <class Visit>
    void forEachCommandOfHelp(Visit visit) const {
        std::vector<std::vector<std::string>> open = {{}};
        std::vector<std::vector<std::string>> met;
        while (!open.empty()) {
            const CommandHelp help = helpOf(open.back());
            open.pop_back();
            met.push_back(help.command);
            for (const std::string& name : help.commands) {
                open.push_back(help.command);
                open.back().push_back(name);
            }
            visit(help);
        }
        std::vector<std::vector<std::string>> expected = everyCommand();
        std::sort(met.begin(), met.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(met, expected);
    }
};

}  // namespace scenario

#endif
