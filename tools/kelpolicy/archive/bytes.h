/* Bytes of any kind in JSON, and their checksums. */
#ifndef KELPOLICY_BYTES_H
#define KELPOLICY_BYTES_H

#include <optional>
#include <string>
#include <string_view>

#include "console/output.h"
#include "database/policyRow.h"

namespace kelpolicy {

/* SHA-256 in hexadecimal. */
std::string sha256(std::string_view bytes);

/* object[name] becomes the text. Bytes that are not UTF-8 are no text: object[name] is null then, and
 * object[name + "Base64"] has them. */
void putBytes(Json& object, const std::string& name, std::string_view bytes);

/* object["med"], ["decision"] and ["name"] become the parts of the key. */
void putKey(Json& object, const RowKey& key);

/* What putBytes has put; nothing when the object has no such member, or not as putBytes writes it. */
std::optional<std::string> takeBytes(const Json& object, const std::string& name);

}  // namespace kelpolicy

#endif
