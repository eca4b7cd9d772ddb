#include "document/sqlpiXmlBounds.h"

#include <algorithm>

namespace {

/* Takes from what is left; false when that is too little. */
bool spend(size_t& left, size_t amount) noexcept {
    const bool enough = amount <= left;
    if (enough) left -= amount;
    return enough;
}

/* Whether a text refers to an entity that the document declares: neither a character nor one of the predefined. */
bool refersToEntity(std::u16string_view text) noexcept {
    constexpr std::u16string_view harmless[] = {u"#", u"amp;", u"lt;", u"gt;", u"quot;", u"apos;"};
    for (size_t at = text.find(u'&'); at != text.npos; at = text.find(u'&', at + 1)) {
        const std::u16string_view name = text.substr(at + 1);
        if (std::none_of(std::begin(harmless), std::end(harmless),
                         [name](std::u16string_view known) { return name.starts_with(known); }))
            return true;
    }
    return false;
}

}  // namespace

const XMLCh* sqlpiXmlBounds::declareEntity(const xercesc::DTDEntityDecl& entity) noexcept {
    if (entity.isExternal()) return u"The document declares an external entity, which is never read.";
    if (entity.getIsParameter()) return u"The document declares a parameter entity, which is never expanded.";
    if (!spend(entityText_, entity.getValueLen()))
        return u"The document declares longer entities than a policy may have.";
    if (entity.getValue() != nullptr && refersToEntity(entity.getValue()))
        return u"The document declares an entity that refers to another one.";
    return nullptr;
}

const XMLCh* sqlpiXmlBounds::defineAttribute(const xercesc::DTDAttDef& attribute) noexcept {
    if (!spend(attributeDefinitions_, 1)) return u"The document declares more attributes than a policy may have.";
    return attribute.getValue() == nullptr ? nullptr : spendText(std::u16string_view(attribute.getValue()).size());
}

const XMLCh* sqlpiXmlBounds::spendText(size_t characterCount) noexcept {
    return spend(text_, characterCount) ? nullptr
                                        : u"The document's declarations expand to more text than a policy may have.";
}

const XMLCh* sqlpiXmlBounds::spendComparisons(size_t count) noexcept {
    return spend(comparisons_, count) ? nullptr : u"The document's attribute names are made to be slow to tell apart.";
}

const XMLCh* sqlpiXmlBounds::readDeclarations(size_t byteCount) noexcept {
    return spend(declarations_, byteCount) ? nullptr
                                           : u"The document's declarations are longer than a policy may have.";
}
