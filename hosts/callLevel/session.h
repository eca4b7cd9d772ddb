/* One real session of a database and its unit of work. Internal.
 *
 * Used by one thread at a time. Functions that may fail return an Outcome or throw HostError, as they say. */
#ifndef KELHOST_SESSION_H
#define KELHOST_SESSION_H

#include <sql.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dialect.h"
#include "driverManager.h"
#include "engineContext.h"
#include "outcome.h"
#include "sqlText.h"

namespace kelhost {

struct DefaultPolicy;
class Packages;

/* A statement handle of the driver. `text` is what it is prepared for when it may be used again, else empty. */
struct DriverStatement {
    SQLHSTMT handle = SQL_NULL_HSTMT;
    std::string text{};
};

/* Changes whenever a file is written to. */
struct FileState {
    ino_t number;
    off_t size;
    time_t seconds;
    long nanoseconds;

    friend bool operator==(const FileState&, const FileState&) = default;
};

class Session {
public:
    /* Throws HostError. */
    Session(const Instance& instance, const DatabaseOptions& options);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const Dialect& dialect() const noexcept { return *dialect_; }
    const Instance& instance() const noexcept { return instance_; }
    const std::string& databaseName() const noexcept { return databaseName_; }
    const std::string& policyFile() const noexcept { return policyFile_; }

    /* Nothing may be written. */
    bool reads() const noexcept { return reads_; }

    /* Throw HostError. */
    void commit();
    void rollback();

    /* A new statement of the driver. */
    Outcome allocate(DriverStatement& statement);

    /* A query that was used before and is prepared for exactly this text; nothing when there is none. */
    std::optional<DriverStatement> takePrepared(std::string_view text) noexcept;

    /* The next use of any query prepares it. */
    void forgetPrepared() noexcept;

    /* Closes the statement; one that carries a text is kept for the next use of it. */
    void giveBack(DriverStatement statement) noexcept;

    /* Does the work of one statement, which gives its outcome: atomic by itself, and part of the unit of work. An
     * exception is a failure of the statement, too. */
    template <class Work>
    Outcome asStatement(SqlKind kind, Work work) {
        Outcome outcome = begin(kind);
        if (outcome.failed()) return outcome;
        try {
            outcome = work();
        } catch (...) {
            settle(failure("57011", {}));
            throw;
        }
        settle(outcome);
        return outcome;
    }

    /* A savepoint of the host's own; the outcome of `work` decides whether what it did stays. */
    template <class Work>
    Outcome atomically(Work work) {
        Outcome outcome = run("SAVEPOINT KEL_ATOMIC");
        if (outcome.failed()) return outcome;
        outcome = work();
        if (outcome.failed()) run("ROLLBACK TO SAVEPOINT KEL_ATOMIC");
        const Outcome released = run("RELEASE SAVEPOINT KEL_ATOMIC");
        return outcome.failed() ? outcome : released;
    }

    /* Creates what `verify` does not find, or leaves what is there: another process may have made it since the caller
     * looked, or may make it at this moment. */
    template <class Verify, class Make>
    Outcome createIfMissing(Verify verify, Make make) {
        return asStatement(SqlKind::other, [&] {
            Outcome outcome;
            if (verify().failed()) {
                outcome = atomically(make);
                if (outcome.failed() && !verify().failed()) outcome.clear();
            }
            return outcome;
        });
    }

    /* Runs a text of the host's own that answers with no rows, of any kind, as the database spells it. */
    Outcome run(const std::string& text);

    /* The same as a statement of the unit of work, in the host's spelling. Throws HostError. */
    void administer(const std::string& text);

    /* SYSINSTALLOBJECTS: verifies, or creates with its default rows, the policy table. */
    Outcome installObjects(const std::vector<std::string>& arguments);

    Packages& packages() noexcept { return *packages_; }

    /* Handles of the call-level interface that are joined to this session. */
    std::vector<SQLHDBC> connections{};
    std::vector<SQLHSTMT> statements{}; /* oldest first */

private:
    void connect(const DatabaseOptions& options);
    void connectOnce(const std::string& connection);
    std::string driverInfo(SQLUSMALLINT what) const;
    void setUp(const DatabaseOptions& options);
    void requireMainFile() const;
    void attachPolicySchema();
    void attachToRead();
    void attachToChange();
    Outcome attach(const std::string& name);
    void requireUnchanged() const;
    void require(const Outcome& outcome, const std::string& what) const;
    std::string firstText(const char* query, SQLUSMALLINT column);
    void check(const SessionCheck& demanded);
    void closeStatements() noexcept;
    Outcome verifyPolicyTable();
    Outcome createPolicyTable();
    Outcome makePolicyTable();
    Outcome addDefaultPolicy(const DefaultPolicy& policy);
    Outcome begin(SqlKind kind);
    void settle(const Outcome& outcome) noexcept;
    bool mayHaveEndedUnit();
    void endUnit(bool commits);

    const DriverManager& driver_;
    const Instance& instance_;
    const Dialect* dialect_ = nullptr;
    const bool reads_;
    std::string databaseName_{};
    std::string mainFile_{};               /* SQLite: the database's file; empty: in memory, or not known yet */
    std::string policyFile_{};             /* SQLite: the policy schema's file; empty: in memory */
    std::optional<FileState> readAlone_{}; /* of the file that is read as one that nobody writes to */
    SQLHENV environment_ = SQL_NULL_HENV;
    SQLHDBC connection_ = SQL_NULL_HDBC;
    bool connected_ = false;
    bool unitOpen_ = false; /* UnitStart::host: a transaction was begun */
    bool unitLost_ = false; /* the database may have rolled it back by itself: only a rollback goes on */
    DriverStatement control_{};
    DriverStatement verify_{};
    std::vector<DriverStatement> prepared_{};
    std::unique_ptr<Packages> packages_;
};

}  // namespace kelhost

#endif
