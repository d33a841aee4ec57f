/* Error reporting: the one channel through which the library tells the application about a problem or an
 * event, the library's last-error code, and the checked allocation calls.
 *
 * A report has a category and a text. It is counted, remembered in a history of 16 reports and handed to the
 * handlers that the application declared, newest first; when none of them takes it, the default handler
 * prints it to standard error. The module needs no initialisation; masks, handlers and counts live until they
 * are changed. */
#ifndef ORBBASE_SUPPORT_ERR_H
#define ORBBASE_SUPPORT_ERR_H

#include <stddef.h>
#include <stdint.h>

#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* Report categories. */
enum { ERR_DEBUG = 0, ERR_INFORMATION = 1, ERR_WARNING = 2, ERR_ERROR = 3, ERR_FATAL = 4 };

/* Codes of orb__err and of the functions that return one. */
enum {
  ORB_OK = 0,
  ORB_E_SCANLINE = -2, /* a scanline out of range, or not in sequence */
  ORB_E_TYPE = -4,     /* no driver for the key or the name */
  ORB_E_OPEN = -5,     /* a file cannot be opened, or a required field is missing */
  ORB_E_DECODE = -7,   /* damaged data */
  ORB_E_FORMAT = -8,   /* not a file of this format */
  ORB_E_MEMORY = -10,  /* out of memory, or over a limit */
  ORB_E_HANDLE = -16,  /* the driver or operator cannot do what was asked */
  ORB_E_READ = -18,    /* cannot read */
  ORB_E_WRITE = -20    /* cannot write */
};

/* The library's last-error code: 0, or one of the above. Written with a relaxed atomic store; shared by all
 * threads, so that with several threads only the functions' own results tell what became of a call. */
extern ORB_API int32_t orb__err;

/* Stands for the library's message catalogue; the first argument of ERR_report_cat. Null until ORB_init
 * stores what it was given; nothing looks into it. */
extern ORB_API void* orb__msg_cat;

/* ---- Reports ---------------------------------------------------------------------------------------
 *
 * How a report travels, whichever call it came through:
 *   1. its record is put into the history, over the one of 16 reports ago;
 *   2. the handlers declared for its record, newest first;
 *   3. the record's own handler, with null user data;
 *   4. the handlers declared for all reports, newest first;
 *   5. ERR_def_handler.
 * The first handler that returns 0 ends the way.
 *
 * A category outside 0 to 4 has neither a count nor a mask of its own and reaches the handlers as 255.
 *
 * Threads. Every call here may be made from any thread. One lock is held over the count, the text, the
 * history and the whole delivery, so that reports never mix; a thread that reports waits while another
 * thread's handler runs. A handler may call everything here, may report again, and may declare and cancel
 * handlers, itself included: a report inside a report leaves the outer one's text and record as they were. It
 * must return (no exception, no longjmp) and must not wait for a thread that may report. */

typedef struct ERR_RECORD ERR_RECORD;

/* Receives a report. Returns 0 when it is dealt with, any other value to pass it on.
 *
 * identity   the record's identity: a named record's name; for ERR_report_cat and ERR_printf the format.
 * category   0 to 4, or 255 for an unknown one.
 * message    the finished text; valid during the call only.
 * record     what was reported through; null for a report without one.
 * user_data  what ERR_dcl_handler was given. */
typedef int32_t (*ERR_HANDLER)(const void* identity, uint8_t category, const char* message,
                               ERR_RECORD* record, void* user_data);

/* One declaration of a handler. The library's own. */
typedef struct ERR_HANDLER_NODE ERR_HANDLER_NODE;

/* An error record. Defined by the application, or by the library as static data; never allocated or freed
 * by this module. Zero what is not used. The history remembers its address: a record must outlive its last
 * report by 16 others, or nobody may ask ERR_last.
 *
 * Templates know these directives, each taking one argument:
 *   %d  an int32_t, printed with "%d"
 *   %f  a double, printed with "%f"
 *   %s  a text, printed with "%s"; a null one as "(null)"
 * "%%" is a "%"; "%c" prints nothing and takes no argument, on purpose; any other character after a "%" is
 * copied with it. */
struct ERR_RECORD {
  uint8_t kind;                 /* 1 in the library's static records; not interpreted */
  uint8_t category;             /* ERR_DEBUG to ERR_FATAL */
  uint32_t flags;               /* bit 0: masked */
  const void* identity;         /* a named record's name; for a catalogue report the default format */
  const char* message_template; /* null: empty; in the library's static records the finished message */
  uint32_t count;               /* times reported through ERR_report, suppressed or not */
  ERR_HANDLER own_handler;      /* called after the record's chain; may be null */
  ERR_HANDLER_NODE* handlers;   /* declared for this record only, newest first */
  void* user_word_1;            /* the application's */
  void* user_word_2;            /* the application's */
  const char** argument_names;  /* null-terminated names for ERR_format_fill, or null */
};

/* Reports as the library itself does.
 *
 * catalogue       orb__msg_cat or another catalogue's handle. Carried only, as are set and number: the
 *                 text is always the default format's.
 * set, number     the message within the catalogue. 902 is the library's set, 903 that of the
 *                 configuration databases.
 * category        ERR_DEBUG to ERR_FATAL. A fatal report that no handler takes ends the process.
 * default_format  printf-style, never text from a file or a user. Null counts as "".
 * ...             its arguments. They may point into the text of an earlier report.
 *
 * A report whose category is masked, or any while all are masked, is dropped at once: not formatted, counted
 * or remembered. The text is cut at 32767 bytes; a text cut short ends in "...". It stays readable through
 * ERR_last until the next report through this call. Allocates nothing. Returns 0. */
ORB_API int32_t ERR_report_cat(void* catalogue, int32_t set, int32_t number, int32_t category,
                               const char* default_format, ...);

/* The same without a catalogue, through a record and a text buffer of its own. Returns 0. */
ORB_API int32_t ERR_printf(int32_t category, const char* format, ...);

/* Reports a run-time library error number as ERR_ERROR, through ERR_printf.
 *
 * error_number  above 0: an errno value, reported as its strerror text; below 0: reported as "error %d"; 0
 *               reports nothing.
 * prefix        put before it with ": "; null or "": none.
 *
 * Returns 0. */
ORB_API int32_t ERR_report_errno(int32_t error_number, const char* prefix);

/* Reports through a record.
 *
 * record  not null. Its count and its category's count go up even when the report is masked, unlike the
 *         calls above.
 * ...     the arguments of its template.
 *
 * The text is cut at 255 bytes; a text cut short ends in "...". Handlers see a text that is gone when this
 * call returns. Allocates nothing. Returns 0. */
ORB_API int32_t ERR_report(ERR_RECORD* record, ...);

/* Writes a record's template with its arguments, without reporting.
 *
 * buffer  receives the text, of whatever length: the caller sizes it. Left untouched, not even terminated,
 *         while the record, its category or all reports are masked.
 * record  not null.
 *
 * Returns buffer. */
ORB_API char* ERR_format(char* buffer, ERR_RECORD* record, ...);

/* Writes a record's template with a placeholder for each directive: "<" and ">" around the next of the
 * record's argument_names or, when there is none, "character" (%c), "integer" (%d), "real" (%f), "string"
 * (%s) or "unknown type" (any other). "%%" becomes "%".
 *
 * record  not null.
 * buffer  receives the text, of whatever length. Left untouched, not even terminated, for an empty template.
 *
 * Returns buffer. */
ORB_API char* ERR_format_fill(ERR_RECORD* record, char* buffer);

/* ---- Questions ------------------------------------------------------------------------------------- */

/* Stores a record's category, masked bit (0 or 1), count, identity, template and user words. record is not
 * null; a null result pointer is passed over. The texts stay the record's. */
ORB_API void ERR_query(const ERR_RECORD* record, int32_t* category_out, int32_t* masked_out,
                       uint32_t* count_out, const void** identity_out, const char** template_out,
                       void** user_word_1_out, void** user_word_2_out);

/* A category's name, static: "DEBUG", "INFORMATION", "WARNING", "ERROR", "FATAL"; "UNKNOWN" for any other. */
ORB_API const char* ERR_type(int32_t category);

/* How often a category was reported; -1: the sum over all five, wrapping at 32 bits. Any other value gives
 * 0. */
ORB_API uint32_t ERR_stats(int32_t category);

/* The record of the n-th most recent report that was delivered, 0 being the latest. n goes to 15; 16 gives
 * the latest again. Null where there was none yet, and for a larger n. Reports through ERR_report_cat share
 * one record, those through ERR_printf another: they always show the last of their kind. */
ORB_API ERR_RECORD* ERR_last(uint32_t n);

/* Compares a name with a named record's identity, byte by byte, as strcmp. With a non-zero skip_prefix the
 * identity's first 5 bytes, its module's prefix, are passed over (all of a shorter one). Nothing may be null.
 * Returns a negative value, 0 or a positive one. */
ORB_API int32_t ERR_compare(const char* name, const ERR_RECORD* record, int32_t skip_prefix);

/* ---- Masks ----------------------------------------------------------------------------------------- */

/* Suppresses a record's reports or, with null, all reports of the process. Returns the state before: 0 or
 * 1. */
ORB_API int32_t ERR_mask(ERR_RECORD* record);
/* Takes that back. Returns the state before. */
ORB_API int32_t ERR_unmask(ERR_RECORD* record);

/* Suppresses a category. At first ERR_DEBUG is suppressed and no other. Returns the state before, 0 or 1; a
 * category above 4 does nothing and gives 0. */
ORB_API int32_t ERR_mask_s(uint32_t category);
/* Takes that back. Returns as ERR_mask_s. */
ORB_API int32_t ERR_unmask_s(uint32_t category);

/* ---- Handlers -------------------------------------------------------------------------------------- */

/* Declares a handler, in front of those declared before.
 *
 * record     the record whose reports it is for; null: all reports.
 * handler    a null one passes everything on.
 * user_data  handed to the handler; not interpreted.
 *
 * Each declaration is to be taken back with one ERR_can_handler, in reverse order. Returns 1, or 0 when
 * memory ran out, which is reported; nothing is declared then. */
ORB_API int32_t ERR_dcl_handler(ERR_RECORD* record, ERR_HANDLER handler, void* user_data);

/* Cancels the newest handler of a record or, with null, of all reports, whoever declared it. Returns that
 * handler, or null when there was none. */
ORB_API ERR_HANDLER ERR_can_handler(ERR_RECORD* record);

/* The handler at the end of the way: writes "%s, %s\n" with the category's name and the message to standard
 * error and flushes it. For ERR_FATAL it then shows the line in a box titled "Fatal Error", where the system
 * has one, waits until it is dismissed, and calls abort. The other arguments are not used. Returns 0. Called
 * by an application itself, it takes no lock. */
ORB_API int32_t ERR_def_handler(const void* identity, int32_t category, const char* message,
                                ERR_RECORD* record, void* user_data);

/* Stores a pointer in the module's multi-process slot when flag agrees with the module's multi-process
 * setting (both 0, or both not); the setting is 0 and never changes, and nothing reads the slot. Returns 1
 * when it was stored, else 0. */
ORB_API int32_t ERR_report_mp(void* pointer, int32_t flag);

/* ---- Checked allocation ------------------------------------------------------------------------------
 *
 * The run-time library's malloc, calloc, realloc and free; a null result is reported as ERR_ERROR, "No more internal
 * memory" (set 902, message 94), and orb__err is left to the caller. Any thread. */

/* size_bytes, not cleared. Returns the block, to be freed with ERR_free, or null, reported. */
ORB_API void* ERR_malloc(uint32_t size_bytes);

/* The same, all zeros, as of calloc: of a large block a system that hands out memory page by page takes none before
 * it is used. */
ORB_API void* ERR_zalloc(uint32_t size_bytes);

/* Changes a block's size; a null block is a new one. Returns the block, perhaps moved, or null, reported: the
 * old block is then still the caller's. With a size of 0 the run-time library may free the block and give
 * null, which is reported like any other. */
ORB_API void* ERR_realloc(void* block, uint32_t size_bytes);

/* Frees a block of the calls above; null is accepted. Returns 1. */
ORB_API int32_t ERR_free(void* block);

ORB_END_C

#endif
