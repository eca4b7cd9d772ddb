/* The policy document model: a parsed policy-language document is a tree of SQLPIPolicyElement objects, one for each
 * XML element, of a class chosen by the element's name.
 *
 * Memory: every object comes from the engine's default pool; `new` gives null instead of throwing, so every result is
 * tested. An element owns its children list, the list's nodes, the child elements and its text: `delete` on a tree's
 * root frees all of it, without recursion.
 *
 * Threads: searches move cursors inside the tree, so one tree is used by one thread at a time. */
#ifndef SQLPI_POLICY_BASE_H
#define SQLPI_POLICY_BASE_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <xercesc/util/XercesDefs.hpp>

#include "sqlpiApi.h"

XERCES_CPP_NAMESPACE_BEGIN
class AttributeList;
XERCES_CPP_NAMESPACE_END

enum SQLPI_POL_ELEMENT_TYPE : uint32_t {
    SQLPI_ELEMENT_NONE = 0, /* every name that is not in the catalogue */
#define SQLPI_ELEMENT(value, enumerator, name, elementClass) SQLPI_ELEMENT_##enumerator = (value),
#include "sqlpiPolicyElements.def"
#undef SQLPI_ELEMENT
};
constexpr uint32_t SQLPI_ELEMENT_TYPES = 99;

enum SQLPI_POL_ATTRIBUTE_TYPE : uint32_t {
    SQLPI_ATTRIBUTE_UNKNOWN = 0, /* every name that is not in the catalogue */
#define SQLPI_ATTRIBUTE(value, enumerator, name) SQLPI_ATTRIBUTE_##enumerator = (value),
#include "sqlpiPolicyAttributes.def"
#undef SQLPI_ATTRIBUTE
};
constexpr uint32_t SQLPI_ATTRIBUTE_TYPES = 16;

/* Allocation from the engine's default pool. */
class SQLPI_VISIBLE SQLPIBase {
public:
    virtual ~SQLPIBase() = default;
    static void* operator new(size_t size) noexcept;
    static void operator delete(void* block) noexcept;
};

/* A list's node. It does not own its payload. */
class SQLPI_VISIBLE SQLPIListElement : public virtual SQLPIBase {
public:
    SQLPIListElement() = default;
    SQLPIListElement(SQLPIListElement* previousNode, SQLPIListElement* nextNode, void* payload,
                     uint32_t payloadLength) noexcept
        : previous(previousNode), next(nextNode), data(payload), length(payloadLength) {}

    void setData(void* payload, uint32_t payloadLength) noexcept {
        data = payload;
        length = payloadLength;
    }
    void setNext(SQLPIListElement* node) noexcept { next = node; }
    void setPrevious(SQLPIListElement* node) noexcept { previous = node; }
    SQLPIListElement* getNext() const noexcept { return next; }
    SQLPIListElement* getPrevious() const noexcept { return previous; }
    uint32_t getLength() const noexcept { return length; }

    SQLPIListElement* previous = nullptr;
    SQLPIListElement* next = nullptr;
    void* data = nullptr; /* in an element tree: the child, an SQLPIPolicyElement */
    uint32_t length = 0;  /* the payload's length in bytes, as given */
};

/* A list with one cursor. It owns neither nodes nor payloads. */
class SQLPI_VISIBLE SQLPIList : public virtual SQLPIBase {
public:
    SQLPIList() = default;
    explicit SQLPIList(SQLPIListElement* node) noexcept : first(node), last(node), current(node) {}

    /* Appends. The cursor moves only when the list was empty. */
    void addElement(SQLPIListElement* node) noexcept;

    SQLPIListElement* getFirstElement() const noexcept { return first; }
    SQLPIListElement* getLastElement() const noexcept { return last; }
    void reset() noexcept { current = first; }

    /* The node under the cursor, which moves on; null at the end. */
    SQLPIListElement* getNextElement() noexcept {
        SQLPIListElement* node = current;
        if (node != nullptr) current = node->next;
        return node;
    }

    /* Positions count from the node behind the head, which is position 0 and 1 alike; the head has none. Where there is
     * no such position, the result is null or nothing happens. */
    SQLPIListElement* getElement(uint32_t position) const noexcept;
    /* Links `node` before that position; `first` and `last` stay. */
    void insertElement(SQLPIListElement* node, uint32_t position) noexcept;
    /* Unlinks the node at that position without destroying it; the cursor stays. Returns 1 when there was one, else 0.
     */
    uint32_t deleteElement(uint32_t position) noexcept;

    SQLPIListElement* first = nullptr;
    SQLPIListElement* last = nullptr;
    SQLPIListElement* current = nullptr; /* what getNextElement returns next */
};

/* An element of a document. */
class SQLPI_VISIBLE SQLPIPolicyElement : public virtual SQLPIBase {
public:
    SQLPIPolicyElement() noexcept;
    SQLPIPolicyElement(const SQLPIPolicyElement&) = delete;
    SQLPIPolicyElement& operator=(const SQLPIPolicyElement&) = delete;
    ~SQLPIPolicyElement() override;

    /* Hands each attribute of a start tag to parseAttribute, unknown ones with type 0; values are UTF-8. Throws when
     * there is no memory for a value, or when it is not well formed. */
    virtual void parse(XERCES_CPP_NAMESPACE_QUALIFIER AttributeList& attributes);
    /* Takes one attribute; this class ignores it. A null value is ignored by every class. */
    virtual void parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value);

    /* The catalogue's value for an attribute name, 0 when it has none. */
    static SQLPI_POL_ATTRIBUTE_TYPE getAttributeType(const char* name) noexcept;

    /* Appends to `text`. Null is ignored; when there is no memory the old text is kept and the chunk lost. */
    void appendText(const char* chunk) noexcept;
    void appendText(const char* chunk, size_t length) noexcept;

    /* The next element of that type below `from`, depth first, in document order, from where the cursors stand; null
     * when there is none. Each visited element's cursor is advanced past the visited child, so an element is found once
     * until resetAll; after a match deeper inside a child of `from` the search goes on behind that child. */
    SQLPIPolicyElement* findElement(SQLPIPolicyElement* from, SQLPI_POL_ELEMENT_TYPE type) noexcept;
    /* The same, and then below what is left of each ancestor of `from`, innermost first. */
    SQLPIPolicyElement* findNextElement(SQLPIPolicyElement* from, SQLPI_POL_ELEMENT_TYPE type) noexcept;
    /* Sets the cursors of this element and of all below it back to the first child. */
    void resetAll() noexcept;

    SQLPIPolicyElement* parent = nullptr; /* null for the root */
    SQLPIList* children;                  /* null only when there was no memory; such an element counts as not made */
    SQLPI_POL_ELEMENT_TYPE elementType = SQLPI_ELEMENT_NONE;
    char* text = nullptr; /* character data directly inside, terminated UTF-8; null when there is none */
};

/* --- classes with data of their own ------------------------------------------------------------------------------- */

struct SQLPIElementID {
    char characters[1024] = {};
};

/* An element that others may refer to. */
class SQLPI_VISIBLE SQLPIReferredElement : public virtual SQLPIPolicyElement {
public:
    SQLPIElementID getElementID() const noexcept { return elementID; }
    void setElementID(const SQLPIElementID& id) noexcept { elementID = id; }

    SQLPIElementID elementID;
};

/* An element with a text that it does not own. */
class SQLPI_VISIBLE SQLPIString : public virtual SQLPIPolicyElement {
public:
    SQLPIString() = default;
    explicit SQLPIString(char* string) noexcept;

    void setData(void* string, uint32_t stringLength) noexcept {
        data = static_cast<char*>(string);
        length = stringLength;
    }
    explicit operator char*() const noexcept { return data; }

    char* data = nullptr;
    uint32_t length = 0; /* bytes at `data` */
};

class SQLPI_VISIBLE SQLPIInterval : public virtual SQLPIReferredElement {
public:
    bool includesLowerBound = true;
    bool includesUpperBound = true;
};

class SQLPI_VISIBLE SQLPIPolicyTimePeriodCondition : public virtual SQLPIReferredElement {};

/* A sensor; its name is the element's text. */
class SQLPI_VISIBLE SQLPISensors : public virtual SQLPIPolicyElement {
public:
    /* The text of the "Constant" that directly follows this sensor under the same parent, or null. Leaves the parent's
     * cursor behind the node that it looked at. */
    char* getConstant() noexcept;
};

class SQLPI_VISIBLE SQLPIBackupAction : public virtual SQLPIPolicyElement {
public:
    void parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) override;

    int32_t mode = 2; /* 0 online, 1 offline, 2 not stated */
};

class SQLPI_VISIBLE SQLPIReorgAction : public virtual SQLPIPolicyElement {
public:
    void parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) override;

    int32_t useTempTbsp = 0;      /* 1 true, 0 false */
    int32_t mode = 0;             /* 0 read, 1 write */
    int32_t dictionaryOption = 0; /* 0 keep, 1 rebuild */
    int64_t reclaimExtentsSizeForMDCTables = 0;
    int64_t numInxPseudoEmptyPagesForVolatileTables = 0;
};

class SQLPI_VISIBLE SQLPIStatsProfMonitor : public virtual SQLPIPolicyElement {
public:
    void parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) override;

    int32_t maxFiles = 20;
    int32_t maxFileSize = 128;
};

class SQLPI_VISIBLE SQLPIStatsProfPopulation : public virtual SQLPIPolicyElement {
public:
    void parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) override;

    int32_t maxFWSize = 20;
};

class SQLPI_VISIBLE SQLPIStatsProfType : public virtual SQLPIPolicyElement {
public:
    SQLPIStatsProfType() noexcept;
    ~SQLPIStatsProfType() override;
    void parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) override;

    /* Keeps a copy of the text; null does nothing; without memory `profileGeneration` becomes null. */
    void setProfileGen(const char* generation) noexcept;

    int32_t maxColGroupStats = 50;
    int32_t maxSingleTableStats = 50;
    int32_t maxFrequentValues = 20;
    int32_t maxProfiles = 20;
    char* profileGeneration = nullptr; /* owned, terminated, from the default pool; at first "ALL" */
};

class SQLPI_VISIBLE SQLPIMaintenanceWindowCondition : public SQLPIPolicyTimePeriodCondition {
public:
    void parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) override;

    int32_t maintWindowType = 0; /* 0 online, 1 offline */
};

/* --- classes that only say what an element is --------------------------------------------------------------------- */

class SQLPI_VISIBLE SQLPIPolicyDocument : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIMetadata : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIDecisionSection : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIPreconditionSection : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIPolicySection : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIMEDScopeName : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIASValue : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIASName : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIResultValue : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIResultName : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIDecisionName : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIPrecondition : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIDecisionReference : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIACPolicy : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIScope : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIBusinessValue : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIPreconditionReference : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIConst : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPISimplePolicyCondition : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPILowerBound : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIUpperBound : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPISet : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIMonthOfYearMask : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIDayOfMonthMask : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIDayOfWeekMask : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPITimeOfDayMask : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPINop : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPITables : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIIndexes : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIMode : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIPathname : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIStatsProfFlag : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIStatsProfSensors : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIStatsProfDecision : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIStatsProfActionName : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIStatsProfAction : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIStatsProfFeedbackWh : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIExpression : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIOperator : public virtual SQLPIPolicyElement {};
class SQLPI_VISIBLE SQLPIDateTimeRange : public virtual SQLPIPolicyElement {};

class SQLPI_VISIBLE SQLPIDecision : public virtual SQLPIReferredElement {};
class SQLPI_VISIBLE SQLPIGoalConstraint : public virtual SQLPIReferredElement {};
class SQLPI_VISIBLE SQLPISimplePolicyAction : public virtual SQLPIReferredElement {};

class SQLPI_VISIBLE SQLPIKELPolicyDocument : public SQLPIPolicyDocument {};
class SQLPI_VISIBLE SQLPIDescription : public SQLPIString {};
class SQLPI_VISIBLE SQLPISimplePolicyActionName : public SQLPIString {};
class SQLPI_VISIBLE SQLPITimePeriod : public SQLPIDateTimeRange {};

class SQLPI_VISIBLE SQLPILogicalExpression : public SQLPIExpression {};
class SQLPI_VISIBLE SQLPIArithmeticExpression : public SQLPIExpression {};
class SQLPI_VISIBLE SQLPILogicalOperator : public SQLPIOperator {};
class SQLPI_VISIBLE SQLPIArithmeticOperator : public SQLPIOperator {};

class SQLPI_VISIBLE SQLPIAnd : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIOr : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPINot : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIEqual : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIGreaterThan : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPILessThan : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPILessThanEq : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIGreaterThanEq : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIStrlen : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIStrExpr : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIStrEq : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIStrLT : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIStrGT : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIStrsw : public SQLPILogicalOperator {};
class SQLPI_VISIBLE SQLPIStrew : public SQLPILogicalOperator {};

class SQLPI_VISIBLE SQLPIPlus : public SQLPIArithmeticOperator {};
class SQLPI_VISIBLE SQLPIMinus : public SQLPIArithmeticOperator {};
class SQLPI_VISIBLE SQLPIMult : public SQLPIArithmeticOperator {};
class SQLPI_VISIBLE SQLPIDiv : public SQLPIArithmeticOperator {};
class SQLPI_VISIBLE SQLPIUnaryOperator : public SQLPIArithmeticOperator {};
class SQLPI_VISIBLE SQLPIUnaryMinus : public SQLPIUnaryOperator {};

#endif
