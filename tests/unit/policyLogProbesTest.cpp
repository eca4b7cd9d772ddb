/* Where the validation and the file procedures say that something was decided: the probes of their log records. */
#include "unit/validateSupport.h"

namespace {

using Probes = std::vector<uint32_t>;

class PolicyLogProbes : public config::ProceduresTest {
protected:
    /* Of all records that the call writes, or of those that begin with that text. */
    template <class Call>
    Probes probesOf(Call call, const std::string& beginning = "") {
        clearLogs();
        call();
        Probes probes;
        for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::diagnostic))
            if (record.text.starts_with(beginning)) probes.push_back(record.probe);
        return probes;
    }
};

TEST_F(PolicyLogProbes, EachStepOfTheValidationHasItsOwn) {
    const std::string sound = config::runstats();
    const struct {
        const char* what;
        const char* type;
        std::string document;
        Probes probes;
    } cases[] = {
        {"an unknown type", "NO_SUCH_TYPE", sound, {10}},
        {"no document", "AUTO_RUNSTATS", "", {20}},
        {"a mistake", "AUTO_RUNSTATS", "<x/>", {30}},
        {"a sound one", "AUTO_RUNSTATS", sound, {40}},
        {"another encoding",
         "AUTO_RUNSTATS",
         "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + sound.substr(sound.find("?>") + 2),
         {40, 50}},
    };
    for (const auto& one : cases)
        EXPECT_EQ(probesOf([&] { validated::validate(one.type, one.document); }), one.probes) << one.what;
}

TEST_F(PolicyLogProbes, AnEmptyFileHasItsOwn) {
    config::writeWhole(tmp("empty"), "");
    EXPECT_EQ(probesOf([] { config::setFile("AUTO_RUNSTATS", "empty"); }, "Policy file contents"), Probes{80});
}

}  // namespace
