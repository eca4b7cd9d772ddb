/* The file that --database-file names: a connection string that nobody else can read. */
#ifndef KELPOLICY_CONNECTION_FILE_H
#define KELPOLICY_CONNECTION_FILE_H

#include <string>

namespace kelpolicy {

/* The one line of the file. Throws Failure, which tells nothing of its content, when it is no regular file, belongs to
 * somebody else, can be read or written by others, is too long, or has not exactly one line. */
std::string readConnectionFile(const std::string& path);

}  // namespace kelpolicy

#endif
