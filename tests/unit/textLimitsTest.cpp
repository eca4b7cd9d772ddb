/* What the message about a text that is too long says, beside how long texts may really be. */
#include <functional>

#include "base/sqlpiReport.h"
#include "messages.h"
#include "unit/validateSupport.h"

namespace {

using namespace validated;

class TextLimits : public services::DocumentTest {};

std::string message() {
    sqlca ca;
    sqloinca(&ca);
    sqlpiPrepSqlca(ca, SQLPI_REFUSED_DOCUMENT, nullptr, {SQLPI_TEXT_TOO_LONG});
    char text[1024] = "";
    EXPECT_GT(sqlaintp_api(text, sizeof text, 0, nullptr, &ca), 0);
    return text;
}

/* "2,047" */
std::string withComma(size_t number) {
    std::string digits = std::to_string(number);
    if (digits.size() > 3) digits.insert(digits.size() - 3, 1, ',');
    return digits;
}

TEST_F(TextLimits, TheMessageNamesTheRealOnes) {
    using Document = std::function<std::string(const std::string&)>;
    const struct {
        const char* what;
        Document document;
        const char* words; /* of the message, before the limit */
    } cases[] = {
        {"path", [](const std::string& text) { return backup(tape(text)); }, "its options may each have "},
        {"library", [](const std::string& text) { return backup(vendor(text, "")); }, "its options may each have "},
        {"options", [](const std::string& text) { return backup(vendor("l", text)); }, "its options may each have "},
        {"runstats filter", [](const std::string& text) { return runstats(text); }, "a runstats filter "},
        {"reorg filter", [](const std::string& text) { return reorg("", "", text); }, "a reorg filter "},
    };
    const std::string said = message();
    for (const auto& one : cases) {
        const auto verdictOf = [&](size_t length) {
            const std::string document = one.document(std::string(length, 'x'));
            return validate(typeOf(document), document);
        };
        size_t fits = 1;
        size_t tooLong = 5000;
        while (tooLong - fits > 1) {
            const size_t middle = (fits + tooLong) / 2;
            (verdictOf(middle).status == SQLPI_CONFIG_OK ? fits : tooLong) = middle;
        }
        EXPECT_EQ(verdictOf(fits).status, SQLPI_CONFIG_OK) << one.what;
        expectRefused(verdictOf(fits + 1), -1447, {"6"});
        EXPECT_NE(said.find(one.words + withComma(fits)), said.npos) << one.what << ": " << fits << " in: " << said;
    }
}

}  // namespace
