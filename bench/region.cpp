// Regions of images whose rows lie in memory: ORB_get_region of a whole frame, against memcpy of as many bytes
// as the frame takes in the caller's buffer, and against libswscale where it converts the same. Then of a
// run-length coded file, against its row reads and the conversion alone.
//
// The handle for rows in memory is one of the "mem" driver with another scan function, which copies nothing:
// what is timed is the conversion, with the library's locks and calls around it.
#include "bench/file.h"
#include "bench/frame.h"
#include "bench/pairs.h"
#include "orbbase/operators.h"

namespace {

using namespace orb::bench;

constexpr size_t kChannels = 4;

size_t bytes_of(int32_t bits) { return bits > 8 ? 2 : 1; }

// Red, green, blue and alpha.
ORB_IFD frame_of(int32_t bits) {
  ORB_IFD ifd = described(kFrameWidth, kFrameHeight, 3, ORB_C_INTEGER, bits);
  ifd.matte.count = 1;
  return ifd;
}

uint8_t* plane(int32_t bits, size_t channel) {
  return noise(bits, kChannels).data() + channel * kFramePixels * bytes_of(bits);
}

void read_frame(ORB_IMAGE*& image, uint32_t layout) {
  const int32_t result = ORB_get_region(&image, 0, kFrameWidth - 1, 0, kFrameHeight - 1, target().data(),
                                        ORB_REGION_PACKED, layout);
  if (result != 0) give_up("cannot read the region");
}

// What the handle for rows in memory gives.
struct Shown {
  uint8_t* planes[kChannels];
  size_t line_bytes;  // 0: the first row for every line
  void* rows[kChannels];
} shown;

int32_t row_in_memory(void*, int32_t line, void* rows_out) {
  for (size_t c = 0; c < kChannels; ++c) {
    shown.rows[c] = shown.planes[c] + static_cast<size_t>(line) * shown.line_bytes;
  }
  *static_cast<void***>(rows_out) = shown.rows;
  return 0;
}

ORB_IMAGE* open_memory(int32_t bits, bool is_one_row) {
  File file("bench/region.mem", frame_of(bits));
  close(file.open("w"));
  ORB_IMAGE* image = file.open("r");
  image->scan = row_in_memory;
  for (size_t c = 0; c < kChannels; ++c) shown.planes[c] = plane(bits, c);
  shown.line_bytes = is_one_row ? 0 : kFrameWidth * bytes_of(bits);
  return image;
}

void region(benchmark::State& state, int32_t bits, uint32_t layout) {
  ORB_IMAGE* image = open_memory(bits, false);
  for (auto _ : state) {
    read_frame(image, layout);
    benchmark::ClobberMemory();
  }
  close(image);
}

// ---- A file, made of runs of sixteen -----------------------------------------------------------------

struct RunFile : File {
  explicit RunFile(int32_t bits) : File(scratch_path("picture.rla"), frame_of(bits)) {
    write([&](int32_t line, void** rows) {
      for (int32_t x = 0; x < kFrameWidth; ++x) {
        const int32_t sample = (x / 16 * 259 + line) % (1 << bits);
        for (size_t c = 0; c < kChannels; ++c) {
          if (bits > 8) static_cast<uint16_t*>(rows[c])[x] = static_cast<uint16_t>(sample);
          if (bits <= 8) static_cast<uint8_t*>(rows[c])[x] = static_cast<uint8_t>(sample);
        }
      }
    });
  }
};

void region_of_file(benchmark::State& state, int32_t bits, uint32_t layout) {
  RunFile file(bits);
  ORB_IMAGE* image = file.open("r");
  for (auto _ : state) {
    read_frame(image, layout);
    benchmark::ClobberMemory();
  }
  close(image);
}

void rows_and_conversion(benchmark::State& state, int32_t bits, uint32_t layout) {
  RunFile file(bits);
  ORB_IMAGE* image = file.open("r");
  ORB_IMAGE* memory = open_memory(bits, true);
  for (auto _ : state) {
    if (ORB_seek(&image, 0) != 0) give_up("cannot go back");
    read_lines(image, [](int32_t, void** rows) { benchmark::DoNotOptimize(rows); });
    read_frame(memory, layout);
    benchmark::ClobberMemory();
  }
  close(memory);
  close(image);
}

// Its planes are in the order green, blue, red, alpha; of a grey picture only the first counts.
void swscale(benchmark::State& state, int32_t bits, AVPixelFormat from, AVPixelFormat to,
             size_t pixel_bytes) {
  convert_frame(state, from, {plane(bits, 1), plane(bits, 2), plane(bits, 0), plane(bits, 3)}, bytes_of(bits),
                to, pixel_bytes);
}

// ---- Rows --------------------------------------------------------------------------------------------

struct Layout {
  const char* name;
  uint32_t code;
  size_t pixel_bytes;
};
constexpr Layout kRgba8 = {"RGBA8", ORB_REGION_RGBA8, 4}, kRgba16 = {"RGBA16", ORB_REGION_RGBA16, 8},
                 kGrey16 = {"GREY16", ORB_REGION_GREY16, 2}, kGrey8 = {"GREY8", ORB_REGION_GREY8, 1},
                 kRgb8 = {"RGB8", ORB_REGION_RGB8, 3};

// Parts of the speed of memcpy.
struct CopyGoal {
  int32_t bits;
  Layout to;
  double goal, floor;
};
constexpr CopyGoal kCopyGoals[] = {
    {8, kRgba8, 0.9, 0.8},    {8, kRgba16, 0.9, 0.8},  {8, kGrey16, 0.9, 0.8},   {8, kGrey8, 0.9, 0.8},
    {8, kRgb8, 0.5, 0.45},    {16, kRgba8, 0.7, 0.6},  {16, kRgba16, 0.9, 0.8},  {16, kGrey16, 0.9, 0.8},
    {16, kGrey8, 0.25, 0.25}, {16, kRgb8, 0.5, 0.45},  {5, kRgba8, 0.25, 0.25},  {5, kRgba16, 0.6, 0.6},
    {5, kGrey16, 0.6, 0.6},   {5, kGrey8, 0.25, 0.25}, {5, kRgb8, 0.25, 0.25},   {10, kRgba8, 0.25, 0.25},
    {10, kRgba16, 0.6, 0.6},  {10, kGrey16, 0.6, 0.6}, {10, kGrey8, 0.25, 0.25}, {10, kRgb8, 0.25, 0.25},
};

struct ConverterGoal {
  int32_t bits;
  Layout to;
  AVPixelFormat peer_from, peer_to;
  double speed;
};
constexpr ConverterGoal kConverterGoals[] = {
    {8, kRgba8, AV_PIX_FMT_GBRAP, AV_PIX_FMT_RGBA, 3},
    {8, kRgba16, AV_PIX_FMT_GBRAP, AV_PIX_FMT_RGBA64, 3},
    {8, kGrey16, AV_PIX_FMT_GRAY8, AV_PIX_FMT_GRAY16, 3},
    {8, kRgb8, AV_PIX_FMT_GBRP, AV_PIX_FMT_RGB24, 1},
    {16, kRgba16, AV_PIX_FMT_GBRAP16, AV_PIX_FMT_RGBA64, 3},
};

std::string name_of(int32_t bits, const Layout& to) { return std::to_string(bits) + " bits to " + to.name; }

std::vector<Pair> all_rows() {
  std::vector<Pair> rows;
  for (const auto& [bits, to, goal, floor] : kCopyGoals) {
    rows.push_back({name_of(bits, to), on(region, bits, to.code), "memcpy", on(copy_frame, to.pixel_bytes),
                    at(goal), at(floor)});
  }
  for (const auto& [bits, to, peer_from, peer_to, speed] : kConverterGoals) {
    rows.push_back({name_of(bits, to) + " again", on(region, bits, to.code), "libswscale",
                    on(swscale, bits, peer_from, peer_to, to.pixel_bytes), at(speed)});
  }
  for (const auto& [bits, to] : {std::pair(8, kRgba8), std::pair(10, kRgba16)}) {
    rows.push_back({"RLA file, " + name_of(bits, to), on(region_of_file, bits, to.code),
                    "row reads and conversion", on(rows_and_conversion, bits, to.code), 1.3});
  }
  return rows;
}

const Pairs pairs(all_rows());

}  // namespace
