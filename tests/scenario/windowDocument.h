/* Documents with maintenance windows, one element on a line, so that a test can say where it expects something. */
#ifndef TESTS_SCENARIO_WINDOW_DOCUMENT_H
#define TESTS_SCENARIO_WINDOW_DOCUMENT_H

#include <string>

namespace scenario {

inline const std::string everyDayOfMonth(62, '1');

inline const std::string lastDayOfMonth = std::string(31, '0') + "1" + std::string(30, '0');

/* A text that is empty is left out. */
struct WindowText {
    std::string time = "T220000/T060000";
    std::string dayOfWeek = "1111111";
    std::string monthOfYear = "111111111111";
    std::string dayOfMonth = everyDayOfMonth;
    std::string period{};
    std::string type = "online";
    bool isOutside = false;
};

/* The condition's tag stands in its line 2 (3 inside "Not"), its parts in the lines below in the order DayOfWeekMask,
 * MonthOfYearMask, DayOfMonthMask, TimeOfDayMask, TimePeriod, all from column 1. */
inline std::string windowDocument(const WindowText& window) {
    const auto element = [](const char* name, const std::string& text) {
        return text.empty() ? std::string() : std::string("<") + name + ">" + text + "</" + name + ">\n";
    };
    return "<PolicyDocument>\n" + std::string(window.isOutside ? "<Not>\n" : "") +
           "<kel:MaintenanceWindowCondition windowType=\"" + window.type + "\">\n" +
           element("DayOfWeekMask", window.dayOfWeek) + element("MonthOfYearMask", window.monthOfYear) +
           element("DayOfMonthMask", window.dayOfMonth) + element("TimeOfDayMask", window.time) +
           element("TimePeriod", window.period) + "</kel:MaintenanceWindowCondition>\n" +
           (window.isOutside ? "</Not>\n" : "") + "</PolicyDocument>\n";
}

}  // namespace scenario

#endif
