// What the ODBC host makes of drivers that fail, or say less than others.
#include "host/misbehavingDriver.h"

#include <dlfcn.h>

#include "host/hostFixture.h"
#include "host/packageClient.h"
#include "hostError.h"
#include "session.h"

namespace {

using hosttest::Client;
using hosttest::cursorSection;
using hosttest::Misbehaviour;
using hosttest::PackageClient;
using hosttest::TemporaryDirectory;
using hosttest::tokensOf;
using kelhost::EngineContext;
using kelhost::HostError;

Misbehaviour& driver() {
    static void* const library = ::dlopen(KELPOLICY_MISBEHAVING_DRIVER, RTLD_NOW | RTLD_LOCAL);
    static auto* const answer = reinterpret_cast<Misbehaviour& (*)()>(::dlsym(library, "misbehaviour"));
    return answer();
}

bool startsWith(const std::string& text, const char* beginning) {
    return text.rfind(beginning, 0) == 0;
}

/* Fails the next statement that begins so. */
void failNext(const std::string& beginning, const std::string& state) {
    driver().run = [beginning, state, done = false](const std::string& text) mutable {
        if (done || !startsWith(text, beginning.c_str())) return std::string();
        done = true;
        return state;
    };
}

class MisbehavingDriver : public ::testing::Test {
protected:
    MisbehavingDriver() { driver() = {}; }
    ~MisbehavingDriver() override { driver() = {}; }

    std::unique_ptr<EngineContext> open() const {
        return std::make_unique<EngineContext>(
            instance_, kelhost::DatabaseOptions{.connection = std::string("DRIVER=") + KELPOLICY_MISBEHAVING_DRIVER +
                                                              ";Database=" + directory_.file("kel.db")});
    }
    std::string bindDirectory() const { return instance_.bindFiles(); }

    /* Demands that nothing goes on but a rollback, and that it undoes all there is. */
    static void expectLost(EngineContext& context) {
        Client client;
        EXPECT_EQ(client.run("INSERT INTO T VALUES (2)"), SQL_ERROR);
        EXPECT_EQ(client.ca().sqlcode, -911) << tokensOf(client.ca());
        EXPECT_EQ(client.state(), "40001");
        EXPECT_THROW(context.commit(), HostError);
        context.rollback();
        EXPECT_EQ(client.rows("SELECT A FROM T").size(), 0U);
        EXPECT_EQ(client.run("INSERT INTO T VALUES (3)"), SQL_SUCCESS) << tokensOf(client.ca());
        context.commit();
        context.rollback();
        EXPECT_EQ(client.rows("SELECT A FROM T"), std::vector<std::string>{"3"});
        EXPECT_EQ(client.run("DELETE FROM T"), SQL_SUCCESS);
        context.commit();
    }
    static void makeTable(EngineContext& context) {
        context.administer("CREATE TABLE T (A INTEGER)");
        context.commit();
    }
    static void insertOne() {
        Client client;
        ASSERT_EQ(client.run("INSERT INTO T VALUES (1)"), SQL_SUCCESS) << tokensOf(client.ca());
    }

    const TemporaryDirectory directory_;
    const kelhost::Instance instance_ = kelhost::Instance::create(directory_.path() / "instance");
};

/* --- passwords ---------------------------------------------------------------------------------------------------- */

TEST_F(MisbehavingDriver, ADriverThatRepeatsTheConnectionStringTellsNoPassword) {
    const std::string connection = std::string("DRIVER=") + KELPOLICY_MISBEHAVING_DRIVER +
                                   ";Database=" + directory_.file("kel.db") + ";UID=kel;PWD={s3;cret}";
    for (const std::string refusal : {"cannot use: ", "wrong password s3;cret: ", "x://kel:s3;cret@host: "}) {
        driver().refusal = refusal;
        try {
            const EngineContext context(instance_, {.connection = connection});
            ADD_FAILURE() << "connected";
        } catch (const HostError& error) {
            EXPECT_NE(std::string(error.what()).find("UID=kel;PWD=***"), std::string::npos) << error.what();
            EXPECT_EQ(std::string(error.what()).find("cret"), std::string::npos) << error.what();
            EXPECT_EQ(error.sqlstate(), "08001");
        }
    }
}

/* --- the unit of work --------------------------------------------------------------------------------------------- */

// "?": the driver does not say why it fails.
TEST_F(MisbehavingDriver, AnEndThatFailsLeavesAUnitOfWorkThatIsLost) {
    const auto context = open();
    const EngineContext::Scope bound(*context);
    makeTable(*context);
    for (const std::string state : {"HY000", "?"}) {
        for (const bool commits : {true, false}) {
            SCOPED_TRACE(state + (commits ? "commit" : "rollback"));
            insertOne();
            failNext(commits ? "COMMIT" : "ROLLBACK", state);
            EXPECT_THROW(commits ? context->commit() : context->rollback(), HostError);
            expectLost(*context);
        }
    }
}

TEST_F(MisbehavingDriver, AFailureWithoutAReasonIsOne) {
    const auto context = open();
    const EngineContext::Scope bound(*context);
    makeTable(*context);
    failNext("INSERT", "?");
    Client client;
    EXPECT_EQ(client.run("INSERT INTO T VALUES (1)"), SQL_ERROR);
    EXPECT_EQ(client.ca().sqlcode, -99999);
    EXPECT_EQ(client.state(), "HY000");
}

TEST_F(MisbehavingDriver, WhatIsPerhapsStillOpenIsRolledBack) {
    const auto context = open();
    const EngineContext::Scope bound(*context);
    makeTable(*context);
    insertOne();
    driver().run = [](const std::string& text) {  // neither the statement nor the question what is left works
        return text == "BEGIN" || startsWith(text, "INSERT") ? "HY000" : "";
    };
    Client client;
    EXPECT_EQ(client.run("INSERT INTO T VALUES (1)"), SQL_ERROR);
    driver().run = nullptr;
    expectLost(*context);
}

TEST_F(MisbehavingDriver, AnExceptionEndsAStatementAsAFailureDoes) {
    const auto context = open();
    const EngineContext::Scope bound(*context);
    makeTable(*context);
    insertOne();
    kelhost::Session& session = context->session();
    const auto work = [&]() -> kelhost::Outcome {
        session.database().run("ROLLBACK");
        throw std::bad_alloc();
    };
    EXPECT_THROW(session.unit().asStatement(kelhost::SqlKind::change, work), std::bad_alloc);
    expectLost(*context);
}

/* --- what it tells ------------------------------------------------------------------------------------------------ */

TEST_F(MisbehavingDriver, ASystemWithoutADialectIsRefusedByName) {
    for (const char* system : {"MariaDB", "MySQL", "Other", "sqlite", "PostgreSQL 15"}) {
        driver().databaseSystem = system;
        try {
            open();
            ADD_FAILURE() << system;
        } catch (const HostError& refused) {
            EXPECT_EQ(refused.what(), "the database system \"" + std::string(system) +
                                          "\" is not supported: SQLite and PostgreSQL are");
            EXPECT_EQ(refused.sqlstate(), "08001");
        }
    }
}

TEST_F(MisbehavingDriver, AValueWithoutALengthIsAnErrorAndNotAnEmptyOne) {
    const auto context = open();
    const EngineContext::Scope bound(*context);
    const PackageClient package("P", {cursorSection("SELECT 'text'", 0)});
    ASSERT_EQ(package.bind(bindDirectory()).sqlcode, 0);
    ASSERT_EQ(package.open(1).sqlcode, 0);
    char room[10] = "";
    uint32_t length = 0;
    driver().tellsNoLength = true;
    for (const int16_t type : std::initializer_list<int16_t>{SQL_VARCHAR, SQL_LONGVARBINARY}) {
        for (const uint32_t size : {0U, 2U, 10U}) {
            const sqlca ca = package.fetch(1, {{type, size, room, &length, nullptr}});
            EXPECT_EQ(ca.sqlcode, -901) << type << " " << size;
            EXPECT_EQ(tokensOf(ca), "the driver does not tell how long a value is");
            driver().tellsNoLength = false;
            EXPECT_EQ(package.close(1).sqlcode, 0);
            ASSERT_EQ(package.open(1).sqlcode, 0);
            driver().tellsNoLength = true;
        }
    }
    driver().tellsNoLength = false;
    EXPECT_EQ(package.close(1).sqlcode, 0);

    Client client;
    ASSERT_EQ(client.run("SELECT 'text'"), SQL_SUCCESS);
    ASSERT_EQ(SQLFetch(client.stmt), SQL_SUCCESS);
    driver().tellsNoLength = true;
    SQLLEN told = 0;
    EXPECT_EQ(SQLGetData(client.stmt, 1, SQL_C_BINARY, room, 0, &told), SQL_ERROR);
    EXPECT_EQ(client.state(), "58004");
}

// Its row is there when the binder's name is read, and gone when the statements are.
TEST_F(MisbehavingDriver, APackageThatGoesAwayWhileItIsReadIsNotFound) {
    const auto context = open();
    const EngineContext::Scope bound(*context);
    const PackageClient package("P", {cursorSection("SELECT 'text'", 0)});
    ASSERT_EQ(package.bind(bindDirectory()).sqlcode, 0);
    driver().fetch = [](const std::string& text) { return startsWith(text, "SELECT CONTENT") ? "02000" : ""; };
    const sqlca ca = package.open(1);
    EXPECT_EQ(ca.sqlcode, -805);
    EXPECT_EQ(tokensOf(ca), "NULLID.P");
    driver().fetch = nullptr;
    EXPECT_EQ(package.open(1).sqlcode, 0);
    EXPECT_EQ(package.close(1).sqlcode, 0);
}

}  // namespace
