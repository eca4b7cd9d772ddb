#include "commands/command.h"

#include <fmt/format.h>

namespace kelpolicy {

std::string example(const char* commandLine) {
    return fmt::format(
        "Example:\n  {}\n\nOptions of every command: --instance, --database, --database-file, --json, --trace; "
        "\"kelpolicy --help\" explains them.",
        commandLine);
}

std::string refuseEmpty(const std::string& value) {
    return value.empty() ? "the value is empty" : "";
}

void addDocumentOption(CLI::App& command, std::string& path) {
    command
        .add_option("--document", path,
                    "Read this policy-language document (\"-\": standard input) in place of the policy table")
        ->type_name("PATH")
        ->check(refuseEmpty);
}

}  // namespace kelpolicy
