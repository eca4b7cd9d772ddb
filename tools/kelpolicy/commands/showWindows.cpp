// kelpolicy show windows
#include <fmt/format.h>

#include "commands/windowOptions.h"
#include "console/text.h"
#include "windows/windowRecord.h"

namespace kelpolicy {
namespace {

void writeWindow(const char* title, const sqlpiMaintWindowInfo& window, Output& output) {
    output.writeLine();
    output.writeLine(output.styled(Style::heading, title));
    const Json object = windowObject(window);
    const auto value = [&object](const char* name) { return object.at(name).text(); };
    output.writeTable(
        {{"defined", window.defined ? "true" : "false",
          window.defined ? "" : "there is no such window; what follows has no effect"},
         {"monthOfYear", value("monthOfYear"), shownMonths(window)},
         {"dayOfMonth", value("dayOfMonth").substr(0, 31), shownDaysOfMonth(window)},
         {"", value("dayOfMonth").substr(31), "(counted from the end of the month)"},
         {"dayOfWeek", value("dayOfWeek"), shownDaysOfWeek(window)},
         {"outside", fmt::format("{}", window.outside),
          window.outside == 0 ? "work runs inside the window" : "work runs outside the window"},
         {"startDateTime", fmt::format("{}", window.startDateTime.boundKind), "valid " + shownPeriod(window)},
         {"endDateTime", fmt::format("{}", window.endDateTime.boundKind), ""},
         {"startTime", value("startTime"), shownTimeOfDay(window)},
         {"endTime", value("endTime"), ""}});
}

int runShowWindows(const WindowOptions& options, const GlobalOptions& globals, Output& output) {
    Windows windows(options, globals, output);
    if (output.isJson()) {
        output.writeJson(
            {{"online", windowObject(windows.record().online)}, {"offline", windowObject(windows.record().offline)}});
    } else {
        output.writeLine(fmt::format("{}  ({})", output.styled(Style::heading, windowsKind.title),
                                     printable(windows.source().origin())));
        writeWindow("online", windows.record().online, output);
        writeWindow("offline", windows.record().offline, output);
    }
    windows.source().noteFindings();
    return windows.source().finish();
}

}  // namespace

void addShowWindows(Command parent) {
    Command command = parent.command("windows", "When maintenance may run: the online and the offline window");
    const auto options = std::make_shared<WindowOptions>();
    addDocumentOption(command, options->document);
    addZoneOption(command, *options);
    command.footer(example("kelpolicy show windows --document samples/windows.xml"));
    command.runs(
        [options](const GlobalOptions& globals, Output& output) { return runShowWindows(*options, globals, output); });
}

}  // namespace kelpolicy
