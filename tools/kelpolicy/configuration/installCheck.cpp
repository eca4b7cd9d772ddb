#include "configuration/installCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "base/sqlpiOwn.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiRecordTexts.h"
#include "database/records.h"
#include "sqlpiStatsProf.h"

namespace kelpolicy {
namespace {

constexpr std::string_view reclaimField = "reclaimExtentsSizeForMDCTables";
constexpr std::string_view pagesField = "numInxPseudoEmptyPagesForVolatileTables";

const Field& fieldOf(const Fields& fields, std::string_view name) {
    return *std::find_if(fields.begin(), fields.end(), [name](const Field& field) { return field.name == name; });
}

uint64_t numberOf(const Fields& reorg, std::string_view name) {
    return fieldOf(reorg, name).value.number();
}

Fields reorgRecordOf(std::optional<std::string> document) {
    return readReorgRecord(document);
}

/* What the engine would generate from the document with these settings; nothing when that does not fit, which the
 * engine then says itself. */
std::optional<std::string> regenerated(std::string document, uint64_t reclaim, uint64_t pages) {
    sqlpiReorgPolicy policy = {};
    sqlpiGetReorgPolicy(document.data(), static_cast<int32_t>(document.size()), &policy);
    const sqlpiBlock filter(policy.tablesFilter, sqlpiFreeBlock{"sqlpiStatsProf"});
    policy.reclaimExtentsSizeForMDCTables = reclaim;
    policy.numInxPseudoEmptyPagesForVolatileTables = pages;
    const auto record = std::make_unique<sqlpiReleasedRecord<reorgPolicy>>();
    std::string text(SQLPI_OLD_POLICY_SIZE, '\0');
    if (sqlpiFillAutoReorgValues(&policy, record.get()) != SQLPI_CONFIG_OK ||
        sqlpiGenerateOldReorgPolicy(*record, text.data()) != SQLPI_CONFIG_OK)
        return {};
    return text.c_str();
}

/* The fields of the document that the other one does not have as they are. What it leaves to the engine is kept. */
std::string lostFields(const std::string& given, const std::string& stored) {
    const Fields before = reorgRecordOf(given);
    const Fields after = reorgRecordOf(stored);
    std::string lost;
    for (const Field& field : before) {
        const Json& value = fieldOf(after, field.name).value;
        const bool isKept = field.name == reclaimField || field.name == pagesField;
        if (field.value == value || (isKept && field.value == 0)) continue;
        lost += fmt::format("{}{} would be {} in place of {}", lost.empty() ? "" : ", ", field.name,
                            valueInWords(value), valueInWords(field.value));
    }
    return lost;
}

constexpr const char* engineFollows =
    "while the reorg policy has a reclaim size or a number of pseudo-empty pages, the engine follows every update with "
    "a "
    "reorg policy of its own making, to keep them";

constexpr const char* howAsItIs =
    "\"install delete\" and \"install insert\" store a document as it is, \"kelpolicy set reorg\" sets a reorg policy. "
    "--force keeps what the engine makes of it.";

}  // namespace

InstallCheck::InstallCheck(InstallAction action, RowKey key)
    : action_(action), key_(std::move(key)), kind_(findPolicyKind(key_)) {
    if (action != InstallAction::update) return;
    const Fields inForce = reorgRecordOf({});
    reclaim_ = numberOf(inForce, reclaimField);
    pages_ = numberOf(inForce, pagesField);
}

Failure InstallCheck::refusal(const std::string& why, const std::string& hint) const {
    const char* what = action_ == InstallAction::insert ? "insert" : "update";
    Failure failure(fmt::format("cannot {} the row {}: {}", what, shownKey(key_), why), hint, policyDocumentCode,
                    policyState);
    if (kind_ != nullptr) failure.policy = kind_->key.name;
    return failure;
}

bool InstallCheck::isFollowed(const std::string& given) const {
    if (action_ != InstallAction::update) return false;
    if (reclaim_ != 0 || pages_ != 0) return true;
    if (!isReorg()) return false;
    const Fields reorg = reorgRecordOf(given);
    return numberOf(reorg, reclaimField) != 0 || numberOf(reorg, pagesField) != 0;
}

std::optional<std::string> InstallCheck::madeByTheEngine(const std::string& given) const {
    return isFollowed(given) && isReorg() ? regenerated(given, reclaim_, pages_) : std::nullopt;
}

void InstallCheck::requireFit(const std::string& document, const std::string& name) const {
    if (kind_ != nullptr) {
        const DocumentVerdict verdict = judgeDocument(*kind_, document, DocumentOrigin::given, name);
        if (verdict.problem.has_value()) {
            Failure failure = refusal(verdict.problem->what(), verdict.problem->hint + " --force stores it as it is.");
            failure.line = verdict.problem->line;
            failure.column = verdict.problem->column;
            throw failure;
        }
        if (!verdict.isFit())
            throw refusal(noteOfMisfit(*kind_, verdict, name),
                          fmt::format("Give a document of the {}. --force stores it as it is.", kind_->title));
    }
    if (isFollowed(document) && !isReorg())
        throw refusal(fmt::format("{}: that would stand there in place of {}", engineFollows, name), howAsItIs);
    if (const std::optional<std::string> made = madeByTheEngine(document)) requireSame(document, *made);
}

void InstallCheck::requireSame(const std::string& given, const std::string& stored) const {
    if (stored == given) return;
    if (!isFollowed(given)) throw refusal(whyReplaced(given), "Run the command again when nobody writes to the file.");
    if (!isReorg())
        throw refusal(fmt::format("{}: that stands there in place of the document given", engineFollows), howAsItIs);
    std::optional<Failure> problem;
    if (parseDocument(stored, "what it makes", problem) == nullptr)
        throw refusal(fmt::format("{}; it writes the table filter into it as it is, without escaping, and {}",
                                  engineFollows, problem->what()),
                      howAsItIs);
    const std::string lost = lostFields(given, stored);
    if (!lost.empty()) throw refusal(fmt::format("{}: {}", engineFollows, lost), howAsItIs);
}

void InstallCheck::requireKept(const std::optional<std::string>& given, const std::string& stored) const {
    const std::string name = "the document";
    requireFit(given.value_or(stored), name);
    if (given.has_value()) requireSame(*given, stored);
}

std::string InstallCheck::whyReplaced(const std::string& given) const {
    if (!isFollowed(given))
        return "what is stored is not the document given: its file was written to meanwhile, or a trigger of the "
               "database "
               "changed it";
    return fmt::format(
        "the document given was replaced: {}. \"install delete\" and \"install insert\" store a document "
        "as it is",
        engineFollows);
}

}  // namespace kelpolicy
