/* Reorg, runstats and statistics-profile policies: what a document makes of the records, and what it leaves. */
#include "sqlpiStatsProf.h"

#include <functional>

#include "services/sqlpiParsedTree.h"
#include "sqlpiPolicyCommonParser.h"
#include "unit/servicesSupport.h"

namespace {

using services::LogRecord;

const LogRecord castError = {PD_SEVERE, "Dynamic cast error"};

std::string show(const char* text) {
    return text == nullptr ? "null" : "\"" + std::string(text) + "\"";
}

std::string sensor(const std::string& name, const std::string& constant, const std::string& element = "kel:Sensors") {
    return "<StringEquals><" + element + ">" + name + "</" + element + "><Constant>" + constant +
           "</Constant></StringEquals>";
}

/* Takes what a service left in a record's filter. The text the test preset is not from the pool. */
char presetFilter[] = "preset";
std::string takeFilter(char*& filter) {
    const std::string shown = show(filter);
    if (filter != presetFilter) sqlofmblkEx(filter, "test", 0);
    filter = nullptr;
    return shown;
}

class StatsProfDocument : public services::DocumentTest {};

/* --- table filter ------------------------------------------------------------------------------------------------- */

struct FilterCase {
    const char* name;
    std::string body;
    std::string filter;
};

const std::vector<FilterCase>& filterCases() {
    static const std::vector<FilterCase> cases = {
        {"no sensor leaves the filter", "<Equals><Constant>X</Constant></Equals>", "\"preset\""},
        {"sensors of other kinds leave the filter", sensor("Tables", "X", "kel:TableReorgSensors"), "\"preset\""},
        {"a filter", sensor("Tables", "WHERE NAME LIKE 'T%'"), "\"WHERE NAME LIKE 'T%'\""},
        {"a filter keeps its blanks", sensor("Tables", "  a \n b "), "\"  a \n b \""},
        {"a filter with entities", sensor("Tables", "a &lt; b &amp; c"), "\"a < b & c\""},
        {"a filter in UTF-8", sensor("Tables", "\xC3\xA4\xE2\x82\xAC"), "\"\xC3\xA4\xE2\x82\xAC\""},
        {"a filter of 100000 bytes", sensor("Tables", std::string(100000, 'f')),
         "\"" + std::string(100000, 'f') + "\""},
        {"deep inside", "<PolicySection><AC_Policy>" + sensor("Tables", "X") + "</AC_Policy></PolicySection>", "\"X\""},
        {"no constant", "<StringEquals><kel:Sensors>Tables</kel:Sensors></StringEquals>", "null"},
        {"an empty constant", sensor("Tables", ""), "null"},
        {"a constant before the sensor",
         "<StringEquals><Constant>X</Constant><kel:Sensors>Tables</kel:Sensors></StringEquals>", "null"},
        {"no name", "<StringEquals><kel:Sensors/><Constant>X</Constant></StringEquals>", "null"},
        {"another name", sensor("Indexes", "X"), "null"},
        {"another case", sensor("tables", "X"), "null"},
        {"blanks around the name", sensor(" Tables", "X"), "null"},
        {"the last of two", sensor("Tables", "X") + sensor("Tables", "Y"), "\"Y\""},
        {"a later sensor of another name drops the filter", sensor("Tables", "X") + sensor("Indexes", "Y"), "null"},
        {"a later sensor without a constant drops the filter",
         sensor("Tables", "X") + "<StringEquals><kel:Sensors>Tables</kel:Sensors></StringEquals>", "null"},
        {"an earlier sensor of another name", sensor("Indexes", "Y") + sensor("Tables", "X"), "\"X\""},
        {"looking for the constant consumes the next sensor",
         "<Or><kel:Sensors>Tables</kel:Sensors><kel:Sensors>Tables</kel:Sensors><Constant>X</Constant></Or>", "null"},
        {"a sensor of another name consumes too",
         "<Or><kel:Sensors>Indexes</kel:Sensors><kel:Sensors>Tables</kel:Sensors><Constant>X</Constant></Or>", "null"},
        {"a sensor without a name consumes nothing",
         "<Or><kel:Sensors/><kel:Sensors>Tables</kel:Sensors><Constant>X</Constant></Or>", "\"X\""},
    };
    return cases;
}

TEST_F(StatsProfDocument, tableFilterIsTheLastSensors) {
    for (const FilterCase& one : filterCases()) {
        SCOPED_TRACE(one.name);
        std::string document = services::document(one.body);
        const auto length = static_cast<int32_t>(document.size());

        sqlpiAtmSensors sensors = {presetFilter};
        EXPECT_EQ(sqlpiGetAtmSensors(document.data(), length, &sensors), 0);
        EXPECT_EQ(takeFilter(sensors.tablesFilter), one.filter);

        sqlpiReorgPolicy reorg = {presetFilter, 1, 2, 3, 4, 5, 6};
        EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), length, &reorg), 0);
        EXPECT_EQ(takeFilter(reorg.tablesFilter), one.filter);

        sqlpiStatsProfPolicy profile = SQLPI_STATS_PROF_DEFAULTS;
        profile.tablesFilter = presetFilter;
        EXPECT_EQ(sqlpiGetStatsProfilePolicy(document.data(), length, &profile), 0);
        EXPECT_EQ(takeFilter(profile.tablesFilter), one.filter);
        EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
    }
}

TEST_F(StatsProfDocument, isNotReadIntoARecordThatIsNull) {
    std::string document = services::document(
        sensor("Tables", "X") + "<kel:TableReorg/><kel:StatsProfile><kel:Monitor maxFiles='1'/></kel:StatsProfile>");
    const auto length = static_cast<int32_t>(document.size());
    EXPECT_EQ(sqlpiGetAtmSensors(document.data(), length, nullptr), 0);
    EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), length, nullptr), 0);
    EXPECT_EQ(sqlpiGetStatsProfilePolicy(document.data(), length, nullptr), 0);
    EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), 10, nullptr), SQLPI_PARSE_ERROR);
}

TEST_F(StatsProfDocument, tableFilterOfAParsedTree) {
    sqlpiAtmSensors sensors = {presetFilter};
    sqlpiGetAtmSensorsParsed(nullptr, &sensors);
    EXPECT_EQ(sensors.tablesFilter, presetFilter);

    const Tree tree = services::emptyTree();
    addChild<SQLPISensors>(tree.get(), SQLPI_ELEMENT_SENSORS, "Tables");
    addChild<SQLPIConst>(tree.get(), SQLPI_ELEMENT_CONSTANT, "X");
    sqlpiGetAtmSensorsParsed(tree.get(), &sensors);
    EXPECT_EQ(takeFilter(sensors.tablesFilter), "\"X\"");

    sensors.tablesFilter = presetFilter;
    sqlpiGetAtmSensorsParsed(tree.get(), &sensors);
    EXPECT_EQ(takeFilter(sensors.tablesFilter), "\"preset\"") << "the search goes on where the cursors stand";
}

TEST_F(StatsProfDocument, tableFilterReportsElementsOfAnotherClass) {
    for (const bool wrongIsLast : {true, false}) {
        SCOPED_TRACE(wrongIsLast);
        const Tree tree = services::emptyTree();
        const auto addWrong = [&tree] {
            addChild<SQLPITables>(tree.get(), SQLPI_ELEMENT_SENSORS, "Tables");
            addChild<SQLPIConst>(tree.get(), SQLPI_ELEMENT_CONSTANT, "wrong");
        };
        if (!wrongIsLast) addWrong();
        addChild<SQLPISensors>(tree.get(), SQLPI_ELEMENT_SENSORS, "Tables");
        addChild<SQLPIConst>(tree.get(), SQLPI_ELEMENT_CONSTANT, "X");
        if (wrongIsLast) addWrong();
        sqlpiAtmSensors sensors = {presetFilter};
        sqlpiGetAtmSensorsParsed(tree.get(), &sensors);
        EXPECT_EQ(takeFilter(sensors.tablesFilter), wrongIsLast ? "null" : "\"X\"");
        EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{castError});
    }
}

TEST_F(StatsProfDocument, withoutATreeTheParsersStatusIsAllThatComesBack) {
    struct Case {
        const char* name;
        std::string document;
        int32_t status;
    };
    for (const Case& one : {
             Case{"empty", "", SQLPI_PARSE_OK},
             Case{"unclosed", "<PolicyDocument>" + sensor("Tables", "X"), SQLPI_PARSE_ERROR},
             Case{"another document element", "<Policy>" + sensor("Tables", "X") + "</Policy>", SQLPI_PARSE_ERROR},
         }) {
        SCOPED_TRACE(one.name);
        std::string document = one.document;
        const auto length = static_cast<int32_t>(document.size());
        sqlpiAtmSensors sensors = {presetFilter};
        EXPECT_EQ(sqlpiGetAtmSensors(document.data(), length, &sensors), one.status);
        EXPECT_EQ(sensors.tablesFilter, presetFilter);
        sqlpiReorgPolicy reorg = {presetFilter, 1, 2, 3, 4, 5, 6};
        EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), length, &reorg), one.status);
        EXPECT_EQ(reorg.tablesFilter, presetFilter);
        EXPECT_EQ(reorg.reorgSizeLimitKB, 1);
        sqlpiStatsProfPolicy profile = {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8};
        EXPECT_EQ(sqlpiGetStatsProfilePolicy(document.data(), length, &profile), one.status);
        EXPECT_EQ(profile.tablesFilter, presetFilter);
        EXPECT_EQ(profile.profileType, 8);
    }
    sqlpiGetReorgFromParsedTree(nullptr, nullptr);
    sqlpiGetStatsProfileFromParsedTree(nullptr, nullptr);
}

/* --- reorg -------------------------------------------------------------------------------------------------------- */

std::string describe(const sqlpiReorgPolicy& policy) {
    return "filter " + show(policy.tablesFilter) + ", limit " + std::to_string(policy.reorgSizeLimitKB) + ", temp " +
           std::to_string(policy.useTempTbsp) + ", mode " + std::to_string(policy.indexReorgMode) + ", dictionary " +
           std::to_string(policy.dictionaryOption) + ", extents " +
           std::to_string(policy.reclaimExtentsSizeForMDCTables) + ", pages " +
           std::to_string(policy.numInxPseudoEmptyPagesForVolatileTables);
}

struct ReorgCase {
    const char* name;
    std::string body;
    std::function<void(sqlpiReorgPolicy&)> change;
};

std::string sizeSensor(const std::string& constant) {
    return sensor("ReorgSize_KB", constant, "kel:TableReorgSensors");
}

TEST_F(StatsProfDocument, reorg) {
    const auto nothing = [](sqlpiReorgPolicy&) {};
    const auto limit = [](int32_t value) { return [value](sqlpiReorgPolicy& r) { r.reorgSizeLimitKB = value; }; };
    const auto action = [](int32_t temp, int32_t mode, int32_t dictionary, uint64_t extents, uint64_t pages) {
        return [=](sqlpiReorgPolicy& r) {
            r.useTempTbsp = temp;
            r.indexReorgMode = mode;
            r.dictionaryOption = dictionary;
            r.reclaimExtentsSizeForMDCTables = extents;
            r.numInxPseudoEmptyPagesForVolatileTables = pages;
        };
    };
    const std::vector<ReorgCase> cases = {
        {"nothing said", "", nothing},
        {"size limit", sizeSensor("2048"), limit(2048)},
        {"the last size limit wins", sizeSensor("2048") + "<Or>" + sizeSensor("4096") + "</Or>", limit(4096)},
        {"a size limit that is no number", sizeSensor("big"), limit(0)},
        {"a size limit beyond 32 bits", sizeSensor("4294967296"), limit(INT32_MAX)},
        {"a size limit without a constant", sizeSensor(""), nothing},
        {"a size limit with the constant in front",
         "<Less><Constant>5</Constant><kel:TableReorgSensors>ReorgSize_KB</kel:TableReorgSensors></Less>", nothing},
        {"another sensor", sensor("TableReorgChk_Flag", "1", "kel:TableReorgSensors"), nothing},
        {"another case", sensor("ReorgSize_kb", "1", "kel:TableReorgSensors"), nothing},
        {"a sensor without a name", sensor("", "1", "kel:TableReorgSensors"), nothing},
        {"another sensor consumes nothing",
         "<Or><kel:TableReorgSensors>TableReorgChk_Flag</kel:TableReorgSensors>"
         "<kel:TableReorgSensors>ReorgSize_KB</kel:TableReorgSensors><Constant>5</Constant></Or>",
         limit(5)},
        {"looking for the constant consumes the next sensor",
         "<Or><kel:TableReorgSensors>ReorgSize_KB</kel:TableReorgSensors>"
         "<kel:TableReorgSensors>ReorgSize_KB</kel:TableReorgSensors><Constant>5</Constant></Or>",
         nothing},
        {"action without attributes", "<kel:TableReorg/>", action(0, 0, 0, 0, 0)},
        {"action with all attributes",
         "<kel:TableReorg useTempTbsp='true' mode='write' dictionaryOption='rebuild' "
         "reclaimExtentsSizeForMDCTables='8589934592' numInxPseudoEmptyPagesForVolatileTables='7'/>",
         action(1, 1, 1, 8589934592U, 7)},
        {"write, and keep", "<kel:TableReorg mode='write' dictionaryOption='keep'/>", action(0, 1, 0, 0, 0)},
        {"read, and rebuild", "<kel:TableReorg mode='read' dictionaryOption='rebuild'/>", action(0, 0, 1, 0, 0)},
        {"action with the other words", "<kel:TableReorg useTempTbsp='false' mode='read' dictionaryOption='keep'/>",
         action(0, 0, 0, 0, 0)},
        {"a negative number is kept bit for bit", "<kel:TableReorg reclaimExtentsSizeForMDCTables='-1'/>",
         action(0, 0, 0, UINT64_MAX, 0)},
        {"only the first action",
         "<Decision><kel:TableReorg useTempTbsp='true'/></Decision><kel:TableReorg mode='write'/>",
         action(1, 0, 0, 0, 0)},
        {"an action inside a size limit's element",
         "<Less><kel:TableReorgSensors>ReorgSize_KB</kel:TableReorgSensors><Constant>5</Constant>"
         "<kel:TableReorg useTempTbsp='true'/></Less>",
         [&](sqlpiReorgPolicy& r) {
             limit(5)(r);
             action(1, 0, 0, 0, 0)(r);
         }},
    };
    for (const ReorgCase& one : cases) {
        SCOPED_TRACE(one.name);
        sqlpiReorgPolicy policy = {presetFilter, 1, 2, 3, 4, 5, 6};
        sqlpiReorgPolicy expected = policy;
        one.change(expected);
        std::string document = services::document(one.body);
        EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), static_cast<int32_t>(document.size()), &policy), 0);
        EXPECT_EQ(describe(policy), describe(expected));
        EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
    }
}

/* The services start their searches anew, whoever has searched the tree before. */
TEST_F(StatsProfDocument, treesAreSearchedFromTheirStart) {
    const Tree tree = parseTree(services::document(sensor("Tables", "X") + sizeSensor("5") +
                                                   "<kel:TableReorg mode='write'/><kel:StatsProfile><kel:Monitor "
                                                   "maxFiles='30'/></kel:StatsProfile>"));
    for (int round = 0; round < 2; ++round) {
        while (tree->findElement(tree.get(), SQLPI_ELEMENT_SENSORS) != nullptr) {
        }
        sqlpiReorgPolicy reorg = {};
        sqlpiGetReorgFromParsedTree(tree.get(), &reorg);
        EXPECT_EQ(takeFilter(reorg.tablesFilter), "\"X\"");
        EXPECT_EQ(reorg.reorgSizeLimitKB, 5);
        EXPECT_EQ(reorg.indexReorgMode, 1);
        sqlpiStatsProfPolicy profile = {};
        sqlpiGetStatsProfileFromParsedTree(tree.get(), &profile);
        EXPECT_EQ(takeFilter(profile.tablesFilter), "\"X\"");
        EXPECT_EQ(profile.maxFiles, 30);
    }
}

/* Of a document inside another the inner one is the policy; what stands around it is not looked at. */
TEST_F(StatsProfDocument, readsTheInnerDocumentOnly) {
    const auto content = [](const std::string& number) {
        return sensor("Tables", number) + sizeSensor(number) + "<kel:TableReorg reclaimExtentsSizeForMDCTables='" +
               number + "'/>";
    };
    std::string document =
        services::document(content("1") + "<PolicyDocument>" + content("2") + "</PolicyDocument>" + content("3"));
    const auto length = static_cast<int32_t>(document.size());
    sqlpiReorgPolicy reorg = {};
    EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), length, &reorg), 0);
    EXPECT_EQ(takeFilter(reorg.tablesFilter), "\"2\"");
    EXPECT_EQ(reorg.reorgSizeLimitKB, 2);
    EXPECT_EQ(reorg.reclaimExtentsSizeForMDCTables, 2U);
    sqlpiAtmSensors sensors = {};
    EXPECT_EQ(sqlpiGetAtmSensors(document.data(), length, &sensors), 0);
    EXPECT_EQ(takeFilter(sensors.tablesFilter), "\"2\"");
    sqlpiStatsProfPolicy profile = {};
    EXPECT_EQ(sqlpiGetStatsProfilePolicy(document.data(), length, &profile), 0);
    EXPECT_EQ(takeFilter(profile.tablesFilter), "\"2\"");
}

TEST_F(StatsProfDocument, reorgSkipsElementsOfAnotherClassSilently) {
    const Tree tree = services::emptyTree();
    addChild<SQLPIMode>(tree.get(), SQLPI_ELEMENT_TABLE_REORG_SENSORS, "ReorgSize_KB");
    addChild<SQLPIConst>(tree.get(), SQLPI_ELEMENT_CONSTANT, "9");
    auto* action = addChild<SQLPIMode>(tree.get(), SQLPI_ELEMENT_TABLE_REORG);
    addChild<SQLPIReorgAction>(action, SQLPI_ELEMENT_TABLE_REORG);
    sqlpiReorgPolicy policy = {presetFilter, 1, 2, 3, 4, 5, 6};
    const sqlpiReorgPolicy untouched = policy;
    sqlpiGetReorgFromParsedTree(tree.get(), &policy);
    EXPECT_EQ(describe(policy), describe(untouched));
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
}

/* --- statistics profile ------------------------------------------------------------------------------------------- */

std::string describe(const sqlpiStatsProfPolicy& policy) {
    return "filter " + show(policy.tablesFilter) + ", files " + std::to_string(policy.maxFiles) + ", file size " +
           std::to_string(policy.maxFileSize) + ", warehouse " + std::to_string(policy.maxFWSize) + ", single " +
           std::to_string(policy.maxSingleTableStats) + ", groups " + std::to_string(policy.maxColGroupStats) +
           ", frequent " + std::to_string(policy.maxFrequentValues) + ", profiles " +
           std::to_string(policy.maxProfiles) + ", type " + std::to_string(policy.profileType);
}

struct ProfileCase {
    const char* name;
    std::string body;
    sqlpiStatsProfPolicy expected;
};

std::string warehouse(const std::string& content) {
    return "<kel:StatsProfile><kel:FeedbackWarehouse>" + content + "</kel:FeedbackWarehouse></kel:StatsProfile>";
}

TEST_F(StatsProfDocument, statisticsProfile) {
    // filter, files, file size, warehouse, single, groups, frequent, profiles, type
    const std::vector<ProfileCase> cases = {
        {"nothing said", "", {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"an empty action", "<kel:StatsProfile/>", {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"monitor",
         "<kel:StatsProfile><kel:Monitor maxFiles='30' maxFileSize='40'/></kel:StatsProfile>",
         {presetFilter, 30, 40, 3, 4, 5, 6, 7, 8}},
        {"monitor without attributes",
         "<kel:StatsProfile><kel:Monitor/></kel:StatsProfile>",
         {presetFilter, 20, 128, 3, 4, 5, 6, 7, 8}},
        {"the last monitor wins",
         "<kel:StatsProfile><kel:Monitor maxFiles='30'/><kel:Monitor maxFiles='31'/></kel:StatsProfile>",
         {presetFilter, 31, 128, 3, 4, 5, 6, 7, 8}},
        {"monitor outside the action", "<kel:Monitor maxFiles='30'/>", {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"monitor inside the warehouse",
         warehouse("<kel:Monitor maxFiles='30'/>"),
         {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"monitor deeper",
         "<kel:StatsProfile><Set><kel:Monitor maxFiles='30'/></Set></kel:StatsProfile>",
         {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"population", warehouse("<kel:Population maxFWSize='33'/>"), {presetFilter, 1, 2, 33, 4, 5, 6, 7, 8}},
        {"population without attributes", warehouse("<kel:Population/>"), {presetFilter, 1, 2, 20, 4, 5, 6, 7, 8}},
        {"population outside the warehouse",
         "<kel:StatsProfile><kel:Population maxFWSize='33'/></kel:StatsProfile>",
         {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"profiling",
         warehouse("<kel:StatsProfiling maxSingleTableStats='44' maxColGroupStats='55' maxFrequentValues='66' "
                   "maxProfiles='77' profileGeneration='SingleColumn'/>"),
         {presetFilter, 1, 2, 3, 44, 55, 66, 77, 0}},
        {"profiling without attributes",
         warehouse("<kel:StatsProfiling/>"),
         {presetFilter, 1, 2, 3, 50, 50, 20, 20, 8}},
        {"profiling outside the warehouse",
         "<kel:StatsProfile><kel:StatsProfiling profileGeneration='ColumnGroups'/></kel:StatsProfile>",
         {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"column groups",
         warehouse("<kel:StatsProfiling profileGeneration='ColumnGroups'/>"),
         {presetFilter, 1, 2, 3, 50, 50, 20, 20, 1}},
        {"any other generation keeps the type",
         warehouse("<kel:StatsProfiling profileGeneration='ALL'/>"),
         {presetFilter, 1, 2, 3, 50, 50, 20, 20, 8}},
        {"another case keeps the type",
         warehouse("<kel:StatsProfiling profileGeneration='singlecolumn'/>"),
         {presetFilter, 1, 2, 3, 50, 50, 20, 20, 8}},
        {"an empty generation keeps the type",
         warehouse("<kel:StatsProfiling profileGeneration=''/>"),
         {presetFilter, 1, 2, 3, 50, 50, 20, 20, 8}},
        {"all of it, in any order",
         "<kel:StatsProfile><kel:FeedbackWarehouse><kel:StatsProfiling maxProfiles='77'/><Description/>"
         "<kel:Population maxFWSize='33'/></kel:FeedbackWarehouse><Description/><kel:Monitor maxFiles='30'/>"
         "</kel:StatsProfile>",
         {presetFilter, 30, 128, 33, 50, 50, 20, 77, 8}},
        {"only the first action",
         "<Decision><kel:StatsProfile><kel:Monitor maxFiles='30'/></kel:StatsProfile></Decision>" +
             warehouse("<kel:Population/>"),
         {presetFilter, 30, 128, 3, 4, 5, 6, 7, 8}},
    };
    for (const ProfileCase& one : cases) {
        SCOPED_TRACE(one.name);
        sqlpiStatsProfPolicy policy = {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8};
        std::string document = services::document(one.body);
        EXPECT_EQ(sqlpiGetStatsProfilePolicy(document.data(), static_cast<int32_t>(document.size()), &policy), 0);
        EXPECT_EQ(describe(policy), describe(one.expected));
        EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
    }
}

TEST_F(StatsProfDocument, statisticsProfileReportsElementsOfAnotherClass) {
    const Tree tree = services::emptyTree();
    auto* action = addChild<SQLPIStatsProfAction>(tree.get(), SQLPI_ELEMENT_STATS_PROFILE);
    addChild<SQLPIMode>(action, SQLPI_ELEMENT_MONITOR);
    auto* warehouse = addChild<SQLPIStatsProfFeedbackWh>(action, SQLPI_ELEMENT_FEEDBACK_WAREHOUSE);
    addChild<SQLPIMode>(warehouse, SQLPI_ELEMENT_POPULATION);
    addChild<SQLPIMode>(warehouse, SQLPI_ELEMENT_STATS_PROFILING);
    sqlpiStatsProfPolicy policy = {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8};
    sqlpiGetStatsProfileFromParsedTree(tree.get(), &policy);
    EXPECT_EQ(describe(policy), describe(sqlpiStatsProfPolicy{presetFilter, 20, 128, 20, 50, 50, 20, 20, 2}));
    EXPECT_EQ(takeDiagnosticLog(), (std::vector<LogRecord>{castError, castError, castError}));
}

TEST_F(StatsProfDocument, profilingWithoutAGenerationKeepsTheType) {
    const Tree tree = services::emptyTree();
    auto* action = addChild<SQLPIStatsProfAction>(tree.get(), SQLPI_ELEMENT_STATS_PROFILE);
    auto* warehouse = addChild<SQLPIStatsProfFeedbackWh>(action, SQLPI_ELEMENT_FEEDBACK_WAREHOUSE);
    auto* profiling = addChild<SQLPIStatsProfType>(warehouse, SQLPI_ELEMENT_STATS_PROFILING);
    sqlofmblkEx(profiling->profileGeneration, "test", 0);
    profiling->profileGeneration = nullptr;
    sqlpiStatsProfPolicy policy = {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8};
    sqlpiGetStatsProfileFromParsedTree(tree.get(), &policy);
    EXPECT_EQ(describe(policy), describe(sqlpiStatsProfPolicy{presetFilter, 1, 2, 3, 50, 50, 20, 20, 8}));
}

}  // namespace
