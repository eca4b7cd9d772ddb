/* Where the validation and the configuration procedures say that something was decided: the probes of their log
 * records. */
#include "configuration/sqlpiPolicyConfigCommon.h"
#include "faulty.h"
#include "unit/validateSupport.h"

namespace {

using faulty::Service;
using Probes = std::vector<uint32_t>;

constexpr const char* autoBackup = "AUTO_BACKUP";

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

/* Each call's records, from what it finds on the way (15: the table is there, 10: the package is) to what ends it. */
TEST_F(PolicyLogProbes, EachStepOfTheProceduresHasItsOwn) {
    const std::string longName(4096, 'n');
    const std::string pathTooLong(4090, 'n');
    const auto set = [] { config::setDocument(autoBackup, config::backup()); };
    const auto setFile = [] { config::setFile(autoBackup, "in.xml"); };
    const auto get = [] { config::getDocument(autoBackup); };
    const auto getFile = [] { config::getFile(autoBackup, "p.xml"); };
    config::writeWhole(tmp("in.xml"), config::backup());
    config::writeWhole(tmp("empty"), "");
    config::writeWhole(tmp("long"), std::string(SQLUDF_LARGEST_LOB + 1, ' '));
    config::writeWhole(tmp("directory/file"), "");
    const struct {
        const char* what;
        std::function<void()> call;
        Probes probes;
        Service service = Service::any; /* fails .. */
        uint64_t number = 0;            /* .. in this call of it; 0: none does */
        int32_t code = faulty::usualFailure;
        int32_t sqlcode = -4711;
    } cases[] = {
        {"nothing to get", [] { config::getFile({}, "f"); }, {10}},
        {"an unknown type", [] { config::getFile("X", "f"); }, {20}},
        {"a way up", [] { config::getFile(autoBackup, "../f"); }, {30}},
        {"no name", [] { config::getFile(autoBackup, "."); }, {40}},
        {"a name too long", [&] { config::getFile(autoBackup, longName); }, {40}},
        {"no instance", getFile, {45}, Service::sqloInstancePath, 1},
        {"a path too long", [&] { config::getFile(autoBackup, pathTooLong); }, {50}},
        {"no directory", [] { config::getFile(autoBackup, "sub/f"); }, {60}, Service::ossDirectoryCreateBelow, 1},
        {"a document to a file", getFile, {70, 15, 10}},
        {"no table for a file", getFile, {10, 90, 70}, Service::SQLConnect, 1},
        {"a directory in its place", [] { config::getFile(autoBackup, "directory"); }, {70, 15, 10, 80}},
        {"a file that is not written", getFile, {70, 15, 10, 90}, Service::ossFileWrite, 1},
        {"a document", get, {70, 15, 10}},
        {"no table", get, {10, 90, 30}, Service::SQLConnect, 1},
        {"no package", get, {70, 15, 20, 90, 30}, Service::sqlacall, 1, faulty::usualFailure, -911},

        {"a set", set, {70, 15, 10, 40}},
        {"a document too long",
         [] { config::setDocument(autoBackup, std::string(SQLUDF_LARGEST_LOB + 1, ' ')); },
         {25}},
        {"no memory for it", set, {30}, Service::sqlogmblkEx, 1},
        {"a mistake", [] { config::setDocument(autoBackup, "<x/>"); }, {70, 15, 10, 30, 40, 90, 40}},
        {"no table to set", set, {10, 90, 40}, Service::SQLConnect, 1},
        {"no statement", set, {70, 15, 10, 40, 50, 90, 40}, Service::sqlacall, 3},
        {"a statement that fails", set, {70, 15, 10, 40, 60, 90, 40}, Service::sqlacall, 4},
        {"no file", [] { config::setFile(autoBackup, "none"); }, {60}},
        {"a file that is none", [] { config::setFile(autoBackup, "directory"); }, {70}},
        {"an empty file", [] { config::setFile(autoBackup, "empty"); }, {80, 80}},
        {"a file too long", [] { config::setFile(autoBackup, "long"); }, {85}},
        {"no memory for a file", setFile, {90}, Service::sqlogmblkEx, 1},
        {"a file cut short", setFile, {100}, Service::ossFileRead, 1, faulty::shortTransfer},
        {"a file set", setFile, {70, 15, 10, 40}},
        {"a file that is not set", setFile, {10, 90, 110}, Service::SQLConnect, 1},

        {"a type that cannot be described",
         [] {
             char line[64];
             sqlca ca = {};
             sqpiGetPolicyOldFormatString("X", line, sizeof line, ca);
         },
         {10}},
    };
    for (const auto& one : cases) {
        const faulty::Scope scope;
        if (one.number != 0) faulty::failCall(one.service, one.number, faulty::Duration::once, one.code, one.sqlcode);
        EXPECT_EQ(probesOf(one.call), one.probes) << one.what;
    }
    clearLogs();
    set();
    const auto records = recordsOf(kelhost::LogKind::administration);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].probe, 70U);
}

}  // namespace
