// Each script finds out which command the words lead to ("place"), skipping the values of options, and then offers what
// may stand there. A place and what follows it are told apart by patterns that are the same in all three shells.
#include "pages/completionScripts.h"

#include <fmt/format.h>

#include <algorithm>

namespace kelpolicy {
namespace {

using Content = OptionInfo::Content;

/* A text in single quotes; the shells differ in how one stands inside. */
std::string quoted(const std::string& text, const char* quoteInside) {
    std::string result = "'";
    for (const char byte : text) result += byte == '\'' ? quoteInside : std::string(1, byte);
    return result + "'";
}
std::string shellQuoted(const std::string& text) {
    return quoted(text, "'\\''");
}
std::string fishQuoted(const std::string& text) {
    return quoted(text, "\\'");
}

/* The options that every command takes: the program's own, but for those that ask about itself. */
bool isCommon(const OptionInfo& option) {
    return option.name() != "--help" && option.name() != "--version";
}

std::vector<OptionInfo> optionsAt(const CommandInfo& program, const CommandInfo& command) {
    std::vector<OptionInfo> options = command.options;
    if (command.words != program.words)
        std::copy_if(program.options.begin(), program.options.end(), std::back_inserter(options), isCommon);
    return options;
}

/* "PLACE --option" of every option that takes a value; one that every command takes has any place. */
struct ValuePlace {
    std::string pattern; /* of `case` */
    const OptionInfo& option;
};
std::vector<ValuePlace> valuePlaces(const CommandInfo& program, const char* anyPlace, const char* quote) {
    std::vector<ValuePlace> places;
    forEachCommand(program, [&](const CommandInfo& command) {
        const bool isProgram = command.words == program.words;
        for (const OptionInfo& option : command.options) {
            if (option.value.empty()) continue;
            places.push_back({isProgram ? fmt::format("{}{} {}{}", anyPlace, quote, option.name(), quote)
                                        : fmt::format("{}{} {}{}", quote, command.joined(" "), option.name(), quote),
                              option});
        }
    });
    return places;
}

std::vector<std::string> commandPlaces(const CommandInfo& program) {
    std::vector<std::string> places;
    forEachCommand(program, [&places](const CommandInfo& command) {
        if (command.words.size() > 1) places.push_back(shellQuoted(command.joined(" ")));
    });
    return places;
}

std::vector<std::string> patternsOf(const std::vector<ValuePlace>& places) {
    std::vector<std::string> patterns;
    patterns.reserve(places.size());
    for (const ValuePlace& place : places) patterns.push_back(place.pattern);
    return patterns;
}

/* Words that may stand for an argument: its choices, or the commands for one that names a command. */
std::vector<std::string> choicesOf(const CommandInfo& program, const OptionInfo& argument) {
    if (argument.name() != "COMMAND") return argument.choices;
    std::vector<std::string> names;
    forEachCommand(program, [&names](const CommandInfo& command) {
        if (command.words.size() > 1 && std::find(names.begin(), names.end(), command.words.back()) == names.end())
            names.push_back(command.words.back());
    });
    return names;
}

std::string bashOffer(const OptionInfo& option, const std::vector<std::string>& choices) {
    if (!choices.empty()) return fmt::format("_kelpolicy_words {}", shellQuoted(joined(choices, " ")));
    if (option.content == Content::text) return ":";
    return option.content == Content::directory ? "_kelpolicy_paths -d" : "_kelpolicy_paths -f";
}

std::string zshOffer(const OptionInfo& option, const std::vector<std::string>& choices) {
    if (!choices.empty()) return fmt::format("compadd -- {}", joined(choices, " "));
    if (option.content == Content::text) return ":";
    return option.content == Content::directory ? "_files -/" : "_files";
}

using Offer = std::string (*)(const OptionInfo&, const std::vector<std::string>&);

std::string valueCases(const std::vector<ValuePlace>& places, Offer offer) {
    std::string text;
    for (const ValuePlace& place : places)
        text += fmt::format("        {}) {}; return ;;\n", place.pattern, offer(place.option, place.option.choices));
    return text;
}

/* What stands at the n-th argument of a command, as "PLACE:n". */
std::string argumentCases(const CommandInfo& program, Offer offer) {
    std::string text;
    forEachCommand(program, [&](const CommandInfo& command) {
        for (size_t i = 0; i < command.arguments.size(); ++i) {
            const OptionInfo& argument = command.arguments[i];
            const std::string place = argument.repeated ? shellQuoted(command.joined(" ") + ":") + "*"
                                                        : shellQuoted(fmt::format("{}:{}", command.joined(" "), i));
            text += fmt::format("        {}) {} ;;\n", place, offer(argument, choicesOf(program, argument)));
        }
    });
    return text;
}

/* "name:help" for zsh. */
std::string zshCandidate(const std::string& name, const std::string& help) {
    std::string text = name + ":";
    for (const char byte : help) text += byte == ':' ? "\\:" : std::string(1, byte);
    return shellQuoted(text);
}

}  // namespace

std::string bashCompletion(const CommandInfo& program) {
    const std::vector<ValuePlace> values = valuePlaces(program, "*", "'");
    std::string options;
    std::string commands;
    forEachCommand(program, [&](const CommandInfo& command) {
        std::vector<std::string> names;
        for (const OptionInfo& option : optionsAt(program, command)) names.push_back(option.name());
        const std::string place = shellQuoted(command.joined(" "));
        options += fmt::format("            {}) _kelpolicy_words {} ;;\n", place, shellQuoted(joined(names, " ")));
        if (command.commands.empty()) return;
        std::vector<std::string> below;
        for (const CommandInfo& each : command.commands) below.push_back(each.words.back());
        commands += fmt::format("        {}:*) _kelpolicy_words {} ;;\n", place, shellQuoted(joined(below, " ")));
    });
    return fmt::format(R"(# Completion of {0} for bash. Load it with: source <({0} completion bash)

_kelpolicy_words() {{
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$word")
}}

_kelpolicy_paths() {{
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen "$1" -- "$word")
}}

_kelpolicy() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} place={0} count=0 i
    COMPREPLY=()
    # --option=value comes as three words
    if [[ $word == = ]]; then
        word=
    elif [[ $previous == = ]]; then
        previous=${{COMP_WORDS[COMP_CWORD - 2]}}
    fi
    for ((i = 1; i < COMP_CWORD; i++)); do
        case "$place ${{COMP_WORDS[i]}}" in
        {1})
            [[ ${{COMP_WORDS[i + 1]}} == = ]] && ((i++))
            ((i++)) ;;
        *' -'*) ;;
        {2})
            place+=" ${{COMP_WORDS[i]}}" ;;
        *) ((count++)) ;;
        esac
    done
    case "$place $previous" in
{3}    esac
    if [[ $word == -* ]]; then
        case $place in
{4}        esac
        return
    fi
    case "$place:$count" in
{5}{6}    esac
}}

complete -F _kelpolicy {0}
)",
                       program.words.front(), joined(patternsOf(values), "|"), joined(commandPlaces(program), "|"),
                       valueCases(values, bashOffer), options, commands, argumentCases(program, bashOffer));
}

std::string zshCompletion(const CommandInfo& program) {
    const std::vector<ValuePlace> values = valuePlaces(program, "*", "'");
    std::string options;
    std::string commands;
    forEachCommand(program, [&](const CommandInfo& command) {
        std::string candidates;
        for (const OptionInfo& option : optionsAt(program, command))
            candidates += " " + zshCandidate(option.name(), option.help);
        const std::string place = shellQuoted(command.joined(" "));
        options += fmt::format("        {}) candidates=({} ) ;;\n", place, candidates);
        if (command.commands.empty()) return;
        std::string below;
        for (const CommandInfo& each : command.commands)
            below += " " + zshCandidate(each.words.back(), each.description);
        commands += fmt::format("        {}:*) candidates=({} ); _describe command candidates ;;\n", place, below);
    });
    return fmt::format(R"(#compdef {0}
# Completion of {0} for zsh: a file named _{0} in a directory of $fpath, or: source <({0} completion zsh)

_kelpolicy() {{
    local place={0} previous=${{words[CURRENT-1]}} count=0 i
    local -a candidates
    if [[ ${{words[CURRENT]}} == --*=* ]]; then
        previous=${{words[CURRENT]%%=*}}
        compset -P '*='
    fi
    for ((i = 2; i < CURRENT; i++)); do
        case "$place ${{words[i]}}" in
        {1}) ((i++)) ;;
        *' -'*) ;;
        {2}) place+=" ${{words[i]}}" ;;
        *) ((count++)) ;;
        esac
    done
    case "$place $previous" in
{3}    esac
    if [[ ${{words[CURRENT]}} == -* ]]; then
        case $place in
{4}        esac
        _describe option candidates
        return
    fi
    case "$place:$count" in
{5}{6}    esac
}}

if [[ ${{funcstack[1]}} == _kelpolicy ]]; then
    _kelpolicy "$@"
else
    compdef _kelpolicy {0}
fi
)",
                       program.words.front(), joined(patternsOf(values), "|"), joined(commandPlaces(program), "|"),
                       valueCases(values, zshOffer), options, commands, argumentCases(program, zshOffer));
}

namespace {

std::string fishOption(const std::string& condition, const OptionInfo& option) {
    std::string line = "complete -c kelpolicy" + condition;
    for (const std::string& name : option.names)
        line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (!option.choices.empty())
        line += " -x -a " + fishQuoted(joined(option.choices, " "));
    else if (option.content == Content::directory)
        line += " -x -a '(__fish_complete_directories)'";
    else if (option.content == Content::file)
        line += " -r -F";
    else if (!option.value.empty())
        line += " -x";
    return line + " -d " + fishQuoted(option.help) + "\n";
}

std::string fishArgument(const std::string& condition, const OptionInfo& argument,
                         const std::vector<std::string>& choices) {
    const std::string line = "complete -c kelpolicy" + condition;
    if (!choices.empty()) return line + " -a " + fishQuoted(joined(choices, " ")) + "\n";
    if (argument.content == Content::directory) return line + " -a '(__fish_complete_directories)'\n";
    return argument.content == Content::file ? line + " -F\n" : "";
}

}  // namespace

std::string fishCompletion(const CommandInfo& program) {
    const std::vector<ValuePlace> values = valuePlaces(program, "", "");
    std::string valuePatterns;
    for (const ValuePlace& place : values)
        valuePatterns += " " + fishQuoted(place.pattern.starts_with(' ') ? "*" + place.pattern : place.pattern);
    std::string rules;
    forEachCommand(program, [&](const CommandInfo& command) {
        const auto at = [&command](const std::string& argument) {
            return fmt::format(" -n '__kelpolicy_at \"{}:{}\"'", command.joined(" "), argument);
        };
        const std::string condition = at("*");
        for (const OptionInfo& option : command.options)
            rules += fishOption(command.words == program.words && isCommon(option) ? "" : condition, option);
        for (const CommandInfo& below : command.commands)
            rules += fmt::format("complete -c kelpolicy{} -a {} -d {}\n", condition, below.words.back(),
                                 fishQuoted(below.description));
        for (size_t i = 0; i < command.arguments.size(); ++i) {
            const OptionInfo& argument = command.arguments[i];
            rules += fishArgument(argument.repeated ? condition : at(std::to_string(i)), argument,
                                  choicesOf(program, argument));
        }
    });
    return fmt::format(R"(# Completion of {0} for fish. Load it with: {0} completion fish | source

function __kelpolicy_place
    set -l place {0}
    set -l words (commandline -opc)
    set -e words[1]
    set -l isValue 0
    set -l count 0
    for word in $words
        if test $isValue = 1
            set isValue 0
            continue
        end
        switch "$place $word"
            case{1}
                set isValue 1
            case '* -*'
            case {2}
                set place "$place $word"
            case '*'
                set count (math $count + 1)
        end
    end
    echo $place:$count
end

function __kelpolicy_at
    string match -q -- $argv[1] (__kelpolicy_place)
end

complete -c kelpolicy -f
{3})",
                       program.words.front(), valuePatterns, joined(commandPlaces(program), " "), rules);
}

}  // namespace kelpolicy
