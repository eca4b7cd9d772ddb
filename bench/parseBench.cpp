/* Parsing and lookup, beside their yardsticks. */
#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <unordered_map>

#include "model/sqlpiPolicyCatalogue.h"
#include "parseWork.h"

namespace {

void yardstickRawSaxParse(benchmark::State& state) {
    std::string document = backupDocument();
    parseAndDelete(document);
    for (auto _ : state) parseAndIgnore(document);
}
BENCHMARK(yardstickRawSaxParse);

void policyParseAndDelete(benchmark::State& state) {
    std::string document = backupDocument();
    for (auto _ : state)
        if (!parseAndDelete(document)) state.SkipWithError("does not parse");
}
BENCHMARK(policyParseAndDelete);

/* Growth: documents of so many sections, and of so many levels. */
std::string sections(int64_t count) {
    const std::string one = backupDocument();
    const size_t begin = one.find(" <PolicySection");
    const std::string section = one.substr(begin, one.find("</PolicyDocument>") - begin);
    std::string document = one.substr(0, begin);
    for (int64_t i = 0; i < count; ++i) document += section;
    return document + "</PolicyDocument>";
}

std::string levels(int64_t count) {
    std::string document = "<PolicyDocument>";
    for (int64_t i = 0; i < count; ++i) document += "<And>";
    for (int64_t i = 0; i < count; ++i) document += "</And>";
    return document + "</PolicyDocument>";
}

template <std::string (*make)(int64_t)>
void growth(benchmark::State& state) {
    std::string document = make(state.range(0));
    for (auto _ : state)
        if (!parseAndDelete(document)) state.SkipWithError("does not parse");
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(document.size()));
}
BENCHMARK(growth<sections>)
    ->Name("growthBySections")
    ->RangeMultiplier(8)
    ->Range(1, 1 << 10)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(growth<levels>)
    ->Name("growthByLevels")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMicrosecond);

constexpr std::array<const char*, SQLPI_ELEMENT_TYPES> names = {
    "NONE",
#define SQLPI_ELEMENT(value, enumerator, name, elementClass) name,
#include "sqlpiPolicyElements.def"
#undef SQLPI_ELEMENT
};

/* The catalogue from first to last, every name once. */
void yardstickLinearLookup(benchmark::State& state) {
    for (auto _ : state)
        for (const char* name : names) {
            uint32_t found = 0;
            for (uint32_t i = 1; i < names.size() && found == 0; ++i)
                if (std::strcmp(names[i], name) == 0) found = i;
            benchmark::DoNotOptimize(found);
        }
}
BENCHMARK(yardstickLinearLookup);

void catalogueLookup(benchmark::State& state) {
    std::array<std::u16string, names.size()> wide;
    for (size_t i = 0; i < names.size(); ++i) wide[i].assign(names[i], names[i] + std::strlen(names[i]));
    for (auto _ : state)
        for (const std::u16string& name : wide) benchmark::DoNotOptimize(sqlpiElementTypeOf(name));
}
BENCHMARK(catalogueLookup);

}  // namespace
