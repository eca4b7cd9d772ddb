/* One real session of a database and its unit of work, with what belongs to both. Internal.
 *
 * Used by one thread at a time. Functions that may fail return an Outcome or throw HostError, as they say. */
#ifndef KELHOST_SESSION_H
#define KELHOST_SESSION_H

#include <sql.h>

#include <memory>
#include <string>
#include <vector>

#include "database.h"
#include "dialect.h"
#include "instance.h"
#include "keptStatements.h"
#include "outcome.h"
#include "policyTable.h"
#include "unitOfWork.h"

namespace kelhost {

class Packages;

class Session {
public:
    Session(const Instance& instance, std::unique_ptr<Database> database);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const Dialect& dialect() const noexcept { return database_->dialect(); }
    const Instance& instance() const noexcept { return instance_; }
    Database& database() noexcept { return *database_; }
    const Database& database() const noexcept { return *database_; }
    UnitOfWork& unit() noexcept { return unit_; }
    KeptStatements& kept() noexcept { return kept_; }
    PolicyTable& policyTable() noexcept { return policyTable_; }
    Packages& packages() noexcept { return *packages_; }

    /* Nothing may be written. */
    bool reads() const noexcept { return database_->access() == Access::read; }

    /* Throw HostError. */
    void commit();
    void rollback();

    /* Runs a text of the host's own in the unit of work, in the host's spelling. Throws HostError. */
    void administer(const std::string& text);

    /* Handles of the call-level interface that are joined to this session. */
    std::vector<SQLHDBC> connections{};
    std::vector<SQLHSTMT> statements{}; /* oldest first */

private:
    const Instance& instance_;
    std::unique_ptr<Database> database_;
    UnitOfWork unit_;
    KeptStatements kept_;
    PolicyTable policyTable_;
    std::unique_ptr<Packages> packages_;
};

}  // namespace kelhost

#endif
