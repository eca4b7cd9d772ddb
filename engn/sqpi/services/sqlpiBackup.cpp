/* Backup policy: the stored document's sensors, mode and target over the defaults. */
#include "sqlpiBackup.h"

#include <cstring>

#include "base/sqlpiNumber.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "engineState.h"
#include "logs.h"
#include "services/sqlpiParsedTree.h"
#include "services/sqlpiStoredPolicy.h"
#include "services/sqlpiTreeWalk.h"

namespace {

constexpr const char* extraction = "sqlpiGetBackupPolicy";

struct Sensor {
    const char* name;
    int32_t sqlpiBackupPolicy::*field;
};
constexpr Sensor sensors[] = {
    {"Number_Full_DB_Backups", &sqlpiBackupPolicy::numberOfFullBackups},
    {"Elapsed_Time_Since_Last_DB_Backup", &sqlpiBackupPolicy::timeSinceLastBackup},
    {"Log_Consumed_Since_Last_DB_Backup", &sqlpiBackupPolicy::logSpaceConsumed},
};

template <size_t Size>
void setText(char (&field)[Size], const char* text) noexcept {
    sqlpiTextBuilder builder(field, Size);
    if (text != nullptr) builder.append(text);
}

template <size_t Size>
void clearAndSetText(char (&field)[Size], const char* text) noexcept {
    std::memset(field, 0, Size);
    setText(field, text);
}

void readSensor(SQLPISensors& sensor, sqlpiBackupPolicy& policy) noexcept {
    for (const Sensor& known : sensors) {
        if (!sqlpiIsWord(sensor.text, known.name)) continue;
        if (const char* constant = sensor.getConstant()) policy.*known.field = sqlpiToInt32(constant);
        return;
    }
}

void readSensors(SQLPIPolicyElement& root, sqlpiBackupPolicy& policy) noexcept {
    sqlpiForEachElement(root, SQLPI_ELEMENT_DB_BACKUP_SENSORS, [&](SQLPIPolicyElement& element) {
        const auto sensor = sqlpiGuardedCast<SQLPISensors>(&element);
        if (sensor.element != nullptr)
            readSensor(*sensor.element, policy);
        else
            pdLog(PD_WARNING, extraction, sensor.threw ? 20 : 10,
                  sensor.threw ? "Dynamic cast exception" : "Dynamic cast failed");
    });
}

void readMode(SQLPIPolicyElement& backup, sqlpiBackupPolicy& policy) noexcept {
    const auto action = sqlpiGuardedCast<SQLPIBackupAction>(&backup);
    if (action.element == nullptr) pdLog(PD_WARNING, extraction, action.threw ? 40 : 30, action.complaint());
    policy.mode = action.element == nullptr ? int32_t{BACKUP_MODE_DEFAULT} : action.element->mode;
}

/* The path of a disk or tape target; without one the location stays. */
void readPath(const SQLPIPolicyElement& target, sqlpiBackupPolicy& policy) noexcept {
    const SQLPIPolicyElement* path = sqlpiFirstChild(target);
    if (path == nullptr || path->elementType != SQLPI_ELEMENT_PATHNAME) return;
    if (policy.targetType != BACKUP_TARGET_DISK && policy.targetType != BACKUP_TARGET_TAPE)
        pdLog(PD_WARNING, extraction, 50, "Auto backup Policy: Unknown decision type");
    else if (path->text == nullptr)
        return;
    else if (policy.targetType == BACKUP_TARGET_DISK)
        setText(policy.targetLocation, path->text);
    else
        clearAndSetText(policy.targetLocation, path->text);
}

void readSessions(const SQLPIPolicyElement& target, sqlpiBackupTarget targetType, sqlpiBackupPolicy& policy) noexcept {
    policy.targetType = targetType;
    const SQLPIPolicyElement* sessions = sqlpiFirstChild(target);
    if (sessions == nullptr || sessions->elementType != SQLPI_ELEMENT_NUMBER_OF_SESSIONS) return;
    if (sessions->text == nullptr) {
        policy.targetType = BACKUP_TARGET_DISK;
        pdLog(PD_WARNING, extraction, 60, "Auto backup Policy: Backup set to default");
    } else {
        policy.numberOfSessions = static_cast<uint32_t>(sqlpiToInt32(sessions->text));
    }
}

void readVendorLibrary(const SQLPIPolicyElement& target, sqlpiBackupPolicy& policy) noexcept {
    policy.targetType = BACKUP_TARGET_VENDOR;
    sqlpiForEachChild(target, [&](const SQLPIPolicyElement& child) {
        if (child.elementType == SQLPI_ELEMENT_LIB_FILENAME) clearAndSetText(policy.targetLocation, child.text);
        if (child.elementType == SQLPI_ELEMENT_LIB_OPTIONS) clearAndSetText(policy.libOptions, child.text);
    });
}

void readTarget(const SQLPIPolicyElement& target, sqlpiBackupPolicy& policy) noexcept {
    switch (target.elementType) {
        case SQLPI_ELEMENT_TAPE_BACKUP_TARGET:
            policy.targetType = BACKUP_TARGET_TAPE;
            [[fallthrough]];
        case SQLPI_ELEMENT_DISK_BACKUP_TARGET:
            readPath(target, policy);
            break;
        case SQLPI_ELEMENT_VLT_BACKUP_TARGET:
            readSessions(target, BACKUP_TARGET_VLT, policy);
            break;
        case SQLPI_ELEMENT_XBSA_BACKUP_TARGET:
            readSessions(target, BACKUP_TARGET_XBSA, policy);
            break;
        case SQLPI_ELEMENT_VENDOR_LIB_BACKUP_TARGET:
            readVendorLibrary(target, policy);
            break;
        default:
            pdLog(PD_ERROR, extraction, 70, "Auto backup Policy: Target Type Unknown");
            break;
    }
}

}  // namespace

void sqlpiGetBackupFromParsedTree(SQLPIPolicyElement* root, sqlpiBackupPolicy* policy) noexcept {
    const sqlpiFunctionTrace trace("sqlpiGetBackupFromParsedTree");
    if (root == nullptr || policy == nullptr) return;
    sqlpiRewind(*root);
    readSensors(*root, *policy);

    root->resetAll();
    SQLPIPolicyElement* backup = root->findElement(root, SQLPI_ELEMENT_DB_BACKUP);
    if (backup == nullptr) return;
    readMode(*backup, *policy);
    if (const SQLPIPolicyElement* target = sqlpiFirstChild(*backup)) readTarget(*target, *policy);
}

void sqlpiGetBackupPolicy(char* document, int32_t length, sqlpiBackupPolicy* policy) noexcept {
    const sqlpiFunctionTrace trace(extraction);
    sqlpiTree root;
    sqlpiParseInto(root, document, length);
    sqlpiGetBackupFromParsedTree(root.get(), policy);
}

void sqlpiGetBackup(sqlpiBackupPolicy* policy) noexcept {
    const sqlpiFunctionTrace trace("sqlpiGetBackup");
    if (policy == nullptr) return;
    *policy = {};
    policy->numberOfFullBackups = 1;
    policy->timeSinceLastBackup = 168;
    policy->logSpaceConsumed = 6400;
    policy->targetType = BACKUP_TARGET_DISK;
    policy->mode = BACKUP_MODE_DEFAULT;

    sqlca ca = {};
    sqlpiGetDefaultAutoBackupPath(policy->targetLocation, sizeof policy->targetLocation, &ca);
    if (ca.sqlcode != 0) pdLog(PD_WARNING, "sqlpiGetBackup", 10, "Auto backup Policy: Unknown default backup location");

    const sqlpiStoredPolicy stored(SQLPI_BACKUP_KEY);
    if (stored.isPresent()) sqlpiGetBackupPolicy(stored.document.get(), stored.length, policy);
}
