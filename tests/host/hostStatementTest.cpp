// The call-level contract: statements, their outcomes, values of every size, timestamps.
#include <algorithm>
#include <chrono>
#include <ctime>

#include "host/callLevelClient.h"
#include "host/hostFixture.h"

namespace {

using hosttest::chars;
using hosttest::Client;
using hosttest::ContextTest;
using hosttest::lowerCase;
using hosttest::tokensOf;

class HostStatement : public ContextTest {
protected:
    HostStatement() {
        Client client;
        EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS);
        EXPECT_EQ(client.run("DELETE FROM SYSTOOLS.POLICY"), SQL_SUCCESS);
        context().commit();
    }
};

TEST_F(HostStatement, FailuresAreNamed) {
    struct Case {
        const char* text;
        int32_t sqlcode;
        const char* state;
        const char* token;
    };
    Client client;
    ASSERT_EQ(client.insert("there", "<x/>"), SQL_SUCCESS);
    const std::string insert = "INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES ";
    const std::string duplicate = insert + "('M', 'D', 'there', CURRENT TIMESTAMP, 'x')";
    const std::string null = insert + "('M', NULL, 'n', CURRENT TIMESTAMP, 'x')";
    const std::string longKey = insert + "('" + std::string(129, 'k') + "', 'D', 'n', CURRENT TIMESTAMP, 'x')";
    const std::string longUmlauts =
        insert + "('" + std::string(127, 'k') + "\xC3\xA4', 'D', 'n', CURRENT TIMESTAMP, 'x')";
    const std::string noTimestamp = insert + "('M', 'D', 'n', 'some time', 'x')";
    for (const Case& failing :
         {Case{"SELEC", -104, "42601", "SELEC"}, Case{"SELECT 'open", -104, "42601", "no end"},
          Case{"SELECT 1 /* open", -104, "42601", "no end"}, Case{"", -104, "42601", "empty"},
          Case{" -- only a comment", -104, "42601", "empty"},
          Case{"SELECT X FROM SYSTOOLS.NOWHERE", -204, "42704", "SYSTOOLS.NOWHERE"},
          Case{"SELECT NOTHERE FROM SYSTOOLS.POLICY", -206, "42703", "NOTHERE"},
          Case{duplicate.c_str(), -803, "23505", "unique"}, Case{null.c_str(), -407, "23502", "decision"},
          Case{longKey.c_str(), -433, "22001", "too"}, Case{longUmlauts.c_str(), -433, "22001", "med"},
          Case{noTimestamp.c_str(), -180, "22007", "time"}}) {
        EXPECT_EQ(client.run(failing.text), SQL_ERROR) << failing.text;
        const sqlca ca = client.ca();
        EXPECT_EQ(ca.sqlcode, failing.sqlcode) << failing.text;
        EXPECT_EQ(client.state(), failing.state) << failing.text;
        EXPECT_NE(lowerCase(tokensOf(ca)).find(lowerCase(failing.token)), std::string::npos)
            << failing.text << ": " << tokensOf(ca);
        // Prepared, it fails at one of the two steps in the same way.
        client.newStatement();
        const SQLRETURN prepared = SQLPrepare(client.stmt, chars(failing.text), SQL_NTS);
        EXPECT_EQ(prepared == SQL_SUCCESS ? SQLExecute(client.stmt) : prepared, SQL_ERROR) << failing.text;
        EXPECT_EQ(client.ca().sqlcode, failing.sqlcode) << failing.text;
        EXPECT_EQ(client.state(), failing.state) << failing.text;
    }
    EXPECT_EQ(client.document("there"), "<x/>") << "the unit of work is still usable";
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 1U);
}

TEST_F(HostStatement, AKeyOf128BytesFits) {
    Client client;
    for (const std::string& key : {std::string(128, 'k'), std::string(126, 'k') + "\xC3\xA4"}) {
        EXPECT_EQ(client.insert(key, "<x/>"), SQL_SUCCESS) << tokensOf(client.ca());
        EXPECT_EQ(client.document(key), "<x/>");
    }
}

TEST_F(HostStatement, AFailingStatementChangesNothing) {
    Client client;
    ASSERT_EQ(client.insert("a", "<a/>"), SQL_SUCCESS);
    ASSERT_EQ(client.insert("b", "<b/>"), SQL_SUCCESS);
    ASSERT_EQ(client.insert("c", "<c/>"), SQL_SUCCESS);
    // The rows are changed one after the other; the third one fails.
    EXPECT_EQ(
        client.run("UPDATE SYSTOOLS.POLICY SET NAME = CASE NAME WHEN 'a' THEN 'x' WHEN 'b' THEN 'y' ELSE 'x' END"),
        SQL_ERROR);
    EXPECT_EQ(client.state(), "23505");
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY ORDER BY NAME"), (std::vector<std::string>{"a", "b", "c"}));
    ASSERT_EQ(client.insert("d", "<d/>"), SQL_SUCCESS);
    context().commit();
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 4U) << "what went before and after still counts";
}

TEST_F(HostStatement, MoreThanOneStatementIsRefusedAndNoneOfThemRuns) {
    Client client;
    ASSERT_EQ(client.insert("a", "<a/>"), SQL_SUCCESS);
    for (const char* text :
         {"DELETE FROM SYSTOOLS.POLICY; DELETE FROM SYSTOOLS.POLICY", "DELETE FROM SYSTOOLS.POLICY;x",
          "DELETE FROM SYSTOOLS.POLICY WHERE NAME='a'; --'\n DELETE FROM SYSTOOLS.POLICY",
          "DELETE FROM SYSTOOLS.POLICY /* ; */ ; /* ' */ SELECT 1",
          "DELETE FROM SYSTOOLS.POLICY WHERE NAME=''''; SELECT 1", "SELECT 1;;DELETE FROM SYSTOOLS.POLICY",
          "; ; SELECT 1 ; DELETE FROM SYSTOOLS.POLICY",
          "CALL SYSINSTALLOBJECTS('POLICY','V','',''); DELETE FROM SYSTOOLS.POLICY",
          "SELECT $$ ' $$ ; DELETE FROM SYSTOOLS.POLICY --'", "SELECT $a$ ' $a$ ; DELETE FROM SYSTOOLS.POLICY --'"}) {
        EXPECT_EQ(client.run(text), SQL_ERROR) << text;
        EXPECT_EQ(client.state(), "42601") << text;
        EXPECT_EQ(client.ca().sqlcode, -104) << text;
        EXPECT_EQ(client.document("a"), "<a/>") << text;
    }
    const std::string zero("SELECT 1\0; DELETE FROM SYSTOOLS.POLICY", 38);
    client.newStatement();
    EXPECT_EQ(SQLExecDirect(client.stmt, chars(zero), static_cast<SQLINTEGER>(zero.size())), SQL_ERROR);
    EXPECT_EQ(client.state(), "42601");
}

TEST_F(HostStatement, SemicolonsAndMarksInQuotesAndCommentsAreText) {
    Client client;
    for (const auto& [text, expected] :
         std::vector<std::pair<std::string, std::string>>{{"SELECT 'a;b'", "a;b"},
                                                          {"SELECT 'a''; --b'", "a'; --b"},
                                                          {"SELECT 1 AS \"x;y\"", "1"},
                                                          {"SELECT 1;", "1"},
                                                          {"SELECT 1 ; ; \n", "1"},
                                                          {"SELECT 1 -- the end; no more ? '", "1"},
                                                          {"SELECT /* ; ' \" */ 1 /* ; */", "1"},
                                                          {"/* first */ SELECT 2 -- ' \n", "2"},
                                                          {"SELECT '/* no comment */'", "/* no comment */"},
                                                          {"SELECT '-- no comment'", "-- no comment"},
                                                          {"SELECT 'CURRENT TIMESTAMP'", "CURRENT TIMESTAMP"},
                                                          {"SELECT '?', '{fn x}'", "?|{fn x}"},
                                                          {"\t\nSELECT\n3", "3"}}) {
        EXPECT_EQ(client.rows(text), std::vector<std::string>{expected}) << text;
    }
}

TEST_F(HostStatement, TextsMayBeGivenByLength) {
    Client client;
    const std::string text = "SELECT 1 AND THIS IS NO MORE SQL";
    EXPECT_EQ(SQLExecDirect(client.stmt, chars(text), 8), SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(client.stmt), SQL_SUCCESS);
    client.newStatement();
    EXPECT_EQ(SQLExecDirect(client.stmt, chars(text), -5), SQL_ERROR);
    EXPECT_EQ(client.state(), "HY009");
    EXPECT_EQ(SQLExecDirect(client.stmt, nullptr, SQL_NTS), SQL_ERROR);
    EXPECT_EQ(SQLPrepare(client.stmt, nullptr, SQL_NTS), SQL_ERROR);
    EXPECT_EQ(SQLExecute(client.stmt), SQL_ERROR);
    EXPECT_EQ(client.state(), "HY010");
}

TEST_F(HostStatement, AChangeOfNoRowsIsNoData) {
    Client client;
    EXPECT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET UPDATE_TIME=CURRENT TIMESTAMP WHERE NAME='none'"), SQL_NO_DATA);
    EXPECT_EQ(client.ca().sqlcode, 100);
    EXPECT_EQ(client.state(), "02000");
    EXPECT_EQ(client.run("DELETE FROM SYSTOOLS.POLICY WHERE NAME='none'"), SQL_NO_DATA);
    ASSERT_EQ(client.insert("a", "<a/>"), SQL_SUCCESS);
    ASSERT_EQ(client.insert("b", "<b/>"), SQL_SUCCESS);
    EXPECT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET DECISION='E'"), SQL_SUCCESS);
    EXPECT_EQ(client.ca().sqlcode, 0);
    EXPECT_EQ(client.ca().sqlerrd[2], 2);
    SQLLEN rows = 0;
    EXPECT_EQ(SQLRowCount(client.stmt, &rows), SQL_SUCCESS);
    EXPECT_EQ(rows, 2);
}

TEST_F(HostStatement, FetchingEndsWithNoData) {
    Client client;
    EXPECT_EQ(client.run("SELECT POLICY FROM SYSTOOLS.POLICY WHERE NAME='none' "), SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(client.stmt), SQL_NO_DATA);
    EXPECT_EQ(client.ca().sqlcode, 100);
    EXPECT_EQ(client.state(), "02000");
}

TEST_F(HostStatement, CallsOutOfOrderAreRefused) {
    Client client;
    char buffer[8] = "";
    SQLLEN length = 0;
    SQLSMALLINT columns = 0;
    EXPECT_EQ(SQLFetch(client.stmt), SQL_ERROR);
    EXPECT_EQ(client.state(), "24000");
    EXPECT_EQ(SQLGetData(client.stmt, 1, SQL_C_CHAR, buffer, sizeof buffer, &length), SQL_ERROR);
    EXPECT_EQ(SQLCloseCursor(client.stmt), SQL_ERROR);
    EXPECT_EQ(SQLNumResultCols(client.stmt, &columns), SQL_ERROR);
    EXPECT_EQ(client.state(), "HY010");
    ASSERT_EQ(SQLExecDirect(client.stmt, chars("SELECT 1"), SQL_NTS), SQL_SUCCESS);
    EXPECT_EQ(SQLExecDirect(client.stmt, chars("SELECT 2"), SQL_NTS), SQL_ERROR) << "the first result is still open";
    EXPECT_EQ(client.state(), "24000");
    EXPECT_EQ(SQLFetch(client.stmt), SQL_SUCCESS) << "and still readable";
    EXPECT_EQ(SQLCloseCursor(client.stmt), SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(client.stmt), SQL_ERROR);
    EXPECT_EQ(SQLExecDirect(client.stmt, chars("SELECT 2"), SQL_NTS), SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(client.stmt), SQL_SUCCESS);
    EXPECT_EQ(SQLGetData(client.stmt, 1, SQL_C_CHAR, buffer, sizeof buffer, &length), SQL_SUCCESS);
    EXPECT_STREQ(buffer, "2");
    EXPECT_EQ(SQLGetData(client.stmt, 2, SQL_C_CHAR, buffer, sizeof buffer, &length), SQL_ERROR) << "no such column";
}

TEST_F(HostStatement, ResultsDescribeThemselves) {
    Client client;
    ASSERT_EQ(client.run("SELECT MED, POLICY FROM SYSTOOLS.POLICY"), SQL_SUCCESS);
    SQLSMALLINT columns = 0;
    EXPECT_EQ(SQLNumResultCols(client.stmt, &columns), SQL_SUCCESS);
    EXPECT_EQ(columns, 2);
    SQLCHAR name[64] = "";
    SQLSMALLINT nameLength = 0;
    SQLSMALLINT type = 0;
    SQLSMALLINT decimals = 0;
    SQLSMALLINT nullable = 0;
    SQLULEN size = 0;
    EXPECT_EQ(SQLDescribeCol(client.stmt, 2, name, sizeof name, &nameLength, &type, &size, &decimals, &nullable),
              SQL_SUCCESS);
    EXPECT_EQ(lowerCase(reinterpret_cast<const char*>(name)), "policy");
    EXPECT_TRUE(type == SQL_BINARY || type == SQL_VARBINARY || type == SQL_LONGVARBINARY) << type;
}

TEST_F(HostStatement, DocumentsReadBackByteForByte) {
    Client client;
    std::string every;
    for (int i = 0; i < 256; ++i) every += static_cast<char>(i);
    std::string large(2097152, '\0');
    for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>((i * 2654435761U) >> 13U);
    int number = 0;
    for (const std::string& document :
         {std::string(), std::string(1, '\0'), std::string("x"), std::string("a\0b", 3), every, std::string(1700, 'p'),
          std::string("\xEF\xBB\xBF<x>\xC3\xA4</x>\r\n"), std::string("\xFF\xFE\x80"), large}) {
        const std::string name = "document" + std::to_string(++number);
        ASSERT_EQ(client.insert(name, document), SQL_SUCCESS) << name << ": " << tokensOf(client.ca());
        EXPECT_TRUE(client.document(name) == document) << name << " of " << document.size() << " bytes";
    }
    context().commit();
    EXPECT_TRUE(client.document("document" + std::to_string(number)) == large);
}

TEST_F(HostStatement, ADocumentOverTwoMegabytesIsRefused) {
    Client client;
    EXPECT_EQ(client.insert("a", std::string(2097153, 'x')), SQL_ERROR);
    EXPECT_EQ(client.state(), "22001");
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 0U);
}

TEST_F(HostStatement, ADocumentWrittenAsTextReadsBackTheSame) {
    Client client;
    ASSERT_EQ(client.run("INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) "
                         "VALUES ('M', 'D', 'text', CURRENT TIMESTAMP, '<x>''\xC3\xA4</x>')"),
              SQL_SUCCESS);
    EXPECT_EQ(client.document("text"), "<x>'\xC3\xA4</x>");
}

TEST_F(HostStatement, AValueMayBeReadInPieces) {
    Client client;
    ASSERT_EQ(client.insert("a", "0123456789"), SQL_SUCCESS);
    ASSERT_EQ(client.run("SELECT POLICY FROM SYSTOOLS.POLICY"), SQL_SUCCESS);
    ASSERT_EQ(SQLFetch(client.stmt), SQL_SUCCESS);
    char piece[4] = "";
    SQLLEN length = 0;
    std::string whole;
    SQLRETURN result = SQL_SUCCESS_WITH_INFO;
    while (result == SQL_SUCCESS_WITH_INFO) {
        result = SQLGetData(client.stmt, 1, SQL_C_BINARY, piece, sizeof piece, &length);
        if (result == SQL_SUCCESS_WITH_INFO) {
            EXPECT_EQ(client.state(), "01004");
        }
        whole.append(piece, static_cast<size_t>(std::min<SQLLEN>(length, sizeof piece)));
    }
    EXPECT_EQ(result, SQL_SUCCESS);
    EXPECT_EQ(whole, "0123456789");
}

TEST_F(HostStatement, ANullDocumentIsRefused) {
    Client client;
    client.newStatement();
    ASSERT_EQ(
        SQLPrepare(client.stmt,
                   chars("INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES ('M', 'D', "
                         "'n', CURRENT TIMESTAMP, ?)"),
                   SQL_NTS),
        SQL_SUCCESS);
    SQLLEN null = SQL_NULL_DATA;
    ASSERT_EQ(SQLBindParameter(client.stmt, 1, SQL_PARAM_INPUT, SQL_C_BINARY, SQL_LONGVARBINARY, 2097152, 0, nullptr, 0,
                               &null),
              SQL_SUCCESS);
    EXPECT_EQ(SQLExecute(client.stmt), SQL_ERROR);
    EXPECT_EQ(client.state(), "23502");
    EXPECT_EQ(client.ca().sqlcode, -407);
}

TEST_F(HostStatement, APreparedStatementRunsAgainWithNewValuesAndANewTimestamp) {
    Client client;
    ASSERT_EQ(client.insert("a", "first"), SQL_SUCCESS);
    client.newStatement();
    ASSERT_EQ(
        SQLPrepare(client.stmt,
                   chars("UPDATE SYSTOOLS.POLICY SET UPDATE_TIME=CURRENT TIMESTAMP, POLICY = ? WHERE MED = 'M' AND "
                         "DECISION = 'D' AND NAME = 'a' "),
                   SQL_NTS),
        SQL_SUCCESS);
    std::vector<std::string> times;
    for (const std::string& document : {std::string("second"), std::string(), std::string("third\0x", 7)}) {
        ASSERT_EQ(client.bindAndExecute(document), SQL_SUCCESS) << tokensOf(client.ca());
        Client reader;
        EXPECT_EQ(reader.document("a"), document);
        times.push_back(reader.rows("SELECT UPDATE_TIME FROM SYSTOOLS.POLICY").at(0));
    }
    EXPECT_LT(times[0], times[1]);
    EXPECT_LT(times[1], times[2]);
}

std::string localTime(std::time_t moment) {
    char text[27] = "";
    tm local{};
    ::localtime_r(&moment, &local);
    std::strftime(text, sizeof text, "%Y-%m-%d-%H.%M.%S.000000", &local);
    return text;
}

TEST_F(HostStatement, CurrentTimestampIsTheLocalTime) {
    using Clock = std::chrono::system_clock;  // std::time may lag behind it by a tick
    Client client;
    const std::string before = localTime(Clock::to_time_t(Clock::now()));
    ASSERT_EQ(client.insert("a", "x"), SQL_SUCCESS);
    const std::string after = localTime(Clock::to_time_t(Clock::now()) + 1);
    const auto count = [&](const std::string& condition) {
        return client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE " + condition).size();
    };
    EXPECT_EQ(count("UPDATE_TIME > '" + before + "' "), 1U);
    EXPECT_EQ(count("UPDATE_TIME > '" + after + "' "), 0U);
    EXPECT_EQ(count("UPDATE_TIME <= CURRENT TIMESTAMP"), 1U);
    EXPECT_EQ(count("UPDATE_TIME <= current  \n timestamp"), 1U);
    EXPECT_EQ(count("UPDATE_TIME <= CURRENT /* ; */ TIMESTAMP"), 1U);
    EXPECT_EQ(count("UPDATE_TIME <= CURRENT_TIMESTAMP"), 1U);
}

TEST_F(HostStatement, TimestampsAreExactToTheMicrosecond) {
    Client client;
    ASSERT_EQ(client.run("INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) "
                         "VALUES ('M', 'D', 'a', '2024-02-29-23.59.59.999999', 'x')"),
              SQL_SUCCESS);
    const auto count = [&](const std::string& condition) {
        return client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE " + condition).size();
    };
    EXPECT_EQ(count("UPDATE_TIME = '2024-02-29-23.59.59.999999'"), 1U);
    EXPECT_EQ(count("UPDATE_TIME > '2024-02-29-23.59.59.999998'"), 1U);
    EXPECT_EQ(count("UPDATE_TIME > '2024-02-29-23.59.59.999999'"), 0U);
    EXPECT_EQ(count("UPDATE_TIME < '2024-03-01-00.00.00.000000'"), 1U);
}

TEST_F(HostStatement, AKeyThatLooksLikeATimestampIsAText) {
    Client client;
    const std::string key = "2024-02-29-23.59.59.999999";
    const std::string time = "2025-01-01-00.00.00.000001";
    ASSERT_EQ(client.insert(key, "<x/>"), SQL_SUCCESS);
    ASSERT_EQ(client.run("INSERT INTO SYSTOOLS.POLICY (UPDATE_TIME, POLICY, NAME, MED, DECISION) VALUES ('" + time +
                         "', 'x', '" + key + "', 'other', '" + key + "')"),
              SQL_SUCCESS)
        << tokensOf(client.ca());
    ASSERT_EQ(client.run("INSERT INTO SYSTOOLS.POLICY VALUES ('third', 'D', '" + key + "', '" + time + "', 'x')"),
              SQL_SUCCESS)
        << tokensOf(client.ca());
    const auto count = [&](const std::string& condition) {
        return client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE " + condition).size();
    };
    EXPECT_EQ(count("NAME = '" + key + "'"), 3U);
    EXPECT_EQ(count("NAME IN ('x', '" + key + "')"), 3U);
    EXPECT_EQ(count("NAME LIKE '" + key + "'"), 3U);
    EXPECT_EQ(count("DECISION = '" + key + "' AND UPDATE_TIME = '" + time + "'"), 1U);
    EXPECT_EQ(count("UPDATE_TIME = '" + time + "' AND NAME >= '" + key + "'"), 2U);
}

TEST_F(HostStatement, ATableThatChangesIsSeenByTheNextRead) {
    Client client;
    ASSERT_EQ(client.insert("a", "<a/>"), SQL_SUCCESS);
    context().commit();
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(client.document("a"), "<a/>");
        context().administer("DROP TABLE SYSTOOLS.POLICY");
        EXPECT_EQ(client.run("SELECT POLICY FROM SYSTOOLS.POLICY WHERE MED='M' AND DECISION='D' AND NAME='a' "),
                  SQL_ERROR);
        EXPECT_EQ(client.state(), "42704");
        context().rollback();
    }
    EXPECT_EQ(client.document("a"), "<a/>");
}

class HostFileParameter : public HostStatement {
protected:
    SQLRETURN insertFile(Client& client, const std::string& file, SQLSMALLINT maximum = 2048,
                         SQLUINTEGER options = SQL_FILE_READ, SQLINTEGER* indicator = nullptr) {
        client.newStatement();
        EXPECT_EQ(
            SQLPrepare(client.stmt,
                       chars("INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES ('M', "
                             "'D', 'file', CURRENT TIMESTAMP, ?) "),
                       SQL_NTS),
            SQL_SUCCESS);
        auto length = static_cast<SQLSMALLINT>(file.size());
        EXPECT_EQ(
            SQLBindFileToParam(client.stmt, 1, SQL_LONGVARBINARY, chars(file), &length, &options, maximum, indicator),
            SQL_SUCCESS);
        return SQLExecute(client.stmt);
    }
    void writeFile(const std::string& name, const std::string& content) const {
        std::ofstream(instancePath() + "/" + name, std::ios::binary) << content;
    }
};

TEST_F(HostFileParameter, AFileUnderTheInstanceDirectoryBecomesTheValue) {
    Client client;
    std::string large(2097152, '\0');
    for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 7);
    std::filesystem::create_directories(instancePath() + "/tmp/sub");
    for (const std::string& content : {std::string("<x>\0</x>", 8), std::string(), large}) {
        writeFile("tmp/sub/p.xml", content);
        for (const std::string& name :
             {std::string("tmp/sub/p.xml"), instancePath() + "/tmp/sub/p.xml", std::string("./tmp//sub/./p.xml")}) {
            ASSERT_EQ(insertFile(client, name), SQL_SUCCESS) << name << ": " << tokensOf(client.ca());
            EXPECT_TRUE(client.document("file") == content) << name << " of " << content.size() << " bytes";
            context().rollback();
        }
    }
}

TEST_F(HostFileParameter, AnythingElseIsAnErrorOfTheStatement) {
    Client client;
    writeFile("tmp/p.xml", "<x/>");
    writeFile("tmp/large.xml", std::string(2097153, 'x'));
    writeFile("../outside.xml", "secret");
    std::filesystem::create_symlink(instancePath() + "/tmp/p.xml", instancePath() + "/tmp/link.xml");
    std::filesystem::create_directory_symlink(instancePath() + "/tmp", instancePath() + "/linked");
    ASSERT_EQ(::mkfifo((instancePath() + "/tmp/pipe").c_str(), 0600), 0);
    for (const std::string& name :
         {std::string("tmp/missing.xml"), std::string("tmp"), std::string("tmp/large.xml"),
          std::string("../outside.xml"), instancePath() + "/../outside.xml", instancePath() + "/tmp/../../outside.xml",
          std::string("/etc/passwd"), std::string("tmp/link.xml"), std::string("linked/p.xml"), std::string("tmp/pipe"),
          std::string(""), instancePath(), instancePath() + "suffix/p.xml", std::string("tmp/p.xml\0x", 11),
          std::string("tmp/p.xml/below")}) {
        EXPECT_EQ(insertFile(client, name), SQL_ERROR) << name;
        EXPECT_EQ(client.state(), "58030") << name;
        EXPECT_LT(client.ca().sqlcode, 0) << name;
    }
    EXPECT_EQ(insertFile(client, "tmp/p.xml", 5), SQL_ERROR) << "the name is longer than announced";
    EXPECT_EQ(insertFile(client, "tmp/p.xml", 9), SQL_SUCCESS);
    context().rollback();
    EXPECT_EQ(insertFile(client, "tmp/p.xml", 2048, 8), SQL_ERROR) << "not the option to read";
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 0U);
}

TEST_F(HostFileParameter, TheIndicatorMayMakeItNull) {
    Client client;
    writeFile("tmp/p.xml", "<x/>");
    SQLINTEGER null = SQL_NULL_DATA;
    EXPECT_EQ(insertFile(client, "tmp/p.xml", 2048, SQL_FILE_READ, &null), SQL_ERROR);
    EXPECT_EQ(client.state(), "23502");
    SQLINTEGER present = 0;
    EXPECT_EQ(insertFile(client, "tmp/p.xml", 2048, SQL_FILE_READ, &present), SQL_SUCCESS);
}

TEST_F(HostFileParameter, ALaterBindingReplacesTheFile) {
    Client client;
    EXPECT_EQ(SQLBindFileToParam(client.stmt, 1, SQL_LONGVARBINARY, nullptr, nullptr, nullptr, 1, nullptr), SQL_ERROR)
        << "nothing was prepared";
    EXPECT_EQ(client.state(), "HY010");
    EXPECT_EQ(insertFile(client, "tmp/missing.xml"), SQL_ERROR);
    EXPECT_EQ(client.bindAndExecute("<value/>"), SQL_SUCCESS) << tokensOf(client.ca());
    EXPECT_EQ(client.document("file"), "<value/>");
}

}  // namespace
