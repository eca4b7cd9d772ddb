// The ODBC host's databases: the embedded one as files that several processes share, and others by connection string.
#include <dirent.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <future>
#include <thread>

#include "host/callLevelClient.h"
#include "host/hostFixture.h"
#include "hostError.h"

namespace {

namespace fs = std::filesystem;
using hosttest::Client;
using hosttest::TemporaryDirectory;
using hosttest::tokensOf;
using kelhost::EngineContext;
using kelhost::HostError;
using kelhost::Instance;

/* Waits for locks for longer than any test takes. */
const kelhost::DatabaseOptions patient = {.lockTimeout = std::chrono::hours(1)};

/* The instance's own database, as version 0.1 opened it. */
std::string throughDriver(const Instance& instance) {
    return "DRIVER=SQLite3;Database=" + instance.databaseFiles() + "/kelpolicy.db";
}

class OdbcDatabase : public ::testing::Test {
protected:
    TemporaryDirectory directory_;
    Instance instance_ = Instance::create(directory_.path() / "instance");

    std::string errorOf(const Instance& instance, const std::string& connection, const char* state) {
        try {
            const EngineContext context(instance, {.connection = connection});
        } catch (const HostError& error) {
            EXPECT_EQ(error.sqlstate(), state) << error.what();
            EXPECT_LT(error.sqlcode(), 0);
            return error.what();
        }
        return "no error";
    }
};

TEST_F(OdbcDatabase, TheEmbeddedDatabaseIsAFileOfTheInstance) {
    const EngineContext context(instance_);
    EXPECT_EQ(context.databaseName(), "kelpolicy");
    EXPECT_EQ(context.instance().path(), instance_.path());
    EXPECT_TRUE(fs::exists(instance_.databaseFiles() + "/kelpolicy.db"));
    EXPECT_TRUE(fs::exists(instance_.databaseFiles() + "/kelpolicy.systools.db"));
}

TEST_F(OdbcDatabase, DirectoryNamesMayHoldQuotesAndBlanks) {
    for (const char* name :
         {"it's", "a b", "\"quoted\"", "per%cent", "\xC3\xA4", "a=b", "q?x#y", "a;b", "a{b", "a}b"}) {
        const Instance instance = Instance::create(directory_.path() / name);
        EngineContext context(instance);
        const EngineContext::Scope bound(context);
        Client client;
        EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS) << name;
        EXPECT_TRUE(fs::exists(instance.databaseFiles() + "/kelpolicy.systools.db")) << name;
    }
}

TEST_F(OdbcDatabase, AnotherDatabaseIsChosenByItsConnectionString) {
    const std::string other = directory_.file("other.db");
    {
        EngineContext context(instance_, {.connection = "DRIVER=SQLite3;Database=" + other});
        EXPECT_EQ(context.databaseName(), "other");
        const EngineContext::Scope bound(context);
        Client client;
        ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS) << tokensOf(client.ca());
        ASSERT_EQ(client.insert("other", "<x/>"), SQL_SUCCESS);
        context.commit();
    }
    EXPECT_TRUE(fs::exists(directory_.file("other.systools.db")));
    EngineContext context(instance_);
    const EngineContext::Scope bound(context);
    Client client;
    EXPECT_EQ(client.verifyPolicyTable(), SQL_ERROR) << "the embedded database is another one";
}

TEST_F(OdbcDatabase, ADatabaseInMemoryHasItsPolicySchemaInMemory) {
    EngineContext context(instance_, {.connection = "DRIVER=SQLite3;Database=:memory:"});
    EXPECT_EQ(context.databaseName(), "memory");
    const EngineContext::Scope bound(context);
    Client client;
    EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS) << tokensOf(client.ca());
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
}

/* The lock is held until the statement that waits for it has given up. Where that lasts as long as the time that must
 * not count, the test ends at its own limit. */
TEST_F(OdbcDatabase, TheLockTimeoutIsSetUnlessTheConnectionStringHasItsOwn) {
    constexpr std::chrono::milliseconds brief(20);
    constexpr std::chrono::hours endless(1);
    const std::string database = "Database=" + directory_.file("Timeout=3600000.db");
    const struct {
        std::string connection;
        std::chrono::milliseconds lockTimeout;
    } cases[] = {
        {"", brief},
        {"DRIVER=SQLite3;" + database, brief},
        {"DRIVER=SQLite3;NoTimeout=3600000;" + database, brief},
        {"DRIVER=SQLite3;" + database + ";Timeout=20", endless},
        {"DRIVER=SQLite3;timeout=20;" + database, endless},
    };
    for (const auto& one : cases) {
        EngineContext context(instance_, {.connection = one.connection});
        const EngineContext::Scope bound(context);
        Client client;
        ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS) << one.connection;
        context.commit();
        ASSERT_EQ(client.insert("held", "x"), SQL_SUCCESS) << one.connection;
        auto waiting = std::async(std::launch::async, [&] {
            EngineContext other(instance_, {.connection = one.connection, .lockTimeout = one.lockTimeout});
            const EngineContext::Scope otherBound(other);
            Client waits;
            return waits.insert("waits", "x");
        });
        EXPECT_EQ(waiting.get(), SQL_ERROR) << one.connection;
        context.rollback();
        context.administer("DROP TABLE SYSTOOLS.POLICY");
        context.commit();
    }
}

/* The driver tries again after it has waited. The shortest of some tries counts: any may be held up by the machine. */
TEST_F(OdbcDatabase, ALockIsWaitedForOnce) {
    using std::chrono::steady_clock;
    constexpr std::chrono::milliseconds setting(800);
    const std::string file = "DRIVER=SQLite3;Database=" + instance_.databaseFiles() + "/kelpolicy.db";
    const kelhost::DatabaseOptions settings[] = {
        {.lockTimeout = setting},
        {.connection = file, .lockTimeout = setting},
        {.connection = file + ";Timeout=800", .lockTimeout = patient.lockTimeout}};
    EngineContext holder(instance_);
    const EngineContext::Scope bound(holder);
    {
        Client holds;
        ASSERT_EQ(holds.createPolicyTable(), SQL_SUCCESS);
        holder.commit();
        ASSERT_EQ(holds.insert("held", "x"), SQL_SUCCESS);
    }
    for (const kelhost::DatabaseOptions& options : settings) {
        EngineContext context(instance_, options);
        const EngineContext::Scope waiting(context);
        Client client;
        steady_clock::duration shortest = std::chrono::hours(1);
        for (int tries = 0; tries < 5 && shortest > setting * 3 / 2; ++tries) {
            const auto start = steady_clock::now();
            EXPECT_EQ(client.insert("waits", "x"), SQL_ERROR);
            EXPECT_EQ(client.state(), "40001");
            shortest = std::min(shortest, steady_clock::now() - start);
            context.rollback();
        }
        EXPECT_GE(shortest, setting) << options.connection;
        EXPECT_LT(shortest, setting * 3 / 2) << options.connection;
    }
}

TEST_F(OdbcDatabase, AConnectionThatFailsSaysWhy) {
    EXPECT_NE(errorOf(instance_, "DSN=there-is-no-such-source", "IM002").find("cannot connect to the database: "),
              std::string::npos);
    EXPECT_NE(errorOf(instance_, "DRIVER=SQLite3;Database=" + directory_.file("missing/x.db"), "08001").find("cannot"),
              std::string::npos);
    std::ofstream(instance_.databaseFiles() + "/kelpolicy.systools.db") << std::string(8192, 'x');
    const std::string message = errorOf(instance_, "", "58030");
    EXPECT_NE(message.find("not a database"), std::string::npos) << message;
}

TEST_F(OdbcDatabase, AUnitOfWorkThatTheDatabaseGaveUpCommitsNothing) {
    EngineContext context(instance_);
    const EngineContext::Scope bound(context);
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    context.commit();
    ASSERT_EQ(client.insert("lost", "<x/>"), SQL_SUCCESS);
    EXPECT_EQ(client.run("INSERT OR ROLLBACK INTO SYSTOOLS.POLICY SELECT * FROM SYSTOOLS.POLICY"), SQL_ERROR);
    EXPECT_EQ(client.state(), "23505");
    EXPECT_EQ(client.insert("after", "<x/>"), SQL_ERROR) << "it would be committed by itself";
    EXPECT_EQ(client.ca().sqlcode, -911);
    EXPECT_EQ(client.state(), "40001");
    EXPECT_THROW(context.commit(), HostError);
    context.rollback();
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED='M'").size(), 0U);
    EXPECT_EQ(client.insert("next", "<x/>"), SQL_SUCCESS);
    context.commit();
}

TEST_F(OdbcDatabase, AFullDatabaseIsReportedAndLeavesNothingHalfDone) {
    EngineContext context(instance_);
    const EngineContext::Scope bound(context);
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    context.commit();
    context.administer("PRAGMA SYSTOOLS.max_page_count = 20");
    ASSERT_EQ(client.insert("small", "<x/>"), SQL_SUCCESS);
    EXPECT_EQ(client.insert("large", std::string(1'000'000, 'x')), SQL_ERROR);
    EXPECT_EQ(client.ca().sqlcode, -964);
    EXPECT_EQ(client.state(), "53100");
    // The database may confine the failure to the statement, or give the unit of work up.
    std::vector<std::string> expected = {"small"};
    try {
        context.commit();
    } catch (const HostError& lost) {
        EXPECT_EQ(lost.sqlstate(), "40001");
        context.rollback();
        expected.clear();
    }
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED='M'"), expected);
    EXPECT_EQ(client.insert("next", "<x/>"), SQL_SUCCESS);
    context.commit();
}

TEST_F(OdbcDatabase, ADatabaseThatMayNotBeWrittenCanStillBeRead) {
    {
        EngineContext context(instance_);
        const EngineContext::Scope bound(context);
        Client client;
        ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
        context.commit();
    }
    EngineContext context(instance_);
    const EngineContext::Scope bound(context);
    Client client;
    context.administer("PRAGMA query_only = 1");
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
    EXPECT_EQ(client.insert("a", "<x/>"), SQL_ERROR);
    EXPECT_EQ(client.ca().sqlcode, -817);
    EXPECT_EQ(client.state(), "25006");
}

TEST_F(OdbcDatabase, ASessionThatOnlyReadsMakesAndWritesNothing) {
    const kelhost::DatabaseOptions reading = {.access = kelhost::Access::read};
    EXPECT_THROW(EngineContext(instance_, reading), HostError);
    EXPECT_TRUE(fs::is_empty(instance_.databaseFiles()));
    {
        EngineContext context(instance_);
        const EngineContext::Scope bound(context);
        Client client;
        ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
        context.commit();
    }
    EngineContext context(instance_, reading);
    EXPECT_EQ(context.databaseName(), "kelpolicy");
    const EngineContext::Scope bound(context);
    Client client;
    EXPECT_EQ(client.verifyPolicyTable(), SQL_SUCCESS);
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
    for (const char* change : {"DELETE FROM SYSTOOLS.POLICY", "UPDATE SYSTOOLS.POLICY SET MED = 'x'",
                               "CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','C','','')"}) {
        EXPECT_EQ(client.run(change), SQL_ERROR) << change;
        EXPECT_EQ(client.state(), "25006") << change;
    }
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
}

/* Where the files of a shared database cannot be made it is read as one that nobody writes to. */
TEST_F(OdbcDatabase, AWriteToAFileThatIsReadAloneIsNoticed) {
    const std::string file = instance_.databaseFiles() + "/kelpolicy.systools.db";
    {
        EngineContext context(instance_);
        const EngineContext::Scope bound(context);
        Client client;
        ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
        context.commit();
    }
    fs::create_symlink("nowhere", file + "-shm");  // the database follows no link there
    EngineContext context(instance_, {.access = kelhost::Access::read});
    const EngineContext::Scope bound(context);
    Client client;
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), 5U);
    context.commit();
    std::ofstream(file, std::ios::app | std::ios::binary) << "x";
    try {
        context.commit();
        ADD_FAILURE() << "nobody notices";
    } catch (const HostError& error) {
        EXPECT_EQ(error.sqlstate(), "40001") << error.what();
        EXPECT_NE(std::string(error.what()).find(file), std::string::npos) << error.what();
    }
}

TEST_F(OdbcDatabase, TheDriverAndTheDatabasesOwnInterfaceTakeTurns) {
    std::string every;
    for (int i = 0; i < 256; ++i) every += static_cast<char>(i);
    const std::pair<const char*, std::string> documents[] = {
        {"empty", ""}, {"text", "<x>\xC3\xA4</x>"}, {"every", every}, {"large", std::string(2097152, 'l')}};
    const auto names = [](const std::string& prefix) {
        return "SELECT MED, DECISION, NAME FROM SYSTOOLS.POLICY WHERE NAME LIKE '" + prefix + "%' ORDER BY NAME";
    };
    std::string writtenBefore;
    for (int turn = 0; turn < 4; ++turn) {
        const bool isDriver = turn % 2 == 0;
        EngineContext context(instance_, {.connection = isDriver ? throughDriver(instance_) : ""});
        const EngineContext::Scope bound(context);
        Client client;
        ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS) << tokensOf(client.ca());
        if (!writtenBefore.empty()) {
            EXPECT_EQ(client.rows(names(writtenBefore)).size(), std::size(documents));
            for (const auto& [name, document] : documents)
                EXPECT_TRUE(client.document(writtenBefore + name) == document) << turn << name;
            EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE UPDATE_TIME > CURRENT TIMESTAMP").size(), 0U);
            EXPECT_EQ(
                client.run("UPDATE SYSTOOLS.POLICY SET DECISION = 'seen' WHERE NAME LIKE '" + writtenBefore + "%'"),
                SQL_SUCCESS);
        }
        writtenBefore = std::to_string(turn) + ".";
        for (const auto& [name, document] : documents)
            ASSERT_EQ(client.insert(writtenBefore + name, document), SQL_SUCCESS) << tokensOf(client.ca());
        context.commit();
    }
}

// Works in a process of its own, which `work` ends with _exit.
template <class Work>
pid_t inProcess(Work work) {
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            work();
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "%s\n", failure.what());
        }
        ::_exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    return child;
}

int statusOf(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

// One of them through the driver.
TEST_F(OdbcDatabase, TwoProcessesWorkOnItAtOnce) {
    constexpr int rounds = 30;
    std::vector<pid_t> children;
    for (int process = 0; process < 2; ++process) {
        children.push_back(inProcess([&] {
            const Instance instance = Instance::create(instance_.path());
            EngineContext context(instance, {.connection = process == 0 ? "" : throughDriver(instance),
                                             .lockTimeout = patient.lockTimeout});
            const EngineContext::Scope bound(context);
            for (int round = 0; round < rounds; ++round) {
                {
                    Client client;
                    if (client.verifyPolicyTable() != SQL_SUCCESS) {
                        EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS) << tokensOf(client.ca());
                    }
                    EXPECT_EQ(client.insert(std::to_string(process) + "." + std::to_string(round), "<x/>"), SQL_SUCCESS)
                        << tokensOf(client.ca());
                }
                context.commit();
            }
        }));
    }
    for (const pid_t child : children) EXPECT_EQ(statusOf(child), 0);
    EngineContext context(instance_);
    const EngineContext::Scope bound(context);
    Client client;
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY").size(), size_t{5 + 2 * rounds});
}

/* What the database itself says about a file of its own. */
std::string integrityOf(const std::string& path) {
    sqlite3* database = nullptr;
    std::string answer;
    const auto take = [](void* into, int, char** values, char**) {
        *static_cast<std::string*>(into) += values[0];
        return 0;
    };
    EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, "PRAGMA integrity_check", take, &answer, nullptr), SQLITE_OK);
    sqlite3_close(database);
    return answer;
}

TEST_F(OdbcDatabase, AKilledProcessLeavesTheOldOrTheNewDocument) {
    const std::string documents[] = {std::string(3000, 'a'), std::string(90000, 'b')};
    {
        EngineContext context(instance_);
        const EngineContext::Scope bound(context);
        Client client;
        ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
        ASSERT_EQ(client.insert("d", documents[0]), SQL_SUCCESS);
        context.commit();
    }
    for (int round = 0; round < 15; ++round) {
        int changed[2];
        ASSERT_EQ(::pipe(changed), 0);
        const pid_t child = inProcess([&] {
            EngineContext context(instance_);
            const EngineContext::Scope bound(context);
            for (int change = 0;; ++change) {
                Client client;
                SQLPrepare(client.stmt, hosttest::chars("UPDATE SYSTOOLS.POLICY SET POLICY = ? WHERE NAME = 'd'"),
                           SQL_NTS);
                client.bindAndExecute(documents[change % 2]);
                context.commit();
                if (::write(changed[1], "x", 1) != 1) return;
            }
        });
        ::close(changed[1]);
        char change = '\0';
        EXPECT_EQ(::read(changed[0], &change, 1), 1) << "it is at work";
        std::this_thread::sleep_for(std::chrono::milliseconds(round * 3));  // somewhere in the midst of a later change
        ::kill(child, SIGKILL);
        EXPECT_TRUE(WIFSIGNALED(statusOf(child)));
        ::close(changed[0]);
        EngineContext context(instance_);
        const EngineContext::Scope bound(context);
        Client client;
        const std::string seen = client.document("d");
        EXPECT_TRUE(seen == documents[0] || seen == documents[1]) << seen.size();
        EXPECT_EQ(integrityOf(instance_.databaseFiles() + "/kelpolicy.systools.db"), "ok");
        EXPECT_EQ(client.insert("after" + std::to_string(round), "<x/>"), SQL_SUCCESS) << "no lock is left over";
        context.commit();
    }
}

// This host defines the call-level interface's names itself; nothing else in the process may bind to them.
TEST_F(OdbcDatabase, NoSymbolOfTheCallLevelInterfaceIsExported) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> symbols(
        ::popen(("nm -D --defined-only /proc/" + std::to_string(::getpid()) + "/exe 2>&1").c_str(), "r"), ::pclose);
    ASSERT_NE(symbols, nullptr);
    std::string exported;
    char line[512] = "";
    while (std::fgets(line, sizeof line, symbols.get()) != nullptr) exported += line;
    EXPECT_EQ(exported.find(" SQL"), std::string::npos) << exported;
    EXPECT_EQ(exported.find("No such file"), std::string::npos) << exported;

    EngineContext context(instance_, {.connection = throughDriver(instance_)});
    const std::string maps = hosttest::readWhole("/proc/self/maps");
    EXPECT_NE(maps.find("libodbc.so"), std::string::npos);
    EXPECT_NE(maps.find("libsqlite3odbc"), std::string::npos);
    const EngineContext::Scope bound(context);
    Client client;
    EXPECT_EQ(client.rows("SELECT 1"), std::vector<std::string>{"1"}) << "the real driver answers";
}

TEST_F(OdbcDatabase, SessionsLeaveNoOpenFile) {
    const auto openFiles = [] {
        int count = 0;
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) count += entry.exists() ? 1 : 0;
        return count;
    };
    { const EngineContext warmUp(instance_); }
    const int before = openFiles();
    for (int round = 0; round < 20; ++round) {
        EngineContext context(instance_);
        const EngineContext::Scope bound(context);
        Client client;
        EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    }
    EXPECT_EQ(openFiles(), before);
}

}  // namespace
