// samples/configuration: what users start from is valid, means what it says, and comes back as it is written.
#include "configurationScenario.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class CliSamples : public ConfigurationScenario {};

struct SampleCase {
    const char* name;
    const char* type;
    std::vector<std::pair<const char*, const char*>> online; /* the next stretches, local */
    std::vector<std::pair<const char*, const char*>> offline;
};

const SampleCase sampleCases[] = {
    {"windows-nights.xml",
     "windows",
     {{"2026-11-26T22:00:00", "2026-11-27T06:00:00"}, {"2026-11-27T22:00:00", "2026-11-28T06:00:00"}},
     {}},
    {"windows-weekends.xml",
     "windows",
     {{"2026-11-26T22:00:00", "2026-11-27T06:00:00"}},
     {{"2026-11-28T01:00:00", "2026-11-28T05:00:00"},
      {"2026-11-29T01:00:00", "2026-11-29T05:00:00"},
      {"2027-01-02T01:00:00", "2027-01-02T05:00:00"}}},
    {"windows-month-end.xml",
     "windows",
     {{"2026-11-26T20:00:00", "2026-11-27T06:00:00"}},
     {{"2026-11-29T23:00:00", "2026-11-30T03:00:00"},
      {"2026-11-30T23:00:00", "2026-12-01T03:00:00"},
      {"2026-12-30T23:00:00", "2026-12-31T03:00:00"}}},
    {"windows-outside-office-hours.xml",
     "windows",
     {{"2026-11-26T18:00:00", "2026-11-27T08:00:00"},
      {"2026-11-27T18:00:00", "2026-11-30T08:00:00"},
      {"2026-11-30T18:00:00", "2026-12-01T08:00:00"}},
     {{"2026-12-06T02:00:00", "2026-12-06T08:00:00"}, {"2027-01-03T02:00:00", "2027-01-03T08:00:00"}}},
    {"backup.xml", "backup", {}, {}},
    {"backup-to-directory.xml", "backup", {}, {}},
    {"backup-to-storage-manager.xml", "backup", {}, {}},
    {"backup-through-library.xml", "backup", {}, {}},
    {"reorg.xml", "reorg", {}, {}},
    {"runstats.xml", "runstats", {}, {}},
};

TEST_F(CliSamples, knowsEverySample) {
    size_t files = 0;
    for (const auto& entry : fs::directory_iterator(sample("configuration"))) {
        ++files;
        EXPECT_TRUE(std::any_of(std::begin(sampleCases), std::end(sampleCases), [&entry](const SampleCase& one) {
            return entry.path().filename() == one.name;
        })) << entry.path();
    }
    EXPECT_EQ(files, std::size(sampleCases));
}

TEST_F(CliSamples, setsEverySampleAndReadsItBack) {
    for (const SampleCase& example : sampleCases) {
        const std::string path = sample("configuration/") + example.name;
        const Outcome valid = run({"validate", example.type, path});
        EXPECT_EQ(valid.status, 0) << valid.err;
        const Outcome done = run({"set", example.type, path, "--json"});
        ASSERT_EQ(done.status, 0) << example.name << done.err;
        EXPECT_EQ(withoutRareWindows(valid.err + done.err), "") << example.name << " comes back as it is written";

        const json first = json::parse(done.out);
        const Outcome got = run({"get", example.type});
        EXPECT_EQ(got.status, 0) << got.err;
        EXPECT_EQ(got.err, "") << example.name;
        const StoredRow stored = row(first.at("policy"));
        const json again = set(example.type, got.out);
        EXPECT_EQ(again.at("before"), first.at("after")) << example.name;
        EXPECT_EQ(again.at("after"), first.at("after")) << example.name;
        EXPECT_EQ(row(first.at("policy")).document, stored.document) << example.name;
        EXPECT_EQ(run({"get", example.type}).out, got.out) << example.name;
        if (std::string(example.type) != "windows") continue;
        for (const json& finding : json::parse(run({"window", "lint", "--at", "2026-11-26T12:00", "--json"}).out))
            EXPECT_EQ(finding.at("check"), "rare") << example.name << finding;
    }
}

/* The program has them with it: where it is installed there are no sources beside it. */
TEST_F(CliSamples, writesADocumentToStartFromAndItsSchema) {
    const char* const names[] = {"windows-nights.xml", "backup.xml", "reorg.xml", "runstats.xml"};
    for (size_t i = 0; i < std::size(names); ++i) {
        const ConfigurationName& name = configurationNames[i];
        const Outcome document = run({"sample", name.shortName});
        EXPECT_EQ(document.status, 0) << document.err;
        EXPECT_EQ(document.out, readFile(sample(std::string("configuration/") + names[i])));
        EXPECT_EQ(document.err, "");
        const Outcome valid = run({"validate", name.type, "-"}, {.input = document.out});
        EXPECT_EQ(valid.status, 0) << valid.err;

        const Outcome schema = run({"schema", name.type});
        EXPECT_EQ(schema.status, 0) << schema.err;
        EXPECT_EQ(schema.out.find("<?xml"), 0U) << schema.out;
        const std::string root = document.out.substr(document.out.find("<KEL") + 1, 12);
        EXPECT_NE(schema.out.find("name=\"" + root), std::string::npos) << root << schema.out;
        for (const char* command : {"sample", "schema"}) {
            const json answer = json::parse(run({command, name.shortName, "--json"}).out);
            EXPECT_EQ(answer.at("type"), name.type);
            EXPECT_EQ(answer.at("document"), command == std::string("sample") ? document.out : schema.out);
            EXPECT_EQ(answer.at("bytes"), answer.at("document").get<std::string>().size());
        }
    }
    EXPECT_EQ(run({"sample"}).status, 2);
    EXPECT_EQ(run({"schema", "stats-profile"}).status, 2);
    EXPECT_FALSE(fs::exists(instance())) << "it needs no instance";
}

TEST_F(CliSamples, opensTheWindowsOfTheSamplesWhenTheyShould) {
    for (const SampleCase& example : sampleCases) {
        if (std::string(example.type) != "windows") continue;
        ASSERT_EQ(run({"set", "windows", sample("configuration/") + example.name}).status, 0);
        for (const auto& [kind, expected] :
             {std::pair("online", example.online), std::pair("offline", example.offline)}) {
            const json found = json::parse(run({"window", "next", "--kind", kind, "--at", "2026-11-26T12:00", "--count",
                                                std::to_string(std::max<size_t>(expected.size(), 1)), "--json"})
                                               .out);
            if (expected.empty()) {
                EXPECT_EQ(found[0].at("found"), false) << example.name << kind;
            }
            for (size_t i = 0; i < expected.size(); ++i) {
                EXPECT_EQ(found[i].at("start_local"), std::string(expected[i].first) + "+00:00")
                    << example.name << kind;
                EXPECT_EQ(found[i].at("end_local"), std::string(expected[i].second) + "+00:00") << example.name << kind;
            }
        }
    }
}

}  // namespace
}  // namespace scenario
