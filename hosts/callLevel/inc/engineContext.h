/* The engine context: one database session and its unit of work, bound to a thread.
 *
 * Inside it SQLConnect with null names joins the unit of work. Who made the context commits or rolls back; nobody else
 * can. A context is used by one thread at a time; a process may have any number of them. */
#ifndef KELHOST_ENGINE_CONTEXT_H
#define KELHOST_ENGINE_CONTEXT_H

#include <sql.h>

#include <memory>
#include <string>
#include <vector>

#include "database.h"
#include "instance.h"

namespace kelhost {

class Session;

/* What to do about a database file that is damaged. */
std::string adviceOnDamage(const std::string& path);

class EngineContext {
public:
    /* Opens the session. Throws HostError. */
    explicit EngineContext(const Instance& instance, const DatabaseOptions& options = {})
        : EngineContext(instance, openDatabase(instance, options)) {}
    EngineContext(Instance instance, std::unique_ptr<Database> database);

    /* Rolls back what was not committed and closes the session. Handles that are still joined to it become invalid
     * (statements) or unconnected (connections). REQUIRES: not bound to a thread. */
    ~EngineContext();

    EngineContext(const EngineContext&) = delete;
    EngineContext& operator=(const EngineContext&) = delete;

    /* End the unit of work; the next statement starts a new one. Open result sets stay readable after a commit where
     * the database allows it. Throw HostError: the unit of work is then lost until a rollback succeeds. */
    void commit();
    void rollback();

    /* Runs a statement of the host's own in the unit of work, also one that no client may run. Throws HostError. */
    void administer(const std::string& statement);

    const Instance& instance() const noexcept { return instance_; }
    const std::string& databaseName() const noexcept;

    /* The file that holds the policy schema; empty where it is in memory, or no file of this machine's. */
    const std::string& policyFile() const noexcept;

    /* Statement handles with an open result set whose connection handle has been freed, oldest first: a routine left
     * them for its caller, who reads them and frees them with SQLFreeHandle. */
    std::vector<SQLHSTMT> openResults() const;

    Session& session() const noexcept { return *session_; }

    /* The calling thread's context, or null. */
    static EngineContext* current() noexcept;

    /* Binds the context to the calling thread; the previous one comes back at the end.
     * REQUIRES: destroyed by the thread that made it, in reverse order. */
    class Scope {
    public:
        explicit Scope(EngineContext& context) noexcept;
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        EngineContext* previous_;
        BoundThreadScope bound_;
    };

private:
    Instance instance_;
    std::unique_ptr<Session> session_;
};

}  // namespace kelhost

#endif
