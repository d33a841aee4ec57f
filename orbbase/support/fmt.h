/* Format defaults: what the library assumes about pictures when nobody says otherwise, and the table of named
 * picture aspects. Every value has a built-in default and can be set in the configuration file.
 *
 * The configuration file is called ".orbrc". The first of these that opens is read, the others are not:
 *
 *   $HOME/.orbrc                      if HOME is set
 *   $QV_ROOT/userconfig/.orbrc        if QV_ROOT is set
 *   /usr/zt//userconfig/.orbrc
 *
 * It is plain text, one setting a line: a keyword and its values, separated by white space. A value that
 * holds spaces is put between double quotes, single quotes or escape characters (27). At most 17 words of a
 * line are read; a line longer than 254 characters continues as a further line, and counts as one; of a file
 * at most the first 20,000 lines are read, and a longer one is reported as WARNING. Lines that start with an
 * unknown word are ignored, so several databases share one file. Whole numbers are read as far as they go
 * ("12abc" is 12, "abc" is 0). A real number is digits with an optional sign, point and exponent of one or two
 * digits, the point being "." in every locale; a word that is none leaves its setting as it was, silently. A
 * keyword with the wrong number of words is reported as ERROR, set 903 number 2, "%s: Invalid configuration
 * file syntax, line %d", and its line is ignored.
 *
 *   fmt__aspect_default NAME          the default aspect; taken only if an aspect of that name exists
 *   fmt__aspect_table                 begins a table: lines of "NAME X_RESOLUTION Y_RESOLUTION ASPECT",
 *   end_aspect_table                  lines that begin with "#" being skipped; ends it
 *   fmt__gamma_table_res N            entries of a gamma table
 *   fmt__gamma_default REAL           gamma of written files
 *   fmt__input_gamma_default REAL     gamma of files that declare none
 *   fmt__key_default KEY              format key; remembered, ORB_def_key answers "rla" all the same
 *   fmt__name_default NAME            base name; remembered, ORB_def_base_name answers "im" all the same
 *   fmt__chan_default TEXT            channels
 *   fmt__dominance even|odd           field dominance: 0 for "even", 1 for anything else
 *   fmt__frame_rate N                 frames a second; ignored unless above 0
 *   fmt__swatch_size N|none           0 for "none" and for negative numbers
 *
 * The database starts by itself on the first query, without a catalogue handle, and then reports "%s,
 * initializing database for %s request" with "fmt" and the query's name as DEBUG, set 903 number 6. If it
 * cannot start for want of memory (which the allocator or set 903 number 7, "No more internal memory", has
 * reported), FMT_find and FMT_info return NULL and the other queries what they know: the built-in value, or
 * the one that an earlier start took from the file. The next query tries again.
 *
 * Threads: none of these calls may run at the same time as another of them. */
#ifndef ORBBASE_SUPPORT_FMT_H
#define ORBBASE_SUPPORT_FMT_H

#include <stdint.h>

#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* A named picture aspect. Owned by the database. */
typedef struct FMT_ASPECT {
  const char* name;     /* unique in the table */
  int32_t x_resolution; /* pixels across; as configured, not checked */
  int32_t y_resolution; /* pixels down */
  float aspect;         /* width over height of the picture; 0 if the file's word is no number */
} FMT_ASPECT;

/* Starts the database: the built-in aspect "ntsc_640" (640 x 486, 1.33), then the configuration file. Settings
 * that the file does not name keep their value. A database that has started is not read again: the call only
 * takes FMT_info back to the first aspect.
 *
 * catalogue  handle of the message catalogue that reports of the configuration databases carry; may be NULL.
 *            Kept from the call that really reads the file, until the next such call.
 *
 * Returns 0, also when there is no configuration file. Out of memory, with everything released and the next
 * call starting anew: -10 when the text value of a keyword could not be kept, which also sets orb__err to
 * -10; -1 otherwise, orb__err untouched. Reports as said above. */
ORB_API int32_t FMT_init(void* catalogue);

/* Ends the database: releases the aspects and the texts taken from the file, so that every FMT_ASPECT and text
 * it ever gave out is invalid, and forgets the file, which the next database that starts reads again. Text
 * settings are back at their built-in values; numbers keep theirs.
 *
 * Returns 0, also when the database has not started. Reports nothing. */
ORB_API int32_t FMT_exit(void);

/* The aspect of this name, compared exactly, or NULL. NULL as name finds nothing. FMT_info goes on behind the
 * aspect that was found; a search without success leaves its walk alone. The record is valid until FMT_exit. */
ORB_API const FMT_ASPECT* FMT_find(const char* name);

/* The next aspect, or NULL at the end. Built-in aspects come first, then those of the file in its order; one
 * that the file defines again stands where the file has it. FMT_init goes back to the first. */
ORB_API const FMT_ASPECT* FMT_info(void);

/* The name of the default aspect; "ntsc_640". Valid until FMT_exit, as every text of these calls. */
ORB_API const char* FMT_def_aspect(void);

/* Gamma of written files, 2.2. As configured, not checked, as all numbers here. */
ORB_API float FMT_def_gamma(void);

/* Gamma of files that declare none, 1.0. */
ORB_API float FMT_def_input_gamma(void);

/* Entries of a gamma table, 4096. */
ORB_API int32_t FMT_def_gamma_tab_res(void);

/* Field dominance: 0 even, 1 odd; 1. */
ORB_API int32_t FMT_def_dominance(void);

/* Frames a second, always above 0; 30. */
ORB_API int32_t FMT_def_frame_rate(void);

/* Swatch size in pixels, never negative, 0 for none; 0. */
ORB_API int32_t FMT_def_swatch(void);

/* The channels of an image, "rgb". */
ORB_API const char* FMT_def_image_data(void);

ORB_END_C

#endif
