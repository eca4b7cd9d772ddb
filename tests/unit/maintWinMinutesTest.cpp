/* The library's answers equal those of the clock on the wall, save for the differences that are listed here. */
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>

#include "proofSize.h"
#include "unit/maintWinCases.h"
#include "unit/maintWinMinutes.h"

using namespace maintWinCases;

namespace {

constexpr int64_t DAY = 86400;
constexpr int SEARCHED_DAYS = 15;

/* Why the library may answer otherwise. */
enum class Difference {
    none,
    /* The window starts or ends at a local time that a clock change skips. Such a time is read on the other side of the
     * change, an hour early, where no clock on the wall shows it; a window that starts there begins an hour early, and
     * one that starts and ends so near that it then has no length is too short. */
    skippedTime,
    /* The window starts or ends at a local time that occurs twice. The search takes one of the two, the clock on the
     * wall opens and closes the window twice. */
    doubledTime,
    /* In the small hours the day before decides; where that day skipped this time of day, the one before it decides. */
    skippedYesterday,
    /* The search gives up after two days whose window is too short, also when a later one were longer (by an hour,
     * after a clock change, or because these two were cut short). */
    twoTooShort,
};

int32_t seconds(const sqlpiMaintWindowTime& time) {
    return time.hour * 3600 + time.minute * 60 + time.second;
}

int64_t offsetAt(int64_t moment) {
    tm local{};
    localtime_r(&moment, &local);
    return local.tm_gmtoff;
}

Difference explain(const Case& question, const std::vector<int64_t>& changes, int64_t until) {
    const int32_t S = seconds(question.info.startTime);
    const int32_t E = seconds(question.info.endTime);
    for (const int64_t change : changes) {
        if (change < question.now.seconds - 2 * DAY || change > until + 2 * DAY) continue;
        const int64_t before = offsetAt(change - 1);
        const int64_t after = offsetAt(change);
        const int64_t first = change + std::min(before, after);
        const int64_t past = change + std::max(before, after);
        const auto falls = [&](int64_t local) { return local >= first && local < past; };
        const int64_t midnight = first - first % DAY;
        for (const int64_t day : {midnight - DAY, midnight, midnight + DAY})
            if (falls(day + S) || falls(day + E))
                return after > before ? Difference::skippedTime : Difference::doubledTime;
        const int64_t yesterday = question.now.seconds + offsetAt(question.now.seconds) - DAY;
        if (after > before && S > E && falls(yesterday)) return Difference::skippedYesterday;
    }
    const int32_t length = (E - S + 86400) % 86400;
    if (question.info.outside == 0 && question.minDuration > length) return Difference::twoTooShort;
    return Difference::none;
}

Case draw(uint64_t seed, const Zone& zone, const std::vector<int64_t>& changes) {
    Case question = randomCase(seed, zone, changes);
    std::mt19937_64 engine(seed);
    const auto from = [&](int least, int most) { return std::uniform_int_distribution<int>(least, most)(engine); };
    sqlpiMaintWindowInfo& info = question.info;
    question.now.seconds -= question.now.seconds % 60;
    for (sqlpiMaintWindowTime* time : {&info.startTime, &info.endTime}) {
        time->second = 0;
        time->minute %= 60;
        time->hour %= 24;
    }
    if (seconds(info.startTime) == seconds(info.endTime))
        info.endTime.hour = static_cast<uint8_t>((info.endTime.hour + 5) % 24);
    info.startDateTime.second = info.endDateTime.second = 0;
    const int32_t length = (seconds(info.endTime) - seconds(info.startTime) + 86400) % 86400;
    if (info.outside == 0) question.minDuration = from(0, 9) == 0 ? length + from(1, 7200) : from(1, length);
    return question;
}

class MaintWinMinutes : public testing::TestWithParam<Zone> {};

TEST_P(MaintWinMinutes, AnswersAsTheClockOnTheWallDoes) {
    const Zone& zone = GetParam();
    const ZoneScope scope(zone.name);
    const std::vector<int64_t> changes = clockChanges(zone);
    const auto cases = static_cast<uint64_t>(proofSize("KELPOLICY_WINDOW_MINUTES", 1500));
    std::map<Difference, int> differences;
    int undecided = 0;
    int alike = 0;
    int alikeBesideChange = 0;
    for (uint64_t seed = 0; seed < cases; ++seed) {
        const Case question = draw(seed, zone, changes);
        tm ignored{};
        const int64_t startLimit = sqlpiGetStartDateTime(&question.info, &ignored);
        const int64_t endLimit = sqlpiGetEndDateTime(&question.info, &ignored);
        const int64_t first = std::max(question.now.seconds, startLimit);
        OSSTime start = {-1, 0};
        OSSTime end = {-1, 0};
        const int32_t found = sqlpiFindMaintWindow(&question.info, question.now, question.minDuration, &start, &end);
        const auto wanted = maintWinMinutes::find(question.info, question.now.seconds, question.minDuration, startLimit,
                                                  endLimit, SEARCHED_DAYS);

        const int64_t last = first + SEARCHED_DAYS * DAY;
        if (wanted && wanted->end >= last && wanted->end - wanted->start < question.minDuration) {
            ++undecided;  // it goes on, perhaps for long enough
            continue;
        }
        bool same = false;
        if (!wanted) {
            same = found == 0 || start.seconds >= last;
        } else {
            const bool endIsBeyond = wanted->end >= last && (end.seconds >= last || end.seconds == start.seconds);
            same = found == 1 && start.seconds == wanted->start && (end.seconds == wanted->end || endIsBeyond);
        }
        const int64_t until = wanted ? wanted->end : last;
        const Difference why = explain(question, changes, until);
        if (same) {
            ++alike;
            alikeBesideChange += std::any_of(changes.begin(), changes.end(), [&](int64_t change) {
                return change > question.now.seconds - DAY && change < until + DAY;
            });
            continue;
        }
        ASSERT_NE(why, Difference::none) << zone.name << " seed " << seed << ": " << describe(question) << "\n  found "
                                         << found << " " << describeLocal(start.seconds) << " to "
                                         << describeLocal(end.seconds) << "\n  wanted "
                                         << (wanted ? describeLocal(wanted->start) + " to " + describeLocal(wanted->end)
                                                    : "none");
        ++differences[why];
    }
    EXPECT_LT(undecided, static_cast<int>(cases) / 20);
    EXPECT_GT(alike, static_cast<int>(cases) * 9 / 10);
    if (!changes.empty()) {
        EXPECT_GT(alikeBesideChange, static_cast<int>(cases) / 10);
        // A class that never occurs would excuse nothing and should go.
        EXPECT_GT(differences[Difference::skippedTime], 0);
        EXPECT_GT(differences[Difference::doubledTime], 0);
    }
    RecordProperty("alike", alike);
    for (const auto& [why, count] : differences)
        RecordProperty("difference" + std::to_string(static_cast<int>(why)), count);
}

constexpr std::array ZONES = {Zone{"UTC", 1971, 2037}, Zone{"Europe/Berlin", 1981, 2037},
                              Zone{"America/New_York", 1971, 2037}, Zone{"Australia/Lord_Howe", 1982, 2037},
                              Zone{"America/Sao_Paulo", 1986, 2018}};

INSTANTIATE_TEST_SUITE_P(Zones, MaintWinMinutes, testing::ValuesIn(ZONES),
                         [](const auto& zone) { return testNameOf(zone.param.name); });

}  // namespace
