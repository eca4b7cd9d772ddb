// kelpolicy set: a configuration document becomes the stored policy.
#include <fmt/format.h>

#include "commands/windowOptions.h"
#include "configuration/configurationCheck.h"
#include "configuration/procedures.h"
#include "database/databaseSession.h"
#include "database/policyRow.h"
#include "database/records.h"
#include "document/documentFile.h"
#include "hostError.h"
#include "windows/windowChange.h"

namespace kelpolicy {
namespace {

struct SetOptions : WindowOptions {
    const ConfigurationType* type = nullptr;
    std::string serverFile{}; /* in place of `document` */
    bool dryRun = false;
    bool all = false; /* stretches of time */
    bool force = false;
};

struct WindowsChange {
    WindowChange online;
    WindowChange offline;
};

/* What a set changes. */
struct Change {
    std::string before{}; /* descriptions */
    std::string after{};
    std::optional<WindowsChange> windows{};
};

std::optional<CheckedConfiguration> check(const SetOptions& options, const std::optional<std::string>& document) {
    if (!document.has_value()) return {};
    const std::string path = options.serverFile.empty() ? options.document : options.serverFile;
    CheckedConfiguration checked = checkConfiguration(*options.type, *document, path);
    if (checked.refusal.has_value() && !options.force) throw Failure(*checked.refusal);
    return checked;
}

/* What the check has found, once it is true that it is stored. */
void tellNotes(const SetOptions& options, const CheckedConfiguration& checked, const std::optional<PolicyRow>& before,
               Output& output) {
    if (checked.refusal.has_value())
        output.note(
            fmt::format("{}, --force: {}", options.dryRun ? "would be stored" : "stored", checked.refusal->what()));
    for (const std::string& note : checked.notes) output.note(note);
    if (before.has_value())
        for (const std::string& note : compareWithForce(*options.type, checked, before->document)) output.note(note);
    for (const std::string& note : lintConfiguration(*options.type, checked, momentOf(options))) output.note(note);
}

void storeThrough(const SetOptions& options, const std::optional<std::string>& document,
                  const std::optional<CheckedConfiguration>& checked) {
    const ConfigurationType& type = *options.type;
    if (options.serverFile.empty()) {
        setPolicyDocument(type, *document);
        return;
    }
    setPolicyFile(type, options.serverFile);
    const std::optional<PolicyRow> row = readPolicyRow(type.kind.key);
    const bool isWhatWasChecked = checked.has_value() && row.has_value() && row->document == checked->stored;
    if (!isWhatWasChecked)
        throw Failure(fmt::format("the file \"{}\" changed while it was set: nothing is stored", options.serverFile),
                      "Run the command again when nobody writes to the file.", policyFileCode, policyState);
}

/* Keeps all that is logged out of the files while it lives: what did not happen is not recorded. */
class QuietLogs {
public:
    explicit QuietLogs(const kelhost::Instance& instance) : directory_(instance.logFiles()) { kelhost::closeLogs(); }
    ~QuietLogs() {
        try {
            kelhost::openLogs(directory_);
        } catch (const kelhost::HostError&) {
            // They stay closed: a log is no reason to fail.
        }
    }
    QuietLogs(const QuietLogs&) = delete;
    QuietLogs& operator=(const QuietLogs&) = delete;

private:
    std::string directory_;
};

sqlpiMaintWindow windowsInForce() {
    std::optional<std::string> noDocument;
    return readWindows(noDocument);
}

WindowsChange compareInForce(const SetOptions& options, const sqlpiMaintWindow& before, Output& output) {
    const sqlpiMaintWindow after = windowsInForce();
    enterZone(options.zone, output);
    constexpr int64_t days = int64_t{32} * 86400;
    const int64_t from = momentOf(options);
    return {compareWindows(before.online, after.online, from, from + days),
            compareWindows(before.offline, after.offline, from, from + days)};
}

void writeChange(const SetOptions& options, const Change& change, Output& output) {
    const ConfigurationType& type = *options.type;
    if (output.isJson()) {
        Json answer = {{"type", type.name},
                       {"policy", type.kind.key.name},
                       {"stored", !options.dryRun},
                       {"before", change.before},
                       {"after", change.after}};
        if (change.windows.has_value())
            answer["windows"] = {{"online", windowChangeObject(change.windows->online)},
                                 {"offline", windowChangeObject(change.windows->offline)}};
        output.writeJson(answer);
        return;
    }
    output.writeLine(fmt::format("{}  ({}): {}", output.styled(Style::heading, type.name), type.kind.key.name,
                                 options.dryRun ? "would be set, nothing is stored" : "set"));
    output.writeLine("before  " + printable(change.before));
    output.writeLine("after   " + printable(change.after));
    if (!change.windows.has_value()) return;
    output.writeLine("in the next 32 days:");
    writeWindowChange("online", change.windows->online, options.all, output);
    writeWindowChange("offline", change.windows->offline, options.all, output);
}

int runSet(const SetOptions& options, const GlobalOptions& globals, Output& output) {
    const bool isServerFile = !options.serverFile.empty();
    std::optional<std::string> document;
    if (!isServerFile) document = readDocument(options.document);
    if (options.dryRun) const DatabaseSession look(globals, output, Purpose::answer);  // it makes nothing, either
    DatabaseSession session(globals, output, Purpose::change);
    if (isServerFile) document = peekAtServerFile(session.instance().exchangeFiles(), options.serverFile);
    const std::optional<CheckedConfiguration> checked = check(options, document);
    holdPolicyRow(keyOf(options.type->kind.key));  // what is described before the change is what it replaces
    const std::optional<PolicyRow> rowBefore = readPolicyRow(options.type->kind.key);
    Change change{describePolicy(*options.type)};
    const bool comparesWindows = options.dryRun && &options.type->kind == &windowsKind;
    const std::optional<sqlpiMaintWindow> before = comparesWindows ? std::optional(windowsInForce()) : std::nullopt;
    {
        std::optional<QuietLogs> quiet;
        if (options.dryRun) quiet.emplace(session.instance());
        storeThrough(options, document, checked);
    }
    change.after = describePolicy(*options.type);
    if (before.has_value()) change.windows = compareInForce(options, *before, output);
    if (!options.dryRun) session.commit();  // else the session's end rolls back
    if (checked.has_value()) tellNotes(options, *checked, rowBefore, output);
    writeChange(options, change, output);
    return exitDone;
}

}  // namespace

void addSet(Command parent) {
    Command command = parent.command("set", "Set a policy from a configuration document");
    const auto options = std::make_shared<SetOptions>();
    addTypeArgument(command, options->type);
    const Option path =
        command.option("PATH", options->document, "The document's file; \"-\" is standard input").notEmpty();
    command
        .option("--server-file", options->serverFile,
                "Have the engine read this file below the tmp directory of the instance, in place of PATH")
        .type("NAME")
        .notEmpty()
        .excludes(path);
    const Option dryRun = command.flag("--dry-run", options->dryRun, "Show what would change, and store nothing");
    command.flag("--all", options->all, "Show every stretch of time that the windows gain or lose").needs(dryRun);
    command.flag("--force", options->force, "Store what the engine could not read back, too");
    addAtOption(command, *options);
    addZoneOption(command, *options);
    for (const char* name : {"--at", "--tz"}) command.option(name).needs(dryRun);
    command.footer(example("kelpolicy set windows samples/configuration/windows-nights.xml --dry-run"));
    command.runs([options](const GlobalOptions& globals, Output& output) { return runSet(*options, globals, output); },
                 [options] {
                     if (options->document.empty() && options->serverFile.empty())
                         throw UsageError("PATH", "say from where: a file, \"-\" for standard input, or --server-file");
                 });
}

}  // namespace kelpolicy
