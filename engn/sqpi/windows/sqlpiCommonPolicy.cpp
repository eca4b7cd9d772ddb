/* Maintenance window policy: the windows of the stored common policy over the defaults, and their text forms. */
#include "sqlpiCommonPolicy.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "base/sqlpiNumber.h"
#include "base/sqlpiTrace.h"
#include "logs.h"
#include "services/sqlpiStoredPolicy.h"
#include "services/sqlpiTreeWalk.h"
#include "sqlpiMaintWin.h"
#include "windows/sqlpiWindowReading.h"

extern "C" {
const char* const DAYS_OF_WEEK[SQLPI_WEEK_DAYS] = {"SUN", "MON", "TUE", "WED", "THU", "FRI", "SAT"};
const char* const MONTHS_OF_YEAR[SQLPI_MONTHS] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                                  "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
}

namespace {

std::string_view behind(std::string_view text, size_t count) noexcept {
    text.remove_prefix(std::min(count, text.size()));
    return text;
}

/* The number in the `width` characters (at most 4) at `position`, of which those past the text's end are missing. */
int32_t numberAt(std::string_view text, size_t position, size_t width) noexcept {
    std::array<char, 5> digits{};
    text = behind(text, position);
    std::copy_n(text.data(), std::min(width, text.size()), digits.data());
    return sqlpiToInt32(digits.data());
}

uint8_t twoDigitsAt(std::string_view text, size_t position) noexcept {
    return static_cast<uint8_t>(numberAt(text, position, 2));
}

/* Fills one target from the text at its beginning. */
void readTime(sqlpiMaintWindowTime& time, std::string_view text) noexcept {
    time = {twoDigitsAt(text, 1), twoDigitsAt(text, 3), twoDigitsAt(text, 5)};
}

/* Returns how many characters the limit takes, the "/" behind it included. */
size_t readDateTime(sqlpiMaintWindowDateTime& limit, std::string_view text) noexcept {
    struct OpenLimit {
        std::string_view word;
        sqlpiBoundKind boundKind;
    };
    constexpr OpenLimit openLimits[] = {{"THISANDPRIOR", MAINT_WINDOW_THISANDPRIOR},
                                        {"THISANDFUTURE", MAINT_WINDOW_THISANDFUTURE}};
    for (const OpenLimit& open : openLimits) {
        if (!text.starts_with(open.word)) continue;
        limit.boundKind = open.boundKind;
        return open.word.size() + 1;
    }
    limit.boundKind = MAINT_WINDOW_DATE_TIME;
    limit.year = static_cast<uint16_t>(numberAt(text, 0, 4));
    limit.month = twoDigitsAt(text, 4);
    limit.day = twoDigitsAt(text, 6);
    limit.hour = twoDigitsAt(text, 9);
    limit.minute = twoDigitsAt(text, 11);
    limit.second = twoDigitsAt(text, 13);
    return std::string_view("yyyymmddThhmmss/").size();
}

void setDefaults(sqlpiMaintWindowInfo& info, bool isDefined) noexcept {
    info = {};
    info.defined = isDefined;
    std::fill(std::begin(info.monthOfYear), std::end(info.monthOfYear), true);
    std::fill(std::begin(info.dayOfMonth), std::end(info.dayOfMonth), true);
    std::fill(std::begin(info.dayOfWeek), std::end(info.dayOfWeek), true);
    info.startDateTime.boundKind = MAINT_WINDOW_THISANDPRIOR;
    info.endDateTime.boundKind = MAINT_WINDOW_THISANDFUTURE;
}

constexpr const char* extraction = "sqlpiGetMaintWinFromParsedTree";

/* The window that a condition describes. */
sqlpiMaintWindowInfo& targetOf(SQLPIPolicyElement& element, sqlpiMaintWindow& window) noexcept {
    const auto condition = sqlpiGuardedCast<SQLPIMaintenanceWindowCondition>(&element);
    if (condition.element == nullptr) {
        constexpr std::string_view complaint = "Dynamic cast error";
        sqlt_logadmin(SQLT_ADMIN_TEXT, PD_ERROR, extraction, 50, complaint.data(), complaint.size());
    } else if (condition.element->maintWindowType == 1) {
        window.offline.defined = true;
        return window.offline;
    }
    return window.online;
}

void readCondition(SQLPIPolicyElement& condition, sqlpiMaintWindow& window) noexcept {
    sqlpiMaintWindowInfo& info = targetOf(condition, window);
    if (condition.parent != nullptr && condition.parent->elementType == SQLPI_ELEMENT_NOT) info.outside = 1;
    sqlpiForEachChild(condition, [&info](const SQLPIPolicyElement& child) {
        switch (child.elementType) {
            case SQLPI_ELEMENT_TIME_PERIOD:
                sqlpiMWSetDateTimeRange(&info.startDateTime, &info.endDateTime, child.text);
                break;
            case SQLPI_ELEMENT_MONTH_OF_YEAR_MASK:
                sqlpiMWSetMask(info.monthOfYear, SQLPI_MONTHS, child.text);
                break;
            case SQLPI_ELEMENT_DAY_OF_MONTH_MASK:
                sqlpiMWSetMask(info.dayOfMonth, SQLPI_MONTH_DAYS, child.text);
                break;
            case SQLPI_ELEMENT_DAY_OF_WEEK_MASK:
                sqlpiMWSetMask(info.dayOfWeek, SQLPI_WEEK_DAYS, child.text);
                break;
            case SQLPI_ELEMENT_TIME_OF_DAY_MASK:
                sqlpiMWSetTimeRange(&info.startTime, &info.endTime, child.text);
                break;
            default:
                break;
        }
    });
}

}  // namespace

void sqlpiMWSetMask(bool* mask, int32_t count, const char* text) noexcept {
    if (text == nullptr) return;
    for (int32_t i = 0; i < count; ++i) {
        mask[i] = *text != '0';
        if (*text != '\0') ++text;
    }
}

void sqlpiMWSetTimeRange(sqlpiMaintWindowTime* start, sqlpiMaintWindowTime* end, const char* text) noexcept {
    if (text == nullptr) return;
    std::string_view rest(text);
    if (start != nullptr) {
        readTime(*start, rest);
        rest = behind(rest, std::string_view("Thhmmss/").size());
    }
    if (end != nullptr) readTime(*end, rest);
}

void sqlpiMWSetDateTimeRange(sqlpiMaintWindowDateTime* start, sqlpiMaintWindowDateTime* end,
                             const char* text) noexcept {
    if (text == nullptr) return;
    std::string_view rest(text);
    if (start != nullptr) rest = behind(rest, readDateTime(*start, rest));
    if (end != nullptr) readDateTime(*end, rest);
}

void sqlpiSetMaintWindowDefaults(sqlpiMaintWindow* window) noexcept {
    setDefaults(window->online, true);
    setDefaults(window->offline, false);
}

int32_t sqlpiGetMaintWinFromParsedTree(SQLPIPolicyElement* root, sqlpiMaintWindow* window) noexcept {
    sqlpiFunctionTrace trace(extraction);
    if (root == nullptr || window == nullptr) return trace.exit(0);
    sqlpiRewind(*root);
    sqlpiForEachElement(*root, SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION,
                        [window](SQLPIPolicyElement& condition) { readCondition(condition, *window); });
    return trace.exit(0);
}

int32_t sqlpiGetMaintWindowPolicy(char* document, int32_t length, sqlpiMaintWindow* window) noexcept {
    sqlpiFunctionTrace trace("sqlpiGetMaintWindowPolicy");
    sqlpiTree root;
    const int32_t status = sqlpiParseInto(root, document, length);
    if (status != 0) return trace.exit(status);
    return trace.exit(sqlpiGetMaintWinFromParsedTree(root.get(), window));
}

void sqlpiGetMaintWindow(sqlpiMaintWindow* window) noexcept {
    const sqlpiFunctionTrace trace("sqlpiGetMaintWindow");
    if (window == nullptr) return;
    sqlpiSetMaintWindowDefaults(window);
    const sqlpiStoredPolicy stored(SQLPI_MAINT_WINDOW_KEY);
    if (stored.isPresent()) sqlpiGetMaintWindowPolicy(stored.document.get(), stored.length, window);
    sqlpiConvertMaintWindow(&window->online);
    sqlpiConvertMaintWindow(&window->offline);
}
