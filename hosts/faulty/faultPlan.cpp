#include "faultPlan.h"

#include <array>
#include <atomic>
#include <mutex>

namespace faulty {
namespace {

constexpr size_t services = static_cast<size_t>(Service::anyMemory);
constexpr size_t mostPlans = 16;

struct Plan {
    Service service;
    uint64_t callsBefore;
    Duration duration;
    Fault fault;
    bool spent;
};

struct Counters {
    std::atomic<uint64_t> calls{0};
    std::atomic<uint64_t> failures{0};
};

constinit std::array<Counters, services> counters;
constinit std::atomic<bool> armed{false};
constinit std::mutex guard;
constinit std::array<Plan, mostPlans> plans{};
constinit size_t planCount = 0;

constexpr std::array names = {
    "sqlogmblkEx",
    "_ossMemAlloc",
    "ossFileOpen",
    "ossFileOpenBelow",
    "ossFileRead",
    "ossFileWrite",
    "ossFileSize",
    "ossFileCommit",
    "ossFileClose",
    "ossPathExists",
    "ossIsDirectory",
    "ossDirectoryCreate",
    "ossDirectoryCreateBelow",
    "ossBaseName",
    "ossDirectoryName",
    "sqloInstancePath",
    "sqlo_localtime",
    "isSharedLibInitSuccess",
    "sqlpiGetDefaultAutoBackupPath",
    "sqlaintp_api",
    "SQLAllocHandle",
    "SQLFreeHandle",
    "SQLSetConnectAttr",
    "SQLConnect",
    "SQLDisconnect",
    "SQLPrepare",
    "SQLExecute",
    "SQLExecDirect",
    "SQLBindParameter",
    "SQLBindFileToParam",
    "SQLFetch",
    "SQLGetData",
    "SQLGetSQLCA",
    "sqlastrt",
    "sqlaaloc",
    "sqlasetdata",
    "sqlastls",
    "sqlacall",
    "sqlabndx",
    "any memory service",
    "any file service",
    "any call of the call level",
    "any call of embedded SQL",
    "any service",
};
static_assert(names.size() == static_cast<size_t>(Service::any) + 1);

bool isBetween(Service service, Service first, Service last) noexcept {
    return service >= first && service <= last;
}

bool belongsTo(Service service, Service group) noexcept {
    switch (group) {
        case Service::any:
            return true;
        case Service::anyMemory:
            return isBetween(service, Service::sqlogmblkEx, Service::ossMemAlloc);
        case Service::anyFile:
            return isBetween(service, Service::ossFileOpen, Service::sqloInstancePath);
        case Service::anyCallLevel:
            return isBetween(service, Service::SQLAllocHandle, Service::SQLGetData);
        case Service::anyEmbeddedSql:
            return isBetween(service, Service::sqlastrt, Service::sqlabndx);
        default:
            return service == group;
    }
}

std::optional<Fault> plannedFault(Service service) noexcept {
    const std::lock_guard lock(guard);
    std::optional<Fault> fault;
    for (size_t i = 0; i < planCount; ++i) {
        Plan& plan = plans[i];
        if (plan.spent || !belongsTo(service, plan.service)) continue;
        if (plan.callsBefore > 0) {
            --plan.callsBefore;
        } else if (!fault) {
            fault = plan.fault;
            plan.spent = plan.duration == Duration::once;
        }
    }
    return fault;
}

template <class Read>
uint64_t sum(Service service, Read read) noexcept {
    uint64_t total = 0;
    for (size_t i = 0; i < services; ++i) {
        if (belongsTo(static_cast<Service>(i), service)) total += read(counters[i]);
    }
    return total;
}

}  // namespace

std::optional<Fault> countCall(Service service) noexcept {
    Counters& own = counters[static_cast<size_t>(service)];
    own.calls.fetch_add(1, std::memory_order_relaxed);
    if (!armed.load(std::memory_order_acquire)) return std::nullopt;
    const std::optional<Fault> fault = plannedFault(service);
    if (fault) own.failures.fetch_add(1, std::memory_order_relaxed);
    return fault;
}

bool failCall(Service service, uint64_t call, Duration duration, int32_t code, int32_t sqlcode) {
    const std::lock_guard lock(guard);
    if (planCount == mostPlans || call == 0) return false;
    plans[planCount++] = {service, call - 1, duration, {code, sqlcode}, false};
    armed.store(true, std::memory_order_release);
    return true;
}

uint64_t calls(Service service) {
    return sum(service, [](const Counters& own) { return own.calls.load(std::memory_order_relaxed); });
}

uint64_t failures(Service service) {
    return sum(service, [](const Counters& own) { return own.failures.load(std::memory_order_relaxed); });
}

void reset() {
    const std::lock_guard lock(guard);
    planCount = 0;
    armed.store(false, std::memory_order_release);
    for (Counters& own : counters) {
        own.calls.store(0, std::memory_order_relaxed);
        own.failures.store(0, std::memory_order_relaxed);
    }
}

const char* serviceName(Service service) {
    return names.at(static_cast<size_t>(service));
}

}  // namespace faulty
