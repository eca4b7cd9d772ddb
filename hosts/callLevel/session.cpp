#include "session.h"

#include "hostError.h"
#include "packages.h"
#include "sqlText.h"

namespace kelhost {

Session::Session(const Instance& instance, std::unique_ptr<Database> database)
    : instance_(instance),
      database_(std::move(database)),
      unit_(*database_),
      policyTable_(*database_, unit_),
      packages_(std::make_unique<Packages>(*this)) {}

Session::~Session() {
    packages_.reset();
    try {
        unit_.rollBack();
    } catch (const std::exception&) {
        // The database rolls back what an ending session leaves.
    }
}

void Session::commit() {
    packages_->endUnit();
    unit_.commit();
}

void Session::rollback() {
    packages_->endUnit();
    unit_.rollBack();
}

void Session::administer(const std::string& text) {
    const SqlText scanned = scanSql(text, dialect());
    constexpr const char* what = "cannot run the statement";
    if (scanned.error != nullptr) require(failure(scanned.error, scanned.errorDetail), what);
    const std::string spelled = spellSql(text, scanned, dialect(), currentTimestamp());
    require(unit_.asStatement(SqlKind::other, [&] { return database_->run(spelled); }), what);
}

}  // namespace kelhost
