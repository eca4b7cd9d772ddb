#include "pages/commandTree.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <sstream>

namespace kelpolicy {
namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream rest(text);
    for (std::string part; std::getline(rest, part, separator);) parts.push_back(part);
    return parts;
}

std::vector<std::string> paragraphsOf(const std::string& text) {
    std::vector<std::string> paragraphs;
    std::string paragraph;
    for (const std::string& line : split(text, '\n')) {
        if (!line.empty()) {
            paragraph += (paragraph.empty() ? "" : "\n") + line;
        } else if (!paragraph.empty()) {
            paragraphs.push_back(paragraph);
            paragraph.clear();
        }
    }
    if (!paragraph.empty()) paragraphs.push_back(paragraph);
    return paragraphs;
}

/* The type's name is "VALUE" or "one|another", and behind colons what its checks say of themselves: "{a,b}", "INT in
 * [1 - 9]". */
void describeValue(const std::string& typeName, OptionInfo& info) {
    const std::vector<std::string> parts = split(typeName, ':');
    if (parts.empty()) return;
    info.value = parts.front();
    if (info.value.find('|') != std::string::npos) info.choices = split(info.value, '|');
    for (const std::string& check : parts) {
        const size_t range = check.find(" in [");
        if (check.starts_with('{') && check.ends_with('}'))
            info.choices = split(check.substr(1, check.size() - 2), ',');
        else if (range != std::string::npos)
            info.range = check.substr(range + 5, check.size() - range - 6);
    }
}

OptionInfo::Content contentOf(const std::string& name) {
    if (name == "PATH" || name == "FILE") return OptionInfo::Content::file;
    return name == "DIR" ? OptionInfo::Content::directory : OptionInfo::Content::text;
}

OptionInfo describe(const CLI::Option& option) {
    OptionInfo info;
    for (const std::string& name : option.get_snames()) info.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) info.names.push_back("--" + name);
    const bool isArgument = info.names.empty();
    if (isArgument) info.names.push_back(option.get_name(true));
    if (option.get_items_expected_max() > 0) describeValue(option.get_type_name(), info);
    info.content = contentOf(isArgument ? info.name() : info.value);
    info.help = option.get_description();
    info.environment = option.get_envname();
    for (const CLI::Option* other : option.get_needs()) info.needs.push_back(other->get_name());
    for (const CLI::Option* other : option.get_excludes()) info.excludes.push_back(other->get_name());
    info.required = option.get_required();
    info.repeated = option.get_items_expected_max() > 1;
    return info;
}

CommandInfo describe(const CLI::App& app, std::vector<std::string> words) {
    CommandInfo info;
    words.push_back(app.get_name());
    info.words = words;
    info.description = app.get_description();
    info.paragraphs = paragraphsOf(app.get_footer());
    for (const CLI::Option* option : app.get_options())
        (option->nonpositional() ? info.options : info.arguments).push_back(describe(*option));
    for (const CLI::App* below : app.get_subcommands([](const CLI::App* /*any*/) { return true; }))
        info.commands.push_back(describe(*below, words));
    return info;
}

}  // namespace

std::string CommandInfo::joined(const char* separator) const {
    return kelpolicy::joined(words, separator);
}

std::string joined(const std::vector<std::string>& words, const char* separator) {
    return fmt::format("{}", fmt::join(words, separator));
}

CommandInfo describeCommands(const CLI::App& program) {
    return describe(program, {});
}

void forEachCommand(const CommandInfo& command, const std::function<void(const CommandInfo&)>& visit) {
    visit(command);
    for (const CommandInfo& below : command.commands) forEachCommand(below, visit);
}

}  // namespace kelpolicy
