/* The way from a configuration document to what is stored, and back. */
#ifndef TESTS_FUZZ_CONVERSIONS_H
#define TESTS_FUZZ_CONVERSIONS_H

#include <optional>
#include <vector>

#include "base/sqlpiReport.h"
#include "configuration/sqlpiPolicyConfigCommon.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiPolicyValidate.h"
#include "fuzzTarget.h"
#include "memoryPool.h"
#include "sqlpiPolicyConfig.h"

namespace fuzz {

inline constexpr const char* policyTypes[] = {"MAINTENANCE_WINDOW", "AUTO_BACKUP", "AUTO_REORG", "AUTO_RUNSTATS"};

/* What would be stored; nothing when the document is refused. */
inline std::optional<std::string> toStored(const char* type, const std::string& document) {
    std::vector<char> output(SQLPI_OLD_POLICY_SIZE, '#');
    sqlca ca = {};
    if (sqlpiValidateAutomaintPolicy(type, document, output.data(), ca) != SQLPI_CONFIG_OK) {
        demand(ca.sqlcode == SQLPI_INVALID_DOCUMENT || ca.sqlcode == SQLPI_UNUSABLE_DOCUMENT ||
                   ca.sqlcode == SQLPI_REFUSED_DOCUMENT,
               "a refusal says why", std::to_string(ca.sqlcode));
        demand(output == std::vector<char>(SQLPI_OLD_POLICY_SIZE, '#'), "a refusal leaves the output alone");
        return {};
    }
    const size_t length = strnlen(output.data(), output.size());
    demand(length > 0 && length < output.size(), "what is stored is a terminated text");
    return std::string(output.data(), length);
}

/* The configuration document of a stored one; nothing when it cannot be read or does not fit. */
inline std::optional<std::string> toConfiguration(const char* type, std::string stored) {
    char* document = nullptr;
    int length = -1;
    sqlca ca = {};
    const uint32_t status =
        sqlpiExtractPolicyDoc(type, stored.data(), static_cast<int>(stored.size()), &document, &length, ca);
    demand((document != nullptr) == (status == SQLPI_CONFIG_OK), "a document comes with success");
    if (document == nullptr) {
        demand(ca.sqlcode == SQLPI_UNUSABLE_DOCUMENT && length == 0, "a failure says why", std::to_string(ca.sqlcode));
        return {};
    }
    std::string text(document, static_cast<size_t>(length));
    demand(document[length] == '\0' && text.find('\0') == std::string::npos, "a document is a terminated text");
    sqlofmblkEx(document, "sqlpiPolicyConfig", 0);
    return text;
}

/* What comes back of a document that was stored and shown; nothing when it is refused. */
inline std::optional<std::string> thereAndBack(const char* type, const std::string& document) {
    const std::optional<std::string> stored = toStored(type, document);
    return stored.has_value() ? toConfiguration(type, *stored) : std::nullopt;
}

/* Demands that a document which came back from the engine comes back again, once it has been stored. A window that ends
 * at midnight, or lasts a day, may come back with another duration, but only once. */
inline void demandFixedPoint(const char* type, const std::string& document) {
    const bool isWindows = std::string_view(type) == policyTypes[0];
    const std::optional<std::string> settled = isWindows ? thereAndBack(type, document) : document;
    if (!settled.has_value() || !toStored(type, *settled).has_value()) return;
    const std::optional<std::string> again = thereAndBack(type, *settled);
    demand(again == settled, "what came back comes back again", *settled + again.value_or(" nothing"));
}

/* Text is stored as it is. So one with these would be markup of the stored document. */
inline bool hasMarkupInText(const std::string& document) {
    return document.find('&') != std::string::npos || document.find("<![") != std::string::npos;
}

}  // namespace fuzz

#endif
