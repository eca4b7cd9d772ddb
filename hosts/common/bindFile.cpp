#include "bindFile.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>

namespace kelhost {
namespace {

constexpr std::string_view firstLine = "kelpolicy bind file, version 1";
constexpr std::string_view typeNames[] = {"varchar", "integer", "blob"};
constexpr std::string_view kindNames[] = {"statement", "cursor", "dynamic"};

// FNV-1a with 64 bits: a fingerprint, no protection against somebody who wants two files to have the same.
uint64_t fingerprint(std::string_view bytes) noexcept {
    uint64_t hash = 14695981039346656037U;
    for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    return hash;
}

std::string hexadecimal(uint64_t number) {
    std::string digits(16, '0');
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, number >>= 4U) {
        *digit = "0123456789abcdef"[number & 15U];
    }
    return digits;
}

void writeVariables(std::string& out, std::string_view usage, const std::vector<BindVariable>& variables) {
    for (const BindVariable& variable : variables) {
        out += usage;
        out += ' ';
        out += typeNames[static_cast<size_t>(variable.type)];
        out += ' ' + std::to_string(variable.size) + (variable.nullable ? " nullable\n" : " present\n");
    }
}

std::string writeSections(const std::vector<BindSection>& sections) {
    std::string out;
    for (const BindSection& section : sections) {
        out += "section ";
        out += kindNames[static_cast<size_t>(section.kind)];
        out += ' ' + std::to_string(section.text.size()) + '\n' + section.text + '\n';
        writeVariables(out, "input", section.inputs);
        writeVariables(out, "output", section.outputs);
    }
    return out;
}

struct Malformed {
    std::string reason;
};

class Reader {
public:
    explicit Reader(std::string_view text) noexcept : text_(text) {}

    bool atEnd() const noexcept { return place_ == text_.size(); }
    size_t line() const noexcept { return line_; }

    void expectLine(std::string_view wanted) {
        if (take(wanted.size()) != wanted || take(1) != "\n")
            throw Malformed{"\"" + std::string(wanted) + "\" is missing"};
        ++line_;
    }

    // The rest of a line that begins with `keyword` and a blank.
    std::string_view valueOf(std::string_view keyword) {
        if (!follows(keyword)) throw Malformed{"\"" + std::string(keyword) + "\" is missing"};
        const std::string_view rest = text_.substr(place_ + keyword.size() + 1);
        const size_t end = rest.find('\n');
        if (end == std::string_view::npos) throw Malformed{"the line has no end"};
        place_ += keyword.size() + 1 + end + 1;
        ++line_;
        return rest.substr(0, end);
    }

    bool follows(std::string_view keyword) const noexcept {
        const std::string_view rest = text_.substr(place_);
        return rest.starts_with(keyword) && rest.substr(keyword.size()).starts_with(' ');
    }

    // `size` bytes and the end of their line.
    std::string_view block(size_t size) {
        const std::string_view bytes = take(size);
        if (bytes.size() != size || take(1) != "\n") throw Malformed{"the statement does not have its length"};
        line_ += 1 + static_cast<size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
        return bytes;
    }

private:
    std::string_view take(size_t size) noexcept {
        const std::string_view bytes = text_.substr(place_, size);
        place_ += bytes.size();
        return bytes;
    }

    std::string_view text_;
    size_t place_ = 0;
    size_t line_ = 1;
};

std::string_view takeWord(std::string_view& line) noexcept {
    const size_t end = std::min(line.find(' '), line.size());
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return word;
}

uint32_t numberOf(std::string_view word) {
    uint32_t number = 0;
    const auto [end, failure] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (failure != std::errc() || end != word.data() + word.size() || word.empty())
        throw Malformed{"a number is wrong"};
    return number;
}

template <class Value, size_t Count>
Value valueNamed(const std::string_view (&names)[Count], std::string_view name) {
    const auto* const found = std::find(std::begin(names), std::end(names), name);
    if (found == std::end(names)) throw Malformed{"\"" + std::string(name) + "\" is not known"};
    return static_cast<Value>(found - std::begin(names));
}

std::vector<BindVariable> readVariables(Reader& reader, std::string_view usage) {
    std::vector<BindVariable> variables;
    while (reader.follows(usage)) {
        if (variables.size() == mostBindVariables) throw Malformed{"there are too many host variables"};
        std::string_view line = reader.valueOf(usage);
        BindVariable variable;
        variable.type = valueNamed<HostType>(typeNames, takeWord(line));
        variable.size = numberOf(takeWord(line));
        if (line != "nullable" && line != "present") throw Malformed{"\"nullable\" or \"present\" is missing"};
        variable.nullable = line == "nullable";
        variables.push_back(variable);
    }
    return variables;
}

BindSection readSection(Reader& reader) {
    std::string_view line = reader.valueOf("section");
    BindSection section;
    section.kind = valueNamed<SectionKind>(kindNames, takeWord(line));
    section.text = reader.block(numberOf(line));
    if (section.text.empty() != (section.kind == SectionKind::dynamic)) {
        throw Malformed{"exactly the dynamic sections have no text"};
    }
    section.inputs = readVariables(reader, "input");
    section.outputs = readVariables(reader, "output");
    return section;
}

std::string readName(Reader& reader, std::string_view keyword) {
    const std::string_view name = reader.valueOf(keyword);
    if (!isPackageName(name)) throw Malformed{"the " + std::string(keyword) + " has no name that is possible"};
    return std::string(name);
}

// The file without its last line, whose checksum must be right.
std::string_view checkedPart(std::string_view text) {
    constexpr size_t lastLine = sizeof "checksum 0123456789abcdef";  // with its line end
    if (text.size() < lastLine) throw Malformed{"the file is too short"};
    const std::string_view checked = text.substr(0, text.size() - lastLine);
    if (text.substr(checked.size()) != "checksum " + hexadecimal(fingerprint(checked)) + '\n') {
        throw Malformed{"the checksum is wrong"};
    }
    return checked;
}

}  // namespace

bool isPackageName(std::string_view name) noexcept {
    constexpr size_t longest = 128;
    return !name.empty() && name.size() <= longest && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    });
}

ConsistencyToken consistencyTokenOf(const std::vector<BindSection>& sections) {
    uint64_t hash = fingerprint(writeSections(sections));
    ConsistencyToken token{};
    for (auto byte = token.rbegin(); byte != token.rend(); ++byte, hash >>= 8U) {
        *byte = static_cast<char>(static_cast<unsigned char>(hash & 255U));
    }
    return token;
}

std::string tokenText(const ConsistencyToken& token) {
    uint64_t number = 0;
    for (const char byte : token) number = number << 8U | static_cast<unsigned char>(byte);
    return hexadecimal(number);
}

std::string writeBindFile(const BindFile& file) {
    std::string out(firstLine);
    out += "\ncollection " + file.collection + "\npackage " + file.package + "\ntoken " +
           tokenText(consistencyTokenOf(file.sections)) + '\n' + writeSections(file.sections);
    return out + "checksum " + hexadecimal(fingerprint(out)) + '\n';
}

bool readBindFile(std::string_view text, BindFile& file, std::string& error) {
    if (!text.starts_with(firstLine)) {
        error = "line 1: it is no bind file of version 1";
        return false;
    }
    std::optional<Reader> reader;
    try {
        reader.emplace(checkedPart(text));
        reader->expectLine(firstLine);
        file.collection = readName(*reader, "collection");
        file.package = readName(*reader, "package");
        const std::string_view token = reader->valueOf("token");
        file.sections.clear();
        while (!reader->atEnd()) {
            if (file.sections.size() == mostBindSections) throw Malformed{"there are too many sections"};
            file.sections.push_back(readSection(*reader));
        }
        if (file.sections.empty()) throw Malformed{"there is no section"};
        if (token != tokenText(consistencyTokenOf(file.sections))) throw Malformed{"the token is wrong"};
        return true;
    } catch (const Malformed& malformed) {
        error = (reader ? "near line " + std::to_string(reader->line()) + ": " : "") + malformed.reason;
        return false;
    }
}

}  // namespace kelhost
