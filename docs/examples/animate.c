/* animate FILE.gif: writes an animation of 12 frames, plays it, and opens it again from the cache of open files. */
#include <orbbase/host.h>
#include <orbbase/orbbase.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

enum { kFrames = 12, kWidth = 64, kHeight = 32 };

/* A bright ball that goes round. */
static unsigned char sample_of(int frame, int x, int y) {
  static const int place[kFrames][2] = {{52, 16}, {49, 21}, {42, 25}, {32, 26}, {22, 25}, {15, 21},
                                        {12, 16}, {15, 11}, {22, 7},  {32, 6},  {42, 7},  {49, 11}};
  const int dx = x - place[frame][0], dy = y - place[frame][1];
  return dx * dx + dy * dy < 25 ? 255 : (unsigned char)(40 + x);
}

static ORB_IMAGE* open_file(char* name, const char* mode) {
  static ORB_IFD ifd;
  ORB_INFO info;
  ORB_info_init(&info);
  info.handle = name;
  if (*mode == 'r') return ORB_open(&info, mode);
  ifd.image_kind = ifd.aspect_kind = 1;
  ifd.curve = (ORB_RESPONSE_CURVE){ORB_CURVE_GAMMA, 2.2F, 0, 1, 256, ORB_C_INTEGER, 12, NULL};
  ifd.pixel_aspect = 1;
  ifd.window = ifd.active_window = (ORB_WINDOW){0, kWidth - 1, 0, kHeight - 1};
  ifd.color = (ORB_CHANNELS){NULL, 1, ORB_C_INTEGER, 8};
  info.image_count = 1, info.images = &ifd;
  info.frame_count = kFrames, info.frame_rate = 10;
  info.word_e =
      ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT | ORB_ASSUMED_FRAME_NUMBER;
  return ORB_open(&info, mode);
}

static int write_frames(ORB_IMAGE* file) {
  unsigned char samples[kWidth];
  void* row = samples;
  int code = 0;
  for (int frame = 0; frame < kFrames; ++frame) {
    if (frame > 0) code |= ORB_set_frame(file, frame + 1, 0, 0); /* the first has begun */
    for (int y = kHeight - 1; code == 0 && y >= 0; --y) {        /* GIF stores rows from the top down */
      for (int x = 0; x < kWidth; ++x) samples[x] = sample_of(frame, x, y);
      code = ORB_scan_write(file, y, &row);
    }
  }
  return code;
}

/* Gets each frame as it becomes current; one that is not as it was written ends the play. */
static int32_t check_frame(void* seen, ORB_IMAGE* file, int32_t frame, double seconds) {
  void** rows;
  for (int y = kHeight - 1; y >= 0; --y) {
    if (ORB_scan_read(file, y, &rows) != 0) return -1;
    for (int x = 0; x < kWidth; ++x)
      if (((unsigned char*)rows[0])[x] != sample_of(frame - 1, x, y)) return -1;
  }
  printf("frame %d, for %.2f s\n", frame, seconds);
  return ++*(int*)seen, 0;
}

static double milliseconds(void) {
  struct timespec now;
  timespec_get(&now, TIME_UTC);
  return (double)now.tv_sec * 1e3 + (double)now.tv_nsec / 1e6;
}

int main(int argc, char** argv) {
  if (argc != 2 || HOST_start(NULL) != 0) return 2;
  int seen = 0;
  ORB_IMAGE* file = open_file(argv[1], "w");
  int wrong = !file || write_frames(file) != 0; /* the library has said why */
  wrong |= file && ORB_close(file) != 0;
  const double begin = milliseconds();
  ORB_IMAGE* first = file = wrong ? NULL : open_file(argv[1], "r");
  const double opened = milliseconds();
  wrong |= !file || ORB_playback_bind(file, (intptr_t)check_frame, (intptr_t)&seen, 0) != 0 ||
           ORB_playback_play(file, 0, 0, 0, 0, 0) != 0 || seen != kFrames;
  if (file) ORB_playback_bind(file, 0, 0, 0), ORB_close(file); /* it only becomes idle */
  const double closed = milliseconds();
  file = wrong ? NULL : open_file(argv[1], "r");
  printf("opened in %.3f ms, and from the cache in %.3f ms%s\n", opened - begin, milliseconds() - closed,
         file && file == first ? ", the same handle" : "");
  wrong |= file != first;
  if (file) ORB_close(file);
  return HOST_stop() != 0 || wrong;
}
