/* Demands on documents: parsed, or refused. */
#ifndef TESTS_UNIT_PARSER_SUPPORT_H
#define TESTS_UNIT_PARSER_SUPPORT_H

#include <pthread.h>

#include <string>
#include <vector>

#include "balance.h"
#include "hostLogs.h"
#include "sqlpiPolicyParserHooks.h"
#include "sqlpiXmlPlatform.h"
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

inline std::string textOf(const std::string& document) {
    const Tree tree = parseTree(document);
    return tree == nullptr ? "no tree" : tree->text == nullptr ? "no text" : tree->text;
}

/* Runs on a thread whose stack is as small as an engine's agents may have. */
template <class Work>
void onSmallStack(Work work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 64 * 1024), 0);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<Work*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

#endif
