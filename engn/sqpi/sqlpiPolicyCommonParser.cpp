/* Policy-language parser: one call builds its parser and companions, parses, and destroys them all but the tree. */
#include "sqlpiPolicyCommonParser.h"

#include <algorithm>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include "engineState.h"
#include "logs.h"
#include "sqlpiParserMemory.h"
#include "sqlpiPolicyParserHooks.h"
#include "sqlpiText.h"
#include "sqlpiTrace.h"
#include "sqlpiXmlPlatform.h"

namespace {

constexpr const char* function = "sqlpi_policy_parse";

/* Bounds on what a document of `length` bytes may make of itself through entities; no document without entities comes
 * near them. */
constexpr size_t mostEntityExpansions = 64;
constexpr size_t entityBudget = 4096;
constexpr size_t textBudget(size_t length) noexcept {
    return 2 * length + (size_t{64} << 10);
}
constexpr size_t memoryBudget(size_t length) noexcept {
    return 512 * length + (size_t{16} << 20);
}

/* A parser that counts what the document declares. */
class PolicyParser : public xercesc::SAXParser {
public:
    explicit PolicyParser(xercesc::MemoryManager* memory) : SAXParser(nullptr, memory, nullptr) {}

    void entityDecl(const xercesc::DTDEntityDecl& declaration, const bool isParameter, const bool isIgnored) override {
        documentHandler->entityDeclared(declaration.isExternal(), declaration.getValueLen());
        SAXParser::entityDecl(declaration, isParameter, isIgnored);
    }

    sqlpi_sax_handler* documentHandler = nullptr;
};

/* What one parse needs besides the document. The members stand in the order of their making; they are destroyed in the
 * order of `release`. */
struct Companions {
    sqlpiPlain<sqlpi_mem_manager> memory;
    std::optional<sqlpi_call_memory> callMemory;
    sqlpiPlain<sqlpi_panic_handler> panicHandler;
    std::unique_ptr<PolicyParser> parser;
    sqlpiPlain<sqlpi_sax_handler> documentHandler;
    sqlpiPlain<sqlpi_error_handler> errorHandler;
    sqlpi_entity_resolver resolver;
    xercesc::SecurityManager security;
    std::unique_ptr<sqlpi_document_source> source;

    /* Makes them all. Returns 0, or the probe number of the one that could not be made. */
    uint32_t make(SQLO_MEM_POOL* pool, std::string_view document) noexcept {
        const auto probe = [](uint32_t number, auto makeOne) noexcept {
            try {
                return makeOne() ? 0U : number;
            } catch (...) {
                return number;
            }
        };
        uint32_t failed = probe(20, [&] {
            memory = sqlpiMakePlain<sqlpi_mem_manager>(pool);
            if (memory != nullptr) callMemory.emplace(*memory, memoryBudget(document.size()));
            return memory != nullptr;
        });
        if (failed == 0)
            failed = probe(30, [&] { return (panicHandler = sqlpiMakePlain<sqlpi_panic_handler>()) != nullptr; });
        if (failed == 0)
            failed = probe(40, [&] {
                parser = std::make_unique<PolicyParser>(&*callMemory);
                return true;
            });
        if (failed == 0)
            failed = probe(50, [&] {
                documentHandler = sqlpiMakePlain<sqlpi_sax_handler>(textBudget(document.size()), entityBudget);
                return documentHandler != nullptr;
            });
        if (failed == 0)
            failed = probe(60, [&] { return (errorHandler = sqlpiMakePlain<sqlpi_error_handler>()) != nullptr; });
        if (failed == 0)
            failed = probe(70, [&] {
                connect();
                source = std::make_unique<sqlpi_document_source>(document, *callMemory);
                return true;
            });
        return failed;
    }

    void connect() {
        errorHandler->resetErrors();
        parser->setErrorHandler(errorHandler.get());
        parser->setDocumentHandler(documentHandler.get());
        parser->documentHandler = documentHandler.get();
        parser->setDTDHandler(documentHandler.get());  // without one, the parser is told of no declaration
        parser->setEntityResolver(&resolver);
        parser->setValidationScheme(xercesc::SAXParser::Val_Never);
        parser->setDisableDefaultEntityResolution(true);
        security.setEntityExpansionLimit(mostEntityExpansions);
        parser->setSecurityManager(&security);
    }

    /* Parses; whatever is thrown below ends here. */
    bool parse() noexcept {
        try {
            parser->parse(*source);
            return true;
        } catch (...) {
            return false;
        }
    }

    ~Companions() {
        errorHandler.reset();
        documentHandler.reset();
        parser.reset();
        callMemory.reset();
        memory.reset();
        panicHandler.reset();
        source.reset();
    }
};

/* What a person is told about a parse that failed. */
sqlpiParseProblem problemOf(const Companions& companions) noexcept {
    if (companions.errorHandler->errorFlag != 0) return companions.errorHandler->problem;
    if (const sqlpiParseProblem* ended = companions.documentHandler->problem()) return *ended;
    sqlpiParseProblem problem;
    sqlpiTextBuilder(problem.message, sizeof problem.message)
        .append(companions.resolver.wasAsked ? "The document refers to an external entity, which is never read."
                                             : "The XML parser ended without a message; memory may have run out.");
    return problem;
}

}  // namespace

int32_t sqlpiParsePolicyDocument(SQLO_MEM_POOL* pool, int32_t length, const char* document, SQLPIPolicyElement** result,
                                 sqlpiParseProblem* problem) noexcept {
    sqlpiFunctionTrace trace(function);
    if (length == 0 || document == nullptr) {
        *result = nullptr;
        return trace.exit(SQLPI_PARSE_OK);
    }
    const auto fail = [&](int32_t status) {
        delete *result;
        *result = nullptr;
        return trace.exit(status);
    };
    if (length < 0 || isSharedLibInitSuccess() == 0 || !sqlpiHoldXmlPlatform()) {
        if (problem != nullptr) *problem = {0, 0, "The engine library is not initialised."};
        return fail(SQLPI_PARSE_ERROR);
    }

    Companions companions;
    if (const uint32_t failed = companions.make(pool, {document, static_cast<size_t>(length)}); failed != 0) {
        pdLog(PD_SEVERE, function, failed, "Out of memory. Unable to allocate object.");
        return fail(SQLPI_PARSE_NO_MEMORY);
    }
    const bool parsed = companions.parse();
    if (!parsed || companions.errorHandler->errorFlag != 0 || companions.resolver.wasAsked) {
        if (problem != nullptr) *problem = problemOf(companions);
        return fail(SQLPI_PARSE_ERROR);
    }
    *result = companions.documentHandler->takeRoot();
    return trace.exit(SQLPI_PARSE_OK);
}

int32_t sqlpi_policy_parse(SQLO_MEM_POOL* pool, int32_t length, char* document, SQLPIPolicyElement** result) noexcept {
    return sqlpiParsePolicyDocument(pool, length, document, result, nullptr);
}
