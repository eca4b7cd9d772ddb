#include "handles.h"

#include <algorithm>

#include "callLevelCounts.h"
#include "statementWork.h"

namespace kelhost {

// Nothing here is destroyed before the process ends: a handle may be asked about at any time.
constinit HandleTable<Environment, 1> environments;
constinit HandleTable<Connection, 2> connections;
constinit HandleTable<Statement, 3> statements;

void freeStatement(SQLHSTMT handle, Statement& statement) noexcept {
    if (statement.session != nullptr) std::erase(statement.session->statements, handle);
    endStatement(statement);
    statements.close(handle);
}

void detachHandles(Session& session) noexcept {
    while (!session.statements.empty()) {
        const SQLHSTMT handle = session.statements.back();
        freeStatement(handle, *statements.find(handle));
    }
    for (const SQLHDBC handle : session.connections) connections.find(handle)->session = nullptr;
    session.connections.clear();
}

HandleCounts openHandles() noexcept {
    return {environments.openCount(), connections.openCount(), statements.openCount()};
}

}  // namespace kelhost
