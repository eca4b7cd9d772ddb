/* The manual page of a command, as troff with the man macros. */
#ifndef KELPOLICY_MANUAL_PAGE_H
#define KELPOLICY_MANUAL_PAGE_H

#include <string>

#include "pages/commandTree.h"

namespace kelpolicy {

/* REQUIRES: `command` is `program` or one below it. */
std::string manualPage(const CommandInfo& program, const CommandInfo& command);

}  // namespace kelpolicy

#endif
