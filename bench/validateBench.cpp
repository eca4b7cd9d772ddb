/* Validating a configuration document, beside its yardsticks. */
#include <benchmark/benchmark.h>

#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>

#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiPolicyValidate.h"
#include "document/sqlpiXmlPlatform.h"
#include "sqlpiPolicySchemas.h"

namespace {

using xercesc::XercesDOMParser;

const std::string backupDocument =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<KELAutoBackupPolicy xmlns=\"" SQLPI_CONFIG_NAMESPACE
    "\" >\n\n"
    " <!--   Backup Options  -->\n"
    " <BackupOptions mode=\"Online\">\n"
    "  <BackupTarget>\n"
    "   <DiskBackupTarget>\n"
    "    <PathName>/</PathName>\n"
    "   </DiskBackupTarget>\n"
    "  </BackupTarget>\n"
    " </BackupOptions>\n\n"
    " <!--  Frequency of automatic backups -->\n\n"
    " <BackupCriteria numberOfFullBackups=\"1\" timeSinceLastBackup=\"168\""
    " logSpaceConsumedSinceLastBackup=\"6400\"/>\n\n"
    "</KELAutoBackupPolicy>";

xercesc::MemBufInputSource sourceOf(const char* text, size_t length, const char* name) {
    return {reinterpret_cast<const XMLByte*>(text), length, name};
}

/* A new DOM parser that validates nothing. */
void yardstickPlainDomParse(benchmark::State& state) {
    sqlpiHoldXmlPlatform();
    for (auto _ : state) {
        XercesDOMParser parser;
        xercesc::HandlerBase nothing;
        parser.setErrorHandler(&nothing);
        parser.setValidationScheme(XercesDOMParser::Val_Never);
        parser.parse(sourceOf(backupDocument.data(), backupDocument.size(), "policy"));
        if (parser.getDocument()->getDocumentElement() == nullptr) state.SkipWithError("does not parse");
    }
}
BENCHMARK(yardstickPlainDomParse)->Unit(benchmark::kMicrosecond);

/* A new DOM parser that loads the schema and validates. */
void yardstickSchemaPerCall(benchmark::State& state) {
    sqlpiHoldXmlPlatform();
    for (auto _ : state) {
        XercesDOMParser parser;
        xercesc::HandlerBase nothing;
        parser.setErrorHandler(&nothing);
        parser.setDoNamespaces(true);
        parser.setDoSchema(true);
        parser.setValidationScheme(XercesDOMParser::Val_Always);
        parser.setValidationSchemaFullChecking(true);
        parser.loadGrammar(sourceOf(SQLPI_AUTO_BACKUP_V1, SQLPI_AUTO_BACKUP_V1_LENGTH, "schema"),
                           xercesc::Grammar::SchemaGrammarType, true);
        parser.useCachedGrammarInParse(true);
        parser.parse(sourceOf(backupDocument.data(), backupDocument.size(), "policy"));
        if (parser.getErrorCount() != 0) state.SkipWithError("does not validate");
    }
}
BENCHMARK(yardstickSchemaPerCall)->Unit(benchmark::kMicrosecond);

/* The whole way from the document to the policy-language document. */
void validateAutomaintPolicy(benchmark::State& state) {
    char output[SQLPI_OLD_POLICY_SIZE];
    sqlca ca = {};
    for (auto _ : state)
        if (sqlpiValidateAutomaintPolicy("AUTO_BACKUP", backupDocument, output, ca) != SQLPI_CONFIG_OK)
            state.SkipWithError("is refused");
}
BENCHMARK(validateAutomaintPolicy)->Unit(benchmark::kMicrosecond);

/* Growth: documents with a comment of so many bytes. */
void growthByComment(benchmark::State& state) {
    const std::string document =
        backupDocument + "<!--" + std::string(static_cast<size_t>(state.range(0)), 'c') + "-->";
    char output[SQLPI_OLD_POLICY_SIZE];
    sqlca ca = {};
    for (auto _ : state)
        if (sqlpiValidateAutomaintPolicy("AUTO_BACKUP", document, output, ca) != SQLPI_CONFIG_OK)
            state.SkipWithError("is refused");
}
BENCHMARK(growthByComment)->RangeMultiplier(16)->Range(1 << 10, 1 << 18)->Unit(benchmark::kMicrosecond);

}  // namespace
