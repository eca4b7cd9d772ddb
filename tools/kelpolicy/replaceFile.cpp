#include "replaceFile.h"

#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "failure.h"
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
            return "the device is full";
        case OSS_TOO_LONG:
            return "the name is too long";
        case OSS_NO_MEMORY:
            return "there is not enough memory";
        default:
            return "the system reports a failure";
    }
}

[[noreturn]] void fail(const std::string& path, const std::string& why) {
    throw Failure(fmt::format("\"{}\" cannot be written: {}", path, why),
                  "Name a file in a directory that you may write to.", systemErrorCode, systemErrorState);
}

void require(int32_t status, const std::string& path) {
    if (status != OSS_OK) fail(path, inWords(status));
}

/* The file being written; gone at the end unless it took its name. */
class NewFile {
public:
    NewFile(const fs::path& directory, uint32_t permissions, const std::string& shown) {
        OSSHFile* file = nullptr;
        require(ossFileCreateUnique(&file, directory.c_str(), permissions, path_, sizeof path_), shown);
        file_.reset(file);
    }
    ~NewFile() {
        file_.reset();
        if (path_[0] != '\0') ossFileDelete(path_);
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    int32_t write(std::string_view text) {
        size_t done = 0;
        const int32_t written = ossFileWrite(file_.get(), text.data(), text.size(), &done);
        const int32_t closed = ossFileClose(file_.release());
        return written == OSS_OK ? closed : written;
    }
    int32_t takeName(const fs::path& path) {
        const int32_t status = ossFileRename(path_, path.c_str());
        if (status == OSS_OK) path_[0] = '\0';
        return status;
    }

private:
    struct Close {
        void operator()(OSSHFile* file) const { ossFileClose(file); }
    };
    std::unique_ptr<OSSHFile, Close> file_{};
    char path_[OSS_PATH_SIZE] = "";
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
    const fs::file_status status = fs::status(target, failure);
    const bool exists = fs::exists(status);
    if (exists && !fs::is_regular_file(status)) require(OSS_NOT_REGULAR, path);
    constexpr uint32_t newFile = 0666;
    const uint32_t permissions = exists ? static_cast<uint32_t>(status.permissions()) & 0777U : newFile;
    NewFile file(target.parent_path(), permissions, path);
    require(file.write(text), path);
    require(file.takeName(target), path);
}

}  // namespace kelpolicy
