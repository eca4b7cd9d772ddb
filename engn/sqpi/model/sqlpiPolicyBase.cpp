/* The policy document model: allocation, lists, elements and their searches, typed attributes. */
#include "sqlpiPolicyBase.h"

#include <array>
#include <cstring>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/sax/SAXException.hpp>

#include "base/sqlpiMemory.h"
#include "base/sqlpiNumber.h"
#include "base/sqlpiUtf8.h"
#include "model/sqlpiPolicyCatalogue.h"

namespace {

constexpr const char* tag = "sqlpiPolicyBase";

SQLPIPolicyElement* childOf(const SQLPIListElement* node) noexcept {
    return static_cast<SQLPIPolicyElement*>(node->data);
}

/* The child under the element's cursor, which moves on, with its parent link made good so that a walk finds back up
 * without recursion; null at the end. */
SQLPIPolicyElement* takeNextChild(SQLPIPolicyElement* element) noexcept {
    if (element->children == nullptr) return nullptr;
    while (const SQLPIListElement* node = element->children->getNextElement()) {
        if (SQLPIPolicyElement* child = childOf(node)) {
            child->parent = element;
            return child;
        }
    }
    return nullptr;
}

void resetCursor(SQLPIPolicyElement* element) noexcept {
    if (element->children != nullptr) element->children->reset();
}

}  // namespace

/* --- allocation and lists ----------------------------------------------------------------------------------------- */

void* SQLPIBase::operator new(size_t size) noexcept {
    return sqlpiTakeMemory(nullptr, size, tag, __LINE__);
}

void SQLPIBase::operator delete(void* block) noexcept {
    sqlofmblkEx(block, tag, __LINE__);
}

void SQLPIList::addElement(SQLPIListElement* node) noexcept {
    if (last != nullptr) last->next = node;
    if (node != nullptr) node->previous = last;
    if (first == nullptr) first = current = node;
    last = node;
}

SQLPIListElement* SQLPIList::getElement(uint32_t position) const noexcept {
    SQLPIListElement* node = first == nullptr ? nullptr : first->next;
    for (uint32_t counter = 1; counter < position && node != nullptr; ++counter) node = node->next;
    return node;
}

void SQLPIList::insertElement(SQLPIListElement* node, uint32_t position) noexcept {
    SQLPIListElement* successor = getElement(position);
    if (node == nullptr || successor == nullptr) return;
    node->previous = successor->previous;
    if (node->previous != nullptr) node->previous->next = node;
    node->next = successor;
    successor->previous = node;
}

uint32_t SQLPIList::deleteElement(uint32_t position) noexcept {
    const SQLPIListElement* node = getElement(position);
    if (node == nullptr) return 0;
    (node->previous == nullptr ? first : node->previous->next) = node->next;
    (node->next == nullptr ? last : node->next->previous) = node->previous;
    return 1;
}

/* --- elements ----------------------------------------------------------------------------------------------------- */

SQLPIPolicyElement::SQLPIPolicyElement() noexcept : children(new SQLPIList) {}

/* Children go before their parent and each before its node, in document order, as if each destroyed its own. The walk
 * goes down to an element without children, destroys it, and returns over the parent link. */
SQLPIPolicyElement::~SQLPIPolicyElement() {
    SQLPIPolicyElement* element = this;
    while (true) {
        SQLPIListElement* node = element->children == nullptr ? nullptr : element->children->first;
        if (node != nullptr) {
            SQLPIPolicyElement* child = childOf(node);
            if (child != nullptr && child->children != nullptr && child->children->first != nullptr) {
                child->parent = element;
                element = child;
                continue;
            }
            element->children->first = node->next;
            delete child;
            delete node;
            continue;
        }
        if (element == this) break;
        element = element->parent;
    }
    delete children;
    sqlofmblkEx(text, tag, __LINE__);
}

void SQLPIPolicyElement::parse(XERCES_CPP_NAMESPACE_QUALIFIER AttributeList& attributes) {
    for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
        const std::u16string_view name(attributes.getName(i));
        const std::u16string_view value(attributes.getValue(i));
        if (sqlpiEndsInHalf(value)) throw xercesc::SAXException(u"An attribute ends in half of a character.");
        parseAttribute(sqlpiAttributeTypeOf(name), sqlpiUtf8Text(value).text());
    }
}

void SQLPIPolicyElement::parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE /*type*/, char* /*value*/) {}

void SQLPIPolicyElement::appendText(const char* chunk) noexcept {
    if (chunk != nullptr) appendText(chunk, std::strlen(chunk));
}

void SQLPIPolicyElement::appendText(const char* chunk, size_t length) noexcept {
    if (chunk == nullptr) return;
    const size_t oldLength = text == nullptr ? 0 : std::strlen(text);
    auto* joined = static_cast<char*>(sqlpiTakeMemory(nullptr, oldLength + length + 1, tag, __LINE__));
    if (joined == nullptr) return;
    if (oldLength > 0) std::memcpy(joined, text, oldLength);
    if (length > 0) std::memcpy(joined + oldLength, chunk, length);
    joined[oldLength + length] = '\0';
    sqlofmblkEx(text, tag, __LINE__);
    text = joined;
}

SQLPIPolicyElement* SQLPIPolicyElement::findElement(SQLPIPolicyElement* from, SQLPI_POL_ELEMENT_TYPE type) noexcept {
    SQLPIPolicyElement* element = from;
    while (element != nullptr) {
        SQLPIPolicyElement* child = takeNextChild(element);
        if (child != nullptr) {
            if (child->elementType == type) return child;
            element = child;
        } else {
            element = element == from ? nullptr : element->parent;
        }
    }
    return nullptr;
}

SQLPIPolicyElement* SQLPIPolicyElement::findNextElement(SQLPIPolicyElement* from,
                                                        SQLPI_POL_ELEMENT_TYPE type) noexcept {
    for (SQLPIPolicyElement* level = from; level != nullptr; level = level->parent)
        if (SQLPIPolicyElement* found = findElement(level, type)) return found;
    return nullptr;
}

void SQLPIPolicyElement::resetAll() noexcept {
    resetCursor(this);
    SQLPIPolicyElement* element = this;
    while (true) {
        if (SQLPIPolicyElement* child = takeNextChild(element)) {
            resetCursor(child);
            element = child;
            continue;
        }
        resetCursor(element);
        if (element == this) return;
        element = element->parent;
    }
}

template <class Element>
Element* sqlpiElementCast(SQLPIPolicyElement* element) {
    return dynamic_cast<Element*>(element);
}
template SQLPISensors* sqlpiElementCast(SQLPIPolicyElement*);
template SQLPIBackupAction* sqlpiElementCast(SQLPIPolicyElement*);
template SQLPIReorgAction* sqlpiElementCast(SQLPIPolicyElement*);
template SQLPIStatsProfMonitor* sqlpiElementCast(SQLPIPolicyElement*);
template SQLPIStatsProfPopulation* sqlpiElementCast(SQLPIPolicyElement*);
template SQLPIStatsProfType* sqlpiElementCast(SQLPIPolicyElement*);
template SQLPIMaintenanceWindowCondition* sqlpiElementCast(SQLPIPolicyElement*);

SQLPIString::SQLPIString(char* string) noexcept
    : data(string), length(string == nullptr ? 0 : static_cast<uint32_t>(std::strlen(string))) {}

/* --- typed attributes --------------------------------------------------------------------------------------------- */

namespace {

/* Sets `field` to the value of the word that equals the text; any other text leaves it. */
struct Word {
    const char* word;
    int32_t value;
};
void setByWord(int32_t& field, const std::array<Word, 2>& words, const char* text) noexcept {
    for (const Word& entry : words)
        if (std::strcmp(text, entry.word) == 0) field = entry.value;
}

constexpr std::array<Word, 2> onlineOrOffline = {{{"online", 0}, {"offline", 1}}};
constexpr std::array<Word, 2> readOrWrite = {{{"read", 0}, {"write", 1}}};
constexpr std::array<Word, 2> trueOrFalse = {{{"true", 1}, {"false", 0}}};
constexpr std::array<Word, 2> keepOrRebuild = {{{"keep", 0}, {"rebuild", 1}}};

}  // namespace

void SQLPIBackupAction::parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) {
    if (value != nullptr && type == SQLPI_ATTRIBUTE_MODE) setByWord(mode, onlineOrOffline, value);
}

void SQLPIReorgAction::parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) {
    if (value == nullptr) return;
    switch (type) {
        case SQLPI_ATTRIBUTE_MODE:
            setByWord(mode, readOrWrite, value);
            break;
        case SQLPI_ATTRIBUTE_USE_TEMP_TBSP:
            setByWord(useTempTbsp, trueOrFalse, value);
            break;
        case SQLPI_ATTRIBUTE_DICTIONARY_OPTION:
            setByWord(dictionaryOption, keepOrRebuild, value);
            break;
        case SQLPI_ATTRIBUTE_RECLAIM_EXTENTS_SIZE:
            reclaimExtentsSizeForMDCTables = sqlpiToInt64(value);
            break;
        case SQLPI_ATTRIBUTE_NUM_INX_PSEUDO_EMPTY_PAGES:
            numInxPseudoEmptyPagesForVolatileTables = sqlpiToInt64(value);
            break;
        default:
            break;
    }
}

void SQLPIStatsProfMonitor::parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) {
    if (value == nullptr) return;
    if (type == SQLPI_ATTRIBUTE_MAX_FILES) maxFiles = sqlpiToInt32(value);
    if (type == SQLPI_ATTRIBUTE_MAX_FILE_SIZE) maxFileSize = sqlpiToInt32(value);
}

void SQLPIStatsProfPopulation::parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) {
    if (value != nullptr && type == SQLPI_ATTRIBUTE_MAX_FW_SIZE) maxFWSize = sqlpiToInt32(value);
}

SQLPIStatsProfType::SQLPIStatsProfType() noexcept {
    setProfileGen("ALL");
}

SQLPIStatsProfType::~SQLPIStatsProfType() {
    sqlofmblkEx(profileGeneration, "sqlpiStatsProf", __LINE__);
}

void SQLPIStatsProfType::parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) {
    if (value == nullptr) return;
    switch (type) {
        case SQLPI_ATTRIBUTE_MAX_SINGLE_TABLE_STATS:
            maxSingleTableStats = sqlpiToInt32(value);
            break;
        case SQLPI_ATTRIBUTE_MAX_COL_GROUP_STATS:
            maxColGroupStats = sqlpiToInt32(value);
            break;
        case SQLPI_ATTRIBUTE_MAX_FREQUENT_VALUES:
            maxFrequentValues = sqlpiToInt32(value);
            break;
        case SQLPI_ATTRIBUTE_MAX_PROFILES:
            maxProfiles = sqlpiToInt32(value);
            break;
        case SQLPI_ATTRIBUTE_PROFILE_GENERATION:
            setProfileGen(value);
            break;
        default:
            break;
    }
}

void SQLPIStatsProfType::setProfileGen(const char* generation) noexcept {
    if (generation == nullptr) return;
    const size_t size = std::strlen(generation) + 1;
    sqlofmblkEx(profileGeneration, "sqlpiStatsProf", __LINE__);
    profileGeneration = static_cast<char*>(sqlpiTakeMemory(nullptr, size, "sqlpiStatsProf", __LINE__));
    if (profileGeneration != nullptr) std::memcpy(profileGeneration, generation, size);
}

void SQLPIMaintenanceWindowCondition::parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) {
    if (value != nullptr && type == SQLPI_ATTRIBUTE_WINDOW_TYPE) setByWord(maintWindowType, onlineOrOffline, value);
}

char* SQLPISensors::getConstant() noexcept {
    if (parent == nullptr || parent->children == nullptr) return nullptr;
    SQLPIList* siblings = parent->children;
    // A search that has just found this sensor left the cursor right behind it; only another caller needs the walk,
    // which would make reading many sensors under one parent quadratic.
    const SQLPIListElement* before = siblings->current == nullptr ? siblings->last : siblings->current->previous;
    if (before == nullptr || childOf(before) != this) {
        siblings->reset();
        const SQLPIListElement* node = siblings->getNextElement();
        while (node != nullptr && childOf(node) != this) node = siblings->getNextElement();
    }
    const SQLPIListElement* node = siblings->getNextElement();
    const SQLPIPolicyElement* sibling = node == nullptr ? nullptr : childOf(node);
    return sibling != nullptr && sibling->elementType == SQLPI_ELEMENT_CONSTANT ? sibling->text : nullptr;
}
