/* The image file core: the description of an image, scanline buffers, lookup tables, image handles. */
#ifndef ORBBASE_CORE_H
#define ORBBASE_CORE_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "orbbase/platform/api.h"
#include "orbbase/response.h"
#include "orbbase/support/err.h"

ORB_BEGIN_C

/* ---- The description record ------------------------------------------------------------------------ */

/* Marks an ORB_INFO that ORB_info_init has filled. */
enum { ORB_INFO_MAGIC = 22839 };

/* Inclusive, in pixels; columns count rightward, rows upward. */
typedef struct ORB_WINDOW {
  int32_t left;   /* first column */
  int32_t right;  /* last column */
  int32_t bottom; /* lowest row */
  int32_t top;    /* highest row */
} ORB_WINDOW;

/* One group of channels of one image. */
typedef struct ORB_CHANNELS {
  char* name;    /* a label for the group; may be null */
  int32_t count; /* number of channels */
  uint32_t type; /* ORB_C_INTEGER, ORB_C_FLOAT or ORB_C_DOUBLE */
  int32_t width; /* bits a sample; integers are held unsigned, unscaled, in 1, 2 or 4 bytes */
} ORB_CHANNELS;

/* Bits of ORB_IFD.orientation. */
enum {
  ORB_BOTTOM_UP = 1 /* scanlines are stored from window.bottom upward; clear: from window.top downward */
};

/* One image's descriptor. */
typedef struct ORB_IFD {
  int32_t image_kind;       /* 1: the first image of a file, 2: a later one; copied as it is */
  ORB_RESPONSE_CURVE curve; /* response curve of the image channels */
  char* name;               /* name of the picture format; may be null */
  int32_t pair_a[2];        /* picture width and height */
  float pixel_aspect;       /* width of a pixel over its height */
  ORB_WINDOW window;        /* the image */
  ORB_WINDOW active_window; /* the part of it that holds data; the rest reads as zeros */
  int32_t aspect_kind;      /* 1; copied as it is */
  uint32_t orientation;     /* ORB_BOTTOM_UP or 0 */
  ORB_CHANNELS color;       /* image channels */
  ORB_CHANNELS matte;       /* coverage */
  ORB_CHANNELS aux;         /* auxiliary, for example depth */
  ORB_CHANNELS index;       /* colour indices; exist only when color.count is 0; 2 bytes a sample */
} ORB_IFD;

/* Bits of ORB_INFO.word_e on reading with the library's own drivers and plug-ins: these were not declared
 * by the file, the library's default stands in. A writer does not declare what is marked here. */
enum {
  ORB_ASSUMED_GAMMA = 1,
  ORB_ASSUMED_PRIMARIES = 2,
  ORB_ASSUMED_PIXEL_ASPECT = 4,
  ORB_ASSUMED_FRAME_RATE = 8,
  ORB_ASSUMED_FRAME_NUMBER = 16,
  /* Of a handle opened for writing, set by the driver: samples will not come back as they are given, and no
   * setting that the application chose asks for that. */
  ORB_LOSSY_SAMPLES = 32
};

/* A driver setting: what an application chooses among a driver's capabilities. */
typedef struct ORB_CAP_SETTING {
  uint16_t code; /* of the list entry that is chosen, or the kind of value: 0 integer, 1 real */
  union {
    int32_t integer; /* with code 0 */
    float real;      /* with code 1 */
  } value;           /* a plain value */
} ORB_CAP_SETTING;

/* The description of an image file. The application fills it before writing; a driver fills it on reading. */
typedef struct ORB_INFO {
  char* key;                  /* format key; null: found by the file's name */
  char* handle;               /* file name */
  uint8_t open_option;        /* non-zero: the name is opened exactly as given */
  char* text1;                /* file-name text of a header */
  char* extension;            /* in a handle: the extension of the driver chosen */
  char* text3;                /* description */
  char* text4;                /* program name */
  char* text5;                /* host name */
  char* text6;                /* login name */
  char* text7;                /* creation date */
  char* text8;                /* elapsed writing time */
  char* text9;                /* filter name */
  char* text10;               /* a word on the storage method */
  ORB_CAP_SETTING** settings; /* null-terminated; a handle that receives the list owns it */
  uint64_t reserved_a;        /* not interpreted */
  uint64_t write_option;      /* on writing colour indices: the address of their ORB_LUT, or 0; lent until
                            ORB_open returns */
  int32_t job_number;         /* 0: taken from QV_JOB_NUM */
  int32_t frame_number;       /* of a sequence */
  int32_t field_value;        /* not 0: one field of an interlaced frame; see ORB__merge_fields */
  uint32_t magic;             /* ORB_INFO_MAGIC while valid */
  float chromaticity[12];     /* x, y, z of the red, green and blue primaries and of the white point */
  int32_t image_count;        /* descriptors in images */
  ORB_IFD* images;            /* one descriptor an image; in a handle the handle's own */
  int32_t field_mode;         /* not interpreted */
  float frame_rate;           /* frames a second */
  int32_t words[2];           /* not interpreted */
  int32_t frame_count;        /* above 0: a multi-frame file */
  uint8_t read_option;        /* 1; 0 when ORB_seek opens a file anew */
  int32_t int_d;              /* not interpreted */
  uint64_t word_e;            /* ORB_ASSUMED_ bits with the library's own drivers and plug-ins */
  uint64_t word_f;            /* not interpreted */
  uint64_t unused[2];         /* not looked at */
} ORB_INFO;

/* Gives a description its defaults and marks it valid. Pointers become null, numbers 0, but for:
 *   job_number     -1 (none)
 *   frame_number   1
 *   chromaticity   red 0.67 0.33 0, green 0.21 0.71 0.08, blue 0.14 0.08 0.78, white 0.31 0.316 0.374
 *   field_mode     1
 *   frame_rate     29.97
 *   read_option    1
 * The unused words are left as they are. What the fields held before is not released.
 *
 * info  the caller's record; null is accepted.
 *
 * Reports nothing. Threads: any, on different records. */
ORB_API void ORB_info_init(ORB_INFO* info);

/* Allocates a description with the defaults of ORB_info_init.
 *
 * Returns the record, to be released with ORB_info_free; null with orb__err -10 when memory ran out (reported
 * by the allocator). Threads: any. */
ORB_API ORB_INFO* ORB_info_alloc(void);

/* Ends the validity of a description and, if asked, releases what it holds.
 *
 * info           the caller's record; null is accepted. One that is not marked valid is an error of the
 *                application: two lines on standard error say so, and the call goes on.
 * free_contents  non-zero: key, handle, all texts, extension and images with the names of their four channel
 *                groups are released and become null; they must then come from ERR_malloc or STR_save. The
 *                name and response curve of an image are not released, on purpose: they are lent to a
 *                description, and only a handle owns its own. settings is not released.
 *                0: nothing but the mark is changed, for an application that only lends its strings.
 *
 * Reports nothing. Threads: any, on different records. */
ORB_API void ORB_info_cleanup(ORB_INFO* info, int32_t free_contents);

/* ORB_info_cleanup, and then the release of the record itself, which came from ORB_info_alloc. Null is
 * accepted. Returns 0. Threads: any, on different records. */
ORB_API int32_t ORB_info_free(ORB_INFO* info, int32_t free_contents);

typedef struct ORB_IMAGE ORB_IMAGE;

/* Gives every image descriptor of a handle's own description its defaults, for a driver's open function that
 * has just allocated info.images and set info.image_count:
 *   image_kind 1, aspect_kind 1, orientation ORB_BOTTOM_UP, name null
 *   curve      gamma 2.2 without tables; 1 channel, 256 entries, ORB_C_INTEGER, 12 bits
 *   channel groups  name null, count 0, ORB_C_INTEGER; 8 bits, index 16 bits
 * pair_a, pixel_aspect, window and active_window are left as they are. What the fields held before is not
 * released.
 *
 * image  null, and a handle without descriptors, are accepted.
 *
 * Returns 1. Reports nothing. Threads: any, on different handles. */
ORB_API int32_t orb__init_ifd(ORB_IMAGE* image);

/* ---- Scanline buffers ------------------------------------------------------------------------------ */

/* Allocates the row buffers of one scanline.
 *
 * ifd       the groups to allocate for. Changed: with colour channels, its index count becomes 0, also when
 *           the call then fails.
 * pixels    samples in a row, 0 or more.
 * label     used in reports only, not kept; normally the format key. Null counts as "".
 * size_out  if not null, receives the size of the sample block in bytes; untouched on failure.
 *
 * A sample takes by its group's type: ORB_C_INTEGER 1 byte up to 8 bits (also for a width of 0 or less), 2 up
 * to 16, 4 up to 32; ORB_C_FLOAT 4 and ORB_C_DOUBLE 8, whatever the width says. A colour index takes 2.
 *
 * Returns one row pointer a channel, in the order colour, matte, auxiliary, index; all rows zeroed, each an
 * even number of bytes, back to back in one block that begins with the first row. Without any channel the
 * array still has its first pointer, of no use but for ORB_chan_free, with which every result is released.
 * On failure returns null and sets orb__err:
 *   -16  a group's type or width is unsupported, also when the group is empty (reported as ERROR, by group
 *        in the order colour, matte, auxiliary, index), or pixels or a count is negative ("... cannot handle
 *        the requested action")
 *   -10  more channels than ORB_LIMIT_CHANNELS or more bytes than ORB_LIMIT_BUFFER (reported), or out of
 *        memory (reported by the allocator)
 * A null ifd gives null with -16, unreported.
 * Threads: any, on different descriptors. */
ORB_API void** ORB_chan_alloc(ORB_IFD* ifd, int32_t pixels, const char* label, size_t* size_out);

/* ORB_chan_alloc for those who need no size. */
ORB_API void** orb__chan_alloc(ORB_IFD* ifd, int32_t pixels, const char* label);

/* Release a buffer of the calls above; null is accepted. Return 1. Threads: any, on different buffers. */
ORB_API int32_t ORB_chan_free(void** rows);
ORB_API int32_t orb__chan_free(void** rows);

/* Copy the rows of one channel buffer into another, the last channel first; samples of 1, 2 or 4 bytes.
 *
 * dest, src  channels row pointers each; a row of dest may be the same row of src. dest's rows are changed.
 * channels   rows to copy; 0 or less copies nothing.
 * pixels     samples a row; 0 or less copies nothing.
 *
 * Return 0. Threads: any, on different buffers. */
ORB_API int32_t orb__chan_copy_1(void* const* dest, void* const* src, int32_t channels, int32_t pixels);
ORB_API int32_t orb__chan_copy_2(void* const* dest, void* const* src, int32_t channels, int32_t pixels);
ORB_API int32_t orb__chan_copy_4(void* const* dest, void* const* src, int32_t channels, int32_t pixels);

/* ---- Limits ---------------------------------------------------------------------------------------- */

enum {
  ORB_LIMIT_BUFFER = 1,   /* bytes of the largest single buffer; 1 GiB */
  ORB_LIMIT_HANDLE = 2,   /* bytes of one handle's buffers together; 2 GiB */
  ORB_LIMIT_IMAGES = 3,   /* sub-images of a file being opened, for writing too; 65,536 */
  ORB_LIMIT_CHANNELS = 4, /* channels of an image of a file being opened; 65,536 */
  ORB_LIMIT_PIXELS = 5    /* pixels of an image of a file being opened for reading, pads too; 2^36 */
};

/* Reads and sets a limit. Limits are checked before memory is taken for what a file or a caller asks for;
 * what is already allocated stays.
 *
 * which  one of ORB_LIMIT_.
 * value  the new limit, or 0 to leave it as it is.
 *
 * Returns the limit that was in force before the call; for another which 0 with orb__err -16.
 * Reports nothing. Threads: any; a limit set by one thread counts for all. */
ORB_API uint64_t ORB_limit(int32_t which, uint64_t value);

/* Holds a need against a limit: for drivers, before they allocate what a file's header asks for.
 *
 * which  one of ORB_LIMIT_.
 * need   bytes, sub-images, channels or pixels that would be used; the limit itself is still allowed.
 * call   names the caller in the report, for example "ORB_chan_alloc". Null counts as "".
 *
 * Returns 1 when it is within the limit. Otherwise reports ORB_MSG_OVER_LIMIT with the call, the limit, the
 * need, what is allowed and how that is raised, sets orb__err to -10 and returns 0. For another which returns
 * 0 with orb__err -16, unreported. Threads: any. */
ORB_API int32_t orb__within_limit(int32_t which, uint64_t need, const char* call);

/* ---- Driver settings ------------------------------------------------------------------------------- */

/* Allocates settings in one array, each with code 65535 (not chosen yet) and value 0.
 *
 * count  settings; below 1 the result is a block that holds none and is only good for its release.
 *
 * Returns the array, released with ERR_free; null with orb__err -10 when memory ran out (reported by the
 * allocator) or the array would be larger than ORB_LIMIT_BUFFER (reported). Threads: any. */
ORB_API ORB_CAP_SETTING* ORB_cap_setting_alloc(int32_t count);

/* Copies a settings list.
 *
 * list  null-terminated; null is accepted.
 *
 * Returns a null-terminated list, each setting in a block of its own; settings and list are released with
 * ERR_free. Null when list is null or empty. When memory runs out ("No more internal memory" is reported once
 * more, orb__err -10): null if the list itself could not be made, else a list that ends after the last
 * setting copied. Threads: any. */
ORB_API ORB_CAP_SETTING** ORB_cap_setting_copy(ORB_CAP_SETTING* const* list);

/* Whether two lists ask for the same settings. A null list and an empty one are the same.
 *
 * a  its settings are the ones looked at; what b holds beyond them makes no difference, unless one of the
 *    lists is empty.
 * b  must hold the settings of a in the same order: the search for a setting goes on where the one before it
 *    ended.
 *
 * The code is also the kind of value: 0 compares integers, 1 floats (no number equals nothing). Any other
 * code that both lists hold is reported (ORB_MSG_CAPABILITY_CODE, WARNING) and makes the lists differ.
 *
 * Returns 1 or 0. Threads: any. */
ORB_API int32_t ORB_cap_setting_compare(ORB_CAP_SETTING* const* a, ORB_CAP_SETTING* const* b);

/* ---- Lookup tables --------------------------------------------------------------------------------- */

/* One colour of a lookup table. The layout is the driver's; the library's own drivers and plug-ins use rgba,
 * 16 bits each, 65535 is full. */
typedef union ORB_LUT_ENTRY {
  uint16_t rgba[4]; /* red, green, blue, alpha */
  uint8_t bytes[8]; /* the same as the driver stores it */
} ORB_LUT_ENTRY;

/* A lookup table: the colours that colour indices stand for. */
typedef struct ORB_LUT {
  ORB_LUT_ENTRY* entries; /* owned */
  int32_t last_index;     /* the highest index in use */
  int32_t entry_count;    /* entries */
  float scale;            /* the driver's; 1 at first */
} ORB_LUT;

/* Allocates a table: entries zeroed, last_index count - 1, scale 1.
 *
 * count  entries, 0 or more.
 *
 * Returns the table, released with ORB_lut_free. On failure null with orb__err -10 when memory ran out
 * (reported by the allocator) or the entries would take more than ORB_LIMIT_BUFFER (reported), -16 when count
 * is negative (unreported). Threads: any. */
ORB_API ORB_LUT* ORB_lut_alloc(int32_t count);

/* Copies a table with its entries, last_index and scale.
 *
 * lut  null gives null.
 *
 * Returns the copy, released with ORB_lut_free; failures as ORB_lut_alloc. Threads: any. */
ORB_API ORB_LUT* ORB_lut_copy(const ORB_LUT* lut);

/* Changes the number of entries; new ones are zeroed. last_index keeps its value, on purpose; the
 * caller moves it.
 *
 * lut    null gives null.
 * count  as for ORB_lut_alloc.
 *
 * Returns lut. On failure the table is released, null returned, and orb__err as for ORB_lut_alloc.
 * Threads: any, on different tables. */
ORB_API ORB_LUT* ORB_lut_realloc(ORB_LUT* lut, int32_t count);

/* Releases a table and its entries; null is accepted. Returns null. Threads: any, on different tables. */
ORB_API ORB_LUT* ORB_lut_free(ORB_LUT* lut);

/* Reads the lookup table of an open image's colour indices.
 *
 * image    opened for reading.
 * lut_out  becomes null, and then what the driver stores there: a new table that the caller releases with
 *          ORB_lut_free.
 *
 * Returns 0 on success; 1 when the format has no tables, or an argument is null; else the driver's code with
 * its low byte set to 1, so that it is never taken for a success by who looks at that byte alone.
 * The driver reports. Takes no lock: not while another thread uses the handle. */
ORB_API int32_t ORB_lut_read(ORB_IMAGE* image, ORB_LUT** lut_out);

/* ---- Image handles --------------------------------------------------------------------------------- */

/* ORB_IMAGE.mode, and the bits of ORB_FORMAT.access. */
enum { ORB_MODE_READ = 4, ORB_MODE_WRITE = 8 };

/* A driver's private block: allocated by the driver, its data with it; both are freed with the handle. */
typedef struct ORB_DRIVER_BLOCK {
  void* data; /* the first argument of the driver's functions */
} ORB_DRIVER_BLOCK;

/* Driver functions; data is the driver block's. */
typedef int32_t (*ORB_LUT_READ_FN)(void* data, ORB_LUT** lut_out);
/* rows: on reading the address of a void** that receives the driver's own row pointers (colour, matte,
 * auxiliary, index), valid until the next call on the handle; on writing the caller's row pointers
 * (void**). */
typedef int32_t (*ORB_SCAN_FN)(void* data, int32_t line, void* rows);
typedef int32_t (*ORB_DIRECT_SCAN_FN)(void* data, int32_t line, intptr_t a, intptr_t b, intptr_t c,
                                      intptr_t d);
/* Closes the file, releases what driver->data points to, and ends with orb__free_obj(image), which releases
 * data, block and handle. Returns 0 or a negative code. Called with the library's lock held. */
typedef int32_t (*ORB_CLOSE_FN)(ORB_IMAGE* image);
typedef int32_t (*ORB_SEEK_FN)(void* data, int32_t line);
typedef int32_t (*ORB_FRAME_FN)(void* data, intptr_t a, intptr_t b, intptr_t c);
typedef int32_t (*ORB_PLAYBACK_PARAMS_FN)(void* data, intptr_t a, intptr_t b, intptr_t c, uint32_t d,
                                          uint32_t e, uint8_t f, uint8_t g, uint8_t h);
typedef int32_t (*ORB_PLAYBACK_PLAY_FN)(void* data, intptr_t a, intptr_t b, intptr_t c, uint8_t d,
                                        intptr_t e);
typedef int32_t (*ORB_REGION_FN)(void* data, int32_t x_left, int32_t x_right, int32_t y_bottom, int32_t y_top,
                                 void* buffer, uint32_t row_bytes, uint32_t layout);

typedef struct ORB_FORMAT ORB_FORMAT; /* orbbase/registry.h */

/* An open image. The application reads info, mode and current_line; the rest is the driver's and the
 * library's. */
struct ORB_IMAGE {
  ORB_DRIVER_BLOCK* driver;           /* one block an image of the file; the first is that of ORB_scan_read */
  ORB_INFO info;                      /* the handle's own description */
  uint32_t mode;                      /* ORB_MODE_READ or ORB_MODE_WRITE */
  ORB_LUT_READ_FN lut_read;           /* for ORB_lut_read; may be null */
  ORB_SCAN_FN scan;                   /* for ORB_scan_read and ORB_scan_write */
  ORB_CLOSE_FN close;                 /* for ORB_close */
  ORB_FRAME_FN playback_bind;         /* for ORB_playback_bind; may be null */
  ORB_FRAME_FN playback_goto;         /* for ORB_playback_goto; may be null */
  ORB_PLAYBACK_PLAY_FN playback_play; /* for ORB_playback_play; may be null */
  ORB_PLAYBACK_PARAMS_FN playback_params; /* for ORB_playback_params; may be null */
  ORB_FRAME_FN playback_stop;             /* for ORB_playback_stop; may be null */
  ORB_FRAME_FN get_frame;                 /* for ORB_get_frame; may be null */
  void (*unused_slot)(void);              /* null */
  ORB_REGION_FN region;                   /* for ORB_get_region; may be null */
  ORB_FRAME_FN set_frame;                 /* for ORB_set_frame; may be null */
  ORB_SEEK_FN seek;                       /* for ORB_seek; may be null */
  int32_t current_line;                   /* last scanline transferred; -1 at first */
  ORB_FORMAT* format;                     /* the driver's registration */
  ORB_DIRECT_SCAN_FN direct_scan; /* for ORB_direct_scan_read and ORB_direct_scan_write; may be null */
  void* lock;                     /* the handle's own */
  struct ORB_LAYER* layers;       /* on the handle, the newest first; null: none */
};

/* Opens an image file.
 *
 * info  what to open; filled by ORB_info_init (a record that was not is complained about on standard error,
 *       and used). Its texts and image descriptors are copied, not kept. info->settings is handed over when
 *       the open succeeds: the handle owns the list from then on and releases it as ORB_cap_setting_copy
 *       makes it, so pass a copy of it to every open. When the open fails, the list is still the caller's.
 * mode  "r" or "w", one letter.
 *
 * Reading: a multi-frame file that is kept open is handed out again when name and settings are the same and
 * the file has not changed. Otherwise key, handle, open_option, settings and read_option are taken from info;
 * the driver fills the description from the file. Every text of it may be NULL.
 *
 * Writing: info->handle is required. key, open_option, write_option, frame_number, field_value, int_d,
 * word_e, word_f, the primaries, the five words from field_mode on and the image descriptors are copied.
 * Texts left NULL, names of descriptors and groups too, become "unknown"; text5 the host's name, text6 the
 * login name, text7 the seconds since 1970 as "{%u}". A job_number of 0 becomes the number in QV_JOB_NUM, or
 * -1 when that is unset. A text that cannot be copied for want of memory is reported, and left NULL with all
 * texts after it; the open goes on. After the open the handle's own description says what the file will hold.
 *
 * The driver is, with a key, the first of: plug-in of that key, the library's own driver of that key, plug-in
 * of that extension, and for writing only, the library's own driver of that extension. Without a key: the
 * first plug-in, then the first own driver, whose extension ends the file's name (an empty one ends every
 * name); else the plug-in of key or extension "rla".
 *
 * Returns the handle, for ORB_close, with orb__err 0; or NULL, with orb__err and a report (ERROR):
 *    0   44  mode is not "r" or "w"
 *   -5   88  info, or for writing info->handle, is NULL
 *   -4   51  no driver for the key or name; always names "rla"
 *  -16   87  the driver cannot read, or cannot write; an image's response curve cannot be copied (no 87 then)
 *  -10   94  out of memory; 1007 more images than ORB_LIMIT_IMAGES, or more pixels
 *            than ORB_LIMIT_PIXELS
 *  -16  1014 the driver counts images and describes none; what it opened is closed
 * or what the driver reported and set; -16 where it set nothing, with 87 where it reported nothing either.
 *
 * current_line is -1 after the open, or window.top + 1 of a file read from the top downward.
 *
 * Threads: opens are serialised by the library's lock, which is held all the while. */
ORB_API ORB_IMAGE* ORB_open(ORB_INFO* info, const char* mode);

/* Reads one scanline.
 *
 * image     a handle that is open for reading.
 * line      an absolute row, window.bottom to window.top. A driver that cannot position itself takes the rows
 *           in the file's order only; see ORB_seek.
 * rows_out  receives the driver's own row pointers: colour, matte, auxiliary, then index channels; each row
 *           holds the window's width of samples, from window.left. Valid until the next call on the handle;
 *           samples may be changed in place. Not to be freed. What it points to before does not matter.
 *
 * Returns 0, and line becomes current_line; else the driver's code, or -16 with orb__err -16 when image is
 * NULL or has no driver data or scan function. Reports are the driver's.
 * Threads: calls on one handle are serialised by its lock. The rows are shared by all who use the handle. */
ORB_API int32_t ORB_scan_read(ORB_IMAGE* image, int32_t line, void*** rows_out);

/* Writes one scanline.
 *
 * image  a handle that is open for writing.
 * line   an absolute row, in the order of the handle's images[].orientation unless the driver takes any order.
 * rows   the caller's row pointers as ORB_chan_alloc makes them; the window's width of samples each. Read
 *        during the call only.
 *
 * Results and threads as ORB_scan_read. */
ORB_API int32_t ORB_scan_write(ORB_IMAGE* image, int32_t line, void** rows);

/* The same two through the driver's direct_scan function, with four arguments that are the driver's
 * affair. */
ORB_API int32_t ORB_direct_scan_read(ORB_IMAGE* image, int32_t line, intptr_t a, intptr_t b, intptr_t c,
                                     intptr_t d);
ORB_API int32_t ORB_direct_scan_write(ORB_IMAGE* image, int32_t line, intptr_t a, intptr_t b, intptr_t c,
                                      intptr_t d);

/* Positions a reader so that the next ORB_scan_read of line finds it in sequence.
 *
 * image_ref  the caller's handle; replaced when the file had to be opened again, NULL when that failed. The
 *            old handle is closed then and must not be used.
 * line       an absolute row; -1: the first of the file.
 *
 * Asks the driver when it can position itself, and does nothing when it takes any line. Otherwise the rows
 * before line are read and dropped, within the window of the first image; of those outside its active window,
 * which are part of no sequence, at most the one before line. When current_line is already past line, the
 * file is opened anew first (open_option 1, read_option 0, the same settings); one that stays open for
 * its many frames comes back as it stood, so that its driver takes any line or positions. A line that is current_line
 * itself counts as reached, and is not read again. Where a file is stored from a window.bottom
 * below -1 upward, the -1 of current_line after the open lies within the window and says nothing: read its
 * first line before seeking.
 *
 * Sets orb__err to 0 first, and returns it at the end: 0, or what a read or the open has set; a read that
 * failed leaves the handle open. -16 when image_ref or the handle is NULL, or when rows would have to be
 * dropped on a handle that is not for reading or has no images; also, reported as ORB_MSG_CANNOT_HANDLE, when
 * the file would have to be opened anew and an operator is on the handle, which would be lost; -10 when memory
 * ran out.
 * Threads: as ORB_scan_read for each row; the handle's other users must not hold on to it. */
ORB_API int32_t ORB_seek(ORB_IMAGE** image_ref, int32_t line);

/* Closes a handle: by its driver, or for reading of a multi-frame format by marking it idle in the cache. The
 * handle must not be used any more, by no thread. Returns the driver's result, which for a written file says
 * whether it is whole; 0 for a cached handle. NULL gives -16.
 * Threads: takes the handle's lock, then the library's. */
ORB_API int32_t ORB_close(ORB_IMAGE* image);

/* Closes a handle by its driver's close function, past the multi-frame cache. For operators and drivers.
 * Returns the driver's result; -16, with orb__err -16, when image is NULL or has no such function. Takes no
 * lock. */
ORB_API int32_t ORB_close_do_it(ORB_IMAGE* image);

/* Releases a handle and all that it owns: texts, image descriptors with curves and names, settings, driver
 * block and data, lock. For drivers, at the end of their close function. NULL is accepted. Returns 1. Threads: any,
 * on different handles. */
ORB_API int32_t orb__free_obj(ORB_IMAGE* image);

/* Builds a file name: directory, "/" where it is missing, name, extension.
 *
 * directory  may be NULL; left out when name begins with "/" or "./". An empty one gets no "/".
 * name       NULL counts as "".
 * extension  NULL counts as "". Not added to a name that ends with it already; its first character is left
 *            out behind a name that ends in ".".
 *
 * Returns the name in a process-wide buffer that grows as needed; the next call overwrites or moves it, so
 * that every earlier result is invalid then. The last result may be an argument. NULL, with orb__err -10,
 * reported, when memory runs out. Threads: one at a time; drivers call it while they open a file, under the
 * library's lock. */
ORB_API char* orb__build_handle(const char* directory, const char* name, const char* extension);

/* ---- Multi-frame files ----------------------------------------------------------------------------- */

/* Files of formats with imageMultiFrame other than 0 stay open when they are closed after reading, idle, and
 * opening one again finds it. Applications call ORB_multiframe_set alone; the others are called by ORB_init,
 * ORB_open and ORB_close. Threads: none of them locks; ORB_open and ORB_close hold the library's lock around
 * them. */

/* Empties the cache, without closing what it holds open, with the limit 0, and turns it off. */
ORB_API void ORB_multiframe_init(void);

/* Turns the cache on or off.
 *
 * enabled  0: off; files are closed by their driver at once.
 * limit    number of files at which idle ones are closed, the least recently used first: with 15, up to 14
 *          idle files stay open.
 *
 * Files in the cache that are idle are closed first. Those in use are forgotten: each is closed by its driver
 * with the first ORB_close, so none of them should have been opened twice. */
ORB_API void ORB_multiframe_set(int32_t enabled, int32_t limit);

/* Whether the cache is on. */
ORB_API int32_t ORB_multiframe_used(void);

/* The open handle of info->handle with equal settings, marked as used once more; or NULL. The file's status
 * is read: an idle file that changed since (status-change time, to the nanosecond where the system has it) or
 * is gone is closed, and NULL returned; one in use is handed out all the same. A status that cannot be read
 * is reported. */
ORB_API ORB_IMAGE* ORB_multiframe_open(const ORB_INFO* info);

/* Puts a handle just opened for reading into the cache, if its format has many frames. At the limit the least
 * recently used idle file is closed first. When memory runs out or the file's status cannot be read,
 * reported, the handle stays uncached and usable. Nothing is done when the file has no name. */
ORB_API void ORB_multiframe_add(ORB_IMAGE* image, const ORB_INFO* info);

/* Marks a cached handle as closed once, and at the limit closes idle files, the least recently used first,
 * until the cache holds less. A handle that becomes idle loses its operators. Returns 0. A handle that is not
 * in the cache is closed by its driver, whose result is returned. Does nothing while the cache is off. */
ORB_API int32_t ORB_multiframe_set_closed(ORB_IMAGE* image);

/* ---- Frames and playback --------------------------------------------------------------------------- */

/* Each of these calls is the driver's function of the same name in the handle, with the driver's private data
 * in place of the handle and the other arguments as they are: what they mean is the driver's affair. This is
 * what they mean to the library's own plug-ins, with frames counted from 1 to info.frame_count and every
 * argument that is not named 0; a pointer is passed as (intptr_t).
 *
 *   ORB_get_frame(image, &frame, 0, 0)      stores the current frame in an int32_t.
 *   ORB_set_frame(image, frame, 0, 0)       makes a frame current: ORB_scan_read then reads it, from its first
 *                                           scanline on. It is not given to the sink. A handle out of the
 *                                           multi-frame cache is still at the frame where it was left.
 *   ORB_playback_bind(image, sink, data, 0)
 *                                           takes an ORB_PLAYBACK_SINK and its data, in place of the one
 *                                           before. A null sink unbinds; do so before ORB_close, since the
 *                                           handle may live on in the cache.
 *   ORB_playback_params(image, &rate, 0, 0, first, last, loop, 0, 0)
 *                                           what play does: frames a second, a const float, read during the
 *                                           call (null, or 0: each frame as long as the file says); the range
 *                                           of frames, with 0 for the file's first and for its last; loop 0:
 *                                           once, else over and over. Until it is called: 0, 0, 0, 0.
 *   ORB_playback_goto(image, frame, 0, 0)   makes a frame current and gives it to the sink, whose result it
 *                                           returns; without a sink as ORB_set_frame.
 *   ORB_playback_play(image, 0, 0, 0, 0, 0)
 *                                           makes one frame of the range after the other current, from its
 *                                           first, and gives each to the sink, in the calling thread, until
 *                                           the range ends, ORB_playback_stop, or the sink returns other than
 *                                           0, which is then the result. It does not wait between frames: to
 *                                           show one for its time is the sink's affair.
 *   ORB_playback_stop(image, 0, 0, 0)       lets a running play return 0 before its next frame; called by the
 *                                           sink or by another thread. Without one it does nothing.
 *
 * Their results are 0; for what cannot be done, such as a frame that does not exist, a range that ends before
 * it begins, or play without a sink, -16 with a report; for a frame that cannot be decoded the code of that.
 *
 * All of them. When the handle has no such function, or info.frame_count is not above 0, the result is -16,
 * orb__err is left alone, and with file name and format key is reported:
 *   192  WARNING  ORB_get_frame too: "%s: cannot set the current frame for this %s file; (it is not a
 *                 multiframe file, or this function is unsupported for this file type)"
 *   204  ERROR    "%s: cannot bind the playback window for this %s file; (...)"
 *   206  WARNING  "%s: cannot set the playback frame for this %s file (...)"
 *   166  WARNING  "%s: cannot set the playback parameters for this %s file; (...)"
 *   207  WARNING  "%s: cannot start playback for this %s file; (...)"
 *   208  WARNING  "%s: cannot stop playback for this %s file; (...)"
 * A null handle gives -16, unreported.
 *
 * Threads: ORB_get_frame and ORB_set_frame hold the handle's lock, as ORB_scan_read does. The playback calls
 * hold none and come from one thread, but for ORB_playback_stop; the library starts no thread of its own. A
 * driver's play therefore moves from frame to frame by ORB_set_frame on its handle, and its mark for stopping
 * is atomic. */

/* Receives a frame that has become current.
 *
 * user_data  what ORB_playback_bind was given.
 * image      the handle, at the frame: the sink reads it with ORB_scan_read and does not close it.
 * frame      its number, from 1.
 * seconds    how long it is to be shown, 0 or more.
 *
 * Returns 0 to go on; anything else ends ORB_playback_play. */
typedef int32_t (*ORB_PLAYBACK_SINK)(void* user_data, ORB_IMAGE* image, int32_t frame, double seconds);

/* The driver's functions of these names, as said above.
 *
 * image             the handle.
 * a, b, c, d, e, f, g, h  the driver's affair. */
ORB_API int32_t ORB_get_frame(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c);
ORB_API int32_t ORB_set_frame(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c);
ORB_API int32_t ORB_playback_bind(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c);
ORB_API int32_t ORB_playback_goto(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c);
ORB_API int32_t ORB_playback_params(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c, uint32_t d,
                                    uint32_t e, uint8_t f, uint8_t g, uint8_t h);
ORB_API int32_t ORB_playback_play(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c, uint8_t d,
                                  intptr_t e);
ORB_API int32_t ORB_playback_stop(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c);

/* ---- Layers ---------------------------------------------------------------------------------------- */

/* What stands on a handle between the application and the driver: an operator. It takes the place of the driver in
 * the handle's entries and is their private data; it keeps what was there and calls it. Layers stack, come off from
 * the top, and are unwound by ORB_close. orbbase/operators.h has the library's own; docs/operators.md shows how to
 * write one. */
typedef struct ORB_LAYER ORB_LAYER;

/* A kind of layer. */
typedef struct ORB_LAYER_KIND {
  int32_t kind; /* its number on the stack; those below 1000 are the library's */
  /* What ORB_scan_read and ORB_scan_write call, with the layer as data; by layer->scan, with layer->data, it calls
   * the level below. */
  ORB_SCAN_FN scan;
  /* Gives back what the layer took beside its own block, and undoes what it changed of the description. The handle's
   * entries are those of the level below by then. May be null. */
  void (*release)(ORB_IMAGE* image, ORB_LAYER* layer);
} ORB_LAYER_KIND;

/* The state of a layer begins with one of these, which orb__install_layer fills: the handle's entries, and its slot 0,
 * as they were before. */
struct ORB_LAYER {
  int32_t kind;       /* of the layer, from its ORB_LAYER_KIND */
  ORB_SCAN_FN scan;   /* the level below's, to be called with data */
  ORB_CLOSE_FN close; /* the level below's */
  void* data;         /* private data of the level below */

  ORB_LAYER* below; /* null: the driver */
  int32_t
      has_slots; /* 0; a layer with a state for each image in the handle's slots sets it after its installation */
  void (*release)(ORB_IMAGE* image, ORB_LAYER* layer); /* from its ORB_LAYER_KIND */

  ORB_LUT_READ_FN lut_read;               /* the level below's */
  ORB_FRAME_FN playback_bind;             /* the level below's */
  ORB_FRAME_FN playback_goto;             /* the level below's */
  ORB_PLAYBACK_PLAY_FN playback_play;     /* the level below's */
  ORB_PLAYBACK_PARAMS_FN playback_params; /* the level below's */
  ORB_FRAME_FN playback_stop;             /* the level below's */
  ORB_FRAME_FN get_frame;                 /* the level below's */
  ORB_FRAME_FN set_frame;                 /* the level below's */
  ORB_SEEK_FN seek;                       /* the level below's */
  ORB_REGION_FN region;                   /* the level below's */
  ORB_DIRECT_SCAN_FN direct_scan;         /* the level below's */
};

/* Puts a layer on a handle. Its scan entry becomes the kind's, its close entry one that takes the layer off and goes
 * on; lut_read, seek, frames and playback go on to the level below; region and direct_scan, which would go past the
 * layer, become null.
 *
 * image  an open handle whose driver block has data; it must not be in use by another thread.
 * kind   lives at least as long as the layer.
 * layer  a block from ERR_malloc, the handle's from here on: it is freed when the layer comes off.
 *
 * Returns 1; 0 with orb__err -16, unreported and with nothing changed, when an argument is null or the handle has no
 * scan function or no private data. */
ORB_API int32_t orb__install_layer(ORB_IMAGE* image, const ORB_LAYER_KIND* kind, ORB_LAYER* layer);

/* Takes the newest layer off when it is of a kind: 1. Also 1 when the handle has no private data or is null. 0, with
 * nothing changed, when something else is on top. Reports nothing. Threads: not while another uses the handle. */
ORB_API int32_t orb__remove_layer(ORB_IMAGE* image, int32_t kind);

/* ---- The memory driver ----------------------------------------------------------------------------- */

/* The built-in format "mem" (extension ".mem") keeps images in the process, under their exact file names.
 *
 * Writing. ORB_open with "w" takes any number of images from 1, of every channel group, type and width, and a
 * lookup table through write_option; ORB_close publishes them all under the file name, replacing what was
 * held under it in one step. Until then nobody sees them. Lines may come in any order and more than once;
 * lines that were never written, and samples outside the active window, read as zeros. A line of the window
 * outside the active window is accepted and ignored. When memory runs out in ORB_scan_write (-10), the image
 * is broken for good: ORB_close then returns -10 and publishes nothing, and what was held before stays.
 *
 * Reading. Any line in any order. The rows are the handle's own copies, valid until its next call, and may be
 * changed in place. A reader keeps what it opened, though it be replaced or removed meanwhile.
 *
 * What is kept: texts, numbers, chromaticity and image descriptors with names and curve tables. "unknown",
 * the library's word for an absent text, reads as null. frame_count becomes 0: these are no multi-frame
 * files. Kept images survive ORB_exit; they go with ORB_mem_remove or with the process.
 *
 * orb__err, each time with a report:
 *   -5   opening a name that is not held ("Cannot open file ..."); writing without a file name or an image
 *   -16  a group's type or width without a sample form, a negative count, a window without a pixel, or an
 *        active window that is not within it
 *   -10  out of memory, or the images, the channels, a line or the whole file are over their limit; ORB_open
 *        counts every active line
 *   -2   a line outside the window
 *
 * Several images: the driver block of an open handle has one slot an image; slot k holds the private data
 * with which scan serves image k. Slot 0 is the one that ORB_scan_read and ORB_scan_write use.
 *
 * Threads: any, on different handles, the same name or not. */

/* Forgets the image held under a name. Its memory is given back when the last reader closes it, at once when
 * there is none.
 *
 * name  the exact file name under which it was written; null is held by nobody.
 *
 * Returns 0, with orb__err as it was; -5, which orb__err then holds too, when nothing is held under the name.
 * Reports nothing. Needs no started library. Threads: any. */
ORB_API int32_t ORB_mem_remove(const char* name);

/* ---- The pipe driver ------------------------------------------------------------------------------- */

/* The built-in format "pipe" (extension ".pipe") carries one image, with its whole description and lookup
 * table, as a sequential stream through a FIFO, a file, or the process's own standard input or output. The
 * stream's bytes are in docs/pipe-stream.md.
 *
 * Names. "/dev/stdin" for reading and "/dev/stdout" for writing are the process's standard streams, which are
 * never closed. A name is taken exactly as given with open_option, when it begins with "/dev/", when it ends
 * with ".pipe", or when it names a FIFO, a socket or a device. Every other name gets ".pipe" behind it; when
 * reading, the very name serves too if the other does not exist. The handle's file name becomes the path that
 * was opened.
 *
 * Opening a FIFO waits for its other end, and reading waits for bytes. ORB_open holds the library's lock
 * meanwhile, so the two ends belong in two processes.
 *
 * Writing. The active lines must come in the order that orientation says, each once; other lines of the
 * window are accepted at any time and ignored. A write that fails is reported once, with -20; from then on
 * ORB_scan_write does nothing and returns -20, and so does ORB_close. ORB_close before all active lines were
 * written reports that and returns -20. In all these cases the stream lacks its end mark, and readers see it.
 * A reader that went away is such a failure ("Broken pipe"), not a signal. An ORB_open that fails after it
 * made a new file removes it.
 *
 * Reading. The active lines must be read in order, each once; other lines of the window read as zeros at any
 * time. Reading the last active line also checks the end mark, and fails without it. After a failure no line
 * can be read any more. No byte behind the end mark is taken from a file or FIFO; of standard input the
 * C library may hold more in its own buffer, where the process's next read finds it.
 *
 * orb__err, each time with a report:
 *   -5   the file cannot be opened; writing without a file name or an image
 *   -16  more than one image; types, widths, counts and windows as for the memory driver; curve tables that
 *        are null, hold fewer than 2 or more than 2^24 entries, or number more than 65,536
 *   -8   the stream is empty, foreign, of another version, or its header is cut short or damaged
 *   -10  out of memory, or the channels, a line or the header are over their limit
 *   -2   a line outside the window, or an active line out of sequence
 *   -18  a line that cannot be read: the stream is cut short or has no end mark, or the system's reason
 *   -20  a line, or the rest at the close, that cannot be written
 *
 * Threads: any, on different handles of different streams. */

/* ---- Where the settings come from ------------------------------------------------------------------ */

/* One setting of the library as it stands. Everything a value's name and origin point at is valid until the
 * next call of ORB_init, ORB_exit, FMT_init, FMT_exit or ORB_setting. */
typedef struct ORB_SETTING {
  const char* name;   /* keyword of the configuration file, environment variable, or name of the limit */
  char value[256];    /* as text, words separated by single spaces, numbers with "." in every locale; one that
                         is too long is cut and ends in "..." */
  const char* origin; /* path of the configuration file; name of the environment variable; "application" for a
                         limit that ORB_limit has changed; or "built-in" */
  int32_t line;       /* line of the configuration file that last took effect, counted from 1; else 0 */
} ORB_SETTING;

/* Walks every setting that can change what the library does, with its value and where that came from:
 *
 * - the settings of the format database under their keywords, then its aspects, one "fmt__aspect_table" each:
 *   "NAME X_RESOLUTION Y_RESOLUTION ASPECT";
 * - "fb__default", then the frame buffers, one "framebuffer" each: name, x and y resolution, aspect, x y z of
 *   the red, green and blue primaries and of the white point, gamma. Its line is where its definition begins;
 * - the settings of the colour database; "clr__tristimulus" with the number of points of the matching
 *   functions in use; one "clr__sample_bins" for each set, with its boundaries or "uniform";
 * - the environment variables HOME, QV_ROOT, QV_ORB_MULTIFRAME_OPEN, QV_JOB_NUM, QV_IMG_DIR, QV_TEX_DIR and
 *   QV_BIN_DIR.
 *   One that is not set has the value that the library then uses, and the origin "built-in": no text for
 *   HOME, QV_IMG_DIR, QV_TEX_DIR and QV_BIN_DIR, the root "/usr/zt/", 15 open multi-frame files, the job number -1;
 * - the five limits of ORB_limit, as "ORB_LIMIT_BUFFER" and so on.
 *
 * A line of the configuration file that did not take effect (wrong number of words, a number that does not
 * parse, an aspect that does not exist) is no origin. Numbers outlive a shut-down of the library, and keep
 * the origin from before it.
 *
 * index        which setting, from 0.
 * setting_out  receives it; untouched when there is none. Not NULL.
 *
 * Returns 1, or 0 when index is negative or behind the last setting. Starts the three databases like any
 * query of theirs, with their reports, "ORB_setting" naming the request; one that cannot start for want of
 * memory shows its settings without the entries of its lists. orb__err is changed only as FMT_init changes
 * it. The walks of FMT_info are not disturbed. Threads: as the calls of orbbase/support/fmt.h. */
ORB_API int32_t ORB_setting(int32_t index, ORB_SETTING* setting_out);

ORB_END_C

#endif
