/* Policy-language parser: a document in memory becomes an element tree. */
#ifndef SQLPI_POLICY_COMMON_PARSER_H
#define SQLPI_POLICY_COMMON_PARSER_H

#include <cstdint>

#include "memoryPool.h"
#include "sqlpiApi.h"
#include "sqlpiPolicyBase.h"

constexpr int32_t SQLPI_PARSE_OK = 0;
constexpr int32_t SQLPI_PARSE_ERROR = 3;
constexpr int32_t SQLPI_PARSE_NO_MEMORY = -1219;

/* Parses `length` bytes of UTF-8 at `document` (neither copied nor kept nor freed).
 *
 * `pool` serves the XML parser's own allocations (null: the default pool), all returned when the call ends; the tree's
 * elements always come from the default pool.
 * `*result`, null before the call, receives the tree's root, owned by the caller: `delete` on it frees the whole tree.
 *
 * Returns 0: parsed, `*result` is the document's "PolicyDocument"; also for an empty document (length 0 or null), with
 *            `*result` null.
 *         3: `result` is null; or not well-formed, its document element is not "PolicyDocument", it asks for external
 *            entities or passes a bound (64 expansions of entities of 4,096 characters in all, 16 KB of declarations,
 *            128 defined attributes, 1,000 attributes of an element, 65,536 names of elements), or the engine or the
 *            XML library is not initialised; `*result` is null. What is wrong with a document is logged.
 *     -1219: no memory for the parser; `*result` is null.
 *
 * Threads: any number at once. */
SQLPI_ENTRY int32_t sqlpi_policy_parse(SQLO_MEM_POOL* pool, int32_t length, char* document,
                                       SQLPIPolicyElement** result) noexcept;

#endif
