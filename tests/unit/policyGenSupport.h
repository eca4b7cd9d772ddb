/* What the tests of generated documents share: records that give their texts back, and generators as functions to a
 * string. */
#ifndef TESTS_UNIT_POLICY_GEN_SUPPORT_H
#define TESTS_UNIT_POLICY_GEN_SUPPORT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiRecordTexts.h"
#include "host/wholeFile.h"
#include "memoryPool.h"
#include "unit/balance.h"

namespace generated {

inline std::string golden(const std::string& name) {
    const std::string path = std::string(KELPOLICY_TEST_DATA) + "/generated/" + name + ".xml";
    EXPECT_TRUE(std::filesystem::exists(path)) << path;
    return hosttest::readWhole(path);
}

/* A zeroed configuration record that gives its owned texts back. */
template <class Policy>
struct Record : Policy {
    Record() : Policy{} {}
    ~Record() { sqlpiReleaseTexts(*this); }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
};

/* Null stays null. */
inline void set(char*& field, const char* text) {
    if (text != nullptr) {
        ASSERT_TRUE(sqlpiSetOwnedText(field, text));
    }
}

/* The bytes of `text`, zeros behind. A text as long as the field leaves it without terminator. */
template <size_t Size>
void set(char (&field)[Size], const std::string& text) {
    ASSERT_LE(text.size(), Size);
    std::fill(std::copy(text.begin(), text.end(), field), std::end(field), '\0');
}

/* Bytes behind the output, to see that nothing is written there. */
constexpr size_t margin = 256;

/* The policy-language document, "" when the generator failed. Nothing may be written beyond `capacity` bytes. */
template <class Policy>
std::string oldDocument(uint32_t (*generate)(const Policy&, char*) noexcept, const Policy& policy, uint32_t wanted,
                        size_t capacity = SQLPI_OLD_POLICY_SIZE) {
    std::vector<char> output(SQLPI_OLD_POLICY_SIZE + margin, '#');
    EXPECT_EQ(generate(policy, output.data()), wanted);
    EXPECT_EQ(std::count(output.begin() + static_cast<std::ptrdiff_t>(capacity), output.end(), '#'),
              static_cast<std::ptrdiff_t>(output.size() - capacity));
    output.back() = '\0';
    return output.data();
}

/* The configuration document; "" when the generator failed, which then hands nothing back. */
template <class Policy>
std::string newDocument(uint32_t (*generate)(char**, int*, const Policy&) noexcept, const Policy& policy,
                        uint32_t wanted) {
    char unset = '#';
    char* document = &unset;
    int length = -7;
    const int64_t before = kelhost::memoryTotal().bytes;
    EXPECT_EQ(generate(&document, &length, policy), wanted);
    if (wanted != SQLPI_CONFIG_OK) {
        EXPECT_EQ(document, nullptr);
        EXPECT_EQ(length, 0);
        return "";
    }
    const std::string text(document, static_cast<size_t>(length));
    EXPECT_EQ(std::strlen(document), text.size());
    EXPECT_EQ(kelhost::memoryTotal().bytes - before, length + 1);
    sqlofmblkEx(document, "test", __LINE__);
    return text;
}

/* A backup record as rows of a table have it. */
struct BackupCase {
    const char* golden;
    const char* mode;
    const char* targets; /* any of d t v s x: disk, tape, vendor, storage manager, backup services */
    std::string path = {};
    const char* libOptions = nullptr;
    const char* sessions = nullptr;
    bool useDefaultPath = false;
    bool hasCriteria = true;

    void fill(backupPolicy& policy) const {
        set(policy.mode, mode);
        if (hasCriteria) {
            set(policy.numberOfFullBackups, "3");
            set(policy.timeSinceLastBackup, "24");
            set(policy.logSpaceConsumedSinceLastBackup, "12800");
        }
        set(policy.numberOfSessions, sessions);
        set(policy.path, path);
        set(policy.libOptions, libOptions);
        policy.useDefaultPath = useDefaultPath;
        const auto has = [this](char target) { return std::strchr(targets, target) != nullptr; };
        policy.diskTarget = has('d');
        policy.tapeTarget = has('t');
        policy.vendorTarget = has('v');
        policy.vltTarget = has('s');
        policy.xbsaTarget = has('x');
    }
};

inline std::vector<BackupCase> backupCases() {
    return {
        {"backup-disk-path", "Online", "d", "/backups/a,/backups/b"},
        {"backup-disk-default", "Offline", "d", "/ignored", nullptr, nullptr, true},
        {"backup-disk-no-path", "Online", "d"},
        {"backup-tape", "Offline", "t", "/dev/rmt0"},
        {"backup-vendor", "Online", "v", "/opt/lib/libvendor.so", "-p 1 & <a>"},
        {"backup-vlt", "Offline", "s", "", nullptr, "999"},
        {"backup-xbsa", "Online", "x", "", nullptr, "1"},
        {"backup-all-targets", "online", "dtvsx", "/p", "o", "7"},
        {"backup-no-texts", nullptr, "", "", nullptr, nullptr, false, false},
    };
}

/* A reorg record as rows of a table have it. */
struct ReorgCase {
    const char* golden;
    const char* dictionaryOption;
    const char* indexReorgMode;
    const char* useSystemTempTableSpace;
    const char* maxOfflineReorgTableSize;
    const char* extents;
    const char* pages;
    std::string filter = {};

    void fill(reorgPolicy& policy) const {
        set(policy.dictionaryOption, dictionaryOption);
        set(policy.indexReorgMode, indexReorgMode);
        set(policy.useSystemTempTableSpace, useSystemTempTableSpace);
        set(policy.maxOfflineReorgTableSize, maxOfflineReorgTableSize);
        set(policy.reclaimExtentsSizeForMDCTables, extents);
        set(policy.numInxPseudoEmptyPagesForVolatileTables, pages);
        set(policy.filterClause, filter);
    }
};

constexpr const char* filterAsWritten = "TABSCHEMA NOT LIKE 'SYS%' AND \xC3\xA4 < 3";

inline std::vector<ReorgCase> reorgCases() {
    return {
        {"reorg-all", "Rebuild", "Online", "true", "51200", "8", "16", filterAsWritten},
        {"reorg-least", "Keep", "Offline", "false", nullptr, "0", "0"},
        {"reorg-extents-only", "Keep", "Online", "true", "0", "18446744073709551615", "0", "TABNAME = 'T'"},
        {"reorg-pages-only", "keep", "online", "false", "2147483647", "08", "1", "TABNAME = 'T'"},
        {"reorg-no-texts", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    };
}

}  // namespace generated

#endif
