/* The check of the policy table and the binding of the package: every call that they make on their engine, in order,
 * with its arguments. The linker hands these calls to this file, which writes them down and passes them on. */
#include "configuration/sqlpiPolicyPackage.h"
#include "embeddedSql.h"
#include "services/sqlpiPolicyTable.h"
#include "unit/recordedStatements.h"
#include "unit/servicesSupport.h"

namespace {

using recorded::present;
using recorded::recorder;

std::vector<int32_t> answersOfBind;

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
WRAP(int32_t, sqlabndx, (const char* path, const char* messageFile, const sqloptList* options, sqlca* ca)) {
    std::string call = std::string("bind ") + path + present(messageFile);
    for (uint32_t i = 0; i < options->count; ++i) {
        call += " " + std::to_string(options->options[i].type) + "=" + std::to_string(options->options[i].value);
    }
    recorder.calls.push_back(call);
    if (answersOfBind.empty()) return __real_sqlabndx(path, messageFile, options, ca);
    const int32_t answer = answersOfBind.front();
    answersOfBind.erase(answersOfBind.begin());
    ca->sqlcode = answer;
    return answer;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

class PolicyUtilCalls : public services::EngineTest {
protected:
    ~PolicyUtilCalls() override {
        recorder = {};
        answersOfBind.clear();
    }

    static Calls callsOfCheck(bool create, SQLRETURN answerOfExecute = SQL_SUCCESS) {
        recorder = {true};
        if (answerOfExecute != SQL_SUCCESS) recorder.plan["execute"] = answerOfExecute;
        sqlca ca = {};
        sqlpiCheckPolicyTable(create, ca);
        recorder.isOn = false;
        return recorder.calls;
    }
};

const Calls verified = {"allocate 1 -",
                        "sqlca + - -",
                        "allocate 2 +",
                        "sqlca + + -",
                        "attribute 102 0",
                        "sqlca + + -",
                        "connect --3 --3 --3",
                        "sqlca + + -",
                        "allocate 3 +",
                        "sqlca + + +",
                        "prepare -3 call SYSINSTALLOBJECTS('POLICY','V','','') ",
                        "sqlca + + +",
                        "execute",
                        "sqlca + + +"};
const Calls created = {"allocate 3 +", "sqlca + + -", "run -3 call SYSINSTALLOBJECTS('POLICY','C','','') ",
                       "sqlca + + +"};
const Calls released = {"free 3", "disconnect", "free 2", "free 1"};

TEST_F(PolicyUtilCalls, verifyAndReleaseInReverseOrder) {
    for (const bool create : {false, true}) EXPECT_EQ(callsOfCheck(create), verified + released) << create;
}

TEST_F(PolicyUtilCalls, createOnANewStatement) {
    EXPECT_EQ(callsOfCheck(false, SQL_ERROR), verified + released);
    EXPECT_EQ(callsOfCheck(true, SQL_ERROR), verified + created + Calls{"free 3"} + released);
}

TEST_F(PolicyUtilCalls, bindTheFileOfTheInstanceWithTheGrantAndOnceMoreAfterAFailure) {
    struct Case {
        std::vector<int32_t> answers;
        size_t binds;
        int32_t result;
    };
    const std::string bind = "bind " + instance().path() + "/bnd/some.bnd - 61=1";
    for (const Case& one : std::vector<Case>{{{0}, 1, 0},
                                             {{25}, 1, 25},
                                             {{-964}, 1, -964},
                                             {{-911, 0}, 2, 0},
                                             {{-911, 25}, 2, 25},
                                             {{-204, -911}, 2, -911},
                                             {{-1, -964}, 2, -964},
                                             {{1, -2}, 2, -2}}) {
        recorder = {};
        answersOfBind = one.answers;
        sqlca ca = {};
        EXPECT_EQ(sqlpiBindPolicyPkg("some.bnd", ca), one.result) << one.answers.front();
        EXPECT_EQ(ca.sqlcode, one.result) << one.answers.front();
        EXPECT_EQ(recorder.calls, Calls(one.binds, bind)) << one.answers.front();
        EXPECT_TRUE(answersOfBind.empty()) << one.answers.front();
    }
}

}  // namespace
