#include "keptStatements.h"

#include <algorithm>

namespace kelhost {

bool KeptStatements::take(std::string_view text, KeptStatement& statement) noexcept {
    const auto found =
        std::find_if(kept_.begin(), kept_.end(), [text](const KeptStatement& kept) { return kept.text == text; });
    if (found == kept_.end()) return false;
    statement = std::move(*found);
    kept_.erase(found);
    return true;
}

void KeptStatements::giveBack(KeptStatement statement) noexcept {
    if (statement.text.empty() || statement.text.size() > longestText) return;
    if (kept_.size() == most) kept_.erase(kept_.begin());
    kept_.push_back(std::move(statement));  // room was reserved
}

}  // namespace kelhost
