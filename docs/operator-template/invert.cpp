// An operator in full: the negative of an 8-bit image, as it is read. docs/operators.md explains it.
#include "docs/operator-template/invert.h"

#include "orbbase/operators/operator.h"

namespace orb::op {
namespace {

constexpr const char* kName = "invert operator";
constexpr int32_t kInvert = 1000;  // a kind that no other operator has

struct Invert : Layer {
  int32_t channels;
  ActiveSpan span;
};

int32_t scan_inverted(void* data, int32_t line, void* rows_out) {
  const auto* state = static_cast<const Invert*>(data);
  if (!state) return locked_sub_image();
  const int32_t result = scan_below(*state, line, rows_out);
  if (result < 0) return result;
  void** const rows = *static_cast<void***>(rows_out);
  for (int32_t i = 0; i < state->channels; ++i) {
    const std::span row(static_cast<uint8_t*>(rows[i]) + state->span.offset, state->span.count);
    for (uint8_t& sample : row) sample = static_cast<uint8_t>(255 - sample);
  }
  return ORB_OK;
}

constexpr LayerKind kLayer = {kInvert, scan_inverted, nullptr};  // nothing of its own to release

}  // namespace
}  // namespace orb::op

ORB_IMAGE* invert(ORB_IMAGE* image) {
  using namespace orb::op;
  if (!can_carry(kName, image, ORB_MODE_READ) || check_color(kName, *image, 0) != ORB_OK) return image;
  orb::owned<Invert> state = make_state<Invert>();
  if (!state) return image;
  state->channels = image->info.images[0].color.count;
  state->span = active_span(image->info.images[0]);
  install_layer(*image, kLayer, state.release());
  return image;
}

int32_t invert_remove(ORB_IMAGE* image) { return orb::op::remove(image, orb::op::kInvert); }
