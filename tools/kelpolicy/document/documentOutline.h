/* The elements of a policy-language document with what the engine's tree does not hold of them: where they stand, and
 * their attributes as they are written. */
#ifndef KELPOLICY_DOCUMENT_OUTLINE_H
#define KELPOLICY_DOCUMENT_OUTLINE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "console/text.h"
#include "sqlpiPolicyBase.h"

namespace kelpolicy {

class DocumentOutline {
public:
    static constexpr uint32_t none = UINT32_MAX;

    /* Text, attributes and place are kept of elements only that a policy is read from. */
    struct Element {
        SQLPI_POL_ELEMENT_TYPE type;
        uint32_t parent;
        uint32_t previous; /* before and behind it in the same element */
        uint32_t next;
        uint32_t words; /* what is kept of it */
    };

    /* The root that the engine reads from and all below it, in document order.
     * REQUIRES: the engine's parser accepts the document. */
    explicit DocumentOutline(const std::string& document);

    const std::vector<Element>& elements() const noexcept { return elements_; }
    const Element& at(uint32_t element) const { return elements_[element]; }
    uint32_t firstChild(uint32_t element) const;
    SQLPI_POL_ELEMENT_TYPE typeOf(uint32_t element) const {
        return element == none ? SQLPI_ELEMENT_NONE : elements_[element].type;
    }

    TextPlace place(uint32_t element) const { return wordsOf(element).place; }
    /* All character data directly inside; null when there is none. */
    const std::string* text(uint32_t element) const {
        const std::optional<std::string>& text = wordsOf(element).text;
        return text.has_value() ? &*text : nullptr;
    }
    using Attribute = std::pair<std::string, std::string>;
    const std::vector<Attribute>& attributes(uint32_t element) const { return wordsOf(element).attributes; }

private:
    class Reader;

    struct Words {
        TextPlace place = {0, 0};
        std::optional<std::string> text{};
        std::vector<Attribute> attributes{};
    };
    const Words& wordsOf(uint32_t element) const;

    std::vector<Element> elements_{};
    std::vector<Words> words_{};
};

}  // namespace kelpolicy

#endif
