#include "sourceScanner.h"

#include <algorithm>
#include <string>

namespace kelprep {
namespace {

bool isBlank(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}
bool isWordStart(char c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 0x80U;
}
bool isWordPart(char c) noexcept {
    return isWordStart(c) || isDigit(c);
}
bool isRawPrefix(std::string_view word) noexcept {
    return word == "R" || word == "LR" || word == "uR" || word == "UR" || word == "u8R";
}

}  // namespace

SourceScanner::SourceScanner(std::string_view source) : source_(source) {
    const size_t zero = source.find('\0');
    if (zero == std::string_view::npos) return;
    advance(zero);
    throw SourceError(place_, "the source holds a zero byte");
}

void SourceScanner::advance(size_t count) {
    for (const char c : source_.substr(offset_, count)) {
        if (c == '\n') {
            ++place_.line;
            place_.column = 1;
            lineBegins_ = true;
        } else {
            ++place_.column;
            lineBegins_ = lineBegins_ && isBlank(c);
        }
    }
    offset_ += std::min(count, source_.size() - offset_);
}

void SourceScanner::skipLineComment() {
    while (!atEnd() && source_[offset_] != '\n') advance(source_[offset_] == '\\' ? 2 : 1);
}

// A backslash at the end joins the next line. Quotes need not come in pairs here ("#error don't").
void SourceScanner::skipDirective() {
    while (!atEnd() && source_[offset_] != '\n') {
        const size_t quoteEnd = source_[offset_] == '"' ? source_.find_first_of("\"\n", offset_ + 1) : offset_;
        if (startsWith("//")) return skipLineComment();
        if (startsWith("/*")) {
            skipComment();
        } else if (quoteEnd > offset_ && quoteEnd < source_.size() && source_[quoteEnd] == '"') {
            advance(quoteEnd + 1 - offset_);
        } else {
            advance(source_[offset_] == '\\' ? 2 : 1);
        }
    }
}

void SourceScanner::skipComment() {
    const Place begin = place_;
    const size_t end = source_.find("*/", offset_ + 2);
    if (end == std::string_view::npos) throw SourceError(begin, "the comment has no end");
    advance(end + 2 - offset_);
}

void SourceScanner::skipBlanks(bool sql) {
    while (!atEnd()) {
        if (isBlank(source_[offset_])) {
            advance(1);
        } else if (startsWith("/*")) {
            skipComment();
        } else if (sql && startsWith("--")) {
            advance(std::min(source_.find('\n', offset_), source_.size()) - offset_);
        } else if (!sql && startsWith("//")) {
            skipLineComment();
        } else if (!sql && lineBegins_ && source_[offset_] == '#') {
            skipDirective();
        } else {
            return;
        }
    }
}

// In C++ a backslash takes the next character in and a line end stops the text; in SQL a doubled quote stands for one.
void SourceScanner::takeQuoted(char quote, bool doubled) {
    const Place begin = place_;
    advance(1);
    while (!atEnd()) {
        const char c = source_[offset_];
        if (c == '\n' && !doubled) break;
        if (c == quote) {
            advance(1);
            if (!doubled || atEnd() || source_[offset_] != quote) return;
        }
        advance(c == '\\' && !doubled ? 2 : 1);
    }
    throw SourceError(begin, "the quoted text has no end");
}

void SourceScanner::takeRawText(Place begin) {
    constexpr size_t longestDelimiter = 16;
    const size_t parenthesis = source_.find('(', offset_);
    if (parenthesis == std::string_view::npos || parenthesis - offset_ - 1 > longestDelimiter) {
        throw SourceError(begin, "the raw text has no beginning");
    }
    const std::string end = ")" + std::string(source_.substr(offset_ + 1, parenthesis - offset_ - 1)) + "\"";
    const size_t found = source_.find(end, parenthesis);
    if (found == std::string_view::npos) throw SourceError(begin, "the raw text has no end");
    advance(found + end.size() - offset_);
}

void SourceScanner::takeWord() {
    while (!atEnd() && isWordPart(source_[offset_])) advance(1);
}

void SourceScanner::takeCppToken(Token& token) {
    const char c = source_[offset_];
    if (isWordStart(c)) {
        token.kind = TokenKind::word;
        takeWord();
        if (startsWith("\"") && isRawPrefix(source_.substr(token.begin, offset_ - token.begin))) {
            token.kind = TokenKind::quoted;
            takeRawText(token.place);
        }
    } else if (isDigit(c)) {
        token.kind = TokenKind::number;  // with the quotes that part its digits
        while (!atEnd() && (isWordPart(source_[offset_]) || source_[offset_] == '.' || source_[offset_] == '\'')) {
            advance(1);
        }
    } else if (c == '"' || c == '\'') {
        token.kind = TokenKind::quoted;
        takeQuoted(c, false);
    } else {
        advance(1);
    }
}

void SourceScanner::takeSqlToken(Token& token) {
    const char c = source_[offset_];
    if (isWordStart(c)) {
        token.kind = TokenKind::word;
        takeWord();
    } else if (isDigit(c)) {
        token.kind = TokenKind::number;
        while (!atEnd() && (isWordPart(source_[offset_]) || source_[offset_] == '.')) advance(1);
    } else if (c == '\'' || c == '"') {
        token.kind = TokenKind::quoted;
        takeQuoted(c, true);
    } else if (c == ':' && offset_ + 1 < source_.size() && isWordStart(source_[offset_ + 1])) {
        token.kind = TokenKind::hostVariable;
        advance(1);
        takeWord();
        token.text = source_.substr(token.begin + 1, offset_ - token.begin - 1);
    } else {
        advance(startsWith("::") ? 2 : 1);
    }
}

bool SourceScanner::next(Token& token) {
    const size_t before = offset_;
    skipBlanks(false);
    if (atEnd()) return false;
    token = {TokenKind::other, {}, place_, offset_, offset_ > before};
    takeCppToken(token);
    token.text = source_.substr(token.begin, offset_ - token.begin);
    return true;
}

bool SourceScanner::takeEmbedded(const Token& exec, EmbeddedStatement& statement) {
    const SourceScanner behindExec = *this;
    Token token;
    if (!next(token) || !token.is("SQL")) {
        *this = behindExec;
        return false;
    }
    statement.begin = exec.begin;
    statement.tokens.clear();
    for (;;) {
        const size_t before = offset_;
        skipBlanks(true);
        if (atEnd()) throw SourceError(exec.place, "the statement has no semicolon at its end");
        token = {TokenKind::other, {}, place_, offset_, offset_ > before};
        takeSqlToken(token);
        if (token.text.empty()) token.text = source_.substr(token.begin, offset_ - token.begin);
        if (token.is(";")) break;
        statement.tokens.push_back(token);
    }
    statement.end = offset_;
    statement.endPlace = token.place;
    return true;
}

}  // namespace kelprep
