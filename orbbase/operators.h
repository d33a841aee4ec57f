/* Reading images through operations: a rectangle in a fixed pixel layout. */
#ifndef ORBBASE_OPERATORS_H
#define ORBBASE_OPERATORS_H

#include <stdint.h>

#include "orbbase/core.h"
#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* Pixel layouts of ORB_get_region: components in memory order, each unsigned, 16-bit ones in the machine's
 * byte order. The gaps between the numbers stay. */
enum {
  ORB_REGION_GREY16 = 1, /* 2 bytes a pixel: the first image channel */
  ORB_REGION_RGBA16 = 3, /* 8 */
  ORB_REGION_RGBA8 = 5,  /* 4 */
  ORB_REGION_GREY8 = 7,  /* 1: the first image channel */
  ORB_REGION_RGB8 = 8    /* 3 */
};

/* As row_bytes of ORB_get_region: rows follow each other without a gap. */
#define ORB_REGION_PACKED 0xFFFFFFFFU

/* Reads a rectangle of an image into memory.
 *
 * image_ref        an image opened for reading; receives the handle that the call ended with, whatever the
 *                  result: as with ORB_seek the old one may be closed, and NULL means that its file could not
 *                  be opened again.
 * x_left, x_right  first and last column, both included, in image coordinates.
 * y_bottom, y_top  first and last row, both included; y_bottom is the lower number.
 * buffer           the caller's, of any alignment, at least (y_top - y_bottom + 1) * row_bytes bytes. Its
 *                  first row holds image row y_bottom, in whatever order the file stores its rows.
 * row_bytes        from one row of the buffer to the next, no less than its pixels take; or
 *                  ORB_REGION_PACKED. The bytes between rows are not written, but for the zeros below.
 * layout           one of ORB_REGION_.
 *
 * A driver with a region function of its own does it all, under the handle's lock, with the arguments as they
 * are; the rest of this text is about other drivers.
 *
 * Components. Red, green and blue are image channels 0, 1 and 2; channel 0 stands in for those that the image
 * lacks. Alpha is the first matte channel; full without one; and image channel 3 of an image with matte and
 * four or more image channels, on purpose. A sample of w bits becomes single precision, is multiplied by
 * 65535 / (2^w - 1) or 255 / (2^w - 1), itself of single precision, and cut toward zero; the low 16 or 8 bits
 * are stored. Matte samples have a factor of their own, but are read in 1 byte each when image channels have
 * up to 8 bits, else in 2; those for which a row of narrower matte samples has no bytes left are 0.
 *
 * Zeros. Outside the active window of the first image there is nothing to read.
 * - A rectangle entirely outside: the whole buffer becomes 0, gaps between rows included.
 * - One that is cut on the left or right: the same, then the pixels within are stored.
 * - Otherwise, with n rows below the window: rows 0 to n - 1 of the buffer become 0, and if rows above the
 *   window are cut too, also n rows of the buffer from row top + 1 on, top being the last row read as an image
 *   row, as far as the buffer has them. All other rows above the window are left as they are.
 * A rectangle with x_right < x_left or y_top < y_bottom writes nothing.
 *
 * Rows are read in the order of the file, after ORB_seek to the first of them, and the handle then stands at
 * the last. For ORB_seek row -1 means the first row of the file, so a rectangle whose reading would begin there
 * cannot be read from a sequential file with rows before it.
 *
 * Returns orb__err at the end of the call. A rectangle that is reversed or entirely outside leaves it as it
 * was, otherwise ORB_seek has set it to 0. On failure:
 *   -16  reported as ORB_MSG_CANNOT_HANDLE with the format's name: the layout is none of ORB_REGION_, or the
 *        handle is not for reading or has no images, or no memory could hold such a buffer (nothing is
 *        written); the image has no image channels, or an active window outside its window, or its file was
 *        replaced by a different picture (zeros may have been written); its samples have more than 16 bits
 *        (after the first row was read)
 *   -16  unreported: image_ref or the handle is NULL
 *   or what ORB_seek or ORB_scan_read has set and reported; rows stored before stay.
 *
 * Threads: one at a time on one handle; any on different handles. */
ORB_API int32_t ORB_get_region(ORB_IMAGE** image_ref, int32_t x_left, int32_t x_right, int32_t y_bottom,
                               int32_t y_top, void* buffer, uint32_t row_bytes, uint32_t layout);

ORB_END_C

#endif
