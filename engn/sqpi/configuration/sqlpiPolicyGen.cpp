/* Policy-language documents: one template for each kind of policy, with the record's texts in between. The documents
 * are what the engine has stored and read all along, so their blanks, comments and odd names stay as they are. */
#include "configuration/sqlpiPolicyGen.h"

#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "configuration/sqlpiRecordTexts.h"

namespace {

constexpr std::string_view xmlDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?> \n";

uint32_t finish(const sqlpiTextBuilder& out, char* output) noexcept {
    if (!out.wasCut()) return SQLPI_CONFIG_OK;
    output[0] = '\0';
    return SQLPI_CONFIG_FAILED;
}

/* --- maintenance windows ------------------------------------------------------------------------------------------ */

void writeWindow(sqlpiTextBuilder& out, std::string_view windowType, const maintenanceOldWindow& window) noexcept {
    const bool isOutside = sqlpiFieldText(window.occurrence) == "Outside";
    out.appendAll({
        {"               <Precondition policyElementId=\"", windowType, "_mw\">  \n"},
        {isOutside ? "<Not>\n" : ""},
        {"                 <kel:MaintenanceWindowCondition timeZone=\"local\" windowType=\"", windowType, "\"> \n"},
        {"                       <DayOfWeekMask>", sqlpiFieldText(window.dayOfWeekMask), "</DayOfWeekMask> \n"},
        {"                       <MonthOfYearMask>", sqlpiFieldText(window.monthOfYearMask), "</MonthOfYearMask> \n"},
        {"                       <DayOfMonthMask>", sqlpiFieldText(window.dayOfMonthMask), "</DayOfMonthMask> \n"},
        {"                       <TimeOfDayMask>", sqlpiFieldText(window.timeRange), "</TimeOfDayMask>\n"},
        {"                 </kel:MaintenanceWindowCondition> \n"},
        {isOutside ? "</Not>\n" : ""},
        {"             </Precondition> \n"},
    });
}

/* --- backup ------------------------------------------------------------------------------------------------------- */

void writeTargets(sqlpiTextBuilder& out, const backupPolicy& policy) noexcept {
    const std::string_view path = sqlpiFieldText(policy.path);
    const std::string_view sessions = sqlpiTextOrEmpty(policy.numberOfSessions);
    if (policy.diskTarget) {
        out.append(" <kel:DiskBackupTarget>\n");
        if (!path.empty() && !policy.useDefaultPath) out.appendAll({{" <kel:Pathname>", path, "</kel:Pathname>\n"}});
        out.append(" </kel:DiskBackupTarget>\n");
    }
    if (policy.tapeTarget)
        out.appendAll({
            {" <kel:TapeBackupTarget>\n"},
            {" <kel:Pathname>", path, "</kel:Pathname>\n"},
            {" </kel:TapeBackupTarget>\n"},
        });
    if (policy.vendorTarget)
        out.appendAll({
            {" <kel:VendorLibBackupTarget>\n"},
            {" <kel:libFilename>", path, "</kel:libFilename>\n"},
            {" <kel:libOptions>", sqlpiTextOrEmpty(policy.libOptions), "</kel:libOptions>\n"},
            {" </kel:VendorLibBackupTarget>\n"},
        });
    if (policy.vltTarget)
        out.appendAll({
            {" <kel:VLTBackupTarget> \n"},
            {" <kel:numberOfSessions>", sessions, " </kel:numberOfSessions> \n"},
            {" </kel:VLTBackupTarget> \n"},
        });
    if (policy.xbsaTarget)
        out.appendAll({
            {" <kel:XBSABackupTarget> \n"},
            {" <kel:numberOfSessions> ", sessions, " </kel:numberOfSessions> "},
            {" </kel:XBSABackupTarget> \n"},
        });
}

}  // namespace

uint32_t sqlpiGenerateOldMWPolicy(const maintenanceOldPolicy& policy, char* output) noexcept {
    sqlpiFunctionTrace trace("sqlpiGenerateOldMWPolicy");
    sqlpiTextBuilder out(output, SQLPI_OLD_MW_POLICY_SIZE);
    out.appendAll({
        {xmlDeclaration},
        {"        <PolicyDocument xmlns:kel=\"" SQLPI_POLICY_NAMESPACE "\" \n"},
        {"        xmlns=\"" SQLPI_POLICYLANG_NAMESPACE "\"   \n"},
        {"         xmlns:xsi=\"" SQLPI_SCHEMA_INSTANCE_NAMESPACE "\" \n"},
        {"         xsi:schemaLocation=\"" SQLPI_POLICY_NAMESPACE
         " ../schema/KELTableMaintenanceMED.xsd\" medScope=\"DefaultMaintWindow\"> \n"},
        {"           <PreconditionSection name=\"CommonMaintWindowPolicySection\"> \n"},
    });
    writeWindow(out, "online", policy.online);
    if (policy.offlinePresent) writeWindow(out, "offline", policy.offline);
    out.appendAll({
        {"           </PreconditionSection> \n"},
        {"           <PolicySection name=\"f\"/> \n"},
        {"      </PolicyDocument> \n"},
    });
    return trace.exit(finish(out, output));
}

uint32_t sqlpiGenerateOldBackupPolicy(const backupPolicy& policy, char* output) noexcept {
    sqlpiFunctionTrace trace("sqlpiGenerateOldBackupPolicy");
    sqlpiTextBuilder out(output, SQLPI_OLD_BACKUP_POLICY_SIZE);
    out.appendAll({
        {xmlDeclaration},
        {" <PolicyDocument xmlns=\"" SQLPI_POLICYLANG_NAMESPACE "\" \n"},
        {"  xmlns:kel=\"" SQLPI_POLICY_NAMESPACE "\" \n"},
        {" xmlns:xsi=\"" SQLPI_SCHEMA_INSTANCE_NAMESPACE "\" \n"},
        {"  medScope=\"KELDatabaseRecoveryMED.xsd\"\n"},
        {"  xsi:schemaLocation=\"" SQLPI_POLICY_NAMESPACE " ../schema/KELDatabaseRecoveryMED.xsd\" >\n"},
        {" <!-- Policies for unsolicited DB Backup actions -->\n"},
        {" <PolicySection name=\"DefaultDBBackupDecision\">\n"},
        {" <AC_Policy policyElementId=\"DefaultBackup\" policyEnabled=\"true\" >\n"},
        {" <Scope>KEL_Database_Recovery</Scope>\n"},
        {" <Precondition>\n"},
        {" <Or>\n"},
        {" <LessThan>\n"},
        {" <kel:DBBackupSensors>Number_Full_DB_Backups</kel:DBBackupSensors>\n"},
        {" <Constant>", sqlpiTextOrEmpty(policy.numberOfFullBackups), "</Constant>\n"},
        {" </LessThan>\n"},
        {" <GreaterThanOrEqual>\n"},
        {" <kel:DBBackupSensors>Elapsed_Time_Since_Last_DB_Backup</kel:DBBackupSensors>\n"},
        {"  <Constant>", sqlpiTextOrEmpty(policy.timeSinceLastBackup), "</Constant>\n"},
        {" </GreaterThanOrEqual>\n"},
        {" <GreaterThanOrEqual>\n"},
        {" <kel:DBBackupSensors>Log_Consumed_Since_Last_DB_Backup</kel:DBBackupSensors>\n"},
        {"  <Constant>", sqlpiTextOrEmpty(policy.logSpaceConsumedSinceLastBackup), "</Constant>\n"},
        {" </GreaterThanOrEqual>\n"},
        {" </Or>\n"},
        {" </Precondition>\n"},
        {" <Decision type=\"action\">\n"},
        {" <kel:DBBackup mode=\"", sqlpiTextOrEmpty(policy.mode) == "Online" ? "online" : "offline", "\" >\n"},
    });
    writeTargets(out, policy);
    out.appendAll({
        {" </kel:DBBackup>\n"},
        {" </Decision>\n"},
        {"  <BusinessValue>1</BusinessValue>\n"},
        {" <Description> \n "},
        {" Default policy for automated backups. Need to ensure there's a backup available\n"},
        {" if any of the following conditions are true:\n"},
        {" no full backup exists\n"},
        {" time since last backup is greater than a week\n"},
        {" log consumed is more than 6400 * 4KB bytes\n"},
        {"AND it's currently within the offline maint window of 9pm-8am every day.\n"},
        {" Business Value of 1 means highest priority.\n"},
        {" </Description>\n"},
        {" </AC_Policy>\n"},
        {" </PolicySection>\n"},
        {"</PolicyDocument>\n"},
    });
    return trace.exit(finish(out, output));
}

uint32_t sqlpiGenerateOldReorgPolicy(const reorgPolicy& policy, char* output) noexcept {
    sqlpiFunctionTrace trace("sqlpiGenerateOldReorgPolicy");
    sqlpiTextBuilder out(output, SQLPI_OLD_REORG_POLICY_SIZE);
    // The default namespace is broken in the middle of a word; stored policies have it so.
    constexpr std::string_view policyLanguage = SQLPI_POLICYLANG_NAMESPACE;
    constexpr std::string_view behindTheBreak = "nomic/policylang";
    static_assert(policyLanguage.ends_with(behindTheBreak));
    const char* const sizeLimit = policy.maxOfflineReorgTableSize == nullptr ? "0" : policy.maxOfflineReorgTableSize;
    out.appendAll({
        {xmlDeclaration},
        {"<PolicyDocument xmlns:kel=\"" SQLPI_POLICY_NAMESPACE "\" xmlns=\""},
        {policyLanguage.substr(0, policyLanguage.size() - behindTheBreak.size()), " \n"},
        {"  ", behindTheBreak,
         "\" xmlns:xsi=\"" SQLPI_SCHEMA_INSTANCE_NAMESPACE "\" xsi:schemaLocation=\"" SQLPI_POLICY_NAMESPACE " \n"},
        {"  ../schema/KELTableMaintenanceMED.xsd\" medScope=\"k\">\n"},
        {"    <PolicySection name=\"TableReorgDecision\">\n"},
        {"             <AC_Policy policyElementId=\"FinanceTablesReorg\" policyEnabled=\"true\">\n"},
        {"                  <Scope>KEL_Database_Table_Maintenance</Scope>\n"},
        {"                  <Precondition>\n"},
        {"                        <And>\n"},
        {"                          <Equals>\n"},
        {"                              <kel:TableReorgSensors>ReorgChk_Flag</kel:TableReorgSensors>\n"},
        {"                             <Constant>true</Constant>\n"},
        {"                          </Equals>\n"},
        {"            <LessThan>\n"},
        {"                <kel:TableReorgSensors>ReorgSize_KB</kel:TableReorgSensors>\n"},
        {"               <Constant>", sizeLimit, "</Constant>\n"},
        {"             </LessThan>\n"},
        {"                                  <Equals>\n"},
        {"                                           <kel:Sensors>Tables</kel:Sensors>\n"},
        {"                                      <Constant>", sqlpiFieldText(policy.filterClause), "</Constant>\n"},
        {"                                  </Equals>\n"},
        {"                          </And>\n"},
        {"                    </Precondition>\n"},
        {"                    <Decision type=\"action\">\n"},
        {"       <kel:TableReorg useTempTbsp=\"", sqlpiTextOrEmpty(policy.useSystemTempTableSpace)},
        {"\" mode=\"", sqlpiTextOrEmpty(policy.indexReorgMode) == "Online" ? "write" : "read"},
        {"\" dictionaryOption=\"", sqlpiTextOrEmpty(policy.dictionaryOption) == "Keep" ? "keep" : "rebuild"},
    });
    const char* const extents = policy.reclaimExtentsSizeForMDCTables;
    const char* const pages = policy.numInxPseudoEmptyPagesForVolatileTables;
    if (sqlpiIsNumberSet(extents)) out.appendAll({{"\" reclaimExtentsSizeForMDCTables=\"", extents}});
    if (sqlpiIsNumberSet(pages)) out.appendAll({{"\" numInxPseudoEmptyPagesForVolatileTables=\"", pages}});
    out.appendAll({
        {"\"></kel:TableReorg>\n"},
        {"</Decision>\n"},
        {"                     <BusinessValue>3</BusinessValue>\n"},
        {"                    <Description>\n"},
        {"Default policy for auto table reorg, in which all user tables are to be maintained automatically.\n"},
        {"       </Description>\n"},
        {"               </AC_Policy>\n"},
        {"         </PolicySection>\n"},
        {"</PolicyDocument>\n"},
    });
    return trace.exit(finish(out, output));
}

uint32_t sqlpiGenerateOldRunsatsPolicy(const runStatsPolicy& policy, char* output) noexcept {
    sqlpiFunctionTrace trace("sqlpiGenerateOldRunsatsPolicy");
    sqlpiTextBuilder out(output, SQLPI_OLD_RUNSTATS_POLICY_SIZE);
    out.appendAll({
        {xmlDeclaration},
        {"<PolicyDocument xmlns:kel=\"" SQLPI_POLICY_NAMESPACE "\" \n"},
        {"   xmlns=\"" SQLPI_POLICYLANG_NAMESPACE "\" \n"},
        {"   xmlns:xsi=\"" SQLPI_SCHEMA_INSTANCE_NAMESPACE "\" \n"},
        {"   xsi:schemaLocation=\"" SQLPI_POLICY_NAMESPACE " ../schema/KELTableMaintenanceMED.xsd\" medScope=\"f\">\n"},
        {"  <!-- Policies for unsolicited Table Maintenance goals -->\n"},
        {"          <PolicySection name=\"TableRunstatsDecision\">\n"},
        {"                          <AC_Policy policyElementId=\"HRTablesRunstats\" policyEnabled=\"true\">\n"},
        {"                       <Scope>KEL_Database_Table_Maintenance</Scope>\n"},
        {"               <Precondition>\n"},
        {"                      <Equals>\n"},
        {"                  <kel:Sensors>Tables</kel:Sensors>\n"},
        {"<Constant>", sqlpiFieldText(policy.filterCondition), "</Constant>\n"},
        {"                      </Equals>\n"},
        {"               </Precondition>\n"},
        {"               <Decision type=\"goal\">\n"},
        {"                               <GoalConstraint>\n"},
        {"                               <Equals>\n"},
        {"                                       <kel:TableRunstatsGoalConstraintSensors>TableStatisticsCurrencyFlag"
         "</kel:TableRunstatsGoalConstraintSensors>\n"},
        {"                               <Constant>true</Constant>\n"},
        {"                              </Equals>\n"},
        {"                       </GoalConstraint>\n"},
        {"               </Decision>\n"},
        {"                   <BusinessValue>2</BusinessValue>\n"},
        {"                   <Description>\n"},
        {"                    Default policy for auto table runstats, in which all user tables are to be maintained "
         "automatically.\n"},
        {"                </Description>\n"},
        {"    </AC_Policy>\n"},
        {"  </PolicySection>\n"},
        {"</PolicyDocument>\n"},
    });
    return trace.exit(finish(out, output));
}
