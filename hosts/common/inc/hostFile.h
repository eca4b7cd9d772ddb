/* Whole files. */
#ifndef KELHOST_HOST_FILE_H
#define KELHOST_HOST_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace kelhost {

/* Reads a regular file of at most `most` bytes. Returns a status of files.h, OSS_TOO_LONG for a longer one. */
int32_t readWholeFile(const char* path, size_t most, std::string& bytes);

/* The same for a file below a directory, on the way that ossFileOpenBelow goes. */
int32_t readWholeFileBelow(const char* root, const char* name, size_t most, std::string& bytes);

}  // namespace kelhost

#endif
