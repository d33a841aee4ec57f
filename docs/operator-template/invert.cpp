// An operator in full: the negative of an 8-bit image, as it is read. docs/operators.md explains it.
#include "docs/operator-template/invert.h"

namespace {

constexpr int32_t kInvert = 1000;  // the library's own kinds are below

struct Invert {
  ORB_LAYER layer;
  int32_t channels;
  size_t first;  // samples of the active window, in a row
  size_t end;
};

int32_t scan_inverted(void* data, int32_t line, void* rows_out) {
  const auto* state = static_cast<const Invert*>(data);
  if (!state) return -1;  // a selection above chose another image
  const int32_t result = state->layer.scan(state->layer.data, line, rows_out);
  if (result < 0) return result;
  void** const rows = *static_cast<void***>(rows_out);
  for (int32_t channel = 0; channel < state->channels; ++channel) {
    auto* const samples = static_cast<uint8_t*>(rows[channel]);
    for (size_t i = state->first; i < state->end; ++i) samples[i] = static_cast<uint8_t>(255 - samples[i]);
  }
  return ORB_OK;
}

constexpr ORB_LAYER_KIND kKind = {kInvert, scan_inverted, nullptr};  // nothing of its own to release

}  // namespace

int32_t invert(ORB_IMAGE* image) {
  if (image->mode != ORB_MODE_READ || image->info.image_count < 1) return 0;
  const ORB_IFD& ifd = image->info.images[0];
  if (ifd.color.type != ORB_C_INTEGER || ifd.color.width > 8) return 0;
  auto* const state = static_cast<Invert*>(ERR_malloc(sizeof(Invert)));
  if (!state) return 0;
  state->channels = ifd.color.count;
  state->first = static_cast<size_t>(ifd.active_window.left - ifd.window.left);
  state->end = static_cast<size_t>(ifd.active_window.right - ifd.window.left) + 1;
  if (orb__install_layer(image, &kKind, &state->layer)) return 1;
  ERR_free(state);
  return 0;
}

int32_t invert_remove(ORB_IMAGE* image) { return orb__remove_layer(image, kInvert); }
