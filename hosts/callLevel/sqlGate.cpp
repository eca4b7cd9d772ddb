#include "sqlGate.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <vector>

#include "sqlTokens.h"

namespace kelhost {
namespace {

using Words = std::span<const char* const>;

constexpr std::array statements = {"SELECT", "VALUES", "WITH", "INSERT", "UPDATE", "DELETE", "MERGE", "REPLACE"};

constexpr std::array queries = {"SELECT", "VALUES", "TABLE"};

// What may stand before a parenthesis and calls nothing.
constexpr std::array beforeParenthesis = {
    "ALL",      "AND",    "ANY",       "ARRAY",  "AS",     "BETWEEN",   "BY",     "CASE",   "CONFLICT",
    "DISTINCT", "ELSE",   "EXCEPT",    "EXISTS", "FILTER", "FROM",      "GLOB",   "HAVING", "ILIKE",
    "IN",       "INSERT", "INTERSECT", "IS",     "JOIN",   "LATERAL",   "LIKE",   "LIMIT",  "MATERIALIZED",
    "NOT",      "OFFSET", "ON",        "OR",     "OVER",   "RETURNING", "SELECT", "SET",    "SOME",
    "THEN",     "UNION",  "USING",     "VALUES", "WHEN",   "WHERE"};

// Behind these a text in quotes is the name of a table to databases that are generous.
constexpr std::array beforeTable = {"FROM", "JOIN", "INTO", "UPDATE", "ABORT", "FAIL", "IGNORE", "REPLACE", "ROLLBACK"};

bool isOneOf(std::string_view word, Words words) noexcept {
    return std::any_of(words.begin(), words.end(), [word](const char* known) { return isWord(word, known); });
}

bool startsWithOneOf(std::string_view name, Words beginnings) noexcept {
    return std::any_of(beginnings.begin(), beginnings.end(), [name](std::string_view beginning) {
        return isWord(name.substr(0, beginning.size()), beginning);
    });
}

std::string_view nameIn(std::string_view token) noexcept {
    return isQuoted(token) ? token.substr(1, token.size() - 2) : token;
}

/* Follows the tokens of a statement. */
class Gate {
public:
    explicit Gate(const Dialect& dialect) : dialect_(dialect) {}

    /* A failure when the statement must not run, whatever follows. */
    Outcome see(std::string_view token) {
        if (token == "(") {
            if (isCall()) return failure("42501", "function " + quoted(previous_) + " may not be called here");
            asksQuery_.push_back(false);
        } else if (token == ")") {
            if (asksQuery_.size() > 1) asksQuery_.pop_back();
        } else if (isWordStart(token[0]) || isQuoted(token)) {
            if (isDatabasesOwn(token)) return failure("42501", quoted(token) + " is the database's own");
            if (isWord(token, "INTO") && asksQuery_.back())
                return failure("42601", "a query may not make a table here");
            qualified_ = previous_ == ".";
            introduced_ = isIntroduced() || (qualified_ && introduced_);
            if (isOneOf(token, queries)) asksQuery_.back() = true;
        }
        previous_ = token;
        return {};
    }

private:
    static std::string quoted(std::string_view token) { return '"' + std::string(nameIn(token)) + '"'; }

    /* A parenthesis behind the token before calls a function that is not listed, or perhaps one. */
    bool isCall() const noexcept {
        const bool word = !previous_.empty() && isWordStart(previous_[0]);
        if ((!word && !isQuoted(previous_)) || introduced_) return false;
        if (qualified_) return true;
        return !isOneOf(nameIn(previous_), dialect_.functions) && !(word && isOneOf(previous_, beforeParenthesis));
    }

    /* Behind these words, which no database takes for names, stands the name of a table, of a type or of a result. A
     * name in WITH is none of them: WITH may be a name itself, and who takes what follows it for a list of names can be
     * led to take a call for one. */
    bool isIntroduced() const noexcept { return isWord(previous_, "INTO") || isWord(previous_, "AS"); }

    bool isDatabasesOwn(std::string_view token) const noexcept {
        const bool text = token[0] == '\'';
        if (text && previous_ != "." && !isOneOf(previous_, beforeTable)) return false;
        return startsWithOneOf(nameIn(token), dialect_.ownNames);
    }

    const Dialect& dialect_;
    std::vector<bool> asksQuery_ = {false}; /* outside of all parentheses, and between those that are open */
    std::string_view previous_{};
    bool qualified_ = false;  /* the name before has another before it */
    bool introduced_ = false; /* the name before calls nothing */
};

}  // namespace

Outcome passGate(std::string_view text, const Dialect& dialect) {
    SqlTokens tokens(text, dialect.lexis);
    Gate gate(dialect);
    bool begun = false;
    while (tokens.next()) {
        const std::string_view token = tokens.token();
        if (token == ";") continue;
        if (!begun && !isWord(token, "EXPLAIN")) {
            if (!isOneOf(token, statements))
                return failure("42601", "\"" + std::string(token) + "\" begins no statement that may run here");
            begun = true;
        }
        Outcome outcome = gate.see(token);
        if (outcome.failed()) return outcome;
    }
    return {};
}

}  // namespace kelhost
