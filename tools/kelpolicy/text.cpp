#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace kelpolicy {
namespace {

bool continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/* Bytes of the well-formed character at the text's beginning, 0 when there is none. */
size_t characterLength(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const size_t length = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length == 0 || length > text.size()) return 0;
    for (size_t i = 1; i < length; ++i)
        if (!continues(text[i])) return 0;
    if (length == 1) return 1;
    const auto second = static_cast<unsigned char>(text[1]);
    const bool isOverlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool isNoCharacter = (lead == 0xED && second >= 0xA0) || (lead == 0xF4 && second >= 0x90);
    return isOverlong || isNoCharacter ? 0 : length;
}

/* Characters that a terminal may act upon, or that turn the reading direction. */
bool isHarmless(std::string_view character) {
    const auto lead = static_cast<unsigned char>(character.front());
    if (character.size() == 1) return lead >= 0x20 && lead != 0x7F;
    const auto second = static_cast<unsigned char>(character[1]);
    if (lead == 0xC2) return second >= 0xA0;
    if (lead != 0xE2 || (second != 0x80 && second != 0x81)) return true;
    const auto third = static_cast<unsigned char>(character[2]);
    return second == 0x80 ? third < 0xA8 || third > 0xAE : third < 0xA6 || third > 0xA9;
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

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

}  // namespace kelpolicy
