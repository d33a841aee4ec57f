#include "description.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

namespace orb::plugin {
namespace {

constexpr uint64_t kAllAssumed = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                                 ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;

void drop_texts(ORB_INFO& info) {
  for (char** text : {&info.text1, &info.text4, &info.text5, &info.text6, &info.text7, &info.text8,
                      &info.text9, &info.text10}) {
    drop_text(*text);
  }
}

void reset_numbers(ORB_INFO& info) {
  ORB_INFO fresh;
  ORB_info_init(&fresh);
  reset_primaries(info);
  info.job_number = fresh.job_number;
  info.frame_number = fresh.frame_number;
  info.frame_rate = fresh.frame_rate;
  info.field_value = fresh.field_value;
  info.field_mode = fresh.field_mode;
  info.frame_count = 0;
  info.words[0] = info.words[1] = info.int_d = 0;
  info.word_f = 0;
}

void reset_picture(ORB_IFD& ifd) {
  reset_curve(ifd.curve);
  drop_text(ifd.name);
  for (ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index}) drop_text(group->name);
  if (ifd.color.count != 0) ifd.index.count = 0;
  ifd.image_kind = 1;
  ifd.aspect_kind = 1;
}

}  // namespace

bool is_given(const char* text) { return text && *text != '\0' && std::strcmp(text, "unknown") != 0; }

void drop_text(char*& text) {
  ERR_free(text);
  text = nullptr;
}

bool is_local_date(const char* text) {
  constexpr std::string_view kForm = "dddd:dd:dd dd:dd:dd";
  const auto fits = [](char form, char c) { return form == 'd' ? c >= '0' && c <= '9' : form == c; };
  const std::string_view date = text;
  return std::equal(kForm.begin(), kForm.end(), date.begin(), date.end(), fits);
}

void reset_curve(ORB_RESPONSE_CURVE& curve) {
  if (curve.kind != ORB_CURVE_GAMMA) ORB_response_curve_done(&curve);
  curve = {ORB_CURVE_GAMMA, 2.2F, 0, 1, 256, ORB_C_INTEGER, 12, nullptr};
}

void reset_primaries(ORB_INFO& info) {
  ORB_INFO fresh;
  ORB_info_init(&fresh);
  std::memcpy(info.chromaticity, fresh.chromaticity, sizeof info.chromaticity);
  info.word_e |= ORB_ASSUMED_PRIMARIES;
}

bool has_matte_named(const ORB_IFD& ifd, const char* name) {
  return ifd.matte.count > 0 && ifd.matte.name && std::strcmp(ifd.matte.name, name) == 0;
}

void warn_of_associated(Stream& stream, const ORB_IFD& ifd) {
  if (!has_matte_named(ifd, kAssociated)) return;
  warn(stream, "the matte is named associated; the format's colours are taken as not multiplied by it");
}

bool settle_date(char*& date) {
  constexpr size_t kRoom = 32;
  if (!is_given(date) || date[0] != '{') return true;
  int64_t seconds = 0;
  const auto [stopped, error] = std::from_chars(date + 1, date + std::strlen(date), seconds);
  std::tm local = {};
  const auto time = static_cast<std::time_t>(seconds);
  if (error != std::errc() || std::strcmp(stopped, "}") != 0 || !localtime_r(&time, &local)) return true;
  owned<char> text = make_zeroed<char>(kRoom);
  if (!text) return false;
  std::strftime(text.get(), kRoom, "%Y:%m:%d %H:%M:%S", &local);
  ERR_free(date);
  date = text.release();
  return true;
}

bool settle_frame_rate(Stream& stream, ORB_INFO& info) {
  if (is_declared(info, ORB_ASSUMED_FRAME_RATE)) {
    if (std::isfinite(info.frame_rate) && info.frame_rate > 0) return true;
    warn(stream, "the frame rate cannot be stored");
  }
  info.frame_rate = kInitialFrameRate;
  info.word_e |= ORB_ASSUMED_FRAME_RATE;
  return false;
}

bool make_descriptors(ORB_IMAGE& image, int32_t count) {
  image.info.images = make_zeroed<ORB_IFD>(static_cast<uint64_t>(count)).release();
  if (!image.info.images) return false;
  image.info.image_count = count;
  orb__init_ifd(&image);
  image.info.word_e = kAllAssumed;
  return true;
}

void describe_size(ORB_IFD& ifd, int32_t width, int32_t height) {
  ifd.pair_a[0] = width;
  ifd.pair_a[1] = height;
  ifd.window = ifd.active_window = {0, width - 1, 0, height - 1};
  ifd.pixel_aspect = 1.0F;
  ifd.orientation &= ~static_cast<uint32_t>(ORB_BOTTOM_UP);
}

void keep_only(ORB_INFO& info, uint32_t kept) {
  ORB_IFD& ifd = info.images[0];
  const float aspect = ifd.pixel_aspect;
  // 0 stands in a descriptor whose aspect nobody filled in.
  const bool has_aspect =
      (kept & kKeepsPixelAspect) != 0 && is_declared(info, ORB_ASSUMED_PIXEL_ASPECT) && aspect != 0;
  drop_texts(info);
  if ((kept & kKeepsDescription) == 0 || !is_given(info.text3)) drop_description(info);
  reset_numbers(info);
  reset_picture(ifd);
  describe_size(ifd, static_cast<int32_t>(width_of(ifd.window)), static_cast<int32_t>(height_of(ifd.window)));
  info.word_e = kAllAssumed;
  if (!has_aspect) return;
  ifd.pixel_aspect = aspect;
  declare(info, ORB_ASSUMED_PIXEL_ASPECT);
}

void drop_description(ORB_INFO& info) { drop_text(info.text3); }

void drop_pixel_aspect(ORB_INFO& info) {
  info.images[0].pixel_aspect = 1.0F;
  info.word_e |= ORB_ASSUMED_PIXEL_ASPECT;
}

int32_t report_missing_rows(const char* path, int64_t height, int64_t missing) {
  char text[96];
  std::snprintf(text, sizeof text, "closed when %lld of %lld scanlines were written",
                static_cast<long long>(height - missing), static_cast<long long>(height));
  orb__report(ORB_MSG_CANNOT_WRITE, path, text);
  return fail(ORB_E_WRITE);
}

}  // namespace orb::plugin
