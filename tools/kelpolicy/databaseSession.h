/* What a command works in: the instance and, when it reads the policy table, the engine context. */
#ifndef KELPOLICY_DATABASE_SESSION_H
#define KELPOLICY_DATABASE_SESSION_H

#include <functional>
#include <optional>
#include <string>

#include "commandLine.h"
#include "engineContext.h"
#include "hostLogs.h"
#include "instance.h"

namespace kelpolicy {

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

/* Instance, logs, database session and policy table, bound to the calling thread; what is missing is made. All that a
 * command does is one unit of work: it stays when `commit` was called, else it is rolled back. */
class DatabaseSession {
public:
    /* Throws HostError or Failure. */
    DatabaseSession(const GlobalOptions& options, Output& output);

    const Made& made() const noexcept { return made_; }
    const kelhost::Instance& instance() const noexcept { return instance_; }
    std::string databaseName() const { return context_->databaseName(); }

    void commit() { context_->commit(); }

private:
    Made made_;
    kelhost::Instance instance_;
    std::optional<kelhost::EngineContext> context_;
    std::optional<kelhost::EngineContext::Scope> bound_;
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
