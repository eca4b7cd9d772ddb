/* Reading a policy row within an engine context, beside the same calls made directly on the driver manager. */
#include "databaseWork.h"

namespace {

void sqlpiGetPolicyInContext(benchmark::State& state) {
    const Database database;
    for (auto _ : state)
        if (Database::read() != 0) state.SkipWithError("read failed");
}
BENCHMARK(sqlpiGetPolicyInContext);

void yardstickBareOdbcCalls(benchmark::State& state) {
    const Database database;
    BareSession session(database.file());
    for (auto _ : state)
        if (!session.verify() || !session.select()) state.SkipWithError("a bare call failed");
}
BENCHMARK(yardstickBareOdbcCalls);

}  // namespace
