/* The tables of docs/engine-api.md say where the fields of the records lie. */
#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <map>
#include <regex>
#include <string>

#include "kelpolicy.h"

namespace {

struct Place {
    size_t offset;
    size_t size; /* of the field's type */

    bool operator==(const Place&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Place& place) {
    return out << place.size << " bytes at " << place.offset;
}
using Fields = std::map<std::string, Place>; /* by "record.field"; a record itself is at 0 */

#define RECORD(record)        \
    {                         \
#record, {            \
            0, sizeof(record) \
        }                     \
    }
#define FIELD(record, field)                               \
    {                                                      \
#record "." #field, {                              \
            offsetof(record, field), sizeof(record::field) \
        }                                                  \
    }

const Fields actual = {
    RECORD(sqlpiBackupPolicy),
    FIELD(sqlpiBackupPolicy, numberOfFullBackups),
    FIELD(sqlpiBackupPolicy, timeSinceLastBackup),
    FIELD(sqlpiBackupPolicy, logSpaceConsumed),
    FIELD(sqlpiBackupPolicy, targetType),
    FIELD(sqlpiBackupPolicy, mode),
    FIELD(sqlpiBackupPolicy, targetLocation),
    FIELD(sqlpiBackupPolicy, numberOfSessions),
    FIELD(sqlpiBackupPolicy, libOptions),
    RECORD(sqlpiAtmSensors),
    FIELD(sqlpiAtmSensors, tablesFilter),
    RECORD(sqlpiReorgPolicy),
    FIELD(sqlpiReorgPolicy, tablesFilter),
    FIELD(sqlpiReorgPolicy, reorgSizeLimitKB),
    FIELD(sqlpiReorgPolicy, useTempTbsp),
    FIELD(sqlpiReorgPolicy, indexReorgMode),
    FIELD(sqlpiReorgPolicy, dictionaryOption),
    FIELD(sqlpiReorgPolicy, reclaimExtentsSizeForMDCTables),
    FIELD(sqlpiReorgPolicy, numInxPseudoEmptyPagesForVolatileTables),
    RECORD(sqlpiStatsProfPolicy),
    FIELD(sqlpiStatsProfPolicy, tablesFilter),
    FIELD(sqlpiStatsProfPolicy, maxFiles),
    FIELD(sqlpiStatsProfPolicy, maxFileSize),
    FIELD(sqlpiStatsProfPolicy, maxFWSize),
    FIELD(sqlpiStatsProfPolicy, maxSingleTableStats),
    FIELD(sqlpiStatsProfPolicy, maxColGroupStats),
    FIELD(sqlpiStatsProfPolicy, maxFrequentValues),
    FIELD(sqlpiStatsProfPolicy, maxProfiles),
    FIELD(sqlpiStatsProfPolicy, profileType),
    RECORD(sqlpiMaintWindow),
    FIELD(sqlpiMaintWindow, online),
    FIELD(sqlpiMaintWindow, offline),
    RECORD(sqlpiMaintWindowInfo),
    FIELD(sqlpiMaintWindowInfo, defined),
    FIELD(sqlpiMaintWindowInfo, monthOfYear),
    FIELD(sqlpiMaintWindowInfo, dayOfMonth),
    FIELD(sqlpiMaintWindowInfo, dayOfWeek),
    FIELD(sqlpiMaintWindowInfo, outside),
    FIELD(sqlpiMaintWindowInfo, startDateTime),
    FIELD(sqlpiMaintWindowInfo, endDateTime),
    FIELD(sqlpiMaintWindowInfo, startTime),
    FIELD(sqlpiMaintWindowInfo, endTime),
    RECORD(sqlpiMaintWindowDateTime),
    FIELD(sqlpiMaintWindowDateTime, boundKind),
    FIELD(sqlpiMaintWindowDateTime, year),
    FIELD(sqlpiMaintWindowDateTime, month),
    FIELD(sqlpiMaintWindowDateTime, day),
    FIELD(sqlpiMaintWindowDateTime, hour),
    FIELD(sqlpiMaintWindowDateTime, minute),
    FIELD(sqlpiMaintWindowDateTime, second),
    RECORD(sqlpiMaintWindowTime),
    FIELD(sqlpiMaintWindowTime, hour),
    FIELD(sqlpiMaintWindowTime, minute),
    FIELD(sqlpiMaintWindowTime, second),
    RECORD(OSSTime),
    FIELD(OSSTime, seconds),
    FIELD(OSSTime, subSecond),
};

/* The size of a type as the document writes it: "int32", "char[2048]", "bool[12]", or a record. */
size_t sizeOf(const std::string& type) {
    const std::map<std::string, size_t> sizes = {
        {"int32", 4}, {"uint32", 4}, {"int64", 8}, {"uint64", 8}, {"uint16", 2}, {"uint8", 1}, {"char*", sizeof(char*)},
        {"char", 1},  {"bool", 1}};
    const size_t bracket = type.find('[');
    const std::string element = type.substr(0, bracket);
    const size_t count = bracket == std::string::npos ? 1 : std::stoul(type.substr(bracket + 1));
    if (const auto found = sizes.find(element); found != sizes.end()) return found->second * count;
    return actual.at(element).size;
}

Fields documented() {
    std::ifstream file(KELPOLICY_TEST_DATA "/../../docs/engine-api.md");
    const std::regex heading("### `(\\w+)` \\((\\d+) bytes\\).*");
    const std::regex row("\\| `(\\w+)` \\| ([^ |]+) \\| (\\d+) \\|.*");
    Fields fields;
    std::string record;
    std::smatch match;
    for (std::string line; std::getline(file, line);) {
        if (std::regex_match(line, match, heading)) {
            record = match[1];
            fields[record] = {0, std::stoul(match[2])};
        } else if (std::regex_match(line, match, row)) {
            fields[record + "." + match[1].str()] = {std::stoul(match[3]), sizeOf(match[2])};
        }
    }
    return fields;
}

TEST(DocumentedLayout, isTheRecordsLayout) {
    EXPECT_EQ(documented(), actual);
}

}  // namespace
