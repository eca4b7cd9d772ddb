// kelpolicy describe: each stored policy in one line of text.
#include <fmt/format.h>

#include <array>

#include "commands/command.h"
#include "configuration/configurationTypes.h"
#include "configuration/documentLint.h"
#include "configuration/policyKinds.h"
#include "console/text.h"
#include "database/databaseSession.h"
#include "database/policyRow.h"
#include "database/records.h"
#include "sqlpiFormat.h"

namespace kelpolicy {
namespace {

std::string describe(const PolicyKind& kind) {
    std::array<char, 16384> text{};
    const uint32_t status = sqpiGetPolicyFormatString(text.data(), int32_t{text.size()}, kind.key.name);
    if (status != SQLPI_FORMAT_OK)
        throw Failure(fmt::format("the policy {} cannot be described (status {:#X})", kind.key.name, status),
                      "Look into log/diagnostic.log of the instance directory.", defectCode, defectState);
    return text.data();
}

/* Records whose texts may be longer than the pieces that the engine puts a description together from. */
struct LongRecord {
    const PolicyKind& kind;
    const char* shownBy;
    Fields (*read)(std::optional<std::string>& document);
};
constexpr LongRecord longRecords[] = {{backupKind, "show backup", readBackupRecord},
                                      {reorgKind, "show reorg", readReorgRecord},
                                      {runstatsKind, "show runstats", readRunstatsRecord}};
constexpr size_t shortestCutDescription = 4000;

/* Whether the texts of the record stand in the description, one behind the other. */
bool isWhole(const std::string& description, const Fields& fields) {
    size_t place = 0;
    for (const Field& field : fields) {
        if (!field.value.isText()) continue;
        const auto text = field.value.text();
        place = description.find(text, place);
        if (place == std::string::npos) return false;
        place += text.size();
    }
    return true;
}

void tellWhetherItWasCut(const PolicyKind& kind, const std::string& description, Output& output) {
    if (description.size() < shortestCutDescription) return;
    std::optional<std::string> noDocument;
    for (const LongRecord& record : longRecords)
        if (&record.kind == &kind && !isWhole(description, record.read(noDocument)))
            output.note(fmt::format("the engine cuts its description of {}; \"kelpolicy {}\" shows all of it",
                                    kind.key.name, record.shownBy));
}

int runDescribe(const std::string& name, const GlobalOptions& options, Output& output) {
    const PolicyKind* only = findPolicy(name);
    if (!name.empty() && only == nullptr) throw unknownPolicy(name);

    DatabaseSession session(options, output, Purpose::answer);
    Json all = Json::array();
    std::vector<Failure> problems;
    for (const PolicyKind* kind : policyKinds) {
        if (only != nullptr && only != kind) continue;
        const std::optional<PolicyRow> row = readPolicyRow(kind->key);
        const EngineRemarks remarks;
        const std::string description = describe(*kind);
        if (output.isJson()) {
            all.push_back({{"name", kind->key.name}, {"stored", row.has_value()}, {"description", description}});
        } else {
            output.writeLine(output.styled(Style::heading, kind->key.name) +
                             (row.has_value() ? "" : "  (no row: the built-in defaults are in force)"));
            output.writeLine("  " + printable(description));
        }
        DocumentVerdict verdict;
        if (row.has_value()) verdict = judgeStoredDocument(*kind, row->document);
        if (verdict.problem.has_value()) {
            problems.push_back(*std::move(verdict.problem));
            continue;
        }
        if (!row.has_value()) output.note(noteOfMissingRow(kind->key));
        if (!verdict.isFit()) output.note(noteOfMisfit(*kind, verdict, shownOrigin(kind->key, *row)));
        if (row.has_value() && !verdict.saysNothing)
            noteFindings(lintDocument(*kind, row->document), output, kind->key.name);
        remarks.tell(output, fmt::format("the engine logged while it read {}", kind->key.name));
        tellWhetherItWasCut(*kind, description, output);
    }
    session.commit();
    if (output.isJson()) output.writeJson(all);
    for (const Failure& problem : problems) output.report(problem);
    return problems.empty() ? exitDone : exitFailed;
}

}  // namespace

void addDescribe(Command parent) {
    Command command = parent.command("describe", "Say in one line what a stored policy does, or all of them");
    const auto name = std::make_shared<std::string>();
    command.option("NAME", *name, "Only this policy, also by its short name (default: all)")
        .type(fmt::format("{}", fmt::join(policyNames(), "|")));
    command.footer(example("kelpolicy describe DBBackupPolicy"));
    command.runs([name](const GlobalOptions& options, Output& output) { return runDescribe(*name, options, output); });
}

}  // namespace kelpolicy
