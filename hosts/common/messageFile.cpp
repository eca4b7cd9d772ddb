// Layout of a compiled catalogue: magic, revision, count, offset of the key table, offset of the text table; a table
// entry is length and offset; keys are sorted.
#include "messageFile.h"

#include <cstdint>
#include <cstring>
#include <memory>

#include "files.h"

namespace kelhost {
namespace {

constexpr uint32_t magic = 0x950412DEU;
constexpr uint32_t swappedMagic = 0xDE120495U;
constexpr uint64_t largestFile = uint64_t{4} << 20U;

struct CloseFile {
    void operator()(OSSHFile* file) const noexcept { ossFileClose(file); }
};

std::optional<std::string> readFile(const std::string& path) {
    OSSHFile* opened = nullptr;
    if (ossFileOpen(&opened, path.c_str(), OSS_FILE_READ, 0) != OSS_OK) return std::nullopt;
    const std::unique_ptr<OSSHFile, CloseFile> file(opened);
    uint64_t size = 0;
    if (ossFileSize(opened, &size) != OSS_OK || size > largestFile) return std::nullopt;
    std::string bytes(size, '\0');
    size_t done = 0;
    if (ossFileRead(opened, bytes.data(), bytes.size(), &done) != OSS_OK || done != bytes.size()) return std::nullopt;
    return bytes;
}

class Catalogue {
public:
    explicit Catalogue(std::string_view bytes) : bytes_(bytes) {
        const uint32_t mark = number(0);
        swapped_ = mark == swappedMagic;
        usable_ = swapped_ || mark == magic;
    }

    std::optional<std::string_view> find(std::string_view key) const {
        if (!usable_) return std::nullopt;
        uint32_t low = 0;
        uint32_t high = number(8);
        while (low < high) {
            const uint32_t middle = low + (high - low) / 2;
            const int order = entry(number(12), middle).compare(key);
            if (order == 0) return entry(number(16), middle);
            (order < 0 ? low : high) = order < 0 ? middle + 1 : middle;
        }
        return std::nullopt;
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

std::optional<std::string> findMessage(const std::string& path, std::string_view key) {
    const std::optional<std::string> bytes = readFile(path);
    if (!bytes) return std::nullopt;
    const std::optional<std::string_view> text = Catalogue(*bytes).find(key);
    if (!text || text->empty()) return std::nullopt;
    return std::string(*text);
}

}  // namespace kelhost
