// What acts on a terminal never reaches it, whatever it comes from and whichever command tells it.
#include <nlohmann/json.hpp>

#include <regex>

#include "scenario.h"
#include "windowDocument.h"

namespace scenario {
namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

/* Characters that XML documents may hold: controls of one byte in other encodings, what turns the reading direction,
 * what cannot be seen. */
const std::vector<std::string> inDocuments = {
    "\x7F",         "\xC2\x80",     "\xC2\x9B",     "\xC2\x9F",     "\xC2\xAD",     "\xD8\x9C",        "\xE2\x80\x8B",
    "\xE2\x80\x8D", "\xE2\x80\x8E", "\xE2\x80\x8F", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAA",    "\xE2\x80\xAE",
    "\xE2\x81\xA0", "\xE2\x81\xA6", "\xE2\x81\xA9", "\xEF\xBB\xBF", "\xEF\xBF\xB9", "\xF3\xA0\x81\x81"};
/* The same and bytes that only other texts hold. */
const std::vector<std::string> anywhere = [] {
    std::vector<std::string> all = {"\x1B]0;title\x07", "\x1B[31m", "\x1B[2J", "\b", "\r", "\v", "\x9B", "\xE2\x80"};
    all.insert(all.end(), inDocuments.begin(), inDocuments.end());
    return all;
}();

std::string joined(const std::vector<std::string>& pieces) {
    std::string text = "Gr\xC3\xBC\xC3\x9F";
    for (const std::string& piece : pieces) text += "A" + piece + "Z";
    return text;
}

const std::string filter = "TABNAME = '" + joined(inDocuments) + "'";
const std::string configuration =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<KELAutoRunstatsPolicy xmlns=\"http://kelpolicy.example/xmlns/prod/kel/autonomic/config\">\r\n"
    "\t<RunstatsTableScope><FilterCondition>" +
    filter + "</FilterCondition></RunstatsTableScope></KELAutoRunstatsPolicy>";

class CliTerminal : public Scenario {
protected:
    /* Runs the command on a terminal, with styles and without, and expects that nothing of a text acted on it. */
    void expectHarmless(const Words& words, bool saysSo, const std::string& answer = "n\n") const {
        for (const bool hasStyles : {true, false}) {
            Surroundings surroundings = {.answer = [&answer] { return answer; }};
            if (!hasStyles) surroundings.environment = {{"NO_COLOR", "1"}};
            const Outcome outcome = runOnTerminal(words, surroundings);
            // The terminal's own line ends, and the line that tells how far the command is.
            const std::regex ownReturns("\r+(\n)|\r[a-z]+ row \\d+ of \\d+|\r +\r");
            const std::string shown = std::regex_replace(outcome.out, ownReturns, "$1");
            const std::string told = joined(words) + "\n" + shown;
            EXPECT_LT(outcome.status, 4) << told;
            EXPECT_TRUE(!saysSo || std::regex_search(shown, std::regex("A\\\\"))) << told;
            const std::string plain =
                hasStyles ? std::regex_replace(shown, std::regex("\x1B\\[(0|1|2|31|32|33)m"), "") : shown;
            for (const char byte : plain)
                EXPECT_TRUE(static_cast<unsigned char>(byte) >= 0x20 || byte == '\n' || byte == '\t') << told;
            for (const std::string& piece : anywhere)
                EXPECT_EQ(plain.find("A" + piece + "Z"), std::string::npos)
                    << json(piece).dump(-1, ' ', true, json::error_handler_t::replace) << " in " << told;
        }
    }
};

TEST_F(CliTerminal, getsNothingOfADocumentThatActsOnIt) {
    if (!requireTerminals()) return;
    makeInstance();
    writeFile(file("runstats.xml"), configuration);
    const std::string path = file("runstats.xml");
    expectHarmless({"set", "runstats", path, "--dry-run"}, true);
    expectHarmless({"set", "runstats", path}, false);
    const Outcome stored = run({"convert", "runstats", path});
    ASSERT_EQ(stored.status, 0) << stored.err;
    writeFile(file("stored.xml"), stored.out);
    for (const Words& words : std::vector<Words>{{"get", "runstats"},
                                                 {"describe", "TableRunstatsPolicy"},
                                                 {"show", "runstats"},
                                                 {"retrieve", "--name", "TableRunstatsPolicy", "--documents"},
                                                 {"retrieve", "--documents"},
                                                 {"history"},
                                                 {"convert", "runstats", path},
                                                 {"extract", "runstats", file("stored.xml")},
                                                 {"show", "runstats", "--document", file("stored.xml")}}) {
        expectHarmless(words, true);
        Words asJson = words;
        asJson.emplace_back("--json");
        expectHarmless(asJson, true);
    }
    expectHarmless({"tree", file("stored.xml")}, false);
    expectHarmless({"tree", file("stored.xml"), "--json"}, true);
    expectHarmless({"validate", "runstats", path}, false);
}

TEST_F(CliTerminal, getsNothingOfAnErrorThatActsOnIt) {
    if (!requireTerminals()) return;
    const std::string hostile = joined(anywhere);
    const std::string key = joined({"\x9B", "\xC2\x9B", "\x1B[31m", "\x1B]0;title\x07", "\xE2\x80\xAE", "\r"});
    std::string broken = configuration;
    broken.insert(broken.find("<FilterCondition>"), "<" + joined(inDocuments) + ">");
    writeFile(file("broken.xml"), broken);
    writeFile(file("bytes.xml"), hostile);
    ASSERT_EQ(run({"install", "insert", "--med", key, "--name", "N", "--policy", file("bytes.xml")}).status, 0);
    const std::vector<Words> commands = {
        {hostile},
        {"init", "--" + hostile},
        {"get", hostile},
        {"describe", hostile},
        {"tree", file(hostile)},
        {"tree", file("bytes.xml")},
        {"show", "runstats", "--document", file("broken.xml")},
        {"validate", "runstats", file("broken.xml")},
        {"set", "runstats", file("broken.xml")},
        {"set", "runstats", "--server-file", hostile},
        {"get", "runstats", "--server-file", hostile},
        {"get", "runstats", "--output", file("missing/" + hostile)},
        {"window", "next", "--tz", hostile},
        {"window", "next", "--at", hostile},
        {"window", "calendar", "--month", hostile},
        {"--instance", file("regular") + "/" + hostile, "describe"},
        {"--database", "DRIVER=" + hostile, "describe"},
        {"--trace", hostile, "describe"},
        {"install", "delete", "--med", key, "--name", "N"},
        {"install", "delete", "--med", key},
        {"retrieve"},
        {"retrieve", "--med", key, "--documents"},
        {"history", "--name", hostile},
        {"dump", file(hostile)},
        {"load", file(hostile)},
        {"load", file("missing" + hostile)},
        {"manual", hostile},
        {"completion", hostile},
    };
    writeFile(file("regular"), "");
    for (const Words& words : commands) {
        expectHarmless(words, false);
        if (words[0] == "completion" || words[0] == "manual") continue;
        Words asJson = words;
        asJson.emplace_back("--json");
        expectHarmless(asJson, false);
    }
}

TEST_F(CliTerminal, isNoneForAFileOrAPipe) {
    writeFile(file("runstats.xml"), configuration);
    ASSERT_EQ(run({"set", "runstats", file("runstats.xml")}).status, 0);
    const Outcome got = run({"get", "runstats"});
    EXPECT_NE(got.out.find(filter), std::string::npos) << "the document's own bytes\n" << got.out;

    const std::string asJson = run({"get", "runstats", "--json"}).out;
    for (const std::string& piece : anywhere) EXPECT_EQ(asJson.find("A" + piece), std::string::npos) << asJson;
    for (const char* escaped : {"A\\u009bZ", "A\\u202eZ", "A\\ufeffZ", "A\\u007fZ", "A\\udb40\\udc41Z"})
        EXPECT_NE(asJson.find(escaped), std::string::npos) << escaped;
    EXPECT_EQ(json::parse(asJson).at("document"), got.out) << "nothing is lost";
    EXPECT_NE(asJson.find("Gr\xC3\xBC\xC3\x9F"), std::string::npos) << "letters stay";
}

TEST_F(CliTerminal, endsADocumentWithALine) {
    if (!requireTerminals()) return;
    writeFile(file("short.xml"), "<A/>");
    ASSERT_EQ(run({"install", "insert", "--med", "M", "--policy", file("short.xml")}).status, 0);
    EXPECT_EQ(run({"retrieve", "--med", "M", "--documents"}).out, "<A/>");
    EXPECT_EQ(runOnTerminal({"retrieve", "--med", "M", "--documents"}).out, "<A/>\r\n");
}

}  // namespace
}  // namespace scenario
