/* Text helpers of the hosts. */
#ifndef KELHOST_HOST_TEXT_H
#define KELHOST_HOST_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kelhost {

/* Bytes of the well-formed UTF-8 character at the text's beginning, 0 when there is none. REQUIRES: some text. */
inline size_t characterLength(std::string_view text) noexcept {
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    const size_t length = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length > text.size()) return 0;
    for (size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0U) != 0x80U) return 0;
    if (length < 2) return length;
    const bool isOverlong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xF0 && byte(1) < 0x90);
    const bool isNoCharacter = (lead == 0xED && byte(1) >= 0xA0) || (lead == 0xF4 && byte(1) >= 0x90);
    return isOverlong || isNoCharacter ? 0 : length;
}

/* The code of a well-formed UTF-8 character. */
inline uint32_t characterCode(std::string_view character) noexcept {
    constexpr unsigned leadBits[] = {0x7F, 0x1F, 0x0F, 0x07};
    uint32_t code = static_cast<unsigned char>(character[0]) & leadBits[character.size() - 1];
    for (const char byte : character.substr(1)) code = code << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
    return code;
}

/* Whether a well-formed character neither acts on a terminal nor misleads a reader: no control character (C0, DEL, C1),
 * none that separates lines or paragraphs, turns the reading direction, or cannot be seen. */
inline bool isHarmless(std::string_view character) noexcept {
    struct Range {
        uint32_t first;
        uint32_t last;
    };
    constexpr Range harmful[] = {
        {0x00, 0x1F},       {0x7F, 0x9F},       {0xAD, 0xAD},        /* controls, soft hyphen */
        {0x034F, 0x034F},   {0x061C, 0x061C},   {0x115F, 0x1160},    /* joiner, direction, fillers */
        {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},    /* inherent vowels, selectors, zero width */
        {0x2028, 0x202E},   {0x2060, 0x206F},   {0x2800, 0x2800},    /* separators, directions, empty Braille */
        {0x3164, 0x3164},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},    /* filler, selectors, byte order mark */
        {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFB},                        /* filler, annotations */
        {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}}; /* shorthand, music, tags */
    const uint32_t code = characterCode(character);
    for (const Range& range : harmful)
        if (code <= range.last) return code < range.first;
    return true;
}

/* The longest beginning of at most `room` bytes that cuts no UTF-8 character. */
inline std::string_view cutText(std::string_view text, size_t room) noexcept {
    if (text.size() <= room) return text;
    size_t end = room;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    return text.substr(0, room - end < 4 ? end : room);
}

}  // namespace kelhost

#endif
