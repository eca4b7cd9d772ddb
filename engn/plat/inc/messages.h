/* Messages and SQL communication areas.
 *
 * Threads: any. Nothing here throws or jumps. */
#ifndef PLAT_MESSAGES_H
#define PLAT_MESSAGES_H

#include <stddef.h>
#include <stdint.h>

#include "sqlca.h"

#ifdef __cplusplus
extern "C" {
#endif

#define SQL_MESSAGE_FILE "kelsql.mo"

/* One message token. */
struct sqlageToken {
    const char* text;
    size_t length;
};

/* Clears an area and sets its eye-catcher, size, blank warning flags and SQLSTATE "00000". */
void sqloinca(struct sqlca* ca);

/* Fills SQLCODE and message tokens, as many bytes as sqlerrmc holds (a token is cut between characters, separators are
 * kept). Other fields stay as they are. */
void sqlage_prepare_sqlca(int32_t sqlcode, size_t tokenCount, const struct sqlageToken* tokens, struct sqlca* ca);

/* Writes the message text for the SQLCODE, tokens and SQLSTATE of `ca` into `buffer` (`size` bytes, terminated, cut
 * between characters when it does not fit) from the message file, a name without a directory (null: SQL_MESSAGE_FILE);
 * a text that the file does not have comes from the engine itself. `lineWidth` 0: no line breaking, else no line is
 * longer than so many bytes where its words allow. Returns the text's length in bytes, or below 0 when there is no text
 * (the buffer then holds an empty one). */
int32_t sqlaintp_api(char* buffer, size_t size, uint32_t lineWidth, const char* messageFile, const struct sqlca* ca);

#ifdef __cplusplus
}
#endif

#endif
