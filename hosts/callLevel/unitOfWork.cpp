#include "unitOfWork.h"

#include "dialect.h"
#include "hostError.h"

namespace kelhost {
namespace {

constexpr const char* beforeStatement = "KEL_STATEMENT";

}  // namespace

// Where a unit is begun by the host it takes the write lock with its first changing statement and waits for it: two
// units that had both begun to read could otherwise never both go on to write. Reads before that see what is committed.
Outcome UnitOfWork::enter(SqlKind kind) {
    if (state_ == State::lost) return failure("40001", "the unit of work is lost and must be rolled back");
    const bool reads = kind == SqlKind::query;
    if (!reads && database_.access() == Access::read) return failure("25006", "the session was opened to read only");
    Outcome outcome;
    if (database_.dialect().failuresSpoilUnit) {
        outcome = database_.savepoint(beforeStatement);
    } else if (reads || state_ == State::open) {
        return outcome;
    } else {
        outcome = database_.begin();
    }
    if (!outcome.failed()) state_ = State::open;
    return outcome;
}

void UnitOfWork::settle(bool failed) noexcept {
    try {
        if (!isKept(failed)) state_ = State::lost;
    } catch (const std::exception&) {
        state_ = State::lost;
    }
}

// A failure that the database cannot confine to its statement ends the whole unit of work.
bool UnitOfWork::isKept(bool failed) {
    if (!database_.dialect().failuresSpoilUnit) return !failed || state_ != State::open || database_.isInUnit();
    if (failed) database_.rollBackTo(beforeStatement);
    return !database_.release(beforeStatement).failed();
}

// What is left after a failure is lost.
void UnitOfWork::end(bool commits) {
    state_ = State::lost;
    if (commits) {
        require(database_.commit(), "cannot commit");
    } else {
        require(database_.rollBack(), "cannot roll back");
    }
    state_ = State::none;
}

void UnitOfWork::commit() {
    if (state_ == State::lost) throw HostError(-911, "40001", "the unit of work is lost; nothing was committed");
    require(database_.confirmReads(), "cannot commit");
    if (state_ == State::open) end(true);
}

void UnitOfWork::rollBack() {
    if (state_ != State::none) end(false);
}

}  // namespace kelhost
