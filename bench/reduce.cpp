// Reduced pictures: reading a file and making all levels of its pyramid against reading the file; and
// the kernel that does most of it, against a plain copy of the rows.
//
// The levels go to a driver that takes and forgets them, so that what is timed beside the reading is the making.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/pairs.h"
#include "bench/pictures.h"
#include "orbbase/core.h"
#include "orbbase/host.h"
#include "orbbase/imp.h"
#include "orbbase/operators/reduce_rows.h"

namespace {

using namespace orb::bench;
namespace fs = std::filesystem;

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "reduce: %s\n", what);
  std::exit(2);
}

// ---- Files ----

ORB_IFD described(const Picture& in, float gamma) {
  ORB_IFD ifd = {};
  ifd.curve = {ORB_CURVE_GAMMA, gamma, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
  ifd.window =
      ifd.active_window = {0, static_cast<int32_t>(in.width) - 1, 0, static_cast<int32_t>(in.height) - 1};
  ifd.orientation = ORB_BOTTOM_UP;
  ifd.pixel_aspect = 1.0F;
  ifd.aspect_kind = 1;
  ifd.color = {nullptr, static_cast<int32_t>(in.colour_channels), ORB_C_INTEGER,
               in.depth == Depth::bits8 ? 8 : 16};
  ifd.matte = ifd.aux = ifd.index = {nullptr, 0, ORB_C_INTEGER, 8};
  return ifd;
}

// Where a line's samples are in the picture, which begins with the top line.
std::vector<void*> rows_of(const Picture& in, int32_t line) {
  std::vector<void*> rows(in.colour_channels);
  for (size_t c = 0; c < rows.size(); ++c) {
    rows[c] = const_cast<uint8_t*>(in.row(in.height - 1 - static_cast<size_t>(line), c).data());
  }
  return rows;
}

template <class Visit>
void for_each_line(const ORB_IMAGE* image, Visit visit) {
  const ORB_IFD& ifd = image->info.images[0];
  const bool is_upward = (ifd.orientation & ORB_BOTTOM_UP) != 0;
  const int32_t last = ifd.window.top - ifd.window.bottom;
  for (int32_t i = 0; i <= last; ++i) visit(ifd.window.bottom + (is_upward ? i : last - i));
}

// A picture kept as a file of a format, for as long as a side runs.
class File {
 public:
  File(const Picture& in, const char* key, float gamma) : ifd_(described(in, gamma)) {
    HOST_start(nullptr);
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    path_ = (fs::temp_directory_path() / ("orb-reduce-" + std::to_string(now) + "." + key)).string();
    ORB_info_init(&info_);
    info_.handle = path_.data();
    info_.key = const_cast<char*>(key);
    info_.open_option = 1;
    info_.images = &ifd_;
    info_.image_count = 1;
    ORB_IMAGE* writer = ORB_open(&info_, "w");
    if (!writer) give_up("cannot make a file");
    for_each_line(writer, [&](int32_t line) {
      if (ORB_scan_write(writer, line, rows_of(in, line).data()) != 0) give_up("cannot write a row");
    });
    if (ORB_close(writer) != 0) give_up("cannot finish a file");
  }
  ~File() { fs::remove(path_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  ORB_IMAGE* open() {
    ORB_IMAGE* image = ORB_open(&info_, "r");
    if (!image) give_up("cannot open a file");
    return image;
  }
  [[nodiscard]] const ORB_IFD& ifd() const { return ifd_; }

 private:
  ORB_IFD ifd_;
  ORB_INFO info_;
  std::string path_;
};

// A handle of the memory driver for what a process gives, whose rows go nowhere. The driver would keep them.
class Sink {
 public:
  Sink(const IMP_PROCESS& process, const ORB_IFD& full, uint32_t orientation) {
    char name[] = "bench/reduce.mem";
    char key[] = "mem";
    ORB_IFD given = full;
    given.orientation = orientation;
    ORB_IFD images[40];
    ORB_INFO info;
    ORB_info_init(&info);
    info.handle = name;
    info.key = key;
    info.image_count = IMP_plan(&process, &given, images, 40);
    info.images = images;
    image_ = ORB_open(&info, "w");
    if (!image_) give_up("cannot open a place for the levels");
    image_->scan = [](void*, int32_t, void*) -> int32_t { return 0; };
    if (!IMP_open(image_, &process, "w")) give_up("cannot open a generator");
  }
  ~Sink() { ORB_close(image_); }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  void put(int32_t line, void** rows) {
    if (ORB_scan_write(image_, line, rows) != 0) give_up("cannot make a level");
  }

 private:
  ORB_IMAGE* image_;
};

// ---- Sides ----

// Reads a file; with a process, makes what that gives.
void read_file(benchmark::State& state, const Picture& in, const char* key, float gamma,
               const IMP_PROCESS* process) {
  File file(in, key, gamma);
  for (auto _ : state) {
    ORB_IMAGE* image = file.open();
    ORB_IFD full = file.ifd();
    full.color = image->info.images[0].color;
    const auto transfer = [&](Sink* sink) {
      for_each_line(image, [&](int32_t line) {
        void** rows = nullptr;
        if (ORB_scan_read(image, line, &rows) != 0) give_up("cannot read a row");
        if (sink) sink->put(line, rows);
        benchmark::DoNotOptimize(rows[0]);
      });
    };
    if (process) {
      Sink sink(*process, full, image->info.images[0].orientation);
      transfer(&sink);
    } else {
      transfer(nullptr);
    }
    ORB_close(image);
  }
}

constexpr IMP_PROCESS kPyramid = {"mipmap", 0, 0, 0, nullptr};

Pair pyramid_of(const char* key, Subject subject, Depth depth, float gamma) {
  const std::string name = std::string("pyramid, ") + key + ", " + picture_name(subject, depth) + ", gamma " +
                           (gamma == 1.0F ? "1" : "2.2");
  return {name, [=](benchmark::State& s) { read_file(s, picture(subject, depth), key, gamma, &kPyramid); },
          "reading alone",
          [=](benchmark::State& s) { read_file(s, picture(subject, depth), key, gamma, nullptr); }, 1.6};
}

// ---- Kernels ----

constexpr size_t kWidth = 4096;

std::vector<uint8_t> noise() {
  std::vector<uint8_t> row(kWidth);
  uint32_t random = 1;
  for (uint8_t& sample : row) sample = static_cast<uint8_t>((random = random * 1664525 + 1013904223) >> 24);
  return row;
}

// One row of a level out of two rows of 8 bits.
void halve(benchmark::State& state, float gamma) {
  const orb::reduce::Form form = gamma == 1.0F ? orb::reduce::Form::code : orb::reduce::Form::table;
  const ORB_RESPONSE_CURVE curve = {ORB_CURVE_GAMMA, gamma, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
  const auto table = orb::reduce::make_code_table(curve, 0, 8);
  const orb::reduce::Light light = {table.get(), 1, 255};
  const orb::reduce::RowFunctions& rows = orb::reduce::row_functions(ORB_C_INTEGER, 8, form);
  const std::vector<uint8_t> in = noise();
  std::vector<float> sums(kWidth / 2);
  std::vector<float> lights(kWidth / 2);
  std::vector<uint8_t> out(kWidth / 2);
  for (auto _ : state) {
    rows.pair_samples(light, in.data(), kWidth, sums.data());
    rows.pair_samples(light, in.data(), kWidth, lights.data());
    rows.average(sums.data(), lights.data(), kWidth / 2, lights.data());
    rows.samples(light, lights.data(), kWidth / 2, out.data());
    benchmark::ClobberMemory();
  }
}

void copy(benchmark::State& state) {
  const std::vector<uint8_t> in = noise();
  std::vector<uint8_t> out(2 * kWidth);
  for (auto _ : state) {
    std::memcpy(out.data(), in.data(), kWidth);
    std::memcpy(out.data() + kWidth, in.data(), kWidth);
    benchmark::ClobberMemory();
  }
}

const Pairs pairs({
    {"halve 2 rows of 8 bits, gamma 2.2", [](benchmark::State& s) { halve(s, 2.2F); }, "memcpy", copy,
     kNoGoal},
    {"halve 2 rows of 8 bits, gamma 1", [](benchmark::State& s) { halve(s, 1.0F); }, "memcpy", copy, kNoGoal},
    pyramid_of("png", Subject::coffee, Depth::bits8, 2.2F),
    pyramid_of("png", Subject::coffee, Depth::bits8, 1.0F),
    pyramid_of("png", Subject::coffee, Depth::bits16, 2.2F),
    pyramid_of("rla", Subject::coffee, Depth::bits8, 2.2F),
    pyramid_of("rla", Subject::coffee, Depth::bits8, 1.0F),
    pyramid_of("rla", Subject::facets, Depth::bits8, 2.2F),
});

}  // namespace
