// kelpolicy validate: all that a set would check, told as a compiler does.
#include "configurationScenario.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class CliValidate : public ConfigurationScenario {};

TEST_F(CliValidate, acceptsAValidDocumentOfEachTypeAndMakesNoInstance) {
    const std::vector<std::string> documents = validConfigurations();
    for (size_t i = 0; i < documents.size(); ++i) {
        const ConfigurationName& name = configurationNames[i];
        const Outcome outcome = run({"validate", name.shortName, "-"}, {.input = documents[i]});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, std::string("<stdin>: a valid ") + name.type + " document\n");
        EXPECT_EQ(outcome.err, "");
        const Outcome asJson = run({"validate", name.type, "-", "--json"}, {.input = documents[i]});
        EXPECT_EQ(asJson.status, 0);
        EXPECT_EQ(json::parse(asJson.out), (json{{"type", name.type},
                                                 {"document", "<stdin>"},
                                                 {"valid", true},
                                                 {"errors", json::array()},
                                                 {"notes", json::array()}}));
    }
    EXPECT_FALSE(fs::exists(instance()));
}

/* Lines of standard error: place and message, the line, the caret. */
struct PlaceCase {
    const char* name;
    std::string document;
    std::string place; /* behind the file's name */
    std::string line;  /* as shown; empty: none */
    size_t caret;      /* characters before it */
};

/* A window whose DaysOfWeek is wrong; `before` and `behind` stand in the same line. */
std::string wrongDay(const std::string& before, const std::string& behind = "") {
    return configuration("KELMaintenanceWindows",
                         " <OnlineWindow>\n" + before + "<DaysOfWeek>Tues</DaysOfWeek>" + behind +
                             "\n<DaysOfMonth>All</DaysOfMonth><MonthsOfYear>All</MonthsOfYear></OnlineWindow>\n");
}

std::string withLineEnds(const std::string& document, const std::string& lineEnd) {
    std::string text;
    for (const char byte : document) text += byte == '\n' ? lineEnd : std::string(1, byte);
    return text;
}

std::vector<PlaceCase> placeCases() {
    const std::string element = "<DaysOfWeek>Tues</DaysOfWeek>";
    const auto comment = [](const std::string& text) { return "<!--" + text + "-->"; };
    const auto column = [](size_t before) { return "3:" + std::to_string(before + 30) + ": error: value 'Tues' "; };
    const std::string far = comment(std::string(200, 'x'));
    return {
        {"blanks", wrongDay("  "), column(2), "  " + element, 31},
        {"CR LF", withLineEnds(wrongDay("  "), "\r\n"), column(2), "  " + element, 31},
        {"CR", withLineEnds(wrongDay("  "), "\r"), column(2), "  " + element, 31},
        {"tabs", wrongDay("\t\t"), column(2), "        " + element, 37},
        {"of two bytes", wrongDay(comment("ü")), column(8), comment("ü") + element, 37},
        {"of three bytes", wrongDay(comment("東")), column(8), comment("東") + element, 38},
        {"of four bytes", wrongDay(comment("😀")), column(9), comment("😀") + element, 38},
        {"text behind", wrongDay("", comment("behind")), column(0), element + comment("behind"), 29},
        {"a long way before", wrongDay(far), column(207), "…" + (far + element).substr(236 - 75), 76},
        {"a long way behind", wrongDay("", far), column(0), (element + far).substr(0, 115) + "…", 29},
        {"a reading direction", wrongDay(comment("\xE2\x80\xAE")), column(8), "<!--\\xE2\\x80\\xAE-->" + element, 48},
    };
}

TEST_F(CliValidate, showsTheLineWithACaretBelowTheColumn) {
    for (const PlaceCase& example : placeCases()) {
        writeFile(file("draft.xml"), example.document);
        const Outcome outcome = run({"validate", "windows", file("draft.xml")});
        EXPECT_EQ(outcome.status, 1) << example.name;
        EXPECT_EQ(outcome.out, "") << example.name;
        EXPECT_EQ(outcome.err.find(file("draft.xml") + ":" + example.place), 0U) << example.name << "\n" << outcome.err;
        const std::string shown = "\n" + example.line + "\n" + std::string(example.caret, ' ') + "^\n  SQLCODE -1437";
        EXPECT_NE(outcome.err.find(shown), std::string::npos) << example.name << "\n" << outcome.err << shown;
    }
}

/* The program's own places are counted as the parser's are. */
TEST_F(CliValidate, showsTheCaretBelowWhatWouldNotComeBack) {
    const auto withLineEnd = [](const std::string& filter, const std::string& lineEnd) {
        return withLineEnds(reorgConfiguration(filter), lineEnd);
    };
    const std::string before = "  <FilterClause>";
    const struct {
        const char* name;
        std::string document;
        std::string shown; /* in front of the mistake */
        size_t column;
        size_t caret;
    } cases[] = {
        {"ASCII", withLineEnd("X &lt; 5", "\n"), before + "X ", 19, 18},
        {"CR LF", withLineEnd("X &lt; 5", "\r\n"), before + "X ", 19, 18},
        {"CR", withLineEnd("X &lt; 5", "\r"), before + "X ", 19, 18},
        {"of two bytes", withLineEnd("'ü' &lt; X", "\n"), before + "'ü' ", 21, 20},
        {"of three bytes", withLineEnd("'東' &lt; X", "\n"), before + "'東' ", 21, 21},
        {"of four bytes", withLineEnd("'😀' &lt; X", "\n"), before + "'😀' ", 22, 21},
        {"a mark on a letter", withLineEnd("'u\xCC\x88' &lt; X", "\n"), before + "'u\xCC\x88' ", 22, 20},
    };
    for (const auto& example : cases) {
        writeFile(file("draft.xml"), example.document);
        const Outcome outcome = run({"validate", "reorg", file("draft.xml")});
        EXPECT_EQ(outcome.status, 1) << example.name;
        EXPECT_EQ(outcome.err.find(file("draft.xml") + ":3:" + std::to_string(example.column) + ": error: "), 0U)
            << example.name << "\n"
            << outcome.err;
        EXPECT_NE(outcome.err.find("\n" + example.shown + "&lt;"), std::string::npos) << example.name << outcome.err;
        EXPECT_NE(outcome.err.find("\n" + std::string(example.caret, ' ') + "^\n"), std::string::npos)
            << example.name << "\n"
            << outcome.err;
    }
}

TEST_F(CliValidate, showsNothingThatCouldActOnATerminal) {
    const std::string bytes = "<KELMaintenanceWindows>\x1B[31m\x07\xFF</KELMaintenanceWindows>";
    writeFile(file("draft.xml"), bytes);
    const Outcome outcome = run({"validate", "windows", file("draft.xml")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.find_first_of("\x1B\x07\xFF"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("\\x1B[31m\\x07\\xFF"), std::string::npos) << outcome.err;
    const std::string name = file("evil\x1B[31m.xml");
    writeFile(name, windowsConfiguration({.duration = "0"}));
    EXPECT_EQ(run({"validate", "windows", name}).err.find('\x1B'), std::string::npos);
}

TEST_F(CliValidate, tellsWhatASetWouldRefuse) {
    const struct {
        const char* name;
        const char* type;
        std::string document;
        int sqlcode;
        json line;
        std::string begin; /* of standard error */
    } cases[] = {
        {"a wrong value", "windows", windowsConfiguration({.duration = "25"}), -1437, 2,
         "<stdin>:2:71: error: value '25'"},
        {"no XML", "windows", "no", -1447, 1, "<stdin>:1:1: error: "},
        {"another encoding", "windows", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + windowsConfiguration({}),
         -1447, json(), "<stdin>: error: Encoding used in the policy document is non UTF-8 format.\n"},
        {"a missing directory", "backup", backupConfiguration(diskTarget("/nonexistent")), -1447, json(),
         "<stdin>: error: Backup image storage location does not exist.\n"},
        {"a filter that the engine could not read", "reorg", reorgConfiguration("X &lt; 5"), -1438, 3,
         "<stdin>:3:19: error: FilterClause is stored without escaping"},
    };
    for (const auto& example : cases) {
        const Outcome words = run({"validate", example.type, "-"}, {.input = example.document});
        EXPECT_EQ(words.status, 1) << example.name;
        EXPECT_EQ(words.out, "");
        EXPECT_EQ(words.err.find(example.begin), 0U) << example.name << words.err;

        const Outcome outcome = run({"validate", example.type, "-", "--json"}, {.input = example.document});
        EXPECT_EQ(outcome.status, 1) << example.name;
        EXPECT_EQ(outcome.err, "") << example.name;
        const json answer = json::parse(outcome.out);
        EXPECT_EQ(answer.at("valid"), false);
        ASSERT_EQ(answer.at("errors").size(), 1U) << answer;
        EXPECT_EQ(answer.at("errors")[0].at("sqlcode"), example.sqlcode) << example.name << answer;
        EXPECT_EQ(answer.at("errors")[0].value("line", json()), example.line) << example.name;
    }
    EXPECT_FALSE(fs::exists(instance()));
}

TEST_F(CliValidate, tellsTheLastOfSeveralProblemsOfOneElement) {
    const Outcome outcome =
        run({"validate", "windows", "-", "--json"},
            {.input = configuration("KELMaintenanceWindows",
                                    windowElement("OnlineWindow", {.startTime = "25:00:00", .duration = "25"}))});
    EXPECT_EQ(outcome.status, 1);
    const json errors = json::parse(outcome.out).at("errors");
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_NE(errors[0].at("detail").get<std::string>().find("'25' "), std::string::npos) << errors;
}

TEST_F(CliValidate, tellsWhatWouldComeBackAsSomethingElse) {
    const std::string document = windowsConfiguration({.startTime = "23:00:00", .duration = "1"});
    const std::string note = "line 2: OnlineWindow duration=\"1\" reads back as \"2\"";
    const Outcome words = run({"validate", "windows", "-"}, {.input = document});
    EXPECT_EQ(words.status, 0);
    EXPECT_EQ(withoutRareWindows(words.err), "note: " + note + "\n");
    EXPECT_EQ(json::parse(run({"validate", "windows", "-", "--json"}, {.input = document}).out).at("notes")[0], note);
}

TEST_F(CliValidate, failsWithoutADocument) {
    EXPECT_EQ(failureOf({"validate", "windows", file("none.xml")}).at("sqlcode"), -1436);
    EXPECT_EQ(failureOf({"validate", "windows", "-"}).at("sqlcode"), -1436);
    EXPECT_EQ(run({"validate", "windows"}).status, 2);
    EXPECT_EQ(run({"validate", "window", "-"}).status, 2);
}

TEST_F(CliValidate, looksAtTheSameDocumentWithAnInstance) {
    ASSERT_EQ(run({"init"}).status, 0);
    const State before = state();
    for (const char* hours : {"8", "25"}) {
        const Outcome outcome = run({"validate", "windows", "-"}, {.input = windowsConfiguration({.duration = hours})});
        EXPECT_EQ(outcome.status, std::string(hours) == "8" ? 0 : 1) << outcome.err;
    }
    EXPECT_EQ(state(), before);
}

}  // namespace
}  // namespace scenario
