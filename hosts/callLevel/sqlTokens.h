/* Cuts a statement's text into words, quoted texts and single characters. Internal. */
#ifndef KELHOST_SQL_TOKENS_H
#define KELHOST_SQL_TOKENS_H

#include <cstddef>
#include <string_view>
#include <vector>

#include "sqlText.h"

namespace kelhost {

bool isSpace(char c) noexcept;
bool isWordStart(char c) noexcept;
bool isWordPart(char c) noexcept;

/* A text or name in quotes; the other tokens but words are single characters. */
inline bool isQuoted(std::string_view token) noexcept {
    return token.size() > 1 && !isWordStart(token[0]);
}

/* Compares without regard to the case of `word`. */
bool isWord(std::string_view word, std::string_view upperCase) noexcept;

/* White space and comments stand between tokens and are none. */
class SqlTokens {
public:
    /* Comments are added to `places` where one is given. REQUIRES: the lexis lives as long as this. */
    SqlTokens(std::string_view text, const SqlLexis& lexis, std::vector<SqlPlace>* places = nullptr) noexcept
        : text_(text), lexis_(lexis), places_(places) {}

    /* Moves to the next token; false at the end of the text. */
    bool next();

    std::string_view token() const noexcept { return text_.substr(begin_, end_ - begin_); }
    size_t begin() const noexcept { return begin_; }
    size_t end() const noexcept { return end_; }
    const char* error() const noexcept { return error_; } /* what is wrong with the text so far, or null */

private:
    bool beginsQuote() const noexcept;
    bool beginsEscapes() const noexcept;
    void skipBlanks();
    void skipComment();
    void skipQuoted();

    std::string_view text_;
    const SqlLexis& lexis_;
    std::vector<SqlPlace>* places_;
    size_t begin_ = 0;
    size_t end_ = 0;
    const char* error_ = nullptr;
};

}  // namespace kelhost

#endif
