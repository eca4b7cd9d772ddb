// kelpolicy retrieve: rows and documents of the policy table.
#include <nlohmann/json.hpp>

#include "scenario.h"

namespace scenario {
namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

class CliRetrieve : public Scenario {
protected:
    CliRetrieve() {
        execute("DELETE FROM SYSTOOLS.POLICY");
        for (const char* med : {"A", "B"})
            for (const char* name : {"N1", "N2"}) add(med, "D", name, std::string("<PolicyDocument/>") + med + name);
    }

    void add(const std::string& med, const std::string& decision, const std::string& name,
             const std::string& document) const {
        execute("INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES (" + quoted(med) + ", " +
                quoted(decision) + ", " + quoted(name) + ", '2026-01-02-03.04.05.000006', X'" + hexOf(document) + "')");
    }
    json rows(const Words& options) const {
        Words words = {"retrieve", "--json"};
        words.insert(words.end(), options.begin(), options.end());
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }
    Words found(const Words& options) const {
        Words keys;
        for (const json& row : rows(options))
            keys.push_back(row.at("med").get<std::string>() + "/" + row.at("name").get<std::string>());
        return keys;
    }

private:
    static std::string quoted(const std::string& text) {
        std::string literal = "'";
        for (const char byte : text) literal += byte == '\'' ? "''" : std::string(1, byte);
        return literal + "'";
    }
};

TEST_F(CliRetrieve, selectsByAnyOfTheKeys) {
    const struct {
        Words options;
        Words expected;
    } cases[] = {{{}, {"A/N1", "A/N2", "B/N1", "B/N2"}},
                 {{"--med", "A"}, {"A/N1", "A/N2"}},
                 {{"--name", "N2"}, {"A/N2", "B/N2"}},
                 {{"--decision", "D"}, {"A/N1", "A/N2", "B/N1", "B/N2"}},
                 {{"--med", "B", "--decision", "D", "--name", "N1"}, {"B/N1"}},
                 {{"--med", "C"}, {}},
                 {{"--med", ""}, {}},
                 {{"--med", "A' OR 'A'='A"}, {}}};
    for (const auto& example : cases) EXPECT_EQ(found(example.options), example.expected) << json(example.options);
}

TEST_F(CliRetrieve, findsKeysWithApostrophesAndOfFullLength) {
    const std::string keys[] = {"O'Brien", "'", std::string(128, '\''), std::string(128, 'k')};
    for (const std::string& key : keys) add(key, key, key, "x");
    for (const std::string& key : keys) {
        const json rows = this->rows({"--med", key, "--decision", key, "--name", key});
        ASSERT_EQ(rows.size(), 1U) << key;
        EXPECT_EQ(rows[0].at("name"), key);
        EXPECT_EQ(rows[0].at("bytes"), 1);
    }
    const Outcome tooLong = run({"retrieve", "--name", std::string(129, 'k')});
    EXPECT_EQ(tooLong.status, 2);
    EXPECT_NE(tooLong.err.find("129 bytes"), std::string::npos) << tooLong.err;
}

TEST_F(CliRetrieve, showsWhatParsesAndWhereNot) {
    execute("DELETE FROM SYSTOOLS.POLICY");
    add("A", "D", "empty", "");
    add("A", "D", "good", "<PolicyDocument/>");
    add("A", "D", "torn", "<PolicyDocument>\n <And>");
    const json rows = this->rows({});
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[1], (json{{"med", "A"},
                             {"decision", "D"},
                             {"name", "good"},
                             {"updateTime", "2026-01-02-03.04.05.000006"},
                             {"bytes", 17},
                             {"parses", true}}));
    EXPECT_EQ(rows[0].at("parses"), false);
    EXPECT_EQ(rows[2].at("parses"), false);
    EXPECT_EQ(rows[2].at("problem").at("line"), 2);
    EXPECT_EQ(rows[2].at("problem").at("sqlcode"), -1438);
    EXPECT_FALSE(rows[2].contains("document"));

    const Outcome table = run({"retrieve"});
    EXPECT_EQ(table.status, 0) << table.err;
    EXPECT_EQ(table.out.find("MED  DECISION  NAME   UPDATE_TIME                 BYTES  DOCUMENT\n"), 0U) << table.out;
    EXPECT_NE(table.out.find("\nA    D         good   2026-01-02-03.04.05.000006  17     parses\n"), std::string::npos)
        << table.out;
    EXPECT_NE(table.out.find("\nA    D         torn   2026-01-02-03.04.05.000006  23     does not parse at line 2, "),
              std::string::npos)
        << table.out;
}

TEST_F(CliRetrieve, writesOneDocumentAsItIsAndMoreWithHeadings) {
    if (!requireTerminals()) return;
    const std::string document = "<PolicyDocument>\r\n\t\x01\xFFno end of line";
    add("C", "D", "N", document);
    const Outcome one = run({"retrieve", "--med", "C", "--documents"});
    EXPECT_EQ(one.status, 0) << one.err;
    EXPECT_EQ(one.out, document);

    const Outcome terminal = runOnTerminal({"retrieve", "--med", "C", "--documents"});
    EXPECT_NE(terminal.out.find("\r\n\t\\x01\\xFFno end of line\r\n"), std::string::npos) << terminal.out;

    const Outcome more = run({"retrieve", "--med", "A", "--documents"});
    EXPECT_EQ(more.out,
              "== MED \"A\", DECISION \"D\", NAME \"N1\", 20 bytes\n<PolicyDocument/>AN1\n"
              "== MED \"A\", DECISION \"D\", NAME \"N2\", 20 bytes\n<PolicyDocument/>AN2\n");
}

TEST_F(CliRetrieve, losesNoByteInJson) {
    const std::string utf8 = "<PolicyDocument>Gr\xC3\xBC\xC3\x9F\x65</PolicyDocument>";
    add("C", "D", "text", utf8);
    add("C", "D", "zero", std::string("a\0b", 3));
    add("C", "D", "latin", "a\xE9\xFF");
    const json rows = this->rows({"--med", "C", "--documents"});
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0].at("document"), nullptr);
    EXPECT_EQ(rows[0].at("documentBase64"), "Yen/");
    EXPECT_EQ(rows[0].at("bytes"), 3);
    EXPECT_EQ(rows[1].at("document"), utf8);
    EXPECT_FALSE(rows[1].contains("documentBase64"));
    EXPECT_EQ(rows[2].at("document"), std::string("a\0b", 3));
}

TEST_F(CliRetrieve, showsKeysThatAreNotUtf8) {
    const std::string key = "k\xE9y";
    add(key, "D", "N", "<PolicyDocument/>");
    const json rows = this->rows({"--med", key});
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].at("med"), nullptr);
    EXPECT_EQ(rows[0].at("medBase64"), "a+l5");
    EXPECT_NE(run({"retrieve", "--med", key}).out.find("k\\xE9y"), std::string::npos);
}

TEST_F(CliRetrieve, saysThatThereIsNoRow) {
    const Outcome outcome = run({"retrieve", "--name", "none"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "note: no row has these keys\n");
    EXPECT_EQ(json::parse(run({"retrieve", "--name", "none", "--json"}).out), json::array());
}

TEST_F(CliRetrieve, tellsThatTheTableCannotBeRead) {
    administer("ALTER TABLE SYSTOOLS.POLICY RENAME COLUMN POLICY TO SOMETHING");
    const Outcome outcome = run({"retrieve", "--json"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_LT(json::parse(outcome.err).at("error").at("sqlcode"), 0) << outcome.err;
}

}  // namespace
}  // namespace scenario
