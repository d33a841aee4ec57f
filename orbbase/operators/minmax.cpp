// The min-max transform: the sample range of an 8-bit image compressed and shifted as it is read.
#include <cmath>

#include "orbbase/operators/minmax_rows.h"
#include "orbbase/operators/operator.h"

namespace orb::op {
namespace {

constexpr const char* kName = "min-max transform operator";

struct MinMax : Layer {
  int32_t offset;
  float scale;
  int32_t channels;  // of all groups that hold samples
  ActiveSpan span;
  minmax::Ramp ramp;
};

int32_t scan_remapped(void* data, int32_t line, void* rows_out) {
  const auto* state = static_cast<const MinMax*>(data);
  if (!state) return locked_sub_image();
  const int32_t result = read_below(*state, line, static_cast<void***>(rows_out), state->channels);
  if (result < 0) return result;
  void** const rows = *static_cast<void***>(rows_out);
  for (int32_t i = state->channels - 1; i >= 0; --i) {
    minmax::apply(state->ramp, {static_cast<uint8_t*>(rows[i]) + state->span.offset, state->span.count});
  }
  return ORB_OK;
}

constexpr LayerKind kLayer = {kMinMax, scan_remapped, nullptr};

// Beyond 32 bits, and of no number, 0: the low 8 bits of such an offset mean nothing.
int32_t cut_to_integer(double value) {
  return value > -0x1p31 && value < 0x1p31 ? static_cast<int32_t>(value) : 0;
}

}  // namespace
}  // namespace orb::op

ORB_IMAGE* ORB__minmax(ORB_IMAGE* image, double min, double max) {
  using namespace orb;
  using namespace orb::op;
  set_error(ORB_OK);
  if (min == 0.0 && max == 1.0) return image;
  if (!can_carry(kName, image, ORB_MODE_READ)) return image;
  for (const auto check : {check_color, check_matte, check_aux}) {
    if (check(kName, *image, 0) != ORB_OK) return image;
  }
  owned<MinMax> state = make_state<MinMax>();
  if (!state) return image;
  const ORB_IFD& ifd = image->info.images[0];
  // Of the number of codes, not of the largest: half of 8 bits is 128.
  state->offset = cut_to_integer(std::ldexp(min, ifd.color.width));
  state->scale = static_cast<float>(max - min);
  state->channels = ifd.color.count + ifd.matte.count + ifd.aux.count;
  state->span = active_span(ifd);
  state->ramp = minmax::make_ramp(state->scale, state->offset);
  install_layer(*image, kLayer, state.release());
  return image;
}

int32_t ORB__minmax_remove(ORB_IMAGE* image) { return orb__remove_layer(image, orb::op::kMinMax); }
