/* A C11 program against the shared library as it is shipped: one call or more into every family, through the
 * public headers alone. Each line of output that it does not print is a fault; main returns their number. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orbbase/driver.h"
#include "orbbase/orbbase.h"

static int faults = 0;

static void expect(int holds, const char* claim) {
  if (holds) return;
  fprintf(stderr, "not so: %s\n", claim);
  ++faults;
}

static int32_t swallow(const void* identity, uint8_t category, const char* message, ERR_RECORD* record,
                       void* user_data) {
  (void)identity;
  (void)record;
  strncat((char*)user_data, message, 200);
  return category > ERR_ERROR;
}

static void errors(void) {
  char heard[512] = "";
  ERR_dcl_handler(NULL, swallow, heard);
  ERR_report_errno(-5, "open");
  orb__report(ORB_MSG_BAD_SCANLINE, 7);
  ERR_can_handler(NULL);
  expect(strstr(heard, "open: error -5") != NULL, "ERR_report_errno reaches a handler");
  expect(strstr(heard, "Bad scanline: 7 (") != NULL, "orb__report reaches a handler");
  expect(ERR_stats(ERR_ERROR) == 2, "ERR_stats counts both");
}

static void strings(void) {
  char* joined = STR_save_n(2, "scan", "line");
  expect(joined && STR_compare(joined, "scanline") == 0, "STR_save_n joins");
  ERR_free(joined);
  expect(STR_hash("ab", 1000) == 299, "STR_hash is the fixed hash");
}

static void defaults(void) {
  expect(FMT_def_frame_rate() == 30, "FMT_def_frame_rate has its built-in value");
  expect(strcmp(IMP_info()->name, "none") == 0, "IMP_info begins with the null process");
  expect(CLR_def_xyz_tab_res() == 401, "CLR_def_xyz_tab_res has its built-in value");
  ORB_SETTING setting;
  expect(ORB_setting(0, &setting) && setting.name[0], "ORB_setting lists settings");
}

static void resources(void) {
  static const unsigned char empty[12] = {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 12};
  static const char name[] = "every_family.rsrc";
  const uint32_t code = 0x54455854; /* "TEXT" */
  FILE* made = fopen(name, "wb");
  expect(made && fwrite(empty, 1, sizeof empty, made) == sizeof empty && fclose(made) == 0, "a file is made");
  ORB_RSRC_FILE* file = orb__rsrc_open(name);
  expect(file && orb__rsrc_add(file, code, "a", "data", 4) && orb__rsrc_close(name, 1),
         "orb__rsrc_close saves what orb__rsrc_add added");
  file = orb__rsrc_open(name);
  const void* data = file ? orb__rsrc_load(file, code, "a", NULL) : NULL;
  expect(data && memcmp(data, "data", 4) == 0, "orb__rsrc_load reads it back");
  orb__rsrc_close(name, 0);
  remove(name);
}

static void curves(void) {
  uint16_t* table = ORB_gamma_btos(1.0f);
  expect(table && table[1] == 16 && table[255] == 4095, "ORB_gamma_btos maps linearly at gamma 1");
  ORB_gamma_done(table);
}

/* A picture of three rows with a matte goes into memory and comes back. */
static void images(void) {
  ORB_INFO* info = ORB_info_alloc();
  ORB_IFD image;
  memset(&image, 0, sizeof image);
  image.curve.kind = ORB_CURVE_GAMMA;
  image.window.right = image.active_window.right = 3;
  image.window.top = image.active_window.top = 2;
  image.orientation = ORB_BOTTOM_UP;
  image.color.count = 3;
  image.matte.count = 1;
  image.color.type = image.matte.type = image.aux.type = image.index.type = ORB_C_INTEGER;
  image.color.width = image.matte.width = image.aux.width = image.index.width = 8;
  expect(ORB_limit(ORB_LIMIT_IMAGES, 0) == 65536, "ORB_limit reads a limit");
  info->key = STR_save("mem");
  info->handle = STR_save("families");
  info->image_count = 1;
  info->images = &image;
  ORB_IMAGE* out = ORB_open(info, "w");
  size_t bytes = 0;
  void** rows = ORB_chan_alloc(&image, 4, "mem", &bytes);
  expect(out && rows && bytes == 16, "an image opens for writing, with a row to write");
  if (rows) memset(rows[0], 12, bytes);
  for (int32_t line = 0; line < 3; ++line)
    expect(ORB_scan_write(out, line, rows) == 0, "a scanline is written");
  ORB_chan_free(rows);
  expect(ORB_close(out) == 0, "the written image closes");
  ORB_IMAGE* in = ORB_open(info, "r");
  void** read = NULL;
  expect(ORB_scan_read(in, 2, &read) == 0 && ((unsigned char*)read[3])[3] == 12, "its matte is read back");
  expect(ORB_close(in) == 0 && ORB_mem_remove("families") == 0, "the memory is given back");
  info->image_count = 0;
  info->images = NULL;
  ORB_info_free(info, 1);
}

/* The catalogue, the detection of a file's format, and frames, of which an image in memory has none. */
static void formats(void) {
  int32_t is_known = 0;
  expect(ORB_hasWriteSupport(".pipe") == ORB_ACCESS_WRITE, "the catalogue knows what can be written");
  expect(strcmp(ORB_get_file_type("families", NULL, &is_known), "__none_") == 0 && is_known == 1,
         "no format knows a file that is not there");
  expect(ORB_playback_stop(NULL, 0, 0, 0) == ORB_E_HANDLE, "playback needs a handle");
}

int main(void) {
  errors();
  strings();
  defaults();
  resources();
  curves();
  expect(ORB_init(NULL, NULL) == 0 && ORB_find(".mem") != NULL,
         "the library starts with its built-in formats");
  images();
  formats();
  expect(ORB_exit() == 0, "the library stops");
  return faults;
}
