#include "archive/replaceFile.h"

#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "console/failure.h"
#include "files.h"

namespace kelpolicy {
namespace {

namespace fs = std::filesystem;

const char* inWords(int32_t status) {
    switch (status) {
        case OSS_NOT_FOUND:
            return "there is no such directory";
        case OSS_NO_PERMISSION:
            return "that is not permitted";
        case OSS_NOT_REGULAR:
            return "it is no regular file";
        case OSS_NO_SPACE:
            return "the device is full, or a file may not be that large";
        case OSS_TOO_LONG:
            return "the name is too long";
        case OSS_NO_MEMORY:
            return "there is not enough memory";
        default:
            return "the system reports a failure";
    }
}

[[noreturn]] void fail(const std::string& path, const std::string& why,
                       const char* hint = "Name a file in a directory that you may write to.") {
    throw Failure(fmt::format("\"{}\" cannot be written: {}", path, why), hint, systemErrorCode, systemErrorState);
}

void require(int32_t status, const std::string& path) {
    if (status == OSS_NO_SPACE) fail(path, inWords(status), "Make room, or name a file on another device.");
    if (status != OSS_OK) fail(path, inWords(status));
}

struct Close {
    void operator()(OSSHFile* file) const { ossFileClose(file); }
};

}  // namespace

fs::path realPath(const std::string& path, std::error_code& failure) {
    const fs::path absolute = fs::absolute(path, failure);
    return failure ? fs::path() : fs::weakly_canonical(absolute, failure);
}

void replaceFile(const std::string& path, std::string_view text) {
    std::error_code failure;
    const fs::path target = realPath(path, failure);
    if (failure) fail(path, failure.message());
    if (!target.has_filename()) require(OSS_NOT_REGULAR, path);
    constexpr uint32_t newFile = 0666;
    OSSHFile* opened = nullptr;
    require(
        ossFileOpenBelow(&opened, target.parent_path().c_str(), target.filename().c_str(), OSS_FILE_REPLACE, newFile),
        path);
    const std::unique_ptr<OSSHFile, Close> file(opened);
    size_t done = 0;
    require(ossFileWrite(opened, text.data(), text.size(), &done), path);
    require(ossFileCommit(opened), path);
}

}  // namespace kelpolicy
