/* Numbers from text, as atoi and atol read them, with a defined result for every input. Internal. */
#ifndef SQLPI_NUMBER_H
#define SQLPI_NUMBER_H

#include <cstdint>
#include <limits>

/* Leading white space and one sign are accepted, reading stops at the first character that is no digit, a text without
 * digits (or null) is 0, and a number outside the type's range is the limit it passes. */
template <class Integer>
constexpr Integer sqlpiParseNumber(const char* text) noexcept {
    if (text == nullptr) return 0;
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
    const bool negative = *text == '-';
    if (negative || *text == '+') ++text;
    Integer value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        const Integer digit = static_cast<Integer>(*text - '0');
        if (__builtin_mul_overflow(value, 10, &value) ||
            (negative ? __builtin_sub_overflow(value, digit, &value) : __builtin_add_overflow(value, digit, &value)))
            return negative ? std::numeric_limits<Integer>::min() : std::numeric_limits<Integer>::max();
    }
    return value;
}

constexpr int32_t sqlpiToInt32(const char* text) noexcept {
    return sqlpiParseNumber<int32_t>(text);
}
constexpr int64_t sqlpiToInt64(const char* text) noexcept {
    return sqlpiParseNumber<int64_t>(text);
}

#endif
