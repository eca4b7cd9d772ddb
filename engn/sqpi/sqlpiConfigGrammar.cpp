#include "sqlpiConfigGrammar.h"

#include <atomic>
#include <memory>
#include <mutex>
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

/* Lives as long as the process, in memory of the XML library like the platform itself: pools of the engine may end with
 * the work they serve. */
struct sqlpiSharedGrammar {
    static constexpr size_t mostMemory = size_t{8} << 20;

    sqlpi_call_memory memory{*xercesc::XMLPlatformUtils::fgMemoryManager, mostMemory};
    mutable xercesc::XMLGrammarPoolImpl pool{&memory}; /* locked */
    const xercesc::XMLStringPool* names = nullptr;
    bool hasLists = false;
    mutable std::mutex lists;
};

namespace {

using xercesc::XercesDOMParser;

struct Schema {
    const char* file; /* the name it is known by; never opened */
    const char* text;
    const size_t& length;
    bool hasLists;
    const char* firstDocument; /* touches every type */
};
constexpr Schema schemas[SQLPI_CONFIG_KINDS] = {
    {"KELMaintenanceWindowPolicy.xsd", SQLPI_MWP_V1, SQLPI_MWP_V1_LENGTH, true,
     "<KELMaintenanceWindows xmlns='" SQLPI_CONFIG_NAMESPACE "'>"
     "<OnlineWindow Occurrence='During' startTime='01:00:00' duration='1'><DaysOfWeek>Mon</DaysOfWeek>"
     "<DaysOfMonth>1 -1</DaysOfMonth><MonthsOfYear>Jan</MonthsOfYear></OnlineWindow>"
     "<OfflineWindow><DaysOfWeek>All</DaysOfWeek><DaysOfMonth>All</DaysOfMonth><MonthsOfYear>All</MonthsOfYear>"
     "</OfflineWindow></KELMaintenanceWindows>"},
    {"KELBackupPolicy.xsd", SQLPI_AUTO_BACKUP_V1, SQLPI_AUTO_BACKUP_V1_LENGTH, false,
     "<KELAutoBackupPolicy xmlns='" SQLPI_CONFIG_NAMESPACE "'>"
     "<BackupOptions mode='Online'><BackupTarget><VLTBackupTarget numberOfSessions='1'/></BackupTarget></BackupOptions>"
     "<BackupCriteria numberOfFullBackups='1' timeSinceLastBackup='1' logSpaceConsumedSinceLastBackup='1'/>"
     "</KELAutoBackupPolicy>"},
    {"KELAutoReorgPolicy.xsd", SQLPI_AUTO_REORG_V1, SQLPI_AUTO_REORG_V1_LENGTH, false,
     "<KELAutoReorgPolicy xmlns='" SQLPI_CONFIG_NAMESPACE "'><ReorgOptions reclaimExtentsSizeForMDCTables='1'/>"
     "<ReorgTableScope maxOfflineReorgTableSize='0'><FilterClause>f</FilterClause></ReorgTableScope>"
     "</KELAutoReorgPolicy>"},
    {"KELAutoRunstatsPolicy.xsd", SQLPI_AUTO_RUNSTATS_V1, SQLPI_AUTO_RUNSTATS_V1_LENGTH, false,
     "<KELAutoRunstatsPolicy xmlns='" SQLPI_CONFIG_NAMESPACE "'><RunstatsTableScope><FilterCondition>f"
     "</FilterCondition></RunstatsTableScope></KELAutoRunstatsPolicy>"},
};

/* "namespace file:///instance/misc/name" */
struct SystemId {
    explicit SystemId(const Schema& schema) noexcept {
        char path[OSS_PATH_SIZE];
        if (sqloInstancePath(path, sizeof path) != OSS_OK) path[0] = '\0';
        sqlpiTextBuilder::continueIn(path, sizeof path).append("/misc/").append(schema.file);
        sqlpiTextBuilder(text, sizeof text).append(SQLPI_CONFIG_NAMESPACE " file:///").append(path);
    }
    char text[5000];
};

bool load(sqlpiSharedGrammar& shared, const Schema& schema) {
    const SystemId systemId(schema);
    const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(schema.text), schema.length,
                                            systemId.text);
    XercesDOMParser parser(nullptr, &shared.memory, &shared.pool);
    sqlpiSetUpValidation(parser);
    return parser.loadGrammar(source, xercesc::Grammar::SchemaGrammarType, true) != nullptr &&
           parser.getErrorCount() == 0;
}

/* Has the XML library build everything that it would build on first use. What only its messages need, no valid document
 * touches. */
bool complete(sqlpiSharedGrammar& shared, const Schema& schema) {
    auto grammars = shared.pool.getGrammarEnumerator();
    while (grammars.hasMoreElements()) {
        auto& grammar = static_cast<xercesc::SchemaGrammar&>(grammars.nextElement());
        auto elements = grammar.getElemEnumerator();
        while (elements.hasMoreElements()) {
            const xercesc::SchemaElementDecl& element = elements.nextElement();
            element.getFullName();
            element.getFormattedContentModel();
        }
        xercesc::RefHashTableOfEnumerator<xercesc::ComplexTypeInfo> types(grammar.getComplexTypeRegistry(), false,
                                                                          &shared.memory);
        while (types.hasMoreElements()) {
            xercesc::ComplexTypeInfo& type = types.nextElement();
            type.getContentModel();
            const xercesc::XMLAttDefList& attributes = type.getAttDefList();
            for (XMLSize_t i = 0; i < attributes.getAttDefCount(); ++i) attributes.getAttDef(i).getFullName();
        }
    }
    sqlpi_call_memory memory(*xercesc::XMLPlatformUtils::fgMemoryManager, sqlpiSharedGrammar::mostMemory);
    sqlpiCallGrammars forCall(shared, memory);
    XercesDOMParser parser(nullptr, &memory, &forCall);
    sqlpiSetUpValidation(parser);
    const sqlpi_document_source source(schema.firstDocument, memory);
    parser.parse(source);
    return parser.getErrorCount() == 0;
}

std::unique_ptr<sqlpiSharedGrammar> build(const Schema& schema) {
    auto shared = std::make_unique<sqlpiSharedGrammar>();
    shared->names = shared->pool.getURIStringPool();
    shared->hasLists = schema.hasLists;
    if (!load(*shared, schema)) return nullptr;
    shared->pool.lockPool();
    return complete(*shared, schema) ? std::move(shared) : nullptr;
}

}  // namespace

void sqlpiSetUpValidation(XercesDOMParser& parser) {
    parser.setDoNamespaces(true);
    parser.setDoSchema(true);
    parser.setValidationScheme(XercesDOMParser::Val_Always);
    parser.setValidationSchemaFullChecking(true);
    parser.setExitOnFirstFatalError(true);
    parser.useCachedGrammarInParse(true);
    parser.setLoadSchema(false);
    parser.setDisableDefaultEntityResolution(true);
}

const sqlpiSharedGrammar* sqlpiGrammarOf(sqlpiConfigKind kind) noexcept {
    static constinit std::atomic<const sqlpiSharedGrammar*> grammars[SQLPI_CONFIG_KINDS] = {};
    static constinit std::mutex building;  // one for all: the kinds share the XML library's built-in types
    if (const auto* built = grammars[kind].load(std::memory_order_acquire)) return built;
    try {
        const std::lock_guard lock(building);
        if (const auto* built = grammars[kind].load(std::memory_order_relaxed)) return built;
        const sqlpiSharedGrammar* built = build(schemas[kind]).release();
        grammars[kind].store(built, std::memory_order_release);
        return built;
    } catch (...) {
        return nullptr;
    }
}

std::unique_lock<std::mutex> sqlpiLockGrammar(const sqlpiSharedGrammar& shared) {
    return shared.hasLists ? std::unique_lock(shared.lists) : std::unique_lock<std::mutex>();
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
