/* The catalogues of element and attribute names: lookup by hash, and the class of each element. */
#include "model/sqlpiPolicyCatalogue.h"

#include <array>
#include <type_traits>

namespace {

constexpr std::array<std::string_view, SQLPI_ELEMENT_TYPES> elementNames = {
    "NONE",
#define SQLPI_ELEMENT(value, enumerator, name, elementClass) name,
#include "sqlpiPolicyElements.def"
#undef SQLPI_ELEMENT
};

constexpr std::array<std::string_view, SQLPI_ATTRIBUTE_TYPES> attributeNames = {
    "*** Unknown Attribute ***",
#define SQLPI_ATTRIBUTE(value, enumerator, name) name,
#include "sqlpiPolicyAttributes.def"
#undef SQLPI_ATTRIBUTE
};

template <class Character>
constexpr bool sameName(std::basic_string_view<Character> name, std::string_view entry) noexcept {
    if constexpr (std::is_same_v<Character, char>) return name == entry;
    if (name.size() != entry.size()) return false;
    for (size_t i = 0; i < name.size(); ++i)
        if (name[i] != static_cast<Character>(entry[i])) return false;
    return true;
}

/* Finds a name's position in a catalogue as a walk in order would: the first equal entry from 1 on, else 0. Open
 * addressing; the places are computed when this file is compiled. */
template <size_t Entries, size_t Places>
class NameIndex {
    static_assert((Places & (Places - 1)) == 0 && Places > Entries && Entries <= 256);

public:
    explicit constexpr NameIndex(const std::array<std::string_view, Entries>& names) : names_(names) {
        for (size_t entry = 1; entry < Entries; ++entry) {
            const size_t place = placeOf(names[entry]);
            if (places_[place] == 0) places_[place] = static_cast<uint8_t>(entry);
        }
    }

    template <class Character>
    constexpr uint8_t find(std::basic_string_view<Character> name) const noexcept {
        return places_[placeOf(name)];
    }

private:
    /* The place where the name stands, or the free place where it would. */
    template <class Character>
    constexpr size_t placeOf(std::basic_string_view<Character> name) const noexcept {
        size_t place = hash(name) & (Places - 1);
        while (places_[place] != 0 && !sameName(name, names_[places_[place]])) place = (place + 1) & (Places - 1);
        return place;
    }

    /* Length, and the four characters by which the catalogue's names differ most. */
    template <class Character>
    static constexpr size_t hash(std::basic_string_view<Character> name) noexcept {
        const size_t length = name.size();
        if (length == 0) return 0;
        const auto at = [&](size_t i) { return static_cast<size_t>(name[i]); };
        return length * 7 + at(length - 1) * 31 + at(length / 2) * 131 + at(length / 4) * 17 + at(length * 3 / 4) * 5;
    }

    std::array<std::string_view, Entries> names_;
    std::array<uint8_t, Places> places_{};
};

constexpr NameIndex<SQLPI_ELEMENT_TYPES, 512> elementIndex(elementNames);
constexpr NameIndex<SQLPI_ATTRIBUTE_TYPES, 64> attributeIndex(attributeNames);

template <class Element>
SQLPIPolicyElement* make() noexcept {
    return new Element;
}

constexpr std::array<SQLPIPolicyElement* (*)() noexcept, SQLPI_ELEMENT_TYPES> elementMakers = {
    make<SQLPIPolicyElement>,
#define SQLPI_ELEMENT(value, enumerator, name, elementClass) make<elementClass>,
#include "sqlpiPolicyElements.def"
#undef SQLPI_ELEMENT
};

}  // namespace

const char* sqlpiElementName(SQLPI_POL_ELEMENT_TYPE type) noexcept {
    return elementNames[type < SQLPI_ELEMENT_TYPES ? type : SQLPI_ELEMENT_NONE].data();
}

const char* sqlpiAttributeName(SQLPI_POL_ATTRIBUTE_TYPE type) noexcept {
    return attributeNames[type < SQLPI_ATTRIBUTE_TYPES ? type : SQLPI_ATTRIBUTE_UNKNOWN].data();
}

SQLPI_POL_ELEMENT_TYPE sqlpiElementTypeOf(std::string_view name) noexcept {
    return static_cast<SQLPI_POL_ELEMENT_TYPE>(elementIndex.find(name));
}

SQLPI_POL_ELEMENT_TYPE sqlpiElementTypeOf(std::u16string_view name) noexcept {
    return static_cast<SQLPI_POL_ELEMENT_TYPE>(elementIndex.find(name));
}

SQLPI_POL_ATTRIBUTE_TYPE sqlpiAttributeTypeOf(std::u16string_view name) noexcept {
    return static_cast<SQLPI_POL_ATTRIBUTE_TYPE>(attributeIndex.find(name));
}

SQLPI_POL_ATTRIBUTE_TYPE SQLPIPolicyElement::getAttributeType(const char* name) noexcept {
    if (name == nullptr) return SQLPI_ATTRIBUTE_UNKNOWN;
    return static_cast<SQLPI_POL_ATTRIBUTE_TYPE>(attributeIndex.find(std::string_view(name)));
}

SQLPIPolicyElement* sqlpiNewElement(SQLPI_POL_ELEMENT_TYPE type) noexcept {
    return elementMakers[type < SQLPI_ELEMENT_TYPES ? type : SQLPI_ELEMENT_NONE]();
}
