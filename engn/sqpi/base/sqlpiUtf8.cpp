#include "base/sqlpiUtf8.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace {

constexpr char32_t replacement = 0xFFFD;

constexpr bool isLead(char16_t unit) noexcept {
    return (unit & 0xFC00U) == 0xD800U;
}
constexpr bool isTrail(char16_t unit) noexcept {
    return (unit & 0xFC00U) == 0xDC00U;
}

/* The character that begins at `at`, which moves behind it. */
char32_t nextCharacter(std::u16string_view text, size_t& at) noexcept {
    const char16_t unit = text[at++];
    if (isLead(unit) && at < text.size() && isTrail(text[at]))
        return 0x10000U + ((unit & 0x3FFU) << 10U) + (text[at++] & 0x3FFU);
    return isLead(unit) || isTrail(unit) ? replacement : unit;
}

/* Copies the ASCII at the beginning, four units at a time, which is most of most documents; returns how many units. */
size_t copyAscii(std::u16string_view text, char* out) noexcept {
    constexpr size_t step = 4;
    size_t done = 0;
    while (std::endian::native == std::endian::little && text.size() - done >= step) {
        uint64_t units;
        std::memcpy(&units, text.data() + done, sizeof units);
        if ((units & 0xFF80FF80FF80FF80U) != 0) break;
        units = (units | units >> 8U) & 0x0000FFFF0000FFFFU;
        const auto bytes = static_cast<uint32_t>(units | units >> 16U);
        std::memcpy(out + done, &bytes, sizeof bytes);
        done += step;
    }
    for (; done < text.size() && text[done] < 0x80; ++done) out[done] = static_cast<char>(text[done]);
    return done;
}

/* How many bytes the character takes with which the text begins; 0 when it is ill-formed or NUL. */
size_t characterLength(std::string_view text) noexcept {
    const auto byteAt = [text](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    const unsigned lead = byteAt(0);
    if (lead < 0x80) return lead == 0 ? 0 : 1;
    const size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    for (size_t i = 1; i < length; ++i)
        if ((byteAt(i) & 0xC0U) != 0x80U) return 0;
    // Longer than it need be, half of a surrogate pair, beyond the last character.
    const bool isOutside = (lead == 0xE0 && byteAt(1) < 0xA0) || (lead == 0xED && byteAt(1) >= 0xA0) ||
                           (lead == 0xF0 && byteAt(1) < 0x90) || (lead == 0xF4 && byteAt(1) >= 0x90);
    return isOutside ? 0 : length;
}

}  // namespace

size_t sqlpiFirstIllFormed(std::string_view text) noexcept {
    size_t at = 0;
    while (at < text.size()) {
        uint64_t bytes;
        // Eight characters of ASCII without a NUL at once.
        if (text.size() - at >= sizeof bytes) {
            std::memcpy(&bytes, text.data() + at, sizeof bytes);
            if (((bytes | (bytes - 0x0101010101010101U)) & 0x8080808080808080U) == 0) {
                at += sizeof bytes;
                continue;
            }
        }
        const size_t length = characterLength(text.substr(at));
        if (length == 0) break;
        at += length;
    }
    return at;
}

size_t sqlpiToUtf8(std::u16string_view text, char* out, size_t room) noexcept {
    size_t done = 0;
    size_t at = 0;
    while (true) {
        const size_t ascii = copyAscii(text.substr(at, room - done), out + done);
        at += ascii;
        done += ascii;
        if (at == text.size()) return done;
        const char32_t character = nextCharacter(text, at);
        const size_t length = character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
        if (length > room - done) return done;
        constexpr unsigned leadBits[] = {0, 0, 0xC0, 0xE0, 0xF0};
        for (size_t byte = 0; byte < length; ++byte) {
            const auto bits = static_cast<unsigned>(character >> (6 * (length - 1 - byte)));
            out[done++] = static_cast<char>(byte == 0 ? leadBits[length] | bits : 0x80U | (bits & 0x3FU));
        }
    }
}
