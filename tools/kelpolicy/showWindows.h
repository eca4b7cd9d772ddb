/* kelpolicy show windows */
#ifndef KELPOLICY_SHOW_WINDOWS_H
#define KELPOLICY_SHOW_WINDOWS_H

#include "commandLine.h"

namespace kelpolicy {

AddCommand addShowWindows;

}  // namespace kelpolicy

#endif
