/* The commands of the command line, and what they are made with. The parser of the command line is behind this: it
 * takes long to compile. */
#ifndef KELPOLICY_COMMAND_H
#define KELPOLICY_COMMAND_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "console/output.h"
#include "database/globalOptions.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kelpolicy {

/* What is wrong with an option or an argument. */
class UsageError : public std::runtime_error {
public:
    UsageError(std::string name, const std::string& message) : std::runtime_error(message), option(std::move(name)) {}

    std::string option;
};

/* An option, or an argument that stands by its place. Each function returns the option itself. */
class Option {
public:
    explicit Option(CLI::Option& option) : option_(&option) {}

    /* What help calls its value: "PATH", "one|another". */
    const Option& type(const std::string& name) const;
    const Option& environment(const std::string& variable) const;
    const Option& required() const;
    const Option& needs(const Option& other) const;
    const Option& excludes(const Option& other) const;

    /* What the value must be; a check answers with what is wrong, or with nothing. */
    const Option& check(std::function<std::string(const std::string&)> check) const;
    const Option& notEmpty() const;
    const Option& oneOf(std::vector<std::string> words) const;
    const Option& between(int32_t least, int32_t most) const;

private:
    CLI::Option* option_;
};

/* Runs one command after the command line was understood. Returns an ExitStatus. Throws Failure or HostError. */
using RunCommand = std::function<int(const GlobalOptions&, Output&)>;

/* A command of a parser, or the program itself. What options are read into outlives the parser. */
class Command {
public:
    /* When the command line names a command, `chosen` becomes what it runs. */
    Command(CLI::App& app, RunCommand& chosen) : app_(&app), chosen_(&chosen) {}

    Command command(const std::string& name, const std::string& help) const;
    void requireCommand() const; /* one of those below */
    /* What --help shows below the options. */
    void footer(const std::string& text) const;

    Option option(const std::string& name, std::string& value, const std::string& help) const;
    Option option(const std::string& name, std::optional<std::string>& value, const std::string& help) const;
    Option option(const std::string& name, std::vector<std::string>& values, const std::string& help) const;
    Option option(const std::string& name, int32_t& value, const std::string& help) const;
    Option option(const std::string& name, size_t& value, const std::string& help) const;
    /* `take` throws UsageError when the value makes no sense. */
    Option option(const std::string& name, std::function<void(const std::string&)> take, const std::string& help) const;
    Option flag(const std::string& name, bool& value, const std::string& help) const;
    Option option(const std::string& name) const; /* one that is there already */

    /* `check` throws UsageError when the options do not fit together. */
    void runs(RunCommand run, std::function<void()> check = {}) const;

    const CLI::App& parser() const { return *app_; }

private:
    CLI::App* app_;
    RunCommand* chosen_;
};

/* Adds a command below `parent`. */
using AddCommand = void(Command parent);

AddCommand addInit;
AddCommand addDescribe;
AddCommand addTree;
AddCommand addShow;
AddCommand addShowWindows; /* below show */
AddCommand addWindow;
AddCommand addWindowCalendar; /* below window, as the next */
AddCommand addWindowLint;
AddCommand addGet;
AddCommand addSet;
AddCommand addValidate;
AddCommand addConvert;
AddCommand addExtract;
AddCommand addSample;
AddCommand addSchema;
AddCommand addInstall;
AddCommand addRetrieve;
AddCommand addHistory;
AddCommand addDump;
AddCommand addLoad;
AddCommand addCompletion;
AddCommand addManual;

/* What a command's --help shows below its options. */
std::string example(const std::string& commandLine);

/* The option --document PATH of commands that read a policy from the table or from a file. */
void addDocumentOption(Command command, std::string& path);

struct ConfigurationType;

/* The argument TYPE: a name in any case, or a short name. */
void addTypeArgument(Command command, const ConfigurationType*& type);

}  // namespace kelpolicy

#endif
