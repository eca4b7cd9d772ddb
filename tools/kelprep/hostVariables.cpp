#include "hostVariables.h"

#include <algorithm>
#include <charconv>

namespace kelprep {
namespace {

using kelhost::HostType;

constexpr uint32_t largestArray = 32767;

// Reads the tokens of one declaration.
class Declaration {
public:
    Declaration(const std::vector<Token>& tokens, Place end) noexcept : tokens_(tokens), end_(end) {}

    bool accept(std::string_view text) noexcept {
        const bool found = index_ < tokens_.size() && tokens_[index_].is(text);
        if (found) ++index_;
        return found;
    }
    void expect(std::string_view text) {
        if (!accept(text)) fail("\"" + std::string(text) + "\" is missing");
    }
    std::string_view word(const char* what) { return take(TokenKind::word, what); }
    std::string_view number(const char* what) { return take(TokenKind::number, what); }
    bool atEnd() const noexcept { return index_ == tokens_.size(); }

    [[noreturn]] void fail(const std::string& message) const {
        throw SourceError(index_ < tokens_.size() ? tokens_[index_].place : end_, message);
    }

private:
    std::string_view take(TokenKind kind, const char* what) {
        if (index_ == tokens_.size() || tokens_[index_].kind != kind) fail(std::string(what) + " is missing");
        return tokens_[index_++].text;
    }

    const std::vector<Token>& tokens_;
    Place end_;
    size_t index_ = 0;
};

uint32_t arraySize(Declaration& declaration) {
    uint32_t size = 0;
    const std::string_view digits = declaration.number("the array's size, a decimal number,");
    const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), size);
    if (failure != std::errc() || end != digits.data() + digits.size() || size == 0 || size > largestArray) {
        declaration.fail("the array's size must be a decimal number from 1 to " + std::to_string(largestArray));
    }
    declaration.expect("]");
    return size;
}

std::string variableCode(const char* function, const HostVariable& variable, const HostVariable* indicator) {
    std::string code = "kelprep::" + std::string(function) + "(" + variable.name;
    if (variable.type == CppType::charArray) code += ", sizeof " + variable.name;
    return code + ", " + (indicator == nullptr ? "nullptr" : "&" + indicator->name) + ")";
}

VariableUse use(const char* functions[3], const HostVariable& variable, const HostVariable* indicator, Place place) {
    if (indicator != nullptr && indicator->type != CppType::int16) {
        throw SourceError(place, "the indicator \"" + indicator->name + "\" must be an int16_t");
    }
    const bool nullable = indicator != nullptr;
    switch (variable.type) {
        case CppType::charArray:
        case CppType::charPointer:
            return {{HostType::varchar, variable.size, nullable}, variableCode(functions[0], variable, indicator)};
        case CppType::int32:
            return {{HostType::integer, 0, nullable}, variableCode(functions[1], variable, indicator)};
        case CppType::blob:
            return {{HostType::blob, 0, nullable}, variableCode(functions[2], variable, indicator)};
        case CppType::int16:
            break;
    }
    throw SourceError(place, "\"" + variable.name + "\" is an int16_t, which serves as an indicator only");
}

}  // namespace

void HostVariables::declare(const std::vector<Token>& tokens, Place end, size_t depth) {
    Declaration declaration(tokens, end);
    HostVariable variable;
    variable.depth = depth;
    variable.isConst = declaration.accept("const");
    if (declaration.accept("char")) {
        variable.type = declaration.accept("*") ? CppType::charPointer : CppType::charArray;
    } else if (declaration.accept("int32_t")) {
        variable.type = CppType::int32;
    } else if (declaration.accept("int16_t")) {
        variable.type = CppType::int16;
    } else if (declaration.accept("sqlaBlob")) {
        variable.type = CppType::blob;
    } else {
        declaration.fail("a host variable is a char array, char*, int32_t, int16_t (an indicator) or sqlaBlob");
    }
    variable.name = declaration.word("the variable's name");
    if (variable.type == CppType::charArray) {
        declaration.expect("[");
        variable.size = arraySize(declaration);
    }
    const bool isComplete = declaration.atEnd() || declaration.accept("=") || declaration.accept("{");
    if (!isComplete) declaration.fail("one variable for each declaration, with or without a value");
    variables_.push_back(std::move(variable));
}

void HostVariables::leaveBlock(size_t depth) {
    std::erase_if(variables_, [depth](const HostVariable& variable) { return variable.depth > depth; });
}

const HostVariable& HostVariables::find(const Token& name) const {
    const auto found = std::find_if(variables_.rbegin(), variables_.rend(),
                                    [&](const HostVariable& variable) { return variable.name == name.text; });
    if (found == variables_.rend()) {
        throw SourceError(name.place, "\"" + std::string(name.text) + "\" is not declared in a declare section here");
    }
    return *found;
}

VariableUse useAsInput(const HostVariable& variable, const HostVariable* indicator, Place place) {
    const char* functions[] = {"text", "number", "blob"};
    return use(functions, variable, indicator, place);
}

VariableUse useAsOutput(const HostVariable& variable, const HostVariable* indicator, Place place) {
    if (variable.isConst || variable.type == CppType::charPointer) {
        throw SourceError(place, "\"" + variable.name +
                                     "\" cannot receive a value: that takes a char array, int32_t or " +
                                     "sqlaBlob that is not const");
    }
    const char* functions[] = {"textRoom", "numberRoom", "blobRoom"};
    return use(functions, variable, indicator, place);
}

}  // namespace kelprep
