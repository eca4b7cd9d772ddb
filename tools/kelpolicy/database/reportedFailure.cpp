#include "database/reportedFailure.h"

#include <fmt/format.h>

#include <array>
#include <string_view>

#include "engineContext.h"
#include "messages.h"

namespace kelpolicy {
namespace {

struct Advice {
    std::string_view sqlstate; /* a whole state or the beginning of one; the first match counts */
    std::string_view inMessage;
    const char* hint;
};

constexpr const char* checkConnection =
    "Check the connection string (--database, --database-file or KELPOLICY_DATABASE), and that its driver is installed "
    "and its server runs.";

constexpr Advice advice[] = {
    {"40001", "", "Another program is writing to the policy table; run the command again when it is done."},
    {"08", "", checkConnection},
    {"IM", "", checkConnection},
    {"HY", "",
     "Check the connection string (--database, --database-file or KELPOLICY_DATABASE); log/diagnostic.log of the "
     "instance may tell more."},
    {"25006", "",
     "This user may only read the database, or it may only be read: run the command as a user who may write to it, or "
     "on the primary server where this one is its standby."},
    {"42501", "",
     "Run the command as a user who may read the policy table and, to change something, write to it; or have the right "
     "granted."},
    {"42", "", "Check that SYSTOOLS.POLICY is the policy table, with MED, DECISION, NAME, UPDATE_TIME and POLICY."},
    {"53100", "", "Make room on the device that holds the database."},
    {"57011", "", "Free memory and run the command again."},
    {"58030", "Permission denied",
     "Run the command as a user who may read the instance directory and, to change something, write to it; or name "
     "another directory with --instance (or KELPOLICY_INSTANCE)."},
    {"58030", "Read-only file system",
     "The instance directory is on a file system that may only be read: commands that answer work there, commands that "
     "change something need another one, named with --instance (or KELPOLICY_INSTANCE)."},
    {"58030", "No space left", "Make room on the device that holds the instance directory."},
    {"58030", "disk I/O error", "Make room on the device that holds the database, or have it looked after."},
    {"58030", "", "Check that --instance (or KELPOLICY_INSTANCE) names a directory that you may read and write."},
};

std::string hintFor(std::string_view sqlstate, std::string_view message) {
    for (const Advice& entry : advice)
        if (sqlstate.starts_with(entry.sqlstate) && message.find(entry.inMessage) != std::string_view::npos)
            return entry.hint;
    return "Look into log/diagnostic.log of the instance directory for what led to it.";
}

/* What the database says of a file that is damaged. */
bool isDamage(std::string_view message) {
    return message.find("malformed") != std::string_view::npos ||
           message.find("not a database") != std::string_view::npos;
}

}  // namespace

Failure failureOf(const kelhost::HostError& error) {
    const std::string hint = error.hint().empty() ? hintFor(error.sqlstate(), error.what()) : error.hint();
    return {error.what(), hint, error.sqlcode(), error.sqlstate()};
}

Failure failureOf(const std::string& what, const sqlca& ca) {
    std::array<char, 1024> message{};
    sqlaintp_api(message.data(), message.size(), 0, SQL_MESSAGE_FILE, &ca);
    const std::string sqlstate(ca.sqlstate, sizeof ca.sqlstate);
    const kelhost::EngineContext* context = kelhost::EngineContext::current();
    const bool damage = context != nullptr && !context->policyFile().empty() && isDamage(message.data());
    return {fmt::format("{}: {}", what, message.data()),
            damage ? kelhost::adviceOnDamage(context->policyFile()) : hintFor(sqlstate, message.data()), ca.sqlcode,
            sqlstate};
}

}  // namespace kelpolicy
