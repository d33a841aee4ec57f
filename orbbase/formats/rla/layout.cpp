#include "orbbase/formats/rla/layout.h"

#include <algorithm>

#include "orbbase/driver.h"
#include "orbbase/support/err/internal.h"

namespace orb::rla {
namespace {

constexpr ORB_CHANNELS ORB_IFD::*kGroups[] = {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux};
constexpr ORB_CHANNELS kNoChannels = {nullptr, 0, ORB_C_INTEGER, 8};

uint64_t width_of(const ORB_WINDOW& window) { return static_cast<uint64_t>(window.right - window.left + 1); }

// What cannot be coded counts as the narrowest samples.
const SampleCoder& some_coder(const ORB_CHANNELS& group) {
  const SampleCoder* const coder = sample_coder(group);
  return coder ? *coder : *sample_coder(kNoChannels);
}

}  // namespace

int32_t lay_out(const ORB_IFD& ifd, const char* key, EmptyGroups empty, Layout& layout_out) {
  if (ifd.color.count > 0 && ifd.color.type == ORB_C_INTEGER && ifd.color.width <= 0) {
    orb__report(ORB_MSG_IMAGE_WIDTH, key);
    return fail(ORB_E_HANDLE);
  }
  ORB_IFD filled = ifd;
  filled.index = kNoChannels;
  for (ORB_CHANNELS ORB_IFD::*group : kGroups) {
    const bool has_its_type_checked = empty == EmptyGroups::of_known_types && (filled.*group).type == 0;
    if ((filled.*group).count == 0 && !has_its_type_checked) filled.*group = kNoChannels;
  }
  const int32_t code = lay_out_rows(filled, key, "ORB_open", layout_out.rows);
  if (code != ORB_OK) return code;
  layout_out.table_bytes = table_bytes_of(ifd);
  layout_out.scratch_bytes = 0;
  for (size_t i = 0; i < std::size(kGroups); ++i) {
    const ORB_CHANNELS& group = ifd.*kGroups[i];
    const SampleCoder*& coder = layout_out.coders[i];
    coder = group.count > 0 ? sample_coder(group) : nullptr;
    if (coder) {
      layout_out.scratch_bytes =
          std::max(layout_out.scratch_bytes, coder->scratch_bytes(layout_out.active_width()));
    }
  }
  return ORB_OK;
}

uint64_t table_bytes_of(const ORB_IFD& ifd) {
  constexpr uint64_t kPositionBytes = 4;
  return kPositionBytes * static_cast<uint64_t>(ifd.active_window.top - ifd.active_window.bottom + 1);
}

uint64_t least_row_bytes(const ORB_IFD& ifd) {
  constexpr uint64_t kCountBytes = 2;
  uint64_t bytes = 0;
  for (ORB_CHANNELS ORB_IFD::*member : kGroups) {
    const ORB_CHANNELS& group = ifd.*member;
    bytes += static_cast<uint64_t>(group.count) *
             (kCountBytes + some_coder(group).least_block_bytes(width_of(ifd.active_window)));
  }
  return bytes;
}

uint64_t sample_row_bytes(const ORB_IFD& ifd) {
  uint64_t bytes = 0;
  for (ORB_CHANNELS ORB_IFD::*member : kGroups) {
    const ORB_CHANNELS& group = ifd.*member;
    bytes += static_cast<uint64_t>(group.count) * (width_of(ifd.window) * some_coder(group).sample_bytes);
  }
  return bytes;
}

int32_t bad_scanline(int32_t line) {
  orb__report(ORB_MSG_BAD_SCANLINE, line);
  return fail(ORB_E_SCANLINE);
}

}  // namespace orb::rla
