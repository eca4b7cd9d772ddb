/* Engine state that the library asks for.
 *
 * Threads: any. Nothing here throws or jumps. */
#ifndef PLAT_ENGINE_STATE_H
#define PLAT_ENGINE_STATE_H

#include <stdint.h>

#include "sqlca.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 1 when the engine has finished loading its shared libraries, 0 before that or when it failed: the library then
 * parses nothing. */
int32_t isSharedLibInitSuccess(void);

/* The engine's one-time initialisation of its operating-system services; later calls do nothing. */
void ossOneTimeOnly(void);

/* The engine's default location of automatic backups, terminated, into `path` of `size` bytes. SQLCODE 0 in `ca` on
 * success; any other SQLCODE: unknown, and `path` is an empty text. */
void sqlpiGetDefaultAutoBackupPath(char* path, int32_t size, struct sqlca* ca);

#ifdef __cplusplus
}
#endif

#endif
