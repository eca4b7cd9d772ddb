#include "databaseSession.h"

#include <fmt/format.h>

#include <filesystem>

#include "hostError.h"
#include "logs.h"
#include "sqlStatement.h"

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

/* Returns whether the policy table had to be made. Another program may make it meanwhile. */
bool ensurePolicyTable() {
    SqlStatement statement("cannot make the policy table SYSTOOLS.POLICY");
    const auto verify = [&statement] {
        return statement.tryExecute("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','V','','')");
    };
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

DatabaseSession::DatabaseSession(const GlobalOptions& options, Output& output)
    : made_{!exists(instanceDirectory(options)), false, false},
      instance_(kelhost::Instance::create(instanceDirectory(options))) {
    kelhost::openLogs(instance_.logFiles());
    startTrace(options, instance_, output);
    made_.database = options.database.empty() && isEmpty(instance_.databaseFiles());
    context_.emplace(instance_, kelhost::DatabaseOptions{.connection = options.database});
    bound_.emplace(*context_);
    made_.policyTable = ensurePolicyTable();
    context_->commit();
}

DocumentSession::DocumentSession(const GlobalOptions& options, Output& output) {
    try {
        const std::string directory = instanceDirectory(options);
        instance_ = options.traceFlags != 0 ? kelhost::Instance::create(directory) : kelhost::Instance::open(directory);
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
