/* The maintenance windows of a policy-language document as they are written. */
#ifndef KELPOLICY_WINDOW_PLACES_H
#define KELPOLICY_WINDOW_PLACES_H

#include <optional>
#include <string>
#include <vector>

#include "document/documentOutline.h"

namespace kelpolicy {

/* A child of a condition that the engine reads. */
struct WindowPart {
    SQLPI_POL_ELEMENT_TYPE type;
    TextPlace place;
    std::string text{};
};

/* A "kel:MaintenanceWindowCondition". */
struct WindowCondition {
    TextPlace place;
    std::optional<std::string> windowType{}; /* the attribute as written */
    std::vector<WindowPart> parts{};

    bool isOffline() const { return windowType == "offline"; }
};

/* All conditions in document order, each with the place of its start tag. */
std::vector<WindowCondition> findWindowConditions(const DocumentOutline& outline);

}  // namespace kelpolicy

#endif
