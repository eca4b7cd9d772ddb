/* Inserting, replacing and deleting policy rows, and what a replacement carries over and reports. */
#include "sqlpiPolicySp.h"

#include <functional>
#include <optional>
#include <set>

#include "faulty.h"
#include "files.h"
#include "trace.h"
#include "unit/configSupport.h"

namespace {

using config::Argument;
using config::pointer;
using faulty::Service;
using services::describe;
using services::stored;

using Strings = std::vector<std::string>;

constexpr const char* reclaimLabel = "Reclaim Extents Size for MDC Tables: ";

/* The arguments of one call; nothing is null by its indicator. */
struct Call {
    Argument action{};
    Argument med{"KELDatabaseRecoveryMED"};
    Argument decision{"DBBackupDecision"};
    Argument name{"DBBackupPolicy"};
    Argument file{};
    Argument policy{};
};

struct Outcome {
    int32_t status;
    std::string sqlstate;
    std::string message;

    bool operator==(const Outcome&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.status << " SQLSTATE " << outcome.sqlstate << " \"" << outcome.message << '"';
}
const Outcome done = {0, "00000", ""};

Outcome install(const Call& call, const std::string& database = "SAMPLE") {
    const int16_t null = SQLUDF_NULL;
    const int16_t notNull = SQLUDF_NOT_NULL;
    const auto indicator = [&](const Argument& argument) { return argument.has_value() ? &notNull : &null; };
    const kelPolicyInstallNulls nulls = {indicator(call.action), indicator(call.med),  indicator(call.decision),
                                         indicator(call.name),   indicator(call.file), indicator(call.policy)};
    config::Lob lob(call.policy.value_or(""));
    sqludf_dbinfo dbinfo = {static_cast<uint16_t>(database.size()), {}};
    database.copy(dbinfo.dbname, sizeof dbinfo.dbname);
    char sqlstate[SQLUDF_STATE_SIZE] = "*****";
    char message[SQLUDF_MESSAGE_SIZE];
    std::memset(message, '*', sizeof message);
    const int32_t status =
        kelPolicyInstallSp(pointer(call.action), pointer(call.med), pointer(call.decision), pointer(call.name),
                           pointer(call.file), lob.get(), &nulls, sqlstate, message, &dbinfo);
    EXPECT_LT(strnlen(message, sizeof message), sizeof message);
    return {status, sqlstate, message};
}

class PolicyInstall : public services::EngineTest {
protected:
    std::string path(const std::string& name) const { return instance().path() + "/" + name; }
};

std::string reorgDocument(const std::string& attributes, const std::string& filter = "") {
    return services::document("<AC_Policy><Equals><kel:Sensors>Tables</kel:Sensors><Constant>" + filter +
                              "</Constant></Equals><kel:TableReorg mode='read' " + attributes + "/></AC_Policy>");
}

constexpr sqlpiPolicyKey ownKey = {"MyMED", "MyDecision", "MyPolicy"};
Call ownCall(const char* action, const Argument& policy) {
    return {action, ownKey.med, ownKey.decision, ownKey.name, {}, policy};
}

TEST_F(PolicyInstall, ARowIsInsertedReplacedAndDeleted) {
    EXPECT_EQ(install(ownCall("I", "one")), done);
    EXPECT_EQ(stored(ownKey), "one");
    EXPECT_EQ(install(ownCall("U", "two")), done);
    EXPECT_EQ(stored(ownKey), "two");
    EXPECT_EQ(install(ownCall("D", {})), done);
    EXPECT_EQ(stored(ownKey), std::nullopt);
}

TEST_F(PolicyInstall, AnUpdateOrDeleteWithoutARowIsDone) {
    EXPECT_EQ(install(ownCall("U", "two")), done);
    EXPECT_EQ(install(ownCall("D", {})), done);
    EXPECT_EQ(stored(ownKey), std::nullopt);
}

TEST_F(PolicyInstall, NullKeysHaveDefaults) {
    EXPECT_EQ(install({"I", "M", {}, {}, {}, "x"}), done);
    EXPECT_EQ(stored({"M", "NOP", "SYSTOOLS.POLICY"}), "x");
}

TEST_F(PolicyInstall, KeysAreStoredAsGiven) {
    const std::string full(SQLPI_KEY_SIZE, 'k');
    const struct {
        std::string given;
        std::string kept;
    } cases[] = {{"it's", "it''s"},
                 {"''", "''''"},
                 {"' OR '1'='1", "'' OR ''1''=''1"},
                 {full, full},
                 {std::string(SQLPI_KEY_SIZE, '\''), std::string(2 * SQLPI_KEY_SIZE, '\'')}};
    for (const auto& [given, kept] : cases) {
        SCOPED_TRACE(given);
        const int64_t before = stored({"X", "X", "X"}).has_value();
        ASSERT_EQ(install({"I", given, given, given, {}, "x"}), done);
        EXPECT_EQ(stored({kept.c_str(), kept.c_str(), kept.c_str()}), "x");
        ASSERT_EQ(install({"U", given, given, given, {}, "y"}), done);
        EXPECT_EQ(stored({kept.c_str(), kept.c_str(), kept.c_str()}), "y");
        ASSERT_EQ(install({"D", given, given, given, {}, {}}), done);
        EXPECT_EQ(stored({kept.c_str(), kept.c_str(), kept.c_str()}), std::nullopt);
        EXPECT_EQ(before, 0);
    }
    EXPECT_TRUE(stored(SQLPI_BACKUP_KEY).has_value());
}

TEST_F(PolicyInstall, ATextThatIsTooLongIsRefusedAndNothingIsExecuted) {
    const std::string prefix(SQLPI_KEY_SIZE, 'k');
    const std::string longKey = prefix + "x";
    const sqlpiPolicyKey row = {prefix.c_str(), prefix.c_str(), prefix.c_str()};
    ASSERT_EQ(install({"I", prefix, prefix, prefix, {}, "kept"}), done);
    for (const char* action : {"I", "U", "D"}) {
        const struct {
            const char* position;
            Call call;
        } cases[] = {
            {"2", {action, longKey, prefix, prefix, {}, "x"}},
            {"3", {action, prefix, longKey, prefix, {}, "x"}},
            {"4", {action, prefix, prefix, longKey, {}, "x"}},
            {"4", {action, prefix, prefix, std::string(100'000, 'k'), {}, "x"}},
            {"2", {action, longKey, longKey, longKey, {}, "x"}},
            {"5", {action, prefix, prefix, prefix, std::string(SQLPI_POLICY_FILE_SIZE + 1, 'f'), "x"}},
        };
        for (const auto& [position, call] : cases) {
            SCOPED_TRACE(std::string(action) + " " + position);
            const faulty::Scope scope;
            const Outcome outcome = install(call);
            EXPECT_EQ(outcome.status, -1);
            EXPECT_EQ(outcome.sqlstate, "58004");
            EXPECT_TRUE(outcome.message.starts_with(std::string("KEL0171N  Argument ") + position)) << outcome.message;
            EXPECT_EQ(faulty::calls(Service::SQLAllocHandle), 0U);
            EXPECT_EQ(stored(row), "kept");
        }
    }
    EXPECT_EQ(install({"D", longKey, {}, {}, {}, {}}).status, -1);
    EXPECT_EQ(stored(row), "kept");
}

TEST_F(PolicyInstall, ANameOfAFileMayBeAsLongAsThereIsRoom) {
    config::writeWhole(path("tmp/p.xml"), "from the file");
    Call call = ownCall("I", {});
    call.file = "tmp" + std::string(SQLPI_POLICY_FILE_SIZE - std::strlen("tmpp.xml"), '/') + "p.xml";
    EXPECT_EQ(install(call), done);
    EXPECT_EQ(stored(ownKey), "from the file");
}

TEST_F(PolicyInstall, WithoutItsOutputsNothingIsExecuted) {
    config::Lob lob("x");
    char sqlstate[SQLUDF_STATE_SIZE];
    char message[SQLUDF_MESSAGE_SIZE];
    for (const auto install : {kelPolicyInstallSp, kelPolicyInstallSpLocal}) {
        EXPECT_EQ(install("I", "M", "D", "N", nullptr, lob.get(), nullptr, nullptr, message, nullptr), -1);
        EXPECT_EQ(install("I", "M", "D", "N", nullptr, lob.get(), nullptr, sqlstate, nullptr, nullptr), -1);
    }
    EXPECT_EQ(stored({"M", "D", "N"}), std::nullopt);
}

TEST_F(PolicyInstall, BytesAreStoredAsTheyAre) {
    std::string bytes;
    for (int i = 0; i < 300'000; ++i) bytes += static_cast<char>(i * 7);
    EXPECT_EQ(install(ownCall("I", bytes)), done);
    EXPECT_EQ(stored(ownKey), bytes);
    const std::string largest(SQLUDF_LARGEST_LOB, 'x');
    EXPECT_EQ(install(ownCall("U", largest)), done);
    EXPECT_EQ(stored(ownKey), largest);
    EXPECT_EQ(install(ownCall("U", "")), done);
    EXPECT_EQ(stored(ownKey), "");
}

TEST_F(PolicyInstall, AValueLongerThanItMayBeIsRefused) {
    config::Lob lob("x");
    lob.get()->length = SQLUDF_LARGEST_LOB + 1;
    char sqlstate[SQLUDF_STATE_SIZE];
    char message[SQLUDF_MESSAGE_SIZE];
    EXPECT_EQ(kelPolicyInstallSp("I", "M", "D", "N", nullptr, lob.get(), nullptr, sqlstate, message, nullptr), -1);
    EXPECT_STREQ(sqlstate, "58004");
    EXPECT_STRNE(message, "");
}

TEST_F(PolicyInstall, APolicyFileGoesBeforeTheValue) {
    config::writeWhole(path("tmp/p.xml"), "from the file");
    Call call = ownCall("I", "from the value");
    call.file = path("tmp/p.xml");
    EXPECT_EQ(install(call), done);
    EXPECT_EQ(stored(ownKey), "from the file");
    call.action = "U";
    call.file = "";
    EXPECT_EQ(install(call), done);
    EXPECT_EQ(stored(ownKey), "from the value");
    call.file = "tmp/p.xml";
    call.policy = {};
    EXPECT_EQ(install(call), done);
    EXPECT_EQ(stored(ownKey), "from the file");
}

TEST_F(PolicyInstall, AFileThatCannotBeUsedFails) {
    config::writeWhole(path("tmp/large"), std::string(SQLUDF_LARGEST_LOB + 1, 'x'));
    std::filesystem::create_symlink(path("tmp/large"), path("tmp/link"));
    for (const std::string& name : {path("tmp/none"), path("tmp"), path("tmp/large"), path("tmp/link"),
                                    std::string("/etc/passwd"), path("tmp/../tmp/large"), std::string(5000, 'n')}) {
        Call call = ownCall("I", {});
        call.file = name;
        const Outcome outcome = install(call);
        EXPECT_EQ(outcome.status, -1) << name;
        EXPECT_EQ(outcome.sqlstate, "58004") << name;
        EXPECT_NE(outcome.message, "") << name;
    }
    EXPECT_EQ(stored(ownKey), std::nullopt);
}

TEST_F(PolicyInstall, NeitherFileNorValueFails) {
    for (const char* action : {"I", "U"}) {
        const Outcome outcome = install(ownCall(action, {}));
        EXPECT_EQ(outcome.status, -1);
        EXPECT_EQ(outcome.sqlstate, "58004");
        EXPECT_NE(outcome.message, "");
    }
}

TEST_F(PolicyInstall, OtherActionsAreRefused) {
    for (const Argument& action :
         {Argument("X"), Argument(""), Argument("i"), Argument("u"), Argument("d"), Argument()}) {
        const Outcome outcome = install({action, "M", "D", "N", {}, "x"});
        EXPECT_EQ(outcome, (Outcome{-1, "56038", ""})) << action.value_or("null");
    }
    EXPECT_EQ(install(ownCall("Insert", "x")), done);  // one character counts
}

TEST_F(PolicyInstall, BothRegistrationsDoTheSame) {
    config::Lob lob("x");
    char sqlstate[SQLUDF_STATE_SIZE];
    char message[SQLUDF_MESSAGE_SIZE];
    EXPECT_EQ(kelPolicyInstallSpLocal("I", "M", "D", "N", nullptr, lob.get(), nullptr, sqlstate, message, nullptr), 0);
    EXPECT_EQ(stored({"M", "D", "N"}), "x");
    EXPECT_EQ(kelPolicyInstallSp("I", "M", "D", "N", nullptr, lob.get(), nullptr, sqlstate, message, nullptr), -1);
    EXPECT_STREQ(sqlstate, "58004");
}

TEST_F(PolicyInstall, AFailureBringsTheEnginesMessage) {
    ASSERT_EQ(install(ownCall("I", "x")), done);
    const Outcome outcome = install(ownCall("I", "x"));
    EXPECT_EQ(outcome.status, -1);
    EXPECT_EQ(outcome.sqlstate, "58004");
    EXPECT_TRUE(outcome.message.starts_with("KEL0803N")) << outcome.message;
    EXPECT_LE(outcome.message.size(), 70u);
}

TEST_F(PolicyInstall, EveryCallThatFailsIsTold) {
    const struct {
        const char* action;
        Service service;
        uint64_t call;
    } cases[] = {{"I", Service::SQLAllocHandle, 1},    {"I", Service::SQLAllocHandle, 2},
                 {"I", Service::SQLSetConnectAttr, 1}, {"I", Service::SQLConnect, 1},
                 {"I", Service::SQLAllocHandle, 3},    {"I", Service::SQLPrepare, 1},
                 {"I", Service::SQLBindParameter, 1},  {"I", Service::SQLExecute, 1},
                 {"D", Service::SQLExecDirect, 1},     {"U", Service::SQLExecute, 1}};
    for (const auto& [action, service, call] : cases) {
        SCOPED_TRACE(std::string(action) + " " + faulty::serviceName(service) + " " + std::to_string(call));
        const faulty::Scope scope;
        faulty::failCall(service, call, faulty::Duration::once, faulty::usualFailure, -901);
        clearLogs();
        kelhost::setTraceFlags(PDT_FLAG_DATA);
        const Outcome outcome = install(ownCall(action, "x"));
        kelhost::setTraceFlags(0);
        const auto traced = recordsOf(kelhost::LogKind::trace);
        ASSERT_FALSE(traced.empty());
        EXPECT_EQ(traced[0].function, "kelPolicyInstallSpCommon");
        EXPECT_EQ(traced[0].probe, 10U);
        // Without any handle there is nothing that could report.
        EXPECT_EQ(traced[0].code, service == Service::SQLAllocHandle && call == 1 ? -99999 : -901);
        EXPECT_EQ(outcome.status, -1);
        EXPECT_EQ(outcome.sqlstate, "58004");
        EXPECT_NE(outcome.message, "");
        EXPECT_EQ(stored(ownKey), std::nullopt);
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
    }
}

TEST_F(PolicyInstall, AReplacementIsReported) {
    const std::string before = describe("DBBackupPolicy");
    const std::string document = services::document(
        "<AC_Policy><LessThan><kel:DBBackupSensors>Number_Full_DB_Backups</kel:DBBackupSensors>"
        "<Constant>9</Constant></LessThan></AC_Policy>");
    ASSERT_EQ(install({"U", "KELDatabaseRecoveryMED", "DBBackupDecision", "DBBackupPolicy", {}, document}), done);
    const auto records = recordsOf(kelhost::LogKind::administration);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].messageNumber, 10515u);
    EXPECT_EQ(records[0].text, "DBBackupPolicy\xFFSAMPLE\xFF" + before + "\xFF" + describe("DBBackupPolicy"));
    EXPECT_NE(before, describe("DBBackupPolicy"));
    EXPECT_TRUE(takeDiagnosticLog().empty());
}

TEST_F(PolicyInstall, OnlyAReplacementIsReported) {
    ASSERT_EQ(install(ownCall("I", "x")), done);
    ASSERT_EQ(install(ownCall("D", {})), done);
    EXPECT_TRUE(recordsOf(kelhost::LogKind::administration).empty());
    EXPECT_TRUE(takeDiagnosticLog().empty());
}

TEST_F(PolicyInstall, AReportIsBoundedAndSoIsTheNameOfTheDatabase) {
    const std::string filter(3000, 'f');
    services::store(SQLPI_REORG_KEY, reorgDocument("", filter));
    const std::string document = reorgDocument("useTempTbsp='true'", filter);
    ASSERT_EQ(install({"U", SQLPI_REORG_KEY.med, SQLPI_REORG_KEY.decision, SQLPI_REORG_KEY.name, {}, document},
                      std::string(200, 'd')),
              done);
    const auto records = recordsOf(kelhost::LogKind::administration);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].text.size(), 4093u);
    EXPECT_TRUE(records[0].text.starts_with("TableReorgPolicy\xFF" + std::string(128, 'd') + "\xFF"));
}

TEST_F(PolicyInstall, ANameWithoutDescriptionIsLoggedTwiceAndStands) {
    ASSERT_EQ(install(ownCall("I", "x")), done);
    ASSERT_EQ(install(ownCall("U", "y")), done);
    const services::LogRecord unknown = {PD_WARNING,
                                         "Unable to obtain policy format message. Type MyPolicy is unknown"};
    EXPECT_EQ(takeDiagnosticLog(), (std::vector{unknown, unknown}));
    EXPECT_TRUE(recordsOf(kelhost::LogKind::administration).empty());
    EXPECT_EQ(stored(ownKey), "y");
}

struct CarryOver {
    const char* what;
    std::string stored; /* reorg policy before */
    const char* name;   /* of the row that is replaced */
    const char* given;  /* attributes of the document that replaces it */
    Strings kept;       /* attributes of the row afterwards; nothing: the row is what was given */
};

TEST_F(PolicyInstall, ReorgSettingsAreCarriedOver) {
    const std::string reclaim = "reclaimExtentsSizeForMDCTables=\"512\"";
    const std::string pages = "numInxPseudoEmptyPagesForVolatileTables=\"40\"";
    const CarryOver cases[] = {
        {"nothing to carry", reorgDocument(""), "TableReorgPolicy", "", {}},
        {"reclaim size of the old policy", reorgDocument(reclaim), "TableReorgPolicy", "", {reclaim}},
        {"pages of the old policy", reorgDocument(pages), "TableReorgPolicy", "", {pages}},
        {"both", reorgDocument(reclaim + " " + pages), "TableReorgPolicy", "", {reclaim, pages}},
        {"the old value wins over a new one",
         reorgDocument(reclaim),
         "TableReorgPolicy",
         "reclaimExtentsSizeForMDCTables='7'",
         {reclaim}},
        {"a new value without an old one is lost",
         reorgDocument(""),
         "TableReorgPolicy",
         "reclaimExtentsSizeForMDCTables='7'",
         {""}},
        {"new pages without old ones are lost",
         reorgDocument(reclaim),
         "TableReorgPolicy",
         "numInxPseudoEmptyPagesForVolatileTables='7'",
         {reclaim}},
        {"a filter with the label's text",
         reorgDocument("", std::string(reclaimLabel) + "9 KB"),
         "TableReorgPolicy",
         "",
         {}},
        {"a filter like a description",
         reorgDocument("", "Reorganization options: " + std::string(reclaimLabel) + "9 KB"),
         "TableReorgPolicy",
         "",
         {}},
        {"the last label counts",
         reorgDocument(reclaim, "Reorganization options: " + std::string(reclaimLabel) + "9 KB"),
         "TableReorgPolicy",
         "",
         {reclaim}},
    };
    for (const CarryOver& carry : cases) {
        SCOPED_TRACE(carry.what);
        services::store(SQLPI_REORG_KEY, carry.stored);
        const std::string given = reorgDocument(carry.given);
        ASSERT_EQ(install({"U", SQLPI_REORG_KEY.med, SQLPI_REORG_KEY.decision, carry.name, {}, given}), done);
        const std::string after = *stored(SQLPI_REORG_KEY);
        if (carry.kept.empty()) {
            EXPECT_EQ(after, given);
            continue;
        }
        for (const std::string& kept : carry.kept) EXPECT_NE(after.find(kept), std::string::npos) << after;
        EXPECT_NE(after.find("policyElementId=\"FinanceTablesReorg\""), std::string::npos) << after;
        for (const std::string attribute : {"reclaimExtents", "numInxPseudo"}) {
            const bool isKept = std::any_of(carry.kept.begin(), carry.kept.end(), [&](const std::string& kept) {
                return kept.find(attribute) != std::string::npos;
            });
            EXPECT_EQ(after.find(attribute) != std::string::npos, isKept) << attribute << "\n" << after;
        }
    }
}

TEST_F(PolicyInstall, AnyReplacementIsFollowedByTheReorgPolicyWhileThatHasTheSettings) {
    services::store(SQLPI_REORG_KEY, reorgDocument("reclaimExtentsSizeForMDCTables='512'"));
    ASSERT_EQ(install({"U", SQLPI_BACKUP_KEY.med, SQLPI_BACKUP_KEY.decision, SQLPI_BACKUP_KEY.name, {}, "x"}), done);
    const std::string after = *stored(SQLPI_BACKUP_KEY);
    EXPECT_NE(after.find("<kel:TableReorg "), std::string::npos) << after;
    EXPECT_EQ(after.find("reclaimExtents"), std::string::npos);  // the old description was the backup policy's
    EXPECT_EQ(*stored(SQLPI_REORG_KEY), reorgDocument("reclaimExtentsSizeForMDCTables='512'"));
}

TEST_F(PolicyInstall, AReorgPolicyThatDoesNotFitIsNotCarriedCut) {
    services::store(SQLPI_REORG_KEY, reorgDocument("reclaimExtentsSizeForMDCTables='512'", std::string(3900, 'f')));
    const std::string given = reorgDocument("reclaimExtentsSizeForMDCTables='512'", std::string(3900, 'g'));
    const Outcome outcome =
        install({"U", SQLPI_REORG_KEY.med, SQLPI_REORG_KEY.decision, SQLPI_REORG_KEY.name, {}, given});
    EXPECT_EQ(outcome.status, -1);
    EXPECT_EQ(outcome.sqlstate, "58004");
    EXPECT_NE(outcome.message, "");
    EXPECT_EQ(stored(SQLPI_REORG_KEY), given);
}

TEST_F(PolicyInstall, ACarryOverThatFailsIsTold) {
    services::store(SQLPI_REORG_KEY, reorgDocument("reclaimExtentsSizeForMDCTables='512'"));
    const std::string given = reorgDocument("");
    const faulty::Scope scope;
    faulty::failCall(Service::SQLExecute, 2);
    const Outcome outcome =
        install({"U", SQLPI_REORG_KEY.med, SQLPI_REORG_KEY.decision, SQLPI_REORG_KEY.name, {}, given});
    EXPECT_EQ(outcome.status, -1);
    EXPECT_EQ(outcome.sqlstate, "58004");
    EXPECT_EQ(stored(SQLPI_REORG_KEY), given);
    EXPECT_EQ(recordsOf(kelhost::LogKind::administration).size(), 1u);
}

TEST_F(PolicyInstall, TheCallerDecidesOnTheUnitOfWork) {
    commit();
    ASSERT_EQ(install(ownCall("I", "x")), done);
    kelhost::EngineContext::current()->rollback();
    EXPECT_EQ(stored(ownKey), std::nullopt);
}

/* Whatever runs out: a failure is told, and the row is the old one, the new one, or the new one with what it carries
 * over. One that is done leaves the last, unless the description of the old one, which has no way to fail, was empty.
 */
TEST_F(PolicyInstall, EveryAllocationMayFail) {
    const std::string before = reorgDocument("reclaimExtentsSizeForMDCTables='512'");
    const std::string given = reorgDocument("");
    const Call call = {"U", SQLPI_REORG_KEY.med, SQLPI_REORG_KEY.decision, SQLPI_REORG_KEY.name, {}, given};
    services::store(SQLPI_REORG_KEY, before);
    ASSERT_EQ(install(call), done);
    const std::string carried = *stored(SQLPI_REORG_KEY);
    ASSERT_NE(carried, given);
    for (const auto duration : {faulty::Duration::once, faulty::Duration::forEver}) {
        int rounds = 0;
        int failed = 0;
        std::set<uint32_t> probes;
        for (uint64_t allocation = 1;; ++allocation, ++rounds) {
            SCOPED_TRACE(allocation);
            services::store(SQLPI_REORG_KEY, before);
            const int64_t blocks = kelhost::memoryTotal().blocks;
            faulty::reset();
            faulty::failCall(Service::anyMemory, allocation, duration);
            const Outcome outcome = install(call);
            const bool reached = faulty::failures(Service::any) > 0;
            faulty::reset();
            EXPECT_EQ(kelhost::memoryTotal().blocks, blocks) << kelhost::describeMemoryInUse();
            const std::string after = *stored(SQLPI_REORG_KEY);
            if (outcome.status == 0) {
                EXPECT_EQ(outcome, done);
                EXPECT_EQ(after, carried);
            } else {
                ++failed;
                EXPECT_EQ(outcome.sqlstate, "58004") << outcome;
                for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::diagnostic))
                    if (record.function == "kelPolicyInstallSpCommon") probes.insert(record.probe);
                EXPECT_TRUE(after == before || after == given) << after;
            }
            if (!reached || HasFailure()) break;
            clearLogs();
        }
        EXPECT_GT(rounds, 50) << "an update makes at least so many allocations";
        EXPECT_TRUE(probes.contains(30)) << "where memory is missing";
        EXPECT_GE(failed, 5) << "the descriptions, the document carried over, and what they are made of";
        RecordProperty(duration == faulty::Duration::once ? "failedOnce" : "failedForEver", failed);
        RecordProperty("rounds", rounds);
    }
}

}  // namespace
