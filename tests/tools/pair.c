/* "pair": two grey images of 2 x 3 in every file. Its first byte says what of it is broken: '1' and '2', the last
 * row of that image; 'c', the close; 'd', nothing, but the second image differs; 'f', nothing, but the file claims to have frames; 'k', the first row
 * kills the process. */
#include <orbbase/driver.h>
#include <orbbase/orbbase.h>
#include <signal.h>
#include <string.h>

ORB_PLUGIN_API const char *version = "3.2", *imageKey = "pair", *imageName = "Pair",
                          *imageExtension = ".pair";
ORB_PLUGIN_API int32_t imageOrientation = 0, imageNumberOfChannels = 1, imageAccess = ORB_ACCESS_READ;

struct half {
  struct half* first;
  void* row;
  int32_t next_line;
  char number, broken;
  unsigned char samples[2];
};

static int32_t scan(void* data, int32_t line, void* rows) {
  struct half* half = data;
  if (line != half->next_line) return orb__report(ORB_MSG_BAD_SCANLINE, line), orb__err = ORB_E_SCANLINE;
  if (half->first->broken == 'k') raise(SIGKILL);
  if (line == 2 && half->first->broken == half->number)
    return orb__report(ORB_MSG_CANNOT_READ_LINE, line, "it is broken"), orb__err = ORB_E_DECODE;
  ++half->next_line;
  half->row = half->samples;
  return *(void***)rows = &half->row, 0;
}

static int32_t finish(ORB_IMAGE* image) {
  const struct half* half = image->driver->data;
  const int32_t code = half->broken == 'c' ? ORB_E_READ : 0;
  orb__free_obj(image);
  return code ? orb__err = code : 0;
}

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) {
  image->driver = ERR_malloc(2 * sizeof *image->driver);
  image->info.images = ERR_malloc(2 * sizeof *image->info.images);
  struct half* halves = ERR_malloc(2 * sizeof *halves);
  FILE* file = fopen(image->info.handle, "rb");
  if (!image->driver || !image->info.images || !halves || !file) return orb__err = ORB_E_OPEN, 0;
  memset(halves, 0, 2 * sizeof *halves), memset(image->info.images, 0, 2 * sizeof *image->info.images);
  halves->broken = (char)fgetc(file);
  fclose(file);
  image->info.image_count = 2, image->info.frame_count = halves->broken == 'f' ? 9 : 0;
  orb__init_ifd(image);
  for (int i = 0; i < 2; ++i) {
    ORB_IFD* ifd = &image->info.images[i];
    ifd->window = ifd->active_window = (ORB_WINDOW){0, 1, 0, 2};
    ifd->color.count = 1, ifd->pixel_aspect = 1;
    if (halves->broken == 'd' && i == 1) halves[i].samples[1] = 255;
    halves[i].first = halves, halves[i].number = (char)('1' + i);
    image->driver[i].data = &halves[i];
  }
  return image->scan = scan, image->close = finish, 1;
}
