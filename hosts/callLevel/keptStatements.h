/* Prepared statements that are not in use and may be used again for exactly the same text. Internal. */
#ifndef KELHOST_KEPT_STATEMENTS_H
#define KELHOST_KEPT_STATEMENTS_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database.h"
#include "sqlText.h"

namespace kelhost {

/* `text` is what it is prepared for when it may be kept, else empty. */
struct KeptStatement {
    std::unique_ptr<PreparedStatement> prepared{};
    std::string text{};
    SqlKind kind = SqlKind::other;
    size_t parameters = 0;
};

class KeptStatements {
public:
    KeptStatements() { kept_.reserve(most); }
    KeptStatements(const KeptStatements&) = delete;
    KeptStatements& operator=(const KeptStatements&) = delete;

    /* The statement for exactly this text, where there is one. */
    bool take(std::string_view text, KeptStatement& statement) noexcept;

    /* Keeps one that carries a text, in place of the one that was longest unused; drops any other. */
    void giveBack(KeptStatement statement) noexcept;

    void clear() noexcept { kept_.clear(); }

private:
    static constexpr size_t most = 8;
    static constexpr size_t longestText = 2048;

    std::vector<KeptStatement> kept_{}; /* the one last used last */
};

}  // namespace kelhost

#endif
