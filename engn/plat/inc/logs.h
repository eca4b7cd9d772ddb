/* Logs: the diagnostic log for the engine's support, the administration log for database administrators.
 *
 * Texts are UTF-8. The host adds time, process, thread, database and user. Threads: any. Nothing here throws or jumps;
 * a record that cannot be written is dropped. */
#ifndef PLAT_LOGS_H
#define PLAT_LOGS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Importance of a record, most serious first. */
#define PD_SEVERE 1
#define PD_ERROR 2
#define PD_WARNING 3
#define PD_INFO 4

#define PD_RECORD_SIZE 4096 /* a longer record is cut by the host */

/* Writes one diagnostic record. `function` and `probe` say where it was decided. */
void pdLog(int32_t importance, const char* function, uint32_t probe, const char* text);

/* The same with a printf format. */
void pdLogPrintf(int32_t importance, const char* function, uint32_t probe, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#define SQLT_ADMIN_TEXT 0u /* message number of a record that is plain text */
/* Tokens: policy, database, description before, description after. The policy is the NAME of a row, or the type of a
 * configuration, in capitals; then there is no database. Of a row's the whole text is cut at SQLT_ADMIN_CHANGE_SIZE
 * bytes, between characters: the last token may end too early then, and those behind it are missing. A program beside
 * the library may add a fifth token, what was done: insert, update or delete. */
#define SQLT_ADMIN_POLICY_CHANGED 10515u
#define SQLT_ADMIN_CHANGE_SIZE 4093u

/* Writes one record to the administration log. `text` holds `length` bytes; the tokens of a numbered message are
 * separated by the byte 0xFF. */
void sqlt_logadmin(uint32_t messageNumber, int32_t importance, const char* function, uint32_t probe, const char* text,
                   size_t length);

#ifdef __cplusplus
}
#endif

#endif
