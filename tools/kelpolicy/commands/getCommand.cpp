// kelpolicy get: the stored policy as a configuration document.
#include <fmt/format.h>

#include <filesystem>

#include "archive/replaceFile.h"
#include "commands/command.h"
#include "configuration/configurationCheck.h"
#include "configuration/procedures.h"
#include "database/databaseSession.h"
#include "database/policyRow.h"
#include "document/documentFile.h"

namespace kelpolicy {
namespace {

struct GetOptions {
    const ConfigurationType* type = nullptr;
    std::string output{};
    std::string serverFile{};
};

/* A stored document that cannot be read: the same failure with the place. */
Failure withPlace(Failure failure, const ConfigurationType& type) {
    const std::optional<PolicyRow> row = readPolicyRow(type.kind.key);
    if (!row.has_value()) return failure;
    const DocumentVerdict verdict = judgeStoredDocument(type.kind, row->document);
    if (!verdict.problem.has_value()) return failure;
    failure.document = type.kind.key.name;
    failure.line = verdict.problem->line;
    failure.column = verdict.problem->column;
    failure.detail = verdict.problem->what();
    failure.excerpt = excerptOf(row->document, {failure.line, failure.column});
    failure.hint = verdict.problem->hint;
    return failure;
}

std::string getDocument(const GetOptions& options, const DatabaseSession& session, std::string& writtenTo) {
    const ConfigurationType& type = *options.type;
    try {
        if (options.serverFile.empty()) return getPolicyDocument(type);
        getPolicyFile(type, options.serverFile);
    } catch (const Failure& failure) {
        if (failure.sqlcode != policyDocumentCode) throw;
        throw withPlace(failure, type);
    }
    const std::string directory = session.instance().exchangeFiles();
    writtenTo = std::filesystem::path(directory + "/" + options.serverFile).lexically_normal();
    writtenTo.erase(writtenTo.find_last_not_of('/') + 1);
    std::optional<std::string> document = peekAtServerFile(directory, options.serverFile);
    if (document.has_value()) return *std::move(document);
    throw Failure(fmt::format("the file \"{}\" was written, and cannot be read", writtenTo),
                  "Look whether somebody else writes or removes files there.", policyFileCode, policyState);
}

int runGet(const GetOptions& options, const GlobalOptions& globals, Output& output) {
    const ConfigurationType& type = *options.type;
    DatabaseSession session(globals, output, Purpose::answer);
    std::string writtenTo = options.output;
    const std::string document = getDocument(options, session, writtenTo);
    const std::optional<PolicyRow> row = readPolicyRow(type.kind.key);
    const std::vector<std::string> notes =
        row.has_value() ? compareWithStored(type, document, row->document, "in force") : std::vector<std::string>();
    session.commit();
    if (!options.output.empty()) replaceFile(options.output, document);

    if (output.isJson()) {
        Json answer = {{"type", type.name}, {"policy", type.kind.key.name}};
        if (writtenTo.empty())
            answer["document"] = document;
        else
            answer["written"] = writtenTo;
        answer["bytes"] = document.size();
        output.writeJson(answer);
    } else if (writtenTo.empty()) {
        output.writeDocument(document);
    } else {
        output.writeLine(fmt::format("written: {}", printable(writtenTo)));
    }
    for (const std::string& note : notes) output.note(note);
    return exitDone;
}

}  // namespace

void addGet(Command parent) {
    Command command = parent.command("get", "Get a stored policy as a configuration document");
    const auto options = std::make_shared<GetOptions>();
    addTypeArgument(command, options->type);
    const Option path = command.option("--output", options->output, "Write it to this file, whole or not at all")
                            .type("PATH")
                            .notEmpty();
    command
        .option("--server-file", options->serverFile,
                "Have the engine write it to this file below the tmp directory of the instance")
        .type("NAME")
        .notEmpty()
        .excludes(path);
    command.footer(example("kelpolicy get windows --output windows.xml"));
    command.runs([options](const GlobalOptions& globals, Output& output) { return runGet(*options, globals, output); });
}

}  // namespace kelpolicy
