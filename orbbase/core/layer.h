// What is stacked on a handle, between the application and the driver. A layer takes the place of the driver in
// the handle's entries and is their private data; it keeps what was there and calls it.
#pragma once

#include "orbbase/core/internal.h"

namespace orb {

// The state of every layer begins with one of these. The first four fields are what each of them has had from
// the start, in this order.
struct Layer {
  int32_t kind;
  ORB_SCAN_FN scan;  // the handle's entries, and slot 0, as they were before
  ORB_CLOSE_FN close;
  void* data;

  Layer* below;  // null: the driver
  // Gives back what the layer took beside this block, and undoes what it changed of the description.
  void (*release)(ORB_IMAGE* image, Layer* layer);

  ORB_LUT_READ_FN lut_read;
  ORB_FRAME_FN playback_bind;
  ORB_FRAME_FN playback_goto;
  ORB_PLAYBACK_PLAY_FN playback_play;
  ORB_PLAYBACK_PARAMS_FN playback_params;
  ORB_FRAME_FN playback_stop;
  ORB_FRAME_FN get_frame;
  ORB_FRAME_FN set_frame;
  ORB_SEEK_FN seek;
  ORB_REGION_FN region;
  ORB_DIRECT_SCAN_FN direct_scan;
};

// What a kind of layer is made of.
struct LayerKind {
  int32_t kind;
  ORB_SCAN_FN scan;
  void (*release)(ORB_IMAGE* image, Layer* layer);
};

// Puts a layer on a handle that has a driver block with data. The scan and close entries become the layer's
// own; the others go on to the level below, but for region and direct_scan, which become null: they would go
// past the layer. The layer is a block of the library's allocator and the handle's from here.
void install_layer(ORB_IMAGE& image, const LayerKind& kind, Layer* layer);

// Takes the newest layer off the handle and frees it. Not to be called without one.
void remove_layer(ORB_IMAGE& image);

// Takes all layers off.
void remove_layers(ORB_IMAGE& image);

// The newest layer when it is what the handle's slot 0 holds; else null.
inline Layer* top_layer(const ORB_IMAGE& image) {
  auto* top = static_cast<Layer*>(image.layers);
  return top && driver_data(&image) == top ? top : nullptr;
}

}  // namespace orb
