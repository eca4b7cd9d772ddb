/* How the windows' records are filled. Internal. */
#ifndef SQLPI_WINDOW_READING_H
#define SQLPI_WINDOW_READING_H

#include <cstdint>

#include "sqlpiCommonPolicy.h"
#include "sqlpiPolicyBase.h"

/* Sets the defaults: the online window always open, no offline window. */
void sqlpiSetMaintWindowDefaults(sqlpiMaintWindow* window) noexcept;

/* As sqlpiGetMaintWindowPolicy from a tree already parsed (null, or no record: nothing happens). Clears the root's
 * parent link and moves the tree's search cursors. Returns 0. */
int32_t sqlpiGetMaintWinFromParsedTree(SQLPIPolicyElement* root, sqlpiMaintWindow* window) noexcept;

/* Element i of `mask` becomes false where character i of `text` is '0', else true, also past the text's end. A null
 * text changes nothing. */
void sqlpiMWSetMask(bool* mask, int32_t count, const char* text) noexcept;

/* Reads "Thhmmss/Thhmmss". A null target is skipped; with `start` null, `end` receives the first half. What is not a
 * digit, or lies past the text's end, is 0. A null text changes nothing. */
void sqlpiMWSetTimeRange(sqlpiMaintWindowTime* start, sqlpiMaintWindowTime* end, const char* text) noexcept;

/* Reads "yyyymmddThhmmss/yyyymmddThhmmss" in the same way; a half may be "THISANDPRIOR" (no start limit) or
 * "THISANDFUTURE" (no end limit). */
void sqlpiMWSetDateTimeRange(sqlpiMaintWindowDateTime* start, sqlpiMaintWindowDateTime* end, const char* text) noexcept;

#endif
