/* What the scenarios share: a fresh instance directory, the program, and rows in the policy table. */
#ifndef TESTS_SCENARIO_SCENARIO_H
#define TESTS_SCENARIO_SCENARIO_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/hostFixture.h"
#include "runProgram.h"

namespace scenario {

/* The path of the program. */
std::string program();

/* Whether a program that a test needs is there. If it is not, the test is skipped; where the environment has
 * KELPOLICY_ALL_INSTALLED it has failed. Either way it returns at once. */
bool requireInstalled(const std::string& path);

/* Whether there are terminals for runOnTerminal. If there are none (/dev/pts is not mounted), the test is skipped, and
 * this returns at once: that is the machine's, and nothing that can be installed. */
bool requireTerminals();

/* A file of samples/. */
std::string sample(const std::string& name);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& text);

/* Names in a directory, in order. */
std::vector<std::string> namesIn(const std::string& directory);

/* The bytes as two digits each, for an SQL literal X'...'. */
std::string hexOf(const std::string& bytes);

class Scenario : public ::testing::Test {
protected:
    std::string instance() const { return directory_.file("instance"); }
    std::string file(const std::string& name) const { return directory_.file(name); }

    /* Runs the program on the scenario's instance, with no colour wanted or refused and the zone UTC unless
     * `surroundings` says otherwise. */
    Outcome run(const std::vector<std::string>& arguments, Surroundings surroundings = {}) const;
    Outcome runOnTerminal(const std::vector<std::string>& arguments, Surroundings surroundings = {}) const;

    /* What "kelpolicy init" makes; the answering commands need it. */
    void makeInstance() const;

    /* Replaces the document of the policy's row; makes the instance when there is none. */
    void store(const std::string& policyName, const std::string& document) const;
    /* Runs one statement on the policy table and commits it. */
    void execute(const std::string& statement) const;
    /* The same with one that only the host may run. */
    void administer(const std::string& statement) const;

private:
    Surroundings complete(Surroundings surroundings) const;

    hosttest::TemporaryDirectory directory_;
};

}  // namespace scenario

#endif
