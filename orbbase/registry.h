/* Formats: what a plug-in offers, the registry that plug-ins are taken into, the catalogue that lists them, and the
 * type of a file. */
#ifndef ORBBASE_REGISTRY_H
#define ORBBASE_REGISTRY_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "orbbase/core.h"

ORB_BEGIN_C

/* ---- Capabilities ---------------------------------------------------------------------------------- */

/* One choice of a capability. */
typedef struct ORB_CAP_ENTRY {
  uint16_t code;                /* what a setting holds that chooses the entry */
  const char* name;             /* for people */
  uint32_t name_from_catalogue; /* not 0: name becomes a copy of catalogue_name */
  const char* catalogue_name;   /* may be null */
} ORB_CAP_ENTRY;

/* The choices of a capability. */
typedef struct ORB_CAP_LIST {
  uint16_t default_code;  /* code of the entry that counts without a setting */
  uint32_t entry_count;   /* computed at start-up */
  ORB_CAP_ENTRY* entries; /* ends at the first entry with a null name and name_from_catalogue 0 */
} ORB_CAP_LIST;

enum { ORB_CAP_UNAVAILABLE = 4 /* bit of ORB_CAPABILITY.flags */ };

/* What a driver lets its users choose: an entry of a list, or a plain value. */
typedef struct ORB_CAPABILITY {
  uint64_t ident;   /* the driver's own; in the library's plug-ins the code of the setting that chooses it */
  const char* name; /* for people */
  uint32_t name_from_catalogue; /* not 0: name becomes a copy of catalogue_name */
  const char* catalogue_name;   /* may be null */
  uint8_t is_value;             /* 0: a choice from list; otherwise a plain value */
  ORB_CAP_LIST* list;           /* for a choice */
  uint64_t flags;               /* ORB_CAP_UNAVAILABLE or 0 */
} ORB_CAPABILITY;

/* Marks a capability as available or, with available 0, as unavailable.
 *
 * Returns 1 when that changed it, else 0; null is accepted. Reports nothing. Threads: unsynchronised. */
ORB_API int32_t ORB_set_available(ORB_CAPABILITY* capability, int32_t available);

/* The type-specific capabilities of a format.
 *
 * key     a format's key or extension, looked up with ORB_find; NULL: the format is given.
 * format  the format, when key is NULL; may be NULL, which has no capabilities.
 * capabilities_out, count_a_out, count_b_out, capability_count_out
 *         receive what the driver's imageCapability gives: its table (the driver's, not to be freed), two
 *         sizes, and the number of the table's entries; all 0 for a format without that function. Each may be
 *         NULL.
 *
 * An unknown key is reported as ERROR (902, "Unknown file type key ...") and leaves the results untouched.
 * Starts the library when key is not NULL. Threads: as ORB_find. */
ORB_API void ORB_info_get_specific(const char* key, ORB_FORMAT* format, ORB_CAPABILITY** capabilities_out,
                                   int32_t* count_a_out, int32_t* count_b_out, int32_t* capability_count_out);

/* The largest of the two sizes that ORB_info_get_specific gives, over all formats checked at start-up: what
 * is collected ends at the first format whose capability table failed the check. Both 0 before the start. The
 * pointers may be NULL. Returns the second. Threads: any, but not while the library starts. */
ORB_API int32_t ORB_info_num_specific(int32_t* count_a_out, int32_t* count_b_out);

/* Asks a plug-in which of its capabilities are available now, by its imageCapsAvailUpdate.
 *
 * format  whose plug-in is asked; may be NULL.
 * a, b    the driver's affair; passed on, b as an unsigned 8-bit value.
 *
 * Returns the driver's result; 0 when format is NULL or has no such function. Threads: as the driver says. */
ORB_API int32_t ORB_capabilities_available(ORB_FORMAT* format, intptr_t a, intptr_t b);

/* ---- The registry of formats ----------------------------------------------------------------------- */

/* Formats come from plug-ins, modules that the application has loaded, and from two drivers of the library's
 * own: "pipe" and "mem". ORB_init reads the symbols below from each module, by these exact names. A text
 * variable is a `const char*`; one that holds NULL counts as absent. A module that lacks a required symbol is
 * reported and left out. The modules must stay loaded until ORB_exit has returned, and longer while a
 * multi-frame file of theirs is kept open (see ORB_multiframe_set).
 *
 *   symbol                     kind                        when absent
 *   version                    text                        refused; it must say "3.2"
 *   imageInit                  int32_t (ORB_LOAD_RECORD*)  called first of all; 0 drops the module silently
 *   imageKey                   text                        refused
 *   imageExtension             text                        ""; takes every name that no plug-in before it took
 *   imageName                  text                        refused
 *   imageDescription           text                        NULL
 *   imageFormatString          text                        "%s.%04.4d%s"
 *   imageNameSyntax            text                        NULL
 *   imageAddExtension          int32_t                     1
 *   imageUsage                 int32_t                     1
 *   imageOrientation           int32_t                     refused
 *   imageBitsPerPaletteEntry   int32_t                     0
 *   imageNumberOfChannels      int32_t                     3
 *   imageBitsPerChannel        int32_t                     128
 *   imageNumberOfMattes        int32_t                     0
 *   imageBitsPerMatte          int32_t                     0
 *   imageNumberOfZChannels     int32_t                     0
 *   imageBitsPerZChannel       int32_t                     0
 *   imageSupportsActiveWindow  int32_t                     0
 *   imageAccess                int32_t                     12: ORB_ACCESS_READ and ORB_ACCESS_WRITE
 *   imageMultiFrame            int32_t                     0; else files stay open when closed; from 2: many
 *                                                          frames
 *   imageHardLinkDuplicates    uint8_t                     1
 *   imageSupportRemoteAccess   uint8_t                     0
 *   imageCapability            ORB_CAPABILITY_FN           none
 *   imageCapsAvailUpdate       ORB_CAPS_AVAIL_FN           none
 *   imageReadOpen              ORB_OPEN_FN                 refused when imageAccess has ORB_ACCESS_READ
 *   imageWriteOpen             ORB_OPEN_FN                 refused when imageAccess has ORB_ACCESS_WRITE
 *   imageDone                  ORB_DONE_FN                 none; called by ORB_exit
 *   imageIsFile                ORB_IS_FILE_FN              none
 *   imagePrivateUIPopup        ORB_UI_POPUP_FN             none
 *   imagePrivateUIPopdown      ORB_UI_POPDOWN_FN           none
 */

/* Bits of ORB_FORMAT.access. */
enum {
  ORB_ACCESS_READ = 4,
  ORB_ACCESS_WRITE = 8,
  ORB_ACCESS_ANY_LINE = 16, /* a reader that accepts any scanline */
  ORB_ACCESS_MEMORY = 32    /* carried by the memory driver: rows may also be written in any order */
};

/* Gives the address of the driver's capability table, two sizes, and the number of the table's entries; see
 * ORB_info_get_specific. The table is the driver's and stays valid until ORB_exit; the library fills in the
 * names that it takes from the catalogue and the entry counts of lists. */
typedef void (*ORB_CAPABILITY_FN)(ORB_CAPABILITY** capabilities_out, int32_t* count_a_out,
                                  int32_t* count_b_out, int32_t* capability_count_out);
typedef int32_t (*ORB_CAPS_AVAIL_FN)(intptr_t a, uint8_t b);
/* Returns 1 when the file is of the driver's format, else 0. stream is open on the file, and rewound by the
 * driver before it reads; or NULL, and the driver opens name itself. */
typedef uint8_t (*ORB_IS_FILE_FN)(const char* name, FILE* stream);
typedef int32_t (*ORB_UI_POPUP_FN)(intptr_t argument);
typedef int32_t (*ORB_UI_POPDOWN_FN)(intptr_t a, intptr_t b, intptr_t c, intptr_t d);
/* Opens the file image->info.handle for reading or writing: fills the slots of the handle, and on reading its
 * description. Returns 0 when that fails, after reporting why and setting orb__err; the driver has then
 * released its own resources, and the library releases the handle. image->info.handle may be NULL on reading,
 * and any text of the description may be. image->info.settings is the handle's; the driver reads it and
 * leaves it. */
typedef int32_t (*ORB_OPEN_FN)(ORB_IMAGE* image);
typedef void (*ORB_DONE_FN)(void);

/* A format's registration, as ORB_find returns it. */
struct ORB_FORMAT {
  const char* key;                     /* unique among plug-ins; ORB_find compares it exactly */
  const char* extension;               /* imageExtension */
  const char* name;                    /* imageName */
  const char* description;             /* imageDescription */
  int32_t description_from_catalogue;  /* not 0: a copy of catalogue_description */
  const char* catalogue_description;   /* null for plug-ins */
  const char* format_string;           /* imageFormatString */
  const char* name_syntax;             /* imageNameSyntax */
  int32_t add_extension;               /* imageAddExtension */
  int32_t usage;                       /* imageUsage */
  int32_t orientation;                 /* imageOrientation */
  uint32_t palette_bits;               /* imageBitsPerPaletteEntry */
  int32_t channels;                    /* imageNumberOfChannels */
  uint32_t channel_bits;               /* imageBitsPerChannel */
  int32_t mattes;                      /* imageNumberOfMattes */
  uint32_t matte_bits;                 /* imageBitsPerMatte */
  int32_t z_channels;                  /* imageNumberOfZChannels */
  uint32_t z_bits;                     /* imageBitsPerZChannel */
  int32_t active_window;               /* imageSupportsActiveWindow */
  int32_t access;                      /* imageAccess: bits of ORB_ACCESS_ */
  ORB_CAPABILITY_FN capability;        /* imageCapability */
  ORB_CAPS_AVAIL_FN caps_avail_update; /* imageCapsAvailUpdate */
  int32_t multi_frame;                 /* imageMultiFrame */
  uint8_t hard_link_duplicates;        /* imageHardLinkDuplicates */
  uint8_t remote_access;               /* imageSupportRemoteAccess */
  ORB_IS_FILE_FN is_file;              /* imageIsFile */
  ORB_UI_POPDOWN_FN ui_popdown;        /* imagePrivateUIPopdown */
  ORB_UI_POPUP_FN ui_popup;            /* imagePrivateUIPopup */
};

/* What a plug-in's symbols are read into; handed to its imageInit. */
typedef struct ORB_LOAD_RECORD {
  const char* key;                                 /* imageKey */
  const char* extension;                           /* imageExtension */
  const char* name;                                /* imageName */
  const char* description;                         /* imageDescription */
  int32_t description_from_catalogue;              /* not 0: a copy of catalogue_description */
  const char* catalogue_description;               /* null for plug-ins */
  const char* format_string;                       /* imageFormatString */
  const char* name_syntax;                         /* imageNameSyntax */
  int32_t add_extension;                           /* imageAddExtension */
  int32_t usage;                                   /* imageUsage */
  int32_t orientation;                             /* imageOrientation */
  uint32_t palette_bits;                           /* imageBitsPerPaletteEntry */
  int32_t channels;                                /* imageNumberOfChannels */
  uint32_t channel_bits;                           /* imageBitsPerChannel */
  int32_t mattes;                                  /* imageNumberOfMattes */
  uint32_t matte_bits;                             /* imageBitsPerMatte */
  int32_t z_channels;                              /* imageNumberOfZChannels */
  uint32_t z_bits;                                 /* imageBitsPerZChannel */
  int32_t active_window;                           /* imageSupportsActiveWindow */
  int32_t access;                                  /* imageAccess: bits of ORB_ACCESS_ */
  int32_t multi_frame;                             /* imageMultiFrame */
  uint8_t hard_link_duplicates;                    /* imageHardLinkDuplicates */
  uint8_t remote_access;                           /* imageSupportRemoteAccess */
  ORB_CAPABILITY_FN capability;                    /* imageCapability */
  ORB_CAPS_AVAIL_FN caps_avail_update;             /* imageCapsAvailUpdate */
  int32_t (*init)(struct ORB_LOAD_RECORD* record); /* imageInit */
  ORB_DONE_FN done;                                /* imageDone */
  ORB_OPEN_FN read_open;                           /* imageReadOpen */
  ORB_OPEN_FN write_open;                          /* imageWriteOpen */
  ORB_IS_FILE_FN is_file;                          /* imageIsFile */
  ORB_UI_POPUP_FN ui_popup;                        /* imagePrivateUIPopup */
  ORB_UI_POPDOWN_FN ui_popdown;                    /* imagePrivateUIPopdown */
} ORB_LOAD_RECORD;

/* Yields the modules that the application has loaded: stores a handle and a name and returns non-zero, or
 * returns 0 at the end. */
typedef int32_t (*ORB_ENUMERATE_FN)(void** module_out, const char** name_out);

/* Starts the library: the configuration databases, the registry of formats, the multi-frame cache.
 *
 * An application that uses plug-ins calls it before anything else: ORB_find, ORB_info, ORB_def_key,
 * ORB_def_base_name, ORB_open and the file-type queries start a library that is not started by themselves, as
 * ORB_init(NULL, NULL), and then report "%s, initializing database for %s request" (30, DEBUG) with "orb" and
 * the query's name.
 *
 * catalogue  kept in orb__msg_cat, for reports; may be NULL.
 * enumerate  yields the modules, see ORB_ENUMERATE_FN; NULL: no plug-ins. A NULL module is skipped. The name
 *            is used in messages during the call only.
 *
 * Of two modules with one key the later one is registered, in its own place; the earlier goes even when the
 * later is then refused for another symbol. Reports as ERROR, and leaves the module out:
 *   121  "%s: %s must be defined": the module, the symbol
 *   196  the version is not "3.2"
 *   1013 "%s: %s must be defined as %s": the module; a symbol that is none of the right kind, where the
 *        system's tables tell (a function for a variable, an array of characters for a text), a text that
 *        cannot be read, does not end within 1024 bytes or holds a control character, an empty imageKey
 * Then checks the formats' capability tables, in registry order up to the first that fails, and reports as
 * WARNING 194 or 195 for a missing name. A list without an entry for its default code is printed to standard
 * error and ends the process by abort: such a driver must not ship.
 *
 * The multi-frame cache is turned on with the limit in the environment variable QV_ORB_MULTIFRAME_OPEN, read
 * as atoi reads it, or 15.
 *
 * Returns orb__err, which is 0, or -10 when memory ran out while a capability's name was copied (the library
 * is started all the same). Returns -1 with orb__err -10 when memory ran out or a configuration database
 * could not be started; the library is then not started, and the next call takes a colour database that
 * failed as it stands. Started already, it goes back to the first format for ORB_info, sets orb__err to 0 and
 * returns 0; the arguments are ignored.
 *
 * Threads: application code starts and ends the library from one thread, while no other uses it. Starts on
 * demand from several threads at once are safe. */
ORB_API int32_t ORB_init(void* catalogue, ORB_ENUMERATE_FN enumerate);

/* The text of a module's text variable, for a host that names a module before it hands it over. Looks without
 * trusting: at a variable of another kind, or a text that cannot be read, is nothing to be harmed by.
 *
 * module  a loaded module; NULL has no texts.
 * symbol  the variable's name.
 *
 * Returns the text, which is the module's own; NULL when there is none that ORB_init would take. Reports
 * nothing, sets nothing, and needs no start. Threads: any. */
ORB_API const char* orb__module_text(void* module, const char* symbol);

/* Ends the library: calls every plug-in's imageDone, in order, and releases the registry and the
 * configuration databases. All ORB_FORMAT records become invalid, and in capability tables the names that the
 * library had put there give way to those before. Returns 0, also when the library is not started; then it
 * does nothing else.
 *
 * Open images stay open and can be transferred and closed. So do idle multi-frame files, and the next start
 * forgets them: ORB_multiframe_set(0, 0) before this call closes them. */
ORB_API int32_t ORB_exit(void);

/* The format whose key or extension is name, compared exactly; plug-ins come before the library's own
 * drivers. NULL when there is none, when name is NULL, or when the library cannot be started. The record is
 * valid until ORB_exit. ORB_info goes on behind the format found; a search without success leaves its walk
 * alone. Threads: shares the walk with ORB_info and takes no lock; one thread at a time. */
ORB_API ORB_FORMAT* ORB_find(const char* name);

/* The next plug-in's format, or NULL at the end, or when the library cannot be started. The library's own
 * drivers are passed over. ORB_init goes back to the first. Threads: as ORB_find. */
ORB_API ORB_FORMAT* ORB_info(void);

/* The default format key, "rla", and the default base name of files, "im"; both start the library, and answer
 * even when that fails. Threads: any. */
ORB_API const char* ORB_def_key(void);
ORB_API const char* ORB_def_base_name(void);

/* Shows a driver's own panel, by its imagePrivateUIPopup(argument), and remembers how to take it down.
 * Returns the driver's result; -16, with orb__err -16, when format is NULL or lacks one of the two
 * functions. Threads: the panel shown last is remembered without a lock; both calls belong to one thread. */
ORB_API int32_t ORB_private_ui_popup(ORB_FORMAT* format, intptr_t argument);

/* Takes down the panel shown last, by that driver's imagePrivateUIPopdown(a, b, c, d), once. Returns its
 * result, or 0 when there is none to take down. Threads: as ORB_private_ui_popup. */
ORB_API int32_t ORB_private_ui_popdown(intptr_t a, intptr_t b, intptr_t c, intptr_t d);

/* ---- The catalogue of formats ---------------------------------------------------------------------- */

/* What the loaded plug-ins offer, for menus and file dialogs. The calls named ORB_get, and
 * ORB_isMultiFrameFormat, see plug-ins alone, in the order of their registration, and never start the library:
 * before ORB_init and after ORB_exit they find nothing. Texts are compared whole and exactly; of several
 * plug-ins that match, the first counts.
 *
 * Without any plug-in each of them prints "Plugins not loaded, so Load!!\n\n" to standard error, and those of
 * which it is said "No Plugins!\n" behind it; nothing is loaded. A null argument is complained about on
 * standard error. A null buffer of a look-up takes nothing and gives -1. Nothing is reported otherwise, and
 * orb__err is left alone but for ORB_getPluginNames.
 *
 * The caller's arrays and buffers must be large enough; no length is checked. An array needs one pointer a
 * plug-in, as many as ORB_info yields from the start.
 *
 * Threads: the plug-in table is read without a lock; not while the library starts or ends. */

/* Stores every plug-in's key, or its extension. The texts are the plug-ins' own, valid until ORB_exit.
 *
 * Returns the number of plug-ins. Without any, "No Plugins!\n" and 0; for NULL "NULL pointer passed\n" and
 * 0. */
ORB_API int32_t ORB_getFormatKeys(const char** keys_out);
ORB_API int32_t ORB_getPluginExtensions(const char** extensions_out);

/* Stores a copy of every plug-in's name, which the caller releases with free or ERR_free. When memory runs
 * out ("No more internal memory" is reported, orb__err -10) a name that could not be copied is NULL.
 * Otherwise as ORB_getFormatKeys. */
ORB_API int32_t ORB_getPluginNames(char** names_out);

/* Look-ups between a plug-in's key, name and extension.
 *
 * key, name  what to look for. NULL: "NULL key passed in\n" or "NULL pluginName passed in\n".
 * name_out, key_out, extension_out
 *            receive the text, zero-terminated; left alone when there is none.
 *
 * Return 0, or -1 when no plug-in matches. Without any plug-in those that look for a name also say
 * "No Plugins!\n". ORB_getExtFromFormatKey finds the name of the key and then the extension of the name: of
 * two plug-ins with one name it gives the first's. */
ORB_API int32_t ORB_getPluginNameFromKey(const char* key, char* name_out);
ORB_API int32_t ORB_getKeyFromPluginName(const char* name, char* key_out);
ORB_API int32_t ORB_getExtFromPluginName(const char* name, char* extension_out);
ORB_API int32_t ORB_getExtFromFormatKey(const char* key, char* extension_out);

/* Writes "*", the extension and ";" for every plug-in: "*.png;*.tif;".
 *
 * buffer  takes the extensions' lengths, 2 more for each, and 1. NULL: "NULL buffer passed in\n". Without any
 *         plug-in "No Plugins!\n", and the buffer becomes "". */
ORB_API void ORB_getOnlyExtensions(char* buffer);

/* Writes the filter list of a file dialog: for every plug-in its display text, a zero, its pattern and a zero,
 * and one more zero behind the last. The display text is "TIFF (*.tif)", the pattern "*.tif"; a pattern of 25
 * characters and more shows as "TIFF (all formats)".
 *
 * buffer  takes, for each plug-in, the length of the name, twice that of the extension, and 7; and 1. NULL:
 *         "NULL pointer passed!\n". Without any plug-in it becomes a single zero. */
ORB_API void ORB_getPluginNamesWithFilters(char* buffer);

/* Whether the plug-in of a key has imageMultiFrame 2 or more: 1 or 0. NULL: "NULL key passed in\n" and 0.
 * Without any plug-in "No Plugins!\n" and 0. */
ORB_API int32_t ORB_isMultiFrameFormat(const char* key);

/* Whether a format can be read, or written. These and ORB_name_from_key go through ORB_find: key may also be
 * an extension, the library's own drivers count, the library is started, and ORB_info goes on behind the
 * format found.
 *
 * Return ORB_ACCESS_READ, or ORB_ACCESS_WRITE; 0 when it cannot, for an unknown key and for NULL. Threads: as
 * ORB_find. */
ORB_API int32_t ORB_hasReadSupport(const char* key);
ORB_API int32_t ORB_hasWriteSupport(const char* key);

/* The name of a format for people. The format's own text, valid until ORB_exit; key itself when the format has
 * no name, or is unknown, which is reported as ERROR (902, "Unknown file type key ..."); NULL for NULL.
 * Threads: as ORB_find. */
ORB_API const char* ORB_name_from_key(const char* key);

/* ---- The format of a file -------------------------------------------------------------------------- */

/* Finds out which format a file is in, by asking imageIsFile of every format: plug-ins first, then the
 * library's own drivers.
 *
 * name       the file's name. A driver opens it when there is no stream.
 * stream     open on the file for reading, in binary mode, or NULL. Drivers rewind it; where it stands
 *            afterwards is not said. An image of the memory driver has no stream, and is known by its name
 *            alone.
 * known_out  becomes 1 when every format that was looked at could be asked, 0 when one has no imageIsFile, or
 *            the library could not be started. May be NULL.
 *
 * Returns the key, valid until ORB_exit, of the first format whose imageIsFile gives exactly 1; ORB_info goes
 * on behind it. "__none_" when all said no, and NULL when some could not be asked or the library could not be
 * started; the walk of ORB_info is then where it was.
 *
 * Starts the library as ORB_find does. Reports nothing else. Threads: holds the library's lock all the while;
 * shares the walk with ORB_find. */
ORB_API const char* ORB_get_file_type(const char* name, FILE* stream, int32_t* known_out);

/* Finds out whether a file is of one format.
 *
 * name, stream, known_out  as for ORB_get_file_type; known_out stays 1 for a key that no format has.
 * key                      the format's key, exactly. NULL asks for any, as ORB_get_file_type.
 *
 * Returns the format's own key when imageIsFile of a format of that key gives anything but 0: not only 1, on
 * purpose. Otherwise NULL. When the format that matched last has the key it is asked first, and if it matches
 * again ORB_info goes back to the first format; else the walk is left as ORB_get_file_type leaves it.
 *
 * Starts the library as ORB_find does. Reports nothing else. Threads: takes no lock; one thread at a time,
 * and none in ORB_find meanwhile. */
ORB_API const char* ORB_is_file_type(const char* name, FILE* stream, const char* key, int32_t* known_out);

ORB_END_C

#endif
