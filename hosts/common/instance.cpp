#include "instance.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "hostError.h"

namespace kelhost {
namespace {

constexpr std::array<const char*, 6> parts = {"bnd", "misc", "tmp", "db", "log", "backup"};
constexpr mode_t directoryPermissions = 0750;

constinit thread_local ThreadScope scopeOfThread;

void makeDirectory(const std::string& path) {
    if (::mkdir(path.c_str(), directoryPermissions) != 0 && errno != EEXIST) {
        throw systemError("cannot create the instance directory \"" + path + "\"", errno);
    }
}

void makeDirectories(const std::filesystem::path& directory) {
    std::filesystem::path made;
    for (const auto& component : directory) {
        made /= component;
        if (!component.empty()) makeDirectory(made.string());
    }
}

void requireDirectory(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        const int reason = errno;
        const std::string hint = reason == ENOENT ? "; \"kelpolicy init\" makes one" : "";
        throw HostError(-902, "58030",
                        "\"" + path + "\" of the instance: " + std::generic_category().message(reason) + hint);
    }
    if (!S_ISDIR(status.st_mode)) throw HostError(-902, "58030", "\"" + path + "\" of the instance is no directory");
}

std::filesystem::path absolutePath(const std::filesystem::path& directory) {
    if (directory.empty()) throw HostError(-902, "58030", "the name of the instance directory is empty");
    std::error_code failure;
    std::filesystem::path path = std::filesystem::absolute(directory, failure).lexically_normal();
    if (failure) throw systemError("cannot resolve the instance directory", failure.value());
    if (path.has_relative_path() && path.filename().empty()) path = path.parent_path();
    if (path.native().size() > Instance::maximumPath) {
        throw HostError(-902, "58030",
                        "the path of the instance directory has " + std::to_string(path.native().size()) +
                            " bytes; at most " + std::to_string(Instance::maximumPath) + " are possible");
    }
    return path;
}

}  // namespace

Instance Instance::create(const std::filesystem::path& directory) {
    const std::filesystem::path path = absolutePath(directory);
    makeDirectories(path);
    for (const char* part : parts) makeDirectory((path / part).string());
    return open(path);
}

Instance Instance::open(const std::filesystem::path& directory) {
    const std::filesystem::path path = absolutePath(directory);
    requireDirectory(path.string());
    std::error_code failure;
    const std::filesystem::path resolved = std::filesystem::canonical(path, failure);
    if (failure) throw systemError("cannot resolve the instance directory \"" + path.string() + "\"", failure.value());
    if (resolved.native().size() > maximumPath) absolutePath(resolved);
    for (const char* part : parts) requireDirectory((resolved / part).string());
    return Instance(resolved.string());
}

const ThreadScope& threadScope() noexcept {
    return scopeOfThread;
}

BoundThreadScope::BoundThreadScope(ThreadScope scope) noexcept : previous_(scopeOfThread) {
    scopeOfThread = scope;
}

BoundThreadScope::~BoundThreadScope() {
    scopeOfThread = previous_;
}

}  // namespace kelhost
