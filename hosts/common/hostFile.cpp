#include "hostFile.h"

#include <memory>

#include "files.h"

namespace kelhost {
namespace {

struct CloseFile {
    void operator()(OSSHFile* file) const noexcept { ossFileClose(file); }
};

/* What the handle, which is freed, holds. */
int32_t readWhole(OSSHFile* opened, size_t most, std::string& bytes) {
    const std::unique_ptr<OSSHFile, CloseFile> file(opened);
    uint64_t size = 0;
    int32_t status = ossFileSize(opened, &size);
    if (status != OSS_OK) return status;
    if (size > most) return OSS_TOO_LONG;
    bytes.assign(size, '\0');
    size_t done = 0;
    status = ossFileRead(opened, bytes.data(), bytes.size(), &done);
    return status == OSS_OK && done != bytes.size() ? OSS_ERROR : status;
}

}  // namespace

int32_t readWholeFile(const char* path, size_t most, std::string& bytes) {
    OSSHFile* opened = nullptr;
    const int32_t status = ossFileOpen(&opened, path, OSS_FILE_READ, 0);
    return status == OSS_OK ? readWhole(opened, most, bytes) : status;
}

int32_t readWholeFileBelow(const char* root, const char* name, size_t most, std::string& bytes) {
    OSSHFile* opened = nullptr;
    const int32_t status = ossFileOpenBelow(&opened, root, name, OSS_FILE_READ, 0);
    return status == OSS_OK ? readWhole(opened, most, bytes) : status;
}

}  // namespace kelhost
