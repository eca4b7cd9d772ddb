/* Getting and setting policies as documents: what is stored, what comes back, what is told. */
#include "unit/configSupport.h"

#include <sys/resource.h>

#include <csignal>
#include <functional>

#include "configuration/sqlpiPolicyConfigCommon.h"
#include "configuration/sqlpiPolicyGen.h"
#include "faulty.h"
#include "trace.h"

namespace {

using config::getDocument;
using config::Outcome;
using config::setDocument;
using config::types;
using services::describe;
using services::stored;

using Strings = std::vector<std::string>;

class PolicyConfig : public config::ProceduresTest {};

TEST_F(PolicyConfig, WhatIsSetIsInForceAndComesBack) {
    for (const config::Type& type : types) {
        SCOPED_TRACE(type.name);
        const Outcome set = setDocument(type.name, config::soundDocument(type.name));
        ASSERT_TRUE(set.isDone()) << set;
        const Outcome got = getDocument(type.name);
        ASSERT_TRUE(got.isDone()) << got;
        EXPECT_EQ(got.documentNull, SQLUDF_NOT_NULL);
        const Outcome again = setDocument(type.name, got.document);
        ASSERT_TRUE(again.isDone()) << again << "\n" << got.document;
        EXPECT_EQ(getDocument(type.name).document, got.document);
    }
    sqlpiBackupPolicy backup;
    sqlpiGetBackup(&backup);
    EXPECT_EQ(backup.numberOfFullBackups, 3);
    EXPECT_EQ(backup.timeSinceLastBackup, 24);
    EXPECT_EQ(backup.logSpaceConsumed, 1000);
    EXPECT_EQ(backup.mode, BACKUP_MODE_ONLINE);
    EXPECT_STREQ(backup.targetLocation, (instance().path() + "/backup").c_str());
    sqlpiMaintWindow windows;
    sqlpiGetMaintWindow(&windows);
    EXPECT_EQ(windows.online.startTime.hour, 22);
    EXPECT_EQ(windows.online.endTime.hour, 6);
    EXPECT_TRUE(windows.online.dayOfWeek[0]);
    EXPECT_FALSE(windows.online.dayOfWeek[1]);
    EXPECT_FALSE(windows.offline.defined);
}

TEST_F(PolicyConfig, ChangesOnlyTheRowOfTheType) {
    for (const config::Type& type : types) {
        std::vector<std::optional<std::string>> before;
        for (const config::Type& other : types) before.push_back(stored(other.key));
        ASSERT_TRUE(setDocument(type.name, config::soundDocument(type.name)).isDone());
        for (size_t i = 0; i < std::size(types); ++i)
            EXPECT_EQ(stored(types[i].key) != before[i], types[i].name == type.name)
                << types[i].name << " after a set of " << type.name;
    }
}

TEST_F(PolicyConfig, StoresTheGeneratedTextToTheByte) {
    ASSERT_TRUE(setDocument("AUTO_RUNSTATS", config::runstats("X > 1")).isDone());
    auto record = std::make_unique<runStatsPolicy>();
    std::strcpy(record->filterCondition, "X > 1");
    std::vector<char> text(SQLPI_OLD_POLICY_SIZE);
    ASSERT_EQ(sqlpiGenerateOldRunsatsPolicy(*record, text.data()), SQLPI_CONFIG_OK);
    EXPECT_EQ(stored(types[3].key), text.data());
}

TEST_F(PolicyConfig, TellsTheAdministratorsWhatChanged) {
    for (const config::Type& type : types) {
        const std::string before = describe(type.description);
        clearLogs();
        ASSERT_TRUE(setDocument(type.name, config::soundDocument(type.name)).isDone());
        const auto records = recordsOf(kelhost::LogKind::administration);
        ASSERT_EQ(records.size(), 1u) << type.name;
        EXPECT_EQ(records[0].messageNumber, SQLT_ADMIN_POLICY_CHANGED);
        EXPECT_EQ(records[0].text, std::string(type.name) + "\xFF" + before + "\xFF" + describe(type.description));
        EXPECT_NE(before, describe(type.description));
    }
}

TEST_F(PolicyConfig, TheLongestDescriptionsAreToldWhole) {
    const auto document = [](char letter) {
        const std::string text(2047, letter);
        return config::backup("<VendorLibBackupTarget><LibFilename>" + text + "</LibFilename><LibOptions>" + text +
                              "</LibOptions></VendorLibBackupTarget>");
    };
    ASSERT_TRUE(setDocument("AUTO_BACKUP", document('a')).isDone());
    const std::string before = describe("DBBackupPolicy");
    clearLogs();
    ASSERT_TRUE(setDocument("AUTO_BACKUP", document('b')).isDone());
    const auto records = recordsOf(kelhost::LogKind::administration);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].text, "AUTO_BACKUP\xFF" + before + "\xFF" + describe("DBBackupPolicy"));
    EXPECT_GT(before.size(), 4000u);
}

TEST_F(PolicyConfig, ASuccessfulCallLogsWhatItFound) {
    ASSERT_TRUE(getDocument("AUTO_REORG").isDone());
    EXPECT_EQ(takeDiagnosticLog(), (std::vector<services::LogRecord>{{PD_INFO, "Poliy Table exist "},
                                                                     {PD_INFO, "Policy table verification compeleted"},
                                                                     {PD_INFO, "Bind not required "}}));
}

struct BadCall {
    const char* what;
    std::function<Outcome()> call;
    Strings tokens;
    const char* logged;
};

TEST_F(PolicyConfig, RefusesArgumentsThatAreNullEmptyOrUnknown) {
    const std::string sound = config::backup();
    const char* missing = "input values are null\n. ";
    const char* unknown = "Input PolicyType is invalid \n. ";
    const char* get = "AUTOMAINT_GET_POLICY";
    const char* set = "AUTOMAINT_SET_POLICY";
    const std::vector<BadCall> calls = {
        {"get file, null type", [] { return config::getFile({}, "f"); }, {"1", get}, missing},
        {"get file, empty type", [] { return config::getFile("", "f"); }, {"1", get}, missing},
        {"get file, type indicator", [] { return config::getFile("AUTO_BACKUP", "f", -1); }, {"1", get}, missing},
        {"get file, null name", [] { return config::getFile("AUTO_BACKUP", {}); }, {"2", get}, missing},
        {"get file, empty name", [] { return config::getFile("AUTO_BACKUP", ""); }, {"2", get}, missing},
        {"get file, name indicator", [] { return config::getFile("AUTO_BACKUP", "f", 0, -1); }, {"2", get}, missing},
        {"get file, both", [] { return config::getFile({}, {}); }, {"1", get}, missing},
        {"get file, type X", [] { return config::getFile("X", "f"); }, {"1", get}, unknown},
        {"get file, case", [] { return config::getFile("auto_backup", "f"); }, {"1", get}, unknown},
        {"get file, longer", [] { return config::getFile("AUTO_BACKUP ", "f"); }, {"1", get}, unknown},
        {"get file, statistics profile", [] { return config::getFile("AUTO_STATS", "f"); }, {"1", get}, unknown},
        {"get document, null type", [] { return getDocument({}); }, {"1", get}, missing},
        {"get document, type indicator", [] { return getDocument("AUTO_BACKUP", -1); }, {"1", get}, missing},
        {"get document, type X", [] { return getDocument("X"); }, {"1", set}, unknown},
        {"set file, null type", [] { return config::setFile({}, "f"); }, {"1", set}, missing},
        {"set file, null name", [] { return config::setFile("AUTO_BACKUP", {}); }, {"2", set}, missing},
        {"set file, type X", [] { return config::setFile("X", "f"); }, {"1", set}, unknown},
        {"set document, null type", [&] { return setDocument({}, sound); }, {"1", set}, missing},
        {"set document, type X", [&] { return setDocument("X", sound); }, {"1", set}, unknown},
        {"set document, null document", [] { return setDocument("AUTO_BACKUP", {}); }, {"2", set}, missing},
        {"set document, indicator", [&] { return setDocument("AUTO_BACKUP", sound, 0, -1); }, {"2", set}, missing},
        {"set document, empty", [] { return setDocument("AUTO_BACKUP", ""); }, {"2", set}, missing},
    };
    for (const BadCall& bad : calls) {
        SCOPED_TRACE(bad.what);
        const Outcome outcome = bad.call();
        EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
        EXPECT_EQ(outcome.sqlcode, -171);
        EXPECT_EQ(outcome.sqlstate, "5U0ZZ");
        EXPECT_EQ(outcome.tokens, bad.tokens);
        EXPECT_EQ(outcome.document, "");
        EXPECT_EQ(takeComplaints(), Strings{bad.logged});
    }
}

TEST_F(PolicyConfig, AnOutputThatWasNotFilledIsNull) {
    EXPECT_EQ(getDocument("X").documentNull, SQLUDF_NULL);
}

TEST_F(PolicyConfig, AnOutputWithoutRoomIsRefused) {
    const Outcome outcome = config::run([](char* sqlstate, sqlca* ca) {
        return kelAutomaintGetPolicyDocSpLocal("AUTO_BACKUP", nullptr, nullptr, nullptr, sqlstate, "", "", nullptr,
                                               nullptr, ca);
    });
    EXPECT_EQ(outcome.sqlcode, -171);
    EXPECT_EQ(outcome.tokens, (Strings{"2", "AUTOMAINT_GET_POLICY"}));
}

TEST_F(PolicyConfig, WithoutAnOutputForTheOutcomeNothingIsDone) {
    using Entry = std::function<uint32_t(char*, sqlca*)>;
    config::Lob lob(config::backup("<TapeBackupTarget><PathName>/t</PathName></TapeBackupTarget>"));
    config::writeWhole(tmp("set.xml"), lob.text());
    const std::string before = *stored(types[1].key);
    config::Lob got("rubbish");
    int16_t gotNull = 7;
    const Entry entries[] = {
        [](char* sqlstate, sqlca* ca) {
            return kelAutomaintGetPolicyFileSpLocal("AUTO_BACKUP", "f", nullptr, nullptr, sqlstate, "", "", nullptr,
                                                    nullptr, ca);
        },
        [&](char* sqlstate, sqlca* ca) {
            return kelAutomaintGetPolicyDocSpLocal("AUTO_BACKUP", got.get(), nullptr, &gotNull, sqlstate, "", "",
                                                   nullptr, nullptr, ca);
        },
        [](char* sqlstate, sqlca* ca) {
            return kelAutomaintSetPolicyFileSpLocal("AUTO_BACKUP", "set.xml", nullptr, nullptr, sqlstate, "", "",
                                                    nullptr, nullptr, ca);
        },
        [&](char* sqlstate, sqlca* ca) {
            return kelAutomaintSetPolicyDocSpLocal("AUTO_BACKUP", lob.get(), nullptr, nullptr, sqlstate, "", "",
                                                   nullptr, nullptr, ca);
        },
    };
    for (const Entry& entry : entries) {
        sqlca ca = {};
        char sqlstate[SQLUDF_STATE_SIZE];
        EXPECT_EQ(entry(nullptr, &ca), SQLPI_CONFIG_FAILED);
        EXPECT_EQ(entry(sqlstate, nullptr), SQLPI_CONFIG_FAILED);
        EXPECT_EQ(entry(nullptr, nullptr), SQLPI_CONFIG_FAILED);
    }
    EXPECT_EQ(stored(types[1].key), before);
    EXPECT_EQ(got.text(), "");
    EXPECT_EQ(gotNull, SQLUDF_NULL);
    EXPECT_FALSE(std::filesystem::exists(tmp("f")));
}

TEST_F(PolicyConfig, ANullDocumentIsRefusedBelowTheEntriesToo) {
    sqlca ca = {};
    EXPECT_EQ(sqlpiAutomaintSetPolicySpCommon("AUTO_BACKUP", {}, nullptr, ca), SQLPI_CONFIG_FAILED);
    EXPECT_EQ(ca.sqlcode, -171);
    EXPECT_EQ(config::tokensOf(ca), (Strings{"2", "AUTOMAINT_SET_POLICY"}));
    const Strings complaints = takeComplaints();
    ASSERT_EQ(complaints.size(), 2u);
    EXPECT_EQ(complaints[0], "The input Policy document is null.");
    EXPECT_TRUE(complaints[1].starts_with("AutoMaintSetPolicy error, sqlcode is -171 \n sql error message is  "))
        << complaints[1];
}

TEST_F(PolicyConfig, ADocumentThatIsNotValidLeavesTheRow) {
    const std::string before = *stored(types[1].key);
    const Outcome outcome = setDocument("AUTO_BACKUP", config::backup("<CloudBackupTarget/>"));
    EXPECT_EQ(outcome.sqlcode, -1437) << outcome;
    EXPECT_EQ(outcome.sqlstate, "5U0ZZ");
    EXPECT_EQ(stored(types[1].key), before);
    EXPECT_TRUE(recordsOf(kelhost::LogKind::administration).empty());
    const Strings complaints = takeComplaints();
    ASSERT_EQ(complaints.size(), 4u);
    EXPECT_TRUE(complaints[0].starts_with("Validation Error at Line number: 2 Column: ")) << complaints[0];
    EXPECT_EQ(complaints[1], "AutoMaintSetPolicy,Policy document validation error \n");
    EXPECT_TRUE(complaints[2].starts_with("AutoMaintSetPolicy error, sqlcode is -1437 \n sql error message is  "));
    EXPECT_EQ(complaints[3], "Policy Configuration Failed \n");
}

TEST_F(PolicyConfig, ADocumentWithAZeroByteIsRefused) {
    std::string document = config::backup();
    document.insert(document.size() - 1, 1, '\0');
    EXPECT_EQ(setDocument("AUTO_BACKUP", document).sqlcode, -1437);
    EXPECT_EQ(setDocument("AUTO_BACKUP", "x").sqlcode, -1447) << "a document, of one byte";
    EXPECT_EQ(setDocument("AUTO_BACKUP", config::backup() + std::string(1, '\0')).sqlcode, -1437);
}

TEST_F(PolicyConfig, TextThatWouldBeCutIsRefused) {
    for (const auto& [type, document] :
         {std::pair(types[3], config::runstats(std::string(4000, 'x'))),
          std::pair(types[2], config::reorg(std::string(4000, 'x'))),
          std::pair(types[1], config::backup("<TapeBackupTarget><PathName>/" + std::string(2047, 'p') +
                                             "</PathName></TapeBackupTarget>"))}) {
        const auto before = stored(type.key);
        const Outcome outcome = setDocument(type.name, document);
        EXPECT_EQ(outcome.sqlcode, -1447) << type.name;
        EXPECT_EQ(outcome.tokens, Strings{"6"}) << type.name;
        EXPECT_EQ(stored(type.key), before) << type.name;
    }
}

TEST_F(PolicyConfig, ARowThatIsNotThereIsAFailure) {
    for (const config::Type& type : types) {
        SCOPED_TRACE(type.name);
        services::remove(type.key);
        for (const Outcome& outcome :
             {getDocument(type.name), setDocument(type.name, config::soundDocument(type.name))}) {
            EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
            EXPECT_EQ(outcome.sqlcode, 100);
            EXPECT_EQ(outcome.sqlstate, "02000");
        }
        EXPECT_FALSE(stored(type.key).has_value());
    }
    EXPECT_TRUE(recordsOf(kelhost::LogKind::administration).empty());
}

TEST_F(PolicyConfig, AFailedUpdateIsLoggedAsSuch) {
    services::remove(SQLPI_BACKUP_KEY);
    clearLogs();
    setDocument("AUTO_BACKUP", config::backup());
    const Strings complaints = takeComplaints();
    ASSERT_GE(complaints.size(), 1u);
    EXPECT_EQ(complaints[0], "update statement execute failed \n");
}

TEST_F(PolicyConfig, AStoredTextThatCannotBeReadFailsTheGet) {
    for (const config::Type& type : types) {
        SCOPED_TRACE(type.name);
        services::store(type.key, "<PolicyDocument>");
        clearLogs();
        const Outcome outcome = getDocument(type.name);
        EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
        EXPECT_EQ(outcome.sqlcode, -1438);
        EXPECT_EQ(outcome.sqlstate, "5U0ZZ");
        EXPECT_EQ(outcome.tokens, Strings{"4"});
        EXPECT_EQ(outcome.documentNull, SQLUDF_NULL);
        const Strings complaints = takeComplaints();
        ASSERT_GE(complaints.size(), 3u);
        EXPECT_EQ(complaints[complaints.size() - 3], "AutoMaintSetPolicy,Policy document retrival error \n");
        EXPECT_TRUE(complaints[complaints.size() - 2].starts_with(
            "AutoMaintGetPolicy error, sqlcode is -1438 \n sql error message is  "));
        EXPECT_EQ(complaints.back(), "Policy Configuration Failed \n");
    }
}

TEST_F(PolicyConfig, AnEmptyStoredTextFailsTheGet) {
    services::store(SQLPI_BACKUP_KEY, "");
    clearLogs();
    const Outcome outcome = getDocument("AUTO_BACKUP");
    EXPECT_EQ(outcome.tokens, Strings{"7"});
    EXPECT_EQ(takeComplaints()[0], "The stored policy is empty.");
    EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
    EXPECT_EQ(outcome.sqlcode, -1438);
    EXPECT_EQ(outcome.sqlstate, "5U0ZZ");
    EXPECT_EQ(outcome.documentNull, SQLUDF_NULL);
    EXPECT_EQ(outcome.document, "");
}

TEST_F(PolicyConfig, TheBackupPolicyThatATableBeginsWithIsTheSameAfterAGetAndASet) {
    const std::string before = describe("DBBackupPolicy");
    EXPECT_NE(before.find("Backup mode: ONLINE"), std::string::npos) << before;
    ASSERT_TRUE(setDocument("AUTO_BACKUP", getDocument("AUTO_BACKUP").document).isDone());
    EXPECT_EQ(describe("DBBackupPolicy"), before);
}

/* A stored filter may be longer than one that a set can store. */
TEST_F(PolicyConfig, AStoredFilterComesBackWholeWhileItsDocumentHasRoom) {
    const auto document = [](const std::string& filter) {
        return services::document("<Equals><kel:Sensors>Tables</kel:Sensors><Constant>" + filter +
                                  "</Constant></Equals><kel:TableReorg/>");
    };
    const struct {
        config::Type type;
        const char* what;
        size_t size; /* of the configuration document, with its terminator */
    } cases[] = {{types[2], "filter clause", SQLPI_NEW_REORG_POLICY_SIZE},
                 {types[3], "filter condition", SQLPI_NEW_RUNSTATS_POLICY_SIZE}};
    for (const auto& [type, what, size] : cases) {
        SCOPED_TRACE(type.name);
        const auto get = [&](size_t length) {
            services::store(type.key, document(std::string(length, 'f')));
            clearLogs();
            return getDocument(type.name);
        };
        const auto expectWhole = [&](const Outcome& outcome, size_t length) {
            ASSERT_TRUE(outcome.isDone()) << outcome;
            EXPECT_NE(outcome.document.find(">" + std::string(length, 'f') + "</Filter"), std::string::npos);
        };
        ASSERT_TRUE(get(1).isDone());
        const size_t most = size - getDocument(type.name).document.size();
        for (const size_t length : {size_t{100}, most - 1, most}) expectWhole(get(length), length);
        EXPECT_EQ(getDocument(type.name).document.size(), size - 1) << "fills it to the brim";
        for (const size_t length : {most + 1, size_t{20'000}, size_t{1'000'000}}) {
            const Outcome outcome = get(length);
            EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
            EXPECT_EQ(outcome.sqlcode, -1438);
            EXPECT_EQ(outcome.tokens, Strings{"6"});
            EXPECT_EQ(outcome.document, "");
            EXPECT_EQ(takeComplaints()[0], "The " + std::string(what) + " may be " + std::to_string(most) +
                                               " bytes long; this one is " + std::to_string(length) + " bytes long.");
        }
    }
    services::store(SQLPI_REORG_KEY, document(std::string(4096, 'f')));
    EXPECT_TRUE(getDocument("AUTO_REORG").isDone());
}

TEST_F(PolicyConfig, AGetToAFileThatMayNotGrowSoFarLeavesTheOldOne) {
    config::writeWhole(tmp("kept.xml"), "kept");
    auto* const former = std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    const rlimit small = {100, usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const Outcome outcome = config::getFile("AUTO_BACKUP", "kept.xml");
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &usual), 0);
    std::signal(SIGXFSZ, former);
    EXPECT_EQ(outcome.sqlcode, -1448) << outcome;
    EXPECT_EQ(outcome.tokens, Strings{"kept.xml"});
    EXPECT_EQ(config::readWhole(tmp("kept.xml")), "kept");
    const std::filesystem::directory_iterator files(tmp(""));
    EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "nothing is left beside it";
}

TEST_F(PolicyConfig, AGetWithoutMemoryTellsSo) {
    for (const config::Type& type : types) {
        SCOPED_TRACE(type.name);
        const faulty::Scope scope;
        clearLogs();
        faulty::failCall(faulty::Service::ossMemAlloc, 1, faulty::Duration::forEver);
        const Outcome outcome = getDocument(type.name);
        EXPECT_EQ(outcome.sqlcode, -1438);
        EXPECT_EQ(outcome.tokens, Strings());
        const Strings complaints = takeComplaints();
        EXPECT_NE(std::find(complaints.begin(), complaints.end(), "Out of memory. Unable to allocate object."),
                  complaints.end());
    }
}

TEST_F(PolicyConfig, WhatAStoredDocumentDoesNotSayComesFromTheDefaults) {
    services::store(SQLPI_MAINT_WINDOW_KEY, services::document(""));
    const std::string windows = getDocument("MAINTENANCE_WINDOW").document;
    EXPECT_NE(windows.find("<DaysOfWeek>All</DaysOfWeek>"), std::string::npos) << windows;
    EXPECT_EQ(windows.find("<OfflineWindow"), std::string::npos) << windows;
    services::store(SQLPI_BACKUP_KEY, services::document(""));
    const std::string backup = getDocument("AUTO_BACKUP").document;  // from a record of zeros, not from the defaults
    EXPECT_NE(backup.find("numberOfFullBackups=\"0\" timeSinceLastBackup=\"0\""), std::string::npos) << backup;
    EXPECT_NE(backup.find("<PathName/>"), std::string::npos) << backup;
    EXPECT_NE(backup.find("mode=\"Online\""), std::string::npos) << backup;
}

TEST_F(PolicyConfig, ATableThatIsMissingIsMadeByTheSetOnly) {
    services::administer("DROP TABLE SYSTOOLS.POLICY");
    clearLogs();
    const Outcome got = getDocument("AUTO_BACKUP");
    EXPECT_EQ(got.sqlcode, -204);
    EXPECT_EQ(got.sqlstate, "42704");
    Strings complaints = takeComplaints();
    ASSERT_FALSE(complaints.empty());
    EXPECT_NE(std::find(complaints.begin(), complaints.end(), "The Policy Table verification error."),
              complaints.end());
    const Outcome set = setDocument("AUTO_BACKUP", config::backup());
    EXPECT_TRUE(set.isDone()) << set;
    EXPECT_TRUE(getDocument("AUTO_BACKUP").isDone());
}

TEST_F(PolicyConfig, ADescriptionOfAnUnknownTypeIsRefused) {
    char text[100] = "rubbish";
    sqlca ca = {};
    EXPECT_EQ(sqpiGetPolicyOldFormatString("X", text, sizeof text, ca), SQLPI_CONFIG_FAILED);
    EXPECT_EQ(takeComplaints(), Strings{"Unable to obtain policy format message. Type X is unknown "});
    EXPECT_NE(ca.sqlcode, 0);
}

TEST_F(PolicyConfig, EntriesAreTraced) {
    kelhost::setTraceFlags(PDT_FLAG_ENTRY | PDT_FLAG_EXIT);
    getDocument("X");
    kelhost::setTraceFlags(0);
    const auto records = recordsOf(kelhost::LogKind::trace);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].function, "kelAutomaintGetPolicyDocSpLocal");
    EXPECT_EQ(records[1].event, kelhost::LogRecord::Event::exit);
    EXPECT_EQ(records[1].code, SQLPI_CONFIG_FAILED);
}

}  // namespace
