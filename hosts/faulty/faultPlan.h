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

/* Begins the definition of the wrapper of a function. The linker's names: __wrap_f is called in place of f, __real_f is
 * f. */
#define FAULTY_WRAP(result, name, parameters)   \
    extern "C" result __real_##name parameters; \
    extern "C" result __wrap_##name parameters; \
    result __wrap_##name parameters

#endif
