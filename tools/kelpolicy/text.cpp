#include "text.h"

#include <fmt/format.h>

#include <algorithm>

#include "hostText.h"

namespace kelpolicy {

using kelhost::characterLength;
using kelhost::isHarmless;

namespace {

bool continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

std::string printable(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const size_t length = characterLength(text);
        const std::string_view character = text.substr(0, std::max<size_t>(length, 1));
        if (length > 0 && isHarmless(character)) {
            shown += character;
        } else if (character == "\n") {
            shown += "\\n";
        } else if (character == "\t") {
            shown += "\\t";
        } else {
            for (const char byte : character) shown += fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
        }
        text.remove_prefix(character.size());
    }
    return shown;
}

size_t displayWidth(std::string_view text) {
    return text.size() - static_cast<size_t>(std::count_if(text.begin(), text.end(), continues));
}

std::string cutToWidth(std::string_view text, size_t width) {
    if (displayWidth(text) <= width) return std::string(text);
    size_t end = 0;
    for (size_t characters = 0; characters + 1 < width && end < text.size(); ++characters) {
        ++end;
        while (end < text.size() && continues(text[end])) ++end;
    }
    return std::string(text.substr(0, end)) + "…";
}

std::string padded(std::string_view text, size_t width) {
    std::string result(text);
    const size_t used = displayWidth(text);
    if (used < width) result.append(width - used, ' ');
    return result;
}

size_t firstIllFormedByte(std::string_view text) {
    std::string_view rest = text;
    while (!rest.empty()) {
        const size_t length = characterLength(rest);
        if (length == 0) break;
        rest.remove_prefix(length);
    }
    return text.size() - rest.size();
}

TextPlace PlaceCounter::at(size_t offset) {
    for (; offset_ < offset && offset_ < text_.size(); ++offset_) {
        const char byte = text_[offset_];
        if (byte == '\n')
            place_ = {place_.line + 1, 1};
        else if (!continues(byte))
            ++place_.column;
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
    uint64_t unit = 1;
    for (size_t i = 0; i < line.size(); ++i) {
        if (continues(line[i])) continue;
        if (unit >= column) return i;
        unit += static_cast<unsigned char>(line[i]) >= 0xF0 ? 2 : 1;
    }
    return line.size();
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
    constexpr size_t mostBytes = 4 * widest;  // what lies further away is never shown
    const std::string_view line = lineAt(document, place.line);
    if (place.line == 0 || line.empty()) return {};
    const size_t offset = offsetOf(line, place.column);
    const size_t first = offset - std::min(offset, mostBytes);
    std::string before = shownPart(line.substr(first, offset - first));
    if (first > 0 || displayWidth(before) > widestBefore) {
        size_t start = before.size();
        for (size_t shown = 0; start > 0 && shown + 1 < widestBefore; ++shown) {
            --start;
            while (start > 0 && continues(before[start])) --start;
        }
        before = "…" + before.substr(start);
    }
    const size_t width = displayWidth(before);
    const std::string after = cutToWidth(shownPart(line.substr(offset, mostBytes)), widest - width);
    return before + after + "\n" + std::string(width, ' ') + "^\n";
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

}  // namespace kelpolicy
