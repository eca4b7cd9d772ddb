/* What a document is that was given in place of another. */
#ifndef KELPOLICY_DOCUMENT_IDENTITY_H
#define KELPOLICY_DOCUMENT_IDENTITY_H

#include <optional>
#include <string>
#include <string_view>

namespace kelpolicy {

struct DocumentIdentity {
    std::string what; /* "is ..." */
    std::string hint; /* which command takes it */
    bool isText;      /* its lines can be shown */
};

/* The root element of documents of the policy language. */
inline constexpr std::string_view documentLanguage = "PolicyDocument";

/* What the document is; nothing when it has the root element that it should have, or is none of this program's
 * documents either. The document need not be XML at all. */
std::optional<DocumentIdentity> identifyDocument(std::string_view document, std::string_view expectedRoot);

}  // namespace kelpolicy

#endif
