#include "configuration/configurationTypes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

namespace kelpolicy {
namespace {

bool isSameWord(std::string_view a, std::string_view b) {
    const auto lower = [](char letter) { return std::tolower(static_cast<unsigned char>(letter)); };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [lower](char left, char right) { return lower(left) == lower(right); });
}

}  // namespace

const ConfigurationType* findConfigurationType(const std::string& word) {
    for (const ConfigurationType& type : configurationTypes)
        if (isSameWord(word, type.name) || isSameWord(word, type.shortName)) return &type;
    return nullptr;
}

const PolicyKind* findPolicy(const std::string& word) {
    if (const ConfigurationType* type = findConfigurationType(word)) return &type->kind;
    for (const PolicyKind* kind : policyKinds)
        if (isSameWord(word, kind->key.name)) return kind;
    return isSameWord(word, "stats-profile") ? &statsProfileKind : nullptr;
}

Failure unknownPolicy(const std::string& word) {
    return {fmt::format("there is no policy named \"{}\"", word),
            fmt::format("Name one of these: {}.", fmt::join(policyNames(), ", ")), unknownNameCode, unknownNameState};
}

}  // namespace kelpolicy
