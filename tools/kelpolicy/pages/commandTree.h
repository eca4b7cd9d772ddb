/* The commands as their definitions describe them, for whatever is made out of that: manual pages, completions. */
#ifndef KELPOLICY_COMMAND_TREE_H
#define KELPOLICY_COMMAND_TREE_H

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kelpolicy {

/* An option, or an argument that stands by its place. */
struct OptionInfo {
    std::vector<std::string> names{}; /* "-h", "--help"; of an argument its one name */
    std::string value{};              /* what stands behind the option; empty: nothing does */
    std::vector<std::string> choices{};
    std::string range{}; /* "1 - 100"; empty: none */
    std::string help{};
    std::string environment{};           /* variable that is taken for it */
    std::vector<std::string> needs{};    /* other options */
    std::vector<std::string> excludes{}; /* other options */
    bool required = false;
    bool repeated = false;

    enum class Content { text, file, directory };
    Content content = Content::text; /* of the value */

    /* The most telling of the names. */
    const std::string& name() const { return names.back(); }
};

struct CommandInfo {
    std::vector<std::string> words{}; /* from the program's name on */
    std::string description{};
    std::vector<std::string> paragraphs{}; /* what --help shows below the options */
    std::vector<OptionInfo> options{};
    std::vector<OptionInfo> arguments{};
    std::vector<CommandInfo> commands{}; /* below this one */

    std::string joined(const char* separator) const; /* the words */
};

/* The words with the separator between them. */
std::string joined(const std::vector<std::string>& words, const char* separator);

CommandInfo describeCommands(const CLI::App& program);

/* Visits the command and all below it, each before those below it. */
void forEachCommand(const CommandInfo& command, const std::function<void(const CommandInfo&)>& visit);

}  // namespace kelpolicy

#endif
