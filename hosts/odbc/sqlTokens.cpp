#include "sqlTokens.h"

#include <algorithm>

namespace kelhost {

bool isSpace(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isWordStart(char c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 0x80U;
}

bool isWordPart(char c) noexcept {
    return isWordStart(c) || (c >= '0' && c <= '9') || c == '$' || c == '#' || c == '@';
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
    const char first = text_[end_];
    if (isWordStart(first)) {
        while (end_ < text_.size() && isWordPart(text_[end_])) ++end_;
        // Some databases read \' in E'...' as a quote within the text.
        if (isWord(token(), "E") && end_ < text_.size() && text_[end_] == '\'') skipEscaped();
    } else if (first == '\'' || first == '"' || first == '`') {
        skipQuoted(first);
    } else if (first == '[') {
        skipUntil("]");
    } else {
        ++end_;
    }
    return true;
}

void SqlTokens::skipBlanks() {
    while (end_ < text_.size()) {
        const size_t start = end_;
        if (isSpace(text_[end_])) {
            ++end_;
        } else if (text_.compare(end_, 2, "--") == 0) {
            end_ = std::min(text_.find('\n', end_), text_.size());
        } else if (text_.compare(end_, 2, "/*") == 0) {
            end_ += 2;
            skipUntil("*/");
        } else {
            return;
        }
        if (end_ - start > 1 && places_ != nullptr) places_->push_back({SqlPlace::comment, start, end_ - start});
    }
}

void SqlTokens::skipUntil(std::string_view mark) {
    const size_t found = text_.find(mark, end_);
    open_ = open_ || found == std::string_view::npos;
    end_ = found == std::string_view::npos ? text_.size() : found + mark.size();
}

// A doubled quote stands for one and does not end the text.
void SqlTokens::skipQuoted(char quote) {
    ++end_;
    for (;;) {
        const size_t found = text_.find(quote, end_);
        if (found == std::string_view::npos) {
            open_ = true;
            end_ = text_.size();
            return;
        }
        end_ = found + 1;
        if (end_ == text_.size() || text_[end_] != quote) return;
        ++end_;
    }
}

void SqlTokens::skipEscaped() {
    for (++end_; end_ < text_.size(); ++end_) {
        if (text_[end_] == '\\') {
            ++end_;
        } else if (text_[end_] == '\'') {
            ++end_;
            return;
        }
    }
    end_ = text_.size();
    open_ = true;
}

}  // namespace kelhost
