#include "failure.h"

#include <fmt/format.h>

#include <array>
#include <string_view>

#include "messages.h"
#include "text.h"

namespace kelpolicy {
namespace {

struct Advice {
    std::string_view sqlstate; /* a whole state or the beginning of one; the first match counts */
    const char* hint;
};

constexpr const char* checkConnection =
    "Check the connection string (--database, --database-file or KELPOLICY_DATABASE), and that its driver is installed "
    "and its server runs.";
constexpr Advice advice[] = {
    {"40001", "Another program is writing to the policy table; run the command again when it is done."},
    {"08", checkConnection},
    {"IM", checkConnection},
    {"HY",
     "Check the connection string (--database, --database-file or KELPOLICY_DATABASE); log/diagnostic.log of the "
     "instance may tell more."},
    {"42501", "Run the command as a user who may read the policy table, or have the right granted."},
    {"42", "Check that SYSTOOLS.POLICY is the policy table, with MED, DECISION, NAME, UPDATE_TIME and POLICY."},
    {"53100", "Make room on the device that holds the database."},
    {"57011", "Free memory and run the command again."},
    {"58030", "Check that --instance (or KELPOLICY_INSTANCE) names a directory that you may read and write."},
};

const char* hintFor(std::string_view sqlstate) {
    for (const Advice& entry : advice)
        if (sqlstate.starts_with(entry.sqlstate)) return entry.hint;
    return "Look into log/diagnostic.log of the instance directory for what led to it.";
}

}  // namespace

std::string shownDetail(const Failure& failure) {
    std::string shown = printable(failure.document);
    if (failure.line > 0) shown += fmt::format(":{}:{}", failure.line, failure.column);
    shown += fmt::format("{}error: {}\n", shown.empty() ? "" : ": ", printable(failure.detail));
    return shown + failure.excerpt;
}

Failure failureOf(const kelhost::HostError& error) {
    return {error.what(), hintFor(error.sqlstate()), error.sqlcode(), error.sqlstate()};
}

Failure failureOf(const std::string& what, const sqlca& ca) {
    std::array<char, 1024> message{};
    sqlaintp_api(message.data(), message.size(), 0, SQL_MESSAGE_FILE, &ca);
    const std::string sqlstate(ca.sqlstate, sizeof ca.sqlstate);
    return {fmt::format("{}: {}", what, message.data()), hintFor(sqlstate), ca.sqlcode, sqlstate};
}

}  // namespace kelpolicy
