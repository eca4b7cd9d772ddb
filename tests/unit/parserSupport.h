/* Demands on documents: parsed, or refused. */
#ifndef TESTS_UNIT_PARSER_SUPPORT_H
#define TESTS_UNIT_PARSER_SUPPORT_H

#include <string>
#include <vector>

#include "balance.h"
#include "document/sqlpiPolicyParserHooks.h"
#include "document/sqlpiXmlPlatform.h"
#include "hostLogs.h"
#include "smallStack.h"
#include "trees.h"

class ParserTest : public BalancedTest {
protected:
    ParserTest() { sqlpiHoldXmlPlatform(); }  // also where nothing was parsed yet

    /* Parses what must not parse; returns the diagnostic records. */
    std::vector<kelhost::LogRecord> refused(const std::string& document) {
        logs.clear();
        int32_t status = 0;
        const Tree tree = parseTree(document, &status);
        EXPECT_EQ(status, 3) << document.substr(0, 200);
        EXPECT_EQ(tree, nullptr);
        return logs.records(kelhost::LogKind::diagnostic);
    }
    sqlpiParseProblem problemOf(const std::string& document) {
        SQLPIPolicyElement* root = nullptr;
        sqlpiParseProblem problem;
        EXPECT_EQ(
            sqlpiParsePolicyDocument(nullptr, static_cast<int32_t>(document.size()), document.data(), &root, &problem),
            3);
        EXPECT_EQ(root, nullptr);
        return problem;
    }

    kelhost::LogCapture logs;
};

inline std::vector<std::string> textsOf(const std::vector<kelhost::LogRecord>& records) {
    std::vector<std::string> texts;
    for (const kelhost::LogRecord& record : records) texts.push_back(record.text);
    return texts;
}

inline std::string inDocument(const std::string& inside) {
    return "<PolicyDocument>" + inside + "</PolicyDocument>";
}

inline std::string withDeclarations(const std::string& declarations, const std::string& inside) {
    return "<!DOCTYPE PolicyDocument [" + declarations + "]>" + inDocument(inside);
}

inline std::string repeated(const std::string& text, size_t times) {
    std::string result;
    result.reserve(text.size() * times);
    for (size_t i = 0; i < times; ++i) result += text;
    return result;
}

/* Of `length` pairs of letters; the XML library has one hash for all of one length. */
inline std::string collidingName(size_t number, size_t length) {
    std::string name;
    for (size_t i = 0; i < length; ++i) name += (number >> i & 1U) != 0 ? "az" : "bT";
    return name;
}

inline std::string textOf(const std::string& document) {
    const Tree tree = parseTree(document);
    return tree == nullptr ? "no tree" : tree->text == nullptr ? "no text" : tree->text;
}

#endif
