/* What the XML parser calls while a policy document is parsed: the tree builder and its companions. */
#include "sqlpiPolicyParserHooks.h"

#include <cstring>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "logs.h"
#include "sqlpiParserMemory.h"
#include "sqlpiText.h"
#include "sqlpiTrace.h"
#include "sqlpiUtf8.h"

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

constexpr bool isLeadSurrogate(XMLCh character) noexcept {
    return (character & 0xFC00U) == 0xD800U;
}

void logOutOfMemory(const char* function, uint32_t probe) noexcept {
    pdLog(PD_SEVERE, function, probe, "Out of memory. Unable to allocate object.");
}

/* The exception's message into `problem`, with its place; false when it could not be transcoded. */
bool describe(const xercesc::SAXParseException& exception, sqlpiParseProblem& problem) noexcept {
    try {
        if (exception.getMessage() == nullptr) return false;
        sqlpiUtf8Text message(exception.getMessage());
        sqlpiTextBuilder(problem.message, sizeof problem.message).append(message.text());
        problem.line = exception.getLineNumber();
        problem.column = exception.getColumnNumber();
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace

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
    current = nullptr;
    parentOfCurrent = nullptr;
    root = nullptr;
    attributes = nullptr;
}

void sqlpi_sax_handler::startElement(const XMLCh* name, xercesc::AttributeList& attributeList) {
    attributes = &attributeList;
    noteTag(name, 0);
    for (XMLSize_t i = 0; i < attributeList.getLength(); ++i)
        spendText(std::u16string_view(attributeList.getName(i)).size() +
                  std::u16string_view(attributeList.getValue(i)).size());
    if (!documentElementSeen_ && currentType != SQLPI_ELEMENT_POLICY_DOCUMENT)
        endParse("The document element is not \"PolicyDocument\".");
    documentElementSeen_ = true;
    if (SQLPIPolicyElement* element = setPolicyElement(currentType)) element->parse(attributeList);
}

SQLPIPolicyElement* sqlpi_sax_handler::setPolicyElement(SQLPI_POL_ELEMENT_TYPE type) {
    // Only a root has nothing around it. Any other element without a current one stands outside the tree, because
    // memory ran out for what was around it, and has no place.
    const bool isDocument = type == SQLPI_ELEMENT_POLICY_DOCUMENT;
    const bool isOutermost = isDocument && root == nullptr;
    if (!isOutermost && current == nullptr) return nullptr;

    auto* nested = isDocument && !isOutermost ? new NestedPolicyDocument : nullptr;
    sqlpiTree element(isDocument && !isOutermost ? nested : sqlpiNewElement(type));
    if (element == nullptr || element->children == nullptr) {
        logOutOfMemory("sqlpi_sax_handler::setPolicyElement", 10);
        return nullptr;
    }
    auto* node = isOutermost ? nullptr : new SQLPIListElement(nullptr, nullptr, element.get(), sizeof(void*));
    if ((!isOutermost && node == nullptr) || !texts_.push()) {
        delete node;
        logOutOfMemory("sqlpi_sax_handler::setPolicyElement", 20);
        return nullptr;
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
    return current;
}

void sqlpi_sax_handler::endElement(const XMLCh* name) {
    noteTag(name, 1);
    if (current != nullptr) {
        const std::string_view text = texts_.innermost();
        if (!text.empty()) current->appendText(text.data(), text.size());
        texts_.pop();
    }
    current = parentOfCurrent;
    if (current != nullptr) parentOfCurrent = current->parent;
}

void sqlpi_sax_handler::characters(const XMLCh* characters, XMLSize_t length) {
    if (characters == nullptr || length == 0) return;
    spendText(length);
    if (current == nullptr) return;
    std::u16string_view rest(characters, length);

    // A character outside the basic plane is two units of 16 bits and at most 4 bytes; any other unit at most 3 bytes.
    constexpr size_t bytesForUnit = 3;
    char* out = texts_.room((rest.size() + 1) * bytesForUnit);
    if (out == nullptr) return;
    size_t done = leadSurrogate_ == 0 ? sqlpiCopyAscii(rest, out) : 0;
    rest.remove_prefix(done);
    const auto transcode = [&](std::u16string_view text) {
        if (!transcoder_.has_value()) transcoder_.emplace(u"UTF-8", XMLSize_t{8192});
        XMLSize_t eaten = 0;
        done += transcoder_->transcodeTo(text.data(), text.size(), reinterpret_cast<XMLByte*>(out + done),
                                         text.size() * bytesForUnit, eaten, xercesc::XMLTranscoder::UnRep_RepChar);
        return eaten;
    };
    if (leadSurrogate_ != 0 && !rest.empty()) {
        const XMLCh pair[2] = {leadSurrogate_, rest.front()};
        leadSurrogate_ = 0;
        transcode({pair, 2});
        rest.remove_prefix(1);
    }
    if (!rest.empty() && isLeadSurrogate(rest.back())) {
        leadSurrogate_ = rest.back();
        rest.remove_suffix(1);
    }
    while (!rest.empty()) {
        const size_t eaten = transcode(rest);
        if (eaten == 0) break;
        rest.remove_prefix(eaten);
    }
    texts_.written(done);
}

SQLPIPolicyElement* sqlpi_sax_handler::takeRoot() noexcept {
    if (root != outermost_)
        if (auto* nested = dynamic_cast<NestedPolicyDocument*>(root)) nested->outermost = outermost_;
    outermost_ = nullptr;
    return root;
}

void sqlpi_sax_handler::noteTag(const XMLCh* name, int32_t action) noexcept {
    previousAction = lastAction;
    lastAction = action;
    previousType = currentType;
    currentType = sqlpiElementTypeOf(name);
    if (sqlpiTraceWants(PDT_FLAG_DATA)) {
        const pdtItem item = sqlpiTextItem(sqlpiElementName(currentType));
        pdtData1(action == 0 ? "sqlpi_sax_handler::startElement" : "sqlpi_sax_handler::endElement", 10, &item);
    }
}

void sqlpi_sax_handler::entityDeclared(bool isExternal, size_t characterCount) {
    if (isExternal) endParse("The document declares an external entity, which is never read.");
    if (characterCount > entityBudget_) endParse("The document declares longer entities than a policy may have.");
    entityBudget_ -= characterCount;
}

void sqlpi_sax_handler::spendText(size_t characterCount) {
    if (characterCount > textBudget_)
        endParse("The document's declarations expand to more text than a policy may have.");
    textBudget_ -= characterCount;
}

void sqlpi_sax_handler::endParse(const char* why) {
    sqlpiTextBuilder(problem_.message, sizeof problem_.message).append(why);
    problem_.line = locator_ == nullptr ? 0 : locator_->getLineNumber();
    problem_.column = locator_ == nullptr ? 0 : locator_->getColumnNumber();
    throw xercesc::SAXException();
}

/* --- error handler, entity resolver, panic handler ---------------------------------------------------------------- */

void sqlpi_error_handler::warning(const xercesc::SAXParseException& exception) {
    sqlpiParseProblem reported;
    if (describe(exception, reported))
        pdLogPrintf(PD_WARNING, "sqlpi_error_handler::warning", 10, "XMLRD Warning: %s", reported.message);
}

void sqlpi_error_handler::error(const xercesc::SAXParseException& exception) {
    fatalError(exception);
}

void sqlpi_error_handler::fatalError(const xercesc::SAXParseException& exception) {
    if (!describe(exception, problem)) return;
    pdLogPrintf(PD_ERROR, "sqlpi_error_handler::fatalError", 10, "XMLRD Panic: %s", problem.message);
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
