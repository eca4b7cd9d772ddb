/* The options that name rows of the policy table by their keys. */
#ifndef KELPOLICY_KEY_OPTIONS_H
#define KELPOLICY_KEY_OPTIONS_H

#include <optional>
#include <string>

#include "commands/command.h"

namespace kelpolicy {

struct KeyOptions {
    std::optional<std::string> med{};
    std::optional<std::string> decision{};
    std::optional<std::string> name{};
};

/* Adds --med, --decision and --name with these help texts, and returns --med. */
Option addKeyOptions(Command command, KeyOptions& keys, const char* med, const char* decision, const char* name);

}  // namespace kelpolicy

#endif
