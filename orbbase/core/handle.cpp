// Image handles: making, duplicating and releasing them.
#include <cstring>

#include "orbbase/core/ifd_copy.h"
#include "orbbase/core/internal.h"

namespace orb {
namespace {

void release_info(ORB_INFO& info) {
  for (char* ORB_INFO::*text : kInfoTexts) ERR_free(info.*text);
  for (int32_t i = 0; info.images && i < info.image_count; ++i) release_ifd(info.images[i]);
  ERR_free(info.images);
  free_settings(info.settings);
}

bool duplicate_info(const ORB_INFO& from, ORB_INFO& to) {
  for (char* ORB_INFO::*text : kInfoTexts) {
    if (!replace_text(&(to.*text), from.*text)) return false;
  }
  // A list of its own: each of two handles releases the one it holds.
  to.settings = ORB_cap_setting_copy(from.settings);
  if (!is_whole_copy(from.settings, to.settings)) return false;
  copy_numbers(from, to);
  to.reserved_a = from.reserved_a;
  to.job_number = from.job_number;
  to.read_option = from.read_option;
  return true;
}

}  // namespace

void copy_numbers(const ORB_INFO& from, ORB_INFO& to) {
  to.open_option = from.open_option;
  to.write_option = from.write_option;
  to.frame_number = from.frame_number;
  to.field_value = from.field_value;
  to.int_d = from.int_d;
  to.word_e = from.word_e;
  to.word_f = from.word_f;
  std::memcpy(to.chromaticity, from.chromaticity, sizeof to.chromaticity);
  to.field_mode = from.field_mode;
  to.frame_rate = from.frame_rate;
  std::memcpy(to.words, from.words, sizeof to.words);
  to.frame_count = from.frame_count;
}

bool out_of_memory() {
  report(kNoMemory);
  set_error(ORB_E_MEMORY);
  return false;
}

bool replace_text(char** text, const char* source) {
  char* copy = nullptr;
  if (!copy_text(source, copy, UnknownNames::keep)) return false;
  ERR_free(*text);
  *text = copy;
  return true;
}

ImageOwner new_handle(uint32_t mode) {
  ImageOwner image(make_zeroed<ORB_IMAGE>(1).release());
  platform::Mutex* lock = image ? platform::create_mutex() : nullptr;
  if (!lock) {
    out_of_memory();
    return nullptr;
  }
  image->lock = lock;
  ORB_info_init(&image->info);
  image->mode = mode;
  image->current_line = -1;
  return image;
}

int32_t duplicate_handle(const ORB_IMAGE* image, ORB_IMAGE** copy_out) {
  *copy_out = nullptr;
  ImageOwner copy = new_handle(image->mode);
  if (!copy) return 0;
  if (!duplicate_info(image->info, copy->info)) return out_of_memory();
  copy->lut_read = image->lut_read;
  copy->scan = image->scan;
  copy->close = image->close;
  copy->set_frame = image->set_frame;
  *copy_out = copy.release();
  return 1;
}

}  // namespace orb

int32_t orb__free_obj(ORB_IMAGE* image) {
  if (!image) return 1;
  orb::release_info(image->info);
  if (image->driver) ERR_free(image->driver->data);
  ERR_free(image->driver);
  orb::platform::close_mutex(orb::lock_of(image));
  ERR_free(image);
  return 1;
}
