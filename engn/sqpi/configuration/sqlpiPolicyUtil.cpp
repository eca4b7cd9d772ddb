/* What the configuration procedures make sure of before they touch the policy table, and how they report an error. */
#include "configuration/sqlpiPolicyUtil.h"

#include <algorithm>
#include <cstring>

#include "base/sqlpiCliHandles.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "configuration/sqlpiPolicyConfigSql.h"
#include "embeddedSql.h"
#include "files.h"
#include "logs.h"
#include "messages.h"

namespace {

constexpr size_t mostTokens = 9;        // a message text names no more
constexpr int32_t cliFailure = -99999;  // the call level failed and has nothing to say
constexpr int32_t inputOutputFailure = -902;
constexpr int32_t boundWithWarnings = 25;
constexpr int32_t logFull = -964;

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

bool isRepairedByBinding(int32_t sqlcode) noexcept {
    constexpr int32_t tokenMismatch = -818;
    constexpr int32_t packageNotFound = -805;
    constexpr int32_t notAuthorised = -551;
    return sqlcode == tokenMismatch || sqlcode == packageNotFound || sqlcode == notAuthorised;
}

}  // namespace

void sqlpiPrepSqlca(sqlca& ca, int32_t sqlcode, const char* /*text*/,
                    std::initializer_list<std::string_view> tokens) noexcept {
    std::memset(ca.sqlstate, ' ', sizeof ca.sqlstate);
    sqlageToken list[mostTokens];
    const size_t count = std::min(tokens.size(), mostTokens);
    std::transform(tokens.begin(), tokens.begin() + count, list, [](std::string_view token) {
        return sqlageToken{token.data(), token.size()};
    });
    sqlage_prepare_sqlca(sqlcode, count, list, &ca);
}

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

int32_t sqlpiCheckPolicyPkgBind(sqlca& ca) noexcept {
    constexpr const char* function = "sqlpiCheckPolicyPkgBind";
    sqlpiFunctionTrace trace(function);
    const int32_t probed = sqlpiRunPolicyProbe(ca);
    if (probed == 0) {
        pdLog(PD_INFO, function, 10, "Bind not required ");
        return trace.exit(0);
    }
    trace.error(10, probed, ca);
    if (!isRepairedByBinding(probed)) return trace.exit(probed);

    pdLog(PD_WARNING, function, 20, "Bind required,trying to bind ");
    ca.sqlcode = 0;
    const int32_t bound = sqlpiBindPolicyPkg("kelpolicy.bnd", ca);
    if (bound != 0 && bound != boundWithWarnings) {
        pdLogPrintf(PD_ERROR, function, 30, "Bind required,Bind Failedrc = %d ", bound);
        return trace.exit(bound);
    }
    pdLog(PD_INFO, function, 30, "Bind required. Bind compeleted with success");
    ca.sqlcode = 0;
    return trace.exit(0);
}

int32_t sqlpiBindPolicyPkg(const char* fileName, sqlca& ca) noexcept {
    sqlpiFunctionTrace trace("sqlpiBindPolicyPkg");
    char path[OSS_PATH_SIZE];
    const bool located = sqloInstancePath(path, sizeof path) == OSS_OK;
    auto builder = sqlpiTextBuilder::continueIn(path, sizeof path);
    builder.append("/bnd/").append(fileName);
    if (!located || builder.wasCut()) {
        sqlpiPrepSqlca(ca, inputOutputFailure, nullptr, {fileName});
        trace.error(10, inputOutputFailure, ca);
        return trace.exit(inputOutputFailure);
    }
    constexpr sqloptValue grantToAll = {SQLA_BIND_GRANT, 1};
    const sqloptList options = {1, &grantToAll};
    const auto bind = [&] { return sqlabndx(path, nullptr, &options, &ca); };
    int32_t status = bind();
    if (status != 0 && status != boundWithWarnings && status != logFull) {
        trace.error(20, status, ca);
        status = bind();
    }
    return trace.exit(status);
}
