/* What the wrappers ask. Internal. */
#ifndef KELHOST_FAULT_PLAN_H
#define KELHOST_FAULT_PLAN_H

#include <optional>

#include "faulty.h"

namespace faulty {

struct Fault {
    int32_t code;
    int32_t sqlcode;
};

/* Counts a call; the fault that it must show, if one is planned. */
std::optional<Fault> countCall(Service service) noexcept;

}  // namespace faulty

#endif
