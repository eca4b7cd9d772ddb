#include "database/databaseSession.h"

#include <fmt/format.h>

#include <filesystem>

#include "configuration/sqlpiPolicyPackage.h"
#include "database/failureWitness.h"
#include "database/sqlStatement.h"
#include "hostError.h"
#include "logs.h"

namespace kelpolicy {
namespace {

namespace fs = std::filesystem;

bool exists(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

bool isEmpty(const fs::path& directory) {
    std::error_code failure;
    return fs::is_empty(directory, failure) && !failure;
}

void startTrace(const GlobalOptions& options, const kelhost::Instance& instance, Output& output) {
    if (options.traceFlags == 0) return;
    kelhost::setTraceFlags(options.traceFlags);
    output.note(fmt::format("the trace is written to {}/{}", instance.logFiles(), kelhost::traceFile));
}

/* An answer needs no logs, only what was asked for: a trace. */
void openLogs(const GlobalOptions& options, const kelhost::Instance& instance, Purpose purpose) {
    try {
        kelhost::openLogs(instance.logFiles());
    } catch (const kelhost::HostError&) {
        if (purpose == Purpose::change || options.traceFlags != 0) throw;
    }
}

bool verifyPolicyTable(SqlStatement& statement) {
    return statement.tryExecute("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','V','','')");
}

void requirePolicyTable(const std::string& databaseName) {
    SqlStatement statement("cannot use the policy table SYSTOOLS.POLICY");
    if (verifyPolicyTable(statement)) return;
    Failure failure = statement.failure();
    if (failure.sqlstate != unknownNameState) throw failure;
    throw Failure(fmt::format("there is no policy table SYSTOOLS.POLICY in the database \"{}\"", databaseName),
                  "\"kelpolicy init\", with the same --instance and --database, makes it.", unknownNameCode,
                  unknownNameState);
}

/* Returns whether the policy table had to be made. Another program may make it meanwhile. */
bool ensurePolicyTable() {
    SqlStatement statement("cannot make the policy table SYSTOOLS.POLICY");
    const auto verify = [&statement] { return verifyPolicyTable(statement); };
    if (verify()) return false;
    if (statement.tryExecute("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','C','','')")) return true;
    const Failure failure = statement.failure();
    if (verify()) return false;
    throw failure;
}

}  // namespace

void EngineRemarks::tell(Output& output, const std::string& introduction, const RemarkFilter& isOfInterest) const {
    for (const kelhost::LogRecord& record : capture_.records(kelhost::LogKind::diagnostic))
        if (record.importance <= PD_WARNING && isOfInterest(record))
            output.note(fmt::format("{}: {}", introduction, record.text));
}

DatabaseSession::DatabaseSession(const GlobalOptions& options, Output& output, Purpose purpose)
    : made_{!exists(instanceDirectory(options)), false, false},
      instance_(purpose == Purpose::change ? kelhost::Instance::create(instanceDirectory(options))
                                           : kelhost::Instance::find(instanceDirectory(options))) {
    openLogs(options, instance_, purpose);
    startTrace(options, instance_, output);
    made_.database = options.database.empty() && isEmpty(instance_.databaseFiles());
    context_.emplace(instance_, kelhost::DatabaseOptions{.connection = options.database,
                                                         .access = purpose == Purpose::change ? kelhost::Access::change
                                                                                              : kelhost::Access::read});
    bound_.emplace(*context_);
    if (purpose == Purpose::answer) {
        requirePolicyTable(databaseName());
        return;
    }
    made_.policyTable = ensurePolicyTable();
    context_->commit();
    bindPackage();
}

/* Else the first procedure would do it in the unit of work of its caller, and keep all others waiting. */
void DatabaseSession::bindPackage() {
    const FailureWitness witness;
    sqlca ca = {};
    if (sqlpiCheckPolicyPkgBind(ca) == 0) {
        context_->commit();
    } else {
        bindFailure_ = witness.failure("cannot bind the package of the procedures", ca);
        context_->rollback();
    }
}

DocumentSession::DocumentSession(const GlobalOptions& options, Output& output) {
    try {
        instance_ = kelhost::Instance::find(instanceDirectory(options));
    } catch (const std::runtime_error&) {
        if (options.traceFlags != 0) throw;
        return;  // a document can be looked at without an instance
    }
    bound_.emplace(kelhost::ThreadScope{&*instance_, nullptr});
    if (options.traceFlags == 0) return;
    kelhost::openLogs(instance_->logFiles());
    startTrace(options, *instance_, output);
}

}  // namespace kelpolicy
