/* Response curves and gamma tables: how stored sample values relate to light. */
#ifndef ORBBASE_RESPONSE_H
#define ORBBASE_RESPONSE_H

#include <stdint.h>

#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* Channel and curve types. */
enum {
  ORB_C_INTEGER = 1, /* 1, 2 or 4 bytes a sample, by width */
  ORB_C_FLOAT = 2,   /* 32-bit floating point */
  ORB_C_DOUBLE = 3   /* 64-bit floating point */
};

/* What ORB_RESPONSE_CURVE.kind says. */
enum {
  ORB_CURVE_GAMMA = 1, /* described by the gamma alone; no tables */
  ORB_CURVE_TABLE = 2  /* tabulated */
};

/* Entries of the gamma working range, 0 to 4095. */
enum { ORB_GAMMA_STEPS = 4096 };

/* A response curve. The caller owns the record; the tables belong to the library's calls below. */
typedef struct ORB_RESPONSE_CURVE {
  int32_t kind;          /* ORB_CURVE_GAMMA or ORB_CURVE_TABLE */
  float gamma;           /* exponent: light = stored value to the power of gamma, both scaled to 0..1 */
  uint64_t reserved;     /* 0 in a tabulated curve; not interpreted */
  int32_t channel_count; /* number of tables */
  int32_t resolution;    /* entries a table */
  int32_t curve_type;    /* ORB_C_INTEGER or ORB_C_FLOAT */
  int32_t depth;         /* bits of an integer entry: 8 (unsigned bytes), 9 to 16 (unsigned 16-bit) */
  void** tables; /* channel_count pointers; all tables lie in one block, the first pointer is the block */
} ORB_RESPONSE_CURVE;

/* Tabulates a curve from its description.
 *
 * curve  gamma, channel_count (1 or more), resolution (1 or more), curve_type and, for integers, depth are
 *        read. kind becomes ORB_CURVE_TABLE, reserved 0 and tables the new tables; what tables held before
 *        is not released, so a curve that has tables goes through ORB_response_curve_done first.
 *
 * With R entries, entry i of an integer table is i * M / (R - 1) rounded to the nearest for a gamma of
 * exactly 1, else (i / (R - 1)) to the power of gamma, times M, rounded, where M is the largest value of the
 * depth; a float table holds the same between 0 and 1, without M. All tables of a curve are equal. Integer
 * entries stay between 0 and M for any gamma (what is no number counts as 0), and a table of one entry holds
 * the value at 0.
 *
 * Returns 0. On failure returns -1 and leaves the curve without tables; orb__err becomes -10 when memory ran
 * out (reported by the allocator), and is not changed by a null curve, a count or resolution below 1, an
 * integer depth outside 8 to 16 or another type, none of which is reported.
 * Threads: any, on different curves. */
ORB_API int32_t ORB_response_curve_init(ORB_RESPONSE_CURVE* curve);

/* Copies a tabulated curve with tables of its own.
 *
 * dest  overwritten whole, its kind becoming ORB_CURVE_TABLE; what its tables held before is not released.
 *       With dest equal to src nothing happens.
 * src   a curve with tables.
 *
 * Returns 0. On failure returns -1 and leaves dest without tables:
 *   "Invalid curve type %d found: ..."   another type than integer or float (ERROR)
 *   "Invalid curve depth %d found: ..."  an integer curve with a depth outside 8 to 16 (ERROR)
 *   orb__err -10                         out of memory (reported by the allocator)
 * A null argument, and a source without tables or with a count below 1, fail without a report.
 * Threads: any, on different curves. */
ORB_API int32_t ORB_response_curve_copy(ORB_RESPONSE_CURVE* dest, const ORB_RESPONSE_CURVE* src);

/* Releases the tables of a curve of kind ORB_CURVE_TABLE and makes its table pointer null. The record itself
 * stays the caller's. A null curve and a curve of another kind are left as they are.
 *
 * Returns 1. Reports nothing. Threads: any, on different curves. */
ORB_API int32_t ORB_response_curve_done(ORB_RESPONSE_CURVE* curve);

/* Makes out the curve that applies b and then a: out[i] = a[b[i]], channel by channel.
 *
 * a, b  by their kinds:
 *   both gamma   out is tabulated with gamma b.gamma / a.gamma, the channel count and resolution of b, the
 *                type and depth of a
 *   both tables  the channel counts must be equal, b must be an integer curve, and 2 to the power of its
 *                depth must be a's resolution; out has gamma 1, the count and resolution of b, the type and
 *                depth of a. An entry of b beyond a's last entry counts as a's last entry.
 *   a gamma, b tables  a is tabulated first, with gamma 1 / a.gamma, b's channel count and 2 to the power of
 *                b's depth entries; then as both tables
 *   a tables, b gamma  b is tabulated first from its description; then as both tables
 * out   overwritten on success. It may be a or b, whose tables are then released; otherwise what its tables
 *       held before is not released.
 *
 * Returns 0; also, with out untouched, when a curve is of no known kind. On failure returns -1:
 *   "Incompatible response curve channel counts ..."         unequal channel counts (ERROR)
 *   "Incompatible response curve channel type ..."           b is a float curve (ERROR)
 *   "Incompatible response curve channel element counts"     a's resolution does not fit b's depth (ERROR)
 *   "Invalid curve type ...", "Invalid curve depth ..."      as ORB_response_curve_copy, for table curves
 *   orb__err -10                                             out of memory (reported by the allocator)
 * A null argument, a table curve without tables and a description that cannot be tabulated fail without a
 * report. A failed call leaves out as it was.
 * Threads: any, on different curves. */
ORB_API int32_t ORB_response_curve_comp(const ORB_RESPONSE_CURVE* a, const ORB_RESPONSE_CURVE* b,
                                        ORB_RESPONSE_CURVE* out);

/* Gamma tables between 8-bit values and the working range of ORB_GAMMA_STEPS steps. Each is kept on its side
 * of the straight line, so that dark values never fall below it (btof, btos) or rise above it (tob, tof).
 *
 * gamma  the exponent. Any value is accepted; integer entries are held within the range of their table.
 *
 * Return a new table, released with ORB_gamma_done; when memory runs out null with orb__err -10, reported by
 * the allocator. Threads: any. */

/* 256 entries, 8-bit value to 0..1: (i / 255) to the power of gamma, at least i / 4095. */
ORB_API float* ORB_gamma_btof(float gamma);
/* 256 entries, 8-bit value to working range: the same times 4095, rounded, at least i. */
ORB_API uint16_t* ORB_gamma_btos(float gamma);
/* 4096 entries, working range to 8-bit value: (i / 4095) to the power of 1 / gamma, times 255, rounded, at
 * most i. */
ORB_API uint8_t* ORB_gamma_tob(float gamma);
/* 4096 entries, working range to 8-bit scale as fractions: the same power times 254.9, at most i. */
ORB_API float* ORB_gamma_tof(float gamma);

/* Releases a table of the four calls above; null is accepted. Returns 1. Threads: any. */
ORB_API int32_t ORB_gamma_done(void* table);

ORB_END_C

#endif
