#include "policyKinds.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "sqlpiPolicyCommonParser.h"
#include "sqlpiPolicyParserHooks.h"
#include "text.h"

namespace kelpolicy {

TextPlace placeOfProblem(std::string_view document, std::string_view message, TextPlace told) {
    const size_t offset = firstIllFormedByte(document);
    const bool isAboutBytes = message.find("byte") != std::string_view::npos;
    return isAboutBytes && offset < document.size() ? PlaceCounter(document).at(offset) : told;
}

namespace {

Failure parseFailure(std::string_view document, const std::string& name, const sqlpiParseProblem& problem) {
    const TextPlace place = placeOfProblem(document, problem.message, {problem.line, problem.column});
    const std::string where =
        place.line == 0 ? std::string() : fmt::format(" at line {}, column {}", place.line, place.column);
    Failure failure(fmt::format("{} does not parse{}: {}", name, where, problem.message),
                    "Correct the document there; \"kelpolicy tree PATH\" tells whether a document parses.",
                    policyDocumentCode, policyState);
    failure.line = place.line;
    failure.column = place.column;
    return failure;
}

}  // namespace

std::vector<std::string> policyNames() {
    std::vector<std::string> names;
    for (const PolicyKind* kind : policyKinds) names.emplace_back(kind->key.name);
    return names;
}

const PolicyKind* findPolicyKind(std::string_view name) {
    const auto* found = std::find_if(std::begin(policyKinds), std::end(policyKinds),
                                     [name](const PolicyKind* kind) { return name == kind->key.name; });
    return found == std::end(policyKinds) ? nullptr : *found;
}

const PolicyKind* findPolicyKind(const RowKey& key) {
    const PolicyKind* kind = findPolicyKind(key.name);
    return kind != nullptr && keyOf(kind->key) == key ? kind : nullptr;
}

sqlpiTree parseDocument(std::string_view document, const std::string& name, std::optional<Failure>& failure) {
    SQLPIPolicyElement* parsed = nullptr;
    sqlpiParseProblem problem;
    const int32_t status =
        sqlpiParsePolicyDocument(nullptr, static_cast<int32_t>(document.size()), document.data(), &parsed, &problem);
    if (status == SQLPI_PARSE_NO_MEMORY) throw std::bad_alloc();
    sqlpiTree root(parsed);
    if (root == nullptr) failure = parseFailure(document, name, problem);
    return root;
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
    std::optional<Failure> failure;
    const sqlpiTree root = parseDocument(document, name, failure);
    if (root == nullptr) return fallsBack(*std::move(failure));
    const bool hasElement =
        std::any_of(kind.elements.begin(), kind.elements.end(), [&root](SQLPI_POL_ELEMENT_TYPE type) {
            root->resetAll();
            return root->findElement(root.get(), type) != nullptr;
        });
    return {{}, !hasElement};
}

std::string noteOfSilence(const PolicyKind& kind, const std::string& origin) {
    return fmt::format("{} has no element of the {}: the built-in defaults are in force", origin, kind.title);
}

DocumentVerdict judgeStoredDocument(const PolicyKind& kind, std::string_view document) {
    return judgeDocument(kind, document, DocumentOrigin::stored, fmt::format("the stored policy {}", kind.key.name));
}

DocumentVerdict judgeRow(const RowKey& key, std::string_view document) {
    if (const PolicyKind* kind = findPolicyKind(key)) return judgeStoredDocument(*kind, document);
    DocumentVerdict verdict;
    parseDocument(document, "the stored document", verdict.problem);
    return verdict;
}

}  // namespace kelpolicy
