#include "configuration/sqlpiPolicyPackage.h"

#include "base/sqlpiReport.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "configuration/sqlpiPolicyConfigSql.h"
#include "embeddedSql.h"
#include "files.h"
#include "logs.h"

namespace {

constexpr int32_t inputOutputFailure = -902;
constexpr int32_t boundWithWarnings = 25;
constexpr int32_t logFull = -964;

bool isRepairedByBinding(int32_t sqlcode) noexcept {
    constexpr int32_t tokenMismatch = -818;
    constexpr int32_t packageNotFound = -805;
    constexpr int32_t notAuthorised = -551;
    return sqlcode == tokenMismatch || sqlcode == packageNotFound || sqlcode == notAuthorised;
}

}  // namespace

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
