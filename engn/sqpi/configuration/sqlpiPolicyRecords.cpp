/* Owned texts of the configuration records. */
#include "sqlpiPolicyRecords.h"

#include "base/sqlpiOwn.h"
#include "configuration/sqlpiRecordTexts.h"

namespace {

constexpr const char* tag = "sqlpiPolicyRecords";

void release(char*& field) noexcept {
    sqlofmblkEx(field, tag, __LINE__);
    field = nullptr;
}

}  // namespace

bool sqlpiSetOwnedText(char*& field, std::string_view text) noexcept {
    sqlpiBlock copy = sqlpiTakeBlock(text.size() + 1, tag);
    if (copy != nullptr) copy.get()[text.copy(copy.get(), text.size())] = '\0';
    release(field);
    field = copy.release();
    return field != nullptr;
}

void sqlpiReleaseTexts(backupPolicy& policy) noexcept {
    for (auto field :
         {&backupPolicy::mode, &backupPolicy::numberOfFullBackups, &backupPolicy::timeSinceLastBackup,
          &backupPolicy::logSpaceConsumedSinceLastBackup, &backupPolicy::numberOfSessions, &backupPolicy::libOptions})
        release(policy.*field);
}

void sqlpiReleaseTexts(reorgPolicy& policy) noexcept {
    for (auto field :
         {&reorgPolicy::dictionaryOption, &reorgPolicy::indexReorgMode, &reorgPolicy::useSystemTempTableSpace,
          &reorgPolicy::maxOfflineReorgTableSize, &reorgPolicy::reclaimExtentsSizeForMDCTables,
          &reorgPolicy::numInxPseudoEmptyPagesForVolatileTables})
        release(policy.*field);
}
