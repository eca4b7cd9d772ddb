/* Getting and setting policies: what each step tells when it fails, what a failure leaves as it was, and what is
 * traced.
 */
#include <set>

#include "configuration/sqlpiPolicyConfigCommon.h"
#include "configuration/sqlpiPolicyPackage.h"
#include "faulty.h"
#include "messages.h"
#include "services/sqlpiPolicyTable.h"
#include "trace.h"
#include "unit/configSupport.h"

namespace {

using config::Outcome;
using faulty::Duration;
using faulty::Service;

using Strings = std::vector<std::string>;

struct Entry {
    const char* name;
    const char* prefix; /* of log texts */
    const char* last;   /* what the entry itself logs in the end */
    std::function<Outcome(const char* type)> call;
    bool sets;
};

const char* const documentFailed = "Policy Configuration Failed \n";
const Entry entries[] = {
    {"get document", "AutoMaintGetPolicy", documentFailed, [](const char* type) { return config::getDocument(type); },
     false},
    {"get file", "AutoMaintGetPolicy", "Error returned from sqlpiAutomaintGetPolicySpCommon.\n",
     [](const char* type) { return config::getFile(type, "p.xml"); }, false},
    {"set document", "AutoMaintSetPolicy", documentFailed,
     [](const char* type) { return config::setDocument(type, config::soundDocument(type)); }, true},
    {"set file", "AutoMaintSetPolicy", "Error returned from sqlpiAutomaintSetPolicySpCommon.\n",
     [](const char* type) { return config::setFile(type, "in.xml"); }, true},
};

class PolicyConfigSteps : public config::ProceduresTest {
protected:
    PolicyConfigSteps() {
        config::writeWhole(tmp("in.xml"), config::backup());
        stored_ = *services::stored(SQLPI_BACKUP_KEY);
    }

    /* Demands the outcome, that the row is as it was, and what was logged: the steps' own texts, the SQLCODE with its
     * message, and the entry's. */
    void expectFailure(const Entry& entry, const Outcome& outcome, int32_t sqlcode, Strings logged) {
        faulty::reset();
        EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
        EXPECT_EQ(outcome.sqlcode, sqlcode);
        EXPECT_NE(outcome.sqlstate, "00000");
        EXPECT_EQ(outcome.document, "");
        logged.push_back(std::string(entry.prefix) + " error, sqlcode is " + std::to_string(sqlcode) +
                         " \n sql error message is  ");
        logged.emplace_back(entry.last);
        Strings complaints = takeComplaints();
        ASSERT_EQ(complaints.size(), logged.size()) << testing::PrintToString(complaints);
        std::string& outcomeText = complaints[complaints.size() - 2];
        const std::string& begin = logged[logged.size() - 2];
        EXPECT_GT(outcomeText.size(), begin.size()) << "a message follows";
        outcomeText.resize(std::min(outcomeText.size(), begin.size()));
        EXPECT_EQ(complaints, logged);
        EXPECT_EQ(services::stored(SQLPI_BACKUP_KEY), stored_);
        EXPECT_TRUE(recordsOf(kelhost::LogKind::administration).empty());
    }

    const faulty::Scope faults_;
    std::string stored_;
};

/* --- each step ---------------------------------------------------------------------------------------------------- */

TEST_F(PolicyConfigSteps, ATableThatCannotBeVerifiedStopsAll) {
    for (const Entry& entry : entries) {
        SCOPED_TRACE(entry.name);
        faulty::failCall(Service::SQLConnect, 1, Duration::once, faulty::usualFailure, -4711);
        expectFailure(entry, entry.call("AUTO_BACKUP"), -4711, {"The Policy Table verification error."});
    }
}

TEST_F(PolicyConfigSteps, APackageThatCannotBeProbedOrBoundStopsAll) {
    for (const Entry& entry : entries) {
        SCOPED_TRACE(entry.name);
        faulty::failCall(Service::sqlacall, 1, Duration::once, faulty::usualFailure, -911);
        expectFailure(entry, entry.call("AUTO_BACKUP"), -911, {"The Policy package bind error."});
        faulty::failCall(Service::sqlacall, 1, Duration::once, faulty::usualFailure, -818);
        faulty::failCall(Service::sqlabndx, 1, Duration::forEver, faulty::usualFailure, -902);
        expectFailure(entry, entry.call("AUTO_BACKUP"), -902,
                      {"Bind required,Bind Failedrc = -902 ", "The Policy package bind error."});
    }
}

TEST_F(PolicyConfigSteps, APackageOfAnotherVersionIsBoundOnceAndAllGoesOn) {
    for (const Entry& entry : entries) {
        SCOPED_TRACE(entry.name);
        services::execute("UPDATE SYSTOOLS.PACKAGE SET TOKEN = '0123456789abcdef'");
        commit();
        faulty::reset();
        EXPECT_TRUE(entry.call("AUTO_BACKUP").isDone());
        EXPECT_EQ(faulty::calls(Service::sqlabndx), 1U);
        EXPECT_TRUE(entry.call("AUTO_BACKUP").isDone());
        EXPECT_EQ(faulty::calls(Service::sqlabndx), 1U);
    }
}

/* Without any handle there is nothing that could say why. */
TEST_F(PolicyConfigSteps, AFailureWithoutAReasonIsAFailureAllTheSame) {
    for (const Entry& entry : entries) {
        SCOPED_TRACE(entry.name);
        faulty::failCall(Service::SQLAllocHandle, 1);
        expectFailure(entry, entry.call("AUTO_BACKUP"), -99999, {"The Policy Table verification error."});
    }
}

/* The calls of the runtime: the cursor of the probe opened and closed, then the procedure's own statement. */
TEST_F(PolicyConfigSteps, AStatementThatFailsIsToldByItsStep) {
    for (const Entry& entry : entries)
        for (const uint64_t call : {3, 4}) {
            SCOPED_TRACE(std::string(entry.name) + ", call " + std::to_string(call));
            faulty::failCall(Service::sqlacall, call, Duration::once, faulty::usualFailure, -4711);
            Strings logged;
            if (entry.sets)
                logged = {call == 3 ? "update statement prepare failed \n" : "update statement execute failed \n"};
            expectFailure(entry, entry.call("AUTO_BACKUP"), -4711, logged);
        }
}

/* Whichever allocation of a set fails is told in the words of its step. */
TEST_F(PolicyConfigSteps, EveryLackOfMemoryOfASetIsTold) {
    const std::string entryBuffer = "AutoMaintSetPolicy memory allocation for policy doc failed. \n";
    const std::string outputBuffer = "AutoMaintSetPolicy: Allocation of output buffer failed \n";
    for (const Entry& entry : entries) {
        if (!entry.sets) continue;
        std::set<std::string> told;
        for (uint64_t call = 1;; ++call) {
            SCOPED_TRACE(std::string(entry.name) + ", allocation " + std::to_string(call));
            clearLogs();
            faulty::reset();
            faulty::failCall(Service::sqlogmblkEx, call);
            const Outcome outcome = entry.call("AUTO_BACKUP");
            const bool failed = faulty::failures(Service::sqlogmblkEx) != 0;
            faulty::reset();
            if (!failed) {
                services::store(SQLPI_BACKUP_KEY, stored_);
                break;
            }
            Strings complaints = takeComplaints();
            if (outcome.isDone()) {  // only a description suffered
                services::store(SQLPI_BACKUP_KEY, stored_);
                continue;
            }
            EXPECT_EQ(outcome.sqlcode, -1438);
            EXPECT_EQ(outcome.sqlstate, "5U0ZZ");
            EXPECT_TRUE(outcome.tokens.empty());
            ASSERT_FALSE(complaints.empty());
            told.insert(complaints.front());
            if (complaints.front() == entryBuffer) {
                EXPECT_EQ(call, 1U) << "the document comes before all";
                EXPECT_EQ(complaints.size(), 1U) << "nothing else has begun";
            } else {
                EXPECT_EQ(complaints.back(), entry.last);
            }
            EXPECT_EQ(services::stored(SQLPI_BACKUP_KEY), stored_);
        }
        EXPECT_EQ(told.count(entryBuffer), 1U) << entry.name;
        EXPECT_EQ(told.count(outputBuffer), 1U) << entry.name;
    }
}

/* --- what is set and got ------------------------------------------------------------------------------------------ */

TEST_F(PolicyConfigSteps, AStoredTextThatCannotBeReadIsReplacedByASet) {
    for (const config::Type& type : config::types) {
        for (const char* broken : {"<PolicyDocument>", "", "rubbish"}) {
            SCOPED_TRACE(std::string(type.name) + " over " + broken);
            services::store(type.key, broken);
            EXPECT_FALSE(config::getDocument(type.name).isDone());
            EXPECT_TRUE(config::setDocument(type.name, config::soundDocument(type.name)).isDone());
            EXPECT_TRUE(config::getDocument(type.name).isDone());
        }
    }
}

TEST_F(PolicyConfigSteps, AValueMayHaveTwoMegabytesAndNoMore) {
    const std::string sound = config::backup();
    const auto set = [&](size_t length) {
        config::Lob lob(sound + std::string(length - sound.size(), ' '));
        return config::run([&](char* sqlstate, sqlca* ca) {
            return kelAutomaintSetPolicyDocSpLocal("AUTO_BACKUP", lob.get(), nullptr, nullptr, sqlstate, "", "",
                                                   nullptr, nullptr, ca);
        });
    };
    EXPECT_TRUE(set(SQLUDF_LARGEST_LOB).isDone());
    clearLogs();
    // What says that it is longer is not looked at.
    for (const uint32_t length : {uint32_t{SQLUDF_LARGEST_LOB} + 1, UINT32_MAX}) {
        sqludf_lob lob = {length, {'<'}};
        const Outcome outcome = config::run([&](char* sqlstate, sqlca* ca) {
            return kelAutomaintSetPolicyDocSpLocal("AUTO_BACKUP", &lob, nullptr, nullptr, sqlstate, "", "", nullptr,
                                                   nullptr, ca);
        });
        EXPECT_EQ(outcome.sqlcode, -171);
        EXPECT_EQ(outcome.sqlstate, "5U0ZZ");
        EXPECT_EQ(outcome.tokens, (Strings{"2", "AUTOMAINT_SET_POLICY"}));
        EXPECT_EQ(takeComplaints(), Strings{"The input Policy document is longer than 2097152 bytes."});
    }
}

TEST_F(PolicyConfigSteps, IndicatorsMayBeLeftOut) {
    config::Lob lob;
    const Outcome got = config::run([&](char* sqlstate, sqlca* ca) {
        return kelAutomaintGetPolicyDocSpLocal("AUTO_BACKUP", lob.get(), nullptr, nullptr, sqlstate, nullptr, nullptr,
                                               nullptr, nullptr, ca);
    });
    EXPECT_TRUE(got.isDone()) << got;
    const Outcome set = config::run([&](char* sqlstate, sqlca* ca) {
        return kelAutomaintSetPolicyFileSpLocal("AUTO_BACKUP", "in.xml", nullptr, nullptr, sqlstate, nullptr, nullptr,
                                                nullptr, nullptr, ca);
    });
    EXPECT_TRUE(set.isDone()) << set;
    for (const int16_t null : std::initializer_list<int16_t>{-1, -2, INT16_MIN}) {
        EXPECT_EQ(config::getDocument("AUTO_BACKUP", null).sqlcode, -171) << null;
        EXPECT_EQ(config::setDocument("AUTO_BACKUP", config::backup(), 0, null).sqlcode, -171) << null;
    }
}

/* Whoever calls below the entries may name anything. */
TEST_F(PolicyConfigSteps, NoTypeIsNoPolicy) {
    for (const char* type : {static_cast<const char*>(nullptr), "", "X", "AUTO_BACKUP "}) {
        SCOPED_TRACE(type == nullptr ? "null" : type);
        EXPECT_FALSE(sqlpiIsPolicyType(type));
        char* text = nullptr;
        int length = -1;
        sqlca ca = {};
        EXPECT_EQ(sqlpiReadPolicyFromTable(type, &text, &length, ca), SQLPI_CONFIG_FAILED);
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(length, 0);
        EXPECT_EQ(sqlpiExtractPolicyDoc(type, stored_.data(), static_cast<int>(stored_.size()), &text, &length, ca),
                  SQLPI_CONFIG_FAILED);
        EXPECT_EQ(ca.sqlcode, -1438);
        EXPECT_EQ(text, nullptr);
        ca = {};
        EXPECT_EQ(sqlpiAutomaintSetPolicySpCommon(type, config::backup(), nullptr, ca), SQLPI_CONFIG_FAILED);
        EXPECT_EQ(ca.sqlcode, -1438) << "no schema";
        length = -1;
        EXPECT_EQ(sqlpiAutomaintGetPolicySpCommon(type, &text, &length, nullptr, ca), SQLPI_CONFIG_FAILED);
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(length, 0);
    }
    EXPECT_EQ(services::stored(SQLPI_BACKUP_KEY), stored_);
}

TEST_F(PolicyConfigSteps, NothingIsCommitted) {
    ASSERT_TRUE(config::setDocument("AUTO_BACKUP", config::backup()).isDone());
    ASSERT_NE(services::stored(SQLPI_BACKUP_KEY), stored_);
    kelhost::EngineContext::current()->rollback();
    EXPECT_EQ(services::stored(SQLPI_BACKUP_KEY), stored_);
}

/* --- trace -------------------------------------------------------------------------------------------------------- */

TEST_F(PolicyConfigSteps, EveryFunctionTracesItsEntryAndItsExit) {
    struct Steps {
        const char* type;
        Strings ofGet;
        Strings ofSet;
    };
    const Strings everyGet = {"sqlpiAutomaintGetPolicySpCommon", "sqlpiCheckPolicyTable", "sqlpiCheckPolicyPkgBind",
                              "sqlpiReadPolicyFromTable",        "sqlpiRunPolicySelect",  "sqlpiExtractPolicyDoc"};
    const Strings everySet = {"sqlpiAutomaintSetPolicySpCommon", "sqlpiCheckPolicyTable", "sqlpiCheckPolicyPkgBind",
                              "sqlpiValidateAutomaintPolicy", "sqpiGetPolicyOldFormatString"};
    for (const Steps& steps : std::vector<Steps>{
             {"MAINTENANCE_WINDOW",
              {"sqlpiGetMaintWindowPolicy", "sqlpiFillAutoMaintWindowValues", "sqlpiFillWindow",
               "sqlpiGenerateNewAutoMaintWindowPolicy"},
              {"sqlpiReadAutoMWPolicy", "sqlpiGenerateOldMWPolicy"}},
             {"AUTO_BACKUP",
              {"sqlpiGetBackupFromParsedTree", "sqlpiFillAutoBackupValues", "sqlpiGenerateNewAutoBackupPolicy"},
              {"sqlpiReadAutoBackupPolicy", "sqlpiGenerateOldBackupPolicy"}},
             {"AUTO_REORG",
              {"sqlpiGetReorgPolicy", "sqlpiFillAutoReorgValues", "sqlpiGenerateNewAutoReorgPolicy"},
              {"sqlpiReadAutoReorgPolicy", "sqlpiGenerateOldReorgPolicy"}},
             {"AUTO_RUNSTATS",
              {"sqlpiGetAtmSensors", "sqlpiFillAutoRunstatsValues", "sqlpiGenerateNewAutoRunstatsPolicy"},
              {"sqlpiReadAutoRunstatsPolicy", "sqlpiGenerateOldRunsatsPolicy"}},
         }) {
        config::writeWhole(tmp("in.xml"), config::soundDocument(steps.type));
        const char* const entryFunctions[] = {"kelAutomaintGetPolicyDocSpLocal", "kelAutomaintGetPolicyFileSpLocal",
                                              "kelAutomaintSetPolicyDocSpLocal", "kelAutomaintSetPolicyFileSpLocal"};
        for (size_t i = 0; i < std::size(entries); ++i) {
            SCOPED_TRACE(std::string(steps.type) + ", " + entries[i].name);
            clearLogs();
            kelhost::setTraceFlags(PDT_FLAG_ENTRY | PDT_FLAG_EXIT);
            const Outcome outcome = entries[i].call(steps.type);
            kelhost::setTraceFlags(0);
            EXPECT_TRUE(outcome.isDone()) << outcome;
            std::set<std::string> traced;
            Strings open;
            for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::trace)) {
                if (record.event == kelhost::LogRecord::Event::entry) {
                    traced.insert(record.function);
                    open.push_back(record.function);
                    continue;
                }
                if (record.event != kelhost::LogRecord::Event::exit) continue;
                ASSERT_FALSE(open.empty());
                EXPECT_EQ(record.function, open.back()) << "the innermost one ends first";
                EXPECT_EQ(record.code, 0) << record.function;
                open.pop_back();
            }
            EXPECT_EQ(open, Strings());
            const bool sets = entries[i].sets;
            EXPECT_EQ(traced.count(entryFunctions[i]), 1U);
            for (const Strings& functions : {sets ? everySet : everyGet, sets ? steps.ofSet : steps.ofGet})
                for (const std::string& function : functions) EXPECT_EQ(traced.count(function), 1U) << function;
        }
    }
}

}  // namespace
