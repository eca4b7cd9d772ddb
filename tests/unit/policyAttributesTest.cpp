/* Typed attributes of actions and conditions, their defaults, and the constant that goes with a sensor. */
#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

#include "attributes.h"
#include "balance.h"
#include "document/sqlpiXmlPlatform.h"
#include "model/sqlpiPolicyCatalogue.h"
#include "trees.h"

namespace {

class PolicyAttributes : public BalancedTest {
protected:
    PolicyAttributes() { sqlpiHoldXmlPlatform(); }  // values are transcoded also where nothing was parsed yet

    /* The one element inside a document, as an object of its class. */
    template <class Element>
    Element& only(const std::string& element) {
        tree_ = parseTree("<PolicyDocument>" + element + "</PolicyDocument>");
        auto* object =
            dynamic_cast<Element*>(static_cast<SQLPIPolicyElement*>(tree_->children->getFirstElement()->data));
        EXPECT_NE(object, nullptr);
        return *object;
    }

private:
    Tree tree_;
};

TEST_F(PolicyAttributes, BackupMode) {
    const struct {
        const char* attributes;
        int32_t mode;
    } cases[] = {
        {"", 2},        {"mode='online'", 0},  {"mode='offline'", 1}, {"mode='Online'", 2},       {"mode='Offline'", 2},
        {"mode=''", 2}, {"mode=' online'", 2}, {"Mode='online'", 2},  {"windowType='offline'", 2}};
    for (const auto& c : cases)
        EXPECT_EQ(only<SQLPIBackupAction>("<kel:DBBackup " + std::string(c.attributes) + "/>").mode, c.mode)
            << c.attributes;
}

TEST_F(PolicyAttributes, ReorgDefaults) {
    const auto& action = only<SQLPIReorgAction>("<kel:TableReorg/>");
    EXPECT_EQ(action.useTempTbsp, 0);
    EXPECT_EQ(action.mode, 0);
    EXPECT_EQ(action.dictionaryOption, 0);
    EXPECT_EQ(action.reclaimExtentsSizeForMDCTables, 0);
    EXPECT_EQ(action.numInxPseudoEmptyPagesForVolatileTables, 0);
}

TEST_F(PolicyAttributes, ReorgWords) {
    const struct {
        const char* attributes;
        int32_t useTempTbsp, mode, dictionaryOption;
    } cases[] = {{"useTempTbsp='true'", 1, 0, 0},
                 {"useTempTbsp='false'", 0, 0, 0},
                 {"useTempTbsp='True'", 0, 0, 0},
                 {"useTempTbsp='1'", 0, 0, 0},
                 {"mode='write'", 0, 1, 0},
                 {"mode='read'", 0, 0, 0},
                 {"mode='online'", 0, 0, 0},
                 {"dictionaryOption='rebuild'", 0, 0, 1},
                 {"dictionaryOption='keep'", 0, 0, 0},
                 {"dictionaryOption='Rebuild'", 0, 0, 0},
                 {"useTempTbsp='true' mode='write' dictionaryOption='rebuild' unknown='x'", 1, 1, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.attributes);
        const auto& action = only<SQLPIReorgAction>("<kel:TableReorg " + std::string(c.attributes) + "/>");
        EXPECT_EQ(action.useTempTbsp, c.useTempTbsp);
        EXPECT_EQ(action.mode, c.mode);
        EXPECT_EQ(action.dictionaryOption, c.dictionaryOption);
    }
}

/* What reads as a number, and as which. */
const struct NumberCase {
    const char* text;
    int64_t value;
} numberCases[] = {{"7", 7},
                   {"", 0},
                   {"abc", 0},
                   {"12abc", 12},
                   {" \t\n\v\f\r 12", 12},
                   {"+5", 5},
                   {"-5", -5},
                   {"+-5", 0},
                   {"- 5", 0},
                   {"0x10", 0},
                   {"007", 7},
                   {"1.9", 1},
                   {"2147483647", 2147483647},
                   {"-2147483648", -2147483648LL}};

TEST_F(PolicyAttributes, NumbersReadAsFarAsTheyGo) {
    SQLPIReorgAction reorg;
    SQLPIStatsProfMonitor monitor;
    SQLPIStatsProfPopulation population;
    SQLPIStatsProfType profile;
    const struct {
        SQLPIPolicyElement& element;
        SQLPI_POL_ATTRIBUTE_TYPE type;
        const int32_t& field;
    } narrow[] = {{monitor, SQLPI_ATTRIBUTE_MAX_FILES, monitor.maxFiles},
                  {monitor, SQLPI_ATTRIBUTE_MAX_FILE_SIZE, monitor.maxFileSize},
                  {population, SQLPI_ATTRIBUTE_MAX_FW_SIZE, population.maxFWSize},
                  {profile, SQLPI_ATTRIBUTE_MAX_SINGLE_TABLE_STATS, profile.maxSingleTableStats},
                  {profile, SQLPI_ATTRIBUTE_MAX_COL_GROUP_STATS, profile.maxColGroupStats},
                  {profile, SQLPI_ATTRIBUTE_MAX_FREQUENT_VALUES, profile.maxFrequentValues},
                  {profile, SQLPI_ATTRIBUTE_MAX_PROFILES, profile.maxProfiles}};
    const struct {
        SQLPI_POL_ATTRIBUTE_TYPE type;
        const int64_t& field;
    } wide[] = {{SQLPI_ATTRIBUTE_RECLAIM_EXTENTS_SIZE, reorg.reclaimExtentsSizeForMDCTables},
                {SQLPI_ATTRIBUTE_NUM_INX_PSEUDO_EMPTY_PAGES, reorg.numInxPseudoEmptyPagesForVolatileTables}};
    for (const NumberCase& c : numberCases) {
        std::string text = c.text;
        for (const auto& [element, type, field] : narrow) {
            element.parseAttribute(type, text.data());
            EXPECT_EQ(field, c.value) << sqlpiAttributeName(type) << " from \"" << text << "\"";
        }
        for (const auto& [type, field] : wide) {
            reorg.parseAttribute(type, text.data());
            EXPECT_EQ(field, c.value) << sqlpiAttributeName(type) << " from \"" << text << "\"";
        }
    }
    for (const auto& [element, type, field] : narrow) {
        char most[] = "2147483648";
        char least[] = "-2147483649";
        element.parseAttribute(type, most);
        EXPECT_EQ(field, INT32_MAX) << sqlpiAttributeName(type);
        element.parseAttribute(type, least);
        EXPECT_EQ(field, INT32_MIN) << sqlpiAttributeName(type);
    }
}

/* Every field of the six classes, in order of their addresses. */
struct AllFields {
    SQLPIBackupAction backup;
    SQLPIReorgAction reorg;
    SQLPIStatsProfMonitor monitor;
    SQLPIStatsProfPopulation population;
    SQLPIStatsProfType profile;
    SQLPIMaintenanceWindowCondition window;

    std::vector<std::string> of(const SQLPIPolicyElement* element) const {
        const auto text = [](auto... fields) { return std::vector<std::string>{std::to_string(fields)...}; };
        if (element == &backup) return text(backup.mode);
        if (element == &reorg)
            return text(reorg.useTempTbsp, reorg.mode, reorg.dictionaryOption, reorg.reclaimExtentsSizeForMDCTables,
                        reorg.numInxPseudoEmptyPagesForVolatileTables);
        if (element == &monitor) return text(monitor.maxFiles, monitor.maxFileSize);
        if (element == &population) return text(population.maxFWSize);
        if (element == &window) return text(window.maintWindowType);
        auto fields =
            text(profile.maxColGroupStats, profile.maxSingleTableStats, profile.maxFrequentValues, profile.maxProfiles);
        fields.emplace_back(profile.profileGeneration);
        return fields;
    }
};

TEST_F(PolicyAttributes, AnAttributeChangesItsFieldAndNoOther) {
    using Element = SQLPIPolicyElement*;
    const struct {
        const char* name;
        Element (*elementOf)(AllFields&);
        uint32_t type;
        size_t field; /* its place among the fields */
        const char* value;
        const char* becomes;
    } listed[] = {
        {"backup", [](AllFields& f) -> Element { return &f.backup; }, 9, 0, "offline", "1"},
        {"reorg", [](AllFields& f) -> Element { return &f.reorg; }, 12, 0, "true", "1"},
        {"reorg", [](AllFields& f) -> Element { return &f.reorg; }, 9, 1, "write", "1"},
        {"reorg", [](AllFields& f) -> Element { return &f.reorg; }, 13, 2, "rebuild", "1"},
        {"reorg", [](AllFields& f) -> Element { return &f.reorg; }, 14, 3, "77", "77"},
        {"reorg", [](AllFields& f) -> Element { return &f.reorg; }, 15, 4, "77", "77"},
        {"monitor", [](AllFields& f) -> Element { return &f.monitor; }, 1, 0, "77", "77"},
        {"monitor", [](AllFields& f) -> Element { return &f.monitor; }, 2, 1, "77", "77"},
        {"population", [](AllFields& f) -> Element { return &f.population; }, 3, 0, "77", "77"},
        {"profile", [](AllFields& f) -> Element { return &f.profile; }, 5, 0, "77", "77"},
        {"profile", [](AllFields& f) -> Element { return &f.profile; }, 4, 1, "77", "77"},
        {"profile", [](AllFields& f) -> Element { return &f.profile; }, 6, 2, "77", "77"},
        {"profile", [](AllFields& f) -> Element { return &f.profile; }, 7, 3, "77", "77"},
        {"profile", [](AllFields& f) -> Element { return &f.profile; }, 8, 4, "offline", "offline"},
        {"window", [](AllFields& f) -> Element { return &f.window; }, 10, 0, "offline", "1"},
    };
    const std::vector<std::string> words = {"offline", "online",  "write", "read", "true",
                                            "false",   "rebuild", "keep",  "77",   ""};
    for (const auto& element : listed)
        for (uint32_t type = 0; type < SQLPI_ATTRIBUTE_TYPES; ++type)
            for (std::string word : words) {
                SCOPED_TRACE(std::string(element.name) + ", type " + std::to_string(type) + ", " + word);
                AllFields fields;
                const Element object = element.elementOf(fields);
                const auto before = fields.of(object);
                object->parseAttribute(static_cast<SQLPI_POL_ATTRIBUTE_TYPE>(type), word.data());
                const auto after = fields.of(object);
                for (size_t field = 0; field < before.size(); ++field) {
                    bool mayChange = false;
                    for (const auto& entry : listed) {
                        const bool isMeant =
                            std::string_view(entry.name) == element.name && entry.type == type && entry.field == field;
                        mayChange = mayChange || isMeant;
                        if (isMeant && word == entry.value) {
                            EXPECT_EQ(after[field], entry.becomes);
                        }
                    }
                    if (!mayChange) {
                        EXPECT_EQ(after[field], before[field]) << "field " << field;
                    }
                }
            }
}

TEST_F(PolicyAttributes, FieldsStandInTheirOrder) {
    AllFields f;
    const SQLPIListElement node;
    const SQLPIList list;
    const SQLPIString string;
    const std::vector<std::vector<const void*>> orders = {
        {&node.previous, &node.next, &node.data, &node.length},
        {&list.first, &list.last, &list.current},
        {&f.backup.parent, &f.backup.children, &f.backup.elementType, &f.backup.text},
        {&string.data, &string.length},
        {&f.reorg.useTempTbsp, &f.reorg.mode, &f.reorg.dictionaryOption, &f.reorg.reclaimExtentsSizeForMDCTables,
         &f.reorg.numInxPseudoEmptyPagesForVolatileTables},
        {&f.monitor.maxFiles, &f.monitor.maxFileSize},
        {&f.profile.maxColGroupStats, &f.profile.maxSingleTableStats, &f.profile.maxFrequentValues,
         &f.profile.maxProfiles, &f.profile.profileGeneration},
    };
    for (const auto& order : orders)
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end(), std::less<>())) << "record " << &order - orders.data();
}

TEST_F(PolicyAttributes, ValuesOutsideAsciiArriveWhole) {
    for (const char* character : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"})
        for (const size_t times : {1U, 2U, 3U, 41U, 42U, 43U, 84U, 85U, 86U, 1000U}) {
            std::string text;
            for (size_t i = 0; i < times; ++i) text += character;
            EXPECT_EQ(
                only<SQLPIStatsProfType>("<kel:StatsProfiling profileGeneration='" + text + "'/>").profileGeneration,
                text)
                << times;
        }
}

TEST_F(PolicyAttributes, WideFieldsKeepWideNumbersAndNoNumberOverflows) {
    const auto& reorg = only<SQLPIReorgAction>(
        "<kel:TableReorg reclaimExtentsSizeForMDCTables='4294967297' "
        "numInxPseudoEmptyPagesForVolatileTables='9223372036854775807'/>");
    EXPECT_EQ(reorg.reclaimExtentsSizeForMDCTables, 4294967297);
    EXPECT_EQ(reorg.numInxPseudoEmptyPagesForVolatileTables, INT64_MAX);
    const auto& past = only<SQLPIReorgAction>(
        "<kel:TableReorg reclaimExtentsSizeForMDCTables='99999999999999999999' "
        "numInxPseudoEmptyPagesForVolatileTables='-99999999999999999999'/>");
    EXPECT_EQ(past.reclaimExtentsSizeForMDCTables, INT64_MAX);
    EXPECT_EQ(past.numInxPseudoEmptyPagesForVolatileTables, INT64_MIN);
    const auto& narrow = only<SQLPIStatsProfMonitor>("<kel:Monitor maxFiles='2147483648' maxFileSize='-2147483649'/>");
    EXPECT_EQ(narrow.maxFiles, INT32_MAX);
    EXPECT_EQ(narrow.maxFileSize, INT32_MIN);
}

TEST_F(PolicyAttributes, Monitor) {
    const auto& defaults = only<SQLPIStatsProfMonitor>("<kel:Monitor/>");
    EXPECT_EQ(defaults.maxFiles, 20);
    EXPECT_EQ(defaults.maxFileSize, 128);
    const auto& set = only<SQLPIStatsProfMonitor>("<kel:Monitor maxFiles='31xyz' maxFileSize='' maxFWSize='9'/>");
    EXPECT_EQ(set.maxFiles, 31);
    EXPECT_EQ(set.maxFileSize, 0);
}

TEST_F(PolicyAttributes, Population) {
    EXPECT_EQ(only<SQLPIStatsProfPopulation>("<kel:Population/>").maxFWSize, 20);
    EXPECT_EQ(only<SQLPIStatsProfPopulation>("<kel:Population maxFWSize='9' maxFiles='4'/>").maxFWSize, 9);
}

TEST_F(PolicyAttributes, StatsProfiling) {
    const auto& defaults = only<SQLPIStatsProfType>("<kel:StatsProfiling/>");
    EXPECT_EQ(defaults.maxColGroupStats, 50);
    EXPECT_EQ(defaults.maxSingleTableStats, 50);
    EXPECT_EQ(defaults.maxFrequentValues, 20);
    EXPECT_EQ(defaults.maxProfiles, 20);
    EXPECT_STREQ(defaults.profileGeneration, "ALL");
    const auto& set = only<SQLPIStatsProfType>(
        "<kel:StatsProfiling maxColGroupStats='1' maxSingleTableStats='2' "
        "maxFrequentValues='3' maxProfiles='4' profileGeneration='Caf\xC3\xA9'/>");
    EXPECT_EQ(set.maxColGroupStats, 1);
    EXPECT_EQ(set.maxSingleTableStats, 2);
    EXPECT_EQ(set.maxFrequentValues, 3);
    EXPECT_EQ(set.maxProfiles, 4);
    EXPECT_STREQ(set.profileGeneration, "Caf\xC3\xA9") << "UTF-8 whatever the locale";
    EXPECT_STREQ(only<SQLPIStatsProfType>("<kel:StatsProfiling profileGeneration=''/>").profileGeneration, "");
    const std::string longText(5000, 'p');
    EXPECT_EQ(only<SQLPIStatsProfType>("<kel:StatsProfiling profileGeneration='" + longText + "'/>").profileGeneration,
              longText);
}

TEST_F(PolicyAttributes, ProfileGenerationIsACopyThatIsReplaced) {
    SQLPIStatsProfType element;
    std::string text = "first";
    element.setProfileGen(text.c_str());
    text = "other";
    EXPECT_STREQ(element.profileGeneration, "first");
    element.setProfileGen(nullptr);
    EXPECT_STREQ(element.profileGeneration, "first");
    element.setProfileGen("second");
    EXPECT_STREQ(element.profileGeneration, "second");
}

TEST_F(PolicyAttributes, ProfileGenerationHasOneBlockThatItFills) {
    const auto held = [] {
        const kelhost::MemoryCounts counts = kelhost::memoryInUse()["sqlpiStatsProf"];
        return std::pair(counts.blocks, counts.bytes);
    };
    using Held = std::pair<int64_t, int64_t>;
    {
        SQLPIStatsProfType element;
        EXPECT_EQ(held(), Held(1, 4)) << "\"ALL\" and its terminator";
        for (const char* text : {"SYNTAX", "", "a longer text"}) {
            element.setProfileGen(text);
            EXPECT_EQ(held(), Held(1, std::strlen(text) + 1)) << text;
        }
    }
    EXPECT_EQ(held(), Held(0, 0));
}

TEST_F(PolicyAttributes, MaintenanceWindowType) {
    const struct {
        const char* attributes;
        int32_t type;
    } cases[] = {{"", 0},
                 {"windowType='online'", 0},
                 {"windowType='offline'", 1},
                 {"windowType='Offline'", 0},
                 {"mode='offline'", 0}};
    for (const auto& c : cases)
        EXPECT_EQ(only<SQLPIMaintenanceWindowCondition>("<kel:MaintenanceWindowCondition timeZone='local' " +
                                                        std::string(c.attributes) + "/>")
                      .maintWindowType,
                  c.type)
            << c.attributes;
}

TEST_F(PolicyAttributes, AnEarlierValueStandsWhenALaterOneIsNoWord) {
    SQLPIBackupAction action;
    char offline[] = "offline";
    char other[] = "neither";
    action.parseAttribute(SQLPI_ATTRIBUTE_MODE, offline);
    action.parseAttribute(SQLPI_ATTRIBUTE_MODE, other);
    EXPECT_EQ(action.mode, 1);
}

TEST_F(PolicyAttributes, NullAndForeignAttributesAreIgnored) {
    SQLPIBackupAction backup;
    SQLPIReorgAction reorg;
    SQLPIStatsProfMonitor monitor;
    SQLPIStatsProfPopulation population;
    SQLPIStatsProfType type;
    SQLPIMaintenanceWindowCondition condition;
    SQLPIPolicyElement plain;
    SQLPIPolicyElement* const elements[] = {&backup, &reorg, &monitor, &population, &type, &condition, &plain};
    char text[] = "77";
    for (SQLPIPolicyElement* element : elements) {
        for (uint32_t value = 0; value < SQLPI_ATTRIBUTE_TYPES; ++value)
            element->parseAttribute(static_cast<SQLPI_POL_ATTRIBUTE_TYPE>(value), nullptr);
        element->parseAttribute(SQLPI_ATTRIBUTE_UNKNOWN, text);
        element->parseAttribute(SQLPI_ATTRIBUTE_MODE_SECOND, text);
    }
    EXPECT_EQ(backup.mode, 2);
    EXPECT_EQ(reorg.reclaimExtentsSizeForMDCTables, 0);
    EXPECT_EQ(monitor.maxFiles, 20);
    EXPECT_EQ(population.maxFWSize, 20);
    EXPECT_STREQ(type.profileGeneration, "ALL");
    EXPECT_EQ(condition.maintWindowType, 0);
}

/* Notes what is delivered. */
class Noting : public SQLPIPolicyElement {
public:
    void parseAttribute(SQLPI_POL_ATTRIBUTE_TYPE type, char* value) override {
        notes += std::to_string(type) + "=" + value + ";";
    }
    std::string notes;
};

TEST_F(PolicyAttributes, EveryAttributeIsDeliveredWithItsType) {
    Noting element;
    Attributes none({});
    element.parse(none);
    EXPECT_EQ(element.notes, "");
    Attributes some(
        {{u"mode", u"x"}, {u"policyElementId", u"id"}, {u"maxFiles", u""}, {u"\u00E4", u"\u00E4\U0001F600"}});
    element.parse(some);
    EXPECT_EQ(element.notes, "9=x;0=id;1=;0=\xC3\xA4\xF0\x9F\x98\x80;");
}

/* --- the constant of a sensor ------------------------------------------------------------------------------------- */

class SensorConstant : public PolicyAttributes {
protected:
    /* The sensor of that place inside "Equals", null when there is none. */
    SQLPISensors* sensor(const std::string& inside, uint32_t place = 0) {
        tree_ = parseTree("<PolicyDocument><Equals>" + inside + "</Equals></PolicyDocument>");
        for (uint32_t i = 0; i <= place; ++i)
            found_ = tree_->findNextElement(i == 0 ? tree_.get() : found_, SQLPI_ELEMENT_SENSORS);
        return dynamic_cast<SQLPISensors*>(found_);
    }
    Tree tree_;
    SQLPIPolicyElement* found_ = nullptr;
};

TEST_F(SensorConstant, FollowsDirectly) {
    EXPECT_STREQ(sensor("<kel:Sensors>a</kel:Sensors><Constant>the text</Constant>")->getConstant(), "the text");
    EXPECT_STREQ(sensor("\n <kel:Sensors>a</kel:Sensors>\n <Constant> x </Constant>\n")->getConstant(), " x ");
    EXPECT_EQ(sensor("<Constant>before</Constant><kel:Sensors>a</kel:Sensors>")->getConstant(), nullptr);
    EXPECT_EQ(sensor("<kel:Sensors>a</kel:Sensors><Scope/><Constant>c</Constant>")->getConstant(), nullptr);
    EXPECT_EQ(sensor("<kel:Sensors>a</kel:Sensors><Constant/>")->getConstant(), nullptr) << "a constant without text";
    EXPECT_EQ(sensor("<kel:Sensors>last</kel:Sensors>")->getConstant(), nullptr);
}

TEST_F(SensorConstant, WithoutAParentThereIsNone) {
    SQLPISensors alone;
    EXPECT_EQ(alone.getConstant(), nullptr);
    SQLPIPolicyElement stranger;
    alone.parent = &stranger;
    EXPECT_EQ(alone.getConstant(), nullptr) << "a parent that does not know it";
    alone.parent = nullptr;
}

TEST_F(SensorConstant, MovesTheCursorItShares) {
    SQLPISensors* first = sensor("<kel:Sensors>S1</kel:Sensors><kel:Sensors>S2</kel:Sensors><Constant>c</Constant>");
    EXPECT_EQ(first->getConstant(), nullptr);
    EXPECT_EQ(tree_->findNextElement(first, SQLPI_ELEMENT_SENSORS), nullptr) << "S2 is consumed";
    SQLPISensors* second =
        sensor("<kel:Sensors>S1</kel:Sensors><kel:Sensors>S2</kel:Sensors><Constant>c</Constant>", 1);
    ASSERT_NE(second, nullptr);
    EXPECT_STREQ(second->getConstant(), "c");
}

TEST_F(SensorConstant, IsTheSameWhereverTheCursorStands) {
    SQLPISensors* wanted = sensor(
        "<kel:Sensors>S1</kel:Sensors><Constant>1</Constant><kel:Sensors>S2</kel:Sensors>"
        "<Constant>2</Constant><Scope/>",
        1);
    SQLPIList* siblings = wanted->parent->children;
    for (int steps = 0; steps <= 6; ++steps) {
        siblings->reset();
        for (int i = 0; i < steps; ++i) siblings->getNextElement();
        EXPECT_STREQ(wanted->getConstant(), "2") << steps;
        EXPECT_EQ(siblings->current, siblings->last) << "behind the constant, from " << steps;
    }
}

/* A walk from the first child for each sensor would take time that grows with the square of their number. */
TEST_F(SensorConstant, ManySensorsUnderOneParentAreReadInOneWalk) {
    constexpr int count = 100;
    std::string inside;
    for (int i = 0; i < count; ++i) inside += "<kel:Sensors>s</kel:Sensors><Constant>c</Constant>";
    SQLPIPolicyElement* element = sensor(inside);
    ASSERT_NE(element, nullptr);
    SQLPIList* siblings = element->parent->children;
    int found = 0;
    int walks = 0;
    SQLPIListElement* const first = siblings->first;
    SQLPIListElement nowhere;  // where a walk would begin, and end
    for (; element != nullptr; element = element->findNextElement(element, SQLPI_ELEMENT_SENSORS)) {
        siblings->first = &nowhere;
        const char* constant = dynamic_cast<SQLPISensors*>(element)->getConstant();
        siblings->first = first;
        constant == nullptr ? ++walks : ++found;
    }
    EXPECT_EQ(found, count);
    EXPECT_EQ(walks, 0);
}

}  // namespace
