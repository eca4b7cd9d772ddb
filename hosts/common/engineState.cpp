#include "engineState.h"

#include <time.h>

#include <cstring>
#include <mutex>

#include "hostError.h"
#include "instance.h"

using kelhost::fillSqlca;

int32_t isSharedLibInitSuccess(void) {
    return 1;  // the process could not have started without its libraries
}

void ossOneTimeOnly(void) {
    // localtime_r need not read the zone from the environment; the engine does it once.
    static std::once_flag once;
    std::call_once(once, ::tzset);
}

void sqlpiGetDefaultAutoBackupPath(char* path, int32_t size, struct sqlca* ca) {
    if (size > 0) path[0] = '\0';
    try {
        const kelhost::Instance* instance = kelhost::threadScope().instance;
        if (instance == nullptr) return fillSqlca(*ca, -900, "08003", "");
        const std::string backups = instance->backups();
        if (size <= 0 || backups.size() >= static_cast<size_t>(size)) return fillSqlca(*ca, -433, "22001", backups);
        std::memcpy(path, backups.c_str(), backups.size() + 1);
        fillSqlca(*ca, 0, "00000", "");
    } catch (const std::exception&) {
        fillSqlca(*ca, -954, "57011", "");
    }
}
