/* The packages of static SQL in one session's database, and what of them is running. Internal.
 *
 * A bound package is a row of SYSTOOLS.PACKAGE: its bind file, who bound it, and whether all may run it. The statements
 * that run are those of that row. Where nothing may be written the session keeps what it binds for itself. Used by one
 * thread at a time; functions may throw what the standard library throws.
 */
#ifndef KELHOST_PACKAGES_H
#define KELHOST_PACKAGES_H

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "bindFile.h"
#include "embeddedSql.h"
#include "statementWork.h"

namespace kelhost {

/* Who calls, and for which statement. */
struct SectionId {
    std::string collection{};
    std::string package{};
    ConsistencyToken token{};
    uint32_t section = 0;

    friend auto operator<=>(const SectionId&, const SectionId&) = default;  // NOLINT(modernize-use-nullptr)
};

using Variables = std::vector<sqlaVariable>;

/* REQUIRES: the text lives longer. */
inline sqlaVariable textValue(const std::string& text) noexcept {
    return {SQL_VARCHAR, static_cast<uint32_t>(text.size()), const_cast<char*>(text.data()), nullptr, nullptr};
}

class Packages {
public:
    explicit Packages(Session& session) noexcept : session_(session) {}
    Packages(const Packages&) = delete;
    Packages& operator=(const Packages&) = delete;

    /* The calls of sqlacall. */
    Outcome execute(const SectionId& id, const Variables& inputs);
    Outcome prepare(const SectionId& id, const std::string& text);
    Outcome open(const SectionId& id, const Variables& inputs);
    Outcome fetch(const SectionId& id, const Variables& outputs);
    Outcome close(const SectionId& id);

    /* Puts the package in place of one of that name. After a failure `section` (from 1) is the one that cannot be
     * prepared, or 0. */
    Outcome bind(const BindFile& file, bool grantToAll, size_t& section);

    /* Closes what is open and forgets what is prepared. */
    void endUnit() noexcept { running_.clear(); }

private:
    struct Running {
        explicit Running(Session& session) noexcept : statement(session) {}

        OwnStatement statement;
        unsigned columns = 0;   /* of its rows; 0: it has none */
        bool isDynamic = false; /* prepared from a text of the caller's */
    };

    Outcome authorise(const SectionId& id);
    /* `section` stays null when it is not found. */
    Outcome findSection(const SectionId& id, const BindSection*& section);
    Outcome prepareText(Running& running, std::string_view text);
    Outcome prepareWhole(Running& running, std::string_view text);
    Outcome prepareCursor(const SectionId& id, Running& running);
    Outcome run(Running& running, const Variables& inputs);
    Outcome readUser(std::string& user);
    Outcome runOnce(const std::string& text, const Variables& inputs);
    Outcome check(const BindSection& section);
    Outcome findTable();
    Outcome createTable();
    Outcome store(const BindFile& file, bool grantToAll, const std::string& user);
    Outcome keep(const BindFile& file);

    Session& session_;
    BindFile known_{};              /* the package that was last read */
    ConsistencyToken knownToken_{}; /* its token */
    bool isKept_ = false;           /* it was bound by this session, which could not store it */
    std::map<SectionId, Running> running_{};
};

}  // namespace kelhost

#endif
