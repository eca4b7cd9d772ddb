/* Bounds on what an XML document may make the XML library do, for every parser of the engine: whatever the document
 * declares, its parse takes time linear in its length, little stack and bounded memory. Internal. */
#ifndef SQLPI_XML_BOUNDS_H
#define SQLPI_XML_BOUNDS_H

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/validators/DTD/DTDAttDef.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include "document/sqlpiNameSpread.h"

/* The most bytes that parsing a document of `length` bytes takes. */
constexpr size_t sqlpiParseMemoryBudget(size_t length) noexcept {
    return 512 * length + (size_t{16} << 20);
}

/* The most stack that one parse takes, from where it begins. The XML library goes one call deeper for each parenthesis
 * of a declared content model; engines give their processes little stack. */
constexpr size_t sqlpiMostParseStack = size_t{20} << 10;

/* What one document may still declare, and make of it. Each call returns null, or why the document is refused. */
class sqlpiXmlBounds {
public:
    static constexpr size_t mostExpansions = 64;                  /* of entities, in the document element */
    static constexpr size_t mostEntityText = 4096;                /* characters of all entities */
    static constexpr size_t mostAttributeDefinitions = 128;       /* each costs time at each tag */
    static constexpr size_t mostDeclarations = size_t{16} * 1024; /* bytes that are read before the declarations end */
    static constexpr size_t mostAttributes = 1000;                /* of one element: each may look through the others */
    static constexpr size_t fewAttributes = 200; /* of one element: looking through them takes no time */
    static constexpr size_t mostElementNames = size_t{64} * 1024; /* that are not declared: each takes 0.7 KB */

    explicit constexpr sqlpiXmlBounds(size_t documentLength) noexcept
        : text_(2 * documentLength + (size_t{64} << 10)), comparisons_(4 * documentLength + (size_t{1} << 20)) {}

    /* The library checks how often an entity is expanded in the document element, but neither in declarations nor how
     * deep: so no entity may be used there again. */
    const XMLCh* declareEntity(const xercesc::DTDEntityDecl& entity) noexcept;
    const XMLCh* defineAttribute(const xercesc::DTDAttDef& attribute) noexcept;
    const XMLCh* spendText(size_t characterCount) noexcept;
    const XMLCh* readDeclarations(size_t byteCount) noexcept;
    const XMLCh* spendComparisons(size_t count) noexcept;

private:
    size_t text_;        /* of all text and attributes, in characters, and of what is defined for each tag */
    size_t comparisons_; /* of names in one tag that the XML library cannot tell apart by their hash */
    size_t entityText_ = mostEntityText;
    size_t attributeDefinitions_ = mostAttributeDefinitions;
    size_t declarations_ = mostDeclarations;
};

/* Is asked before the XML library reads on in a document. */
class sqlpiReadWatcher {
public:
    /* `byteCount`: how much it had the last time. May throw. */
    virtual void beforeRead(size_t byteCount) = 0;

protected:
    ~sqlpiReadWatcher() = default;
};

/* A SAX or DOM parser within the bounds. A document that passes one ends the parse with a SAXParseException that says
 * which and where; its message is the only report. A document without a document type costs next to
 * nothing. */
template <class Parser>
class sqlpiBoundedParser : public Parser, public sqlpiReadWatcher {
public:
    template <class... Arguments>
    explicit sqlpiBoundedParser(size_t documentLength, Arguments&&... arguments)
        : Parser(std::forward<Arguments>(arguments)...), bounds_(documentLength), unread_(documentLength) {
        security_.setEntityExpansionLimit(sqlpiXmlBounds::mostExpansions);
        boundScanner();
    }

    /* Another scanner starts without bounds. */
    void useScanner(const XMLCh* name) {
        Parser::useScanner(name);
        boundScanner();
    }

    /* A SAX parser tells of declarations only with a DTD handler. */
    void doctypeDecl(const xercesc::DTDElementDecl& element, const XMLCh* const publicId, const XMLCh* const systemId,
                     const bool hasInternal, const bool hasExternal) override {
        hasDocumentType_ = true;
        inDeclarations_ = hasInternal;
        Parser::doctypeDecl(element, publicId, systemId, hasInternal, hasExternal);
    }
    void endIntSubset() override {
        inDeclarations_ = false;
        Parser::endIntSubset();
    }
    void entityDecl(const xercesc::DTDEntityDecl& entity, const bool isParameter, const bool isIgnored) override {
        endIf(bounds_.declareEntity(entity));
        Parser::entityDecl(entity, isParameter, isIgnored);
    }
    void attDef(const xercesc::DTDElementDecl& element, const xercesc::DTDAttDef& attribute,
                const bool isIgnored) override {
        endIf(bounds_.defineAttribute(attribute));
        Parser::attDef(element, attribute, isIgnored);
    }
    void docCharacters(const XMLCh* const characters, const XMLSize_t length, const bool isCData) override {
        if (hasDocumentType_) endIf(bounds_.spendText(length));
        Parser::docCharacters(characters, length, isCData);
    }
    void startElement(const xercesc::XMLElementDecl& element, const unsigned int uri, const XMLCh* const prefix,
                      const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, const XMLSize_t attributeCount,
                      const bool isEmpty, const bool isRoot) override {
        checkAttributes(attributeCount);
        if (hasDocumentType_) {
            spendAttributes(attributes, attributeCount);
            // The XML library goes through all that are defined, at every tag.
            if (element.hasAttDefs()) endIf(bounds_.spendText(element.getAttDefList().getAttDefCount()));
        }
        if (attributeCount > sqlpiXmlBounds::fewAttributes)
            endIf(bounds_.spendComparisons(comparisonsOf(attributes, attributeCount)));
        // Undeclared names are numbered from 1 in the order of their coming.
        if (element.getId() > names_ && element.getCreateReason() == xercesc::XMLElementDecl::NoReason) {
            names_ = element.getId();
            if (names_ > sqlpiXmlBounds::mostElementNames)
                endIf(u"The document has more element names than a policy may have.");
            if (names_ > sqlpiNameSpread::mostInBucket) checkName(element.getFullName());
        }
        const size_t openElements = openElements_ + (isEmpty ? 0 : 1);
        Parser::startElement(element, uri, prefix, attributes, attributeCount, isEmpty, isRoot);
        openElements_ = openElements;  // a DOM parser ends an empty one itself
    }
    void endElement(const xercesc::XMLElementDecl& element, const unsigned int uri, const bool isRoot,
                    const XMLCh* const prefix) override {
        --openElements_;
        Parser::endElement(element, uri, isRoot, prefix);
    }
    void beforeRead(size_t byteCount) override {
        checkAttributes(ScannedAttributes::count(scanner()));  // in the midst of a tag, too
        unread_ -= byteCount;
        checkEnds();
        if (inDeclarations_) endIf(bounds_.readDeclarations(byteCount));
    }

protected:
    /* Ends the parse with that message; null does nothing. */
    void endIf(const XMLCh* why) const {
        if (why != nullptr) throw xercesc::SAXParseException(why, *scanner().getLocator());
    }
    void checkAttributes(size_t count) const {
        if (count > sqlpiXmlBounds::mostAttributes) endIf(u"An element has more attributes than a policy may have.");
    }

private:
    /* Reads a member that the XML library protects: the attributes of the widest tag so far. */
    struct ScannedAttributes : xercesc::XMLScanner {
        static size_t count(const xercesc::XMLScanner& scanner) {
            return (scanner.*&ScannedAttributes::fAttrList)->size();
        }
    };

    void boundScanner() {
        this->setDisableDefaultEntityResolution(true);
        this->setSecurityManager(&security_);
    }

    const xercesc::XMLScanner& scanner() const { return asReference(this->getScanner()); }
    static const xercesc::XMLScanner& asReference(const xercesc::XMLScanner& scanner) { return scanner; }
    static const xercesc::XMLScanner& asReference(const xercesc::XMLScanner* scanner) { return *scanner; }

    void spendAttributes(const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, size_t count) {
        for (size_t i = 0; i < count; ++i)
            endIf(bounds_.spendText(std::u16string_view(attributes.elementAt(i)->getName()).size() +
                                    std::u16string_view(attributes.elementAt(i)->getValue()).size()));
    }
    /* What begins costs more than what ends: elements that can no longer all end are not read any further. */
    void checkEnds() const {
        constexpr size_t shortestEnd = 4;                 // "</a>"
        constexpr size_t mostBuffered = size_t{1} << 16;  // bytes that the XML library has and has not looked at
        if (openElements_ > (unread_ + mostBuffered + sqlpiXmlBounds::mostEntityText) / shortestEnd)
            endIf(u"The document is too short for the ends of the elements that it begins.");
    }
    /* How often the XML library's table, which has so many buckets by then, compares two names of a tag. */
    static size_t comparisonsOf(const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, size_t count) {
        constexpr size_t buckets = 457;
        std::array<size_t, buckets> inBucket{};
        size_t comparisons = 0;
        for (size_t i = 0; i < count; ++i)
            comparisons += inBucket[xercesc::XMLString::hash(attributes.elementAt(i)->getName(), buckets)]++;
        return comparisons;
    }
    void checkName(const XMLCh* name) {
        if (!spread_.has_value()) spread_.emplace(scanner().getMemoryManager());
        if (!spread_->add(name)) endIf(u"The document's element names are made to be slow to tell apart.");
    }

    sqlpiXmlBounds bounds_;
    xercesc::SecurityManager security_;
    bool hasDocumentType_ = false;
    bool inDeclarations_ = false;
    size_t unread_;           /* bytes of the document that the XML library does not have */
    size_t openElements_ = 0; /* begun and not ended */
    XMLSize_t names_ = 0;
    std::optional<sqlpiNameSpread> spread_;
};

#endif
