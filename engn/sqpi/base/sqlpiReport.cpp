#include "base/sqlpiReport.h"

#include <algorithm>
#include <cstring>

#include "messages.h"

void sqlpiPrepSqlca(sqlca& ca, int32_t sqlcode, const char* /*text*/,
                    std::initializer_list<std::string_view> tokens) noexcept {
    constexpr size_t mostTokens = 9;  // a message text names no more
    std::memset(ca.sqlstate, ' ', sizeof ca.sqlstate);
    sqlageToken list[mostTokens];
    const size_t count = std::min(tokens.size(), mostTokens);
    std::transform(tokens.begin(), tokens.begin() + count, list, [](std::string_view token) {
        return sqlageToken{token.data(), token.size()};
    });
    sqlage_prepare_sqlca(sqlcode, count, list, &ca);
}
