/* Bounded texts and numbers. */
#include "base/sqlpiText.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "base/sqlpiNumber.h"

namespace {

TEST(Text, CutsFallBetweenCharacters) {
    const struct {
        const char* text;
        size_t room;
        const char* cut;
    } cases[] = {{"abc", 3, "abc"},
                 {"abc", 4, "abc"},
                 {"abc", 2, "ab"},
                 {"abc", 0, ""},
                 {"", 0, ""},
                 {"a\xC3\xA4z", 2, "a"},
                 {"a\xC3\xA4z", 3, "a\xC3\xA4"},
                 {"\xE2\x82\xAC", 2, ""},
                 {"x\xF0\x9F\x98\x80y", 4, "x"},
                 {"x\xF0\x9F\x98\x80y", 5, "x\xF0\x9F\x98\x80"}};
    for (const auto& c : cases) EXPECT_EQ(sqlpiCutUtf8(c.text, c.room), c.cut) << c.text << " in " << c.room;
}

TEST(Text, WhatIsNoUtf8IsCutAtTheByte) {
    const std::string continuations(10, '\x80');
    EXPECT_EQ(sqlpiCutUtf8(continuations, 7).size(), 7U);
}

/* Every capacity of a builder, in a buffer whose neighbours must survive. */
template <class Build>
void inEveryCapacity(const std::string& whole, Build build) {
    for (size_t capacity = 1; capacity <= whole.size() + 2; ++capacity) {
        SCOPED_TRACE(capacity);
        std::vector<char> buffer(capacity + 2, '#');
        sqlpiTextBuilder builder(buffer.data() + 1, capacity);
        build(builder);
        const std::string expected(sqlpiCutUtf8(whole, capacity - 1));
        EXPECT_EQ(std::string(buffer.data() + 1), expected);
        EXPECT_EQ(builder.length(), expected.size());
        EXPECT_EQ(builder.wasCut(), whole.size() > capacity - 1);
        EXPECT_EQ(buffer.front(), '#');
        EXPECT_EQ(buffer.back(), '#');
    }
}

TEST(Text, AppendsWhatFits) {
    inEveryCapacity("one two", [](sqlpiTextBuilder& text) { text.append("one").append("").append(" two"); });
    inEveryCapacity("\xC3\xA4\xF0\x9F\x98\x80\xE2\x82\xAC",
                    [](sqlpiTextBuilder& text) { text.append("\xC3\xA4\xF0\x9F\x98\x80\xE2\x82\xAC"); });
}

TEST(Text, AppendsTheRowsOfATemplate) {
    inEveryCapacity("one [in] two(", [](sqlpiTextBuilder& text) {
        text.appendAll({{"one "}, {"[", "in", "]"}, {" two", "("}, {""}}).appendAll({});
    });
}

TEST(Text, AbsentTextsAreEmpty) {
    EXPECT_EQ(sqlpiTextOrEmpty(nullptr), "");
    EXPECT_EQ(sqlpiTextOrEmpty(""), "");
    EXPECT_EQ(sqlpiTextOrEmpty("abc"), "abc");
}

TEST(Text, FieldsEndWithTheirTerminatorOrTheirSize) {
    const char terminated[5] = {'a', 'b', '\0', 'c', '\0'};
    const char full[3] = {'a', 'b', 'c'};
    const char none[1] = {'\0'};
    EXPECT_EQ(sqlpiFieldText(terminated), "ab");
    EXPECT_EQ(sqlpiFieldText(full), "abc");
    EXPECT_EQ(sqlpiFieldText(none), "");
}

TEST(Text, FormatsWhatFits) {
    inEveryCapacity("7 and x", [](sqlpiTextBuilder& text) { text.appendFormat("%d and %s", 7, "x"); });
    inEveryCapacity("\xC3\xA4\xF0\x9F\x98\x80\xE2\x82\xAC",
                    [](sqlpiTextBuilder& text) { text.appendFormat("%s", "\xC3\xA4\xF0\x9F\x98\x80\xE2\x82\xAC"); });
}

TEST(Text, AFormatThatFailsAppendsNothing) {
    char buffer[16];
    sqlpiTextBuilder text(buffer, sizeof buffer);
    text.append("abc").appendFormat("d%lc", static_cast<wint_t>(0xE4));  // no character of the process's locale
    EXPECT_TRUE(text.wasCut());
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(text.length(), 3U);
}

TEST(Text, GoesOnBehindWhatIsThere) {
    char buffer[8] = "abc";
    sqlpiTextBuilder::continueIn(buffer, sizeof buffer).append("defgh");
    EXPECT_STREQ(buffer, "abcdefg");
    char unterminated[4] = {'a', 'b', 'c', 'd'};
    const sqlpiTextBuilder full = sqlpiTextBuilder::continueIn(unterminated, sizeof unterminated);
    EXPECT_STREQ(unterminated, "abc");
    EXPECT_EQ(full.length(), 3U);
}

TEST(Number, EveryInputHasAResult) {
    EXPECT_EQ(sqlpiToInt32(nullptr), 0);
    EXPECT_EQ(sqlpiToInt32(""), 0);
    EXPECT_EQ(sqlpiToInt32("-"), 0);
    EXPECT_EQ(sqlpiToInt32("2147483647"), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(sqlpiToInt32("2147483648"), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(sqlpiToInt32("-2147483648"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(sqlpiToInt32("-2147483649"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(sqlpiToInt32(std::string(1000, '9').c_str()), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(sqlpiToInt64("9223372036854775807"), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(sqlpiToInt64("9223372036854775808"), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(sqlpiToInt64("-9223372036854775808"), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(sqlpiToInt64(("-" + std::string(1000, '9')).c_str()), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(sqlpiToInt64(" \t\r\n\v\f+12 34"), 12);
}

}  // namespace
