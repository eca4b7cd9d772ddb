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

/* All types by what `name` says of each. */
template <class Name>
std::string listed(const char* separator, Name name) {
    std::vector<std::string> names;
    for (const ConfigurationType& type : configurationTypes) names.push_back(name(type));
    return fmt::format("{}", fmt::join(names, separator));
}

const ConfigurationType& findType(const std::string& word) {
    for (const ConfigurationType& type : configurationTypes)
        if (isSameWord(word, type.name) || isSameWord(word, type.shortName)) return type;
    throw CLI::ValidationError("TYPE", fmt::format("\"{}\" is no policy type; these are: {}", word,
                                                   listed(", ", [](const ConfigurationType& type) {
                                                       return fmt::format("{} ({})", type.name, type.shortName);
                                                   })));
}

std::string nameOf(const ConfigurationType& type) {
    return type.name;
}
std::string shortNameOf(const ConfigurationType& type) {
    return type.shortName;
}

}  // namespace

const PolicyKind* findPolicy(const std::string& word) {
    for (const ConfigurationType& type : configurationTypes)
        if (isSameWord(word, type.name) || isSameWord(word, type.shortName)) return &type.kind;
    for (const PolicyKind* kind : policyKinds)
        if (isSameWord(word, kind->key.name)) return kind;
    return isSameWord(word, "stats-profile") ? &statsProfileKind : nullptr;
}

Failure unknownPolicy(const std::string& word) {
    return {fmt::format("there is no policy named \"{}\"", word),
            fmt::format("Name one of these: {}.", fmt::join(policyNames(), ", ")), unknownNameCode, unknownNameState};
}

void addTypeArgument(CLI::App& command, const ConfigurationType*& type) {
    command
        .add_option_function<std::string>(
            "TYPE", [&type](const std::string& word) { type = &findType(word); },
            fmt::format("{}, in any case; in short {}", listed(", ", nameOf), listed(", ", shortNameOf)))
        ->type_name(listed("|", shortNameOf))
        ->required();
}

}  // namespace kelpolicy
