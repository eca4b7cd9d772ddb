#include "commands/keyOptions.h"

#include <fmt/format.h>

#include "database/policyRow.h"

namespace kelpolicy {
namespace {

/* The procedure refuses a longer key too, but does not tell how long it may be. */
std::string refuseLong(const std::string& key) {
    return key.size() <= longestKeyPart
               ? ""
               : fmt::format("the key has {} bytes, the most are {}", key.size(), longestKeyPart);
}

Option addKey(Command command, const char* option, std::optional<std::string>& key, const char* help) {
    return command.option(option, key, help).type("KEY").check(refuseLong);
}

}  // namespace

Option addKeyOptions(Command command, KeyOptions& keys, const char* med, const char* decision, const char* name) {
    const Option first = addKey(command, "--med", keys.med, med);
    addKey(command, "--decision", keys.decision, decision);
    addKey(command, "--name", keys.name, name);
    return first;
}

}  // namespace kelpolicy
