/* UTF-8 text of the XML library's 16-bit text. Internal. */
#ifndef SQLPI_UTF8_H
#define SQLPI_UTF8_H

#include <cstddef>
#include <memory>
#include <string_view>
#include <xercesc/util/TransService.hpp>

/* Copies ASCII characters to `out` and stops at the first other one; returns how many it copied.
 * REQUIRES: `out` has room for `text.size()` bytes. */
inline size_t sqlpiCopyAscii(std::u16string_view text, char* out) noexcept {
    size_t done = 0;
    while (done < text.size() && text[done] < 0x80) {
        out[done] = static_cast<char>(text[done]);
        ++done;
    }
    return done;
}

/* A terminated copy. Short ASCII text, which names and most values are, needs no allocation; other text goes through
 * the XML library's transcoder, which throws when there is no memory. */
class sqlpiUtf8Text {
public:
    explicit sqlpiUtf8Text(std::u16string_view text) {
        if (text.size() < sizeof short_ && sqlpiCopyAscii(text, short_) == text.size())
            short_[text.size()] = '\0';
        else
            long_ = std::make_unique<XERCES_CPP_NAMESPACE_QUALIFIER TranscodeToStr>(text.data(), text.size(), "UTF-8");
    }

    char* text() noexcept {
        // The transcoder terminates its result with four zero bytes.
        return long_ == nullptr ? short_ : reinterpret_cast<char*>(const_cast<XMLByte*>(long_->str()));
    }

private:
    char short_[128];
    std::unique_ptr<XERCES_CPP_NAMESPACE_QUALIFIER TranscodeToStr> long_;
};

#endif
