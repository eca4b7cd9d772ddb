// What a client's statement may try against the process, the files and the settings of the database, and what it may
// do.
#include <dlfcn.h>

#include "host/hostFixture.h"
#include "hostError.h"
#include "session.h"

namespace {

using hosttest::Client;
using hosttest::ContextTest;
using hosttest::isPostgres;
using hosttest::tokensOf;
using kelhost::EngineContext;
using kelhost::HostError;

bool isExtensionLoaded() {
    void* const library = ::dlopen(KELPOLICY_HOSTILE_EXTENSION, RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) ::dlclose(library);
    return library != nullptr;
}

/* '@' stands for the path of the extension. */
std::string withExtension(std::string text) {
    for (size_t at = text.find('@'); at != std::string::npos; at = text.find('@'))
        text.replace(at, 1, KELPOLICY_HOSTILE_EXTENSION);
    return text;
}

constexpr const char* notCalled = "42501";
constexpr const char* notTaken = "42601";
constexpr const char* noSuchTable = "42704";
constexpr const char* anyFailure = "";
constexpr const char* noHarm = "?"; /* it fails, or runs and does none: drivers read it in ways of their own */

struct HostileText {
    const char* text;
    const char* sqlite; /* the SQLSTATE of its failure; null: it runs, and does no harm */
    const char* postgres;
};

const HostileText hostileTexts[] = {
    // code
    {"SELECT load_extension('@')", notCalled, notCalled},
    {"SELECT LOAD_EXTENSION\t\n('@')", notCalled, notCalled},
    {"SELECT load_extension/**/('@')", notCalled, notCalled},
    {"SELECT load_extension -- (\n ('@')", notCalled, notCalled},
    {"SELECT \"load_extension\"('@')", notCalled, notCalled},
    {"SELECT \"Load_Extension\" /* */ ('@')", notCalled, notCalled},
    {"SELECT [load_extension]('@')", notCalled, notTaken},
    {"SELECT `load_extension`('@')", notCalled, anyFailure},
    {"SELECT 'load_extension'('@')", notCalled, notCalled},
    {"SELECT main.load_extension('@')", notCalled, notCalled},
    {"SELECT main.count('@')", notCalled, notCalled},
    {"SELECT \"in\"('@')", notCalled, notCalled},
    {"SELECT 1 AS load_extension('@')", notTaken, notTaken},
    {"SELECT 1 \"as\" load_extension('@')", notCalled, notCalled},
    {"SELECT 1, load_extension('@') AS x", notCalled, notCalled},
    {"SELECT (SELECT load_extension('@'))", notCalled, notCalled},
    {"SELECT COUNT(load_extension('@'))", notCalled, notCalled},
    {"SELECT {fn load_extension('@')}", notTaken, notTaken},
    {"SELECT 1 IN (load_extension('@'))", notCalled, notCalled},
    {"SELECT CASE WHEN load_extension('@') THEN 1 END", notCalled, notCalled},
    {"SELECT load_extension('@') OVER ()", notCalled, notCalled},
    {"SELECT SUM(1) FILTER (WHERE load_extension('@'))", notCalled, notCalled},
    {"VALUES (1), (load_extension('@'))", notCalled, notCalled},
    {"WITH x AS (SELECT load_extension('@')) SELECT 1 FROM x", notCalled, notCalled},
    {"WITH load_extension(a) AS (SELECT 1) SELECT load_extension('@')", notCalled, notCalled},
    {"WITH x(a) AS (SELECT 1), y(b) AS (SELECT 2) SELECT 1, load_extension('@')", notCalled, notCalled},
    {"WITH x(a) AS (SELECT 1), load_extension('@') AS (SELECT 2) SELECT 1", notCalled, notCalled},
    {"SELECT MAX(with, load_extension('@')) FROM (SELECT '1' AS with)", notCalled, notCalled},
    {"SELECT MAX(recursive, load_extension('@')) FROM (SELECT '1' AS recursive)", notCalled, notCalled},
    {"SELECT MAX(\"with\", load_extension('@')) FROM (SELECT '1' AS \"with\")", notCalled, notCalled},
    {"SELECT MAX(with load_extension('@'))", notCalled, notCalled},
    {"WITH x AS (SELECT 1) (SELECT '2' AS a) ORDER BY 1, load_extension('@')", notCalled, notCalled},
    {"SELECT 'a' UNION (WITH x AS (SELECT 1) (SELECT '2') ORDER BY 1, load_extension('@'))", notCalled, notCalled},
    {"WITH x AS (SELECT 1) TABLE x ORDER BY 1, load_extension('@')", notCalled, notCalled},
    {"SELECT 1 AS x(load_extension('@'))", notCalled, notCalled},
    {"INSERT INTO x(load_extension('@')) VALUES (1)", notCalled, notCalled},
    {"SELECT 1 FROM (WITH x(a) AS (SELECT 1) SELECT a FROM x) AS z, load_extension('@')", notCalled, notCalled},
    {"SELECT TIMESTAMP WITH TIME ZONE '2020-01-01 00:00:00Z', load_extension('@')", notCalled, notCalled},
    {"SELECT 1 EXPLAIN WITH, load_extension('@')", notCalled, notCalled},
    {"EXPLAIN SELECT load_extension('@')", notCalled, notCalled},
    {"INSERT INTO SYSTOOLS.POLICY (MED) VALUES (load_extension('@'))", notCalled, notCalled},
    {"INSERT INTO SYSTOOLS.POLICY (MED) SELECT load_extension('@')", notCalled, notCalled},
    {"INSERT INTO SYSTOOLS.POLICY (MED) VALUES ('a') RETURNING load_extension('@')", notCalled, notCalled},
    {"REPLACE INTO SYSTOOLS.POLICY (MED) VALUES (load_extension('@'))", notCalled, notCalled},
    {"UPDATE SYSTOOLS.POLICY SET MED = load_extension('@')", notCalled, notCalled},
    {"DELETE FROM SYSTOOLS.POLICY WHERE load_extension('@') = 1", notCalled, notCalled},
    {"SELECT MED FROM SYSTOOLS.POLICY ORDER BY load_extension('@')", notCalled, notCalled},
    {"SELECT MED, DECISION, NAME, POLICY FROM SYSTOOLS.POLICY WHERE NAME='' UNION SELECT "
     "'a','b',load_extension('@'),'' "
     "--' ",
     notCalled, notCalled},
    {"LOAD '@'", notTaken, notTaken},
    {"DO LANGUAGE plpgsql 'BEGIN PERFORM 1; END'", notTaken, notTaken},
    {"DO $$ BEGIN PERFORM 1; END $$", notTaken, notTaken},
    {"CREATE FUNCTION f() RETURNS int LANGUAGE c AS '@', 'f'", notTaken, notTaken},
    {"CREATE EXTENSION dblink", notTaken, notTaken},
    {"CREATE VIRTUAL TABLE v USING fts3(tokenize=simple)", notTaken, notTaken},
    {"CREATE VIEW v AS SELECT load_extension('@')", notTaken, notTaken},
    {"CREATE TRIGGER SYSTOOLS.t AFTER DELETE ON POLICY BEGIN SELECT load_extension('@'); END", notTaken, notTaken},
    {"SELECT fts3_tokenizer('simple', x'00')", notCalled, notCalled},
    // files
    {"SELECT blob_import('/etc/passwd')", notCalled, notCalled},
    {"SELECT blob_export('x', '@.exported')", notCalled, notCalled},
    {"SELECT readfile('/etc/passwd')", notCalled, notCalled},
    {"SELECT writefile('@.exported', 'x')", notCalled, notCalled},
    {"SELECT edit('x')", notCalled, notCalled},
    {"SELECT * FROM fsdir('/')", notCalled, notCalled},
    {"SELECT * FROM 'fsdir'('/')", notCalled, notCalled},
    {"ATTACH '@.attached' AS z", notTaken, notTaken},
    {"DETACH SYSTOOLS", notTaken, notTaken},
    {"VACUUM INTO '@.vacuum'", notTaken, notTaken},
    {"VACUUM", notTaken, notTaken},
    {"SELECT pg_read_file('/etc/passwd')", notCalled, notCalled},
    {"SELECT \"pg_read_file\"('/etc/passwd')", notCalled, notCalled},
    {"SELECT pg_catalog.pg_read_file('/etc/passwd')", notCalled, notCalled},
    {"SELECT U&\"\\0070g_read_file\"('/etc/passwd')", notCalled, notTaken},
    {"SELECT U&\"!0070g_read_file\" UESCAPE '!' ('/etc/passwd')", anyFailure, notTaken},
    {"SELECT pg_ls_dir('/')", notCalled, notCalled},
    {"SELECT lo_import('/etc/passwd')", notCalled, notCalled},
    {"SELECT lo_export(1, '/tmp/x')", notCalled, notCalled},
    {"SELECT 1 FROM SYSTOOLS.POLICY, lo_import('/etc/passwd') AS (a oid)", notCalled, notCalled},
    {"SELECT * FROM ROWS FROM (lo_import('/etc/passwd'))", notCalled, notCalled},
    {"SELECT * FROM SYSTOOLS.POLICY TABLESAMPLE pg_sleep(1)", notCalled, notCalled},
    {"SELECT 1 OPERATOR(pg_catalog.+) 1", notCalled, notCalled},
    {"SELECT * FROM dblink('dbname=postgres', 'SELECT 1') AS t(a int)", notCalled, notCalled},
    {"SELECT query_to_xml('SELECT 1', true, true, '')", notCalled, notCalled},
    {"SELECT * FROM pg_hba_file_rules", noSuchTable, notCalled},
    {"SELECT * FROM \"pg_hba_file_rules\"", noSuchTable, notCalled},
    {"SELECT * FROM U&\"\\0070g_hba_file_rules\"", anyFailure, notTaken},
    {"TABLE pg_hba_file_rules", notTaken, notTaken},
    {"COPY SYSTOOLS.POLICY TO PROGRAM 'cat'", notTaken, notTaken},
    {"COPY SYSTOOLS.POLICY FROM '/etc/passwd'", notTaken, notTaken},
    // settings, and the database's own tables
    {"PRAGMA writable_schema = 1", notTaken, notTaken},
    {"EXPLAIN PRAGMA trusted_schema = 1", notTaken, notTaken},
    {"SELECT * FROM pragma_database_list", notCalled, noSuchTable},
    {"SELECT * FROM main.pragma_database_list", notCalled, anyFailure},
    {"SELECT * FROM \"pragma_database_list\"", notCalled, noSuchTable},
    {"SELECT * FROM [pragma_database_list]", notCalled, notTaken},
    {"SELECT * FROM 'pragma_database_list'", notCalled, notTaken},
    {"SELECT * FROM pragma_table_info('POLICY')", notCalled, notCalled},
    {"UPDATE sqlite_dbpage SET data = ''", notCalled, noSuchTable},
    {"UPDATE OR IGNORE 'sqlite_dbpage' SET data = ''", notCalled, notTaken},
    {"DELETE FROM 'sqlite_master'", notCalled, notTaken},
    {"DELETE FROM SYSTOOLS.'sqlite_master'", notCalled, notTaken},
    {"INSERT INTO sqlite_schema (sql) VALUES ('')", notCalled, noSuchTable},
    {"SET standard_conforming_strings = off", notTaken, notTaken},
    {"RESET ALL", notTaken, notTaken},
    {"SHOW data_directory", notTaken, notTaken},
    {"SELECT set_config('standard_conforming_strings', 'off', false)", notCalled, notCalled},
    {"SELECT current_setting('data_directory')", notCalled, notCalled},
    {"UPDATE pg_settings SET setting = 'off' WHERE name = 'standard_conforming_strings'", noSuchTable, notCalled},
    {"UPDATE PG_CATALOG.\"pg_settings\" SET setting = 'off'", noSuchTable, notCalled},
    {"ALTER SYSTEM SET log_directory = '/tmp'", notTaken, notTaken},
    {"ALTER TABLE SYSTOOLS.POLICY RENAME TO OTHER", notTaken, notTaken},
    {"DROP TABLE SYSTOOLS.POLICY", notTaken, notTaken},
    {"SELECT 'a' UNION (WITH x AS (SELECT 1) (SELECT '2' AS a) ORDER BY 1, "
     "set_config('standard_conforming_strings', 'off', false))",
     notCalled, notCalled},
    {"CREATE TABLE c AS SELECT 1", notTaken, notTaken},
    {"SELECT * INTO c FROM SYSTOOLS.POLICY", notTaken, notTaken},
    {"SELECT 1 insert INTO c", notTaken, notTaken},
    {"WITH x AS (SELECT 1) SELECT * INTO c FROM x", notTaken, notTaken},
    {"REINDEX", notTaken, notTaken},
    {"SAVEPOINT KEL_STATEMENT", notTaken, notTaken},
    {"RELEASE KEL_STATEMENT", notTaken, notTaken},
    {"PREPARE p AS SELECT 1", notTaken, notTaken},
    {"EXECUTE p", notTaken, notTaken},
    {"CALL f()", notTaken, notTaken},
    {"{call f}", notTaken, notTaken},
    // what one database takes for quoted, and another for more statements
    {"SELECT MED FROM SYSTOOLS.POLICY WHERE NAME='' AND NAME=(ARRAY['x]'])[1]; DELETE FROM SYSTOOLS.POLICY; COMMIT "
     "--' ",
     anyFailure, notTaken},
    {"SELECT 1 ` 2; DELETE FROM SYSTOOLS.POLICY; COMMIT --`", noHarm, notTaken},
    {"SELECT E'\\'' ; DELETE FROM SYSTOOLS.POLICY; COMMIT --'", anyFailure, notTaken},
    {"SELECT e'a'\n'\\' ' || pg_read_file('x') --'", anyFailure, notTaken},
    {"SELECT U&'\\0027' ; DELETE FROM SYSTOOLS.POLICY; COMMIT --'", notTaken, notTaken},
    {"SELECT 1 --\r, pg_read_file('x')", nullptr, notCalled},
    {"SELECT 1 --\r; DELETE FROM SYSTOOLS.POLICY", nullptr, notTaken},
    {"SELECT 1 /* /* */ ' */ + pg_read_file('x') /* ' */", notTaken, notCalled},
    {"SELECT 1 /*/ + pg_read_file('x')", notTaken, notTaken},
    {"SELECT 1 /* /* */", nullptr, notTaken},
    {"SELECT 'a' = '\\'; DELETE FROM SYSTOOLS.POLICY; COMMIT --'", notTaken, notTaken},
    {"SELECT $x(';DELETE FROM SYSTOOLS.POLICY') ", notTaken, notTaken},
};

class HostileTextTest : public ContextTest {
protected:
    HostileTextTest() {
        Client client;
        EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS);
        context().commit();
    }
};

TEST_F(HostileTextTest, NoneReachesPastTheRows) {
    for (const HostileText& hostile : hostileTexts) {
        SCOPED_TRACE(hostile.text);
        const char* const expected = isPostgres() ? hostile.postgres : hostile.sqlite;
        {
            Client client;
            const SQLRETURN result = client.run(withExtension(hostile.text));
            if (expected != noHarm) {
                EXPECT_EQ(result, expected == nullptr ? SQL_SUCCESS : SQL_ERROR);
            }
            if (expected != nullptr && expected != anyFailure && expected != noHarm) {
                EXPECT_EQ(client.state(), expected) << tokensOf(client.ca());
            }
        }
        EXPECT_FALSE(isExtensionLoaded());
        for (const char* made : {".exported", ".attached", ".vacuum"})
            EXPECT_FALSE(std::filesystem::exists(KELPOLICY_HOSTILE_EXTENSION + std::string(made))) << made;
        context().rollback();
        Client client;
        EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
    }
}

// The driver would let a statement load it; SQLite's own interface lets not even the host's own.
TEST_F(HostileTextTest, TheExtensionIsOneThatCanBeLoaded) {
    if (isPostgres()) GTEST_SKIP() << "SQLite's";
    const bool isDriver = !hosttest::testConnection().empty();
    kelhost::Session& session = EngineContext::current()->session();
    const kelhost::Outcome loaded = session.database().run(withExtension("SELECT load_extension('@')"));
    EXPECT_NE(loaded.failed(), isDriver) << loaded.detail;
    EXPECT_EQ(isExtensionLoaded(), isDriver);
}

TEST_F(HostileTextTest, TheFunctionIsNamed) {
    Client client;
    EXPECT_EQ(client.run("SELECT \"load_extension\" /* */ ('x')"), SQL_ERROR);
    EXPECT_EQ(client.ca().sqlcode, -551);
    EXPECT_EQ(tokensOf(client.ca()), "function \"load_extension\" may not be called here");
    EXPECT_EQ(client.run("PRAGMA user_version"), SQL_ERROR);
    EXPECT_EQ(client.ca().sqlcode, -104);
    EXPECT_EQ(tokensOf(client.ca()), "\"PRAGMA\" begins no statement that may run here");
}

TEST_F(HostileTextTest, WhatOnlyReadsAndChangesRowsRuns) {
    const std::pair<const char*, std::vector<std::string>> texts[] = {
        {"SELECT COUNT(*) FROM SYSTOOLS.POLICY", {"5"}},
        {"select count /* */ (*) from systools.policy", {"5"}},
        {"SELECT \"lower\"('A'), LOWER ('B')", {"a|b"}},
        {"SELECT MAX(LENGTH(NAME)), MIN(COALESCE(NAME, '')) FROM SYSTOOLS.POLICY", {"19|CommonPolicy"}},
        {"SELECT SUBSTR(NAME, 1, 2) FROM SYSTOOLS.POLICY WHERE UPPER(NAME) IN ('COMMONPOLICY', 'X')", {"Co"}},
        {"SELECT 1 WHERE (1 = 1 AND (2 = 2) OR NOT (3 = 3)) AND EXISTS (SELECT 1)", {"1"}},
        {"SELECT CASE WHEN (1 = 1) THEN (2) ELSE (3) END", {"2"}},
        {"SELECT CAST('ab' AS VARCHAR(10))", {"ab"}},
        {"WITH x AS (SELECT 1 AS a), y AS (SELECT 2 AS b) SELECT a, b FROM x, y", {"1|2"}},
        {"WITH x AS (WITH y AS (SELECT 3 AS a), z AS (SELECT 4 AS b) SELECT a, b FROM y, z), w AS (SELECT 5 AS c) "
         "SELECT a, b, c FROM x, w",
         {"3|4|5"}},
        {"WITH RECURSIVE x AS (SELECT 1 AS a UNION ALL SELECT a + 1 FROM x WHERE a < 3) SELECT MAX(a) FROM x", {"3"}},
        {"SELECT b.a FROM (SELECT 1 AS a) AS b JOIN (SELECT 1 AS a) AS c ON (b.a = c.a)", {"1"}},
        {"SELECT SUM(a) OVER (PARTITION BY (a) ORDER BY (a)) FROM (SELECT 7 AS a) AS t", {"7"}},
        {"SELECT COUNT(*) FILTER (WHERE NAME = 'CommonPolicy') FROM SYSTOOLS.POLICY", {"1"}},
        {"SELECT 'load_extension(1)', 'pg_x', 'sqlite_x', 'pragma_x' FROM (SELECT 1 AS one) AS t",
         {"load_extension(1)|pg_x|sqlite_x|pragma_x"}},
        {"SELECT NAME FROM SYSTOOLS.POLICY WHERE NAME IN ('pg_x', 'sqlite_x') OR NAME = 'pragma_x'", {}},
        {"SELECT 'a;b\\c''d;', '\\'", {"a;b\\c'd;|\\"}},
        {"SELECT 1 AS \"a;\\b\"", {"1"}},
    };
    Client client;
    for (const auto& [text, rows] : texts) EXPECT_EQ(client.rows(text), rows) << text;
    if (isPostgres()) {
        EXPECT_EQ(client.rows("VALUES (1), (2)"), (std::vector<std::string>{"1", "2"}));
        EXPECT_EQ(client.rows("SELECT 1 UNION (SELECT 1)"), std::vector<std::string>{"1"});
    }
    EXPECT_EQ(client.run("INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) SELECT 'M', DECISION, "
                         "NAME, UPDATE_TIME, POLICY FROM SYSTOOLS.POLICY"),
              SQL_SUCCESS)
        << tokensOf(client.ca());
    EXPECT_EQ(client.run("DELETE FROM SYSTOOLS.POLICY WHERE MED = 'M' AND NAME IN (SELECT NAME FROM SYSTOOLS.POLICY)"),
              SQL_SUCCESS)
        << tokensOf(client.ca());
    EXPECT_EQ(client.ca().sqlerrd[2], 5);
}

/* --- PostgreSQL, however it is configured ------------------------------------------------------------------------- */

class HostilePostgres : public HostileTextTest {
protected:
    void SetUp() override {
        if (!isPostgres()) GTEST_SKIP() << "PostgreSQL's";
    }
    std::string refusalOf(const std::string& settings) {
        try {
            const EngineContext other(kelhost::Instance::open(instancePath()),
                                      {.connection = hosttest::testConnection() + settings});
            return "it opens";
        } catch (const HostError& error) {
            EXPECT_EQ(error.sqlstate(), "08001");
            return error.what();
        }
    }
};

TEST_F(HostilePostgres, ABackslashIsACharacterWhateverTheDatabaseIsSetTo) {
    context().administer("ALTER DATABASE postgres SET standard_conforming_strings = off");
    context().administer("ALTER ROLE kel SET standard_conforming_strings = off");
    context().commit();
    const auto later = makeContext();
    context().unbind();
    later->bind();
    {
        Client client;
        EXPECT_EQ(client.run("DELETE FROM SYSTOOLS.POLICY WHERE MED = '\\'' OR 1=1 --' AND DECISION = 'NOP' "),
                  SQL_NO_DATA)
            << tokensOf(client.ca());
        EXPECT_EQ(client.rows("SELECT '\\''' || '\\'"), std::vector<std::string>{"\\'\\"});
        EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
    }
    later->rollback();
    {
        Client client;
        EXPECT_EQ(client.rows("SELECT '\\'"), std::vector<std::string>{"\\"}) << "it holds for the whole session";
    }
    later->unbind();
    context().bind();
    context().administer("ALTER DATABASE postgres RESET standard_conforming_strings");
    context().administer("ALTER ROLE kel RESET standard_conforming_strings");
    context().commit();
}

TEST_F(HostilePostgres, ASessionInWhichTheDatabaseDoesNotPrepareIsRefused) {
    EXPECT_EQ(refusalOf(";UseServerSidePrepare=1"), "it opens");
    EXPECT_EQ(refusalOf(""), "it opens");
    for (const char* settings : {";UseServerSidePrepare=0", ";useserversideprepare=0"}) {
        EXPECT_EQ(refusalOf(settings),
                  "the database session cannot be used: the connection string and its data source must leave "
                  "UseServerSidePrepare at 1 and UseDeclareFetch at 0")
            << settings;
    }
}

// The database itself counts the statements of what the host hands over: what the driver takes for one, it refuses.
TEST_F(HostilePostgres, EveryStatementIsPreparedByTheDatabase) {
    context().administer("CREATE TEMPORARY TABLE SEEN AS SELECT 1 AS A");
    for (const char* text :
         {"SELECT 1", "SELECT UPDATE_TIME FROM SYSTOOLS.POLICY WHERE UPDATE_TIME > CURRENT TIMESTAMP", "SELECT 'a;b'",
          "SELECT 1;"}) {
        Client client;
        ASSERT_EQ(client.run(text), SQL_SUCCESS) << text << ": " << tokensOf(client.ca());
        context().administer("DELETE FROM SEEN");
        context().administer("INSERT INTO SEEN SELECT 1 FROM pg_prepared_statements WHERE NOT from_sql");
        Client asking;
        EXPECT_NE(asking.rows("SELECT COUNT(*) FROM SEEN"), std::vector<std::string>{"0"}) << text;
    }
}

}  // namespace
