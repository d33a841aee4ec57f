// Regions of images whose rows lie in memory: ORB_get_region of a whole frame, against memcpy of as many bytes
// as the frame takes in the caller's buffer, and against libswscale where it converts the same. Then of a
// run-length coded file, against its row reads and the conversion alone.
//
// The handle for rows in memory is one of the "mem" driver with another scan function, which copies nothing:
// what is timed is the conversion, with the library's locks and calls around it.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "bench/pairs.h"
#include "orbbase/host.h"
#include "orbbase/operators.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace {

constexpr int32_t kWidth = 4096;
constexpr int32_t kHeight = 2160;
constexpr size_t kPixels = size_t{kWidth} * kHeight;
constexpr size_t kChannels = 4;
constexpr size_t kMostBytes = kPixels * kChannels * sizeof(uint16_t);

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "region: %s\n", what);
  std::exit(2);
}

// Memory that begins where a large copy is fastest.
struct alignas(4096) Block {
  uint8_t bytes[4096] = {};
};

// Where the pixels go.
uint8_t* target() {
  static std::vector<Block> shared(kMostBytes / sizeof(Block));
  return shared[0].bytes;
}

// Planes of red, green, blue and alpha: every sample within its width, and no two neighbours alike.
struct Frame {
  explicit Frame(int32_t bits) : sample_bytes(bits > 8 ? 2 : 1), blocks(kMostBytes / sizeof(Block)) {
    uint32_t random = 1;
    for (size_t i = 0; i < kPixels * kChannels; ++i) {
      random = random * 1664525 + 1013904223;
      const uint32_t sample = random >> (32 - bits);
      std::memcpy(blocks[0].bytes + i * sample_bytes, &sample, sample_bytes);
    }
  }

  uint8_t* plane(size_t channel) { return blocks[0].bytes + channel * kPixels * sample_bytes; }

  int32_t sample_bytes;
  std::vector<Block> blocks;
  void* rows[kChannels] = {};
};

// Made once for all rows of the table.
template <int32_t bits>
Frame& frame() {
  static Frame shared(bits);
  return shared;
}

template <int32_t bits>
int32_t row_in_memory(void*, int32_t line, void* rows_out) {
  Frame& in = frame<bits>();
  for (size_t c = 0; c < kChannels; ++c) in.rows[c] = in.plane(c) + size_t{kWidth} * line * in.sample_bytes;
  *static_cast<void***>(rows_out) = in.rows;
  return 0;
}

// The first row for every line.
template <int32_t bits>
int32_t one_row_in_memory(void* data, int32_t, void* rows_out) {
  return row_in_memory<bits>(data, 0, rows_out);
}

// A picture of the frame's size, with colour and matte of so many bits.
struct Description {
  Description(char* name, int32_t bits) {
    ifd.curve.kind = ORB_CURVE_GAMMA;
    ifd.curve.gamma = 1.0F;
    ifd.orientation = ORB_BOTTOM_UP;
    ifd.window = ifd.active_window = {0, kWidth - 1, 0, kHeight - 1};
    ifd.color = {nullptr, 3, ORB_C_INTEGER, bits};
    ifd.matte = {nullptr, 1, ORB_C_INTEGER, bits};
    ifd.aux = ifd.index = {nullptr, 0, ORB_C_INTEGER, 16};
    ORB_info_init(&info);
    info.handle = name;
    info.image_count = 1;
    info.images = &ifd;
  }
  Description(const Description&) = delete;
  Description& operator=(const Description&) = delete;

  ORB_INFO info;
  ORB_IFD ifd = {};
};

void read_frame(ORB_IMAGE*& image, uint32_t layout) {
  const int32_t result =
      ORB_get_region(&image, 0, kWidth - 1, 0, kHeight - 1, target(), ORB_REGION_PACKED, layout);
  if (result != 0) give_up("cannot read the region");
}

// An open image of the frame.
template <int32_t bits>
class FrameImage {
 public:
  explicit FrameImage(ORB_SCAN_FN scan = row_in_memory<bits>) {
    char name[] = "bench/region.mem";
    Description picture(name, bits);
    ORB_IMAGE* writer = ORB_open(&picture.info, "w");
    if (!writer || ORB_close(writer) != 0) give_up("cannot make the picture");
    image_ = ORB_open(&picture.info, "r");
    ORB_mem_remove(name);
    if (!image_) give_up("cannot open the picture");
    image_->scan = scan;
  }
  ~FrameImage() { ORB_close(image_); }
  FrameImage(const FrameImage&) = delete;
  FrameImage& operator=(const FrameImage&) = delete;

  void read(uint32_t layout) { read_frame(image_, layout); }

 private:
  ORB_IMAGE* image_;
};

// An open run-length coded file, made of runs of sixteen, for as long as a side runs.
template <int32_t bits>
class FrameFile {
 public:
  FrameFile() {
    HOST_start(nullptr);
    Description picture(path_.data(), bits);
    write(picture.info);
    image_ = ORB_open(&picture.info, "r");
    if (!image_) give_up("cannot open the file");
  }
  ~FrameFile() {
    ORB_close(image_);
    std::remove(path_.c_str());
  }
  FrameFile(const FrameFile&) = delete;
  FrameFile& operator=(const FrameFile&) = delete;

  void read_region(uint32_t layout) { read_frame(image_, layout); }

  void read_rows() {
    if (ORB_seek(&image_, 0) != 0) give_up("cannot go back");
    for (int32_t line = 0; line < kHeight; ++line) {
      void** rows = nullptr;
      if (ORB_scan_read(image_, line, &rows) != 0) give_up("cannot read a row");
      benchmark::DoNotOptimize(rows);
    }
  }

 private:
  static std::string made_path() {
    const char* folder = std::getenv("TMPDIR");
    return std::string(folder ? folder : ".") + "/orb-region-bench.rla";
  }

  static void write(ORB_INFO& info) {
    ORB_IMAGE* writer = ORB_open(&info, "w");
    if (!writer) give_up("cannot make a file");
    using Sample = std::conditional_t<(bits > 8), uint16_t, uint8_t>;
    std::vector<Sample> samples(kWidth);
    void* rows[kChannels];
    std::fill(std::begin(rows), std::end(rows), samples.data());
    for (int32_t line = 0; line < kHeight; ++line) {
      for (int32_t x = 0; x < kWidth; ++x)
        samples[x] = static_cast<Sample>((x / 16 * 259 + line) % (1 << bits));
      if (ORB_scan_write(writer, line, rows) != 0) give_up("cannot write a row");
    }
    if (ORB_close(writer) != 0) give_up("cannot finish the file");
  }

  std::string path_ = made_path();
  ORB_IMAGE* image_;
};

template <int32_t bits, uint32_t layout>
void region(benchmark::State& state) {
  FrameImage<bits> image;
  for (auto _ : state) {
    image.read(layout);
    benchmark::ClobberMemory();
  }
}

template <int32_t bits, uint32_t layout>
void region_of_file(benchmark::State& state) {
  FrameFile<bits> file;
  for (auto _ : state) {
    file.read_region(layout);
    benchmark::ClobberMemory();
  }
}

template <int32_t bits, uint32_t layout>
void rows_and_conversion(benchmark::State& state) {
  FrameFile<bits> file;
  FrameImage<bits> image(one_row_in_memory<bits>);
  for (auto _ : state) {
    file.read_rows();
    image.read(layout);
    benchmark::ClobberMemory();
  }
}

template <size_t pixel_bytes>
void copy(benchmark::State& state) {
  const uint8_t* source = frame<16>().plane(0);
  for (auto _ : state) {
    std::memcpy(target(), source, kPixels * pixel_bytes);
    benchmark::ClobberMemory();
  }
}

template <int32_t bits, AVPixelFormat from, AVPixelFormat to, int pixel_bytes>
void swscale(benchmark::State& state) {
  Frame& in = frame<bits>();
  SwsContext* context =
      sws_getContext(kWidth, kHeight, from, kWidth, kHeight, to, SWS_POINT, nullptr, nullptr, nullptr);
  if (!context) give_up("libswscale cannot convert");
  // Its planes are in the order green, blue, red, alpha; of a grey picture only the first counts.
  const uint8_t* planes[] = {in.plane(1), in.plane(2), in.plane(0), in.plane(3)};
  int source_stride[kChannels];
  for (int& stride : source_stride) stride = kWidth * in.sample_bytes;
  uint8_t* pixels[kChannels] = {target()};
  const int pixels_stride[kChannels] = {kWidth * pixel_bytes};
  for (auto _ : state) {
    sws_scale(context, planes, source_stride, 0, kHeight, pixels, pixels_stride);
    benchmark::ClobberMemory();
  }
  sws_freeContext(context);
}

// The most time for a part of the speed of memcpy.
constexpr double at(double speed) { return 1 / speed; }

constexpr double kThreeTimes = at(3);

const orb::bench::Pairs pairs({
    {"8 bits to RGBA8", region<8, ORB_REGION_RGBA8>, "memcpy", copy<4>, at(0.9), at(0.8)},
    {"8 bits to RGBA16", region<8, ORB_REGION_RGBA16>, "memcpy", copy<8>, at(0.9), at(0.8)},
    {"8 bits to GREY16", region<8, ORB_REGION_GREY16>, "memcpy", copy<2>, at(0.9), at(0.8)},
    {"8 bits to GREY8", region<8, ORB_REGION_GREY8>, "memcpy", copy<1>, at(0.9), at(0.8)},
    {"8 bits to RGB8", region<8, ORB_REGION_RGB8>, "memcpy", copy<3>, at(0.5), at(0.45)},
    {"16 bits to RGBA8", region<16, ORB_REGION_RGBA8>, "memcpy", copy<4>, at(0.7), at(0.6)},
    {"16 bits to RGBA16", region<16, ORB_REGION_RGBA16>, "memcpy", copy<8>, at(0.9), at(0.8)},
    {"16 bits to GREY16", region<16, ORB_REGION_GREY16>, "memcpy", copy<2>, at(0.9), at(0.8)},
    {"16 bits to GREY8", region<16, ORB_REGION_GREY8>, "memcpy", copy<1>, at(0.25)},
    {"16 bits to RGB8", region<16, ORB_REGION_RGB8>, "memcpy", copy<3>, at(0.5), at(0.45)},
    {"5 bits to RGBA8", region<5, ORB_REGION_RGBA8>, "memcpy", copy<4>, at(0.25)},
    {"5 bits to RGBA16", region<5, ORB_REGION_RGBA16>, "memcpy", copy<8>, at(0.6)},
    {"5 bits to GREY16", region<5, ORB_REGION_GREY16>, "memcpy", copy<2>, at(0.6)},
    {"5 bits to GREY8", region<5, ORB_REGION_GREY8>, "memcpy", copy<1>, at(0.25)},
    {"5 bits to RGB8", region<5, ORB_REGION_RGB8>, "memcpy", copy<3>, at(0.25)},
    {"10 bits to RGBA8", region<10, ORB_REGION_RGBA8>, "memcpy", copy<4>, at(0.25)},
    {"10 bits to RGBA16", region<10, ORB_REGION_RGBA16>, "memcpy", copy<8>, at(0.6)},
    {"10 bits to GREY16", region<10, ORB_REGION_GREY16>, "memcpy", copy<2>, at(0.6)},
    {"10 bits to GREY8", region<10, ORB_REGION_GREY8>, "memcpy", copy<1>, at(0.25)},
    {"10 bits to RGB8", region<10, ORB_REGION_RGB8>, "memcpy", copy<3>, at(0.25)},
    {"8 bits to RGBA8 again", region<8, ORB_REGION_RGBA8>, "libswscale",
     swscale<8, AV_PIX_FMT_GBRAP, AV_PIX_FMT_RGBA, 4>, kThreeTimes},
    {"8 bits to RGBA16 again", region<8, ORB_REGION_RGBA16>, "libswscale",
     swscale<8, AV_PIX_FMT_GBRAP, AV_PIX_FMT_RGBA64, 8>, kThreeTimes},
    {"8 bits to GREY16 again", region<8, ORB_REGION_GREY16>, "libswscale",
     swscale<8, AV_PIX_FMT_GRAY8, AV_PIX_FMT_GRAY16, 2>, kThreeTimes},
    {"8 bits to RGB8 again", region<8, ORB_REGION_RGB8>, "libswscale",
     swscale<8, AV_PIX_FMT_GBRP, AV_PIX_FMT_RGB24, 3>, 1},
    {"16 bits to RGBA16 again", region<16, ORB_REGION_RGBA16>, "libswscale",
     swscale<16, AV_PIX_FMT_GBRAP16, AV_PIX_FMT_RGBA64, 8>, kThreeTimes},
    {"RLA file, 8 bits to RGBA8", region_of_file<8, ORB_REGION_RGBA8>, "row reads and conversion",
     rows_and_conversion<8, ORB_REGION_RGBA8>, 1.3},
    {"RLA file, 10 bits to RGBA16", region_of_file<10, ORB_REGION_RGBA16>, "row reads and conversion",
     rows_and_conversion<10, ORB_REGION_RGBA16>, 1.3},
});

}  // namespace
