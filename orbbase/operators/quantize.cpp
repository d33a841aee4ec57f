// The quantize operator: integer samples for the application where the file holds real ones, and real samples
// from the application where the file holds integers.
#include <cstring>

#include "orbbase/driver.h"
#include "orbbase/operators/operator.h"
#include "orbbase/operators/quantize_rows.h"

namespace orb::op {
namespace {

constexpr const char* kName = "quantize operator";
constexpr int32_t kMostBits = 32;

constexpr size_t kClassCount = std::size(kGroupRules);

// How the rows of one class get from one side to the other.
struct Class {
  int32_t channels;
  uint32_t file_type;  // as they were before the installation
  int32_t file_width;
  uint32_t seen_type;  // as the application sees them
  int32_t seen_width;
  quantize::Converter convert;  // null: the samples stay
  double factor;
  size_t in_bytes;  // of a sample, where it comes from
  size_t out_bytes;
  bool is_own;  // the rows are handed on in buffers of the operator
};

struct Quantize : Layer {
  size_t window_width;
  ActiveSpan span;
  int32_t first_line;  // that is converted on writing
  int64_t last_line;
  Class classes[kClassCount];
  int32_t others;      // channels behind those of the classes
  void** own_rows;     // of the classes that have is_own
  void** handed_rows;  // what is passed on
};

uint32_t sample_bytes(uint32_t type, int32_t width) {
  if (type == ORB_C_INTEGER) return quantize::integer_bytes(width);
  return type == ORB_C_FLOAT ? 4 : 8;
}

// Converts one row, or copies it where its samples are larger on the side that reads it than on the side they
// come from, so that nobody reads past them.
void convert_row(const Quantize& state, const Class& group, const uint8_t* in, uint8_t* out) {
  if (group.convert) {
    const size_t first = state.span.offset;
    group.convert(in + first * group.in_bytes, out + first * group.out_bytes, state.span.count, group.factor);
  } else {
    std::memcpy(out, in, state.window_width * group.in_bytes);
  }
}

// Fills handed_rows from the rows of the other side.
void hand_on(Quantize& state, void* const* rows, bool converts) {
  void** own = state.own_rows;
  int32_t channel = 0;
  for (const Class& group : state.classes) {
    for (int32_t i = 0; i < group.channels; ++i, ++channel) {
      state.handed_rows[channel] = rows[channel];
      if (!group.is_own) continue;
      if (converts) {
        convert_row(state, group, static_cast<const uint8_t*>(rows[channel]), static_cast<uint8_t*>(*own));
      }
      state.handed_rows[channel] = *own++;
    }
  }
  for (int32_t i = 0; i < state.others; ++i, ++channel) state.handed_rows[channel] = rows[channel];
}

int32_t scan_quantized(void* data, int32_t line, void* rows_out) {
  auto* state = static_cast<Quantize*>(data);
  if (!state) return locked_sub_image();
  int32_t channels = state->others;
  for (const Class& group : state->classes) channels += group.channels;
  const int32_t result = read_below(*state, line, static_cast<void***>(rows_out), channels);
  if (result < 0) return result;
  hand_on(*state, *static_cast<void***>(rows_out), true);
  *static_cast<void***>(rows_out) = state->handed_rows;
  return ORB_OK;
}

// One line above the active window is converted like those within, on purpose; a line outside goes on
// unconverted, for the level below to refuse.
int32_t scan_to_quantize(void* data, int32_t line, void* rows) {
  auto* state = static_cast<Quantize*>(data);
  if (!state) return locked_sub_image();
  const bool converts = line >= state->first_line && line <= state->last_line;
  hand_on(*state, static_cast<void* const*>(rows), converts);
  return scan_below(*state, line, state->handed_rows);
}

void release_quantize(ORB_IMAGE* image, Layer* layer) {
  auto& state = *static_cast<Quantize*>(layer);
  for (size_t i = 0; i < kClassCount; ++i) {
    ORB_CHANNELS& group = image->info.images[0].*kGroupRules[i].group;
    group.type = state.classes[i].file_type;
    group.width = state.classes[i].file_width;
  }
  ORB_chan_free(state.own_rows);
  ERR_free(state.handed_rows);
}

constexpr LayerKind kReading = {kQuantize, scan_quantized, release_quantize};
constexpr LayerKind kWriting = {kQuantize, scan_to_quantize, release_quantize};

// A target that no rows could have is refused before anything is changed. 0 or -16, reported.
int32_t check_target(const ORB_QUANTIZE_TARGET& target, const GroupRule& rule) {
  const bool is_type =
      target.type == ORB_C_INTEGER || target.type == ORB_C_FLOAT || target.type == ORB_C_DOUBLE;
  const bool is_width = target.type != ORB_C_INTEGER || (target.width >= 1 && target.width <= kMostBits);
  if (is_type && is_width) return ORB_OK;
  orb__report(is_type ? rule.bad_width : rule.bad_type, kName);
  return fail(ORB_E_HANDLE);
}

// What becomes of one class. `real` and `whole` are the types on the two sides of a conversion.
void plan_class(const ORB_CHANNELS& file, const ORB_QUANTIZE_TARGET* target, bool is_reading, Class& plan) {
  plan.channels = file.count;
  plan.file_type = plan.seen_type = file.type;
  plan.file_width = plan.seen_width = file.width;
  if (!target || file.count == 0) return;
  plan.seen_type = target->type;
  plan.seen_width = target->width;
  const uint32_t real_type = is_reading ? plan.file_type : plan.seen_type;
  const uint32_t whole_type = is_reading ? plan.seen_type : plan.file_type;
  const int32_t whole_width = is_reading ? plan.seen_width : plan.file_width;
  const uint32_t file_bytes = sample_bytes(plan.file_type, plan.file_width);
  const uint32_t seen_bytes = sample_bytes(plan.seen_type, plan.seen_width);
  plan.in_bytes = is_reading ? file_bytes : seen_bytes;
  plan.out_bytes = is_reading ? seen_bytes : file_bytes;
  if (whole_type == ORB_C_INTEGER && real_type != ORB_C_INTEGER) {
    plan.convert = quantize::converter(real_type, whole_width);
    plan.factor = quantize::factor(whole_width);
  }
  plan.is_own = plan.convert || plan.out_bytes > plan.in_bytes;
}

// The operator's own buffers: rows as the side that reads them has them. False, with orb__err, when they
// cannot be had.
bool allocate_rows(const ORB_IFD& ifd, bool is_reading, Quantize& state) {
  ORB_IFD own = ifd;
  own.index.count = 0;
  int64_t channels = ifd.color.count != 0 ? 0 : ifd.index.count;
  state.others = static_cast<int32_t>(channels);
  for (size_t i = 0; i < kClassCount; ++i) {
    const Class& group = state.classes[i];
    ORB_CHANNELS& rows = own.*kGroupRules[i].group;
    rows.count = group.is_own ? group.channels : 0;
    rows.type = is_reading ? group.seen_type : group.file_type;
    rows.width = is_reading ? group.seen_width : group.file_width;
    channels += group.channels;
  }
  state.own_rows = ORB_chan_alloc(&own, static_cast<int32_t>(state.window_width), kName, nullptr);
  if (!state.own_rows) return false;
  // One more: an image without any channel has an array too.
  state.handed_rows = make_zeroed<void*>(static_cast<uint64_t>(channels) + 1).release();
  if (!state.handed_rows) set_error(ORB_E_MEMORY);
  return state.handed_rows != nullptr;
}

void install(ORB_IMAGE& image, const ORB_QUANTIZE_TARGET* const* targets, bool is_reading) {
  ORB_IFD& ifd = image.info.images[0];
  owned<Quantize> made = make_state<Quantize>();
  if (!made) return;
  Quantize& state = *made;
  state.window_width = static_cast<size_t>(int64_t{ifd.window.right} - ifd.window.left + 1);
  state.span = active_span(ifd);
  state.first_line = ifd.active_window.bottom;
  state.last_line = int64_t{ifd.active_window.top} + 1;
  for (size_t i = 0; i < kClassCount; ++i) {
    plan_class(ifd.*kGroupRules[i].group, targets[i], is_reading, state.classes[i]);
  }
  const bool has_rows = allocate_rows(ifd, is_reading, state);
  for (size_t i = 0; i < kClassCount; ++i) {
    ORB_CHANNELS& group = ifd.*kGroupRules[i].group;
    group.type = state.classes[i].seen_type;
    group.width = state.classes[i].seen_width;
  }
  install_layer(image, is_reading ? kReading : kWriting, made.release());
  if (!has_rows) remove_layer(image);
}

bool is_real(uint32_t type) { return type == ORB_C_FLOAT || type == ORB_C_DOUBLE; }

// Whether there is anything to convert: real channels in a file that is read, channels of another type in one
// that is written.
bool applies(const ORB_IFD& ifd, bool is_reading) {
  if (ifd.aspect_kind != 1) return false;
  for (const GroupRule& rule : kGroupRules) {
    const ORB_CHANNELS& group = ifd.*rule.group;
    if (is_reading ? group.type != ORB_C_INTEGER : group.count > 0 && !is_real(group.type)) return true;
  }
  return false;
}

}  // namespace
}  // namespace orb::op

ORB_IMAGE* ORB__quantize(ORB_IMAGE* image, uint32_t flags, const ORB_QUANTIZE_TARGET* color,
                         const ORB_QUANTIZE_TARGET* matte, const ORB_QUANTIZE_TARGET* aux) {
  using namespace orb;
  using namespace orb::op;
  set_error(ORB_OK);
  const bool is_reading = (flags & ORB_MODE_READ) != 0;
  if (!is_reading && !(flags & ORB_MODE_WRITE)) return image;
  if (!can_carry(kName, image, is_reading ? ORB_MODE_READ : ORB_MODE_WRITE)) return image;
  if (!applies(image->info.images[0], is_reading)) return image;
  const ORB_QUANTIZE_TARGET* const targets[] = {color, matte, aux};
  for (size_t i = 0; i < kClassCount; ++i) {
    const bool has_channels = (image->info.images[0].*kGroupRules[i].group).count > 0;
    if (targets[i] && has_channels && check_target(*targets[i], kGroupRules[i]) != ORB_OK) return image;
  }
  install(*image, targets, is_reading);
  return image;
}

int32_t ORB__quantize_remove(ORB_IMAGE* image) { return orb__remove_layer(image, orb::op::kQuantize); }
