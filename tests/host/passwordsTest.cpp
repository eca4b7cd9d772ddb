// No text that people see holds a password of a connection string.
#include "passwords.h"

#include <gtest/gtest.h>

namespace {

using kelhost::withoutPasswords;

TEST(Passwords, AreReplacedWhereverAConnectionStringHoldsThem) {
    const struct {
        const char* text;
        const char* shown;
    } cases[] = {
        {"", ""},
        {"=", "="},
        {"DSN=kel", "DSN=kel"},
        {"DSN=kel;UID=u;PWD=s3cret;Database=d", "DSN=kel;UID=u;PWD=***;Database=d"},
        {"pwd=s3cret", "pwd=***"},
        {"PassWord = s3cret;x=y", "PassWord = ***;x=y"},
        {"PWD=", "PWD="},
        {"PWD=;UID=u", "PWD=;UID=u"},
        {"PWD=two words;UID=u", "PWD=***;UID=u"},
        {"PWD=a=b@c/d;UID=u", "PWD=***;UID=u"},
        {"PWD={s3;c}}r;et};UID=u", "PWD=***;UID=u"},
        {"PWD={never closed;UID=u", "PWD=***"},
        {"PWD={a}b;UID=u", "PWD=***;UID=u"},
        {"PWD={};UID=u", "PWD=***;UID=u"},
        {"DRIVER={x;PWD=y};PWD=s3cret;", "DRIVER={x;PWD=***;PWD=***;"},
        {"SSLPassword=a;Password2=b;client_secret=c;AccessToken=d",
         "SSLPassword=***;Password2=***;client_secret=***;AccessToken=***"},
        {"host=h password='it''s ; \\' here';x=y", "host=h password=***;x=y"},
        {"password='never closed;x=y", "password=***"},
        {"pqopt={host=h password=s3cret}", "pqopt={host=h password=***"},
        {"cannot use \"DSN=x;PWD=s3cret;UID=u\": no", "cannot use \"DSN=x;PWD=***;UID=u\": no"},
        {"cannot use \"DSN=x;PWD=s3cret\": no", "cannot use \"DSN=x;PWD=***"},
        {"a://u:s3cret@h:5432/d", "a://u:***@h:5432/d"},
        {"a://u:p@ss/w:rd@h/d says no", "a://u:***@h/d says no"},
        {"a://u@h/d", "a://u@h/d"},
        {"a://u:s3cr", "a://u:***"},
        {"a://u:5s3cr", "a://u:***"},
        {"a://h:80", "a://h:80"},
        {"no a://h:x here", "no a://h:x here"},
        {"a://h:80/x", "a://h:80/x"},
        {"a://u:one@h b://v:two@i", "a://u:***@h b://v:***@i"},
        {"a://u:one@h?password=two;x", "a://u:***@h?password=***;x"},
        {"UID=me@corp;Server=tcp:h,1", "UID=me@corp;Server=tcp:h,1"},
        {"password authentication failed for user \"u\"", "password authentication failed for user \"u\""},
        {"the password: none", "the password: none"},
    };
    for (const auto& one : cases) EXPECT_EQ(withoutPasswords(one.text), one.shown) << one.text;
}

TEST(Passwords, AreReplacedWhereTheyStandAlone) {
    const struct {
        const char* text;
        const char* connection;
        const char* shown;
    } cases[] = {
        {"wrong: s3cret, s3cret!", "DSN=x;PWD=s3cret;", "wrong: ***, ***!"},
        {"wrong: s3;cret", "DSN=x;PWD={s3;cret}", "wrong: ***"},
        {"wrong: s3cret", "a://u:s3cret@h", "wrong: ***"},
        {"what an answer", "DSN=x;PWD=a", "what an answer"},
        {"wrong", "DSN=x;PWD=", "wrong"},
        {"wrong: PWD=other;", "DSN=x", "wrong: PWD=***;"},
    };
    for (const auto& one : cases) EXPECT_EQ(withoutPasswords(one.text, one.connection), one.shown) << one.text;
}

// Whatever surrounds it: no beginning of a text brings its password back.
TEST(Passwords, StayHiddenWhereverTheTextIsCut) {
    const std::string text = "x://u:s3cret@h;DSN=k;PWD={s3cret}};x};password='s3cret';Token=s3cret";
    for (size_t begin = 0; begin <= text.size(); ++begin)
        for (size_t end = begin; end <= text.size(); ++end)
            for (const kelhost::TextPart& part :
                 kelhost::passwordsIn(std::string_view(text).substr(begin, end - begin))) {
                ASSERT_LT(part.begin, part.end) << begin << ' ' << end;
                ASSERT_LE(part.end, end - begin) << begin << ' ' << end;
            }
    for (size_t end = 0; end <= text.size(); ++end)
        EXPECT_EQ(withoutPasswords(text.substr(0, end)).find("s3cre"), std::string::npos) << end;
}

}  // namespace
