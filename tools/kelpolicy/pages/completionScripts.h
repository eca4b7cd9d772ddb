/* Shell scripts that complete the command line, made from the commands' definitions. */
#ifndef KELPOLICY_COMPLETION_SCRIPTS_H
#define KELPOLICY_COMPLETION_SCRIPTS_H

#include <string>

#include "pages/commandTree.h"

namespace kelpolicy {

std::string bashCompletion(const CommandInfo& program);
std::string zshCompletion(const CommandInfo& program);
std::string fishCompletion(const CommandInfo& program);

}  // namespace kelpolicy

#endif
