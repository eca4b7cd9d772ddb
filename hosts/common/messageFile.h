/* A compiled gettext catalogue, read without regard to the process's locale. Internal. */
#ifndef KELHOST_MESSAGE_FILE_H
#define KELHOST_MESSAGE_FILE_H

#include <string_view>

namespace kelhost {

/* The text for `key` in the catalogue's bytes; empty when there is none, or the catalogue is damaged. */
std::string_view findMessage(std::string_view catalogue, std::string_view key) noexcept;

}  // namespace kelhost

#endif
