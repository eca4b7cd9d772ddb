/* Reorg, runstats and statistics-profile policies: the engine's entries, with change detection. */
#include "sqlpiStatsProfAppl.h"

#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "logs.h"
#include "services/sqlpiStoredPolicy.h"

namespace {

/* What differs between the entries that read only what has changed. */
template <class Policy>
struct Service {
    const char* function;
    const sqlpiPolicyKey& key;
    int32_t (*extract)(char* document, int32_t length, Policy* policy) noexcept;
    const char* warning; /* before the error's number */
};

constexpr Service<sqlpiReorgPolicy> reorgService = {"sqlpiGetReorg", SQLPI_REORG_KEY, sqlpiGetReorgPolicy,
                                                    "Warning: Unable to read reorg policy. Error: "};
constexpr Service<sqlpiRunStatsPolicy> runStatsService = {"sqlpiGetRunStats", SQLPI_RUNSTATS_KEY, sqlpiGetAtmSensors,
                                                          "Warning: Unable to read run stats policy. Error: "};

template <class Policy>
int32_t warn(const Service<Policy>& service, uint32_t probe, int32_t status) noexcept {
    char text[1024];
    sqlpiTextBuilder(text, sizeof text).append(service.warning).appendFormat("%d", status);
    pdLog(PD_WARNING, service.function, probe, text);
    return status;
}

template <class Policy>
int32_t readChanged(const Service<Policy>& service, Policy* policy, const time_t* lastRead, bool* changed) noexcept {
    bool ignored = false;
    if (changed == nullptr) changed = &ignored;
    *changed = lastRead == nullptr;
    if (lastRead == nullptr && policy != nullptr) *policy = {};

    const int64_t since = lastRead == nullptr ? 0 : int64_t{*lastRead};
    const sqlpiStoredPolicy stored(service.key, lastRead == nullptr ? nullptr : &since);
    if (stored.status == SQLPI_NO_ROW) return 0;
    if (!stored.isPresent()) return warn(service, 20, stored.status);

    if (policy != nullptr) {
        const int32_t status = service.extract(stored.document.get(), stored.length, policy);
        if (status != 0) return warn(service, 10, status);
    }
    *changed = true;
    return 0;
}

}  // namespace

int32_t sqlpiGetReorg(sqlpiReorgPolicy* policy, const time_t* lastRead, bool* changed) noexcept {
    sqlpiFunctionTrace trace(reorgService.function);
    return trace.exit(readChanged(reorgService, policy, lastRead, changed));
}

int32_t sqlpiGetRunStats(sqlpiRunStatsPolicy* policy, const time_t* lastRead, bool* changed) noexcept {
    sqlpiFunctionTrace trace(runStatsService.function);
    return trace.exit(readChanged(runStatsService, policy, lastRead, changed));
}

void sqlpiGetStatsProfile(sqlpiStatsProfPolicy* policy) noexcept {
    const sqlpiFunctionTrace trace("sqlpiGetStatsProfile");
    if (policy != nullptr) *policy = SQLPI_STATS_PROF_DEFAULTS;
    const sqlpiStoredPolicy stored(SQLPI_STATS_PROFILE_KEY);
    if (policy != nullptr && stored.isPresent())
        sqlpiGetStatsProfilePolicy(stored.document.get(), stored.length, policy);
}
