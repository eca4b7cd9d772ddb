/* What a command works in: the instance and, when it reads the policy table, the engine context. */
#ifndef KELPOLICY_DATABASE_SESSION_H
#define KELPOLICY_DATABASE_SESSION_H

#include <functional>
#include <optional>
#include <string>

#include "console/failure.h"
#include "console/output.h"
#include "database/globalOptions.h"
#include "engineContext.h"
#include "hostLogs.h"
#include "instance.h"

namespace kelpolicy {

/* What a command is for: one that answers makes nothing and needs no right to write. */
enum class Purpose { answer, change };

/* What was not there before. */
struct Made {
    bool instance = false;
    bool database = false;
    bool policyTable = false;
};

using RemarkFilter = std::function<bool(const kelhost::LogRecord&)>;
inline bool everyRemark(const kelhost::LogRecord&) {
    return true;
}

/* Tells the user what the library wrote to the diagnostic log meanwhile, for he would not look there. */
class EngineRemarks {
public:
    /* "INTRODUCTION: text" for each. */
    void tell(Output& output, const std::string& introduction, const RemarkFilter& isOfInterest = everyRemark) const;

private:
    kelhost::LogCapture capture_;
};

/* Instance, logs, database session and policy table, bound to the calling thread. For a change, what of them is missing
 * is made, and the package of the procedures bound, each in a unit of work of its own. All that the command itself does
 * is one unit of work: it stays when `commit` was called, else it is rolled back. */
class DatabaseSession {
public:
    /* Throws HostError or Failure; to answer, also when something is missing. */
    DatabaseSession(const GlobalOptions& options, Output& output, Purpose purpose);

    const Made& made() const noexcept { return made_; }

    /* Why the package could not be bound. The procedures that need it say so themselves. */
    const std::optional<Failure>& bindFailure() const noexcept { return bindFailure_; }

    const kelhost::Instance& instance() const noexcept { return instance_; }
    std::string databaseName() const { return context_->databaseName(); }

    void commit() { context_->commit(); }

private:
    void bindPackage();

    Made made_;
    kelhost::Instance instance_;
    std::optional<kelhost::EngineContext> context_;
    std::optional<kelhost::EngineContext::Scope> bound_;
    std::optional<Failure> bindFailure_{};
};

/* For a command that reads a document in place of the table: the instance where there is one, and no database, so that
 * the services answer with the engine's defaults. */
class DocumentSession {
public:
    DocumentSession(const GlobalOptions& options, Output& output);

private:
    std::optional<kelhost::Instance> instance_;
    std::optional<kelhost::BoundThreadScope> bound_;
};

}  // namespace kelpolicy

#endif
