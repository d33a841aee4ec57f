// Gamma correction: from the response curve of the file to the one that the application asks for, through one
// composed table a channel.
#include <algorithm>

#include "orbbase/driver.h"
#include "orbbase/operators/gamma_rows.h"
#include "orbbase/operators/operator.h"

namespace orb::op {
namespace {

constexpr const char* kName = "gamma correction operator";
constexpr int32_t kByteValues = 256;
constexpr int32_t kByteBits = 8;
constexpr int32_t kStepBits = 12;  // of the gamma working range
static_assert(1 << kStepBits == ORB_GAMMA_STEPS);

struct Gamma : Layer {
  int32_t saved_width;  // of a handle for writing: the channel width that the file has
  int32_t active_bottom;
  int32_t active_top;
  ActiveSpan span;
  size_t right_margin;  // samples of the window behind the active ones
  int32_t channels;
  ORB_RESPONSE_CURVE composed;
  uint8_t* byte_tables;   // reading: the composed tables with exactly 256 entries, one after the other
  gamma::LookUp look_up;  // reading
  bool is_power;          // real samples: by the exponent alone, without the tables
  uint32_t type;
};

std::span<const uint8_t> composed_table(const Gamma& state, int32_t channel) {
  return {static_cast<const uint8_t*>(state.composed.tables[channel]),
          static_cast<size_t>(state.composed.resolution)};
}

void correct_real(const Gamma& state, int32_t channel, void* row) {
  const size_t sample_bytes = state.type == ORB_C_FLOAT ? sizeof(float) : sizeof(double);
  const gamma::RealSamples samples = {static_cast<uint8_t*>(row) + state.span.offset * sample_bytes,
                                      state.span.count, state.type};
  if (state.is_power) {
    gamma::raise(state.composed.gamma, samples);
  } else {
    gamma::interpolate(composed_table(state, channel), samples);
  }
}

void correct_bytes(const Gamma& state, int32_t channel, void* row) {
  const gamma::ByteTable table(state.byte_tables + size_t{kByteValues} * channel, kByteValues);
  state.look_up(table, {static_cast<uint8_t*>(row) + state.span.offset, state.span.count});
}

// From 16-bit to 8-bit samples, in place: the row then begins with bytes.
void narrow(const Gamma& state, int32_t channel, void* row) {
  auto* const bytes = static_cast<uint8_t*>(row);
  uint8_t* const out = bytes + state.span.offset;
  gamma::look_up_narrowing(composed_table(state, channel), bytes + 2 * state.span.offset, state.span.count,
                           out);
  std::fill_n(out + state.span.count, state.right_margin, uint8_t{0});
}

void correct_rows(const Gamma& state, void* const* rows, void (*correct)(const Gamma&, int32_t, void*)) {
  for (int32_t i = state.channels - 1; i >= 0; --i) correct(state, i, rows[i]);
}

int32_t scan_corrected(void* data, int32_t line, void* rows_out) {
  const auto* state = static_cast<const Gamma*>(data);
  if (!state) return locked_sub_image();
  auto*** const rows = static_cast<void***>(rows_out);
  const int32_t result = read_below(*state, line, rows, state->channels);
  if (result < 0) return result;
  const bool is_real = state->type != ORB_C_INTEGER;
  correct_rows(*state, *rows, is_real ? correct_real : correct_bytes);
  return ORB_OK;
}

int32_t scan_to_correct(void* data, int32_t line, void* rows) {
  const auto* state = static_cast<const Gamma*>(data);
  if (!state) return locked_sub_image();
  if (line >= state->active_bottom && line <= state->active_top) {
    const bool is_real = state->type != ORB_C_INTEGER;
    correct_rows(*state, static_cast<void* const*>(rows), is_real ? correct_real : narrow);
  }
  return scan_below(*state, line, rows);
}

void release_gamma(ORB_IMAGE* image, Layer* layer) {
  auto& state = *static_cast<Gamma*>(layer);
  ORB_response_curve_done(&state.composed);
  ERR_free(state.byte_tables);
  if (image && image->mode == ORB_MODE_WRITE) image->info.images[0].color.width = state.saved_width;
}

constexpr LayerKind kReading = {kGamma, scan_corrected, release_gamma};
constexpr LayerKind kWriting = {kGamma, scan_to_correct, release_gamma};

// ---- Installation ------------------------------------------------------------------------------------

int32_t refuse(int32_t message) {
  orb__report(message, kName);
  return fail(ORB_E_HANDLE);
}

// Integers of more bits than the tables' are refused even where there is nothing to correct.
bool is_within_tables(const ORB_IFD& ifd) {
  const bool is_wide = ifd.color.type == ORB_C_INTEGER && ifd.color.width > kByteBits;
  return !is_wide || (refuse(ORB_MSG_IMAGE_WIDTH), false);
}

// Whether there are samples for a composed curve of bytes: on writing integers of exactly 8 bits where the table is
// to be made of them.
bool has_samples(const ORB_IMAGE& image) {
  const ORB_IFD& ifd = image.info.images[0];
  const bool is_narrow = ifd.color.type == ORB_C_INTEGER && ifd.color.width < kByteBits &&
                         image.mode == ORB_MODE_WRITE && ifd.curve.kind == ORB_CURVE_GAMMA;
  if (is_narrow) return refuse(ORB_MSG_IMAGE_WIDTH), false;
  return ifd.color.count >= 1 || (refuse(ORB_MSG_CANNOT_HANDLE), false);
}

// Makes a curve that is described by its gamma ready to be tabulated.
void describe(ORB_RESPONSE_CURVE& curve, int32_t channels, int32_t resolution, int32_t depth) {
  if (curve.kind != ORB_CURVE_GAMMA) return;
  curve.reserved = 0;
  curve.channel_count = channels;
  curve.resolution = resolution;
  curve.curve_type = ORB_C_INTEGER;
  curve.depth = depth;
}

int32_t values_of_depth(int32_t depth) { return depth >= 0 && depth <= 30 ? 1 << depth : 0; }

// Chains the curve of the file and the requested one, which both stay rewritten, on purpose. 0 or -1.
int32_t compose(ORB_IFD& ifd, ORB_RESPONSE_CURVE& requested, bool is_reading, ORB_RESPONSE_CURVE* out) {
  ORB_RESPONSE_CURVE& own = ifd.curve;
  if (is_reading) {
    describe(own, ifd.color.count, kByteValues, kStepBits);
    describe(requested, ifd.color.count, values_of_depth(own.depth), kByteBits);
    return ORB_response_curve_comp(&requested, &own, out);
  }
  const int32_t bits = ifd.color.type == ORB_C_INTEGER ? ifd.color.width : kByteBits;
  describe(own, ifd.color.count, values_of_depth(bits), bits);
  describe(requested, ifd.color.count, ORB_GAMMA_STEPS, own.depth);
  return ORB_response_curve_comp(&own, &requested, out);
}

// Whether every channel has a table of bytes; a curve with tables of the application or the file may have
// others.
bool serves(const ORB_RESPONSE_CURVE& composed, int32_t channels) {
  return composed.tables && composed.curve_type == ORB_C_INTEGER && composed.depth == kByteBits &&
         composed.resolution >= 1 && composed.channel_count >= channels;
}

// What stands behind the last entry of a table counts as that entry.
bool make_byte_tables(Gamma& state) {
  state.byte_tables =
      make_zeroed<uint8_t>(uint64_t{kByteValues} * static_cast<uint64_t>(state.channels)).release();
  if (!state.byte_tables) return fail(ORB_E_MEMORY), false;
  uint8_t* entry = state.byte_tables;
  for (int32_t channel = 0; channel < state.channels; ++channel) {
    const auto table = composed_table(state, channel);
    for (size_t i = 0; i < size_t{kByteValues}; ++i) *entry++ = table[std::min(i, table.size() - 1)];
  }
  return true;
}

// Fills a state whose curve is composed. False, with orb__err, when it cannot be.
bool prepare(const ORB_IFD& ifd, bool is_reading, Gamma& state) {
  state.saved_width = ifd.color.width;
  state.active_bottom = ifd.active_window.bottom;
  state.active_top = ifd.active_window.top;
  state.span = active_span(ifd);
  state.right_margin = static_cast<size_t>(int64_t{ifd.window.right} - ifd.active_window.right);
  state.channels = ifd.color.count;
  state.type = ifd.color.type;
  if (state.type != ORB_C_INTEGER && state.is_power) return true;
  if (!serves(state.composed, state.channels)) return refuse(ORB_MSG_CANNOT_HANDLE), false;
  state.look_up = gamma::choose_look_up();
  return !is_reading || make_byte_tables(state);
}

void install(ORB_IMAGE& image, ORB_RESPONSE_CURVE& requested) {
  ORB_IFD& ifd = image.info.images[0];
  const bool is_reading = image.mode == ORB_MODE_READ;
  owned<Gamma> state = make_state<Gamma>();
  if (!state) return;
  state->is_power = ifd.curve.kind == ORB_CURVE_GAMMA && requested.kind == ORB_CURVE_GAMMA;
  state->composed.kind = ORB_CURVE_GAMMA;
  state->composed.channel_count = 1;
  state->composed.resolution = kByteValues;
  state->composed.curve_type = ORB_C_INTEGER;
  state->composed.depth = kByteBits;
  bool is_ready = compose(ifd, requested, is_reading, &state->composed) == 0;
  if (!is_ready && last_error() == ORB_OK) set_error(ORB_E_HANDLE);
  is_ready = is_ready && prepare(ifd, is_reading, *state);
  if (!is_ready) {
    release_gamma(nullptr, state.get());
    return;
  }
  if (!is_reading && state->type == ORB_C_INTEGER) ifd.color.width = kStepBits;
  install_layer(image, is_reading ? kReading : kWriting, state.release());
}

}  // namespace
}  // namespace orb::op

ORB_IMAGE* ORB__gamma(ORB_IMAGE* image, ORB_RESPONSE_CURVE* requested) {
  using namespace orb;
  using namespace orb::op;
  if (!requested) return set_error(ORB_E_HANDLE), image;
  if (!can_carry(kName, image, image ? image->mode : 0) || !is_within_tables(image->info.images[0]))
    return image;
  const ORB_RESPONSE_CURVE& own = image->info.images[0].curve;
  const bool are_gammas = own.kind == ORB_CURVE_GAMMA && requested->kind == ORB_CURVE_GAMMA;
  if (are_gammas && own.gamma == requested->gamma) return image;
  if (!has_samples(*image)) return image;
  install(*image, *requested);
  return image;
}

int32_t ORB__gamma_remove(ORB_IMAGE* image) { return orb__remove_layer(image, orb::op::kGamma); }
