/* How the functions of the package runtime report. Internal. */
#ifndef KELHOST_REPORT_TO_H
#define KELHOST_REPORT_TO_H

#include <exception>
#include <new>

#include "outcome.h"

namespace kelhost {

/* Runs `work`, leaves its outcome in `ca` and returns the SQLCODE. Lets no exception out: without memory the detail is
 * left out. */
template <class Work>
int32_t reportTo(sqlca& ca, Work work) noexcept {
    Outcome outcome;
    try {
        outcome = work();
    } catch (const std::bad_alloc&) {
        outcome = failure("57011", {});
    } catch (const std::exception&) {
        outcome = failure("58004", {});
    }
    fillSqlca(ca, outcome);
    return outcome.sqlcode;
}

}  // namespace kelhost

#endif
