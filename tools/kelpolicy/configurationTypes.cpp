#include "configurationTypes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace kelpolicy {
namespace {

bool isSameWord(std::string_view a, std::string_view b) {
    const auto lower = [](char letter) { return std::tolower(static_cast<unsigned char>(letter)); };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [lower](char left, char right) { return lower(left) == lower(right); });
}

const ConfigurationType& findType(const std::string& word) {
    std::string known;
    for (const ConfigurationType& type : configurationTypes) {
        if (isSameWord(word, type.name) || isSameWord(word, type.shortName)) return type;
        known += fmt::format("{}{} ({})", known.empty() ? "" : ", ", type.name, type.shortName);
    }
    throw CLI::ValidationError("TYPE", fmt::format("\"{}\" is no policy type; these are: {}", word, known));
}

}  // namespace

void addTypeArgument(CLI::App& command, const ConfigurationType*& type) {
    command
        .add_option_function<std::string>(
            "TYPE", [&type](const std::string& word) { type = &findType(word); },
            "MAINTENANCE_WINDOW, AUTO_BACKUP, AUTO_REORG or AUTO_RUNSTATS, in any case; or windows, backup, reorg or "
            "runstats")
        ->type_name("windows|backup|reorg|runstats")
        ->required();
}

}  // namespace kelpolicy
