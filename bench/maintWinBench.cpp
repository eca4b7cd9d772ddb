/* The window search beside a walk over the days and beside libical's recurrences. */
#include <benchmark/benchmark.h>

#include "maintWinWork.h"

namespace {

using namespace maintWinWork;

constexpr const char* ZONE = "Europe/Berlin";

void library(benchmark::State& state, const char* name, const char* zone) {
    setZone(zone);
    const Question asked = question(name);
    if (askLibrary(asked) != askDayByDay(asked)) state.SkipWithError("the answers differ");
    for (auto _ : state) benchmark::DoNotOptimize(askLibrary(asked));
}

void dayByDay(benchmark::State& state, const char* name, const char* zone) {
    setZone(zone);
    const Question asked = question(name);
    for (auto _ : state) benchmark::DoNotOptimize(askDayByDay(asked));
}

void ical(benchmark::State& state, const char* name) {
    setZone(ZONE);
    const icalrecurrencetype rule = icalrecurrencetype_from_string(question(name).rule);
    icaltimezone* zone = icaltimezone_get_builtin_timezone(ZONE);
    if (zone == nullptr) state.SkipWithError("libical does not know the zone");
    for (auto _ : state) benchmark::DoNotOptimize(askIcal(rule, zone));
}

/* One step of the search for a gap: the next occurrence from the end of the last. */
void insideFromEnd(benchmark::State& state) {
    setZone(ZONE);
    const Question asked = question("outsideTooLong");
    const OSSTime end = {maintWinCases::localTime(2024, 5, 15, 23, 0), 0};
    OSSTime start = {};
    OSSTime next = {};
    for (auto _ : state) benchmark::DoNotOptimize(sqlpiFindInsideMaintWindow(&asked.info, end, 1, &start, &next));
}
BENCHMARK(insideFromEnd);

int registerAll() {
    for (const char* name : {"daily", "lastDayOfMonth", "mondayLeapDay", "never"}) {
        const std::string suffix = std::string("/") + name;
        benchmark::RegisterBenchmark(("library" + suffix).c_str(), library, name, ZONE);
        benchmark::RegisterBenchmark(("dayByDay" + suffix).c_str(), dayByDay, name, ZONE);
        benchmark::RegisterBenchmark(("ical" + suffix).c_str(), ical, name);
    }
    for (const char* name :
         {"allDayTooLong", "allDayMonth", "weekendTooLong", "weekendOfAFarPeriod", "outsideTooLong"}) {
        const std::string suffix = std::string("/") + name;
        benchmark::RegisterBenchmark(("library" + suffix).c_str(), library, name, ZONE);
        benchmark::RegisterBenchmark(("dayByDay" + suffix).c_str(), dayByDay, name, ZONE);
    }
    for (const char* name : {"daily", "never"}) {
        const std::string suffix = std::string("/") + name + "/zoneUnset";
        benchmark::RegisterBenchmark(("library" + suffix).c_str(), library, name, nullptr);
        benchmark::RegisterBenchmark(("dayByDay" + suffix).c_str(), dayByDay, name, nullptr);
    }
    return 0;
}

const int registered = registerAll();

}  // namespace
