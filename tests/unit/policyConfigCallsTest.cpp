/* Getting and setting a policy: every statement that the library's package runs, in order, and what stands between
 * them. The linker hands these calls to this file, which writes them down and passes them on. */
#include <algorithm>

#include "configuration/sqlpiPolicyGen.h"
#include "embeddedSql.h"
#include "unit/configSupport.h"
#include "unit/recordedCalls.h"

namespace {

using recorded::recorder;
using recorded::recordWhole;

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
WRAP(int32_t, _Z21sqlpiCheckPolicyTablebR5sqlca, (bool create, sqlca& ca)) {
    return recordWhole(create ? "table, made when missing" : "table",
                       [&] { return __real__Z21sqlpiCheckPolicyTablebR5sqlca(create, ca); });
}
WRAP(uint32_t, _Z28sqlpiValidateAutomaintPolicyPKcSt17basic_string_viewIcSt11char_traitsIcEEPcR5sqlca,
     (const char* type, std::string_view document, char* output, sqlca& ca)) {
    const bool isClear = std::all_of(output, output + SQLPI_OLD_POLICY_SIZE, [](char byte) { return byte == '\0'; });
    return recordWhole(std::string("validate ") + type + (isClear ? " into clear room" : ""), [&] {
        return __real__Z28sqlpiValidateAutomaintPolicyPKcSt17basic_string_viewIcSt11char_traitsIcEEPcR5sqlca(
            type, document, output, ca);
    });
}
WRAP(uint32_t, sqpiGetPolicyFormatString, (char* buffer, int32_t size, const char* name)) {
    return recordWhole("describe " + std::to_string(size) + " " + name,
                       [&] { return __real_sqpiGetPolicyFormatString(buffer, size, name); });
}
WRAP(void, sqlt_logadmin,
     (uint32_t number, int32_t importance, const char* function, uint32_t probe, const char* text, size_t length)) {
    if (recorder.isOn) recorder.calls.push_back("report " + std::to_string(number));
    __real_sqlt_logadmin(number, importance, function, probe, text, length);
}
WRAP(int32_t, sqlastrt, (const sqlaProgramId* program, sqlca* ca)) {
    return recordWhole(std::string("start ") + program->collection + "." + program->package,
                       [&] { return __real_sqlastrt(program, ca); });
}
WRAP(int32_t, sqlaaloc, (uint32_t usage, uint32_t count)) {
    return recordWhole((usage == SQLA_INPUT ? "inputs " : "outputs ") + std::to_string(count),
                       [&] { return __real_sqlaaloc(usage, count); });
}
WRAP(int32_t, sqlasetdata, (uint32_t usage, uint32_t first, uint32_t count, const sqlaVariable* variables)) {
    std::string call = "set";
    for (uint32_t i = 0; i < count; ++i) {
        const sqlaVariable& variable = variables[i];
        call += " " + std::to_string(first + i) + " of type " + std::to_string(variable.sqlType);
        if (usage == SQLA_INPUT) call += " '" + std::string(static_cast<char*>(variable.data), variable.length) + "'";
    }
    return recordWhole(call, [&] { return __real_sqlasetdata(usage, first, count, variables); });
}
WRAP(int32_t, sqlastls, (uint32_t length, const char* text)) {
    return recordWhole("text '" + std::string(text, length) + "'", [&] { return __real_sqlastls(length, text); });
}
WRAP(void, sqlacall, (uint32_t call, uint32_t section)) {
    if (recorder.isOn) recorder.calls.push_back("call " + std::to_string(call) + " " + std::to_string(section));
    __real_sqlacall(call, section);
}
WRAP(void, sqlastop, (void)) {
    if (recorder.isOn) recorder.calls.emplace_back("stop");
    __real_sqlastop();
}
WRAP(int32_t, sqlabndx, (const char* path, const char* messageFile, const sqloptList* options, sqlca* ca)) {
    return recordWhole("bind after SQLCODE " + std::to_string(ca->sqlcode),
                       [&] { return __real_sqlabndx(path, messageFile, options, ca); });
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

class PolicyConfigCalls : public config::ProceduresTest {
protected:
    ~PolicyConfigCalls() override { recorder = {}; }

    template <class Procedure>
    static Calls callsOf(Procedure procedure) {
        recorder = {true};
        const config::Outcome outcome = procedure();
        recorder.isOn = false;
        EXPECT_TRUE(outcome.isDone()) << outcome;
        return recorder.calls;
    }
};

/* One statement through the runtime, from its start to its end. */
Calls statement(const Calls& between) {
    return Calls{"start NULLID.POLYH03"} + between + Calls{"stop"};
}

const Calls probe =
    statement({"inputs 1", "set 0 of type 12 'KELDatabaseRecoveryMED'", "call 26 1"}) + statement({"call 20 1"});

std::string whereKey(const config::Type& type) {
    return std::string(" WHERE MED = '") + type.key.med + "' AND DECISION = '" + type.key.decision + "' AND NAME = '" +
           type.key.name + "' ";
}

TEST_F(PolicyConfigCalls, AGetSelectsTheRowOfItsType) {
    for (const config::Type& type : config::types) {
        const Calls select =
            statement({"text 'SELECT POLICY FROM SYSTOOLS.POLICY" + whereKey(type) + "'", "call 27 2"}) +
            statement({"call 26 2"}) + statement({"outputs 1", "set 0 of type -4", "call 25 2"}) +
            statement({"call 20 2"});
        EXPECT_EQ(callsOf([&] { return config::getDocument(type.name); }), Calls{"table"} + probe + select)
            << type.name;
    }
}

TEST_F(PolicyConfigCalls, APackageThatIsMissingIsBoundFromAClearArea) {
    services::execute("DELETE FROM SYSTOOLS.PACKAGE");
    const Calls calls = callsOf([] { return config::getDocument("AUTO_BACKUP"); });
    ASSERT_GT(calls.size(), 6U);
    EXPECT_EQ(Calls(calls.begin(), calls.begin() + 7),
              (Calls{"table", "start NULLID.POLYH03", "inputs 1", "set 0 of type 12 'KELDatabaseRecoveryMED'",
                     "call 26 1", "stop", "bind after SQLCODE 0"}));
}

TEST_F(PolicyConfigCalls, ASetValidatesDescribesUpdatesDescribesAndReports) {
    for (const config::Type& type : config::types) {
        Calls calls = callsOf([&] { return config::setDocument(type.name, config::soundDocument(type.name)); });
        const std::string document = "set 0 of type -4 '" + services::stored(type.key).value() + "'";
        const std::string describe = std::string("describe 4096 ") + type.description;
        const Calls before = {std::string("validate ") + type.name + " into clear room", describe};
        const Calls update = statement({"text 'UPDATE SYSTOOLS.POLICY SET UPDATE_TIME=CURRENT TIMESTAMP, POLICY = ?" +
                                            whereKey(type) + "'",
                                        "call 27 3"}) +
                             statement({"inputs 1", document, "call 24 3"});
        const Calls after = {describe, "report 10515"};
        EXPECT_EQ(calls, Calls{"table, made when missing"} + probe + before + update + after) << type.name;
    }
}

}  // namespace
