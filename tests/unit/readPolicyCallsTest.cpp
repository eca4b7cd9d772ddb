/* Policy table reader: every call that it makes on its engine, in order, with its arguments. The linker hands these
 * calls to this file, which writes them down and passes them on to the real host, or answers as planned. */
#include <algorithm>

#include "sqlpiApplReadPolicyTable.h"
#include "unit/recordedCalls.h"
#include "unit/servicesSupport.h"

namespace {

using recorded::present;
using recorded::record;
using recorded::recorder;

std::map<std::string, SQLLEN> lengths; /* what length SQLGetData tells instead */

constexpr const char* readerTag = "sqlpiApplReadPolicyTable";

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
WRAP(SQLRETURN, SQLFetch, (SQLHSTMT statement)) {
    return record("fetch", [&] { return __real_SQLFetch(statement); });
}
WRAP(SQLRETURN, SQLGetData,
     (SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT type, SQLPOINTER value, SQLLEN size, SQLLEN* length)) {
    const std::string call =
        "data " + std::to_string(column) + " " + std::to_string(type) + present(value) + std::to_string(size);
    const SQLRETURN status =
        record(call, [&] { return __real_SQLGetData(statement, column, type, value, size, length); });
    if (recorder.isOn && lengths.contains(call)) *length = lengths.at(call);
    return status;
}
WRAP(void*, sqlogmblkEx, (SQLO_MEM_POOL * pool, size_t size, const char* tag, uint32_t line)) {
    if (recorder.isOn && std::strcmp(tag, readerTag) == 0) {
        EXPECT_EQ(pool, nullptr);
        recorder.calls.push_back("take " + std::to_string(size));
        if (recorder.plan.contains(recorder.calls.back())) return nullptr;
    }
    return __real_sqlogmblkEx(pool, size, tag, line);
}
WRAP(void, sqlofmblkEx, (void* block, const char* tag, uint32_t line)) {
    if (recorder.isOn && std::strcmp(tag, readerTag) == 0) recorder.calls.push_back("give back");
    __real_sqlofmblkEx(block, tag, line);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

const std::string environment = "allocate 1 -";
const std::string connection = "allocate 2 +";
const std::string connect = "connect --3 --3 --3";
const std::string statement = "allocate 3 +";
const std::string verify = "run -3 CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','V','','')";
const std::string create = "run -3 CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','C','','')";
const std::string query =
    "run -3 SELECT POLICY FROM SYSTOOLS.POLICY WHERE MED='KELDatabaseRecoveryMED' AND DECISION='DBBackupDecision' "
    "AND NAME='DBBackupPolicy' ";
const std::string fetch = "fetch";
const std::string probe = "data 1 -2 +0";
const std::string take = "take 6";
const std::string data = "data 1 -2 +6";
const std::string giveBack = "give back";
const std::string freeStatement = "free 3";
const std::string disconnect = "disconnect";
const std::string freeConnection = "free 2";
const std::string freeEnvironment = "free 1";

struct Case {
    const char* name;
    std::map<std::string, SQLRETURN> plan;
    int32_t status;
    Calls calls;
};

class ReaderCalls : public services::EngineTest {
protected:
    ReaderCalls() { services::store(SQLPI_BACKUP_KEY, "backup"); }
    ~ReaderCalls() override {
        recorder = {};
        lengths.clear();
    }

    /* Reads as the recorder says; the status and the document. */
    static std::pair<int32_t, std::string> read() {
        char* buffer = nullptr;
        int32_t length = -1;
        const int32_t status =
            sqlpiGetPolicy("KELDatabaseRecoveryMED", SQLPI_KEY_KIND, "DBBackupDecision", SQLPI_KEY_KIND,
                           "DBBackupPolicy", SQLPI_KEY_KIND, &buffer, &length, nullptr);
        recorder.isOn = false;
        EXPECT_EQ(buffer != nullptr, status == 0);
        const std::string document(buffer == nullptr ? "" : buffer, static_cast<size_t>(length));
        sqlofmblkEx(buffer, "test", 0);
        return {status, document};
    }
};

TEST_F(ReaderCalls, areReleasedInReverseOrder) {
    const Calls connected = {environment, connection, connect, statement};
    const Calls selected = connected + Calls{verify, query};
    const Calls release = {freeStatement, disconnect, freeConnection, freeEnvironment};
    const std::string askAll = "sqlca + + +";
    for (const Case& one : std::vector<Case>{
             {"success", {}, 0, selected + Calls{fetch, probe, take, data} + release},
             {"no environment", {{environment, -1}}, -1, {environment, "sqlca - - -"}},
             {"no connection handle",
              {{connection, -2}},
              -2,
              {environment, connection, "sqlca + - -", freeEnvironment}},
             {"no connection",
              {{connect, -1}},
              -1,
              {environment, connection, connect, "sqlca + + -", freeConnection, freeEnvironment}},
             {"no statement handle",
              {{statement, -1}},
              -1,
              connected + Calls{"sqlca + + -", disconnect, freeConnection, freeEnvironment}},
             {"verify fails",
              {{verify, -1}},
              0,
              connected + Calls{verify, askAll, create, query, fetch, probe, take, data} + release},
             {"verify and create fail",
              {{verify, -1}, {create, -2}},
              0,
              connected + Calls{verify, askAll, create, askAll, query, fetch, probe, take, data} + release},
             {"query fails", {{query, -1}}, -1, selected + Calls{askAll} + release},
             {"no row", {{fetch, 100}}, 100, selected + Calls{fetch, askAll} + release},
             {"fetch fails", {{fetch, -1}}, -1, selected + Calls{fetch, askAll} + release},
             {"length probe fails", {{probe, -1}}, -1, selected + Calls{fetch, probe, askAll} + release},
             {"length probe without data", {{probe, 100}}, 100, selected + Calls{fetch, probe, askAll} + release},
             {"no memory", {{take, 0}}, -1, selected + Calls{fetch, probe, take, askAll} + release},
             {"data read fails",
              {{data, -1}},
              -1,
              selected + Calls{fetch, probe, take, data, askAll, giveBack} + release},
             {"data incomplete",
              {{data, 1}},
              1,
              selected + Calls{fetch, probe, take, data, askAll, giveBack} + release},
             {"success with information counts as success",
              {{environment, 1}, {connection, 1}, {connect, 1}, {statement, 1}, {verify, 1}, {query, 1}, {fetch, 1}},
              0,
              selected + Calls{fetch, probe, take, data} + release},
             {"create with information counts as success",
              {{verify, -1}, {create, 1}},
              0,
              connected + Calls{verify, askAll, create, query, fetch, probe, take, data} + release},
         }) {
        SCOPED_TRACE(one.name);
        recorder = {true, one.plan};
        const auto [status, document] = read();
        EXPECT_EQ(status, one.status);
        EXPECT_EQ(recorder.calls, one.calls);
        EXPECT_EQ(document, one.status == 0 ? "backup" : "");
        EXPECT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
    }
}

/* Lengths that no document has. */
TEST_F(ReaderCalls, areNotTrustedForTheirLengths) {
    for (const SQLLEN length : {SQLLEN{-1}, SQLLEN{-4}, SQLLEN{INT64_MIN}, SQLLEN{INT32_MAX} + 1, SQLLEN{INT64_MAX}}) {
        recorder = {true};
        lengths = {{probe, length}};
        EXPECT_EQ(read(), (std::pair<int32_t, std::string>(-1, ""))) << length;
        EXPECT_EQ(std::count(recorder.calls.begin(), recorder.calls.end(), "sqlca + + +"), 1) << length;
        EXPECT_EQ(std::count_if(recorder.calls.begin(), recorder.calls.end(),
                                [](const std::string& call) { return call.starts_with("take"); }),
                  0)
            << length;
    }
    for (const SQLLEN length : {SQLLEN{-1}, SQLLEN{7}, SQLLEN{INT64_MAX}}) {
        recorder = {true};
        lengths = {{data, length}};
        EXPECT_EQ(read(), (std::pair<int32_t, std::string>(-1, ""))) << length;
        EXPECT_EQ(recorder.calls.at(recorder.calls.size() - 5), giveBack) << length;
    }
    recorder = {true};
    lengths = {{data, 3}};
    EXPECT_EQ(read(), (std::pair<int32_t, std::string>(0, "bac"))) << "a document that has become shorter";
}

}  // namespace
