/* Memory accounting, a debugging aid beside the ordinary allocation calls of err.h: an allocator that knows its
 * blocks and checks pointers against them, and a trace that writes a line for every allocation that an
 * application or plug-in sends through it. The library itself uses neither.
 *
 * Messages. The checks do not report through ERR. A message goes to standard output as "WARNING: TEXT", after
 * which the call goes on; or as "FATAL  : TEXT" with the question "Continue? (y/n)", after which the process
 * aborts unless a line of standard input begins with y or Y.
 *
 * Threads: none of these calls is synchronised; all of them belong to one thread at a time. */
#ifndef ORBBASE_SUPPORT_UTL_H
#define ORBBASE_SUPPORT_UTL_H

#include <stdint.h>

#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* ---- The checked allocator ------------------------------------------------------------------------- */

/* A block that is recorded with its bounds. Recorded blocks are found by their base in about constant time,
 * however many there are; each takes 24 bytes of the record and some 32 of its index.
 *
 * size_bytes     0 is what malloc makes of it.
 * element_bytes  size of one element, for UTL_check_index; 0: none.
 *
 * Returns the block, null when there is no memory and the user went on. Fatal: "Module not a multiple of size in
 * malloc." (size_bytes is none of element_bytes), "malloc has denied memory request.". */
ORB_API void* UTL_malloc(uint32_t size_bytes, uint32_t element_bytes);

/* Changes the size of a recorded block, which may move. Returns the block; the block as it was when it is not
 * recorded (warning "Base pointer not in database."); null, with the block as it was, when there is no memory and
 * the user went on (fatal "Ptr request denied in realloc."). */
ORB_API void* UTL_realloc(void* block, uint32_t size_bytes, uint32_t element_bytes);

/* Marks a block as released. It is not given back to the system, so that what still points into it can be found.
 * Returns 0. Warnings: "Base pointer not in database.", "Ptr previously freed.". */
ORB_API int32_t UTL_free(void* block);

/* Whether a pointer, or an element, lies within the block that begins at base, released or not. Return the pointer,
 * or the index. Warning: "Base pointer not in database.". Fatal: "Ptr exceeds upper bound.", "Ptr exceeds lower
 * bound.". */
ORB_API void* UTL_check_pointer(const void* base, void* pointer);
ORB_API int32_t UTL_check_index(const void* base, int32_t index);

/* ---- The trace ------------------------------------------------------------------------------------- */

/* What code allocates through that wants to be traced. name says what the block is for and goes into the trace; it
 * may be null. The functions are ERR_malloc, ERR_realloc and ERR_free but for the name, and results are theirs. */
typedef struct UTL_HOOKS {
  void* (*allocate)(uint32_t size_bytes, const char* name);                /* as ERR_malloc */
  void* (*reallocate)(void* block, uint32_t size_bytes, const char* name); /* as ERR_realloc */
  int32_t (*release)(void* block, const char* name);                       /* as ERR_free */
} UTL_HOOKS;

/* The hooks in force; a trace changes what they point to. */
extern ORB_API UTL_HOOKS utl__hooks;

/* Begins a trace, or nests in one. The first call opens ".memstat" in the current directory for writing; from then
 * on the hooks write a line there for each call:
 *   malloc: ptr %p size %d name %s
 *   realloc: ptr from %p to %p size %d name %s
 *   free: ptr %p name: %s
 * Returns 1; 0 when the file cannot be opened, which standard error says (" yow - can't open vm stat file"): the
 * trace counts as begun, and writes nothing. */
ORB_API int32_t UTL_trace_on(void);

/* Ends a trace when it was called as often as UTL_trace_on: closes the file and puts the hooks back. Otherwise it
 * only counts; without a trace it does nothing. A file that has not taken all lines is told on standard error.
 * Returns 1. */
ORB_API int32_t UTL_trace_off(void);

/* Hands the trace, as written so far, to the summary tool: runs, by the system's command processor, the value of
 * the environment variable QV_BIN_DIR with "tools/memstat" right behind it; the value ends with "/". Its result is
 * not looked at. Returns 1. Without the variable standard error says "set brightmoor environment variables,
 * please.", and the process ends with status 0. */
ORB_API int32_t UTL_trace_report(void);

ORB_END_C

#endif
