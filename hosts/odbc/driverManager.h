/* The real call-level interface: the driver manager's functions. Internal.
 *
 * This host defines the same names itself, so it takes the driver manager's by address from a library that is loaded
 * for this purpose only and adds nothing to the process's symbols. */
#ifndef KELHOST_DRIVER_MANAGER_H
#define KELHOST_DRIVER_MANAGER_H

#include <sql.h>
#include <sqlext.h>

namespace kelhost {

struct DriverManager {
    decltype(&SQLAllocHandle) allocHandle;
    decltype(&SQLFreeHandle) freeHandle;
    decltype(&SQLSetEnvAttr) setEnvAttr;
    decltype(&SQLSetConnectAttr) setConnectAttr;
    decltype(&SQLDriverConnect) driverConnect;
    decltype(&SQLDisconnect) disconnect;
    decltype(&SQLEndTran) endTran;
    decltype(&SQLGetInfo) getInfo;
    decltype(&SQLPrepare) prepare;
    decltype(&SQLExecute) execute;
    decltype(&SQLExecDirect) execDirect;
    decltype(&SQLBindParameter) bindParameter;
    decltype(&SQLFetch) fetch;
    decltype(&SQLGetData) getData;
    decltype(&SQLNumResultCols) numResultCols;
    decltype(&SQLDescribeCol) describeCol;
    decltype(&SQLRowCount) rowCount;
    decltype(&SQLFreeStmt) freeStmt;
    decltype(&SQLCancel) cancel;
    decltype(&SQLGetDiagRec) getDiagRec;
};

/* The interface wants writable texts and leaves them alone. */
inline SQLCHAR* sqlChars(const char* text) noexcept {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text));
}

/* Throws HostError when the driver manager is not installed. */
const DriverManager& driverManager();

}  // namespace kelhost

#endif
