// Lookup tables of colour indices: allocation, copies, a change of size, and reading one from an open image.
#include <algorithm>
#include <cstring>

#include "orbbase/core/internal.h"

namespace orb {
namespace {

static_assert(sizeof(ORB_LUT_ENTRY) == 8);
static_assert(offsetof(ORB_LUT, last_index) == 8 && offsetof(ORB_LUT, entry_count) == 12);
static_assert(offsetof(ORB_LUT, scale) == 16);

// Zeroed entries, at least one so that an empty table has a block too; null with the error set.
owned<ORB_LUT_ENTRY> new_entries(int32_t count, const char* call) {
  if (count < 0) {
    set_error(ORB_E_HANDLE);
    return nullptr;
  }
  const uint64_t entries = std::max<uint64_t>(static_cast<uint64_t>(count), 1);
  if (!orb__within_limit(ORB_LIMIT_BUFFER, entries * sizeof(ORB_LUT_ENTRY), call)) return nullptr;
  owned<ORB_LUT_ENTRY> block = make_zeroed<ORB_LUT_ENTRY>(entries);
  if (!block) set_error(ORB_E_MEMORY);
  return block;
}

void copy_entries(const ORB_LUT& from, ORB_LUT_ENTRY* to, int32_t count) {
  const int32_t common = std::min(from.entry_count, count);
  if (common > 0 && from.entries) {
    std::memcpy(to, from.entries, static_cast<size_t>(common) * sizeof(ORB_LUT_ENTRY));
  }
}

}  // namespace
}  // namespace orb

ORB_LUT* ORB_lut_alloc(int32_t count) {
  orb::owned<ORB_LUT_ENTRY> entries = orb::new_entries(count, "ORB_lut_alloc");
  if (!entries) return nullptr;
  orb::owned<ORB_LUT> lut = orb::make_zeroed<ORB_LUT>(1);
  if (!lut) {
    orb::set_error(ORB_E_MEMORY);
    return nullptr;
  }
  lut->entries = entries.release();
  lut->entry_count = count;
  lut->last_index = count - 1;
  lut->scale = 1.0f;
  return lut.release();
}

ORB_LUT* ORB_lut_copy(const ORB_LUT* lut) {
  if (!lut) return nullptr;
  ORB_LUT* copy = ORB_lut_alloc(lut->entry_count);
  if (!copy) return nullptr;
  orb::copy_entries(*lut, copy->entries, copy->entry_count);
  copy->last_index = lut->last_index;
  copy->scale = lut->scale;
  return copy;
}

ORB_LUT* ORB_lut_realloc(ORB_LUT* lut, int32_t count) {
  if (!lut) return nullptr;
  orb::owned<ORB_LUT_ENTRY> entries = orb::new_entries(count, "ORB_lut_realloc");
  if (!entries) return ORB_lut_free(lut);
  orb::copy_entries(*lut, entries.get(), count);
  ERR_free(lut->entries);
  lut->entries = entries.release();
  lut->entry_count = count;  // last_index stays as it was, on purpose
  return lut;
}

ORB_LUT* ORB_lut_free(ORB_LUT* lut) {
  if (lut) {
    ERR_free(lut->entries);
    ERR_free(lut);
  }
  return nullptr;
}

int32_t ORB_lut_read(ORB_IMAGE* image, ORB_LUT** lut_out) {
  if (!lut_out) return 1;
  *lut_out = nullptr;
  if (!image || !image->lut_read) return 1;
  const int32_t code = image->lut_read(orb::driver_data(image), lut_out);
  return code == 0 ? 0 : ((code & ~0xff) | 1);
}
