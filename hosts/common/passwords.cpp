#include "passwords.h"

#include <algorithm>
#include <cctype>

namespace kelhost {
namespace {

constexpr std::string_view replacement = "***";
constexpr std::string_view blanks = " \t\r\n";

/* Whether a key's name ends so that its value is a secret: "PWD", "SSLPassword", "password2". */
bool isSecretKey(std::string_view name) {
    constexpr std::string_view endings[] = {"pwd",  "password", "passwd", "passphrase", "passcode",
                                            "pass", "secret",   "token",  "apikey",     "accesskey"};
    while (!name.empty() && std::isdigit(static_cast<unsigned char>(name.back())) != 0) name.remove_suffix(1);
    const auto isSame = [](char one, char other) { return std::tolower(static_cast<unsigned char>(one)) == other; };
    return std::any_of(std::begin(endings), std::end(endings), [&](std::string_view ending) {
        return name.size() >= ending.size() &&
               std::equal(ending.begin(), ending.end(), name.end() - static_cast<ptrdiff_t>(ending.size()),
                          [&isSame](char expected, char given) { return isSame(given, expected); });
    });
}

/* Where the value ends that begins at `begin`: at the ';' behind it, which braces and quotes hide. */
size_t valueEnd(std::string_view text, size_t begin) {
    const size_t last = text.size();
    if (begin == last) return last;
    const char opening = text[begin];
    if (opening != '{' && opening != '\'' && opening != '"') return std::min(text.find(';', begin), last);
    const char closing = opening == '{' ? '}' : opening;
    for (size_t i = begin + 1; i < last; ++i) {
        const bool isDoubled = text[i] == closing && i + 1 < last && text[i + 1] == closing;
        if (isDoubled || (text[i] == '\\' && opening != '{'))
            ++i;
        else if (text[i] == closing)
            return std::min(text.find(';', i), last);
    }
    return last;
}

void addValues(std::string_view text, std::vector<TextPart>& parts) {
    for (size_t sign = text.find('='); sign != std::string_view::npos; sign = text.find('=', sign + 1)) {
        const size_t nameEnd = text.find_last_not_of(blanks, sign == 0 ? 0 : sign - 1);
        if (sign == 0 || nameEnd == std::string_view::npos || !isSecretKey(text.substr(0, nameEnd + 1))) continue;
        const size_t begin = std::min(text.find_first_not_of(blanks, sign + 1), text.size());
        parts.push_back({begin, valueEnd(text, begin)});
    }
}

/* Whether a text begins with the number of a port, and a path if anything behind it. */
bool isPort(std::string_view text) {
    const size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
    return end > 0 && (end == text.size() || std::string_view("/?#,;").find(text[end]) != std::string_view::npos);
}

void addUserInformation(std::string_view text, std::vector<TextPart>& parts) {
    constexpr std::string_view mark = "://";
    for (size_t place = text.find(mark); place != std::string_view::npos; place = text.find(mark, place + 1)) {
        const size_t begin = place + mark.size();
        const size_t end = std::min(text.find_first_of(" \t\r\n\"'", begin), text.size());
        const size_t colon = text.substr(0, end).find(':', begin);
        const size_t at = text.substr(0, end).rfind('@');
        if (colon == std::string_view::npos) continue;
        if (at != std::string_view::npos && colon < at)
            parts.push_back({colon + 1, at});
        else if (end == text.size() && !isPort(text.substr(colon + 1)))
            parts.push_back({colon + 1, end});  // the text was cut before the '@'
    }
}

/* Without the braces or quotes around it. */
std::string_view bare(std::string_view value) {
    const bool isQuoted = value.size() >= 2 && std::string_view("{'\"").find(value.front()) != std::string_view::npos;
    return isQuoted ? value.substr(1, value.size() - 2) : value;
}

}  // namespace

std::vector<TextPart> passwordsIn(std::string_view text) {
    std::vector<TextPart> found;
    addValues(text, found);
    addUserInformation(text, found);
    std::sort(found.begin(), found.end(),
              [](const TextPart& one, const TextPart& other) { return one.begin < other.begin; });
    std::vector<TextPart> parts;
    for (const TextPart& part : found) {
        if (part.begin == part.end) continue;
        if (!parts.empty() && part.begin <= parts.back().end)
            parts.back().end = std::max(parts.back().end, part.end);
        else
            parts.push_back(part);
    }
    return parts;
}

std::string withoutPasswords(std::string_view text) {
    std::string shown;
    size_t done = 0;
    for (const TextPart& part : passwordsIn(text)) {
        shown.append(text.substr(done, part.begin - done)).append(replacement);
        done = part.end;
    }
    return shown.append(text.substr(done));
}

std::string withoutPasswords(std::string_view text, std::string_view connection) {
    constexpr size_t shortest = 4;  // a shorter one would be told by what is missing in the text
    std::string shown = withoutPasswords(text);
    for (const TextPart& part : passwordsIn(connection)) {
        const std::string_view password = bare(connection.substr(part.begin, part.end - part.begin));
        if (password.size() < shortest) continue;
        for (size_t place = shown.find(password); place != std::string::npos;
             place = shown.find(password, place + replacement.size()))
            shown.replace(place, password.size(), replacement);
    }
    return shown;
}

}  // namespace kelhost
