/* The library's own image format, RLA: run-length encoded scanlines, one or more images a file. These calls are
 * what a format module names as its imageReadOpen, imageWriteOpen and imageIsFile; the modules "rla" and "rlb" do.
 * The bytes of a file are in docs/rla.md.
 *
 * A handle is one that ORB_open has prepared, and ORB_open is how applications come here. */
#ifndef ORBBASE_FORMATS_RLA_H
#define ORBBASE_FORMATS_RLA_H

#include <stdint.h>
#include <stdio.h>

#include "orbbase/core.h"

ORB_BEGIN_C

/* Whether a file begins with a sound header of an RLA file, of either revision.
 *
 * path    the file, if there is no stream; may be NULL, which is no RLA file, as is all that is no regular file.
 * stream  open on the file for reading, or NULL. It is rewound, and left behind the header.
 *
 * Returns 1 or 0. Reports nothing and leaves orb__err alone. Threads: any, on different streams. */
ORB_API uint8_t ORB_rla_is_file(const char* path, FILE* stream);

/* Opens an RLA file of either revision for reading.
 *
 * image  a handle for reading with info.handle, the name. With info.open_option the name is taken as it stands.
 *        Otherwise it gets info.extension behind it where it lacks that; what does not open so is looked for in
 *        the folder of QV_IMG_DIR. The handle's name becomes the path that was opened.
 *
 * Fills the handle's description from the file: an image descriptor for each image, with image_kind 1 for the
 * first and 2 for the others; text1, text3 to text9; text10 "run length encoded". What a file of the older
 * revision does not have reads as "unknown" (text8, text9), NULL (names of the auxiliary group) or 8-bit
 * integers. Of word_e the ORB_ASSUMED_ bits are set as the file says. Numbers of no meaning to the format keep
 * their defaults. A date that begins with "{" and seconds since 1970 becomes the local time in the locale's form.
 *
 * Any row of an image may be read at any time, through ORB_scan_read or the slot of the driver block that has
 * the image's number. Rows outside the active window read as zeros. Nothing of a file is believed before it is
 * seen: the memory that an open takes is bounded by the file's size.
 *
 * Returns 1; or 0, with orb__err and a report (ERROR), everything released:
 *    -5  no name, or the file cannot be opened, or its headers cannot be read for the system's reason
 *    -8  "%s: This does not appear to be a Brightmoor file": another format, a file cut short in a header or
 *        an offset table, a header that repeats or that claims more than the file holds. "/dev/stdin" always
 *        ends so, and is closed by it, once
 *   -10  out of memory, or more images, channels or bytes a row than their limits
 *   -16  a channel type or width that the format does not have ("%s cannot handle image channel width" ...)
 *
 * Reading a row gives, reported each time:
 *    -2  a line outside the window
 *    -7  a row that was never written or that does not decode
 *   -10  out of memory; with the first row of an image
 *   -18  the file is cut short, or the system's reason
 *
 * Threads: as for every driver's open function, under the library's lock. */
ORB_API int32_t ORB_rla_r_open(ORB_IMAGE* image);

/* Opens an RLA file for writing, of the current revision.
 *
 * image  a handle for writing with its whole description. With info.open_option the name is taken as it stands;
 *        otherwise the file lies in the folder of QV_IMG_DIR, if that is set, and gets info.extension behind its
 *        name where it lacks that. The handle's name becomes that path. "/dev/stdout" is standard output.
 *
 * The first header and its offset table, still empty, are written at once. The handle's description then says
 * what a reader will find: texts cut to their fields, numbers rounded as they are stored, frame_number held
 * between -1 and 32767, rows from the bottom up, no frame rate, curve tables or further numbers. text8, the
 * elapsed time, is measured by the writer. Gamma and primaries that word_e marks as assumed are not declared.
 *
 * Each image takes its rows from window.bottom upward, each once, those outside the active window included,
 * which are not stored. Rows of several images may come in turns, each through the slot of the driver block with
 * the image's number. ORB_close writes the other headers behind the rows, completes the offset tables and puts
 * the elapsed time into the first header; on standard output, which is not positioned, tables and positions stay
 * empty, and the 12 bytes of the time follow the data.
 *
 * Returns 1; or 0, with orb__err and a report (ERROR), before a file is made but for the last two:
 *    -5  no name or no image
 *   -10  out of memory, or more images, channels or bytes a row than their limits
 *   -16  colour indices, or a channel type or width that the format does not have
 *   -20  windows outside 0 to 32767 or out of order, more than 3 colour channels, a gamma that is no number,
 *        active rows of more than 16383 floats or 8191 doubles
 *    -5  the file cannot be opened
 *   -20  it cannot be written; a regular file that the call has made is removed
 *
 * Writing a row gives -2 for a line out of sequence, and -20 when it cannot be written, when a channel takes more
 * than 65535 bytes, or when it would begin behind 4 GiB. After -20 ORB_close completes what can be completed, and
 * returns -20; after a failure of the system further rows fail the same way, unreported. ORB_close returns -20
 * also for failures of its own.
 *
 * Threads: as for every driver's open function, under the library's lock. */
ORB_API int32_t ORB_rla_w_open(ORB_IMAGE* image);

/* Open texture files: as ORB_rla_r_open and ORB_rla_w_open, with image_kind 4, 8 or 16 in every image of the
 * handle's description.
 *
 * A name that does not begin with "/" must be that of a file that is there, for writing too: in the texture
 * folder, or else as it stands. The folder is the value of QV_TEX_DIR; while that is itself the name of an
 * environment variable, that one's value (through at most 64 variables). The path found takes the name's place
 * in the handle and is then treated as any name is. Returns 0 with -5 when there is no such file. */
ORB_API int32_t ORB_rla_texture_4_r_open(ORB_IMAGE* image);
ORB_API int32_t ORB_rla_texture_4_w_open(ORB_IMAGE* image);
ORB_API int32_t ORB_rla_texture_8_r_open(ORB_IMAGE* image);
ORB_API int32_t ORB_rla_texture_8_w_open(ORB_IMAGE* image);
ORB_API int32_t ORB_rla_texture_16_r_open(ORB_IMAGE* image);
ORB_API int32_t ORB_rla_texture_16_w_open(ORB_IMAGE* image);

ORB_END_C

#endif
