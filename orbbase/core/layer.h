// Layers of a handle, for the rooms of the library: what core.h says of them, without its checks.
#pragma once

#include "orbbase/core/internal.h"

namespace orb {

using Layer = ORB_LAYER;
using LayerKind = ORB_LAYER_KIND;

// For a handle that has a scan function and private data.
void install_layer(ORB_IMAGE& image, const LayerKind& kind, Layer* layer);

// Takes the newest layer off the handle and frees it. Not to be called without one.
void remove_layer(ORB_IMAGE& image);

// Takes all layers off.
void remove_layers(ORB_IMAGE& image);

// The newest layer when it is what the handle's slot 0 holds; else null.
inline Layer* top_layer(const ORB_IMAGE& image) {
  return image.layers && driver_data(&image) == image.layers ? image.layers : nullptr;
}

}  // namespace orb
