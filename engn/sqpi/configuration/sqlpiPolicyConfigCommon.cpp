/* Automatic-maintenance procedures: what getting and setting have to do, whoever asks. */
#include "sqlpiPolicyConfig.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "base/sqlpiMemory.h"
#include "base/sqlpiReport.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "configuration/sqlpiPolicyConfigCommon.h"
#include "configuration/sqlpiPolicyConfigSql.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiPolicyPackage.h"
#include "configuration/sqlpiPolicyRead.h"
#include "configuration/sqlpiPolicyValidate.h"
#include "configuration/sqlpiRecordTexts.h"
#include "logs.h"
#include "messages.h"
#include "services/sqlpiParsedTree.h"
#include "services/sqlpiPolicyKeys.h"
#include "services/sqlpiPolicyTable.h"
#include "services/sqlpiTreeWalk.h"
#include "sqlpiFormat.h"
#include "windows/sqlpiWindowReading.h"

namespace {

constexpr const char* tag = "sqlpiPolicyConfig";
constexpr const char* setRoutine = "AUTOMAINT_SET_POLICY";

constexpr size_t statementSize = 1200;
constexpr size_t descriptionSize = 4096;

/* A configuration document in the making: what it is made of, where it goes, who is told why there is none. */
struct Extraction {
    char* stored;
    int32_t storedLength;
    char** document;
    int* length;
    sqlca& ca;
};

template <class Record, class Engine>
struct Conversion {
    uint32_t (*fill)(const Engine*, Record*) noexcept;
    uint32_t (*generate)(char**, int*, const Record&) noexcept;

    /* Fills a configuration record and writes its document. */
    uint32_t write(const Engine& engine, char** document, int* length) const noexcept {
        const auto record = sqlpiMakePlain<sqlpiReleasedRecord<Record>>();
        if (record == nullptr || fill(&engine, record.get()) != SQLPI_CONFIG_OK) return SQLPI_CONFIG_FAILED;
        return generate(document, length, *record);
    }
};
template <class Record, class Engine>
Conversion(uint32_t (*)(const Engine*, Record*) noexcept, uint32_t (*)(char**, int*, const Record&) noexcept)
    -> Conversion<Record, Engine>;

/* The same for a policy with a table filter, the one text that may not fit: `what` it is called in a document of less
 * than `size` bytes. */
template <class Record, class Engine>
uint32_t writeWithFilter(const Conversion<Record, Engine>& conversion, Engine engine, const char* what, size_t size,
                         const Extraction& to) noexcept {
    const sqlpiMemoryWatch watch;
    if (conversion.write(engine, to.document, to.length) == SQLPI_CONFIG_OK) return SQLPI_CONFIG_OK;
    if (watch.sawShortage()) return SQLPI_CONFIG_FAILED;
    const size_t filterLength = sqlpiTextOrEmpty(engine.tablesFilter).size();
    char shortest[] = "f";
    engine.tablesFilter = shortest;
    char* document = nullptr;
    int length = 0;
    if (conversion.write(engine, &document, &length) != SQLPI_CONFIG_OK) return SQLPI_CONFIG_FAILED;
    sqlofmblkEx(document, tag, __LINE__);
    sqlpiRefuseLongText("sqlpiExtractPolicyDoc", what, size - static_cast<size_t>(length), filterLength, to.ca,
                        SQLPI_UNUSABLE_DOCUMENT);
    return SQLPI_CONFIG_FAILED;
}

/* A table filter as the engine's records hold it. */
struct Filter {
    char*& text;
    ~Filter() {
        if (text != nullptr) sqlofmblkEx(text, "sqlpiStatsProf", 0);
    }
};

uint32_t extractWindows(const Extraction& to) noexcept {
    constexpr Conversion conversion = {sqlpiFillAutoMaintWindowValues, sqlpiGenerateNewAutoMaintWindowPolicy};
    sqlpiMaintWindow engine;
    sqlpiSetMaintWindowDefaults(&engine);
    if (sqlpiGetMaintWindowPolicy(to.stored, to.storedLength, &engine) != 0) return SQLPI_CONFIG_FAILED;
    return conversion.write(engine, to.document, to.length);
}

uint32_t extractBackup(const Extraction& to) noexcept {
    constexpr Conversion conversion = {sqlpiFillAutoBackupValues, sqlpiGenerateNewAutoBackupPolicy};
    // sqlpiGetBackupPolicy would not tell that a document cannot be read.
    sqlpiTree root;
    if (sqlpiParseInto(root, to.stored, to.storedLength) != 0) return SQLPI_CONFIG_FAILED;
    sqlpiBackupPolicy engine = {};
    sqlpiGetBackupFromParsedTree(root.get(), &engine);
    return conversion.write(engine, to.document, to.length);
}

uint32_t extractReorg(const Extraction& to) noexcept {
    constexpr Conversion conversion = {sqlpiFillAutoReorgValues, sqlpiGenerateNewAutoReorgPolicy};
    sqlpiReorgPolicy engine = {};
    const Filter filter{engine.tablesFilter};
    if (sqlpiGetReorgPolicy(to.stored, to.storedLength, &engine) != 0) return SQLPI_CONFIG_FAILED;
    return writeWithFilter(conversion, engine, "filter clause", SQLPI_NEW_REORG_POLICY_SIZE, to);
}

uint32_t extractRunstats(const Extraction& to) noexcept {
    constexpr Conversion conversion = {sqlpiFillAutoRunstatsValues, sqlpiGenerateNewAutoRunstatsPolicy};
    sqlpiRunStatsPolicy engine = {};
    const Filter filter{engine.tablesFilter};
    if (sqlpiGetAtmSensors(to.stored, to.storedLength, &engine) != 0) return SQLPI_CONFIG_FAILED;
    return writeWithFilter(conversion, engine, "filter condition", SQLPI_NEW_RUNSTATS_POLICY_SIZE, to);
}

struct PolicyType {
    const char* name;
    const sqlpiPolicyKey& key;
    uint32_t (*extract)(const Extraction& to) noexcept;
};
constexpr PolicyType policyTypes[] = {
    {"MAINTENANCE_WINDOW", SQLPI_MAINT_WINDOW_KEY, extractWindows},
    {"AUTO_BACKUP", SQLPI_BACKUP_KEY, extractBackup},
    {"AUTO_REORG", SQLPI_REORG_KEY, extractReorg},
    {"AUTO_RUNSTATS", SQLPI_RUNSTATS_KEY, extractRunstats},
};

const PolicyType* findType(const char* name) noexcept {
    const auto* const found =
        std::find_if(std::begin(policyTypes), std::end(policyTypes),
                     [name](const PolicyType& type) { return type.name == sqlpiTextOrEmpty(name); });
    return found == std::end(policyTypes) ? nullptr : found;
}

bool checkTableAndPackage(const char* function, bool create, sqlca& ca) noexcept {
    if (sqlpiCheckPolicyTable(create, ca) != 0) {
        pdLog(PD_ERROR, function, 10, "The Policy Table verification error.");
        return false;
    }
    pdLog(PD_INFO, function, 15, "Policy table verification compeleted");
    if (sqlpiCheckPolicyPkgBind(ca) == 0) return true;
    pdLog(PD_ERROR, function, 20, "The Policy package bind error.");
    return false;
}

void logOutcome(const char* function, const char* prefix, const sqlca& ca) noexcept {
    if (ca.sqlcode == 0) return;
    char message[1024];
    sqlaintp_api(message, sizeof message, 0, SQL_MESSAGE_FILE, &ca);
    pdLogPrintf(PD_ERROR, function, 90, "%s error, sqlcode is %d \n sql error message is  %s", prefix, ca.sqlcode,
                message);
}

template <size_t Size>
void formatStatement(char (&statement)[Size], const char* head, const sqlpiPolicyKey& key) noexcept {
    sqlpiTextBuilder(statement, Size)
        .append(head)
        .appendFormat(" WHERE MED = '%s' AND DECISION = '%s' AND NAME = '%s' ", key.med, key.decision, key.name);
}

/* Tells the administrators how the policy read before and after. */
void reportChange(const char* policyType, const char* before, const char* after) noexcept {
    const sqlpiBlock record = sqlpiTakeBlock(2 * descriptionSize + 64, tag);
    if (record == nullptr) return;
    constexpr std::string_view separator("\xFF", 1);
    sqlpiTextBuilder text(record.get(), 2 * descriptionSize + 64);
    text.append(policyType).append(separator).append(before).append(separator).append(after);
    sqlt_logadmin(SQLT_ADMIN_POLICY_CHANGED, PD_INFO, "sqlpiAutomaintSetPolicySpCommon", 70, record.get(),
                  text.length());
}

/* The change itself, from the description before to the one after. */
uint32_t storePolicy(const PolicyType& type, std::string_view policy, sqlca& ca) noexcept {
    constexpr const char* function = "sqlpiAutomaintSetPolicySpCommon";
    const sqlpiBlock before = sqlpiTakeBlock(descriptionSize, tag);
    const sqlpiBlock after = sqlpiTakeBlock(descriptionSize, tag);
    if (before == nullptr || after == nullptr) {
        sqlpiReportNoMemory(ca, function, 45, "AutoMaintSetPolicy: Allocation of output buffer failed \n");
        return SQLPI_CONFIG_FAILED;
    }
    if (sqpiGetPolicyOldFormatString(type.name, before.get(), descriptionSize, ca) != SQLPI_CONFIG_OK)
        return SQLPI_CONFIG_FAILED;

    char statement[statementSize];
    formatStatement(statement, "UPDATE SYSTOOLS.POLICY SET UPDATE_TIME=CURRENT TIMESTAMP, POLICY = ?", type.key);
    if (sqlpiPreparePolicyUpdate(statement, ca) != 0) {
        pdLog(PD_ERROR, function, 50, "update statement prepare failed \n");
        return SQLPI_CONFIG_FAILED;
    }
    if (sqlpiExecutePolicyUpdate(policy.data(), policy.size(), ca) != 0) {
        pdLog(PD_ERROR, function, 60, "update statement execute failed \n");
        return SQLPI_CONFIG_FAILED;
    }
    if (sqpiGetPolicyOldFormatString(type.name, after.get(), descriptionSize, ca) != SQLPI_CONFIG_OK)
        return SQLPI_CONFIG_FAILED;
    reportChange(type.name, before.get(), after.get());
    return SQLPI_CONFIG_OK;
}

uint32_t setPolicy(const char* policyType, std::string_view document, sqlca& ca) noexcept {
    constexpr const char* function = "sqlpiAutomaintSetPolicySpCommon";
    if (document.data() == nullptr) {
        pdLog(PD_ERROR, function, 5, "The input Policy document is null.");
        sqlpiPrepSqlca(ca, SQLPI_BAD_ARGUMENT, nullptr, {"2", setRoutine});
        return SQLPI_CONFIG_FAILED;
    }
    if (!checkTableAndPackage(function, true, ca)) return SQLPI_CONFIG_FAILED;

    const sqlpiBlock policy = sqlpiTakeBlock(SQLPI_OLD_POLICY_SIZE, tag);
    if (policy == nullptr) {
        sqlpiReportNoMemory(ca, function, 30, "AutoMaintSetPolicy: Allocation of output buffer failed \n");
        return SQLPI_CONFIG_FAILED;
    }
    std::memset(policy.get(), 0, SQLPI_OLD_POLICY_SIZE);
    const uint32_t validated = sqlpiValidateAutomaintPolicy(policyType, document, policy.get(), ca);
    const PolicyType* type = findType(policyType);
    if (validated != SQLPI_CONFIG_OK || type == nullptr) {
        pdLog(PD_ERROR, function, 40, "AutoMaintSetPolicy,Policy document validation error \n");
        return SQLPI_CONFIG_FAILED;
    }
    return storePolicy(*type, policy.get(), ca);
}

uint32_t getPolicy(const char* policyType, char** document, int* length, sqlca& ca) noexcept {
    constexpr const char* function = "sqlpiAutomaintGetPolicySpCommon";
    if (!checkTableAndPackage(function, false, ca)) return SQLPI_CONFIG_FAILED;
    char* text = nullptr;
    int textLength = 0;
    const uint32_t status = sqlpiReadPolicyFromTable(policyType, &text, &textLength, ca);
    const sqlpiBlock stored(text, sqlpiFreeBlock{tag});
    if (status != SQLPI_CONFIG_OK) return SQLPI_CONFIG_FAILED;
    if (textLength == 0) {
        pdLog(PD_ERROR, function, 30, "The stored policy is empty.");
        sqlpiPrepSqlca(ca, SQLPI_UNUSABLE_DOCUMENT, nullptr, {SQLPI_NO_TEXT});
        return SQLPI_CONFIG_FAILED;
    }
    if (sqlpiExtractPolicyDoc(policyType, stored.get(), textLength, document, length, ca) == SQLPI_CONFIG_OK)
        return SQLPI_CONFIG_OK;
    pdLog(PD_ERROR, function, 40, "AutoMaintSetPolicy,Policy document retrival error \n");
    return SQLPI_CONFIG_FAILED;
}

}  // namespace

bool sqlpiIsPolicyType(const char* policyType) noexcept {
    return findType(policyType) != nullptr;
}

uint32_t sqlpiReadPolicyFromTable(const char* policyType, char** text, int* length, sqlca& ca) noexcept {
    sqlpiFunctionTrace trace("sqlpiReadPolicyFromTable");
    *text = nullptr;
    *length = 0;
    const PolicyType* type = findType(policyType);
    if (type == nullptr) return trace.exit(SQLPI_CONFIG_FAILED);
    char statement[statementSize];
    formatStatement(statement, "SELECT POLICY FROM SYSTOOLS.POLICY", type->key);
    sqlpiBlock bytes(nullptr, sqlpiFreeBlock{tag});
    int32_t found = 0;
    if (sqlpiRunPolicySelect(statement, bytes, found, ca) != 0) return trace.exit(SQLPI_CONFIG_FAILED);
    *length = found;
    *text = bytes.release();
    return trace.exit(SQLPI_CONFIG_OK);
}

uint32_t sqlpiExtractPolicyDoc(const char* policyType, char* stored, int length, char** document, int* documentLength,
                               sqlca& ca) noexcept {
    constexpr const char* function = "sqlpiExtractPolicyDoc";
    sqlpiFunctionTrace trace(function);
    *document = nullptr;
    *documentLength = 0;
    const PolicyType* type = findType(policyType);
    if (type == nullptr) {
        sqlpiPrepSqlca(ca, SQLPI_UNUSABLE_DOCUMENT, nullptr, {});
        return trace.exit(SQLPI_CONFIG_FAILED);
    }
    const sqlpiMemoryWatch watch;
    const uint32_t status = type->extract({stored, length, document, documentLength, ca});
    if (watch.sawShortage()) {
        // What the stored policy says may have been left out.
        sqlofmblkEx(*document, tag, __LINE__);
        *document = nullptr;
        *documentLength = 0;
        sqlpiReportNoMemory(ca, function, 10);
        return trace.exit(SQLPI_CONFIG_FAILED);
    }
    if (status != SQLPI_CONFIG_OK && ca.sqlcode == 0)  // the parser has logged why
        sqlpiPrepSqlca(ca, SQLPI_UNUSABLE_DOCUMENT, nullptr, {SQLPI_NOT_PARSED});
    return trace.exit(status);
}

uint32_t sqpiGetPolicyOldFormatString(const char* policyType, char* buffer, int32_t capacity, sqlca& ca) noexcept {
    constexpr const char* function = "sqpiGetPolicyOldFormatString";
    sqlpiFunctionTrace trace(function);
    const PolicyType* type = findType(policyType);
    if (type != nullptr && sqpiGetPolicyFormatString(buffer, capacity, type->key.name) == SQLPI_FORMAT_OK)
        return trace.exit(SQLPI_CONFIG_OK);
    pdLogPrintf(PD_ERROR, function, 10, "Unable to obtain policy format message. Type %s is unknown ", policyType);
    if (ca.sqlcode == 0) sqlpiPrepSqlca(ca, SQLPI_BAD_ARGUMENT, nullptr, {"1", setRoutine});
    return trace.exit(SQLPI_CONFIG_FAILED);
}

uint32_t sqlpiAutomaintGetPolicySpCommon(const char* policyType, char** document, int* length, const sqludf_dbinfo*,
                                         sqlca& ca) noexcept {
    constexpr const char* function = "sqlpiAutomaintGetPolicySpCommon";
    sqlpiFunctionTrace trace(function);
    *document = nullptr;
    *length = 0;
    const uint32_t status = getPolicy(policyType, document, length, ca);
    logOutcome(function, "AutoMaintGetPolicy", ca);
    return trace.exit(status);
}

uint32_t sqlpiAutomaintSetPolicySpCommon(const char* policyType, std::string_view document, const sqludf_dbinfo*,
                                         sqlca& ca) noexcept {
    constexpr const char* function = "sqlpiAutomaintSetPolicySpCommon";
    sqlpiFunctionTrace trace(function);
    const uint32_t status = setPolicy(policyType, document, ca);
    logOutcome(function, "AutoMaintSetPolicy", ca);
    return trace.exit(status);
}
