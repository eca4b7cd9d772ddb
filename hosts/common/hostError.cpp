#include "hostError.h"

#include <cstring>
#include <system_error>

#include "messages.h"

namespace kelhost {

HostError systemError(const std::string& what, int errorNumber) {
    return {-902, "58030", what + ": " + std::generic_category().message(errorNumber)};
}

void fillSqlca(sqlca& ca, int32_t sqlcode, const char* sqlstate, const std::string& tokens) noexcept {
    sqloinca(&ca);
    const sqlageToken token = {tokens.data(), tokens.size()};
    sqlage_prepare_sqlca(sqlcode, tokens.empty() ? 0 : 1, &token, &ca);
    std::memcpy(ca.sqlstate, sqlstate, SQLCA_STATE_LENGTH);
}

}  // namespace kelhost
