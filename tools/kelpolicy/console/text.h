/* Text as it may be shown on a terminal. */
#ifndef KELPOLICY_TEXT_H
#define KELPOLICY_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kelpolicy {

/* The text with all that could move a cursor or mislead a reader made visible: control characters as \n, \t or \xNN,
 * bytes that are not UTF-8 as \xNN, a backslash as two. Done once, by whatever writes the text. */
std::string printable(std::string_view text);

/* The same for a text of several lines: line ends (LF and CR LF) and tabs stay. */
std::string printableLines(std::string_view text);

/* The same for well-formed JSON, in whose texts such characters become \uNNNN. */
std::string escapedInJson(std::string_view json);

/* Columns of a terminal that a printable text takes. */
size_t displayWidth(std::string_view text);

/* As much of a printable text as `width` columns hold, the last of them "…" where text was cut away. */
std::string cutToWidth(std::string_view text, size_t width);

/* The text followed by blanks up to `width` columns. */
std::string padded(std::string_view text, size_t width);

/* Where the first byte stands that belongs to no UTF-8 character; the text's size when there is none. */
size_t firstIllFormedByte(std::string_view text);

/* Line and column, both from 1, as XML parsers count them: a line ends with LF, CR LF or CR, a column is a 16-bit unit.
 */
struct TextPlace {
    uint64_t line;
    uint64_t column;
};

/* Tells the places of bytes of one text, all of them in one pass. */
class PlaceCounter {
public:
    /* REQUIRES: the text lives as long as this. */
    explicit PlaceCounter(std::string_view text) : text_(text) {}

    /* The place of the byte at `offset`, which is not before the one asked for last. */
    TextPlace at(size_t offset);

private:
    std::string_view text_;
    size_t offset_ = 0;
    TextPlace place_ = {1, 1};
};

/* The text of that line of a document as it can be shown, and below it a caret under the column, each with a line end;
 * a long line is cut on both sides. Empty when there is no such line. */
std::string excerptOf(std::string_view document, TextPlace place);

bool isBlank(std::string_view text);

/* The text without the blanks and line ends at its end. */
std::string trimmedEnd(std::string_view text);

}  // namespace kelpolicy

#endif
