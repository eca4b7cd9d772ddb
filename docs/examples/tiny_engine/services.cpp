// Memory, files, clock, logs, trace, messages and state: one plain function of the runtime each.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

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
    string path, bytes;
    size_t place; /* of the next byte to read */
};
// An engine that others share a server with walks to the file with openat, and keeps the mode and owner of what is there.
int32_t ossFileOpenBelow(OSSHFile** file, const char* root, const char* name, uint32_t mode, uint32_t) {
    const string path = string(root) + "/" + name;
    *file = nullptr;
    if (ossPathExists(path.c_str()) && !fs::is_regular_file(fs::symlink_status(path))) return OSS_NOT_REGULAR;
    std::ifstream stream(path, std::ios::binary);
    if (mode == OSS_FILE_READ && !stream) return ossPathExists(path.c_str()) ? OSS_ERROR : OSS_NOT_FOUND;
    const string bytes(mode == OSS_FILE_READ ? std::istreambuf_iterator<char>(stream) : std::istreambuf_iterator<char>(), {});
    return *file = new OSSHFile{path, bytes, 0}, OSS_OK;
}
int32_t ossFileCommit(OSSHFile* file) {
    std::ofstream stream(file->path + ".new", std::ios::binary);
    const bool isWhole = static_cast<bool>(stream << file->bytes << std::flush);
    return isWhole && std::rename((file->path + ".new").c_str(), file->path.c_str()) == 0 ? OSS_OK : OSS_ERROR;
}
int32_t ossFileRead(OSSHFile* file, void* buffer, size_t size, size_t* done) {
    return file->place += *done = file->bytes.copy(static_cast<char*>(buffer), size, file->place), OSS_OK;
}
int32_t ossFileWrite(OSSHFile* file, const void* buffer, size_t size, size_t* done) {
    return file->bytes.append(static_cast<const char*>(buffer), *done = size), OSS_OK;
}
int32_t ossFileSize(OSSHFile* file, uint64_t* size) { return *size = file->bytes.size(), OSS_OK; }
int32_t ossFileClose(OSSHFile* file) { return delete file, OSS_OK; }
int32_t ossPathExists(const char* path) { return fs::exists(fs::symlink_status(path)); }
int32_t ossDirectoryCreateBelow(const char* root, const char* name, uint32_t permissions) {
    return ossDirectoryCreate((string(root) + "/" + name).c_str(), permissions);
}
int32_t ossDirectoryCreate(const char* path, uint32_t) {
    std::error_code failure;
    return fs::create_directories(path, failure), fs::is_directory(path) ? OSS_OK : OSS_ERROR;
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
