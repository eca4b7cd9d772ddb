#include "console/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <clocale>
#include <cwchar>

#include "hostText.h"

namespace kelpolicy {

using kelhost::characterCode;
using kelhost::characterLength;
using kelhost::isHarmless;

namespace {

bool isIllFormed(std::string_view text) {
    return characterLength(text) == 0;
}

/* Takes the first character off the text; a byte that belongs to none is one by itself. REQUIRES: some text. */
std::string_view takeCharacter(std::string_view& text) {
    const std::string_view character = text.substr(0, std::max<size_t>(characterLength(text), 1));
    text.remove_prefix(character.size());
    return character;
}

/* 16-bit units of a character. */
uint64_t unitsOf(std::string_view character) {
    return character.size() == 4 ? 2 : 1;
}

/* Columns of a terminal that a character takes, as the C library knows it whatever the user's locale: none for a mark
 * on the one before it, two for East Asian characters and pictures. */
size_t columnsOf(std::string_view character) {
    static const locale_t unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const uint32_t code = characterCode(character);
    if (code < 0x300 || unicode == nullptr) return 1;  // marks begin there
    const locale_t previous = ::uselocale(unicode);
    const int columns = ::wcwidth(static_cast<wchar_t>(code));
    ::uselocale(previous);
    return columns < 0 ? 1 : static_cast<size_t>(columns);
}

/* Bytes of the longest beginning that is at most so wide. */
size_t fittingBytes(std::string_view text, size_t width) {
    std::string_view rest = text;
    for (size_t used = 0; !rest.empty();) {
        std::string_view behind = rest;
        used += columnsOf(takeCharacter(behind));
        if (used > width) break;
        rest = behind;
    }
    return text.size() - rest.size();
}

}  // namespace

namespace {

/* The text with what is not harmless made visible, and `backslash` where it has one. */
std::string visible(std::string_view text, std::string_view backslash) {
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const bool isText = !isIllFormed(text);
        const std::string_view character = takeCharacter(text);
        if (character == "\\") {
            shown += backslash;
        } else if (isText && isHarmless(character)) {
            shown += character;
        } else if (character == "\n") {
            shown += "\\n";
        } else if (character == "\t") {
            shown += "\\t";
        } else {
            for (const char byte : character) shown += fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
        }
    }
    return shown;
}

}  // namespace

std::string printable(std::string_view text) {
    return visible(text, "\\\\");
}

std::string printableLines(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_of("\n\t"), text.size());
        const bool endsWithBoth = end > 0 && end < text.size() && text[end] == '\n' && text[end - 1] == '\r';
        shown += visible(text.substr(0, end - (endsWithBoth ? 1 : 0)), "\\");  // it may have been printable
        if (endsWithBoth) shown += '\r';
        if (end < text.size()) shown += text[end];
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return shown;
}

std::string escapedInJson(std::string_view json) {
    std::string escaped;
    escaped.reserve(json.size());
    while (!json.empty()) {
        const std::string_view character = takeCharacter(json);
        const uint32_t code = characterCode(character);
        if (character == "\n" || isHarmless(character))
            escaped += character;
        else if (code < 0x10000)
            escaped += fmt::format("\\u{:04x}", code);
        else
            escaped += fmt::format("\\u{:04x}\\u{:04x}", 0xD7C0 + (code >> 10U), 0xDC00 + (code & 0x3FFU));
    }
    return escaped;
}

size_t displayWidth(std::string_view text) {
    size_t width = 0;
    while (!text.empty()) width += columnsOf(takeCharacter(text));
    return width;
}

std::string cutToWidth(std::string_view text, size_t width) {
    if (displayWidth(text) <= width) return std::string(text);
    return std::string(text.substr(0, fittingBytes(text, width - std::min<size_t>(width, 1)))) + "…";
}

std::string padded(std::string_view text, size_t width) {
    std::string result(text);
    const size_t used = displayWidth(text);
    if (used < width) result.append(width - used, ' ');
    return result;
}

size_t firstIllFormedByte(std::string_view text) {
    std::string_view rest = text;
    while (!rest.empty() && !isIllFormed(rest)) takeCharacter(rest);
    return text.size() - rest.size();
}

TextPlace PlaceCounter::at(size_t offset) {
    while (offset_ < std::min(offset, text_.size())) {
        std::string_view rest = text_.substr(offset_);
        const std::string_view character = takeCharacter(rest);
        const bool endsLine = character == "\n" || (character == "\r" && !rest.starts_with('\n'));
        if (endsLine)
            place_ = {place_.line + 1, 1};
        else
            place_.column += unitsOf(character);
        offset_ += character.size();
    }
    return place_;
}

namespace {

/* A line ends with LF, CR LF or CR. */
std::string_view lineAt(std::string_view document, uint64_t number) {
    for (uint64_t line = 1; line < number; ++line) {
        const size_t end = document.find_first_of("\r\n");
        if (end == std::string_view::npos) return {};
        document.remove_prefix(end + (document.substr(end, 2) == "\r\n" ? 2 : 1));
    }
    return document.substr(0, document.find_first_of("\r\n"));
}

/* Bytes in front of the column. */
size_t offsetOf(std::string_view line, uint64_t column) {
    std::string_view rest = line;
    for (uint64_t unit = 1; unit < column && !rest.empty();) unit += unitsOf(takeCharacter(rest));
    return line.size() - rest.size();
}

std::string shownPart(std::string_view part) {
    std::string expanded;
    for (const char byte : part) {
        if (byte == '\t')
            expanded += "    ";
        else
            expanded += byte;
    }
    return printable(expanded);
}

}  // namespace

std::string excerptOf(std::string_view document, TextPlace place) {
    constexpr size_t widestBefore = 76;
    constexpr size_t widest = 116;
    constexpr size_t mostBytes = 4 * (widest + 1);  // what lies further away is never shown
    const std::string_view line = lineAt(document, place.line);
    if (place.line == 0 || line.empty()) return {};
    const size_t offset = offsetOf(line, place.column);
    const size_t first = offset - std::min(offset, mostBytes);
    std::string before = shownPart(line.substr(first, offset - first));
    if (first > 0 || displayWidth(before) > widestBefore) {
        std::string_view end = before;
        while (displayWidth(end) + 1 > widestBefore) takeCharacter(end);
        before = "…" + std::string(end);
    }
    const size_t width = displayWidth(before);
    const std::string after = cutToWidth(shownPart(line.substr(offset, mostBytes)), widest - width);
    return before + after + "\n" + std::string(width, ' ') + "^\n";
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

std::string trimmedEnd(std::string_view text) {
    return std::string(text.substr(0, text.find_last_not_of(" \n") + 1));
}

}  // namespace kelpolicy
