// Image files that the benchmarks make and read again through the library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/give_up.h"
#include "bench/pictures.h"
#include "orbbase/core.h"

namespace orb::bench {

enum class Place { disk, memory };  // memory: a file system that lies there, where there is one

// A path in a folder of this run's own, which goes when the run ends.
std::string scratch_path(const std::string& name, Place place = Place::disk);

// Colour alone, stored from the bottom up.
ORB_IFD described(int32_t width, int32_t height, int32_t channels, uint32_t type, int32_t bits);
ORB_IFD described(const Picture& picture);

// Calls visit with every line, in the order in which the file has them.
template <class Visit>
void for_each_line(const ORB_IMAGE* image, Visit visit) {
  const ORB_IFD& ifd = image->info.images[0];
  const bool is_upward = (ifd.orientation & ORB_BOTTOM_UP) != 0;
  const int32_t last = ifd.window.top - ifd.window.bottom;
  for (int32_t i = 0; i <= last; ++i) visit(ifd.window.bottom + (is_upward ? i : last - i));
}

// Calls use with every line and its rows.
template <class Use>
void read_lines(ORB_IMAGE* image, Use use) {
  for_each_line(image, [&](int32_t line) {
    void** rows = nullptr;
    if (ORB_scan_read(image, line, &rows) != 0) give_up("cannot read a row");
    use(line, rows);
  });
}

// Writes every line as fill leaves its rows, in which it may also put pointers to rows of its own.
template <class Fill>
void write_lines(ORB_IMAGE* image, Fill fill) {
  const ORB_IFD& ifd = image->info.images[0];
  const auto width = static_cast<size_t>(ifd.window.right - ifd.window.left + 1);
  std::vector<void*> rows(static_cast<size_t>(ifd.color.count + ifd.matte.count + ifd.aux.count));
  std::vector<uint32_t> samples(rows.size() * width);
  for (size_t c = 0; c < rows.size(); ++c) rows[c] = samples.data() + c * width;
  for_each_line(image, [&](int32_t line) {
    fill(line, rows.data());
    if (ORB_scan_write(image, line, rows.data()) != 0) give_up("cannot write a row");
  });
}

void close(ORB_IMAGE* image);

// A file of the format that its extension is the key of, or a picture kept under that name. Gone with this.
struct File {
  File(const std::string& at, const ORB_IFD& description);
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  [[nodiscard]] ORB_IMAGE* open(const char* mode);
  template <class Fill>
  void write(Fill fill) {
    ORB_IMAGE* image = open("w");
    write_lines(image, fill);
    close(image);
  }
  void write(const Picture& picture);

  std::string path, key;
  ORB_IFD ifd;
  ORB_INFO info;
};

}  // namespace orb::bench
