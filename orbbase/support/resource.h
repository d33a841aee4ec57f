/* Resource files: small archives of named binary items, grouped by four-character type codes. A file's directory
 * is kept in memory, an item's data is read when it is asked for; items are added and marked deleted in memory, and
 * saving writes the file anew without what was deleted. docs/resource-files.md has the bytes.
 *
 * Names. A type's code is its four characters as one big-endian number: "ERRO" is 0x4552524F. 0 is no code. An
 * item's name is text of 0 to 65,535 bytes, none of them zero; an item holds at most 16,777,215 bytes. Of several
 * items with one type and name, the first that is not deleted counts.
 *
 * Failures are reported as ERROR, once, and set orb__err:
 *   -5   the file cannot be opened
 *   -8   it is no whole resource file, or an item claims bytes that the file does not have
 *   -10  out of memory (reported by the allocator)
 *   -16  the change is refused: opened for reading only, an item too large or there already, a name too long
 *   -18  a read failed
 *   -20  a write failed
 * What a file claims is held against its size before memory is taken for it.
 *
 * Threads: none of these calls may run at the same time as another of them. */
#ifndef ORBBASE_SUPPORT_RESOURCE_H
#define ORBBASE_SUPPORT_RESOURCE_H

#include <stdint.h>

#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* An open resource file. The library's own; it ends with orb__rsrc_close or orb__rsrc_init. */
typedef struct ORB_RSRC_FILE ORB_RSRC_FILE;

/* The largest data of an item. */
enum { ORB_RSRC_MOST_BYTES = 0xFFFFFF };

/* What is known of an item without its data. */
typedef struct ORB_RSRC_ITEM {
  uint32_t code;       /* of its type */
  const char* name;    /* lives as long as the file is open */
  uint32_t offset;     /* of its data, as the file claims; 0 for one that is not saved yet */
  uint32_t data_bytes; /* as the file claims */
  int32_t is_deleted;  /* 1: no save writes it; shown until the file is closed */
} ORB_RSRC_ITEM;

/* Takes one line of a dump, without a line end; valid during the call only. user_data is orb__rsrc_init's. */
typedef void (*ORB_RSRC_PRINT)(const char* line, void* user_data);

/* Takes one item; item is valid during the call only. Returns 0 to see no more. */
typedef int32_t (*ORB_RSRC_VISIT)(const ORB_RSRC_ITEM* item, void* user_data);

/* Empties the search list, closes every open file without saving it, and sets where dumps go. May be called again,
 * and need not be called at all: then the lists are empty and dumps go nowhere.
 *
 * print      receives the lines of dumps; null drops them.
 * user_data  handed to print; not interpreted.
 *
 * Returns 1, or 0 for want of memory: the lists are empty and print is set all the same. */
ORB_API int32_t orb__rsrc_init(ORB_RSRC_PRINT print, void* user_data);

/* Adds to the end of the search list.
 *
 * prefix  put directly in front of a file's name, so that a folder needs its own "/" at the end. Copied. Not null.
 *
 * Returns 1, or 0 for want of memory. */
ORB_API int32_t orb__rsrc_search(const char* prefix);

/* Opens a resource file and reads its directory.
 *
 * name  not null. Tried in this order: for update the name itself, then behind each prefix of the search list; then
 *       the same for reading only. So a file that can be changed goes before one that cannot, wherever it lies. Only
 *       regular files are taken. The first that opens counts, even if it proves to be no resource file.
 *
 * Returns the file, to be closed with orb__rsrc_close and the same name; a name that is open already gives the same
 * file. On failure null. */
ORB_API ORB_RSRC_FILE* orb__rsrc_open(const char* name);

/* Closes a file and releases all that belongs to it.
 *
 * name  as it was given to orb__rsrc_open. Not null.
 * save  other than 0: a file opened for update is saved first; one opened for reading only is not, and that is no
 *       failure.
 *
 * Returns 1; 0 when no file of that name is open, unreported, and when saving failed. The file is closed then too. */
ORB_API int32_t orb__rsrc_close(const char* name, int32_t save);

/* Writes a file anew: the data of all items that are not deleted, the lists of their names, each in the order of the
 * names' bytes, the directory of the types that still have items, and last of all the header; then cuts the file
 * there. All data is read before the first byte is written, so an item that cannot be read spoils nothing. A write
 * that fails leaves a file that is neither the old nor the new one: whoever must not lose the old one works on a copy.
 *
 * file  opened for update. Its items' offsets change; what was deleted stays deleted.
 *
 * Returns 1 when every byte has been handed to the system, else 0. */
ORB_API int32_t orb__rsrc_save(ORB_RSRC_FILE* file);

/* Shows every item, deleted ones too, to visit: type by type, in the order of names, then those not saved yet.
 *
 * file       an open file.
 * visit      must not add items to the file; it may delete and load them.
 * user_data  handed to visit; not interpreted. */
ORB_API void orb__rsrc_each(ORB_RSRC_FILE* file, ORB_RSRC_VISIT visit, void* user_data);

/* Finds an item that is not deleted.
 *
 * file        an open file.
 * code, name  of the item.
 * item_out    if not null, receives what is known of it.
 *
 * Returns 1, or 0 when there is none, unreported. */
ORB_API int32_t orb__rsrc_find(ORB_RSRC_FILE* file, uint32_t code, const char* name, ORB_RSRC_ITEM* item_out);

/* An item's data, read from the file the first time.
 *
 * file            an open file.
 * code, name      of the item.
 * data_bytes_out  if not null, receives the number of bytes, 0 on failure.
 *
 * Returns the data, the file's own until it is closed and never null for an item without bytes; null when there is no
 * such item, unreported, and when the data cannot be read. The items' claims together must not be more than the
 * file's size. */
ORB_API const void* orb__rsrc_load(ORB_RSRC_FILE* file, uint32_t code, const char* name,
                                   uint32_t* data_bytes_out);

/* Adds an item, in memory.
 *
 * file        opened for update.
 * code        a type of the file or a new one; not 0.
 * name        copied; at most 65,535 bytes, and no other item of the type may have it.
 * data        data_bytes bytes, copied; may be null for 0 bytes.
 * data_bytes  at most ORB_RSRC_MOST_BYTES.
 *
 * Returns 1, or 0 with nothing changed. */
ORB_API int32_t orb__rsrc_add(ORB_RSRC_FILE* file, uint32_t code, const char* name, const void* data,
                              uint64_t data_bytes);

/* Marks an item deleted, in memory.
 *
 * file        opened for update.
 * code, name  of the item.
 *
 * Returns 1; 0 when there is no such item, unreported, and when the file was opened for reading only. */
ORB_API int32_t orb__rsrc_delete(ORB_RSRC_FILE* file, uint32_t code, const char* name);

/* Prints a file, its types and its items through orb__rsrc_init's function, one line at a time. Names come as they are
 * stored: whoever shows them on a terminal makes them safe.
 *
 * file         an open file.
 * is_detailed  other than 0: also the stream, the memory and the counts of the file's record.
 *
 * Returns 1, or 0 when a line did not get the memory it needs; the lines before it have been printed. */
ORB_API int32_t orb__rsrc_dump(ORB_RSRC_FILE* file, int32_t is_detailed);

/* Reports an error whose text is kept in a resource file: the item of type "ERRO" with the report's name, first found
 * in the order in which the files were opened, as a template in the language of ERR_RECORD. The report goes, as ERROR
 * with the name for its identity, a null record and null user data, to the handlers declared for all reports, newest
 * first, until one takes it, and else to ERR_def_handler. It is neither counted nor remembered, and masks do not hold
 * it. The text is cut at 255 bytes.
 *
 * name   of the item; not null. Handlers get this very pointer.
 * kinds  the arguments that follow, one letter each: "d" an int32_t, "f" a double, "s" a text. The template may ask
 *        for these, in this order, and for no more: one that asks for something else is damage, for its author
 *        cannot be trusted with the caller's arguments. Not null.
 *
 * Returns 1 when the report was delivered; 0 when no open file has the item, unreported, and when it cannot be read
 * or does not fit the arguments. */
ORB_API int32_t orb__rsrc_report(const char* name, const char* kinds, ...);

ORB_END_C

#endif
