/* Every exported entry of the library on eight threads at once. Each thread has an engine of its own, whose policies
 * differ from the others', so that an answer that belongs to another thread shows. */
#include <barrier>
#include <ctime>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

#include "model/sqlpiTree.h"
#include "proofSize.h"
#include "sqlpiApplReadPolicyTable.h"
#include "sqlpiBackup.h"
#include "sqlpiMaintWin.h"
#include "sqlpiPolicyCommonParser.h"
#include "sqlpiPolicySchemas.h"
#include "sqlpiPolicySp.h"
#include "sqlpiStatsProfAppl.h"
#include "unit/configSupport.h"

namespace {

constexpr int threadCount = 8;
constexpr int64_t hour = 3600;

const int callCount = proofSize("KELPOLICY_ENTRY_CALLS", 40); /* of each entry by each thread */

struct FreeBlock {
    void operator()(char* block) const { sqlofmblkEx(block, "test", 0); }
};
using Block = std::unique_ptr<char, FreeBlock>;

/* One thread's engine. All that its policies say depends on its number, 0 to 7. */
struct Engine {
    explicit Engine(int ownNumber)
        : number(ownNumber), filter("TABNAME = 'T" + std::to_string(ownNumber) + "'"), document(documentOf(true)) {
        const kelhost::EngineContext::Scope scope(context);
        services::execute("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','C','','')");
        for (const sqlpiPolicyKey& key :
             {SQLPI_MAINT_WINDOW_KEY, SQLPI_BACKUP_KEY, SQLPI_REORG_KEY, SQLPI_RUNSTATS_KEY, SQLPI_STATS_PROFILE_KEY})
            services::store(key, document);
        config::writeWhole(file("tmp/policy.xml"), document);
        config::writeWhole(file("tmp/set.xml"), config::runstats("FILE = " + std::to_string(number)));
        EXPECT_TRUE(config::getDocument("AUTO_RUNSTATS").isDone());  // binds the package
        context.commit();
        sqlpiMaintWindow both;
        sqlpiGetMaintWindow(&both);
        window = both.online;
    }

    std::string file(const std::string& name) const { return instance.get().path() + "/" + name; }
    int32_t length() const { return static_cast<int32_t>(document.size()); }

    /* Sensors, actions and windows of every kind of policy. */
    std::string documentOf(bool withReclaim) const {
        const std::string reclaim = std::to_string(100 + number);
        return services::document(
            "<AC_Policy><LessThan><kel:DBBackupSensors>Number_Full_DB_Backups</kel:DBBackupSensors><Constant>" +
            std::to_string(10 + number) + "</Constant></LessThan><Equals><kel:Sensors>Tables</kel:Sensors><Constant>" +
            filter + "</Constant></Equals><kel:TableReorg mode='write'" +
            (withReclaim ? " reclaimExtentsSizeForMDCTables='" + reclaim + "'" : "") +
            "/><kel:StatsProfile><kel:Monitor maxFiles='" + std::to_string(10 + number) +
            "'/></kel:StatsProfile><kel:MaintenanceWindowCondition windowType='online'><TimeOfDayMask>T0" +
            std::to_string(number) + "0000/T120000</TimeOfDayMask></kel:MaintenanceWindowCondition></AC_Policy>");
    }

    services::TemporaryInstance instance;
    const int number;
    const std::string filter;
    const std::string document;
    kelhost::EngineContext context{instance.get()};
    sqlpiMaintWindowInfo window{};
    config::Lob lob;
    char sqlstate[SQLUDF_STATE_SIZE];
    char message[SQLUDF_MESSAGE_SIZE];
    sqlca ca;
};

std::string text(const Block& block) {
    return block == nullptr ? "nothing" : block.get();
}

sqludf_lob* fill(Engine& engine, const std::string& content) {
    engine.lob.get()->length = static_cast<uint32_t>(content.copy(engine.lob.get()->data, content.size()));
    return engine.lob.get();
}

/* --- the policy table and documents ----------------------------------------------------------------------------- */

void parse(Engine& engine) {
    std::string document = engine.document;
    SQLPIPolicyElement* parsed = nullptr;
    ASSERT_EQ(sqlpi_policy_parse(nullptr, engine.length(), document.data(), &parsed), SQLPI_PARSE_OK);
    const sqlpiTree root(parsed);
    const SQLPIPolicyElement* const constant = root->findElement(root.get(), SQLPI_ELEMENT_CONSTANT);
    ASSERT_NE(constant, nullptr);
    EXPECT_EQ(constant->text, std::to_string(10 + engine.number));
}

void getPolicy(Engine& engine) {
    char* document = nullptr;
    int32_t length = 0;
    ASSERT_EQ(sqlpiGetPolicy(nullptr, SQLPI_KEY_KIND, nullptr, SQLPI_KEY_KIND, SQLPI_BACKUP_KEY.name, SQLPI_KEY_KIND,
                             &document, &length, nullptr),
              0);
    const Block block(document);
    EXPECT_EQ(std::string(document, static_cast<size_t>(length)), engine.document);
}

void getBackup(Engine& engine) {
    sqlpiBackupPolicy policy;
    sqlpiGetBackup(&policy);
    EXPECT_EQ(policy.numberOfFullBackups, 10 + engine.number);
    EXPECT_EQ(policy.targetLocation, engine.file("backup"));
}

void getBackupPolicy(Engine& engine) {
    sqlpiBackupPolicy policy = {};
    std::string document = engine.document;
    sqlpiGetBackupPolicy(document.data(), engine.length(), &policy);
    EXPECT_EQ(policy.numberOfFullBackups, 10 + engine.number);
}

void expectReorg(const Engine& engine, const sqlpiReorgPolicy& policy) {
    const Block filter(policy.tablesFilter);
    EXPECT_EQ(text(filter), engine.filter);
    EXPECT_EQ(policy.indexReorgMode, 1);
    EXPECT_EQ(policy.reclaimExtentsSizeForMDCTables, 100U + static_cast<unsigned>(engine.number));
}
void getReorg(Engine& engine) {
    sqlpiReorgPolicy policy = {};
    bool changed = false;
    EXPECT_EQ(sqlpiGetReorg(&policy, nullptr, &changed), 0);
    EXPECT_TRUE(changed);
    expectReorg(engine, policy);
}
void getReorgPolicy(Engine& engine) {
    sqlpiReorgPolicy policy = {};
    std::string document = engine.document;
    EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), engine.length(), &policy), 0);
    expectReorg(engine, policy);
}

void getRunStats(Engine& engine) {
    sqlpiRunStatsPolicy policy = {};
    bool changed = false;
    EXPECT_EQ(sqlpiGetRunStats(&policy, nullptr, &changed), 0);
    EXPECT_EQ(text(Block(policy.tablesFilter)), engine.filter);
}

void getAtmSensors(Engine& engine) {
    sqlpiAtmSensors sensors = {};
    std::string document = engine.document;
    EXPECT_EQ(sqlpiGetAtmSensors(document.data(), engine.length(), &sensors), 0);
    EXPECT_EQ(text(Block(sensors.tablesFilter)), engine.filter);
}

void getStatsProfile(Engine& engine) {
    sqlpiStatsProfPolicy policy;
    sqlpiGetStatsProfile(&policy);
    EXPECT_EQ(text(Block(policy.tablesFilter)), engine.filter);
    EXPECT_EQ(policy.maxFiles, 10 + engine.number);
}

void getStatsProfilePolicy(Engine& engine) {
    sqlpiStatsProfPolicy policy = SQLPI_STATS_PROF_DEFAULTS;
    std::string document = engine.document;
    EXPECT_EQ(sqlpiGetStatsProfilePolicy(document.data(), engine.length(), &policy), 0);
    EXPECT_EQ(text(Block(policy.tablesFilter)), engine.filter);
    EXPECT_EQ(policy.maxFiles, 10 + engine.number);
}

void getFormatString(Engine& engine) {
    const std::string line = services::describe("TableReorgPolicy");
    EXPECT_NE(line.find("Table Scope: " + engine.filter + "  "), std::string::npos) << line;
    EXPECT_NE(line.find("Tables: " + std::to_string(100 + engine.number) + " KB"), std::string::npos) << line;
}

/* --- windows: from the hour of the thread's number to noon, every day --------------------------------------------- */

void getMaintWindow(Engine& engine) {
    sqlpiMaintWindow windows;
    sqlpiGetMaintWindow(&windows);
    EXPECT_EQ(windows.online.startTime.hour, engine.number);
    EXPECT_EQ(windows.online.endTime.hour, 12);
}

void getMaintWindowPolicy(Engine& engine) {
    sqlpiMaintWindow windows = {};
    std::string document = engine.document;
    EXPECT_EQ(sqlpiGetMaintWindowPolicy(document.data(), engine.length(), &windows), 0);
    EXPECT_EQ(windows.online.startTime.hour, engine.number);
}

template <int32_t (*Find)(const sqlpiMaintWindowInfo*, OSSTime, int32_t, OSSTime*, OSSTime*) noexcept>
void findWindow(Engine& engine) {
    const int64_t midnight = 24 * hour * (365 + engine.number);
    OSSTime start = {};
    OSSTime end = {};
    EXPECT_EQ(Find(&engine.window, {midnight, 0}, 3600, &start, &end), 1);
    EXPECT_EQ(start.seconds, midnight + hour * engine.number);
    EXPECT_EQ(end.seconds, midnight + 12 * hour);
}

void checkWindowSize(Engine& engine) {
    tm day = {};
    day.tm_year = 100 + engine.number;
    day.tm_mday = 1;
    day.tm_hour = engine.number;
    int32_t remaining = 3600;
    tm windowEnd = {};
    bool carried = false;
    EXPECT_EQ(sqlpiCheckWindowSize(&day, &engine.window, &remaining, &windowEnd, &carried), 1);
    EXPECT_EQ(windowEnd.tm_year, 100 + engine.number);
    EXPECT_EQ(windowEnd.tm_hour, 12);
}

void is24x7(Engine& engine) {
    sqlpiMaintWindowInfo window = engine.window;
    EXPECT_EQ(sqlpiIs24x7MaintWindow(&window), 0);
    window.endTime = window.startTime;
    EXPECT_EQ(sqlpiIs24x7MaintWindow(&window), 1);
}

/* The first of January of the thread's year. */
int64_t newYear(int number) {
    tm day = {};
    day.tm_year = 100 + number;
    day.tm_mday = 1;
    return timegm(&day);
}

template <int64_t (*Get)(const sqlpiMaintWindowInfo*, tm*) noexcept,
          sqlpiMaintWindowDateTime sqlpiMaintWindowInfo::*Limit>
void getLimit(Engine& engine) {
    sqlpiMaintWindowInfo window = engine.window;
    window.*Limit = {MAINT_WINDOW_DATE_TIME, static_cast<uint16_t>(2000 + engine.number), 1, 1, 0, 0, 0};
    tm moment = {};
    EXPECT_EQ(Get(&window, &moment), newYear(engine.number));
    EXPECT_EQ(moment.tm_year, 100 + engine.number);
}

void getTotalDays(Engine& engine) {
    EXPECT_EQ(sqlpiGetTotalDayInMonth(2000 + engine.number, 2), engine.number % 4 == 0 ? 29 : 28);
}

void adjustTime(Engine& engine) {
    tm day = {};
    day.tm_year = 99 + engine.number;
    day.tm_mon = 12;
    day.tm_mday = 1;
    EXPECT_EQ(sqlpiAdjustTime(&day), newYear(engine.number));
}

void convertWindow(Engine& engine) {
    char before[sizeof engine.window];
    char after[sizeof engine.window];
    std::memcpy(before, &engine.window, sizeof before);
    sqlpiConvertMaintWindow(&engine.window);
    std::memcpy(after, &engine.window, sizeof after);
    EXPECT_EQ(std::memcmp(before, after, sizeof before), 0);
}

/* --- procedures; what they change is rolled back ------------------------------------------------------------------ */

constexpr const char* type = "AUTO_RUNSTATS";

void expectDone(const Engine& engine, uint32_t status) {
    EXPECT_EQ(status, SQLPI_CONFIG_OK);
    EXPECT_STREQ(engine.sqlstate, "00000");
    EXPECT_EQ(engine.ca.sqlcode, 0);
}
void expectStored(Engine& engine, const sqlpiPolicyKey& key, const std::string& part) {
    const std::string stored = services::stored(key).value_or("nothing");
    EXPECT_NE(stored.find(part), std::string::npos) << stored;
    engine.context.rollback();
}

void getDocument(Engine& engine) {
    expectDone(engine, kelAutomaintGetPolicyDocSpLocal(type, engine.lob.get(), nullptr, nullptr, engine.sqlstate, "",
                                                       "", engine.message, nullptr, &engine.ca));
    const std::string document(engine.lob.get()->data, engine.lob.get()->length);
    EXPECT_NE(document.find(engine.filter), std::string::npos) << document;
}

void setDocument(Engine& engine) {
    const auto set = [&](const std::string& document) {
        return kelAutomaintSetPolicyDocSpLocal(type, fill(engine, document), nullptr, nullptr, engine.sqlstate, "", "",
                                               engine.message, nullptr, &engine.ca);
    };
    // Which error is in which line is kept for the thread that asks.
    const std::string lines(static_cast<size_t>(engine.number), '\n');
    EXPECT_EQ(set(config::root("KELAutoRunstatsPolicy", lines + "<Unknown/>")), SQLPI_CONFIG_FAILED);
    EXPECT_EQ(engine.ca.sqlcode, -1437);
    EXPECT_EQ(config::tokensOf(engine.ca).at(0), std::to_string(2 + engine.number));
    expectDone(engine, set(config::runstats("SET = " + std::to_string(engine.number))));
    expectStored(engine, SQLPI_RUNSTATS_KEY, "SET = " + std::to_string(engine.number));
}

void getFile(Engine& engine) {
    expectDone(engine, kelAutomaintGetPolicyFileSpLocal(type, "new/get.xml", nullptr, nullptr, engine.sqlstate, "", "",
                                                        engine.message, nullptr, &engine.ca));
    const std::string document = config::readWhole(engine.file("tmp/new/get.xml"));
    EXPECT_NE(document.find(engine.filter), std::string::npos) << document;
}

void setFile(Engine& engine) {
    expectDone(engine, kelAutomaintSetPolicyFileSpLocal(type, "set.xml", nullptr, nullptr, engine.sqlstate, "", "",
                                                        engine.message, nullptr, &engine.ca));
    expectStored(engine, SQLPI_RUNSTATS_KEY, "FILE = " + std::to_string(engine.number));
}

/* A replacement that carries the reclaim size over. */
void install(Engine& engine) {
    EXPECT_EQ(
        kelPolicyInstallSp("U", SQLPI_REORG_KEY.med, SQLPI_REORG_KEY.decision, SQLPI_REORG_KEY.name, nullptr,
                           fill(engine, engine.documentOf(false)), nullptr, engine.sqlstate, engine.message, nullptr),
        0)
        << engine.message;
    expectStored(engine, SQLPI_REORG_KEY,
                 "reclaimExtentsSizeForMDCTables=\"" + std::to_string(100 + engine.number) + "\"");
}

/* Inserts from a file; deletes. */
void installLocal(Engine& engine) {
    const std::string name = "Policy" + std::to_string(engine.number);
    const std::string file = engine.file("tmp/policy.xml");
    const auto run = [&](const char* action) {
        return kelPolicyInstallSpLocal(action, "M", nullptr, name.c_str(), file.c_str(), nullptr, nullptr,
                                       engine.sqlstate, engine.message, nullptr);
    };
    EXPECT_EQ(run("I"), 0) << engine.message;
    EXPECT_EQ(services::stored({"M", "NOP", name.c_str()}), engine.document);
    EXPECT_EQ(run("D"), 0) << engine.message;
    EXPECT_EQ(services::stored({"M", "NOP", name.c_str()}), std::nullopt);
    engine.context.rollback();
}

void retrieve(Engine& engine) {
    kelPolicyRetrieve(nullptr, nullptr, SQLPI_BACKUP_KEY.name, nullptr, &engine.ca);
    EXPECT_EQ(engine.ca.sqlcode, 0);
    const auto results = engine.context.openResults();
    ASSERT_EQ(results.size(), 1U);
    SQLLEN length = 0;
    EXPECT_EQ(SQLFetch(results[0]), SQL_SUCCESS);
    EXPECT_EQ(SQLGetData(results[0], 4, SQL_C_BINARY, engine.lob.get()->data, SQLUDF_LARGEST_LOB, &length),
              SQL_SUCCESS);
    EXPECT_EQ(std::string(engine.lob.get()->data, static_cast<size_t>(length)), engine.document);
    EXPECT_EQ(SQLFetch(results[0]), SQL_NO_DATA);
    SQLFreeHandle(SQL_HANDLE_STMT, results[0]);
}

void validate(Engine& engine) {
    EXPECT_EQ(kelPolicyValidateUdf(engine.number), 0);
}

/* --- data --------------------------------------------------------------------------------------------------------- */

template <const char* Schema, const size_t* Length>
void readSchema(Engine&) {
    EXPECT_EQ(std::strlen(Schema), *Length);
    EXPECT_NE(std::strstr(Schema, "schema"), nullptr);
}

void readDays(Engine& engine) {
    static const char* const days[] = {"SUN", "MON", "TUE", "WED", "THU", "FRI", "SAT"};
    EXPECT_STREQ(DAYS_OF_WEEK[engine.number % 7], days[engine.number % 7]);
}

void readMonths(Engine& engine) {
    static const char* const months[] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN", "JUL", "AUG"};
    EXPECT_STREQ(MONTHS_OF_YEAR[engine.number], months[engine.number]);
}

constexpr struct {
    const char* name;
    void (*call)(Engine& engine); /* calls it once and checks what it answers */
} entries[] = {
    {"sqlpi_policy_parse", parse},
    {"sqlpiGetPolicy", getPolicy},
    {"sqlpiGetBackup", getBackup},
    {"sqlpiGetBackupPolicy", getBackupPolicy},
    {"sqlpiGetReorg", getReorg},
    {"sqlpiGetReorgPolicy", getReorgPolicy},
    {"sqlpiGetRunStats", getRunStats},
    {"sqlpiGetStatsProfile", getStatsProfile},
    {"sqlpiGetStatsProfilePolicy", getStatsProfilePolicy},
    {"sqlpiGetAtmSensors", getAtmSensors},
    {"sqlpiGetMaintWindow", getMaintWindow},
    {"sqlpiGetMaintWindowPolicy", getMaintWindowPolicy},
    {"sqlpiFindMaintWindow", findWindow<sqlpiFindMaintWindow>},
    {"sqlpiFindInsideMaintWindow", findWindow<sqlpiFindInsideMaintWindow>},
    {"sqlpiCheckWindowSize", checkWindowSize},
    {"sqlpiIs24x7MaintWindow", is24x7},
    {"sqlpiGetStartDateTime", getLimit<sqlpiGetStartDateTime, &sqlpiMaintWindowInfo::startDateTime>},
    {"sqlpiGetEndDateTime", getLimit<sqlpiGetEndDateTime, &sqlpiMaintWindowInfo::endDateTime>},
    {"sqlpiGetTotalDayInMonth", getTotalDays},
    {"sqlpiAdjustTime", adjustTime},
    {"sqlpiConvertMaintWindow", convertWindow},
    {"sqpiGetPolicyFormatString", getFormatString},
    {"kelAutomaintGetPolicyFileSpLocal", getFile},
    {"kelAutomaintGetPolicyDocSpLocal", getDocument},
    {"kelAutomaintSetPolicyFileSpLocal", setFile},
    {"kelAutomaintSetPolicyDocSpLocal", setDocument},
    {"kelPolicyInstallSp", install},
    {"kelPolicyInstallSpLocal", installLocal},
    {"kelPolicyRetrieve", retrieve},
    {"kelPolicyValidateUdf", validate},
    {"SQLPI_MWP_V1", readSchema<SQLPI_MWP_V1, &SQLPI_MWP_V1_LENGTH>},
    {"SQLPI_MWP_V1_LENGTH", readSchema<SQLPI_MWP_V1, &SQLPI_MWP_V1_LENGTH>},
    {"SQLPI_AUTO_BACKUP_V1", readSchema<SQLPI_AUTO_BACKUP_V1, &SQLPI_AUTO_BACKUP_V1_LENGTH>},
    {"SQLPI_AUTO_BACKUP_V1_LENGTH", readSchema<SQLPI_AUTO_BACKUP_V1, &SQLPI_AUTO_BACKUP_V1_LENGTH>},
    {"SQLPI_AUTO_REORG_V1", readSchema<SQLPI_AUTO_REORG_V1, &SQLPI_AUTO_REORG_V1_LENGTH>},
    {"SQLPI_AUTO_REORG_V1_LENGTH", readSchema<SQLPI_AUTO_REORG_V1, &SQLPI_AUTO_REORG_V1_LENGTH>},
    {"SQLPI_AUTO_RUNSTATS_V1", readSchema<SQLPI_AUTO_RUNSTATS_V1, &SQLPI_AUTO_RUNSTATS_V1_LENGTH>},
    {"SQLPI_AUTO_RUNSTATS_V1_LENGTH", readSchema<SQLPI_AUTO_RUNSTATS_V1, &SQLPI_AUTO_RUNSTATS_V1_LENGTH>},
    {"DAYS_OF_WEEK", readDays},
    {"MONTHS_OF_YEAR", readMonths},
};

TEST(EveryExport, IsCalledHere) {
    std::ifstream map(KELPOLICY_EXPORTS);
    const std::regex pattern("^ +([A-Za-z_][A-Za-z_0-9]*);$");
    std::set<std::string> exported;
    std::smatch match;
    for (std::string line; std::getline(map, line);)
        if (std::regex_match(line, match, pattern)) exported.insert(match[1]);
    std::set<std::string> called;
    for (const auto& entry : entries) EXPECT_TRUE(called.insert(entry.name).second) << entry.name;
    EXPECT_EQ(called, exported);
}

class EveryEntry : public BalancedTest {
protected:
    EveryEntry() {
        setenv("TZ", "UTC", 1);
        tzset();
        for (int number = 0; number < threadCount; ++number) engines_.push_back(std::make_unique<Engine>(number));
        before_ = kelhost::memoryTotal().blocks;
    }

    /* Runs `work` on all threads from one moment on; then nothing of theirs may be left. */
    template <class Work>
    void onThreads(Work work) {
        std::barrier start(threadCount);
        std::vector<std::thread> threads;
        for (const auto& engine : engines_)
            threads.emplace_back([&] {
                const kelhost::EngineContext::Scope scope(engine->context);
                start.arrive_and_wait();
                work(*engine);
            });
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(kelhost::memoryTotal().blocks, before_) << "left over: " << kelhost::describeMemoryInUse();
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
    }

private:
    std::vector<std::unique_ptr<Engine>> engines_;
    int64_t before_ = 0;
};

TEST_F(EveryEntry, AnswersEightThreadsAtOnce) {
    ASSERT_GT(callCount, 0);
    for (const auto& entry : entries) {
        SCOPED_TRACE(entry.name);
        onThreads([&](Engine& engine) {
            for (int call = 0; call < callCount && !HasFailure(); ++call) entry.call(engine);
        });
        ASSERT_FALSE(HasFailure()) << entry.name;
    }
}

TEST_F(EveryEntry, AnswersWhileOtherThreadsCallOthers) {
    ASSERT_GT(callCount, 0);
    onThreads([&](Engine& engine) {
        const size_t first = static_cast<size_t>(engine.number) * std::size(entries) / threadCount;
        for (int call = 0; call < callCount; ++call)
            for (size_t i = 0; i < std::size(entries) && !HasFailure(); ++i)
                entries[(first + i) % std::size(entries)].call(engine);
    });
}

}  // namespace
