/* Bounded text: every text the library builds in a fixed buffer goes through here. Internal. */
#ifndef SQLPI_TEXT_H
#define SQLPI_TEXT_H

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string_view>

/* The longest prefix of `text` of at most `room` bytes that ends between UTF-8 characters. */
std::string_view sqlpiCutUtf8(std::string_view text, size_t room) noexcept;

/* A text that may be absent: null is empty. */
inline std::string_view sqlpiTextOrEmpty(const char* text) noexcept {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

/* The text in a field of fixed size, which need not be terminated. */
template <size_t Size>
std::string_view sqlpiFieldText(const char (&field)[Size]) noexcept {
    return {field, strnlen(field, Size)};
}

/* A row of a template: fixed text, and a text in it. */
struct sqlpiTextPiece {
    std::string_view before;
    std::string_view inserted = {};
    std::string_view behind = {};
};

/* Appends to a terminated text in a caller's buffer and knows whether it had to cut. */
class sqlpiTextBuilder {
public:
    /* Starts with an empty text; `capacity` bytes, terminator included.
     * REQUIRES: `capacity` is at least 1. */
    sqlpiTextBuilder(char* buffer, size_t capacity) noexcept;

    /* Goes on behind the terminated text that `buffer` already holds (a text without terminator is terminated in the
     * last byte). */
    static sqlpiTextBuilder continueIn(char* buffer, size_t capacity) noexcept;

    sqlpiTextBuilder& append(std::string_view text) noexcept;
    sqlpiTextBuilder& appendAll(std::initializer_list<sqlpiTextPiece> pieces) noexcept;
    sqlpiTextBuilder& appendFormat(const char* format, ...) noexcept __attribute__((format(printf, 2, 3)));
    sqlpiTextBuilder& appendFormatList(const char* format, va_list arguments) noexcept
        __attribute__((format(printf, 2, 0)));

    bool wasCut() const noexcept { return cut_; }
    size_t length() const noexcept { return length_; }

private:
    struct KeepText {};
    sqlpiTextBuilder(char* buffer, size_t capacity, KeepText) noexcept;

    char* buffer_;
    size_t capacity_;
    size_t length_ = 0;
    bool cut_ = false;
};

#endif
