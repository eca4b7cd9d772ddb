#include "sqlpiConfigGrammar.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <xercesc/framework/XMLGrammarPoolImpl.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/validators/DTD/DTDGrammar.hpp>
#include <xercesc/validators/DTD/XMLDTDDescriptionImpl.hpp>
#include <xercesc/validators/schema/SchemaGrammar.hpp>
#include <xercesc/validators/schema/XMLSchemaDescriptionImpl.hpp>

#include "files.h"
#include "sqlpiParserMemory.h"
#include "sqlpiPolicyRecords.h"
#include "sqlpiPolicySchemas.h"
#include "sqlpiText.h"

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

/* Has the XML library write down the content models that its messages show; under full checking it has built everything
 * else. */
void complete(sqlpiSharedGrammar& shared) {
    auto grammars = shared.pool.getGrammarEnumerator();
    while (grammars.hasMoreElements()) {
        auto elements = static_cast<xercesc::SchemaGrammar&>(grammars.nextElement()).getElemEnumerator();
        while (elements.hasMoreElements()) elements.nextElement().getFormattedContentModel();
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
