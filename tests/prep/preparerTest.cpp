// What the preparer says about sources, right and wrong ones.
#include "preparer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "host/hostFixture.h"

namespace {

using kelprep::PreparedSource;
using kelprep::SourceError;

const std::string packageLine = "EXEC SQL DECLARE PACKAGE NULLID.P;\n";
const std::string variables =
    "EXEC SQL BEGIN DECLARE SECTION; char text[9]; const char* pointer; int32_t number; int16_t missing; sqlaBlob "
    "blob; "
    "const int32_t fixed = 1; EXEC SQL END DECLARE SECTION;\n";

/* Line 1 declares the package, line 2 the variables. */
std::string source(const std::string& statements) {
    return packageLine + variables + statements;
}

std::string errorsOf(const std::string& text) {
    std::vector<SourceError> errors;
    kelprep::prepareSource(text, "s.esql", errors);
    std::string all;
    for (const SourceError& error : errors) {
        all += std::to_string(error.place().line) + ":" + std::to_string(error.place().column) + ": " + error.what() +
               "\n";
    }
    return all;
}

PreparedSource prepared(const std::string& text) {
    std::vector<SourceError> errors;
    PreparedSource result = kelprep::prepareSource(text, "s.esql", errors);
    EXPECT_TRUE(errors.empty()) << text << errorsOf(text);
    return result;
}

std::string tokenOf(const std::string& statements) {
    return kelhost::tokenText(kelhost::consistencyTokenOf(prepared(source(statements)).bindFile.sections));
}

/* The code without what stands before the source. */
std::string bodyOf(const std::string& text) {
    const std::string code = prepared(text).code;
    const std::string line = "#line 1 \"s.esql\"\n";
    const size_t found = code.find(line);
    EXPECT_NE(found, std::string::npos);
    return code.substr(found + line.size());
}

TEST(Preparer, putsCallsInThePlaceOfStatements) {
    EXPECT_EQ(bodyOf(packageLine + "int a;\nEXEC SQL DELETE FROM T;\nint b;\n"),
              "\nint a;\nkelprep::run(ca, SQLA_CALL_EXECUTE, 1, {}, {});\nint b;\n");
    EXPECT_EQ(bodyOf(packageLine + "EXEC\nSQL\nDELETE\nFROM T; int b; // EXEC SQL no;\n"),
              "\nkelprep::run(ca, SQLA_CALL_EXECUTE, 1, {}, {});\n\n\n int b; // EXEC SQL no;\n");
    EXPECT_EQ(
        bodyOf(packageLine + "EXEC SQL DECLARE c CURSOR FOR s; EXEC SQL CLOSE c;{EXEC SQL BEGIN DECLARE SECTION;"
                             "char*t;EXEC SQL END DECLARE SECTION;EXEC SQL PREPARE S FROM :t;}"),
        "\n kelprep::run(ca, SQLA_CALL_CLOSE, 1, {}, {});{char*t;kelprep::prepare(ca, 1, kelprep::text(t, nullptr));}");
    EXPECT_NE(bodyOf(source("EXEC SQL CALL P(:text, :pointer, :number:missing, :blob);"))
                  .find("{kelprep::text(text, sizeof text, nullptr), kelprep::text(pointer, nullptr), "
                        "kelprep::number(number, &missing), kelprep::blob(blob, nullptr)}, {});"),
              std::string::npos);
    EXPECT_NE(
        bodyOf(source("EXEC SQL DECLARE c CURSOR FOR SELECT 1;EXEC SQL FETCH c INTO :text, :number, :blob:missing;"))
            .find("{}, {kelprep::textRoom(text, sizeof text, nullptr), kelprep::numberRoom(number, nullptr), "
                  "kelprep::blobRoom(blob, &missing)});"),
        std::string::npos);
}

TEST(Preparer, leavesEverythingElseAsItIs) {
    for (const std::string other : {
             "int EXEC = 1; int SQL = 2;\n",
             "\"EXEC SQL x;\" 'E' \"\\\"EXEC SQL\" 1'0 u8R\"x(EXEC SQL \" )\" )x\"\n",
             "// EXEC SQL \\\n EXEC SQL;\n/* EXEC SQL */\n",
             "#error don't EXEC SQL \"\n",
             "#define A EXEC SQL \\\n EXEC SQL\n",
             "#define B \"/*\"  // it's\n#define C /* EXEC SQL\n EXEC SQL */ 1\n",
             "\xC3\xA4\xFF EXEC_SQL EXECSQL\n",
         }) {
        EXPECT_EQ(bodyOf(packageLine + other + "EXEC SQL DELETE FROM T;"),
                  "\n" + other + "kelprep::run(ca, SQLA_CALL_EXECUTE, 1, {}, {});");
    }
}

TEST(Preparer, knowsVariablesToTheEndOfTheirBlock) {
    const std::string declare =
        "EXEC SQL BEGIN DECLARE SECTION; char inner[5] = {'a', '}'}; EXEC SQL END DECLARE SECTION;";
    EXPECT_EQ(errorsOf(packageLine + "{{" + declare + "{EXEC SQL CALL P(:inner);}}}"), "");
    EXPECT_EQ(errorsOf(packageLine + "{{" + declare + "}\nEXEC SQL CALL P(:inner);}"),
              "3:17: \"inner\" is not declared in a declare section here\n");
    const std::string shadowed = packageLine + variables +
                                 "{EXEC SQL BEGIN DECLARE SECTION; sqlaBlob text; EXEC SQL END DECLARE "
                                 "SECTION; EXEC SQL CALL P(:text);} EXEC SQL CALL P(:text);";
    const auto sections = prepared(shadowed).bindFile.sections;
    EXPECT_EQ(sections.at(0).inputs.at(0).type, kelhost::HostType::blob);
    EXPECT_EQ(sections.at(1).inputs.at(0).type, kelhost::HostType::varchar);
}

TEST(Preparer, changesTheTokenWithAStatementAndOnlyThen) {
    const std::string base =
        "EXEC SQL DELETE FROM T WHERE A = :text; EXEC SQL DECLARE c CURSOR FOR SELECT B FROM T; "
        "EXEC SQL FETCH c INTO :number; EXEC SQL PREPARE s FROM :pointer; EXEC SQL EXECUTE s USING :blob;";
    const std::string token = tokenOf(base);
    const auto changed = [&](const std::string& from, const std::string& to) {
        std::string text = base;
        const size_t found = text.find(from);
        EXPECT_NE(found, std::string::npos) << from;
        return tokenOf(text.replace(found, from.size(), to));
    };
    EXPECT_EQ(token, tokenOf(base)) << "the same source";
    EXPECT_EQ(token, tokenOf("int unrelated; /* comment */\n\n" + base));
    EXPECT_EQ(token, changed("DELETE FROM", "DELETE  /* c */\n -- d\n FROM"));
    EXPECT_EQ(token, changed("EXEC SQL FETCH", "\n\nEXEC SQL CLOSE c; EXEC SQL OPEN c; EXEC SQL FETCH"));
    EXPECT_EQ(token, changed("EXECUTE s USING :blob", "EXECUTE s USING :blob; EXEC SQL EXECUTE S USING :blob"));
    for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
             {"WHERE A", "WHERE B"},
             {"SELECT B", "SELECT b"},
             {"= :text", "= :pointer"},
             {"= :text", "= :number"},
             {"= :text", "= :text:missing"},
             {"INTO :number", "INTO :number:missing"},
             {"INTO :number", "INTO :number, :blob"},
             {"USING :blob", "USING :text"},
             {"USING :blob", ""},
             {"EXEC SQL PREPARE", "EXEC SQL DELETE FROM T; EXEC SQL PREPARE"},
             {"EXEC SQL DELETE FROM T WHERE A = :text;", ""},
             {"DELETE FROM T WHERE A = :text", "DELETE FROM T WHERE A = ':text'"},
         }) {
        EXPECT_NE(token, changed(from, to)) << from << " -> " << to;
    }
}

TEST(Preparer, namesThePlaceOfEveryError) {
    struct Case {
        std::string text;
        std::string errors;
    };
    for (const Case& one : std::vector<Case>{
             {"", "1:1: the source declares no package\n"},
             {packageLine, "1:1: the source has no statement\n"},
             {"int a;\n  EXEC SQL DELETE FROM T;",
              "2:12: \"EXEC SQL DECLARE PACKAGE collection.name\" must come before the first statement\n"},
             {packageLine + packageLine, "2:10: the package is declared already\n"},
             {"EXEC SQL DECLARE PACKAGE A.\"B\";", "1:28: the package's name is missing\n"},
             {"EXEC SQL DECLARE PACKAGE A;", "1:27: \".\" is missing\n"},
             {"EXEC SQL DECLARE PACKAGE " + std::string(129, 'A') + ".B;",
              "1:26: a name has 1 to 128 letters, digits and underscores\n"},
             {source("\n  EXEC SQL COMMIT;"), "4:12: the unit of work belongs to who calls: it is not ended here\n"},
             {source("EXEC SQL SELECT 1;"),
              "3:10: a query is read through a cursor: DECLARE name CURSOR FOR SELECT ...\n"},
             {source("EXEC SQL GRANT ALL;"), "3:10: \"GRANT\" begins no statement that can be prepared\n"},
             {source("EXEC SQL 'DELETE' FROM T;"), "3:10: \"'DELETE'\" begins no statement that can be prepared\n"},
             {source("EXEC SQL ;"), "3:10: the statement is empty\n"},
             {source("EXEC SQL DELETE FROM T WHERE A = ?;"),
              "3:34: '?' is for prepared statements; a host variable is :name\n"},
             {source("EXEC SQL DELETE FROM T WHERE A = :none;"),
              "3:34: \"none\" is not declared in a declare section here\n"},
             {source("EXEC SQL DELETE FROM T WHERE A = :text.b;"), "3:39: a host variable is a plain name\n"},
             {source("EXEC SQL DELETE FROM T WHERE A = :missing;"),
              "3:34: \"missing\" is an int16_t, which serves as an indicator only\n"},
             {source("EXEC SQL DELETE FROM T WHERE A = :text:number;"),
              "3:34: the indicator \"number\" must be an int16_t\n"},
             {source("EXEC SQL OPEN c;"), "3:15: the cursor \"c\" is not declared\n"},
             {source("EXEC SQL DECLARE c CURSOR FOR SELECT 1;\nEXEC SQL DECLARE C CURSOR FOR SELECT 2;"),
              "4:18: the cursor \"C\" is declared already\n"},
             {source("EXEC SQL DECLARE c CURSOR FOR SELECT 1; EXEC SQL OPEN c USING :text;"),
              "3:57: \"USING\" is too much\n"},
             {source("EXEC SQL DECLARE c CURSOR FOR SELECT 1; EXEC SQL FETCH c;"), "3:57: \"INTO\" is missing\n"},
             {source("EXEC SQL DECLARE c CURSOR FOR SELECT 1; EXEC SQL FETCH c INTO text;"),
              "3:63: a host variable (:name) is missing\n"},
             {source("EXEC SQL DECLARE c CURSOR FOR SELECT 1; EXEC SQL FETCH c INTO :pointer;"),
              "3:63: \"pointer\" cannot receive a value: that takes a char array, int32_t or sqlaBlob that is not "
              "const\n"},
             {source("EXEC SQL DECLARE c CURSOR FOR SELECT 1; EXEC SQL FETCH c INTO :fixed;"),
              "3:63: \"fixed\" cannot receive a value: that takes a char array, int32_t or sqlaBlob that is not "
              "const\n"},
             {source("EXEC SQL DECLARE c CURSOR FOR SELECT 1; EXEC SQL FETCH c INTO :text;\n EXEC SQL FETCH c INTO "
                     ":blob;"),
              "4:24: an earlier statement uses host variables of other types here\n"},
             {source("EXEC SQL DECLARE c CURSOR s;"), "3:27: \"FOR\" is missing\n"},
             {source("EXEC SQL DECLARE c CURSOR FOR ;"),
              "3:31: a query, or the name of a prepared statement, is missing\n"},
             {source("EXEC SQL PREPARE s FROM 'DELETE';"), "3:25: a host variable (:name) is missing\n"},
             {source("EXEC SQL PREPARE s FROM :number;"), "3:25: a statement is prepared from a text\n"},
             {source("EXEC SQL EXECUTE s;"), "3:18: the statement \"S\" is never prepared\n"},
             {source("EXEC SQL PREPARE s FROM :text; EXEC SQL EXECUTE s USING;"),
              "3:56: a host variable (:name) is missing\n"},
             {source("EXEC SQL PREPARE s FROM :text; EXEC SQL EXECUTE s :text;"), "3:51: \"text\" is too much\n"},
             {source("EXEC SQL DELETE FROM T"), "3:1: the statement has no semicolon at its end\n"},
             {source("EXEC SQL DELETE FROM 'T;\n"), "3:22: the quoted text has no end\n"},
             {source("EXEC SQL DELETE FROM /* T;\n"), "3:22: the comment has no end\n"},
             {source("\n int a = 1; /* no end"), "4:13: the comment has no end\n"},
             {source("char c = '"), "3:10: the quoted text has no end\n"},
             {source("const char* c = \"a\nb\";"), "3:17: the quoted text has no end\n"},
             {source("R\"x(no end)y\""), "3:1: the raw text has no end\n"},
             {source("R\"12345678901234567(x"), "3:1: the raw text has no beginning\n"},
             {packageLine + std::string("ab\0c", 4), "2:3: the source holds a zero byte\n"},
             {source("EXEC SQL END DECLARE SECTION;"), "3:29: no declare section has begun\n"},
             {source("EXEC SQL BEGIN DECLARE SECTION;"), "3:10: the declare section has no end\n"},
             {source("EXEC SQL BEGIN DECLARE SECTION; EXEC SQL BEGIN DECLARE SECTION;"),
              "3:42: the declare section before has no end\n3:10: the declare section has no end\n"},
             {source("EXEC SQL BEGIN DECLARE SECTION; EXEC SQL DELETE FROM T; EXEC SQL END DECLARE SECTION;"),
              "3:42: only declarations stand in a declare section\n"},
         }) {
        EXPECT_EQ(errorsOf(one.text), one.errors) << one.text;
    }
}

TEST(Preparer, namesThePlaceOfAWrongDeclaration) {
    const std::string types = "a host variable is a char array, char*, int32_t, int16_t (an indicator) or sqlaBlob\n";
    const std::string range = "the array's size must be a decimal number from 1 to 32767\n";
    for (const auto& [declaration, error] : std::vector<std::pair<std::string, std::string>>{
             {"long a;", "2:1: " + types},
             {";", "2:1: " + types},
             {"int32_t;", "2:8: the variable's name is missing\n"},
             {"int32_t a, b;", "2:10: one variable for each declaration, with or without a value\n"},
             {"char a;", "2:7: \"[\" is missing\n"},
             {"char a[];", "2:8: the array's size, a decimal number, is missing\n"},
             {"char a[N];", "2:8: the array's size, a decimal number, is missing\n"},
             {"char a[0];", "2:9: " + range},
             {"char a[32768];", "2:13: " + range},
             {"char a[99999999999999999999];", "2:28: " + range},
             {"char a[1][2];", "2:10: one variable for each declaration, with or without a value\n"},
             {"char a[9;", "2:9: \"]\" is missing\n"},
         }) {
        const std::string whole =
            "EXEC SQL DECLARE PACKAGE A.B; EXEC SQL DELETE FROM T; EXEC SQL BEGIN DECLARE SECTION;\n" + declaration +
            "EXEC SQL END DECLARE SECTION;";
        EXPECT_EQ(errorsOf(whole), error) << declaration;
    }
    EXPECT_EQ(
        errorsOf("EXEC SQL DECLARE PACKAGE A.B; EXEC SQL DELETE FROM T; EXEC SQL BEGIN DECLARE SECTION;\nint32_t a "
                 "EXEC SQL END DECLARE SECTION;"),
        "2:1: the declaration has no semicolon\n");
}

TEST(Preparer, findsEveryErrorUpToABound) {
    std::string text = source("");
    for (int i = 0; i < 50; ++i) text += "EXEC SQL COMMIT;\n";
    const std::string errors = errorsOf(text);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 21);
    EXPECT_NE(errors.find("22:10: there are too many errors"), std::string::npos) << errors;
}

TEST(Preparer, refusesMoreThanABindFileHolds) {
    std::string text = source("");
    for (int i = 0; i < 1001; ++i) text += "EXEC SQL DELETE FROM T;\n";
    EXPECT_NE(errorsOf(text).find("1003:10: the source has more than 1000 sections"), std::string::npos)
        << errorsOf(text);
    EXPECT_EQ(errorsOf(source("EXEC SQL DELETE FROM T WHERE A = '" + std::string(2 << 20, 'x') + "';")),
              "1:1: the statements are too long for a bind file\n");
}

TEST(Preparer, refusesMoreHostVariablesThanAStatementTakes) {
    std::string list = ":number";
    for (int i = 1; i < 1000; ++i) list += ", :number";
    const std::string cursor = "EXEC SQL DECLARE c CURSOR FOR SELECT 1;\n";
    const std::string dynamic = "EXEC SQL PREPARE s FROM :pointer;\n";
    for (const auto& [before, end, column] : std::vector<std::tuple<std::string, std::string, size_t>>{
             {"\nEXEC SQL CALL P(", ");", 17},
             {cursor + "EXEC SQL FETCH c INTO ", ";", 23},
             {dynamic + "EXEC SQL EXECUTE s USING ", ";", 26},
         }) {
        EXPECT_EQ(errorsOf(source(before + list + end)), "");
        EXPECT_EQ(
            errorsOf(source(before + list + ", :text" + end)),
            "4:" + std::to_string(column + list.size() + 2) + ": the statement has more than 1000 host variables\n");
    }
}

// Whatever the bytes: an answer, and no access beyond them (sanitizer builds watch it).
TEST(Preparer, survivesEveryInput) {
    const std::string sample = hosttest::readWhole(KELPREP_SAMPLE);
    ASSERT_GT(sample.size(), 1000U);
    ASSERT_EQ(errorsOf(sample), "");
    size_t wrong = 0;
    for (size_t length = 0; length < sample.size(); ++length)
        wrong += errorsOf(sample.substr(0, length)).empty() ? 0 : 1;
    EXPECT_GT(wrong, sample.size() / 4) << "most beginnings are no whole source";
    std::mt19937 random(4711);
    using namespace std::string_literals;
    const std::string marks =
        "'\"\\/*:;(){}[]\n\0 REXQL"
        "\xFF"
        "0,.?-#"s;
    ASSERT_EQ(marks.back(), '#');
    for (int round = 0; round < 3000; ++round) {
        std::string text = sample;
        for (int change = 0; change < 3; ++change) {
            const size_t place = random() % text.size();
            const char mark = marks[random() % marks.size()];
            switch (random() % 3) {
                case 0:
                    text[place] = mark;
                    break;
                case 1:
                    text.erase(place, random() % 40);
                    break;
                default:
                    text.insert(place, 1, mark);
            }
        }
        std::vector<SourceError> errors;
        const PreparedSource result = kelprep::prepareSource(text, "s.esql", errors);
        EXPECT_EQ(result.code.empty(), !errors.empty());
        if (!errors.empty()) continue;
        kelhost::BindFile file;
        std::string error;
        EXPECT_TRUE(kelhost::readBindFile(kelhost::writeBindFile(result.bindFile), file, error)) << error;
    }
    errorsOf(packageLine + std::string(100'000, '{') + std::string(100'000, '}'));
    errorsOf(packageLine + std::string(200'000, '}'));
    errorsOf(packageLine + "EXEC SQL " + std::string(100'000, '('));
}

struct Ran {
    int status;
    std::string output;
};

class Program : public ::testing::Test {
protected:
    Ran run(const std::string& arguments) const {
        const std::string command = "cd '" + directory_.path().string() + "' && '" KELPREP "' " + arguments + " 2>&1";
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::popen(command.c_str(), "r"),
                                                             [](std::FILE*) { return 0; });
        Ran ran{-1, ""};
        char part[4096];
        for (size_t got = 0; (got = std::fread(part, 1, sizeof part, pipe.get())) > 0;) ran.output.append(part, got);
        const int status = ::pclose(pipe.release());
        ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return ran;
    }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(directory_.path() / name, std::ios::binary) << text;
    }
    bool exists(const std::string& name) const { return std::filesystem::exists(directory_.path() / name); }

    const hosttest::TemporaryDirectory directory_;
};

TEST_F(Program, writesBothFilesOrNone) {
    write("good.esql", packageLine + "EXEC SQL DELETE FROM T;");
    Ran ran = run("good.esql --output out.cpp --bind-file out.bnd");
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_EQ(ran.output, "");
    EXPECT_NE(hosttest::readWhole(directory_.path() / "out.cpp").find("#line 1 \"good.esql\"\n\nkelprep::run"),
              std::string::npos);
    EXPECT_EQ(hosttest::readWhole(directory_.path() / "out.bnd").find("kelpolicy bind file, version 1\n"), 0U);

    write("bad.esql", packageLine + "\n  EXEC SQL COMMIT;\nEXEC SQL OPEN c;");
    ran = run("bad.esql --output bad.cpp --bind-file bad.bnd");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.output,
              "bad.esql:3:12: the unit of work belongs to who calls: it is not ended here\n"
              "bad.esql:4:15: the cursor \"c\" is not declared\n");
    EXPECT_FALSE(exists("bad.cpp"));
    EXPECT_FALSE(exists("bad.bnd"));
}

TEST_F(Program, endsWithStatusOneForWhatItCannotDo) {
    write("good.esql", packageLine + "EXEC SQL DELETE FROM T;");
    write("large.esql", "");
    std::filesystem::create_directory(directory_.path() / "folder");
    std::filesystem::resize_file(directory_.path() / "large.esql", (16 << 20) + 1);
    for (const auto& [arguments, output] : std::vector<std::pair<std::string, std::string>>{
             {"none.esql --output a --bind-file b",
              "none.esql: the source cannot be read: No such file or directory\n"},
             {"good.esql/s --output a --bind-file b", "good.esql/s: the source cannot be read: Not a directory\n"},
             {". --output a --bind-file b", ".: the source is no regular file\n"},
             {"large.esql --output a --bind-file b",
              "large.esql: the source has 16777217 bytes; at most 16777216 are possible\n"},
             {"good.esql --output none/a --bind-file b",
              "none/a: the file cannot be written: No such file or directory\n"},
             {"good.esql --output a --bind-file none/b",
              "none/b: the file cannot be written: No such file or directory\n"},
             {"good.esql --output folder --bind-file b", "folder: the file cannot be written: Is a directory\n"},
             {"good.esql --output a", "--bind-file is required"},
             {"", "source is required"},
             {"good.esql --output a --bind-file b --wrong", "--wrong"},
         }) {
        const Ran ran = run(arguments);
        EXPECT_EQ(ran.status, 1) << arguments;
        EXPECT_NE(ran.output.find(output), std::string::npos) << arguments << ": " << ran.output;
    }
    EXPECT_EQ(run("--help").status, 0);
}

}  // namespace
