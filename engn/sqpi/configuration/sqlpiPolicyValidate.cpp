/* Validating parse: one call builds its parser over the shared grammar, parses, reads, generates, and keeps nothing. */
#include "configuration/sqlpiPolicyValidate.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/sax/SAXParseException.hpp>

#include "base/sqlpiForks.h"
#include "base/sqlpiOwn.h"
#include "base/sqlpiReport.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "base/sqlpiUtf8.h"
#include "configuration/sqlpiConfigGrammar.h"
#include "configuration/sqlpiDomErrorReporter.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiPolicyRead.h"
#include "configuration/sqlpiRecordTexts.h"
#include "document/sqlpiParserMemory.h"
#include "document/sqlpiXmlBounds.h"
#include "document/sqlpiXmlConverters.h"
#include "document/sqlpiXmlPlatform.h"
#include "files.h"
#include "logs.h"

uint32_t errLineNo;
uint32_t errColumnNo;
char errMsgBuffer[SQLPI_ERROR_MESSAGE_SIZE];

namespace {

constexpr const char* function = "sqlpiValidateAutomaintPolicy";

uint32_t refuse(uint32_t probe, const char* text, int32_t sqlcode, std::initializer_list<std::string_view> tokens,
                sqlca& ca) noexcept {
    pdLog(PD_ERROR, function, probe, text);
    sqlpiPrepSqlca(ca, sqlcode, nullptr, tokens);
    return SQLPI_CONFIG_FAILED;
}

/* --- from the tree to the policy language ------------------------------------------------------------------------- */

uint32_t checkLocations(const backupPolicy& policy, sqlca& ca) noexcept {
    if (!policy.diskTarget || policy.path[0] == '\0') return SQLPI_CONFIG_OK;
    bool anyExists = false;
    for (std::string_view rest = policy.path; !rest.empty();) {
        const std::string_view piece = rest.substr(0, rest.find(','));
        rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
        if (piece.empty()) continue;
        char path[OSS_PATH_SIZE];
        sqlpiTextBuilder(path, sizeof path).append(piece);
        anyExists = ossPathExists(path) != 0;
        if (!anyExists) break;
    }
    return anyExists
               ? SQLPI_CONFIG_OK
               : refuse(70, "Backup image storage location does not exist. \n ", SQLPI_REFUSED_DOCUMENT, {"1"}, ca);
}

/* How a kind of record is read, checked, written and released, where nothing else is said: `forEachText` visits the
 * texts that are written as they are. */
struct AnyKind {
    template <class Record>
    static uint32_t check(const Record& /*policy*/, sqlca& /*ca*/) noexcept {
        return SQLPI_CONFIG_OK;
    }
    template <class Record>
    static void release(Record& /*policy*/) noexcept {}
    template <class Record, class Visit>
    static void forEachText(Record& /*policy*/, Visit& /*visit*/) noexcept {}
};

struct Windows : AnyKind {
    using Record = maintenanceOldPolicy;
    static constexpr auto read = sqlpiReadAutoMWPolicy;
    static constexpr auto generate = sqlpiGenerateOldMWPolicy;
    static constexpr size_t size = SQLPI_OLD_MW_POLICY_SIZE;
};

struct Backup : AnyKind {
    using Record = backupPolicy;
    static constexpr auto read = sqlpiReadAutoBackupPolicy;
    static constexpr auto generate = sqlpiGenerateOldBackupPolicy;
    static constexpr size_t size = SQLPI_OLD_BACKUP_POLICY_SIZE;
    static uint32_t check(const Record& policy, sqlca& ca) noexcept { return checkLocations(policy, ca); }
    static void release(Record& policy) noexcept { sqlpiReleaseTexts(policy); }
    template <class Visit>
    static void forEachText(Record& policy, Visit& visit) noexcept {
        visit("path", policy.path);
        visit("library options", policy.libOptions);
        visit("numberOfFullBackups", policy.numberOfFullBackups);
        visit("timeSinceLastBackup", policy.timeSinceLastBackup);
        visit("logSpaceConsumedSinceLastBackup", policy.logSpaceConsumedSinceLastBackup);
        visit("numberOfSessions", policy.numberOfSessions);
    }
};

struct Reorg : AnyKind {
    using Record = reorgPolicy;
    static constexpr auto read = sqlpiReadAutoReorgPolicy;
    static constexpr auto generate = sqlpiGenerateOldReorgPolicy;
    static constexpr size_t size = SQLPI_OLD_REORG_POLICY_SIZE;
    static void release(Record& policy) noexcept { sqlpiReleaseTexts(policy); }
    template <class Visit>
    static void forEachText(Record& policy, Visit& visit) noexcept {
        visit("filter clause", policy.filterClause);
        visit("maxOfflineReorgTableSize", policy.maxOfflineReorgTableSize);
        visit("reclaimExtentsSizeForMDCTables", policy.reclaimExtentsSizeForMDCTables);
        visit("numInxPseudoEmptyPagesForVolatileTables", policy.numInxPseudoEmptyPagesForVolatileTables);
    }
};

struct Runstats : AnyKind {
    using Record = runStatsPolicy;
    static constexpr auto read = sqlpiReadAutoRunstatsPolicy;
    static constexpr auto generate = sqlpiGenerateOldRunsatsPolicy;
    static constexpr size_t size = SQLPI_OLD_RUNSTATS_POLICY_SIZE;
    template <class Visit>
    static void forEachText(Record& policy, Visit& visit) noexcept {
        visit("filter condition", policy.filterCondition);
    }
};

/* Finds the longest text of a record, and cuts it to its first character, by which the generators judge a number. */
class LongestText {
public:
    void operator()(const char* name, char*& owned) noexcept {
        if (owned != nullptr && measure(name, owned)) owned_ = &owned;
    }
    template <size_t Size>
    void operator()(const char* name, char (&field)[Size]) noexcept {
        if (measure(name, field)) owned_ = nullptr;
    }
    void cut() noexcept {
        first_[0] = text_[0];
        if (owned_ != nullptr)
            *owned_ = first_;
        else if (length_ != 0)
            text_[1] = '\0';
    }
    const char* name() const noexcept { return name_; }
    size_t length() const noexcept { return length_; }

private:
    bool measure(const char* name, char* text) noexcept {
        const size_t length = std::strlen(text);
        if (length <= length_) return false;
        length_ = length;
        text_ = text;
        name_ = name;
        return true;
    }

    char first_[2] = "";
    char* text_ = first_;
    char** owned_ = nullptr;
    size_t length_ = 0;
    const char* name_ = "text";
};

/* Tells how long the longest text may be beside the others. */
template <class Kind>
void refuseLongDocument(typename Kind::Record policy, char* working, sqlca& ca) noexcept {
    LongestText longest;
    Kind::forEachText(policy, longest);
    longest.cut();
    const bool fits = Kind::generate(policy, working) == SQLPI_CONFIG_OK;
    sqlpiRefuseLongText(function, longest.name(), fits ? Kind::size - std::strlen(working) : 0, longest.length(), ca);
}

/* Writes what the document says into `working`. */
template <class Kind>
uint32_t convert(const xercesc::DOMElement& root, char* working, sqlca& ca) noexcept {
    typename Kind::Record policy = {};
    uint32_t status = Kind::read(root, policy, ca);
    if (status == SQLPI_CONFIG_OK) status = Kind::check(policy, ca);
    if (status == SQLPI_CONFIG_OK) {
        status = Kind::generate(policy, working);
        if (status != SQLPI_CONFIG_OK) refuseLongDocument<Kind>(policy, working, ca);
    }
    Kind::release(policy);
    return status;
}

struct PolicyType {
    std::string_view name;
    sqlpiConfigKind schema;
    uint32_t (*convert)(const xercesc::DOMElement&, char*, sqlca&) noexcept;
};
constexpr PolicyType policyTypes[] = {
    {"MAINTENANCE_WINDOW", SQLPI_CONFIG_MW, convert<Windows>},
    {"AUTO_BACKUP", SQLPI_CONFIG_BACKUP, convert<Backup>},
    {"AUTO_REORG", SQLPI_CONFIG_REORG, convert<Reorg>},
    {"AUTO_RUNSTATS", SQLPI_CONFIG_RUNSTATS, convert<Runstats>},
};

const PolicyType* findType(const char* name) noexcept {
    for (const PolicyType& type : policyTypes)
        if (name != nullptr && type.name == name) return &type;
    return nullptr;
}

/* --- the parse ---------------------------------------------------------------------------------------------------- */

/* A parser that ends at what must not be. */
class ConfigParser : public sqlpiBoundedParser<xercesc::XercesDOMParser> {
public:
    ConfigParser(sqlpi_call_memory& memory, sqlpiCallGrammars& grammars, size_t length)
        : sqlpiBoundedParser(length, nullptr, &memory, &grammars) {
        grammars.setLocator(*getScanner()->getLocator());
        sqlpiSetUpValidation(*this);
        setCreateEntityReferenceNodes(false);  // what an entity holds stands in the tree like anything else
        setCreateCommentNodes(false);
        setIncludeIgnorableWhitespace(false);
    }

    /* What later versions allow in a text, the stored document does not, which is 1.0. */
    void XMLDecl(const XMLCh* const version, const XMLCh* const encoding, const XMLCh* const standalone,
                 const XMLCh* const actualEncoding) override {
        if (std::u16string_view(version) != u"1.0") endIf(u"The document is not of XML version 1.0.");
        sqlpiBoundedParser::XMLDecl(version, encoding, standalone, actualEncoding);
    }
    void doctypeDecl(const xercesc::DTDElementDecl& root, const XMLCh* const publicId, const XMLCh* const systemId,
                     const bool hasInternalPart, const bool hasExternalPart) override {
        if (hasExternalPart) endIf(u"The document refers to an external entity, which is never read.");
        sqlpiBoundedParser::doctypeDecl(root, publicId, systemId, hasInternalPart, hasExternalPart);
    }
    /* What stands in a text of simple type is judged at its end only. */
    void startElement(const xercesc::XMLElementDecl& element, const unsigned int uri, const XMLCh* const prefix,
                      const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, const XMLSize_t attributeCount,
                      const bool isEmpty, const bool isRoot) override {
        constexpr size_t mostElements = 1000;  // the largest policy has some twenty
        if (++elements_ > mostElements) endIf(u"The document has more elements than a policy may have.");
        sqlpiBoundedParser::startElement(element, uri, prefix, attributes, attributeCount, isEmpty, isRoot);
    }
    /* What says nothing about a policy makes no nodes, and a text is one node however it is cut. */
    void docPI(const XMLCh* const /*target*/, const XMLCh* const /*data*/) override {}
    void docCharacters(const XMLCh* const characters, const XMLSize_t length, const bool /*isCData*/) override {
        sqlpiBoundedParser::docCharacters(characters, length, false);
    }
    void startAttList(const xercesc::DTDElementDecl& /*element*/) override {
        endIf(u"The document declares attributes of its own, which have no effect.");
    }
    /* A root that the document declares itself would be judged by the document instead of the schema. */
    void elementDecl(const xercesc::DTDElementDecl& /*element*/, const bool /*isIgnored*/) override {
        endIf(u"The document declares elements of its own, which no policy has.");
    }
    /* The XML library goes through all attributes of a tag before it tells of the element. Each one that the schema
     * does not know is a mistake, and is remembered in a table that names can be made to be slow in. */
    void error(const unsigned int code, const XMLCh* const domain, const xercesc::XMLErrorReporter::ErrTypes type,
               const XMLCh* const text, const XMLCh* const systemId, const XMLCh* const publicId, const XMLFileLoc line,
               const XMLFileLoc column) override {
        checkAttributes(++mistakes_);
        sqlpiBoundedParser::error(code, domain, type, text, systemId, publicId, line, column);
    }

private:
    size_t mistakes_ = 0;
    size_t elements_ = 0;
};

/* Neither the encoding that the parser used nor the one that the document declares is another one. */
bool isUtf8(const xercesc::DOMDocument& tree) {
    const auto isAnother = [](const XMLCh* encoding) {
        return encoding != nullptr && *encoding != u'\0' && !sqlpiOccursIn(encoding, "UTF-8");
    };
    return !isAnother(tree.getInputEncoding()) && !isAnother(tree.getXmlEncoding());
}

uint32_t refuseMistake(const sqlpiDocumentMistake& mistake, sqlca& ca) noexcept {
    pdLogPrintf(PD_ERROR, function, 30, "Validation Error at Line number: %u Column: %u Message: %s", mistake.line,
                mistake.column, mistake.message);
    constexpr size_t messageToken = 50;
    char line[16];
    char column[16];
    const size_t lineLength = sqlpiTextBuilder(line, sizeof line).appendFormat("%u", mistake.line).length();
    const size_t columnLength = sqlpiTextBuilder(column, sizeof column).appendFormat("%u", mistake.column).length();
    sqlpiPrepSqlca(ca, SQLPI_INVALID_DOCUMENT, nullptr,
                   {{line, lineLength}, {column, columnLength}, sqlpiCutUtf8(mistake.message, messageToken)});
    return SQLPI_CONFIG_FAILED;
}

/* The XML parser drops characters beyond the last one of Unicode, and takes a NUL behind the root for the document's
 * end: both are refused here. */
uint32_t refuseByteAt(size_t place, std::string_view document, DOMTreeErrorReporter& reporter, sqlca& ca) {
    std::string_view before = document.substr(0, place);
    const auto line = static_cast<XMLFileLoc>(1 + std::count(before.begin(), before.end(), '\n'));
    before.remove_prefix(before.rfind('\n') + 1);
    const auto column = static_cast<XMLFileLoc>(before.size() + 1);
    const XMLCh* why = document[place] == '\0' ? u"invalid character 0x0" : u"invalid byte";
    reporter.fatalError(xercesc::SAXParseException(why, u"", u"", line, column));
    return refuseMistake(reporter.last(), ca);
}

/* Parses and converts into `working`; throws when memory runs out. */
uint32_t validate(const PolicyType* type, std::string_view document, char* working, DOMTreeErrorReporter& reporter,
                  sqlca& ca) {
    if (!sqlpiHoldXmlPlatform()) throw std::bad_alloc();
    const auto refuseWithoutSchema = [&ca] {
        return refuse(10, "Schema source is null. ", SQLPI_UNUSABLE_DOCUMENT, {}, ca);
    };
    if (type == nullptr) return refuseWithoutSchema();
    const sqlpiGrammarUse grammar(type->schema);
    if (grammar.get() == nullptr) return refuseWithoutSchema();

    sqlpi_mem_manager pool(nullptr);
    sqlpi_call_memory memory(pool, sqlpiParseMemoryBudget(document.size()));
    memory.boundStack(sqlpiMostParseStack);
    const sqlpiConverterLoans converters(memory);
    sqlpiCallGrammars grammars(*grammar.get(), memory);
    ConfigParser& parser = *new (&memory) ConfigParser(memory, grammars, document.size());
    const sqlpi_document_source source(document, memory, u"policy", &parser);
    parser.setErrorHandler(&reporter);
    const auto refuseBeginning = [&ca] {
        return refuse(20, "Parse first element is failed. ", SQLPI_REFUSED_DOCUMENT, {"4"}, ca);
    };
    xercesc::XMLPScanToken place;
    try {
        if (!parser.parseFirst(source, place)) return refuseBeginning();
        while (parser.getErrorCount() == 0 && parser.parseNext(place)) {
        }
    } catch (const xercesc::SAXParseException& ended) {
        reporter.fatalError(ended);
        return refuseMistake(reporter.last(), ca);
    } catch (const xercesc::XMLException& ended) {  // a declaration that cannot be decoded
        reporter.fatalError({ended.getMessage(), u"", u"", 1, 1});
        return refuseBeginning();
    } catch (...) {
        if (!memory.passedStackBound()) throw;
        reporter.fatalError({u"The document's declarations are nested too deeply.", u"", u"", 0, 0});
        return refuseMistake(reporter.last(), ca);
    }
    if (parser.getErrorCount() != 0) return refuseMistake(reporter.last(), ca);
    const xercesc::DOMDocument* tree = parser.getDocument();
    const bool inUtf8 = isUtf8(*tree);
    const size_t illFormed = inUtf8 ? sqlpiFirstIllFormed(document) : document.size();
    if (illFormed != document.size()) return refuseByteAt(illFormed, document, reporter, ca);
    pdLog(PD_INFO, function, 40, "Parsing compeleted with out any errors. ");

    if (!inUtf8)
        return refuse(50, "Encoding used in the policy document is non UTF-8 format.", SQLPI_REFUSED_DOCUMENT, {"5"},
                      ca);
    const xercesc::DOMElement* root = tree->getDocumentElement();
    if (root == nullptr)
        return refuse(60, "Root element of the policy document is empty.\n ", SQLPI_UNUSABLE_DOCUMENT, {}, ca);
    return type->convert(*root, working, ca);
}

}  // namespace

uint32_t sqlpiValidateAutomaintPolicy(const char* policyType, std::string_view document, char* output,
                                      sqlca& ca) noexcept {
    return sqlpiValidateDocument(policyType, document, output, ca, nullptr);
}

uint32_t sqlpiValidateDocument(const char* policyType, std::string_view document, char* output, sqlca& ca,
                               sqlpiDocumentMistake* mistake) noexcept {
    sqlpiFunctionTrace trace(function);
    DOMTreeErrorReporter reporter;
    uint32_t status = SQLPI_CONFIG_FAILED;
    try {
        const sqlpiBlock working = sqlpiTakeBlock(SQLPI_OLD_POLICY_SIZE, "sqlpiPolicyValidate");
        if (working == nullptr) throw std::bad_alloc();
        status = validate(findType(policyType), document, working.get(), reporter, ca);
        if (status == SQLPI_CONFIG_OK) std::memcpy(output, working.get(), std::strlen(working.get()) + 1);
    } catch (...) {
        sqlpiReportNoMemory(ca, function, 20);
    }
    if (mistake != nullptr && reporter.foundMistake()) *mistake = reporter.last();
    return trace.exit(status);
}

/* --- error handler ------------------------------------------------------------------------------------------------ */

namespace {

constinit std::mutex publishing; /* the last mistake */

}  // namespace

void DOMTreeErrorReporter::warning(const xercesc::SAXParseException& exception) {
    keep(exception);
    pdLogPrintf(PD_WARNING, "DOMTreeErrorReporter::warning", 10,
                "Validation Warning at Line number: %u Column: %u Message: %s", last_.line, last_.column,
                last_.message);
}

void DOMTreeErrorReporter::error(const xercesc::SAXParseException& exception) {
    foundMistake_ = true;
    keep(exception);
}

void DOMTreeErrorReporter::fatalError(const xercesc::SAXParseException& exception) {
    error(exception);
}

void DOMTreeErrorReporter::keep(const xercesc::SAXParseException& exception) noexcept {
    const auto bounded = [](XMLFileLoc place) {
        return static_cast<uint32_t>(std::min<XMLFileLoc>(place, std::numeric_limits<int32_t>::max()));
    };
    last_.line = bounded(exception.getLineNumber());
    last_.column = bounded(exception.getColumnNumber());
    const XMLCh* why = exception.getMessage();
    last_.message[why == nullptr ? 0 : sqlpiToUtf8(why, last_.message, sizeof last_.message - 1)] = '\0';
    const sqlpiForkSafeLock<publishing> lock;
    errLineNo = last_.line;
    errColumnNo = last_.column;
    std::memcpy(errMsgBuffer, last_.message, sizeof errMsgBuffer);
}
