#include "pages/manualPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <string_view>

namespace kelpolicy {
namespace {

/* Text that troff shows as it is. */
std::string plain(std::string_view text) {
    std::string shown;
    bool isLineStart = true;
    for (const char byte : text) {
        if (isLineStart && (byte == '.' || byte == '\'')) shown += "\\&";
        isLineStart = byte == '\n';
        if (byte == '\\')
            shown += "\\e";
        else if (byte == '-')
            shown += "\\-";
        else if (byte == '"')
            shown += "\\(dq";
        else
            shown += byte;
    }
    return shown;
}

std::string bold(const std::string& text) {
    return "\\fB" + plain(text) + "\\fR";
}
std::string italic(const std::string& text) {
    return "\\fI" + plain(text) + "\\fR";
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return text;
}

std::string synopsis(const CommandInfo& command) {
    std::string text = bold(command.joined(" "));
    const auto add = [&text](const OptionInfo& option, const std::string& shown) {
        const std::string whole = shown + (option.repeated ? " ..." : "");
        text += option.required ? " " + whole : fmt::format(" [{}]", whole);
    };
    for (const OptionInfo& option : command.options)
        add(option, bold(option.name()) + (option.value.empty() ? "" : " " + italic(option.value)));
    for (const OptionInfo& argument : command.arguments) add(argument, italic(argument.name()));
    if (!command.commands.empty()) text += " " + italic("COMMAND") + " ...";
    return text;
}

std::string entry(const OptionInfo& option, bool isArgument) {
    std::string names;
    for (const std::string& name : option.names)
        names += (names.empty() ? "" : ", ") + (isArgument ? italic(name) : bold(name));
    if (!isArgument && !option.value.empty()) names += " " + italic(option.value);
    std::string text = fmt::format(".TP\n{}\n{}.\n", names, plain(option.help));
    if (!option.choices.empty()) text += fmt::format("One of: {}.\n", plain(joined(option.choices, ", ")));
    if (!option.range.empty()) text += fmt::format("Range: {}.\n", plain(option.range));
    if (!option.environment.empty()) text += fmt::format("Environment: {}.\n", bold(option.environment));
    if (!option.needs.empty()) text += fmt::format("Only with {}.\n", bold(joined(option.needs, ", ")));
    if (!option.excludes.empty()) text += fmt::format("Not with {}.\n", bold(joined(option.excludes, ", ")));
    return text;
}

std::string entries(const char* heading, const std::vector<OptionInfo>& options, bool areArguments) {
    if (options.empty()) return {};
    std::string text = fmt::format(".SH {}\n", heading);
    for (const OptionInfo& option : options) text += entry(option, areArguments);
    return text;
}

/* The paragraphs with their own headings; of what remains the description is made. */
struct Sections {
    std::string example{};
    std::string exitStatus{};
    std::string rest{};
};

Sections sectionsOf(const CommandInfo& command) {
    constexpr std::string_view exampleHead = "Example:\n";
    constexpr std::string_view statusHead = "Exit status: ";
    constexpr std::string_view commonHead = "Options of every command:";
    Sections sections;
    for (const std::string& paragraph : command.paragraphs) {
        const std::string_view text(paragraph);
        if (text.starts_with(exampleHead))
            sections.example = fmt::format(".nf\n.RS\n{}\n.RE\n.fi\n",
                                           plain(text.substr(text.find_first_not_of(' ', exampleHead.size()))));
        else if (text.starts_with(statusHead))
            sections.exitStatus = plain(text.substr(statusHead.size())) + "\n";
        else if (!text.starts_with(commonHead))  // the program's own page has them
            sections.rest += ".PP\n" + plain(text) + "\n";
    }
    return sections;
}

std::string pageOf(const CommandInfo& command) {
    return command.joined("-");
}

std::string seeAlso(const CommandInfo& program, const CommandInfo& command) {
    std::vector<std::string> pages;
    if (&command != &program) pages.push_back(fmt::format("\\fB{}\\fR(1)", plain(pageOf(program))));
    for (const CommandInfo& below : command.commands)
        pages.push_back(fmt::format("\\fB{}\\fR(1)", plain(pageOf(below))));
    return pages.empty() ? "" : fmt::format(".SH SEE ALSO\n{}\n", joined(pages, ",\n"));
}

}  // namespace

std::string manualPage(const CommandInfo& program, const CommandInfo& command) {
    const Sections own = sectionsOf(command);
    const Sections common = sectionsOf(program);
    std::string page = fmt::format(".TH \"{}\" 1 \"\" \"kelpolicy {}\" \"User Commands\"\n",
                                   plain(upper(pageOf(command))), plain(KELPOLICY_VERSION));
    page += fmt::format(".SH NAME\n{} \\- {}\n", plain(pageOf(command)), plain(command.description));
    page += fmt::format(".SH SYNOPSIS\n.nh\n.ad l\n{}\n.ad b\n.hy\n", synopsis(command));
    page += fmt::format(".SH DESCRIPTION\n{}{}\n{}", plain(command.description),
                        command.description.ends_with('.') ? "" : ".", own.rest);
    if (&command != &program)
        page += fmt::format(".PP\nThe options of every command are explained in\n{}(1).\n", bold(pageOf(program)));
    if (!command.commands.empty()) {
        page += ".SH COMMANDS\n";
        for (const CommandInfo& below : command.commands)
            page += fmt::format(".TP\n{}\n{}{}\n", bold(below.words.back()), plain(below.description),
                                below.description.ends_with('.') ? "" : ".");
    }
    page += entries("ARGUMENTS", command.arguments, true);
    page += entries("OPTIONS", command.options, false);
    if (!own.example.empty()) page += ".SH EXAMPLE\n" + own.example;
    page += ".SH EXIT STATUS\n" + (own.exitStatus.empty() ? common.exitStatus : own.exitStatus);
    return page + seeAlso(program, command);
}

}  // namespace kelpolicy
