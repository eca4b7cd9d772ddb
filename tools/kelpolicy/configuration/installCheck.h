/* Whether the policy install procedure stores what it is given. */
#ifndef KELPOLICY_INSTALL_CHECK_H
#define KELPOLICY_INSTALL_CHECK_H

#include <optional>
#include <string>

#include "configuration/policyKinds.h"
#include "configuration/procedures.h"
#include "database/policyRow.h"

namespace kelpolicy {

/* The procedure stores anything. While the reorg policy has a reclaim size or a number of pseudo-empty pages it also
 * follows every update, of whatever row, with one that puts a reorg policy of its own making into that row, to keep the
 * two. What it makes may be no document of the row, or say less than the one given. */
class InstallCheck {
public:
    /* REQUIRES: an engine context on the thread; the install has not begun. */
    InstallCheck(InstallAction action, RowKey key);

    /* Throws Failure when the document must not be stored: the engine would read nothing of the row's policy from it,
     * or would put another one in its place. `name` names the document. */
    void requireFit(const std::string& document, const std::string& name) const;

    /* The same when it is done: `given` is the document, where it is known, `stored` what stands in the row. */
    void requireKept(const std::optional<std::string>& given, const std::string& stored) const;

    /* Why what is stored is not the document given. */
    std::string whyReplaced(const std::string& given) const;

private:
    bool isReorg() const { return kind_ == &reorgKind; }
    bool isFollowed(const std::string& given) const;
    std::optional<std::string> madeByTheEngine(const std::string& given) const;
    void requireSame(const std::string& given, const std::string& stored) const;
    Failure refusal(const std::string& why, const std::string& hint) const;

    InstallAction action_;
    RowKey key_;
    const PolicyKind* kind_;
    uint64_t reclaim_ = 0; /* of the reorg policy in force */
    uint64_t pages_ = 0;
};

}  // namespace kelpolicy

#endif
