// The description record: its defaults, its validity mark and the release of what it holds.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "orbbase/core/internal.h"

namespace orb {
namespace {

// Applications and plug-ins are compiled against these layouts, the same on every 64-bit system.
static_assert(sizeof(ORB_CHANNELS) == 24 && offsetof(ORB_CHANNELS, count) == 8);
static_assert(offsetof(ORB_CHANNELS, type) == 12 && offsetof(ORB_CHANNELS, width) == 16);

static_assert(offsetof(ORB_IFD, curve) == 8 && offsetof(ORB_IFD, name) == 48);
static_assert(offsetof(ORB_IFD, pair_a) == 56 && offsetof(ORB_IFD, pixel_aspect) == 64);
static_assert(offsetof(ORB_IFD, window) == 68 && offsetof(ORB_IFD, active_window) == 84);
static_assert(offsetof(ORB_IFD, aspect_kind) == 100 && offsetof(ORB_IFD, orientation) == 104);
static_assert(offsetof(ORB_IFD, color) == 112 && offsetof(ORB_IFD, matte) == 136);
static_assert(offsetof(ORB_IFD, aux) == 160 && offsetof(ORB_IFD, index) == 184);
static_assert(sizeof(ORB_IFD) == 208);

static_assert(offsetof(ORB_INFO, handle) == 8 && offsetof(ORB_INFO, open_option) == 16);
static_assert(offsetof(ORB_INFO, text1) == 24 && offsetof(ORB_INFO, extension) == 32);
static_assert(offsetof(ORB_INFO, text3) == 40 && offsetof(ORB_INFO, text10) == 96);
static_assert(offsetof(ORB_INFO, settings) == 104 && offsetof(ORB_INFO, reserved_a) == 112);
static_assert(offsetof(ORB_INFO, write_option) == 120 && offsetof(ORB_INFO, job_number) == 128);
static_assert(offsetof(ORB_INFO, frame_number) == 132 && offsetof(ORB_INFO, field_value) == 136);
static_assert(offsetof(ORB_INFO, magic) == 140 && offsetof(ORB_INFO, chromaticity) == 144);
static_assert(offsetof(ORB_INFO, image_count) == 192 && offsetof(ORB_INFO, images) == 200);
static_assert(offsetof(ORB_INFO, field_mode) == 208 && offsetof(ORB_INFO, frame_rate) == 212);
static_assert(offsetof(ORB_INFO, words) == 216 && offsetof(ORB_INFO, frame_count) == 224);
static_assert(offsetof(ORB_INFO, read_option) == 228 && offsetof(ORB_INFO, int_d) == 232);
static_assert(offsetof(ORB_INFO, word_e) == 240 && offsetof(ORB_INFO, unused) == 256);
static_assert(sizeof(ORB_INFO) == 272);

constexpr float kChromaticity[12] = {0.67f, 0.33f, 0.0f,  0.21f, 0.71f,  0.08f,
                                     0.14f, 0.08f, 0.78f, 0.31f, 0.316f, 0.374f};

constexpr ORB_CHANNELS ORB_IFD::*kGroups[] = {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux,
                                              &ORB_IFD::index};

constexpr int32_t kCurveDepth = 12;  // log2 of ORB_GAMMA_STEPS
static_assert(1 << kCurveDepth == ORB_GAMMA_STEPS);

constexpr ORB_CHANNELS kNoChannels = {nullptr, 0, ORB_C_INTEGER, 8};
constexpr ORB_CHANNELS kNoIndices = {nullptr, 0, ORB_C_INTEGER, 16};

void set_defaults(ORB_IFD& ifd) {
  ifd.image_kind = 1;
  ifd.curve = {ORB_CURVE_GAMMA, 2.2f, 0, 1, 256, ORB_C_INTEGER, kCurveDepth, nullptr};
  ifd.name = nullptr;
  ifd.aspect_kind = 1;
  ifd.orientation = ORB_BOTTOM_UP;
  ifd.color = kNoChannels;
  ifd.matte = kNoChannels;
  ifd.aux = kNoChannels;
  ifd.index = kNoIndices;
}

void free_text(char*& text) {
  ERR_free(text);
  text = nullptr;
}

// The names and curves of the images stay, on purpose: only a handle owns its own.
void free_images(ORB_INFO& info) {
  if (!info.images) return;
  for (int32_t i = 0; i < info.image_count; ++i) {
    for (ORB_CHANNELS ORB_IFD::*group : kGroups) free_text((info.images[i].*group).name);
  }
  ERR_free(info.images);
  info.images = nullptr;
}

}  // namespace
}  // namespace orb

void ORB_info_init(ORB_INFO* info) {
  if (!info) return;
  for (char* ORB_INFO::*text : orb::kInfoTexts) info->*text = nullptr;
  info->open_option = 0;
  info->settings = nullptr;
  info->reserved_a = 0;
  info->write_option = 0;
  info->job_number = -1;
  info->frame_number = 1;
  info->field_value = 0;
  info->magic = ORB_INFO_MAGIC;
  std::copy(std::begin(orb::kChromaticity), std::end(orb::kChromaticity), info->chromaticity);
  info->image_count = 0;
  info->images = nullptr;
  info->field_mode = 1;
  info->frame_rate = 29.97f;
  info->words[0] = 0;
  info->words[1] = 0;
  info->frame_count = 0;
  info->read_option = 1;
  info->int_d = 0;
  info->word_e = 0;
  info->word_f = 0;
}

ORB_INFO* ORB_info_alloc() {
  orb::owned<ORB_INFO> info = orb::make_zeroed<ORB_INFO>(1);
  if (!info) {
    orb::set_error(ORB_E_MEMORY);
    return nullptr;
  }
  ORB_info_init(info.get());
  return info.release();
}

void ORB_info_cleanup(ORB_INFO* info, int32_t free_contents) {
  if (!info) return;
  if (info->magic != ORB_INFO_MAGIC) {
    // Two writes, and the call goes on: the application's slip costs it a line, not its image.
    std::fputs("ORB_info_cleanup: application programming error.\n", stderr);
    std::fprintf(stderr, "The ORB_INFO structure being freed has either been %s",
                 "freed already or else was never initialised.\n");
  }
  info->magic = 0;
  if (!free_contents) return;
  for (char* ORB_INFO::*text : orb::kInfoTexts) orb::free_text(info->*text);
  orb::free_images(*info);
}

int32_t ORB_info_free(ORB_INFO* info, int32_t free_contents) {
  ORB_info_cleanup(info, free_contents);
  ERR_free(info);
  return 0;
}

int32_t orb__init_ifd(ORB_IMAGE* image) {
  if (!image || !image->info.images) return 1;
  for (int32_t i = 0; i < image->info.image_count; ++i) orb::set_defaults(image->info.images[i]);
  return 1;
}
