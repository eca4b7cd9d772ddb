// Loads the library, sets the windows and asks when work may run next.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "engine.h"
#include "kelpolicy.h"

int main(int count, char** arguments) {
    if (count != 2) return std::fputs("usage: tiny_engine NEW-DIRECTORY\n", stderr), 2;
    openEngine(arguments[1]);
    void* library = dlopen(KELPOLICY_LIBRARY, RTLD_NOW);
    if (library == nullptr) return std::puts(dlerror()), 1;
#define ENTRY(name) reinterpret_cast<decltype(&name)>(dlsym(library, #name))

    const std::string document = "<KELMaintenanceWindows xmlns='" SQLPI_CONFIG_NAMESPACE "'>"
        "<OnlineWindow Occurrence='During' startTime='22:00:00' duration='8'><DaysOfWeek>All</DaysOfWeek>"
        "<DaysOfMonth>All</DaysOfMonth><MonthsOfYear>All</MonthsOfYear></OnlineWindow></KELMaintenanceWindows>";
    std::vector<char> bytes(sizeof(sqludf_lob) + document.size());
    auto* lob = reinterpret_cast<sqludf_lob*>(bytes.data());
    lob->length = static_cast<uint32_t>(document.copy(lob->data, document.size()));
    char state[SQLUDF_STATE_SIZE], message[SQLUDF_MESSAGE_SIZE];
    sqlca ca;
    sqlpiMaintWindow windows;
    ENTRY(sqlpiGetMaintWindow)(&windows);  // makes the table; a set replaces a row
    ENTRY(kelPolicyInstallSp)("I", "KELCommonMED", nullptr, "CommonPolicy", nullptr, lob, nullptr, state, message, nullptr);
    if (ENTRY(kelAutomaintSetPolicyDocSpLocal)("MAINTENANCE_WINDOW", lob, nullptr, nullptr, state, "", "", message, nullptr,
                                               &ca) != SQLPI_CONFIG_OK)
        return std::printf("SQLCODE %d\n", ca.sqlcode), 1;
    ENTRY(sqlpiGetMaintWindow)(&windows);
    OSSTime start, end;  // of a whole night: one that has begun is too short
    if (ENTRY(sqlpiFindMaintWindow)(&windows.online, {std::time(nullptr), 0}, 8 * 3600, &start, &end) == 0) return 1;
    std::printf("work may run for %ld hours from %s", (end.seconds - start.seconds) / 3600, std::ctime(&start.seconds));
    return blocksInUse == 0 ? 0 : 1;
}
