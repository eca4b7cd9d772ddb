/* Memory: the engine's pools and its plain allocation.
 *
 * Threads: every function may be called by any thread; a block may be freed by another thread than the one that took
 * it. Nothing here throws or jumps. */
#ifndef PLAT_MEMORY_POOL_H
#define PLAT_MEMORY_POOL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A pool of the engine. The null pointer names the engine's default pool. */
typedef struct SQLO_MEM_POOL SQLO_MEM_POOL;

/* One block of at least `size` bytes (a size of 0 gives a block that may be freed), aligned for any type, contents
 * undefined. `tag` names the source area that asks, `line` its source line; both serve the engine's accounting only.
 * Returns null when the pool has no memory left, or is none of this engine's.
 * REQUIRES: `tag` is a string with static storage duration. */
void* sqlogmblkEx(SQLO_MEM_POOL* pool, size_t size, const char* tag, uint32_t line);

/* Returns a block to the pool it came from. Null is ignored.
 * REQUIRES: `block` came from sqlogmblkEx and has not been freed. */
void sqlofmblkEx(void* block, const char* tag, uint32_t line);

/* Plain allocation, outside any pool: at least `size` bytes aligned for any type, or null. */
void* _ossMemAlloc(size_t size); /* NOLINT(bugprone-reserved-identifier): the engine's name */

/* Returns a block of _ossMemAlloc. Null is ignored. */
void _ossMemFree(void* block); /* NOLINT(bugprone-reserved-identifier): the engine's name */

#ifdef __cplusplus
}
#endif

#endif
