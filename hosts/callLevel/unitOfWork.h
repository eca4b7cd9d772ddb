/* The session's unit of work: where it starts, how a failing statement leaves it, how it ends. Internal. */
#ifndef KELHOST_UNIT_OF_WORK_H
#define KELHOST_UNIT_OF_WORK_H

#include "database.h"
#include "outcome.h"
#include "sqlText.h"

namespace kelhost {

class UnitOfWork {
public:
    explicit UnitOfWork(Database& database) noexcept : database_(database) {}
    UnitOfWork(const UnitOfWork&) = delete;
    UnitOfWork& operator=(const UnitOfWork&) = delete;

    /* Does the work of one statement, which gives its outcome: atomic by itself, and part of the unit. An exception is
     * a failure of the statement, too. */
    template <class Work>
    Outcome asStatement(SqlKind kind, Work work) {
        Outcome outcome = enter(kind);
        if (outcome.failed()) return outcome;
        try {
            outcome = work();
        } catch (...) {
            settle(true);
            throw;
        }
        settle(outcome.failed());
        return outcome;
    }

    /* A savepoint of the host's own; the outcome of `work` decides whether what it did stays. */
    template <class Work>
    Outcome atomically(Work work) {
        constexpr const char* name = "KEL_ATOMIC";
        Outcome outcome = database_.savepoint(name);
        if (outcome.failed()) return outcome;
        outcome = work();
        if (outcome.failed()) database_.rollBackTo(name);
        const Outcome released = database_.release(name);
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

    /* Throw HostError: the unit is then lost until a rollback succeeds. */
    void commit();
    void rollBack();

private:
    enum class State {
        none,
        open,
        lost, /* the database may have rolled it back by itself: only a rollback goes on */
    };

    Outcome enter(SqlKind kind);
    void settle(bool failed) noexcept;
    bool isKept(bool failed);
    void end(bool commits);

    Database& database_;
    State state_ = State::none;
};

}  // namespace kelhost

#endif
