/* The administration entry points: every call that they make on their engine, in order, with its arguments. The linker
 * hands these calls to this file, which writes them down and passes them on. */
#include <algorithm>

#include "configuration/sqlpiPolicyGen.h"
#include "engineState.h"
#include "messages.h"
#include "sqlpiPolicySp.h"
#include "sqlpiStatsProfAppl.h"
#include "unit/configSupport.h"
#include "unit/recordedStatements.h"

namespace {

using recorded::present;
using recorded::record;
using recorded::recorder;
using recorded::recordWhole;

/* What the message service answers instead of the engine's text. */
struct Message {
    std::string text;
    int32_t result;
};
std::optional<Message> plannedMessage;

std::string clearness(const char* buffer, size_t size) {
    return std::all_of(buffer, buffer + size, [](char byte) { return byte == '\0'; }) ? "clear" : "not clear";
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
WRAP(SQLRETURN, SQLBindParameter,
     (SQLHSTMT statement, SQLUSMALLINT number, SQLSMALLINT direction, SQLSMALLINT cType, SQLSMALLINT sqlType,
      SQLULEN columnSize, SQLSMALLINT digits, SQLPOINTER value, SQLLEN room, SQLLEN* length)) {
    std::string call = "bind";
    for (const int64_t argument :
         std::initializer_list<int64_t>{number, direction, cType, sqlType, static_cast<int64_t>(columnSize), digits})
        call += " " + std::to_string(argument);
    call += " \"" + std::string(static_cast<char*>(value), static_cast<size_t>(*length)).substr(0, 20) + '"';
    return record(call, [&] {
        return __real_SQLBindParameter(statement, number, direction, cType, sqlType, columnSize, digits, value, room,
                                       length);
    });
}
WRAP(SQLRETURN, SQLBindFileToParam,
     (SQLHSTMT statement, SQLUSMALLINT number, SQLSMALLINT sqlType, SQLCHAR* name, SQLSMALLINT* length,
      SQLUINTEGER* options, SQLSMALLINT most, SQLINTEGER* indicator)) {
    std::string call = "bind file " + std::to_string(number) + " " + std::to_string(sqlType);
    call += recorded::textOf(name, *length) + " " + std::to_string(*options) + " " + std::to_string(most);
    return record(call + present(indicator), [&] {
        return __real_SQLBindFileToParam(statement, number, sqlType, name, length, options, most, indicator);
    });
}
WRAP(int32_t, sqlaintp_api, (char* buffer, size_t size, uint32_t lineWidth, const char* messageFile, const sqlca* ca)) {
    return recordWhole("message " + std::to_string(size) + " " + std::to_string(lineWidth) + " " + messageFile, [&] {
        if (!plannedMessage) return __real_sqlaintp_api(buffer, size, lineWidth, messageFile, ca);
        buffer[plannedMessage->text.copy(buffer, size - 1)] = '\0';
        return plannedMessage->result;
    });
}
WRAP(void, sqlt_logadmin,
     (uint32_t number, int32_t importance, const char* function, uint32_t probe, const char* text, size_t length)) {
    if (recorder.isOn) recorder.calls.push_back("report " + std::to_string(number));
    __real_sqlt_logadmin(number, importance, function, probe, text, length);
}
WRAP(void, ossOneTimeOnly, (void)) {
    if (recorder.isOn) recorder.calls.push_back("one time");
    __real_ossOneTimeOnly();
}
WRAP(uint32_t, sqpiGetPolicyFormatString, (char* buffer, int32_t size, const char* name)) {
    return recordWhole(
        "describe " + std::to_string(size) + " " + clearness(buffer, static_cast<size_t>(size)) + " " + name,
        [&] { return __real_sqpiGetPolicyFormatString(buffer, size, name); });
}
WRAP(int32_t, sqlpiGetReorg, (sqlpiReorgPolicy * policy, const time_t* lastRead, bool* changed)) {
    return recordWhole("reorg policy " + clearness(reinterpret_cast<char*>(policy), sizeof *policy) + present(lastRead),
                       [&] { return __real_sqlpiGetReorg(policy, lastRead, changed); });
}
WRAP(uint32_t, _Z27sqlpiGenerateOldReorgPolicyRK11reorgPolicyPc, (const reorgPolicy& record, char* document)) {
    return recordWhole("generate " + clearness(document, 9000),
                       [&] { return __real__Z27sqlpiGenerateOldReorgPolicyRK11reorgPolicyPc(record, document); });
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

struct Install {
    const char* action;
    const char* name = "N";
    const char* file = nullptr;
    std::string policy = "value";
};

class PolicySpCalls : public services::EngineTest {
protected:
    ~PolicySpCalls() override {
        recorder = {};
        plannedMessage.reset();
    }

    /* The plan replaces calls, by how they are written down. */
    static Calls callsOf(const Install& call, const std::map<std::string, SQLRETURN>& plan = {},
                         const kelPolicyInstallNulls& nulls = {}) {
        config::Lob lob(call.policy);
        recorder = {true, plan};
        status_ = kelPolicyInstallSp(call.action, "M", "D", call.name, call.file, lob.get(), &nulls, sqlstate_,
                                     message_, nullptr);
        recorder.isOn = false;
        return recorder.calls;
    }
    static Calls callsOfRetrieve(const char* med, const char* decision, const char* name,
                                 const std::map<std::string, SQLRETURN>& plan = {}) {
        recorder = {true, plan};
        sqlca ca;
        kelPolicyRetrieve(med, decision, name, nullptr, &ca);
        recorder.isOn = false;
        for (const SQLHSTMT result : kelhost::EngineContext::current()->openResults())
            SQLFreeHandle(SQL_HANDLE_STMT, result);
        return recorder.calls;
    }

    static inline int32_t status_;
    static inline char sqlstate_[SQLUDF_STATE_SIZE];
    static inline char message_[SQLUDF_MESSAGE_SIZE];
};

const Calls opened = {"allocate 1 -", "allocate 2 +", "attribute 102 0", "connect --3 --3 --3", "allocate 3 +"};
const Calls released = {"free 3", "disconnect", "free 2", "free 1"};
const std::string insertion =
    "prepare -3 INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES ('M', 'D', 'N', CURRENT "
    "TIMESTAMP, ?) ";
const std::string value = "bind 1 1 -2 -4 2097152 0 \"value\"";
const std::string message = "message 4097 0 kelsql.mo";
const int16_t null = SQLUDF_NULL;

std::string replacement(const std::string& name) {
    return "prepare -3 UPDATE SYSTOOLS.POLICY SET UPDATE_TIME=CURRENT TIMESTAMP, POLICY = ? WHERE MED = 'M' AND "
           "DECISION = "
           "'D' AND NAME = '" +
           name + "' ";
}

TEST_F(PolicySpCalls, anInsertionPreparesBindsAndExecutes) {
    EXPECT_EQ(callsOf({"I"}), (opened + Calls{insertion, value, "execute"} + released));
}

TEST_F(PolicySpCalls, aFileIsBoundByNameForReading) {
    const std::string file = instance().path() + "/tmp/policy.xml";
    config::writeWhole(file, "from the file");
    const std::string bound = "bind file 1 -4 " + std::to_string(file.size()) + " " + file + " 2 2048 -";
    EXPECT_EQ(callsOf({"I", "N", file.c_str()}), (opened + Calls{insertion, bound, "execute"} + released));
}

TEST_F(PolicySpCalls, aFileNameMayBeAsLongAsItsStatedSize) {
    std::vector<char> name(2048 + 1, 'f');  // the sanitizer sees a read behind it
    name.back() = '\0';
    const Calls calls = callsOf({"I", "N", name.data()});
    EXPECT_EQ(calls.at(6), "bind file 1 -4 2048 " + std::string(2048, 'f') + " 2 2048 -");
    EXPECT_STREQ(sqlstate_, "58004");
}

TEST_F(PolicySpCalls, aDeletionIsExecutedDirectly) {
    EXPECT_EQ(callsOf({"D"}),
              opened + Calls{"run -3 DELETE FROM SYSTOOLS.POLICY WHERE MED = 'M' AND DECISION = 'D' AND NAME = 'N' "} +
                  released);
}

TEST_F(PolicySpCalls, anUnknownActionOpensAndReleases) {
    EXPECT_EQ(callsOf({"X"}), opened + released);
    EXPECT_STREQ(sqlstate_, "56038");
    kelPolicyInstallNulls nulls = {};
    nulls.action = &null;
    EXPECT_EQ(callsOf({"I"}, {}, nulls), opened + released);
    EXPECT_STREQ(sqlstate_, "56038");
}

TEST_F(PolicySpCalls, aValueThatIsNullOrTooLongIsNotBound) {
    kelPolicyInstallNulls nulls = {};
    nulls.policy = &null;
    EXPECT_EQ(callsOf({"I"}, {}, nulls), (opened + Calls{insertion, message} + released));
    EXPECT_STREQ(sqlstate_, "58004");
    EXPECT_NE(std::string(message_), "");
    config::Lob lob;
    lob.get()->length = SQLUDF_LARGEST_LOB + 1;
    recorder = {true};
    EXPECT_EQ(kelPolicyInstallSp("I", "M", "D", "N", nullptr, lob.get(), nullptr, sqlstate_, message_, nullptr), -1);
    recorder.isOn = false;
    EXPECT_EQ(recorder.calls, (opened + Calls{insertion, message} + released));
    EXPECT_STREQ(sqlstate_, "58004");
}

TEST_F(PolicySpCalls, aReplacementIsDescribedBeforeAndAfterAndLooksForReorgSettings) {
    const Calls between = {replacement("DBBackupPolicy"),
                           value,
                           "describe 4095 clear DBBackupPolicy",
                           "execute",
                           "reorg policy clear -",
                           "describe 4095 clear DBBackupPolicy",
                           "report 10515"};
    EXPECT_EQ(callsOf({"U", "DBBackupPolicy"}), opened + between + released);
}

TEST_F(PolicySpCalls, reorgSettingsAreStoredThroughTheSameStatementAlsoAfterAFailure) {
    services::store(SQLPI_REORG_KEY, services::document("<kel:TableReorg reclaimExtentsSizeForMDCTables='512'/>"));
    const Calls before = {replacement("DBBackupPolicy"), value, "describe 4095 clear DBBackupPolicy", "execute"};
    const Calls between = {"reorg policy clear -", "generate clear",
                           "bind 1 1 -2 -4 2097152 0 \"<?xml version=\"1.0\" \"", "execute"};
    const Calls after = {"describe 4095 clear DBBackupPolicy", "report 10515"};
    EXPECT_EQ(callsOf({"U", "DBBackupPolicy"}), opened + before + between + after + released);
    // The first failure has told what there is to tell.
    const Calls told = {"sqlca + + +", message};
    const Calls untold = {"sqlca + + +"};
    EXPECT_EQ(callsOf({"U", "DBBackupPolicy"}, {{"execute", SQL_ERROR}}),
              opened + before + told + between + untold + after + released);
    EXPECT_EQ(status_, -1);
    EXPECT_STREQ(sqlstate_, "58004");
}

TEST_F(PolicySpCalls, whatReadsLikeReorgSettingsElsewhereCarriesNothing) {
    const std::string likeSettings = "Reorganization options: Reclaim Extents Size for MDC Tables: 9 KB";
    services::store(SQLPI_RUNSTATS_KEY, services::document("<Equals><kel:Sensors>Tables</kel:Sensors><Constant>" +
                                                           likeSettings + "</Constant></Equals>"));
    ASSERT_NE(services::describe("TableRunstatsPolicy").find(likeSettings), std::string::npos);
    for (const char* name : {"TableRunstatsPolicy", likeSettings.c_str()}) {
        const Calls calls = callsOf({"U", name});
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "execute"), 1) << name;
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "generate clear"), 0) << name;
    }
}

TEST_F(PolicySpCalls, aStepThatFailsIsReportedAndWhatWasTakenIsReleased) {
    struct Step {
        const char* action;
        std::string fails;
        Calls behind; /* with the failing call */
        const char* file = nullptr;
    };
    const std::string file = instance().path() + "/tmp/policy.xml";
    config::writeWhole(file, "from the file");
    const std::string bound = "bind file 1 -4 " + std::to_string(file.size()) + " " + file + " 2 2048 -";
    const std::string deletion =
        "run -3 DELETE FROM SYSTOOLS.POLICY WHERE MED = 'M' AND DECISION = 'D' AND NAME = 'N' ";
    const Step steps[] = {
        {"I", "allocate 1 -", {"allocate 1 -", "sqlca - - -", message}},
        {"I", "allocate 2 +", {"allocate 2 +", "sqlca + - -", message, "free 1"}},
        {"I", "attribute 102 0", {"attribute 102 0", "sqlca + + -", message, "free 2", "free 1"}},
        {"I", "connect --3 --3 --3", {"connect --3 --3 --3", "sqlca + + -", message, "free 2", "free 1"}},
        {"I", "allocate 3 +", {"allocate 3 +", "sqlca + + -", message, "disconnect", "free 2", "free 1"}},
        {"I", insertion, Calls{insertion, "sqlca + + +", message} + released},
        {"I", value, Calls{value, "sqlca + + +", message} + released},
        {"I", bound, Calls{bound, "sqlca + + +", message} + released, file.c_str()},
        {"I", "execute", Calls{"execute", "sqlca + + +", message} + released},
        {"D", deletion, Calls{deletion, "sqlca + + +", message} + released},
        {"U", replacement("N"), Calls{replacement("N"), "sqlca + + +", message} + released},
        {"U", value, Calls{value, "sqlca + + +", message} + released},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.fails);
        const Calls calls = callsOf({step.action, "N", step.file}, {{step.fails, SQL_ERROR}});
        EXPECT_EQ(Calls(std::find(calls.begin(), calls.end(), step.fails), calls.end()), step.behind);
        EXPECT_EQ(status_, -1);
        EXPECT_STREQ(sqlstate_, "58004");
        EXPECT_EQ(services::stored({"M", "D", "N"}), std::nullopt);
    }
}

TEST_F(PolicySpCalls, aWarningIsNoFailure) {
    for (const std::string& call : {opened[2], opened[3], insertion, value, std::string("execute")}) {
        callsOf({"I"}, {{call, SQL_SUCCESS_WITH_INFO}});
        EXPECT_EQ(status_, 0) << call;
        EXPECT_STREQ(sqlstate_, "00000") << call;
        EXPECT_EQ(services::stored({"M", "D", "N"}), "value") << call;
        services::remove({"M", "D", "N"});
    }
}

TEST_F(PolicySpCalls, theMessageIsTheBeginningOfTheEnginesText) {
    const std::string seventy = "KEL0001N  " + std::string(60, 'x');
    const struct {
        const char* what;
        Message engine;
        std::string told;
    } cases[] = {{"short", {"KEL0001N", 8}, "KEL0001N"},
                 {"just fits", {seventy, 70}, seventy},
                 {"longer", {seventy + "yz", 72}, seventy},
                 {"cut between characters", {seventy.substr(0, 69) + "\xC3\xA4", 71}, seventy.substr(0, 69)},
                 {"no text", {"rubbish", 0}, ""},
                 {"failed", {"rubbish", -1}, ""}};
    for (const auto& [what, engine, told] : cases) {
        plannedMessage = engine;
        std::memset(message_, '*', sizeof message_);
        callsOf({"I"}, {{"execute", SQL_ERROR}});
        EXPECT_EQ(message_, told) << what;
    }
}

const Calls openedToRetrieve = {"one time", "allocate 1 -", "allocate 2 +", "connect --3 --3 --3", "allocate 3 +"};
const std::string select = "run -3 SELECT MED, DECISION, NAME, POLICY FROM SYSTOOLS.POLICY ";

TEST_F(PolicySpCalls, aRetrievalAsksForTheGivenKeysAndLeavesItsStatement) {
    const struct {
        const char* med;
        const char* decision;
        const char* name;
        const char* where;
    } cases[] = {{"", "", "", ""},
                 {"M", "", "", "WHERE MED='M' "},
                 {"", "D", "", "WHERE DECISION='D' "},
                 {"", "", "N", "WHERE NAME='N' "},
                 {"M", "D", "", "WHERE MED='M' AND DECISION='D' "},
                 {"M", "", "N", "WHERE MED='M' AND NAME='N' "},
                 {"", "D", "N", "WHERE DECISION='D' AND NAME='N' "},
                 {"M", "D", "N", "WHERE MED='M' AND DECISION='D' AND NAME='N' "}};
    const Calls behind = {"disconnect", "free 2", "free 1"};
    for (const auto& [med, decision, name, where] : cases)
        EXPECT_EQ(callsOfRetrieve(med, decision, name), openedToRetrieve + Calls{select + where} + behind);
}

TEST_F(PolicySpCalls, aRetrievalThatFailsReportsAndReleases) {
    const std::pair<std::string, Calls> steps[] = {
        {"allocate 1 -", {"allocate 1 -", "sqlca - - -"}},
        {"allocate 2 +", {"allocate 2 +", "sqlca + - -", "free 1"}},
        {"connect --3 --3 --3", {"connect --3 --3 --3", "sqlca + + -", "free 2", "free 1"}},
        {"allocate 3 +", {"allocate 3 +", "sqlca + + -", "disconnect", "free 2", "free 1"}},
        {select, Calls{select, "sqlca + + +"} + released}};
    for (const auto& [fails, behind] : steps) {
        const Calls calls = callsOfRetrieve("", "", "", {{fails, SQL_ERROR}});
        EXPECT_EQ(Calls(std::find(calls.begin(), calls.end(), fails), calls.end()), behind) << fails;
    }
}

}  // namespace
