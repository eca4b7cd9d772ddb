// The document is read once more for what the engine's tree leaves out.
#include "document/documentOutline.h"

#include <algorithm>
#include <iterator>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/sax/Locator.hpp>

#include "base/sqlpiUtf8.h"
#include "document/boundedReader.h"
#include "model/sqlpiPolicyCatalogue.h"

namespace kelpolicy {
namespace {

constexpr SQLPI_POL_ELEMENT_TYPE typesWithWords[] = {
    SQLPI_ELEMENT_CONSTANT,
    SQLPI_ELEMENT_TIME_PERIOD,
    SQLPI_ELEMENT_MONTH_OF_YEAR_MASK,
    SQLPI_ELEMENT_DAY_OF_MONTH_MASK,
    SQLPI_ELEMENT_DAY_OF_WEEK_MASK,
    SQLPI_ELEMENT_TIME_OF_DAY_MASK,
    SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION,
    SQLPI_ELEMENT_SENSORS,
    SQLPI_ELEMENT_PATHNAME,
    SQLPI_ELEMENT_TABLE_REORG,
    SQLPI_ELEMENT_TABLE_REORG_SENSORS,
    SQLPI_ELEMENT_MONITOR,
    SQLPI_ELEMENT_FEEDBACK_WAREHOUSE,
    SQLPI_ELEMENT_POPULATION,
    SQLPI_ELEMENT_STATS_PROFILE,
    SQLPI_ELEMENT_STATS_PROFILING,
    SQLPI_ELEMENT_DB_BACKUP_SENSORS,
    SQLPI_ELEMENT_DB_BACKUP,
    SQLPI_ELEMENT_DISK_BACKUP_TARGET,
    SQLPI_ELEMENT_TAPE_BACKUP_TARGET,
    SQLPI_ELEMENT_VLT_BACKUP_TARGET,
    SQLPI_ELEMENT_XBSA_BACKUP_TARGET,
    SQLPI_ELEMENT_VENDOR_LIB_BACKUP_TARGET,
    SQLPI_ELEMENT_NUMBER_OF_SESSIONS,
    SQLPI_ELEMENT_LIB_FILENAME,
    SQLPI_ELEMENT_LIB_OPTIONS,
};

bool hasWords(SQLPI_POL_ELEMENT_TYPE type) {
    return std::find(std::begin(typesWithWords), std::end(typesWithWords), type) != std::end(typesWithWords);
}

}  // namespace

class DocumentOutline::Reader : public xercesc::HandlerBase {
public:
    Reader(DocumentOutline& outline, const std::string& document, const xercesc::SAXParser& parser)
        : outline_(outline), document_(document), counter_(document), parser_(parser) {}

    void setDocumentLocator(const xercesc::Locator* locator) override { locator_ = locator; }

    void startElement(const XMLCh* name, xercesc::AttributeList& attributes) override {
        const SQLPI_POL_ELEMENT_TYPE type = sqlpiElementTypeOf(name);
        if (type == SQLPI_ELEMENT_POLICY_DOCUMENT) {  // the last one begun is the root, whatever stands around it
            outline_.elements_.clear();
            outline_.words_.clear();
            open_.clear();
        } else if (open_.empty()) {
            return;
        }
        const auto index = static_cast<uint32_t>(outline_.elements_.size());
        Element element = {type, none, none, none, none};
        if (!open_.empty()) {
            element.parent = open_.back().index;
            element.previous = open_.back().lastChild;
            if (element.previous != none) outline_.elements_[element.previous].next = index;
            open_.back().lastChild = index;
        }
        if (hasWords(type)) {
            element.words = static_cast<uint32_t>(outline_.words_.size());
            outline_.words_.push_back({startOfTag(name), {}, {}});
            for (XMLSize_t i = 0; i < attributes.getLength(); ++i)
                outline_.words_.back().attributes.emplace_back(sqlpiUtf8Text(attributes.getName(i)).text(),
                                                               sqlpiUtf8Text(attributes.getValue(i)).text());
        }
        outline_.elements_.push_back(element);
        open_.push_back({index, none});
    }

    void endElement(const XMLCh* /*name*/) override {
        if (!open_.empty()) open_.pop_back();
    }

    void characters(const XMLCh* characters, XMLSize_t length) override {
        if (open_.empty() || length == 0) return;
        const uint32_t words = outline_.elements_[open_.back().index].words;
        if (words == none) return;
        std::optional<std::string>& text = outline_.words_[words].text;
        if (!text.has_value()) text.emplace();
        *text += sqlpiUtf8Text({characters, length}).text();
    }

private:
    /* An element that has begun and not ended. */
    struct Open {
        uint32_t index;
        uint32_t lastChild;
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

    DocumentOutline& outline_;
    const std::string& document_;
    PlaceCounter counter_;
    const xercesc::SAXParser& parser_;
    const xercesc::Locator* locator_ = nullptr;
    std::vector<Open> open_{};
};

DocumentOutline::DocumentOutline(const std::string& document) {
    BoundedReader parser(document);
    Reader reader(*this, document, parser);
    parser.read(reader);
}

uint32_t DocumentOutline::firstChild(uint32_t element) const {
    const uint32_t next = element + 1;
    return next < elements_.size() && elements_[next].parent == element ? next : none;
}

const DocumentOutline::Words& DocumentOutline::wordsOf(uint32_t element) const {
    static const Words nothing;
    return elements_[element].words == none ? nothing : words_[elements_[element].words];
}

}  // namespace kelpolicy
