// kelpolicy window next, window status
#include <fmt/format.h>

#include <limits>

#include "commands/windowOptions.h"
#include "windows/localTime.h"
#include "windows/windowRecord.h"
#include "windows/windowSearch.h"

namespace kelpolicy {
namespace {

struct NextOptions : WindowOptions {
    int32_t minDuration = 1;
    size_t count = 1;
};

int runNext(const NextOptions& options, const GlobalOptions& globals, Output& output) {
    Windows windows(options, globals, output);
    const sqlpiMaintWindowInfo& window = windows.ofKind(options.kind);
    const std::vector<Stretch> found = findStretches(window, windows.at(), options.minDuration, options.count);
    if (output.isJson()) {
        Json answer = Json::array();
        for (const Stretch& stretch : found) answer.push_back(stretchObject(stretch));
        if (found.empty()) answer.push_back(stretchObject({}));
        output.writeJson(answer);
    } else {
        output.writeLine(output.styled(Style::heading, fmt::format("{} window, from {} ({})", options.kind,
                                                                   shownLocal(windows.at()), timeZoneName())));
        output.writeLine(shownRule(window));
        for (const Stretch& stretch : found) output.writeLine("  " + shownStretch(stretch));
        if (found.empty())
            output.writeLine(window.defined ? "  none: the engine finds no time of that length"
                                            : "  none: it is not defined");
    }
    return windows.source().finish();
}

/* What the engine answers about one window at a moment. */
struct WindowState {
    bool isDefined;
    bool isInside;
    std::optional<Stretch> current; /* inside: the stretch in force */
    std::optional<Stretch> next;    /* what comes after it, or, outside, next */
};

WindowState stateOf(const sqlpiMaintWindowInfo& window, int64_t at) {
    const std::optional<Stretch> answer = findStretch(window, at, 1);
    if (!answer.has_value() || !answer->contains(at))
        return {window.defined, false, {}, findStretchAhead(window, at, 1)};
    return {window.defined, true, answer, answer->isOpen() ? std::nullopt : findStretchAhead(window, answer->end, 1)};
}

std::string inWords(const WindowState& state, int64_t at) {
    if (!state.isDefined) return "not defined: no such work runs at any time";
    std::string text;
    if (!state.isInside)
        text = "outside: work may not run now";
    else if (state.current->isOpen())
        text = "inside: work may run now, without end";
    else
        text = fmt::format("inside: work may run now, until {} ({} from now)", shownLocal(state.current->end),
                           shownDuration(state.current->end - at));
    if (state.isInside && state.current->isOpen()) return text;
    if (!state.next.has_value()) return text + "; the engine finds no next time from here";
    return text + fmt::format("; next {}", shownStretch(*state.next));
}

Json stateObject(const WindowState& state) {
    return {{"defined", state.isDefined},
            {"inside", state.isInside},
            {"current", state.isInside ? stretchObject(state.current) : Json(nullptr)},
            {"next", stretchObject(state.next)}};
}

int runStatus(const WindowOptions& options, bool check, const GlobalOptions& globals, Output& output) {
    Windows windows(options, globals, output);
    const WindowState online = stateOf(windows.record().online, windows.at());
    const WindowState offline = stateOf(windows.record().offline, windows.at());
    if (output.isJson()) {
        output.writeJson({{"at", windows.at()},
                          {"at_local", isoLocal(windows.at())},
                          {"zone", timeZoneName()},
                          {"online", stateObject(online)},
                          {"offline", stateObject(offline)}});
    } else {
        output.writeLine(fmt::format("{} ({})", shownLocal(windows.at()), timeZoneName()));
        for (const auto& [name, state] : {std::pair("online ", &online), std::pair("offline", &offline)})
            output.writeLine(fmt::format("{}  {}", output.styled(Style::heading, name), inWords(*state, windows.at())));
    }
    const int status = windows.source().finish();
    const WindowState& checked = options.kind == "offline" ? offline : online;
    return status == exitDone && check && !checked.isInside ? exitFinding : status;
}

void addNext(Command group) {
    Command command = group.command("next", "When the engine may work next, and until when");
    const auto options = std::make_shared<NextOptions>();
    addKindOption(command, *options, "Which window (default: online)");
    addAtOption(command, *options);
    command.option("--min-duration", options->minDuration, "Seconds that it must last at least (default: 1)")
        .type("SECONDS")
        .between(1, std::numeric_limits<int32_t>::max());
    command.option("--count", options->count, "How many, each from the end of the one before (default: 1)")
        .type("N")
        .between(1, 100000);
    addDocumentOption(command, options->document);
    addZoneOption(command, *options);
    command.footer(example("kelpolicy window next --kind offline --count 3 --tz Europe/Berlin"));
    command.runs(
        [options](const GlobalOptions& globals, Output& output) { return runNext(*options, globals, output); });
}

void addStatus(Command group) {
    Command command = group.command("status", "Whether the engine may work now, until when, and what comes next");
    const auto options = std::make_shared<WindowOptions>();
    const auto check = std::make_shared<bool>(false);
    command.flag("--check", *check, "Exit status 0 inside, 3 outside the window of --kind");
    addKindOption(command, *options, "Which window --check is about (default: online)");
    addAtOption(command, *options);
    addDocumentOption(command, options->document);
    addZoneOption(command, *options);
    command.footer(example("kelpolicy window status --check --kind offline && run-the-offline-work"));
    command.runs([options, check](const GlobalOptions& globals, Output& output) {
        return runStatus(*options, *check, globals, output);
    });
}

}  // namespace

void addWindow(Command parent) {
    Command group = parent.command("window", "Maintenance windows: when the engine may work");
    group.requireCommand();
    group.footer(example("kelpolicy window status"));
    addNext(group);
    addStatus(group);
    addWindowCalendar(group);
    addWindowLint(group);
}

}  // namespace kelpolicy
