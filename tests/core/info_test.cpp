#include <gtest/gtest.h>

#include <cstring>
#include <iterator>

#include "orbbase/core.h"
#include "tests/support/fail_allocation.h"

namespace {

using orb::testing::FailAllocation;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

constexpr const char* kProgrammingError =
    "ORB_info_cleanup: application programming error.\n"
    "The ORB_INFO structure being freed has either been freed already or else was never initialised.\n";

constexpr char* ORB_INFO::*kTexts[] = {&ORB_INFO::key,       &ORB_INFO::handle, &ORB_INFO::text1,
                                       &ORB_INFO::extension, &ORB_INFO::text3,  &ORB_INFO::text4,
                                       &ORB_INFO::text5,     &ORB_INFO::text6,  &ORB_INFO::text7,
                                       &ORB_INFO::text8,     &ORB_INFO::text9,  &ORB_INFO::text10};

char* text(const char* value) {
  auto* copy = static_cast<char*>(ERR_malloc(static_cast<uint32_t>(std::strlen(value) + 1)));
  return std::strcpy(copy, value);
}

// A description that owns everything a description can own.
ORB_INFO full_info() {
  ORB_INFO info;
  ORB_info_init(&info);
  for (char* ORB_INFO::*field : kTexts) info.*field = text("owned");
  info.image_count = 2;
  info.images = static_cast<ORB_IFD*>(ERR_malloc(2 * sizeof(ORB_IFD)));
  std::memset(static_cast<void*>(info.images), 0, 2 * sizeof(ORB_IFD));
  for (int i = 0; i < 2; ++i) {
    ORB_IFD& ifd = info.images[i];
    for (ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index}) group->name = text("group");
  }
  return info;
}

TEST(Info, init_leaves_nothing_to_chance_but_the_unused_words) {
  ORB_INFO info, other;
  std::memset(static_cast<void*>(&info), 0xa5, sizeof info);
  std::memset(static_cast<void*>(&other), 0x5a, sizeof other);
  ORB_info_init(&info);
  ORB_info_init(&other);
  for (char* ORB_INFO::*field : kTexts) EXPECT_EQ(info.*field, nullptr);
  EXPECT_EQ(info.unused[0], 0xa5a5a5a5a5a5a5a5u);
  // Whatever the record held before: the two agree from job_number on.
  const size_t from = offsetof(ORB_INFO, job_number), bytes = offsetof(ORB_INFO, read_option) - from;
  EXPECT_EQ(std::memcmp(&info.job_number, &other.job_number, offsetof(ORB_INFO, images) - from - 4), 0);
  EXPECT_EQ(std::memcmp(&info.field_mode, &other.field_mode, bytes + from - offsetof(ORB_INFO, field_mode)),
            0);
  EXPECT_EQ(info.job_number, -1);
  EXPECT_EQ(info.frame_number, 1);
  EXPECT_EQ(info.magic, 22839u);
  EXPECT_EQ(info.chromaticity[10], 0.316f);
  EXPECT_EQ(info.frame_rate, 29.97f);
  EXPECT_EQ(info.read_option, 1);
  EXPECT_EQ(info.open_option | info.int_d | static_cast<int64_t>(info.word_e | info.word_f), 0);
  EXPECT_EQ(info.reserved_a | info.write_option, 0u);
  EXPECT_EQ(info.settings, nullptr);
  EXPECT_EQ(info.images, nullptr);
}

TEST(Info, cleanup_releases_texts_and_group_names_but_no_image_name_curve_or_settings) {
  ORB_INFO info = full_info();
  char* image_name = text("lent");
  ORB_CAP_SETTING* no_settings[] = {nullptr};
  info.settings = no_settings;
  info.images[0].name = image_name;
  info.images[1].curve = {ORB_CURVE_TABLE, 1.0f, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
  ASSERT_EQ(ORB_response_curve_init(&info.images[1].curve), 0);
  ORB_RESPONSE_CURVE curve = info.images[1].curve;

  ORB_info_cleanup(&info, 1);
  EXPECT_EQ(info.magic, 0u);
  for (char* ORB_INFO::*field : kTexts) EXPECT_EQ(info.*field, nullptr);
  EXPECT_EQ(info.images, nullptr);
  EXPECT_EQ(info.settings, no_settings);
  EXPECT_STREQ(image_name, "lent");
  EXPECT_EQ(static_cast<uint8_t*>(curve.tables[0])[255], 255);
  ERR_free(image_name);
  ORB_response_curve_done(&curve);
}

TEST(Info, cleanup_of_lent_contents_takes_only_the_mark) {
  ORB_INFO info = full_info();
  const ORB_INFO before = info;
  ORB_info_cleanup(&info, 0);
  EXPECT_EQ(info.magic, 0u);
  EXPECT_EQ(info.key, before.key);
  EXPECT_EQ(info.images, before.images);
  EXPECT_STREQ(info.images[1].index.name, "group");
  info.magic = ORB_INFO_MAGIC;
  ORB_info_cleanup(&info, 1);
}

TEST(Info, cleanup_of_an_unmarked_record_complains_and_goes_on) {
  ORB_INFO info = full_info();
  info.magic = 0;
  CaptureStderr();
  ORB_info_cleanup(&info, 1);
  EXPECT_EQ(GetCapturedStderr(), kProgrammingError);
  EXPECT_EQ(info.key, nullptr);
  EXPECT_EQ(info.images, nullptr);

  CaptureStderr();
  ORB_info_cleanup(&info, 0);
  EXPECT_EQ(GetCapturedStderr(), kProgrammingError);
}

TEST(Info, alloc_gives_a_valid_record_or_null_and_free_takes_it_back_with_its_contents) {
  ORB_INFO* info = ORB_info_alloc();
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->magic, 22839u);
  info->handle = text("a.rla");
  CaptureStderr();
  EXPECT_EQ(ORB_info_free(info, 1), 0);
  EXPECT_EQ(ORB_info_free(nullptr, 1), 0);
  FailAllocation fail(1);
  EXPECT_EQ(ORB_info_alloc(), nullptr);
  EXPECT_EQ(orb__err, -10);
  EXPECT_EQ(GetCapturedStderr(), "ERROR, No more internal memory\n");
}

TEST(InitIfd, gives_as_many_descriptors_as_there_are_their_defaults_and_leaves_windows_alone) {
  ORB_IFD ifds[3];
  std::memset(static_cast<void*>(ifds), 0xa5, sizeof ifds);
  const int32_t untouched = ifds[0].window.left;
  ORB_IMAGE image = {};
  image.info.image_count = 2;
  EXPECT_EQ(orb__init_ifd(nullptr), 1);
  EXPECT_EQ(orb__init_ifd(&image), 1);  // no array yet
  image.info.images = ifds;
  EXPECT_EQ(orb__init_ifd(&image), 1);
  for (int i = 0; i < 2; ++i) {
    const ORB_IFD& ifd = ifds[i];
    EXPECT_EQ(ifd.name, nullptr);
    EXPECT_EQ(ifd.orientation, 1u);
    EXPECT_EQ(ifd.curve.gamma, 2.2f);
    EXPECT_EQ(ifd.curve.resolution, 256);
    EXPECT_EQ(ifd.curve.depth, 12);
    EXPECT_EQ(ifd.curve.tables, nullptr);
    for (const ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index}) {
      EXPECT_EQ(group->name, nullptr);
      EXPECT_EQ(group->count, 0);
      EXPECT_EQ(group->width, group == &ifd.index ? 16 : 8);
    }
    EXPECT_EQ(ifd.pair_a[0], untouched);
    EXPECT_EQ(ifd.active_window.top, untouched);
  }
  EXPECT_EQ(ifds[2].image_kind, untouched);
}

}  // namespace
