// What the windows do, asked of the engine's own search.
#include "windows/windowLint.h"

#include <fmt/format.h>

#include <algorithm>

#include "sqlpiMaintWin.h"
#include "windows/localTime.h"
#include "windows/windowRecord.h"
#include "windows/windowSearch.h"

namespace kelpolicy {
namespace {

constexpr int64_t hour = 3600;
constexpr int64_t day = 24 * hour;
constexpr int64_t fiveYears = day * 5 * 366;

bool isSelected(const sqlpiMaintWindowInfo& window, Date date) {
    const auto days = static_cast<size_t>(sqlpiGetTotalDayInMonth(date.year, date.month));
    const auto dayOfMonth = static_cast<size_t>(date.day);
    return window.monthOfYear[date.month - 1] && window.dayOfWeek[weekdayOf(date)] &&
           (window.dayOfMonth[dayOfMonth - 1] || window.dayOfMonth[days - dayOfMonth + 31]);
}

class WindowLint {
public:
    WindowLint(const char* name, const sqlpiMaintWindowInfo& window, const std::vector<WindowCondition>& conditions,
               int64_t now)
        : name_(name), window_(window), conditions_(conditions), now_(now) {}

    std::vector<Finding> run() {
        if (!window_.defined) return {};
        const std::optional<Stretch> next = firstStretch(window_);
        if (hasExpired())
            addExpired();
        else if (!next.has_value())
            addNeverOpens();
        else if (next->start > now_ + fiveYears)
            add(neverOpens(), "error", place(SQLPI_ELEMENT_TIME_PERIOD),
                fmt::format("it does not open within five years: the first time is {}", shownLocal(next->start)),
                "a TimePeriod that begins earlier, or none");
        else
            checkLengths(next);
        checkMidnight();
        checkClockChanges();
        return std::move(findings_);
    }

private:
    void add(const char* check, const char* severity, TextPlace where, std::string what, std::string instead) {
        findings_.push_back({check, severity, name_, where, std::move(what), std::move(instead)});
    }

    const char* neverOpens() const {
        return std::string_view(name_) == "offline" ? "offline-never-opens" : "never-opens";
    }

    /* The engine also gives up after two days that a clock change cut short; then it is asked again behind it. */
    std::optional<Stretch> firstStretch(const sqlpiMaintWindowInfo& window) const {
        std::optional<Stretch> found = findStretch(window, now_, 1);
        for (std::optional<ClockChange> change = findClockChange(now_, now_ + fiveYears);
             !found.has_value() && change.has_value(); change = findClockChange(change->moment + 1, now_ + fiveYears))
            found = findStretch(window, startOfDay(nextDay(dateOf(change->moment))), 1);
        return found;
    }

    /* The last element of that type decides; where there is none, the condition itself. */
    TextPlace place(SQLPI_POL_ELEMENT_TYPE type = SQLPI_ELEMENT_NONE) const {
        TextPlace found = {0, 0};
        TextPlace condition = {0, 0};
        for (const WindowCondition& candidate : conditions_) {
            if (candidate.isOffline() != (std::string_view(name_) == "offline")) continue;
            condition = candidate.place;
            for (const WindowPart& part : candidate.parts)
                if (part.type == type) found = part.place;
        }
        return found.line != 0 ? found : condition;
    }

    bool hasExpired() const {
        tm limit = {};
        return window_.endDateTime.boundKind != MAINT_WINDOW_THISANDFUTURE &&
               sqlpiGetEndDateTime(&window_, &limit) <= now_;
    }

    void addExpired() {
        add("expired-period", "error", place(SQLPI_ELEMENT_TIME_PERIOD),
            fmt::format("its period is over ({}): it opens no more", shownPeriod(window_)),
            "a TimePeriod whose end lies ahead, or none at all for a window without end");
    }

    bool selectsEveryDay() const {
        sqlpiMaintWindowInfo without = window_;
        without.endDateTime.boundKind = MAINT_WINDOW_THISANDFUTURE;
        return sqlpiIs24x7MaintWindow(&without) == 1;
    }

    /* Whether it opens when this is changed about it. */
    template <class Change>
    bool opensWith(Change change) const {
        sqlpiMaintWindowInfo changed = window_;
        change(changed);
        return firstStretch(changed).has_value();
    }

    void addNeverOpens() {
        const auto withoutPeriod = [](sqlpiMaintWindowInfo& window) {
            window.startDateTime.boundKind = MAINT_WINDOW_THISANDPRIOR;
            window.endDateTime.boundKind = MAINT_WINDOW_THISANDFUTURE;
        };
        const auto allDay = [](sqlpiMaintWindowInfo& window) {
            window.startTime = {0, 0, 0};
            window.endTime = {23, 59, 59};
        };
        if (window_.outside != 0 && !opensWith(withoutPeriod))
            add(neverOpens(), "error", place(), "it never opens: work runs outside of a window that is always open",
                "hours in TimeOfDayMask at which work must not run, or the condition without \"Not\" around it");
        else if (selectsEveryDay())
            add(neverOpens(), "error", place(SQLPI_ELEMENT_TIME_PERIOD),
                "it never opens: the engine finds nothing in a window of 24 hours on every day whose period has an end",
                "no end (THISANDFUTURE), or T000000/T235959 in place of 24 hours");
        else if (opensWith(withoutPeriod))
            add(neverOpens(), "error", place(SQLPI_ELEMENT_TIME_PERIOD),
                fmt::format("it never opens: the engine finds none of its times in its period ({})",
                            shownPeriod(window_)),
                "a TimePeriod in which its days lie, or none at all for a window without limits");
        else if (opensWith(allDay))
            add(neverOpens(), "error", place(SQLPI_ELEMENT_TIME_OF_DAY_MASK),
                fmt::format("it never opens within five years: on its days the hours {} have no length",
                            shownTimeOfDay(window_)),
                "a begin and an end outside of the time of clock changes");
        else
            add(neverOpens(), "error", place(SQLPI_ELEMENT_DAY_OF_MONTH_MASK),
                fmt::format("it never opens within five years: no day is at once in {} (day of week), {} (day of "
                            "month) and {} (month)",
                            shownDaysOfWeek(window_), shownDaysOfMonth(window_), shownMonths(window_)),
                "masks that have days in common");
    }

    void checkLengths(const std::optional<Stretch>& next) {
        constexpr int64_t days = 32;
        constexpr int64_t least = 48 * hour;
        std::vector<Stretch> coming = stretchesBetween(window_, now_, now_ + days * day);
        int64_t total = 0;
        for (const Stretch& stretch : coming)
            total += std::min(stretch.end, now_ + days * day) - std::max(stretch.start, now_);
        if (coming.empty() && !next->isOpen()) coming.push_back(*next);
        int64_t longest = 0;
        for (const Stretch& stretch : coming) longest = std::max(longest, stretch.end - stretch.start);
        if (longest + 1 < hour && !coming.empty())  // an end at midnight is stored a second earlier
            add("short", "warning", place(SQLPI_ELEMENT_TIME_OF_DAY_MASK),
                fmt::format("it lasts {} at most: work that needs longer never starts", shownDuration(longest)),
                "an end in TimeOfDayMask that leaves an hour at least");
        if (total < least)
            add("rare", "note", place(),
                fmt::format("it is open for {} in the next {} days: less than 48 h", shownDuration(total), days),
                "more days in the masks, or longer hours in TimeOfDayMask");
    }

    /* A window given as start and duration is stored with the end 23:59:59 when it ends in the hour behind midnight. */
    void checkMidnight() {
        const sqlpiMaintWindowTime& end = window_.endTime;
        const sqlpiMaintWindowTime& start = window_.startTime;
        if (end.hour != 23 || end.minute != 59 || end.second != 59 || start.minute + start.second == 0) return;
        add("midnight", "warning", place(SQLPI_ELEMENT_TIME_OF_DAY_MASK),
            fmt::format("it begins at {:02}:{:02}:{:02} and ends at 23:59:59: the minutes behind midnight, which a "
                        "duration of whole hours has, are dropped",
                        start.hour, start.minute, start.second),
            fmt::format("T{:02}{:02}{:02}/T00{:02}{:02}", start.hour, start.minute, start.second, start.minute,
                        start.second));
    }

    void checkClockChanges() {
        if (secondsOf(window_.startTime) == secondsOf(window_.endTime)) return;
        constexpr int64_t twoYears = 731 * day;
        bool hasForward = false;
        bool hasBack = false;
        std::optional<ClockChange> change = findClockChange(now_, now_ + twoYears);
        while (change.has_value()) {
            bool& has = change->seconds > 0 ? hasForward : hasBack;
            if (!has) has = checkClockChange(*change);
            change = findClockChange(change->moment + 1, now_ + twoYears);
        }
    }

    /* Whether the window begins or ends in the time that this change skips or doubles. */
    bool checkClockChange(const ClockChange& change) {
        const int64_t after = civilSecondsAt(change.moment);
        const int64_t before = after - change.seconds;
        const int64_t low = std::min(before, after);
        const int64_t high = std::max(before, after);
        const int64_t start = secondsOf(window_.startTime);
        const int64_t end = secondsOf(window_.endTime);
        const bool isSkipped = change.seconds > 0;
        for (const int64_t dayStart : {low / day * day - day, low / day * day}) {
            if (!isSelected(window_, dateOfCivil(dayStart)) || !isValidAt(change.moment)) continue;
            const int64_t begins = dayStart + start;
            const int64_t ends = dayStart + end + (start > end ? day : 0);
            const bool beginsThere = begins >= low && begins < high;
            const bool endsThere = ends < high && (isSkipped ? ends > low : ends >= low);
            if (!beginsThere && !endsThere) continue;
            addClockChange(change, beginsThere ? "begins" : "ends", dateOfCivil(dayStart));
            return true;
        }
        return false;
    }

    bool isValidAt(int64_t moment) const {
        tm limit = {};
        const int64_t from = sqlpiGetStartDateTime(&window_, &limit);
        const int64_t until = sqlpiGetEndDateTime(&window_, &limit);
        return moment >= from && (until == 0 || moment < until);
    }

    void addClockChange(const ClockChange& change, const char* what, Date date) {
        const bool isSkipped = change.seconds > 0;
        std::string hours;
        const int64_t from = startOfDay(date);
        for (const Stretch& stretch : stretchesBetween(window_, from, startOfDay(nextDay(date))))
            hours += fmt::format("{}{} to {}", hours.empty() ? "" : ", ", shownLocal(stretch.start),
                                 shownLocal(stretch.end));
        add("clock-change", "note", place(SQLPI_ELEMENT_TIME_OF_DAY_MASK),
            fmt::format("on {} {}: it {} in the time that {}; the engine works {}", isoDate(dateOf(change.moment)),
                        shownClockChange(change), what, isSkipped ? "does not exist" : "comes twice",
                        hours.empty() ? "not at all then" : hours),
            "a begin and an end outside of the time of clock changes");
    }

    const char* name_;
    const sqlpiMaintWindowInfo& window_;
    const std::vector<WindowCondition>& conditions_;
    int64_t now_;
    std::vector<Finding> findings_{};
};

}  // namespace

std::vector<Finding> lintWindow(const char* name, const sqlpiMaintWindowInfo& window,
                                const std::vector<WindowCondition>& conditions, int64_t now) {
    return WindowLint(name, window, conditions, now).run();
}

}  // namespace kelpolicy
