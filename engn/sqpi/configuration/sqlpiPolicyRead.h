/* Readers: the tree of a valid configuration document becomes a record.
 *
 * Elements are known by their local name, whatever their prefix. Each reader returns SQLPI_CONFIG_OK, or
 * SQLPI_CONFIG_FAILED with the SQLCODE in `ca`: -1438 no memory, -1447 (token "6") a text that does not fit its record,
 * which is never cut. The caller has zeroed the record and releases its owned texts, also after a failure. Internal. */
#ifndef SQLPI_POLICY_READ_H
#define SQLPI_POLICY_READ_H

#include <xercesc/dom/DOMElement.hpp>

#include "base/sqlpiReport.h"
#include "sqlca.h"
#include "sqlpiPolicyRecords.h"

uint32_t sqlpiReadAutoMWPolicy(const xercesc::DOMElement& root, maintenanceOldPolicy& policy, sqlca& ca) noexcept;
uint32_t sqlpiReadAutoBackupPolicy(const xercesc::DOMElement& root, backupPolicy& policy, sqlca& ca) noexcept;
uint32_t sqlpiReadAutoReorgPolicy(const xercesc::DOMElement& root, reorgPolicy& policy, sqlca& ca) noexcept;
uint32_t sqlpiReadAutoRunstatsPolicy(const xercesc::DOMElement& root, runStatsPolicy& policy, sqlca& ca) noexcept;

/* One window. Throws the XML library's out-of-memory exception. */
void sqlpiReadWindowValuesFromTree(const xercesc::DOMElement& element, maintenanceOldWindow& window);

/* Reports a text of `length` bytes where there is room for `most`. */
void sqlpiRefuseLongText(const char* function, const char* what, size_t most, size_t length, sqlca& ca,
                         int32_t sqlcode = SQLPI_REFUSED_DOCUMENT) noexcept;

#endif
