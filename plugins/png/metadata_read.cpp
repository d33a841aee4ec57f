// The reading half of metadata.h. The codec library has checked the chunks' form; what it only looked up here
// cannot fail.
#include "metadata.h"
#include "numbers.h"
#include "plugins/common/description.h"

namespace orb::png {
namespace {

void take_gamma(const Codec& codec, ORB_IMAGE& image) {
  png_fixed_point stored = 0;
  // An sRGB chunk counts as its gamma: the codec library fills that in.
  if (png_get_gAMA_fixed(codec.png, codec.info, &stored) == 0 || stored <= 0) return;
  plugin::declare(image.info, ORB_ASSUMED_GAMMA);
  image.info.images[0].curve.kind = ORB_CURVE_GAMMA;
  image.info.images[0].curve.gamma = gamma_from_stored(stored);
}

void take_primaries(const Codec& codec, ORB_IMAGE& image) {
  png_fixed_point white[2];
  png_fixed_point red[2];
  png_fixed_point green[2];
  png_fixed_point blue[2];
  if (png_get_cHRM_fixed(codec.png, codec.info, &white[0], &white[1], &red[0], &red[1], &green[0], &green[1],
                         &blue[0], &blue[1]) == 0) {
    return;
  }
  plugin::declare(image.info, ORB_ASSUMED_PRIMARIES);
  float* out = image.info.chromaticity;
  for (const png_fixed_point* point : {red, green, blue, white}) {
    *out++ = chromaticity_from_stored(point[0]);
    *out++ = chromaticity_from_stored(point[1]);
    *out++ = chromaticity_from_stored(PNG_FP_1 - point[0] - point[1]);
  }
}

void take_aspect(Codec& codec, ORB_IMAGE& image) {
  png_uint_32 per_unit_x = 0;
  png_uint_32 per_unit_y = 0;
  int unit = PNG_RESOLUTION_UNKNOWN;
  png_get_pHYs(codec.png, codec.info, &per_unit_x, &per_unit_y, &unit);
  if (unit == PNG_RESOLUTION_METER)
    plugin::note(codec.stream, "pHYs: the pixels' size is not kept, only their aspect ratio");
  if (per_unit_x == 0 || per_unit_y == 0) return;
  plugin::declare(image.info, ORB_ASSUMED_PIXEL_ASPECT);
  // Twice as many pixels a unit down as across: each is twice as wide as high.
  image.info.images[0].pixel_aspect = static_cast<float>(static_cast<double>(per_unit_y) / per_unit_x);
}

}  // namespace

void take_metadata(Codec& codec, ORB_IMAGE& image) {
  take_gamma(codec, image);
  take_primaries(codec, image);
  take_aspect(codec, image);
  if (png_get_valid(codec.png, codec.info, PNG_INFO_sRGB) != 0) {
    plugin::note(codec.stream, "sRGB: the rendering intent is not kept; gamma and primaries are");
  }
}

ORB_WINDOW take_window(Codec& codec, uint32_t width, uint32_t height) {
  png_int_32 x = 0;
  png_int_32 y = 0;
  int unit = PNG_OFFSET_PIXEL;
  const bool has_offset = png_get_oFFs(codec.png, codec.info, &x, &y, &unit) != 0;
  if (unit != PNG_OFFSET_PIXEL)
    plugin::note(codec.stream, "oFFs: an offset that is not in pixels is not kept");
  int64_t left = has_offset && unit == PNG_OFFSET_PIXEL ? x : 0;
  int64_t bottom =
      has_offset && unit == PNG_OFFSET_PIXEL ? -static_cast<int64_t>(y) : 0;  // y counts downward
  if (left + width - 1 > INT32_MAX || bottom + height - 1 > INT32_MAX) {
    plugin::warn(codec.stream, "oFFs: the offset puts the picture out of range and is not kept");
    left = 0;
    bottom = 0;
  }
  return {static_cast<int32_t>(left), static_cast<int32_t>(left + width - 1), static_cast<int32_t>(bottom),
          static_cast<int32_t>(bottom + height - 1)};
}

}  // namespace orb::png
