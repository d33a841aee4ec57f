/* Image processes: generators that stand on an open handle and make reduced pictures, found by name. */
#ifndef ORBBASE_IMP_H
#define ORBBASE_IMP_H

#include <stdint.h>

#include "orbbase/core.h"
#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* Bits of IMP_TYPE.access. */
enum {
  IMP_CAN_READ = 1, /* can be opened with "r" */
  IMP_CAN_WRITE = 2 /* can be opened with "w" */
};

/* One type of image process. Owned by the database. */
typedef struct IMP_TYPE {
  const char* name;        /* what IMP_PROCESS.type says */
  const char* label;       /* for people, short */
  const char* description; /* for people, a line */
  uint32_t access;         /* IMP_CAN_ bits */
} IMP_TYPE;

/* What is to be opened. The caller's; lent for the length of the call. */
typedef struct IMP_PROCESS {
  const char* type; /* "none", "swatch" or "mipmap", exactly */
  int32_t size;     /* swatch: the most pixels of its longer side. 0: FMT_def_swatch, or 128 when that is 0 */
  int32_t levels; /* mipmap: the most images of the pyramid, the full one among them. 0: all, down to 1 x 1 */
  int32_t filter; /* 0: area averaging; there is no other */
  const ORB_IFD*
      full; /* swatch, writing: the full picture, of which only the windows are looked at; see below */
} IMP_PROCESS;

/* ---- The reduced pictures ------------------------------------------------------------------------------
 *
 * Averages are of light, not of stored values. For image channels a sample stands for the light that the response
 * curve of the image says:
 *   a gamma    v to the power of gamma, v being the sample over its largest code; a real sample is v itself, and
 *              one below 0 stands for the negative light of its amount. A gamma of 0 or less, or that is no
 *              finite number, counts as 1
 *   tables     integer samples of up to 16 bits: the entry of the channel's table (of the last one when there
 *              are fewer than channels) at the sample, or its last entry, over the largest value of the depth;
 *              float entries are held within 0..1, what is no number is 0. Other samples are refused
 * The average becomes the sample whose light is nearest: of two equally near that of more light, of several of
 * the same light the lowest code. Samples of 17 to 32 bits: the code nearest to the light to the power of
 * 1 / gamma; real samples: that power itself. Matte and auxiliary samples are averaged as they are. Samples
 * outside the active window count as zeros.
 *
 * Swatch. An image whose longer side is above the size is reduced so that it becomes the size, and the other side
 * the nearest whole number that keeps the aspect, at least 1. A pixel is the average of its exact area of the full
 * image, parts of pixels counting as such. An image that fits is left as it is.
 *
 * Mipmap. Level 0 is the full image, level k half of level k - 1 in both directions, rounded up, down to 1 x 1. A
 * pixel is the average of 2 x 2 pixels of the level before, the light of which is not rounded for that; of an odd
 * width or height the last pixel, on the right or at the top, stands alone. There are at most 33 levels.
 *
 * A reduced image has its window's left and bottom at 0, the smallest active window that covers what the full one
 * does, and everything else of the full image's descriptor but for pair_a, the picture's width and height: of a
 * level those of its window, of a swatch those of the full image's window. */

/* Describes the images that a file must have to take what a process gives for a picture, in order.
 *
 * process     its type may be NULL, for "none".
 * full        the descriptor of the picture. Not NULL.
 * images_out  receives the first `capacity` of the descriptors, shallow copies of *full with windows and pair_a
 *             of their own: names and tables are still those of *full. May be NULL with a capacity of 0.
 * capacity    descriptors that images_out has room for.
 *
 * Returns the number of images; 1 for "none", whose descriptor is *full, and for "swatch". 0 with orb__err -16,
 * reported, for what IMP_open refuses of type, size, levels and filter, and for windows that are not sound.
 * Threads: as IMP_open. */
ORB_API int32_t IMP_plan(const IMP_PROCESS* process, const ORB_IFD* full, ORB_IFD* images_out,
                         int32_t capacity);

/* ---- Opening ------------------------------------------------------------------------------------------- */

/* Opens an image process on a handle.
 *
 * context  a handle of ORB_open, still the caller's also when the call fails; the result is the same handle.
 * process  what to open. NULL, and a NULL type, are an invalid type.
 * access   "r" on a handle open for reading, "w" on one for writing.
 *
 * "none" gives the handle back as it is. The generators stand on the handle as operators do: see "Operators" of
 * orbbase/operators.h for stacking, transferring, removing by the close of the handle, and threads. They know the
 * first image of the handle alone; ORB__select makes another one the first. As long as a generator stands, info
 * describes what is read or written through it; its removal gives back what was there.
 *
 * Reading. "swatch": the handle's only image becomes the reduced one. "mipmap": the handle's images become the
 * levels, image 0 being the full one; ORB__select chooses another. Rows are read in the handle's order, and each
 * row of the file once for all rows of a level; where the file's rows can be read in any order, so can those of
 * the reduced image. A file that cannot gives one reduced image an open. Rows are in memory of the generator,
 * valid until the next call.
 *
 * Writing. The handle was opened with the images that IMP_plan says, of the same channels, curve and order, as its
 * driver describes them after the open. The application then writes the full picture, whose descriptor is
 * info.images[0], all rows in the handle's order. "swatch": the full picture has the windows of process->full.
 * With NULL its width and height are the pair_a of the handle's images[0], and all of it is active that lies in
 * active pixels of the reduced one; that is for drivers which keep a pair_a on writing. "mipmap": it is image 0 of the handle; level k goes to the driver as image k, its rows between
 * those of the images before it, as soon as they are complete. A driver that takes its images only one after the
 * other refuses that by its own report; rows are then refused with its code, and so is the close. Nothing may
 * stand on a handle where more than one image is written.
 *
 * Returns the handle. On failure NULL:
 *   "\"%s\" access not recognized" (902, 31, ERROR)         access is not "r" or "w"; NULL counts as ""
 *   "Invalid image process type %s" (902, 32, ERROR)        no such type; always names "none", on purpose.
 *                                                           IMP_status is -1
 *   "%s cannot handle the requested action" (902, 34, ERROR)  the type has no such access. IMP_status is -9
 * or the database could not be started, see IMP_info; or, with orb__err, from the type itself, the handle being as
 * it was:
 *   -16  unreported: the handle is NULL, or without a scan function or private data. Reported with the type's
 *        name: another mode, no image (902, 61), windows that are not sound, a negative size or level count, a filter, a
 *        curve that is not as above, images that do not fit the plan, operators beneath where there may be none
 *        (ORB_MSG_CANNOT_HANDLE); colour indices (ORB_MSG_IMAGE_TYPE); types and widths that ORB_chan_alloc
 *        refuses
 *   -10  more than a limit allows, or out of memory; reported
 *
 * Memory is a few rows a level. Threads: one at a time with IMP_info, IMP_plan and IMP_status, and see above. */
ORB_API ORB_IMAGE* IMP_open(ORB_IMAGE* context, const IMP_PROCESS* process, const char* access);

/* Takes a generator off that is on top of the handle.
 *
 * Returns 1 when one was and is gone, or when the handle has no private data (or is NULL); 0, with nothing changed,
 * when something else is on top. Reports nothing. Threads: as orb__remove_layer. */
ORB_API int32_t IMP_remove(ORB_IMAGE* image);

/* ---- The database -------------------------------------------------------------------------------------- */

/* The next type of image process, or NULL after the last. One walk for the whole process: "none", "mipmap",
 * "swatch"; it begins at the first type once, when the database starts. Records are valid until ORB_exit.
 *
 * The database starts by itself on the first call of this or of IMP_open, which starts the library if need be
 * (ORB_init without arguments) and reports ORB_MSG_DATABASE_START with "imp" and the call's name. Returns NULL when
 * the library cannot start, and when memory ran out: IMP_status is then -3. The next call tries again. ORB_exit ends
 * the database. */
ORB_API const IMP_TYPE* IMP_info(void);

/* The database's own status, which is not orb__err: 0 at the start of every IMP_open and of the database, then -1
 * for an unknown type, -9 for a type without the access asked for, -3 for memory that ran out as it started. */
ORB_API int32_t IMP_status(void);

ORB_END_C

#endif
