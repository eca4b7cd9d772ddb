/* Text helpers of the hosts. */
#ifndef KELHOST_HOST_TEXT_H
#define KELHOST_HOST_TEXT_H

#include <cstddef>
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

/* Whether a well-formed character neither acts on a terminal nor turns the reading direction: no control character
 * (C0, DEL, C1), no line or paragraph separator, no direction mark. */
inline bool isHarmless(std::string_view character) noexcept {
    const auto lead = static_cast<unsigned char>(character[0]);
    if (character.size() == 1) return lead >= 0x20 && lead != 0x7F;
    if (lead == 0xC2) return static_cast<unsigned char>(character[1]) >= 0xA0;
    if (character == "\xD8\x9C") return false;
    const bool isMark = character >= "\xE2\x80\x8E" && character <= "\xE2\x80\x8F";
    const bool isSeparatorOrEmbedding = character >= "\xE2\x80\xA8" && character <= "\xE2\x80\xAE";
    const bool isIsolate = character >= "\xE2\x81\xA6" && character <= "\xE2\x81\xA9";
    return !isMark && !isSeparatorOrEmbedding && !isIsolate;
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
