/* A file of the user's that is written whole or not at all. */
#ifndef KELPOLICY_REPLACE_FILE_H
#define KELPOLICY_REPLACE_FILE_H

#include <string>
#include <string_view>

namespace kelpolicy {

/* Writes the text beside the file at `path` and gives it that name, so that a reader sees the old contents or the new.
 * A symbolic link is followed. Throws Failure, and the file is then as it was. */
void replaceFile(const std::string& path, std::string_view text);

}  // namespace kelpolicy

#endif
