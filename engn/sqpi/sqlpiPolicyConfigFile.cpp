/* The files of the automatic-maintenance procedures. */
#include "sqlpiPolicyConfigFile.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "logs.h"
#include "sqlpiPolicyUtil.h"
#include "sqlpiText.h"

namespace {

constexpr uint32_t permissions = 0755;

constexpr size_t shortToken = 30; /* bytes of a file name in a message */
constexpr size_t longToken = 40;
constexpr size_t wholeToken = OSS_PATH_SIZE;

struct CloseFile {
    void operator()(OSSHFile* file) const noexcept { ossFileClose(file); }
};
using OpenFile = std::unique_ptr<OSSHFile, CloseFile>;

OpenFile openToRead(const char* path, int32_t& status) noexcept {
    OSSHFile* opened = nullptr;
    status = ossFileOpen(&opened, path, OSS_FILE_READ, 0);
    return OpenFile(opened);
}

/* A file being written beside the one it will replace; removed unless it took that one's name. */
class NewFile {
public:
    ~NewFile() {
        file_.reset();
        if (path_[0] != '\0') ossFileDelete(path_);
    }

    bool create(const char* directory) noexcept {
        OSSHFile* opened = nullptr;
        if (ossFileCreateUnique(&opened, directory, permissions, path_, sizeof path_) != OSS_OK) path_[0] = '\0';
        file_.reset(opened);
        return file_ != nullptr;
    }
    bool write(std::string_view text) noexcept {
        size_t done = 0;
        const bool written = ossFileWrite(file_.get(), text.data(), text.size(), &done) == OSS_OK;
        return written && done == text.size() && ossFileClose(file_.release()) == OSS_OK;
    }
    bool takeName(const char* path) noexcept {
        if (ossFileRename(path_, path) != OSS_OK) return false;
        path_[0] = '\0';
        return true;
    }

private:
    OpenFile file_;
    char path_[OSS_PATH_SIZE] = "";
};

}  // namespace

bool sqlpiPolicyFile::fail(sqlca& ca, uint32_t probe, const char* format, size_t tokenLength) const noexcept {
    char complaint[PD_RECORD_SIZE];
    sqlpiTextBuilder(complaint, sizeof complaint).append(procedure_.prefix).appendFormat(format, name_);
    pdLog(PD_ERROR, procedure_.entry, probe, complaint);
    sqlpiPrepSqlca(ca, procedure_.fileCode, nullptr, {sqlpiCutUtf8(name_, tokenLength)});
    return false;
}

/* Whether every part of the directory that exists is a directory itself, not a link that leads elsewhere. */
bool sqlpiPolicyFile::isBelowTmp() const noexcept {
    char part[OSS_PATH_SIZE];
    const size_t length = std::strlen(directory_);
    for (size_t end = tmpLength_; end <= length; ++end) {
        if (end != length && directory_[end] != '/') continue;
        std::memcpy(part, directory_, end);
        part[end] = '\0';
        if (ossPathExists(part) == 0) return true;
        if (ossIsDirectory(part) == 0) return false;
    }
    return true;
}

bool sqlpiPolicyFile::resolve(sqlca& ca) noexcept {
    const std::string_view name = name_;
    if (name.find("..") != std::string_view::npos || name.find(':') != std::string_view::npos) {
        pdLogPrintf(PD_ERROR, procedure_.entry, 30, "%s error, input policy file %s contains relative path \n",
                    procedure_.prefix, name_);
        sqlpiPrepSqlca(ca, SQLPI_BAD_ARGUMENT, nullptr, {"2", procedure_.routine});
        return false;
    }
    constexpr const char* unusable = " error, input policy file %s does not exist \n";
    char named[OSS_PATH_SIZE];
    char base[OSS_PATH_SIZE];
    if (ossDirectoryName(name_, named, sizeof named) != OSS_OK || ossBaseName(name_, base, sizeof base) != OSS_OK ||
        std::strcmp(base, ".") == 0 || std::strcmp(base, "/") == 0)
        return fail(ca, 40, unusable, longToken);

    char instance[OSS_PATH_SIZE];
    if (sqloInstancePath(instance, sizeof instance) != OSS_OK) return fail(ca, 45, unusable, longToken);
    sqlpiTextBuilder directory(directory_, sizeof directory_);
    directory.append(instance).append("/tmp");
    tmpLength_ = directory.length();
    directory.append("/");
    if (std::strcmp(named, ".") != 0) directory.append(named);
    sqlpiTextBuilder path(path_, sizeof path_);
    path.append(directory_).append("/").append(base);
    if (directory.wasCut() || path.wasCut()) return fail(ca, 50, unusable, longToken);
    return true;
}

bool sqlpiPolicyFile::makeDirectory(sqlca& ca) const noexcept {
    if (isBelowTmp() &&
        (ossIsDirectory(directory_) == 1 || (ossDirectoryCreate(directory_, permissions) == OSS_OK && isBelowTmp())))
        return true;
    pdLog(PD_ERROR, procedure_.entry, 60,
          "unable to create the directory under instance-home/tmp, for writing the  policy file \n");
    sqlpiPrepSqlca(ca, procedure_.fileCode, nullptr, {sqlpiCutUtf8(name_, longToken)});
    return false;
}

bool sqlpiPolicyFile::replace(std::string_view text, sqlca& ca) const noexcept {
    // What is there already must be a regular file: a link, device or pipe is never replaced.
    int32_t status = OSS_OK;
    openToRead(path_, status);
    NewFile file;
    if ((status != OSS_OK && status != OSS_NOT_FOUND) || !file.create(directory_))
        return fail(ca, 80, " error, could not open input policy file %s \n", shortToken);
    if (!file.write(text) || !file.takeName(path_))
        return fail(ca, 90, " error, input policy file %s does not have Write permission \n", longToken);
    return true;
}

bool sqlpiPolicyFile::read(sqlpiBlock& text, size_t& length, sqlca& ca) const noexcept {
    if (!isBelowTmp() || ossPathExists(path_) == 0)
        return fail(ca, 60, " error, input policy file %s does not exist \n", wholeToken);
    constexpr const char* unreadable = " error, input policy file %s does not have reade permission \n";
    int32_t status = OSS_OK;
    const OpenFile file = openToRead(path_, status);
    uint64_t size = 0;
    if (file == nullptr || ossFileSize(file.get(), &size) != OSS_OK) return fail(ca, 70, unreadable, wholeToken);
    if (size == 0) {
        pdLog(PD_ERROR, procedure_.entry, 80, "Policy file contents are of 0 bytes of length\n");
        return fail(ca, 80, " error, input policy file %s is empty \n", wholeToken);
    }
    if (size > SQLUDF_LARGEST_LOB)
        return fail(ca, 85, " error, input policy file %s is longer than 2097152 bytes \n", wholeToken);

    length = static_cast<size_t>(size);
    text = sqlpiTakeBlock(length + 1, "sqlpiPolicyConfig");
    if (text == nullptr) {
        sqlpiReportNoMemory(ca, procedure_.entry, 90, "AutoMaintSetPolicy memory allocation for policy doc failed. \n");
        return false;
    }
    size_t done = 0;
    if (ossFileRead(file.get(), text.get(), length, &done) != OSS_OK || done != length)
        return fail(ca, 100, unreadable, wholeToken);
    text.get()[length] = '\0';
    return true;
}
