/* A C11 program against the shared library as it is shipped: a call or more into every family, through the public
 * headers alone. Each line of output that it does not print is a fault; main returns their number. What a program
 * does with pictures is in docs/examples. */
#include <stdio.h>
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
  expect(orb__rsrc_open("not there") == NULL, "orb__rsrc_open misses a file");
  ERR_can_handler(NULL);
  expect(strstr(heard, "open: error -5") != NULL, "ERR_report_errno reaches a handler");
  expect(strstr(heard, "Bad scanline: 7 (") != NULL, "orb__report reaches a handler");
  expect(strstr(heard, "not there") != NULL, "so does what the library itself reports");
}

static void values(void) {
  char* joined = STR_save_n(2, "scan", "line");
  expect(joined && STR_compare(joined, "scanline") == 0, "STR_save_n joins");
  ERR_free(joined);
  expect(FMT_def_frame_rate() == 30, "FMT_def_frame_rate has its built-in value");
  expect(strcmp(IMP_info()->name, "none") == 0, "IMP_info begins with the null process");
  expect(CLR_def_xyz_tab_res() == 401, "CLR_def_xyz_tab_res has its built-in value");
  ORB_SETTING setting;
  expect(ORB_setting(0, &setting) && setting.name[0], "ORB_setting lists settings");
  expect(ORB_name_syntax_verify("name.####.ext") == 1, "ORB_name_syntax_verify knows a syntax");
  uint16_t* table = ORB_gamma_btos(1.0f);
  expect(table && table[1] == 16 && table[255] == 4095, "ORB_gamma_btos maps linearly at gamma 1");
  ORB_gamma_done(table);
}

/* The catalogue, the detection of a file's format, and frames, of which an image in memory has none. */
static void formats(void) {
  int32_t is_known = 0;
  expect(ORB_init(NULL, NULL) == 0 && ORB_find(".mem") != NULL,
         "the library starts with its built-in formats");
  expect(ORB_limit(ORB_LIMIT_IMAGES, 0) == 65536, "ORB_limit reads a limit");
  expect(ORB_hasWriteSupport(".pipe") == ORB_ACCESS_WRITE, "the catalogue knows what can be written");
  expect(strcmp(ORB_get_file_type("families", NULL, &is_known), "__none_") == 0 && is_known == 1,
         "no format knows a file that is not there");
  expect(ORB_playback_stop(NULL, 0, 0, 0) == ORB_E_HANDLE, "playback needs a handle");
  expect(ORB_exit() == 0, "the library stops");
}

int main(void) {
  errors();
  values();
  formats();
  return faults;
}
