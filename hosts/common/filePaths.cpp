// Names of files and directories.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "fileStatus.h"
#include "fileWalk.h"
#include "files.h"
#include "instance.h"

using kelhost::checkPath;
using kelhost::fileStatus;

namespace {

constexpr mode_t permissionBits = 0777;

int32_t copyText(std::string_view text, char* out, size_t size) noexcept {
    if (size == 0) return OSS_TOO_LONG;
    out[0] = '\0';
    if (text.size() >= size) return OSS_TOO_LONG;
    text.copy(out, text.size());
    out[text.size()] = '\0';
    return OSS_OK;
}

struct PathParts {
    std::string_view directory;
    std::string_view name;
};

std::string_view withoutSlashesAtEnd(std::string_view path) noexcept {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    return path;
}

PathParts splitPath(std::string_view path) noexcept {
    if (path.empty()) return {".", "."};
    path = withoutSlashesAtEnd(path);
    if (path == "/") return {"/", "/"};
    const size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return {".", path};
    return {withoutSlashesAtEnd(path.substr(0, slash + 1)), path.substr(slash + 1)};
}

int32_t makeDirectory(const char* path, mode_t permissions) noexcept {
    if (::mkdir(path, permissions) == 0) return OSS_OK;
    if (errno != EEXIST) return fileStatus(errno);
    struct stat status {};
    if (::stat(path, &status) != 0) return fileStatus(errno);
    return S_ISDIR(status.st_mode) ? OSS_OK : OSS_NOT_REGULAR;
}

}  // namespace

int32_t ossPathExists(const char* path) {
    struct stat status {};
    return checkPath(path) == OSS_OK && ::lstat(path, &status) == 0 ? 1 : 0;
}

int32_t ossIsDirectory(const char* path) {
    struct stat status {};
    return checkPath(path) == OSS_OK && ::lstat(path, &status) == 0 && S_ISDIR(status.st_mode) ? 1 : 0;
}

int32_t ossDirectoryCreate(const char* path, uint32_t permissions) {
    const int32_t usable = checkPath(path);
    if (usable != OSS_OK) return usable;
    char made[OSS_PATH_SIZE] = "";
    const std::string_view whole = withoutSlashesAtEnd(path);
    for (size_t end = 1; end <= whole.size(); ++end) {
        if (end != whole.size() && whole[end] != '/') continue;
        copyText(whole.substr(0, end), made, sizeof made);
        const int32_t result = makeDirectory(made, static_cast<mode_t>(permissions) & permissionBits);
        if (result != OSS_OK) return result;
    }
    return ossIsDirectory(made) == 1 ? OSS_OK : OSS_NOT_REGULAR;
}

int32_t ossDirectoryCreateBelow(const char* root, const char* name, uint32_t permissions) {
    const int32_t usable = checkPath(root) != OSS_OK ? checkPath(root) : checkPath(name);
    if (usable != OSS_OK) return usable;
    const auto made = kelhost::openDirectoryBelow(root, name, static_cast<mode_t>(permissions) & permissionBits);
    return made.isOpen() ? OSS_OK : fileStatus(errno);
}

int32_t ossBaseName(const char* path, char* out, size_t size) {
    return copyText(splitPath(path).name, out, size);
}

int32_t ossDirectoryName(const char* path, char* out, size_t size) {
    return copyText(splitPath(path).directory, out, size);
}

int32_t sqloInstancePath(char* out, size_t size) {
    const kelhost::Instance* instance = kelhost::threadScope().instance;
    if (instance != nullptr) return copyText(instance->path(), out, size);
    if (size > 0) out[0] = '\0';
    return OSS_NOT_FOUND;
}
