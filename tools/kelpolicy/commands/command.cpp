#include "commands/command.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "configuration/configurationTypes.h"

namespace kelpolicy {
namespace {

/* Calls what may throw UsageError for the parser, which knows its own. */
template <class Work>
void forParser(Work work) {
    try {
        work();
    } catch (const UsageError& error) {
        throw CLI::ValidationError(error.option, error.what());
    }
}

/* All types by what `name` says of each. */
template <class Name>
std::string listed(const char* separator, Name name) {
    std::vector<std::string> names;
    for (const ConfigurationType& type : configurationTypes) names.push_back(name(type));
    return fmt::format("{}", fmt::join(names, separator));
}

const ConfigurationType& typeNamed(const std::string& word) {
    if (const ConfigurationType* type = findConfigurationType(word)) return *type;
    throw UsageError("TYPE", fmt::format("\"{}\" is no policy type; these are: {}", word,
                                         listed(", ", [](const ConfigurationType& type) {
                                             return fmt::format("{} ({})", type.name, type.shortName);
                                         })));
}

}  // namespace

const Option& Option::type(const std::string& name) const {
    option_->type_name(name);
    return *this;
}
const Option& Option::environment(const std::string& variable) const {
    option_->envname(variable);
    return *this;
}
const Option& Option::required() const {
    option_->required();
    return *this;
}
const Option& Option::needs(const Option& other) const {
    option_->needs(other.option_);
    return *this;
}
const Option& Option::excludes(const Option& other) const {
    option_->excludes(other.option_);
    return *this;
}
const Option& Option::check(std::function<std::string(const std::string&)> check) const {
    option_->check(std::move(check));
    return *this;
}
const Option& Option::notEmpty() const {
    return check([](const std::string& value) { return value.empty() ? "the value is empty" : ""; });
}
const Option& Option::oneOf(std::vector<std::string> words) const {
    option_->check(CLI::IsMember(std::move(words)));
    return *this;
}
const Option& Option::between(int32_t least, int32_t most) const {
    option_->check(CLI::Range(least, most));
    return *this;
}

Command Command::command(const std::string& name, const std::string& help) const {
    return {*app_->add_subcommand(name, help), *chosen_};
}
void Command::requireCommand() const {
    app_->require_subcommand(1);
}
void Command::footer(const std::string& text) const {
    app_->footer(text);
}
Option Command::option(const std::string& name, std::string& value, const std::string& help) const {
    return Option(*app_->add_option(name, value, help));
}
Option Command::option(const std::string& name, std::optional<std::string>& value, const std::string& help) const {
    return Option(*app_->add_option(name, value, help));
}
Option Command::option(const std::string& name, std::vector<std::string>& values, const std::string& help) const {
    return Option(*app_->add_option(name, values, help));
}
Option Command::option(const std::string& name, int32_t& value, const std::string& help) const {
    return Option(*app_->add_option(name, value, help));
}
Option Command::option(const std::string& name, size_t& value, const std::string& help) const {
    return Option(*app_->add_option(name, value, help));
}
Option Command::option(const std::string& name, std::function<void(const std::string&)> take,
                       const std::string& help) const {
    return Option(*app_->add_option_function<std::string>(
        name, [take = std::move(take)](const std::string& text) { forParser([&] { take(text); }); }, help));
}
Option Command::flag(const std::string& name, bool& value, const std::string& help) const {
    return Option(*app_->add_flag(name, value, help));
}
Option Command::option(const std::string& name) const {
    return Option(*app_->get_option(name));
}

void Command::runs(RunCommand run, std::function<void()> check) const {
    app_->callback([chosen = chosen_, run = std::move(run), check = std::move(check)] {
        if (check) forParser(check);
        *chosen = run;
    });
}

std::string example(const std::string& commandLine) {
    return fmt::format(
        "Example:\n  {}\n\nOptions of every command: --instance, --database, --database-file, --json, --trace; "
        "\"kelpolicy --help\" explains them.",
        commandLine);
}

void addDocumentOption(Command command, std::string& path) {
    command
        .option("--document", path,
                "Read this policy-language document (\"-\": standard input) in place of the policy table")
        .type("PATH")
        .notEmpty();
}

void addTypeArgument(Command command, const ConfigurationType*& type) {
    const auto name = [](const ConfigurationType& each) { return each.name; };
    const auto shortName = [](const ConfigurationType& each) { return each.shortName; };
    command
        .option(
            "TYPE", [&type](const std::string& word) { type = &typeNamed(word); },
            fmt::format("{}, in any case; in short {}", listed(", ", name), listed(", ", shortName)))
        .type(listed("|", shortName))
        .required();
}

}  // namespace kelpolicy
