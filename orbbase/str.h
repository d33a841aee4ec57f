/* Strings: the toolbox for zero-terminated 8-bit strings, file names and null-terminated arrays of string
 * pointers.
 *
 * Rules that hold for the whole family:
 * - Characters compare and hash as signed 8-bit values, whatever char is: bytes 128 to 255 are negative.
 *   White space, letters and digits are those of the current C locale's isspace and its kin.
 * - An owned string comes from malloc and belongs to the caller, who releases it with free or ERR_free. A
 *   function that grows an owned string returns its new address: the old one is void from then on. When
 *   memory runs out such a function returns NULL and leaves the old string as it was, still the caller's.
 * - In place means that the argument's own characters are changed and the argument is returned.
 * - A string array is an array of string pointers that ends with a null pointer, allocated with malloc. What
 *   is said to accept an array accepts NULL as an empty one.
 * - Results that point into an argument are char*, as those of strchr; they may be written to only if the
 *   argument may.
 * - NULL is accepted for a string only where it is mentioned.
 * - Nothing is reported and orb__err is left alone: a result is all there is.
 * - Counts and positions are in characters. Truths are 1 and 0.
 * - Every function works on its arguments only and may be called from several threads, except STR_define,
 *   STR_undefine and STR_undefine_array, which share one unguarded table. STR_expand_filename reads the
 *   environment: no other thread may change it meanwhile. */
#ifndef ORBBASE_STR_H
#define ORBBASE_STR_H

#include <stddef.h>
#include <stdint.h>

#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* ---- Length, copies and growth ------------------------------------------------------------------------ */

/* The number of characters before the zero; 0 for NULL. */
ORB_API size_t STR_length(const char* s);

/* Makes room for n characters: reallocates to n + 1 bytes and puts a zero at index n. The characters before
 * it stay, as far as they fit; those beyond the old string are undefined.
 *
 * s  owned string, or NULL: then a new block of n + 1 bytes that holds an empty string.
 * n  0 or more.
 *
 * Returns the owned string. NULL when n is negative or memory runs out. */
ORB_API char* STR_more(char* s, int64_t n);

/* An owned copy. NULL when memory runs out. */
ORB_API char* STR_save(const char* s);

/* An owned copy of at most n characters; the rest of s is not looked at. A negative n counts as 0. NULL when
 * memory runs out. */
ORB_API char* STR_n_save(const char* s, int64_t n);

/* An owned string of count strings put together.
 *
 * count  how many strings follow; below 1 gives an owned empty string.
 * ...    exactly count arguments of type const char*, none NULL.
 *
 * NULL when memory runs out. */
ORB_API char* STR_save_n(int32_t count, ...);

/* Appends to an owned string. The block grows to the length of both plus 2 bytes.
 *
 * s     owned string, or NULL: then the result is a copy of the tail.
 * tail  what to append; must not lie within s.
 *
 * Returns the owned string, or NULL when memory runs out. */
ORB_API char* STR_append(char* s, const char* tail);

/* Appends exactly n characters, as strncpy copies them: a shorter tail is filled up with zeros. A zero
 * follows.
 *
 * s     owned string, or NULL: then the result holds those n characters alone.
 * tail  what to append; must not lie within s.
 * n     a negative one counts as 0.
 *
 * Returns the owned string, or NULL when memory runs out. */
ORB_API char* STR_n_append(char* s, const char* tail, int64_t n);

/* Inserts one character.
 *
 * s         owned string, or NULL: then the result is a string of that one character.
 * c         the character.
 * position  index that c will have, clamped to 0..length.
 *
 * Returns the owned string, or NULL when memory runs out. */
ORB_API char* STR_insert(char* s, char c, int64_t position);

/* Inserts the first n characters of a text.
 *
 * s         owned string, or NULL: then the result is a copy of those characters.
 * text      must not lie within s.
 * position  index that the first of them will have, clamped to 0..length of s.
 * n         clamped to 0..length of text.
 *
 * Returns the owned string, or NULL when memory runs out. */
ORB_API char* STR_n_insert(char* s, const char* text, int64_t position, int64_t n);

/* ---- Comparison --------------------------------------------------------------------------------------- */

/* Compares two strings: the difference a - b of the first characters that differ, as signed values; 0 when
 * the strings are equal. When either is NULL, the difference of the two addresses cut to 32 bits: 0 when both
 * are. */
ORB_API int32_t STR_compare(const char* a, const char* b);

/* The same over the first n characters. On purpose an n of 0, like 1, compares the first character (and so
 * does a negative n). */
ORB_API int32_t STR_n_compare(const char* a, const char* b, int64_t n);

/* Whether a word is an accepted abbreviation of a pattern.
 *
 * word     NULL is never accepted.
 * pattern  a text in which one "*" marks the end of the shortest accepted abbreviation: "fr*ame" accepts
 *          "fr", "fra", "fram" and "frame", and rejects "f", "frx" and "frames". Without "*" only the
 *          identical word is accepted. */
ORB_API int32_t STR_abbr(const char* word, const char* pattern);

/* Orders words and patterns: as STR_compare, except that where the two differ and one has a "*", that "*" is
 * skipped. NULL as for STR_compare. */
ORB_API int32_t STR_abbr_compare(const char* a, const char* b);

/* ---- Hash and shared strings -------------------------------------------------------------------------- */

/* A string's place in a hashed table: h = h * 33 + character, from 0, in 32 bits; then h modulo the modulus.
 *
 * s        NULL and "" give 0, and then modulus is not looked at.
 * modulus  not 0.
 *
 * The values are fixed: tables depend on them. */
ORB_API uint32_t STR_hash(const char* s, uint32_t modulus);

/* The process's shared copy of a string. Equal strings give the same address, so that shared copies can be
 * compared by address. Every call counts one reference, to be dropped with STR_undefine.
 *
 * Returns the shared copy: not to be changed, nor freed. NULL when memory runs out. One thread at a time. */
ORB_API char* STR_define(const char* s);

/* Drops one reference to the shared copy of a string (s may be that copy, or any equal string); with the last
 * one the copy is released. Returns 0, also for a string that was never defined. One thread at a time. */
ORB_API int32_t STR_undefine(const char* s);

/* STR_undefine on every element of a string array, then frees the array. Returns 0. One thread at a time. */
ORB_API int32_t STR_undefine_array(char** array);

/* ---- Words and string arrays -------------------------------------------------------------------------- */

/* Cuts a text into its white-space separated words.
 *
 * text  changed: the character after each word becomes a zero. The words of the result point into it.
 *
 * Returns a string array; the caller frees the array only. NULL when memory runs out, and then words already
 * cut stay cut. */
ORB_API char** STR_parse(char* text);

/* Sorts a string array in place, ascending by STR_compare. Equal strings may change their order (a heapsort).
 * Returns the array. */
ORB_API char** STR_sort(char** array);

/* The same in the order of strcoll, which is that of the current locale. */
ORB_API char** STR_sort_collate(char** array);

/* The address of the first slot of a string array that holds an equal string, or NULL. */
ORB_API char** STR_find_string(char* const* array, const char* s);

/* The same for the last such slot. */
ORB_API char** STR_find_string_reverse(char* const* array, const char* s);

/* The first character that is not white space, or the end. */
ORB_API char* STR_skip_space(const char* s);

/* The first white-space character after the first character (which is not looked at), or the end. NULL and ""
 * are returned as given. */
ORB_API char* STR_find_space(const char* s);

/* ---- Numbers ------------------------------------------------------------------------------------------ */

/* Whether a string is one or more decimal digits and nothing else. NULL is not. */
ORB_API int32_t STR_is_numeric(const char* s);

/* Whether a string is a signed decimal integer of 32 bits: an optional "+" or "-", then 1 to 10 digits whose
 * value is in range. NULL is not. On purpose more than 10 digits are refused even if they lead with zeros. */
ORB_API int32_t STR_is_integer(const char* s);

/* Whether a string has the form of a real number: an optional sign, digits, optionally "." and digits,
 * optionally "e" or "E" with an optional sign and digits, and nothing else. NULL and "" are not. Lenient on
 * purpose: every run of digits may be empty, so "+", "-", "." and "e5" are accepted; "1e", with nothing after
 * the "e", is not. */
ORB_API int32_t STR_is_real(const char* s);

/* ---- Parts of a file name ----------------------------------------------------------------------------- */

/* "/" separates components. A host prefix is the text before a ":" that comes before the first "/", as in
 * "host:/path"; with several, the last of them ends it. */

/* What follows the last "." of the string, or NULL. The search does not stop at "/": "dir.v2/file" gives
 * "v2/file". */
ORB_API char* STR_extension(const char* name);

/* Cuts the string at its last ".", in place. */
ORB_API char* STR_root(char* name);

/* What follows the last "/"; the string itself when there is none. */
ORB_API char* STR_tail(const char* name);

/* Cuts the string at its last "/", or at the first of several in a row: "a//b" gives "a". In place. Returns
 * the string; NULL, with nothing changed, when there is no "/". */
ORB_API char* STR_head(char* name);

/* Cuts the string at the ":" that ends its host prefix: "a:b:/c" gives "a:b". In place. Returns the string;
 * NULL, with nothing changed, when there is no host prefix or it is empty. */
ORB_API char* STR_host(char* name);

/* What follows the host prefix and its ":"; the string itself when there is none. */
ORB_API char* STR_host_remove(const char* name);

/* Gets or tests for the host prefix of a path.
 *
 * buffer  receives the prefix without its ":"; must hold as many bytes as the path, with its zero. Untouched
 *         when there is no prefix. NULL only tests.
 * path    its prefix may be empty, and then counts as one.
 *
 * Returns the buffer, or the address 1 when buffer is NULL; NULL when the path has no host prefix. */
ORB_API char* STR_filename_host(char* buffer, const char* path);

/* ---- Forms of a file name ----------------------------------------------------------------------------- */

/* The absolute form of a path. Only the "." and ".." components that lead the path are resolved; the file
 * system is not asked.
 *
 * result   receives it; must hold the lengths of both other arguments plus 2 bytes, and overlap neither.
 * current  the directory that a relative path starts from.
 * path     NULL and "" give "". A path that begins with "/" or has a host prefix is copied as it is.
 *
 * Every leading ".." takes one component off the current directory; when it has too few, the result is "/"
 * and the rest of the path. Returns result. */
ORB_API char* STR_filename_absolute(char* result, const char* current, const char* path);

/* The relative form of a path, where that is short. Both names are taken as they are written: no component of
 * theirs is resolved and the file system is not asked.
 *
 * result  receives it; must hold the length of path plus 7 bytes, and overlap neither other argument.
 * base    the directory that the result is relative to; "" counts as "/".
 * path    NULL and "" give "". A path with a host prefix is copied as it is.
 *
 * A path below base becomes the rest of the path ("" when it is base itself). When one or two levels up from
 * base lead to the directory that both share, and base has at least three levels, the result is as many "../"
 * and the rest of the path. Otherwise the path is copied as it is: on purpose, relative names are for near
 * places only. Returns result. */
ORB_API char* STR_filename_relative(char* result, const char* base, const char* path);

/* Normalises a path in place: runs of "/" become one, "." components go, "name/.." goes, ".." directly under
 * "/" goes, a final "/" goes unless it is all there is, and nothing left becomes ".". Leading ".." components
 * stay. Names that only begin with "." are ordinary. Everything up to the first ":" stays as it was, and with
 * nothing behind it ("host:") nothing is added.
 *
 * path  must hold at least 2 bytes: "" becomes ".". */
ORB_API char* STR_filename_clean(char* path);

/* Expands environment variables in a text.
 *
 * text  leading white space is skipped. "$NAME" and "${NAME}" stand for a variable's value; NAME is a run of
 *       letters, digits and "_". There is no way to write a "$".
 * out   receives an owned string: the expanded text, or on failure the name of the variable that is not set;
 *       NULL when memory ran out.
 *
 * Returns 1, or 0 on failure. */
ORB_API int32_t STR_expand_filename(const char* text, char** out);

/* ---- Changes in place --------------------------------------------------------------------------------- */

/* Fills a string up to a width with a character. A string of that length or more stays as it is.
 *
 * s      must hold width + 1 bytes.
 * c      what it is filled with.
 * width  characters; one that is not above the length changes nothing. */
ORB_API char* STR_pad(char* s, char c, int64_t width);

/* Removes the first, every or the last occurrence of a character. A zero is never removed. */
ORB_API char* STR_remove(char* s, char c);
ORB_API char* STR_remove_all(char* s, char c);
ORB_API char* STR_remove_reverse(char* s, char c);

/* Removes the character at an index. An index at or past the end changes nothing. Returns the string; NULL,
 * with nothing changed, for a negative index. */
ORB_API char* STR_remove_index(char* s, int64_t index);

/* Removes n characters from an index on, or as many as there are. A negative index counts as 0 and, on
 * purpose, adds its magnitude to n: of "abcdef", index -1 and n 2 leave "def". Then n of 0 or less changes
 * nothing. */
ORB_API char* STR_n_remove_index(char* s, int64_t index, int64_t n);

/* Changes letters to lower or upper case, as tolower and toupper of the current locale do. */
ORB_API char* STR_tolower(char* s);
ORB_API char* STR_toupper(char* s);

ORB_END_C

#endif
