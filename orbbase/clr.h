/* Colour defaults: primaries and white point, the visible range of wavelengths, the colour matching functions
 * and the spectral bins that stand for a given number of colour samples. Every value has a built-in default
 * and can be set in the configuration file, whose place and syntax orbbase/support/fmt.h describes.
 *
 *   clr__default_samples N            spectral samples a colour by default
 *   clr__default_red_primary X Y Z    chromaticity of the red primary;
 *   clr__default_green_primary X Y Z  the green one,
 *   clr__default_blue_primary X Y Z   the blue one,
 *   clr__default_white_point X Y Z    and the white point
 *   clr__min_wavelength NM            shortest wavelength, above 0
 *   clr__max_wavelength NM            longest wavelength, above the shortest
 *   clr__tristimulus_tab_res N        entries of the matching-function table, 2 to 65,536
 *   clr__tristimulus                  begins the colour matching functions: lines of "NM X Y Z" in any order;
 *   end__tristimulus                  ends them. Further such lines count no more
 *   clr__sample_bins N uniform        replaces the bins of N samples by N bins of equal width, or by those
 *   clr__sample_bins N B0 ... BN      between N + 1 wavelengths; a word "\" goes on to the next line. N is 1
 *                                     to 1,024
 *
 * The matching-function table holds x, y and z at evenly spaced wavelengths from the shortest to the longest,
 * linearly interpolated, each function scaled so that its sum times the spacing is 1. At the shortest
 * wavelength a function starts from 0, unless points lie below; behind its last point it falls to 0 at the
 * longest. Without points in the file it is made from the colour matching functions of the CIE 1931 standard
 * colorimetric observer (2 degrees).
 *
 * Unlike the other databases this one reads numbers strictly. Reports, all as ERROR in set 903:
 *   1  "Invalid configuration file syntax, line %d; expecting a number": reading stops there; what was read
 *      before stands, the bins as they are by then, over the built-in range and matching functions
 *   2  "%s: Invalid configuration file syntax, line %d": a wrong number of words, a sample count out of range
 *      or too few boundaries; the line is ignored and reading goes on
 *   3  "Invalid matching function (check the configuration file color matching function)": one of the
 *      functions sums to zero or is not finite
 *   4  "Invalid wavelength sampling range, (%f, %f); (check the configuration file)"
 *   5  "Invalid table resolution (%d); (check the configuration file)"
 *   7  "No more internal memory", or the allocator's own report
 * After 3, 4, 5 and 7 there are no bins; the other queries answer with what the file has set so far. A
 * CLR_find whose own start fails so, in whatever way, is answered with NULL. The file is not read a second
 * time, until the library shuts down.
 *
 * The database starts by itself on the first query, without a catalogue handle, and if that succeeds reports
 * "%s, initializing database for %s request" with "clr" and the query's name as DEBUG, set 903 number 6.
 * ORB_init starts it too, and fails if that is the time it cannot be read whole (1, 3, 4, 5 or 7); called
 * again it goes on with what there is. ORB_exit ends it. Numbers that a file has set survive that.
 *
 * Threads: none of these calls may run at the same time as another of them. */
#ifndef ORBBASE_CLR_H
#define ORBBASE_CLR_H

#include <stdint.h>

#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* The bins that stand for a number of spectral samples. Bin i reaches from boundaries[i] to boundaries[i + 1];
 * one whose end does not lie above its start is empty. With f the matching-function table, interpolated
 * linearly, zero outside its range, and c = 0, 1, 2 for x, y, z:
 *
 *   integrals[3 i + c]  = integral of f_c over bin i
 *   weights[3 i + c]    = integrals[3 i + c] / sum over j of integrals[3 j + c], or 0 if that sum is 0: the
 *                         tristimulus value c of a colour is the sum over i of weights[3 i + c] * sample i,
 *                         and a colour whose samples are all 1 has x = y = z = 1
 *   wavelengths[i]      = integral of w f(w) over bin i / integral of f(w) over bin i, with f = f_0 + f_1 +
 *                         f_2: where in the bin to take the sample; the middle of the bin where f is 0 or
 *                         negative, or the quotient lies outside the bin
 *
 * The boundaries of a uniform set are min + i (max - min) / count. Owned by the database. */
typedef struct CLR_BINS {
  int32_t count;            /* bins */
  int32_t is_uniform;       /* 1: made by the word "uniform"; 0: boundaries as listed */
  const float* boundaries;  /* count + 1, in nm; as configured, not checked to ascend */
  const float* wavelengths; /* count, in nm */
  const float* integrals;   /* 3 * count */
  const float* weights;     /* 3 * count */
} CLR_BINS;

/* The set with this many bins, or NULL when there is none: built in are 1 to 10. Valid until ORB_exit. */
ORB_API const CLR_BINS* CLR_find(int32_t count);

/* Spectral samples a colour by default, 3. As configured, not checked. */
ORB_API int32_t CLR_def_color_samp(void);

/* Entries of the matching-function table, 401. */
ORB_API int32_t CLR_def_xyz_tab_res(void);

/* The shortest and the longest wavelength in nm, 380 and 780. */
ORB_API float CLR_def_min_wavelength(void);
ORB_API float CLR_def_max_wavelength(void);

/* Chromaticities x, y, z of the default primaries and white point: 0.67 0.33 0.0, 0.21 0.71 0.08, 0.14 0.08
 * 0.78 and 0.31 0.316 0.374. Three floats, as configured, owned by the database; never NULL. */
ORB_API const float* CLR_def_red_primary(void);
ORB_API const float* CLR_def_green_primary(void);
ORB_API const float* CLR_def_blue_primary(void);
ORB_API const float* CLR_def_white_point(void);

ORB_END_C

#endif
