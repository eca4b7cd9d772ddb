#include "configuration/changeReport.h"

#include <fmt/format.h>

#include <array>
#include <string_view>

#include "configuration/policyKinds.h"
#include "logs.h"
#include "sqlpiFormat.h"

namespace kelpolicy {

std::string describeRow(const RowKey& key) {
    const PolicyKind* kind = findPolicyKind(key);
    std::array<char, 4095> text{};
    const bool isDescribed = kind != nullptr && sqpiGetPolicyFormatString(text.data(), int32_t{text.size()},
                                                                          kind->key.name) == SQLPI_FORMAT_OK;
    return isDescribed ? text.data() : "";
}

void reportChange(const char* command, const RowKey& key, const std::string& database, const RowChange& change) {
    const std::string text = fmt::format("{1}{0}{2}{0}{3}{0}{4}{0}{5}", std::string_view("\xFF", 1), key.name, database,
                                         change.before, change.after, change.action);
    sqlt_logadmin(SQLT_ADMIN_POLICY_CHANGED, PD_INFO, command, 10, text.data(), text.size());
}

}  // namespace kelpolicy
