/* Images through operations: a rectangle in a fixed pixel layout, and operators that stand on an open handle. */
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
 *   -18  reported as ORB_MSG_CANNOT_READ_LINE: the driver claimed success and gave out no rows
 *   or what ORB_seek or ORB_scan_read has set and reported; rows stored before stay.
 *
 * Threads: one at a time on one handle; any on different handles. */
ORB_API int32_t ORB_get_region(ORB_IMAGE** image_ref, int32_t x_left, int32_t x_right, int32_t y_bottom,
                               int32_t y_top, void* buffer, uint32_t row_bytes, uint32_t layout);

/* ---- Operators --------------------------------------------------------------------------------------- */

/* An operator stands on an open handle: every scanline read or written through the handle comes out transformed.
 * Operators stack. The newest is on top and reads from the one below; only the top one can be removed. They live
 * until they are removed or the handle is closed, which takes them off from the top. A multi-frame file that
 * goes idle in the cache loses them too.
 *
 * Installing. Each call below returns the handle it was given, always, but for ORB__merge_fields. Whether the
 * operator stands on it, orb__err says together with the words below: when it is not 0 the stack is as it was.
 *   -16  reported with the operator's name: the handle has no image ("%s cannot store multiple images", 902,
 *        61, ERROR); it is open in the wrong mode, or has an active window that is not within its window
 *        (ORB_MSG_CANNOT_HANDLE); unreported: the handle is NULL, or without a scan function or private data;
 *        and what is said below
 *   -10  out of memory (reported by the allocator)
 * Operators know the first image of a handle alone; ORB__select makes another image the first.
 *
 * Transferring. Rows are the window's width of samples each, the sample of a column at column minus window.left;
 * only those of the active window are transformed. A failure of the level below is passed on as it is. An
 * operator without its state, since ORB__select chose another image above it, reports "Cannot access sub image
 * (attempted to access a locked sub image)" (902, 1201, ERROR) and returns -1. Nothing is allocated a row.
 *
 * Under an operator a handle has no region and no direct_scan function of its driver: ORB_get_region then reads
 * scanlines, and ORB_direct_scan_read gives -16. lut_read, seek, frames and playback go on to the driver.
 * ORB_seek does not open a file anew under an operator.
 *
 * Removing. Each remove function returns 1 when the operator was on top and is gone, or when the handle has no
 * private data (or is NULL); 0, with nothing changed, when something else is on top. Report nothing.
 *
 * Threads: a handle and its operators belong to one thread at a time; no lock is held. */

/* Makes one image of a multi-image handle its only one: image_count becomes 1, images[0] that image's
 * descriptor, current_line where its reading begins. The other images are locked until the removal, which gives
 * the handle back what it had. A handle of fewer than 2 images is left as it is.
 *
 * image  of either mode.
 * index  from 0. One that does not exist: -16, reported as ORB_MSG_CANNOT_HANDLE with the format's key. */
ORB_API ORB_IMAGE* ORB__select(ORB_IMAGE* image, int32_t index);
ORB_API int32_t ORB__select_remove(ORB_IMAGE* image);

/* Converts between the response curve of the file, d, and the one that the application asks for.
 *
 * image      of either mode.
 * requested  r, the caller's. Not NULL. Where a curve is described by its gamma alone, this call fills in the
 *            other fields of it, of r in the caller's record and of d in the handle's description; so they stay.
 *
 * Reading, 8-bit samples: image channel c of sample s becomes table c of the composed curve, r after d, at s.
 * Writing, to a file of 8 bits: the description's channel width becomes 12, and the application writes 12-bit
 * samples in 16-bit storage; each becomes the entry of d after r, as a byte, and the samples of the window
 * behind the active ones become 0. That happens within the caller's rows, which are narrower afterwards. A line
 * outside the active window goes on as it is. The removal gives the description its width back.
 * What lies behind the last entry of a table counts as that entry.
 *
 * Real samples, in either direction and without a change of width: s above 0 becomes s to the power of d's gamma
 * over r's (writing: r's over d's) when both curves are gammas; otherwise the composed table is read between its
 * entries, with 1.0 at the last of them, and gives 0..1. Samples of 0 and less, and what is no number, stay.
 *
 * Matte and auxiliary channels are not touched. Two gammas that are equal install nothing.
 *
 * -16  reported: integer channels of 9 bits and more, or fewer than 8 bits to be written by a
 *      gamma (ORB_MSG_IMAGE_WIDTH); no image channels, or a curve whose tables are not of bytes or fewer than
 *      the channels (ORB_MSG_CANNOT_HANDLE); or what ORB_response_curve_comp reports */
ORB_API ORB_IMAGE* ORB__gamma(ORB_IMAGE* image, ORB_RESPONSE_CURVE* requested);
ORB_API int32_t ORB__gamma_remove(ORB_IMAGE* image);

/* What the application wants to see of a class of channels. */
typedef struct ORB_QUANTIZE_TARGET {
  uint32_t type; /* ORB_C_INTEGER, ORB_C_FLOAT or ORB_C_DOUBLE */
  int32_t width; /* bits of an integer, 1 to 32; stored with the other types too */
} ORB_QUANTIZE_TARGET;

/* Integer samples for the application where the file holds real ones, or real samples from the application where
 * the file holds integers.
 *
 * image              of the mode that flags says.
 * flags              ORB_MODE_READ: reading; else ORB_MODE_WRITE: writing; neither: nothing is done.
 * color, matte, aux  what the application wants of each class; NULL: as the file has it.
 *
 * A sample is multiplied by (2^w - 1) + 0.95, w being the width of the integers, in its own precision, and cut
 * toward zero to a 64-bit integer whose low 8, 16 or 32 bits are stored. There is no clamping: what is above 1.0
 * or below 0 wraps; what is no number or has no 64-bit integer counts as 0. Up to 20 bits 1.0 of single
 * precision is the largest code; from 21 on it is 2^w, which wraps at 32.
 *
 * A class with channels takes its target's type and width into the description. Where that is no step between
 * real samples and integers, samples keep their bytes: those of a size that the description does not say are
 * followed by zeros, or cut, to the row's length. The removal gives the description back.
 *
 * Reading does nothing for an image whose classes are all integers, writing for one whose classes with channels
 * are all real, and both when aspect_kind is not 1.
 *
 * -16  reported: a target of no type or width (ORB_MSG_IMAGE_TYPE and so on); rows that ORB_chan_alloc refuses */
ORB_API ORB_IMAGE* ORB__quantize(ORB_IMAGE* image, uint32_t flags, const ORB_QUANTIZE_TARGET* color,
                                 const ORB_QUANTIZE_TARGET* matte, const ORB_QUANTIZE_TARGET* aux);
ORB_API int32_t ORB__quantize_remove(ORB_IMAGE* image);

/* Remaps the sample range of an image of up to 8 bits as it is read. With w the image channel width, a sample s
 * of any image, matte or auxiliary channel becomes the low 8 bits of
 *   trunc(s * (float)(max - min)) + trunc(2^w * min)
 * the product in single precision: 0 becomes the bottom of the interval, the top code its top. There is no
 * clamping. The offset counts codes and the scale does not, on purpose: min 0.5 of 8 bits adds 128.
 *
 * image     open for reading.
 * min, max  the interval, in units of the full range; 0 and 1 install nothing, and max may be the lower one.
 *
 * -16  reported: image, matte or auxiliary channels are not integers of up to 8 bits (ORB_MSG_IMAGE_TYPE and so
 *      on) */
ORB_API ORB_IMAGE* ORB__minmax(ORB_IMAGE* image, double min, double max);
ORB_API int32_t ORB__minmax_remove(ORB_IMAGE* image);

/* Merges two fields of an interlaced picture, one file each, into one picture of twice the height.
 *
 * image  a field, open for reading, with info.field_value not 0. Its file name, with the extension of a known
 *        format cut off, ends in "." and a frame number n; the other field is n - 1 for an even n, else n + 1,
 *        its name written "%s.%04d" and opened by ORB_open with the same description otherwise.
 *
 * Returns a new handle, which owns both fields: only it is closed. Row r comes of the odd-numbered file when r
 * is even, else of the other one, row r / 2 cut toward zero. Its images are the first field's, as many as both
 * have, with bottoms doubled, tops doubled plus 1, and an active window around both. No sample is copied. Rows
 * are valid until the next call on the handle. ORB_seek moves both fields; when it opens one anew whose rows have
 * another form by then, it gives -16, reported as ORB_MSG_CANNOT_HANDLE, and that field's rows are locked.
 * Operators that stand on a field lock its images but for the first.
 *
 * Returns the handle it was given, still the caller's, unreported and with orb__err untouched when it is no field
 * or its name has no frame number; when the partner cannot be opened, which ORB_open has reported; and with
 * orb__err
 *   -1   the fields differ, reported (902): 65 primaries, and image by image 62 gamma, 63 image channels, 64
 *        matte channels, 66 pixel aspect, 67 window; then 63 for any other channels, or types, that would give
 *        rows of another form
 *   -16  doubled rows have no 32-bit numbers, reported as ORB_MSG_CANNOT_HANDLE
 *   -10  out of memory
 * The partner is closed then. ORB_close of the merged handle returns what orb__err then is. */
ORB_API ORB_IMAGE* ORB__merge_fields(ORB_IMAGE* image);

/* Takes a merged handle apart: it is released and the partner closed, and *field_out becomes the handle that was
 * given to ORB__merge_fields. Returns 0 for a handle that is not merged, 1 otherwise; *field_out is touched only
 * then. */
ORB_API int32_t ORB__merge_fields_remove(ORB_IMAGE* image, ORB_IMAGE** field_out);

ORB_END_C

#endif
