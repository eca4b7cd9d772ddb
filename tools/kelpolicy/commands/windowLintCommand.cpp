// kelpolicy window lint
#include <fmt/format.h>

#include <algorithm>

#include "commands/windowOptions.h"
#include "configuration/documentLint.h"
#include "console/text.h"
#include "windows/windowLint.h"

namespace kelpolicy {
namespace {

Json findingObject(const Finding& finding) {
    const bool hasPlace = finding.place.line != 0;
    return {{"check", finding.check},
            {"severity", finding.severity},
            {"window", finding.window},
            {"line", hasPlace ? Json(finding.place.line) : Json(nullptr)},
            {"column", hasPlace ? Json(finding.place.column) : Json(nullptr)},
            {"what", finding.what},
            {"instead", finding.instead}};
}

void writeFinding(const Finding& finding, Output& output) {
    const Style style = std::string_view(finding.severity) == "error" ? Style::bad : Style::warning;
    const std::string where = finding.place.line == 0
                                  ? std::string()
                                  : fmt::format("line {}, column {}: ", finding.place.line, finding.place.column);
    output.writeLine(
        fmt::format("{}: {}{}", output.styled(style, finding.severity), where, printable(shownSubject(finding))));
    output.writeLine(fmt::format("  write instead: {}", finding.instead));
}

int runLint(const WindowOptions& options, const GlobalOptions& globals, Output& output) {
    Windows windows(options, globals, output);
    const std::string* document = windows.source().effectiveDocument();
    std::vector<WindowCondition> conditions;
    std::vector<Finding> findings;
    if (document != nullptr) {
        conditions = findWindowConditions(DocumentOutline(*document));
        findings = lintDocument(windowsKind, *document);
    }
    for (const auto& [name, window] :
         {std::pair("online", &windows.record().online), std::pair("offline", &windows.record().offline)})
        for (Finding& finding : lintWindow(name, *window, conditions, windows.at()))
            findings.push_back(std::move(finding));
    std::stable_sort(findings.begin(), findings.end(), [](const Finding& left, const Finding& right) {
        return std::pair(left.place.line, left.place.column) < std::pair(right.place.line, right.place.column);
    });

    if (output.isJson()) {
        Json all = Json::array();
        for (const Finding& finding : findings) all.push_back(findingObject(finding));
        output.writeJson(all);
    } else {
        output.writeLine(fmt::format("{}  ({}): {}", output.styled(Style::heading, windowsKind.title),
                                     printable(windows.source().origin()),
                                     findings.empty() ? "nothing found" : fmt::format("{} found", findings.size())));
        for (const Finding& finding : findings) writeFinding(finding, output);
    }
    const int status = windows.source().finish();
    return status == exitDone && !findings.empty() ? exitFinding : status;
}

}  // namespace

void addWindowLint(Command parent) {
    Command command = parent.command("lint", "What is legal in the windows and yet surely not meant");
    const auto options = std::make_shared<WindowOptions>();
    addAtOption(command, *options);
    addDocumentOption(command, options->document);
    addZoneOption(command, *options);
    command.footer(example("kelpolicy window lint --document samples/windows.xml --tz Europe/Berlin") +
                   "\n\nExit status: 0 nothing found, 3 something found.");
    command.runs(
        [options](const GlobalOptions& globals, Output& output) { return runLint(*options, globals, output); });
}

}  // namespace kelpolicy
