// The contract of the diagnostic and the administration log.
#include "logs.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/hostFixture.h"
#include "hostError.h"

namespace {

namespace fs = std::filesystem;
using hosttest::readWhole;
using kelhost::LogCapture;
using kelhost::LogKind;

bool looksLike(const std::string& text, const char* pattern) {
    return ::fnmatch(pattern, text.c_str(), 0) == 0;
}

class HostLogs : public hosttest::ContextTest {
protected:
    ~HostLogs() override { kelhost::closeLogs(); }

    std::string logPath(const std::string& name) const { return instancePath() + "/log/" + name; }
    std::string diagnosticLog() const { return readWhole(logPath(kelhost::diagnosticLogFile)); }
    std::string administrationLog() const { return readWhole(logPath(kelhost::administrationLogFile)); }
};

TEST_F(HostLogs, ADiagnosticRecordIsOneLineThatSaysWhoWhenAndWhat) {
    kelhost::openLogs(instancePath() + "/log");
    pdLog(PD_WARNING, "sqlpiGetBackup", 30, "Auto backup Policy: Unknown default backup location");
    EXPECT_TRUE(
        looksLike(diagnosticLog(),
                  "[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]-[0-9][0-9].[0-9][0-9].[0-9][0-9].[0-9][0-9][0-9][0-9]"
                  "[0-9][0-9] process [1-9]* thread [1-9]* database ?* warning sqlpiGetBackup probe 30: "
                  "Auto backup Policy: Unknown default backup location\n"))
        << diagnosticLog();
    EXPECT_EQ(administrationLog(), "");
}

TEST_F(HostLogs, ImportanceIsNamed) {
    EXPECT_EQ((std::vector<int>{PD_SEVERE, PD_ERROR, PD_WARNING, PD_INFO}), (std::vector<int>{1, 2, 3, 4}));
    kelhost::openLogs(instancePath() + "/log");
    for (int32_t importance : {PD_SEVERE, PD_ERROR, PD_WARNING, PD_INFO}) pdLog(importance, "f", 1, "t");
    const std::string log = diagnosticLog();
    for (const char* name : {" severe f ", " error f ", " warning f ", " info f "}) {
        EXPECT_NE(log.find(name), std::string::npos) << name;
    }
}

TEST_F(HostLogs, TextsAreKeptByteForByteAndShownInOneLine) {
    kelhost::openLogs(instancePath() + "/log");
    const LogCapture capture;
    pdLog(PD_INFO, "f", 10, "line end\n tab\t quote\" back\\ umlaut \xC3\xA4 broken \xC3( bell \a end");
    ASSERT_EQ(capture.records().size(), 1U);
    EXPECT_EQ(capture.records()[0].text, "line end\n tab\t quote\" back\\ umlaut \xC3\xA4 broken \xC3( bell \a end");
    EXPECT_TRUE(diagnosticLog().ends_with(
        ": line end\\n tab\\t quote\\\" back\\\\ umlaut \xC3\xA4 broken \\xC3( bell \\x07 end\n"))
        << diagnosticLog();
}

TEST_F(HostLogs, NothingThatActsOnATerminalOrTurnsTheReadingDirectionIsShownAsItIs) {
    const struct {
        const char* name;
        std::string text;
        std::string shown;
    } cases[] = {
        {"escape sequence", "\x1B[31m", "\\x1B[31m"},
        {"delete", "\x7F", "\\x7F"},
        {"first C1 control", "\xC2\x80", "\\xC2\\x80"},
        {"control sequence introducer", "\xC2\x9B", "\\xC2\\x9B"},
        {"last C1 control", "\xC2\x9F", "\\xC2\\x9F"},
        {"no-break space", "\xC2\xA0", "\xC2\xA0"},
        {"Arabic letter mark", "\xD8\x9C", "\\xD8\\x9C"},
        {"left-to-right mark", "\xE2\x80\x8E", "\\xE2\\x80\\x8E"},
        {"right-to-left mark", "\xE2\x80\x8F", "\\xE2\\x80\\x8F"},
        {"line separator", "\xE2\x80\xA8", "\\xE2\\x80\\xA8"},
        {"right-to-left override", "\xE2\x80\xAE", "\\xE2\\x80\\xAE"},
        {"narrow no-break space", "\xE2\x80\xAF", "\xE2\x80\xAF"},
        {"left-to-right isolate", "\xE2\x81\xA6", "\\xE2\\x81\\xA6"},
        {"pop directional isolate", "\xE2\x81\xA9", "\\xE2\\x81\\xA9"},
        {"euro sign", "\xE2\x82\xAC", "\xE2\x82\xAC"},
        {"beyond 16 bits", "\xF0\x9F\x92\xBE", "\xF0\x9F\x92\xBE"},
        {"overlong slash", "\xC0\xAF \xE0\x80\xAF", "\\xC0\\xAF \\xE0\\x80\\xAF"},
        {"half a surrogate pair", "\xED\xA0\x80", "\\xED\\xA0\\x80"},
        {"behind the last character", "\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
    };
    kelhost::openLogs(instancePath() + "/log");
    for (const auto& one : cases) {
        pdLog(PD_INFO, "f", 1, one.text.c_str());
        EXPECT_TRUE(diagnosticLog().ends_with(" probe 1: " + one.shown + "\n")) << one.name << ": " << diagnosticLog();
        sqlt_logadmin(SQLT_ADMIN_TEXT, PD_INFO, "f", 1, one.text.data(), one.text.size());
        EXPECT_TRUE(administrationLog().ends_with(" probe 1: " + one.shown + "\n")) << one.name;
    }
}

TEST_F(HostLogs, FormattedRecords) {
    const LogCapture capture;
    pdLogPrintf(PD_ERROR, "f", 20, "Warning: Unable to read reorg policy. Error: %d", -1);
    const auto records = capture.records(LogKind::diagnostic);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].text, "Warning: Unable to read reorg policy. Error: -1");
    EXPECT_EQ(records[0].importance, PD_ERROR);
    EXPECT_EQ(records[0].probe, 20U);
    EXPECT_EQ(records[0].function, "f");
}

TEST_F(HostLogs, ALongRecordIsCut) {
    const LogCapture capture;
    const std::string text(PD_RECORD_SIZE + 1000, 'x');
    pdLog(PD_INFO, "f", 1, text.c_str());
    pdLogPrintf(PD_INFO, "f", 1, "%s", text.c_str());
    sqlt_logadmin(0, PD_INFO, "f", 1, text.data(), text.size());
    for (const std::string& kept : capture.texts(LogKind::diagnostic)) EXPECT_EQ(kept.size(), size_t{PD_RECORD_SIZE});
    EXPECT_EQ(capture.texts(LogKind::diagnostic).size(), 2U);
    EXPECT_EQ(capture.texts(LogKind::administration).at(0), text) << "two descriptions need more room";
}

TEST_F(HostLogs, TheAdministrationLogShowsAChangedPolicy) {
    kelhost::openLogs(instancePath() + "/log");
    const LogCapture capture;
    const std::string four =
        "DBBackupPolicy\xFF"
        "DB\xFF"
        "Mode: \"Online\"\nA\xFF"
        "Mode: Offline";
    sqlt_logadmin(SQLT_ADMIN_POLICY_CHANGED, PD_INFO, "kelPolicyInstallSp", 40, four.data(), four.size());
    EXPECT_TRUE(administrationLog().ends_with(
        " info 10515 kelPolicyInstallSp probe 40: policy changed policy=\"DBBackupPolicy\" database=\"DB\" "
        "before=\"Mode: \\\"Online\\\"\\nA\" after=\"Mode: Offline\"\n"))
        << administrationLog();
    const std::string three =
        "AUTO_BACKUP\xFF"
        "B\xFF"
        "A";
    sqlt_logadmin(SQLT_ADMIN_POLICY_CHANGED, PD_INFO, "f", 1, three.data(), three.size());
    EXPECT_TRUE(administrationLog().ends_with(": policy changed policy=\"AUTO_BACKUP\" before=\"B\" after=\"A\"\n"))
        << administrationLog();
    const auto records = capture.records(LogKind::administration);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].messageNumber, 10515U);
    EXPECT_EQ(records[0].text, four);
    EXPECT_EQ(diagnosticLog(), "");
}

/* The end of a text that fills the record may be missing; the separators tell what is there. */
TEST_F(HostLogs, WhatIsMissingOfAChangedPolicyIsMarked) {
    const auto longText = [](size_t taken) { return std::string(4093 - taken, 'x'); };
    const std::string separator = "\xFF";
    const std::string head = "TableReorgPolicy" + separator + "DB" + separator;
    const std::string two = "AUTO_REORG" + separator + "B" + separator;
    const struct {
        const char* name;
        std::string text;
        std::string shown; /* without the long text */
    } cases[] = {
        {"cut before the change", head + longText(head.size()),
         "policy=\"TableReorgPolicy\" database=\"DB\" before=\"\" cut=\"before\""},
        {"cut between characters", head + longText(head.size() + 3),
         "policy=\"TableReorgPolicy\" database=\"DB\" before=\"\" cut=\"before\""},
        {"cut behind the change", head + "A" + separator + longText(head.size() + 2),
         "policy=\"TableReorgPolicy\" database=\"DB\" before=\"A\" after=\"\" cut=\"after\""},
        {"one byte less", head + "A" + separator + longText(head.size() + 6),
         "policy=\"TableReorgPolicy\" database=\"DB\" before=\"A\" after=\"\""},
        {"longer than what is cut", head + "A" + separator + longText(head.size() + 2) + "x",
         "policy=\"TableReorgPolicy\" database=\"DB\" before=\"A\" after=\"\""},
        {"a configuration of that length", two + longText(two.size()), "policy=\"AUTO_REORG\" before=\"B\" after=\"\""},
        {"with what was done", head + separator + longText(head.size() + 8) + separator + "insert",
         "policy=\"TableReorgPolicy\" database=\"DB\" before=\"\" after=\"\" action=\"insert\""},
    };
    kelhost::openLogs(instancePath() + "/log");
    for (const auto& one : cases) {
        sqlt_logadmin(SQLT_ADMIN_POLICY_CHANGED, PD_INFO, "f", 1, one.text.data(), one.text.size());
        std::string log = administrationLog();
        log.erase(0, log.rfind(": policy changed ") + 17);
        std::erase(log, 'x');
        EXPECT_EQ(log, one.shown + "\n") << one.name;
    }
}

/* Else a name could be taken for more than it is. */
TEST_F(HostLogs, NamesThatAreNoSingleWordStandInQuotes) {
    const passwd* user = ::getpwuid(::getuid());
    const std::string me = user == nullptr ? std::to_string(::getuid()) : user->pw_name;
    const struct {
        std::string database;
        const char* shown;
    } cases[] = {{"orders", "orders"},
                 {"a.b-c:d_1", "a.b-c:d_1"},
                 {"x: policy changed policy", "\"x: policy changed policy\""},
                 {"a \"b\"", "\"a \\\"b\\\"\""},
                 {"\xC2\x9B", "\"\\xC2\\x9B\""},
                 {"-", "\"-\""},
                 {"", "\"\""}};
    kelhost::openLogs(instancePath() + "/log");
    for (const auto& one : cases) {
        const kelhost::BoundThreadScope scope({nullptr, &one.database});
        pdLog(PD_INFO, "f", 1, "text");
        const std::string end = " database " + std::string(one.shown) + " user " + me + " info f probe 1: text\n";
        EXPECT_TRUE(diagnosticLog().ends_with(end)) << end << diagnosticLog();
    }
}

TEST_F(HostLogs, TheAdministrationLogTakesPlainTextsToo) {
    kelhost::openLogs(instancePath() + "/log");
    sqlt_logadmin(SQLT_ADMIN_TEXT, PD_ERROR, "f", 50, "Dynamic cast error, and more", 18);
    EXPECT_TRUE(administrationLog().ends_with(" error 0 f probe 50: Dynamic cast error\n")) << administrationLog();
}

TEST_F(HostLogs, FullFilesAreRotatedAndTheOldestDropped) {
    kelhost::openLogs(instancePath() + "/log", {.maximumFileBytes = 4096, .keptFiles = 2});
    for (int i = 0; i < 200; ++i) pdLogPrintf(PD_INFO, "f", 1, "record %d", i);
    size_t files = 0;
    for (const auto& entry : fs::directory_iterator(instancePath() + "/log")) {
        if (!entry.path().filename().string().starts_with("diagnostic")) continue;
        ++files;
        EXPECT_LE(entry.file_size(), 4096U) << entry.path();
    }
    EXPECT_EQ(files, 3U);
    EXPECT_NE(diagnosticLog().find("record 199\n"), std::string::npos);
    EXPECT_NE(readWhole(logPath("diagnostic.1.log")).find("record"), std::string::npos);
}

/* In a process of its own, which ends with 0 unless it hangs. */
template <class Work>
pid_t start(Work work) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    ::alarm(120);
    work();
    ::_exit(0);
}

int statusOf(pid_t child) {
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return status;
}

TEST_F(HostLogs, SeveralProcessesThatRotateLoseNoRecord) {
    constexpr int processes = 6;
    constexpr int records = 150;
    constexpr size_t largest = 2048;
    const kelhost::LogOptions options{.maximumFileBytes = largest, .keptFiles = 1000};
    const std::string directory = instancePath() + "/log";
    kelhost::openLogs(directory, options);
    std::vector<pid_t> children;
    for (int process = 0; process < processes; ++process) {
        children.push_back(start([&] {
            if (process % 2 == 0) kelhost::openLogs(directory, options);  // the others go on with what they inherit
            for (int i = 0; i < records; ++i) {
                const std::string text = "record " + std::to_string(process) + "." + std::to_string(i);
                sqlt_logadmin(SQLT_ADMIN_TEXT, PD_INFO, "f", 1, text.data(), text.size());
                pdLog(PD_INFO, "f", 1, text.c_str());
            }
        }));
    }
    for (const pid_t child : children) EXPECT_EQ(statusOf(child), 0);
    for (const std::string kind : {"administration", "diagnostic"}) {
        std::map<std::string, int> found;
        size_t files = 0;
        for (const auto& entry : fs::directory_iterator(directory)) {
            if (!entry.path().filename().string().starts_with(kind)) continue;
            ++files;
            EXPECT_LE(entry.file_size(), largest) << entry.path();
            std::istringstream lines(readWhole(entry.path()));
            for (std::string line; std::getline(lines, line);) ++found[line.substr(line.find("record "))];
        }
        EXPECT_GT(files, 20U) << kind;
        EXPECT_EQ(found.size(), size_t{processes} * records) << kind;
        for (const auto& [text, times] : found) EXPECT_EQ(times, 1) << text;
    }
}

TEST_F(HostLogs, AProcessThatStopsOrDiesInTheMidstHoldsNobodyUp) {
    kelhost::openLogs(instancePath() + "/log", {.maximumFileBytes = 300, .keptFiles = 50});
    pdLog(PD_INFO, "f", 1, "first");
    const std::string lockPath = logPath("logs.lock");
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = start([&] {
        const int lock = ::open(lockPath.c_str(), O_RDWR | O_CREAT, 0600);
        const char byte = ::flock(lock, LOCK_EX) == 0 ? 'y' : 'n';
        if (::write(ready[1], &byte, 1) == 1) ::pause();
    });
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    ASSERT_EQ(byte, 'y');
    for (int i = 0; i < 20; ++i) pdLogPrintf(PD_INFO, "f", 1, "meanwhile %d", i);
    EXPECT_FALSE(fs::exists(logPath("diagnostic.1.log"))) << "rotated without the lock";
    EXPECT_NE(diagnosticLog().find("meanwhile 19\n"), std::string::npos);
    ::kill(child, SIGKILL);
    EXPECT_EQ(statusOf(child), SIGKILL);
    pdLog(PD_INFO, "f", 1, "afterwards");
    EXPECT_NE(readWhole(logPath("diagnostic.1.log")).find("meanwhile 19\n"), std::string::npos);
    EXPECT_NE(diagnosticLog().find("afterwards\n"), std::string::npos);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(HostLogs, AProcessThatIsForkedAmidRecordsOfOtherThreadsCanWriteItsOwn) {
    kelhost::openLogs(instancePath() + "/log");
    std::atomic<bool> done = false;
    std::thread writer([&] {
        while (!done) pdLog(PD_INFO, "f", 1, "parent");
    });
    for (int i = 0; i < 30; ++i) EXPECT_EQ(statusOf(start([] { pdLog(PD_INFO, "f", 1, "child"); })), 0);
    done = true;
    writer.join();
    size_t children = 0;
    std::istringstream lines(diagnosticLog());
    for (std::string line; std::getline(lines, line);) children += line.ends_with(": child") ? 1 : 0;
    EXPECT_EQ(children, 30U);
}

TEST_F(HostLogs, WhereARotationWasBrokenOffNothingMoreIsDropped) {
    std::ofstream(logPath("diagnostic.log")) << std::string(400, 'c') << "\n";
    std::ofstream(logPath("diagnostic.2.log")) << "two\n";
    std::ofstream(logPath("diagnostic.3.log")) << "three\n";
    kelhost::openLogs(instancePath() + "/log", {.maximumFileBytes = 400, .keptFiles = 3});
    pdLog(PD_INFO, "f", 1, "next");
    EXPECT_EQ(readWhole(logPath("diagnostic.1.log")), std::string(400, 'c') + "\n");
    EXPECT_EQ(readWhole(logPath("diagnostic.2.log")), "two\n");
    EXPECT_EQ(readWhole(logPath("diagnostic.3.log")), "three\n");
    EXPECT_TRUE(diagnosticLog().ends_with(": next\n"));
}

TEST_F(HostLogs, AFileThatCannotBeRenamedGrows) {
    fs::create_directory(logPath("diagnostic.1.log"));
    kelhost::openLogs(instancePath() + "/log", {.maximumFileBytes = 300, .keptFiles = 1});
    for (int i = 0; i < 20; ++i) pdLogPrintf(PD_INFO, "f", 1, "record %d end", i);
    for (int i = 0; i < 20; ++i)
        EXPECT_NE(diagnosticLog().find("record " + std::to_string(i) + " end"), std::string::npos) << i;
}

TEST_F(HostLogs, AFileThatWasTakenAwayIsMadeAnew) {
    kelhost::openLogs(instancePath() + "/log");
    pdLog(PD_INFO, "f", 1, "before");
    fs::rename(logPath("diagnostic.log"), logPath("kept"));
    pdLog(PD_INFO, "f", 1, "behind");
    EXPECT_TRUE(readWhole(logPath("kept")).ends_with(": before\n"));
    EXPECT_TRUE(diagnosticLog().ends_with(": behind\n"));
}

TEST_F(HostLogs, AnExistingLogIsContinued) {
    for (int i = 0; i < 2; ++i) {
        kelhost::openLogs(instancePath() + "/log");
        pdLogPrintf(PD_INFO, "f", 1, "run %d", i);
        kelhost::closeLogs();
    }
    EXPECT_NE(diagnosticLog().find("run 0\n"), std::string::npos);
    EXPECT_NE(diagnosticLog().find("run 1\n"), std::string::npos);
}

TEST_F(HostLogs, ThreadsWriteWholeRecordsWhileTheFilesChange) {
    const LogCapture capture;
    kelhost::openLogs(instancePath() + "/log");
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([i] {
            for (int round = 0; round < 100; ++round) pdLogPrintf(PD_INFO, "threadFunction", 1, "thread %d end", i);
        });
    }
    const std::string other = instancePath() + "/tmp";
    for (int i = 0; i < 10; ++i) kelhost::openLogs(i % 2 == 0 ? other : instancePath() + "/log");
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(capture.records().size(), 800U);
    size_t lines = 0;
    for (const std::string& path : {logPath(kelhost::diagnosticLogFile), other + "/" + kelhost::diagnosticLogFile}) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line); ++lines) {
            EXPECT_TRUE(looksLike(line, "[0-9]*-* threadFunction probe 1: thread [0-7] end")) << line;
        }
    }
    EXPECT_EQ(lines, 800U);
}

TEST_F(HostLogs, ADirectoryThatCannotBeUsedIsAnErrorAndTheOldFilesStay) {
    kelhost::openLogs(instancePath() + "/log");
    std::ofstream(instancePath() + "/tmp/file") << "no directory";
    try {
        kelhost::openLogs(instancePath() + "/tmp/file");
        ADD_FAILURE() << "a file was taken for a directory";
    } catch (const kelhost::HostError& error) {
        EXPECT_NE(std::string(error.what()).find("/tmp/file"), std::string::npos) << error.what();
    }
    pdLog(PD_INFO, "f", 1, "still here");
    EXPECT_NE(diagnosticLog().find("still here"), std::string::npos);
}

TEST_F(HostLogs, ARecordThatCannotBeWrittenIsDropped) {
    pdLog(PD_INFO, "f", 1, "nobody listens");
    kelhost::openLogs(instancePath() + "/log");
    EXPECT_EQ(diagnosticLog(), "");
    pdLog(PD_INFO, nullptr, 1, "no function");
    EXPECT_NE(diagnosticLog().find("no function"), std::string::npos);
}

}  // namespace
