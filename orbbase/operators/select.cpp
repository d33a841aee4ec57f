// Image selection: one image of a multi-image handle as the handle's only one.
#include <cstring>

#include "orbbase/driver.h"
#include "orbbase/operators/operator.h"

namespace orb::op {
namespace {

struct Selection : Layer {
  int32_t image_count;  // the handle's, as they were before
  int32_t current_line;
  ORB_IFD* images;
  ORB_IFD description;  // of the chosen image; its texts and tables stay the handle's
  void** slots;         // the handle's private data, one an image
};

int32_t scan_selected(void* data, int32_t line, void* rows) {
  const auto* selection = static_cast<const Selection*>(data);
  if (!selection) return locked_sub_image();
  // Operators beneath know the first image alone; they say so themselves.
  if (!selection->data && !selection->below) return locked_sub_image();
  return scan_below(*selection, line, rows);
}

void release_selection(ORB_IMAGE* image, Layer* layer) {
  auto& selection = *static_cast<Selection*>(layer);
  for (int32_t i = 0; i < selection.image_count; ++i) image->driver[i].data = selection.slots[i];
  image->info.image_count = selection.image_count;
  image->info.images = selection.images;
  set_current_line(image, selection.current_line);
  ERR_free(selection.slots);
}

constexpr LayerKind kLayer = {kSelect, scan_selected, release_selection};

void install(ORB_IMAGE& image, int32_t index, Selection* selection) {
  ORB_INFO& info = image.info;
  const bool has_slots = !image.layers || image.layers->has_slots != 0;
  selection->image_count = info.image_count;
  selection->current_line = image.current_line;
  selection->images = info.images;
  selection->description = info.images[index];
  for (int32_t i = 0; i < info.image_count; ++i) {
    selection->slots[i] = image.driver[i].data;
    if (i > 0) image.driver[i].data = nullptr;
  }
  install_layer(image, kLayer, selection);
  // What operators beneath would take for their state is the driver's, but for the first image's.
  selection->data = has_slots || index == 0 ? selection->slots[index] : nullptr;
  info.image_count = 1;
  info.images = &selection->description;
  set_current_line(&image, line_before_first(info.images[0]));
}

}  // namespace
}  // namespace orb::op

ORB_IMAGE* ORB__select(ORB_IMAGE* image, int32_t index) {
  using namespace orb;
  using namespace orb::op;
  set_error(ORB_OK);
  if (!image || !image->scan || !driver_data(image)) return set_error(ORB_E_HANDLE), image;
  const int32_t count = image->info.image_count;
  if (count < 2) return image;
  if (index < 0 || index >= count) {
    orb__report(ORB_MSG_CANNOT_HANDLE, image->info.key ? image->info.key : "");
    set_error(ORB_E_HANDLE);
    return image;
  }
  owned<Selection> selection = make_state<Selection>();
  if (!selection) return image;
  selection->slots = make_zeroed<void*>(static_cast<uint64_t>(count)).release();
  if (!selection->slots) return set_error(ORB_E_MEMORY), image;
  install(*image, index, selection.release());
  return image;
}

int32_t ORB__select_remove(ORB_IMAGE* image) { return orb__remove_layer(image, orb::op::kSelect); }
