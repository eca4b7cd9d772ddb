/* JSON values, as a program is answered with and as the files of a dump hold them. The library that reads and writes
 * their text is behind this: it takes long to compile. */
#ifndef KELPOLICY_JSON_H
#define KELPOLICY_JSON_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace kelpolicy {

/* A text is no JSON, or a value is not what is asked of it. */
class JsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Json {
public:
    using Elements = std::vector<Json>;
    using Members = std::vector<std::pair<std::string, Json>>; /* in the order in which they came */

    Json(std::nullptr_t = nullptr) noexcept {}
    template <class Number>
    requires std::integral<Number> || std::is_enum_v<Number> Json(Number number)
    noexcept {
        if constexpr (std::same_as<Number, bool>)
            value_ = number;
        else if (number < Number{})
            value_ = static_cast<int64_t>(number);
        else
            value_ = static_cast<uint64_t>(number);
    }
    Json(double number) noexcept : value_(number) {}
    Json(const char* text);
    Json(std::string_view text);
    Json(std::string text);
    template <class Element>
    Json(const std::vector<Element>& elements) : value_(Elements(elements.begin(), elements.end())) {}
    /* An object where all elements are pairs {"name", value}, else an array. */
    Json(std::initializer_list<Json> elements);

    Json(const Json& other);
    Json(Json&& other) noexcept;
    Json& operator=(Json other) noexcept;
    ~Json();

    static Json array(Elements elements = {});
    static Json object(Members members = {});

    /* Reads a text. Throws JsonError when it is no JSON, or nests deeper than `deepest`. */
    static Json parse(const std::string& text, int deepest);

    bool isNull() const noexcept { return std::holds_alternative<std::nullptr_t>(value_); }
    bool isText() const noexcept { return std::holds_alternative<std::string>(value_); }
    bool isNumber() const noexcept { return std::holds_alternative<uint64_t>(value_); } /* whole, from 0 */
    bool isObject() const noexcept { return std::holds_alternative<Members>(value_); }

    /* Each throws JsonError where the value is something else. */
    const std::string& text() const;
    uint64_t number() const;
    const Elements& elements() const;
    const Members& members() const;

    void push_back(Json element);

    /* A member of an object; null where there is none. */
    const Json* find(std::string_view name) const noexcept;
    /* The same; throws JsonError where there is none. */
    const Json& at(std::string_view name) const;
    /* The same, which becomes one of it; a null value becomes an object. */
    Json& operator[](std::string_view name);
    void erase(std::string_view name);

    friend bool operator==(const Json& left, const Json& right);

    /* The value's text, on one line where `indent` is below 0. Bytes that are not UTF-8 become the replacement
     * character. */
    std::string dump(int indent = -1) const;

private:
    struct Text; /* knows the library */

    std::variant<std::nullptr_t, bool, int64_t, uint64_t, double, std::string, Elements, Members> value_;
};

}  // namespace kelpolicy

#endif
