/* A whole get and a whole set of the backup policy within an engine context, beside the sum of the calls that they
 * make, made directly on the driver manager, and one validation. */
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiPolicyValidate.h"
#include "databaseWork.h"
#include "sqlpiPolicyConfig.h"

namespace {

constexpr std::string_view configuration =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<KELAutoBackupPolicy xmlns=\"" SQLPI_CONFIG_NAMESPACE
    "\"><BackupOptions mode=\"Online\"><BackupTarget><DiskBackupTarget><PathName/></DiskBackupTarget></BackupTarget>"
    "</BackupOptions><BackupCriteria numberOfFullBackups=\"3\" timeSinceLastBackup=\"24\" "
    "logSpaceConsumedSinceLastBackup=\"1000\"/></KELAutoBackupPolicy>";

class Lob {
public:
    Lob() : bytes_(sizeof(sqludf_lob) + SQLUDF_LARGEST_LOB) {
        get()->length = static_cast<uint32_t>(configuration.copy(get()->data, configuration.size()));
    }
    sqludf_lob* get() { return reinterpret_cast<sqludf_lob*>(bytes_.data()); }

private:
    std::vector<char> bytes_;
};

bool validate(std::vector<char>& output) {
    sqlca ca = {};
    return sqlpiValidateAutomaintPolicy("AUTO_BACKUP", configuration, output.data(), ca) == SQLPI_CONFIG_OK;
}

/* Calls a procedure of the value form again and again. */
template <class Procedure>
void inContext(benchmark::State& state, Procedure procedure) {
    const Database database;
    Lob lob;
    char sqlstate[SQLUDF_STATE_SIZE];
    sqlca ca = {};
    for (auto _ : state)
        if (procedure("AUTO_BACKUP", lob.get(), nullptr, nullptr, sqlstate, "", "", nullptr, nullptr, &ca) !=
            SQLPI_CONFIG_OK)
            state.SkipWithError("the procedure failed");
}
BENCHMARK_CAPTURE(inContext, get, kelAutomaintGetPolicyDocSpLocal);
BENCHMARK_CAPTURE(inContext, set, kelAutomaintSetPolicyDocSpLocal);

void yardstickGet(benchmark::State& state) {
    const Database database;
    BareSession session(database.file());
    std::vector<char> output(SQLPI_OLD_POLICY_SIZE);
    for (auto _ : state)
        if (!session.verify() || !session.probe() || !session.select() || !validate(output))
            state.SkipWithError("a bare call failed");
}
BENCHMARK(yardstickGet);

/* The descriptions before and after read the row as any reader does, and verify the table each time. */
void yardstickSet(benchmark::State& state) {
    const Database database;
    BareSession session(database.file());
    std::vector<char> output(SQLPI_OLD_POLICY_SIZE);
    for (auto _ : state) {
        bool good = session.verify() && session.probe() && validate(output);
        std::string document = output.data();
        good = good && session.verify() && session.select() && session.update(document) && session.verify() &&
               session.select();
        if (!good) state.SkipWithError("a bare call failed");
    }
}
BENCHMARK(yardstickSet);

}  // namespace
