/* The XML library that cannot be initialised. Every attempt has a process of its own. */
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <string_view>

#include "balance.h"
#include "document/sqlpiPolicyParserHooks.h"
#include "document/sqlpiXmlPlatform.h"
#include "endProcess.h"
#include "sqlpiPolicyCommonParser.h"

namespace {

constinit long callsUntilFailure = 0; /* 0: none fails */

}  // namespace

/* The XML library takes its memory from here. Inlined, the compiler would see a mismatch. */
[[gnu::noinline]] void* operator new(size_t size) {
    if (callsUntilFailure > 0 && --callsUntilFailure == 0) throw std::bad_alloc();
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, size_t /*size*/) noexcept {
    std::free(block);
}

namespace {

class XmlPlatform : public BalancedTest {};

enum Outcome { asExpected = 40, held, noProblem, heldLater, notReached };

/* What a process finds where the allocation of that number fails. */
Outcome attempt(long call) {
    char document[] = "<PolicyDocument/>";
    SQLPIPolicyElement* root = nullptr;
    sqlpiParseProblem problem;
    callsUntilFailure = call;
    const int32_t status = sqlpiParsePolicyDocument(nullptr, sizeof document - 1, document, &root, &problem);
    const bool reached = callsUntilFailure == 0;
    callsUntilFailure = 0;
    if (!reached || status == 0 || status == -1219) return notReached;
    if (status != 3 || root != nullptr) return held;
    if (problem.message != std::string_view("The XML library cannot be initialised.")) return noProblem;
    if (sqlpiHoldXmlPlatform() || sqlpi_policy_parse(nullptr, sizeof document - 1, document, &root) != 3)
        return heldLater;
    return asExpected;
}

TEST_F(XmlPlatform, WithoutItNothingParsesAndNothingBreaks) {
    for (long call = 1; call < 3000; call += call < 60 ? 1 : 97) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) endProcess(attempt(call));
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status)) << "allocation " << call << " kills it by signal " << WTERMSIG(status);
        ASSERT_EQ(WEXITSTATUS(status), asExpected) << "allocation " << call;
    }
}

}  // namespace
