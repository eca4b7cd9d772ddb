// kelpolicy convert, extract: a configuration document to the stored text, and back.
#include <fmt/format.h>

#include "commands/command.h"
#include "configuration/configurationCheck.h"
#include "database/databaseSession.h"
#include "document/documentFile.h"

namespace kelpolicy {
namespace {

struct ConvertOptions {
    const ConfigurationType* type = nullptr;
    std::string path{};
};

/* Nothing but the document's bytes on standard output. */
void writeDocument(const ConvertOptions& options, const std::string& document, const std::vector<std::string>& notes,
                   Output& output) {
    if (output.isJson())
        output.writeJson({{"type", options.type->name}, {"document", document}, {"bytes", document.size()}});
    else
        output.writeDocument(document);
    for (const std::string& note : notes) output.note(note);
}

int runConvert(const ConvertOptions& options, const GlobalOptions& globals, Output& output) {
    const DocumentSession session(globals, output);
    CheckedConfiguration checked = checkConfiguration(*options.type, readDocument(options.path), options.path);
    if (checked.refusal.has_value()) checked.notes.emplace_back(checked.refusal->what());
    writeDocument(options, checked.stored, checked.notes, output);
    return exitDone;
}

int runExtract(const ConvertOptions& options, const GlobalOptions& globals, Output& output) {
    const DocumentSession session(globals, output);
    const ConfigurationType& type = *options.type;
    const std::string stored = readDocument(options.path);
    const std::string document = extractConfiguration(type, stored, documentName(options.path));
    std::vector<std::string> notes = compareWithStored(type, document, stored, "of " + documentName(options.path));
    if (judgeDocument(type.kind, stored, DocumentOrigin::given, documentName(options.path)).saysNothing)
        notes.push_back(fmt::format("{} has no element of the {}", documentName(options.path), type.kind.title));
    writeDocument(options, document, notes, output);
    return exitDone;
}

using Run = int (*)(const ConvertOptions&, const GlobalOptions&, Output&);

void addConversion(Command parent, const char* name, const char* help, const char* shownExample, Run run) {
    Command command = parent.command(name, help);
    const auto options = std::make_shared<ConvertOptions>();
    addTypeArgument(command, options->type);
    command.option("PATH", options->path, "The document's file; \"-\" is standard input").required().notEmpty();
    command.footer(example(shownExample));
    command.runs(
        [options, run](const GlobalOptions& globals, Output& output) { return run(*options, globals, output); });
}

}  // namespace

void addConvert(Command parent) {
    addConversion(parent, "convert", "Write what setting a configuration document would store",
                  "kelpolicy convert windows samples/configuration/windows-nights.xml > stored.xml", runConvert);
}

void addExtract(Command parent) {
    addConversion(parent, "extract", "Write a stored policy's document as a configuration document",
                  "kelpolicy extract backup samples/backup-to-disk.xml > backup.xml", runExtract);
}

}  // namespace kelpolicy
