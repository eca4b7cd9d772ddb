/* The program is killed at any moment: what was stored is what was there before or what was to be stored, never
 * anything in between, and the database opens again. */
#include <algorithm>
#include <filesystem>
#include <random>

#include "proofSize.h"
#include "scenario.h"

namespace {

using scenario::Outcome;
using scenario::Surroundings;
using std::chrono::microseconds;

const int rounds = proofSize("KELPOLICY_KILLS", 150);  // of each command

std::string runstats(const std::string& filter) {
    return "<KELAutoRunstatsPolicy xmlns=\"http://kelpolicy.example/xmlns/prod/kel/autonomic/config\">"
           "<RunstatsTableScope><FilterCondition>" +
           filter + "</FilterCondition></RunstatsTableScope></KELAutoRunstatsPolicy>";
}

class Killed : public scenario::Scenario {
protected:
    std::string get() const {
        const Outcome outcome = run({"get", "AUTO_RUNSTATS"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    }
    void set(const std::string& document) const {
        const Outcome outcome = run({"set", "AUTO_RUNSTATS", "-"}, {.input = document});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }

    /* Runs the command many times and kills it at a random moment of its life, or a little after. */
    template <class Check>
    void killManyTimes(const std::vector<std::string>& command, const std::vector<std::string>& inputs,
                       Check check) const {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(run(command, {.input = inputs.front()}).status, 0);
        const auto life = std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - start).count();
        std::mt19937 random(20261121);
        std::uniform_int_distribution<int64_t> moment(0, life * 11 / 10);
        int killed = 0;
        for (int round = 0; round < rounds; ++round) {
            const microseconds after(moment(random));
            SCOPED_TRACE("round " + std::to_string(round) + ", killed after " + std::to_string(after.count()) + " us");
            Surroundings surroundings{.input = inputs[static_cast<size_t>(round) % inputs.size()]};
            surroundings.killAfter = after;
            const Outcome outcome = run(command, surroundings);
            EXPECT_TRUE(outcome.status == 0 || outcome.status == 128 + SIGKILL) << outcome.status << outcome.err;
            if (outcome.status != 0) ++killed;
            ASSERT_NO_FATAL_FAILURE(check(outcome.status == 0, inputs[static_cast<size_t>(round) % inputs.size()]));
        }
        EXPECT_GT(killed, 0);
        RecordProperty("killed", killed);
    }
};

TEST_F(Killed, ASetStoresTheOldPolicyOrTheNewOne) {
    const std::vector<std::string> documents = {runstats("A = 1"), runstats(std::string(2000, 'B') + " = 2")};
    std::vector<std::string> answers;
    for (const std::string& document : documents) {
        set(document);
        answers.push_back(get());
    }
    ASSERT_NE(answers[0], answers[1]);
    std::string before = answers[1];
    killManyTimes({"set", "AUTO_RUNSTATS", "-"}, documents, [&](bool done, const std::string& document) {
        const std::string& after = answers[document == documents[0] ? 0 : 1];
        const std::string found = get();
        if (done)
            ASSERT_EQ(found, after);
        else
            ASSERT_TRUE(found == before || found == after) << found;
        before = found;
    });
}

TEST_F(Killed, AnInstallStoresTheOldRowOrTheNewOne) {
    const std::vector<std::string> key = {"--med", "M", "--decision", "D", "--name", "N"};
    const auto with = [&](std::vector<std::string> words) {
        words.insert(words.end(), key.begin(), key.end());
        return words;
    };
    const auto documents = [&] {
        const Outcome outcome = run(with({"retrieve", "--documents"}));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    };
    const std::vector<std::string> update = with({"install", "update", "--policy", "-"});
    const std::vector<std::string> policies = {"<PolicyDocument/>" + std::string(4000, ' '),
                                               "<PolicyDocument><And/></PolicyDocument>"};
    ASSERT_EQ(run(with({"install", "insert", "--policy", "-"}), {.input = policies[0]}).status, 0);
    std::vector<std::string> answers;
    for (const std::string& policy : policies) {
        ASSERT_EQ(run(update, {.input = policy}).status, 0);
        answers.push_back(documents());
    }
    ASSERT_NE(answers[0], answers[1]);
    std::string before = answers[1];
    killManyTimes(update, policies, [&](bool done, const std::string& policy) {
        const std::string found = documents();
        ASSERT_TRUE(found == answers[policy == policies[0] ? 0 : 1] || (!done && found == before)) << found;
        before = found;
    });
}

TEST_F(Killed, AGetLeavesTheOldFileOrTheNewOne) {
    set(runstats("A = 1"));
    const std::string path = instance() + "/tmp/p.xml";
    ASSERT_EQ(run({"get", "AUTO_RUNSTATS", "--server-file", "p.xml"}).status, 0);
    const std::string answer = scenario::readFile(path);
    ASSERT_EQ(answer, get());
    scenario::writeFile(path, "the old file");
    killManyTimes({"get", "AUTO_RUNSTATS", "--server-file", "p.xml"}, {""}, [&](bool done, const std::string&) {
        const std::string found = scenario::readFile(path);
        ASSERT_TRUE(found == answer || (!done && found == "the old file")) << found;
        scenario::writeFile(path, "the old file");
    });
}

/* What `retrieve --documents` answers: all rows, without their times. */
std::string documentsOf(const Outcome& retrieved) {
    EXPECT_EQ(retrieved.status, 0) << retrieved.err;
    return retrieved.out;
}

TEST_F(Killed, ALoadLeavesTheOldRowsOrTheNewOnes) {
    makeInstance();
    const std::string dumps[] = {file("old"), file("new")};
    const std::vector<std::string> retrieve = {"retrieve", "--documents"};
    std::string rows[2];
    for (int state = 0; state < 2; ++state) {
        for (int row = 0; row < 20; ++row) {
            // Some rows are changed by the load, some inserted, some removed.
            const std::string key = std::to_string(row + 10 * state);
            run({"install", "delete", "--med", key, "--yes"});
            ASSERT_EQ(run({"install", "insert", "--med", key, "--policy", "-"},
                          {.input = "<PolicyDocument/>" + std::string(5000, state == 0 ? 'a' : 'b')})
                          .status,
                      0);
        }
        if (state == 1) {
            for (int row = 0; row < 10; ++row)
                ASSERT_EQ(run({"install", "delete", "--med", std::to_string(row), "--yes"}).status, 0);
        }
        rows[state] = documentsOf(run(retrieve));
        ASSERT_EQ(run({"dump", dumps[state]}).status, 0);
    }
    ASSERT_NE(rows[0], rows[1]);
    ASSERT_EQ(run({"load", dumps[0], "--replace"}).status, 0);
    ASSERT_EQ(documentsOf(run(retrieve)), rows[0]);
    killManyTimes({"load", dumps[1], "--replace"}, {""}, [&](bool done, const std::string&) {
        const std::string found = documentsOf(run(retrieve));
        ASSERT_TRUE(found == rows[1] || (!done && found == rows[0])) << found;
        ASSERT_EQ(run({"load", dumps[0], "--replace"}).status, 0);
    });
}

TEST_F(Killed, ADumpLeavesTheEarlierDumpOrTheWholeNewOne) {
    makeInstance();
    const std::string dump = file("dump");
    ASSERT_EQ(run({"dump", dump}).status, 0);
    const std::string before = scenario::readFile(dump + "/manifest.json");
    ASSERT_EQ(run({"install", "insert", "--med", "M", "--policy", "-"}, {.input = "<PolicyDocument/>"}).status, 0);
    const std::string earlier = file("earlier");
    std::filesystem::copy(dump, earlier);
    ASSERT_EQ(run({"dump", dump}).status, 0);
    const std::string after = scenario::readFile(dump + "/manifest.json");
    ASSERT_NE(before, after);
    killManyTimes({"dump", dump}, {""}, [&](bool done, const std::string&) {
        const std::string found = scenario::readFile(dump + "/manifest.json");
        ASSERT_TRUE(found == after || (!done && found == before)) << found;
        ASSERT_EQ(run({"load", dump}).status, 0) << "every file is as its manifest says";
        std::filesystem::remove_all(dump);
        std::filesystem::copy(earlier, dump);
    });
}

}  // namespace
