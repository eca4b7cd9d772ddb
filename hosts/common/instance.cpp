#include "instance.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include "files.h"
#include "hostError.h"
#include "hostFile.h"
#include "installedFiles.h"

namespace kelhost {
namespace {

constexpr std::array<const char*, 6> parts = {"bnd", "misc", "tmp", "db", "log", "backup"};
constexpr mode_t directoryPermissions = 0750;
constexpr mode_t filePermissions = 0640;

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

// Fit to be typed into a shell.
std::string shellWord(const std::string& text) {
    const auto isPlain = [](unsigned char c) { return std::isalnum(c) != 0 || std::strchr("/._-+,@%:", c) != nullptr; };
    if (!text.empty() && text.find('\0') == std::string::npos && std::all_of(text.begin(), text.end(), isPlain)) {
        return text;
    }
    std::string word = "'";
    for (const char byte : text) word += byte == '\'' ? std::string("'\"'\"'") : std::string(1, byte);
    return word + "'";
}

// The instance directory itself, or a part of it.
void requireDirectory(const std::string& instance, const std::string& part = {}) {
    const std::string path = part.empty() ? instance : instance + "/" + part;
    struct stat status {};
    const int reason = ::stat(path.c_str(), &status) == 0 ? 0 : errno;
    if (reason == ENOENT) {
        throw HostError(-902, "58030",
                        "there is no instance at \"" + instance + "\"" +
                            (part.empty() ? "" : ": the directory has no part \"" + part + "\""),
                        "\"kelpolicy --instance " + shellWord(instance) + " init\" makes one there.");
    }
    if (reason != 0) throw systemError("cannot open \"" + path + "\" of the instance", reason);
    if (!S_ISDIR(status.st_mode)) throw HostError(-902, "58030", "\"" + path + "\" of the instance is no directory");
}

// Written beside and renamed: a reader sees the old file or the new one, also while several processes do this. A file
// that a power failure spoils is written again by who opens the instance next.
int writeBeside(const std::string& path, std::string_view bytes) {
    std::string beside = path + ".XXXXXX";
    const int descriptor = ::mkostemp(beside.data(), O_CLOEXEC);
    if (descriptor < 0) return errno;
    int reason = ::fchmod(descriptor, filePermissions) == 0 ? 0 : errno;
    while (reason == 0 && !bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (errno != EINTR) {
            reason = errno;
        }
    }
    if (::close(descriptor) != 0 && reason == 0) reason = errno;
    if (reason == 0 && ::rename(beside.c_str(), path.c_str()) != 0) reason = errno;
    if (reason != 0) ::unlink(beside.c_str());
    return reason;
}

// Brings the instance's copies of the program's files up to date; 0, or why one could not be written.
int installFiles(const std::filesystem::path& directory) {
    int firstReason = 0;
    for (const InstalledFile& file : installedFiles) {
        const std::string path = (directory / file.name).string();
        std::string present;
        if (readWholeFile(path.c_str(), file.bytes.size(), present) == OSS_OK && present == file.bytes) continue;
        const int reason = writeBeside(path, file.bytes);
        if (firstReason == 0) firstReason = reason;
    }
    return firstReason;
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
    Instance instance = open(path);
    const int reason = installFiles(instance.path_);
    if (reason != 0) throw systemError("cannot write the files of the instance \"" + instance.path_ + "\"", reason);
    return instance;
}

Instance Instance::find(const std::filesystem::path& directory) {
    const std::filesystem::path path = absolutePath(directory);
    requireDirectory(path.string());
    std::error_code failure;
    const std::filesystem::path resolved = std::filesystem::canonical(path, failure);
    if (failure) throw systemError("cannot resolve the instance directory \"" + path.string() + "\"", failure.value());
    if (resolved.native().size() > maximumPath) absolutePath(resolved);
    for (const char* part : parts) requireDirectory(resolved.string(), part);
    return Instance(resolved.string());
}

Instance Instance::open(const std::filesystem::path& directory) {
    Instance instance = find(directory);
    installFiles(instance.path_);  // who may only read the instance uses it as it is
    return instance;
}

std::string_view Instance::programFile(std::string_view path) const noexcept {
    if (!path.starts_with(path_)) return {};
    path.remove_prefix(path_.size());
    for (const InstalledFile& file : installedFiles) {
        if (path.starts_with('/') && path.substr(1) == file.name) return file.bytes;
    }
    return {};
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
