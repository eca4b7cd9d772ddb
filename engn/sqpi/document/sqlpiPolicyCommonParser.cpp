/* Policy-language parser: one call builds its parser and companions, parses, and destroys them all but the tree. */
#include "sqlpiPolicyCommonParser.h"

#include <memory>
#include <optional>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "base/sqlpiMemory.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "document/sqlpiParserMemory.h"
#include "document/sqlpiPolicyParserHooks.h"
#include "document/sqlpiXmlBounds.h"
#include "document/sqlpiXmlConverters.h"
#include "document/sqlpiXmlPlatform.h"
#include "engineState.h"
#include "logs.h"

namespace {

constexpr const char* function = "sqlpi_policy_parse";

/* Knows whether it came to the document's end: the XML library also returns from the midst of one. */
class PolicyParser : public sqlpiBoundedParser<xercesc::SAXParser> {
public:
    using sqlpiBoundedParser::sqlpiBoundedParser;

    void endDocument() override {
        hasEnded_ = true;
        sqlpiBoundedParser::endDocument();
    }
    bool hasEnded() const noexcept { return hasEnded_; }

private:
    bool hasEnded_ = false;
};

/* What one parse needs besides the document. The members stand in the order of their making; the destructor states that
 * of their end. */
struct Companions {
    sqlpiPlain<sqlpi_mem_manager> memory;
    std::optional<sqlpi_call_memory> callMemory;
    std::optional<sqlpiConverterLoans> converters;
    sqlpiPlain<sqlpi_panic_handler> panicHandler;
    PolicyParser* parser = nullptr; /* lives in the call's memory and ends with it */
    sqlpiPlain<sqlpi_sax_handler> documentHandler;
    sqlpiPlain<sqlpi_error_handler> errorHandler;
    sqlpi_entity_resolver resolver;
    std::unique_ptr<sqlpi_document_source> source;

    /* Makes them all. Returns 0, or the probe number of the one that could not be made. */
    uint32_t make(SQLO_MEM_POOL* pool, std::string_view document) noexcept {
        const auto probe = [](uint32_t number, auto makeOne) noexcept {
            try {
                return makeOne() ? 0U : number;
            } catch (...) {
                sqlpiNoteMemoryShortage();
                return number;
            }
        };
        uint32_t failed = probe(20, [&] {
            memory = sqlpiMakePlain<sqlpi_mem_manager>(pool);
            if (memory == nullptr) return false;
            callMemory.emplace(*memory, sqlpiParseMemoryBudget(document.size()));
            callMemory->boundStack(sqlpiMostParseStack);
            converters.emplace(*callMemory);
            return true;
        });
        if (failed == 0)
            failed = probe(30, [&] { return (panicHandler = sqlpiMakePlain<sqlpi_panic_handler>()) != nullptr; });
        if (failed == 0)
            failed = probe(40, [&] {
                parser = new (&*callMemory) PolicyParser(document.size(), nullptr, &*callMemory, nullptr);
                return true;
            });
        if (failed == 0)
            failed = probe(50, [&] {
                documentHandler = sqlpiMakePlain<sqlpi_sax_handler>();
                return documentHandler != nullptr;
            });
        if (failed == 0)
            failed = probe(60, [&] { return (errorHandler = sqlpiMakePlain<sqlpi_error_handler>()) != nullptr; });
        if (failed == 0)
            failed = probe(70, [&] {
                connect();
                source = std::make_unique<sqlpi_document_source>(document, *callMemory, u"policyMB", parser);
                return true;
            });
        return failed;
    }

    void connect() {
        // The default scanner also remembers every child of every open element, for schemas, which a policy has not.
        parser->useScanner(xercesc::XMLUni::fgDGXMLScanner);
        errorHandler->resetErrors();
        parser->setErrorHandler(errorHandler.get());
        parser->setDocumentHandler(documentHandler.get());
        parser->setDTDHandler(documentHandler.get());  // without one, the parser is told of no declaration
        parser->setEntityResolver(&resolver);
        parser->setValidationScheme(xercesc::SAXParser::Val_Never);
    }

    /* Parses to the document's end and returns true; or tells why it did not. Whatever is thrown below ends here. */
    bool parse(sqlpiParseProblem& problem) noexcept {
        const char* why = nullptr;
        try {
            parser->parse(*source);
            if (parser->hasEnded() && errorHandler->errorFlag == 0 && !resolver.wasAsked) return true;
        } catch (const xercesc::SAXException& ended) {
            problem.describe(ended);
            logRefusal(problem);
            return false;
        } catch (...) {
            if (callMemory->passedStackBound()) why = "The document's declarations are nested too deeply.";
        }
        if (errorHandler->errorFlag != 0) {
            problem = errorHandler->problem;
            return false;
        }
        if (resolver.wasAsked) why = "The document refers to an external entity, which is never read.";
        sqlpiTextBuilder message(problem.message, sizeof problem.message);
        if (why == nullptr) {
            message.append("The XML parser ended without a message; memory may have run out.");
        } else {
            message.append(why);
            logRefusal(problem);
        }
        return false;
    }

    /* What the XML library reads and a policy may not have, in the words for what the XML library does not read, which
     * the error handler has logged. */
    void logRefusal(const sqlpiParseProblem& problem) const noexcept {
        if (errorHandler->errorFlag == 0) pdLogPrintf(PD_ERROR, function, 80, "XMLRD Panic: %s", problem.message);
    }

    ~Companions() {
        errorHandler.reset();
        documentHandler.reset();
        converters.reset();
        callMemory.reset();
        memory.reset();
        panicHandler.reset();
        source.reset();
    }
};

}  // namespace

int32_t sqlpiParsePolicyDocument(SQLO_MEM_POOL* pool, int32_t length, const char* document, SQLPIPolicyElement** result,
                                 sqlpiParseProblem* problem) noexcept {
    sqlpiFunctionTrace trace(function);
    if (result == nullptr) return trace.exit(SQLPI_PARSE_ERROR);
    if (length == 0 || document == nullptr) {
        *result = nullptr;
        return trace.exit(SQLPI_PARSE_OK);
    }
    sqlpiParseProblem found;
    const auto fail = [&](int32_t status, const char* why = nullptr) {
        if (why != nullptr) sqlpiTextBuilder(found.message, sizeof found.message).append(why);
        if (problem != nullptr) *problem = found;
        delete *result;
        *result = nullptr;
        return trace.exit(status);
    };
    if (length < 0) return fail(SQLPI_PARSE_ERROR, "The document's length is negative.");
    if (isSharedLibInitSuccess() == 0) return fail(SQLPI_PARSE_ERROR, "The engine library is not initialised.");
    if (!sqlpiHoldXmlPlatform()) return fail(SQLPI_PARSE_ERROR, "The XML library cannot be initialised.");

    Companions companions;
    if (const uint32_t failed = companions.make(pool, {document, static_cast<size_t>(length)}); failed != 0) {
        constexpr const char* outOfMemory = "Out of memory. Unable to allocate object.";
        pdLog(PD_SEVERE, function, failed, outOfMemory);
        return fail(SQLPI_PARSE_NO_MEMORY, outOfMemory);
    }
    if (!companions.parse(found)) return fail(SQLPI_PARSE_ERROR);
    *result = companions.documentHandler->takeRoot();
    return trace.exit(SQLPI_PARSE_OK);
}

int32_t sqlpi_policy_parse(SQLO_MEM_POOL* pool, int32_t length, char* document, SQLPIPolicyElement** result) noexcept {
    return sqlpiParsePolicyDocument(pool, length, document, result, nullptr);
}
