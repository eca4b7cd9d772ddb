#include "console/output.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <system_error>

#include "console/text.h"
#include "passwords.h"

namespace kelpolicy {
namespace {

bool isTerminal(FILE* file) {
    static const bool isOut = ::isatty(STDOUT_FILENO) == 1;
    static const bool isError = ::isatty(STDERR_FILENO) == 1;
    return file == stdout ? isOut : isError;
}

bool wantsColour() {
    const char* refused = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return isTerminal(stdout) && (refused == nullptr || *refused == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

/* The sequences of the styles, in their order, and the one that ends them. */
constexpr std::string_view sequences[] = {"\x1B[1m", "\x1B[2m", "\x1B[32m", "\x1B[33m", "\x1B[31m", "\x1B[0m"};
constexpr std::string_view plain = std::end(sequences)[-1];

/* Bytes of one of these sequences at the text's beginning, 0 when there is none. */
size_t sequenceLength(std::string_view text) {
    for (const std::string_view sequence : sequences)
        if (text.starts_with(sequence)) return sequence.size();
    return 0;
}

/* What a terminal gets of a text: nothing that acts on it but styles. */
std::string fitForTerminal(std::string_view text, bool hasStyles) {
    std::string shown;
    while (!text.empty()) {
        const size_t escape = hasStyles ? std::min(text.find('\x1B'), text.size()) : text.size();
        shown += printableLines(text.substr(0, escape));
        text.remove_prefix(escape);
        const size_t length = sequenceLength(text);
        shown += length > 0 ? text.substr(0, length) : printable(text.substr(0, 1));
        text.remove_prefix(std::min(std::max<size_t>(length, 1), text.size()));
    }
    return shown;
}

}  // namespace

Json errorObject(const Failure& failure) {
    Json error = {{"message", failure.what()},
                  {"hint", failure.hint},
                  {"sqlcode", failure.sqlcode},
                  {"sqlstate", failure.sqlstate}};
    if (!failure.tokens.empty()) error["tokens"] = failure.tokens;
    if (!failure.policy.empty()) error["policy"] = failure.policy;
    if (!failure.document.empty()) error["document"] = failure.document;
    if (failure.line > 0) {
        error["line"] = failure.line;
        error["column"] = failure.column;
    }
    if (!failure.detail.empty()) error["detail"] = failure.detail;
    return error;
}

namespace {

/* The same failure as it can be told: a message may quote a connection string. */
Failure withoutPasswords(const Failure& failure) {
    Failure told(kelhost::withoutPasswords(failure.what()), kelhost::withoutPasswords(failure.hint), failure.sqlcode,
                 failure.sqlstate);
    told.policy = failure.policy;
    told.line = failure.line;
    told.column = failure.column;
    for (const std::string& token : failure.tokens) told.tokens.push_back(kelhost::withoutPasswords(token));
    told.document = kelhost::withoutPasswords(failure.document);
    told.detail = kelhost::withoutPasswords(failure.detail);
    told.excerpt = failure.excerpt;
    return told;
}

/* Codes, tokens and what to do. */
std::string shownCodes(const Failure& failure) {
    std::string text = fmt::format("  SQLCODE {}, SQLSTATE {}\n", failure.sqlcode, failure.sqlstate);
    for (size_t i = 0; i < failure.tokens.size(); ++i)
        text += fmt::format("{}\"{}\"", i == 0 ? "  Tokens " : ", ", printable(failure.tokens[i]));
    if (!failure.tokens.empty()) text += "\n";
    return text + fmt::format("  {}\n", printable(failure.hint));
}

std::string errorText(const Failure& failure) {
    std::string text = fmt::format("kelpolicy: {}\n", printable(failure.what()));
    if (!failure.detail.empty()) text += shownDetail(failure);
    return text + shownCodes(failure);
}

}  // namespace

Output::Output(bool json) : json_(json), colour_(!json && wantsColour()) {}

void writeText(FILE* file, std::string_view text, bool hasStyles) {
    const std::string shown = isTerminal(file) ? fitForTerminal(text, hasStyles) : std::string();
    if (!shown.empty()) text = shown;
    if (!text.empty()) std::fwrite(text.data(), 1, text.size(), file);
}

void Output::write(std::string_view text) {
    writePart(text, colour_);
}

void Output::writePart(std::string_view text, bool hasStyles) {
    writeText(stdout, text, hasStyles);
    if (writeFailure_ == 0 && std::ferror(stdout) != 0) writeFailure_ = errno;
}

void Output::writeDocument(std::string_view document, bool inWholeLines) {
    writePart(document, false);
    if ((inWholeLines || isTerminal(stdout)) && !document.ends_with('\n')) writeLine();
}

void Output::writeLine(std::string_view text) {
    write(text);
    write("\n");
}

void Output::writeJson(const Json& value) {
    writeLine(jsonText(value, 2));
}

void Output::writeTable(const std::vector<std::vector<std::string>>& rows) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i + 1 < row.size(); ++i) widths[i] = std::max(widths[i], displayWidth(row[i]));
    }
    for (const auto& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) line += i + 1 < row.size() ? padded(row[i], widths[i] + 2) : row[i];
        line.erase(line.find_last_not_of(' ') + 1);
        writeLine(line);
    }
}

std::string Output::styled(Style style, std::string_view text) const {
    return colour_ ? fmt::format("{}{}{}", sequences[static_cast<size_t>(style)], text, plain) : std::string(text);
}

void Output::note(std::string_view remark) {
    flush();
    const std::string text = kelhost::withoutPasswords(remark);
    writeText(stderr, json_ ? jsonText({{"note", text}}) + "\n" : fmt::format("note: {}\n", printable(text)));
}

void Output::report(const Failure& whole) {
    flush();
    const Failure failure = withoutPasswords(whole);
    writeText(stderr, json_ ? jsonText({{"error", errorObject(failure)}}) + "\n" : errorText(failure));
}

void Output::complain(const Failure& whole) {
    flush();
    Failure failure = withoutPasswords(whole);
    if (failure.detail.empty()) failure.detail = failure.what();
    writeText(stderr, shownDetail(failure) + shownCodes(failure));
}

void Output::flush() {
    if (std::fflush(stdout) != 0 && writeFailure_ == 0) writeFailure_ = errno;
}

void Output::finish() {
    flush();
    if (writeFailure_ == 0) return;
    throw Failure(
        fmt::format("cannot write all of the answer to standard output: {}",
                    std::generic_category().message(writeFailure_)),
        "What the command changes is done, only the answer is missing. Open standard output, or make room where "
        "it goes.",
        systemErrorCode, systemErrorState);
}

std::string jsonText(const Json& value, int indent) {
    return escapedInJson(value.dump(indent));
}

std::string valueInWords(const Json& value) {
    return value.isText() ? "\"" + value.text() + "\"" : jsonText(value);
}

}  // namespace kelpolicy
