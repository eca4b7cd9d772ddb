/* SYSINSTALLOBJECTS: the policy table and the rows it starts with. Internal. */
#ifndef KELHOST_POLICY_TABLE_H
#define KELHOST_POLICY_TABLE_H

#include <memory>
#include <string>
#include <vector>

#include "database.h"
#include "unitOfWork.h"

namespace kelhost {

struct DefaultPolicy;

class PolicyTable {
public:
    PolicyTable(Database& database, UnitOfWork& unit) noexcept : database_(database), unit_(unit) {}
    PolicyTable(const PolicyTable&) = delete;
    PolicyTable& operator=(const PolicyTable&) = delete;

    /* Verifies the table, or creates it with its default rows, as the four arguments of the call say. */
    Outcome installObjects(const std::vector<std::string>& arguments);

private:
    Outcome verify();
    Outcome create();
    Outcome make();
    Outcome add(const DefaultPolicy& policy);

    Database& database_;
    UnitOfWork& unit_;
    std::unique_ptr<PreparedStatement> question_{}; /* whether the table is there */
};

}  // namespace kelhost

#endif
