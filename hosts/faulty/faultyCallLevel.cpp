// The call level. A planned failure is also what SQLGetSQLCA answers for its handle, until the next call on it.
#include <map>
#include <mutex>

#include "callLevel.h"
#include "faultPlan.h"
#include "hostError.h"

using faulty::countCall;
using faulty::Fault;
using faulty::Service;

namespace {

struct Report {
    int32_t sqlcode;
    const char* sqlstate;
};

struct Reports {
    std::mutex guard;
    std::map<SQLHANDLE, Report> ofHandles;
};

// Never destroyed: threads may still call while the process ends.
Reports& reports() {
    static auto* all = new Reports;
    return *all;
}

int32_t codeOf(const Fault& fault) noexcept {
    return fault.code == faulty::usualFailure ? SQL_ERROR : fault.code;
}

Report reportOf(const Fault& fault) noexcept {
    switch (codeOf(fault)) {
        case SQL_SUCCESS_WITH_INFO:
            return {0, "01000"};
        case SQL_NO_DATA:
            return {100, "02000"};
        default:
            return {fault.sqlcode, "58004"};
    }
}

void keepReport(SQLHANDLE handle, const std::optional<Fault>& fault) {
    const std::lock_guard lock(reports().guard);
    reports().ofHandles.erase(handle);
    if (fault && handle != SQL_NULL_HANDLE) reports().ofHandles.emplace(handle, reportOf(*fault));
}

bool isCarriedOut(const Fault& fault) noexcept {
    return codeOf(fault) == SQL_SUCCESS_WITH_INFO;
}

template <class Real>
SQLRETURN wrapCall(Service service, SQLHANDLE handle, Real real, bool givesBack = false) {
    const std::optional<Fault> fault = countCall(service);
    SQLRETURN result = SQL_SUCCESS;
    if (!fault || givesBack || isCarriedOut(*fault)) result = real();
    keepReport(handle, fault && (givesBack || !isCarriedOut(*fault) || result == SQL_SUCCESS) ? fault : std::nullopt);
    if (!fault) return result;
    if (isCarriedOut(*fault) && result != SQL_SUCCESS) return result;
    return static_cast<SQLRETURN>(codeOf(*fault));
}

}  // namespace

FAULTY_WRAP(SQLRETURN, SQLAllocHandle, (SQLSMALLINT handleType, SQLHANDLE input, SQLHANDLE* output)) {
    *output = SQL_NULL_HANDLE;
    return wrapCall(Service::SQLAllocHandle, input, [&] { return __real_SQLAllocHandle(handleType, input, output); });
}

FAULTY_WRAP(SQLRETURN, SQLFreeHandle, (SQLSMALLINT handleType, SQLHANDLE handle)) {
    return wrapCall(
        Service::SQLFreeHandle, handle, [&] { return __real_SQLFreeHandle(handleType, handle); }, true);
}

FAULTY_WRAP(SQLRETURN, SQLSetConnectAttr, (SQLHDBC dbc, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length)) {
    return wrapCall(Service::SQLSetConnectAttr, dbc,
                    [&] { return __real_SQLSetConnectAttr(dbc, attribute, value, length); });
}

FAULTY_WRAP(SQLRETURN, SQLConnect,
            (SQLHDBC dbc, SQLCHAR* server, SQLSMALLINT serverLength, SQLCHAR* user, SQLSMALLINT userLength,
             SQLCHAR* password, SQLSMALLINT passwordLength)) {
    return wrapCall(Service::SQLConnect, dbc, [&] {
        return __real_SQLConnect(dbc, server, serverLength, user, userLength, password, passwordLength);
    });
}

FAULTY_WRAP(SQLRETURN, SQLDisconnect, (SQLHDBC dbc)) {
    return wrapCall(
        Service::SQLDisconnect, dbc, [&] { return __real_SQLDisconnect(dbc); }, true);
}

FAULTY_WRAP(SQLRETURN, SQLPrepare, (SQLHSTMT stmt, SQLCHAR* text, SQLINTEGER length)) {
    return wrapCall(Service::SQLPrepare, stmt, [&] { return __real_SQLPrepare(stmt, text, length); });
}

FAULTY_WRAP(SQLRETURN, SQLExecute, (SQLHSTMT stmt)) {
    return wrapCall(Service::SQLExecute, stmt, [&] { return __real_SQLExecute(stmt); });
}

FAULTY_WRAP(SQLRETURN, SQLExecDirect, (SQLHSTMT stmt, SQLCHAR* text, SQLINTEGER length)) {
    return wrapCall(Service::SQLExecDirect, stmt, [&] { return __real_SQLExecDirect(stmt, text, length); });
}

FAULTY_WRAP(SQLRETURN, SQLBindParameter,
            (SQLHSTMT stmt, SQLUSMALLINT parameter, SQLSMALLINT direction, SQLSMALLINT cType, SQLSMALLINT sqlType,
             SQLULEN columnSize, SQLSMALLINT decimals, SQLPOINTER value, SQLLEN size, SQLLEN* indicator)) {
    return wrapCall(Service::SQLBindParameter, stmt, [&] {
        return __real_SQLBindParameter(stmt, parameter, direction, cType, sqlType, columnSize, decimals, value, size,
                                       indicator);
    });
}

FAULTY_WRAP(SQLRETURN, SQLBindFileToParam,
            (SQLHSTMT stmt, SQLUSMALLINT parameter, SQLSMALLINT sqlType, SQLCHAR* fileName, SQLSMALLINT* fileNameLength,
             SQLUINTEGER* fileOptions, SQLSMALLINT maxFileNameLength, SQLINTEGER* indicator)) {
    return wrapCall(Service::SQLBindFileToParam, stmt, [&] {
        return __real_SQLBindFileToParam(stmt, parameter, sqlType, fileName, fileNameLength, fileOptions,
                                         maxFileNameLength, indicator);
    });
}

FAULTY_WRAP(SQLRETURN, SQLFetch, (SQLHSTMT stmt)) {
    return wrapCall(Service::SQLFetch, stmt, [&] { return __real_SQLFetch(stmt); });
}

FAULTY_WRAP(SQLRETURN, SQLGetData,
            (SQLHSTMT stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value, SQLLEN size, SQLLEN* indicator)) {
    return wrapCall(Service::SQLGetData, stmt,
                    [&] { return __real_SQLGetData(stmt, column, cType, value, size, indicator); });
}

FAULTY_WRAP(SQLRETURN, SQLGetSQLCA, (SQLHENV env, SQLHDBC dbc, SQLHSTMT stmt, struct sqlca* ca)) {
    const std::optional<Fault> fault = countCall(Service::SQLGetSQLCA);
    if (fault) {
        kelhost::fillSqlca(*ca, fault->sqlcode, "58004", "");
        return static_cast<SQLRETURN>(codeOf(*fault));
    }
    SQLHANDLE handle = stmt != SQL_NULL_HSTMT ? stmt : dbc != SQL_NULL_HDBC ? dbc : env;
    {
        const std::lock_guard lock(reports().guard);
        const auto found = reports().ofHandles.find(handle);
        if (found != reports().ofHandles.end()) {
            kelhost::fillSqlca(*ca, found->second.sqlcode, found->second.sqlstate, "");
            return SQL_SUCCESS;
        }
    }
    return __real_SQLGetSQLCA(env, dbc, stmt, ca);
}
