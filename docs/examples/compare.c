/* compare A B: opens two pictures and compares every sample. 0: equal, 1: different, 2: one cannot be read. */
#include <orbbase/host.h>
#include <orbbase/orbbase.h>
#include <stdio.h>
#include <string.h>

static ORB_IMAGE* open_picture(char* name) {
  ORB_INFO info;
  ORB_info_init(&info);
  info.handle = name;
  return ORB_open(&info, "r");
}

static size_t sample_bytes(const ORB_CHANNELS* group) {
  if (group->type == ORB_C_DOUBLE) return 8;
  if (group->type == ORB_C_FLOAT || group->width > 16) return 4;
  return group->width > 8 ? 2 : 1;
}

static int same_shape(const ORB_IFD* a, const ORB_IFD* b) {
  const ORB_CHANNELS *x[] = {&a->color, &a->matte, &a->aux}, *y[] = {&b->color, &b->matte, &b->aux};
  int same = memcmp(&a->window, &b->window, sizeof a->window) == 0;
  for (int g = 0; g < 3; ++g)
    same &= x[g]->count == y[g]->count &&
            (x[g]->count == 0 || (x[g]->type == y[g]->type && x[g]->width == y[g]->width));
  return same;
}

/* One line of both pictures. */
static int same_line(ORB_IMAGE** a, ORB_IMAGE** b, int32_t line) {
  const ORB_IFD* image = (*a)->info.images;
  const ORB_CHANNELS* groups[] = {&image->color, &image->matte, &image->aux};
  const size_t width = (size_t)(image->window.right - image->window.left + 1);
  void **rows_a, **rows_b;
  int channel = 0, same = 1;
  if (ORB_scan_read(*a, line, &rows_a) != 0 || ORB_scan_read(*b, line, &rows_b) != 0) return -1;
  for (int g = 0; g < 3; ++g)
    for (int i = 0; i < groups[g]->count; ++i, ++channel)
      same &= memcmp(rows_a[channel], rows_b[channel], width * sample_bytes(groups[g])) == 0;
  return same;
}

int main(int argc, char** argv) {
  if (argc != 3 || HOST_start(NULL) != 0) return 2;
  ORB_IMAGE *a = open_picture(argv[1]), *b = open_picture(argv[2]);
  if (!a || !b) return 2;
  const ORB_IFD* image = a->info.images;
  int same = same_shape(image, b->info.images);
  if (image->orientation != b->info.images->orientation)
    return 2; /* lines are taken in one order from both */
  const int up = (image->orientation & ORB_BOTTOM_UP) != 0;
  const int32_t height = image->window.top - image->window.bottom + 1;
  for (int32_t i = 0; same == 1 && i < height; ++i)
    same = same_line(&a, &b, up ? image->window.bottom + i : image->window.top - i);
  printf("%s and %s %s\n", argv[1], argv[2],
         same == 1   ? "hold the same samples"
         : same == 0 ? "differ"
                     : "cannot be compared");
  ORB_close(a);
  ORB_close(b);
  HOST_stop();
  return same == 1 ? 0 : same == 0 ? 1 : 2;
}
