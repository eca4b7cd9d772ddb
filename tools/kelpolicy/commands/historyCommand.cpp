// kelpolicy history: the changes that the administration log tells of.
#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "archive/bytes.h"
#include "archive/changeLog.h"
#include "commands/command.h"
#include "configuration/configurationTypes.h"
#include "console/text.h"
#include "console/wordDifference.h"
#include "instance.h"

namespace kelpolicy {
namespace {

struct HistoryOptions {
    std::string name{};
    size_t count = std::numeric_limits<size_t>::max();
};

/* Leaves the changes of the policy of that name. One policy has two names in the log: the row's, and the
 * configuration's of which it was made. A row that is none of the engine's policies has its own name only. */
void choose(std::vector<PolicyChange>& changes, const std::string& name) {
    const auto hasName = [&name](const PolicyChange& change) { return change.policy == name; };
    const PolicyKind* kind = findPolicy(name);
    if (kind == nullptr && std::none_of(changes.begin(), changes.end(), hasName)) throw unknownPolicy(name);
    std::erase_if(changes, [&](const PolicyChange& change) {
        const auto* type =
            std::find_if(std::begin(configurationTypes), std::end(configurationTypes),
                         [&change](const ConfigurationType& each) { return change.policy == each.name; });
        const std::string policy = type == std::end(configurationTypes) ? change.policy : type->kind.key.name;
        return !hasName(change) && (kind == nullptr || policy != kind->key.name);
    });
}

/* Of a text behind which the record ends nobody knows what was removed. */
std::vector<DifferencePart> differenceOf(const PolicyChange& change) {
    if (change.cut == "before") return {};
    std::vector<DifferencePart> parts = wordDifference(change.before, change.after);
    if (change.cut.empty()) return parts;
    const auto lastKept = std::find_if(parts.rbegin(), parts.rend(), [](const DifferencePart& part) {
                              return part.kind == DifferencePart::kept;
                          }).base();
    parts.erase(std::remove_if(lastKept, parts.end(),
                               [](const DifferencePart& part) { return part.kind == DifferencePart::removed; }),
                parts.end());
    return parts;
}

const char* nameOf(DifferencePart::Kind kind) {
    return kind == DifferencePart::kept ? "kept" : kind == DifferencePart::removed ? "removed" : "added";
}

Json changeObject(const PolicyChange& change) {
    Json object = {{"time", change.time}};
    putBytes(object, "policy", change.policy);
    putBytes(object, "database", change.database);
    putBytes(object, "user", change.user);
    putBytes(object, "action", change.action);
    putBytes(object, "before", change.before);
    if (change.cut == "before")
        object["after"] = nullptr;
    else
        putBytes(object, "after", change.after);
    if (!change.cut.empty()) putBytes(object, "cut", change.cut);
    Json difference = Json::array();
    for (const DifferencePart& part : differenceOf(change)) {
        Json shown;
        putBytes(shown, nameOf(part.kind), part.text);
        difference.push_back(std::move(shown));
    }
    object["difference"] = std::move(difference);
    return object;
}

/* Colours where there are any, else brackets; the blanks behind a part stay outside. */
std::string marked(const DifferencePart& part, const Output& output) {
    std::string shown = printable(part.text);
    if (part.kind == DifferencePart::kept) return shown;
    const size_t end = shown.find_last_not_of(' ') + 1;
    const bool isRemoved = part.kind == DifferencePart::removed;
    const std::string text = shown.substr(0, end);
    const std::string coloured = output.styled(isRemoved ? Style::bad : Style::good, text);
    const std::string inBrackets = fmt::format("{}{}{}", isRemoved ? "[-" : "{+", text, isRemoved ? "-]" : "+}");
    return (coloured != text ? coloured : inBrackets) + shown.substr(end);
}

std::string shownDifference(const PolicyChange& change, const Output& output) {
    std::string line = " ";
    bool afterRemoved = false;
    for (const DifferencePart& part : differenceOf(change)) {
        const bool replaces = afterRemoved && part.kind == DifferencePart::added;  // stands close to what it replaces
        if (replaces)
            line.erase(line.find_last_not_of(' ') + 1);
        else if (!line.ends_with(' '))
            line += ' ';
        line += marked(part, output);
        afterRemoved = part.kind == DifferencePart::removed;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

void writeChange(const PolicyChange& change, Output& output) {
    const char* done = change.action == "insert" ? "  inserted" : change.action == "delete" ? "  deleted" : "";
    output.writeLine(fmt::format("{}  {}{}  (database {}, user {})", change.time,
                                 output.styled(Style::heading, printable(change.policy)), done,
                                 printable(change.database), printable(change.user)));
    if (change.cut == "before") {
        output.writeLine("  before: " + printable(change.before));
        output.writeLine(
            "  (the record was full: the end of this text and what the policy was changed to are missing)");
        return;
    }
    if (!change.before.empty() || !change.after.empty()) output.writeLine(" " + shownDifference(change, output));
    if (!change.cut.empty())
        output.writeLine("  (the record was full: the end is missing)");
    else if (change.action == "update" && change.before == change.after)
        output.writeLine("  (described as before)");
}

int runHistory(const HistoryOptions& options, const GlobalOptions& globals, Output& output) {
    const kelhost::Instance instance = kelhost::Instance::find(instanceDirectory(globals));
    ChangeLog log = readChangeLog(instance.logFiles());
    std::vector<PolicyChange>& changes = log.changes;
    if (!options.name.empty()) choose(changes, options.name);
    if (changes.size() > options.count)
        changes.erase(changes.begin(), changes.end() - static_cast<ptrdiff_t>(options.count));
    if (output.isJson()) {
        Json all = Json::array();
        for (const PolicyChange& change : changes) all.push_back(changeObject(change));
        output.writeJson(all);
    } else {
        for (const PolicyChange& change : changes) writeChange(change, output);
    }
    if (log.unreadable > 0) output.note(fmt::format("{} records of changes are damaged and left out", log.unreadable));
    if (changes.empty()) output.note(fmt::format("no such change is in the logs of {}", instance.logFiles()));
    return exitDone;
}

}  // namespace

void addHistory(Command parent) {
    Command command = parent.command("history", "Show the changes of policies that the administration log tells of");
    const auto options = std::make_shared<HistoryOptions>();
    command
        .option("--name", options->name,
                "Only changes of this policy: DBBackupPolicy, AUTO_BACKUP or backup, and so on")
        .type("NAME")
        .notEmpty();
    command.option("--count", options->count, "Only the latest ones, so many (default: all)")
        .type("N")
        .between(1, std::numeric_limits<int32_t>::max());
    command.footer(example("kelpolicy history --name backup --count 3"));
    command.runs(
        [options](const GlobalOptions& globals, Output& output) { return runHistory(*options, globals, output); });
}

}  // namespace kelpolicy
