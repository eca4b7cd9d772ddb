/* Validation on many threads at once, from the first use in the process on. */
#include <atomic>
#include <thread>

#include "sqlpiConfigGrammar.h"
#include "sqlpiXmlPlatform.h"
#include "unit/validateSupport.h"

namespace {

using namespace validated;

class ConcurrentValidation : public services::DocumentTest {};

TEST_F(ConcurrentValidation, OnlyAGrammarWithListsIsUsedByOneParserAtATime) {
    ASSERT_TRUE(sqlpiHoldXmlPlatform());
    for (const sqlpiConfigKind kind :
         {SQLPI_CONFIG_MW, SQLPI_CONFIG_BACKUP, SQLPI_CONFIG_REORG, SQLPI_CONFIG_RUNSTATS}) {
        const sqlpiSharedGrammar* grammar = sqlpiGrammarOf(kind);
        ASSERT_NE(grammar, nullptr);
        EXPECT_EQ(sqlpiGrammarOf(kind), grammar);
        EXPECT_EQ(sqlpiLockGrammar(*grammar).owns_lock(), kind == SQLPI_CONFIG_MW) << kind;
    }
}

struct Case {
    std::string document;
    std::vector<std::string> tokens; /* none: it is sound */
    std::string message;
};

TEST_F(ConcurrentValidation, EveryCallReportsItsOwnMistake) {
    std::vector<Case> cases;
    for (const config::Type& type : config::types) cases.push_back({config::soundDocument(type.name), {}, ""});
    for (int i = 0; i < 40; ++i) {
        const std::string name = "x" + std::to_string(i);
        const std::string message = "no declaration found for element '" + name + "'";
        cases.push_back({std::string(static_cast<size_t>(i), '\n') + "<" + name + "/>",
                         {std::to_string(i + 1), std::to_string(name.size() + 4), message.substr(0, 50)},
                         message});
    }
    constexpr int threadCount = 8;
    constexpr int rounds = 20;
    std::atomic<int> agreed = 0;
    std::atomic<int> ready = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t)
        threads.emplace_back([&, t] {
            for (++ready; ready < threadCount;) std::this_thread::yield();
            for (int round = 0; round < rounds; ++round)
                for (size_t i = 0; i < cases.size(); ++i) {
                    const Case& one = cases[(i + static_cast<size_t>(t) * 5) % cases.size()];
                    const Verdict verdict = validate(typeOf(one.document), one.document);
                    agreed += verdict.tokens == one.tokens && verdict.mistake.message == one.message &&
                              (verdict.status == 0) == one.tokens.empty() &&
                              (verdict.output == untouched) != one.tokens.empty();
                }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(agreed, threadCount * rounds * static_cast<int>(cases.size()));

    // The globals hold one whole mistake, whosever it is.
    const std::string last = errMsgBuffer;
    const auto whole =
        std::find_if(cases.begin(), cases.end(), [&last](const Case& one) { return one.message == last; });
    ASSERT_NE(whole, cases.end()) << last;
    EXPECT_EQ(std::to_string(errLineNo), whole->tokens[0]);
    EXPECT_EQ(std::to_string(errColumnNo), whole->tokens[1]);
}

}  // namespace
