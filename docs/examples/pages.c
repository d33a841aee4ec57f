/* pages FILE.tif: writes 16 pages, each of a size of its own, and reads them again, the last page first. */
#include <orbbase/host.h>
#include <orbbase/orbbase.h>
#include <stdio.h>
#include <string.h>

enum { kPages = 16, kHeight = 20 };

static int32_t width_of(int page) { return 30 + page; }
static unsigned char sample_of(int page, int x, int y) { return (unsigned char)(15 * page + x + y); }

static void describe(ORB_IFD* ifd, int page) {
  memset(ifd, 0, sizeof *ifd);
  ifd->image_kind = ifd->aspect_kind = 1;
  ifd->curve = (ORB_RESPONSE_CURVE){ORB_CURVE_GAMMA, 2.2F, 0, 1, 256, ORB_C_INTEGER, 12, NULL};
  ifd->pixel_aspect = 1;
  ifd->window = ifd->active_window = (ORB_WINDOW){0, width_of(page) - 1, 0, kHeight - 1};
  ifd->color = (ORB_CHANNELS){NULL, 1, ORB_C_INTEGER, 8};
}

/* Slot k of the driver block serves page k; pages are written one after the other, rows from the top down. */
static int write_pages(ORB_IMAGE* file) {
  unsigned char samples[30 + kPages];
  void* row = samples;
  int code = 0;
  for (int page = 0; page < kPages; ++page)
    for (int y = kHeight - 1; code == 0 && y >= 0; --y) {
      for (int x = 0; x < width_of(page); ++x) samples[x] = sample_of(page, x, y);
      code = file->scan(file->driver[page].data, y, &row);
    }
  return code;
}

static int read_pages(ORB_IMAGE* file) {
  void** rows;
  int wrong = file->info.image_count != kPages;
  for (int page = kPages - 1; !wrong && page >= 0; --page) {
    const ORB_WINDOW window = file->info.images[page].window;
    for (int y = window.top; !wrong && y >= window.bottom; --y) {
      wrong = file->scan(file->driver[page].data, y, &rows) != 0;
      for (int x = 0; !wrong && x <= window.right; ++x)
        wrong = ((unsigned char*)rows[0])[x] != sample_of(page, x, y);
    }
    printf("page %d: %d x %d%s\n", page + 1, window.right + 1, window.top + 1, wrong ? ", wrong" : "");
  }
  return wrong;
}

int main(int argc, char** argv) {
  if (argc != 2 || HOST_start(NULL) != 0) return 2;
  ORB_IFD images[kPages];
  for (int page = 0; page < kPages; ++page) describe(&images[page], page);
  ORB_INFO info;
  ORB_info_init(&info);
  info.handle = argv[1];
  info.image_count = kPages;
  info.images = images;
  info.word_e = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
  ORB_IMAGE* file = ORB_open(&info, "w");
  int wrong = !file || write_pages(file) != 0; /* the library has said why */
  wrong |= file && ORB_close(file) != 0;
  ORB_info_init(&info);
  info.handle = argv[1];
  file = wrong ? NULL : ORB_open(&info, "r");
  wrong |= !file || read_pages(file);
  if (file) ORB_close(file);
  return HOST_stop() != 0 || wrong;
}
