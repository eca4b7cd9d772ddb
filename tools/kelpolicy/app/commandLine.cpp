#include "app/commandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string_view>
#include <vector>

#include "commands/command.h"
#include "database/connectionFile.h"
#include "database/reportedFailure.h"
#include "hostError.h"
#include "passwords.h"
#include "trace.h"

namespace kelpolicy {
namespace {

constexpr AddCommand* commands[] = {addInit,   addDescribe, addTree,       addShow,     addWindow,
                                    addGet,    addSet,      addValidate,   addConvert,  addExtract,
                                    addSample, addSchema,   addInstall,    addRetrieve, addHistory,
                                    addDump,   addLoad,     addCompletion, addManual};

constexpr int32_t usageCode = -171;
constexpr const char* usageState = "42815";

struct TraceFlag {
    std::string_view name;
    uint32_t flags;
};
constexpr TraceFlag traceFlags[] = {{"entry", PDT_FLAG_ENTRY},
                                    {"exit", PDT_FLAG_EXIT},
                                    {"data", PDT_FLAG_DATA},
                                    {"all", PDT_FLAG_ENTRY | PDT_FLAG_EXIT | PDT_FLAG_DATA}};

uint32_t readTraceFlags(const std::string& text) {
    uint32_t flags = 0;
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, ',');) {
        const auto* found = std::find_if(std::begin(traceFlags), std::end(traceFlags),
                                         [&name](const TraceFlag& flag) { return flag.name == name; });
        if (found == std::end(traceFlags))
            throw UsageError("--trace", fmt::format("\"{}\" is not entry, exit, data or all", name));
        flags |= found->flags;
    }
    if (flags == 0) throw UsageError("--trace", "say which: entry, exit, data or all, with commas between");
    return flags;
}

void addGlobalOptions(Command program, GlobalOptions& options) {
    program
        .option("--instance", options.instance,
                "Instance directory (default: $KELPOLICY_INSTANCE, else ~/.kelpolicy); \"init\" makes it")
        .type("DIR")
        .notEmpty()
        .environment("KELPOLICY_INSTANCE");
    const Option connection =
        program
            .option(
                "--database", options.database,
                "The database: a SQLite file, sqlite:FILE for one that may be missing, or an ODBC connection string "
                "without a password, which others could see (default: $KELPOLICY_DATABASE, else the file in the "
                "instance directory)")
            .type("DATABASE")
            .notEmpty();
    program
        .option("--database-file", options.databaseFile,
                "Read the connection string from this file, which nobody else can read")
        .type("FILE")
        .notEmpty()
        .excludes(connection);
    program.flag("--json", options.json, "Answer in JSON on standard output, failures in JSON on standard error");
    program
        .option(
            "--trace", [&options](const std::string& text) { options.traceFlags = readTraceFlags(text); },
            "Write a trace: entry, exit, data or all, with commas between")
        .type("FLAGS");
}

/* The connection string that the options or the environment give; empty when they give none. */
std::string chosenConnection(const GlobalOptions& options) {
    if (!options.databaseFile.empty()) return readConnectionFile(options.databaseFile);
    const char* given = std::getenv("KELPOLICY_DATABASE");
    return options.database.empty() && given != nullptr ? given : options.database;
}

/* Any user may read the words of a process. Who gave a password there has shown it once; it does not stay. */
void coverPasswords(int argc, char** argv) {
    for (int i = 0; i < argc; ++i)
        for (const kelhost::TextPart& part : kelhost::passwordsIn(argv[i]))
            std::fill(argv[i] + part.begin, argv[i] + part.end, '*');
}

/* What is wrong, in the words of this program where the parser's do not say enough. */
std::string usageMessage(const CLI::App& app, const CLI::App& command, const CLI::ParseError& error) {
    if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr || command.get_require_subcommand_min() == 0)
        return error.what();
    std::vector<std::string> names;
    for (const CLI::App* sub : command.get_subcommands([](const CLI::App* /*any*/) { return true; }))
        names.push_back(sub->get_name());
    const std::string known = fmt::format("{}", fmt::join(names, ", "));
    const std::vector<std::string> words = app.remaining(true);
    return words.empty()
               ? fmt::format("say which: {} {}", command.get_name(), known)
               : fmt::format("\"{}\" is no command of {}; these are: {}", words.front(), command.get_name(), known);
}

int reportUsage(const CLI::App& app, const CLI::ParseError& error, Output& output) {
    const CLI::App* command = &app;
    std::string name = app.get_name();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += " " + command->get_name();
    }
    output.report({usageMessage(app, *command, error),
                   fmt::format("\"{} --help\" shows what can be said, with an example.", name), usageCode, usageState});
    return exitUsage;
}

Failure defect(const std::string& message) {
    return {message, "This is a defect of the program: report it with the command line.", defectCode, defectState};
}

/* What the work returns; exitFailed, and the failure told, when it throws, whatever it throws. */
template <class Work>
int guarded(Output& output, Work work) {
    try {
        return work();
    } catch (const Failure& failure) {
        output.report(failure);
    } catch (const kelhost::HostError& error) {
        output.report(failureOf(error));
    } catch (const std::bad_alloc&) {
        output.report({"there is not enough memory", "Free memory and run the command again.", -954, "57011"});
    } catch (const std::exception& error) {
        output.report(defect(error.what()));
    } catch (...) {  // the XML library's exceptions are of no common class
        output.report(defect("an exception without a text ended the command"));
    }
    return exitFailed;
}

int parseAndRun(const std::vector<std::string>& words, Output& output) {
    GlobalOptions options;
    RunCommand chosen;
    CLI::App app("Shows and sets the automatic-maintenance policies of a database, and when they let it work.",
                 "kelpolicy");
    app.fallthrough();
    app.require_subcommand(1);
    app.set_version_flag("--version", "kelpolicy " KELPOLICY_VERSION);
    app.footer(
        "Example:\n  kelpolicy show backup\n\nExit status: 0 done, 1 refused or failed, 2 usage, "
        "3 the answer of a check is no.");
    const Command program(app, chosen);
    addGlobalOptions(program, options);
    for (AddCommand* add : commands) add(program);

    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));  // it takes them from the end
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) return reportUsage(app, error, output);
        std::ostringstream help;
        app.exit(error, help, help);
        output.write(help.str());
        output.finish();
        return exitDone;
    }
    output = Output(options.json);
    options.database = chosenConnection(options);
    const int status = chosen(options, output);
    output.finish();
    return status;
}

}  // namespace

int runCommandLine(int argc, char** argv) {
    const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    coverPasswords(argc, argv);
    // Before the words are understood, they tell how to complain of them.
    Output output(std::find(words.begin(), words.end(), "--json") != words.end());
    return guarded(output, [&] { return parseAndRun(words, output); });
}

}  // namespace kelpolicy
