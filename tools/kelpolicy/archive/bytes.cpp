#include "archive/bytes.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <array>
#include <new>

#include "console/text.h"

namespace kelpolicy {
namespace {

const unsigned char* octets(std::string_view bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

std::string base64(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // the encoder writes a terminator
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), octets(bytes), static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(length));
    return text;
}

/* Nothing when it is not exactly what base64() writes: the decoder takes blanks and a wrong end as well. */
std::optional<std::string> fromBase64(std::string_view text) {
    std::string bytes(text.size() / 4 * 3, '\0');
    const int length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()), octets(text), static_cast<int>(text.size()));
    const size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    if (length < static_cast<int>(padding)) return {};
    bytes.resize(static_cast<size_t>(length) - padding);
    if (base64(bytes) != text) return {};
    return bytes;
}

}  // namespace

std::string sha256(std::string_view bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();
    std::string text;
    for (size_t i = 0; i < length; ++i) text += fmt::format("{:02x}", digest.at(i));
    return text;
}

void putBytes(Json& object, const std::string& name, std::string_view bytes) {
    if (firstIllFormedByte(bytes) == bytes.size()) {
        object[name] = bytes;
        return;
    }
    object[name] = nullptr;
    object[name + "Base64"] = base64(bytes);
}

void putKey(Json& object, const RowKey& key) {
    putBytes(object, "med", key.med);
    putBytes(object, "decision", key.decision);
    putBytes(object, "name", key.name);
}

std::optional<std::string> takeBytes(const Json& object, const std::string& name) {
    const Json* text = object.find(name);
    if (text == nullptr) return {};
    if (text->isText()) return text->text();
    const Json* encoded = object.find(name + "Base64");
    if (!text->isNull() || encoded == nullptr || !encoded->isText()) return {};
    return fromBase64(encoded->text());
}

}  // namespace kelpolicy
