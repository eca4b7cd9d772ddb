#include "sqlText.h"

#include <fmt/format.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace kelhost {
namespace {

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

// Cuts a text into tokens: words, quoted texts, single characters. White space and comments stand between them.
class Tokens {
public:
    /* Comments are added to `places` where one is given. */
    explicit Tokens(std::string_view text, std::vector<SqlPlace>* places = nullptr) noexcept
        : text_(text), places_(places) {}

    // False at the end of the text.
    bool next() {
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

    std::string_view token() const noexcept { return text_.substr(begin_, end_ - begin_); }
    size_t begin() const noexcept { return begin_; }
    size_t end() const noexcept { return end_; }
    bool open() const noexcept { return open_; }  // a quote or a comment has no end

private:
    void skipBlanks() {
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

    void skipUntil(std::string_view mark) {
        const size_t found = text_.find(mark, end_);
        open_ = open_ || found == std::string_view::npos;
        end_ = found == std::string_view::npos ? text_.size() : found + mark.size();
    }

    // A doubled quote stands for one and does not end the text.
    void skipQuoted(char quote) {
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

    void skipEscaped() {
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

    std::string_view text_;
    std::vector<SqlPlace>* places_;
    size_t begin_ = 0;
    size_t end_ = 0;
    bool open_ = false;
};

SqlKind kindOf(std::string_view first, std::string_view second) noexcept {
    for (const char* word : {"SELECT", "VALUES", "EXPLAIN", "PRAGMA", "SHOW"}) {
        if (isWord(first, word)) return SqlKind::query;
    }
    for (const char* word : {"UPDATE", "INSERT", "DELETE", "MERGE", "REPLACE"}) {
        if (isWord(first, word)) return SqlKind::change;
    }
    for (const char* word : {"COMMIT", "BEGIN", "END", "START", "ABORT"}) {
        if (isWord(first, word)) return SqlKind::unitControl;
    }
    if (isWord(first, "ROLLBACK") && !isWord(second, "TO")) return SqlKind::unitControl;
    return SqlKind::other;
}

// 'yyyy-mm-dd-hh.mm.ss.uuuuuu' with its quotes.
bool isTimestampLiteral(std::string_view token) noexcept {
    constexpr std::string_view pattern = "'dddd-dd-dd-dd.dd.dd.dddddd'";
    return token.size() == pattern.size() &&
           std::equal(token.begin(), token.end(), pattern.begin(), [](char given, char wanted) {
               return wanted == 'd' ? given >= '0' && given <= '9' : given == wanted;
           });
}

bool isComparison(std::string_view token) noexcept {
    return token == "=" || token == "<" || token == ">" || token == "!" || isWord(token, "LIKE") || isWord(token, "IN");
}

// The key columns hold texts, also such as look like a timestamp.
bool isKeyColumn(std::string_view word) noexcept {
    return isWord(word, "MED") || isWord(word, "DECISION") || isWord(word, "NAME");
}

// Follows the tokens of a statement and tells whether a literal at this place belongs to a key column: in
// `NAME = '..'`, `NAME IN ('..')`, and at the key columns' places in the lists of an INSERT.
class KeyPlaces {
public:
    void see(std::string_view token) {
        if (isWord(token, "INSERT")) {
            list_ = List::beforeColumns;
        } else if (isWord(token, "VALUES")) {
            list_ = List::beforeValues;
        } else if (token == "(") {
            open();
        } else if (token == ")") {
            --depth_;
        } else if (token == "," && depth_ == 1) {
            ++place_;
        } else if (list_ == List::columns && depth_ == 1) {
            columns_.push_back(isKeyColumn(token));
        }
        const bool comparison = isComparison(token);
        compared_ = comparison || (compared_ && (token == "(" || token == "," || token[0] == '\''));
        if (!comparison && isWordStart(token[0])) word_ = token;
    }

    bool isKey() const noexcept {
        if (list_ == List::values && depth_ == 1) return place_ < columns_.size() ? columns_[place_] : place_ < keys;
        return compared_ && isKeyColumn(word_);
    }

private:
    static constexpr size_t keys = 3;  // without a list of columns the table's first ones are the key
    enum class List { none, beforeColumns, columns, beforeValues, values };

    void open() {
        ++depth_;
        if (depth_ > 1) return;
        place_ = 0;
        if (list_ == List::beforeColumns) list_ = List::columns;
        if (list_ == List::beforeValues) list_ = List::values;
    }

    List list_ = List::none;
    int depth_ = 0;
    size_t place_ = 0;
    std::vector<bool> columns_{};
    std::string_view word_{};
    bool compared_ = false;
};

std::string isoTimestamp(std::string_view engineText) {
    std::string text(engineText);
    text[10] = ' ';
    text[13] = ':';
    text[16] = ':';
    return "TIMESTAMP '" + text + "'";
}

// The words may have a comment between them; it goes with them.
void replaceNow(std::vector<SqlPlace>& places, size_t begin, size_t end) {
    std::erase_if(places, [begin](const SqlPlace& place) { return place.begin > begin; });
    places.push_back({SqlPlace::now, begin, end - begin});
}

// CALL [SYSPROC.]SYSINSTALLOBJECTS with four literals; empty when the text is something else.
std::vector<std::string> installObjectsArguments(std::string_view text) {
    Tokens tokens(text);
    const auto follows = [&](std::string_view wanted) { return tokens.next() && isWord(tokens.token(), wanted); };
    if (!follows("CALL") || !tokens.next()) return {};
    if (isWord(tokens.token(), "SYSPROC") && !(follows(".") && tokens.next())) return {};
    if (!isWord(tokens.token(), "SYSINSTALLOBJECTS") || !follows("(")) return {};
    constexpr size_t wanted = 4;
    std::vector<std::string> arguments;
    arguments.reserve(wanted);
    for (size_t i = 0; i < wanted; ++i) {
        if (!tokens.next() || tokens.token().size() < 2 || tokens.token()[0] != '\'') return {};
        const std::string_view quoted = tokens.token();
        arguments.emplace_back(quoted.substr(1, quoted.size() - 2));
        if (!follows(i + 1 < wanted ? "," : ")")) return {};
    }
    if (tokens.next() && tokens.token() != ";") return {};
    return arguments;
}

}  // namespace

SqlText scanSql(std::string_view text) {
    SqlText found;
    const auto refuse = [&found](const char* why) {
        found.error = "42601";
        found.errorDetail = why;
        return found;
    };
    if (text.find('\0') != std::string_view::npos) return refuse("the statement holds a zero byte");
    Tokens tokens(text, &found.places);
    KeyPlaces keys;
    std::string_view first;
    std::string_view second;
    bool ended = false;
    size_t current = std::string_view::npos;  // where the word CURRENT just before this token begins
    while (tokens.next()) {
        const std::string_view token = tokens.token();
        if (token == ";") {
            ended = !first.empty();
            continue;
        }
        if (ended) return refuse("more than one statement in one text");
        if (token[0] == '$') return refuse("a '$' outside quotes");  // may quote in a way that is not understood here
        if (first.empty()) {
            first = token;
        } else if (second.empty()) {
            second = token;
        }
        if (current != std::string_view::npos && isWord(token, "TIMESTAMP")) {
            replaceNow(found.places, current, tokens.end());
        } else if (isWord(token, "CURRENT_TIMESTAMP")) {
            replaceNow(found.places, tokens.begin(), tokens.end());
        } else if (isTimestampLiteral(token) && !keys.isKey()) {
            found.places.push_back({SqlPlace::moment, tokens.begin(), token.size()});
        }
        current = isWord(token, "CURRENT") ? tokens.begin() : std::string_view::npos;
        found.hasParameters = found.hasParameters || token[0] == '?';
        found.hasStar = found.hasStar || token[0] == '*';
        keys.see(token);
    }
    if (tokens.open()) return refuse("a quote or a comment has no end");
    if (first.empty()) return refuse("the statement is empty");
    found.kind = kindOf(first, second);
    if (isWord(first, "CALL")) found.arguments = installObjectsArguments(text);
    if (!found.arguments.empty()) found.kind = SqlKind::installObjects;
    return found;
}

std::string spellSql(std::string_view text, const SqlText& scanned, const Dialect& dialect, std::string_view now) {
    std::string spelled;
    size_t done = 0;
    const bool engineText = dialect.timestamps == TimestampLiteral::engineText;
    for (const SqlPlace& place : scanned.places) {
        spelled += text.substr(done, place.begin - done);
        done = place.begin + place.length;
        if (place.meaning == SqlPlace::comment) {
            spelled += ' ';
            continue;
        }
        const bool isNow = place.meaning == SqlPlace::now;
        const std::string_view moment = isNow ? now : text.substr(place.begin + 1, place.length - 2);
        spelled += engineText ? fmt::format("'{}'", moment) : isoTimestamp(moment);
    }
    spelled += text.substr(done);
    return spelled;
}

std::string currentTimestamp() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    ::localtime_r(&now.tv_sec, &local);
    return fmt::format("{:04}-{:02}-{:02}-{:02}.{:02}.{:02}.{:06}", local.tm_year + 1900, local.tm_mon + 1,
                       local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, now.tv_nsec / 1000);
}

}  // namespace kelhost
