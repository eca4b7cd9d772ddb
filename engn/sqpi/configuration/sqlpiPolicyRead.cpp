#include "configuration/sqlpiPolicyRead.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "base/sqlpiNumber.h"
#include "base/sqlpiReport.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "base/sqlpiUtf8.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiRecordTexts.h"
#include "logs.h"
#include "sqlpiCommonPolicy.h"

namespace {

using xercesc::DOMElement;

/* The engine's own records hold so much of a path, a library's name and its options. */
constexpr size_t mostPathBytes = 2047;

struct TextTooLong {
    const char* what;
    size_t most;
    size_t length;
};

/* --- the tree ----------------------------------------------------------------------------------------------------- */

std::u16string_view viewOf(const XMLCh* text) noexcept {
    return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

std::u16string_view localName(const DOMElement& element) noexcept {
    return viewOf(element.getLocalName());
}

std::u16string_view attributeOf(const DOMElement& element, const XMLCh* name) {
    return viewOf(element.getAttribute(name));
}

std::u16string_view textOf(const DOMElement* element) {
    return element == nullptr ? std::u16string_view() : viewOf(element->getTextContent());
}

template <class Visit>
void forEachChild(const DOMElement& element, Visit visit) {
    for (const DOMElement* child = element.getFirstElementChild(); child != nullptr;
         child = child->getNextElementSibling())
        visit(*child);
}

/* The first child of that name, or null. */
const DOMElement* childOf(const DOMElement* element, std::u16string_view name) {
    const DOMElement* child = element == nullptr ? nullptr : element->getFirstElementChild();
    while (child != nullptr && localName(*child) != name) child = child->getNextElementSibling();
    return child;
}

/* --- text into the records ---------------------------------------------------------------------------------------- */

void own(char*& field, std::u16string_view value, size_t most = SIZE_MAX, const char* what = "text") {
    sqlpiUtf8Text text(value);
    const std::string_view bytes(text.text());
    if (bytes.size() > most) throw TextTooLong{what, most, bytes.size()};
    if (!sqlpiSetOwnedText(field, bytes)) throw std::bad_alloc();
}

/* As it is, or not at all. */
template <size_t Size>
void copy(char (&field)[Size], std::u16string_view value, size_t most, const char* what) {
    sqlpiUtf8Text text(value);
    const std::string_view bytes(text.text());
    if (bytes.size() > most) throw TextTooLong{what, most, bytes.size()};
    sqlpiTextBuilder(field, Size).append(bytes);
}

/* Runs the steps of one reader; whatever they throw ends here. */
template <class Steps>
uint32_t guarded(const char* function, sqlca& ca, Steps steps) noexcept {
    sqlpiFunctionTrace trace(function);
    try {
        steps();
        return trace.exit(SQLPI_CONFIG_OK);
    } catch (const TextTooLong& text) {
        sqlpiRefuseLongText(function, text.what, text.most, text.length, ca);
    } catch (...) {
        sqlpiReportNoMemory(ca, function, 20);
    }
    return trace.exit(SQLPI_CONFIG_FAILED);
}

/* --- windows ------------------------------------------------------------------------------------------------------ */

constexpr std::u16string_view xmlBlanks = u" \t\n\r";

/* The words between the blanks. */
template <class Visit>
void forEachWord(std::u16string_view text, Visit visit) {
    for (size_t begin = text.find_first_not_of(xmlBlanks); begin != text.npos;) {
        const size_t end = std::min(text.find_first_of(xmlBlanks, begin), text.size());
        visit(text.substr(begin, end - begin));
        begin = text.find_first_not_of(xmlBlanks, end);
    }
}

bool isAll(std::u16string_view text) noexcept {
    const size_t last = text.find_last_not_of(xmlBlanks);
    return last != text.npos && text.substr(0, last + 1) == u"All";
}

/* One mask character for each name: whether it occurs in the text, in any case. */
template <size_t Size, size_t Names>
void setMask(char (&mask)[Size], std::u16string_view text, const char* const (&names)[Names]) {
    static_assert(Size == Names + 1);
    const bool all = isAll(text);
    for (size_t i = 0; i < Names; ++i) mask[i] = all || sqlpiOccursIn(text, names[i]) ? '1' : '0';
    mask[Names] = '\0';
}

void setDaysOfMonth(maintenanceOldWindow& window, std::u16string_view text) {
    constexpr int32_t longestMonth = 31;
    constexpr size_t positions = sizeof window.dayOfMonthMask - 1;
    const bool all = isAll(text);
    std::memset(window.dayOfMonthMask, all ? '1' : '0', positions);
    window.dayOfMonthMask[positions] = '\0';
    size_t listed = 0;
    bool ended = all;
    forEachWord(text, [&](std::u16string_view word) {
        const int32_t day = ended ? 0 : sqlpiToInt32(sqlpiUtf8Text(word).text());
        ended = day == 0;
        if (ended) return;
        if (listed < SQLPI_MOST_DAY_NUMBERS) window.dayNumbers[listed++] = day;
        if (day >= 1 && day <= longestMonth) window.dayOfMonthMask[day - 1] = '1';
        if (day <= -1 && day >= -longestMonth) window.dayOfMonthMask[longestMonth - 1 - day] = '1';
    });
    window.dayNumbers[listed] = 0;
}

/* The number of two digits at the beginning; fractions of a second and zone marks come behind them. */
int twoDigits(std::u16string_view field) noexcept {
    int number = 0;
    for (const char16_t digit : field.substr(0, 2)) {
        if (digit < u'0' || digit > u'9') break;
        number = 10 * number + (digit - u'0');
    }
    return number;
}

void setTimeRange(maintenanceOldWindow& window, std::u16string_view startTime, std::u16string_view duration) {
    int start[3] = {}; /* hour, minute, second */
    for (int& field : start) {
        field = twoDigits(startTime);
        startTime.remove_prefix(std::min(startTime.find(u':'), startTime.size()));
        if (!startTime.empty()) startTime.remove_prefix(1);
    }
    constexpr int dayHours = 24;
    start[0] %= dayHours;
    start[2] = std::min(start[2], 59);  // the XML library lets a leap second pass
    const int hours = std::clamp(sqlpiToInt32(sqlpiUtf8Text(duration).text()), 0, dayHours);
    const int endHour = (start[0] + hours) % dayHours;
    sqlpiTextBuilder range(window.timeRange, sizeof window.timeRange);
    range.appendFormat("T%02d%02d%02d/T", start[0], start[1], start[2]);
    if (endHour == 0)
        range.append("235959");  // also when the window began past the hour
    else
        range.appendFormat("%02d%02d%02d", endHour, start[1], start[2]);
}

}  // namespace

void sqlpiReadWindowValuesFromTree(const DOMElement& element, maintenanceOldWindow& window) {
    sqlpiUtf8Text occurrence(attributeOf(element, u"Occurrence"));
    sqlpiTextBuilder(window.occurrence, sizeof window.occurrence).append(occurrence.text());
    setTimeRange(window, attributeOf(element, u"startTime"), attributeOf(element, u"duration"));
    setMask(window.dayOfWeekMask, textOf(childOf(&element, u"DaysOfWeek")), DAYS_OF_WEEK);
    setMask(window.monthOfYearMask, textOf(childOf(&element, u"MonthsOfYear")), MONTHS_OF_YEAR);
    setDaysOfMonth(window, textOf(childOf(&element, u"DaysOfMonth")));
}

uint32_t sqlpiReadAutoMWPolicy(const DOMElement& root, maintenanceOldPolicy& policy, sqlca& ca) noexcept {
    return guarded("sqlpiReadAutoMWPolicy", ca, [&] {
        forEachChild(root, [&](const DOMElement& child) {
            policy.offlinePresent = localName(child) == u"OfflineWindow";
            if (localName(child) == u"OnlineWindow") {
                policy.onlinePresent = true;
                sqlpiReadWindowValuesFromTree(child, policy.online);
            } else if (policy.offlinePresent) {
                sqlpiReadWindowValuesFromTree(child, policy.offline);
            }
        });
    });
}

/* --- backup, reorg, runstats -------------------------------------------------------------------------------------- */

uint32_t sqlpiReadAutoBackupPolicy(const DOMElement& root, backupPolicy& policy, sqlca& ca) noexcept {
    return guarded("sqlpiReadAutoBackupPolicy", ca, [&] {
        if (const DOMElement* options = childOf(&root, u"BackupOptions")) {
            own(policy.mode, attributeOf(*options, u"mode"));
            if (const DOMElement* targets = childOf(options, u"BackupTarget"))
                forEachChild(*targets, [&](const DOMElement& target) {
                    const std::u16string_view name = localName(target);
                    policy.diskTarget = name == u"DiskBackupTarget";
                    policy.tapeTarget = name == u"TapeBackupTarget";
                    policy.vltTarget = name == u"VLTBackupTarget";
                    policy.xbsaTarget = name == u"XBSABackupTarget";
                    policy.vendorTarget = name == u"VendorLibBackupTarget";
                    if (policy.diskTarget || policy.tapeTarget)
                        copy(policy.path, textOf(childOf(&target, u"PathName")), mostPathBytes, "path");
                    policy.useDefaultPath = policy.diskTarget && policy.path[0] == '\0';
                    if (policy.vltTarget || policy.xbsaTarget)
                        own(policy.numberOfSessions, attributeOf(target, u"numberOfSessions"));
                    if (policy.vendorTarget) {
                        copy(policy.path, textOf(childOf(&target, u"LibFilename")), mostPathBytes, "library file name");
                        own(policy.libOptions, textOf(childOf(&target, u"LibOptions")), mostPathBytes,
                            "library options");
                    }
                });
        }
        if (const DOMElement* criteria = childOf(&root, u"BackupCriteria")) {
            own(policy.numberOfFullBackups, attributeOf(*criteria, u"numberOfFullBackups"));
            own(policy.timeSinceLastBackup, attributeOf(*criteria, u"timeSinceLastBackup"));
            own(policy.logSpaceConsumedSinceLastBackup, attributeOf(*criteria, u"logSpaceConsumedSinceLastBackup"));
        }
    });
}

uint32_t sqlpiReadAutoReorgPolicy(const DOMElement& root, reorgPolicy& policy, sqlca& ca) noexcept {
    return guarded("sqlpiReadAutoReorgPolicy", ca, [&] {
        const auto ownOrZero = [](char*& field, const DOMElement& element, const XMLCh* attribute) {
            own(field, element.hasAttribute(attribute) ? attributeOf(element, attribute) : u"0");
        };
        if (const DOMElement* options = childOf(&root, u"ReorgOptions")) {
            own(policy.dictionaryOption, attributeOf(*options, u"dictionaryOption"));
            own(policy.indexReorgMode, attributeOf(*options, u"indexReorgMode"));
            own(policy.useSystemTempTableSpace, attributeOf(*options, u"useSystemTempTableSpace"));
            ownOrZero(policy.reclaimExtentsSizeForMDCTables, *options, u"reclaimExtentsSizeForMDCTables");
            ownOrZero(policy.numInxPseudoEmptyPagesForVolatileTables, *options,
                      u"numInxPseudoEmptyPagesForVolatileTables");
        }
        if (const DOMElement* scope = childOf(&root, u"ReorgTableScope")) {
            if (scope->hasAttribute(u"maxOfflineReorgTableSize"))
                own(policy.maxOfflineReorgTableSize, attributeOf(*scope, u"maxOfflineReorgTableSize"));
            copy(policy.filterClause, textOf(childOf(scope, u"FilterClause")), SQLPI_OLD_REORG_POLICY_SIZE - 1,
                 "filter clause");
        }
    });
}

uint32_t sqlpiReadAutoRunstatsPolicy(const DOMElement& root, runStatsPolicy& policy, sqlca& ca) noexcept {
    return guarded("sqlpiReadAutoRunstatsPolicy", ca, [&] {
        copy(policy.filterCondition, textOf(childOf(childOf(&root, u"RunstatsTableScope"), u"FilterCondition")),
             sizeof policy.filterCondition - 1, "filter condition");
    });
}

/* --- failures ----------------------------------------------------------------------------------------------------- */

void sqlpiRefuseLongText(const char* function, const char* what, size_t most, size_t length, sqlca& ca,
                         int32_t sqlcode) noexcept {
    pdLogPrintf(PD_ERROR, function, 10, "The %s may be %zu bytes long; this one is %zu bytes long.", what, most,
                length);
    sqlpiPrepSqlca(ca, sqlcode, nullptr, {SQLPI_TEXT_TOO_LONG});
}
