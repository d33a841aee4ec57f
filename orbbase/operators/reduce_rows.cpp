#include "orbbase/operators/reduce_rows.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>

namespace orb::reduce {
namespace {

template <class Sample>
Sample load(const uint8_t* samples, size_t i) {
  Sample sample;
  std::memcpy(&sample, samples + i * sizeof(Sample), sizeof(Sample));
  return sample;
}

template <class Sample>
void store(uint8_t* samples, size_t i, Sample sample) {
  std::memcpy(samples + i * sizeof(Sample), &sample, sizeof(Sample));
}

template <class Sample>
using PrecisionFor = std::conditional_t<std::is_integral_v<Sample> && sizeof(Sample) <= 2, float, double>;

// ---- What a sample stands for ----

template <class SampleType>
struct Codes {
  using Sample = SampleType;
  using Precision = PrecisionFor<Sample>;
  static Precision light_of(const Light&, Sample sample) { return static_cast<Precision>(sample); }
  static Sample sample_of(const Light&, Precision light) {
    if constexpr (std::is_integral_v<Sample>) light += Precision{0.5};  // cut is then rounded
    return static_cast<Sample>(light);
  }
};

template <class SampleType>
struct Tabled {
  using Sample = SampleType;
  using Precision = float;
  static float light_of(const Light& light, Sample sample) { return light.codes->lights[sample]; }
  static Sample sample_of(const Light& light, float value) {
    return static_cast<Sample>(nearest_code(*light.codes, value));
  }
};

template <class SampleType>
struct Powers {
  using Sample = SampleType;
  using Precision = double;
  static double raised(double value, double exponent) {
    return std::copysign(std::pow(std::fabs(value), exponent), value);
  }
  static double light_of(const Light& light, Sample sample) {
    return raised(static_cast<double>(sample) / light.largest, light.exponent);
  }
  static Sample sample_of(const Light& light, double value) {
    const double sample = raised(value, 1 / light.exponent) * light.largest;
    if constexpr (std::is_integral_v<Sample>) {
      return static_cast<Sample>(std::min(sample, light.largest) + 0.5);
    } else {
      return static_cast<Sample>(sample);
    }
  }
};

// ---- Rows ----

template <class Meaning>
void to_lights(const Light& light, const uint8_t* samples, size_t count, void* lights_out) {
  auto* const out = static_cast<typename Meaning::Precision*>(lights_out);
  for (size_t i = 0; i < count; ++i)
    out[i] = Meaning::light_of(light, load<typename Meaning::Sample>(samples, i));
}

template <class Meaning>
void to_samples(const Light& light, const void* lights, size_t count, uint8_t* samples_out) {
  const auto* const in = static_cast<const typename Meaning::Precision*>(lights);
  for (size_t i = 0; i < count; ++i) store(samples_out, i, Meaning::sample_of(light, in[i]));
}

// Most tables of bytes have steps, which need no branch.
template <class Sample>
void to_tabled_samples(const Light& light, const void* lights, size_t count, uint8_t* samples_out) {
  if (!light.codes->steps) return to_samples<Tabled<Sample>>(light, lights, count, samples_out);
  const CodeTable table = *light.codes;  // a copy: what is stored cannot change it
  const auto* const in = static_cast<const float*>(lights);
  for (size_t i = 0; i < count; ++i) {
    store(samples_out, i, static_cast<Sample>(nearest_code_by_step(table, in[i])));
  }
}

template <class Precision, class LightAt>
void pair_up(size_t count, LightAt light_at, void* sums_out) {
  auto* const sums = static_cast<Precision*>(sums_out);
  const size_t whole = count / 2;
  for (size_t i = 0; i < whole; ++i) sums[i] = light_at(2 * i) + light_at(2 * i + 1);
  if (count % 2 != 0) sums[whole] = light_at(count - 1) + light_at(count - 1);
}

template <class Meaning>
void pair_samples(const Light& light, const uint8_t* samples, size_t count, void* sums_out) {
  const auto light_at = [&](size_t i) {
    return Meaning::light_of(light, load<typename Meaning::Sample>(samples, i));
  };
  pair_up<typename Meaning::Precision>(count, light_at, sums_out);
}

// Eight samples at a time in a register: half of the loads are those of the samples otherwise.
void pair_tabled_bytes(const Light& light, const uint8_t* samples, size_t count, void* sums_out) {
  const float* const lights = light.codes->lights;
  auto* const sums = static_cast<float*>(sums_out);
  const size_t words = count / 8;
  for (size_t i = 0; i < words; ++i) {
    auto word = load<uint64_t>(samples, i);
    for (size_t j = 0; j < 4; ++j, word >>= 16)
      sums[4 * i + j] = lights[word & 0xff] + lights[word >> 8 & 0xff];
  }
  const size_t done = 8 * words;
  pair_samples<Tabled<uint8_t>>(light, samples + done, count - done, sums + done / 2);
}

void pair_bytes(const Light& light, const uint8_t* samples, size_t count, void* sums_out) {
  auto* const sums = static_cast<float*>(sums_out);
  const size_t done = pair_bytes_sse2(samples, count, sums);
  pair_samples<Codes<uint8_t>>(light, samples + done, count - done, sums + done / 2);
}

template <class Precision>
void pair_lights(const void* lights, size_t count, void* sums_out) {
  const auto* const in = static_cast<const Precision*>(lights);
  pair_up<Precision>(
      count, [in](size_t i) { return in[i]; }, sums_out);
}

template <class Precision>
void average(const void* sums, const void* other_sums, size_t count, void* lights_out) {
  const auto* const a = static_cast<const Precision*>(sums);
  const auto* const b = static_cast<const Precision*>(other_sums);
  auto* const out = static_cast<Precision*>(lights_out);
  for (size_t i = 0; i < count; ++i) out[i] = (a[i] + b[i]) * Precision{0.25};
}

// A column reaches from edge to edge + count, a light is `columns` wide. There are at least as many lights as
// columns, so the two edges of a column never lie within one light.
template <class Precision>
void areas(const void* lights, size_t count, std::span<double> columns) {
  const auto* const in = static_cast<const Precision*>(lights);
  const size_t light_width = columns.size();
  size_t left = 0;       // the light that the left edge is in
  size_t left_part = 0;  // how much of it lies before the edge
  for (double& column : columns) {
    const size_t edge = left_part + count;
    const size_t right = left + edge / light_width;
    const size_t right_part = edge % light_width;
    double whole = 0.0;
    for (size_t i = left + 1; i < right; ++i) whole += in[i];
    column = whole * static_cast<double>(light_width) +
             static_cast<double>(in[left]) * static_cast<double>(light_width - left_part);
    if (right_part > 0) column += static_cast<double>(in[right]) * static_cast<double>(right_part);
    left = right;
    left_part = right_part;
  }
}

template <class Precision>
void scale(std::span<const double> sums, double factor, void* lights_out) {
  auto* const out = static_cast<Precision*>(lights_out);
  for (size_t i = 0; i < sums.size(); ++i) out[i] = static_cast<Precision>(sums[i] * factor);
}

// ---- Choosing ----

template <class Meaning>
constexpr RowFunctions functions() {
  using Precision = typename Meaning::Precision;
  return {sizeof(typename Meaning::Sample),
          to_lights<Meaning>,
          pair_samples<Meaning>,
          pair_lights<Precision>,
          average<Precision>,
          areas<Precision>,
          scale<Precision>,
          to_samples<Meaning>};
}

template <class Sample>
constexpr RowFunctions tabled_functions() {
  RowFunctions made = functions<Tabled<Sample>>();
  made.samples = to_tabled_samples<Sample>;
  return made;
}

struct Storage {
  RowFunctions codes;
  RowFunctions curved;
};

constexpr Storage byte_functions() {
  Storage made = {functions<Codes<uint8_t>>(), tabled_functions<uint8_t>()};
  made.codes.pair_samples = pair_bytes;
  // Elsewhere the first of eight samples is not in the low bits.
  if constexpr (std::endian::native == std::endian::little) made.curved.pair_samples = pair_tabled_bytes;
  return made;
}

constexpr Storage kBytes = byte_functions();
constexpr Storage kWords = {functions<Codes<uint16_t>>(), tabled_functions<uint16_t>()};
constexpr Storage kDoubleWords = {functions<Codes<uint32_t>>(), functions<Powers<uint32_t>>()};
constexpr Storage kFloats = {functions<Codes<float>>(), functions<Powers<float>>()};
constexpr Storage kDoubles = {functions<Codes<double>>(), functions<Powers<double>>()};

const Storage& storage_of(uint32_t type, int32_t width) {
  if (type == ORB_C_FLOAT) return kFloats;
  if (type == ORB_C_DOUBLE) return kDoubles;
  return width <= 8 ? kBytes : width <= 16 ? kWords : kDoubleWords;
}

}  // namespace

const RowFunctions& row_functions(uint32_t type, int32_t width, Form form) {
  const Storage& storage = storage_of(type, width);
  return form == Form::code ? storage.codes : storage.curved;
}

void add_share(std::span<const double> columns, double share, std::span<double> sums) {
  for (size_t i = 0; i < sums.size(); ++i) sums[i] += share * columns[i];
}

}  // namespace orb::reduce
