// The row buffers of a scanline: how large a sample is, how rows lie in their block, and copies of rows.
#include <algorithm>
#include <cstring>
#include <limits>

#include "orbbase/core.h"
#include "orbbase/driver.h"
#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

constexpr uint64_t kHuge = std::numeric_limits<uint64_t>::max();  // over every limit

// Sums and products that stay at kHuge rather than wrap.
uint64_t product(uint64_t a, uint64_t b) { return b != 0 && a > kHuge / b ? kHuge : a * b; }
uint64_t sum(uint64_t a, uint64_t b) { return a > kHuge - b ? kHuge : a + b; }

struct GroupRule {
  ORB_CHANNELS ORB_IFD::*group;
  int32_t bad_type;
  int32_t bad_width;
  int32_t most_bits;
  bool integer_only;
};

// In the order of their checks and of their rows.
constexpr GroupRule kRules[] = {
    {&ORB_IFD::color, ORB_MSG_IMAGE_TYPE, ORB_MSG_IMAGE_WIDTH, 32, false},
    {&ORB_IFD::matte, ORB_MSG_MATTE_TYPE, ORB_MSG_MATTE_WIDTH, 32, false},
    {&ORB_IFD::aux, ORB_MSG_AUX_TYPE, ORB_MSG_AUX_WIDTH, 32, false},
    {&ORB_IFD::index, ORB_MSG_INDEX_TYPE, ORB_MSG_INDEX_WIDTH, 16, true},
};
constexpr size_t kGroups = std::size(kRules);

constexpr uint64_t kIndexBytes = 2;  // a colour index, whatever its width

uint64_t integer_bytes(int32_t width) { return width <= 8 ? 1 : width <= 16 ? 2 : 4; }

// Bytes of a sample, or 0, reported.
uint64_t sample_bytes(const ORB_CHANNELS& group, const GroupRule& rule, const char* label) {
  const bool is_integer = group.type == ORB_C_INTEGER;
  const bool is_real = group.type == ORB_C_FLOAT || group.type == ORB_C_DOUBLE;
  if (!is_integer && (!is_real || rule.integer_only)) {
    orb__report(rule.bad_type, label);
    return 0;
  }
  if (is_integer && group.width > rule.most_bits) {  // no width is asked of a real sample
    orb__report(rule.bad_width, label);
    return 0;
  }
  if (rule.integer_only) return kIndexBytes;
  if (is_integer) return integer_bytes(group.width);
  return group.type == ORB_C_FLOAT ? 4 : 8;
}

// The rows of one scanline as they will lie in their block.
struct RowPlan {
  struct Group {
    uint64_t rows = 0;
    uint64_t row_bytes = 0;  // even
  };
  Group groups[kGroups];
  uint64_t rows = 0;
  uint64_t block_bytes = 0;
};

// False, reported and with the error set, when the description cannot have buffers.
bool plan_rows(const ORB_IFD& ifd, int32_t pixels, const char* label, RowPlan* plan) {
  uint64_t bytes[kGroups];
  for (size_t i = 0; i < kGroups; ++i) {
    bytes[i] = sample_bytes(ifd.*kRules[i].group, kRules[i], label);
    if (bytes[i] == 0) {
      set_error(ORB_E_HANDLE);
      return false;
    }
  }
  bool is_negative = pixels < 0;
  for (const GroupRule& rule : kRules) is_negative = is_negative || (ifd.*rule.group).count < 0;
  if (is_negative) {
    orb__report(ORB_MSG_CANNOT_HANDLE, label);
    set_error(ORB_E_HANDLE);
    return false;
  }
  for (size_t i = 0; i < kGroups; ++i) {
    RowPlan::Group& group = plan->groups[i];
    group.rows = static_cast<uint64_t>((ifd.*kRules[i].group).count);
    group.row_bytes = (static_cast<uint64_t>(pixels) * bytes[i] + 1) / 2 * 2;
    plan->rows += group.rows;
    plan->block_bytes = sum(plan->block_bytes, product(group.rows, group.row_bytes));
  }
  return true;
}

void place_rows(const RowPlan& plan, uint8_t* block, void** rows) {
  rows[0] = block;  // also without a single row: the block is released through here
  for (const RowPlan::Group& group : plan.groups) {
    for (uint64_t i = 0; i < group.rows; ++i) {
      *rows++ = block;
      block += group.row_bytes;
    }
  }
}

void** allocate_rows(ORB_IFD* ifd, int32_t pixels, const char* label, size_t* size_out) {
  constexpr const char* kCall = "ORB_chan_alloc";
  if (!ifd) {
    set_error(ORB_E_HANDLE);
    return nullptr;
  }
  if (ifd->color.count != 0) ifd->index.count = 0;  // no index channels beside colour
  RowPlan plan;
  if (!plan_rows(*ifd, pixels, label ? label : "", &plan)) return nullptr;
  if (!orb__within_limit(ORB_LIMIT_CHANNELS, plan.rows, kCall)) return nullptr;
  if (!orb__within_limit(ORB_LIMIT_BUFFER, plan.block_bytes, kCall)) return nullptr;

  owned<void*> rows = make_zeroed<void*>(std::max<uint64_t>(plan.rows, 1));
  owned<uint8_t> block;
  if (rows) block = make_zeroed<uint8_t>(std::max<uint64_t>(plan.block_bytes, 1));
  if (!block) {
    set_error(ORB_E_MEMORY);
    return nullptr;
  }
  if (size_out) *size_out = static_cast<size_t>(plan.block_bytes);
  place_rows(plan, block.release(), rows.get());
  return rows.release();
}

int32_t free_rows(void** rows) {
  if (rows) {
    ERR_free(rows[0]);
    ERR_free(rows);
  }
  return 1;
}

int32_t copy_rows(void* const* dest, void* const* src, int32_t channels, int32_t pixels, size_t bytes) {
  if (!dest || !src || pixels <= 0) return 0;
  // From the last channel to the first, on purpose. A row may be copied onto itself.
  for (int32_t i = channels - 1; i >= 0; --i) {
    std::memmove(dest[i], src[i], static_cast<size_t>(pixels) * bytes);
  }
  return 0;
}

}  // namespace
}  // namespace orb

void** ORB_chan_alloc(ORB_IFD* ifd, int32_t pixels, const char* label, size_t* size_out) {
  return orb::allocate_rows(ifd, pixels, label, size_out);
}

void** orb__chan_alloc(ORB_IFD* ifd, int32_t pixels, const char* label) {
  return orb::allocate_rows(ifd, pixels, label, nullptr);
}

int32_t ORB_chan_free(void** rows) { return orb::free_rows(rows); }
int32_t orb__chan_free(void** rows) { return orb::free_rows(rows); }

int32_t orb__chan_copy_1(void* const* dest, void* const* src, int32_t channels, int32_t pixels) {
  return orb::copy_rows(dest, src, channels, pixels, 1);
}
int32_t orb__chan_copy_2(void* const* dest, void* const* src, int32_t channels, int32_t pixels) {
  return orb::copy_rows(dest, src, channels, pixels, 2);
}
int32_t orb__chan_copy_4(void* const* dest, void* const* src, int32_t channels, int32_t pixels) {
  return orb::copy_rows(dest, src, channels, pixels, 4);
}
