/* What the XML parser calls while a policy document is parsed: the tree builder and its companions. */
#include "document/sqlpiPolicyParserHooks.h"

#include <cstring>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "base/sqlpiUtf8.h"
#include "document/sqlpiParserMemory.h"
#include "logs.h"
#include "model/sqlpiPolicyCatalogue.h"
#include "model/sqlpiTree.h"

namespace {

/* A "PolicyDocument" inside another. The last one is handed to the caller, whose `delete` must free the tree around it
 * as well: it then owns `outermost`. */
class NestedPolicyDocument : public SQLPIPolicyDocument {
public:
    ~NestedPolicyDocument() override {
        if (outermost == nullptr) return;
        for (SQLPIListElement* node = enclosing->children->first; node != nullptr; node = node->next)
            if (node->data == static_cast<SQLPIPolicyElement*>(this)) node->data = nullptr;
        delete outermost;
    }

    SQLPIPolicyElement* enclosing = nullptr; /* the element it is a child of, whatever becomes of `parent` */
    SQLPIPolicyElement* outermost = nullptr;
};

void logOutOfMemory(const char* function, uint32_t probe) noexcept {
    pdLog(PD_SEVERE, function, probe, "Out of memory. Unable to allocate object.");
}

/* The exception's message as the log takes it behind `before`: whole, or cut between characters. */
class LogMessage {
public:
    LogMessage(const xercesc::SAXException& exception, std::string_view before) noexcept {
        const XMLCh* message = exception.getMessage();
        exists_ = message != nullptr;
        text_[exists_ ? sqlpiToUtf8(message, text_, PD_RECORD_SIZE - before.size()) : 0] = '\0';
    }
    bool exists() const noexcept { return exists_; }
    const char* text() const noexcept { return text_; }

private:
    bool exists_;
    char text_[PD_RECORD_SIZE + 1];
};

}  // namespace

void sqlpiParseProblem::describe(const xercesc::SAXException& exception) noexcept {
    const XMLCh* why = exception.getMessage();
    message[why == nullptr ? 0 : sqlpiToUtf8(why, message, sizeof message - 1)] = '\0';
    if (const auto* placed = dynamic_cast<const xercesc::SAXParseException*>(&exception)) {
        line = placed->getLineNumber();
        column = placed->getColumnNumber();
    }
}

/* --- texts of open elements --------------------------------------------------------------------------------------- */

sqlpiOpenTexts::~sqlpiOpenTexts() {
    if (bytes_ != short_) sqlpi_free_mem_debug(bytes_);
}

bool sqlpiOpenTexts::push() noexcept {
    char* place = room(sizeof start_);
    if (place == nullptr) return false;
    std::memcpy(place, &start_, sizeof start_);
    end_ += sizeof start_;
    start_ = end_;
    return true;
}

char* sqlpiOpenTexts::room(size_t size) noexcept {
    if (size > capacity_ - end_) {
        const size_t wanted = 2 * (capacity_ + size);
        auto* larger = static_cast<char*>(sqlpi_alloc_mem_debug(nullptr, wanted));
        if (larger == nullptr) return nullptr;
        std::memcpy(larger, bytes_, end_);
        if (bytes_ != short_) sqlpi_free_mem_debug(bytes_);
        bytes_ = larger;
        capacity_ = wanted;
    }
    return bytes_ + end_;
}

void sqlpiOpenTexts::pop() noexcept {
    end_ = start_ - sizeof start_;
    std::memcpy(&start_, bytes_ + end_, sizeof start_);
}

/* --- document handler --------------------------------------------------------------------------------------------- */

sqlpi_sax_handler::~sqlpi_sax_handler() {
    delete outermost_;
}

void sqlpi_sax_handler::startDocument() {
    delete outermost_;
    outermost_ = nullptr;
    current = nullptr;
    parentOfCurrent = nullptr;
    root = nullptr;
    attributes = nullptr;
    currentType = previousType = SQLPI_ELEMENT_NONE;
    lastAction = previousAction = 0;
    documentElementSeen_ = false;
    leadSurrogate_ = 0;
    texts_.clear();
}

void sqlpi_sax_handler::startElement(const XMLCh* name, xercesc::AttributeList& attributeList) {
    attributes = &attributeList;
    addElement(sqlpiElementTypeOf(std::u16string_view(name)), attributeList);
}

void sqlpi_sax_handler::setPolicyElement(char* name, xercesc::AttributeList& attributeList) {
    addElement(sqlpiElementTypeOf(std::string_view(name)), attributeList);
}

void sqlpi_sax_handler::addElement(SQLPI_POL_ELEMENT_TYPE type, xercesc::AttributeList& attributeList) {
    noteTag(type, 0);
    const bool isDocument = type == SQLPI_ELEMENT_POLICY_DOCUMENT;
    if (!documentElementSeen_ && !isDocument) endParse(u"The document element is not \"PolicyDocument\".");
    documentElementSeen_ = true;
    // Only a root has nothing around it. Any other element without a current one stands outside the tree, because
    // memory ran out for what was around it, and has no place.
    const bool isOutermost = isDocument && root == nullptr;
    if (!isOutermost && current == nullptr) return;

    auto* nested = isDocument && !isOutermost ? new NestedPolicyDocument : nullptr;
    sqlpiTree element(isDocument && !isOutermost ? nested : sqlpiNewElement(type));
    if (element == nullptr || element->children == nullptr)
        return logOutOfMemory("sqlpi_sax_handler::setPolicyElement", 10);
    auto* node = isOutermost ? nullptr : new SQLPIListElement(nullptr, nullptr, element.get(), sizeof(void*));
    if ((!isOutermost && node == nullptr) || !texts_.push()) {
        delete node;
        return logOutOfMemory("sqlpi_sax_handler::setPolicyElement", 20);
    }

    element->elementType = type;
    if (isOutermost)
        outermost_ = element.get();
    else
        current->children->addElement(node);
    if (nested != nullptr) nested->enclosing = current;
    if (isDocument) root = element.get();
    parentOfCurrent = current;
    current = element.release();
    current->parent = parentOfCurrent;
    current->parse(attributeList);
}

void sqlpi_sax_handler::endElement(const XMLCh* name) {
    noteTag(sqlpiElementTypeOf(std::u16string_view(name)), 1);
    if (current != nullptr) {
        const std::string_view text = texts_.innermost();
        if (!text.empty()) current->appendText(text.data(), text.size());
        texts_.pop();
    }
    current = parentOfCurrent;
    if (current != nullptr) parentOfCurrent = current->parent;
}

void sqlpi_sax_handler::characters(const XMLCh* characters, XMLSize_t length) {
    if (characters == nullptr || length == 0 || current == nullptr) return;
    std::u16string_view rest(characters, length);
    constexpr size_t bytesForUnit = 3;
    const size_t room = (rest.size() + 1) * bytesForUnit;
    char* out = texts_.room(room);
    if (out == nullptr) return;
    size_t done = 0;
    if (leadSurrogate_ != 0) {
        const XMLCh pair[2] = {leadSurrogate_, rest.front()};
        leadSurrogate_ = 0;
        done = sqlpiToUtf8({pair, 2}, out, room);
        rest.remove_prefix(1);
    }
    if (sqlpiEndsInHalf(rest)) {
        leadSurrogate_ = rest.back();
        rest.remove_suffix(1);
    }
    texts_.written(done + sqlpiToUtf8(rest, out + done, room - done));
}

void sqlpi_sax_handler::processingInstruction(const XMLCh* /*target*/, const XMLCh* data) {
    if (data != nullptr && sqlpiEndsInHalf(data)) endParse(u"A processing instruction ends in half of a character.");
}

SQLPIPolicyElement* sqlpi_sax_handler::takeRoot() noexcept {
    if (root != outermost_)
        if (auto* nested = dynamic_cast<NestedPolicyDocument*>(root)) nested->outermost = outermost_;
    outermost_ = nullptr;
    return root;
}

void sqlpi_sax_handler::noteTag(SQLPI_POL_ELEMENT_TYPE type, int32_t action) noexcept {
    previousAction = lastAction;
    lastAction = action;
    previousType = currentType;
    currentType = type;
    if (sqlpiTraceWants(PDT_FLAG_DATA)) {
        const pdtItem item = sqlpiTextItem(sqlpiElementName(currentType));
        pdtData1(action == 0 ? "sqlpi_sax_handler::startElement" : "sqlpi_sax_handler::endElement", 10, &item);
    }
}

void sqlpi_sax_handler::endParse(const XMLCh* why) const {
    if (locator_ == nullptr) throw xercesc::SAXException(why);
    throw xercesc::SAXParseException(why, *locator_);
}

/* --- error handler, entity resolver, panic handler ---------------------------------------------------------------- */

void sqlpi_error_handler::warning(const xercesc::SAXParseException& exception) {
    const LogMessage message(exception, "XMLRD Warning: ");
    if (message.exists())
        pdLogPrintf(PD_WARNING, "sqlpi_error_handler::warning", 10, "XMLRD Warning: %s", message.text());
}

void sqlpi_error_handler::error(const xercesc::SAXParseException& exception) {
    fatalError(exception);
}

void sqlpi_error_handler::fatalError(const xercesc::SAXParseException& exception) {
    const LogMessage message(exception, "XMLRD Panic: ");
    if (!message.exists()) return;
    pdLogPrintf(PD_ERROR, "sqlpi_error_handler::fatalError", 10, "XMLRD Panic: %s", message.text());
    problem.describe(exception);
    errorFlag = 1;
}

xercesc::InputSource* sqlpi_entity_resolver::resolveEntity(const XMLCh* /*publicId*/, const XMLCh* /*systemId*/) {
    wasAsked = true;
    return source_;
}

void sqlpi_panic_handler::panic(xercesc::PanicHandler::PanicReasons reason) {
    pdLogPrintf(PD_SEVERE, "sqlpi_panic_handler::panic", 10, "XMLRD Panic: %s",
                xercesc::PanicHandler::getPanicReasonString(reason));
    throw;
}
