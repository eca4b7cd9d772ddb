// kelpolicy describe: one line of text for each stored policy.
#include "configurationScenario.h"

namespace scenario {
namespace {

using nlohmann::json;

class CliDescribe : public Scenario {
protected:
    std::string description(const std::string& name) const {
        const Outcome outcome = run({"describe", name, "--json"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        const json all = json::parse(outcome.out);
        EXPECT_EQ(all.size(), 1U);
        EXPECT_EQ(all[0].at("name"), name);
        return all[0].at("description");
    }
};

TEST_F(CliDescribe, describesAllPoliciesInTheOrderOfTheirList) {
    makeInstance();
    const json all = json::parse(run({"describe", "--json"}).out);
    ASSERT_EQ(all.size(), 5U);
    const std::vector<std::string> names = {"CommonPolicy", "DBBackupPolicy", "TableReorgPolicy", "TableRunstatsPolicy",
                                            "StatsProfilePolicy"};
    for (size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(all[i].at("name"), names[i]);
        EXPECT_EQ(all[i].at("stored"), true);
        EXPECT_EQ(all[i].at("description"), description(names[i]));
    }
}

TEST_F(CliDescribe, describesWhatIsStored) {
    store("DBBackupPolicy", readFile(sample("backup-to-storage-manager.xml")));
    store("TableReorgPolicy", readFile(sample("reorg.xml")));
    store("TableRunstatsPolicy", readFile(sample("runstats.xml")));
    store("StatsProfilePolicy", readFile(sample("stats-profile.xml")));
    store("CommonPolicy", readFile(sample("windows.xml")));
    EXPECT_EQ(
        description("DBBackupPolicy"),
        "Backup criteria:   Number of full backups < 1 or  Elapsed time size last backup > 168 hours or  Log space "
        "consumed since last backup > 3276800 MB  Backup mode: OFFLINE Backup policy decision target:  Backup "
        "Type: VLT,  Number of sessions: 4 ");
    EXPECT_EQ(description("TableReorgPolicy"),
              "Table Scope: WHERE TABSCHEMA = 'SALES' AND NAME NOT LIKE 'TMP%'  Reorganization options: Rebuild "
              "dictionary , Use temporary tablespace  Index Reorganization Mode: Online  Reclaim Extents Size for MDC "
              "Tables: 51200 KB  Table size limit: 4194304 KB");
    EXPECT_EQ(description("TableRunstatsPolicy"), "Table Scope: WHERE TABSCHEMA = 'SALES'");
    EXPECT_EQ(
        description("StatsProfilePolicy"),
        "Monitor:  Max files: 10  Max file size: 64  Feedback warehouse population: 30  Max single table stats: 40 "
        " Max column group stats: 25  Max frequent values: 10  Max profiles: 15  Profile type: 1");
    EXPECT_EQ(
        description("CommonPolicy"),
        "Online window:  Start Date: Current Date  End Date: none  Maintenance occurs inside window  Time:  "
        "22:00:00 - 06:00:00  Days of week:  All  Days of month:  All  Month of year:  All  Offline window:  Start "
        "Date: Current Date  End Date: none  Maintenance occurs inside window  Time:  01:00:00 - 05:00:00  Days of "
        "week: SUN, SAT,  Days of month:  All  Month of year: JAN, FEB, MAR, APR, MAY, JUN, JUL, AUG, SEP, OCT, "
        "NOV, ");
}

TEST_F(CliDescribe, refusesANameThatIsNoneAndListsThem) {
    const Outcome outcome = run({"describe", "BackupPolicy", "--json"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(json::parse(outcome.err).at("error"),
              (json{{"message", "there is no policy named \"BackupPolicy\""},
                    {"hint",
                     "Name one of these: CommonPolicy, DBBackupPolicy, TableReorgPolicy, TableRunstatsPolicy, "
                     "StatsProfilePolicy."},
                    {"sqlcode", -204},
                    {"sqlstate", "42704"}}));
    EXPECT_FALSE(std::filesystem::exists(instance()));
}

TEST_F(CliDescribe, saysWhichStoredDocumentsDoNotParse) {
    store("CommonPolicy", "<PolicyDocument>\n <And>");
    store("TableReorgPolicy", "<PolicyDocument/>\n<More/>");
    const Outcome outcome = run({"describe", "--json"});
    EXPECT_EQ(outcome.status, 1);
    const json all = json::parse(outcome.out);
    ASSERT_EQ(all.size(), 5U);
    EXPECT_NE(all[0].at("description").get<std::string>().find("00:00:00 - 00:00:00"), std::string::npos);

    const std::vector<json> errors = objectsOf(outcome.err, "error");
    ASSERT_EQ(errors.size(), 2U) << outcome.err;
    EXPECT_EQ(errors[0].at("policy"), "CommonPolicy");
    EXPECT_EQ(errors[0].at("line"), 2);
    EXPECT_EQ(errors[1].at("policy"), "TableReorgPolicy");
    EXPECT_EQ(errors[1].at("line"), 2);

    EXPECT_EQ(run({"describe", "DBBackupPolicy"}).status, 0) << "a policy that is not used is not complained about";
}

TEST_F(CliDescribe, givesTheNotesThatShowGives) {
    store("DBBackupPolicy", "<PolicyDocument><kel:DBBackup><Scope/></kel:DBBackup></PolicyDocument>");
    store("TableReorgPolicy", readFile(sample("backup-to-disk.xml")));
    store("TableRunstatsPolicy", "<PolicyDocument>");
    const Outcome outcome = run({"describe", "--json"});
    EXPECT_EQ(outcome.status, 1);
    std::istringstream lines(outcome.err);
    std::vector<json> told;
    for (std::string line; std::getline(lines, line);) told.push_back(json::parse(line));
    ASSERT_EQ(told.size(), 3U) << outcome.err;
    EXPECT_EQ(told[0].at("note"),
              "the engine logged while it read DBBackupPolicy: Auto backup Policy: Target Type Unknown");
    const std::string silence = told[1].at("note");
    EXPECT_EQ(silence.find("TableReorgPolicy, stored "), 0U) << silence;
    EXPECT_NE(silence.find(" has no element of the Reorg policy: the built-in defaults are in force"),
              std::string::npos)
        << silence;
    EXPECT_EQ(told[2].at("error").at("policy"), "TableRunstatsPolicy") << "what the engine logs of it is told once";

    EXPECT_EQ(run({"describe", "CommonPolicy"}).err, "") << "of the policy that is described only";
}

TEST_F(CliDescribe, saysThatTheEnginesDescriptionIsCut) {
    const auto withFilter = [](size_t length) {
        return "<PolicyDocument><kel:Sensors>Tables</kel:Sensors><Constant>" + std::string(length, 'f') +
               "</Constant></PolicyDocument>";
    };
    const auto withVendor = [](size_t length) {
        return "<PolicyDocument><kel:DBBackup><kel:VendorLibBackupTarget><kel:libFilename>" + std::string(length, 'v') +
               "</kel:libFilename><kel:libOptions>" + std::string(length, 'v') +
               "</kel:libOptions></kel:VendorLibBackupTarget></kel:DBBackup></PolicyDocument>";
    };
    // A piece holds 4095 bytes, "Table Scope: " and the blank that follows a reorg policy's included.
    const struct {
        const char* policy;
        std::string document;
        const char* shownBy; /* where all of it stands; empty: the description is whole */
    } cases[] = {
        {"TableReorgPolicy", withFilter(4081), ""},
        {"TableReorgPolicy", withFilter(4083), "show reorg"},
        {"TableReorgPolicy", withFilter(10000), "show reorg"},
        {"TableRunstatsPolicy", withFilter(4082), ""},
        {"TableRunstatsPolicy", withFilter(4083), "show runstats"},
        {"TableRunstatsPolicy", withFilter(10000), "show runstats"},
        {"DBBackupPolicy", withVendor(1800), ""},
        {"DBBackupPolicy", withVendor(2047), "show backup"},
    };
    for (const auto& one : cases) {
        store(one.policy, one.document);
        const Outcome outcome = run({"describe", one.policy});
        EXPECT_EQ(outcome.status, 0) << one.policy << ", " << one.document.size();
        const std::string note = std::string("note: the engine cuts its description of ") + one.policy +
                                 "; \"kelpolicy " + one.shownBy + "\" shows all of it\n";
        EXPECT_EQ(outcome.err.ends_with(note), *one.shownBy != '\0') << outcome.err;
        EXPECT_EQ(outcome.err.empty(), *one.shownBy == '\0')
            << one.policy << ", " << one.document.size() << outcome.err;
    }
}

TEST_F(CliDescribe, saysThatThereIsNoRow) {
    execute("DELETE FROM SYSTOOLS.POLICY WHERE NAME='DBBackupPolicy'");
    const Outcome outcome = run({"describe", "DBBackupPolicy"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.find("DBBackupPolicy  (no row: the built-in defaults are in force)\n"), 0U) << outcome.out;
    EXPECT_EQ(json::parse(run({"describe", "DBBackupPolicy", "--json"}).out)[0].at("stored"), false);
}

}  // namespace
}  // namespace scenario
