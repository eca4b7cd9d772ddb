/* UTF-8 from the XML library's 16-bit text. */
#include "base/sqlpiUtf8.h"

#include <string>

#include "balance.h"
#include "faulty.h"

namespace {

class Utf8 : public BalancedTest {
protected:
    ~Utf8() override { faulty::reset(); }

    static std::string converted(std::u16string_view text, size_t room = 1000) {
        std::string out(room + 1, '#');
        const size_t length = sqlpiToUtf8(text, out.data(), room);
        EXPECT_EQ(out[room], '#') << "behind the room";
        return out.substr(0, length);
    }
};

TEST_F(Utf8, EveryCharacterIsWrittenAsItIs) {
    for (char32_t character = 1; character <= 0x10FFFF; character += character < 0x3000 ? 1 : 61) {
        if (character >= 0xD800 && character <= 0xDFFF) continue;
        std::u16string text(1, static_cast<char16_t>(character));
        if (character > 0xFFFF)
            text = {static_cast<char16_t>(0xD7C0 + (character >> 10U)),
                    static_cast<char16_t>(0xDC00 + (character & 0x3FFU))};
        std::string expected;
        const auto part = [&](uint32_t lead, unsigned shift) {
            expected += static_cast<char>(lead | (character >> shift & (lead == 0x80U ? 0x3FU : 0xFFU)));
        };
        if (character < 0x80) part(0, 0);
        if (character >= 0x80 && character < 0x800) part(0xC0, 6), part(0x80, 0);
        if (character >= 0x800 && character < 0x10000) part(0xE0, 12), part(0x80, 6), part(0x80, 0);
        if (character >= 0x10000) part(0xF0, 18), part(0x80, 12), part(0x80, 6), part(0x80, 0);
        ASSERT_EQ(converted(text), expected) << static_cast<uint32_t>(character);
    }
    EXPECT_EQ(converted(u"\U0000FFFF\U00010000\U0010FFFF"), "\U0000FFFF\U00010000\U0010FFFF");
    EXPECT_EQ(converted(u""), "");
    EXPECT_EQ(converted({u"a\0b", 3}), std::string("a\0b", 3));
}

TEST_F(Utf8, HalfOfAPairIsReplaced) {
    const char16_t lead = 0xD83D, trail = 0xDE00;
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(converted(std::u16string{lead}), replacement);
    EXPECT_EQ(converted(std::u16string{trail}), replacement);
    EXPECT_EQ(converted(std::u16string{trail, lead}), replacement + replacement);
    EXPECT_EQ(converted(std::u16string{lead, lead, trail}), replacement + "\xF0\x9F\x98\x80");
    EXPECT_EQ(converted(std::u16string{u'a', lead, u'b', trail, u'c'}), "a" + replacement + "b" + replacement + "c");
    EXPECT_TRUE(sqlpiEndsInHalf(std::u16string{lead}));
    EXPECT_FALSE(sqlpiEndsInHalf(std::u16string{lead, trail}));
    EXPECT_FALSE(sqlpiEndsInHalf(u""));
}

TEST_F(Utf8, ItStopsBetweenCharactersWhereTheRoomEnds) {
    for (const std::u16string_view text : {u"abcdefghijk", u"\u00E4\u00F6\u00FC", u"ab\u20AC\u20ACcd",
                                           u"\U0001F600x\U0001F600", u"abcd\u00E4efgh\u20ACi"}) {
        const std::string whole = converted(text);
        for (size_t room = 0; room <= whole.size() + 1; ++room) {
            const std::string part = converted(text, room);
            ASSERT_EQ(part, whole.substr(0, part.size())) << room;
            ASSERT_TRUE(part.size() == whole.size() || part.size() + 4 > room) << room;
            ASSERT_TRUE(part.size() == whole.size() ||
                        (static_cast<unsigned char>(whole[part.size()]) & 0xC0U) != 0x80U)
                << room;
        }
    }
}

TEST_F(Utf8, ATerminatedCopyOfAnyLength) {
    for (const char16_t* character : {u"x", u"\u00E4", u"\u20AC"})
        for (size_t length = 0; length < 400; ++length) {
            std::u16string text;
            for (size_t i = 0; i < length; ++i) text += character;
            ASSERT_EQ(std::string(sqlpiUtf8Text(text).text()), converted(text, 3 * length)) << length;
        }
    faulty::failCall(faulty::Service::sqlogmblkEx, 1, faulty::Duration::forEver);
    EXPECT_STREQ(sqlpiUtf8Text(std::u16string(80, u'x')).text(), std::string(80, 'x').c_str());
    EXPECT_THROW(sqlpiUtf8Text(std::u16string(1000, u'x')), std::bad_alloc);
}

TEST_F(Utf8, EveryCharacterButNulIsWellFormedAndNothingElseIs) {
    // As many sequences of each length are whole characters as there are characters.
    const auto count = [](unsigned firstLead, unsigned lastLead, size_t length) {
        size_t wellFormed = 0;
        for (unsigned lead = firstLead; lead <= lastLead; ++lead)
            for (unsigned second = 0; second <= 0xFF; ++second)
                for (unsigned rest = 0; rest < 1U << (6 * (length - 2)); ++rest) {
                    const char bytes[4] = {static_cast<char>(lead), static_cast<char>(second),
                                           static_cast<char>(0x80U | (rest & 0x3FU)),
                                           static_cast<char>(0x80U | rest >> 6U)};
                    wellFormed += sqlpiFirstIllFormed({bytes, length}) == length;
                }
        return wellFormed;
    };
    EXPECT_EQ(count(0x80, 0xDF, 2), 0x800U - 0x80U);
    EXPECT_EQ(count(0xE0, 0xEF, 3), 0x10000U - 0x800U - 0x800U) << "without the halves of pairs";
    EXPECT_EQ(count(0xF0, 0xFF, 4), 0x110000U - 0x10000U);
    for (const char* outside : {"\xE0\x80\xBF", "\xED\xA0\x80", "\xF0\x80\xBF\xBF", "\xF4\x90\x80\x80"})
        EXPECT_EQ(sqlpiFirstIllFormed(outside), 0U) << "the second byte decides";
    for (unsigned byte = 0; byte <= 0xFF; ++byte) {
        const char text[1] = {static_cast<char>(byte)};
        EXPECT_EQ(sqlpiFirstIllFormed({text, 1}), byte > 0 && byte < 0x80 ? 1U : 0U) << byte;
    }
}

TEST_F(Utf8, TheFirstIllFormedCharacterIsFoundWhereverItBegins) {
    using namespace std::string_literals;
    for (const std::string& good : {"abcdefgh"s, "\u00E4\u20AC\U0001F600"s})
        for (const std::string& bad : {"\0"s, "\x80"s, "\xC0\x80"s, "\xE2\x82"s, "\xF5\x80\x80\x80"s, "\xFF"s}) {
            std::string before;
            for (int i = 0; i < 20; ++i, before += good + "x") {
                ASSERT_EQ(sqlpiFirstIllFormed(before), before.size());
                ASSERT_EQ(sqlpiFirstIllFormed(before + bad), before.size());
                ASSERT_EQ(sqlpiFirstIllFormed(before + bad + good), before.size());
            }
        }
}

TEST_F(Utf8, TheEndOfATextIsItsOwn) {
    const std::string around(64, 'a');  // what stands behind a text in memory is none of its
    for (size_t length = 0; length <= 24; ++length)
        EXPECT_EQ(sqlpiFirstIllFormed(std::string_view(around).substr(0, length)), length);
}

TEST_F(Utf8, ATextOccursInAnyCase) {
    for (const char16_t* text : {u"UTF-8", u"utf-8", u"xUtf-8x"}) EXPECT_TRUE(sqlpiOccursIn(text, "UTF-8"));
    for (const char16_t* text : {u"", u"UTF", u"UTF8", u"UTF_8", u"UT\u0146-8"})
        EXPECT_FALSE(sqlpiOccursIn(text, "UTF-8"));
    EXPECT_TRUE(sqlpiOccursIn(u"monday", "MON"));
    EXPECT_FALSE(sqlpiOccursIn(u"MO\u014E", "MON")) << "another character with the same low byte";
}

}  // namespace
