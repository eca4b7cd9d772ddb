/* What the configuration procedures share. Internal. */
#ifndef SQLPI_POLICY_CONFIG_COMMON_H
#define SQLPI_POLICY_CONFIG_COMMON_H

#include <cstdint>
#include <string_view>

#include "routines.h"
#include "sqlca.h"

/* Each returns SQLPI_CONFIG_OK or SQLPI_CONFIG_FAILED; `*document` receives a block of the
 * default pool, which the caller frees, and `*length` its bytes. */
uint32_t sqlpiAutomaintGetPolicySpCommon(const char* policyType, char** document, int* length,
                                         const sqludf_dbinfo* dbinfo, sqlca& ca) noexcept;
uint32_t sqlpiAutomaintSetPolicySpCommon(const char* policyType, std::string_view document, const sqludf_dbinfo* dbinfo,
                                         sqlca& ca) noexcept;

/* Whether that is the name of a policy type. */
bool sqlpiIsPolicyType(const char* policyType) noexcept;

/* The stored document of the type's row. */
uint32_t sqlpiReadPolicyFromTable(const char* policyType, char** text, int* length, sqlca& ca) noexcept;

/* Converts a stored document of `length` bytes to a configuration document. -1438 when it cannot be read. */
uint32_t sqlpiExtractPolicyDoc(const char* policyType, char* stored, int length, char** document, int* documentLength,
                               sqlca& ca) noexcept;

/* Describes the policy of that type as it is stored now, terminated, cut at `capacity` bytes. */
uint32_t sqpiGetPolicyOldFormatString(const char* policyType, char* buffer, int32_t capacity, sqlca& ca) noexcept;

#endif
