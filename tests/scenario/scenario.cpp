#include "scenario.h"

#include <pty.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "host/callLevelClient.h"

namespace scenario {
namespace {

std::vector<std::string> commandLine(const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {program()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

/* A unit of work on the policy table of an instance, which is made when missing. */
template <class Work>
void inUnitOfWork(const std::string& instance, Work work) {
    kelhost::EngineContext context(kelhost::Instance::create(instance));
    const kelhost::EngineContext::Scope bound(context);
    {
        hosttest::Client client;
        if (client.run("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','V','','')") != SQL_SUCCESS) {
            ASSERT_EQ(client.run("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','C','','')"), SQL_SUCCESS);
        }
        work(client);
    }
    context.commit();
}

}  // namespace

std::string program() {
    return KELPOLICY_PROGRAM;
}

bool requireInstalled(const std::string& path) {
    if (::access(path.c_str(), X_OK) == 0) return true;
    [&] {
        const std::string reason = path + " is not installed";
        const char* const all = std::getenv("KELPOLICY_ALL_INSTALLED");
        if (all != nullptr && *all != '\0') FAIL() << reason;
        GTEST_SKIP() << reason;
    }();
    return false;
}

bool requireTerminals() {
    int controller = -1;
    int terminal = -1;
    if (::openpty(&controller, &terminal, nullptr, nullptr, nullptr) == 0) {
        ::close(controller);
        ::close(terminal);
        return true;
    }
    [reason = errno] { GTEST_SKIP() << "there are no terminals: " << std::generic_category().message(reason); }();
    return false;
}

std::string sample(const std::string& name) {
    return std::string(KELPOLICY_SAMPLES) + "/" + name;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    EXPECT_TRUE(file.good()) << path;
}

std::vector<std::string> namesIn(const std::string& directory) {
    std::vector<std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) all.push_back(entry.path().filename());
    std::sort(all.begin(), all.end());
    return all;
}

std::string hexOf(const std::string& bytes) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text;
    for (const unsigned char byte : bytes) text += {digits[byte >> 4U], digits[byte & 15U]};
    return text;
}

Surroundings Scenario::complete(Surroundings surroundings) const {
    surroundings.environment.try_emplace("KELPOLICY_INSTANCE", instance());
    surroundings.environment.try_emplace("NO_COLOR", std::nullopt);
    surroundings.environment.try_emplace("TERM", "xterm");
    surroundings.environment.try_emplace("TZ", "UTC");
    return surroundings;
}

Outcome Scenario::run(const std::vector<std::string>& arguments, Surroundings surroundings) const {
    return runProgram(commandLine(arguments), complete(std::move(surroundings)));
}

Outcome Scenario::runOnTerminal(const std::vector<std::string>& arguments, Surroundings surroundings) const {
    return scenario::runOnTerminal(commandLine(arguments), complete(std::move(surroundings)));
}

void Scenario::makeInstance() const {
    inUnitOfWork(instance(), [](hosttest::Client& /*any*/) {});
}

void Scenario::store(const std::string& policyName, const std::string& document) const {
    inUnitOfWork(instance(), [&](hosttest::Client& client) {
        client.newStatement();
        const std::string update = "UPDATE SYSTOOLS.POLICY SET POLICY = ? WHERE NAME = '" + policyName + "'";
        ASSERT_EQ(SQLPrepare(client.stmt, hosttest::chars(update), SQL_NTS), SQL_SUCCESS);
        auto length = static_cast<SQLLEN>(document.size());
        ASSERT_EQ(SQLBindParameter(client.stmt, 1, SQL_PARAM_INPUT, SQL_C_BINARY, SQL_LONGVARBINARY, 2097152, 0,
                                   hosttest::chars(document), length, &length),
                  SQL_SUCCESS);
        ASSERT_EQ(SQLExecute(client.stmt), SQL_SUCCESS) << hosttest::tokensOf(client.ca());
        ASSERT_EQ(client.ca().sqlerrd[2], 1) << "no row of " << policyName;
    });
}

void Scenario::execute(const std::string& statement) const {
    inUnitOfWork(instance(), [&](hosttest::Client& client) {
        ASSERT_EQ(client.run(statement), SQL_SUCCESS) << statement << ": " << hosttest::tokensOf(client.ca());
    });
}

void Scenario::administer(const std::string& statement) const {
    inUnitOfWork(instance(), [&](hosttest::Client&) { kelhost::EngineContext::current()->administer(statement); });
}

}  // namespace scenario
