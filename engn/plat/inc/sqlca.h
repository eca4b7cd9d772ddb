/* The SQL communication area: how every SQL step reports its outcome. The common layout of embedded SQL, 136 bytes. */
#ifndef PLAT_SQLCA_H
#define PLAT_SQLCA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SQLCA_TOKEN_SEPARATOR '\xFF' /* stands between two message tokens in sqlerrmc */
#define SQLCA_STATE_LENGTH 5

struct sqlca {
    char sqlcaid[8];    /* eye-catcher "SQLCA   " */
    int32_t sqlcabc;    /* size of this area in bytes: 136 */
    int32_t sqlcode;    /* 0 done, above 0 done with a warning (100: no row), below 0 failed */
    int16_t sqlerrml;   /* bytes used in sqlerrmc, 0..70 */
    char sqlerrmc[70];  /* message tokens, separated by SQLCA_TOKEN_SEPARATOR, not terminated */
    char sqlerrp[8];    /* the component that reports */
    int32_t sqlerrd[6]; /* diagnostic values; [2] is the number of rows changed */
    char sqlwarn[11];   /* warning flags, blank or 'W' */
    char sqlstate[5];   /* SQLSTATE, not terminated */
};

#ifdef __cplusplus
}
static_assert(sizeof(struct sqlca) == 136, "the published layout");
#endif

#endif
