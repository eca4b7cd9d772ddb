#include "configuration/policyKinds.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "configuration/documentIdentity.h"
#include "console/text.h"
#include "document/sqlpiPolicyParserHooks.h"
#include "sqlpiPolicyCommonParser.h"

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
    std::string why = problem.message;
    why.erase(why.find_last_not_of('.') + 1);
    const std::optional<DocumentIdentity> identity = identifyDocument(document, documentLanguage);
    if (identity.has_value()) why += ": it " + identity->what;
    Failure failure(fmt::format("{} does not parse{}: {}", name, where, why),
                    identity.has_value()
                        ? identity->hint
                        : "Correct the document there; \"kelpolicy tree PATH\" tells whether a document parses.",
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
    const auto has = [&root](SQLPI_POL_ELEMENT_TYPE type) {
        root->resetAll();
        return root->findElement(root.get(), type) != nullptr;
    };
    // Several policies have the sensor of the table filter.
    const auto hasOwn = [&has](const PolicyKind& of) {
        return std::any_of(of.elements.begin(), of.elements.end(),
                           [&has](auto type) { return type != SQLPI_ELEMENT_SENSORS && has(type); });
    };
    if (hasOwn(kind)) return {};
    DocumentVerdict verdict;
    verdict.saysNothing = std::none_of(kind.elements.begin(), kind.elements.end(), has);
    for (const PolicyKind* other : policyKinds)
        if (verdict.other == nullptr && hasOwn(*other)) verdict.other = other;
    return verdict;
}

std::string noteOfMisfit(const PolicyKind& kind, const DocumentVerdict& verdict, const std::string& origin) {
    const std::string has = verdict.other == nullptr ? "" : fmt::format("has elements of the {}", verdict.other->title);
    if (!verdict.saysNothing) return fmt::format("{} {}, and of the {} only what both have", origin, has, kind.title);
    return fmt::format("{} has no element of the {}: the built-in defaults are in force{}", origin, kind.title,
                       has.empty() ? "" : "; it " + has);
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
