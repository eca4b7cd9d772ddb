#include "services/sqlpiPolicyTable.h"

#include "base/sqlpiCliHandles.h"
#include "base/sqlpiTrace.h"
#include "logs.h"

namespace {

constexpr int32_t cliFailure = -99999;  // the call level failed and has nothing to say

/* One check of the policy table: its handles, released with it, and the outcome of the last step. */
class TableCheck {
public:
    TableCheck(const sqlpiFunctionTrace& trace, sqlca& ca) noexcept : trace_(trace), ca_(ca) {}

    bool connect() noexcept {
        return done(10, cli_.environment.allocate(SQL_NULL_HANDLE)) &&
               done(20, cli_.connection.allocate(cli_.environment.get())) &&
               done(30, SQLSetConnectAttr(cli_.connection.get(), SQL_ATTR_AUTOCOMMIT, SQL_AUTOCOMMIT_OFF, 0)) &&
               done(40, cli_.session.connect(cli_.connection.get())) &&
               done(50, cli_.statement.allocate(cli_.connection.get()));
    }

    bool verify() noexcept {
        return done(60, SQLPrepare(cli_.statement.get(), sqlpiCliText("call SYSINSTALLOBJECTS('POLICY','V','','') "),
                                   SQL_NTS)) &&
               done(70, SQLExecute(cli_.statement.get()));
    }

    void create() noexcept {
        if (done(80, create_.allocate(cli_.connection.get()), nullptr)) {
            done(90, SQLExecDirect(create_.get(), sqlpiCliText("call SYSINSTALLOBJECTS('POLICY','C','','') "), SQL_NTS),
                 create_.get());
        }
    }

private:
    bool done(uint32_t probe, SQLRETURN status) noexcept { return done(probe, status, cli_.statement.get()); }

    bool done(uint32_t probe, SQLRETURN status, SQLHANDLE statement) noexcept {
        cli_.takeSqlca(ca_, statement);
        if (SQL_SUCCEEDED(status)) return true;
        if (ca_.sqlcode == 0) ca_.sqlcode = cliFailure;  // a step that failed is never a usable table
        trace_.error(probe, status, ca_);
        return false;
    }

    const sqlpiFunctionTrace& trace_;
    sqlca& ca_;
    sqlpiCliHandles cli_;
    sqlpiCliHandle<SQL_HANDLE_STMT> create_;
};

}  // namespace

int32_t sqlpiCheckPolicyTable(bool create, sqlca& ca) noexcept {
    constexpr const char* function = "sqlpiCheckPolicyTable";
    sqlpiFunctionTrace trace(function);
    TableCheck check(trace, ca);
    if (!check.connect()) return trace.exit(ca.sqlcode);
    if (check.verify()) {
        pdLog(PD_INFO, function, 70, "Poliy Table exist ");
    } else {
        pdLog(PD_WARNING, function, 70, "Poliy Table does not exist ");
        if (create) check.create();
    }
    return trace.exit(ca.sqlcode);
}
