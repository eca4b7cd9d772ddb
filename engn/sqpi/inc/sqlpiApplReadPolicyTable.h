/* Policy table reader: one stored document from SYSTOOLS.POLICY. */
#ifndef SQLPI_APPL_READ_POLICY_TABLE_H
#define SQLPI_APPL_READ_POLICY_TABLE_H

#include <cstddef>
#include <cstdint>

#include "sqlpiApi.h"

/* What accompanies each policy key; the reader does not use it. */
constexpr int32_t SQLPI_KEY_KIND = 9;

constexpr int32_t SQLPI_NO_ROW = 100;

/* Reads the POLICY column of the first row that the filters select.
 *
 * `med`, `decision`, `name`: terminated keys, inserted into the statement as they are (so they must come from a trusted
 * caller); null (as is any pointer below 4096) or empty: no filter on that column. `sinceTime` (null: no filter): only
 * a row whose UPDATE_TIME is later, in seconds since the epoch, local time of the years 1000 to 9999.
 * `*outBuffer` receives the document's bytes, not terminated, freed by the caller with sqlofmblkEx; null unless the
 * status is 0. `*outLength` receives its length, or 0.
 *
 * Returns 0, or the call-level interface's return code of the first call that failed (-1 error, -2 invalid handle,
 * 1 the document came back incomplete, 100 no row). -1 also tells that there is no memory for the document, that the
 * column holds no value, that `sinceTime` is out of range, or that `outBuffer` or `outLength` is null.
 * Threads: any number at once; needs an engine context on the thread. */
SQLPI_ENTRY int32_t sqlpiGetPolicy(const char* med, int32_t medKind, const char* decision, int32_t decisionKind,
                                   const char* name, int32_t nameKind, char** outBuffer, int32_t* outLength,
                                   const int64_t* sinceTime) noexcept;

#endif
