/* Trace: what the engine's support reads when it must know which way a call went.
 *
 * The library tests the flag word itself before each call, so that a trace that is off costs one load.
 * Function names and texts are UTF-8. Threads: any. Nothing here throws or jumps, and nothing here reports failure. */
#ifndef PLAT_TRACE_H
#define PLAT_TRACE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define PDT_FLAG_ENTRY 1u /* pdtEntry is wanted */
#define PDT_FLAG_EXIT 2u  /* pdtExit is wanted */
#define PDT_FLAG_DATA 4u  /* pdtData1 to pdtData3 and pdtError1 are wanted */

/* The component's trace flags. The host may change it at any time; both sides read and write it atomically. */
extern uint32_t g_sqltCompTraceFlags;

/* How a data item is to be shown. */
#define PDT_TEXT 1u    /* `length` bytes of text */
#define PDT_INTEGER 2u /* a signed integer of `length` bytes (1, 2, 4 or 8) in the machine's order */
#define PDT_BYTES 3u   /* `length` bytes, in hexadecimal */
#define PDT_SQLCA 4u   /* one struct sqlca */

/* One data item; a null `data` is shown as such. The host copies what it wants to keep. */
struct pdtItem {
    uint32_t kind;
    size_t length;
    const void* data;
};

void pdtEntry(const char* function);
void pdtExit(const char* function, int64_t result);
void pdtData1(const char* function, uint32_t probe, const struct pdtItem* item);
void pdtData2(const char* function, uint32_t probe, const struct pdtItem* first, const struct pdtItem* second);
void pdtData3(const char* function, uint32_t probe, const struct pdtItem* first, const struct pdtItem* second,
              const struct pdtItem* third);
void pdtError1(const char* function, uint32_t probe, int64_t error, const struct pdtItem* item);

#ifdef __cplusplus
}
#endif

#endif
