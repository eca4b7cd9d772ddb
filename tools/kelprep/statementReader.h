/* Reads the tokens of one embedded statement. */
#ifndef KELPREP_STATEMENT_READER_H
#define KELPREP_STATEMENT_READER_H

#include <string>
#include <string_view>

#include "sourceScanner.h"

namespace kelprep {

inline std::string upperCase(std::string_view text) {
    std::string upper(text);
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return upper;
}

class StatementReader {
public:
    explicit StatementReader(const EmbeddedStatement& statement) noexcept : statement_(statement) {}

    bool atEnd() const noexcept { return index_ == statement_.tokens.size(); }
    const Token* peek() const noexcept { return atEnd() ? nullptr : &statement_.tokens[index_]; }
    Place place() const noexcept { return atEnd() ? statement_.endPlace : statement_.tokens[index_].place; }
    void skip() noexcept { ++index_; }

    bool accept(std::string_view word) {
        const bool found = !atEnd() && peek()->kind != TokenKind::quoted && peek()->kind != TokenKind::hostVariable &&
                           upperCase(peek()->text) == word;
        if (found) skip();
        return found;
    }
    void expect(std::string_view word) {
        if (!accept(word)) fail("\"" + std::string(word) + "\" is missing");
    }
    void expectEnd() const {
        if (!atEnd()) fail("\"" + std::string(peek()->text) + "\" is too much");
    }
    const Token& name(const char* what) { return take(TokenKind::word, what); }
    const Token& hostVariable() { return take(TokenKind::hostVariable, "a host variable (:name)"); }

    [[noreturn]] void fail(const std::string& message) const { throw SourceError(place(), message); }

private:
    const Token& take(TokenKind kind, const char* what) {
        if (atEnd() || peek()->kind != kind) fail(std::string(what) + " is missing");
        return statement_.tokens[index_++];
    }

    const EmbeddedStatement& statement_;
    size_t index_ = 0;
};

}  // namespace kelprep

#endif
