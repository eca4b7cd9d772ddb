// Texts of a condition that the engine reads otherwise than they were meant: it takes what it finds and reports
// nothing.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "model/sqlpiPolicyCatalogue.h"
#include "sqlpiMaintWin.h"
#include "windows/windowLint.h"

namespace kelpolicy {
namespace {

struct Mask {
    SQLPI_POL_ELEMENT_TYPE type;
    size_t length;
    const char* example;
};
constexpr Mask masks[] = {
    {SQLPI_ELEMENT_DAY_OF_WEEK_MASK, SQLPI_WEEK_DAYS, "Sunday first: 1000001 is the week-end"},
    {SQLPI_ELEMENT_MONTH_OF_YEAR_MASK, SQLPI_MONTHS, "January first: 000000000001 is December"},
    {SQLPI_ELEMENT_DAY_OF_MONTH_MASK, SQLPI_MONTH_DAYS,
     "the days 1 to 31, then the last day, the one before it and so on"},
};

class TextLint {
public:
    TextLint(const char* window, std::vector<Finding>& findings) : window_(window), findings_(findings) {}

    void check(const WindowPart& part) {
        const auto* mask = std::find_if(std::begin(masks), std::end(masks),
                                        [&part](const Mask& known) { return known.type == part.type; });
        if (mask != std::end(masks))
            checkMask(part, *mask);
        else if (part.type == SQLPI_ELEMENT_TIME_OF_DAY_MASK)
            checkTimeOfDay(part);
        else
            checkPeriod(part);
    }

    void add(const char* name, const char* severity, TextPlace place, std::string what, std::string instead) {
        findings_.push_back({name, severity, window_, place, std::move(what), std::move(instead)});
    }

private:
    void checkMask(const WindowPart& part, const Mask& mask) {
        const char* name = sqlpiElementName(part.type);
        const std::string instead = fmt::format("{} characters, each 0 or 1, {}", mask.length, mask.example);
        if (part.text.size() != mask.length)
            add("mask-length", "warning", part.place,
                fmt::format(
                    "{} has {} characters in place of {}: {}", name, part.text.size(), mask.length,
                    part.text.size() < mask.length ? "what is missing counts as selected" : "the rest is not read"),
                instead);
        if (part.text.find_first_not_of("01") != std::string::npos)
            add("mask-character", "warning", part.place,
                fmt::format("{} \"{}\" has other characters than 0 and 1: each counts as selected", name, part.text),
                instead);
    }

    void checkTimeOfDay(const WindowPart& part) {
        const std::string_view text = part.text;
        const bool isGood =
            text.size() == 15 && text[7] == '/' && isClock(text.substr(0, 7)) && isClock(text.substr(8));
        if (isGood) return;
        add("time-of-day", "warning", part.place,
            fmt::format(
                "TimeOfDayMask \"{}\" is not of the form Thhmmss/Thhmmss: the engine takes what stands at those "
                "places, and 0 for what is no digit",
                text),
            "start and end with two digits for hour (00 to 23), minute and second, for example T220000/T060000");
    }

    void checkPeriod(const WindowPart& part) {
        const std::string_view text = part.text;
        const size_t slash = text.find('/');
        const bool isGood = slash != std::string_view::npos && isLimit(text.substr(0, slash), "THISANDPRIOR") &&
                            isLimit(text.substr(slash + 1), "THISANDFUTURE");
        if (isGood) return;
        add("time-period", "warning", part.place,
            fmt::format("TimePeriod \"{}\" is not of the form yyyymmddThhmmss/yyyymmddThhmmss: the engine takes what "
                        "stands at those places, and 0 for what is no digit",
                        text),
            "start and end, for example 20260101T000000/20261231T235959; THISANDPRIOR before the \"/\" for no start, "
            "THISANDFUTURE behind it for no end");
    }

    static int number(std::string_view text) {
        int value = -1;
        const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
        return failure == std::errc() && end == text.data() + text.size() ? value : -1;
    }

    static bool isWithin(std::string_view digits, int least, int most) {
        const int value = digits.front() == '-' ? -1 : number(digits);
        return value >= least && value <= most;
    }

    static bool isClock(std::string_view text) {
        return text.size() == 7 && text[0] == 'T' && isWithin(text.substr(1, 2), 0, 23) &&
               isWithin(text.substr(3, 2), 0, 59) && isWithin(text.substr(5, 2), 0, 59);
    }

    static bool isLimit(std::string_view text, std::string_view open) {
        if (text == open) return true;
        if (text.size() != 15 || !isWithin(text.substr(0, 4), 1970, 9999) || !isWithin(text.substr(4, 2), 1, 12))
            return false;
        const int days = sqlpiGetTotalDayInMonth(number(text.substr(0, 4)), number(text.substr(4, 2)));
        return isWithin(text.substr(6, 2), 1, days) && isClock(text.substr(8));
    }

    const char* window_;
    std::vector<Finding>& findings_;
};

}  // namespace

std::vector<Finding> lintTexts(const std::vector<WindowCondition>& conditions) {
    std::vector<Finding> findings;
    const WindowCondition* earlier[2] = {nullptr, nullptr};
    for (const WindowCondition& condition : conditions) {
        const char* window = condition.isOffline() ? "offline" : "online";
        TextLint lint(window, findings);
        if (condition.windowType.has_value() && condition.windowType != "online" && condition.windowType != "offline")
            lint.add("window-type", "warning", condition.place,
                     fmt::format("windowType \"{}\" is neither \"online\" nor \"offline\": it counts as online",
                                 *condition.windowType),
                     "windowType=\"online\" or windowType=\"offline\"");
        const WindowCondition*& before = earlier[condition.isOffline() ? 1 : 0];
        if (before != nullptr)
            lint.add("overwritten", "warning", condition.place,
                     fmt::format("the {} window was described before, at line {}: what this one says overwrites that",
                                 window, before->place.line),
                     "one condition for each window; the engine has no second one of a kind");
        before = &condition;
        for (const WindowPart& part : condition.parts) lint.check(part);
    }
    return findings;
}

}  // namespace kelpolicy
