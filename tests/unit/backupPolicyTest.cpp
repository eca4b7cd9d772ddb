/* Backup policy: what a stored document makes of the record, and what it leaves. */
#include "sqlpiBackup.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "services/sqlpiParsedTree.h"
#include "services/sqlpiPolicyKeys.h"
#include "unit/servicesSupport.h"

namespace {

using services::LogRecord;

sqlpiBackupPolicy presetRecord() {
    sqlpiBackupPolicy record = {};
    record.numberOfFullBackups = 1;
    record.timeSinceLastBackup = 168;
    record.logSpaceConsumed = 6400;
    record.targetType = BACKUP_TARGET_DISK;
    record.mode = BACKUP_MODE_DEFAULT;
    std::strcpy(record.targetLocation, "/preset");
    std::strcpy(record.libOptions, "preset options");
    return record;
}

std::string describe(const sqlpiBackupPolicy& record) {
    const bool hasSessions = record.targetType == BACKUP_TARGET_VLT || record.targetType == BACKUP_TARGET_XBSA;
    return "backups " + std::to_string(record.numberOfFullBackups) + ", hours " +
           std::to_string(record.timeSinceLastBackup) + ", log " + std::to_string(record.logSpaceConsumed) +
           ", target " + std::to_string(record.targetType) + ", mode " + std::to_string(record.mode) + ", " +
           (hasSessions ? "sessions " + std::to_string(record.numberOfSessions)
                        : "location " + services::textOf(record.targetLocation)) +
           ", options " + services::textOf(record.libOptions);
}

std::string sensor(const std::string& name, const std::string& constant) {
    return "<GreaterThan><kel:DBBackupSensors>" + name + "</kel:DBBackupSensors><Constant>" + constant +
           "</Constant></GreaterThan>";
}

struct Case {
    const char* name;
    std::string body;
    std::function<void(sqlpiBackupPolicy&)> change;
    std::vector<LogRecord> log = {};
    std::function<void(sqlpiBackupPolicy&)> preset = [](sqlpiBackupPolicy&) {};
};

const LogRecord unknownDecision = {PD_WARNING, "Auto backup Policy: Unknown decision type"};
const LogRecord setToDefault = {PD_WARNING, "Auto backup Policy: Backup set to default"};
const LogRecord unknownTarget = {PD_ERROR, "Auto backup Policy: Target Type Unknown"};

void nothing(sqlpiBackupPolicy&) {}

std::string longText(size_t length) {
    return std::string(length, 'p');
}

class BackupDocument : public services::DocumentTest {
protected:
    void check(const std::vector<Case>& cases) {
        for (const Case& one : cases) {
            SCOPED_TRACE(one.name);
            sqlpiBackupPolicy record = presetRecord();
            one.preset(record);
            sqlpiBackupPolicy expected = record;
            one.change(expected);
            std::string document = services::document(one.body);
            sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), &record);
            EXPECT_EQ(describe(record), describe(expected));
            EXPECT_EQ(takeDiagnosticLog(), one.log);
        }
    }
};

TEST_F(BackupDocument, isNotReadIntoARecordThatIsNull) {
    std::string document = services::document(sensor("Number_Full_DB_Backups", "3") + "<kel:DBBackup mode='online'/>");
    sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), nullptr);
    sqlpiGetBackup(nullptr);
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
}

TEST_F(BackupDocument, sensorsFillTheCriteria) {
    const std::string full = "Number_Full_DB_Backups";
    const std::string elapsed = "Elapsed_Time_Since_Last_DB_Backup";
    const std::string log = "Log_Consumed_Since_Last_DB_Backup";
    check({
        {"no sensors", "", nothing},
        {"number of full backups", sensor(full, "3"), [](auto& r) { r.numberOfFullBackups = 3; }},
        {"elapsed time", sensor(elapsed, "24"), [](auto& r) { r.timeSinceLastBackup = 24; }},
        {"log consumed", sensor(log, "12800"), [](auto& r) { r.logSpaceConsumed = 12800; }},
        {"all three, at different depths",
         sensor(full, "3") + "<Or>" + sensor(elapsed, "24") + "<And>" + sensor(log, "12800") + "</And></Or>",
         [](auto& r) {
             r.numberOfFullBackups = 3;
             r.timeSinceLastBackup = 24;
             r.logSpaceConsumed = 12800;
         }},
        {"the last of a name wins", sensor(full, "3") + "<Or>" + sensor(full, "4") + "</Or>" + sensor(full, "5"),
         [](auto& r) { r.numberOfFullBackups = 5; }},
        {"another name", sensor("Number_Full_DB_Backup", "3"), nothing},
        {"another case", sensor("number_full_db_backups", "3"), nothing},
        {"blanks around the name", sensor(" Number_Full_DB_Backups ", "3"), nothing},
        {"no name", "<Equals><kel:DBBackupSensors/><Constant>3</Constant></Equals>", nothing},
        {"sensors of another policy",
         "<Equals><kel:Sensors>Number_Full_DB_Backups</kel:Sensors><Constant>3</Constant></Equals>", nothing},
        {"no number", sensor(full, "many"), [](auto& r) { r.numberOfFullBackups = 0; }},
        {"a number and more", sensor(full, " \n+7 backups"), [](auto& r) { r.numberOfFullBackups = 7; }},
        {"a negative number", sensor(full, "-7"), [](auto& r) { r.numberOfFullBackups = -7; }},
        {"beyond 32 bits", sensor(full, "99999999999999999999"), [](auto& r) { r.numberOfFullBackups = INT32_MAX; }},
        {"below 32 bits", sensor(full, "-99999999999999999999"), [](auto& r) { r.numberOfFullBackups = INT32_MIN; }},
        {"an empty constant", sensor(full, ""), nothing},
        {"a constant before the sensor",
         "<Equals><Constant>3</Constant><kel:DBBackupSensors>Number_Full_DB_Backups</kel:DBBackupSensors></Equals>",
         nothing},
        {"no constant", "<Equals><kel:DBBackupSensors>Number_Full_DB_Backups</kel:DBBackupSensors></Equals>", nothing},
        {"another element between",
         "<Equals><kel:DBBackupSensors>Number_Full_DB_Backups</kel:DBBackupSensors><Plus/><Constant>3</Constant></"
         "Equals>",
         nothing},
        {"looking for the constant consumes the next sensor",
         "<Equals><kel:DBBackupSensors>Number_Full_DB_Backups</kel:DBBackupSensors>"
         "<kel:DBBackupSensors>Elapsed_Time_Since_Last_DB_Backup</kel:DBBackupSensors><Constant>3</Constant></Equals>",
         nothing},
        {"an ignored sensor consumes nothing",
         "<Equals><kel:DBBackupSensors>Other</kel:DBBackupSensors>"
         "<kel:DBBackupSensors>Elapsed_Time_Since_Last_DB_Backup</kel:DBBackupSensors><Constant>3</Constant></Equals>",
         [](auto& r) { r.timeSinceLastBackup = 3; }},
    });
}

TEST_F(BackupDocument, modeComesFromTheFirstAction) {
    const auto presetOffline = [](sqlpiBackupPolicy& r) { r.mode = BACKUP_MODE_OFFLINE; };
    check({
        {"online", "<kel:DBBackup mode='online'/>", [](auto& r) { r.mode = BACKUP_MODE_ONLINE; }},
        {"offline", "<kel:DBBackup mode='offline'/>", [](auto& r) { r.mode = BACKUP_MODE_OFFLINE; }},
        {"not stated, over another mode",
         "<kel:DBBackup/>",
         [](auto& r) { r.mode = BACKUP_MODE_DEFAULT; },
         {},
         presetOffline},
        {"another word",
         "<kel:DBBackup mode='Online'/>",
         [](auto& r) { r.mode = BACKUP_MODE_DEFAULT; },
         {},
         presetOffline},
        {"no action", "<kel:DBBackupActions/>", nothing, {}, presetOffline},
        {"two actions", "<Decision><kel:DBBackup mode='online'/></Decision><kel:DBBackup mode='offline'/>",
         [](auto& r) { r.mode = BACKUP_MODE_ONLINE; }},
        {"sensors behind the action", "<kel:DBBackup mode='online'/>" + sensor("Number_Full_DB_Backups", "3"),
         [](auto& r) {
             r.mode = BACKUP_MODE_ONLINE;
             r.numberOfFullBackups = 3;
         }},
    });
}

std::string action(const std::string& target) {
    return "<kel:DBBackup mode='online'>" + target + "</kel:DBBackup>";
}

std::function<void(sqlpiBackupPolicy&)> online(const std::function<void(sqlpiBackupPolicy&)>& change) {
    return [change](sqlpiBackupPolicy& r) {
        r.mode = BACKUP_MODE_ONLINE;
        change(r);
    };
}

TEST_F(BackupDocument, diskAndTapeTargetsNameAPath) {
    const auto presetTape = [](sqlpiBackupPolicy& r) { r.targetType = BACKUP_TARGET_TAPE; };
    const auto presetUnknown = [](sqlpiBackupPolicy& r) { r.targetType = 7; };
    const auto location = [](const char* path) {
        return online([path](sqlpiBackupPolicy& r) { std::strcpy(r.targetLocation, path); });
    };
    const auto tape = [](const char* path) {
        return online([path](sqlpiBackupPolicy& r) {
            r.targetType = BACKUP_TARGET_TAPE;
            std::strcpy(r.targetLocation, path);
        });
    };
    const std::string disk = "<kel:DiskBackupTarget><kel:Pathname>/backups</kel:Pathname></kel:DiskBackupTarget>";
    check({
        {"disk", action(disk), location("/backups")},
        {"disk, over a tape", action(disk), location("/backups"), {}, presetTape},
        {"disk, over an unknown target", action(disk), online(nothing), {unknownDecision}, presetUnknown},
        {"disk, path with text that formats",
         action("<kel:DiskBackupTarget><kel:Pathname>/%s%n</kel:Pathname></kel:DiskBackupTarget>"), location("/%s%n")},
        {"disk, blanks kept",
         action("<kel:DiskBackupTarget><kel:Pathname> /a b </kel:Pathname></kel:DiskBackupTarget>"),
         location(" /a b ")},
        {"disk without a child", action("<kel:DiskBackupTarget/>"), online(nothing)},
        {"disk, another first child",
         action("<kel:DiskBackupTarget><kel:libFilename>x</kel:libFilename><kel:Pathname>/backups</kel:Pathname></"
                "kel:DiskBackupTarget>"),
         online(nothing)},
        {"disk, path without text", action("<kel:DiskBackupTarget><kel:Pathname/></kel:DiskBackupTarget>"),
         online(nothing)},
        {"tape", action("<kel:TapeBackupTarget><kel:Pathname>/dev/tape</kel:Pathname></kel:TapeBackupTarget>"),
         tape("/dev/tape")},
        {"tape without a child", action("<kel:TapeBackupTarget/>"), tape("/preset")},
        {"tape, another first child",
         action("<kel:TapeBackupTarget><kel:libOptions/><kel:Pathname>/dev/tape</kel:Pathname></kel:TapeBackupTarget>"),
         tape("/preset")},
        {"tape, path without text", action("<kel:TapeBackupTarget><kel:Pathname/></kel:TapeBackupTarget>"),
         tape("/preset")},
        {"no target", action(""), online(nothing)},
        {"only the first target", action(disk + "<kel:VLTBackupTarget/>"), location("/backups")},
        {"only the first child, a target or not", action("<Description/>" + disk), online(nothing), {unknownTarget}},
        {"only the first action's target", action("") + action(disk), online(nothing)},
        {"unknown target", action("<kel:FloppyBackupTarget/>"), online(nothing), {unknownTarget}},
    });
}

TEST_F(BackupDocument, storageManagersCountSessions) {
    for (const auto& [element, type] : {std::pair<std::string, int32_t>{"kel:VLTBackupTarget", BACKUP_TARGET_VLT},
                                        {"kel:XBSABackupTarget", BACKUP_TARGET_XBSA}}) {
        SCOPED_TRACE(element);
        const auto target = [&](const std::string& content) {
            return action("<" + element + ">" + content + "</" + element + ">");
        };
        const auto sessions = [targetType = type](uint32_t count) {
            return online([targetType, count](sqlpiBackupPolicy& r) {
                r.targetType = targetType;
                r.numberOfSessions = count;
            });
        };
        const auto typeOnly = online([targetType = type](sqlpiBackupPolicy& r) { r.targetType = targetType; });
        check({
            {"a number", target("<kel:numberOfSessions>4</kel:numberOfSessions>"), sessions(4)},
            {"no number", target("<kel:numberOfSessions>few</kel:numberOfSessions>"), sessions(0)},
            {"beyond the range", target("<kel:numberOfSessions>4294967295</kel:numberOfSessions>"),
             sessions(INT32_MAX)},
            {"negative", target("<kel:numberOfSessions>-1</kel:numberOfSessions>"), sessions(UINT32_MAX)},
            {"no text", target("<kel:numberOfSessions/>"), online(nothing), {setToDefault}},
            {"no text, over a tape",
             target("<kel:numberOfSessions/>"),
             online([](auto& r) { r.targetType = BACKUP_TARGET_DISK; }),
             {setToDefault},
             [](auto& r) { r.targetType = BACKUP_TARGET_TAPE; }},
            {"another first child", target("<kel:Pathname/><kel:numberOfSessions>4</kel:numberOfSessions>"), typeOnly},
            {"no child", target(""), typeOnly},
        });
    }
}

TEST_F(BackupDocument, vendorTargetNamesALibrary) {
    const auto vendor = [](const char* library, const char* options) {
        return online([library, options](sqlpiBackupPolicy& r) {
            r.targetType = BACKUP_TARGET_VENDOR;
            std::strcpy(r.targetLocation, library);
            std::strcpy(r.libOptions, options);
        });
    };
    const auto target = [](const std::string& content) {
        return action("<kel:VendorLibBackupTarget>" + content + "</kel:VendorLibBackupTarget>");
    };
    check({
        {"library and options",
         target("<kel:libFilename>libv.so</kel:libFilename><kel:libOptions>a=b</kel:libOptions>"),
         vendor("libv.so", "a=b")},
        {"in the other order, among others",
         target("<Description>d</Description><kel:libOptions>a=b</kel:libOptions><kel:Pathname>/p</kel:Pathname>"
                "<kel:libFilename>libv.so</kel:libFilename>"),
         vendor("libv.so", "a=b")},
        {"a repeated child overwrites",
         target("<kel:libFilename>longer-library.so</kel:libFilename><kel:libFilename>l.so</kel:libFilename>"),
         vendor("l.so", "preset options")},
        {"without texts", target("<kel:libFilename/><kel:libOptions/>"), vendor("", "")},
        {"without children", target(""), vendor("/preset", "preset options")},
        {"only direct children", target("<Set><kel:libFilename>l.so</kel:libFilename></Set>"),
         vendor("/preset", "preset options")},
    });
}

/* The texts that are stored, and how much of them fits. */
struct LongText {
    const char* name;
    std::string text;
    std::string stored;
};

TEST_F(BackupDocument, textsAreCutToTheField) {
    const std::vector<LongText> texts = {
        {"fits exactly", longText(2047), longText(2047)},
        {"one too long", longText(2048), longText(2047)},
        {"far too long", longText(100000), longText(2047)},
        {"between characters", longText(2046) + "\xC3\xA4" + "end", longText(2046)},
    };
    struct Target {
        const char* name;
        const char* before;
        const char* behind;
        bool isOptions;
        bool isCleared;
    };
    const std::vector<Target> targets = {
        {"disk", "<kel:DiskBackupTarget><kel:Pathname>", "</kel:Pathname></kel:DiskBackupTarget>", false, false},
        {"tape", "<kel:TapeBackupTarget><kel:Pathname>", "</kel:Pathname></kel:TapeBackupTarget>", false, true},
        {"library", "<kel:VendorLibBackupTarget><kel:libFilename>", "</kel:libFilename></kel:VendorLibBackupTarget>",
         false, true},
        {"options", "<kel:VendorLibBackupTarget><kel:libOptions>", "</kel:libOptions></kel:VendorLibBackupTarget>",
         true, true},
    };
    for (const Target& target : targets) {
        for (const LongText& one : texts) {
            SCOPED_TRACE(std::string(target.name) + ", " + one.name);
            sqlpiBackupPolicy record = presetRecord();
            char(&field)[2048] = target.isOptions ? record.libOptions : record.targetLocation;
            std::memset(field, 'x', sizeof field);
            std::string document = services::document(action(target.before + one.text + target.behind));
            sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), &record);
            EXPECT_EQ(services::textOf(field), one.stored);
            if (target.isCleared) {
                EXPECT_TRUE(std::all_of(field + one.stored.size(), std::end(field), [](char c) { return c == 0; }));
            }
        }
    }
}

TEST_F(BackupDocument, clearsTheWholeFieldForTapeAndVendor) {
    for (const char* body :
         {"<kel:TapeBackupTarget><kel:Pathname>/t</kel:Pathname></kel:TapeBackupTarget>",
          "<kel:VendorLibBackupTarget><kel:libFilename>/t</kel:libFilename></kel:VendorLibBackupTarget>"}) {
        SCOPED_TRACE(body);
        sqlpiBackupPolicy record = presetRecord();
        std::memset(record.targetLocation, 'x', sizeof record.targetLocation);
        std::string document = services::document(action(body));
        sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), &record);
        EXPECT_STREQ(record.targetLocation, "/t");
        EXPECT_TRUE(
            std::all_of(record.targetLocation + 2, std::end(record.targetLocation), [](char c) { return c == 0; }));
    }
}

/* A caller who only wants what the document says hands in a record as it lies in memory. */
TEST_F(BackupDocument, servesARecordThatWasNotPreset) {
    struct Unset {
        const char* target;
        int32_t targetType;
        const char* location;
        const char* options;
    };
    const int32_t garbage = 0x2A2A2A2A;
    for (const Unset& one : {
             Unset{"<kel:TapeBackupTarget><kel:Pathname>/t</kel:Pathname></kel:TapeBackupTarget>", 1, "/t", nullptr},
             Unset{"<kel:VendorLibBackupTarget><kel:libFilename>l</kel:libFilename><kel:libOptions>o</kel:libOptions>"
                   "</kel:VendorLibBackupTarget>",
                   4, "l", "o"},
             Unset{"<kel:DiskBackupTarget><kel:Pathname>/d</kel:Pathname></kel:DiskBackupTarget>", garbage, nullptr,
                   nullptr},
         }) {
        SCOPED_TRACE(one.target);
        sqlpiBackupPolicy record;
        std::memset(&record, 0x2A, sizeof record);
        std::string document = services::document(sensor("Number_Full_DB_Backups", "3") + action(one.target));
        sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), &record);
        EXPECT_EQ(record.numberOfFullBackups, 3);
        EXPECT_EQ(record.timeSinceLastBackup, garbage);
        EXPECT_EQ(record.mode, BACKUP_MODE_ONLINE);
        EXPECT_EQ(record.targetType, one.targetType);
        if (one.location != nullptr) {
            EXPECT_STREQ(record.targetLocation, one.location);
        }
        if (one.options != nullptr) {
            EXPECT_STREQ(record.libOptions, one.options);
        }
    }
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{unknownDecision});
}

TEST_F(BackupDocument, leavesTheRecordWithoutATree) {
    for (const std::string& text : {std::string(), std::string("<PolicyDocument><kel:DBBackup mode='online'>"),
                                    std::string("<Other><kel:DBBackup mode='online'/></Other>")}) {
        SCOPED_TRACE(text);
        sqlpiBackupPolicy record = presetRecord();
        std::string document = text;
        sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), &record);
        EXPECT_EQ(describe(record), describe(presetRecord()));
    }
    sqlpiBackupPolicy record = presetRecord();
    sqlpiGetBackupPolicy(nullptr, 0, &record);
    sqlpiGetBackupFromParsedTree(nullptr, &record);
    EXPECT_EQ(describe(record), describe(presetRecord()));
}

/* The search starts anew, whoever has searched the tree before. */
TEST_F(BackupDocument, treesAreSearchedFromTheirStart) {
    const Tree tree = parseTree(services::document(sensor("Number_Full_DB_Backups", "3") + action("")));
    for (int round = 0; round < 2; ++round) {
        while (tree->findElement(tree.get(), SQLPI_ELEMENT_DB_BACKUP_SENSORS) != nullptr) {
        }
        sqlpiBackupPolicy record = presetRecord();
        sqlpiGetBackupFromParsedTree(tree.get(), &record);
        EXPECT_EQ(record.numberOfFullBackups, 3);
        EXPECT_EQ(record.mode, BACKUP_MODE_ONLINE);
    }
}

/* Of a document inside another the inner one is the policy; what stands around it is not looked at. */
TEST_F(BackupDocument, readsTheInnerDocumentOnly) {
    const auto content = [](const std::string& number) { return sensor("Number_Full_DB_Backups", number); };
    std::string document = services::document(content("1") + "<PolicyDocument>" + content("2") + "</PolicyDocument>" +
                                              content("3") + action(""));
    sqlpiBackupPolicy record = presetRecord();
    sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), &record);
    EXPECT_EQ(record.numberOfFullBackups, 2);
    EXPECT_EQ(record.mode, BACKUP_MODE_DEFAULT);
}

/* Trees as only a damaged model could hold them: an element claims a type that its class does not fit. */
TEST_F(BackupDocument, reportsElementsOfAnotherClass) {
    const Tree tree = services::emptyTree();
    auto* wrongSensor = addChild<SQLPIConst>(tree.get(), SQLPI_ELEMENT_DB_BACKUP_SENSORS, "Number_Full_DB_Backups");
    addChild<SQLPIConst>(tree.get(), SQLPI_ELEMENT_CONSTANT, "9");
    addChild<SQLPISensors>(tree.get(), SQLPI_ELEMENT_DB_BACKUP_SENSORS, "Number_Full_DB_Backups");
    addChild<SQLPIConst>(tree.get(), SQLPI_ELEMENT_CONSTANT, "3");
    auto* wrongAction = addChild<SQLPIConst>(tree.get(), SQLPI_ELEMENT_DB_BACKUP, nullptr);
    auto* target = addChild<SQLPIPolicyElement>(wrongAction, SQLPI_ELEMENT_TAPE_BACKUP_TARGET, nullptr);
    addChild<SQLPIPathname>(target, SQLPI_ELEMENT_PATHNAME, "/t");
    ASSERT_NE(wrongSensor, nullptr);

    sqlpiBackupPolicy record = presetRecord();
    record.mode = BACKUP_MODE_OFFLINE;
    sqlpiGetBackupFromParsedTree(tree.get(), &record);
    sqlpiBackupPolicy expected = presetRecord();
    expected.numberOfFullBackups = 3;
    expected.mode = BACKUP_MODE_DEFAULT;
    expected.targetType = BACKUP_TARGET_TAPE;
    std::strcpy(expected.targetLocation, "/t");
    EXPECT_EQ(describe(record), describe(expected));
    EXPECT_EQ(takeDiagnosticLog(),
              (std::vector<LogRecord>{{PD_WARNING, "Dynamic cast failed"}, {PD_WARNING, "Dynamic cast error"}}));
}

/* --- the engine's entry ------------------------------------------------------------------------------------------- */

class StoredBackup : public services::EngineTest {
protected:
    sqlpiBackupPolicy defaults() const {
        sqlpiBackupPolicy record = {};
        record.numberOfFullBackups = 1;
        record.timeSinceLastBackup = 168;
        record.logSpaceConsumed = 6400;
        record.mode = BACKUP_MODE_DEFAULT;
        std::strcpy(record.targetLocation, instance().backups().c_str());
        return record;
    }
    std::string stored() {
        sqlpiBackupPolicy record;
        std::memset(&record, 0x2A, sizeof record);
        sqlpiGetBackup(&record);
        return describe(record);
    }
};

TEST_F(StoredBackup, holdsTheDefaultsWithoutARow) {
    services::remove(SQLPI_BACKUP_KEY);
    EXPECT_EQ(stored(), describe(defaults()));
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
}

TEST_F(StoredBackup, holdsWhatTheRowSays) {
    services::store(SQLPI_BACKUP_KEY, services::document(sensor("Number_Full_DB_Backups", "3") +
                                                         action("<kel:XBSABackupTarget><kel:numberOfSessions>2"
                                                                "</kel:numberOfSessions></kel:XBSABackupTarget>")));
    sqlpiBackupPolicy expected = defaults();
    expected.numberOfFullBackups = 3;
    expected.mode = BACKUP_MODE_ONLINE;
    expected.targetType = BACKUP_TARGET_XBSA;
    expected.numberOfSessions = 2;
    EXPECT_EQ(stored(), describe(expected));
}

TEST_F(StoredBackup, keepsTheDefaultPathWhenSessionsAreMissing) {
    services::store(SQLPI_BACKUP_KEY,
                    services::document(action("<kel:VLTBackupTarget><kel:numberOfSessions/></kel:VLTBackupTarget>")));
    sqlpiBackupPolicy expected = defaults();
    expected.mode = BACKUP_MODE_ONLINE;
    EXPECT_EQ(stored(), describe(expected));
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{setToDefault});
}

TEST_F(StoredBackup, holdsTheDefaultsForADocumentThatDoesNotParse) {
    services::store(SQLPI_BACKUP_KEY, "<PolicyDocument><kel:DBBackup mode='online'>");
    EXPECT_EQ(stored(), describe(defaults()));
}

TEST_F(StoredBackup, readsTheRowOfItsKeysOnly) {
    services::remove(SQLPI_BACKUP_KEY);
    services::store(SQLPI_REORG_KEY, services::document(action("")));
    EXPECT_EQ(stored(), describe(defaults()));
}

}  // namespace
