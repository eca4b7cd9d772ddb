#include "configuration/configurationCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "base/sqlpiOwn.h"
#include "configuration/documentIdentity.h"
#include "configuration/documentLint.h"
#include "configuration/procedures.h"
#include "configuration/sqlpiDomErrorReporter.h"
#include "configuration/sqlpiPolicyConfigCommon.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiPolicyValidate.h"
#include "database/failureWitness.h"
#include "database/records.h"
#include "document/documentFile.h"
#include "messages.h"
#include "sqlpiPolicyConfig.h"
#include "windows/windowLint.h"
#include "windows/windowRecord.h"

namespace kelpolicy {
namespace {

/* --- the engine's two conversions --------------------------------------------------------------------------------- */

/* The policy-language document; throws Failure. */
std::string generate(const ConfigurationType& type, const std::string& document, const std::string& path) {
    const FailureWitness witness;
    sqlca ca = {};
    sqloinca(&ca);
    sqlpiDocumentMistake mistake;
    std::string output(SQLPI_OLD_POLICY_SIZE, '\0');
    if (sqlpiValidateDocument(type.name, document, output.data(), ca, &mistake) == SQLPI_CONFIG_OK)
        return output.c_str();
    Failure failure = witness.failure(fmt::format("cannot set {}", type.name), ca);
    failure.policy = type.kind.key.name;
    failure.document = documentInMessages(path);
    const std::optional<DocumentIdentity> identity = identifyDocument(document, type.root);
    if (mistake.line != 0) {
        const TextPlace place = placeOfProblem(document, mistake.message, {mistake.line, mistake.column});
        failure.line = place.line;
        failure.column = place.column;
        failure.detail = mistake.message;
        if (!identity.has_value() || identity->isText) failure.excerpt = excerptOf(document, place);
    }
    if (identity.has_value()) {
        const std::string isNot = identity->isText ? fmt::format(", and no document of {}", type.name) : "";
        failure.detail = fmt::format("the document {}{}{}", identity->what, isNot,
                                     failure.detail.empty() ? "" : ": " + failure.detail);
        failure.hint = identity->hint;
    }
    throw failure;
}

/* Why setting the document would fail; nothing, and what it stores in `stored`, when it would not. */
std::optional<std::string> whyNotSet(const ConfigurationType& type, const std::string& document, std::string& stored) {
    try {
        stored = generate(type, document, "");
        return {};
    } catch (const Failure& failure) {
        return failure.detail.empty() ? failure.what() : failure.detail;
    }
}

/* The configuration document; nothing, and the reason in `ca`, when there is none. */
std::optional<std::string> tryExtract(const ConfigurationType& type, std::string stored, sqlca& ca) {
    char* text = nullptr;
    int length = 0;
    sqloinca(&ca);
    const uint32_t status =
        sqlpiExtractPolicyDoc(type.name, stored.data(), static_cast<int>(stored.size()), &text, &length, ca);
    const sqlpiBlock document(text, sqlpiFreeBlock{"kelpolicy"});
    if (status != SQLPI_CONFIG_OK || document == nullptr) return {};
    return std::string(document.get(), static_cast<size_t>(length));
}

/* --- what the engine reads ---------------------------------------------------------------------------------------- */

/* The records' fields that hold the texts which are stored as they are. */
struct FreeText {
    std::string_view element;
    std::string_view field;
};
constexpr FreeText freeTexts[] = {{"PathName", "targetLocation"},
                                  {"LibFilename", "targetLocation"},
                                  {"LibOptions", "libOptions"},
                                  {"FilterClause", "tablesFilter"},
                                  {"FilterCondition", "tablesFilter"}};

using ReadRecord = Fields (*)(std::optional<std::string>&);

/* REQUIRES: not the windows, which have two records. */
ReadRecord recordOf(const ConfigurationType& type) {
    return &type.kind == &backupKind  ? readBackupRecord
           : &type.kind == &reorgKind ? readReorgRecord
                                      : readRunstatsRecord;
}

const Field* findField(const Fields& fields, std::string_view name) {
    const auto found =
        std::find_if(fields.begin(), fields.end(), [name](const Field& field) { return field.name == name; });
    return found == fields.end() ? nullptr : &*found;
}

/* What the stored document says by itself. */
Fields fieldsOf(const ConfigurationType& type, const std::string& stored) {
    if (&type.kind == &windowsKind) return {};
    std::optional<std::string> document = stored;
    return (&type.kind == &backupKind ? readBackupDocument : recordOf(type))(document);
}

/* What the engine reads where the configuration has this text; nothing where it reads no text. */
std::optional<std::string> readBack(const Fields& fields, const ConfigurationFact& fact) {
    const auto* text = std::find_if(std::begin(freeTexts), std::end(freeTexts),
                                    [&fact](const FreeText& known) { return known.element == fact.name; });
    const Field* field = text == std::end(freeTexts) ? nullptr : findField(fields, text->field);
    if (field == nullptr) return {};
    return field->value.isNull() ? std::string() : field->value.text();
}

/* --- a text that would not come back ------------------------------------------------------------------------------ */

bool isFilter(const ConfigurationFact& fact) {
    return fact.name.starts_with("Filter");
}

std::string howToWrite(const ConfigurationFact& fact) {
    if (!isFilter(fact)) return "Name it without \"<\" and \"&\"; a symbolic link may lead to a path that has them.";
    const auto has = [&fact](std::string_view sign) { return fact.value.find(sign) != std::string::npos; };
    const bool hasMarkup = has("<!") || has("</") || has("<?") || has("]]>") || has("\r");
    std::string advice = hasMarkup ? "the predicate without markup and references" : "";
    const auto add = [&advice](std::string_view how) {
        advice += fmt::format("{}{}", advice.empty() ? "" : ", ", how);
    };
    if (has("<>")) add("NOT (X = Y) for X <> Y");
    if (has("<=")) add("Y >= X for X <= Y");
    if (has("<") || has("&lt;")) add("Y > X or NOT (X >= Y) for X < Y");
    if (has("&")) add("'R' || CHR(38) || 'D' for 'R&D'");
    return "Write " + advice + ".";
}

/* Where the text holds what is not stored as it is meant, or the element begins. */
TextPlace placeOfTrouble(const std::string& document, const ConfigurationFact& fact) {
    const size_t end = std::min(document.find("</", fact.offset), document.size());
    for (size_t i = document.find('>', fact.offset); i < end; ++i)
        if (document[i] == '&' || document.compare(i, 2, "<!") == 0) return PlaceCounter(document).at(i);
    return fact.place;
}

Failure refusalOf(const ConfigurationType& type, const ConfigurationFact& fact, const std::string& document,
                  const std::string& path, const std::string& engineReads) {
    Failure refusal(fmt::format("cannot set {}: {} would not come back as it is written", type.name, fact.name),
                    howToWrite(fact) + " --force stores it as it is.", policyDocumentCode, policyState);
    const TextPlace place = placeOfTrouble(document, fact);
    refusal.policy = type.kind.key.name;
    refusal.document = documentInMessages(path);
    refusal.line = place.line;
    refusal.column = place.column;
    refusal.detail = fmt::format("{} is stored without escaping, and the engine would {}", fact.name, engineReads);
    refusal.excerpt = excerptOf(document, place);
    return refusal;
}

/* Whether the engine reads from the stored document the very texts that the configuration says. */
std::optional<Failure> findRefusal(const ConfigurationType& type, const std::string& document, const std::string& path,
                                   const std::vector<ConfigurationFact>& facts, const std::string& stored) {
    std::optional<Failure> unreadable;
    const bool isReadable = parseDocument(stored, "what would be stored", unreadable) != nullptr;
    const Fields fields = isReadable ? fieldsOf(type, stored) : Fields();
    for (const ConfigurationFact& fact : facts) {
        if (!fact.isFreeText) continue;
        if (!isReadable) {
            // The other texts are not at fault.
            if (fact.value.find_first_of("<&") == std::string::npos && fact.value.find("]]>") == std::string::npos)
                continue;
            return refusalOf(type, fact, document, path,
                             "read nothing of the policy: it would work with its built-in defaults");
        }
        const std::optional<std::string> text = readBack(fields, fact);
        if (text.has_value() && text != fact.value)
            return refusalOf(type, fact, document, path, fmt::format("read \"{}\"", *text));
    }
    return unreadable;
}

/* --- what comes back as something else ---------------------------------------------------------------------------- */

/* "OnlineWindow duration" */
std::string shownName(const ConfigurationFact& fact) {
    const size_t attribute = fact.name.find("/@");
    return attribute == std::string::npos ? fact.name
                                          : fact.name.substr(0, attribute) + " " + fact.name.substr(attribute + 2);
}

std::vector<std::string> compareFacts(const std::vector<ConfigurationFact>& written,
                                      const std::vector<ConfigurationFact>& readBack) {
    std::vector<std::string> notes;
    for (const ConfigurationFact& fact : written) {
        const ConfigurationFact* again = findFact(readBack, fact.name);
        if (again != nullptr && again->sense == fact.sense) continue;
        notes.push_back(fmt::format("line {}: {}=\"{}\" reads back as {}", fact.place.line, shownName(fact), fact.value,
                                    again == nullptr ? "nothing" : "\"" + again->value + "\""));
    }
    return notes;
}

/* A window is written as whole hours from its start, and stored as its start and end. */
void compareLength(std::string_view element, const std::vector<ConfigurationFact>& written,
                   const sqlpiMaintWindowInfo& window, std::vector<std::string>& notes) {
    const ConfigurationFact* duration = findFact(written, fmt::format("{}/@duration", element));
    if (duration == nullptr || !window.defined) return;
    constexpr int day = 86400;
    const std::string& hours = duration->sense;
    int meant = 0;
    std::from_chars(hours.data(), hours.data() + hours.size(), meant);
    meant *= 3600;
    const int stored = (secondsOf(window.endTime) - secondsOf(window.startTime) + day - 1) % day + 1;
    if (std::abs(meant - stored) <= 1) return;  // midnight is stored as 23:59:59
    notes.push_back(fmt::format("line {}: {} of {} h is stored as {}: the minutes behind midnight are dropped",
                                duration->place.line, element, hours, shownTimeOfDay(window)));
}

/* --- the records of two stored documents -------------------------------------------------------------------------- */

sqlpiMaintWindow windowsOf(const std::string& document) {
    std::optional<std::string> given = document;
    return readWindows(given);
}

/* What differs between the two documents and is in `given` as it is in `again`. */
std::vector<std::string> compareWindows(const std::string& stored, const std::string& again, const std::string& given,
                                        const std::string& where) {
    std::vector<std::string> notes;
    const sqlpiMaintWindow before = windowsOf(stored);
    const sqlpiMaintWindow after = windowsOf(again);
    const sqlpiMaintWindow now = windowsOf(given);
    const auto compare = [&](const char* name, sqlpiMaintWindowInfo sqlpiMaintWindow::*window) {
        const std::string one = shownRule(before.*window);
        const std::string other = shownRule(after.*window);
        if (one == other || shownRule(now.*window) != other) return;  // masks that differ may select the same days
        notes.push_back(
            fmt::format("the {} window {} is \"{}\"; setting this document makes it \"{}\"", name, where, one, other));
    };
    compare("online", &sqlpiMaintWindow::online);
    compare("offline", &sqlpiMaintWindow::offline);
    return notes;
}

/* The value, in words as well where they tell it from the other one. */
std::string shownValue(const Field& field, const Field* other) {
    const bool hasWords = other != nullptr && other->meaning != field.meaning;
    return valueInWords(field.value) + (hasWords ? fmt::format(" ({})", field.meaning) : "");
}

/* The same as compareWindows. */
std::vector<std::string> compareRecords(ReadRecord read, const std::string& stored, const std::string& again,
                                        const std::string& given, const std::string& where) {
    const auto recordFrom = [read](std::optional<std::string> document) { return read(document); };
    const Fields one = recordFrom(stored);
    const Fields other = recordFrom(again);
    const Fields third = recordFrom(given);
    std::vector<std::string> notes;
    for (const Field& field : one) {
        const Field* now = findField(other, field.name);
        const Field* inGiven = findField(third, field.name);
        const bool isAlsoGiven =
            now == nullptr ? inGiven == nullptr : inGiven != nullptr && inGiven->value == now->value;
        if (!isAlsoGiven || (now != nullptr && now->value == field.value)) continue;
        notes.push_back(fmt::format("{} {} is {}; setting this document makes it {}", field.name, where,
                                    shownValue(field, now), now == nullptr ? "none" : shownValue(*now, &field)));
    }
    return notes;
}

std::vector<std::string> compareDocuments(const ConfigurationType& type, const std::string& stored,
                                          const std::string& again, const std::string& given,
                                          const std::string& where) {
    return &type.kind == &windowsKind ? compareWindows(stored, again, given, where)
                                      : compareRecords(recordOf(type), stored, again, given, where);
}

/* --- what is surely not meant ------------------------------------------------------------------------------------- */

void lintWindowOf(const char* element, const char* name, const sqlpiMaintWindowInfo& window,
                  const CheckedConfiguration& checked, int64_t now, std::vector<std::string>& notes) {
    const ConfigurationFact* fact = findFact(checked.facts, fmt::format("{}/@duration", element));
    for (const Finding& finding : lintWindow(name, window, {}, now))
        if (fact != nullptr && finding.check != std::string_view("midnight"))  // compareLength tells of that
            notes.push_back(fmt::format("line {}: {}", fact->place.line, shownSubject(finding)));
}

}  // namespace

std::vector<std::string> lintConfiguration(const ConfigurationType& type, const CheckedConfiguration& checked,
                                           int64_t now) {
    std::optional<Failure> unreadable;
    if (parseDocument(checked.stored, "what would be stored", unreadable) == nullptr) return {};
    std::vector<std::string> notes;
    // Places in what is generated mean nothing to who wrote the document. Numbers are compared as they come back.
    for (const Finding& finding : lintDocument(type.kind, checked.stored))
        if (finding.check != std::string_view("number")) notes.push_back(shownSubject(finding));
    if (&type.kind != &windowsKind) return notes;
    const sqlpiMaintWindow windows = windowsOf(checked.stored);
    lintWindowOf("OnlineWindow", "online", windows.online, checked, now, notes);
    lintWindowOf("OfflineWindow", "offline", windows.offline, checked, now, notes);
    return notes;
}

CheckedConfiguration checkConfiguration(const ConfigurationType& type, const std::string& document,
                                        const std::string& path) {
    CheckedConfiguration checked{generate(type, document, path)};
    checked.facts = readConfigurationFacts(document);
    const std::vector<ConfigurationFact>& facts = checked.facts;
    checked.refusal = findRefusal(type, document, path, facts, checked.stored);
    if (checked.refusal.has_value()) return checked;

    sqlca ca = {};
    const std::optional<std::string> again = tryExtract(type, checked.stored, ca);
    std::string storedAgain;
    if (again.has_value() && !whyNotSet(type, *again, storedAgain).has_value())
        checked.notes = compareFacts(facts, readConfigurationFacts(*again));
    else
        checked.notes = {"what a get makes of the stored policy could not be set again"};
    if (&type.kind == &windowsKind) {
        const sqlpiMaintWindow windows = windowsOf(checked.stored);
        compareLength("OnlineWindow", facts, windows.online, checked.notes);
        compareLength("OfflineWindow", facts, windows.offline, checked.notes);
    }
    return checked;
}

std::string extractConfiguration(const ConfigurationType& type, const std::string& stored, const std::string& name) {
    sqlca ca = {};
    const FailureWitness witness;
    std::optional<std::string> configuration = tryExtract(type, stored, ca);
    if (configuration.has_value()) return *std::move(configuration);
    std::optional<Failure> failure;
    if (parseDocument(stored, name, failure) == nullptr) throw Failure(*failure);
    throw witness.failure(fmt::format("cannot make a configuration document of {}", name), ca);
}

std::vector<std::string> compareWithStored(const ConfigurationType& type, const std::string& configuration,
                                           const std::string& stored, const std::string& where) {
    std::string again;
    if (const std::optional<std::string> reason = whyNotSet(type, configuration, again))
        return {fmt::format("setting this document would fail: {}", *reason)};
    return compareDocuments(type, stored, again, again, where);
}

std::vector<std::string> compareWithForce(const ConfigurationType& type, const CheckedConfiguration& checked,
                                          const std::string& inForce) {
    sqlca ca = {};
    std::string again;
    const std::optional<std::string> configuration = tryExtract(type, inForce, ca);
    if (!configuration.has_value() || whyNotSet(type, *configuration, again).has_value()) return {};
    std::vector<std::string> notes = compareDocuments(type, inForce, again, checked.stored, "in force before");
    for (std::string& note : notes) note += ", which is what a get writes for it";
    return notes;
}

}  // namespace kelpolicy
