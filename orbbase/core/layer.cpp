// Stacking layers on a handle: taking over its entries, passing on what a layer does not change, and giving
// them back.
#include "orbbase/core/layer.h"

#include <type_traits>
#include <utility>

namespace orb {
namespace {

// An entry that calls the level below with that level's data.
template <auto Entry, class Function>
struct Onward;

template <auto Entry, class... Arguments>
struct Onward<Entry, int32_t (*)(void*, Arguments...)> {
  static int32_t call(void* data, Arguments... arguments) {
    const auto* layer = static_cast<const Layer*>(data);
    // Without data below, the slot was taken away by a selection.
    if (!layer || !layer->data) return fail(ORB_E_HANDLE);
    return (layer->*Entry)(layer->data, arguments...);
  }
};

// Keeps one entry of the handle and puts one in its place that goes on to it.
template <auto HandleEntry, auto LayerEntry>
void take_over(ORB_IMAGE& image, Layer& layer) {
  auto& entry = image.*HandleEntry;
  using Function = std::remove_reference_t<decltype(entry)>;
  layer.*LayerEntry = entry;
  if (entry) entry = Onward<LayerEntry, Function>::call;
}

int32_t close_through_layer(ORB_IMAGE* image) {
  Layer* layer = top_layer(*image);
  if (!layer) return fail(ORB_E_HANDLE);
  const ORB_CLOSE_FN close = layer->close;
  remove_layer(*image);
  return close ? close(image) : fail(ORB_E_HANDLE);
}

}  // namespace

void install_layer(ORB_IMAGE& image, const LayerKind& kind, Layer* layer) {
  layer->kind = kind.kind;
  layer->release = kind.release;
  layer->below = image.layers;
  layer->has_slots = 0;
  layer->scan = std::exchange(image.scan, kind.scan);
  layer->close = std::exchange(image.close, close_through_layer);
  layer->data = std::exchange(image.driver->data, layer);
  layer->region = std::exchange(image.region, nullptr);
  layer->direct_scan = std::exchange(image.direct_scan, nullptr);
  take_over<&ORB_IMAGE::lut_read, &Layer::lut_read>(image, *layer);
  take_over<&ORB_IMAGE::playback_bind, &Layer::playback_bind>(image, *layer);
  take_over<&ORB_IMAGE::playback_goto, &Layer::playback_goto>(image, *layer);
  take_over<&ORB_IMAGE::playback_play, &Layer::playback_play>(image, *layer);
  take_over<&ORB_IMAGE::playback_params, &Layer::playback_params>(image, *layer);
  take_over<&ORB_IMAGE::playback_stop, &Layer::playback_stop>(image, *layer);
  take_over<&ORB_IMAGE::get_frame, &Layer::get_frame>(image, *layer);
  take_over<&ORB_IMAGE::set_frame, &Layer::set_frame>(image, *layer);
  take_over<&ORB_IMAGE::seek, &Layer::seek>(image, *layer);
  image.layers = layer;
}

void remove_layer(ORB_IMAGE& image) {
  const owned<Layer> layer(image.layers);
  image.scan = layer->scan;
  image.close = layer->close;
  image.driver->data = layer->data;
  image.lut_read = layer->lut_read;
  image.playback_bind = layer->playback_bind;
  image.playback_goto = layer->playback_goto;
  image.playback_play = layer->playback_play;
  image.playback_params = layer->playback_params;
  image.playback_stop = layer->playback_stop;
  image.get_frame = layer->get_frame;
  image.set_frame = layer->set_frame;
  image.seek = layer->seek;
  image.region = layer->region;
  image.direct_scan = layer->direct_scan;
  image.layers = layer->below;
  if (layer->release) layer->release(&image, layer.get());
}

void remove_layers(ORB_IMAGE& image) {
  while (top_layer(image)) remove_layer(image);
}

}  // namespace orb

int32_t orb__install_layer(ORB_IMAGE* image, const ORB_LAYER_KIND* kind, ORB_LAYER* layer) {
  using namespace orb;
  if (!image || !kind || !kind->scan || !layer || !image->scan || !driver_data(image)) {
    set_error(ORB_E_HANDLE);
    return 0;
  }
  install_layer(*image, *kind, layer);
  return 1;
}

int32_t orb__remove_layer(ORB_IMAGE* image, int32_t kind) {
  using namespace orb;
  if (!image || !driver_data(image)) return 1;
  const Layer* top = top_layer(*image);
  if (!top || top->kind != kind) return 0;
  remove_layer(*image);
  return 1;
}
