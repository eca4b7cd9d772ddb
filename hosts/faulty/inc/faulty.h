/* Fails the Nth call of a platform service, once or for ever, over the real host. For tests.
 *
 * A program that links this host reaches every service through a wrapper. Without a plan the wrappers only count.
 * Plans and counters belong to the process; any thread may use them. */
#ifndef KELHOST_FAULTY_H
#define KELHOST_FAULTY_H

#include <cstdint>
#include <initializer_list>

namespace faulty {

/* The services by their functions, and groups of them. */
enum class Service {
    sqlogmblkEx,
    ossMemAlloc,
    ossFileOpen,
    ossFileOpenBelow,
    ossFileRead,
    ossFileWrite,
    ossFileSize,
    ossFileCommit,
    ossFileClose,
    ossPathExists,
    ossIsDirectory,
    ossDirectoryCreate,
    ossDirectoryCreateBelow,
    ossBaseName,
    ossDirectoryName,
    sqloInstancePath,
    sqlo_localtime,
    isSharedLibInitSuccess,
    sqlpiGetDefaultAutoBackupPath,
    sqlaintp_api,
    SQLAllocHandle,
    SQLFreeHandle,
    SQLSetConnectAttr,
    SQLConnect,
    SQLDisconnect,
    SQLPrepare,
    SQLExecute,
    SQLExecDirect,
    SQLBindParameter,
    SQLBindFileToParam,
    SQLFetch,
    SQLGetData,
    SQLGetSQLCA,
    sqlastrt,
    sqlaaloc,
    sqlasetdata,
    sqlastls,
    sqlacall,
    sqlabndx,
    anyMemory,      /* sqlogmblkEx and ossMemAlloc */
    anyFile,        /* ossFileOpen to sqloInstancePath */
    anyCallLevel,   /* SQLAllocHandle to SQLGetData; SQLGetSQLCA only reports and is planned by its own name */
    anyEmbeddedSql, /* sqlastrt to sqlabndx */
    any,
};

enum class Duration { once, forEver };

/* Each service's own way to fail:
 *   memory                            null
 *   files                             OSS_ERROR, existence questions 0
 *   sqlo_localtime, sqlaintp_api      -1
 *   sqloInstancePath                  OSS_NOT_FOUND
 *   isSharedLibInitSuccess            0
 *   sqlpiGetDefaultAutoBackupPath     SQLCODE -902
 *   call level                        SQL_ERROR
 *   embedded SQL                      -1 and `sqlcode` in the area; sqlabndx answers `sqlcode` */
inline constexpr int32_t usualFailure = INT32_MIN;

/* ossFileRead, ossFileWrite: half of the bytes are moved; the read then says OSS_OK, the write OSS_NO_SPACE. */
inline constexpr int32_t shortTransfer = INT32_MIN + 1;

/* Plans that the `call`th call of the service from now on (1: the next one) fails, or that it and all later ones do.
 * `code` is the return code (for sqlpiGetDefaultAutoBackupPath the SQLCODE). Up to 16 plans may stand at once; the
 * first that applies counts. Returns false when there is no room for another.
 *
 * What a failing call leaves behind: nothing, with the outputs that the contract states for a failure. But a call that
 * gives back (SQLFreeHandle, SQLDisconnect, ossFileClose) gives back and then says that it failed; and a call of the
 * call level planned to answer SQL_SUCCESS_WITH_INFO is carried out. After a planned failure of the call level
 * SQLGetSQLCA answers for the handle with `sqlcode`, or 100 for SQL_NO_DATA, 0 for SQL_SUCCESS_WITH_INFO. */
bool failCall(Service service, uint64_t call, Duration duration = Duration::once, int32_t code = usualFailure,
              int32_t sqlcode = -901);

/* Calls, and calls that a plan made fail, since the last reset. For a group: the sum. */
uint64_t calls(Service service);
uint64_t failures(Service service);

/* Forgets plans and counters. */
void reset();

/* Resets at its beginning and its end. */
class Scope {
public:
    Scope() { reset(); }
    ~Scope() { reset(); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
};

/* The name of the function, or of the group. */
const char* serviceName(Service service);

}  // namespace faulty

#endif
