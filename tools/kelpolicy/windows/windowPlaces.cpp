#include "windows/windowPlaces.h"

#include <algorithm>
#include <iterator>

namespace kelpolicy {
namespace {

constexpr SQLPI_POL_ELEMENT_TYPE partTypes[] = {SQLPI_ELEMENT_TIME_PERIOD, SQLPI_ELEMENT_MONTH_OF_YEAR_MASK,
                                                SQLPI_ELEMENT_DAY_OF_MONTH_MASK, SQLPI_ELEMENT_DAY_OF_WEEK_MASK,
                                                SQLPI_ELEMENT_TIME_OF_DAY_MASK};

bool isPart(SQLPI_POL_ELEMENT_TYPE type) {
    return std::find(std::begin(partTypes), std::end(partTypes), type) != std::end(partTypes);
}

WindowCondition conditionAt(const DocumentOutline& outline, uint32_t element) {
    WindowCondition condition = {outline.place(element)};
    for (const auto& [name, value] : outline.attributes(element))
        if (name == "windowType") condition.windowType = value;
    for (uint32_t child = outline.firstChild(element); child != DocumentOutline::none; child = outline.at(child).next) {
        if (!isPart(outline.typeOf(child))) continue;
        const std::string* text = outline.text(child);
        condition.parts.push_back({outline.typeOf(child), outline.place(child), text == nullptr ? "" : *text});
    }
    return condition;
}

}  // namespace

std::vector<WindowCondition> findWindowConditions(const DocumentOutline& outline) {
    std::vector<WindowCondition> conditions;
    for (uint32_t i = 0; i < outline.elements().size(); ++i)
        if (outline.typeOf(i) == SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION)
            conditions.push_back(conditionAt(outline, i));
    return conditions;
}

}  // namespace kelpolicy
