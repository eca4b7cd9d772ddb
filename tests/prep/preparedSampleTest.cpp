// A prepared source does what its statements say, against a real database.
#include <cstring>
#include <fstream>

#include "bindFile.h"
#include "embeddedSql.h"
#include "host/callLevelClient.h"
#include "host/hostFixture.h"
#include "prep/sample.h"

namespace {

using hosttest::Client;
using kelhost::BindFile;
using kelhost::HostType;
using kelhost::SectionKind;

BindFile readSample() {
    BindFile file;
    std::string error;
    EXPECT_TRUE(kelhost::readBindFile(hosttest::readWhole(KELPREP_SAMPLE_BIND_FILE), file, error)) << error;
    return file;
}

TEST(SampleBindFile, holdsTheStatementsInTheOrderOfTheirFirstUse) {
    const BindFile file = readSample();
    EXPECT_EQ(file.collection, "NULLID");
    EXPECT_EQ(file.package, "SAMPLE");
    const std::vector<std::pair<SectionKind, std::string>> expected = {
        {SectionKind::statement, "INSERT INTO KELSAMPLE (NAME, AMOUNT, CONTENT) VALUES (?, ?, ?)"},
        {SectionKind::dynamic, ""},
        {SectionKind::cursor, "SELECT NAME, AMOUNT, CONTENT FROM KELSAMPLE WHERE NAME = ? AND 'it''s :no' <> ';'"},
        {SectionKind::dynamic, ""},
        {SectionKind::statement, "delete from KELSAMPLE"},
    };
    ASSERT_EQ(file.sections.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(file.sections[i].kind, expected[i].first) << i;
        EXPECT_EQ(file.sections[i].text, expected[i].second) << i;
    }
    using Shapes = std::vector<kelhost::BindVariable>;
    EXPECT_EQ(file.sections[0].inputs,
              (Shapes{{HostType::varchar, 21, false}, {HostType::integer, 0, true}, {HostType::blob, 0, true}}));
    EXPECT_EQ(file.sections[1].inputs, (Shapes{{HostType::integer, 0, false}}));
    EXPECT_EQ(file.sections[1].outputs, (Shapes{{HostType::varchar, 21, false}}));
    EXPECT_EQ(file.sections[2].inputs, (Shapes{{HostType::varchar, 0, false}}));
    EXPECT_EQ(file.sections[2].outputs,
              (Shapes{{HostType::varchar, 21, false}, {HostType::integer, 0, true}, {HostType::blob, 0, true}}));
    EXPECT_EQ(file.sections[3].inputs, (Shapes{{HostType::varchar, 0, false}}));
    EXPECT_EQ(file.sections[4].inputs, Shapes{});
}

TEST(SampleCode, keepsTheLinesOfItsSource) {
    EXPECT_EQ(lineOfThisFunction(), 16);
}

class Sample : public hosttest::ContextTest {
protected:
    Sample() {
        Client client;
        EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS);
        context().administer("CREATE TABLE KELSAMPLE (NAME VARCHAR(30), AMOUNT INTEGER, CONTENT BLOB)");
        const sqloptValue grant = {SQLA_BIND_GRANT, 1};
        const sqloptList options = {1, &grant};
        EXPECT_EQ(sqlabndx(KELPREP_SAMPLE_BIND_FILE, nullptr, &options, &ca), 0) << hosttest::tokensOf(ca);
    }

    sqlca ca = {};
};

TEST_F(Sample, runsItsStatements) {
    const char* longest = "123456789012345678901";  // fills its array: 21 bytes without a terminator
    EXPECT_EQ(insertRow("first", -7, "\0bytes", 6, false, ca), 31) << "the line behind the statement";
    EXPECT_EQ(insertRow(longest, 10, "", 0, false, ca), 31);
    EXPECT_EQ(insertRow("none", 0, "", 0, true, ca), 31);

    sampleRow row = {};
    ASSERT_EQ(readRow("first", row, ca), 0);
    EXPECT_STREQ(row.name, "first");
    EXPECT_EQ(row.amount, -7);
    EXPECT_FALSE(row.amountIsNull);
    EXPECT_FALSE(row.contentIsNull);
    EXPECT_EQ(std::string(row.content, row.contentLength), std::string("\0bytes", 6));

    ASSERT_EQ(readRow(longest, row, ca), 0);
    EXPECT_STREQ(row.name, "12345678901234567890") << "cut to the room and terminated";
    EXPECT_EQ(row.amount, 10);
    EXPECT_EQ(row.contentLength, 0U);

    ASSERT_EQ(readRow("none", row, ca), 0);
    EXPECT_TRUE(row.amountIsNull);
    EXPECT_TRUE(row.contentIsNull);
    EXPECT_EQ(readRow("absent", row, ca), 100);

    EXPECT_EQ(countAbove(-100, ca), 2);
    EXPECT_EQ(countAbove(0, ca), 1);
    EXPECT_EQ(runText("DELETE FROM KELSAMPLE WHERE NAME = ?", "first", ca), 0);
    EXPECT_EQ(ca.sqlerrd[2], 1);
    EXPECT_EQ(runText("DELETE FROM KELSAMPLE WHERE NAME = ?", "first", ca), 100);
    EXPECT_EQ(runText("DELETE FROM KELABSENT WHERE NAME = ?", "first", ca), -204);
    EXPECT_EQ(runText(nullptr, "first", ca), -104);
    EXPECT_EQ(runText("DELETE FROM KELSAMPLE WHERE NAME = ?", nullptr, ca), 100) << "an empty text";
    EXPECT_EQ(deleteAll(ca), 0);
    EXPECT_EQ(ca.sqlerrd[2], 2);
    EXPECT_EQ(countAbove(-100, ca), 0);
}

TEST_F(Sample, tellsTheLengthOfWhatDoesNotFit) {
    ASSERT_EQ(insertRow("long", 1, "0123456789", 10, false, ca), 31);
    sampleRow row = {};
    ASSERT_EQ(readRow("long", row, ca), 0);
    EXPECT_EQ(row.contentLength, 10U);
    EXPECT_EQ(std::string(row.content, sizeof row.content), "01234567");
}

}  // namespace
