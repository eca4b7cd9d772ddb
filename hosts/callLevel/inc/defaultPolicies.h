/* The documents that a new policy table starts with: equal in effect to the library's built-in defaults. */
#ifndef KELHOST_DEFAULT_POLICIES_H
#define KELHOST_DEFAULT_POLICIES_H

#include <array>
#include <string_view>

namespace kelhost {

struct DefaultPolicy {
    std::string_view med;
    std::string_view decision;
    std::string_view name;
    std::string_view document;
};

extern const std::array<DefaultPolicy, 5> defaultPolicies;

}  // namespace kelhost

#endif
