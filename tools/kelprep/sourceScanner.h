/* Cuts a C++ source with embedded SQL into tokens. */
#ifndef KELPREP_SOURCE_SCANNER_H
#define KELPREP_SOURCE_SCANNER_H

#include <cstddef>
#include <string_view>
#include <vector>

#include "sourceError.h"

namespace kelprep {

enum class TokenKind {
    word,
    number,
    quoted,       /* a text or a character with its quotes; in SQL a delimited name as well */
    hostVariable, /* SQL: a colon and a name, `text` is the name */
    other,        /* one character */
};

struct Token {
    TokenKind kind = TokenKind::other;
    std::string_view text{};
    Place place{};
    size_t begin = 0; /* offset of its first byte in the source */
    bool blankBefore = false;

    bool is(std::string_view wanted) const noexcept { return text == wanted && kind != TokenKind::quoted; }
};

/* EXEC SQL ... ; with everything between. */
struct EmbeddedStatement {
    size_t begin = 0; /* offset of EXEC */
    size_t end = 0;   /* offset behind the semicolon */
    Place endPlace{}; /* of the semicolon */
    std::vector<Token> tokens{};
};

class SourceScanner {
public:
    /* Throws SourceError when the source holds a zero byte. The text must outlive the scanner and its tokens. */
    explicit SourceScanner(std::string_view source);

    /* The next C++ token; comments and preprocessor lines are none. False at the end. Throws SourceError. */
    bool next(Token& token);

    /* Behind the token EXEC: whether SQL follows; then reads the whole statement. Throws SourceError. */
    bool takeEmbedded(const Token& exec, EmbeddedStatement& statement);

private:
    bool atEnd() const noexcept { return offset_ == source_.size(); }
    bool startsWith(std::string_view text) const noexcept { return source_.substr(offset_).starts_with(text); }
    void advance(size_t count);
    void skipBlanks(bool sql);
    void skipLineComment();
    void skipDirective();
    void skipComment();
    void takeQuoted(char quote, bool doubled);
    void takeRawText(Place begin);
    void takeWord();
    void takeCppToken(Token& token);
    void takeSqlToken(Token& token);

    std::string_view source_;
    size_t offset_ = 0;
    Place place_{};
    bool lineBegins_ = true; /* nothing but blanks so far in this line */
};

}  // namespace kelprep

#endif
