// kelpolicy validate: all that a set would check.
#include <fmt/format.h>

#include <ctime>

#include "commands/command.h"
#include "configuration/configurationCheck.h"
#include "database/databaseSession.h"
#include "document/documentFile.h"

namespace kelpolicy {
namespace {

struct ValidateOptions {
    const ConfigurationType* type = nullptr;
    std::string path{};
};

void writeJsonVerdict(const ValidateOptions& options, const std::optional<Failure>& problem,
                      const std::vector<std::string>& notes, Output& output) {
    Json errors = Json::array();
    if (problem.has_value()) errors.push_back(errorObject(*problem));
    output.writeJson({{"type", options.type->name},
                      {"document", documentInMessages(options.path)},
                      {"valid", !problem.has_value()},
                      {"errors", errors},
                      {"notes", notes}});
}

int runValidate(const ValidateOptions& options, const GlobalOptions& globals, Output& output) {
    const DocumentSession session(globals, output);
    const std::string document = readDocument(options.path);
    std::optional<Failure> problem;
    std::vector<std::string> notes;
    try {
        CheckedConfiguration checked = checkConfiguration(*options.type, document, options.path);
        notes = checked.notes;
        for (std::string& note : lintConfiguration(*options.type, checked, std::time(nullptr)))
            notes.push_back(std::move(note));
        problem = std::move(checked.refusal);
    } catch (const Failure& failure) {
        problem = failure;
    }
    if (output.isJson()) {
        writeJsonVerdict(options, problem, notes, output);
        return problem.has_value() ? exitFailed : exitDone;
    }
    for (const std::string& note : notes) output.note(note);
    if (problem.has_value()) {
        output.complain(*problem);
        return exitFailed;
    }
    output.writeLine(
        fmt::format("{}: a valid {} document", printable(documentInMessages(options.path)), options.type->name));
    return exitDone;
}

}  // namespace

void addValidate(Command parent) {
    Command command = parent.command("validate", "Check a configuration document as a set would, set nothing");
    const auto options = std::make_shared<ValidateOptions>();
    addTypeArgument(command, options->type);
    command.option("PATH", options->path, "The document's file; \"-\" is standard input").required().notEmpty();
    command.footer(example("kelpolicy validate backup samples/configuration/backup-to-storage-manager.xml") +
                   "\n\nExit status: 0 valid, 1 not.");
    command.runs(
        [options](const GlobalOptions& globals, Output& output) { return runValidate(*options, globals, output); });
}

}  // namespace kelpolicy
