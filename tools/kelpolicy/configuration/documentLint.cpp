#include "configuration/documentLint.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iterator>
#include <limits>
#include <span>
#include <string_view>

#include "base/sqlpiNumber.h"
#include "document/documentOutline.h"
#include "model/sqlpiPolicyCatalogue.h"
#include "sqlpiBackup.h"
#include "windows/windowLint.h"
#include "windows/windowPlaces.h"

namespace kelpolicy {
namespace {

constexpr uint32_t none = DocumentOutline::none;

/* --- what the engine knows ---------------------------------------------------------------------------------------- */

/* A word of `words`, which have blanks between; a number where there are none. */
struct KnownAttribute {
    SQLPI_POL_ELEMENT_TYPE element;
    const char* name;
    const char* words;
    const char* otherwise; /* how any other word counts */
};
constexpr KnownAttribute knownAttributes[] = {
    {SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION, "windowType", nullptr, ""}, /* the words are checked with the masks */
    {SQLPI_ELEMENT_DB_BACKUP, "mode", "online offline", "the mode counts as not said"},
    {SQLPI_ELEMENT_TABLE_REORG, "mode", "read write", "it counts as \"read\""},
    {SQLPI_ELEMENT_TABLE_REORG, "useTempTbsp", "true false", "it counts as \"false\""},
    {SQLPI_ELEMENT_TABLE_REORG, "dictionaryOption", "keep rebuild", "it counts as \"keep\""},
    {SQLPI_ELEMENT_TABLE_REORG, "reclaimExtentsSizeForMDCTables", "", ""},
    {SQLPI_ELEMENT_TABLE_REORG, "numInxPseudoEmptyPagesForVolatileTables", "", ""},
    {SQLPI_ELEMENT_MONITOR, "maxFiles", "", ""},
    {SQLPI_ELEMENT_MONITOR, "maxFileSize", "", ""},
    {SQLPI_ELEMENT_POPULATION, "maxFWSize", "", ""},
    {SQLPI_ELEMENT_STATS_PROFILING, "maxSingleTableStats", "", ""},
    {SQLPI_ELEMENT_STATS_PROFILING, "maxColGroupStats", "", ""},
    {SQLPI_ELEMENT_STATS_PROFILING, "maxFrequentValues", "", ""},
    {SQLPI_ELEMENT_STATS_PROFILING, "maxProfiles", "", ""},
    {SQLPI_ELEMENT_STATS_PROFILING, "profileGeneration", "SingleColumn ColumnGroups ALL",
     "the profile type counts as not said"},
};

/* The sensors of one element. */
struct SensorFamily {
    SQLPI_POL_ELEMENT_TYPE element;
    std::span<const std::string_view> names; /* that are read */
    std::string_view harmless;               /* one that is written and never read */
    bool isFilter;                           /* the constant is a filter, and the last sensor decides */
};
constexpr std::string_view filterNames[] = {"Tables"};
constexpr std::string_view reorgNames[] = {"ReorgSize_KB"};
constexpr std::string_view logConsumed = "Log_Consumed_Since_Last_DB_Backup";
constexpr std::string_view backupNames[] = {"Number_Full_DB_Backups", "Elapsed_Time_Since_Last_DB_Backup", logConsumed};
constexpr SensorFamily filterFamily = {SQLPI_ELEMENT_SENSORS, filterNames, "", true};
constexpr SensorFamily reorgFamily = {SQLPI_ELEMENT_TABLE_REORG_SENSORS, reorgNames, "ReorgChk_Flag", false};
constexpr SensorFamily backupFamily = {SQLPI_ELEMENT_DB_BACKUP_SENSORS, backupNames, "", false};

bool isOneOf(std::string_view word, std::span<const std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool isWordOf(std::string_view word, std::string_view words) {
    while (!words.empty()) {
        const size_t end = std::min(words.find(' '), words.size());
        if (words.substr(0, end) == word) return true;
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return false;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? text.substr(0, 0)
                                           : text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

bool isSameButForCase(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](char left, char right) {
        return std::tolower(static_cast<unsigned char>(left)) == std::tolower(static_cast<unsigned char>(right));
    });
}

/* Whether nothing of the number is lost when it is read. */
template <class Integer>
bool isReadWhole(const std::string& text, Integer value) {
    std::string_view digits = trimmed(text);
    const bool isNegative = digits.starts_with('-');
    if (isNegative || digits.starts_with('+')) digits.remove_prefix(1);
    if (digits.empty()) return false;
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size() - 1));
    return fmt::format("{}{}", isNegative && value != 0 ? "-" : "", digits) == fmt::format("{}", value);
}

std::string listed(std::string_view words) {
    std::string list;
    for (const char letter : words) list += letter == ' ' ? std::string("\", \"") : std::string(1, letter);
    return "\"" + list + "\"";
}

/* --- the document ------------------------------------------------------------------------------------------------- */

class DocumentLint {
public:
    explicit DocumentLint(const std::string& document) : outline_(document) {}

    std::vector<Finding> run(const PolicyKind& kind) {
        if (&kind == &windowsKind) return checkWindows();
        if (&kind == &backupKind) {
            checkSensors(backupFamily);
            checkBackup();
        } else {
            checkSensors(filterFamily);
        }
        if (&kind == &reorgKind) {
            checkSensors(reorgFamily);
            checkAction(SQLPI_ELEMENT_TABLE_REORG);
        }
        if (&kind == &statsProfileKind) checkStatsProfile();
        return std::move(findings_);
    }

private:
    const char* nameOf(uint32_t element) const { return sqlpiElementName(outline_.typeOf(element)); }
    uint32_t count() const { return static_cast<uint32_t>(outline_.elements().size()); }

    void add(const char* check, uint32_t element, std::string what, std::string instead,
             const char* severity = "warning") {
        findings_.push_back({check, severity, nullptr, outline_.place(element), std::move(what), std::move(instead)});
    }

    /* --- windows --- */

    std::vector<Finding> checkWindows() {
        const std::vector<WindowCondition> conditions = findWindowConditions(outline_);
        if (!conditions.empty()) {
            findings_ = lintTexts(conditions);
            for (uint32_t i = 0; i < count(); ++i)
                if (outline_.typeOf(i) == SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION) checkAttributes(i);
            for (Finding& finding : findings_)
                if (finding.window == nullptr) finding.window = "online";
            return std::move(findings_);
        }
        return {{"no-condition",
                 "warning",
                 "online",
                 {0, 0},
                 "no kel:MaintenanceWindowCondition stands in the document: it is always open, and there is no offline "
                 "window",
                 "a kel:MaintenanceWindowCondition for each window"}};
    }

    /* --- sensors --- */

    /* The engine looks for the constant of a sensor among its siblings and forgets the one behind it: neither that
     * element nor what stands inside it is met again. Of sensors that say something else it looks for no constant. */
    std::vector<bool> passedOver(const SensorFamily& family) const {
        std::vector<bool> passed(count(), false);
        const auto takesNext = [&](uint32_t element) {
            if (element == none || outline_.typeOf(element) != family.element || passed[element]) return false;
            const std::string* name = outline_.text(element);
            return name != nullptr && (family.isFilter || isOneOf(*name, family.names));
        };
        for (uint32_t i = 1; i < count(); ++i)
            passed[i] = passed[outline_.at(i).parent] || takesNext(outline_.at(i).previous);
        return passed;
    }

    void checkSensors(const SensorFamily& family) {
        const std::vector<bool> passed = passedOver(family);
        std::vector<uint32_t> last(family.names.size(), none); /* of each name the sensor that is read */
        for (uint32_t i = 0; i < count(); ++i) {
            if (outline_.typeOf(i) != family.element) continue;
            if (passed[i])
                add("sensor-behind-sensor", i,
                    fmt::format("{} stands directly behind another sensor, or in what does: it is not seen", nameOf(i)),
                    "each sensor and its Constant in an element of their own");
            else
                checkSensor(family, i, last);
        }
    }

    void checkSensor(const SensorFamily& family, uint32_t sensor, std::vector<uint32_t>& last) {
        const std::string* text = outline_.text(sensor);
        const std::string name = text == nullptr ? "" : *text;
        if (!family.harmless.empty() && name == family.harmless) return;
        const auto known = std::find(family.names.begin(), family.names.end(), name);
        const bool isKnown = known != family.names.end();
        if (!isKnown)
            checkName(family, sensor, name);
        else
            checkConstant(family, sensor, name);
        // The last sensor drops an earlier filter even when it names none.
        if (!isKnown && !family.isFilter) return;
        uint32_t& before = last[isKnown ? static_cast<size_t>(known - family.names.begin()) : 0];
        if (before != none)
            add("overwritten", sensor,
                fmt::format("{} at line {} is not read: the last one decides, which is this",
                            family.isFilter ? nameOf(before) : *outline_.text(before), outline_.place(before).line),
                "one sensor of a kind");
        before = sensor;
    }

    void checkName(const SensorFamily& family, uint32_t sensor, const std::string& name) {
        const char* effect = family.isFilter ? "its filter is not seen" : "it is not read";
        if (isOneOf(trimmed(name), family.names))
            add("sensor-name", sensor,
                fmt::format("{} names \"{}\", with blanks around it: {}", nameOf(sensor), name, effect),
                fmt::format("<{0}>{1}</{0}>", nameOf(sensor), trimmed(name)));
        else
            add("sensor-name", sensor,
                fmt::format("{} names \"{}\", which the engine does not know: {}", nameOf(sensor), name, effect),
                fmt::format("{}", fmt::join(family.names, ", ")));
    }

    void checkConstant(const SensorFamily& family, uint32_t sensor, const std::string& name) {
        const uint32_t behind = outline_.at(sensor).next;
        const uint32_t before = outline_.at(sensor).previous;
        if (outline_.typeOf(behind) != SQLPI_ELEMENT_CONSTANT) {
            const bool isBefore = outline_.typeOf(before) == SQLPI_ELEMENT_CONSTANT &&
                                  outline_.typeOf(outline_.at(before).previous) != family.element;
            const std::string instead = fmt::format("the Constant directly behind {}", nameOf(sensor));
            if (isBefore)
                add("constant-before-sensor", before,
                    fmt::format("the Constant stands before its sensor {}: it is not seen", name), instead);
            else
                add("no-constant", sensor, fmt::format("no Constant stands directly behind the sensor {}", name),
                    instead);
            return;
        }
        if (family.isFilter) return;
        const std::string* constant = outline_.text(behind);
        if (constant == nullptr) {
            add("number", behind, fmt::format("the Constant of {} is empty: it is not read", name), "a number");
            return;
        }
        const int32_t value = sqlpiToInt32(constant->c_str());
        checkNumber(behind, fmt::format("the Constant of {}", name), *constant, value);
        if (name == logConsumed) checkLogSpace(behind, value);
    }

    template <class Integer>
    void checkNumber(uint32_t element, const std::string& what, const std::string& text, Integer value) {
        if (!isReadWhole(text, value))
            add("number", element, fmt::format("{}, \"{}\", is read as {}", what, text, value), "a number that fits");
    }

    void checkLogSpace(uint32_t constant, int32_t value) {
        constexpr int32_t factor = 256;
        if (value <= std::numeric_limits<int32_t>::max() / factor && value >= 0) return;
        add("description-wraps", constant,
            fmt::format("the engine reads {}, but its description multiplies that by {} in 32 bits and tells {} MB",
                        value, factor, static_cast<int32_t>(static_cast<uint32_t>(value) * uint32_t{factor})),
            fmt::format("0 to {}", std::numeric_limits<int32_t>::max() / factor), "note");
    }

    /* --- actions --- */

    void checkAttributes(uint32_t element) {
        for (const auto& [name, value] : outline_.attributes(element)) {
            for (const KnownAttribute& known : knownAttributes) {
                if (known.element != outline_.typeOf(element) || !isSameButForCase(name, known.name)) continue;
                if (name != known.name)
                    add("attribute-name", element,
                        fmt::format("{} has the attribute \"{}\", which the engine does not know", nameOf(element),
                                    name),
                        known.name);
                else if (known.words == nullptr)
                    continue;
                else if (*known.words == '\0')
                    checkAttributeNumber(element, name, value);
                else if (!isWordOf(value, known.words))
                    add("attribute-word", element,
                        fmt::format("{} has {}=\"{}\", a word that the engine does not know: {}", nameOf(element), name,
                                    value, known.otherwise),
                        listed(known.words));
            }
        }
    }

    void checkAttributeNumber(uint32_t element, const std::string& name, const std::string& value) {
        const std::string what = fmt::format("{} of {}", name, nameOf(element));
        if (outline_.typeOf(element) == SQLPI_ELEMENT_TABLE_REORG)
            checkNumber(element, what, value, sqlpiToInt64(value.c_str()));
        else
            checkNumber(element, what, value, sqlpiToInt32(value.c_str()));
    }

    /* The first of that type, which alone is read; `none` when there is none. */
    uint32_t checkAction(SQLPI_POL_ELEMENT_TYPE type) {
        uint32_t first = none;
        for (uint32_t i = 0; i < count(); ++i) {
            if (outline_.typeOf(i) != type) continue;
            if (first == none)
                first = i;
            else
                add("ignored", i,
                    fmt::format("only the first {}, at line {}, is read", nameOf(i), outline_.place(first).line),
                    fmt::format("one {}", nameOf(i)));
        }
        if (first != none) checkAttributes(first);
        return first;
    }

    void checkStatsProfile() {
        const uint32_t profile = checkAction(SQLPI_ELEMENT_STATS_PROFILE);
        const auto isInside = [this](uint32_t element, uint32_t parent) {
            return parent != none && outline_.at(element).parent == parent;
        };
        const auto warehouseAround = [&](uint32_t element) {
            const uint32_t parent = outline_.at(element).parent;
            return parent != none && outline_.typeOf(parent) == SQLPI_ELEMENT_FEEDBACK_WAREHOUSE &&
                   isInside(parent, profile);
        };
        for (uint32_t i = 0; i < count(); ++i) {
            const SQLPI_POL_ELEMENT_TYPE type = outline_.typeOf(i);
            const bool isBelowProfile = type == SQLPI_ELEMENT_MONITOR || type == SQLPI_ELEMENT_FEEDBACK_WAREHOUSE;
            const bool isBelowWarehouse = type == SQLPI_ELEMENT_POPULATION || type == SQLPI_ELEMENT_STATS_PROFILING;
            if (!isBelowProfile && !isBelowWarehouse) continue;
            if (isBelowProfile ? isInside(i, profile) : warehouseAround(i))
                checkAttributes(i);
            else
                add("ignored", i, fmt::format("{} is not read where it stands", nameOf(i)),
                    isBelowProfile ? "it directly inside the first kel:StatsProfile"
                                   : "it directly inside the kel:FeedbackWarehouse of the first kel:StatsProfile");
        }
    }

    /* --- backup target --- */

    static bool isTarget(SQLPI_POL_ELEMENT_TYPE type) {
        return type >= SQLPI_ELEMENT_DISK_BACKUP_TARGET && type <= SQLPI_ELEMENT_VENDOR_LIB_BACKUP_TARGET;
    }

    void checkBackup() {
        const uint32_t backup = checkAction(SQLPI_ELEMENT_DB_BACKUP);
        if (backup == none) return;
        const uint32_t target = outline_.firstChild(backup);
        if (target == none) return;
        for (uint32_t other = outline_.at(target).next; other != none; other = outline_.at(other).next)
            if (isTarget(outline_.typeOf(other)))
                add("ignored", other,
                    fmt::format("{} is not read: only the first element inside kel:DBBackup is", nameOf(other)),
                    "one target, first inside kel:DBBackup");
        switch (outline_.typeOf(target)) {
            case SQLPI_ELEMENT_DISK_BACKUP_TARGET:
            case SQLPI_ELEMENT_TAPE_BACKUP_TARGET:
                checkPath(target);
                break;
            case SQLPI_ELEMENT_VLT_BACKUP_TARGET:
            case SQLPI_ELEMENT_XBSA_BACKUP_TARGET:
                checkSessions(target);
                break;
            case SQLPI_ELEMENT_VENDOR_LIB_BACKUP_TARGET:
                checkLibrary(target);
                break;
            default:  // the engine itself logs that it does not know the target
                break;
        }
    }

    /* The child that is read, the first one; `none` when it is of another type. */
    uint32_t firstAs(uint32_t target, SQLPI_POL_ELEMENT_TYPE type) {
        const uint32_t first = outline_.firstChild(target);
        if (outline_.typeOf(first) == type) return first;
        for (uint32_t child = first; child != none; child = outline_.at(child).next)
            if (outline_.typeOf(child) == type)
                add("ignored", child,
                    fmt::format("{} is not read: it is not the first element inside {}", nameOf(child), nameOf(target)),
                    fmt::format("{} first", nameOf(child)));
        return none;
    }

    void checkPath(uint32_t target) {
        const uint32_t path = firstAs(target, SQLPI_ELEMENT_PATHNAME);
        if (path != none)
            checkLength(path, sizeof(sqlpiBackupPolicy::targetLocation));
        else if (outline_.typeOf(target) == SQLPI_ELEMENT_TAPE_BACKUP_TARGET)
            add("no-path", target, "the tape has no kel:Pathname: the default location of disks is taken for it",
                "<kel:Pathname> with the device");
    }

    void checkSessions(uint32_t target) {
        constexpr int32_t most = 999;
        const uint32_t sessions = firstAs(target, SQLPI_ELEMENT_NUMBER_OF_SESSIONS);
        const std::string instead = fmt::format("<kel:numberOfSessions> with a number from 1 to {}", most);
        if (sessions == none) {
            add("session-count", target,
                fmt::format("{} does not begin with kel:numberOfSessions: the number of sessions is read out of the "
                            "bytes of the default path",
                            nameOf(target)),
                instead);
            return;
        }
        const std::string* text = outline_.text(sessions);
        if (text == nullptr) return;  // the engine itself logs that it takes the default
        const int32_t value = sqlpiToInt32(text->c_str());
        if (!isReadWhole(*text, value) || value < 1 || value > most)
            add("session-count", sessions,
                fmt::format("the number of sessions \"{}\" is read as {}", *text, static_cast<uint32_t>(value)),
                instead);
    }

    void checkLibrary(uint32_t target) {
        bool hasName = false;
        for (uint32_t child = outline_.firstChild(target); child != none; child = outline_.at(child).next) {
            hasName = hasName || outline_.typeOf(child) == SQLPI_ELEMENT_LIB_FILENAME;
            if (outline_.typeOf(child) == SQLPI_ELEMENT_LIB_FILENAME)
                checkLength(child, sizeof(sqlpiBackupPolicy::targetLocation));
            if (outline_.typeOf(child) == SQLPI_ELEMENT_LIB_OPTIONS)
                checkLength(child, sizeof(sqlpiBackupPolicy::libOptions));
        }
        if (!hasName)
            add("no-path", target, "no kel:libFilename: the default location of disks is taken for the library",
                "<kel:libFilename> with the library's full name");
    }

    void checkLength(uint32_t element, size_t size) {
        const std::string* text = outline_.text(element);
        if (text != nullptr && text->size() >= size)
            add("text-cut", element,
                fmt::format("{} has {} bytes, of which the engine's record takes {}", nameOf(element), text->size(),
                            size - 1),
                fmt::format("at most {} bytes", size - 1));
    }

    DocumentOutline outline_;
    std::vector<Finding> findings_{};
};

}  // namespace

std::vector<Finding> lintDocument(const PolicyKind& kind, const std::string& document) {
    std::vector<Finding> findings = DocumentLint(document).run(kind);
    std::stable_sort(findings.begin(), findings.end(), [](const Finding& left, const Finding& right) {
        return std::pair(left.place.line, left.place.column) < std::pair(right.place.line, right.place.column);
    });
    return findings;
}

std::string shownSubject(const Finding& finding) {
    return finding.window == nullptr ? finding.what : fmt::format("the {} window: {}", finding.window, finding.what);
}

void noteFindings(const std::vector<Finding>& findings, Output& output, const char* policy) {
    constexpr size_t most = 20;
    const std::string of = policy == nullptr ? "" : fmt::format("{}: ", policy);
    for (size_t i = 0; i < std::min(findings.size(), most); ++i) {
        const Finding& finding = findings[i];
        const std::string where = finding.place.line == 0
                                      ? std::string()
                                      : fmt::format("line {}, column {}: ", finding.place.line, finding.place.column);
        output.note(fmt::format("{}{}{}; write instead: {}", of, where, shownSubject(finding), finding.instead));
    }
    if (findings.size() > most) output.note(fmt::format("{}and {} more of this kind", of, findings.size() - most));
}

}  // namespace kelpolicy
