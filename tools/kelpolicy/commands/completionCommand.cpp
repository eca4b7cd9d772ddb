// kelpolicy completion
#include <memory>

#include "commands/command.h"
#include "pages/completionScripts.h"

namespace kelpolicy {
namespace {

std::string scriptFor(const std::string& shell, const CommandInfo& program) {
    if (shell == "bash") return bashCompletion(program);
    return shell == "zsh" ? zshCompletion(program) : fishCompletion(program);
}

}  // namespace

void addCompletion(Command parent) {
    Command command = parent.command("completion", "Write a script that completes the command line in a shell");
    const auto shell = std::make_shared<std::string>();
    command.option("SHELL", *shell, "The shell").required().oneOf({"bash", "zsh", "fish"});
    command.footer(example("source <(kelpolicy completion bash)"));
    command.runs([parent, shell](const GlobalOptions& /*globals*/, Output& output) {
        const std::string script = scriptFor(*shell, describeCommands(parent.parser()));
        if (output.isJson())
            output.writeJson({{"shell", *shell}, {"script", script}});
        else
            output.write(script);
        return int{exitDone};
    });
}

}  // namespace kelpolicy
