/* The pieces of work that are measured: parsing one policy document, by the library and by its yardstick. */
#ifndef BENCH_PARSE_WORK_H
#define BENCH_PARSE_WORK_H

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>

#include "sqlpiPolicyCommonParser.h"

/* A stored backup policy of 1.7 KB. */
inline std::string backupDocument() {
    std::ifstream file(KELPOLICY_TEST_DATA "/backup-1.7kb.xml", std::ios::binary);
    std::string document{std::istreambuf_iterator<char>(file), {}};
    if (document.empty()) throw std::runtime_error("no document at " KELPOLICY_TEST_DATA);
    return document;
}

/* The library: parse and delete. */
inline bool parseAndDelete(std::string& document) {
    SQLPIPolicyElement* root = nullptr;
    const int32_t status = sqlpi_policy_parse(nullptr, static_cast<int32_t>(document.size()), document.data(), &root);
    delete root;
    return status == SQLPI_PARSE_OK;
}

/* The yardstick: a new SAX parser whose handler does nothing.
 * REQUIRES: the XML platform is initialised. */
inline void parseAndIgnore(const std::string& document) {
    xercesc::SAXParser parser;
    xercesc::HandlerBase nothing;
    parser.setDocumentHandler(&nothing);
    parser.setErrorHandler(&nothing);
    parser.setValidationScheme(xercesc::SAXParser::Val_Never);
    const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(),
                                            "policyMB");
    parser.parse(source);
}

#endif
