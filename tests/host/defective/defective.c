#define _GNU_SOURCE
/* A plug-in that is sound but for one defect, which a definition chooses: DEFECT names it, and DEFECT_name is
 * defined for those that the compiler has to see. "none" is sound; "of_file" has the defect that a file's name
 * begins with, up to the first dot, or that a row's samples spell.
 *
 * Its files: "DEF1", the four numbers of a window, one grey byte a sample from the top down, "END1". */
#include <errno.h>
#include <locale.h>
#include <orbbase/driver.h>
#include <orbbase/orbbase.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#ifndef KEY
#define KEY "defective"
#endif
#ifndef EXTENSION
#define EXTENSION ".defective"
#endif

static const char kBegin[4] = "DEF1", kEnd[4] = "END1";

typedef struct File {
  FILE* stream;
  const char* defect;
  int32_t next_line, last_line, width, code;
  void* rows[8];
  unsigned char* samples;
} File;

/* ---- Which defect ---- */

static char name_of_file[32];

static const char* defect_of(const char* path) {
  if (strcmp(DEFECT, "of_file") != 0) return DEFECT;
  const char* name = path ? strrchr(path, '/') : NULL;
  name = name ? name + 1 : path ? path : "";
  name += *name == '.'; /* a hidden name, such as a temporary has */
  const size_t length = strcspn(name, ".");
  snprintf(name_of_file, sizeof name_of_file, "%.*s", (int)length, name);
  return name_of_file;
}

static int is(const char* defect, const char* wanted) { return strcmp(defect, wanted) == 0; }

/* ---- What no host survives ---- */

static void eat_memory(void) {
  for (void* block = NULL;; block = malloc(1 << 20)) {
    if (block) memset(block, 1, 1 << 20);
  }
}

static void misbehave(const char* defect) {
  if (is(defect, "crash")) raise(SIGSEGV);
  if (is(defect, "abort")) abort();
  if (is(defect, "loop"))
    for (volatile int i = 0;; i = 0) (void)i;
  if (is(defect, "sleep"))
    for (;;) pause();
  if (is(defect, "eat")) eat_memory();
  if (is(defect, "exit")) exit(0);
}

/* ---- Rows ---- */

static int32_t refuse_line(File* file, int32_t line, int32_t message, int32_t code) {
  if (file->code == 0) file->code = code;
  if (message == ORB_MSG_BAD_SCANLINE)
    orb__report(message, line);
  else
    orb__report(message, line, strerror(errno));
  return orb__err = code;
}

/* The word that a row begins with. */
static const char* word_of(const File* file) {
  static char word[8];
  size_t length = 0;
  for (; length < 7 && (int32_t)length < file->width && file->samples[length] >= 'a'; ++length) {
    word[length] = (char)file->samples[length];
  }
  word[length] = '\0';
  return word;
}

static int32_t read_line(void* data, int32_t line, void* rows) {
  File* const file = data;
  char end[4];
  misbehave(file->defect);
  if (is(file->defect, "scan_fails_silently")) return ORB_E_DECODE;
  if (is(file->defect, "any_line_not_in_order")) line = file->next_line;
  if (line != file->next_line || line < file->last_line)
    return refuse_line(file, line, ORB_MSG_BAD_SCANLINE, ORB_E_SCANLINE);
  errno = 0;
  const size_t got = fread(file->samples, 1, (size_t)file->width, file->stream);
  if (got != (size_t)file->width && !is(file->defect, "reads_cut_files"))
    return refuse_line(file, line, ORB_MSG_CANNOT_READ_LINE, ORB_E_READ);
  if (line == file->last_line && !is(file->defect, "reads_cut_files") &&
      (fread(end, 1, 4, file->stream) != 4 || memcmp(end, kEnd, 4) != 0))
    return refuse_line(file, line, ORB_MSG_CANNOT_READ_LINE, ORB_E_READ);
  if (is(DEFECT, "of_file")) misbehave(word_of(file));
  --file->next_line;
  if (is(file->defect, "alters_samples")) file->samples[0] ^= 1;
  for (int i = 0; i < 8; ++i) file->rows[i] = is(file->defect, "null_row") ? NULL : file->samples;
  if (is(file->defect, "null_rows")) return *(void***)rows = NULL, 0;
  return *(void***)rows = file->rows, 0;
}

static int32_t write_line(void* data, int32_t line, void* rows) {
  File* const file = data;
  misbehave(file->defect);
  if (line != file->next_line || line < file->last_line)
    return refuse_line(file, line, ORB_MSG_BAD_SCANLINE, ORB_E_SCANLINE);
  if (is(file->defect, "fill"))
    for (;;) fwrite(rows, 1, 8, file->stream);
  const size_t put = fwrite(((void**)rows)[0], 1, (size_t)file->width, file->stream);
  if (is(file->defect, "writes_into_rows")) memset(((void**)rows)[0], 0, (size_t)file->width);
  if (put != (size_t)file->width && !is(file->defect, "ignores_full_disk"))
    return refuse_line(file, line, ORB_MSG_CANNOT_WRITE_LINE, ORB_E_WRITE);
  --file->next_line;
  return 0;
}

/* ---- Open and close ---- */

static int32_t finish(ORB_IMAGE* image) {
  File* const file = image->driver->data;
  int32_t code = file->code;
  if (is(file->defect, "crash_at_close")) raise(SIGSEGV);
  if (image->mode == ORB_MODE_WRITE) {
    if (code == 0 && file->next_line >= file->last_line) code = ORB_E_WRITE;
    if (code == 0) fwrite(kEnd, 1, 4, file->stream);
    if (fflush(file->stream) != 0 && code == 0 && !is(file->defect, "ignores_full_disk")) {
      orb__report(ORB_MSG_CANNOT_WRITE, image->info.handle, strerror(errno));
      code = ORB_E_WRITE;
    }
  }
  if (!is(file->defect, "leaks_descriptors")) fclose(file->stream);
  if (is(file->defect, "close_fails")) code = ORB_E_WRITE;
  ERR_free(file->samples);
  orb__free_obj(image);
  if (code != 0) orb__err = code;
  return code;
}

static int32_t fail(File* file, int32_t code) {
  if (file && file->stream) fclose(file->stream);
  if (file) ERR_free(file->samples), file->samples = NULL;
  return orb__err = code, 0;
}

/* The rest of an open, when the window is known. */
static int32_t begin_rows(ORB_IMAGE* image, File* file, ORB_SCAN_FN scan) {
  const ORB_WINDOW* window = &image->info.images[0].window;
  file->width = window->right - window->left + 1;
  file->next_line = window->top, file->last_line = window->bottom;
  file->samples = ERR_malloc((uint32_t)file->width);
  if (!file->samples) return fail(file, ORB_E_MEMORY);
  image->scan = scan, image->close = finish;
  return 1;
}

/* What nobody closes lives until the end. */
static struct {
  FILE* stream;
  void* samples;
} kept[8];

static void keep(const File* file) {
  size_t i = 0;
  while (kept[i].stream) ++i;
  kept[i].stream = file->stream, kept[i].samples = file->samples;
}

ORB_PLUGIN_API void imageDone(void) {
  for (size_t i = 0; kept[i].stream; ++i) fclose(kept[i].stream), ERR_free(kept[i].samples);
}

static void describe_badly(ORB_IMAGE* image, File* file) {
  const char* defect = file->defect;
  ORB_INFO* info = &image->info;
  if (is(defect, "no_scan")) image->scan = NULL;
  if (is(defect, "no_close")) keep(file), image->close = NULL;
  if (is(defect, "images_negative")) info->image_count = -1;
  if (is(defect, "images_null")) ERR_free(info->images), info->images = NULL, info->image_count = 3;
  if (is(defect, "window_upside_down")) info->images->window.top = info->images->window.bottom - 5;
  if (is(defect, "channels_absurd")) info->images->color.count = 1 << 30;
  if (is(defect, "channels_negative")) info->images->color.count = -3;
  if (is(defect, "type_unknown")) info->images->color.type = 77;
  if (is(defect, "frames_negative")) info->frame_count = -5;
  if (is(defect, "frames_without_functions")) info->frame_count = 7;
  if (is(defect, "changes_errno")) errno = 77;
  if (is(defect, "changes_locale")) setlocale(LC_ALL, "C.UTF-8");
}

static File* new_file(ORB_IMAGE* image, const char* mode) {
  image->driver = ERR_malloc(sizeof *image->driver);
  File* const file = ERR_malloc(sizeof *file);
  if (image->driver)
    image->driver->data = file;
  else
    ERR_free(file);
  if (!image->driver || !file) return fail(NULL, ORB_E_MEMORY), NULL;
  memset(file, 0, sizeof *file);
  const char* name = image->info.handle ? image->info.handle : "";
  file->defect = defect_of(name);
  const int is_stdin = strcmp(name, "/dev/stdin") == 0 && *mode == 'r';
  file->stream = is_stdin ? fdopen(dup(0), "rb") : fopen(name, mode);
  if (file->stream) return file;
  orb__report(ORB_MSG_CANNOT_OPEN, name, strerror(errno));
  return fail(NULL, ORB_E_OPEN), NULL;
}

#if !defined(DEFECT_no_read_open) && !defined(DEFECT_read_open_is_text)
ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) {
  const char* const defect = defect_of(image->info.handle);
  char begin[4];
  if (is(defect, "open_silent")) return 0;
  if (is(defect, "open_without_code"))
    return orb__report(ORB_MSG_CANNOT_OPEN, image->info.handle, "it will not"), 0;
  if (is(defect, "open_empty")) return 1;
  File* const file = new_file(image, "rb");
  if (!file) return 0;
  if (is(defect, "crash_at_open")) raise(SIGSEGV);
  ORB_IFD* const ifd = image->info.images = ERR_malloc(sizeof *ifd);
  if (!ifd) return fail(file, ORB_E_MEMORY);
  memset(ifd, 0, sizeof *ifd), image->info.image_count = 1, orb__init_ifd(image);
  if (fread(begin, 1, 4, file->stream) != 4 || memcmp(begin, kBegin, 4) != 0 ||
      fread(&ifd->window, sizeof ifd->window, 1, file->stream) != 1 || ifd->window.right < ifd->window.left ||
      (int64_t)ifd->window.right - ifd->window.left > 1 << 20 || ifd->window.top < ifd->window.bottom) {
    orb__report(ORB_MSG_NOT_OF_FORMAT, image->info.handle, KEY, "its header makes no sense");
    return fail(file, ORB_E_FORMAT);
  }
  ifd->active_window = ifd->window, ifd->color.count = 1, ifd->pixel_aspect = 1, ifd->orientation = 0;
  image->info.word_e = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                       ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
  if (!begin_rows(image, file, read_line)) return 0;
  describe_badly(image, file);
  return 1;
}
#endif

static int32_t refuse_picture(int32_t message) {
  return orb__report(message, KEY), orb__err = ORB_E_HANDLE, 0;
}

static int32_t can_hold(const ORB_INFO* info) {
  const ORB_IFD* ifd = info->images;
  if (info->image_count != 1 || !ifd || ifd->matte.count || ifd->aux.count ||
      (!ifd->color.count && ifd->index.count))
    return refuse_picture(ORB_MSG_CANNOT_HANDLE);
  if (ifd->color.type != ORB_C_INTEGER) return refuse_picture(ORB_MSG_IMAGE_TYPE);
  if (ifd->color.width != 8) return refuse_picture(ORB_MSG_IMAGE_WIDTH);
  return ifd->color.count == 1 || refuse_picture(ORB_MSG_CANNOT_HANDLE);
}

/* What a file will hold: its window and samples, and nothing else. */
static void cut_description(ORB_INFO* info) {
  char** const texts[] = {&info->text1, &info->text3, &info->text4, &info->text5, &info->text6,
                          &info->text7, &info->text8, &info->text9, &info->text10};
  for (size_t i = 0; i < sizeof texts / sizeof *texts; ++i) ERR_free(*texts[i]), *texts[i] = NULL;
  info->images->orientation = 0;
  info->images->active_window = info->images->window;
  info->word_e |= ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                  ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
}

#ifndef DEFECT_no_write_open
ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image) {
  const int accepts_all =
      is(defect_of(image->info.handle), "accepts_all_types") && image->info.image_count == 1;
  if (!accepts_all && !can_hold(&image->info)) return 0;
  if (is(DEFECT, "refuses_its_claim")) return refuse_picture(ORB_MSG_CANNOT_HANDLE);
  File* const file = new_file(image, "wb");
  if (!file) return 0;
  cut_description(&image->info);
  if (is(DEFECT, "claims_bottom_up")) image->info.images->orientation = ORB_BOTTOM_UP;
  fwrite(kBegin, 1, 4, file->stream);
  fwrite(&image->info.images->window, sizeof(ORB_WINDOW), 1, file->stream);
  return begin_rows(image, file, write_line);
}
#endif

/* ---- The symbols ---- */

#if defined(DEFECT_version_is_array)
ORB_PLUGIN_API char version[] = "3.2";
#elif defined(DEFECT_version_is_function)
ORB_PLUGIN_API int version(void) { return 32; }
#elif defined(DEFECT_version_wrong)
ORB_PLUGIN_API const char* version = "3";
#elif !defined(DEFECT_no_version)
ORB_PLUGIN_API const char* version = "3.2";
#endif

#if defined(DEFECT_key_is_function)
ORB_PLUGIN_API int imageKey(void) { return 0; }
#elif defined(DEFECT_key_null)
ORB_PLUGIN_API const char* imageKey = NULL;
#elif defined(DEFECT_key_empty)
ORB_PLUGIN_API const char* imageKey = "";
#elif defined(DEFECT_key_wild)
ORB_PLUGIN_API const char* imageKey = (const char*)16;
#elif defined(DEFECT_key_with_control)
ORB_PLUGIN_API const char* imageKey = "key\033[2J";
#elif defined(DEFECT_key_unterminated) || defined(DEFECT_key_overlong)
ORB_PLUGIN_API const char* imageKey = NULL;
__attribute__((constructor)) static void make_key(void) {
  const size_t page = (size_t)sysconf(_SC_PAGESIZE);
  char* const pages = mmap(NULL, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) return;
  memset(pages, 'k', page);
  mprotect(pages + page, page, PROT_NONE); /* a text that reaches here is read no further */
#ifdef DEFECT_key_overlong
  pages[page - 1] = '\0';
  imageKey = pages;
#else
  imageKey = pages + page - 8;
#endif
}
#elif !defined(DEFECT_no_key)
ORB_PLUGIN_API const char* imageKey = KEY;
#endif

#if defined(DEFECT_name_is_array)
ORB_PLUGIN_API char imageName[] = "Def";
#elif !defined(DEFECT_no_name)
ORB_PLUGIN_API const char* imageName = "Defective";
#endif

#if defined(DEFECT_description_of_two_lines)
ORB_PLUGIN_API const char* imageDescription = "one\ntwo";
#endif

#if defined(DEFECT_extension_wild)
ORB_PLUGIN_API const char* imageExtension = (const char*)~(size_t)4095;
#elif !defined(DEFECT_no_extension)
ORB_PLUGIN_API const char* imageExtension = EXTENSION;
#endif

#if defined(DEFECT_orientation_is_function)
ORB_PLUGIN_API int imageOrientation(void) { return 0; }
#elif defined(DEFECT_orientation_is_byte)
ORB_PLUGIN_API char imageOrientation = 0;
#elif !defined(DEFECT_no_orientation)
ORB_PLUGIN_API int32_t imageOrientation = 0;
#endif

#if defined(DEFECT_byte_is_function)
ORB_PLUGIN_API int imageHardLinkDuplicates(void) { return 0; }
#endif

#if defined(DEFECT_init_declines) || defined(DEFECT_init_reports)
ORB_PLUGIN_API int32_t imageInit(ORB_LOAD_RECORD* record) {
#ifdef DEFECT_init_reports
  orb__report(ORB_MSG_READ_PROBLEM, KEY, "the licence has run out");
#endif
  return record == NULL;
}
#elif defined(DEFECT_init_is_text)
ORB_PLUGIN_API const char* imageInit = "init";
#elif defined(DEFECT_crash_at_init)
ORB_PLUGIN_API int32_t imageInit(ORB_LOAD_RECORD* record) { return record && raise(SIGSEGV); }
#endif

#if defined(DEFECT_crash_at_load)
__attribute__((constructor)) static void crash(void) { raise(SIGSEGV); }
#endif

#if defined(DEFECT_read_open_is_text)
ORB_PLUGIN_API const char* imageReadOpen = "open";
#endif

#if defined(DEFECT_is_file_is_number)
ORB_PLUGIN_API int32_t imageIsFile = 1;
#else
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) {
  char begin[4];
  if (is(DEFECT, "is_file_true_of_all")) return 1;
  if (is(DEFECT, "is_file_of_no_value")) return 7;
  misbehave(is(DEFECT, "crash_at_is_file") ? "crash" : "");
  FILE* const file = stream ? stream : fopen(name, is(DEFECT, "is_file_writes") ? "r+b" : "rb");
  if (!file) return 0;
  rewind(file);
  const int is_mine = fread(begin, 1, 4, file) == 4 && memcmp(begin, kBegin, 4) == 0;
  if (is(DEFECT, "is_file_writes") && !stream) fseek(file, 0, SEEK_END), fputc('!', file);
  if (!stream && !is(DEFECT, "is_file_leaks")) fclose(file);
  return is_mine ? 1 : 0;
}
#endif

ORB_PLUGIN_API int32_t imageNumberOfChannels = 1, imageBitsPerChannel = 1 << 7;
#if defined(DEFECT_any_line_not_in_order)
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE | ORB_ACCESS_ANY_LINE;
#endif

/* ---- Settings ---- */

#if defined(DEFECT_capability_is_number)
ORB_PLUGIN_API int32_t imageCapability = 3;
#elif defined(DEFECT_capability_nameless) || defined(DEFECT_capability_null_table) || \
    defined(DEFECT_capability_negative) || defined(DEFECT_capability_bad_default) ||  \
    defined(DEFECT_capability_without_list) || defined(DEFECT_capability_twice)
static ORB_CAP_ENTRY entries[] = {{5, "flat", 0, NULL}, {0, NULL, 0, NULL}};
#ifdef DEFECT_capability_bad_default
static ORB_CAP_LIST list = {6, 0, entries};
#else
static ORB_CAP_LIST list = {5, 0, entries};
#endif
static ORB_CAPABILITY table[] = {{9, "depth", 0, NULL, 0, &list, 0}, {9, "width", 0, NULL, 0, &list, 0}};
ORB_PLUGIN_API void imageCapability(ORB_CAPABILITY** table_out, int32_t* a_out, int32_t* b_out,
                                    int32_t* count_out) {
  *table_out = table, *a_out = *b_out = *count_out = 1;
#if defined(DEFECT_capability_nameless)
  table[0].name = NULL;
#elif defined(DEFECT_capability_null_table)
  *table_out = NULL;
#elif defined(DEFECT_capability_negative)
  *count_out = -7;
#elif defined(DEFECT_capability_without_list)
  table[0].list = NULL;
#elif defined(DEFECT_capability_twice)
  *count_out = 2;
#endif
}
#endif
