#include "orbbase/core/drivers/description.h"

#include <cstring>

#include "orbbase/driver.h"
#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

void copy_words(const ORB_INFO& from, ORB_INFO& to) {
  to.job_number = from.job_number;
  to.frame_number = from.frame_number;
  to.field_value = from.field_value;
  std::memcpy(to.chromaticity, from.chromaticity, sizeof(to.chromaticity));
  to.field_mode = from.field_mode;
  to.frame_rate = from.frame_rate;
  to.words[0] = from.words[0];
  to.words[1] = from.words[1];
  to.frame_count = 0;
  to.int_d = from.int_d;
  to.word_e = from.word_e;
  to.word_f = from.word_f;
}

bool copy_images(const ORB_INFO& from, ORB_INFO& to, UnknownNames names) {
  to.image_count = 0;
  to.images = make_zeroed<ORB_IFD>(static_cast<uint64_t>(from.image_count)).release();
  if (!to.images) return false;
  for (; to.image_count < from.image_count; ++to.image_count) {
    if (!copy_ifd(from.images[to.image_count], to.images[to.image_count], names)) return false;
  }
  return true;
}

bool copy_texts(const ORB_INFO& from, ORB_INFO& to, UnknownNames names) {
  for (char* ORB_INFO::*text : kKeptTexts) {
    if (!copy_text(from.*text, to.*text, names)) return false;
  }
  return true;
}

}  // namespace

bool copy_description(const ORB_INFO& from, ORB_INFO& to, UnknownNames names) {
  copy_words(from, to);
  if (copy_images(from, to, names) && copy_texts(from, to, names)) return true;
  set_error(ORB_E_MEMORY);
  return false;
}

void release_description(ORB_INFO& info) {
  for (char* ORB_INFO::*text : kKeptTexts) {
    ERR_free(info.*text);
    info.*text = nullptr;
  }
  for (int32_t i = 0; i < info.image_count; ++i) release_ifd(info.images[i]);
  ERR_free(info.images);
  info.images = nullptr;
  info.image_count = 0;
}

const ORB_LUT* lut_to_write(const ORB_INFO& info) {
  const auto* lut = reinterpret_cast<const ORB_LUT*>(static_cast<uintptr_t>(info.write_option));
  if (!lut || !lut->entries || lut->entry_count < 1) return nullptr;
  const ORB_IFD& first = info.images[0];
  return first.color.count == 0 && first.index.count > 0 ? lut : nullptr;
}

void settle_gamma_curve(ORB_RESPONSE_CURVE& curve) {
  constexpr int32_t kMostEntries = 65536;
  curve.tables = nullptr;
  if (curve.channel_count < 1 || curve.channel_count > kMostEntries) curve.channel_count = 1;
  if (curve.resolution < 2 || curve.resolution > kMostEntries) curve.resolution = 256;
  if (curve.curve_type != ORB_C_FLOAT) curve.curve_type = ORB_C_INTEGER;
  if (curve.depth < 1 || curve.depth > 16) curve.depth = 12;
}

bool has_required_fields(const ORB_INFO& info) {
  const char* missing = !info.handle ? "handle" : info.image_count < 1 || !info.images ? "images" : nullptr;
  if (!missing) return true;
  orb__report(ORB_MSG_REQUIRED_FIELD, missing);
  set_error(ORB_E_OPEN);
  return false;
}

}  // namespace orb
