// kelpolicy show: the records that the engine works with.
#include <fmt/format.h>

#include <algorithm>

#include "commands/command.h"
#include "configuration/policySource.h"
#include "console/text.h"
#include "database/records.h"

namespace kelpolicy {
namespace {

struct ShownRecord {
    const char* name;
    const char* help;
    const PolicyKind& kind;
    Fields (*read)(std::optional<std::string>& document);
};
const ShownRecord shownRecords[] = {
    {"backup", "When and where to the engine backs the database up", backupKind, readBackupRecord},
    {"reorg", "Which tables the engine reorganises, and how", reorgKind, readReorgRecord},
    {"runstats", "Of which tables the engine collects statistics", runstatsKind, readRunstatsRecord},
    {"stats-profile", "The limits of statistics profiles", statsProfileKind, readStatsProfileRecord},
};

std::string shownValue(const Json& value) {
    if (value.isNull()) return "none";
    return printable(valueInWords(value));
}

void writeRecord(const Fields& fields, Output& output) {
    if (output.isJson()) {
        Json record = Json::object();
        for (const Field& field : fields) record[field.name] = field.value;
        output.writeJson(record);
        return;
    }
    // A long text, a path or a clause, stands behind the rest, so that it does not push the other meanings aside.
    std::vector<std::vector<std::string>> rows;
    for (const Field& field : fields) {
        const std::string value = shownValue(field.value);
        if (displayWidth(value) <= 24)
            rows.push_back({field.name, value, field.meaning});
        else
            rows.push_back({field.name, "", fmt::format("{}: {}", field.meaning, value)});
    }
    output.writeTable(rows);
}

bool isEmptyLocation(const Field& field) {
    return field.name == std::string_view("targetLocation") && field.value == "";
}

int runShow(const ShownRecord& shown, const std::string& path, const GlobalOptions& options, Output& output) {
    PolicySource source(shown.kind, path, options, output);
    const Fields fields = shown.read(source.givenDocument());
    if (!output.isJson())
        output.writeLine(
            fmt::format("{}  ({})", output.styled(Style::heading, shown.kind.title), printable(source.origin())));
    writeRecord(fields, output);
    source.noteFindings();
    // The engine looks its default location up before it reads the document, which may name its own.
    return source.finish([&fields](const kelhost::LogRecord& remark) {
        return remark.text != "Auto backup Policy: Unknown default backup location" ||
               std::any_of(fields.begin(), fields.end(), isEmptyLocation);
    });
}

}  // namespace

void addShow(Command parent) {
    Command group = parent.command("show", "Show the record that the engine reads from a policy");
    group.requireCommand();
    group.footer(example("kelpolicy show backup"));
    for (const ShownRecord& shown : shownRecords) {
        Command command = group.command(shown.name, shown.help);
        const auto path = std::make_shared<std::string>();
        addDocumentOption(command, *path);
        command.footer(example(fmt::format("kelpolicy show {} --json", shown.name).c_str()));
        command.runs([&shown, path](const GlobalOptions& options, Output& output) {
            return runShow(shown, *path, options, output);
        });
    }
    addShowWindows(group);
}

}  // namespace kelpolicy
