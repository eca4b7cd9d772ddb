/* The files of the automatic-maintenance procedures. */
#include "configuration/sqlpiPolicyConfigFile.h"

#include <cstring>
#include <memory>

#include "base/sqlpiReport.h"
#include "base/sqlpiText.h"
#include "logs.h"

namespace {

constexpr uint32_t permissions = 0755;

constexpr size_t shortToken = 30; /* bytes of a file name in a message */
constexpr size_t longToken = 40;
constexpr size_t wholeToken = OSS_PATH_SIZE;

struct CloseFile {
    void operator()(OSSHFile* file) const noexcept { ossFileClose(file); }
};
using OpenFile = std::unique_ptr<OSSHFile, CloseFile>;

OpenFile open(const char* root, const char* name, uint32_t mode, int32_t& status) noexcept {
    OSSHFile* opened = nullptr;
    status = ossFileOpenBelow(&opened, root, name, mode, permissions);
    return OpenFile(opened);
}

bool writeWhole(OSSHFile* file, std::string_view text) noexcept {
    size_t done = 0;
    return ossFileWrite(file, text.data(), text.size(), &done) == OSS_OK && done == text.size() &&
           ossFileCommit(file) == OSS_OK;
}

}  // namespace

bool sqlpiPolicyFile::fail(sqlca& ca, uint32_t probe, const char* format, size_t tokenLength) const noexcept {
    char complaint[PD_RECORD_SIZE];
    sqlpiTextBuilder(complaint, sizeof complaint).append(procedure_.prefix).appendFormat(format, name_);
    pdLog(PD_ERROR, procedure_.entry, probe, complaint);
    sqlpiPrepSqlca(ca, procedure_.fileCode, nullptr, {sqlpiCutUtf8(name_, tokenLength)});
    return false;
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
    char base[OSS_PATH_SIZE];
    if (ossDirectoryName(name_, directory_, sizeof directory_) != OSS_OK ||
        ossBaseName(name_, base, sizeof base) != OSS_OK || std::strcmp(base, ".") == 0 || std::strcmp(base, "/") == 0)
        return fail(ca, 40, unusable, longToken);

    char instance[OSS_PATH_SIZE];
    if (sqloInstancePath(instance, sizeof instance) != OSS_OK) return fail(ca, 45, unusable, longToken);
    // Nothing longer than a path may be is led further.
    sqlpiTextBuilder root(root_, sizeof root_);
    root.append(instance).append("/tmp");
    if (root.wasCut() || root.length() + 1 + name.size() >= OSS_PATH_SIZE) return fail(ca, 50, unusable, longToken);
    return true;
}

bool sqlpiPolicyFile::makeDirectory(sqlca& ca) const noexcept {
    if (ossDirectoryCreate(root_, permissions) == OSS_OK &&
        ossDirectoryCreateBelow(root_, directory_, permissions) == OSS_OK)
        return true;
    pdLog(PD_ERROR, procedure_.entry, 60,
          "unable to create the directory under instance-home/tmp, for writing the  policy file \n");
    sqlpiPrepSqlca(ca, procedure_.fileCode, nullptr, {sqlpiCutUtf8(name_, longToken)});
    return false;
}

bool sqlpiPolicyFile::replace(std::string_view text, sqlca& ca) const noexcept {
    int32_t status = OSS_OK;
    const OpenFile file = open(root_, name_, OSS_FILE_REPLACE, status);
    if (file == nullptr) return fail(ca, 80, " error, could not open input policy file %s \n", shortToken);
    if (writeWhole(file.get(), text)) return true;
    return fail(ca, 90, " error, input policy file %s does not have Write permission \n", longToken);
}

bool sqlpiPolicyFile::read(sqlpiBlock& text, size_t& length, sqlca& ca) const noexcept {
    int32_t status = OSS_OK;
    const OpenFile file = open(root_, name_, OSS_FILE_READ, status);
    if (status == OSS_NOT_FOUND || status == OSS_TOO_LONG)
        return fail(ca, 60, " error, input policy file %s does not exist \n", wholeToken);
    constexpr const char* unreadable = " error, input policy file %s does not have reade permission \n";
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
