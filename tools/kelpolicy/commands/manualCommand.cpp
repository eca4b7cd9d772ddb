// kelpolicy manual: manual pages, made from the commands' definitions.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "archive/replaceFile.h"
#include "commands/command.h"
#include "console/text.h"
#include "pages/manualPage.h"

namespace kelpolicy {
namespace {

struct ManualOptions {
    std::vector<std::string> command{};
    std::string directory{};
};

const CommandInfo& findCommand(const CommandInfo& program, const std::vector<std::string>& words) {
    const CommandInfo* command = &program;
    for (const std::string& word : words) {
        const auto found = std::find_if(command->commands.begin(), command->commands.end(),
                                        [&word](const CommandInfo& below) { return below.words.back() == word; });
        if (found == command->commands.end())
            throw Failure(fmt::format("\"{}\" is no command of {}", word, command->joined(" ")),
                          fmt::format("\"{} --help\" shows its commands.", command->joined(" ")), unknownNameCode,
                          unknownNameState);
        command = &*found;
    }
    return *command;
}

int writePages(const CommandInfo& program, const std::string& directory, Output& output) {
    std::error_code failure;
    std::filesystem::create_directories(directory, failure);
    if (failure)
        throw Failure(fmt::format("the directory \"{}\" cannot be made: {}", directory, failure.message()),
                      "Name a directory that you may write to.", systemErrorCode, systemErrorState);
    Json written = Json::array();
    forEachCommand(program, [&](const CommandInfo& command) {
        const std::string path = fmt::format("{}/{}.1", directory, command.joined("-"));
        replaceFile(path, manualPage(program, command));
        written.push_back(path);
    });
    if (output.isJson())
        output.writeJson({{"written", written}});
    else
        output.writeLine(fmt::format("written: {} pages in {}", written.elements().size(), printable(directory)));
    return exitDone;
}

int runManual(const CommandInfo& program, const ManualOptions& options, Output& output) {
    if (!options.directory.empty()) return writePages(program, options.directory, output);
    const CommandInfo& command = findCommand(program, options.command);
    const std::string page = manualPage(program, command);
    if (output.isJson())
        output.writeJson({{"page", command.joined("-")}, {"section", 1}, {"troff", page}});
    else
        output.write(page);
    return exitDone;
}

}  // namespace

void addManual(Command parent) {
    Command command = parent.command("manual", "Write the manual page of a command");
    const auto options = std::make_shared<ManualOptions>();
    const Option words =
        command.option("COMMAND", options->command, "The command in all its words (default: the program's own page)");
    command.option("--directory", options->directory, "Write all pages into this directory")
        .type("DIR")
        .notEmpty()
        .excludes(words);
    command.footer(example("kelpolicy manual show backup | man -l -"));
    command.runs([parent, options](const GlobalOptions& /*globals*/, Output& output) {
        return runManual(describeCommands(parent.parser()), *options, output);
    });
}

}  // namespace kelpolicy
