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

/* Compares without regard to the case of `word`. */
bool isWord(std::string_view word, std::string_view upperCase) noexcept;

/* White space and comments stand between tokens and are none. */
class SqlTokens {
public:
    /* Comments are added to `places` where one is given. */
    explicit SqlTokens(std::string_view text, std::vector<SqlPlace>* places = nullptr) noexcept
        : text_(text), places_(places) {}

    /* Moves to the next token; false at the end of the text. */
    bool next();

    std::string_view token() const noexcept { return text_.substr(begin_, end_ - begin_); }
    size_t begin() const noexcept { return begin_; }
    size_t end() const noexcept { return end_; }
    bool open() const noexcept { return open_; } /* a quote or a comment has no end */

private:
    void skipBlanks();
    void skipUntil(std::string_view mark);
    void skipQuoted(char quote);
    void skipEscaped();

    std::string_view text_;
    std::vector<SqlPlace>* places_;
    size_t begin_ = 0;
    size_t end_ = 0;
    bool open_ = false;
};

}  // namespace kelhost

#endif
