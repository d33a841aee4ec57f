// The writing half of metadata.h.
#include "metadata.h"
#include "numbers.h"
#include "plugins/common/description.h"

#include <optional>

namespace orb::png {
namespace {

using plugin::is_declared;

constexpr float kDefaultGamma = 2.2F;

// The chunk values of one file; what is absent is not written.
struct Chunks {
  std::optional<int32_t> gamma;
  std::optional<int32_t> primaries[8];  // x and y of red, green, blue and white; all or none
  std::optional<PixelsPerUnit> aspect;
  bool has_offset = false;
  int32_t offset_x = 0;
  int32_t offset_y = 0;
};

void choose_gamma(Codec& codec, ORB_INFO& info, Chunks& out) {
  ORB_RESPONSE_CURVE& curve = info.images[0].curve;
  if (curve.kind != ORB_CURVE_GAMMA) {
    if (is_declared(info, ORB_ASSUMED_GAMMA))
      plugin::warn(codec.stream, "a tabulated response curve cannot be stored");
    plugin::reset_curve(curve);
  } else if (is_declared(info, ORB_ASSUMED_GAMMA)) {
    out.gamma = stored_gamma(curve.gamma);
    if (!out.gamma) plugin::warn(codec.stream, "the gamma cannot be stored");
  }
  if (!out.gamma) info.word_e |= ORB_ASSUMED_GAMMA;
  curve.gamma = out.gamma ? gamma_from_stored(*out.gamma) : kDefaultGamma;
}

void choose_primaries(Codec& codec, ORB_INFO& info, Chunks& out) {
  if (!is_declared(info, ORB_ASSUMED_PRIMARIES)) return plugin::reset_primaries(info);
  for (size_t point = 0; point < 4; ++point) {
    float* xyz = info.chromaticity + point * 3;
    out.primaries[point * 2] = stored_chromaticity(xyz[0]);
    out.primaries[point * 2 + 1] = stored_chromaticity(xyz[1]);
    if (!out.primaries[point * 2] || !out.primaries[point * 2 + 1]) {
      plugin::warn(codec.stream, "the primaries cannot be stored");
      out.primaries[0].reset();
      return plugin::reset_primaries(info);
    }
  }
  for (size_t point = 0; point < 4; ++point) {
    float* xyz = info.chromaticity + point * 3;
    const int32_t x = *out.primaries[point * 2];
    const int32_t y = *out.primaries[point * 2 + 1];
    xyz[0] = chromaticity_from_stored(x);
    xyz[1] = chromaticity_from_stored(y);
    xyz[2] = chromaticity_from_stored(PNG_FP_1 - x - y);
  }
}

void choose_aspect(Codec& codec, ORB_INFO& info, Chunks& out) {
  float& aspect = info.images[0].pixel_aspect;
  // 0 stands in a descriptor whose aspect nobody filled in.
  if (is_declared(info, ORB_ASSUMED_PIXEL_ASPECT) && aspect != 0) {
    out.aspect = stored_aspect(aspect);
    if (!out.aspect) plugin::warn(codec.stream, "the pixel aspect ratio cannot be stored");
  }
  if (out.aspect) return;
  aspect = 1.0F;
  info.word_e |= ORB_ASSUMED_PIXEL_ASPECT;
}

// The window's corner was checked to have a negative.
void choose_offset(const ORB_INFO& info, Chunks& out) {
  const ORB_WINDOW& window = info.images[0].window;
  out.has_offset = window.left != 0 || window.bottom != 0;
  out.offset_x = window.left;
  out.offset_y = -window.bottom;
}

void set_primaries(const Codec& codec, png_infop info, const Chunks& chunks) {
  const auto& at = chunks.primaries;
  png_set_cHRM_fixed(codec.png, info, *at[6], *at[7], *at[0], *at[1], *at[2], *at[3], *at[4], *at[5]);
}

// The codec library refuses what is no triangle around its white point, and leaves out the gamma as well then: so
// they are tried on a description that is thrown away. A refusal is a warning there, not an error.
void put_primaries(const Codec& codec, const Chunks& chunks) {
  png_infop trial = png_create_info_struct(codec.png);
  if (!trial) png_error(codec.png, "no memory");
  png_set_benign_errors(codec.png, 1);
  set_primaries(codec, trial, chunks);
  png_set_benign_errors(codec.png, 0);
  const bool are_taken = png_get_valid(codec.png, trial, PNG_INFO_cHRM) != 0;
  png_destroy_info_struct(codec.png, &trial);
  if (are_taken) set_primaries(codec, codec.info, chunks);
}

}  // namespace

bool put_metadata(Codec& codec, ORB_IMAGE& image) {
  Chunks chunks;
  plugin::warn_of_associated(codec.stream, image.info.images[0]);
  choose_gamma(codec, image.info, chunks);
  choose_primaries(codec, image.info, chunks);
  choose_aspect(codec, image.info, chunks);
  choose_offset(image.info, chunks);
  const bool is_put = guarded(codec, [&codec, &chunks] {
    if (chunks.gamma) png_set_gAMA_fixed(codec.png, codec.info, *chunks.gamma);
    if (chunks.primaries[0]) put_primaries(codec, chunks);
    if (chunks.aspect) {
      png_set_pHYs(codec.png, codec.info, chunks.aspect->x, chunks.aspect->y, PNG_RESOLUTION_UNKNOWN);
    }
    if (chunks.has_offset) {
      png_set_oFFs(codec.png, codec.info, chunks.offset_x, chunks.offset_y, PNG_OFFSET_PIXEL);
    }
  });
  if (!is_put) {
    report_failure(codec, kNoLine);
    return false;
  }
  if (chunks.primaries[0] && png_get_valid(codec.png, codec.info, PNG_INFO_cHRM) == 0)
    plugin::reset_primaries(image.info);
  return true;
}

}  // namespace orb::png
