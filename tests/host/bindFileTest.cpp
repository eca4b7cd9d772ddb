// The bind file: what is written is read back, and nothing else is taken for one.
#include "bindFile.h"

#include <gtest/gtest.h>

namespace {

using kelhost::BindFile;
using kelhost::HostType;
using kelhost::SectionKind;

BindFile sample() {
    return {"NULLID",
            "P1",
            {
                {SectionKind::cursor,
                 "SELECT 'a\nsection\nchecksum'\n FROM T WHERE B = ?",
                 {{HostType::varchar, 129, true}},
                 {{HostType::integer, 0, false}, {HostType::blob, 0, true}}},
                {SectionKind::dynamic, "", {}, {}},
                {SectionKind::statement, std::string("DELETE\0FROM", 11), {{HostType::blob, 0, false}}, {}},
            }};
}

std::string read(const std::string& text, BindFile& file) {
    std::string error;
    const bool isRead = kelhost::readBindFile(text, file, error);
    EXPECT_EQ(isRead, error.empty()) << error;
    return error;
}

TEST(BindFile, isReadBackAsItWasWritten) {
    const std::string text = kelhost::writeBindFile(sample());
    BindFile file;
    ASSERT_EQ(read(text, file), "");
    EXPECT_EQ(file.collection, "NULLID");
    EXPECT_EQ(file.package, "P1");
    ASSERT_EQ(file.sections.size(), 3U);
    for (size_t i = 0; i < file.sections.size(); ++i) {
        EXPECT_EQ(file.sections[i].kind, sample().sections[i].kind) << i;
        EXPECT_EQ(file.sections[i].text, sample().sections[i].text) << i;
        EXPECT_EQ(file.sections[i].inputs, sample().sections[i].inputs) << i;
        EXPECT_EQ(file.sections[i].outputs, sample().sections[i].outputs) << i;
    }
    EXPECT_EQ(kelhost::writeBindFile(file), text);
}

TEST(BindFile, isRefusedWhenItIsDamagedAnywhere) {
    const std::string text = kelhost::writeBindFile(sample());
    BindFile file;
    for (size_t place = 0; place < text.size(); ++place) {
        for (const char flip : {'\x01', '\x80'}) {
            std::string damaged = text;
            damaged[place] = static_cast<char>(damaged[place] ^ flip);
            EXPECT_NE(read(damaged, file), "") << place;
        }
        EXPECT_NE(read(text.substr(0, place), file), "") << "cut at " << place;
        EXPECT_NE(read(std::string(text).insert(place, 1, 'x'), file), "") << "longer at " << place;
    }
    EXPECT_NE(read(text + "x", file), "");
    EXPECT_NE(read(text + text, file), "");
}

TEST(BindFile, namesWhatIsWrong) {
    const std::string text = kelhost::writeBindFile(sample());
    BindFile file;
    EXPECT_EQ(read("", file), "line 1: it is no bind file of version 1");
    EXPECT_EQ(read("kelpolicy bind file, version 2\n", file), "line 1: it is no bind file of version 1");
    std::string damaged = text;
    damaged[40] = '?';
    EXPECT_EQ(read(damaged, file), "the checksum is wrong");
}

// A program that writes the file by another way, with a right checksum, is not believed for the rest.
TEST(BindFile, isCheckedBeyondItsChecksum) {
    const auto withChecksum = [](std::string text) {
        uint64_t hash = 14695981039346656037U;
        for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
        char digits[17];
        std::snprintf(digits, sizeof digits, "%016lx", hash);
        return text + "checksum " + digits + "\n";
    };
    const std::string head = "kelpolicy bind file, version 1\n";
    const std::string names = head + "collection A\npackage B\n";
    const std::string start = names + "token 0123456789abcdef\n";
    BindFile file;
    for (const auto& [text, error] : std::vector<std::pair<std::string, std::string>>{
             {head + "package B\n", "near line 2: \"collection\" is missing"},
             {head + "collection A B\n", "near line 3: the collection has no name that is possible"},
             {head + "collection O'B\n", "near line 3: the collection has no name that is possible"},
             {head + "collection " + std::string(129, 'A') + "\n",
              "near line 3: the collection has no name that is possible"},
             {names, "near line 4: \"token\" is missing"},
             {start, "near line 5: there is no section"},
             {start + "section cursor 5\nabcde\n", "near line 7: the token is wrong"},
             {start + "section cursor 6\nabcde\n", "near line 6: the statement does not have its length"},
             {start + "section cursor 4\nabcde\n", "near line 6: the statement does not have its length"},
             {start + "section cursor 4294967295\nabcde\n", "near line 6: the statement does not have its length"},
             {start + "section cursor 99999999999\nabcde\n", "near line 6: a number is wrong"},
             {start + "section cursor -1\nabcde\n", "near line 6: a number is wrong"},
             {start + "section cursor \nabcde\n", "near line 6: a number is wrong"},
             {start + "section other 1\na\n", "near line 6: \"other\" is not known"},
             {start + "section dynamic 1\na\n", "near line 7: exactly the dynamic sections have no text"},
             {start + "section statement 0\n\n", "near line 7: exactly the dynamic sections have no text"},
             {start + "section dynamic 0\n\ninput float 0 present\n", "near line 8: \"float\" is not known"},
             {start + "section dynamic 0\n\ninput blob x present\n", "near line 8: a number is wrong"},
             {start + "section dynamic 0\n\ninput blob 0 maybe\n",
              "near line 8: \"nullable\" or \"present\" is missing"},
             {start + "section dynamic 0\n\nnonsense\n", "near line 7: \"section\" is missing"},
             {start + "section dynamic 0\n\nsection", "near line 7: \"section\" is missing"},
             {start + "section dynamic", "near line 5: the line has no end"},
         }) {
        EXPECT_EQ(read(withChecksum(text), file), error) << text;
    }
    std::string many = start;
    for (size_t i = 0; i <= kelhost::mostBindSections; ++i) many += "section dynamic 0\n\n";
    EXPECT_NE(read(withChecksum(many), file).find("there are too many sections"), std::string::npos);
    for (const char* usage : {"input", "output"}) {
        std::string wide = start + "section dynamic 0\n\n";
        for (size_t i = 0; i <= kelhost::mostBindVariables; ++i) wide += usage + std::string(" integer 0 present\n");
        EXPECT_NE(read(withChecksum(wide), file).find("there are too many host variables"), std::string::npos) << usage;
    }
}

TEST(BindFile, namesOfPackagesArePlain) {
    for (const char* name : {"NULLID", "a_1", "9"}) EXPECT_TRUE(kelhost::isPackageName(name)) << name;
    EXPECT_TRUE(kelhost::isPackageName(std::string(128, 'x')));
    EXPECT_FALSE(kelhost::isPackageName(std::string(129, 'x')));
    for (const char* name : {"", " ", "a b", "a'b", "a.b", "\xC3\xA4", "a\n"})
        EXPECT_FALSE(kelhost::isPackageName(name)) << name;
}

}  // namespace
