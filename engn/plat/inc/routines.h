/* How the engine calls the library's SQL routines.
 *
 * Every argument comes as a pointer, then one 16-bit null indicator for each (SQLUDF_NULL: the argument is null), then
 * what the engine gives every routine: the SQLSTATE output (5 characters and a terminator), the routine's name and
 * specific name, the diagnostic message output, the database information. The detailed outcome goes to an sqlca.
 *
 * Arguments belong to the engine and are read during the call only. Where an entry does not say otherwise, a null
 * pointer to an argument counts as an argument that is null, and one to an indicator as not null; a null
 * `sqludf_dbinfo` as a database without a name.
 *
 * Threads: the routines may run on any number of threads at once, each with the engine context bound to its thread; no
 * two may share an argument that one of them writes. */
#ifndef PLAT_ROUTINES_H
#define PLAT_ROUTINES_H

#include <stdint.h>

#include "sqlca.h"

#ifdef __cplusplus
extern "C" {
#endif

#define SQLUDF_NULL (-1)
#define SQLUDF_NOT_NULL 0
#define SQLUDF_STATE_SIZE 6    /* bytes of the SQLSTATE output */
#define SQLUDF_MESSAGE_SIZE 71 /* bytes of the diagnostic message output */

/* Bytes of a policy document as an argument; an output value has room for as many. */
#define SQLUDF_LARGEST_LOB 2097152

/* A large-object value. */
struct sqludf_lob {
    uint32_t length; /* bytes used */
    char data[1];    /* that many bytes, not terminated */
};

/* Who calls. */
struct sqludf_dbinfo {
    uint16_t dbnamelen; /* bytes used in dbname */
    char dbname[128];   /* the database, not terminated */
};

#ifdef __cplusplus
}
#endif

#endif
