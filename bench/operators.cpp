// The operators' kernels on planes in memory, beside plain loops, memcpy and libswscale; and a stack of operators
// on RLA rows beside the same steps done by hand.
#include "orbbase/operators.h"

#include <array>
#include <cmath>

#include "bench/file.h"
#include "bench/frame.h"
#include "bench/pairs.h"
#include "orbbase/operators/gamma_rows.h"
#include "orbbase/operators/minmax_rows.h"
#include "orbbase/operators/quantize_rows.h"

namespace {

using namespace orb::bench;

constexpr size_t kWidth = kFrameWidth;

std::span<uint8_t> byte_row(size_t y) {
  static uint8_t* const plane = noise(8, 1).data();
  return {plane + y * kWidth, kWidth};
}

// Does one row after the other, as an operator would.
template <class Row>
void each_row(benchmark::State& state, Row row) {
  for (auto _ : state) {
    for (size_t y = 0; y < kFrameHeight; ++y) row(y);
    benchmark::ClobberMemory();
  }
}

// ---- Gamma -------------------------------------------------------------------------------------------

// A table that keeps its samples telling after any number of rounds: a permutation of all values.
orb::gamma::ByteTable permutation() {
  static const auto table = [] {
    std::array<uint8_t, 256> entries;
    for (size_t i = 0; i < entries.size(); ++i) entries[i] = static_cast<uint8_t>(i * 77 + 13);
    return entries;
  }();
  return orb::gamma::ByteTable(table);
}

void look_up(benchmark::State& state, orb::gamma::LookUp chosen) {
  each_row(state, [chosen](size_t y) { chosen(permutation(), byte_row(y)); });
}

void look_up_plainly(benchmark::State& state) {
  each_row(state, [table = permutation()](size_t y) {
    for (uint8_t& sample : byte_row(y)) sample = table[sample];
  });
}

// 12 bits to 8.
using Narrow = void (*)(std::span<const uint8_t> table, const uint8_t* in, size_t count, uint8_t* out);

void narrow(benchmark::State& state, Narrow look_up) {
  static const auto table = [] {
    std::array<uint8_t, ORB_GAMMA_STEPS> entries;
    for (size_t i = 0; i < entries.size(); ++i) {
      entries[i] = static_cast<uint8_t>(std::pow(static_cast<double>(i) / entries.size(), 1 / 2.2) * 255);
    }
    return entries;
  }();
  each_row(state, [look_up, steps = noise(12, 1).data(), out = target().data()](size_t y) {
    look_up(table, steps + 2 * y * kWidth, kWidth, out + y * kWidth);
  });
}

void narrow_plainly(std::span<const uint8_t> table, const uint8_t* in, size_t count, uint8_t* out) {
  const auto* const row = reinterpret_cast<const uint16_t*>(in);
  for (size_t i = 0; i < count; ++i) out[i] = table[row[i]];
}

// ---- Min-max and quantize ----------------------------------------------------------------------------

void remap(benchmark::State& state) {
  static const orb::minmax::Ramp ramp = orb::minmax::make_ramp(0.999F, 1);
  each_row(state, [](size_t y) { orb::minmax::apply(ramp, byte_row(y)); });
}

// Into one row that is used again and again: the operator has no other.
void quantize(benchmark::State& state, int32_t bits) {
  const auto convert = orb::quantize::converter(ORB_C_FLOAT, bits);
  const double factor = orb::quantize::factor(bits);
  each_row(state, [=, floats = noise(32, 1).data(), out = target().data()](size_t y) {
    convert(floats + 4 * y * kWidth, out, kWidth, factor);
  });
}

void swscale(benchmark::State& state, AVPixelFormat to, size_t bytes) {
  convert_frame(state, AV_PIX_FMT_GRAYF32, {noise(32, 1).data()}, 4, to, bytes);
}

// ---- A stack on RLA rows -----------------------------------------------------------------------------

// A photograph in an RLA file.
struct Photograph : File {
  Photograph() : File(scratch_path("picture.rla"), described(source())) { write(source()); }
  static const Picture& source() { return picture(Subject::coffee, Depth::bits8); }
};

void stacked(benchmark::State& state) {
  Photograph file;
  ORB_IMAGE* image = file.open("r");
  ORB_RESPONSE_CURVE curve = {};
  curve.kind = ORB_CURVE_GAMMA;
  curve.gamma = 2.2F;
  ORB__minmax(ORB__gamma(ORB__minmax(image, 0.1, 0.9), &curve), 0, 0.5);
  for (auto _ : state) read_lines(image, [](int32_t, void**) {});
  close(image);
}

void by_hand(benchmark::State& state) {
  static const orb::minmax::Ramp first = orb::minmax::make_ramp(0.8F, 25);
  static const orb::minmax::Ramp last = orb::minmax::make_ramp(0.5F, 0);
  static const orb::gamma::LookUp look = orb::gamma::choose_look_up();
  Photograph file;
  const size_t width = Photograph::source().width;
  ORB_IMAGE* image = file.open("r");
  for (auto _ : state) {
    read_lines(image, [width](int32_t, void** rows) {
      for (size_t c = 0; c < 3; ++c) {
        const std::span<uint8_t> row(static_cast<uint8_t*>(rows[c]), width);
        orb::minmax::apply(first, row);
        look(permutation(), row);
        orb::minmax::apply(last, row);
      }
    });
  }
  close(image);
}

const bool has_vectors = orb::gamma::choose_look_up() != orb::gamma::look_up;

const Pairs pairs({
    {"gamma, 8 bits, baseline", on(look_up, orb::gamma::look_up), "plain loop", look_up_plainly, 1.0, 1.05},
    {"gamma, 8 bits, this processor", on(look_up, orb::gamma::choose_look_up()), "memcpy", on(copy_frame, 1),
     has_vectors ? at(0.8) : kNoGoal},
    {"gamma, 12 bits to 8", on(narrow, orb::gamma::look_up_narrowing), "plain loop",
     on(narrow, narrow_plainly), 1.0, 1.05},
    {"min-max, 8 bits", remap, "memcpy", on(copy_frame, 1), at(0.8), at(0.6)},
    {"quantize, float to 8 bits", on(quantize, 8), "memcpy of the source", on(copy_frame, 4), at(1.2),
     at(1.1)},
    {"quantize, float to 16 bits", on(quantize, 16), "memcpy of the source", on(copy_frame, 4), at(1.2),
     at(1.0)},
    {"quantize, float to 8 bits", on(quantize, 8), "libswscale", on(swscale, AV_PIX_FMT_GRAY8, 1), at(2)},
    {"quantize, float to 16 bits", on(quantize, 16), "libswscale", on(swscale, AV_PIX_FMT_GRAY16, 2), at(6)},
    {"three operators on RLA rows", stacked, "the same by hand", by_hand, 1.15},
});

}  // namespace
