// Memory, files, clock, engine state and messages.
#include <time.h>

#include "clock.h"
#include "engineState.h"
#include "faultPlan.h"
#include "files.h"
#include "hostError.h"
#include "memoryPool.h"
#include "messages.h"

using faulty::countCall;
using faulty::Fault;
using faulty::Service;
using faulty::shortTransfer;
using faulty::usualFailure;

namespace {

int32_t codeOf(const Fault& fault, int32_t usual) noexcept {
    return fault.code == usualFailure ? usual : fault.code;
}

// A service whose only answer is its status, or which leaves its outputs alone.
template <class Real>
int32_t wrapStatus(Service service, int32_t usual, Real real) noexcept {
    const auto fault = countCall(service);
    return fault ? codeOf(*fault, usual) : real();
}

template <class Real>
int32_t wrapText(Service service, int32_t usual, char* out, size_t size, Real real) noexcept {
    const auto fault = countCall(service);
    if (!fault) return real();
    if (out != nullptr && size > 0) out[0] = '\0';
    return codeOf(*fault, usual);
}

}  // namespace

FAULTY_WRAP(void*, sqlogmblkEx, (SQLO_MEM_POOL * pool, size_t size, const char* tag, uint32_t line)) {
    return countCall(Service::sqlogmblkEx) ? nullptr : __real_sqlogmblkEx(pool, size, tag, line);
}

FAULTY_WRAP(void*, _ossMemAlloc, (size_t size)) {
    return countCall(Service::ossMemAlloc) ? nullptr : __real__ossMemAlloc(size);
}

FAULTY_WRAP(int32_t, ossFileOpen, (OSSHFile * *file, const char* path, uint32_t mode, uint32_t permissions)) {
    const auto fault = countCall(Service::ossFileOpen);
    if (!fault) return __real_ossFileOpen(file, path, mode, permissions);
    *file = nullptr;
    return codeOf(*fault, OSS_ERROR);
}

FAULTY_WRAP(int32_t, ossFileOpenBelow,
            (OSSHFile * *file, const char* root, const char* name, uint32_t mode, uint32_t permissions)) {
    const auto fault = countCall(Service::ossFileOpenBelow);
    if (!fault) return __real_ossFileOpenBelow(file, root, name, mode, permissions);
    *file = nullptr;
    return codeOf(*fault, OSS_ERROR);
}

FAULTY_WRAP(int32_t, ossFileRead, (OSSHFile * file, void* buffer, size_t size, size_t* done)) {
    const auto fault = countCall(Service::ossFileRead);
    if (!fault) return __real_ossFileRead(file, buffer, size, done);
    if (fault->code == shortTransfer) return __real_ossFileRead(file, buffer, size / 2, done);
    *done = 0;
    return codeOf(*fault, OSS_ERROR);
}

FAULTY_WRAP(int32_t, ossFileWrite, (OSSHFile * file, const void* buffer, size_t size, size_t* done)) {
    const auto fault = countCall(Service::ossFileWrite);
    if (!fault) return __real_ossFileWrite(file, buffer, size, done);
    *done = 0;
    if (fault->code != shortTransfer) return codeOf(*fault, OSS_ERROR);
    const int32_t result = __real_ossFileWrite(file, buffer, size / 2, done);
    return result == OSS_OK ? OSS_NO_SPACE : result;
}

FAULTY_WRAP(int32_t, ossFileSize, (OSSHFile * file, uint64_t* size)) {
    const auto fault = countCall(Service::ossFileSize);
    if (!fault) return __real_ossFileSize(file, size);
    *size = 0;
    return codeOf(*fault, OSS_ERROR);
}

FAULTY_WRAP(int32_t, ossFileClose, (OSSHFile * file)) {
    const auto fault = countCall(Service::ossFileClose);
    const int32_t result = __real_ossFileClose(file);
    return fault ? codeOf(*fault, OSS_ERROR) : result;
}

FAULTY_WRAP(int32_t, ossFileCommit, (OSSHFile * file)) {
    return wrapStatus(Service::ossFileCommit, OSS_ERROR, [&] { return __real_ossFileCommit(file); });
}

FAULTY_WRAP(int32_t, ossPathExists, (const char* path)) {
    return wrapStatus(Service::ossPathExists, 0, [&] { return __real_ossPathExists(path); });
}

FAULTY_WRAP(int32_t, ossIsDirectory, (const char* path)) {
    return wrapStatus(Service::ossIsDirectory, 0, [&] { return __real_ossIsDirectory(path); });
}

FAULTY_WRAP(int32_t, ossDirectoryCreate, (const char* path, uint32_t permissions)) {
    return wrapStatus(Service::ossDirectoryCreate, OSS_ERROR,
                      [&] { return __real_ossDirectoryCreate(path, permissions); });
}

FAULTY_WRAP(int32_t, ossDirectoryCreateBelow, (const char* root, const char* name, uint32_t permissions)) {
    return wrapStatus(Service::ossDirectoryCreateBelow, OSS_ERROR,
                      [&] { return __real_ossDirectoryCreateBelow(root, name, permissions); });
}

FAULTY_WRAP(int32_t, ossBaseName, (const char* path, char* out, size_t size)) {
    return wrapText(Service::ossBaseName, OSS_ERROR, out, size, [&] { return __real_ossBaseName(path, out, size); });
}

FAULTY_WRAP(int32_t, ossDirectoryName, (const char* path, char* out, size_t size)) {
    return wrapText(Service::ossDirectoryName, OSS_ERROR, out, size,
                    [&] { return __real_ossDirectoryName(path, out, size); });
}

FAULTY_WRAP(int32_t, sqloInstancePath, (char* out, size_t size)) {
    return wrapText(Service::sqloInstancePath, OSS_NOT_FOUND, out, size,
                    [&] { return __real_sqloInstancePath(out, size); });
}

FAULTY_WRAP(int32_t, sqlo_localtime, (const int64_t* seconds, struct tm* out)) {
    const auto fault = countCall(Service::sqlo_localtime);
    if (!fault) return __real_sqlo_localtime(seconds, out);
    *out = {};
    return codeOf(*fault, -1);
}

FAULTY_WRAP(int32_t, isSharedLibInitSuccess, (void)) {
    return wrapStatus(Service::isSharedLibInitSuccess, 0, [] { return __real_isSharedLibInitSuccess(); });
}

FAULTY_WRAP(void, sqlpiGetDefaultAutoBackupPath, (char* path, int32_t size, struct sqlca* ca)) {
    const auto fault = countCall(Service::sqlpiGetDefaultAutoBackupPath);
    if (!fault) return __real_sqlpiGetDefaultAutoBackupPath(path, size, ca);
    if (size > 0) path[0] = '\0';
    kelhost::fillSqlca(*ca, codeOf(*fault, -902), "58030", "");
}

FAULTY_WRAP(int32_t, sqlaintp_api,
            (char* buffer, size_t size, uint32_t lineWidth, const char* messageFile, const struct sqlca* ca)) {
    return wrapText(Service::sqlaintp_api, -1, buffer, size,
                    [&] { return __real_sqlaintp_api(buffer, size, lineWidth, messageFile, ca); });
}
