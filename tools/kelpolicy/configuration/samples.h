/* What the program has with it for new users. */
#ifndef KELPOLICY_SAMPLES_H
#define KELPOLICY_SAMPLES_H

#include <iterator>
#include <string_view>

#include "configuration/configurationTypes.h"

namespace kelpolicy {

/* A configuration document of each type, in the order of configurationTypes. */
extern const std::string_view samples[std::size(configurationTypes)];

}  // namespace kelpolicy

#endif
