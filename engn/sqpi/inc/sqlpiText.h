/* Bounded text: every text the library builds in a fixed buffer goes through here. Internal. */
#ifndef SQLPI_TEXT_H
#define SQLPI_TEXT_H

#include <cstdarg>
#include <cstddef>
#include <string_view>

/* The longest prefix of `text` of at most `room` bytes that ends between UTF-8 characters. */
std::string_view sqlpiCutUtf8(std::string_view text, size_t room) noexcept;

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
