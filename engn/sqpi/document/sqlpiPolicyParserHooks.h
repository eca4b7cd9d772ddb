/* What the XML parser calls while a policy document is parsed. Internal. */
#ifndef SQLPI_POLICY_PARSER_HOOKS_H
#define SQLPI_POLICY_PARSER_HOOKS_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <xercesc/sax/EntityResolver.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PanicHandler.hpp>

#include "base/sqlpiOwn.h"
#include "sqlpiPolicyBase.h"

/* Where and why a document could not be parsed. */
struct sqlpiParseProblem {
    uint64_t line = 0; /* from 1; 0: nowhere in particular */
    uint64_t column = 0;
    char message[512] = ""; /* terminated UTF-8 */

    /* Takes the message, as far as it fits, and the place where it has one. */
    void describe(const xercesc::SAXException& exception) noexcept;
};

/* sqlpi_policy_parse that also tells the problem; `problem` may be null. */
int32_t sqlpiParsePolicyDocument(SQLO_MEM_POOL* pool, int32_t length, const char* document, SQLPIPolicyElement** result,
                                 sqlpiParseProblem* problem) noexcept;

/* The text of the elements that are open, innermost last. An element's text ends where the next element inside it
 * begins and goes on when that one has ended, so all of it lies together in one buffer that only grows at its end, and
 * a document's text is copied a bounded number of times whatever its shape. */
class sqlpiOpenTexts {
public:
    ~sqlpiOpenTexts();

    /* Begins the text of a further element; false when there is no memory. */
    bool push() noexcept;
    /* Room for `size` more bytes of the innermost text, or null; what was written there counts after `written`. */
    char* room(size_t size) noexcept;
    void written(size_t size) noexcept { end_ += size; }
    /* The innermost element's text; valid until the next push or room. */
    std::string_view innermost() const noexcept { return {bytes_ + start_, end_ - start_}; }
    /* Ends the innermost text; the one around it goes on. */
    void pop() noexcept;
    void clear() noexcept { start_ = end_ = 0; }

private:
    char short_[4096];
    char* bytes_ = short_;
    size_t capacity_ = sizeof short_;
    size_t start_ = 0; /* of the innermost text; where the one around it starts stands just before */
    size_t end_ = 0;
};

/* Builds the tree. Owns it until takeRoot. */
class sqlpi_sax_handler : public xercesc::HandlerBase {
public:
    ~sqlpi_sax_handler() override;

    void setDocumentLocator(const xercesc::Locator* locator) override { locator_ = locator; }
    /* Forgets whatever an earlier document left. */
    void startDocument() override;
    void startElement(const XMLCh* name, xercesc::AttributeList& attributes) override;
    void endElement(const XMLCh* name) override;
    void characters(const XMLCh* characters, XMLSize_t length) override;
    void processingInstruction(const XMLCh* target, const XMLCh* data) override;

    /* Makes and links the element of that name and hands it the attributes; it is left out when there is no memory.
     * Ends the parse at a document element that is not "PolicyDocument". */
    void setPolicyElement(char* name, xercesc::AttributeList& attributes);

    /* The document's "PolicyDocument", now the caller's; null when there was none. */
    SQLPIPolicyElement* takeRoot() noexcept;

    SQLPI_POL_ELEMENT_TYPE currentType = SQLPI_ELEMENT_NONE; /* of the last tag */
    SQLPI_POL_ELEMENT_TYPE previousType = SQLPI_ELEMENT_NONE;
    int32_t lastAction = 0; /* 0 start tag, 1 end tag */
    int32_t previousAction = 0;
    SQLPIPolicyElement* current = nullptr; /* receives text and children */
    SQLPIPolicyElement* parentOfCurrent = nullptr;
    SQLPIPolicyElement* root = nullptr; /* the last "PolicyDocument" begun */
    xercesc::AttributeList* attributes = nullptr;

private:
    void addElement(SQLPI_POL_ELEMENT_TYPE type, xercesc::AttributeList& attributes);
    void noteTag(SQLPI_POL_ELEMENT_TYPE type, int32_t action) noexcept;
    [[noreturn]] void endParse(const XMLCh* why) const;

    SQLPIPolicyElement* outermost_ = nullptr; /* the tree built so far */
    bool documentElementSeen_ = false;
    sqlpiOpenTexts texts_;
    XMLCh leadSurrogate_ = 0; /* the parser may cut a pair between two notifications */
    const xercesc::Locator* locator_ = nullptr;
};

/* Logs what the parser reports and remembers errors. */
class sqlpi_error_handler : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException& exception) override;
    void error(const xercesc::SAXParseException& exception) override;
    void fatalError(const xercesc::SAXParseException& exception) override;
    void resetErrors() override { errorFlag = 0; }

    uint32_t errorFlag = 0;    /* 1: an error or fatal error was reported */
    sqlpiParseProblem problem; /* the last of them */
};

/* Nothing outside the document is ever read: the parser asks here, gets nothing, and its own resolution is off. */
class sqlpi_entity_resolver : public xercesc::EntityResolver {
public:
    xercesc::InputSource* resolveEntity(const XMLCh* publicId, const XMLCh* systemId) override;

    bool wasAsked = false;

private:
    xercesc::InputSource* source_ = nullptr;
};

class sqlpi_panic_handler : public xercesc::PanicHandler {
public:
    /* Logs the reason and rethrows the exception in flight.
     * REQUIRES: an exception is in flight. */
    void panic(xercesc::PanicHandler::PanicReasons reason) override;
};

#endif
