// The operators' kernels on planes in memory, beside plain loops, memcpy and libswscale; and a stack of operators
// on RLA rows beside the same steps done by hand.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/pairs.h"
#include "bench/pictures.h"
#include "orbbase/host.h"
#include "orbbase/operators.h"
#include "orbbase/operators/gamma_rows.h"
#include "orbbase/operators/minmax_rows.h"
#include "orbbase/operators/quantize_rows.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace {

constexpr size_t kWidth = 4096;
constexpr size_t kHeight = 2160;
constexpr size_t kSamples = kWidth * kHeight;

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "operators: %s\n", what);
  std::exit(2);
}

struct alignas(4096) Block {
  uint8_t bytes[4096] = {};
};

// A plane of samples, made once for all rows of the table.
class Plane {
 public:
  explicit Plane(size_t bytes) : blocks_((bytes + sizeof(Block) - 1) / sizeof(Block)) {}
  [[nodiscard]] uint8_t* data() { return blocks_[0].bytes; }

 private:
  std::vector<Block> blocks_;
};

uint32_t next_random(uint32_t& state) { return state = state * 1664525 + 1013904223; }

Plane& byte_plane() {
  static Plane plane = [] {
    Plane made(kSamples);
    uint32_t state = 1;
    for (size_t i = 0; i < kSamples; ++i) made.data()[i] = static_cast<uint8_t>(next_random(state) >> 24);
    return made;
  }();
  return plane;
}

Plane& step_plane() {
  static Plane plane = [] {
    Plane made(2 * kSamples);
    uint32_t state = 1;
    for (size_t i = 0; i < kSamples; ++i) {
      const auto sample = static_cast<uint16_t>(next_random(state) >> 20);
      std::memcpy(made.data() + 2 * i, &sample, sizeof sample);
    }
    return made;
  }();
  return plane;
}

Plane& float_plane() {
  static Plane plane = [] {
    Plane made(4 * kSamples);
    uint32_t state = 1;
    for (size_t i = 0; i < kSamples; ++i) {
      const float sample = static_cast<float>(next_random(state) >> 8) / 0x1000000;
      std::memcpy(made.data() + 4 * i, &sample, sizeof sample);
    }
    return made;
  }();
  return plane;
}

Plane& target() {
  static Plane plane(4 * kSamples);
  return plane;
}

const uint8_t* gamma_table() {
  static uint8_t* const table = [] {
    static uint8_t entries[ORB_GAMMA_STEPS];
    for (size_t i = 0; i < std::size(entries); ++i) {
      entries[i] = static_cast<uint8_t>(std::pow(static_cast<double>(i) / std::size(entries), 1 / 2.2) * 255);
    }
    return entries;
  }();
  return table;
}

// A table that keeps its samples telling after any number of rounds: a permutation of all values.
orb::gamma::ByteTable permutation() {
  static const auto table = [] {
    std::vector<uint8_t> entries(256);
    for (size_t i = 0; i < entries.size(); ++i) entries[i] = static_cast<uint8_t>(i * 77 + 13);
    return entries;
  }();
  return orb::gamma::ByteTable(table.data(), 256);
}

// Does one row after the other, as an operator would.
template <class Row>
void each_row(benchmark::State& state, Row row) {
  for (auto _ : state) {
    for (size_t y = 0; y < kHeight; ++y) row(y);
    benchmark::ClobberMemory();
  }
}

template <size_t bytes_a_sample>
void copy(benchmark::State& state) {
  uint8_t* const from = float_plane().data();
  uint8_t* const to = target().data();
  for (auto _ : state) {
    std::memcpy(to, from, kSamples * bytes_a_sample);
    benchmark::ClobberMemory();
  }
}

// ---- Gamma -------------------------------------------------------------------------------------------

template <orb::gamma::LookUp (*choose)()>
void look_up(benchmark::State& state) {
  const orb::gamma::LookUp chosen = choose();
  each_row(state, [chosen](size_t y) { chosen(permutation(), {byte_plane().data() + y * kWidth, kWidth}); });
}
orb::gamma::LookUp baseline() { return orb::gamma::look_up; }

void look_up_plainly(benchmark::State& state) {
  each_row(state, [table = permutation()](size_t y) {
    uint8_t* const row = byte_plane().data() + y * kWidth;
    for (size_t i = 0; i < kWidth; ++i) row[i] = table[row[i]];
  });
}

void narrow(benchmark::State& state) {
  const std::span<const uint8_t> table(gamma_table(), ORB_GAMMA_STEPS);
  each_row(state, [table](size_t y) {
    orb::gamma::look_up_narrowing(table, step_plane().data() + 2 * y * kWidth, kWidth,
                                  target().data() + y * kWidth);
  });
}

void narrow_plainly(benchmark::State& state) {
  each_row(state, [table = gamma_table()](size_t y) {
    const auto* const row = reinterpret_cast<const uint16_t*>(step_plane().data()) + y * kWidth;
    uint8_t* const out = target().data() + y * kWidth;
    for (size_t i = 0; i < kWidth; ++i) out[i] = table[row[i]];
  });
}

// ---- Min-max and quantize ----------------------------------------------------------------------------

void remap(benchmark::State& state) {
  static const orb::minmax::Ramp ramp = orb::minmax::make_ramp(0.999F, 1);
  each_row(state, [](size_t y) { orb::minmax::apply(ramp, {byte_plane().data() + y * kWidth, kWidth}); });
}

// Into one row that is used again and again: the operator has no other.
template <int32_t bits>
void quantize(benchmark::State& state) {
  const auto convert = orb::quantize::converter(ORB_C_FLOAT, bits);
  const double factor = orb::quantize::factor(bits);
  each_row(state, [convert, factor](size_t y) {
    convert(float_plane().data() + 4 * y * kWidth, target().data(), kWidth, factor);
  });
}

template <AVPixelFormat to, int bytes>
void swscale(benchmark::State& state) {
  SwsContext* context = sws_getContext(kWidth, kHeight, AV_PIX_FMT_GRAYF32, kWidth, kHeight, to, SWS_POINT,
                                       nullptr, nullptr, nullptr);
  if (!context) give_up("libswscale cannot convert");
  const uint8_t* const planes[4] = {float_plane().data()};
  const int strides[4] = {4 * kWidth};
  uint8_t* const out[4] = {target().data()};
  const int out_strides[4] = {bytes * kWidth};
  for (auto _ : state) {
    sws_scale(context, planes, strides, 0, kHeight, out, out_strides);
    benchmark::ClobberMemory();
  }
  sws_freeContext(context);
}

// ---- A stack on RLA rows -----------------------------------------------------------------------------

// A photograph in an RLA file, written once.
class RlaFile {
 public:
  RlaFile() : path_(std::filesystem::temp_directory_path() / "orb-bench-operators.rla") {
    if (HOST_start(nullptr) != 0) give_up("the library does not start");
    const orb::bench::Picture& picture =
        orb::bench::picture(orb::bench::Subject::coffee, orb::bench::Depth::bits8);
    ORB_IFD ifd = {};
    ifd.curve.kind = ORB_CURVE_GAMMA;
    ifd.curve.gamma = 1.0F;
    ifd.pixel_aspect = 1.0F;
    ifd.orientation = ORB_BOTTOM_UP;
    lines_ = static_cast<int32_t>(picture.height);
    width_ = picture.width;
    ifd.window = ifd.active_window = {0, static_cast<int32_t>(picture.width) - 1, 0, lines_ - 1};
    ifd.color = {nullptr, 3, ORB_C_INTEGER, 8};
    ifd.matte = ifd.aux = {nullptr, 0, ORB_C_INTEGER, 8};
    ORB_INFO info = description();
    info.image_count = 1;
    info.images = &ifd;
    ORB_IMAGE* writer = ORB_open(&info, "w");
    if (!writer) give_up("cannot write the picture");
    for (int32_t line = 0; line < lines_; ++line) {
      void* rows[3];
      for (size_t c = 0; c < 3; ++c) rows[c] = const_cast<uint8_t*>(picture.row(line, c).data());
      ORB_scan_write(writer, line, rows);
    }
    if (ORB_close(writer) != 0) give_up("cannot write the picture");
  }
  ~RlaFile() { std::filesystem::remove(path_); }
  RlaFile(const RlaFile&) = delete;
  RlaFile& operator=(const RlaFile&) = delete;

  [[nodiscard]] ORB_IMAGE* open() {
    ORB_INFO info = description();
    ORB_IMAGE* image = ORB_open(&info, "r");
    if (!image) give_up("cannot open the picture");
    return image;
  }
  [[nodiscard]] int32_t lines() const { return lines_; }
  [[nodiscard]] size_t width() const { return width_; }

 private:
  ORB_INFO description() {
    ORB_INFO info;
    ORB_info_init(&info);
    info.key = key_;
    info.handle = path_.data();
    info.open_option = 1;
    return info;
  }

  std::string path_;
  char key_[4] = "rla";
  int32_t lines_ = 0;
  size_t width_ = 0;
};

RlaFile& rla_file() {
  static RlaFile file;
  return file;
}

void read_all(ORB_IMAGE* image, void (*with_rows)(void**)) {
  for (int32_t line = 0; line < rla_file().lines(); ++line) {
    void** rows = nullptr;
    if (ORB_scan_read(image, line, &rows) != 0) give_up("cannot read a line");
    if (with_rows) with_rows(rows);
  }
}

void stacked(benchmark::State& state) {
  ORB_IMAGE* image = rla_file().open();
  ORB_RESPONSE_CURVE curve = {};
  curve.kind = ORB_CURVE_GAMMA;
  curve.gamma = 2.2F;
  ORB__minmax(ORB__gamma(ORB__minmax(image, 0.1, 0.9), &curve), 0, 0.5);
  for (auto _ : state) read_all(image, nullptr);
  ORB_close(image);
}

void by_hand(benchmark::State& state) {
  static const orb::minmax::Ramp first = orb::minmax::make_ramp(0.8F, 25);
  static const orb::minmax::Ramp last = orb::minmax::make_ramp(0.5F, 0);
  static const orb::gamma::LookUp look = orb::gamma::choose_look_up();
  ORB_IMAGE* image = rla_file().open();
  for (auto _ : state) {
    read_all(image, [](void** rows) {
      for (size_t c = 0; c < 3; ++c) {
        const std::span<uint8_t> row(static_cast<uint8_t*>(rows[c]), rla_file().width());
        orb::minmax::apply(first, row);
        look(permutation(), row);
        orb::minmax::apply(last, row);
      }
    });
  }
  ORB_close(image);
}

// The most time for a part of the speed of the peer.
constexpr double at(double speed) { return 1 / speed; }

const orb::bench::Pairs pairs({
    {"gamma, 8 bits, baseline", look_up<baseline>, "plain loop", look_up_plainly, 1.0, 1.05},
    {"gamma, 8 bits, this processor", look_up<orb::gamma::choose_look_up>, "memcpy", copy<1>,
     orb::gamma::choose_look_up() == orb::gamma::look_up ? orb::bench::kNoGoal : at(0.8)},
    {"gamma, 12 bits to 8", narrow, "plain loop", narrow_plainly, 1.0, 1.05},
    {"min-max, 8 bits", remap, "memcpy", copy<1>, at(0.8), at(0.6)},
    {"quantize, float to 8 bits", quantize<8>, "memcpy of the source", copy<4>, at(1.2), at(1.1)},
    {"quantize, float to 16 bits", quantize<16>, "memcpy of the source", copy<4>, at(1.2), at(1.0)},
    {"quantize, float to 8 bits", quantize<8>, "libswscale", swscale<AV_PIX_FMT_GRAY8, 1>, at(2)},
    {"quantize, float to 16 bits", quantize<16>, "libswscale", swscale<AV_PIX_FMT_GRAY16, 2>, at(6)},
    {"three operators on RLA rows", stacked, "the same by hand", by_hand, 1.15},
});

}  // namespace
