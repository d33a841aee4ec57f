#include "sample_type.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "exit_codes.h"
#include "numbers.h"
#include "rows.h"
#include "samples.h"

namespace orb::tool {
namespace {

constexpr int32_t kKind = 1001;

double largest(int32_t width) { return static_cast<double>((uint64_t{1} << width) - 1); }

template <class Sample>
Sample load(const uint8_t* row, size_t index) {
  Sample sample;
  std::memcpy(&sample, row + index * sizeof sample, sizeof sample);
  return sample;
}

// A sample between its type and 0..1, which double holds for every one of them.
template <class Sample>
double to_unit(Sample sample, double full) {
  if constexpr (std::is_floating_point_v<Sample>) return static_cast<double>(sample);
  return std::min(static_cast<double>(sample), full) / full;
}
template <class Sample>
Sample from_unit(double value, double full) {
  if constexpr (std::is_floating_point_v<Sample>) return static_cast<Sample>(value);
  const double held = value > 0 ? std::min(value, 1.0) : 0;  // what is no number becomes 0
  return static_cast<Sample>(held * full + 0.5);
}

// How one row is converted. Integers of up to 16 bits go through a table of all their values.
struct Conversion {
  double in_full;  // 0 to this is 0 to 1; 1 for real samples
  double out_full;
  size_t count;
  std::vector<uint8_t> table;  // of the samples to come out
};

template <class In, class Out>
void convert_each(const Conversion& conversion, const uint8_t* in, uint8_t* out) {
  for (size_t i = 0; i < conversion.count; ++i) {
    const Out sample = from_unit<Out>(to_unit(load<In>(in, i), conversion.in_full), conversion.out_full);
    std::memcpy(out + i * sizeof sample, &sample, sizeof sample);
  }
}

template <class In, class Out>
void convert_by_table(const Conversion& conversion, const uint8_t* in, uint8_t* out) {
  for (size_t i = 0; i < conversion.count; ++i) {
    std::memcpy(out + i * sizeof(Out), &conversion.table[load<In>(in, i) * sizeof(Out)], sizeof(Out));
  }
}

using Converter = void (*)(const Conversion& conversion, const uint8_t* in, uint8_t* out);

template <class In, class Out>
Converter prepare(Conversion& conversion) {
  if constexpr (sizeof(In) <= 2) {
    const size_t entries = size_t{1} << (8 * sizeof(In));
    conversion.table.resize(entries * sizeof(Out));
    for (size_t i = 0; i < entries; ++i) {
      const Out sample = from_unit<Out>(to_unit(static_cast<In>(i), conversion.in_full), conversion.out_full);
      std::memcpy(&conversion.table[i * sizeof(Out)], &sample, sizeof sample);
    }
    return convert_by_table<In, Out>;
  } else {
    return convert_each<In, Out>;
  }
}

template <class In>
Converter prepare_from(const SampleType& to, Conversion& conversion) {
  if (to.type == ORB_C_FLOAT) return prepare<In, float>(conversion);
  if (to.type == ORB_C_DOUBLE) return prepare<In, double>(conversion);
  if (to.width <= 8) return prepare<In, uint8_t>(conversion);
  return to.width <= 16 ? prepare<In, uint16_t>(conversion) : prepare<In, uint32_t>(conversion);
}

Converter converter(const SampleType& from, const SampleType& to, Conversion& conversion) {
  conversion.in_full = from.type == ORB_C_INTEGER ? largest(from.width) : 1;
  conversion.out_full = to.type == ORB_C_INTEGER ? largest(to.width) : 1;
  if (from.type == ORB_C_FLOAT) return prepare_from<float>(to, conversion);
  if (from.type == ORB_C_DOUBLE) return prepare_from<double>(to, conversion);
  if (from.width <= 8) return prepare_from<uint8_t>(to, conversion);
  return from.width <= 16 ? prepare_from<uint16_t>(to, conversion) : prepare_from<uint32_t>(to, conversion);
}

// What the layer needs beside its block.
struct Change {
  ORB_CHANNELS color;  // as they were before
  ORB_CHANNELS matte;
  struct Group {
    int32_t channels;
    Conversion conversion;
    Converter convert;  // null: the rows stay
  };
  Group groups[2];
  int32_t others;  // channels behind them
  std::optional<RowBuffers> own;
  std::vector<void*> handed;
};

struct ChangeLayer {
  ORB_LAYER layer;
  Change* change;
};

int32_t scan_changed(void* data, int32_t line, void* rows_out) {
  auto* state = static_cast<ChangeLayer*>(data);
  const int32_t result = state->layer.scan(state->layer.data, line, rows_out);
  if (result != 0) return result;
  Change& change = *state->change;
  void** const rows = *static_cast<void***>(rows_out);
  void** own = change.own->get();
  size_t channel = 0;
  for (const Change::Group& group : change.groups) {
    for (int32_t i = 0; i < group.channels; ++i, ++channel) {
      change.handed[channel] = rows[channel];
      if (group.convert == nullptr) continue;
      group.convert(group.conversion, static_cast<const uint8_t*>(rows[channel]),
                    static_cast<uint8_t*>(*own));
      change.handed[channel] = *own++;
    }
  }
  for (int32_t i = 0; i < change.others; ++i, ++channel) change.handed[channel] = rows[channel];
  *static_cast<void***>(rows_out) = change.handed.data();
  return 0;
}

void release_change(ORB_IMAGE* image, ORB_LAYER* layer) {
  auto* state = reinterpret_cast<ChangeLayer*>(layer);
  image->info.images[0].color = state->change->color;
  image->info.images[0].matte = state->change->matte;
  delete state->change;
}

constexpr ORB_LAYER_KIND kLayer = {kKind, scan_changed, release_change};

Change::Group plan_group(const ORB_CHANNELS& from, const SampleType& to, size_t width) {
  Change::Group group = {};
  group.channels = from.count;
  const bool is_same = from.type == to.type && (to.type != ORB_C_INTEGER || from.width == to.width);
  if (from.count == 0 || is_same) return group;
  group.conversion.count = width;
  group.convert = converter({from.type, from.width}, to, group.conversion);
  return group;
}

std::unique_ptr<Change> plan_change(const ORB_IFD& ifd, const SampleType& wanted) {
  auto change = std::make_unique<Change>();
  const auto width = static_cast<size_t>(width_of(ifd.window));
  change->color = ifd.color;
  change->matte = ifd.matte;
  change->groups[0] = plan_group(ifd.color, wanted, width);
  change->groups[1] = plan_group(ifd.matte, wanted, width);
  change->others = ifd.aux.count;
  change->handed.resize(static_cast<size_t>(ifd.color.count + ifd.matte.count + ifd.aux.count) + 1);
  ORB_IFD own = ifd;
  own.aux.count = own.index.count = 0;
  for (const auto& [group, plan] :
       {std::pair(&own.color, &change->groups[0]), {&own.matte, &change->groups[1]}}) {
    *group = {nullptr, plan->convert ? plan->channels : 0, wanted.type, wanted.width};
  }
  change->own.emplace(own);
  return change;
}

void describe(ORB_CHANNELS& group, const Change::Group& plan, const SampleType& wanted) {
  if (plan.convert == nullptr) return;
  group.type = wanted.type;
  group.width = wanted.width;
}

}  // namespace

std::string sample_type_names() {
  std::string names;
  for (int32_t width = 1; width <= 32; ++width) names += "uint" + std::to_string(width) + ", ";
  return names + "float, double";
}

std::optional<SampleType> sample_type_named(const std::string& name) {
  if (name == "float") return SampleType{ORB_C_FLOAT, 32};
  if (name == "double") return SampleType{ORB_C_DOUBLE, 64};
  constexpr std::string_view kPrefix = "uint";
  if (!name.starts_with(kPrefix)) return std::nullopt;
  const int32_t width = as_number<int32_t>(std::string_view(name).substr(kPrefix.size())).value_or(0);
  if (width < 1 || width > 32) return std::nullopt;
  return SampleType{ORB_C_INTEGER, width};
}

void change_sample_type(const Image& reader, const SampleType& wanted, const std::string& file) {
  ORB_IFD& ifd = reader->info.images[0];
  if (ifd.index.count > 0) {
    throw Failure(kIoError, file + ": holds colour indices, whose type cannot be changed with -d");
  }
  std::unique_ptr<Change> change = plan_change(ifd, wanted);
  if (change->groups[0].convert == nullptr && change->groups[1].convert == nullptr) return;
  auto* layer = static_cast<ChangeLayer*>(ERR_malloc(sizeof(ChangeLayer)));
  if (layer == nullptr) throw Failure(kRetry);
  layer->change = change.get();
  if (orb__install_layer(reader.get(), &kLayer, &layer->layer) == 0) {
    ERR_free(layer);
    throw Failure(kIoError, file + ": cannot change its sample type");
  }
  const Change& installed = *change.release();  // the layer's
  describe(ifd.color, installed.groups[0], wanted);
  describe(ifd.matte, installed.groups[1], wanted);
}

}  // namespace orb::tool
