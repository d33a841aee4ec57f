/* File naming: where the frame number stands in a file's name, and how the name of another frame, a wildcard
 * for all frames, or a printf pattern is made of it.
 *
 * A name syntax is a text of the keywords "name" and "ext" (in small or capital letters), at most one run of
 * "#", which stands for the frame number and is as long as the number is wide, and punctuation other than
 * "/". "ext" stands at most once. Example and default: "name.####.ext". Letters, digits and punctuation are
 * those of ASCII, whatever the locale.
 *
 * Rules that hold for all calls here:
 * - A failure sets orb__err and reports nothing, except that the allocator reports exhausted memory and a
 *   limit that is exceeded is reported. Success leaves orb__err alone unless said otherwise.
 * - Truths are 1 and 0.
 * - The calls that only look at a syntax work on their arguments and memory of their own, and may be made
 *   from any thread. The builders look formats up: threads as for ORB_find. */
#ifndef ORBBASE_NAMING_H
#define ORBBASE_NAMING_H

#include <stdint.h>

#include "orbbase/core.h"
#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* Codes of orb__err that only file naming sets; ORB_E_MEMORY is the other one. */
enum {
  ORB_E_NO_FORMAT = -9,     /* no format has the key, or fits the name */
  ORB_E_NAME_SYNTAX = -11,  /* no valid name syntax, or no valid frame part in a format string */
  ORB_E_NAME_FIT = -12,     /* the name does not fit the syntax */
  ORB_E_EMPTY_SYNTAX = -13, /* an empty name syntax */
  ORB_E_NAME_LENGTH = -14,  /* the name, or what is built of it, is too long */
  ORB_E_EMPTY_NAME = -15,   /* an empty name */
  ORB_E_NO_ARGUMENT = -17   /* a pointer that must be given is NULL */
};

/* ---- Name syntaxes ------------------------------------------------------------------------------------ */

/* Whether the text contains "#". NULL does not. */
ORB_API int32_t ORB_name_syntax_has_frame(const char* text);

/* The keyword "name"; static. */
ORB_API const char* ORB_name_syntax_name(void);

/* Whether the text ends with "ext", in small or capital letters. A text of three characters or more also sets
 * orb__err to 0. NULL and shorter texts give 0. */
ORB_API int32_t ORB_name_syntax_ends_ext(const char* text);

/* Whether the text is a valid name syntax: made of the parts above, with a run of "#" or a "name".
 *
 * Returns 1, or 0 with orb__err
 *   -13  text is NULL or empty
 *   -11  it is not valid */
ORB_API int32_t ORB_name_syntax_verify(const char* text);

/* Whether the text is a valid name syntax that contains "ext".
 *
 * Returns 1, or 0: without a code when text is NULL or a valid syntax without "ext", else as
 * ORB_name_syntax_verify. */
ORB_API int32_t ORB_name_syntax_has_ext(const char* text);

/* Kinds of tokens. */
enum {
  ORB_TOKEN_END = 0,         /* end of the syntax */
  ORB_TOKEN_EXTENSION = 1,   /* "ext" */
  ORB_TOKEN_FIELD_COUNT = 2, /* never made by the parser; written as its matched text, or "1" */
  ORB_TOKEN_FRAME = 3,       /* the run of "#" */
  ORB_TOKEN_NAME = 4,        /* "name", or several in a row */
  ORB_TOKEN_SEPARATOR = 5    /* a run of punctuation */
};

/* One token of a parsed syntax. */
typedef struct ORB_NAME_TOKEN {
  int32_t field;        /* what a name says of the frame's field: 2 even, 3 odd, else 0 */
  int32_t length;       /* characters of the token; of a frame its width */
  const char* text;     /* the token in a copy of the syntax in small letters; not terminated */
  int32_t match_length; /* characters of match */
  const char* match;    /* the part of a file name that the token stands for; NULL until matched */
  uint32_t kind;        /* ORB_TOKEN_ */
} ORB_NAME_TOKEN;

/* Takes a syntax apart. Any length is parsed without recursion.
 *
 * syntax      NULL counts as empty, which is no valid syntax.
 * tokens_out  receives the tokens in their order and an ORB_TOKEN_END behind them, with field 0 and no match.
 *             They and the copy of the syntax are one block of the caller's, released with ERR_free.
 * depth       0. Not looked at.
 *
 * Returns 1, or 0 with *tokens_out unchanged and orb__err
 *   -11  the syntax is not valid
 *   -10  memory ran out, or the tokens would exceed ORB_LIMIT_BUFFER
 *   -17  tokens_out is NULL */
ORB_API int32_t ORB_parse_name_syntax(const char* syntax, ORB_NAME_TOKEN** tokens_out, int32_t depth);

/* ---- Building path names ------------------------------------------------------------------------------ */

/* Room that a caller gives for a path or a base name, the zero included. A builder never writes more, and
 * fails with -14 where it would have to. */
enum { ORB_PATHNAME_BYTES = 4096 };

/* What a builder makes. A mode above these, or below 0, counts as the first. */
enum {
  ORB_PATHNAME_FRAME = 0,    /* the name of one frame: "shot.0007.rla" */
  ORB_PATHNAME_WILDCARD = 1, /* a pattern for all frames: "shot.*.rla" */
  ORB_PATHNAME_PRINTF = 2    /* a format for printf: "shot.%04d.rla"; any other "%" is doubled */
};

/* Builds a path with a syntax, or without one.
 *
 * syntax      NULL: everything is done by ORB_pathname_build_no_name_syntax. Otherwise, and also when empty,
 *             *format_key_out becomes format_key at once, and ORB_pathname_build_from_name_syntax does the
 *             rest.
 * name, format_key, mode, frame_inout, path_out, base_name_out, format_key_out, format_out, keep_width
 *             as for the builders.
 * extension   not looked at without a syntax.
 *
 * All else, and the result, as for the builder called. */
ORB_API int32_t ORB_pathname_build(const char* syntax, const char* name, const char* format_key,
                                   const char* extension, int32_t mode, int32_t keep_width,
                                   int32_t* frame_inout, char* path_out, char* base_name_out,
                                   const char** format_key_out, ORB_FORMAT** format_out);

/* Builds a path with a name syntax.
 *
 * syntax         NULL or empty: the format's own, or when that is empty "name.####.ext".
 * name           a file name that fits the syntax, with or without a directory, not empty; may be path_out.
 * format_key     a format's key or extension.
 * extension      NULL or empty: the format's, without its dot. Whatever stands before its first letter is
 *                left out. An extension in capital letters alone gives way to the same in small letters when
 *                only that is in the name, and the other way round.
 * mode           ORB_PATHNAME_.
 * frame_inout    in: the frame, or -1 to take the number in the name. Out: the number in the name, or -1.
 * path_out       receives the path; room for ORB_PATHNAME_BYTES.
 * base_name_out  if not NULL, receives what stands for "name" and "ext", one behind the other without
 *                separators, "%" never doubled; room for ORB_PATHNAME_BYTES.
 * format_out     if not NULL, receives the format's record.
 * keep_width     0 or not, see below.
 *
 * How a name fits: separators and the extension are looked for from left to right, and further to the right
 * when the rest does not fit; "name" takes any text between them, the frame a run of digits. Where there are
 * several runs the frame takes the last. An extension counts only with the end of the name or punctuation but
 * "_" behind it, and with the start or such punctuation before it. A "name" needs a separator or an extension
 * somewhere behind it. A frame at the end of the syntax may have "e" (even field) or "o" (odd field) behind
 * its digits. Digits above 2147483647 are not a frame number. A name that fits only without a frame number
 * and the separator before it is taken as such; both are written nevertheless: "shot.rla" for frame 12 becomes
 * "shot.0012.rla".
 *
 * Frame and width: a frame of -1 with no number in the name counts as 1. The width is that of the syntax,
 * except that without keep_width digits that begin with 0 keep their count, and so do fewer digits than the
 * syntax has "#".
 *
 * Without keep_width, when name as given is a readable file, the path ends before the first token that stands
 * for nothing in the name.
 *
 * Returns 1, or 0 with all outputs unchanged and orb__err, looked for in this order,
 *   -9   the format is unknown (-10 when the library could not be started)
 *   -11  the syntax is not valid
 *   -15  the name is NULL or empty
 *   -17  frame_inout or path_out is NULL
 *   -14  the name, its base name, the frame's width or the path does not fit ORB_PATHNAME_BYTES
 *   -12  the name does not fit the syntax
 * and -10 at any point when memory ran out. */
ORB_API int32_t ORB_pathname_build_from_name_syntax(const char* syntax, const char* name,
                                                    const char* format_key, const char* extension,
                                                    int32_t mode, int32_t* frame_inout, char* path_out,
                                                    char* base_name_out, ORB_FORMAT** format_out,
                                                    int32_t keep_width);

/* Builds a path with a format's format string, such as "%s.%04d%s": what stands between its last "%s", one at
 * its very end left aside, and its end is the frame part. Of the printf conversions it may hold "%%" and,
 * once, one that is "%d" or begins with "%0" and ends with "d".
 *
 * name            a file name shorter than 260 characters, with or without directory, extension and frame
 *                 number; may be path_out.
 * format_key      a format's key or extension. NULL or empty: the default format if the name ends with its
 *                 extension, else the first format whose extension it ends with. An empty extension ends no
 *                 name.
 * mode            ORB_PATHNAME_.
 * keep_width      0: a name that is a readable file already gets no frame number, if the format does not add
 *                 extensions.
 * frame_inout     in: the frame, or a negative number to take the one in the name. Out: the caller's frame
 *                 if it was 0 or more, else the number in the name, or -1.
 * path_out        receives the path; room for ORB_PATHNAME_BYTES.
 * base_name_out   if not NULL, receives the name without directory, frame part and extension, "%" never
 *                 doubled; room for ORB_PATHNAME_BYTES.
 * format_key_out  if not NULL, receives the format's key, which is the format's.
 * format_out      if not NULL, receives the format's record.
 *
 * The number in a name stands at its end, before the extension, in the shape of the frame part: behind the
 * last occurrence of its first character when it begins with a literal one (without that character in the
 * name, and with the extension, the digits at the end), else the digits at the end, of which a "%0" takes no
 * more than its width. Text of the frame part behind its conversion must stand behind the digits. The number
 * is written as wide as it is found when it begins with 0, and also when it is narrower than the conversion.
 * Digits above 2147483647 are not a frame number. A name that holds a conversion itself, beginning with "%0"
 * or "%f" ("shot.%04d", "shot.%f"), is cut there: that is its frame part, with all that follows.
 *
 * A name with the extension and without a number gets no frame number. With a frame below 0 and none in the
 * name the frame part is left out in mode 0. The extension is written if the name had it or the format adds
 * extensions.
 *
 * Returns 1, or 0 with all outputs unchanged and orb__err, looked for in this order,
 *   -14  the name is NULL, empty or too long
 *   -17  frame_inout or path_out is NULL
 *   -9   the format is unknown, or none fits (-10 when the library could not be started)
 *   -14  the format string's frame part is longer than ORB_PATHNAME_BYTES
 *   -11  the format string's frame part is not valid
 *   -14  the path does not fit ORB_PATHNAME_BYTES */
ORB_API int32_t ORB_pathname_build_no_name_syntax(const char* name, const char* format_key, int32_t mode,
                                                  int32_t keep_width, int32_t* frame_inout, char* path_out,
                                                  char* base_name_out, const char** format_key_out,
                                                  ORB_FORMAT** format_out);

ORB_END_C

#endif
