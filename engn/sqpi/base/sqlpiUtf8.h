/* UTF-8 text of the XML library's 16-bit text. Internal. */
#ifndef SQLPI_UTF8_H
#define SQLPI_UTF8_H

#include <algorithm>
#include <cstddef>
#include <new>
#include <string_view>

#include "base/sqlpiOwn.h"

/* Whether the text ends in the first half of a surrogate pair; the XML library lets such attributes and processing
 * instructions pass. */
inline bool sqlpiEndsInHalf(std::u16string_view text) noexcept {
    return !text.empty() && (text.back() & 0xFC00U) == 0xD800U;
}

/* Writes the text as UTF-8, without a terminator; stops between characters where `room` bytes end. Half of a surrogate
 * pair becomes the replacement character. Returns how many bytes it wrote: at most three for each unit of the text. */
size_t sqlpiToUtf8(std::u16string_view text, char* out, size_t room) noexcept;

/* Where the first character of UTF-8 text begins that is ill-formed or NUL; the text's length when there is none. */
size_t sqlpiFirstIllFormed(std::string_view text) noexcept;

/* Whether an ASCII text occurs in another one, whatever the case of its letters. */
inline bool sqlpiOccursIn(std::u16string_view text, std::string_view wanted) noexcept {
    const auto upper = [](char16_t letter) { return letter >= u'a' && letter <= u'z' ? letter - u'a' + u'A' : letter; };
    return std::search(text.begin(), text.end(), wanted.begin(), wanted.end(), [upper](char16_t a, char b) {
               return upper(a) == upper(static_cast<unsigned char>(b));
           }) != text.end();
}

/* A terminated copy. Short text, which names and most values are, needs no allocation; other text throws bad_alloc when
 * there is no memory. */
class sqlpiUtf8Text {
public:
    explicit sqlpiUtf8Text(std::u16string_view text) {
        const size_t most = 3 * text.size() + 1;
        if (most > sizeof short_) long_ = sqlpiTakeBlock(most, "sqlpiUtf8");
        if (most > sizeof short_ && long_ == nullptr) throw std::bad_alloc();
        this->text()[sqlpiToUtf8(text, this->text(), most - 1)] = '\0';
    }

    char* text() noexcept { return long_ == nullptr ? short_ : long_.get(); }

private:
    char short_[256];
    sqlpiBlock long_{nullptr, {}};
};

#endif
