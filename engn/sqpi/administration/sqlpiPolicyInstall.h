/* What kelPolicyInstallSp and kelPolicyInstallSpLocal are. Internal. */
#ifndef SQLPI_POLICY_INSTALL_H
#define SQLPI_POLICY_INSTALL_H

#include "sqlpiPolicySp.h"

int32_t kelPolicyInstallSpCommon(const char* action, const char* med, const char* decision, const char* name,
                                 const char* policyFile, const sqludf_lob* policy, const kelPolicyInstallNulls* nulls,
                                 char* sqlstate, char* message, const sqludf_dbinfo* dbinfo) noexcept;

#endif
