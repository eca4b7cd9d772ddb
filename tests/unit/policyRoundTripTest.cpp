/* What goes through the generated documents and comes back: the engine reads from the policy language what was written,
 * a configuration document can be read, and set-then-get gives the same windows but for the durations listed here. */
#include <array>
#include <map>
#include <random>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>

#include "base/sqlpiUtf8.h"
#include "configuration/sqlpiPolicyRead.h"
#include "document/sqlpiXmlPlatform.h"
#include "proofSize.h"
#include "unit/policyGenSupport.h"
#include "windows/sqlpiWindowReading.h"

namespace {

using namespace generated;

/* --- configuration documents, read with the XML library ----------------------------------------------------------- */

class ConfigurationReader {
public:
    ConfigurationReader() : hasPlatform_(sqlpiHoldXmlPlatform()) {
        EXPECT_TRUE(hasPlatform_);
        parser_.setDoNamespaces(true);
        parser_.setErrorHandler(&errors_);  // throws what is not well-formed
    }

    /* Every attribute but the namespace's as "Element/@name" and every text of an element without elements in it as
     * "Element/". */
    std::map<std::string, std::string> read(const std::string& document) {
        std::map<std::string, std::string> found;
        parse(document, [&](const xercesc::DOMElement& root) { collect(root, found); });
        return found;
    }

    /* The record that the library reads. */
    maintenanceOldPolicy windows(const std::string& document) {
        maintenanceOldPolicy policy = {};
        sqlca ca = {};
        parse(document, [&](const xercesc::DOMElement& root) {
            EXPECT_EQ(sqlpiReadAutoMWPolicy(root, policy, ca), SQLPI_CONFIG_OK);
        });
        return policy;
    }

private:
    template <class Visit>
    void parse(const std::string& document, Visit visit) {
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(),
                                                "document");
        try {
            parser_.parse(source);
            visit(*parser_.getDocument()->getDocumentElement());
        } catch (const xercesc::SAXException& exception) {
            ADD_FAILURE() << sqlpiUtf8Text(exception.getMessage()).text() << "\n" << document;
        }
        parser_.resetDocumentPool();
    }
    static void collect(const xercesc::DOMElement& element, std::map<std::string, std::string>& found) {
        const std::string name = utf8(element.getLocalName());
        EXPECT_EQ(utf8(element.getNamespaceURI()), SQLPI_CONFIG_NAMESPACE) << name;
        const xercesc::DOMNamedNodeMap& attributes = *element.getAttributes();
        for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
            const std::string attribute = utf8(attributes.item(i)->getNodeName());
            if (attribute != "xmlns") found[name + "/@" + attribute] = utf8(attributes.item(i)->getNodeValue());
        }
        if (element.getFirstElementChild() == nullptr) found[name + "/"] = utf8(element.getTextContent());
        for (const auto* child = element.getFirstElementChild(); child != nullptr;
             child = child->getNextElementSibling()) {
            // The windows' children have the same names.
            std::map<std::string, std::string> inner;
            collect(*child, inner);
            for (const auto& [key, value] : inner)
                EXPECT_TRUE(found.emplace(name.ends_with("Window") ? name + "/" + key : key, value).second) << key;
        }
    }
    static std::string utf8(const XMLCh* text) { return sqlpiUtf8Text(text).text(); }

    bool hasPlatform_;
    xercesc::HandlerBase errors_;
    xercesc::XercesDOMParser parser_;
};

/* --- drawing ------------------------------------------------------------------------------------------------------ */

class Draw {
public:
    explicit Draw(uint64_t seed) : random_(seed) {}

    uint64_t below(uint64_t limit) { return std::uniform_int_distribution<uint64_t>(0, limit - 1)(random_); }
    bool coin() { return below(2) == 0; }
    template <class Integer>
    Integer between(Integer least, Integer most) {
        return std::uniform_int_distribution<Integer>(least, most)(random_);
    }
    /* Small numbers, large ones, and the ends of the range. */
    template <class Integer>
    Integer number(Integer least, Integer most) {
        switch (below(4)) {
            case 0:
                return least;
            case 1:
                return most;
            case 2:
                return between<Integer>(0, std::min<Integer>(most, 1000));
            default:
                return between(least, most);
        }
    }
    template <size_t Count>
    void mask(bool (&selected)[Count]) {
        const uint64_t kind = below(8);
        for (bool& one : selected) one = kind == 0 || (kind != 1 && coin());
        if (kind == 2) {  // all but one
            std::fill(std::begin(selected), std::end(selected), true);
            selected[below(Count)] = false;
        }
    }
    /* Characters that a document takes as they are. */
    std::string text(size_t most) {
        static const std::array<const char*, 12> characters = {
            "a", "Z", "0", " ", "/", "%", "'", "\"", ">", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"};
        std::string drawn;
        const size_t length = below(8) == 0 ? most : below(std::min<size_t>(most, 40) + 1);
        while (true) {
            const std::string next = characters[below(characters.size())];
            if (drawn.size() + next.size() > length) return drawn;
            drawn += next;
        }
    }

private:
    std::mt19937_64 random_;
};

sqlpiMaintWindowInfo randomWindow(Draw& draw) {
    sqlpiMaintWindow defaults;
    sqlpiSetMaintWindowDefaults(&defaults);
    sqlpiMaintWindowInfo info = defaults.online;
    draw.mask(info.monthOfYear);
    draw.mask(info.dayOfMonth);
    draw.mask(info.dayOfWeek);
    info.outside = draw.coin() ? 1 : 0;
    for (sqlpiMaintWindowTime* time : {&info.startTime, &info.endTime})
        *time = {draw.between<uint8_t>(0, 23), draw.between<uint8_t>(0, 59), draw.between<uint8_t>(0, 59)};
    return info;
}

/* --- windows ------------------------------------------------------------------------------------------------------ */

template <size_t Count>
std::string maskText(const bool (&selected)[Count]) {
    std::string text;
    for (const bool one : selected) text += one ? '1' : '0';
    return text;
}

std::string twoDigits(int number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

std::string clockText(const sqlpiMaintWindowTime& time, const char* between) {
    return twoDigits(time.hour) + between + twoDigits(time.minute) + between + twoDigits(time.second);
}

std::string describe(const sqlpiMaintWindowInfo& info) {
    return std::string(info.defined ? "defined" : "not defined") + (info.outside == 0 ? " inside " : " outside ") +
           clockText(info.startTime, ":") + "-" + clockText(info.endTime, ":") + " " + maskText(info.dayOfWeek) + " " +
           maskText(info.monthOfYear) + " " + maskText(info.dayOfMonth) + " " +
           std::to_string(info.startDateTime.boundKind) + std::to_string(info.endDateTime.boundKind);
}

maintenanceOldWindow oldWindow(const sqlpiMaintWindowInfo& info) {
    maintenanceOldWindow window = {};
    set(window.dayOfWeekMask, maskText(info.dayOfWeek));
    set(window.monthOfYearMask, maskText(info.monthOfYear));
    set(window.dayOfMonthMask, maskText(info.dayOfMonth));
    set(window.timeRange, "T" + clockText(info.startTime, "") + "/T" + clockText(info.endTime, ""));
    set(window.occurrence, info.outside == 0 ? "During" : "Outside");
    return window;
}

/* What the engine makes of windows in the policy language. */
sqlpiMaintWindow throughPolicyLanguage(const maintenanceOldPolicy& policy) {
    char document[SQLPI_OLD_POLICY_SIZE];
    EXPECT_EQ(sqlpiGenerateOldMWPolicy(policy, document), SQLPI_CONFIG_OK);
    sqlpiMaintWindow window;
    sqlpiSetMaintWindowDefaults(&window);
    EXPECT_EQ(sqlpiGetMaintWindowPolicy(document, static_cast<int32_t>(std::strlen(document)), &window), 0);
    return window;
}

/* The mask that a list of names or numbers stands for; `names[i]` is position i. */
template <size_t Count>
std::string maskOfList(const std::string& list, const std::array<std::string, Count>& names) {
    if (list == "All") return std::string(Count, '1');
    std::string mask(Count, '0');
    size_t last = 0;
    bool isFirst = true;
    for (size_t begin = 0; begin < list.size();) {
        const size_t end = std::min(list.find(' ', begin), list.size());
        const size_t position =
            static_cast<size_t>(std::find(names.begin(), names.end(), list.substr(begin, end - begin)) - names.begin());
        if (position == Count || (!isFirst && position <= last)) return "not a list in order: " + list;
        mask[position] = '1';
        last = position;
        isFirst = false;
        begin = end + 1;
    }
    return mask;
}

const std::array<std::string, 7> weekDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
const std::array<std::string, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
std::array<std::string, 62> monthDays() {
    std::array<std::string, 62> days;
    for (size_t i = 0; i < 31; ++i) {
        days[i] = std::to_string(i + 1);
        days[i + 31] = "-" + days[i];
    }
    return days;
}

constexpr int batches = 8;
const int casesOfBatch = proofSize("KELPOLICY_ROUND_TRIPS", 100000) / batches;

class PolicyRoundTrip : public BalancedTest, public testing::WithParamInterface<int> {
protected:
    PolicyRoundTrip() { sqlpiHoldXmlPlatform(); }

    Draw draw_{static_cast<uint64_t>(GetParam()) + 1};
};

TEST_P(PolicyRoundTrip, WindowsThroughThePolicyLanguage) {
    for (int i = 0; i < casesOfBatch; ++i) {
        const sqlpiMaintWindowInfo online = randomWindow(draw_);
        const sqlpiMaintWindowInfo offline = randomWindow(draw_);
        const bool hasOffline = draw_.coin();
        const maintenanceOldPolicy policy = {true, hasOffline, oldWindow(online), oldWindow(offline)};
        const sqlpiMaintWindow read = throughPolicyLanguage(policy);
        ASSERT_EQ(describe(read.online), describe(online)) << "case " << i;
        sqlpiMaintWindow defaults;
        sqlpiSetMaintWindowDefaults(&defaults);
        ASSERT_EQ(describe(read.offline), describe(hasOffline ? offline : defaults.offline)) << "case " << i;
    }
}

TEST_P(PolicyRoundTrip, WindowsThroughAConfigurationDocument) {
    ConfigurationReader reader;
    const std::array<std::string, 62> days = monthDays();
    for (int i = 0; i < casesOfBatch; ++i) {
        sqlpiMaintWindow engine = {randomWindow(draw_), randomWindow(draw_)};
        engine.offline.defined = draw_.coin();
        maintenanceNewPolicy policy = {};
        ASSERT_EQ(sqlpiFillAutoMaintWindowValues(&engine, &policy), SQLPI_CONFIG_OK);
        const std::string document = newDocument(sqlpiGenerateNewAutoMaintWindowPolicy, policy, SQLPI_CONFIG_OK);
        auto found = reader.read(document);
        ASSERT_EQ(found.size(), engine.offline.defined ? 12U : 6U) << document;
        for (const auto& [name, info] :
             {std::pair{std::string("OnlineWindow/"), &engine.online}, {"OfflineWindow/", &engine.offline}}) {
            if (!info->defined) continue;
            ASSERT_EQ(found[name + "@Occurrence"], info->outside == 0 ? "During" : "Outside") << document;
            ASSERT_EQ(found[name + "@startTime"], clockText(info->startTime, ":")) << document;
            const int duration = std::stoi(found[name + "@duration"]);
            ASSERT_TRUE(duration >= 1 && duration <= 24) << document;
            // Within half an hour of the whole window, seconds apart, unless the hours of its ends are the same.
            const int minutes = (info->endTime.hour * 60 + info->endTime.minute - info->startTime.hour * 60 -
                                 info->startTime.minute + 1440) %
                                1440;
            if (info->endTime.hour != info->startTime.hour && info->endTime.minute >= info->startTime.minute) {
                ASSERT_EQ(duration, (minutes + 29) / 60) << document;
            }
            ASSERT_EQ(maskOfList(found[name + "DaysOfWeek/"], weekDays), maskText(info->dayOfWeek)) << document;
            ASSERT_EQ(maskOfList(found[name + "MonthsOfYear/"], months), maskText(info->monthOfYear)) << document;
            ASSERT_EQ(maskOfList(found[name + "DaysOfMonth/"], days), maskText(info->dayOfMonth)) << document;
        }
    }
}

/* --- backup ------------------------------------------------------------------------------------------------------- */

std::string describe(const sqlpiBackupPolicy& record) {
    const bool hasSessions = record.targetType == BACKUP_TARGET_VLT || record.targetType == BACKUP_TARGET_XBSA;
    return std::to_string(record.numberOfFullBackups) + " " + std::to_string(record.timeSinceLastBackup) + " " +
           std::to_string(record.logSpaceConsumed) + ", target " + std::to_string(record.targetType) + ", mode " +
           std::to_string(record.mode) + ", " +
           (hasSessions ? std::to_string(record.numberOfSessions) : record.targetLocation) + ", " + record.libOptions;
}

sqlpiBackupPolicy randomBackup(Draw& draw) {
    sqlpiBackupPolicy engine = {};
    for (int32_t* count : {&engine.numberOfFullBackups, &engine.timeSinceLastBackup, &engine.logSpaceConsumed})
        *count = draw.number<int32_t>(INT32_MIN, INT32_MAX);
    engine.targetType = draw.between<int32_t>(0, 4);
    engine.mode = draw.coin() ? BACKUP_MODE_ONLINE : BACKUP_MODE_OFFLINE;
    if (engine.targetType == BACKUP_TARGET_VLT || engine.targetType == BACKUP_TARGET_XBSA)
        engine.numberOfSessions = draw.number<uint32_t>(0, INT32_MAX);
    else
        set(engine.targetLocation, draw.text(2047));
    if (engine.targetType == BACKUP_TARGET_VENDOR) set(engine.libOptions, draw.text(2047));
    return engine;
}

TEST_P(PolicyRoundTrip, BackupThroughBoth) {
    ConfigurationReader reader;
    for (int i = 0; i < casesOfBatch; ++i) {
        const sqlpiBackupPolicy engine = randomBackup(draw_);
        Record<backupPolicy> policy;
        ASSERT_EQ(sqlpiFillAutoBackupValues(&engine, &policy), SQLPI_CONFIG_OK);
        char document[SQLPI_OLD_POLICY_SIZE];
        ASSERT_EQ(sqlpiGenerateOldBackupPolicy(policy, document), SQLPI_CONFIG_OK);
        sqlpiBackupPolicy read = {};
        sqlpiGetBackupPolicy(document, static_cast<int32_t>(std::strlen(document)), &read);
        ASSERT_EQ(describe(read), describe(engine)) << document;

        const std::string written =
            newDocument(sqlpiGenerateNewAutoBackupPolicy, static_cast<backupPolicy&>(policy), SQLPI_CONFIG_OK);
        std::map<std::string, std::string> wanted = {
            {"BackupOptions/@mode", engine.mode == BACKUP_MODE_ONLINE ? "Online" : "Offline"},
            {"BackupCriteria/", ""},
            {"BackupCriteria/@numberOfFullBackups", std::to_string(engine.numberOfFullBackups)},
            {"BackupCriteria/@timeSinceLastBackup", std::to_string(engine.timeSinceLastBackup)},
            {"BackupCriteria/@logSpaceConsumedSinceLastBackup", std::to_string(engine.logSpaceConsumed)}};
        switch (engine.targetType) {
            case BACKUP_TARGET_VLT:
            case BACKUP_TARGET_XBSA: {
                const std::string target =
                    engine.targetType == BACKUP_TARGET_VLT ? "VLTBackupTarget/" : "XBSABackupTarget/";
                wanted[target] = "";
                wanted[target + "@numberOfSessions"] = std::to_string(engine.numberOfSessions);
                break;
            }
            case BACKUP_TARGET_VENDOR:
                wanted["LibFilename/"] = engine.targetLocation;
                wanted["LibOptions/"] = engine.libOptions;
                break;
            default:
                wanted["PathName/"] = engine.targetLocation;
        }
        ASSERT_EQ(reader.read(written), wanted) << written;
    }
}

/* --- reorg and runstats ------------------------------------------------------------------------------------------- */

std::string describe(const sqlpiReorgPolicy& record) {
    return std::string(record.tablesFilter == nullptr ? "" : record.tablesFilter) + ", " +
           std::to_string(record.reorgSizeLimitKB) + " " + std::to_string(record.useTempTbsp) + " " +
           std::to_string(record.indexReorgMode) + " " + std::to_string(record.dictionaryOption) + " " +
           std::to_string(record.reclaimExtentsSizeForMDCTables) + " " +
           std::to_string(record.numInxPseudoEmptyPagesForVolatileTables);
}

/* A filter of this length leaves room for the rest of a document. */
constexpr size_t longFilter = 1500;

TEST_P(PolicyRoundTrip, ReorgThroughBoth) {
    ConfigurationReader reader;
    for (int i = 0; i < casesOfBatch; ++i) {
        std::string filter = draw_.text(longFilter);
        const sqlpiReorgPolicy engine = {filter.data(),
                                         draw_.number<int32_t>(INT32_MIN, INT32_MAX),
                                         draw_.between<int32_t>(0, 1),
                                         draw_.between<int32_t>(0, 1),
                                         draw_.between<int32_t>(0, 1),
                                         draw_.number<uint64_t>(0, INT64_MAX),
                                         draw_.number<uint64_t>(0, INT64_MAX)};
        Record<reorgPolicy> policy;
        ASSERT_EQ(sqlpiFillAutoReorgValues(&engine, &policy), SQLPI_CONFIG_OK);
        char document[SQLPI_OLD_POLICY_SIZE];
        ASSERT_EQ(sqlpiGenerateOldReorgPolicy(policy, document), SQLPI_CONFIG_OK);
        sqlpiReorgPolicy read = {};
        ASSERT_EQ(sqlpiGetReorgPolicy(document, static_cast<int32_t>(std::strlen(document)), &read), 0);
        const std::string described = describe(read);
        sqlofmblkEx(read.tablesFilter, "test", __LINE__);
        ASSERT_EQ(described, describe(engine)) << document;

        const std::string written =
            newDocument(sqlpiGenerateNewAutoReorgPolicy, static_cast<reorgPolicy&>(policy), SQLPI_CONFIG_OK);
        std::map<std::string, std::string> wanted = {
            {"ReorgOptions/", ""},
            {"ReorgOptions/@dictionaryOption", engine.dictionaryOption == 1 ? "Rebuild" : "Keep"},
            {"ReorgOptions/@indexReorgMode", engine.indexReorgMode == 1 ? "Online" : "Offline"},
            {"ReorgOptions/@useSystemTempTableSpace", engine.useTempTbsp == 1 ? "true" : "false"},
            {"ReorgTableScope/@maxOfflineReorgTableSize", std::to_string(engine.reorgSizeLimitKB)},
            {"FilterClause/", filter}};
        for (const auto& [name, number] :
             {std::pair{"reclaimExtentsSizeForMDCTables", engine.reclaimExtentsSizeForMDCTables},
              {"numInxPseudoEmptyPagesForVolatileTables", engine.numInxPseudoEmptyPagesForVolatileTables}})
            if (number != 0) wanted["ReorgOptions/@" + std::string(name)] = std::to_string(number);
        ASSERT_EQ(reader.read(written), wanted) << written;
    }
}

TEST_P(PolicyRoundTrip, RunstatsThroughBoth) {
    ConfigurationReader reader;
    for (int i = 0; i < casesOfBatch; ++i) {
        std::string filter = draw_.text(longFilter);
        const sqlpiRunStatsPolicy engine = {filter.data()};
        runStatsPolicy policy = {};
        ASSERT_EQ(sqlpiFillAutoRunstatsValues(&engine, &policy), SQLPI_CONFIG_OK);
        char document[SQLPI_OLD_POLICY_SIZE];
        ASSERT_EQ(sqlpiGenerateOldRunsatsPolicy(policy, document), SQLPI_CONFIG_OK);
        sqlpiAtmSensors read = {};
        ASSERT_EQ(sqlpiGetAtmSensors(document, static_cast<int32_t>(std::strlen(document)), &read), 0);
        const std::string readFilter = read.tablesFilter == nullptr ? "" : read.tablesFilter;
        sqlofmblkEx(read.tablesFilter, "test", __LINE__);
        ASSERT_EQ(readFilter, filter) << document;

        const std::string written = newDocument(sqlpiGenerateNewAutoRunstatsPolicy, policy, SQLPI_CONFIG_OK);
        ASSERT_EQ(reader.read(written), (std::map<std::string, std::string>{{"FilterCondition/", filter}})) << written;
    }
}

INSTANTIATE_TEST_SUITE_P(Batches, PolicyRoundTrip, testing::Range(0, batches));

/* --- what is set, and what is then got ---------------------------------------------------------------------------- */

/* The time range that a configuration's start and duration in hours stand for. One that ends at midnight ends a second
 * before it, whatever its minutes. */
std::string timeRangeOf(const sqlpiMaintWindowTime& start, int duration) {
    const int endHour = (start.hour + duration) % 24;
    const std::string end =
        endHour == 0 ? "235959" : twoDigits(endHour) + twoDigits(start.minute) + twoDigits(start.second);
    return "T" + clockText(start, "") + "/T" + end;
}

/* The cases in which a duration is read back as another, with the one that is read back. */
int durationReadBack(int hour, int minute, int duration) {
    const bool endsAtMidnight = hour + duration == 24;
    // From minute 29 on, the minutes of 23:59 are no more than 30 past the start's: rounded down.
    if (endsAtMidnight && hour != 23 && minute >= 29) return duration - 1;
    // Start and end have the same hour, which counts as one; more than 30 minutes on top are one more.
    if (endsAtMidnight && hour == 23 && minute <= 28) return 2;
    // A whole day ends in the hour in which it starts, which counts as one.
    if (!endsAtMidnight && duration == 24) return 1;
    return duration;
}

class SetThenGet : public BalancedTest {};

TEST_F(SetThenGet, EveryStartAndDuration) {
    std::map<std::string, int> changed;
    int cases = 0;
    ConfigurationReader reader;
    maintenanceNewPolicy configuration = {};
    set(configuration.online.occurrence, "During");
    for (int hour = 0; hour < 24; ++hour)
        for (int minute = 0; minute < 60; ++minute)
            for (int duration = 1; duration <= 24; ++duration) {
                ++cases;
                const sqlpiMaintWindowTime start = {static_cast<uint8_t>(hour), static_cast<uint8_t>(minute),
                                                    static_cast<uint8_t>((hour * 7 + minute + duration) % 60)};
                const std::string range = timeRangeOf(start, duration);
                set(configuration.online.startTime, clockText(start, ":"));
                set(configuration.online.duration, std::to_string(duration));
                const maintenanceOldPolicy policy =
                    reader.windows(newDocument(sqlpiGenerateNewAutoMaintWindowPolicy, configuration, SQLPI_CONFIG_OK));
                ASSERT_EQ(policy.online.timeRange, range);
                const sqlpiMaintWindow engine = throughPolicyLanguage(policy);
                maintenanceNewPolicy got = {};
                ASSERT_EQ(sqlpiFillAutoMaintWindowValues(&engine, &got), SQLPI_CONFIG_OK);
                ASSERT_EQ(got.online.startTime, clockText(start, ":")) << range;
                ASSERT_EQ(got.online.duration, std::to_string(durationReadBack(hour, minute, duration))) << range;

                // Set again, what was got gives the same range exactly where the duration is the same; but from 59:59
                // on an hour less ends a second before midnight as well.
                const int again = std::stoi(got.online.duration);
                const bool isSameEnd = hour + duration == 24 && minute == 59 && start.second == 59;
                ASSERT_EQ(timeRangeOf(start, again) == range, again == duration || isSameEnd) << range;
                if (again != duration)
                    ++changed[again < duration ? (again == 1 && duration == 24 ? "a day is read as an hour"
                                                                               : "an hour less before midnight")
                                               : "an hour more before midnight"];
            }
    EXPECT_EQ(cases, 34560);
    EXPECT_EQ(changed, (std::map<std::string, int>{{"a day is read as an hour", 23 * 60},
                                                   {"an hour less before midnight", 23 * 31},
                                                   {"an hour more before midnight", 29}}));
}

}  // namespace
