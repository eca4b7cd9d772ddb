#include "policyKinds.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "sqlpiPolicyCommonParser.h"

namespace kelpolicy {

const PolicyKind* findPolicyKind(std::string_view name) {
    const auto* found = std::find_if(std::begin(policyKinds), std::end(policyKinds),
                                     [name](const PolicyKind* kind) { return name == kind->key.name; });
    return found == std::end(policyKinds) ? nullptr : *found;
}

Failure parseFailure(const std::string& name, int32_t status, const sqlpiParseProblem& problem) {
    if (status == SQLPI_PARSE_NO_MEMORY) throw std::bad_alloc();
    const std::string place =
        problem.line == 0 ? std::string() : fmt::format(" at line {}, column {}", problem.line, problem.column);
    Failure failure(fmt::format("{} does not parse{}: {}", name, place, problem.message),
                    "Correct the document there; \"kelpolicy tree PATH\" tells whether a document parses.",
                    policyDocumentCode, policyState);
    failure.line = problem.line;
    failure.column = problem.column;
    return failure;
}

DocumentVerdict judgeDocument(const PolicyKind& kind, std::string_view document, DocumentOrigin origin,
                              const std::string& name) {
    const auto fallsBack = [&kind, origin](Failure failure) {
        failure.policy = kind.key.name;
        failure.hint =
            (origin == DocumentOrigin::stored ? "Meanwhile the engine works with its built-in defaults. "
                                              : "With it the engine would work with its built-in defaults. ") +
            failure.hint;
        return DocumentVerdict{std::move(failure)};
    };
    if (document.empty())
        return fallsBack({name + " is empty", "Store a policy document in its place, or delete the row.",
                          policyDocumentCode, policyState});
    SQLPIPolicyElement* parsed = nullptr;
    sqlpiParseProblem problem;
    const int32_t status =
        sqlpiParsePolicyDocument(nullptr, static_cast<int32_t>(document.size()), document.data(), &parsed, &problem);
    const sqlpiTree root(parsed);
    if (root == nullptr) return fallsBack(parseFailure(name, status, problem));
    const bool hasElement =
        std::any_of(kind.elements.begin(), kind.elements.end(), [&root](SQLPI_POL_ELEMENT_TYPE type) {
            root->resetAll();
            return root->findElement(root.get(), type) != nullptr;
        });
    return {{}, !hasElement};
}

DocumentVerdict judgeStoredDocument(const PolicyKind& kind, std::string_view document) {
    return judgeDocument(kind, document, DocumentOrigin::stored, fmt::format("the stored policy {}", kind.key.name));
}

}  // namespace kelpolicy
