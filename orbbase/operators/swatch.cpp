// The "swatch" generator: a picture reduced to a given size, read from a handle or written through one.
#include <algorithm>
#include <utility>

#include "orbbase/driver.h"
#include "orbbase/operators/generator.h"
#include "orbbase/operators/operator.h"
#include "orbbase/operators/reduce_channels.h"
#include "orbbase/operators/reduce_plan.h"
#include "orbbase/support/fmt.h"

namespace orb::imp {
namespace {

constexpr const char* kName = "swatch";
constexpr int32_t kUsualSize = 128;

// Rows are counted from the bottom of their window. One of the full picture is `height` units high, one of the
// swatch `full_height`, so that the edges of both are whole numbers.
struct Swatch : Layer {
  reduce::Picture picture;
  size_t width;
  int64_t height;
  int64_t full_height;
  int32_t bottom;       // writing: the lowest line of the image of the file
  ORB_IFD description;  // of what the application sees
  Description before;

  uint8_t* block;   // of the rows below
  double* sums;     // of the row of the swatch that is being made, all channels one after the other
  double* carried;  // of the row after it
  double* columns;  // of one channel's row
  uint8_t* lights;  // of one channel's row of the full picture, then of the swatch
  void** samples;   // what is handed out, or written

  int64_t next_row;     // the row of the swatch that is being made
  int64_t next_source;  // the row of the full picture that comes next; -1: reading has no position
};

int64_t step_of(const Swatch& swatch) { return swatch.picture.layout.bottom_up ? 1 : -1; }

std::span<double> of_channel(const Swatch& swatch, double* sums, int32_t channel) {
  return {sums + static_cast<size_t>(channel) * swatch.width, swatch.width};
}

void clear(const Swatch& swatch, double* sums) {
  std::fill_n(sums, static_cast<size_t>(swatch.picture.channel_count) * swatch.width, 0.0);
}

// ---- Averaging ----------------------------------------------------------------------------------------

// Rows of the full picture, from the lowest to the highest.
struct Sources {
  int64_t low;
  int64_t high;
};

// Those that a row of the swatch lies in.
Sources sources_of(const Swatch& swatch, int64_t row) {
  return {row * swatch.full_height / swatch.height, ((row + 1) * swatch.full_height - 1) / swatch.height};
}

// In the order of reading.
int64_t first_of(const Swatch& swatch, Sources sources) {
  return step_of(swatch) > 0 ? sources.low : sources.high;
}
int64_t last_of(const Swatch& swatch, Sources sources) {
  return step_of(swatch) > 0 ? sources.high : sources.low;
}

// How much of rows of the full picture lies in a row of the swatch, in units.
int64_t share_of(const Swatch& swatch, Sources sources, int64_t row) {
  if (row < 0 || row >= swatch.height) return 0;
  const int64_t from = std::max(sources.low * swatch.height, row * swatch.full_height);
  const int64_t to = std::min((sources.high + 1) * swatch.height, (row + 1) * swatch.full_height);
  return std::max<int64_t>(0, to - from);
}

// Several rows that are alike count together.
void add_rows(Swatch& swatch, Sources sources, int32_t line, void* const* rows) {
  const int64_t share = share_of(swatch, sources, swatch.next_row);
  const int64_t carried_share = share_of(swatch, sources, swatch.next_row + step_of(swatch));
  const auto full_width = static_cast<size_t>(swatch.picture.layout.width());
  for (int32_t i = 0; i < swatch.picture.channel_count; ++i) {
    const reduce::Channel& channel = swatch.picture.channels[i];
    const uint8_t* const samples = active_samples(swatch.picture, i, line, rows);
    const std::span<double> columns(swatch.columns, swatch.width);
    channel.rows->lights(channel.light, samples, full_width, swatch.lights);
    channel.rows->areas(swatch.lights, full_width, columns);
    reduce::add_share(columns, static_cast<double>(share), of_channel(swatch, swatch.sums, i));
    if (carried_share == 0) continue;
    reduce::add_share(columns, static_cast<double>(carried_share), of_channel(swatch, swatch.carried, i));
  }
}

// Whether a row of the full picture reaches the end of the one that is being made.
bool completes(const Swatch& swatch, int64_t source) {
  return source == last_of(swatch, sources_of(swatch, swatch.next_row));
}

// The row that is complete becomes samples, and the next one begins with what was carried.
void finish_row(Swatch& swatch) {
  const double area =
      static_cast<double>(swatch.picture.layout.width()) * static_cast<double>(swatch.full_height);
  for (int32_t i = 0; i < swatch.picture.channel_count; ++i) {
    const reduce::Channel& channel = swatch.picture.channels[i];
    channel.rows->scale(of_channel(swatch, swatch.sums, i), 1 / area, swatch.lights);
    channel.rows->samples(channel.light, swatch.lights, swatch.width,
                          static_cast<uint8_t*>(swatch.samples[i]));
  }
  std::swap(swatch.sums, swatch.carried);
  clear(swatch, swatch.carried);
  swatch.next_row += step_of(swatch);
}

// ---- Reading ------------------------------------------------------------------------------------------

void begin_at(Swatch& swatch, int64_t row) {
  clear(swatch, swatch.sums);
  clear(swatch, swatch.carried);
  swatch.next_row = row;
  swatch.next_source = first_of(swatch, sources_of(swatch, row));
}

int32_t line_of_source(const Swatch& swatch, int64_t source) {
  return static_cast<int32_t>(swatch.picture.layout.window.bottom + source);
}

// The rows that come next: one, or, up to the end of the one that is being made, all that nothing is active in.
Sources next_sources(const Swatch& swatch) {
  const int64_t first = swatch.next_source;
  const int64_t inactive = reduce::inactive_rows(swatch.picture.layout, first, step_of(swatch));
  if (inactive == 0) return {first, first};
  const Sources wanted = sources_of(swatch, swatch.next_row);
  if (step_of(swatch) > 0) return {first, std::min(first + inactive - 1, wanted.high)};
  return {std::max(first - inactive + 1, wanted.low), first};
}

// Adds the next rows of the full picture to the row that is being made.
int32_t take_sources(Swatch& swatch, bool& is_complete_out) {
  const Sources sources = next_sources(swatch);
  const int32_t line = line_of_source(swatch, swatch.next_source);
  void** rows = nullptr;
  if (swatch.picture.layout.has_active_line(line)) {
    const int32_t result = op::read_below(swatch, line, &rows, swatch.picture.channel_count);
    if (result < 0) return result;
  }
  add_rows(swatch, sources, line, rows);
  const int64_t last = last_of(swatch, sources);
  is_complete_out = completes(swatch, last);
  swatch.next_source = last + step_of(swatch);
  return ORB_OK;
}

int32_t scan_reduced(void* data, int32_t line, void* rows_out) {
  auto* const swatch = static_cast<Swatch*>(data);
  if (!swatch) return op::locked_sub_image();
  if (line < 0 || line >= swatch->height) return bad_scanline(line);
  if (swatch->next_source < 0 || swatch->next_row != line) begin_at(*swatch, line);
  for (bool is_complete = false; !is_complete;) {
    const int32_t result = take_sources(*swatch, is_complete);
    if (result < 0) return swatch->next_source = -1, result;
  }
  finish_row(*swatch);
  *static_cast<void***>(rows_out) = swatch->samples;
  return ORB_OK;
}

// Stands in for the driver's own function, to which lines of the full picture mean something.
int32_t seek_reduced(void* data, int32_t line) {
  auto* const swatch = static_cast<Swatch*>(data);
  if (!swatch || !swatch->data) return fail(ORB_E_HANDLE);
  swatch->next_source = -1;
  if (line >= 0 && line < swatch->height) {
    line = line_of_source(*swatch, first_of(*swatch, sources_of(*swatch, line)));
  }
  return swatch->seek(swatch->data, line);
}

// Another frame begins with the first row; what was summed up so far was of the one before.
int32_t set_frame_reduced(void* data, intptr_t a, intptr_t b, intptr_t c) {
  auto* const swatch = static_cast<Swatch*>(data);
  if (!swatch || !swatch->data) return fail(ORB_E_HANDLE);
  begin_at(*swatch, swatch->picture.layout.bottom_up ? 0 : swatch->height - 1);
  return swatch->set_frame(swatch->data, a, b, c);
}

// ---- Writing ------------------------------------------------------------------------------------------

int32_t scan_to_reduce(void* data, int32_t line, void* rows) {
  auto* const swatch = static_cast<Swatch*>(data);
  if (!swatch) return op::locked_sub_image();
  const int64_t source = int64_t{line} - swatch->picture.layout.window.bottom;
  if (source != swatch->next_source || !swatch->picture.layout.has_line(line)) return bad_scanline(line);
  add_rows(*swatch, {source, source}, line, static_cast<void* const*>(rows));
  swatch->next_source += step_of(*swatch);
  if (!completes(*swatch, source)) return ORB_OK;
  const auto reduced_line = static_cast<int32_t>(swatch->bottom + swatch->next_row);
  finish_row(*swatch);
  return op::scan_below(*swatch, reduced_line, swatch->samples);
}

// ---- Installation -------------------------------------------------------------------------------------

// The layer's own block is freed by whoever holds it.
void release_parts(Swatch& swatch) {
  release(swatch.picture);
  ERR_free(swatch.block);
  ORB_chan_free(swatch.samples);
}

struct SwatchReleased {
  void operator()(Swatch* swatch) const {
    release_parts(*swatch);
    ERR_free(swatch);
  }
};
using SwatchOwner = std::unique_ptr<Swatch, SwatchReleased>;

void release_swatch(ORB_IMAGE* image, Layer* layer) {
  auto& swatch = *static_cast<Swatch*>(layer);
  put_back(*image, swatch.before);
  release_parts(swatch);
}

constexpr LayerKind kReading = {kSwatch, scan_reduced, release_swatch};
constexpr LayerKind kWriting = {kSwatch, scan_to_reduce, release_swatch};

bool allocate_rows(const ORB_IFD& reduced, Swatch& swatch) {
  const auto channels = static_cast<size_t>(swatch.picture.channel_count);
  const auto full_width = static_cast<uint64_t>(swatch.picture.layout.width());
  static_assert(sizeof(double) == reduce::kMostLightBytes);
  swatch.block =
      reduce::allocate_lights(swatch.picture, 2 * swatch.width, swatch.width + full_width, kName).release();
  if (!swatch.block) return false;
  swatch.sums = reinterpret_cast<double*>(swatch.block);
  swatch.carried = swatch.sums + channels * swatch.width;
  swatch.columns = swatch.carried + channels * swatch.width;
  swatch.lights = reinterpret_cast<uint8_t*>(swatch.columns + swatch.width);
  swatch.samples = reduce::allocate_samples(reduced, kName);
  return swatch.samples != nullptr;
}

SwatchOwner make_swatch(const ORB_IFD& full, const ORB_IFD& reduced) {
  SwatchOwner made(op::make_state<Swatch>().release());
  if (!made || reduce::prepare(full, kName, made->picture) != ORB_OK) return nullptr;
  made->width = static_cast<size_t>(reduce::width_of(reduced));
  made->height = reduce::height_of(reduced);
  made->full_height = reduce::height_of(full);
  return allocate_rows(reduced, *made) ? std::move(made) : nullptr;
}

int32_t size_of(const IMP_PROCESS& process) {
  if (process.size > 0) return process.size;
  const int32_t configured = FMT_def_swatch();
  return configured > 0 ? configured : kUsualSize;
}

// The part of a side that is active in the full picture where all that lies in active pixels of the swatch is.
struct Range {
  int64_t first;
  int64_t last;
};
Range widened(int64_t first, int64_t last, int64_t side, int64_t full_side) {
  return {(first * full_side + side - 1) / side, (last + 1) * full_side / side - 1};
}

// The full picture of which an image of a file is the swatch, with the windows given or by its pair_a. False when
// there is none.
bool find_full(const ORB_IFD& file, const ORB_IFD* given, ORB_IFD& full_out) {
  full_out = file;
  if (given) {
    full_out.window = given->window;
    full_out.active_window = given->active_window;
    return windows_are_sound(full_out);
  }
  const int32_t width = file.pair_a[0];
  const int32_t height = file.pair_a[1];
  if (width < reduce::width_of(file) || height < reduce::height_of(file)) return false;
  const int64_t left = file.window.left;
  const int64_t bottom = file.window.bottom;
  const Range columns =
      widened(file.active_window.left - left, file.active_window.right - left, reduce::width_of(file), width);
  const Range rows = widened(file.active_window.bottom - bottom, file.active_window.top - bottom,
                             reduce::height_of(file), height);
  full_out.window = {0, width - 1, 0, height - 1};
  full_out.active_window = {static_cast<int32_t>(columns.first), static_cast<int32_t>(columns.last),
                            static_cast<int32_t>(rows.first), static_cast<int32_t>(rows.last)};
  return true;
}

// What the application sees is the record that the layer holds.
void install(ORB_IMAGE& image, const LayerKind& kind, const ORB_IFD& seen, Swatch* swatch) {
  swatch->description = seen;
  install_layer(image, kind, swatch);
  if (swatch->set_frame) image.set_frame = set_frame_reduced;
  show(image, &swatch->description, 1, swatch->before);
}

}  // namespace

int32_t plan_swatch(const IMP_PROCESS& process, const ORB_IFD& full, std::span<ORB_IFD> images_out) {
  if (!is_sound(process, kName)) return 0;
  if (!images_out.empty()) images_out[0] = reduce::swatch_of(full, size_of(process));
  return 1;
}

ORB_IMAGE* open_swatch_to_read(ORB_IMAGE* context, const IMP_PROCESS& process) {
  if (!op::can_carry(kName, context, ORB_MODE_READ) || !is_sound(process, kName)) return nullptr;
  const ORB_IFD& full = context->info.images[0];
  const ORB_IFD reduced = reduce::swatch_of(full, size_of(process));
  if (reduce::is_same_size(reduced, full)) return context;
  SwatchOwner swatch = make_swatch(full, reduced);
  if (!swatch) return nullptr;
  swatch->next_source = -1;
  install(*context, kReading, reduced, swatch.get());
  if (swatch->seek) context->seek = seek_reduced;
  swatch.release();  // the handle has it
  return context;
}

ORB_IMAGE* open_swatch_to_write(ORB_IMAGE* context, const IMP_PROCESS& process) {
  if (!op::can_carry(kName, context, ORB_MODE_WRITE) || !is_sound(process, kName)) return nullptr;
  const ORB_IFD& file = context->info.images[0];
  ORB_IFD full;
  if (context->info.image_count != 1 || !find_full(file, process.full, full)) return refuse(kName);
  const ORB_IFD reduced = reduce::swatch_of(full, size_of(process));
  if (!reduce::takes(file, reduced)) return refuse(kName);
  if (reduce::is_same_size(reduced, full)) return context;
  SwatchOwner swatch = make_swatch(full, reduced);
  if (!swatch) return nullptr;
  begin_at(*swatch, swatch->picture.layout.bottom_up ? 0 : swatch->height - 1);
  swatch->bottom = file.window.bottom;
  install(*context, kWriting, full, swatch.release());
  return context;
}

}  // namespace orb::imp
