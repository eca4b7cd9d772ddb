// The trace contract: flags by bit, and a file that a person can read.
#include "trace.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "host/hostFixture.h"
#include "messages.h"

namespace {

using hosttest::readWhole;
using kelhost::LogCapture;
using kelhost::LogKind;
using Event = kelhost::LogRecord::Event;

class HostTrace : public hosttest::ContextTest {
protected:
    ~HostTrace() override {
        kelhost::setTraceFlags(0);
        kelhost::closeLogs();
    }
};

TEST_F(HostTrace, FlagsAreSetByBitAndReadByTheLibrary) {
    EXPECT_EQ(__atomic_load_n(&g_sqltCompTraceFlags, __ATOMIC_RELAXED), 0U) << "a trace is off at first";
    kelhost::setTraceFlags(PDT_FLAG_ENTRY | PDT_FLAG_DATA);
    EXPECT_EQ(__atomic_load_n(&g_sqltCompTraceFlags, __ATOMIC_RELAXED), 5U);
    EXPECT_EQ(kelhost::traceFlags(), 5U);
}

TEST_F(HostTrace, RecordsShowWhatHappened) {
    const LogCapture capture;
    const int32_t number = -42;
    const int64_t large = INT64_MIN;
    const int8_t small = -1;
    const int16_t medium = 300;
    sqlca ca{};
    sqloinca(&ca);
    const sqlageToken token = {"NAME", 4};
    sqlage_prepare_sqlca(-204, 1, &token, &ca);
    const pdtItem text = {PDT_TEXT, 5, "a\n\"b\x01"};
    const pdtItem integer = {PDT_INTEGER, sizeof number, &number};
    const pdtItem bytes = {PDT_BYTES, 3, "\x01\xAB\xFF"};
    const pdtItem area = {PDT_SQLCA, sizeof ca, &ca};
    const pdtItem null = {PDT_TEXT, 7, nullptr};
    const pdtItem largeItem = {PDT_INTEGER, sizeof large, &large};
    const pdtItem smallItem = {PDT_INTEGER, sizeof small, &small};
    const pdtItem mediumItem = {PDT_INTEGER, sizeof medium, &medium};
    pdtEntry("function");
    pdtData1("function", 10, &text);
    pdtData2("function", 20, &integer, &bytes);
    pdtData3("function", 30, &area, &null, &largeItem);
    pdtData2("function", 40, &smallItem, &mediumItem);
    pdtError1("function", 50, -803, &area);
    pdtExit("function", 100);

    const auto records = capture.records(LogKind::trace);
    ASSERT_EQ(records.size(), 7U);
    const std::vector<std::string> expected = {
        "entry",
        "data probe 10 \"a\\n\\\"b\\x01\"",
        "data probe 20 -42 0x01ABFF",
        "data probe 30 sqlcode -204 sqlstate \"00000\" tokens \"NAME\" null -9223372036854775808",
        "data probe 40 -1 300",
        "error probe 50 code -803 sqlcode -204 sqlstate \"00000\" tokens \"NAME\"",
        "exit result 100",
    };
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(records[i].text, expected[i]);
        EXPECT_EQ(records[i].function, "function");
    }
    EXPECT_EQ(records[0].event, Event::entry);
    EXPECT_EQ(records[1].items, std::vector<std::string>{std::string("a\n\"b\x01", 5)});
    EXPECT_EQ(records[5].event, Event::error);
    EXPECT_EQ(records[5].code, -803);
    EXPECT_EQ(records[6].event, Event::exit);
    EXPECT_EQ(records[6].code, 100);
}

TEST_F(HostTrace, ItemsThatAreNotWhatTheySayDoNoHarm) {
    const LogCapture capture;
    const char bytes[] = "xyz";
    const pdtItem shortArea = {PDT_SQLCA, 3, bytes};
    const pdtItem oddInteger = {PDT_INTEGER, 3, bytes};
    const pdtItem unknown = {77, 3, bytes};
    pdtData3("f", 1, &shortArea, &oddInteger, &unknown);
    pdtData1("f", 2, nullptr);
    const std::string huge(1'000'000, 'x');
    const pdtItem large = {PDT_TEXT, huge.size(), huge.data()};
    pdtData1("f", 3, &large);
    const auto texts = capture.texts(LogKind::trace);
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts[0], "data probe 1 (no sqlca) (no integer) 0x78797A");
    EXPECT_EQ(texts[1], "data probe 2");
    EXPECT_LT(texts[2].size(), 10'000U);
}

TEST_F(HostTrace, TheFileHasOneLineForEachRecord) {
    kelhost::openLogs(instancePath() + "/log");
    pdtEntry("sqlpiGetPolicy");
    const pdtItem text = {PDT_TEXT, 3, "one"};
    pdtData1("sqlpiGetPolicy", 10, &text);
    kelhost::closeLogs();
    pdtEntry("sqlpiTooLate");
    const std::string file = readWhole(instancePath() + "/log/" + kelhost::traceFile);
    EXPECT_EQ(std::count(file.begin(), file.end(), '\n'), 2) << file;
    EXPECT_NE(file.find(" sqlpiGetPolicy entry\n"), std::string::npos) << file;
    EXPECT_NE(file.find(" sqlpiGetPolicy data probe 10 \"one\"\n"), std::string::npos) << file;
    EXPECT_NE(file.find("process " + std::to_string(::getpid()) + " thread "), std::string::npos) << file;
    EXPECT_EQ(file.find("sqlpiTooLate"), std::string::npos);
}

TEST_F(HostTrace, ThreadsWriteWholeRecords) {
    kelhost::openLogs(instancePath() + "/log");
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 200; ++round) pdtExit("threadFunction", 12345);
        });
    }
    for (std::thread& thread : threads) thread.join();
    kelhost::closeLogs();
    std::ifstream file(instancePath() + "/log/" + kelhost::traceFile);
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines) {
        EXPECT_TRUE(line.ends_with(" threadFunction exit result 12345")) << line;
    }
    EXPECT_EQ(lines, 1600);
}

}  // namespace
