/* A file of the user's that is written whole or not at all. */
#ifndef KELPOLICY_REPLACE_FILE_H
#define KELPOLICY_REPLACE_FILE_H

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace kelpolicy {

/* Where a path leads, links resolved; what it names need not exist. Does not throw as std::filesystem does when the
 * current directory is gone. */
std::filesystem::path realPath(const std::string& path, std::error_code& failure);

/* Replaces what the file at `path` holds, as ossFileCommit does: its mode and owner stay. A symbolic link is followed.
 * Throws Failure, and the file is then as it was. */
void replaceFile(const std::string& path, std::string_view text);

}  // namespace kelpolicy

#endif
