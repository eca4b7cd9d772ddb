// Memory, files, clock, logs, trace, messages and state: one plain function of the runtime each.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "engine.h"
namespace fs = std::filesystem;
using std::string;
long blocksInUse = 0;
std::string instanceDirectory;
void openEngine(const string& directory) {
    for (const char* part : {"/bnd", "/tmp", "/backup"}) fs::create_directories((instanceDirectory = directory) + part);
    fs::copy(KELPOLICY_DATA "/kelpolicy.bnd", directory + "/bnd");
    sqlite3_open((directory + "/engine.db").c_str(), &database);
    sqlite3_exec(database, ("ATTACH '" + directory + "/systools.db' AS SYSTOOLS").c_str(), nullptr, nullptr, nullptr);
}

void* _ossMemAlloc(size_t size) { return ++blocksInUse, std::malloc(size + 1); }
void _ossMemFree(void* block) { blocksInUse -= block != nullptr, std::free(block); }
void* sqlogmblkEx(SQLO_MEM_POOL*, size_t size, const char*, uint32_t) { return _ossMemAlloc(size); }
void sqlofmblkEx(void* block, const char*, uint32_t) { _ossMemFree(block); }
static int32_t copy(const string& text, char* out, size_t size) {
    return static_cast<size_t>(std::snprintf(out, size, "%s", text.c_str())) < size ? OSS_OK : OSS_TOO_LONG;
}
struct OSSHFile {
    FILE* stream;
    string path, replaced; /* of a replacement: what is written, and what it becomes */
};
static FILE* stream(OSSHFile* file) { return file->stream; }
static int32_t open(OSSHFile** file, const string& path, const char* mode, const string& replaced = {}) {
    FILE* stream = std::fopen(path.c_str(), mode);
    *file = stream != nullptr ? new OSSHFile{stream, path, replaced} : nullptr;
    return *file != nullptr ? OSS_OK : ossPathExists(path.c_str()) ? OSS_ERROR : OSS_NOT_FOUND;
}
int32_t ossFileOpen(OSSHFile** file, const char* path, uint32_t mode, uint32_t) {
    *file = nullptr;
    if (ossPathExists(path) && fs::symlink_status(path).type() != fs::file_type::regular) return OSS_NOT_REGULAR;
    return open(file, path, mode == OSS_FILE_READ ? "rb" : "wb");
}
// An engine that others share a server with walks to the file with openat, and keeps the mode and owner of what is there.
int32_t ossFileOpenBelow(OSSHFile** file, const char* root, const char* name, uint32_t mode, uint32_t permissions) {
    const string path = string(root) + "/" + name;
    if (mode == OSS_FILE_READ) return ossFileOpen(file, path.c_str(), mode, permissions);
    return open(file, path + ".new", "wbx", path);
}
int32_t ossFileCommit(OSSHFile* file) {
    return std::fflush(stream(file)) == 0 && std::rename(file->path.c_str(), file->replaced.c_str()) == 0 ? OSS_OK : OSS_ERROR;
}
int32_t ossFileRead(OSSHFile* file, void* buffer, size_t size, size_t* done) {
    return *done = std::fread(buffer, 1, size, stream(file)), std::ferror(stream(file)) ? OSS_ERROR : OSS_OK;
}
int32_t ossFileWrite(OSSHFile* file, const void* buffer, size_t size, size_t* done) {
    return (*done = std::fwrite(buffer, 1, size, stream(file))) == size ? OSS_OK : OSS_ERROR;
}
int32_t ossFileSize(OSSHFile* file, uint64_t* size) {
    struct stat status = {};
    return *size = fstat(fileno(stream(file)), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0, OSS_OK;
}
int32_t ossFileClose(OSSHFile* file) {
    if (file == nullptr) return OSS_OK;
    const int failure = std::fclose(stream(file));
    if (!file->replaced.empty()) std::remove(file->path.c_str());
    return delete file, failure == 0 ? OSS_OK : OSS_ERROR;
}
int32_t ossPathExists(const char* path) { return fs::exists(fs::symlink_status(path)); }
int32_t ossIsDirectory(const char* path) { return fs::is_directory(fs::symlink_status(path)); }
int32_t ossDirectoryCreateBelow(const char* root, const char* name, uint32_t permissions) {
    return ossDirectoryCreate((string(root) + "/" + name).c_str(), permissions);
}
int32_t ossDirectoryCreate(const char* path, uint32_t) {
    std::error_code failure;
    return fs::create_directories(path, failure), ossIsDirectory(path) ? OSS_OK : OSS_ERROR;
}
int32_t ossBaseName(const char* path, char* out, size_t size) { return copy(fs::path(path).filename(), out, size); }
int32_t ossDirectoryName(const char* path, char* out, size_t size) {
    return copy(fs::path(path).has_parent_path() ? string(fs::path(path).parent_path()) : ".", out, size);
}
int32_t sqloInstancePath(char* out, size_t size) { return copy(instanceDirectory, out, size); }
int32_t sqlo_localtime(const int64_t* seconds, tm* out) { return localtime_r(seconds, out) != nullptr ? 0 : -1; }
int32_t isSharedLibInitSuccess() { return 1; }
void ossOneTimeOnly() {}
void sqlpiGetDefaultAutoBackupPath(char* path, int32_t size, sqlca* ca) {
    ca->sqlcode = copy(instanceDirectory + "/backup", path, static_cast<size_t>(size)) == OSS_OK ? 0 : -902;
}
void pdLog(int32_t importance, const char* function, uint32_t probe, const char* text) {
    if (importance <= PD_WARNING) std::fprintf(stderr, "[%s %u] %s\n", function, probe, text);
}
void pdLogPrintf(int32_t importance, const char* function, uint32_t probe, const char* format, ...) {
    char text[PD_RECORD_SIZE];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments), va_end(arguments), pdLog(importance, function, probe, text);
}
void sqlt_logadmin(uint32_t, int32_t, const char*, uint32_t, const char* text, size_t length) {
    std::fprintf(stderr, "administration log: %.*s\n", static_cast<int>(length), text);
}
uint32_t g_sqltCompTraceFlags = 0;  // no trace here, so none of these is called
void pdtEntry(const char*) {}
void pdtExit(const char*, int64_t) {}
void pdtData1(const char*, uint32_t, const pdtItem*) {}
void pdtData2(const char*, uint32_t, const pdtItem*, const pdtItem*) {}
void pdtData3(const char*, uint32_t, const pdtItem*, const pdtItem*, const pdtItem*) {}
void pdtError1(const char*, uint32_t, int64_t, const pdtItem*) {}
void sqloinca(sqlca* ca) { *ca = {}, std::memcpy(ca->sqlstate, "00000", sizeof ca->sqlstate); }
void sqlage_prepare_sqlca(int32_t sqlcode, size_t count, const sqlageToken* tokens, sqlca* ca) {
    string text;
    for (size_t i = 0; i < count; ++i) (text += i == 0 ? "" : "\xFF").append(tokens[i].text, tokens[i].length);
    ca->sqlcode = sqlcode;
    ca->sqlerrml = static_cast<int16_t>(text.copy(ca->sqlerrmc, sizeof ca->sqlerrmc));
}
int32_t sqlaintp_api(char* buffer, size_t size, uint32_t, const char*, const sqlca* ca) {
    return std::snprintf(buffer, size, "SQLCODE %d: %.*s", ca->sqlcode, ca->sqlerrml, ca->sqlerrmc);
}
