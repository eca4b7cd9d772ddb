#include "driverManager.h"

#include <dlfcn.h>

#include <string>

#include "hostError.h"

namespace kelhost {
namespace {

class Library {
public:
    Library() : handle_(::dlopen("libodbc.so.2", RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) fail();
    }

    template <class Function>
    void take(Function& function, const char* name) const {
        void* address = ::dlsym(handle_, name);
        if (address == nullptr) fail();
        function = reinterpret_cast<Function>(address);
    }

private:
    [[noreturn]] static void fail() {
        const char* reason = ::dlerror();
        throw HostError(-30081, "08001",
                        std::string("cannot load the ODBC driver manager (Debian package libodbc2): ") +
                            (reason == nullptr ? "" : reason));
    }

    void* handle_;  // for the rest of the process: drivers do not survive being unloaded
};

DriverManager load() {
    const Library library;
    DriverManager functions{};
    library.take(functions.allocHandle, "SQLAllocHandle");
    library.take(functions.freeHandle, "SQLFreeHandle");
    library.take(functions.setEnvAttr, "SQLSetEnvAttr");
    library.take(functions.setConnectAttr, "SQLSetConnectAttr");
    library.take(functions.driverConnect, "SQLDriverConnect");
    library.take(functions.disconnect, "SQLDisconnect");
    library.take(functions.endTran, "SQLEndTran");
    library.take(functions.getInfo, "SQLGetInfo");
    library.take(functions.prepare, "SQLPrepare");
    library.take(functions.execute, "SQLExecute");
    library.take(functions.execDirect, "SQLExecDirect");
    library.take(functions.bindParameter, "SQLBindParameter");
    library.take(functions.fetch, "SQLFetch");
    library.take(functions.getData, "SQLGetData");
    library.take(functions.numResultCols, "SQLNumResultCols");
    library.take(functions.describeCol, "SQLDescribeCol");
    library.take(functions.rowCount, "SQLRowCount");
    library.take(functions.freeStmt, "SQLFreeStmt");
    library.take(functions.cancel, "SQLCancel");
    library.take(functions.getDiagRec, "SQLGetDiagRec");
    return functions;
}

}  // namespace

const DriverManager& driverManager() {
    static const DriverManager functions = load();
    return functions;
}

}  // namespace kelhost
