#include "configuration/sqlpiConfigGrammar.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <string_view>
#include <xercesc/framework/XMLGrammarPoolImpl.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/validators/DTD/DTDGrammar.hpp>
#include <xercesc/validators/DTD/XMLDTDDescriptionImpl.hpp>
#include <xercesc/validators/datatype/DecimalDatatypeValidator.hpp>
#include <xercesc/validators/datatype/ListDatatypeValidator.hpp>
#include <xercesc/validators/datatype/UnionDatatypeValidator.hpp>
#include <xercesc/validators/schema/SchemaElementDecl.hpp>
#include <xercesc/validators/schema/SchemaGrammar.hpp>
#include <xercesc/validators/schema/XMLSchemaDescriptionImpl.hpp>

#include "base/sqlpiText.h"
#include "document/sqlpiParserMemory.h"
#include "files.h"
#include "sqlpiPolicyRecords.h"
#include "sqlpiPolicySchemas.h"

/* In memory of the XML library, like the platform itself: pools of the engine may end with the work they serve. The XML
 * library's objects in it are never destroyed, as some of their destructors allocate: the memory is given back whole.
 */
struct sqlpiSharedGrammar {
    static constexpr size_t mostMemory = size_t{8} << 20;

    sqlpi_call_memory memory{*xercesc::XMLPlatformUtils::fgMemoryManager, mostMemory};
    xercesc::XMLGrammarPool& pool = *new (&memory) xercesc::XMLGrammarPoolImpl(&memory); /* locked */
    const xercesc::XMLStringPool* names = nullptr;
};

namespace {

using xercesc::XercesDOMParser;

struct Schema {
    const char* file; /* the name it is known by; never opened */
    const char* text;
    const size_t& length;
    bool hasLists;
};
constexpr Schema schemas[SQLPI_CONFIG_KINDS] = {
    {"KELMaintenanceWindowPolicy.xsd", SQLPI_MWP_V1, SQLPI_MWP_V1_LENGTH, true},
    {"KELBackupPolicy.xsd", SQLPI_AUTO_BACKUP_V1, SQLPI_AUTO_BACKUP_V1_LENGTH, false},
    {"KELAutoReorgPolicy.xsd", SQLPI_AUTO_REORG_V1, SQLPI_AUTO_REORG_V1_LENGTH, false},
    {"KELAutoRunstatsPolicy.xsd", SQLPI_AUTO_RUNSTATS_V1, SQLPI_AUTO_RUNSTATS_V1_LENGTH, false},
};

/* "namespace file:///instance/misc/name". Each byte is a character of it: a path need not be text. */
struct SystemId {
    explicit SystemId(const Schema& schema) noexcept {
        char path[OSS_PATH_SIZE];
        if (sqloInstancePath(path, sizeof path) != OSS_OK) path[0] = '\0';
        sqlpiTextBuilder::continueIn(path, sizeof path).append("/misc/").append(schema.file);
        char bytes[5000];
        sqlpiTextBuilder id(bytes, sizeof bytes);
        id.append(SQLPI_CONFIG_NAMESPACE " file:///").append(path);
        std::copy_n(reinterpret_cast<const unsigned char*>(bytes), id.length() + 1, text);
    }
    XMLCh text[5000];
};

bool load(sqlpiSharedGrammar& shared, const Schema& schema) {
    const SystemId systemId(schema);
    sqlpi_call_memory memory(*xercesc::XMLPlatformUtils::fgMemoryManager, sqlpiSharedGrammar::mostMemory);
    const sqlpi_document_source source({schema.text, schema.length}, memory, systemId.text);
    auto& parser = *new (&memory) XercesDOMParser(nullptr, &memory, &shared.pool);
    sqlpiSetUpValidation(parser);
    return parser.loadGrammar(source, xercesc::Grammar::SchemaGrammarType, true) != nullptr &&
           parser.getErrorCount() == 0;
}

/* A sign or none, zeros, and then 1 to 31. */
bool isDayOfMonth(std::u16string_view number) noexcept {
    if (number.starts_with(u'+') || number.starts_with(u'-')) number.remove_prefix(1);
    number.remove_prefix(std::min(number.find_first_not_of(u'0'), number.size()));
    const auto isDigit = [](XMLCh character, XMLCh least, XMLCh most) {
        return least <= character && character <= most;
    };
    if (number.size() == 1) return isDigit(number[0], u'1', u'9');
    return number.size() == 2 && (isDigit(number[0], u'1', u'2') ? isDigit(number[1], u'0', u'9')
                                                                 : number[0] == u'3' && isDigit(number[1], u'0', u'1'));
}

/* The XML library runs a regular expression over each number of a list and makes two decimals of it. What is plainly a
 * day passes at once; the XML library judges all else. */
class DayOfMonth : public xercesc::DecimalDatatypeValidator {
public:
    DayOfMonth(xercesc::DatatypeValidator* judge, xercesc::MemoryManager* memory)
        : DecimalDatatypeValidator(judge, nullptr, nullptr, 0, memory) {}

    void validate(const XMLCh* const content, xercesc::ValidationContext* const context,
                  xercesc::MemoryManager* const memory) override {
        if (!isDayOfMonth(content)) DecimalDatatypeValidator::validate(content, context, memory);
    }
};

/* Has each list of numbers judge them so: the days of the month are the only one. */
void hasten(xercesc::DatatypeValidator* type, xercesc::MemoryManager* memory) {
    using xercesc::DatatypeValidator;
    if (type == nullptr || type->getType() != DatatypeValidator::Union) return;
    auto& members = *static_cast<xercesc::UnionDatatypeValidator*>(type)->getMemberTypeValidators();
    for (XMLSize_t i = 0; i < members.size(); ++i) {
        DatatypeValidator* member = members.elementAt(i);
        if (member->getType() != DatatypeValidator::List) continue;
        DatatypeValidator* number = static_cast<xercesc::ListDatatypeValidator*>(member)->getItemTypeDTV();
        if (number->getType() != DatatypeValidator::Decimal) continue;
        auto* day = new (memory) DayOfMonth(number, memory);
        members.setElementAt(new (memory) xercesc::ListDatatypeValidator(day, nullptr, nullptr, 0, memory), i);
    }
}

/* Has the XML library write down the content models that its messages show; under full checking it has built everything
 * else. */
void complete(sqlpiSharedGrammar& shared) {
    auto grammars = shared.pool.getGrammarEnumerator();
    while (grammars.hasMoreElements()) {
        auto elements = static_cast<xercesc::SchemaGrammar&>(grammars.nextElement()).getElemEnumerator();
        while (elements.hasMoreElements()) {
            auto& element = static_cast<xercesc::SchemaElementDecl&>(elements.nextElement());
            element.getFormattedContentModel();
            hasten(element.getDatatypeValidator(), &shared.memory);
        }
    }
}

/* Null when there is no memory. */
sqlpiSharedGrammar* build(const Schema& schema) noexcept {
    try {
        auto shared = std::make_unique<sqlpiSharedGrammar>();
        shared->names = shared->pool.getURIStringPool();
        if (!load(*shared, schema)) return nullptr;
        complete(*shared);
        shared->pool.lockPool();
        return shared.release();
    } catch (...) {
        return nullptr;
    }
}

/* Those that are not in use of a kind with lists; the one of any other kind. */
constexpr size_t mostIdle = 8;
constinit std::atomic<sqlpiSharedGrammar*> idle[SQLPI_CONFIG_KINDS][mostIdle] = {};

/* The one for all uses; of two that are built at once, one goes again. */
sqlpiSharedGrammar* share(std::atomic<sqlpiSharedGrammar*>& place, const Schema& schema) noexcept {
    sqlpiSharedGrammar* shared = place.load(std::memory_order_acquire);
    if (shared != nullptr) return shared;
    sqlpiSharedGrammar* built = build(schema);
    if (built == nullptr || place.compare_exchange_strong(shared, built, std::memory_order_acq_rel)) return built;
    delete built;
    return shared;
}

}  // namespace

void sqlpiSetUpValidation(XercesDOMParser& parser) {
    parser.setDoNamespaces(true);
    parser.setDoSchema(true);
    parser.setValidationScheme(XercesDOMParser::Val_Always);
    parser.setValidationSchemaFullChecking(true);
    parser.setExitOnFirstFatalError(true);
    parser.useCachedGrammarInParse(true);
    parser.setLoadSchema(false);  // no document names a schema of its own; each try would build another parser
}

sqlpiGrammarUse::sqlpiGrammarUse(sqlpiConfigKind kind) noexcept : kind_(kind), grammar_(nullptr) {
    if (!schemas[kind].hasLists) {
        grammar_ = share(idle[kind][0], schemas[kind]);
        return;
    }
    for (auto& place : idle[kind])
        if (grammar_ == nullptr) grammar_ = place.exchange(nullptr, std::memory_order_acquire);
    if (grammar_ == nullptr) grammar_ = build(schemas[kind]);
}

sqlpiGrammarUse::~sqlpiGrammarUse() {
    if (grammar_ == nullptr || !schemas[kind_].hasLists) return;
    for (auto& place : idle[kind_]) {
        sqlpiSharedGrammar* none = nullptr;
        if (place.compare_exchange_strong(none, grammar_, std::memory_order_release)) return;
    }
    delete grammar_;
}

/* --- what one parser is handed ------------------------------------------------------------------------------------ */

unsigned int sqlpiCallNames::addOrFind(const XMLCh* name) {
    if (++asked_ > most && locator_ != nullptr)
        throw xercesc::SAXParseException(u"The document names more namespaces than a policy may have.", *locator_);
    return XMLSynchronizedStringPool::addOrFind(name);
}

sqlpiCallGrammars::sqlpiCallGrammars(const sqlpiSharedGrammar& shared, xercesc::MemoryManager& memory)
    : XMLGrammarPool(&memory), shared_(shared), names_(*shared.names, memory) {}

xercesc::Grammar* sqlpiCallGrammars::retrieveGrammar(xercesc::XMLGrammarDescription* description) {
    return shared_.pool.retrieveGrammar(description);
}

xercesc::RefHashTableOfEnumerator<xercesc::Grammar> sqlpiCallGrammars::getGrammarEnumerator() const {
    return shared_.pool.getGrammarEnumerator();
}

xercesc::DTDGrammar* sqlpiCallGrammars::createDTDGrammar() {
    return new (getMemoryManager()) xercesc::DTDGrammar(getMemoryManager());
}

xercesc::SchemaGrammar* sqlpiCallGrammars::createSchemaGrammar() {
    return new (getMemoryManager()) xercesc::SchemaGrammar(getMemoryManager());
}

xercesc::XMLDTDDescription* sqlpiCallGrammars::createDTDDescription(const XMLCh* systemId) {
    return new (getMemoryManager()) xercesc::XMLDTDDescriptionImpl(systemId, getMemoryManager());
}

xercesc::XMLSchemaDescription* sqlpiCallGrammars::createSchemaDescription(const XMLCh* nameSpace) {
    return new (getMemoryManager()) xercesc::XMLSchemaDescriptionImpl(nameSpace, getMemoryManager());
}

xercesc::XSModel* sqlpiCallGrammars::getXSModel(bool& wasChanged) {
    wasChanged = false;
    return nullptr;  // nobody asks: no parser here describes its schema
}
