#include "console/json.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace kelpolicy {

Json::Json(const char* text) : value_(std::string(text)) {}
Json::Json(std::string_view text) : value_(std::string(text)) {}
Json::Json(std::string text) : value_(std::move(text)) {}

Json::Json(std::initializer_list<Json> elements) {
    const auto isMember = [](const Json& element) {
        const auto* pair = std::get_if<Elements>(&element.value_);
        return pair != nullptr && pair->size() == 2 && pair->front().isText();
    };
    if (!std::all_of(elements.begin(), elements.end(), isMember)) {
        value_ = Elements(elements);
        return;
    }
    Members& members = value_.emplace<Members>();
    for (const Json& element : elements) members.emplace_back(element.elements()[0].text(), element.elements()[1]);
}

Json::Json(const Json& other) = default;
Json::Json(Json&& other) noexcept = default;
Json& Json::operator=(Json other) noexcept {
    value_ = std::move(other.value_);
    return *this;
}
Json::~Json() = default;

Json Json::array(Elements elements) {
    Json value;
    value.value_ = std::move(elements);
    return value;
}
Json Json::object(Members members) {
    Json value;
    value.value_ = std::move(members);
    return value;
}

const std::string& Json::text() const {
    if (const auto* text = std::get_if<std::string>(&value_)) return *text;
    throw JsonError("a value is no text");
}
uint64_t Json::number() const {
    if (const auto* number = std::get_if<uint64_t>(&value_)) return *number;
    throw JsonError("a value is no whole number");
}
const Json::Elements& Json::elements() const {
    if (const auto* elements = std::get_if<Elements>(&value_)) return *elements;
    throw JsonError("a value is no array");
}
const Json::Members& Json::members() const {
    if (const auto* members = std::get_if<Members>(&value_)) return *members;
    throw JsonError("a value is no object");
}

void Json::push_back(Json element) {
    if (isNull()) value_.emplace<Elements>();
    std::get<Elements>(value_).push_back(std::move(element));
}

const Json* Json::find(std::string_view name) const noexcept {
    const auto* members = std::get_if<Members>(&value_);
    if (members == nullptr) return nullptr;
    const auto found =
        std::find_if(members->begin(), members->end(), [name](const auto& member) { return member.first == name; });
    return found == members->end() ? nullptr : &found->second;
}

const Json& Json::at(std::string_view name) const {
    if (const Json* value = find(name)) return *value;
    throw JsonError(fmt::format("there is no \"{}\"", name));
}

Json& Json::operator[](std::string_view name) {
    if (isNull()) value_.emplace<Members>();
    if (const Json* value = find(name)) return const_cast<Json&>(*value);
    return std::get<Members>(value_).emplace_back(name, Json()).second;
}

void Json::erase(std::string_view name) {
    std::erase_if(std::get<Members>(value_), [name](const auto& member) { return member.first == name; });
}

bool operator==(const Json& left, const Json& right) {
    return left.value_ == right.value_;
}

/* The values of this program nest a few levels deep, and those that it reads no deeper than it is told: recursion is
 * bounded. */
struct Json::Text {
    using Tree = nlohmann::ordered_json;

    static Tree treeOf(const Json& value) {
        return std::visit([](const auto& content) { return treeOfContent(content); }, value.value_);
    }
    static Tree treeOfContent(const Elements& elements) {
        Tree tree = Tree::array();
        for (const Json& element : elements) tree.push_back(treeOf(element));
        return tree;
    }
    static Tree treeOfContent(const Members& members) {
        Tree tree = Tree::object();
        for (const auto& [name, value] : members) tree[name] = treeOf(value);
        return tree;
    }
    template <class Content>
    static Tree treeOfContent(const Content& content) {
        return content;
    }

    static Json valueOf(const Tree& tree) {
        if (tree.is_boolean()) return tree.get<bool>();
        if (tree.is_number_unsigned()) return tree.get<uint64_t>();
        if (tree.is_number_integer()) return tree.get<int64_t>();
        if (tree.is_number()) return tree.get<double>();
        if (tree.is_string()) return tree.get<std::string>();
        Json value;
        if (tree.is_array()) {
            value = array();
            for (const Tree& element : tree) value.push_back(valueOf(element));
        } else if (tree.is_object()) {
            value = object();
            for (const auto& [name, member] : tree.items()) value[name] = valueOf(member);
        }
        return value;
    }
};

Json Json::parse(const std::string& text, int deepest) {
    const auto isShallow = [deepest](int depth, Text::Tree::parse_event_t /*event*/, Text::Tree& /*value*/) {
        if (depth > deepest) throw JsonError("it nests too deep");
        return true;
    };
    try {
        return Text::valueOf(Text::Tree::parse(text, isShallow));
    } catch (const Text::Tree::exception& exception) {
        throw JsonError(exception.what());
    }
}

std::string Json::dump(int indent) const {
    return Text::treeOf(*this).dump(indent, ' ', false, Text::Tree::error_handler_t::replace);
}

}  // namespace kelpolicy
