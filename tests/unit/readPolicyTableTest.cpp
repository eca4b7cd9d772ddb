/* Policy table reader: the statement, what comes back from a real table, and what the trace tells. */
#include "sqlpiApplReadPolicyTable.h"

#include <cstdlib>
#include <optional>

#include "faulty.h"
#include "services/sqlpiPolicyQuery.h"
#include "trace.h"
#include "unit/servicesSupport.h"

namespace {

using services::store;

const char* const lowPointer = reinterpret_cast<const char*>(uintptr_t{4095});

void setZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

/* --- the statement ------------------------------------------------------------------------------------------------ */

std::string queryOf(const char* med, const char* decision, const char* name, std::optional<int64_t> since = {}) {
    char query[SQLPI_QUERY_SIZE];
    std::memset(query, '#', sizeof query);
    EXPECT_TRUE(sqlpiBuildPolicyQuery(query, med, decision, name, since ? &*since : nullptr));
    return services::textOf(query);
}

TEST(PolicyQuery, introducesTheFirstPredicateWithWhere) {
    const std::string select = "SELECT POLICY FROM SYSTOOLS.POLICY ";
    const std::string updated = "UPDATE_TIME > '1970-01-01-00.00.00.000000' ";
    setZone("UTC");
    struct Case {
        const char* med;
        const char* decision;
        const char* name;
        bool hasTime;
        std::string clause;
    };
    for (const Case& one : std::vector<Case>{
             {nullptr, nullptr, nullptr, false, ""},
             {"", "", "", false, ""},
             {lowPointer, lowPointer, lowPointer, false, ""},
             {"KELCommonMED", "NOP", "CommonPolicy", false,
              "WHERE MED='KELCommonMED' AND DECISION='NOP' AND NAME='CommonPolicy' "},
             {"m", nullptr, nullptr, false, "WHERE MED='m' "},
             {nullptr, "d", nullptr, false, "WHERE DECISION='d' "},
             {nullptr, nullptr, "n", false, "WHERE NAME='n' "},
             {"m", nullptr, "n", false, "WHERE MED='m' AND NAME='n' "},
             {"", "d", "n", false, "WHERE DECISION='d' AND NAME='n' "},
             {"m", "d", "", false, "WHERE MED='m' AND DECISION='d' "},
             {nullptr, nullptr, nullptr, true, "WHERE " + updated},
             {nullptr, nullptr, "n", true, "WHERE NAME='n' AND " + updated},
             {"m", "d", "n", true, "WHERE MED='m' AND DECISION='d' AND NAME='n' AND " + updated},
             {"it's %s", "\"", "\xC3\xA4", false, "WHERE MED='it's %s' AND DECISION='\"' AND NAME='\xC3\xA4' "},
         }) {
        EXPECT_EQ(queryOf(one.med, one.decision, one.name, one.hasTime ? std::optional<int64_t>(0) : std::nullopt),
                  select + one.clause);
    }
}

TEST(PolicyQuery, comparesWithLocalTime) {
    struct Case {
        const char* zone;
        int64_t since;
        const char* timestamp;
    };
    for (const Case& one : {
             Case{"UTC", 1717243445, "2024-06-01-12.04.05.000000"},
             Case{"America/New_York", 1717243445, "2024-06-01-08.04.05.000000"},
             Case{"Asia/Kathmandu", 1717243445, "2024-06-01-17.49.05.000000"},
             Case{"UTC", -1, "1969-12-31-23.59.59.000000"},
             Case{"UTC", -30610224000, "1000-01-01-00.00.00.000000"},
             Case{"UTC", 253402300799, "9999-12-31-23.59.59.000000"},
         }) {
        SCOPED_TRACE(one.timestamp);
        setZone(one.zone);
        EXPECT_EQ(queryOf(nullptr, nullptr, nullptr, one.since),
                  std::string("SELECT POLICY FROM SYSTOOLS.POLICY WHERE UPDATE_TIME > '") + one.timestamp + "' ");
    }
    setZone("UTC");
    for (const int64_t since : {int64_t{-30610224001}, int64_t{253402300800}, INT64_MIN, INT64_MAX}) {
        char query[SQLPI_QUERY_SIZE];
        EXPECT_FALSE(sqlpiBuildPolicyQuery(query, nullptr, nullptr, nullptr, &since)) << since;
    }
}

TEST(PolicyQuery, isCutAtTheBuffersEnd) {
    const std::string select = "SELECT POLICY FROM SYSTOOLS.POLICY ";
    const std::string longKey(3000, 'k');
    // A predicate is cut at 2047 bytes before it is appended.
    EXPECT_EQ(queryOf(longKey.c_str(), "d", "n", 0), (select + "WHERE MED='" + longKey).substr(0, 2047));
    EXPECT_EQ(queryOf("m", longKey.c_str(), "n", 0),
              (select + "WHERE MED='m' AND DECISION='" + longKey).substr(0, 2047));
    EXPECT_EQ(queryOf("m", "d", longKey.c_str(), 0),
              (select + "WHERE MED='m' AND DECISION='d' AND NAME='" + longKey).substr(0, 2047));

    setZone("UTC");
    for (size_t length = 1900; length < 2050; ++length) {
        const std::string med(length, 'm');
        const std::string predicate = ("WHERE MED='" + med + "' ").substr(0, 2047);
        const std::string whole =
            select + predicate + "AND DECISION='d' AND NAME='n' " + "AND UPDATE_TIME > '1970-01-01-00.00.00.000000' ";
        ASSERT_EQ(queryOf(med.c_str(), "d", "n", 0), whole.substr(0, 2047)) << length;
    }
}

/* --- a real table ------------------------------------------------------------------------------------------------- */

struct ReadResult {
    int32_t status = -99;
    bool hasBuffer = false;
    std::string document;

    bool operator==(const ReadResult&) const = default;
};
std::ostream& operator<<(std::ostream& out, const ReadResult& read) {
    return out << "status " << read.status << (read.hasBuffer ? ", document \"" : ", no document \"") << read.document
               << '"';
}
const ReadResult noRow = {SQLPI_NO_ROW, false, ""};

ReadResult readPolicy(const char* med, const char* decision, const char* name, std::optional<int64_t> since = {}) {
    char untouched = 0;
    char* buffer = &untouched;
    int32_t length = -77;
    const int32_t status = sqlpiGetPolicy(med, SQLPI_KEY_KIND, decision, SQLPI_KEY_KIND, name, SQLPI_KEY_KIND, &buffer,
                                          &length, since ? &*since : nullptr);
    EXPECT_NE(buffer, &untouched);
    if (buffer == nullptr) {
        EXPECT_EQ(length, 0);
        return {status, false, ""};
    }
    const std::string document(buffer, static_cast<size_t>(length));
    sqlofmblkEx(buffer, "test", 0);
    return {status, true, document};
}
ReadResult readPolicy(const sqlpiPolicyKey& key, std::optional<int64_t> since = {}) {
    return readPolicy(key.med, key.decision, key.name, since);
}

class PolicyTable : public services::EngineTest {};

TEST_F(PolicyTable, givesTheDocumentOfEachKey) {
    for (const sqlpiPolicyKey& key :
         {SQLPI_MAINT_WINDOW_KEY, SQLPI_BACKUP_KEY, SQLPI_REORG_KEY, SQLPI_RUNSTATS_KEY, SQLPI_STATS_PROFILE_KEY}) {
        const ReadResult byDefault = readPolicy(key);
        EXPECT_EQ(byDefault.status, 0) << key.name;
        EXPECT_NE(byDefault.document.find("PolicyDocument"), std::string::npos) << key.name;
        store(key, std::string("of ") + key.name);
    }
    for (const sqlpiPolicyKey& key :
         {SQLPI_MAINT_WINDOW_KEY, SQLPI_BACKUP_KEY, SQLPI_REORG_KEY, SQLPI_RUNSTATS_KEY, SQLPI_STATS_PROFILE_KEY})
        EXPECT_EQ(readPolicy(key), (ReadResult{0, true, std::string("of ") + key.name}));
}

TEST_F(PolicyTable, givesTheBytesAsTheyAre) {
    std::string every;
    for (int i = 0; i < 256; ++i) every += static_cast<char>(i);
    std::string large;
    while (large.size() < (size_t{2} << 20U)) large += every;
    for (const std::string& document : {std::string("x"), every, every + every, std::string(65536, '\0'), large}) {
        store(SQLPI_BACKUP_KEY, document);
        EXPECT_TRUE(readPolicy(SQLPI_BACKUP_KEY) == (ReadResult{0, true, document})) << document.size();
    }
}

TEST_F(PolicyTable, givesAnEmptyDocument) {
    store(SQLPI_BACKUP_KEY, "");
    EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY), (ReadResult{0, true, ""}));
}

TEST_F(PolicyTable, selectsByTheKeysThatAreGiven) {
    services::execute("DELETE FROM SYSTOOLS.POLICY");
    EXPECT_EQ(readPolicy(nullptr, nullptr, nullptr), noRow);
    store(SQLPI_BACKUP_KEY, "backup");
    EXPECT_EQ(readPolicy(nullptr, nullptr, nullptr).document, "backup");
    EXPECT_EQ(readPolicy("", "", "").document, "backup");
    EXPECT_EQ(readPolicy(nullptr, "DBBackupDecision", nullptr).document, "backup");
    EXPECT_EQ(readPolicy(nullptr, nullptr, "DBBackupPolicy").document, "backup");
    EXPECT_EQ(readPolicy("KELDatabaseRecoveryMED", nullptr, "").document, "backup");
    EXPECT_EQ(readPolicy("KELDatabaseRecoveryMED", "NOP", "DBBackupPolicy"), noRow);
    EXPECT_EQ(readPolicy("kelDatabaseRecoveryMED", nullptr, nullptr), noRow);

    // All keys null: one row, whichever the database gives first.
    store(SQLPI_REORG_KEY, "reorg");
    const std::string first = readPolicy(nullptr, nullptr, nullptr).document;
    EXPECT_TRUE(first == "backup" || first == "reorg") << first;
}

TEST_F(PolicyTable, makesNothingOfTheKindsOfTheKeys) {
    store(SQLPI_BACKUP_KEY, "backup");
    for (const int32_t kind : {SQLPI_KEY_KIND, 0, 1, -1, INT32_MIN, INT32_MAX}) {
        for (const size_t which : {0U, 1U, 2U}) {
            int32_t kinds[] = {SQLPI_KEY_KIND, SQLPI_KEY_KIND, SQLPI_KEY_KIND};
            kinds[which] = kind;
            char* buffer = nullptr;
            int32_t length = 0;
            EXPECT_EQ(sqlpiGetPolicy("KELDatabaseRecoveryMED", kinds[0], "DBBackupDecision", kinds[1], "DBBackupPolicy",
                                     kinds[2], &buffer, &length, nullptr),
                      0);
            EXPECT_EQ(std::string_view(buffer, static_cast<size_t>(length)), "backup") << kind << " of key " << which;
            sqlofmblkEx(buffer, "test", 0);
        }
    }
}

TEST_F(PolicyTable, selectsRowsThatAreLaterThanTheTime) {
    setZone("America/New_York");
    const int64_t noon = 1717257600;  // 2024-06-01 12:00:00
    for (const auto& [updateTime, isLater] : {std::pair<const char*, bool>{"'2024-06-01-11.59.59.999999'", false},
                                              {"'2024-06-01-12.00.00.000000'", false},
                                              {"'2024-06-01-12.00.00.000001'", true},
                                              {"'2024-06-01-12.00.01.000000'", true},
                                              {"CURRENT TIMESTAMP", true}}) {
        store(SQLPI_BACKUP_KEY, "backup", updateTime);
        EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY, noon), (isLater ? ReadResult{0, true, "backup"} : noRow)) << updateTime;
        EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY).status, 0) << updateTime;
    }
    EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY, INT64_MAX), (ReadResult{-1, false, ""})) << "a time that no timestamp tells";
}

TEST_F(PolicyTable, isNotReadWithoutAPlaceForTheAnswer) {
    char untouched = 0;
    char* buffer = &untouched;
    int32_t length = -77;
    EXPECT_EQ(sqlpiGetPolicy(nullptr, 9, nullptr, 9, nullptr, 9, nullptr, &length, nullptr), -1);
    EXPECT_EQ(sqlpiGetPolicy(nullptr, 9, nullptr, 9, nullptr, 9, &buffer, nullptr, nullptr), -1);
    EXPECT_EQ(buffer, &untouched);
    EXPECT_EQ(length, -77);
}

TEST_F(PolicyTable, createsTheTableWhenItIsMissing) {
    services::administer("DROP TABLE SYSTOOLS.POLICY");
    const ReadResult read = readPolicy(SQLPI_REORG_KEY);
    EXPECT_EQ(read.status, 0);
    EXPECT_NE(read.document.find("PolicyDocument"), std::string::npos);
}

TEST_F(PolicyTable, refusesOverlongKeys) {
    const std::string longKey(5000, 'k');
    EXPECT_EQ(readPolicy(longKey.c_str(), nullptr, nullptr), (ReadResult{-1, false, ""})) << "the text's quote is lost";
    EXPECT_EQ(readPolicy(std::string(1900, 'k').c_str(), nullptr, nullptr), noRow);
}

TEST_F(PolicyTable, leavesTheUnitOfWorkUsableAfterAFailure) {
    EXPECT_EQ(readPolicy("'", nullptr, nullptr).status, -1);
    store(SQLPI_BACKUP_KEY, "backup");
    EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY).document, "backup");
}

/* A table of an engine that allows rows without a document. */
TEST_F(PolicyTable, rejectsADocumentThatIsNull) {
    services::administer("DROP TABLE SYSTOOLS.POLICY");
    services::administer(
        "CREATE TABLE SYSTOOLS.POLICY (MED VARCHAR(128), DECISION VARCHAR(128), NAME VARCHAR(128), "
        "UPDATE_TIME CHAR(26), POLICY BLOB)");
    services::execute("INSERT INTO SYSTOOLS.POLICY (MED) VALUES ('m')");
    EXPECT_EQ(readPolicy("m", nullptr, nullptr), (ReadResult{-1, false, ""}));
}

/* --- trace -------------------------------------------------------------------------------------------------------- */

class PolicyTrace : public services::EngineTest {
protected:
    PolicyTrace() { services::remove(SQLPI_BACKUP_KEY); }
    ~PolicyTrace() override { kelhost::setTraceFlags(0); }

    /* What a read of a row that is missing leaves in the trace, of this function only. */
    std::vector<kelhost::LogRecord> traced(uint32_t flags, const char* med, const char* decision, const char* name) {
        clearLogs();
        kelhost::setTraceFlags(flags);
        EXPECT_EQ(readPolicy(med, decision, name), noRow);
        kelhost::setTraceFlags(0);
        std::vector<kelhost::LogRecord> records;
        for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::trace))
            if (record.function == "sqlpiGetPolicy") records.push_back(record);
        return records;
    }
};

using Event = kelhost::LogRecord::Event;

TEST_F(PolicyTrace, tellsEntryWithTheKeysAndExitWithTheStatus) {
    const auto records = traced(PDT_FLAG_ENTRY | PDT_FLAG_EXIT, "no MED", "", lowPointer);
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0].event, Event::entry);
    EXPECT_EQ(records[1].event, Event::data);
    EXPECT_EQ(records[1].probe, 0U);
    EXPECT_EQ(records[1].items, (std::vector<std::string>{"no MED", "", ""}));
    EXPECT_EQ(records[2].event, Event::exit);
    EXPECT_EQ(records[2].code, SQLPI_NO_ROW);
}

/* Addresses below 4096 are shown without looking at them, whichever key they stand for. */
TEST_F(PolicyTrace, takesNoLengthOfAnAddressBelow4096) {
    const std::vector<std::string> keys = {"KELCommonMED", "NOP", "no such NAME"};
    for (size_t low = 0; low < keys.size(); ++low) {
        std::vector<const char*> given;
        for (const std::string& key : keys) given.push_back(key.c_str());
        given[low] = lowPointer;
        if (low == 2) given[0] = "no such MED";
        const auto records = traced(PDT_FLAG_ENTRY, given[0], given[1], given[2]);
        ASSERT_EQ(records.size(), 2U) << low;
        std::vector<std::string> shown;
        for (const char* key : given) shown.emplace_back(key == lowPointer ? "" : key);
        EXPECT_EQ(records[1].items, shown) << low;
    }
}

TEST_F(PolicyTrace, tellsTheStepThatFailedAndTheLastOutcome) {
    const auto records = traced(PDT_FLAG_DATA, "no MED", nullptr, nullptr);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].event, Event::error);
    EXPECT_EQ(records[0].probe, 110U);
    EXPECT_EQ(records[0].code, SQLPI_NO_ROW);
    EXPECT_EQ(records[1].event, Event::data);
    ASSERT_EQ(records[1].items.size(), 1U);
    EXPECT_EQ(records[1].items[0].size(), sizeof(sqlca));
}

TEST_F(PolicyTrace, tellsThatATimeIsOutOfRange) {
    clearLogs();
    kelhost::setTraceFlags(PDT_FLAG_DATA);
    EXPECT_EQ(readPolicy(nullptr, nullptr, nullptr, INT64_MAX), (ReadResult{-1, false, ""}));
    kelhost::setTraceFlags(0);
    std::vector<uint32_t> probes;
    for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::trace)) {
        if (record.function != "sqlpiGetPolicy") continue;
        probes.push_back(record.probe);
        ASSERT_EQ(record.items.size(), 1U);
        ASSERT_EQ(record.items[0].size(), sizeof(sqlca));
        sqlca ca = {};
        std::memcpy(&ca, record.items[0].data(), sizeof ca);
        EXPECT_EQ(ca.sqlcode, -302) << "the engine itself knows of no error";
        EXPECT_EQ(std::string(ca.sqlerrmc, static_cast<size_t>(ca.sqlerrml)), "UPDATE_TIME");
    }
    EXPECT_EQ(probes, (std::vector<uint32_t>{100, 140}));
}

TEST(TraceFlags, areTheBitsOfTheEnginesFlagWord) {
    EXPECT_EQ((std::vector<uint32_t>{PDT_FLAG_ENTRY, PDT_FLAG_EXIT, PDT_FLAG_DATA}), (std::vector<uint32_t>{1, 2, 4}));
}

TEST_F(PolicyTrace, tellsNothingWhenItIsOff) {
    EXPECT_TRUE(traced(0, "no MED", nullptr, nullptr).empty());
}

/* --- steps that fail ---------------------------------------------------------------------------------------------- */

using faulty::Service;

struct Failure {
    const char* step;
    Service service;
    uint64_t call;
    int32_t code;
    std::vector<uint32_t> probes; /* of the steps that failed */
    ReadResult result;
    int32_t sqlcode = -901; /* in the last of the traced areas */
};

class FailingSteps : public services::EngineTest {
protected:
    FailingSteps() { store(SQLPI_BACKUP_KEY, "backup"); }
    ~FailingSteps() override { kelhost::setTraceFlags(0); }

    void check(const Failure& one) {
        const int64_t blocksBefore = kelhost::memoryTotal().blocks;
        clearLogs();
        kelhost::setTraceFlags(PDT_FLAG_DATA);
        {
            const faulty::Scope scope;
            ASSERT_TRUE(faulty::failCall(one.service, one.call, faulty::Duration::once, one.code));
            EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY), one.result);
            EXPECT_EQ(faulty::failures(one.service), 1U);
        }
        kelhost::setTraceFlags(0);
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
        EXPECT_EQ(kelhost::memoryTotal().blocks, blocksBefore);
        expectTrace(one);
        EXPECT_EQ(takeDiagnosticLog(), std::vector<services::LogRecord>{});
        EXPECT_EQ(takeLog(kelhost::LogKind::administration), std::vector<services::LogRecord>{});
    }

private:
    static int32_t sqlcodeOf(const kelhost::LogRecord& record) {
        sqlca ca = {};
        if (record.items.size() != 1 || record.items[0].size() != sizeof ca) return INT32_MAX;
        std::memcpy(&ca, record.items[0].data(), sizeof ca);
        return ca.sqlcode;
    }

    void expectTrace(const Failure& one) {
        std::vector<uint32_t> probes;
        for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::trace)) {
            if (record.function != "sqlpiGetPolicy") continue;
            if (record.event == Event::error) {
                probes.push_back(record.probe);
                EXPECT_EQ(sqlcodeOf(record), one.sqlcode);
                EXPECT_EQ(record.code, one.code == faulty::usualFailure ? -1 : one.code);
            } else {
                EXPECT_EQ(record.event, Event::data);
                EXPECT_NE(one.result.status, 0) << "the last outcome is told after a failure only";
                EXPECT_EQ(sqlcodeOf(record), one.sqlcode);
            }
        }
        EXPECT_EQ(probes, one.probes);
    }
};

TEST_F(FailingSteps, giveTheirStatusAndReleaseEverything) {
    const ReadResult done = {0, true, "backup"};
    const auto failed = [](int32_t status) { return ReadResult{status, false, ""}; };
    for (const int32_t code : {-1, -2}) {
        for (const Failure& one : {
                 Failure{"environment handle", Service::SQLAllocHandle, 1, code, {10}, failed(code), -99999},
                 Failure{"connection handle", Service::SQLAllocHandle, 2, code, {20}, failed(code)},
                 Failure{"connect", Service::SQLConnect, 1, code, {30}, failed(code)},
                 Failure{"statement handle", Service::SQLAllocHandle, 3, code, {40}, failed(code)},
                 Failure{"table verify call", Service::SQLExecDirect, 1, code, {45}, done},
                 Failure{"query", Service::SQLExecDirect, 2, code, {100}, failed(code)},
                 Failure{"fetch", Service::SQLFetch, 1, code, {110}, failed(code)},
                 Failure{"length probe", Service::SQLGetData, 1, code, {120}, failed(code)},
                 Failure{"data read", Service::SQLGetData, 2, code, {130}, failed(code)},
             }) {
            SCOPED_TRACE(std::string(one.step) + " " + std::to_string(code));
            check(one);
        }
    }
    for (const Failure& one : {
             Failure{"fetch finds no row", Service::SQLFetch, 1, 100, {110}, failed(100), 100},
             Failure{"length probe finds no data", Service::SQLGetData, 1, 100, {120}, failed(100), 100},
             Failure{"data read finds no data", Service::SQLGetData, 2, 100, {130}, failed(100), 100},
             Failure{"data read with information", Service::SQLGetData, 2, 1, {130}, failed(1), 0},
         }) {
        SCOPED_TRACE(one.step);
        check(one);
    }
}

TEST_F(FailingSteps, areToldByTheirOwnProbeWithoutMemory) {
    check({"document", Service::sqlogmblkEx, 1, faulty::usualFailure, {125}, {-1, false, ""}, 0});
}

TEST_F(FailingSteps, doNotStopTheReadWhenVerifyAndCreateFail) {
    clearLogs();
    const faulty::Scope scope;
    faulty::failCall(Service::SQLExecDirect, 1);
    faulty::failCall(Service::SQLExecDirect, 2);
    kelhost::setTraceFlags(PDT_FLAG_DATA);
    EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY), (ReadResult{0, true, "backup"}));
    kelhost::setTraceFlags(0);
    std::vector<uint32_t> probes;
    for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::trace))
        if (record.function == "sqlpiGetPolicy") probes.push_back(record.probe);
    EXPECT_EQ(probes, (std::vector<uint32_t>{45, 47}));
}

TEST_F(FailingSteps, thatReleaseDoNotChangeTheResult) {
    for (const Service service : {Service::SQLFreeHandle, Service::SQLDisconnect}) {
        const faulty::Scope scope;
        faulty::failCall(service, 1, faulty::Duration::forEver);
        EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY), (ReadResult{0, true, "backup"}));
        EXPECT_GE(faulty::failures(service), 1U);
    }
}

TEST_F(FailingSteps, succeedWithInformation) {
    const faulty::Scope scope;
    for (const uint64_t call : {1, 2, 3}) faulty::failCall(Service::SQLAllocHandle, call, faulty::Duration::once, 1);
    faulty::failCall(Service::SQLConnect, 1, faulty::Duration::once, 1);
    faulty::failCall(Service::SQLExecDirect, 1, faulty::Duration::forEver, 1);
    faulty::failCall(Service::SQLFetch, 1, faulty::Duration::once, 1);
    EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY), (ReadResult{0, true, "backup"}));
    EXPECT_EQ(faulty::calls(Service::SQLExecDirect), 2U) << "the table is not created";
}

TEST_F(FailingSteps, includeATimeThatTheEngineCannotTell) {
    const faulty::Scope scope;
    faulty::failCall(Service::sqlo_localtime, 1);
    EXPECT_EQ(readPolicy(SQLPI_BACKUP_KEY, 0), (ReadResult{-1, false, ""}));
}

}  // namespace
