/* Many threads ask at once and get the answers that one gets. */
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "unit/maintWinCases.h"

using namespace maintWinCases;

namespace {

struct Answer {
    int32_t found;
    OSSTime start;
    OSSTime end;
    int32_t always;
    bool operator==(const Answer& other) const {
        return found == other.found && start.seconds == other.start.seconds && end.seconds == other.end.seconds &&
               start.subSecond == other.start.subSecond && end.subSecond == other.end.subSecond &&
               always == other.always;
    }
};

Answer ask(const Case& question) {
    Answer answer = {0, {-1, -1}, {-1, -1}, 0};
    answer.found = sqlpiFindMaintWindow(&question.info, question.now, question.minDuration, &answer.start, &answer.end);
    answer.always = sqlpiIs24x7MaintWindow(&question.info);
    return answer;
}

TEST(MaintWinThreads, EightThreadsGetTheAnswersOfOne) {
    const Zone zone = {"Europe/Berlin", 2000, 2031};
    const ZoneScope scope(zone.name);
    const std::vector<int64_t> changes = clockChanges(zone);
    constexpr size_t count = 1500;
    std::vector<Case> cases;
    std::vector<Answer> wanted;
    for (uint64_t seed = 0; seed < count; ++seed) {
        cases.push_back(randomCase(seed, zone, changes));
        wanted.push_back(ask(cases.back()));
    }

    constexpr size_t threads = 8;
    std::atomic<size_t> differing = count;
    std::vector<std::thread> pool;
    for (size_t thread = 0; thread < threads; ++thread)
        pool.emplace_back([&, thread] {
            for (size_t i = 0; i < count; ++i) {
                const size_t index = (i + thread * count / threads) % count;
                if (!(ask(cases[index]) == wanted[index])) differing = index;
                // Conversions of other seasons, such as any thread of an engine may do meanwhile.
                tm day{};
                day.tm_year = 124;
                day.tm_mon = static_cast<int>(6 * (thread % 2));
                day.tm_mday = 1;
                sqlpiAdjustTime(&day);
            }
        });
    for (std::thread& thread : pool) thread.join();
    EXPECT_EQ(differing, count) << (differing < count ? describe(cases[differing]) : "");
}

}  // namespace
