#include "sqlText.h"

#include <fmt/format.h>
#include <time.h>

#include <algorithm>

#include "hostTime.h"
#include "sqlTokens.h"

namespace kelhost {
namespace {

SqlKind kindOf(std::string_view first, std::string_view second) noexcept {
    for (const char* word : {"SELECT", "VALUES", "EXPLAIN"}) {
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

std::string withEscapes(std::string_view quoted) {
    std::string text = "U&";
    for (const char c : quoted) {
        if (c == ';') {
            text += "\\003B";
        } else {
            text.append(c == '\\' ? 2 : 1, c);
        }
    }
    return text;
}

// The words may have a comment between them; it goes with them.
void replaceNow(std::vector<SqlPlace>& places, size_t begin, size_t end) {
    std::erase_if(places, [begin](const SqlPlace& place) { return place.begin > begin; });
    places.push_back({SqlPlace::now, begin, end - begin});
}

// CALL [SYSPROC.]SYSINSTALLOBJECTS with four literals; empty when the text is something else.
std::vector<std::string> installObjectsArguments(std::string_view text, const SqlLexis& lexis) {
    SqlTokens tokens(text, lexis);
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

SqlText scanSql(std::string_view text, const Dialect& dialect) {
    SqlText found;
    const auto refuse = [&found](const char* why) {
        found.error = "42601";
        found.errorDetail = why;
        return found;
    };
    if (text.find('\0') != std::string_view::npos) return refuse("the statement holds a zero byte");
    SqlTokens tokens(text, dialect.lexis, &found.places);
    KeyPlaces keys;
    std::string_view first;
    std::string_view second;
    bool ended = false;
    size_t current = std::string_view::npos;  // where the word CURRENT just before this token begins
    while (tokens.next()) {
        const std::string_view token = tokens.token();
        if (token == ";") {
            ended = !first.empty();
            found.places.push_back({SqlPlace::dropped, tokens.begin(), token.size()});
            continue;
        }
        if (ended) return refuse("more than one statement in one text");
        // Databases begin other quotes with '$', drivers their own statements with '{'.
        if (token == "$" || token == "{") return refuse("a '$' or '{' outside quotes");
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
        } else if (dialect.lexis.escapes && isQuoted(token) && token.find(';') != std::string_view::npos) {
            found.places.push_back({SqlPlace::quoted, tokens.begin(), token.size()});
        }
        current = isWord(token, "CURRENT") ? tokens.begin() : std::string_view::npos;
        if (token[0] == '?') ++found.parameters;
        found.hasStar = found.hasStar || token[0] == '*';
        keys.see(token);
    }
    if (tokens.error() != nullptr) return refuse(tokens.error());
    if (first.empty()) return refuse("the statement is empty");
    found.kind = kindOf(first, second);
    if (isWord(first, "CALL")) found.arguments = installObjectsArguments(text, dialect.lexis);
    if (!found.arguments.empty()) found.kind = SqlKind::installObjects;
    return found;
}

bool isOneStatement(std::string_view text, const Dialect& dialect) {
    return scanSql(text, dialect).error == nullptr;
}

std::string spellSql(std::string_view text, const SqlText& scanned, const Dialect& dialect, std::string_view now) {
    std::string spelled;
    size_t done = 0;
    const bool engineText = dialect.timestamps == TimestampLiteral::engineText;
    for (const SqlPlace& place : scanned.places) {
        spelled += text.substr(done, place.begin - done);
        done = place.begin + place.length;
        if (place.meaning == SqlPlace::dropped) {
            spelled += ' ';
            continue;
        }
        if (place.meaning == SqlPlace::quoted) {
            spelled += withEscapes(text.substr(place.begin, place.length));
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
    localTime(now.tv_sec, local);
    return fmt::format("{:04}-{:02}-{:02}-{:02}.{:02}.{:02}.{:06}", local.tm_year + 1900, local.tm_mon + 1,
                       local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, now.tv_nsec / 1000);
}

}  // namespace kelhost
