/* What the policy services share when they read an element tree. Internal. */
#ifndef SQLPI_TREE_WALK_H
#define SQLPI_TREE_WALK_H

#include <cstdint>
#include <cstring>

#include "model/sqlpiPolicyCatalogue.h"
#include "model/sqlpiTree.h"
#include "sqlpiPolicyBase.h"
#include "sqlpiPolicyCommonParser.h"

/* Parses a document into `tree`, which stays null when there is none. Returns the parser's status. */
inline int32_t sqlpiParseInto(sqlpiTree& tree, char* document, int32_t length) noexcept {
    SQLPIPolicyElement* root = nullptr;
    const int32_t status = sqlpi_policy_parse(nullptr, length, document, &root);
    tree.reset(root);
    return status;
}

/* Prepares a tree for a fresh series of searches: they begin at its start and stay below `root`, also when that stands
 * inside another document. */
inline void sqlpiRewind(SQLPIPolicyElement& root) noexcept {
    root.parent = nullptr;
    root.resetAll();
}

/* An element as an object of a class, or null; `threw` tells an exception of the runtime from another class. */
template <class Element>
struct sqlpiCastResult {
    Element* element;
    bool threw;

    const char* complaint() const noexcept { return threw ? "Dynamic cast exception" : "Dynamic cast error"; }
};

template <class Element>
sqlpiCastResult<Element> sqlpiGuardedCast(SQLPIPolicyElement* element) noexcept {
    try {
        return {sqlpiElementCast<Element>(element), false};
    } catch (...) {
        return {nullptr, true};
    }
}

/* Visits each element of a type below `root` from where the cursors stand, in document order. */
template <class Visit>
void sqlpiForEachElement(SQLPIPolicyElement& root, SQLPI_POL_ELEMENT_TYPE type, Visit visit) noexcept {
    for (SQLPIPolicyElement* element = root.findElement(&root, type); element != nullptr;
         element = root.findNextElement(element, type))
        visit(*element);
}

/* Visits the direct children in order without moving the cursor, so that searches find them afterwards. */
template <class Visit>
void sqlpiForEachChild(const SQLPIPolicyElement& parent, Visit visit) noexcept {
    if (parent.children == nullptr) return;
    for (const SQLPIListElement* node = parent.children->getFirstElement(); node != nullptr; node = node->getNext())
        if (node->data != nullptr) visit(*static_cast<SQLPIPolicyElement*>(node->data));
}

inline SQLPIPolicyElement* sqlpiFirstChild(const SQLPIPolicyElement& parent) noexcept {
    const SQLPIListElement* node = parent.children == nullptr ? nullptr : parent.children->getFirstElement();
    return node == nullptr ? nullptr : static_cast<SQLPIPolicyElement*>(node->data);
}

/* Whether a text that may be absent is exactly that word. */
inline bool sqlpiIsWord(const char* text, const char* word) noexcept {
    return text != nullptr && std::strcmp(text, word) == 0;
}

#endif
