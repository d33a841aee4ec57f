/* Takes a picture through memory and back, and compares every sample. */
#include <orbbase/host.h>
#include <orbbase/orbbase.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  if (argc != 2 || HOST_start(NULL) != 0) return 2;
  ORB_INFO info;
  ORB_info_init(&info);
  info.handle = argv[1];
  ORB_IMAGE* file = ORB_open(&info, "r");
  if (!file) return 1; /* the library has said why */
  ORB_IFD image = file->info.images[0];
  ORB_INFO copy = file->info; /* the same description, kept elsewhere */
  copy.key = "mem";
  copy.handle = "picture";
  ORB_IMAGE* memory = ORB_open(&copy, "w");
  void **rows, **kept;
  int line, wrong = !memory; /* lines are taken from the top down, as PNG stores them */
  for (line = image.window.top; !wrong && line >= image.window.bottom; --line)
    wrong = ORB_scan_read(file, line, &rows) != 0 || ORB_scan_write(memory, line, rows) != 0;
  wrong |= memory && ORB_close(memory) != 0;
  memory = ORB_open(&copy, "r");
  wrong |= !memory || ORB_seek(&file, -1) != 0; /* back to the file's first row */
  size_t row_bytes = (size_t)(image.window.right - image.window.left + 1) * (image.color.width > 8 ? 2 : 1);
  for (line = image.window.top; !wrong && line >= image.window.bottom; --line) {
    wrong = ORB_scan_read(file, line, &rows) != 0 || ORB_scan_read(memory, line, &kept) != 0;
    for (int c = 0; !wrong && c < image.color.count + image.matte.count; ++c)
      wrong = memcmp(rows[c], kept[c], row_bytes) != 0;
  }
  printf("%s: %s\n", argv[1], wrong ? "differs" : "came back unchanged");
  if (memory) ORB_close(memory);
  if (file) ORB_close(file);
  return HOST_stop() != 0 || wrong;
}
