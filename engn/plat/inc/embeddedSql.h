/* Embedded-SQL runtime and package binding: how prepared (static) SQL of the library runs.
 *
 * A program unit of static SQL belongs to one package: collection, name and consistency token, fixed when the source
 * is prepared. One statement runs as: sqlastrt, sqlaaloc and sqlasetdata for its host variables, sqlacall, sqlastop.
 * For a dynamic statement sqlastls hands over the text before sqlacall.
 *
 * Threads: the calls from sqlastrt to sqlastop belong to the calling thread and its engine context; other threads may
 * run their own at the same time. Nothing here throws or jumps. */
#ifndef PLAT_EMBEDDED_SQL_H
#define PLAT_EMBEDDED_SQL_H

#include <stdint.h>

#include "sqlca.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What identifies a package. All texts are terminated; the token is 8 bytes, compared as they are. */
struct sqlaProgramId {
    const char* collection; /* at most 128 bytes */
    const char* package;    /* at most 128 bytes */
    char consistencyToken[8];
};

/* One host variable. */
struct sqlaVariable {
    int16_t sqlType; /* SQL_VARCHAR, SQL_LONGVARBINARY, SQL_INTEGER (an int32_t) */
    uint32_t length; /* bytes at `data`: used (input), available (output) */
    void* data;
    uint32_t*
        valueLength; /* output: receives the bytes of the whole value, also when `length` holds fewer; may be null */
    int16_t* nullIndicator; /* -1 null, 0 not; null pointer: the value is never null */
};

/* A large object as a host variable of a source. */
struct sqlaBlob {
    void* data;
    uint32_t length; /* input: bytes of the value; output: bytes of the whole value, also when `room` holds fewer */
    uint32_t room;   /* output: bytes available at `data` */
};

#define SQLA_INPUT 1u  /* usage: variables that the statement reads */
#define SQLA_OUTPUT 2u /* usage: variables that the statement fills */

#define SQLA_CALL_EXECUTE 24u /* run a section's statement */
#define SQLA_CALL_PREPARE 27u /* prepare the text given with sqlastls under a section */
#define SQLA_CALL_OPEN 26u    /* open the section's cursor */
#define SQLA_CALL_FETCH 25u   /* fetch the next row of the section's cursor */
#define SQLA_CALL_CLOSE 20u   /* close the section's cursor */

/* Starts a statement of `program`, clears `ca` and keeps its address for the outcome.
 * Returns 0, or -1 (with `ca` filled) when the runtime has no memory or the thread has no engine context. */
int32_t sqlastrt(const struct sqlaProgramId* program, struct sqlca* ca);

/* Makes room for `count` host variables of the usage. Returns 0, or -1 with the area of sqlastrt filled. */
int32_t sqlaaloc(uint32_t usage, uint32_t count);

/* Sets variables `first` (from 0) to `first + count - 1` of the usage. The entries are copied, the data is not.
 * Returns 0, or -1 with the area of sqlastrt filled. */
int32_t sqlasetdata(uint32_t usage, uint32_t first, uint32_t count, const struct sqlaVariable* variables);

/* Hands over a dynamic statement's text, `length` bytes. Returns 0, or -1 with the area of sqlastrt filled. */
int32_t sqlastls(uint32_t length, const char* text);

/* Runs a call of kind `call` on the package's `section` (from 1). The outcome is in the area of sqlastrt: 0 done,
 * 100 no row, -805 package not found in the database, -818 the bound package's consistency token is another,
 * -551 no right to run the package, -305 a null value without an indicator, else the statement's own SQLCODE.
 *
 * A fetched SQL_VARCHAR value is terminated within its `length`. A value that is longer than the room for it fills the
 * room (text is cut between characters), its `valueLength` tells the whole length, and the outcome is SQLCODE 0 with
 * SQLSTATE "01004": close the cursor and open it again with enough room to read the value whole.
 *
 * A cursor is open until it is closed, a prepared statement usable until it is prepared anew; both end with the unit of
 * work. */
void sqlacall(uint32_t call, uint32_t section);

/* Ends the statement and releases what sqlastrt to sqlastls took. May be called after any failure of them. */
void sqlastop(void);

#define SQLA_BIND_GRANT 61u /* bind option: 1 grants the right to run the package to all, 0 to its binder only */

/* One bind option. */
struct sqloptValue {
    uint32_t type;
    uint32_t value;
};
struct sqloptList {
    uint32_t count;
    const struct sqloptValue* options;
};

/* Binds the package described by the bind file at `path` (terminated, at most 4095 bytes) in the database of the
 * thread's engine context, in place of a package of that name. `messageFile` (may be null) receives the binder's
 * messages. The outcome is in `ca` and is returned: 0 bound, 25 bound with warnings (an option that the engine does not
 * know), below 0 not bound: the SQLCODE of the statement that cannot be prepared, else of what failed.
 *
 * Who may run the package: with option SQLA_BIND_GRANT 1 everybody, else who bound it. */
int32_t sqlabndx(const char* path, const char* messageFile, const struct sqloptList* options, struct sqlca* ca);

#ifdef __cplusplus
}
#endif

#endif
