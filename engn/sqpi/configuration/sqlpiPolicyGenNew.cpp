/* Configuration documents: one template for each kind of policy, with the record's texts in between. */
#include <cstring>

#include "base/sqlpiOwn.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiRecordTexts.h"

namespace {

constexpr std::string_view xmlDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?> \n";
constexpr std::string_view namespaceAttribute = "xmlns=\"" SQLPI_CONFIG_NAMESPACE "\" >\n";

/* A document while it is put together. */
template <size_t Size>
class WorkingBuffer {
public:
    sqlpiTextBuilder out{bytes_, Size};

    /* Hands back a copy of the document, or null when it was cut or there is no memory. */
    uint32_t handBack(char** document, int* length) const noexcept {
        *document = nullptr;
        *length = 0;
        if (out.wasCut()) return SQLPI_CONFIG_FAILED;
        const size_t size = out.length() + 1;
        sqlpiBlock copy = sqlpiTakeBlock(size, "sqlpiPolicyGenNew");
        if (copy == nullptr) return SQLPI_CONFIG_FAILED;
        std::memcpy(copy.get(), bytes_, size);
        *document = copy.release();
        *length = static_cast<int>(out.length());
        return SQLPI_CONFIG_OK;
    }

private:
    char bytes_[Size];
};

/* From behind the blank that follows the element's name. */
void writeWindow(sqlpiTextBuilder& out, const maintenanceNewWindow& window) noexcept {
    const sqlpiTextPiece attributes[] = {
        {"Occurrence=\"", sqlpiFieldText(window.occurrence), "\" "},
        {"startTime=\"", sqlpiFieldText(window.startTime), "\" "},
        {"duration=\"", sqlpiFieldText(window.duration), "\" "},
    };
    for (const sqlpiTextPiece& attribute : attributes)
        if (!attribute.inserted.empty()) out.appendAll({attribute});
    out.appendAll({
        {">\n"},
        {"  <DaysOfWeek>", sqlpiFieldText(window.daysOfWeek), "</DaysOfWeek>\n"},
        {"  <DaysOfMonth>", sqlpiFieldText(window.daysOfMonth), "</DaysOfMonth>\n"},
        {"  <MonthsOfYear>", sqlpiFieldText(window.monthsOfYear), "</MonthsOfYear>\n"},
    });
}

void writeTargets(sqlpiTextBuilder& out, const backupPolicy& policy) noexcept {
    const std::string_view path = sqlpiFieldText(policy.path);
    const std::string_view sessions = sqlpiTextOrEmpty(policy.numberOfSessions);
    if (policy.diskTarget) {
        out.append("  <DiskBackupTarget>\n");
        if (policy.useDefaultPath)
            out.append("    <PathName/> \n");
        else
            out.appendAll({{"    <PathName>", path, "</PathName>\n"}});
        out.append("  </DiskBackupTarget>\n");
    }
    if (policy.tapeTarget)
        out.appendAll({
            {"  <TapeBackupTarget>\n"},
            {"    <PathName>", path, "</PathName>\n"},
            {"  </TapeBackupTarget>\n"},
        });
    if (policy.vendorTarget)
        out.appendAll({
            {"  <VendorLibBackupTarget>\n"},
            {"   <LibFilename>", path, "</LibFilename>\n"},
            {"   <LibOptions>", sqlpiTextOrEmpty(policy.libOptions), "</LibOptions>\n"},
            {"  </VendorLibBackupTarget>\n"},
        });
    if (policy.vltTarget) out.appendAll({{"  <VLTBackupTarget numberOfSessions=\"", sessions, "\"/>\n"}});
    if (policy.xbsaTarget) out.appendAll({{"  <XBSABackupTarget numberOfSessions=\"", sessions, "\"/>\n"}});
}

/* Each attribute's piece ends the value before it. */
void writeReorgAttributes(sqlpiTextBuilder& out, const reorgPolicy& policy) noexcept {
    const std::string_view tempSpace = sqlpiTextOrEmpty(policy.useSystemTempTableSpace);
    const char* const extents = policy.reclaimExtentsSizeForMDCTables;
    const char* const pages = policy.numInxPseudoEmptyPagesForVolatileTables;
    if (policy.dictionaryOption != nullptr) out.appendAll({{" dictionaryOption=\"", policy.dictionaryOption}});
    if (policy.indexReorgMode != nullptr) out.appendAll({{"\" indexReorgMode=\"", policy.indexReorgMode}});
    if (tempSpace.size() > 1) out.appendAll({{"\"  useSystemTempTableSpace=\"", tempSpace}});
    if (sqlpiIsNumberSet(extents)) out.appendAll({{"\" reclaimExtentsSizeForMDCTables=\"", extents}});
    if (sqlpiIsNumberSet(pages)) out.appendAll({{"\" numInxPseudoEmptyPagesForVolatileTables=\"", pages}});
    out.append("\" />\n\n");
}

}  // namespace

uint32_t sqlpiGenerateNewAutoMaintWindowPolicy(char** document, int* length,
                                               const maintenanceNewPolicy& policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiGenerateNewAutoMaintWindowPolicy");
    WorkingBuffer<SQLPI_NEW_MW_POLICY_SIZE> buffer;
    sqlpiTextBuilder& out = buffer.out;
    out.appendAll({
        {xmlDeclaration},
        {"<KELMaintenanceWindows \n"},
        {namespaceAttribute, "\n"},
        {" <!-- Online Maintenance Window  -->\n"},
        {" <OnlineWindow "},
    });
    writeWindow(out, policy.online);
    out.append(" </OnlineWindow>\n");
    if (policy.offlinePresent) {
        out.append(" <!-- Offline Maintenance Window  -->\n\n");
        out.append(" <OfflineWindow ");
        writeWindow(out, policy.offline);
        out.append(" </OfflineWindow>\n");
    }
    out.append("</KELMaintenanceWindows> \n");
    return trace.exit(buffer.handBack(document, length));
}

uint32_t sqlpiGenerateNewAutoBackupPolicy(char** document, int* length, const backupPolicy& policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiGenerateNewAutoBackupPolicy");
    WorkingBuffer<SQLPI_NEW_BACKUP_POLICY_SIZE> buffer;
    sqlpiTextBuilder& out = buffer.out;
    out.appendAll({
        {xmlDeclaration},
        {"<KELAutoBackupPolicy \n"},
        {namespaceAttribute, "\n"},
        {" <!--   Backup Options  -->\n"},
        {" <BackupOptions"},
    });
    if (policy.mode != nullptr) out.appendAll({{" mode=\"", policy.mode, "\""}});
    out.append("> \n ");
    out.append(" <BackupTarget>\n");
    writeTargets(out, policy);
    out.appendAll({
        {"  </BackupTarget>\n"},
        {" </BackupOptions>\n\n"},
        {" <!--  Frequency of automatic backups -->\n\n"},
        {" <BackupCriteria numberOfFullBackups=\"", sqlpiTextOrEmpty(policy.numberOfFullBackups)},
        {"\" timeSinceLastBackup=\"", sqlpiTextOrEmpty(policy.timeSinceLastBackup)},
        {"\" logSpaceConsumedSinceLastBackup=\"", sqlpiTextOrEmpty(policy.logSpaceConsumedSinceLastBackup), "\"/>\n\n"},
        {"</KELAutoBackupPolicy>"},
    });
    return trace.exit(buffer.handBack(document, length));
}

uint32_t sqlpiGenerateNewAutoReorgPolicy(char** document, int* length, const reorgPolicy& policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiGenerateNewAutoReorgPolicy");
    WorkingBuffer<SQLPI_NEW_REORG_POLICY_SIZE> buffer;
    sqlpiTextBuilder& out = buffer.out;
    out.appendAll({
        {xmlDeclaration},
        {"<KELAutoReorgPolicy \n"},
        {namespaceAttribute, "\n"},
        {" <ReorgOptions "},
    });
    writeReorgAttributes(out, policy);
    out.append(" <ReorgTableScope ");
    if (policy.maxOfflineReorgTableSize != nullptr)
        out.appendAll({{" maxOfflineReorgTableSize=\"", policy.maxOfflineReorgTableSize, "\""}});
    out.append(">\n");
    const std::string_view filter = sqlpiFieldText(policy.filterClause);
    if (filter.empty())
        out.append("  <FilterClause/> \n");
    else
        out.appendAll({{"  <FilterClause>", filter, "</FilterClause>\n"}});
    out.append(" </ReorgTableScope>\n");
    out.append("</KELAutoReorgPolicy>\n\n");
    return trace.exit(buffer.handBack(document, length));
}

uint32_t sqlpiGenerateNewAutoRunstatsPolicy(char** document, int* length, const runStatsPolicy& policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiGenerateNewAutoRunstatsPolicy");
    WorkingBuffer<SQLPI_NEW_RUNSTATS_POLICY_SIZE> buffer;
    sqlpiTextBuilder& out = buffer.out;
    out.appendAll({
        {xmlDeclaration, "\n"},
        {"<KELAutoRunstatsPolicy \n"},
        {namespaceAttribute},
        {" <RunstatsTableScope>\n"},
    });
    const std::string_view filter = sqlpiFieldText(policy.filterCondition);
    if (filter.empty())
        out.append("  <FilterCondition/>\n");
    else
        out.appendAll({{"  <FilterCondition>", filter, "</FilterCondition>\n"}});
    out.append(" </RunstatsTableScope>\n");
    out.append("</KELAutoRunstatsPolicy>\n\n");
    return trace.exit(buffer.handBack(document, length));
}
