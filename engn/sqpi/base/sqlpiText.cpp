#include "base/sqlpiText.h"

#include <cstdio>
#include <cstring>

std::string_view sqlpiCutUtf8(std::string_view text, size_t room) noexcept {
    if (text.size() <= room) return text;
    // A continuation byte (10xxxxxx) at the cut belongs to a character that began before it.
    constexpr size_t longestCharacter = 4;
    size_t end = room;
    while (end > 0 && room - end < longestCharacter && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    const bool isCharacterStart = (static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U;
    return text.substr(0, isCharacterStart ? end : room);
}

sqlpiTextBuilder::sqlpiTextBuilder(char* buffer, size_t capacity) noexcept : buffer_(buffer), capacity_(capacity) {
    buffer_[0] = '\0';
}

sqlpiTextBuilder::sqlpiTextBuilder(char* buffer, size_t capacity, KeepText) noexcept
    : buffer_(buffer), capacity_(capacity), length_(strnlen(buffer, capacity - 1)) {
    buffer_[length_] = '\0';
}

sqlpiTextBuilder sqlpiTextBuilder::continueIn(char* buffer, size_t capacity) noexcept {
    return {buffer, capacity, KeepText{}};
}

sqlpiTextBuilder& sqlpiTextBuilder::append(std::string_view text) noexcept {
    const std::string_view fitting = sqlpiCutUtf8(text, capacity_ - 1 - length_);
    if (!fitting.empty()) std::memcpy(buffer_ + length_, fitting.data(), fitting.size());
    length_ += fitting.size();
    buffer_[length_] = '\0';
    cut_ = cut_ || fitting.size() < text.size();
    return *this;
}

sqlpiTextBuilder& sqlpiTextBuilder::appendAll(std::initializer_list<sqlpiTextPiece> pieces) noexcept {
    for (const sqlpiTextPiece& piece : pieces) append(piece.before).append(piece.inserted).append(piece.behind);
    return *this;
}

sqlpiTextBuilder& sqlpiTextBuilder::appendFormat(const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    appendFormatList(format, arguments);
    va_end(arguments);
    return *this;
}

sqlpiTextBuilder& sqlpiTextBuilder::appendFormatList(const char* format, va_list arguments) noexcept {
    const size_t room = capacity_ - length_;
    const int wanted = std::vsnprintf(buffer_ + length_, room, format, arguments);
    if (wanted < 0) {
        buffer_[length_] = '\0';
        cut_ = true;
    } else if (static_cast<size_t>(wanted) < room) {
        length_ += static_cast<size_t>(wanted);
    } else {
        cut_ = true;
        if (room > 1) {
            // vsnprintf cuts at a byte; drop a character it cut in two (its first byte tells how long it was).
            const std::string_view written(buffer_ + length_, room - 1);
            size_t last = written.size() - 1;
            while (last > 0 && (static_cast<unsigned char>(written[last]) & 0xC0U) == 0x80U) --last;
            const auto lead = static_cast<unsigned char>(written[last]);
            const size_t wants = lead >= 0xF0U ? 4 : lead >= 0xE0U ? 3 : lead >= 0xC0U ? 2 : 1;
            length_ += last + wants <= written.size() ? written.size() : last;
        }
        buffer_[length_] = '\0';
    }
    return *this;
}
