// The writing half of metadata.h.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "metadata.h"
#include "plugins/common/description.h"
#include "settings.h"

namespace orb::exr {
namespace {

using plugin::is_declared;
using plugin::is_given;

// ---- Settling ----

// Samples are linear by the format's definition, whether anybody says so or not.
void settle_curve(Codec& codec, ORB_INFO& info, ORB_IFD& ifd) {
  const bool is_linear = ifd.curve.kind == ORB_CURVE_GAMMA && ifd.curve.gamma == 1.0F;
  if (is_declared(info, ORB_ASSUMED_GAMMA) && !is_linear) {
    warn(codec, "the response curve is not stored: the format's samples are linear");
  }
  plugin::reset_curve(ifd.curve);
  ifd.curve.gamma = 1.0F;
}

void settle_primaries(Codec& codec, ORB_INFO& info) {
  if (is_declared(info, ORB_ASSUMED_PRIMARIES)) {
    const bool are_numbers = std::all_of(std::begin(info.chromaticity), std::end(info.chromaticity),
                                         [](float value) { return std::isfinite(value); });
    for (float* point = info.chromaticity; are_numbers && point < info.chromaticity + 12; point += 3) {
      point[2] = 1.0F - point[0] - point[1];
    }
    if (are_numbers) return;
    warn(codec, "the primaries cannot be stored");
  }
  plugin::reset_primaries(info);
}

// The format always declares one, the same for all parts.
void settle_aspect(Codec& codec, ORB_INFO& info, ORB_IFD& ifd) {
  const ORB_IFD& first = info.images[0];
  const bool is_wanted = is_declared(info, ORB_ASSUMED_PIXEL_ASPECT) && ifd.pixel_aspect != 0;
  float stored = first.pixel_aspect;
  if (&ifd == &first && !(is_wanted && stored > 1e-6F && stored < 1e6F)) stored = 1.0F;
  if (is_wanted && ifd.pixel_aspect != stored) warn(codec, "the pixel aspect ratio cannot be stored");
  ifd.pixel_aspect = stored;
}

// A rate as the format has it: of the ratios that come back as the same float the most usual one. Zero: none.
exr_attr_rational_t ratio_of(float rate) {
  constexpr uint32_t kUsual[] = {1, 1001, 100, 1000};
  const auto comes_back = [rate](double over, uint32_t under) {
    return over >= 1 && over <= INT32_MAX && static_cast<float>(over / under) == rate;
  };
  if (!std::isfinite(rate) || rate <= 0) return {0, 0};
  for (const uint32_t under : kUsual) {
    const double over = std::round(static_cast<double>(rate) * under);
    if (comes_back(over, under)) return {static_cast<int32_t>(over), under};
  }
  for (uint32_t under = 2; under != 0; under <<= 1) {
    const double over = static_cast<double>(rate) * under;
    if (over == std::floor(over) && comes_back(over, under)) return {static_cast<int32_t>(over), under};
  }
  return {0, 0};
}

void settle_frame_rate(Codec& codec, ORB_INFO& info) {
  if (is_declared(info, ORB_ASSUMED_FRAME_RATE)) {
    if (ratio_of(info.frame_rate).num != 0) return;
    warn(codec, "the frame rate cannot be stored");
  }
  info.frame_rate = plugin::kInitialFrameRate;
  info.word_e |= ORB_ASSUMED_FRAME_RATE;
}

void settle_numbers(ORB_INFO& info) {
  if (!is_declared(info, ORB_ASSUMED_FRAME_NUMBER)) info.frame_number = 1;
  info.field_mode = 1;
  info.frame_count = 0;
  info.int_d = 0;
  info.word_f = 0;
}

bool settle_texts(ORB_INFO& info, Compression compression) {
  for (const TextAttribute& row : kTexts) {
    if (!is_given(info.*row.field)) plugin::drop_text(info.*row.field);
  }
  if (!set_text(info.text10, name_of(static_cast<int32_t>(compression)))) return false;
  return plugin::settle_date(info.text7);
}

// ---- Attributes ----

// The first result that is not a success.
class Results {
 public:
  void operator+=(exr_result_t result) {
    if (first_ == EXR_ERR_SUCCESS) first_ = result;
  }
  [[nodiscard]] exr_result_t first() const { return first_; }

 private:
  exr_result_t first_ = EXR_ERR_SUCCESS;
};

void put_texts(exr_context_t context, const ORB_INFO& info, Results& results) {
  for (const TextAttribute& row : kTexts) {
    const char* text = info.*row.field;
    if (!text) continue;
    const bool is_date = row.field == &ORB_INFO::text7;
    const bool is_capture = std::strcmp(row.name, kCaptureDate) == 0;
    if (is_date && is_capture != plugin::is_local_date(text)) continue;
    results += exr_attr_set_string(context, 0, row.name, text);
  }
}

void put_numbers(exr_context_t context, const ORB_INFO& info, Results& results) {
  for (const NumberAttribute& row : kNumbers) {
    const int32_t value = info.*row.field;
    const bool is_wanted = row.assumed != 0 ? is_declared(info, row.assumed) : value != row.initial;
    if (is_wanted) results += exr_attr_set_int(context, 0, row.name, value);
  }
}

void put_shared(exr_context_t context, int32_t index, const ORB_INFO& info, Results& results) {
  if (is_declared(info, ORB_ASSUMED_PRIMARIES)) {
    const float* c = info.chromaticity;
    const exr_attr_chromaticities_t primaries = {c[0], c[1], c[3], c[4], c[6], c[7], c[9], c[10]};
    results += exr_attr_set_chromaticities(context, index, kPrimaries, &primaries);
  }
  if (is_declared(info, ORB_ASSUMED_FRAME_RATE)) {
    const exr_attr_rational_t rate = ratio_of(info.frame_rate);
    results += exr_attr_set_rational(context, index, kFrameRate, &rate);
  }
}

}  // namespace

bool set_text(char*& field, std::string_view text) {
  char* copy = make_zeroed<char>(text.size() + 1).release();
  if (!copy) return false;
  std::memcpy(copy, text.data(), text.size());
  ERR_free(field);
  field = copy;
  return true;
}

bool settle_metadata(Codec& codec, ORB_IMAGE& image, Compression compression) {
  ORB_INFO& info = image.info;
  for (int32_t i = 0; i < info.image_count; ++i) {
    codec.part = info.image_count > 1 ? i + 1 : 0;
    settle_curve(codec, info, info.images[i]);
    settle_aspect(codec, info, info.images[i]);
    if (plugin::has_matte_named(info.images[i], plugin::kSeparate)) {
      warn(codec, "the matte is named separate; the format's colours are taken to be multiplied by it");
    }
  }
  codec.part = 0;
  settle_primaries(codec, info);
  settle_frame_rate(codec, info);
  settle_numbers(info);
  plugin::declare(info, ORB_ASSUMED_GAMMA | ORB_ASSUMED_PIXEL_ASPECT);
  return settle_texts(info, compression);
}

exr_result_t put_metadata(const Codec& codec, const ORB_IMAGE& image, int32_t index) {
  Results results;
  put_shared(codec.context, index, image.info, results);
  if (index == 0) {
    put_texts(codec.context, image.info, results);
    put_numbers(codec.context, image.info, results);
  }
  return results.first();
}

}  // namespace orb::exr
