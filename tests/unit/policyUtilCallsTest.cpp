/* The check of the policy table and the binding of the package: every call that they make on their engine, in order,
 * with its arguments. The linker hands these calls to this file, which writes them down and passes them on. */
#include <cstring>

#include "embeddedSql.h"
#include "sqlpiPolicyUtil.h"
#include "unit/servicesSupport.h"

namespace {

std::vector<std::string> calls;
bool isOn = false;
SQLRETURN answerOfExecute = SQL_SUCCESS;
std::vector<int32_t> answersOfBind;

template <class Real>
SQLRETURN record(const std::string& call, Real real) {
    if (isOn) calls.push_back(call);
    return real();
}

std::string present(const void* handle) {
    return handle == nullptr ? " -" : " +";
}

std::string textOf(SQLCHAR* text, SQLINTEGER length) {
    return std::to_string(length) + " \"" + reinterpret_cast<const char*>(text) + '"';
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
#define WRAP(Result, name, parameters)          \
    extern "C" Result __real_##name parameters; \
    extern "C" Result __wrap_##name parameters; \
    extern "C" Result __wrap_##name parameters

WRAP(SQLRETURN, SQLAllocHandle, (SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE* handle)) {
    return record("allocate " + std::to_string(type) + present(parent),
                  [&] { return __real_SQLAllocHandle(type, parent, handle); });
}
WRAP(SQLRETURN, SQLFreeHandle, (SQLSMALLINT type, SQLHANDLE handle)) {
    return record("free " + std::to_string(type), [&] { return __real_SQLFreeHandle(type, handle); });
}
WRAP(SQLRETURN, SQLSetConnectAttr, (SQLHDBC connection, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length)) {
    return record("attribute " + std::to_string(attribute) + " " + std::to_string(reinterpret_cast<uintptr_t>(value)),
                  [&] { return __real_SQLSetConnectAttr(connection, attribute, value, length); });
}
WRAP(SQLRETURN, SQLConnect,
     (SQLHDBC connection, SQLCHAR* server, SQLSMALLINT serverLength, SQLCHAR* user, SQLSMALLINT userLength,
      SQLCHAR* password, SQLSMALLINT passwordLength)) {
    return record("connect" + present(server) + present(user) + present(password), [&] {
        return __real_SQLConnect(connection, server, serverLength, user, userLength, password, passwordLength);
    });
}
WRAP(SQLRETURN, SQLDisconnect, (SQLHDBC connection)) {
    return record("disconnect", [&] { return __real_SQLDisconnect(connection); });
}
WRAP(SQLRETURN, SQLPrepare, (SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length)) {
    return record("prepare " + textOf(text, length), [&] { return __real_SQLPrepare(statement, text, length); });
}
WRAP(SQLRETURN, SQLExecute, (SQLHSTMT statement)) {
    return record("execute", [&] {
        const SQLRETURN result = __real_SQLExecute(statement);
        return isOn && answerOfExecute != SQL_SUCCESS ? answerOfExecute : result;
    });
}
WRAP(SQLRETURN, SQLExecDirect, (SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length)) {
    return record("run " + textOf(text, length), [&] { return __real_SQLExecDirect(statement, text, length); });
}
WRAP(SQLRETURN, SQLGetSQLCA, (SQLHENV environment, SQLHDBC connection, SQLHSTMT statement, sqlca* ca)) {
    return record("sqlca" + present(environment) + present(connection) + present(statement),
                  [&] { return __real_SQLGetSQLCA(environment, connection, statement, ca); });
}
WRAP(int32_t, sqlabndx, (const char* path, const char* messageFile, const sqloptList* options, sqlca* ca)) {
    std::string call = std::string("bind ") + path + present(messageFile);
    for (uint32_t i = 0; i < options->count; ++i) {
        call += " " + std::to_string(options->options[i].type) + "=" + std::to_string(options->options[i].value);
    }
    calls.push_back(call);
    if (answersOfBind.empty()) return __real_sqlabndx(path, messageFile, options, ca);
    const int32_t answer = answersOfBind.front();
    answersOfBind.erase(answersOfBind.begin());
    ca->sqlcode = answer;
    return answer;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using Calls = std::vector<std::string>;

Calls operator+(Calls first, const Calls& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class PolicyUtilCalls : public services::EngineTest {
protected:
    PolicyUtilCalls() { forget(); }
    ~PolicyUtilCalls() override { forget(); }

    static void forget() {
        calls.clear();
        isOn = false;
        answerOfExecute = SQL_SUCCESS;
        answersOfBind.clear();
    }

    static Calls callsOfCheck(bool create) {
        calls.clear();
        sqlca ca = {};
        isOn = true;
        sqlpiCheckPolicyTable(create, ca);
        isOn = false;
        return calls;
    }
};

const Calls verified = {"allocate 1 -",
                        "sqlca + - -",
                        "allocate 2 +",
                        "sqlca + + -",
                        "attribute 102 0",
                        "sqlca + + -",
                        "connect - - -",
                        "sqlca + + -",
                        "allocate 3 +",
                        "sqlca + + +",
                        "prepare -3 \"call SYSINSTALLOBJECTS('POLICY','V','','') \"",
                        "sqlca + + +",
                        "execute",
                        "sqlca + + +"};
const Calls created = {"allocate 3 +", "sqlca + + -", "run -3 \"call SYSINSTALLOBJECTS('POLICY','C','','') \"",
                       "sqlca + + +"};
const Calls released = {"free 3", "disconnect", "free 2", "free 1"};

TEST_F(PolicyUtilCalls, verifyAndReleaseInReverseOrder) {
    for (const bool create : {false, true}) EXPECT_EQ(callsOfCheck(create), verified + released) << create;
}

TEST_F(PolicyUtilCalls, createOnANewStatement) {
    answerOfExecute = SQL_ERROR;
    EXPECT_EQ(callsOfCheck(false), verified + released);
    EXPECT_EQ(callsOfCheck(true), verified + created + Calls{"free 3"} + released);
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
        calls.clear();
        answersOfBind = one.answers;
        sqlca ca = {};
        EXPECT_EQ(sqlpiBindPolicyPkg("some.bnd", ca), one.result) << one.answers.front();
        EXPECT_EQ(ca.sqlcode, one.result) << one.answers.front();
        EXPECT_EQ(calls, Calls(one.binds, bind)) << one.answers.front();
        EXPECT_TRUE(answersOfBind.empty()) << one.answers.front();
    }
}

}  // namespace
