// The library has validated the document. Here it is read once more, for the places of its elements and for what is
// written, before anything was made of it.
#include "configuration/configurationFacts.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/sax/Locator.hpp>

#include "base/sqlpiUtf8.h"
#include "document/boundedReader.h"

namespace kelpolicy {
namespace {

enum class Sort { word, freeText, number, time, days, monthDays, months };

/* What an element can say: by an attribute, by its text, or by being there (neither). */
struct Expected {
    std::string_view element; /* "Window": either window */
    const char16_t* attribute;
    Sort sort;
    const char* unsaid; /* value of an attribute that is not written; null: it says nothing then */
};

constexpr const char16_t* text = u"";
constexpr const char16_t* presence = nullptr;

constexpr Expected expected[] = {
    {"Window", u"Occurrence", Sort::word, "Outside"},
    {"Window", u"startTime", Sort::time, "00:00:00"},
    {"Window", u"duration", Sort::number, "24"},
    {"DaysOfWeek", text, Sort::days, nullptr},
    {"DaysOfMonth", text, Sort::monthDays, nullptr},
    {"MonthsOfYear", text, Sort::months, nullptr},
    {"BackupOptions", u"mode", Sort::word, "Online"},
    {"DiskBackupTarget", presence, Sort::word, nullptr},
    {"TapeBackupTarget", presence, Sort::word, nullptr},
    {"VLTBackupTarget", presence, Sort::word, nullptr},
    {"VLTBackupTarget", u"numberOfSessions", Sort::number, nullptr},
    {"XBSABackupTarget", presence, Sort::word, nullptr},
    {"XBSABackupTarget", u"numberOfSessions", Sort::number, nullptr},
    {"VendorLibBackupTarget", presence, Sort::word, nullptr},
    {"PathName", text, Sort::freeText, nullptr},
    {"LibFilename", text, Sort::freeText, nullptr},
    {"LibOptions", text, Sort::freeText, nullptr},
    {"BackupCriteria", u"numberOfFullBackups", Sort::number, nullptr},
    {"BackupCriteria", u"timeSinceLastBackup", Sort::number, nullptr},
    {"BackupCriteria", u"logSpaceConsumedSinceLastBackup", Sort::number, nullptr},
    {"ReorgOptions", u"useSystemTempTableSpace", Sort::word, "false"},
    {"ReorgOptions", u"dictionaryOption", Sort::word, "Keep"},
    {"ReorgOptions", u"indexReorgMode", Sort::word, "Offline"},
    {"ReorgOptions", u"reclaimExtentsSizeForMDCTables", Sort::number, "0"},
    {"ReorgOptions", u"numInxPseudoEmptyPagesForVolatileTables", Sort::number, "0"},
    {"ReorgTableScope", u"maxOfflineReorgTableSize", Sort::number, "0"},
    {"FilterClause", text, Sort::freeText, nullptr},
    {"FilterCondition", text, Sort::freeText, nullptr},
};

/* --- values that mean the same ------------------------------------------------------------------------------------ */

std::string trimmed(std::string_view value) {
    constexpr std::string_view blanks = " \t\r\n";
    const size_t first = value.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return std::string(value.substr(first, value.find_last_not_of(blanks) + 1 - first));
}

/* Without blanks, plus sign and leading zeros. */
std::string senseOfNumber(std::string_view value) {
    std::string digits = trimmed(value);
    const std::string sign = digits.starts_with('-') ? "-" : "";
    digits.erase(0, std::min(digits.find_first_not_of("+-0"), digits.size()));
    return digits.empty() ? "0" : sign + digits;
}

/* 24:00:00 is the midnight that begins a day. */
std::string senseOfTime(std::string_view value) {
    std::string time = trimmed(value);
    return time.starts_with("24:") ? "00" + time.substr(2) : time;
}

/* The entries in any order, each once; all that there are: "All". */
std::string senseOfList(std::string_view value, Sort sort) {
    std::set<std::string> entries;
    std::istringstream words{std::string(value)};
    for (std::string word; words >> word;) entries.insert(sort == Sort::monthDays ? senseOfNumber(word) : word);
    const size_t all = sort == Sort::days ? 7 : sort == Sort::months ? 12 : 62;
    if (entries.contains("All") || entries.size() == all) return "All";
    std::string sense;
    for (const std::string& entry : entries) sense += entry + " ";
    return sense;
}

std::string senseOf(std::string_view value, Sort sort) {
    switch (sort) {
        case Sort::word:
        case Sort::freeText:
            return std::string(value);
        case Sort::number:
            return senseOfNumber(value);
        case Sort::time:
            return senseOfTime(value);
        case Sort::days:
        case Sort::monthDays:
        case Sort::months:
            return senseOfList(value, sort);
    }
    return {};
}

/* --- the document ------------------------------------------------------------------------------------------------- */

bool isWindow(std::string_view element) {
    return element == "OnlineWindow" || element == "OfflineWindow";
}

std::string localName(const XMLCh* name) {
    const std::string whole = sqlpiUtf8Text(name).text();
    return whole.substr(whole.find(':') + 1);
}

class FactReader : public xercesc::HandlerBase {
public:
    FactReader(const std::string& document, const xercesc::SAXParser& parser)
        : document_(document), counter_(document), parser_(parser) {}

    void setDocumentLocator(const xercesc::Locator* locator) override { locator_ = locator; }

    void startElement(const XMLCh* name, xercesc::AttributeList& attributes) override {
        const std::string element = localName(name);
        if (isWindow(element)) window_ = element;
        findStartOfTag();
        for (const Expected& row : expected) {
            if (row.element != (isWindow(element) ? "Window" : element)) continue;
            if (row.attribute == presence) {
                add("BackupTarget", element, row.sort);
            } else if (*row.attribute == u'\0') {
                add((window_.empty() ? "" : window_ + "/") + element, "", row.sort);
                collecting_ = true;
            } else {
                const XMLCh* value = attributes.getValue(row.attribute);
                if (value == nullptr && row.unsaid == nullptr) continue;
                add(element + "/@" + sqlpiUtf8Text(row.attribute).text(),
                    value == nullptr ? row.unsaid : sqlpiUtf8Text(value).text(), row.sort);
            }
        }
    }

    void characters(const XMLCh* characters, XMLSize_t length) override {
        if (collecting_) facts.back().value += sqlpiUtf8Text({characters, length}).text();
    }

    void endElement(const XMLCh* /*name*/) override {
        if (collecting_) facts.back().sense = senseOf(facts.back().value, sort_);
        collecting_ = false;
    }

    std::vector<ConfigurationFact> facts{};

private:
    void add(std::string name, const std::string& value, Sort sort) {
        facts.push_back({std::move(name), value, senseOf(value, sort), sort == Sort::freeText, place_, offset_});
        sort_ = sort;
    }

    /* The parser stands behind the tag, which holds no other "<" that is written as such. In an entity, or in another
     * encoding, its own place must do. */
    void findStartOfTag() {
        const size_t behind = std::min(static_cast<size_t>(parser_.getSrcOffset()), document_.size());
        const size_t start = document_.rfind('<', behind == 0 ? 0 : behind - 1);
        const bool isTag = start != std::string::npos && start >= lastTag_;
        offset_ = isTag ? start : document_.size();
        if (isTag) {
            lastTag_ = start;
            place_ = counter_.at(start);
        } else if (locator_ != nullptr) {
            place_ = {locator_->getLineNumber(), locator_->getColumnNumber()};
        }
    }

    const std::string& document_;
    PlaceCounter counter_;
    const xercesc::SAXParser& parser_;
    const xercesc::Locator* locator_ = nullptr;
    size_t lastTag_ = 0;
    size_t offset_ = 0;        /* of the element that begins */
    TextPlace place_ = {1, 1}; /* the same */
    std::string window_{};
    Sort sort_ = Sort::word;  /* of the last fact */
    bool collecting_ = false; /* the last fact's text goes on */
};

}  // namespace

std::vector<ConfigurationFact> readConfigurationFacts(const std::string& document) {
    BoundedReader parser(document);
    FactReader reader(document, parser);
    parser.read(reader);
    return std::move(reader.facts);
}

const ConfigurationFact* findFact(const std::vector<ConfigurationFact>& facts, std::string_view name) {
    const auto found =
        std::find_if(facts.begin(), facts.end(), [name](const ConfigurationFact& fact) { return fact.name == name; });
    return found == facts.end() ? nullptr : &*found;
}

}  // namespace kelpolicy
