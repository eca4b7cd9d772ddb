// The contract of binding: what a bind file must be, what the binder answers, and what stays in the database.
#include <filesystem>
#include <fstream>
#include <thread>

#include "host/hostFixture.h"
#include "host/packageClient.h"

namespace {

namespace fs = std::filesystem;
using hosttest::Client;
using hosttest::cursorSection;
using hosttest::dynamicSection;
using hosttest::PackageClient;
using hosttest::statementSection;
using hosttest::stateOf;
using hosttest::textIn;
using hosttest::tokensOf;

const PackageClient& package() {
    static const PackageClient only("P", {cursorSection("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED = ?", 1)});
    return only;
}

class Binding : public hosttest::ContextTest {
protected:
    Binding() {
        Client client;
        EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    }

    std::string file(const std::string& name) const { return instancePath() + "/bnd/" + name; }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(file(name), std::ios::binary) << text;
    }

    struct Bound {
        int32_t result;
        sqlca ca;
        std::string messages;
    };
    Bound bind(const std::string& path, const std::vector<sqloptValue>& values = {}) const {
        const sqloptList options = {static_cast<uint32_t>(values.size()), values.data()};
        const std::string messages = file("messages");
        Bound bound{0, {}, ""};
        std::memset(&bound.ca, 0x2A, sizeof bound.ca);
        bound.result = sqlabndx(path.c_str(), messages.c_str(), &options, &bound.ca);
        EXPECT_EQ(bound.result, bound.ca.sqlcode);
        bound.messages = hosttest::readWhole(messages);
        // Messages make no difference.
        sqlca again;
        EXPECT_EQ(sqlabndx(path.c_str(), nullptr, &options, &again), bound.result);
        return bound;
    }
    static std::vector<std::string> rows(const std::string& query) {
        Client client;
        return client.rows(query);
    }
};

TEST_F(Binding, KeepsThePackageInTheDatabase) {
    write("p.bnd", kelhost::writeBindFile(package().file()));
    const Bound bound = bind(file("p.bnd"));
    EXPECT_EQ(bound.result, 0);
    EXPECT_EQ(stateOf(bound.ca), "00000");
    EXPECT_EQ(bound.messages, "The package NULLID.P was bound: 1 sections.\n");
    EXPECT_EQ(
        rows("SELECT COLLECTION, NAME, TOKEN, GRANTED FROM SYSTOOLS.PACKAGE"),
        std::vector{"NULLID|P|" + kelhost::tokenText(kelhost::consistencyTokenOf(package().file().sections)) + "|0"});
    EXPECT_NE(rows("SELECT BINDER FROM SYSTOOLS.PACKAGE").at(0), "");
    fs::remove(file("p.bnd"));
    EXPECT_EQ(package().open(1, {textIn("KELCommonMED")}).sqlcode, 0) << "the file is not needed any more";
    EXPECT_EQ(package().fetchText(1), "CommonPolicy");
}

TEST_F(Binding, TheLastOneCounts) {
    write("p.bnd", kelhost::writeBindFile(package().file()));
    for (const uint32_t grant : {1U, 0U, 1U}) {
        EXPECT_EQ(bind(file("p.bnd"), {{SQLA_BIND_GRANT, grant}}).result, 0);
        EXPECT_EQ(rows("SELECT GRANTED FROM SYSTOOLS.PACKAGE"), std::vector{std::to_string(grant)});
    }
}

TEST_F(Binding, RefusesWhatIsNoBindFile) {
    const std::string good = kelhost::writeBindFile(package().file());
    write("empty", "");
    write("other", "nonsense\n");
    write("damaged", std::string(good).replace(good.find("SELECT"), 6, "DELETE"));
    write("cut", good.substr(0, good.size() / 2));
    write("large", good + std::string(kelhost::mostBindFileBytes, '\n'));
    write("good", good);
    fs::create_directory(file("directory"));
    fs::create_symlink(file("good"), file("link"));
    for (const auto& [path, token] : std::vector<std::pair<std::string, std::string>>{
             {file("none.bnd"), "there is no bind file \"none.bnd\""},
             {file("none/p.bnd"), "there is no bind file \"p.bnd\""},
             {"", "there is no bind file \"\""},
             {file("empty"), "bind file \"empty\", line 1: it is no bind file of version 1"},
             {file("other"), "bind file \"other\", line 1: it is no bind file of version 1"},
             {file("damaged"), "bind file \"damaged\", the checksum is wrong"},
             {file("cut"), "bind file \"cut\", the checksum is wrong"},
             {file("large"), "the bind file is larger than 1 MB: \"large\""},
             {file("directory"), "the bind file is no regular file: \"directory\""},
             {file("link"), "the bind file is no regular file: \"link\""},
             {file(std::string(4096, 'x')), "the bind file is larger"},
         }) {
        const Bound bound = bind(path);
        EXPECT_EQ(bound.result, -902) << path;
        EXPECT_EQ(stateOf(bound.ca), "58030") << path;
        if (path.size() < 4096) {
            EXPECT_NE(tokensOf(bound.ca).find(token), std::string::npos) << tokensOf(bound.ca);
        }
        EXPECT_NE(bound.messages.find("Reading or writing failed: "), std::string::npos) << bound.messages;
        EXPECT_EQ(bound.messages.back(), '\n');
    }
    sqlca ca;
    EXPECT_EQ(sqlabndx(nullptr, nullptr, nullptr, &ca), -902);
    EXPECT_EQ(package().open(1, {textIn("x")}).sqlcode, -805) << "nothing was bound";
}

TEST_F(Binding, RefusesStatementsThatCannotBePrepared) {
    write("good.bnd", kelhost::writeBindFile(package().file()));
    ASSERT_EQ(bind(file("good.bnd")).result, 0);
    for (const auto& [section, sqlcode] : std::vector<std::pair<kelhost::BindSection, int32_t>>{
             {cursorSection("SELECT NAME FROM SYSTOOLS.ABSENT"), -204},
             {cursorSection("SELECT ABSENT FROM SYSTOOLS.POLICY"), -206},
             {statementSection("UPDATE SYSTOOLS.ABSENT SET A = 1"), -204},
             {statementSection("UPDATE SYSTOOLS.POLICY SET ABSENT = 1"), -206},
             {statementSection("DELETE FROM"), -104},
             {statementSection("nonsense"), -104},
             {statementSection("COMMIT"), -925},
             {statementSection("DELETE FROM SYSTOOLS.POLICY; DELETE FROM SYSTOOLS.POLICY"), -104},
             {statementSection("DELETE FROM SYSTOOLS.POLICY WHERE NAME = ?", 0), -313},
             {statementSection("DELETE FROM SYSTOOLS.POLICY WHERE NAME = ?", 2), -313},
         }) {
        kelhost::BindFile other = package().file();
        other.sections.push_back(section);
        write("bad.bnd", kelhost::writeBindFile(other));
        const Bound bound = bind(file("bad.bnd"), {{SQLA_BIND_GRANT, 1}});
        EXPECT_EQ(bound.result, sqlcode) << section.text << ": " << tokensOf(bound.ca);
        EXPECT_EQ(bound.messages.find("Section 2: KEL"), 0U) << bound.messages;
        EXPECT_EQ(rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U) << section.text << " was not run";
        EXPECT_EQ(package().open(1, {textIn("x")}).sqlcode, 0) << "the package from before stays";
        EXPECT_EQ(package().close(1).sqlcode, 0);
    }
}

TEST_F(Binding, TakesEveryStatementThatCanRun) {
    const PackageClient every(
        "EVERY",
        {statementSection("UPDATE SYSTOOLS.POLICY SET UPDATE_TIME = CURRENT TIMESTAMP, POLICY = ? WHERE NAME = ?", 2),
         statementSection("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','V','','')"),
         cursorSection("WITH T AS (SELECT NAME FROM SYSTOOLS.POLICY) SELECT NAME FROM T"), dynamicSection()});
    const sqlca ca = every.bind(instancePath() + "/bnd");
    ASSERT_EQ(ca.sqlcode, 0) << tokensOf(ca);
    EXPECT_EQ(every.execute(2).sqlcode, 0);
    ASSERT_EQ(every.open(3).sqlcode, 0);
    EXPECT_NE(every.fetchText(3), "100");
    EXPECT_EQ(every.close(3).sqlcode, 0);
}

TEST_F(Binding, ReadsItsOptions) {
    write("p.bnd", kelhost::writeBindFile(package().file()));
    for (const uint32_t value : {2U, UINT32_MAX}) {
        const Bound bound = bind(file("p.bnd"), {{SQLA_BIND_GRANT, value}});
        EXPECT_EQ(bound.result, -171) << value;
        EXPECT_EQ(tokensOf(bound.ca), "3\xFFsqlabndx");
    }
    EXPECT_EQ(package().open(1, {textIn("x")}).sqlcode, -805);
    const Bound bound = bind(file("p.bnd"), {{7, 1}, {SQLA_BIND_GRANT, 1}, {4711, 0}});
    EXPECT_EQ(bound.result, 25);
    EXPECT_EQ(stateOf(bound.ca), "01000");
    EXPECT_EQ(bound.ca.sqlwarn[0], 'W');
    EXPECT_EQ(tokensOf(bound.ca), "these bind options are not known: 7 4711");
    EXPECT_EQ(bound.messages.find("KEL0025W  The package was bound, but: these bind options"), 0U) << bound.messages;
    EXPECT_EQ(rows("SELECT GRANTED FROM SYSTOOLS.PACKAGE"), std::vector<std::string>{"1"}) << "the known one counts";
}

TEST_F(Binding, NeedsAPlaceForItsMessages) {
    write("p.bnd", kelhost::writeBindFile(package().file()));
    sqlca ca;
    EXPECT_EQ(sqlabndx(file("p.bnd").c_str(), file("none/messages").c_str(), nullptr, &ca), -902);
    EXPECT_EQ(tokensOf(ca), "no messages can be written to \"messages\"");
    EXPECT_EQ(package().open(1, {textIn("x")}).sqlcode, -805);
}

TEST_F(Binding, MayWriteItsMessagesIntoTheBindFile) {
    write("p.bnd", kelhost::writeBindFile(package().file()));
    sqlca ca;
    EXPECT_EQ(sqlabndx(file("p.bnd").c_str(), file("p.bnd").c_str(), nullptr, &ca), 0) << tokensOf(ca);
    EXPECT_EQ(hosttest::readWhole(file("p.bnd")), "The package NULLID.P was bound: 1 sections.\n");
    EXPECT_EQ(package().open(1, {textIn("x")}).sqlcode, 0);
    EXPECT_EQ(package().close(1).sqlcode, 0);
}

TEST_F(Binding, LooksAtAStatementAgainEachTime) {
    const PackageClient other("OTHER", {statementSection("DELETE FROM KELOTHER")});
    context().administer("CREATE TABLE KELOTHER (A INTEGER)");
    EXPECT_EQ(other.bind(instancePath() + "/bnd").sqlcode, 0);
    context().administer("DROP TABLE KELOTHER");
    EXPECT_EQ(other.bind(instancePath() + "/bnd").sqlcode, -204);
}

TEST_F(Binding, SeveralMayBindAtOnce) {
    context().commit();
    write("p.bnd", kelhost::writeBindFile(package().file()));
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([this] {
            const auto own = makeContext();
            own->bind();
            for (int round = 0; round < 5; ++round) {
                const sqloptValue grant = {SQLA_BIND_GRANT, 1};
                const sqloptList options = {1, &grant};
                sqlca ca;
                EXPECT_EQ(sqlabndx(file("p.bnd").c_str(), nullptr, &options, &ca), 0) << tokensOf(ca);
                EXPECT_EQ(package().open(1, {textIn("x")}).sqlcode, 0);
                own->commit();
            }
            own->unbind();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(rows("SELECT NAME FROM SYSTOOLS.PACKAGE").size(), 1U);
}

// The database's own users, where it has some.
TEST_F(Binding, TheUserOfTheSessionCounts) {
    if (!hosttest::isPostgres()) GTEST_SKIP() << "the embedded database has no users";
    write("p.bnd", kelhost::writeBindFile(package().file()));
    ASSERT_EQ(bind(file("p.bnd"), {{SQLA_BIND_GRANT, 0}}).result, 0);
    context().administer("CREATE ROLE KEL_GUEST");
    context().administer("GRANT USAGE ON SCHEMA SYSTOOLS TO KEL_GUEST");
    context().administer("GRANT SELECT ON SYSTOOLS.POLICY, SYSTOOLS.PACKAGE TO KEL_GUEST");
    EXPECT_EQ(package().open(1, {textIn("x")}).sqlcode, 0);
    EXPECT_EQ(package().close(1).sqlcode, 0);
    context().administer("SET ROLE KEL_GUEST");
    sqlca ca = package().open(1, {textIn("x")});
    EXPECT_EQ(ca.sqlcode, -551);
    EXPECT_EQ(tokensOf(ca), "kel_guest may not run the package NULLID.P");
    EXPECT_EQ(bind(file("p.bnd"), {{SQLA_BIND_GRANT, 1}}).result, -551) << "no right to bind either";
    context().administer("RESET ROLE");
    context().administer("GRANT UPDATE ON SYSTOOLS.PACKAGE TO KEL_GUEST");
    context().administer("SET ROLE KEL_GUEST");
    EXPECT_EQ(bind(file("p.bnd"), {{SQLA_BIND_GRANT, 1}}).result, 0);
    EXPECT_EQ(rows("SELECT BINDER FROM SYSTOOLS.PACKAGE"), std::vector<std::string>{"kel_guest"});
    EXPECT_EQ(package().open(1, {textIn("x")}).sqlcode, 0);
    EXPECT_EQ(package().close(1).sqlcode, 0);
    context().administer("RESET ROLE");
    EXPECT_EQ(package().open(1, {textIn("x")}).sqlcode, 0) << "granted to all";
    context().rollback();
}

}  // namespace
