/* Documents that ask for files and hosts: whoever watches the program's system calls sees none of them. */
#include "configurationScenario.h"

namespace scenario {
namespace {

class HostileDocument : public Scenario {
protected:
    /* Runs the program under strace on a document given as its input; the log of the calls that look for files and
     * hosts. */
    std::string callsOf(std::vector<std::string> command, const std::string& document) const {
        std::vector<std::string> words = {
            "/usr/bin/strace", "-f", "-qq", "-s", "4096", "-o", file("calls"), "-e", "trace=%file,%network", program()};
        words.insert(words.end(), command.begin(), command.end());
        const Outcome outcome =
            runProgram(words, {.environment = {{"KELPOLICY_INSTANCE", instance()}}, .input = document});
        EXPECT_EQ(outcome.status, 1) << outcome.out << outcome.err << document;
        return readFile(file("calls"));
    }

    static bool works(const std::string& command) { return runProgram({"/bin/sh", "-c", command}).status == 0; }
};

TEST_F(HostileDocument, NothingElseIsOpenedAndNobodyIsAsked) {
    if (!works("strace -qq -o /dev/null true")) {
        ASSERT_TRUE(std::getenv("KELPOLICY_ALL_INSTALLED") == nullptr || works("strace -V")) << "it is not installed";
        GTEST_SKIP() << "strace is not there, or this machine lets nobody trace";
    }
    const std::string secret = file("secretPlace");
    writeFile(secret, "<!ENTITY leak 'leaked'>");
    const std::string namespaceAttribute = " xmlns='" + configurationNamespace + "'";
    const std::vector<std::pair<std::string, std::vector<std::string>>> readers = {
        {"PolicyDocument", {"tree", "-"}},
        {"KELMaintenanceWindows", {"validate", "windows", "-"}},
        {"KELAutoBackupPolicy", {"validate", "backup", "-"}},
        {"KELAutoReorgPolicy", {"validate", "reorg", "-"}},
        {"KELAutoRunstatsPolicy", {"validate", "runstats", "-"}}};
    ASSERT_EQ(run({"init"}).status, 0);
    for (const auto& [root, command] : readers)
        for (const std::string& place : {secret, "file://" + secret, std::string("http://127.0.0.1:9/secretPlace"),
                                         std::string("ftp://secretPlace.example/x")})
            for (const std::string& document :
                 {"<!DOCTYPE " + root + " SYSTEM '" + place + "'><" + root + "/>",
                  "<!DOCTYPE " + root + " PUBLIC '-//x' '" + place + "'><" + root + "/>",
                  "<!DOCTYPE " + root + " [<!ENTITY a SYSTEM '" + place + "'>]><" + root + ">&a;</" + root + ">",
                  "<!DOCTYPE " + root + " [<!ENTITY % a SYSTEM '" + place + "'> %a;]><" + root + ">&leak;</" + root +
                      ">",
                  "<" + root + namespaceAttribute +
                      " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:schemaLocation='" +
                      configurationNamespace + " " + place + "'><x",
                  "<" + root + " xmlns:xi='http://www.w3.org/2001/XInclude'><xi:include href='" + place + "'/><x"}) {
                const std::string calls = callsOf(command, document);
                ASSERT_NE(calls.find("execve("), std::string::npos) << "the calls are seen";
                ASSERT_EQ(calls.find("secretPlace"), std::string::npos) << document << "\n" << calls;
                ASSERT_EQ(calls.find("AF_INET"), std::string::npos) << document << "\n" << calls;
            }
}

}  // namespace
}  // namespace scenario
