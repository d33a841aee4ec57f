/* A plug-in: the first 4096 bytes of any file named *.bytes are a picture, one row of grey samples. */
#include <errno.h>
#include <orbbase/driver.h>
#include <orbbase/orbbase.h>
#include <string.h>

ORB_PLUGIN_API const char *version = "3.2", *imageKey = "bytes", *imageName = "Bytes",
                          *imageExtension = ".bytes";
ORB_PLUGIN_API int32_t imageOrientation = 0, imageNumberOfChannels = 1,
                       imageAccess = ORB_ACCESS_READ | ORB_ACCESS_ANY_LINE;

struct bytes {
  void* row;
  unsigned char file[4096], samples[4096];
};

static int32_t scan(void* data, int32_t line, void* rows) {
  struct bytes* bytes = data;
  if (line != 0) return orb__report(ORB_MSG_BAD_SCANLINE, line), orb__err = ORB_E_SCANLINE;
  bytes->row = memcpy(bytes->samples, bytes->file, sizeof bytes->file); /* who gets the row may change it */
  return *(void***)rows = &bytes->row, 0;
}

static int32_t finish(ORB_IMAGE* image) { return orb__free_obj(image), 0; }

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) {
  const char* name = image->info.handle ? image->info.handle : "";
  if (!(image->driver = ERR_malloc(sizeof *image->driver))) return orb__err = ORB_E_MEMORY, 0;
  struct bytes* bytes = image->driver->data = ERR_malloc(sizeof *bytes);
  ORB_IFD* ifd = image->info.images = ERR_malloc(sizeof *ifd);
  if (!bytes || !ifd) return orb__err = ORB_E_MEMORY, 0; /* the handle owns what there is, and goes */
  FILE* file = fopen(name, "rb");
  if (!file) return orb__report(ORB_MSG_CANNOT_OPEN, name, strerror(errno)), orb__err = ORB_E_OPEN, 0;
  const int32_t count = (int32_t)fread(bytes->file, 1, sizeof bytes->file, file);
  const int error = ferror(file) ? errno : 0;
  fclose(file);
  if (error) return orb__report(ORB_MSG_READ_PROBLEM, name, strerror(error)), orb__err = ORB_E_READ, 0;
  if (!count)
    return orb__report(ORB_MSG_NOT_OF_FORMAT, name, "bytes", "it is empty"), orb__err = ORB_E_FORMAT, 0;
  memset(ifd, 0, sizeof *ifd), image->info.image_count = 1, orb__init_ifd(image);
  ifd->window = ifd->active_window = (ORB_WINDOW){0, count - 1, 0, 0};
  ifd->color.count = 1, ifd->pixel_aspect = 1, ifd->orientation = 0;
  /* Such a file declares none of these: */
  image->info.word_e = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                       ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
  return image->scan = scan, image->close = finish, 1;
}
