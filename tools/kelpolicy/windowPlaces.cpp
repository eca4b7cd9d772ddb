// The engine's element tree holds no places, so the document is read once more, by the same XML library, for them. The
// engine's parser has bounded what the document can make of itself.
#include "windowPlaces.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/sax/Locator.hpp>

#include "sqlpiUtf8.h"

namespace kelpolicy {
namespace {

constexpr SQLPI_POL_ELEMENT_TYPE partTypes[] = {SQLPI_ELEMENT_TIME_PERIOD, SQLPI_ELEMENT_MONTH_OF_YEAR_MASK,
                                                SQLPI_ELEMENT_DAY_OF_MONTH_MASK, SQLPI_ELEMENT_DAY_OF_WEEK_MASK,
                                                SQLPI_ELEMENT_TIME_OF_DAY_MASK};

bool isPart(SQLPI_POL_ELEMENT_TYPE type) {
    return std::find(std::begin(partTypes), std::end(partTypes), type) != std::end(partTypes);
}

class Places : public xercesc::HandlerBase {
public:
    Places(const std::string& document, const xercesc::SAXParser& parser)
        : document_(document), counter_(document), parser_(parser) {}

    void setDocumentLocator(const xercesc::Locator* locator) override { locator_ = locator; }

    void startElement(const XMLCh* name, xercesc::AttributeList& attributes) override {
        const SQLPI_POL_ELEMENT_TYPE type = sqlpiElementTypeOf(name);
        size_t condition = none;
        if (type == SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION) {
            condition = conditions.size();
            conditions.push_back({startOfTag(name)});
            if (const XMLCh* value = attributes.getValue(u"windowType"))
                conditions.back().windowType = sqlpiUtf8Text(value).text();
        }
        const size_t around = open_.empty() ? none : open_.back().condition;
        const bool isPartOfCondition = around != none && isPart(type);
        if (isPartOfCondition) conditions[around].parts.push_back({type, startOfTag(name)});
        open_.push_back({condition, isPartOfCondition ? around : none});
    }

    void endElement(const XMLCh* /*name*/) override { open_.pop_back(); }

    void characters(const XMLCh* characters, XMLSize_t length) override {
        if (open_.empty() || open_.back().partOf == none) return;
        conditions[open_.back().partOf].parts.back().text += sqlpiUtf8Text({characters, length}).text();
    }

    std::vector<WindowCondition> conditions{};

private:
    static constexpr size_t none = SIZE_MAX;

    /* An element that has begun and not ended. */
    struct Open {
        size_t condition; /* the condition that it is */
        size_t partOf;    /* the condition whose last part it is */
    };

    /* The parser stands behind the tag, which holds no other "<". In a document of another encoding the tag is not
     * found as it is written; then the parser's own place must do. */
    TextPlace startOfTag(const XMLCh* name) {
        const std::string tag = std::string("<") + sqlpiUtf8Text(name).text();
        const size_t behind = std::min(static_cast<size_t>(parser_.getSrcOffset()), document_.size());
        const size_t start = document_.rfind('<', behind == 0 ? 0 : behind - 1);
        if (start != std::string::npos && document_.compare(start, tag.size(), tag) == 0) return counter_.at(start);
        return {locator_ == nullptr ? 0 : locator_->getLineNumber(),
                locator_ == nullptr ? 0 : locator_->getColumnNumber()};
    }

    const std::string& document_;
    PlaceCounter counter_;
    const xercesc::SAXParser& parser_;
    const xercesc::Locator* locator_ = nullptr;
    std::vector<Open> open_{};
};

}  // namespace

std::vector<WindowCondition> findWindowConditions(const std::string& document) {
    xercesc::SAXParser parser;
    Places places(document, parser);
    parser.setDocumentHandler(&places);
    parser.setValidationScheme(xercesc::SAXParser::Val_Never);
    parser.setLoadExternalDTD(false);
    parser.setDisableDefaultEntityResolution(true);
    parser.setCalculateSrcOfs(true);
    const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(),
                                            "document", false);
    parser.parse(source);
    return std::move(places.conditions);
}

}  // namespace kelpolicy
