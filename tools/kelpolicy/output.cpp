#include "output.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "text.h"

namespace kelpolicy {
namespace {

bool wantsColour() {
    const char* refused = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

const char* codeOf(Style style) {
    switch (style) {
        case Style::heading:
            return "1";
        case Style::quiet:
            return "2";
        case Style::good:
            return "32";
        case Style::warning:
            return "33";
        case Style::bad:
            return "31";
    }
    return "0";
}

void writeTo(FILE* file, std::string_view text) {
    if (!text.empty()) std::fwrite(text.data(), 1, text.size(), file);
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

void Output::write(std::string_view text) {
    writeTo(stdout, text);
    if (writeFailure_ == 0 && std::ferror(stdout) != 0) writeFailure_ = errno;
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
    return colour_ ? fmt::format("\x1B[{}m{}\x1B[0m", codeOf(style), text) : std::string(text);
}

void Output::note(std::string_view text) {
    flush();
    writeTo(stderr, json_ ? jsonText({{"note", text}}) + "\n" : fmt::format("note: {}\n", printable(text)));
}

void Output::report(const Failure& failure) {
    flush();
    writeTo(stderr, json_ ? jsonText({{"error", errorObject(failure)}}) + "\n" : errorText(failure));
}

void Output::complain(const Failure& failure) {
    flush();
    Failure told = failure;
    if (told.detail.empty()) told.detail = failure.what();
    writeTo(stderr, shownDetail(told) + shownCodes(failure));
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
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace kelpolicy
