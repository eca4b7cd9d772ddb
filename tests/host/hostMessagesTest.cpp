// The contract of messages and SQL communication areas.
#include "messages.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/callLevelClient.h"
#include "host/hostFixture.h"

namespace {

using hosttest::stateOf;
using hosttest::tokensOf;

std::vector<sqlageToken> tokenList(const std::vector<std::string>& texts) {
    std::vector<sqlageToken> tokens;
    for (const std::string& text : texts) tokens.push_back({text.data(), text.size()});
    return tokens;
}

sqlca area(int32_t sqlcode, const std::vector<std::string>& texts, const char* state = "00000") {
    sqlca ca{};
    sqloinca(&ca);
    const std::vector<sqlageToken> tokens = tokenList(texts);
    sqlage_prepare_sqlca(sqlcode, tokens.size(), tokens.data(), &ca);
    std::memcpy(ca.sqlstate, state, SQLCA_STATE_LENGTH);
    return ca;
}

std::string message(const sqlca& ca, uint32_t width = 0, size_t size = 4097, const char* file = SQL_MESSAGE_FILE) {
    std::string buffer(size + 1, '#');
    const int32_t length = sqlaintp_api(buffer.data(), size, width, file, &ca);
    EXPECT_EQ(buffer.back(), '#') << "written past the end";
    if (length < 0) return "failed";
    EXPECT_EQ(static_cast<size_t>(length), std::strlen(buffer.c_str()));
    return buffer.c_str();
}

TEST(HostMessages, AClearedAreaIsTheCommonOne) {
    sqlca ca;
    std::memset(&ca, 0x77, sizeof ca);
    sqloinca(&ca);
    EXPECT_EQ(sizeof ca, 136U);
    EXPECT_EQ(std::string(ca.sqlcaid, 8), "SQLCA   ");
    EXPECT_EQ(ca.sqlcabc, 136);
    EXPECT_EQ(ca.sqlcode, 0);
    EXPECT_EQ(ca.sqlerrml, 0);
    EXPECT_EQ(std::string(ca.sqlerrmc, 70), std::string(70, '\0'));
    EXPECT_EQ(std::string(ca.sqlerrp, 8), "        ");
    for (int32_t value : ca.sqlerrd) EXPECT_EQ(value, 0);
    EXPECT_EQ(std::string(ca.sqlwarn, 11), "           ");
    EXPECT_EQ(stateOf(ca), "00000");
}

TEST(HostMessages, TokensAreSeparatedByTheByteFF) {
    EXPECT_EQ(tokensOf(area(-171, {"2", "ROUTINE"})), "2\xFFROUTINE");
    EXPECT_EQ(tokensOf(area(-171, {"", "ROUTINE"})), "\xFFROUTINE");
    EXPECT_EQ(tokensOf(area(-171, {})), "");
    EXPECT_EQ(area(-171, {"x"}).sqlcode, -171);
    const sqlageToken missing = {nullptr, 5};
    sqlca ca{};
    sqlage_prepare_sqlca(-1, 1, &missing, &ca);
    EXPECT_EQ(ca.sqlerrml, 0);
}

TEST(HostMessages, OtherFieldsStayAsTheyAre) {
    sqlca ca{};
    sqloinca(&ca);
    std::memcpy(ca.sqlstate, "     ", 5);
    ca.sqlerrd[2] = 7;
    const sqlageToken token = {"t", 1};
    sqlage_prepare_sqlca(-1447, 1, &token, &ca);
    EXPECT_EQ(stateOf(ca), "     ");
    EXPECT_EQ(ca.sqlerrd[2], 7);
}

TEST(HostMessages, TokensAreCutAtTheFieldsEndBetweenCharacters) {
    EXPECT_EQ(tokensOf(area(-1, {std::string(80, 'x')})), std::string(70, 'x'));
    EXPECT_EQ(tokensOf(area(-1, {std::string(69, 'x') + "\xC3\xA4"})), std::string(69, 'x'));
    EXPECT_EQ(tokensOf(area(-1, {std::string(68, 'x') + "\xC3\xA4"})), std::string(68, 'x') + "\xC3\xA4");
    EXPECT_EQ(tokensOf(area(-1, {std::string(67, 'x') + "\xF0\x9F\x98\x80"})), std::string(67, 'x'));
    EXPECT_EQ(tokensOf(area(-1, {std::string(70, 'x'), "second"})), std::string(70, 'x')) << "no room for a separator";
    EXPECT_EQ(tokensOf(area(-1, {std::string(69, 'x'), "second"})), std::string(69, 'x') + "\xFF");
    EXPECT_EQ(tokensOf(area(-1, {std::string(200, '\x80')})).size(), 70U) << "no character begins here";
}

TEST(HostMessages, TheTextNamesSqlcodeTokensAndSqlstate) {
    const std::string text = message(area(-171, {"2", "AUTOMAINT_SET_POLICY"}, "5U0ZZ"));
    EXPECT_NE(text.find("0171N"), std::string::npos) << text;
    EXPECT_NE(text.find("Argument 2 of the routine \"AUTOMAINT_SET_POLICY\""), std::string::npos) << text;
    EXPECT_NE(text.find("SQLSTATE=5U0ZZ"), std::string::npos) << text;
    EXPECT_EQ(message(area(-171, {"2"}, "     ")).find("SQLSTATE"), std::string::npos)
        << "a blank SQLSTATE is not shown";
}

TEST(HostMessages, EverySqlcodeHasAText) {
    for (int32_t code : {0, 25, 100, -104, -204, -803, -911, -1436, -99999, -12345, 7, INT32_MIN, INT32_MAX}) {
        const std::string text = message(area(code, {"TOKEN"}, "12345"));
        EXPECT_NE(text.find(std::to_string(std::abs(int64_t{code}))), std::string::npos) << code << ": " << text;
        EXPECT_GT(text.size(), 20U) << code;
    }
}

TEST(HostMessages, PolicyErrorsSayWhatAndWhereAndWhatToDo) {
    struct Case {
        int32_t sqlcode;
        std::vector<std::string> tokens;
        std::string text;
    };
    for (const Case& one : std::vector<Case>{
             {-171,
              {"2", "AUTOMAINT_SET_POLICY"},
              "Argument 2 of the routine \"AUTOMAINT_SET_POLICY\" is missing or not valid."},
             {-1436, {"a.xml"}, "The policy file \"a.xml\" is missing, cannot be read, or is empty."},
             {-1448, {"a.xml"}, "The policy file \"a.xml\" cannot be written."},
             {-1437, {"3", "14", "element 'X'"}, "not correct at line 3, column 14: element 'X'"},
             {-1438, {}, "The policy document cannot be read: there is not enough memory"},
             {-1447, {"1"}, "reason 1: the directory or device of the backup location does not exist."},
             {-1447, {"4"}, "reason 4: it could not be parsed."},
             {-1447, {"5"}, "reason 5: it is not encoded in UTF-8."},
             {-1447,
              {"6"},
              "reason 6: a text is too long. In bytes, a path, a library's name and its options may each have 2,047,"},
             {-1447, {"7"}, "A value of the policy document cannot be used, reason 7."},
             {-1447, {}, "A value of the policy document cannot be used, reason ."},
             {-818, {"NULLID.P"}, "The package \"NULLID.P\" in the database and the program were not made together."},
             {-4711,
              {"what the driver said"},
              "KEL4711N  The database reports an outcome that has no text of its own: what the driver said"},
         }) {
        const std::string text = message(area(one.sqlcode, one.tokens));
        EXPECT_NE(text.find(one.text), std::string::npos) << one.sqlcode << ": " << text;
    }
}

TEST(HostMessages, ATextThatDoesNotFitIsCutBetweenCharacters) {
    const sqlca ca = area(-204, {"\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4"});
    const std::string whole = message(ca);
    for (size_t size = 1; size <= whole.size() + 1; ++size) {
        const std::string cut = message(ca, 0, size);
        EXPECT_LE(cut.size(), size - 1);
        EXPECT_GE(cut.size() + 2, std::min(size, whole.size() + 1));
        EXPECT_EQ(whole.substr(0, cut.size()), cut);
        EXPECT_TRUE(cut.size() == whole.size() || (static_cast<unsigned char>(whole[cut.size()]) & 0xC0U) != 0x80U)
            << size;
    }
    EXPECT_LT(sqlaintp_api(nullptr, 10, 0, SQL_MESSAGE_FILE, &ca), 0);
    char untouched = '?';
    EXPECT_LT(sqlaintp_api(&untouched, 0, 0, SQL_MESSAGE_FILE, &ca), 0);
    EXPECT_EQ(untouched, '?');
}

TEST(HostMessages, LinesAreBrokenBetweenWords) {
    const std::string text = message(area(-171, {"2", "ROUTINE"}, "5U0ZZ"), 30);
    EXPECT_NE(text.find('\n'), std::string::npos);
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        EXPECT_LE(end - begin, 30U) << text;
        begin = end + 1;
    }
    std::string joined = text;
    for (char& c : joined) c = c == '\n' ? ' ' : c;
    EXPECT_EQ(joined, message(area(-171, {"2", "ROUTINE"}, "5U0ZZ")));
}

TEST(HostMessages, AnAreaWithAWrongTokenLengthIsReadWithinItsField) {
    sqlca ca = area(-204, {std::string(70, 'T')});
    for (int16_t length : {int16_t{-1}, int16_t{71}, int16_t{INT16_MAX}, int16_t{INT16_MIN}}) {
        ca.sqlerrml = length;
        EXPECT_NE(message(ca), "failed") << length;
    }
}

// A catalogue made by the well-known tool that makes them.
class HostMessageFile : public hosttest::ContextTest {
protected:
    void makeCatalogue(const std::string& entries) {
        const std::string source = instancePath() + "/tmp/catalogue.po";
        std::ofstream(source) << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n" << entries;
        const std::string command =
            "msgfmt -o '" + instancePath() + "/misc/" SQL_MESSAGE_FILE "' '" + source + "' 2>&1";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
};

TEST_F(HostMessageFile, ItsTextsComeFirst) {
    makeCatalogue(
        "msgid \"KEL0204N\"\nmsgstr \"Es gibt kein \\\"{1}\\\" ({2}{3}).\"\n\n"
        "msgid \"KEL0100W\"\nmsgstr \"Keine Zeile.\"\n\n");
    EXPECT_NE(message(area(-204, {"A", "B"})).find("Es gibt kein \"A\" (B)."), std::string::npos);
    EXPECT_NE(message(area(100, {})).find("Keine Zeile."), std::string::npos);
    EXPECT_NE(message(area(-803, {"K"})).find("exists already"), std::string::npos) << "not in the file";
    EXPECT_NE(message(area(-1447, {"6"})).find("reason 6: a text is too long"), std::string::npos) << "not in the file";
    makeCatalogue(
        "msgid \"KEL1447N\"\nmsgstr \"Grund {1}.\"\n\nmsgid \"KEL1447N.6\"\nmsgstr \"Zu lang.\"\n\n"
        "msgid \"KEL0204N\"\nmsgstr \"Es gibt kein {1}.\"\n\n");
    EXPECT_NE(message(area(-1447, {"6"})).find("Zu lang."), std::string::npos) << "the reason's own text";
    EXPECT_NE(message(area(-1447, {"5"})).find("Grund 5."), std::string::npos) << "the file's text before another's";
    EXPECT_NE(message(area(-204, {"A"}), 0, 4097, nullptr).find("Es gibt kein"), std::string::npos) << "the usual file";
    EXPECT_NE(message(area(-204, {"A"}), 0, 4097, "other.mo").find("undefined name"), std::string::npos);
    EXPECT_NE(message(area(-204, {"A"}), 0, 4097, "../misc/" SQL_MESSAGE_FILE).find("undefined name"),
              std::string::npos)
        << "only files of the message directory are read";
}

TEST_F(HostMessageFile, ADamagedFileIsAsGoodAsNone) {
    makeCatalogue("msgid \"KEL0204N\"\nmsgstr \"Es gibt kein {1}.\"\n\n");
    const std::string path = instancePath() + "/misc/" SQL_MESSAGE_FILE;
    const std::string good = hosttest::readWhole(path);
    int found = 0;
    for (size_t i = 0; i < good.size(); ++i) {
        for (const char damage : {'\xFF', '\x7F', '\0'}) {
            std::string bad = good;
            bad[i] = damage;
            std::ofstream(path, std::ios::binary) << bad;
            const std::string text = message(area(-204, {"A"}));
            EXPECT_NE(text, "failed") << i;
            if (text.find("Es gibt") != std::string::npos) ++found;
        }
        std::ofstream(path, std::ios::binary) << good.substr(0, i);
        EXPECT_NE(message(area(-204, {"A"})), "failed") << i;
    }
    EXPECT_GT(found, 0) << "the catalogue was never read";
}

}  // namespace
