#include "sqlTokens.h"

#include <algorithm>

namespace kelhost {
namespace {

constexpr const char* noEnd = "a quote or a comment has no end";

}  // namespace

bool isSpace(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isWordStart(char c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 0x80U;
}

bool isWordPart(char c) noexcept {
    return isWordStart(c) || (c >= '0' && c <= '9') || c == '$';
}

bool isWord(std::string_view word, std::string_view upperCase) noexcept {
    return word.size() == upperCase.size() &&
           std::equal(word.begin(), word.end(), upperCase.begin(), [](char given, char upper) {
               return given == upper || (upper >= 'A' && upper <= 'Z' && given == upper + ('a' - 'A'));
           });
}

bool SqlTokens::next() {
    skipBlanks();
    begin_ = end_;
    if (end_ == text_.size()) return false;
    if (isWordStart(text_[end_])) {
        while (end_ < text_.size() && isWordPart(text_[end_])) ++end_;
        if (lexis_.escapes && beginsEscapes()) error_ = "a text with escapes, like E'...', is not taken";
    } else if (beginsQuote()) {
        skipQuoted();
    } else {
        ++end_;
    }
    return true;
}

bool SqlTokens::beginsQuote() const noexcept {
    return std::string_view(lexis_.quotes).find(text_[end_]) != std::string_view::npos;
}

bool SqlTokens::beginsEscapes() const noexcept {
    const std::string_view rest = text_.substr(end_);
    return (isWord(token(), "E") && rest.starts_with('\'')) ||
           (isWord(token(), "U") && (rest.starts_with("&'") || rest.starts_with("&\"")));
}

void SqlTokens::skipBlanks() {
    while (end_ < text_.size()) {
        const size_t start = end_;
        if (isSpace(text_[end_])) {
            ++end_;
        } else if (text_.compare(end_, 2, "--") == 0) {
            end_ = std::min(text_.find_first_of(lexis_.lineEnds, end_), text_.size());
        } else if (text_.compare(end_, 2, "/*") == 0) {
            skipComment();
        } else {
            return;
        }
        if (end_ - start > 1 && places_ != nullptr) places_->push_back({SqlPlace::dropped, start, end_ - start});
    }
}

void SqlTokens::skipComment() {
    size_t depth = 0;
    do {
        const bool begins = text_.compare(end_, 2, "/*") == 0;
        if (begins && (depth == 0 || lexis_.nestedComments)) {
            ++depth;
            end_ += 2;
        } else if (text_.compare(end_, 2, "*/") == 0) {
            --depth;
            end_ += 2;
        } else {
            ++end_;
        }
    } while (depth > 0 && end_ < text_.size());
    if (depth > 0) error_ = noEnd;
}

// A doubled quote stands for one and does not end the text; a bracket cannot be doubled.
void SqlTokens::skipQuoted() {
    const char first = text_[end_];
    const char quote = first == '[' ? ']' : first;
    for (++end_;;) {
        const size_t found = text_.find(quote, end_);
        if (found == std::string_view::npos) {
            error_ = noEnd;
            end_ = text_.size();
            return;
        }
        end_ = found + 1;
        if (first == '[' || end_ == text_.size() || text_[end_] != quote) return;
        ++end_;
    }
}

}  // namespace kelhost
