#include "engineContext.h"

#include "handles.h"
#include "session.h"

namespace kelhost {
namespace {

constinit thread_local EngineContext* contextOfThread = nullptr;

}  // namespace

EngineContext::EngineContext(Instance instance, std::unique_ptr<Database> database)
    : instance_(std::move(instance)), session_(std::make_unique<Session>(instance_, std::move(database))) {}

EngineContext::~EngineContext() {
    detachHandles(*session_);
}

void EngineContext::commit() {
    session_->commit();
}

void EngineContext::rollback() {
    session_->rollback();
}

void EngineContext::administer(const std::string& statement) {
    session_->administer(statement);
}

const std::string& EngineContext::databaseName() const noexcept {
    return session_->database().name();
}

const std::string& EngineContext::policyFile() const noexcept {
    return session_->database().policyFile();
}

std::vector<SQLHSTMT> EngineContext::openResults() const {
    std::vector<SQLHSTMT> results;
    for (const SQLHSTMT handle : session_->statements) {
        const Statement* statement = statements.find(handle);
        if (statement->openResult && connections.find(statement->connection) == nullptr) results.push_back(handle);
    }
    return results;
}

EngineContext* EngineContext::current() noexcept {
    return contextOfThread;
}

EngineContext::Scope::Scope(EngineContext& context) noexcept
    : previous_(contextOfThread), bound_({&context.instance(), &context.databaseName()}) {
    contextOfThread = &context;
}

EngineContext::Scope::~Scope() {
    contextOfThread = previous_;
}

}  // namespace kelhost
