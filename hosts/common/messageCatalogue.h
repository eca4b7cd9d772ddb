/* The built-in message texts. Internal. */
#ifndef KELHOST_MESSAGE_CATALOGUE_H
#define KELHOST_MESSAGE_CATALOGUE_H

#include <cstdint>
#include <string>

namespace kelhost {

/* "KEL0204N" for -204: the key of a message; W for a warning (SQLCODE above 0). */
std::string messageKey(int32_t sqlcode);

/* The text for the SQLCODE with {1}, {2} .. for its tokens; null when there is none. */
const char* builtInMessage(int32_t sqlcode) noexcept;

}  // namespace kelhost

#endif
