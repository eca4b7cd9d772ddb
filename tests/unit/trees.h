/* Small element trees, parsed or built by hand. */
#ifndef TESTS_UNIT_TREES_H
#define TESTS_UNIT_TREES_H

#include <memory>
#include <string>

#include "sqlpiPolicyCommonParser.h"

using Tree = std::unique_ptr<SQLPIPolicyElement>;

/* Parses; the status goes to `status` when given. */
inline Tree parseTree(std::string document, int32_t* status = nullptr) {
    SQLPIPolicyElement* root = nullptr;
    const int32_t result = sqlpi_policy_parse(nullptr, static_cast<int32_t>(document.size()), document.data(), &root);
    if (status != nullptr) *status = result;
    return Tree(root);
}

/* Links a new element of that class below `parent` as the tree builder does. */
template <class Element = SQLPIPolicyElement>
Element* addChild(SQLPIPolicyElement* parent, SQLPI_POL_ELEMENT_TYPE type, const char* text = nullptr) {
    auto* element = new Element;
    element->elementType = type;
    element->appendText(text);
    element->parent = parent;
    SQLPIPolicyElement* payload = element;
    if (parent != nullptr)
        parent->children->addElement(new SQLPIListElement(nullptr, nullptr, payload, sizeof payload));
    return element;
}

/* The tree as text: the type's value, the text in quotes where there is one, the children in parentheses. */
inline std::string outline(const SQLPIPolicyElement* element) {
    std::string result = std::to_string(element->elementType);
    if (element->text != nullptr) result += "'" + std::string(element->text) + "'";
    std::string inner;
    for (const SQLPIListElement* node = element->children->getFirstElement(); node != nullptr; node = node->getNext())
        inner += (inner.empty() ? "" : " ") + outline(static_cast<const SQLPIPolicyElement*>(node->data));
    return inner.empty() ? result : result + "(" + inner + ")";
}

#endif
