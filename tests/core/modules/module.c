/* A format plug-in for the tests, built into many modules: definitions choose its key, what it leaves out,
 * and what is wrong with it.
 *
 * Its pictures live in memory: one 8-bit colour channel, 4 samples a row, rows in sequence only. A file name
 * "up_0_29" followed by anything is a picture with the rows 0 to 29, bottom first; "down_0_29" has the top
 * first; each sample is the low byte of its line. "written" is the picture written last. Other names cannot
 * be opened. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orbbase/core.h"
#include "orbbase/driver.h"
#include "orbbase/registry.h"

#ifndef KEY
#define KEY "good"
#endif
#ifndef VERSION
#define VERSION "3.2"
#endif
#ifdef WITHOUT_imageReadOpen
#define imageReadOpen notLookedFor
#endif
#ifdef WITHOUT_imageWriteOpen
#define imageWriteOpen notLookedFor
#endif

enum { ROW_SAMPLES = 4, MOST_ROWS = 64 };

/* What happened, for the tests. Changed under the library's lock. */
ORB_PLUGIN_API int32_t testOpens = 0;
ORB_PLUGIN_API int32_t testCloses = 0;
ORB_PLUGIN_API int32_t testDones = 0;

typedef struct Picture {
  int32_t bottom;
  int32_t top;
  uint32_t orientation;
  int32_t is_written;
  uint8_t samples[MOST_ROWS][ROW_SAMPLES];
} Picture;

static Picture written;

/* An open file. */
typedef struct File {
  Picture picture;
  int32_t next; /* the line that comes next */
  int32_t step;
  uint8_t row[ROW_SAMPLES];
  void* rows[1];
} File;

static int32_t is_in_sequence(File* file, int32_t line) {
  if (line == file->next && line >= file->picture.bottom && line <= file->picture.top) {
    file->next += file->step;
    return 1;
  }
  orb__report(ORB_MSG_BAD_SCANLINE, line);
  orb__err = ORB_E_SCANLINE;
  return 0;
}

static int32_t read_line(void* data, int32_t line, void* rows) {
  File* file = data;
  if (!is_in_sequence(file, line)) return ORB_E_SCANLINE;
  if (file->picture.is_written) {
    memcpy(file->row, file->picture.samples[line - file->picture.bottom], ROW_SAMPLES);
  } else {
    memset(file->row, line & 255, ROW_SAMPLES);
  }
  file->rows[0] = file->row;
  *(void***)rows = file->rows;
  return 0;
}

static int32_t write_line(void* data, int32_t line, void* rows) {
  File* file = data;
  if (!is_in_sequence(file, line)) return ORB_E_SCANLINE;
  memcpy(file->picture.samples[line - file->picture.bottom], ((void**)rows)[0], ROW_SAMPLES);
  return 0;
}

static int32_t close_file(ORB_IMAGE* image) {
  ++testCloses;
  if (image->mode == ORB_MODE_WRITE) written = ((File*)image->driver->data)->picture;
  orb__free_obj(image);
  return 0;
}

static int32_t has_room(const ORB_WINDOW* window) {
  return window->top >= window->bottom && window->top - window->bottom < MOST_ROWS;
}

/* Gives the handle its driver block and slots. */
static int32_t open_file(ORB_IMAGE* image, const Picture* picture, ORB_SCAN_FN scan) {
  File* file = ERR_malloc(sizeof *file);
  ORB_DRIVER_BLOCK* block = ERR_malloc(sizeof *block);
  if (!file || !block) {
    ERR_free(file);
    ERR_free(block);
    orb__err = ORB_E_MEMORY;
    return 0;
  }
  file->picture = *picture;
  file->step = picture->orientation & ORB_BOTTOM_UP ? 1 : -1;
  file->next = file->step > 0 ? picture->bottom : picture->top;
  block->data = file;
  image->driver = block;
  image->scan = scan;
  image->close = close_file;
  ++testOpens;
  return 1;
}

static int32_t describe(ORB_IMAGE* image, const Picture* picture) {
  ORB_WINDOW window = {0, ROW_SAMPLES - 1, picture->bottom, picture->top};
  ORB_IFD* ifd = ERR_malloc(sizeof *ifd);
  if (!ifd) {
    orb__err = ORB_E_MEMORY;
    return 0;
  }
  memset(ifd, 0, sizeof *ifd);
  image->info.images = ifd;
  image->info.image_count = 1;
  orb__init_ifd(image);
  ifd->window = ifd->active_window = window;
  ifd->orientation = picture->orientation;
  ifd->color.count = 1;
  return 1;
}

static int32_t find_picture(const char* path, Picture* picture) {
  char direction[8] = "";
  const char* name = path ? path : "";
  for (const char* c = name; *c; ++c) {
    if (*c == '/' || *c == '\\') name = c + 1;
  }
  if (strncmp(name, "written", 7) == 0) {
    *picture = written;
    return written.is_written;
  }
  memset(picture, 0, sizeof *picture);
  if (sscanf(name, "%7[a-z]_%d_%d", direction, &picture->bottom, &picture->top) != 3) return 0;
  picture->orientation = strcmp(direction, "up") == 0;
  return 1;
}

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image);
int32_t imageReadOpen(ORB_IMAGE* image) {
  Picture picture;
  if (!find_picture(image->info.handle, &picture)) {
    orb__report(ORB_MSG_CANNOT_OPEN, image->info.handle ? image->info.handle : "", "no such picture");
    orb__err = ORB_E_OPEN;
    return 0;
  }
  return describe(image, &picture) && open_file(image, &picture, read_line);
}

ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image);
int32_t imageWriteOpen(ORB_IMAGE* image) {
  Picture picture = {0};
  if (image->info.image_count != 1 || !has_room(&image->info.images[0].window)) {
    orb__report(ORB_MSG_CANNOT_HANDLE, KEY);
    orb__err = ORB_E_HANDLE;
    return 0;
  }
  picture.bottom = image->info.images[0].window.bottom;
  picture.top = image->info.images[0].window.top;
  picture.orientation = image->info.images[0].orientation;
  picture.is_written = 1;
  return open_file(image, &picture, write_line);
}

/* ---- The symbols that the library reads ---- */

#ifndef WITHOUT_version
ORB_PLUGIN_API const char* version = VERSION;
#endif
#ifndef WITHOUT_imageKey
ORB_PLUGIN_API const char* imageKey = KEY;
#endif
#ifndef WITHOUT_imageName
ORB_PLUGIN_API const char* imageName = "picture of the tests";
#endif
#ifdef EXTENSION
ORB_PLUGIN_API const char* imageExtension = EXTENSION;
#endif
#ifndef WITHOUT_imageOrientation
ORB_PLUGIN_API int32_t imageOrientation = 1;
#endif
#ifdef ACCESS
ORB_PLUGIN_API int32_t imageAccess = ACCESS;
#endif
#ifdef MULTI_FRAME
ORB_PLUGIN_API int32_t imageMultiFrame = MULTI_FRAME;
#endif

#ifdef INIT_ANSWERS
ORB_PLUGIN_API int32_t imageInit(ORB_LOAD_RECORD* record);
int32_t imageInit(ORB_LOAD_RECORD* record) { return record ? INIT_ANSWERS : 0; }
#endif

#ifndef MINIMAL
ORB_PLUGIN_API void imageDone(void);
void imageDone(void) { ++testDones; }
#endif

/* Every optional symbol with a value that is no default. */
#ifdef ALL_SYMBOLS
ORB_PLUGIN_API const char* imageDescription = "a description";
ORB_PLUGIN_API const char* imageFormatString = "%s-%d%s";
ORB_PLUGIN_API const char* imageNameSyntax = "Name-#.Ext";
ORB_PLUGIN_API int32_t imageAddExtension = 21;
ORB_PLUGIN_API int32_t imageUsage = 22;
ORB_PLUGIN_API int32_t imageBitsPerPaletteEntry = 23;
ORB_PLUGIN_API int32_t imageNumberOfChannels = 24;
ORB_PLUGIN_API int32_t imageBitsPerChannel = 25;
ORB_PLUGIN_API int32_t imageNumberOfMattes = 26;
ORB_PLUGIN_API int32_t imageBitsPerMatte = 27;
ORB_PLUGIN_API int32_t imageNumberOfZChannels = 28;
ORB_PLUGIN_API int32_t imageBitsPerZChannel = 29;
ORB_PLUGIN_API int32_t imageSupportsActiveWindow = 30;
ORB_PLUGIN_API uint8_t imageHardLinkDuplicates = 31;
ORB_PLUGIN_API uint8_t imageSupportRemoteAccess = 32;
ORB_PLUGIN_API int32_t imageCapsAvailUpdate(intptr_t a, uint8_t b);
int32_t imageCapsAvailUpdate(intptr_t a, uint8_t b) { return (int32_t)a * 1000 + b; }
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream);
uint8_t imageIsFile(const char* name, FILE* stream) { return name && stream; }
ORB_PLUGIN_API int32_t imagePrivateUIPopup(intptr_t argument);
int32_t imagePrivateUIPopup(intptr_t argument) { return (int32_t)argument + 1; }
ORB_PLUGIN_API int32_t imagePrivateUIPopdown(intptr_t a, intptr_t b, intptr_t c, intptr_t d);
int32_t imagePrivateUIPopdown(intptr_t a, intptr_t b, intptr_t c, intptr_t d) {
  return (int32_t)(a * 1000 + b * 100 + c * 10 + d);
}
#endif

/* ---- Capability tables ---- */

#if defined(CAPABILITY_NAME) || defined(ENTRY_NAME) || defined(LIST_DEFAULT)
#ifndef CAPABILITY_NAME
#define CAPABILITY_NAME "depth"
#endif
#ifndef ENTRY_NAME
#define ENTRY_NAME "deep"
#endif
#ifndef LIST_DEFAULT
#define LIST_DEFAULT 6
#endif

static ORB_CAP_ENTRY entries[] = {{5, "flat", 0, NULL}, {6, NULL, 1, ENTRY_NAME}, {0, NULL, 0, NULL}};
static ORB_CAP_LIST list = {LIST_DEFAULT, 0, entries};
static ORB_CAPABILITY table[] = {{1, "quality", 0, NULL, 1, NULL, 0},
                                 {2, NULL, 1, CAPABILITY_NAME, 0, &list, 0}};

ORB_PLUGIN_API void imageCapability(ORB_CAPABILITY** capabilities_out, int32_t* count_a_out,
                                    int32_t* count_b_out, int32_t* capability_count_out);
void imageCapability(ORB_CAPABILITY** capabilities_out, int32_t* count_a_out, int32_t* count_b_out,
                     int32_t* capability_count_out) {
  *capabilities_out = table;
  *count_a_out = 7;
  *count_b_out = 9;
  *capability_count_out = 2;
}
#endif
