// The contract of embedded SQL: packages are bound from a file, kept in the database, and run from there.
#include <functional>
#include <thread>

#include "host/hostFixture.h"
#include "host/packageClient.h"
#include "messages.h"

namespace {

using hosttest::bytesIn;
using hosttest::Client;
using hosttest::cursorSection;
using hosttest::dynamicSection;
using hosttest::numberIn;
using hosttest::PackageClient;
using hosttest::statementSection;
using hosttest::stateOf;
using hosttest::textIn;
using hosttest::tokensOf;

constexpr const char* insertRow =
    "INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES ('M', 'D', ?, CURRENT TIMESTAMP, ?)";

/* A database with the policy table, and a package bound in it. */
class Package : public hosttest::ContextTest {
protected:
    Package() {
        Client client;
        EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    }

    std::string bindDirectory() const { return instancePath() + "/bnd"; }

    void bind() {
        const sqlca ca = package.bind(bindDirectory());
        ASSERT_EQ(ca.sqlcode, 0) << tokensOf(ca);
    }

    static std::vector<std::string> rows(const std::string& query) {
        Client client;
        return client.rows(query);
    }
    static void run(const std::string& text) {
        Client client;
        EXPECT_EQ(client.run(text), SQL_SUCCESS) << text << ": " << tokensOf(client.ca());
    }

    const PackageClient package{"TESTPKG",
                                {
                                    cursorSection("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED = ? ORDER BY NAME", 1),
                                    statementSection(insertRow, 2),
                                    dynamicSection(),
                                    statementSection("DELETE FROM SYSTOOLS.POLICY WHERE NAME = ?", 1),
                                }};
};

TEST_F(Package, ACursorReadsTheRowsOfItsQuery) {
    bind();
    ASSERT_EQ(package.open(1, {textIn("KELTableMaintenanceMED")}).sqlcode, 0);
    EXPECT_EQ(package.fetchText(1), "StatsProfilePolicy");
    EXPECT_EQ(package.fetchText(1), "TableReorgPolicy");
    EXPECT_EQ(package.fetchText(1), "TableRunstatsPolicy");
    EXPECT_EQ(package.fetchText(1), "100");
    EXPECT_EQ(package.close(1).sqlcode, 0);
    for (int again = 0; again < 3; ++again) {
        ASSERT_EQ(package.open(1, {textIn("KELCommonMED")}).sqlcode, 0) << "with another value";
        EXPECT_EQ(package.fetchText(1), "CommonPolicy");
        EXPECT_EQ(package.close(1).sqlcode, 0);
    }
}

TEST_F(Package, AStatementChangesRowsAndTellsHowMany) {
    bind();
    const std::string document("<\0x/>", 5);
    sqlca ca = package.execute(2, {textIn("a"), bytesIn(document)});
    EXPECT_EQ(ca.sqlcode, 0) << tokensOf(ca);
    EXPECT_EQ(ca.sqlerrd[2], 1);
    EXPECT_EQ(std::string(ca.sqlcaid, 8), "SQLCA   ");
    Client client;
    EXPECT_EQ(client.document("a"), document);
    ca = package.execute(4, {textIn("none")});
    EXPECT_EQ(ca.sqlcode, 100);
    EXPECT_EQ(ca.sqlerrd[2], 0);
    EXPECT_EQ(stateOf(ca), "02000");
    ca = package.execute(2, {textIn("a"), bytesIn(document)});
    EXPECT_EQ(ca.sqlcode, -803);
    EXPECT_EQ(client.document("a"), document) << "the unit of work goes on after a failure";
}

TEST_F(Package, APreparedStatementRunsAsOftenAsItIsCalled) {
    bind();
    const std::string document(100'000, 'x');
    ASSERT_EQ(package.prepare(3, insertRow).sqlcode, 0);
    for (const char* name : {"a", "b"}) EXPECT_EQ(package.execute(3, {textIn(name), bytesIn(document)}).sqlcode, 0);
    ASSERT_EQ(
        package.prepare(3, "UPDATE SYSTOOLS.POLICY SET UPDATE_TIME=CURRENT TIMESTAMP, POLICY = ? WHERE MED = 'M' ")
            .sqlcode,
        0);
    const sqlca ca = package.execute(3, {bytesIn("new")});
    EXPECT_EQ(ca.sqlcode, 0);
    EXPECT_EQ(ca.sqlerrd[2], 2);
    Client client;
    EXPECT_EQ(client.document("b"), "new");
    EXPECT_EQ(package.execute(3).sqlcode, -313) << "a variable is missing";
    EXPECT_EQ(package.execute(3, {bytesIn("x"), bytesIn("y")}).sqlcode, -313) << "a variable too many";
    EXPECT_EQ(client.document("b"), "new");
}

TEST_F(Package, APreparedQueryIsReadThroughItsCursor) {
    bind();
    ASSERT_EQ(package.prepare(3, "SELECT NAME FROM SYSTOOLS.POLICY WHERE MED = ?").sqlcode, 0);
    ASSERT_EQ(package.open(3, {textIn("KELCommonMED")}).sqlcode, 0);
    EXPECT_EQ(package.fetchText(3), "CommonPolicy");
    EXPECT_EQ(package.fetchText(3), "100");
    EXPECT_EQ(package.close(3).sqlcode, 0);
    ASSERT_EQ(package.open(3, {textIn("KELDatabaseRecoveryMED")}).sqlcode, 0) << "without preparing it anew";
    EXPECT_EQ(package.fetchText(3), "DBBackupPolicy");
    EXPECT_EQ(package.close(3).sqlcode, 0);
    ASSERT_EQ(package.prepare(3, "UPDATE SYSTOOLS.POLICY SET NAME = 'changed' WHERE MED = 'KELCommonMED'").sqlcode, 0);
    EXPECT_EQ(package.open(3).sqlcode, -517) << "no query";
    EXPECT_EQ(rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE NAME = 'changed'").size(), 0U);
}

TEST_F(Package, WrongStatementsAreFoundWhenTheyArePrepared) {
    bind();
    EXPECT_EQ(package.prepare(3, "SELECT NAME FROM SYSTOOLS.ABSENT").sqlcode, -204);
    EXPECT_EQ(package.prepare(3, "SELECT ABSENT FROM SYSTOOLS.POLICY").sqlcode, -206);
    EXPECT_EQ(package.prepare(3, "UPDATE SYSTOOLS.ABSENT SET A = 1").sqlcode, -204);
    EXPECT_EQ(package.prepare(3, "SELEKT 1").sqlcode, -104);
    EXPECT_EQ(package.prepare(3, "COMMIT").sqlcode, -925);
    EXPECT_EQ(package.prepare(3, "").sqlcode, -104);
    EXPECT_EQ(package.execute(3).sqlcode, -518) << "none of them is prepared";
    EXPECT_EQ(rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U) << "the unit of work goes on";
}

TEST_F(Package, CallsInTheWrongOrderAreRefused) {
    bind();
    EXPECT_EQ(package.fetchText(1), "-501");
    EXPECT_EQ(package.close(1).sqlcode, -501);
    EXPECT_EQ(package.open(3).sqlcode, -514);
    EXPECT_EQ(package.execute(3).sqlcode, -518);
    ASSERT_EQ(package.open(1, {textIn("KELCommonMED")}).sqlcode, 0);
    EXPECT_EQ(package.open(1, {textIn("KELCommonMED")}).sqlcode, -502);
    EXPECT_EQ(package.fetchText(1), "CommonPolicy") << "the cursor stays open";
    EXPECT_EQ(package.close(1).sqlcode, 0);
    EXPECT_EQ(package.close(1).sqlcode, -501);
    EXPECT_EQ(package.open(1).sqlcode, -313) << "a variable is missing";
    ASSERT_EQ(package.prepare(3, "SELECT NAME FROM SYSTOOLS.POLICY").sqlcode, 0);
    ASSERT_EQ(package.open(3).sqlcode, 0);
    EXPECT_EQ(package.prepare(3, "SELECT 1").sqlcode, -519);
    EXPECT_EQ(package.execute(3).sqlcode, -519);
    EXPECT_EQ(package.fetch(3, {}).sqlcode, -313) << "no room for the column";
    EXPECT_EQ(package.close(3).sqlcode, 0);
    EXPECT_EQ(package.execute(1).sqlcode, -901) << "a cursor's section is not run";
    EXPECT_EQ(package.open(2).sqlcode, -901) << "a statement's section has no rows";
    EXPECT_EQ(package.prepare(1, "SELECT 1").sqlcode, -901);
    EXPECT_EQ(package.execute(0).sqlcode, -805);
    EXPECT_EQ(package.execute(99).sqlcode, -805);
    EXPECT_EQ(package.call(4711, 1).sqlcode, -171);
}

TEST_F(Package, ValuesLongerThanTheirRoomTellTheirLength) {
    bind();
    const std::string document(100'000, 'y');
    ASSERT_EQ(package.execute(2, {textIn("\xC3\xA4\xC3\xB6\xC3\xBC"), bytesIn(document)}).sqlcode, 0);
    ASSERT_EQ(package.prepare(3, "SELECT POLICY, NAME FROM SYSTOOLS.POLICY WHERE MED = 'M'").sqlcode, 0);
    for (const uint32_t room : {0U, 1U, 2U, 3U, 4U, 6U, 7U, 99'999U, 100'000U, 100'001U}) {
        SCOPED_TRACE(room);
        std::string bytes(room + 1, '#');
        std::string text(room + 1, '#');
        uint32_t byteLength = 0;
        uint32_t textLength = 0;
        ASSERT_EQ(package.open(3).sqlcode, 0);
        const sqlca ca = package.fetch(3, {{SQL_LONGVARBINARY, room, bytes.data(), &byteLength, nullptr},
                                           {SQL_VARCHAR, room, text.data(), &textLength, nullptr}});
        EXPECT_EQ(package.close(3).sqlcode, 0);
        EXPECT_EQ(ca.sqlcode, 0) << tokensOf(ca);
        EXPECT_EQ(stateOf(ca), room < document.size() ? "01004" : "00000");
        EXPECT_EQ(ca.sqlwarn[0], room < document.size() ? 'W' : ' ');
        EXPECT_EQ(byteLength, document.size());
        EXPECT_EQ(bytes.substr(0, std::min<size_t>(room, document.size())),
                  document.substr(0, std::min<size_t>(room, document.size())));
        EXPECT_EQ(bytes[room], '#') << "a byte too many";
        EXPECT_EQ(text[room], '#') << "a byte too many";
        EXPECT_EQ(textLength, 6U);
        if (room > 0) {
            EXPECT_EQ(std::string(text.c_str()),
                      std::string("\xC3\xA4\xC3\xB6\xC3\xBC").substr(0, std::min(6U, (room - 1) / 2 * 2)));
        }
    }
}

TEST_F(Package, ATextWithoutRoomTellsItsLengthAndWhetherItIsNull) {
    const PackageClient texts("TEXTS", {cursorSection("SELECT 'four', '', CAST(NULL AS VARCHAR(4))", 0, 3)});
    ASSERT_EQ(texts.bind(bindDirectory()).sqlcode, 0);
    uint32_t lengths[3] = {7, 7, 7};
    int16_t nulls[3] = {7, 7, 7};
    const auto column = [&](size_t i) { return sqlaVariable{SQL_VARCHAR, 0, nullptr, &lengths[i], &nulls[i]}; };
    ASSERT_EQ(texts.open(1).sqlcode, 0);
    const sqlca ca = texts.fetch(1, {column(0), column(1), column(2)});
    EXPECT_EQ(ca.sqlcode, 0) << tokensOf(ca);
    EXPECT_EQ(stateOf(ca), "01004");
    EXPECT_EQ(std::vector(lengths, lengths + 3), (std::vector<uint32_t>{4, 0, 0}));
    EXPECT_EQ(std::vector(nulls, nulls + 3), (std::vector<int16_t>{0, 0, -1}));
    EXPECT_EQ(texts.close(1).sqlcode, 0);
}

TEST_F(Package, NumbersAndNullValuesPassThroughTheirVariables) {
    context().administer("CREATE TABLE KELNUMBERS (A INTEGER, B VARCHAR(20))");
    const PackageClient numbers("NUMBERS", {statementSection("INSERT INTO KELNUMBERS (A, B) VALUES (?, ?)", 2),
                                            cursorSection("SELECT A, B FROM KELNUMBERS", 0, 2)});
    ASSERT_EQ(numbers.bind(bindDirectory()).sqlcode, 0);
    int32_t number = INT32_MIN;
    int16_t isNull = 0;
    const std::string text = "text";
    ASSERT_EQ(numbers.execute(1, {numberIn(number), textIn(text, &isNull)}).sqlcode, 0);
    ASSERT_EQ(numbers.open(2).sqlcode, 0);
    int32_t read = 0;
    char readText[20] = "?";
    int16_t numberNull = 7;
    int16_t textNull = 7;
    const std::vector<sqlaVariable> row = {{SQL_INTEGER, sizeof read, &read, nullptr, &numberNull},
                                           {SQL_VARCHAR, sizeof readText, readText, nullptr, &textNull}};
    ASSERT_EQ(numbers.fetch(2, row).sqlcode, 0);
    EXPECT_EQ(read, INT32_MIN);
    EXPECT_STREQ(readText, "text");
    EXPECT_EQ(numberNull, 0);
    EXPECT_EQ(textNull, 0);
    ASSERT_EQ(numbers.close(2).sqlcode, 0);

    run("DELETE FROM KELNUMBERS");
    isNull = -1;
    ASSERT_EQ(numbers.execute(1, {numberIn(number, &isNull), textIn(text, &isNull)}).sqlcode, 0);
    ASSERT_EQ(numbers.open(2).sqlcode, 0);
    ASSERT_EQ(numbers.fetch(2, row).sqlcode, 0);
    EXPECT_EQ(numberNull, -1);
    EXPECT_EQ(textNull, -1);
    EXPECT_EQ(read, 0);
    EXPECT_STREQ(readText, "");
    ASSERT_EQ(numbers.close(2).sqlcode, 0);
    for (const size_t without : {0U, 1U}) {
        std::vector<sqlaVariable> variables = row;
        variables[without].nullIndicator = nullptr;
        ASSERT_EQ(numbers.open(2).sqlcode, 0);
        EXPECT_EQ(numbers.fetch(2, variables).sqlcode, -305) << without;
        ASSERT_EQ(numbers.close(2).sqlcode, 0);
    }
    context().administer("DROP TABLE KELNUMBERS");
}

TEST_F(Package, WhatIsOpenOrPreparedEndsWithTheUnitOfWork) {
    bind();
    context().commit();
    for (const bool commits : {true, false}) {
        ASSERT_EQ(package.open(1, {textIn("KELCommonMED")}).sqlcode, 0);
        ASSERT_EQ(package.prepare(3, "SELECT NAME FROM SYSTOOLS.POLICY").sqlcode, 0);
        ASSERT_EQ(package.open(3).sqlcode, 0);
        commits ? context().commit() : context().rollback();
        EXPECT_EQ(package.fetchText(1), "-501") << commits;
        EXPECT_EQ(package.fetchText(3), "-501") << commits;
        EXPECT_EQ(package.open(3).sqlcode, -514) << commits;
    }
}

TEST_F(Package, ItsStatementsBelongToTheUnitOfWork) {
    bind();
    context().commit();
    ASSERT_EQ(package.execute(2, {textIn("a"), bytesIn("x")}).sqlcode, 0);
    context().rollback();
    EXPECT_EQ(rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED = 'M'").size(), 0U);
    ASSERT_EQ(package.execute(2, {textIn("a"), bytesIn("x")}).sqlcode, 0);
    context().commit();
    context().rollback();
    EXPECT_EQ(rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED = 'M'").size(), 1U);
}

TEST_F(Package, BindingBelongsToTheUnitOfWork) {
    context().commit();
    bind();
    EXPECT_EQ(package.open(1, {textIn("x")}).sqlcode, 0);
    context().rollback();
    EXPECT_EQ(package.open(1, {textIn("x")}).sqlcode, -805);
    bind();
    context().commit();
    context().rollback();
    EXPECT_EQ(package.open(1, {textIn("x")}).sqlcode, 0);
}

TEST_F(Package, APackageThatIsNotBoundIsNotFound) {
    for (const bool tableExists : {false, true}) {
        const sqlca ca = package.open(1, {textIn("x")});
        EXPECT_EQ(ca.sqlcode, -805) << tableExists;
        EXPECT_EQ(tokensOf(ca), "NULLID.TESTPKG");
        EXPECT_EQ(package.prepare(3, "SELECT 1").sqlcode, -805);
        EXPECT_EQ(package.execute(2).sqlcode, -805);
        EXPECT_EQ(PackageClient("O'Brien", {dynamicSection()}).prepare(1, "SELECT 1").sqlcode, -805);
        EXPECT_EQ(PackageClient("", {dynamicSection()}).prepare(1, "SELECT 1").sqlcode, -805);
        ASSERT_EQ(PackageClient("OTHER", {dynamicSection()}).bind(bindDirectory()).sqlcode, 0);
    }
}

TEST_F(Package, AProgramOfAnotherVersionIsToldSoUntilItsPackageIsBound) {
    bind();
    std::vector<kelhost::BindSection> sections = package.file().sections;
    sections[0].text = "SELECT DECISION FROM SYSTOOLS.POLICY WHERE MED = ?";
    const PackageClient newer("TESTPKG", sections);
    EXPECT_EQ(newer.open(1, {textIn("KELCommonMED")}).sqlcode, -818);
    EXPECT_EQ(newer.prepare(3, "SELECT 1").sqlcode, -818);
    EXPECT_EQ(package.open(1, {textIn("KELCommonMED")}).sqlcode, 0);
    EXPECT_EQ(package.fetchText(1), "CommonPolicy");
    ASSERT_EQ(newer.bind(bindDirectory()).sqlcode, 0);
    EXPECT_EQ(newer.open(1, {textIn("KELCommonMED")}).sqlcode, 0);
    EXPECT_EQ(newer.fetchText(1), "NOP") << "the bound statement runs";
    EXPECT_EQ(package.prepare(3, "SELECT 1").sqlcode, -818) << "the old program's package is gone";
    EXPECT_EQ(rows("SELECT NAME FROM SYSTOOLS.PACKAGE").size(), 1U);
}

TEST_F(Package, EveryByteOfTheTokenCounts) {
    bind();
    const kelhost::ConsistencyToken right = kelhost::consistencyTokenOf(package.file().sections);
    for (size_t byte = 0; byte < right.size(); ++byte) {
        kelhost::ConsistencyToken wrong = right;
        wrong[byte] = static_cast<char>(wrong[byte] ^ 0x01);
        EXPECT_EQ(PackageClient::callAs(package.id(wrong), SQLA_CALL_OPEN, 1, {textIn("x")}).sqlcode, -818) << byte;
    }
}

TEST_F(Package, WithoutTheGrantOnlyItsBinderMayRunIt) {
    ASSERT_EQ(package.bind(bindDirectory(), 0).sqlcode, 0);
    EXPECT_EQ(package.open(1, {textIn("x")}).sqlcode, 0) << "who bound it";
    EXPECT_EQ(package.close(1).sqlcode, 0);
    run("UPDATE SYSTOOLS.PACKAGE SET BINDER = 'somebody else'");
    for (const uint32_t section : {1U, 3U}) {
        const sqlca ca = section == 1 ? package.open(1, {textIn("x")}) : package.prepare(3, "SELECT 1");
        EXPECT_EQ(ca.sqlcode, -551) << section;
        EXPECT_EQ(stateOf(ca), "42501");
        EXPECT_NE(tokensOf(ca).find("NULLID.TESTPKG"), std::string::npos) << tokensOf(ca);
    }
    ASSERT_EQ(package.bind(bindDirectory(), 1).sqlcode, 0) << "binding repairs it";
    run("UPDATE SYSTOOLS.PACKAGE SET BINDER = 'somebody else'");
    EXPECT_EQ(package.open(1, {textIn("x")}).sqlcode, 0) << "granted to all";
}

TEST_F(Package, ARowThatIsDamagedIsNoPackage) {
    bind();
    Client client;
    ASSERT_EQ(SQLPrepare(client.stmt, hosttest::chars("UPDATE SYSTOOLS.PACKAGE SET CONTENT = ?"), SQL_NTS),
              SQL_SUCCESS);
    ASSERT_EQ(client.bindAndExecute("nonsense"), SQL_SUCCESS);
    EXPECT_EQ(package.open(1, {textIn("x")}).sqlcode, -805);
    bind();
    EXPECT_EQ(package.open(1, {textIn("x")}).sqlcode, 0);
}

TEST_F(Package, AFailingStatementLeavesTheUnitOfWorkUsable) {
    bind();
    ASSERT_EQ(package.execute(2, {textIn("a"), bytesIn("x")}).sqlcode, 0);
    EXPECT_EQ(package.execute(2, {textIn(std::string(200, 'n')), bytesIn("x")}).sqlcode, -433);
    EXPECT_EQ(package.prepare(3, "nonsense").sqlcode, -104);
    EXPECT_EQ(package.execute(2, {textIn("b"), bytesIn("x")}).sqlcode, 0);
    EXPECT_EQ(rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED = 'M'").size(), 2U);
}

TEST_F(Package, ArgumentsAreChecked) {
    bind();
    const sqlaProgramId id = package.id();
    sqlca ca;
    const auto failing = [&](const std::function<int32_t()>& step) {
        EXPECT_EQ(sqlastrt(&id, &ca), 0);
        EXPECT_EQ(step(), -1);
        const sqlca reported = ca;
        sqlacall(SQLA_CALL_OPEN, 1);
        EXPECT_EQ(std::memcmp(&reported, &ca, sizeof ca), 0) << "a statement that is not complete does not run";
        sqlastop();
        EXPECT_EQ(ca.sqlcode, -171);
        return tokensOf(ca);
    };
    sqlaVariable variables[2] = {textIn("a"), textIn("b")};
    EXPECT_EQ(failing([] { return sqlaaloc(3, 1); }), "1\xFFsqlaaloc");
    EXPECT_EQ(failing([] { return sqlaaloc(SQLA_INPUT, UINT32_MAX); }), "2\xFFsqlaaloc");
    EXPECT_EQ(failing([&] { return sqlasetdata(0, 0, 0, variables); }), "1\xFFsqlasetdata");
    EXPECT_EQ(failing([&] { return sqlasetdata(SQLA_INPUT, 1, 1, variables); }), "2\xFFsqlasetdata");
    EXPECT_EQ(failing([&] { return sqlasetdata(SQLA_INPUT, 0, 1, variables); }), "3\xFFsqlasetdata");
    EXPECT_EQ(failing([&] { return sqlaaloc(SQLA_OUTPUT, 2) + sqlasetdata(SQLA_OUTPUT, 1, UINT32_MAX, variables); }),
              "3\xFFsqlasetdata");
    variables[1].sqlType = SQL_DOUBLE;
    const auto failingWith = [&](const sqlaVariable* given) {
        return failing([&] { return sqlaaloc(SQLA_INPUT, 2) + sqlasetdata(SQLA_INPUT, 0, 2, given); });
    };
    EXPECT_EQ(failingWith(variables), "4\xFFsqlasetdata");
    EXPECT_EQ(failingWith(nullptr), "4\xFFsqlasetdata");
    int64_t number = 0;
    for (const uint32_t length : {0U, 3U, 5U, 8U}) {
        variables[1] = {SQL_INTEGER, length, &number, nullptr, nullptr};
        EXPECT_EQ(failingWith(variables), "4\xFFsqlasetdata") << "an int32_t has 4 bytes, not " << length;
    }
    for (const int16_t type : std::initializer_list<int16_t>{SQL_VARCHAR, SQL_LONGVARBINARY, SQL_INTEGER}) {
        variables[1] = {type, 4, nullptr, nullptr, nullptr};
        EXPECT_EQ(failingWith(variables), "4\xFFsqlasetdata") << "no data, type " << type;
    }

    sqlastop();
    sqlastop();
    sqlacall(SQLA_CALL_OPEN, 1);
    EXPECT_EQ(sqlaaloc(SQLA_INPUT, 1), -1) << "nothing is started";
    EXPECT_EQ(sqlastls(1, "x"), -1);
    EXPECT_EQ(sqlasetdata(SQLA_INPUT, 0, 0, variables), -1);
}

TEST_F(Package, VariablesMayBeHandedOverOneByOne) {
    bind();
    const sqlaProgramId id = package.id();
    const std::string one = "one";
    const sqlaVariable name = textIn(one);
    const std::string bytes = "by one";
    const sqlaVariable document = bytesIn(bytes);
    sqlca ca;
    ASSERT_EQ(sqlastrt(&id, &ca), 0);
    ASSERT_EQ(sqlaaloc(SQLA_INPUT, 2), 0);
    ASSERT_EQ(sqlasetdata(SQLA_INPUT, 1, 1, &document), 0);
    ASSERT_EQ(sqlasetdata(SQLA_INPUT, 0, 1, &name), 0);
    sqlacall(SQLA_CALL_EXECUTE, 2);
    EXPECT_EQ(ca.sqlcode, 0) << tokensOf(ca);
    sqlastop();
    Client client;
    EXPECT_EQ(client.document("one"), "by one");
}

TEST_F(Package, WithoutAnEngineContextNothingRuns) {
    std::thread([&] {
        const sqlaProgramId id = package.id();
        sqlca ca;
        EXPECT_EQ(sqlastrt(&id, &ca), -1);
        EXPECT_EQ(ca.sqlcode, -900);
        EXPECT_EQ(stateOf(ca), "08003");
        sqlacall(SQLA_CALL_OPEN, 1);
        sqlastop();
        EXPECT_EQ(package.bind(bindDirectory()).sqlcode, -900);
    }).join();
}

TEST_F(Package, ThreadsRunTheirStatementsSideBySide) {
    bind();
    context().commit();
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([this, number] {
            const auto own = makeContext();
            own->bind();
            for (int round = 0; round < 10; ++round) {
                const std::string name = std::to_string(number) + "." + std::to_string(round);
                EXPECT_EQ(package.execute(2, {textIn(name), bytesIn(name)}).sqlcode, 0);
                own->commit();
                EXPECT_EQ(package.open(1, {textIn("KELCommonMED")}).sqlcode, 0);
                EXPECT_EQ(package.fetchText(1), "CommonPolicy");
                EXPECT_EQ(package.close(1).sqlcode, 0);
                own->commit();
            }
            own->unbind();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED = 'M'").size(), 40U);
}

}  // namespace
