// The session's unit of work: where it starts, how a failing statement leaves it, how it ends.
#include "hostError.h"
#include "packages.h"
#include "session.h"

namespace kelhost {
// With UnitStart::host a unit of work takes the write lock with its first changing statement and waits for it: two
// units that had both begun to read could otherwise never both go on to write. Reads before that see what is committed.
Outcome Session::begin(SqlKind kind) {
    if (unitLost_) return failure("40001", "the database has rolled the unit of work back");
    if (dialect_->savepointForEachStatement) return run("SAVEPOINT KEL_STATEMENT");
    if (dialect_->unitStart == UnitStart::driver || kind == SqlKind::query || unitOpen_) return {};
    Outcome outcome = run("BEGIN IMMEDIATE");
    unitOpen_ = !outcome.failed();
    return outcome;
}

void Session::settle(const Outcome& outcome) {
    if (dialect_->savepointForEachStatement) {
        if (outcome.failed()) run("ROLLBACK TO SAVEPOINT KEL_STATEMENT");
        run("RELEASE SAVEPOINT KEL_STATEMENT");
        return;
    }
    // A failure that the database cannot confine to its statement ends the whole unit of work.
    if (unitOpen_ && outcome.failed() && !unitIsOpen()) {
        unitOpen_ = false;
        unitLost_ = true;
    }
}

// Only the database knows; it says so when asked to begin another one.
bool Session::unitIsOpen() {
    const Outcome outcome = run("BEGIN");
    if (outcome.failed()) return outcome.detail.find("within a transaction") != std::string::npos;
    run("ROLLBACK");
    return false;
}

void Session::commit() {
    packages_->endUnit();
    if (unitLost_)
        throw HostError(-911, "40001", "the database has rolled the unit of work back; nothing was committed");
    if (dialect_->unitStart == UnitStart::driver) {
        if (!SQL_SUCCEEDED(driver_.endTran(SQL_HANDLE_DBC, connection_, SQL_COMMIT))) {
            require(driverOutcome(SQL_HANDLE_DBC, connection_, *dialect_), "cannot commit");
        }
        return;
    }
    if (!unitOpen_) return;
    require(run("COMMIT"), "cannot commit");
    unitOpen_ = false;
}

void Session::rollback() {
    packages_->endUnit();
    unitLost_ = false;
    if (dialect_->unitStart == UnitStart::driver) {
        if (!SQL_SUCCEEDED(driver_.endTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK))) {
            require(driverOutcome(SQL_HANDLE_DBC, connection_, *dialect_), "cannot roll back");
        }
        return;
    }
    if (!unitOpen_) return;
    unitOpen_ = false;
    const Outcome outcome = run("ROLLBACK");
    if (outcome.detail.find("no transaction is active") == std::string::npos) require(outcome, "cannot roll back");
}

}  // namespace kelhost
