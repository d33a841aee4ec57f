/* Finds and loads plug-in modules and hands them to the library: what an application that takes its formats
 * from installed plug-ins calls in place of ORB_init. */
#ifndef ORBBASE_HOST_H
#define ORBBASE_HOST_H

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

/* What became of a module. */
enum {
  HOST_TAKEN = 0,           /* its format is registered */
  HOST_CANNOT_LOAD = 1,     /* not a module, or unreadable */
  HOST_MISSING_LIBRARY = 2, /* a library that it needs is missing */
  HOST_MISSING_SYMBOL = 3,  /* lacks a symbol that a plug-in must define, or has it as something else */
  HOST_WRONG_VERSION = 4,   /* speaks another interface version */
  HOST_DECLINED = 5,        /* its own imageInit said no */
  HOST_REPLACED = 6,        /* its key is held by a module of an earlier folder, or a later name */
  HOST_FAILED_CHECK = 7,    /* registered, but a check of its capability table failed */
  HOST_LEFT_OUT = 8         /* the application wanted it so (HOST_ask) */
};

/* One module file that was looked at. Valid until HOST_stop. */
typedef struct HOST_CANDIDATE {
  const char* path;   /* as it was found */
  const char* key;    /* its format key; the file's base name when it could not be asked */
  int32_t state;      /* HOST_TAKEN ... */
  const char* reason; /* in words; "" when taken */
} HOST_CANDIDATE;

/* One folder that was searched. Valid until HOST_stop. */
typedef struct HOST_FOLDER {
  const char* path;   /* as it was searched */
  const char* origin; /* "QV_ORB_PLUGIN_PATH", "relative to the program" or "installed" */
  int32_t exists;     /* 0 when there is no such folder */
} HOST_FOLDER;

/* Asked about each module: with its path before it is loaded, and again before the library takes it up, which is when
 * code of the module runs; with NULL when all have been handed over. Returns 0 to leave the module out. */
typedef int32_t (*HOST_ASK_FN)(const char* path);

/* Sets whom HOST_start asks about modules; NULL, as it is at first: nobody, and all are loaded. Holds until it is set
 * again. Threads: as HOST_start. */
void HOST_ask(HOST_ASK_FN ask);

/* Searches the folders of QV_ORB_PLUGIN_PATH (a list as in PATH), then the folder that lies relative to the
 * program as it does in an installed tree, then the installed folder; loads every module in them, in name
 * order, with immediate and local binding; and starts the library with them. Of two modules with one key the
 * earlier folder's is used, and within a folder the later name's.
 *
 * catalogue  handed to ORB_init.
 *
 * Returns ORB_init's result: 0, or -1 when the library could not start; a second call returns 0 at once. A
 * module that cannot be used never stops the others. Reports: a module that fails to load is a WARNING that
 * names the missing library where that was the reason; one that the library refuses is reported by ORB_init.
 * A program that runs with more rights than its user does not look at QV_ORB_PLUGIN_PATH.
 *
 * Not safe from two threads at once, nor while another thread uses the library. */
int32_t HOST_start(void* catalogue);

/* Ends the library (ORB_exit) and unloads the modules. Close all images first: their code goes with the
 * modules. Returns ORB_exit's result, 0. Threads: as HOST_start. */
int32_t HOST_stop(void);

/* The module files that were looked at, in the order of the search; null past the last. Reports nothing. Threads: any,
 * between HOST_start and HOST_stop. */
const HOST_CANDIDATE* HOST_candidate(int32_t index);

/* The folders of the search, in order, whether or not they exist; null past the last. Reports nothing.
 * Threads: as HOST_candidate. */
const HOST_FOLDER* HOST_folder(int32_t index);

/* Why files of a kind cannot be opened, when a plug-in for them is present but not in use.
 *
 * file_name_or_key  a file's name, or a format key.
 *
 * Returns the first refused module of that kind (its key equals the argument, or the name's extension without
 * the dot), or null when there is none or when a module of that kind is in use. Reports nothing.
 * Threads: as HOST_candidate. */
const HOST_CANDIDATE* HOST_explain(const char* file_name_or_key);

#if defined(__cplusplus)
}
#endif

#endif
