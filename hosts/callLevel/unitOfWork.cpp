// The session's unit of work: where it starts, how a failing statement leaves it, how it ends.
#include "hostError.h"
#include "packages.h"
#include "session.h"

namespace kelhost {

// With UnitStart::host a unit of work takes the write lock with its first changing statement and waits for it: two
// units that had both begun to read could otherwise never both go on to write. Reads before that see what is committed.
Outcome Session::begin(SqlKind kind) {
    if (unitLost_) return failure("40001", "the unit of work is lost and must be rolled back");
    if (reads_ && kind != SqlKind::query) return failure("25006", "the session was opened to read only");
    if (dialect_->unitStart == UnitStart::driver) return run("SAVEPOINT KEL_STATEMENT");
    if (kind == SqlKind::query || unitOpen_) return {};
    Outcome outcome = run("BEGIN IMMEDIATE");
    unitOpen_ = !outcome.failed();
    return outcome;
}

// A failure that the database cannot confine to its statement ends the whole unit of work.
void Session::settle(const Outcome& outcome) noexcept {
    try {
        if (dialect_->unitStart == UnitStart::driver) {
            if (outcome.failed()) run("ROLLBACK TO SAVEPOINT KEL_STATEMENT");
            if (run("RELEASE SAVEPOINT KEL_STATEMENT").failed()) unitLost_ = true;
        } else if (outcome.failed() && mayHaveEndedUnit()) {
            unitLost_ = true;
        }
    } catch (const std::exception&) {
        unitLost_ = true;
    }
}

// The database tells when it is asked to begin another one: it refuses while there is one.
bool Session::mayHaveEndedUnit() {
    if (!unitOpen_) return false;
    const Outcome begun = run("BEGIN");
    if (begun.failed()) return begun.detail.find("within a transaction") == std::string::npos;
    run("ROLLBACK");
    return true;
}

// What is left after a failure is lost.
void Session::endUnit(bool commits) {
    const char* const what = commits ? "cannot commit" : "cannot roll back";
    unitLost_ = true;
    if (dialect_->unitStart == UnitStart::host) {
        const Outcome outcome = run(commits ? "COMMIT" : "ROLLBACK");
        const bool hadEnded = outcome.detail.find("no transaction is active") != std::string::npos;
        if (commits || !hadEnded) require(outcome, what);
    } else if (!SQL_SUCCEEDED(driver_.endTran(SQL_HANDLE_DBC, connection_, commits ? SQL_COMMIT : SQL_ROLLBACK))) {
        require(driverOutcome(SQL_HANDLE_DBC, connection_, *dialect_), what);
    }
    unitLost_ = unitOpen_ = false;
}

void Session::commit() {
    packages_->endUnit();
    if (unitLost_) throw HostError(-911, "40001", "the unit of work is lost; nothing was committed");
    requireUnchanged();
    if (dialect_->unitStart == UnitStart::driver || unitOpen_) endUnit(true);
}

void Session::rollback() {
    packages_->endUnit();
    if (dialect_->unitStart == UnitStart::driver || unitOpen_ || unitLost_) endUnit(false);
}

}  // namespace kelhost
