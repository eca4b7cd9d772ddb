#ifndef TESTS_HOST_WHOLE_FILE_H
#define TESTS_HOST_WHOLE_FILE_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace hosttest {

/* The bytes of a file; none when it cannot be read. */
inline std::string readWhole(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace hosttest

#endif
