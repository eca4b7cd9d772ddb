/* Reorg, runstats and statistics-profile policies: extraction from a document. */
#include "sqlpiStatsProf.h"

#include <cstring>

#include "base/sqlpiMemory.h"
#include "base/sqlpiNumber.h"
#include "base/sqlpiTrace.h"
#include "logs.h"
#include "services/sqlpiParsedTree.h"
#include "services/sqlpiTreeWalk.h"

namespace {

/* --- table filter ------------------------------------------------------------------------------------------------- */

constexpr const char* filterExtraction = "sqlpiGetAtmSensorsParsed";

/* The constant of a sensor when it is the table filter, else null. The constant is looked up under every sensor that
 * has a name: that consumes the sensor's next sibling. */
const char* filterOf(SQLPIPolicyElement& element) noexcept {
    const auto sensor = sqlpiGuardedCast<SQLPISensors>(&element);
    if (sensor.element == nullptr) {
        pdLog(PD_SEVERE, filterExtraction, sensor.threw ? 20 : 10, sensor.complaint());
        return nullptr;
    }
    if (sensor.element->text == nullptr) return nullptr;
    const char* constant = sensor.element->getConstant();
    return sqlpiIsWord(sensor.element->text, "Tables") ? constant : nullptr;
}

char* copyToPool(const char* text) noexcept {
    if (text == nullptr) return nullptr;
    const size_t size = std::strlen(text) + 1;
    void* copy = sqlpiTakeMemory(nullptr, size, "sqlpiStatsProf", __LINE__);
    return static_cast<char*>(copy == nullptr ? nullptr : std::memcpy(copy, text, size));
}

/* The last sensor decides, whatever it is; without any the filter stays. What the caller's field held is overwritten,
 * not released. */
void readTablesFilter(SQLPIPolicyElement& root, char*& tablesFilter) noexcept {
    bool isDecided = false;
    const char* filter = nullptr;
    sqlpiForEachElement(root, SQLPI_ELEMENT_SENSORS, [&](SQLPIPolicyElement& element) {
        isDecided = true;
        filter = filterOf(element);
    });
    if (isDecided) tablesFilter = copyToPool(filter);
}

/* --- reorg -------------------------------------------------------------------------------------------------------- */

constexpr const char* reorgExtraction = "sqlpiGetReorgPolicy";

/* After the first exception of a cast the walk starts again, once; after later ones it goes on with the next sensor. */
void readReorgSensors(SQLPIPolicyElement& root, int32_t& sizeLimitKB) noexcept {
    constexpr SQLPI_POL_ELEMENT_TYPE type = SQLPI_ELEMENT_TABLE_REORG_SENSORS;
    bool hasRestarted = false;
    SQLPIPolicyElement* element = root.findElement(&root, type);
    while (element != nullptr) {
        const auto sensor = sqlpiGuardedCast<SQLPISensors>(element);
        if (sensor.threw) {
            sizeLimitKB = 0;
            pdLog(PD_SEVERE, reorgExtraction, 10, sensor.complaint());
            if (!hasRestarted) {
                hasRestarted = true;
                root.resetAll();
                element = root.findElement(&root, type);
                continue;
            }
        } else if (sensor.element != nullptr && sqlpiIsWord(sensor.element->text, "ReorgSize_KB")) {
            if (const char* constant = sensor.element->getConstant()) sizeLimitKB = sqlpiToInt32(constant);
        }
        element = root.findNextElement(element, type);
    }
}

void readReorgAction(SQLPIPolicyElement& element, sqlpiReorgPolicy& policy) noexcept {
    const auto action = sqlpiGuardedCast<SQLPIReorgAction>(&element);
    if (action.threw) pdLog(PD_SEVERE, reorgExtraction, 20, action.complaint());
    if (action.element == nullptr) return;
    policy.useTempTbsp = action.element->useTempTbsp;
    policy.indexReorgMode = action.element->mode;
    policy.dictionaryOption = action.element->dictionaryOption;
    policy.reclaimExtentsSizeForMDCTables = static_cast<uint64_t>(action.element->reclaimExtentsSizeForMDCTables);
    policy.numInxPseudoEmptyPagesForVolatileTables =
        static_cast<uint64_t>(action.element->numInxPseudoEmptyPagesForVolatileTables);
}

/* --- statistics profile ------------------------------------------------------------------------------------------- */

constexpr const char* profileExtraction = "sqlpiGetStatsProfilePolicy";
constexpr const sqlpiStatsProfPolicy& defaults = SQLPI_STATS_PROF_DEFAULTS;

/* The element as an object of its class; null, and reported, when it is none. */
template <class Element>
const Element* castOrReport(SQLPIPolicyElement& element, uint32_t probe) noexcept {
    const auto result = sqlpiGuardedCast<Element>(&element);
    if (result.element == nullptr) pdLog(PD_SEVERE, profileExtraction, probe, result.complaint());
    return result.element;
}

void readMonitor(SQLPIPolicyElement& element, sqlpiStatsProfPolicy& policy) noexcept {
    const auto* monitor = castOrReport<SQLPIStatsProfMonitor>(element, 10);
    policy.maxFiles = monitor == nullptr ? defaults.maxFiles : monitor->maxFiles;
    policy.maxFileSize = monitor == nullptr ? defaults.maxFileSize : monitor->maxFileSize;
}

void readPopulation(SQLPIPolicyElement& element, sqlpiStatsProfPolicy& policy) noexcept {
    const auto* population = castOrReport<SQLPIStatsProfPopulation>(element, 20);
    policy.maxFWSize = population == nullptr ? defaults.maxFWSize : population->maxFWSize;
}

void readProfiling(SQLPIPolicyElement& element, sqlpiStatsProfPolicy& policy) noexcept {
    const auto* profiling = castOrReport<SQLPIStatsProfType>(element, 30);
    if (profiling == nullptr) {
        policy.profileType = defaults.profileType;
        policy.maxSingleTableStats = defaults.maxSingleTableStats;
        policy.maxColGroupStats = defaults.maxColGroupStats;
        policy.maxFrequentValues = defaults.maxFrequentValues;
        policy.maxProfiles = defaults.maxProfiles;
        return;
    }
    policy.maxSingleTableStats = profiling->maxSingleTableStats;
    policy.maxColGroupStats = profiling->maxColGroupStats;
    policy.maxFrequentValues = profiling->maxFrequentValues;
    policy.maxProfiles = profiling->maxProfiles;
    // No word stands for PROFILE_NOT_STATED: it comes only of the default and of a failed cast.
    if (sqlpiIsWord(profiling->profileGeneration, "SingleColumn")) policy.profileType = PROFILE_SINGLE_COLUMN;
    if (sqlpiIsWord(profiling->profileGeneration, "ColumnGroups")) policy.profileType = PROFILE_COLUMN_GROUPS;
}

void readFeedbackWarehouse(const SQLPIPolicyElement& warehouse, sqlpiStatsProfPolicy& policy) noexcept {
    sqlpiForEachChild(warehouse, [&](SQLPIPolicyElement& child) {
        if (child.elementType == SQLPI_ELEMENT_POPULATION) readPopulation(child, policy);
        if (child.elementType == SQLPI_ELEMENT_STATS_PROFILING) readProfiling(child, policy);
    });
}

}  // namespace

void sqlpiGetAtmSensorsParsed(SQLPIPolicyElement* root, sqlpiAtmSensors* sensors) noexcept {
    const sqlpiFunctionTrace trace(filterExtraction);
    if (root != nullptr && sensors != nullptr) readTablesFilter(*root, sensors->tablesFilter);
}

int32_t sqlpiGetAtmSensors(char* document, int32_t length, sqlpiAtmSensors* sensors) noexcept {
    sqlpiFunctionTrace trace("sqlpiGetAtmSensors");
    sqlpiTree root;
    const int32_t status = sqlpiParseInto(root, document, length);
    if (root != nullptr) {
        sqlpiRewind(*root);
        sqlpiGetAtmSensorsParsed(root.get(), sensors);
    }
    return trace.exit(status);
}

void sqlpiGetReorgFromParsedTree(SQLPIPolicyElement* root, sqlpiReorgPolicy* policy) noexcept {
    const sqlpiFunctionTrace trace("sqlpiGetReorgFromParsedTree");
    if (root == nullptr || policy == nullptr) return;
    sqlpiRewind(*root);
    readTablesFilter(*root, policy->tablesFilter);

    root->resetAll();
    readReorgSensors(*root, policy->reorgSizeLimitKB);

    root->resetAll();
    if (SQLPIPolicyElement* action = root->findElement(root, SQLPI_ELEMENT_TABLE_REORG))
        readReorgAction(*action, *policy);
}

int32_t sqlpiGetReorgPolicy(char* document, int32_t length, sqlpiReorgPolicy* policy) noexcept {
    sqlpiFunctionTrace trace(reorgExtraction);
    sqlpiTree root;
    const int32_t status = sqlpiParseInto(root, document, length);
    sqlpiGetReorgFromParsedTree(root.get(), policy);
    return trace.exit(status);
}

void sqlpiGetStatsProfileFromParsedTree(SQLPIPolicyElement* root, sqlpiStatsProfPolicy* policy) noexcept {
    const sqlpiFunctionTrace trace("sqlpiGetStatsProfileFromParsedTree");
    if (root == nullptr || policy == nullptr) return;
    sqlpiRewind(*root);
    readTablesFilter(*root, policy->tablesFilter);

    root->resetAll();
    const SQLPIPolicyElement* profile = root->findElement(root, SQLPI_ELEMENT_STATS_PROFILE);
    if (profile == nullptr) return;
    sqlpiForEachChild(*profile, [&](SQLPIPolicyElement& child) {
        if (child.elementType == SQLPI_ELEMENT_MONITOR) readMonitor(child, *policy);
        if (child.elementType == SQLPI_ELEMENT_FEEDBACK_WAREHOUSE) readFeedbackWarehouse(child, *policy);
    });
}

int32_t sqlpiGetStatsProfilePolicy(char* document, int32_t length, sqlpiStatsProfPolicy* policy) noexcept {
    sqlpiFunctionTrace trace(profileExtraction);
    sqlpiTree root;
    const int32_t status = sqlpiParseInto(root, document, length);
    sqlpiGetStatsProfileFromParsedTree(root.get(), policy);
    return trace.exit(status);
}
