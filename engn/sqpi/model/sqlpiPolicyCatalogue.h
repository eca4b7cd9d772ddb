/* The catalogue of elements and attributes. Internal. */
#ifndef SQLPI_POLICY_CATALOGUE_H
#define SQLPI_POLICY_CATALOGUE_H

#include <string_view>

#include "sqlpiPolicyBase.h"

/* The element as an object of that class, or null when it is of another. The classes are those that the policy services
 * read. Callers guard it against exceptions of the runtime. */
template <class Element>
Element* sqlpiElementCast(SQLPIPolicyElement* element);

const char* sqlpiElementName(SQLPI_POL_ELEMENT_TYPE type) noexcept; /* "NONE" for 0 and beyond */
const char* sqlpiAttributeName(
    SQLPI_POL_ATTRIBUTE_TYPE type) noexcept; /* "*** Unknown Attribute ***" for 0 and beyond */
SQLPI_POL_ELEMENT_TYPE sqlpiElementTypeOf(std::string_view name) noexcept;
SQLPI_POL_ELEMENT_TYPE sqlpiElementTypeOf(std::u16string_view name) noexcept;
SQLPI_POL_ATTRIBUTE_TYPE sqlpiAttributeTypeOf(std::u16string_view name) noexcept;

/* A new element of the class that the catalogue gives the type, with its `elementType` still 0; null when there is no
 * memory. */
SQLPIPolicyElement* sqlpiNewElement(SQLPI_POL_ELEMENT_TYPE type) noexcept;

#endif
