/* A document in a file. */
#ifndef KELPOLICY_DOCUMENT_FILE_H
#define KELPOLICY_DOCUMENT_FILE_H

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace kelpolicy {

/* What a row of the policy table may hold. */
inline constexpr size_t largestPolicyDocument = size_t{2} << 20;

/* The file's bytes; "-" is standard input. Throws Failure when it cannot be read, is empty or longer than `limit`. */
std::string readDocument(const std::string& path, size_t limit = largestPolicyDocument);

/* The bytes of a file of the server, found as the engine finds it: below the directory, with no symbolic link on the
 * way. Nothing when the engine would not read it either. */
std::optional<std::string> peekAtServerFile(const std::string& directory, const std::string& name);

/* The document as messages name it. */
std::string documentName(const std::string& path);

/* The same in front of a place: "<stdin>" for "-". */
std::string documentInMessages(const std::string& path);

/* Appends what one read gives; how many bytes, 0 at the end, below 0 on failure with the reason in errno. */
ssize_t appendPiece(int descriptor, std::string& text);

}  // namespace kelpolicy

#endif
