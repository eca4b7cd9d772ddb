/* Configuration documents: validation against the schemas that the library carries, and the way from a valid document
 * to the policy-language document that says the same. */
#ifndef SQLPI_POLICY_VALIDATE_H
#define SQLPI_POLICY_VALIDATE_H

#include <cstdint>
#include <string_view>

#include "sqlca.h"

/* Validates the configuration document of the policy type ("MAINTENANCE_WINDOW", "AUTO_BACKUP", "AUTO_REORG",
 * "AUTO_RUNSTATS") and writes the policy-language document that says the same into `output` (SQLPI_OLD_POLICY_SIZE
 * bytes, terminated). Returns SQLPI_CONFIG_OK; or SQLPI_CONFIG_FAILED with the error in `ca` and `output` unchanged.
 * Threads: any number at once; needs an engine context on the thread. */
uint32_t sqlpiValidateAutomaintPolicy(const char* policyType, std::string_view document, char* output,
                                      sqlca& ca) noexcept;

struct sqlpiDocumentMistake;

/* The same, and `mistake` (may be null) receives the place and the whole message of a mistake in the document; it is
 * left as it was when there is none. Internal. */
uint32_t sqlpiValidateDocument(const char* policyType, std::string_view document, char* output, sqlca& ca,
                               sqlpiDocumentMistake* mistake) noexcept;

#endif
