/* Validation on many threads at once, from the first use in the process on. */
#include <atomic>
#include <memory>
#include <set>
#include <thread>
#include <xercesc/util/PlatformUtils.hpp>

#include "configuration/sqlpiConfigGrammar.h"
#include "document/sqlpiXmlPlatform.h"
#include "unit/validateSupport.h"

namespace {

using namespace validated;

class ConcurrentValidation : public services::DocumentTest {};

TEST_F(ConcurrentValidation, OnlyAGrammarWithListsIsUsedByOneParserAtATime) {
    ASSERT_TRUE(sqlpiHoldXmlPlatform());
    for (const sqlpiConfigKind kind :
         {SQLPI_CONFIG_MW, SQLPI_CONFIG_BACKUP, SQLPI_CONFIG_REORG, SQLPI_CONFIG_RUNSTATS}) {
        std::set<const sqlpiSharedGrammar*> grammars;
        for (int round = 0; round < 2; ++round) {  // those of the first round serve again
            const sqlpiGrammarUse first(kind);
            const sqlpiGrammarUse second(kind);
            ASSERT_NE(first.get(), nullptr);
            ASSERT_NE(second.get(), nullptr);
            EXPECT_EQ(first.get() != second.get(), kind == SQLPI_CONFIG_MW) << kind;
            grammars.insert({first.get(), second.get()});
        }
        EXPECT_EQ(grammars.size(), kind == SQLPI_CONFIG_MW ? 2U : 1U) << kind;
    }
}

/* More uses at once than are kept: the others go when they end. */
TEST_F(ConcurrentValidation, ManyUsesAtOnceEachHaveAGrammar) {
    ASSERT_TRUE(sqlpiHoldXmlPlatform());
    std::set<const sqlpiSharedGrammar*> grammars;
    std::vector<std::unique_ptr<sqlpiGrammarUse>> uses;
    for (int i = 0; i < 20; ++i) {
        uses.push_back(std::make_unique<sqlpiGrammarUse>(SQLPI_CONFIG_MW));
        grammars.insert(uses.back()->get());
    }
    EXPECT_EQ(grammars.size(), 20U);
    EXPECT_FALSE(grammars.contains(nullptr));
    uses.clear();
    EXPECT_EQ(validate("MAINTENANCE_WINDOW", config::windows()).status, 0U);
}

/* The counter of the XML library's users is not safe under threads: we do not touch it once we have begun. */
TEST_F(ConcurrentValidation, AHostThreadMayStartAndStopTheXmlLibrary) {
    ASSERT_EQ(validate("AUTO_BACKUP", config::backup()).status, 0U);
    std::atomic<bool> isOver = false;
    std::thread host([&] {
        while (!isOver) {
            xercesc::XMLPlatformUtils::Initialize();
            xercesc::XMLPlatformUtils::Terminate();
        }
    });
    std::atomic<int> sound = 0;
    std::vector<std::thread> threads;
    constexpr int threadCount = 4;
    constexpr int rounds = 1000;
    for (int t = 0; t < threadCount; ++t)
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round)
                sound += validate("AUTO_BACKUP", config::backup()).status == 0U;
        });
    for (std::thread& thread : threads) thread.join();
    isOver = true;
    host.join();
    EXPECT_EQ(sound, threadCount * rounds);
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
