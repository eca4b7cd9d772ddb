/* A compiled gettext catalogue, read without regard to the process's locale. Internal. */
#ifndef KELHOST_MESSAGE_FILE_H
#define KELHOST_MESSAGE_FILE_H

#include <optional>
#include <string>
#include <string_view>

namespace kelhost {

/* The translation of `key` in the catalogue at `path`; empty when there is none, or the file cannot be read or is
 * damaged. */
std::optional<std::string> findMessage(const std::string& path, std::string_view key);

}  // namespace kelhost

#endif
