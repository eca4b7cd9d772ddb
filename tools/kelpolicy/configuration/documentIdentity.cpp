#include "configuration/documentIdentity.h"

#include <fmt/format.h>

#include <algorithm>

#include "configuration/configurationTypes.h"

namespace kelpolicy {
namespace {

/* Whether the text begins so, which is then taken off. */
bool take(std::string_view& text, std::string_view beginning) {
    if (!text.starts_with(beginning)) return false;
    text.remove_prefix(beginning.size());
    return true;
}

void skipBehind(std::string_view& text, std::string_view end) {
    const size_t place = text.find(end);
    text.remove_prefix(place == std::string_view::npos ? text.size() : place + end.size());
}

/* An internal subset stands in brackets. What looks like its end in a literal misleads this, and nothing else. */
void skipDocumentType(std::string_view& text) {
    const size_t subset = text.find('[');
    if (subset < text.find('>')) skipBehind(text, "]");
    skipBehind(text, ">");
}

/* The name of the first start tag without its prefix; empty when something else stands there. */
std::string_view rootOf(std::string_view text) {
    take(text, "\xEF\xBB\xBF");
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
        if (take(text, "<!--"))
            skipBehind(text, "-->");
        else if (take(text, "<?"))
            skipBehind(text, "?>");
        else if (take(text, "<!DOCTYPE"))
            skipDocumentType(text);
        else
            break;
    }
    if (!take(text, "<")) return {};
    const std::string_view name = text.substr(0, text.find_first_of(" \t\r\n/>"));
    return name.substr(name.find(':') + 1);
}

/* A declaration in UTF-16, with the name of the encoding; the bytes that are 0 left out. */
bool isUtf16ThatDeclaresUtf8(std::string_view document) {
    constexpr size_t longestDeclaration = 200;
    const std::string_view beginning = document.substr(0, longestDeclaration);
    const bool isUtf16 = beginning.starts_with("\xFF\xFE") || beginning.starts_with("\xFE\xFF") ||
                         beginning.starts_with(std::string_view("<\0", 2)) ||
                         beginning.starts_with(std::string_view("\0<", 2));
    std::string declaration(beginning);
    std::erase(declaration, '\0');
    declaration.erase(std::min(declaration.find('>'), declaration.size()));
    return isUtf16 &&
           (declaration.find("UTF-8") != std::string::npos || declaration.find("utf-8") != std::string::npos);
}

}  // namespace

std::optional<DocumentIdentity> identifyDocument(std::string_view document, std::string_view expectedRoot) {
    if (isUtf16ThatDeclaresUtf8(document))
        return DocumentIdentity{"is encoded in UTF-16 and declares UTF-8", "Save the document as UTF-8.", false};
    const std::string_view root = rootOf(document);
    if (root == expectedRoot) return {};
    if (root == documentLanguage)
        return DocumentIdentity{"is a policy-language document, as the policy table holds it",
                                "\"kelpolicy extract\" makes a configuration document of it, \"kelpolicy install\" "
                                "stores it as it is.",
                                true};
    for (const ConfigurationType& type : configurationTypes)
        if (root == type.root)
            return DocumentIdentity{fmt::format("is a configuration document of {}", type.name),
                                    fmt::format("\"kelpolicy set {0} PATH\" sets it, \"kelpolicy convert {0} PATH\" "
                                                "makes a policy-language document of it.",
                                                type.shortName),
                                    true};
    return {};
}

}  // namespace kelpolicy
