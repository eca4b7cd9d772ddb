#include "messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "files.h"
#include "hostFile.h"
#include "hostText.h"
#include "installedFiles.h"
#include "instance.h"
#include "messageFile.h"

using kelhost::cutText;
using kelhost::findMessage;

namespace {

std::string_view tokensOf(const sqlca& ca) noexcept {
    const auto used = static_cast<size_t>(std::max<int16_t>(ca.sqlerrml, 0));
    return {ca.sqlerrmc, std::min(used, sizeof ca.sqlerrmc)};
}

std::vector<std::string_view> splitTokens(std::string_view tokens) {
    std::vector<std::string_view> parts;
    while (!tokens.empty()) {
        const size_t end = std::min(tokens.find(SQLCA_TOKEN_SEPARATOR), tokens.size());
        parts.push_back(tokens.substr(0, end));
        tokens.remove_prefix(std::min(end + 1, tokens.size()));
    }
    return parts;
}

std::string fillIn(std::string_view pattern, const std::vector<std::string_view>& tokens) {
    std::string text;
    while (!pattern.empty()) {
        const bool isToken =
            pattern.size() >= 3 && pattern[0] == '{' && pattern[1] >= '1' && pattern[1] <= '9' && pattern[2] == '}';
        if (!isToken) {
            text += pattern[0];
            pattern.remove_prefix(1);
            continue;
        }
        const auto index = static_cast<size_t>(pattern[1] - '1');
        if (index < tokens.size()) text += tokens[index];
        pattern.remove_prefix(3);
    }
    return text;
}

std::string pathOf(const char* messageFile) {
    const std::string name = messageFile == nullptr ? SQL_MESSAGE_FILE : messageFile;
    const kelhost::Instance* instance = kelhost::threadScope().instance;
    if (instance == nullptr || name.find('/') != std::string::npos) return {};
    return instance->messageFiles() + "/" + name;
}

// "KEL0204N" for -204; W for a warning.
std::string messageKey(int32_t sqlcode) {
    return fmt::format("KEL{:04}{}", std::abs(static_cast<int64_t>(sqlcode)), sqlcode < 0 ? 'N' : 'W');
}

// A reason's own text comes before the message's.
std::string_view findText(std::string_view catalogue, const std::string& key, std::string_view reason) {
    const std::string_view text = findMessage(catalogue, key + '.' + std::string(reason));
    return text.empty() ? findMessage(catalogue, key) : text;
}

std::string messageText(const char* messageFile, const sqlca& ca) {
    constexpr size_t largestCatalogue = size_t{4} << 20U;
    const std::string key = messageKey(ca.sqlcode);
    const std::vector<std::string_view> tokens = splitTokens(tokensOf(ca));
    const std::string_view reason = tokens.empty() ? "" : tokens.front();
    const std::string path = pathOf(messageFile);
    std::string catalogue;
    std::string_view pattern;
    if (!path.empty() && kelhost::readWholeFile(path.c_str(), largestCatalogue, catalogue) == OSS_OK) {
        pattern = findText(catalogue, key, reason);
    }
    if (pattern.empty()) pattern = findText(kelhost::installedCatalogue(), key, reason);
    if (pattern.empty()) pattern = findMessage(kelhost::installedCatalogue(), "KELOTHER");
    std::string text = key + "  " + fillIn(pattern, tokens);
    const std::string_view state(ca.sqlstate, SQLCA_STATE_LENGTH);
    if (state.find_first_of(std::string_view(" \0", 2)) == std::string_view::npos)
        text += fmt::format("  SQLSTATE={}", state);
    return text;
}

// Puts line ends for blanks so that no line is longer than the width, where its words allow.
void breakLines(std::string& text, size_t width) {
    size_t start = 0;
    size_t blank = std::string::npos;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            start = i + 1;
            blank = std::string::npos;
        } else if (text[i] == ' ') {
            blank = i;
        }
        if (i - start >= width && blank != std::string::npos && i + 1 > start) {
            text[blank] = '\n';
            start = blank + 1;
            blank = std::string::npos;
        }
    }
}

}  // namespace

void sqloinca(struct sqlca* ca) {
    *ca = {};
    std::memcpy(ca->sqlcaid, "SQLCA   ", sizeof ca->sqlcaid);
    ca->sqlcabc = sizeof *ca;
    std::memset(ca->sqlerrp, ' ', sizeof ca->sqlerrp);
    std::memset(ca->sqlwarn, ' ', sizeof ca->sqlwarn);
    std::memcpy(ca->sqlstate, "00000", sizeof ca->sqlstate);
}

void sqlage_prepare_sqlca(int32_t sqlcode, size_t tokenCount, const struct sqlageToken* tokens, struct sqlca* ca) {
    ca->sqlcode = sqlcode;
    std::memset(ca->sqlerrmc, 0, sizeof ca->sqlerrmc);
    size_t used = 0;
    for (size_t i = 0; i < tokenCount && used < sizeof ca->sqlerrmc; ++i) {
        if (i > 0) ca->sqlerrmc[used++] = SQLCA_TOKEN_SEPARATOR;
        const std::string_view whole(tokens[i].text == nullptr ? "" : tokens[i].text,
                                     tokens[i].text == nullptr ? 0 : tokens[i].length);
        const std::string_view token = cutText(whole, sizeof ca->sqlerrmc - used);
        token.copy(ca->sqlerrmc + used, token.size());
        used += token.size();
    }
    ca->sqlerrml = static_cast<int16_t>(used);
}

int32_t sqlaintp_api(char* buffer, size_t size, uint32_t lineWidth, const char* messageFile, const struct sqlca* ca) {
    if (buffer == nullptr || size == 0) return -1;
    buffer[0] = '\0';
    try {
        std::string text = messageText(messageFile, *ca);
        std::replace(text.begin(), text.end(), '\0', ' ');
        if (lineWidth > 0) breakLines(text, lineWidth);
        const std::string_view kept = cutText(text, std::min<size_t>(size - 1, INT32_MAX));
        kept.copy(buffer, kept.size());
        buffer[kept.size()] = '\0';
        return static_cast<int32_t>(kept.size());
    } catch (const std::exception&) {
        return -1;
    }
}
