/* The library's answers equal those of a walk over the days, for windows and moments drawn at random. */
#include <gtest/gtest.h>

#include <ostream>

#include "proofSize.h"
#include "unit/maintWinCases.h"
#include "unit/maintWinReference.h"

using namespace maintWinCases;

namespace {

struct Batch {
    Zone zone;
    int number;
};

void PrintTo(const Batch& batch, std::ostream* stream) {
    PrintTo(batch.zone, stream);
    *stream << " batch " << batch.number;
}

constexpr int BATCHES = 4;
const auto CASES = static_cast<uint64_t>(proofSize("KELPOLICY_WINDOWS", 36000));  // of a batch

class MaintWinRandom : public testing::TestWithParam<Batch> {};

TEST_P(MaintWinRandom, AnswersAsAWalkOverTheDaysDoes) {
    const Zone& zone = GetParam().zone;
    const ZoneScope scope(zone.name);
    const std::vector<int64_t> changes = clockChanges(zone);
    const uint64_t firstSeed = static_cast<uint64_t>(GetParam().number) * CASES;
    uint64_t found = 0;
    for (uint64_t seed = firstSeed; seed < firstSeed + CASES; ++seed) {
        const Case question = randomCase(seed, zone, changes);
        constexpr OSSTime untouched = {-77, -78};
        OSSTime wantedStart = untouched;
        OSSTime wantedEnd = untouched;
        OSSTime start = untouched;
        OSSTime end = untouched;
        const int32_t wanted =
            maintWinReference::find(question.info, question.now, question.minDuration, &wantedStart, &wantedEnd);
        const int32_t answer = sqlpiFindMaintWindow(&question.info, question.now, question.minDuration, &start, &end);
        const std::string where = std::string(zone.name) + " seed " + std::to_string(seed) + ": " + describe(question);
        ASSERT_EQ(answer, wanted) << where;
        ASSERT_EQ(start.seconds, wantedStart.seconds)
            << where << "\n  " << describeLocal(start.seconds) << "\n  wanted " << describeLocal(wantedStart.seconds);
        ASSERT_EQ(end.seconds, wantedEnd.seconds)
            << where << "\n  " << describeLocal(end.seconds) << "\n  wanted " << describeLocal(wantedEnd.seconds);
        ASSERT_EQ(start.subSecond, wantedStart.subSecond) << where;
        ASSERT_EQ(end.subSecond, wantedEnd.subSecond) << where;
        ASSERT_EQ(sqlpiIs24x7MaintWindow(&question.info), maintWinReference::is24x7(question.info) ? 1 : 0) << where;
        found += static_cast<uint64_t>(wanted);
    }
    RecordProperty("cases", std::to_string(CASES));
    // The draw must ask questions of both kinds.
    EXPECT_GT(found, CASES / 4);
    EXPECT_LT(found, CASES - CASES / 20);
}

std::vector<Batch> batches() {
    constexpr Zone zones[] = {{"UTC", 1970, 2045},
                              {"Europe/Berlin", 1979, 2031},
                              {"America/New_York", 1970, 2031},
                              {"Australia/Lord_Howe", 1981, 2031},
                              {"Asia/Kathmandu", 1985, 1987},
                              {"America/Sao_Paulo", 1985, 2018},
                              {"Pacific/Apia", 2009, 2012}};
    // Changes at midnight, for good, of two hours, around Ramadan, and daylight-saving time that is the winter's.
    constexpr Zone moreZones[] = {{"America/Havana", 1995, 2020},   {"Europe/Volgograd", 2015, 2021},
                                  {"Antarctica/Troll", 2005, 2024}, {"Africa/Casablanca", 2008, 2026},
                                  {"Europe/Dublin", 1972, 2020},    {"America/Recife", 1995, 2003}};
    std::vector<Batch> all;
    for (const Zone& zone : zones)
        for (int number = 0; number < BATCHES; ++number) all.push_back({zone, number});
    for (const Zone& zone : moreZones) all.push_back({zone, BATCHES});
    return all;
}

INSTANTIATE_TEST_SUITE_P(Zones, MaintWinRandom, testing::ValuesIn(batches()), [](const auto& batch) {
    return testNameOf(batch.param.zone.name) + "_" + std::to_string(batch.param.number);
});

}  // namespace
