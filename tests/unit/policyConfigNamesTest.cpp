/* Names of files that users think of: what they lead to, and how they are told. */
#include <sys/stat.h>

#include "unit/configSupport.h"

namespace {

namespace fs = std::filesystem;
using config::getFile;
using config::Outcome;
using config::setFile;

using Strings = std::vector<std::string>;

class PolicyConfigNames : public config::ProceduresTest {
protected:
    const std::string document_ = config::getDocument("AUTO_BACKUP").document;
};

TEST_F(PolicyConfigNames, AnyCharactersMayStandInAName) {
    for (const std::string name : {"%s%n%d", " ", "~", "-", "a\nb", "\"'`$(x)", "\xC3\xA4\xE2\x82\xAC", "\xFF\xFE", "*",
                                   "sub dir/%n/\xC3\xA4.xml", ".hidden", "a.b.c", "CON", "//double//p.xml"}) {
        SCOPED_TRACE(testing::PrintToString(name));
        const Outcome got = getFile("AUTO_BACKUP", name);
        EXPECT_TRUE(got.isDone()) << got;
        EXPECT_EQ(config::readWhole(tmp(name)), document_);
        EXPECT_TRUE(setFile("AUTO_BACKUP", name).isDone());
    }
}

/* A tool may have cleared what is temporary. */
TEST_F(PolicyConfigNames, TheTmpDirectoryIsMadeWhenItIsMissing) {
    for (const char* name : {"p.xml", "a/b/p.xml"}) {
        fs::remove_all(tmp(""));
        Outcome outcome = setFile("AUTO_BACKUP", name);
        EXPECT_EQ(outcome.sqlcode, -1436);
        EXPECT_FALSE(fs::exists(tmp(""))) << "a set makes no directory";
        outcome = getFile("AUTO_BACKUP", name);
        EXPECT_TRUE(outcome.isDone()) << outcome;
        EXPECT_EQ(config::readWhole(tmp(name)), document_);
    }
}

TEST_F(PolicyConfigNames, ATmpDirectoryThatLeadsElsewhereIsNotUsed) {
    const std::string outside = instance().path() + "/outside";
    fs::create_directory(outside);
    config::writeWhole(outside + "/p.xml", config::backup());
    fs::remove_all(tmp(""));
    fs::create_directory_symlink(outside, instance().path() + "/tmp");
    EXPECT_EQ(getFile("AUTO_BACKUP", "q.xml").sqlcode, -1448);
    EXPECT_EQ(getFile("AUTO_BACKUP", "sub/q.xml").sqlcode, -1448);
    EXPECT_EQ(setFile("AUTO_BACKUP", "p.xml").sqlcode, -1436);
    EXPECT_EQ(std::distance(fs::directory_iterator(outside), fs::directory_iterator()), 1);
}

/* Tokens end between two characters. */
TEST_F(PolicyConfigNames, LongNamesAreToldByTheirBeginning) {
    std::string accents;
    for (int i = 0; i < 300; ++i) accents += "\xC3\xA4";  // no file system takes so long a name
    const Outcome got = getFile("AUTO_BACKUP", "x" + accents);
    EXPECT_EQ(got.sqlcode, -1448);
    EXPECT_EQ(got.tokens, Strings{"x" + accents.substr(0, 28)}) << "30 bytes would end within a character";
    EXPECT_EQ(takeComplaints(),
              Strings{"AutoMaintGetPolicy error, could not open input policy file x" + accents + " \n"});
    EXPECT_EQ(getFile("AUTO_BACKUP", accents).tokens, Strings{accents.substr(0, 30)});
    const Outcome directory = getFile("AUTO_BACKUP", "x" + accents + "/p.xml");
    EXPECT_EQ(directory.sqlcode, -1448);
    EXPECT_EQ(directory.tokens, Strings{"x" + accents.substr(0, 38)}) << "of 40 bytes";
    takeComplaints();
    const Outcome set = setFile("AUTO_BACKUP", "x" + accents);
    EXPECT_EQ(set.sqlcode, -1436);
    EXPECT_EQ(set.tokens, Strings{"x" + accents.substr(0, 68)}) << "as much as the area holds";
    EXPECT_EQ(takeComplaints(),
              Strings{"AutoMaintSetPolicy error, input policy file x" + accents + " does not exist \n"});
}

TEST_F(PolicyConfigNames, OnlyWholeNamesBelowTheLongestPathAreUsed) {
    // Both parts of a name may have 4095 bytes; with the instance's path before them they do not fit any more.
    for (const std::string& name : {std::string(4095, 'n'), std::string(4096, 'n'), std::string(4095, 'd') + "/p.xml",
                                    std::string(4096, 'd') + "/p.xml", std::string(1000000, 'n')}) {
        SCOPED_TRACE(name.size());
        const Outcome got = getFile("AUTO_BACKUP", name);
        EXPECT_EQ(got.sqlcode, -1448);
        EXPECT_EQ(got.tokens, Strings{name.substr(0, 40)});
        const Strings complaints = takeComplaints();
        ASSERT_EQ(complaints.size(), 1U);
        EXPECT_TRUE(complaints[0].starts_with("AutoMaintGetPolicy error, input policy file " + name.substr(0, 1000)));
        EXPECT_EQ(setFile("AUTO_BACKUP", name).sqlcode, -1436);
        takeComplaints();
    }
    EXPECT_TRUE(fs::is_empty(tmp("")));
}

TEST_F(PolicyConfigNames, AFileIsReadAsItIs) {
    struct Case {
        const char* what;
        std::string content;
        int32_t sqlcode;
    };
    using namespace std::string_literals;
    for (const Case& one : std::vector<Case>{{"with a byte-order mark", "\xEF\xBB\xBF" + config::backup(), 0},
                                             {"with a NUL behind", config::backup() + "\0"s, -1437},
                                             {"only a NUL", "\0"s, -1447},
                                             {"one blank", " ", -1447},
                                             {"another policy", config::reorg(), -1437}}) {
        config::writeWhole(tmp("in.xml"), one.content);
        const Outcome outcome = setFile("AUTO_BACKUP", "in.xml");
        EXPECT_EQ(outcome.sqlcode, one.sqlcode) << one.what;
        EXPECT_EQ(outcome.sqlstate, one.sqlcode == 0 ? "00000" : "5U0ZZ") << one.what;
    }
}

}  // namespace
