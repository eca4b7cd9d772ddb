/* Every exported entry while its engine fails: each allocation and each call, once and from then on, with every answer
 * that the call level has; and pairs of failures drawn at random. An entry that says it is done has done it, one that
 * does not has changed nothing, and all memory and handles come back. */
#include <functional>
#include <random>

#include "faulty.h"
#include "files.h"
#include "proofSize.h"
#include "sqlpiFormat.h"
#include "sqlpiMaintWin.h"
#include "sqlpiPolicySp.h"
#include "sqlpiStatsProfAppl.h"
#include "unit/configSupport.h"
#include "windows/sqlpiWindowReading.h"

namespace {

using faulty::Duration;
using faulty::Service;

struct Entry {
    std::string name;
    std::function<bool()> call; /* whether it says that it is done */
    sqlpiPolicyKey row = SQLPI_BACKUP_KEY;
    bool failsAfterChange = false; /* its caller then rolls back */
};

/* Entries without a status are always done. */
template <class Call>
std::function<bool()> always(Call call) {
    return [call] {
        call();
        return true;
    };
}

template <class Record>
bool freed(int32_t status, const Record& record) {
    sqlofmblkEx(record.tablesFilter, "test", 0);
    EXPECT_TRUE(status == 0 || status == SQLPI_PARSE_NO_MEMORY || status == SQLPI_PARSE_ERROR ||
                (status >= -2 && status <= 100))
        << status;
    return status == 0;
}

/* A policy with so many elements that nothing looks at. */
std::string policy(const std::string& content) {
    static const int elements = proofSize("KELPOLICY_DOCUMENT_ELEMENTS", 10);
    std::string more;
    for (int i = 0; i < elements; ++i) more += "<And><Scope>" + std::to_string(i) + "</Scope></And>";
    return services::document("<AC_Policy>" + content + more + "</AC_Policy>");
}

const std::string filter = "<Equals><kel:Sensors>Tables</kel:Sensors><Constant>X = 1</Constant></Equals>";

std::string storedText(const sqlpiPolicyKey& key) {
    const std::string name = key.name;
    if (name == SQLPI_BACKUP_KEY.name) return policy("<kel:DBBackup mode='online'/>");
    if (name == SQLPI_REORG_KEY.name) return policy(filter + "<kel:TableReorg mode='write'/>");
    if (name == SQLPI_RUNSTATS_KEY.name) return policy(filter);
    if (name == SQLPI_STATS_PROFILE_KEY.name) return policy(filter + "<kel:StatsProfile/>");
    return policy(
        "<Precondition policyElementId='online_mw'><kel:MaintenanceWindowCondition windowType='online'>"
        "<TimeOfDayMask>T220000/T060000</TimeOfDayMask></kel:MaintenanceWindowCondition></Precondition>");
}

bool install(const char* action, decltype(kelPolicyInstallSp)* entry = kelPolicyInstallSp) {
    config::Lob lob("<PolicyDocument/>");
    char sqlstate[SQLUDF_STATE_SIZE];
    char message[SQLUDF_MESSAGE_SIZE];
    const bool isNew = *action == 'I';
    const int32_t status = entry(action, isNew ? "M" : SQLPI_BACKUP_KEY.med, SQLPI_BACKUP_KEY.decision,
                                 SQLPI_BACKUP_KEY.name, nullptr, lob.get(), nullptr, sqlstate, message, nullptr);
    EXPECT_STREQ(sqlstate, status == 0 ? "00000" : "58004");
    EXPECT_TRUE(status == 0 || status == -1) << status;
    return status == 0;
}

bool retrieve(const kelhost::EngineContext& context) {
    sqlca ca;
    kelPolicyRetrieve(SQLPI_BACKUP_KEY.med, nullptr, nullptr, nullptr, &ca);
    const auto open = context.openResults();
    EXPECT_LE(open.size(), ca.sqlcode == 0 ? 1U : 0U);
    for (const SQLHSTMT statement : open) SQLFreeHandle(SQL_HANDLE_STMT, statement);
    return ca.sqlcode == 0;
}

bool isDone(const config::Outcome& outcome) {
    EXPECT_TRUE(outcome.isDone() || (outcome.status == SQLPI_CONFIG_FAILED && outcome.sqlcode != 0)) << outcome;
    return outcome.isDone();
}

std::vector<Entry> tableEntries() {
    return {
        {"sqlpiGetPolicy",
         [] {
             char* document = nullptr;
             int32_t length = -1;
             const int64_t since = 0;
             const int32_t status = sqlpiGetPolicy(nullptr, SQLPI_KEY_KIND, nullptr, SQLPI_KEY_KIND,
                                                   SQLPI_BACKUP_KEY.name, SQLPI_KEY_KIND, &document, &length, &since);
             EXPECT_EQ(document != nullptr, status == 0) << status;
             sqlofmblkEx(document, "test", 0);
             return status == 0;
         }},
        {"sqlpiGetBackup", always([] {
             sqlpiBackupPolicy record;
             sqlpiGetBackup(&record);
             EXPECT_EQ(record.timeSinceLastBackup, 168);
         })},
        {"sqlpiGetReorg",
         [] {
             sqlpiReorgPolicy record = {};
             bool changed = false;
             return freed(sqlpiGetReorg(&record, nullptr, &changed), record);
         }},
        {"sqlpiGetRunStats",
         [] {
             sqlpiRunStatsPolicy record = {};
             bool changed = false;
             return freed(sqlpiGetRunStats(&record, nullptr, &changed), record);
         }},
        {"sqlpiGetStatsProfile", always([] {
             sqlpiStatsProfPolicy record = {};
             sqlpiGetStatsProfile(&record);
             EXPECT_EQ(record.maxFileSize, 128);
             freed(0, record);
         })},
        {"sqlpiGetMaintWindow", always([] {
             sqlpiMaintWindow window;
             sqlpiGetMaintWindow(&window);
             EXPECT_TRUE(window.online.defined);
         })},
        {"sqpiGetPolicyFormatString", always([] {
             for (const char* name :
                  {"CommonPolicy", "TableRunstatsPolicy", "TableReorgPolicy", "StatsProfilePolicy", "DBBackupPolicy"}) {
                 char line[4096];
                 EXPECT_EQ(sqpiGetPolicyFormatString(line, sizeof line, name), SQLPI_FORMAT_OK) << name;
                 EXPECT_LT(strnlen(line, sizeof line), sizeof line);
             }
         })},
        {"kelPolicyInstallSp I", [] { return install("I"); }, {"M", SQLPI_BACKUP_KEY.decision, SQLPI_BACKUP_KEY.name}},
        {"kelPolicyInstallSp U", [] { return install("U"); }, SQLPI_BACKUP_KEY, true},
        {"kelPolicyInstallSpLocal U", [] { return install("U", kelPolicyInstallSpLocal); }, SQLPI_BACKUP_KEY, true},
        {"kelPolicyInstallSp D", [] { return install("D"); }},
        {"kelPolicyValidateUdf", [] { return kelPolicyValidateUdf(1) == 0; }},
    };
}

std::vector<Entry> documentEntries() {
    return {
        {"sqlpi_policy_parse",
         [] {
             int32_t status = 0;
             const Tree tree = parseTree(storedText(SQLPI_BACKUP_KEY), &status);
             EXPECT_TRUE(status == 0 || (tree == nullptr && (status == 3 || status == -1219))) << status;
             return status == 0;
         }},
        {"sqlpiGetBackupPolicy", always([] {
             std::string text = storedText(SQLPI_BACKUP_KEY);
             sqlpiBackupPolicy record = {};
             sqlpiGetBackupPolicy(text.data(), static_cast<int32_t>(text.size()), &record);
         })},
        {"sqlpiGetReorgPolicy",
         [] {
             std::string text = storedText(SQLPI_REORG_KEY);
             sqlpiReorgPolicy record = {};
             return freed(sqlpiGetReorgPolicy(text.data(), static_cast<int32_t>(text.size()), &record), record);
         }},
        {"sqlpiGetAtmSensors",
         [] {
             std::string text = storedText(SQLPI_RUNSTATS_KEY);
             sqlpiAtmSensors record = {};
             return freed(sqlpiGetAtmSensors(text.data(), static_cast<int32_t>(text.size()), &record), record);
         }},
        {"sqlpiGetStatsProfilePolicy",
         [] {
             std::string text = storedText(SQLPI_STATS_PROFILE_KEY);
             sqlpiStatsProfPolicy record = {};
             return freed(sqlpiGetStatsProfilePolicy(text.data(), static_cast<int32_t>(text.size()), &record), record);
         }},
        {"sqlpiGetMaintWindowPolicy",
         [] {
             std::string text = storedText(SQLPI_MAINT_WINDOW_KEY);
             sqlpiMaintWindow window;
             sqlpiSetMaintWindowDefaults(&window);
             return sqlpiGetMaintWindowPolicy(text.data(), static_cast<int32_t>(text.size()), &window) == 0;
         }},
    };
}

std::vector<Entry> procedureEntries() {
    std::vector<Entry> all;
    for (const config::Type& type : config::types) {
        const std::string name = type.name;
        all.push_back({"get document " + name, [name] { return isDone(config::getDocument(name)); }, type.key});
        all.push_back({"get file " + name, [name] { return isDone(config::getFile(name, "out/p.xml")); }, type.key});
        all.push_back({"set document " + name,
                       [name] { return isDone(config::setDocument(name, config::soundDocument(name))); }, type.key});
        all.push_back({"set file " + name, [name] { return isDone(config::setFile(name, name + ".xml")); }, type.key});
    }
    return all;
}

/* The questions about windows ask the engine for nothing. */
void askAboutWindows() {
    sqlpiMaintWindow window;
    sqlpiSetMaintWindowDefaults(&window);
    OSSTime start = {};
    OSSTime end = {};
    tm day = {};
    int32_t remaining = 60;
    bool carried = false;
    sqlpiFindMaintWindow(&window.online, {0, 0}, 1, &start, &end);
    sqlpiFindInsideMaintWindow(&window.online, {0, 0}, 1, &start, &end);
    const tm sameDay = day;
    sqlpiCheckWindowSize(&sameDay, &window.online, &remaining, &day, &carried);
    sqlpiIs24x7MaintWindow(&window.online);
    sqlpiGetStartDateTime(&window.online, &day);
    sqlpiGetEndDateTime(&window.online, &day);
    sqlpiGetTotalDayInMonth(2024, 2);
    sqlpiAdjustTime(&day);
    sqlpiConvertMaintWindow(&window.online);
}

struct Fault {
    Service service;
    uint64_t call;
    Duration duration = Duration::once;
    int32_t code = faulty::usualFailure;
};
std::ostream& operator<<(std::ostream& out, const Fault& fault) {
    return out << faulty::serviceName(fault.service) << " call " << fault.call
               << (fault.duration == Duration::once ? " once" : " and later") << " answers " << fault.code;
}

class EveryEntryFaults : public config::ProceduresTest {
protected:
    EveryEntryFaults() {
        for (const sqlpiPolicyKey* key : {&SQLPI_BACKUP_KEY, &SQLPI_REORG_KEY, &SQLPI_RUNSTATS_KEY,
                                          &SQLPI_STATS_PROFILE_KEY, &SQLPI_MAINT_WINDOW_KEY})
            services::store(*key, storedText(*key));
        for (const config::Type& type : config::types)
            config::writeWhole(tmp(std::string(type.name) + ".xml"), config::soundDocument(type.name));
        for (auto& some : {tableEntries(), documentEntries(), procedureEntries()})
            entries_.insert(entries_.end(), some.begin(), some.end());
        entries_.push_back({"kelPolicyRetrieve", [] { return retrieve(*kelhost::EngineContext::current()); }});
        for (const Entry& entry : entries_) expected_.push_back(rowAfter(entry));
        clearLogs();
    }

    /* Whether all faults were reached. */
    bool tryFailing(size_t number, const std::vector<Fault>& faults) {
        const Entry& entry = entries_[number];
        const int64_t blocks = kelhost::memoryTotal().blocks;
        faulty::reset();
        for (const Fault& fault : faults) {
            EXPECT_TRUE(faulty::failCall(fault.service, fault.call, fault.duration, fault.code));
        }
        const bool done = entry.call();
        const bool reached = faulty::failures(Service::any) > 0;
        faulty::reset();
        const auto after = services::stored(entry.row);
        const auto& before = before_[number];
        if (after != before) restore(entry, before);
        if (!reached) return false;
        ++runs_;
        EXPECT_EQ(kelhost::memoryTotal().blocks, blocks) << kelhost::describeMemoryInUse();
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
        // A statement that answers that it found no row was not carried out.
        const bool wasNotCarriedOut =
            std::any_of(faults.begin(), faults.end(), [](const Fault& fault) { return fault.code == SQL_NO_DATA; });
        EXPECT_TRUE(done ? after == expected_[number] || (wasNotCarriedOut && after == before)
                         : after == before || (entry.failsAfterChange && after == expected_[number]))
            << (done ? "done " : "not done ") << after.value_or("no row");
        clearLogs();
        return true;
    }

    void tryEveryCall(Service service, int32_t code = faulty::usualFailure) {
        for (size_t i = 0; i < entries_.size(); ++i)
            for (const Duration duration : {Duration::once, Duration::forEver})
                for (uint64_t call = 1;; ++call) {
                    const Fault fault = {service, call, duration, code};
                    SCOPED_TRACE(testing::Message() << entries_[i].name << ", " << fault);
                    const bool reached = tryFailing(i, {fault});
                    ASSERT_FALSE(HasFailure());
                    if (!reached) break;
                }
    }

    void tryPairs(const std::vector<Service>& services, int pairs) {
        constexpr int32_t answers[] = {SQL_ERROR,     SQL_INVALID_HANDLE, SQL_SUCCESS_WITH_INFO,
                                       SQL_NEED_DATA, SQL_NO_DATA,        faulty::usualFailure};
        std::mt19937 random(static_cast<uint32_t>(proofSize("KELPOLICY_SEED", 1)));
        for (int tries = 0; runs_ < pairs && tries < 100 * pairs; ++tries) {
            const size_t number = random() % entries_.size();
            std::vector<Fault> faults;
            for (int i = 0; i < 2; ++i) {
                const Service service = services[random() % services.size()];
                const uint64_t call = 1 + random() % (service == Service::anyMemory ? 100 : 30);
                const auto duration = random() % 4 == 0 ? Duration::forEver : Duration::once;
                const bool isShort = service == Service::anyFile && random() % 4 == 0;
                faults.push_back({service, call, duration,
                                  isShort ? faulty::shortTransfer : answers[random() % std::size(answers)]});
            }
            SCOPED_TRACE(testing::Message() << entries_[number].name << ", " << faults[0] << ", " << faults[1]);
            tryFailing(number, faults);
            ASSERT_FALSE(HasFailure());
        }
        EXPECT_EQ(runs_, pairs);
        RecordProperty("runs", runs_);
    }

    int runs_ = 0;

private:
    static void restore(const Entry& entry, const std::optional<std::string>& before) {
        if (before.has_value())
            services::store(entry.row, *before);
        else
            services::remove(entry.row);
    }
    std::optional<std::string> rowAfter(const Entry& entry) {
        before_.push_back(services::stored(entry.row));
        EXPECT_TRUE(entry.call()) << entry.name;
        const auto after = services::stored(entry.row);
        restore(entry, before_.back());
        return after;
    }

    std::vector<Entry> entries_;
    std::vector<std::optional<std::string>> before_;
    std::vector<std::optional<std::string>> expected_;
};

TEST_F(EveryEntryFaults, EveryAllocationMayFail) {
    tryEveryCall(Service::anyMemory);
    EXPECT_GT(runs_, 1000);
    RecordProperty("runs", runs_);
}

TEST_F(EveryEntryFaults, EveryCallOfTheCallLevelMayAnswerAnything) {
    for (const int32_t answer : {SQL_ERROR, SQL_INVALID_HANDLE, SQL_SUCCESS_WITH_INFO, SQL_NEED_DATA, SQL_NO_DATA})
        tryEveryCall(Service::anyCallLevel, answer);
    EXPECT_GT(runs_, 600);
    RecordProperty("runs", runs_);
}

TEST_F(EveryEntryFaults, EveryCallOfTheFilesMayFail) {
    for (const int32_t answer : {OSS_NOT_FOUND, OSS_NO_PERMISSION, OSS_NOT_REGULAR, OSS_NO_SPACE, OSS_TOO_LONG,
                                 OSS_NO_MEMORY, OSS_ERROR, faulty::shortTransfer})
        tryEveryCall(Service::anyFile, answer);
    RecordProperty("runs", runs_);
}

TEST_F(EveryEntryFaults, AnyTwoCallsMayFail) {
    tryPairs({Service::anyMemory, Service::anyFile, Service::anyCallLevel, Service::anyEmbeddedSql, Service::any},
             proofSize("KELPOLICY_FAULT_PAIRS", 600));
}

TEST_F(EveryEntryFaults, AnyTwoCallsOfTheFilesMayFail) {
    tryPairs({Service::anyFile}, proofSize("KELPOLICY_FILE_FAULT_PAIRS", 100));
}

TEST_F(EveryEntryFaults, QuestionsAboutWindowsAskTheEngineForNothing) {
    const faulty::Scope scope;
    askAboutWindows();
    EXPECT_EQ(faulty::calls(Service::any), 0U);
}

}  // namespace
