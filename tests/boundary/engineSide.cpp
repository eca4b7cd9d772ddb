/* The part of an engine that stands between it and the library: every platform interface, in a shared object of its own
 * that the library is loaded with. This engine has memory, and a database that says no. */
#include <cstdlib>
#include <cstring>

#include "callLevel.h"
#include "clock.h"
#include "embeddedSql.h"
#include "engineState.h"
#include "files.h"
#include "logs.h"
#include "memoryPool.h"
#include "messages.h"
#include "trace.h"

namespace {

int callLevelCalls = 0;

SQLRETURN refuse() {
    ++callLevelCalls;
    return SQL_ERROR;
}

}  // namespace

extern "C" int callLevelCallsOfTheEngine(void);
int callLevelCallsOfTheEngine(void) {
    return callLevelCalls;
}

uint32_t g_sqltCompTraceFlags = 0;

void* sqlogmblkEx(SQLO_MEM_POOL*, size_t size, const char*, uint32_t) {
    return std::malloc(size == 0 ? 1 : size);
}
void sqlofmblkEx(void* block, const char*, uint32_t) {
    std::free(block);
}
void* _ossMemAlloc(size_t size) {
    return std::malloc(size == 0 ? 1 : size);
}
void _ossMemFree(void* block) {
    std::free(block);
}

SQLRETURN SQLAllocHandle(SQLSMALLINT, SQLHANDLE, SQLHANDLE*) {
    return refuse();
}
SQLRETURN SQLFreeHandle(SQLSMALLINT, SQLHANDLE) {
    return refuse();
}
SQLRETURN SQLConnect(SQLHDBC, SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT) {
    return refuse();
}
SQLRETURN SQLDisconnect(SQLHDBC) {
    return refuse();
}
SQLRETURN SQLSetConnectAttr(SQLHDBC, SQLINTEGER, SQLPOINTER, SQLINTEGER) {
    return refuse();
}
SQLRETURN SQLPrepare(SQLHSTMT, SQLCHAR*, SQLINTEGER) {
    return refuse();
}
SQLRETURN SQLExecute(SQLHSTMT) {
    return refuse();
}
SQLRETURN SQLExecDirect(SQLHSTMT, SQLCHAR*, SQLINTEGER) {
    return refuse();
}
SQLRETURN SQLBindParameter(SQLHSTMT, SQLUSMALLINT, SQLSMALLINT, SQLSMALLINT, SQLSMALLINT, SQLULEN, SQLSMALLINT,
                           SQLPOINTER, SQLLEN, SQLLEN*) {
    return refuse();
}
SQLRETURN SQLBindFileToParam(SQLHSTMT, SQLUSMALLINT, SQLSMALLINT, SQLCHAR*, SQLSMALLINT*, SQLUINTEGER*, SQLSMALLINT,
                             SQLINTEGER*) {
    return refuse();
}
SQLRETURN SQLFetch(SQLHSTMT) {
    return refuse();
}
SQLRETURN SQLGetData(SQLHSTMT, SQLUSMALLINT, SQLSMALLINT, SQLPOINTER, SQLLEN, SQLLEN*) {
    return refuse();
}
SQLRETURN SQLGetSQLCA(SQLHENV, SQLHDBC, SQLHSTMT, sqlca* ca) {
    ca->sqlcode = -30081;
    return SQL_SUCCESS;
}

int32_t sqlastrt(const sqlaProgramId*, sqlca*) {
    return -1;
}
int32_t sqlaaloc(uint32_t, uint32_t) {
    return -1;
}
int32_t sqlasetdata(uint32_t, uint32_t, uint32_t, const sqlaVariable*) {
    return -1;
}
int32_t sqlastls(uint32_t, const char*) {
    return -1;
}
void sqlacall(uint32_t, uint32_t) {}
void sqlastop(void) {}
int32_t sqlabndx(const char*, const char*, const sqloptList*, sqlca*) {
    return -1;
}

int32_t ossFileOpen(OSSHFile**, const char*, uint32_t, uint32_t) {
    return OSS_ERROR;
}
int32_t ossFileOpenBelow(OSSHFile**, const char*, const char*, uint32_t, uint32_t) {
    return OSS_ERROR;
}
int32_t ossFileRead(OSSHFile*, void*, size_t, size_t*) {
    return OSS_ERROR;
}
int32_t ossFileWrite(OSSHFile*, const void*, size_t, size_t*) {
    return OSS_ERROR;
}
int32_t ossFileSize(OSSHFile*, uint64_t*) {
    return OSS_ERROR;
}
int32_t ossFileClose(OSSHFile*) {
    return OSS_ERROR;
}
int32_t ossFileCommit(OSSHFile*) {
    return OSS_ERROR;
}
int32_t ossDirectoryCreateBelow(const char*, const char*, uint32_t) {
    return OSS_ERROR;
}
int32_t ossPathExists(const char*) {
    return 0;
}
int32_t ossIsDirectory(const char*) {
    return 0;
}
int32_t ossDirectoryCreate(const char*, uint32_t) {
    return OSS_ERROR;
}
int32_t ossBaseName(const char*, char*, size_t) {
    return OSS_ERROR;
}
int32_t ossDirectoryName(const char*, char*, size_t) {
    return OSS_ERROR;
}
int32_t sqloInstancePath(char*, size_t) {
    return OSS_ERROR;
}

int32_t sqlo_localtime(const int64_t* seconds, tm* out) {
    const time_t moment = *seconds;
    return localtime_r(&moment, out) == nullptr ? -1 : 0;
}

void pdtEntry(const char*) {}
void pdtExit(const char*, int64_t) {}
void pdtData1(const char*, uint32_t, const pdtItem*) {}
void pdtData2(const char*, uint32_t, const pdtItem*, const pdtItem*) {}
void pdtData3(const char*, uint32_t, const pdtItem*, const pdtItem*, const pdtItem*) {}
void pdtError1(const char*, uint32_t, int64_t, const pdtItem*) {}
void pdLog(int32_t, const char*, uint32_t, const char*) {}
void pdLogPrintf(int32_t, const char*, uint32_t, const char*, ...) {}
void sqlt_logadmin(uint32_t, int32_t, const char*, uint32_t, const char*, size_t) {}

void sqloinca(sqlca* ca) {
    std::memset(ca, 0, sizeof *ca);
}
void sqlage_prepare_sqlca(int32_t sqlcode, size_t, const sqlageToken*, sqlca* ca) {
    ca->sqlcode = sqlcode;
}
int32_t sqlaintp_api(char*, size_t, uint32_t, const char*, const sqlca*) {
    return 0;
}

int32_t isSharedLibInitSuccess(void) {
    return 1;
}
void ossOneTimeOnly(void) {}
void sqlpiGetDefaultAutoBackupPath(char* path, int32_t size, sqlca* ca) {
    constexpr char location[] = "/engine/backups";
    if (size >= static_cast<int32_t>(sizeof location)) std::memcpy(path, location, sizeof location);
    ca->sqlcode = 0;
}
