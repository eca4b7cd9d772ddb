// Layout of a compiled catalogue: magic, revision, count, offset of the key table, offset of the text table; a table
// entry is length and offset; keys are sorted.
#include "messageFile.h"

#include <cstdint>
#include <cstring>

namespace kelhost {
namespace {

constexpr uint32_t magic = 0x950412DEU;
constexpr uint32_t swappedMagic = 0xDE120495U;

class Catalogue {
public:
    explicit Catalogue(std::string_view bytes) noexcept : bytes_(bytes) {
        const uint32_t mark = number(0);
        swapped_ = mark == swappedMagic;
        usable_ = swapped_ || mark == magic;
    }

    std::string_view find(std::string_view key) const noexcept {
        if (!usable_) return {};
        uint32_t low = 0;
        uint32_t high = number(8);
        while (low < high) {
            const uint32_t middle = low + (high - low) / 2;
            const int order = entry(number(12), middle).compare(key);
            if (order == 0) return entry(number(16), middle);
            (order < 0 ? low : high) = order < 0 ? middle + 1 : middle;
        }
        return {};
    }

private:
    uint32_t number(uint64_t offset) const noexcept {
        uint32_t value = 0;
        if (offset + sizeof value > bytes_.size()) return 0;
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return swapped_ ? __builtin_bswap32(value) : value;
    }

    std::string_view entry(uint64_t table, uint64_t index) const noexcept {
        const uint64_t length = number(table + index * 8);
        const uint64_t offset = number(table + index * 8 + 4);
        if (offset > bytes_.size() || length > bytes_.size() - offset) return {};
        return bytes_.substr(offset, length);
    }

    std::string_view bytes_;
    bool swapped_ = false;
    bool usable_ = false;
};

}  // namespace

std::string_view findMessage(std::string_view catalogue, std::string_view key) noexcept {
    return Catalogue(catalogue).find(key);
}

}  // namespace kelhost
