// The records that an application and a driver hand each other: descriptions, settings, lookup tables, reports.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <tuple>
#include <vector>

#include "orbbase/core/drivers/description.h"
#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

// ---- Descriptions

constexpr char* ORB_INFO::*kTexts[] = {&ORB_INFO::key,       &ORB_INFO::handle, &ORB_INFO::text1,
                                       &ORB_INFO::extension, &ORB_INFO::text3,  &ORB_INFO::text4,
                                       &ORB_INFO::text5,     &ORB_INFO::text6,  &ORB_INFO::text7,
                                       &ORB_INFO::text8,     &ORB_INFO::text9,  &ORB_INFO::text10};
constexpr ORB_CHANNELS ORB_IFD::*kGroups[] = {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux,
                                              &ORB_IFD::index};

char* text(const char* value) { return std::strcpy(static_cast<char*>(ERR_malloc(40)), value); }

// A description that owns everything a description can own.
ORB_INFO full_info() {
  ORB_INFO info;
  ORB_info_init(&info);
  for (auto field : kTexts) info.*field = text("owned");
  info.image_count = 2;
  info.images = make_zeroed<ORB_IFD>(2).release();
  for (int i = 0; i < 2; ++i) {
    for (auto group : kGroups) (info.images[i].*group).name = text("group");
  }
  return info;
}

TEST(Info, init_leaves_nothing_to_chance_but_the_unused_words) {
  ORB_INFO info, other;
  std::memset(static_cast<void*>(&info), 0xa5, sizeof info);
  std::memset(static_cast<void*>(&other), 0x5a, sizeof other);
  for (ORB_INFO* one : {static_cast<ORB_INFO*>(nullptr), &info, &other}) ORB_info_init(one);
  // Whatever the record held before: the two agree from job_number on.
  const auto agree = [&](size_t from, size_t to) {
    return std::memcmp(reinterpret_cast<char*>(&info) + from, reinterpret_cast<char*>(&other) + from,
                       to - from) == 0;
  };
  EXPECT_TRUE(agree(offsetof(ORB_INFO, job_number), offsetof(ORB_INFO, images) - 4));
  EXPECT_TRUE(agree(offsetof(ORB_INFO, field_mode), offsetof(ORB_INFO, read_option)));
  for (auto field : kTexts) EXPECT_EQ(info.*field, nullptr);
  EXPECT_TRUE(!info.settings && !info.images);
  EXPECT_EQ(info.unused[0], 0xa5a5a5a5a5a5a5a5u);
  EXPECT_EQ(std::tuple(info.job_number, info.magic, info.chromaticity[10], info.frame_rate),
            std::tuple(-1, 22839u, 0.316f, 29.97f));
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

  ORB_info_cleanup(&info, 0);  // of lent contents takes only the mark
  EXPECT_EQ(info.magic, 0u);
  EXPECT_STREQ(info.key, "owned");
  EXPECT_STREQ(info.images[1].index.name, "group");
  CaptureStderr();
  ORB_info_cleanup(&info, 1);  // of an unmarked record complains and goes on
  EXPECT_EQ(
      GetCapturedStderr(),
      "ORB_info_cleanup: application programming error.\n"
      "The ORB_INFO structure being freed has either been freed already or else was never initialised.\n");
  for (auto field : kTexts) EXPECT_EQ(info.*field, nullptr);
  EXPECT_EQ(info.images, nullptr);
  EXPECT_EQ(info.settings, no_settings);
  EXPECT_STREQ(image_name, "lent");
  EXPECT_EQ(static_cast<uint8_t*>(curve.tables[0])[255], 255);
  ERR_free(image_name);
  ORB_response_curve_done(&curve);
}

TEST(Info, alloc_gives_a_valid_record_or_null_and_free_takes_it_back_with_its_contents) {
  ORB_INFO* info = ORB_info_alloc();
  ASSERT_NE(info, nullptr);
  info->handle = text("a.rla");
  CaptureStderr();
  EXPECT_EQ(ORB_info_free(info, 1) + ORB_info_free(nullptr, 1), 0);
  FailAllocation fail(1);
  EXPECT_EQ(ORB_info_alloc(), nullptr);
  EXPECT_EQ(orb__err, -10);
  EXPECT_EQ(GetCapturedStderr(), "ERROR, No more internal memory\n");
}

TEST(Info, init_ifd_gives_as_many_descriptors_as_there_are_their_defaults_and_leaves_windows_alone) {
  ORB_IFD ifds[3];
  std::memset(static_cast<void*>(ifds), 0xa5, sizeof ifds);
  const int32_t untouched = ifds[0].window.left;
  ORB_IMAGE image = {};
  image.info.image_count = 2;
  EXPECT_EQ(orb__init_ifd(nullptr), 1);
  EXPECT_EQ(orb__init_ifd(&image), 1);  // no array yet
  image.info.images = ifds;
  EXPECT_EQ(orb__init_ifd(&image), 1);
  for (const ORB_IFD* ifd = ifds; ifd < ifds + 2; ++ifd) {
    EXPECT_EQ(std::tuple(ifd->orientation, ifd->curve.gamma, ifd->curve.resolution, ifd->curve.depth),
              std::tuple(1u, 2.2f, 256, 12));
    EXPECT_TRUE(!ifd->name && !ifd->curve.tables);
    for (auto group : kGroups) {
      EXPECT_TRUE(!(ifd->*group).name && (ifd->*group).count == 0);
      EXPECT_EQ((ifd->*group).width, group == &ORB_IFD::index ? 16 : 8);
    }
    EXPECT_EQ(ifd->pair_a[0], untouched);
    EXPECT_EQ(ifd->active_window.top, untouched);
  }
  EXPECT_EQ(ifds[2].image_kind, untouched);
}

TEST(Info, what_a_driver_needs_of_it_is_named) {
  const ReportRecorder recorder;
  ORB_IFD ifd = {};
  char name[] = "name";
  const struct {
    char* name;
    int32_t count;
    ORB_IFD* images;
    bool is_enough;
  } rows[] = {
      {nullptr, 1, &ifd, false}, {name, 0, &ifd, false}, {name, 1, nullptr, false}, {name, 1, &ifd, true}};
  for (const auto& row : rows) {
    ORB_INFO info = {};
    info.handle = row.name;
    info.image_count = row.count;
    info.images = row.images;
    EXPECT_EQ(has_required_fields(info), row.is_enough);
  }
  EXPECT_EQ(recorder.texts(),
            "Required field, handle, uninitialized\nRequired field, images, uninitialized\n"
            "Required field, images, uninitialized");
}

// ---- Settings

ORB_CAP_SETTING integer(uint16_t code, int32_t value) { return {code, {value}}; }
ORB_CAP_SETTING real(float value) {
  ORB_CAP_SETTING setting = {1, {0}};
  setting.value.real = value;
  return setting;
}

// A settings list over settings of its own.
class List {
 public:
  List(std::initializer_list<ORB_CAP_SETTING> settings) : settings_(settings) {
    for (ORB_CAP_SETTING& setting : settings_) pointers_.push_back(&setting);
    pointers_.push_back(nullptr);
  }
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  operator ORB_CAP_SETTING* const*() const { return pointers_.data(); }

 private:
  std::vector<ORB_CAP_SETTING> settings_;
  std::vector<ORB_CAP_SETTING*> pointers_;
};

TEST(Settings, compare_follows_those_of_the_first_list_through_the_second) {
  const List empty = {};
  const List five = {integer(0, 5)};
  const List six = {integer(0, 6)};
  const List five_then_two = {integer(0, 5), real(2.0f)};
  const List two_then_five = {real(2.0f), integer(0, 5)};
  const List five_twice = {integer(0, 5), integer(0, 5)};
  const List no_number = {real(NAN)};
  const List zero = {real(0.0f)};
  const List minus_zero = {real(-0.0f)};
  const List unknown = {integer(0xffff, 5)};
  const struct {
    ORB_CAP_SETTING *const *a, *const *b;
    bool equal;
    const char* what;
  } rows[] = {
      {nullptr, empty, true, "null and empty"},
      {empty, nullptr, true, "empty and null"},
      {empty, five, false, "only one empty"},
      {five, nullptr, false, "only one null"},
      {five, six, false, "another value"},
      {five, five_then_two, true, "only a is looked at"},
      {five_then_two, five, false, "b runs out"},
      {five_then_two, two_then_five, false, "another order"},
      {five_then_two, five_then_two, true, "two kinds"},
      {five_twice, five, true, "the search goes on from where it stopped, not behind it"},
      {two_then_five, five_twice, false, "a code that b lacks"},
      {no_number, no_number, false, "no number equals nothing"},
      {zero, minus_zero, true, "floats compare as numbers"},
      {unknown, five, false, "never met in b, so not looked at"},
  };
  ReportRecorder recorder;
  for (const auto& row : rows) EXPECT_EQ(ORB_cap_setting_compare(row.a, row.b), row.equal) << row.what;
  EXPECT_EQ(recorder.texts(), "");
  EXPECT_EQ(ORB_cap_setting_compare(unknown, unknown), 0);
  EXPECT_EQ(recorder.texts(),
            "Unknown type-specific capability code (65535) specified when trying to open image file");
}

TEST(Settings, alloc_gives_unchosen_ones_or_an_empty_block) {
  ReportRecorder recorder;
  for (const int32_t count : {3, 0, INT_MIN}) {
    const owned<ORB_CAP_SETTING> block(ORB_cap_setting_alloc(count));
    ASSERT_NE(block, nullptr) << count;
    for (int i = 0; i < count; ++i)
      EXPECT_TRUE(block.get()[i].code == 65535 && block.get()[i].value.integer == 0);
  }
  EXPECT_EQ(ORB_cap_setting_alloc(INT_MAX), nullptr);
  EXPECT_EQ(orb__err, -10);
  EXPECT_EQ(recorder.reports.size(), 1u);
}

TEST(Settings, copy_gives_a_list_of_its_own_and_what_it_has_when_memory_runs_out) {
  const List from = {integer(0, 5), real(2.5f), integer(9, -1)};
  for (size_t nth = 1; nth <= 5; ++nth) {  // the list and three settings, and none fails
    ReportRecorder recorder;
    orb__err = 0;
    FailAllocation fail(static_cast<int64_t>(nth));
    ORB_CAP_SETTING** copy = ORB_cap_setting_copy(from);
    EXPECT_EQ(fail.happened(), nth < 5);
    EXPECT_EQ(orb__err, nth < 5 ? -10 : 0);
    EXPECT_EQ(recorder.reports.size(), nth < 5 ? 2u : 0u);  // the allocator's, then the copy's
    ASSERT_EQ(copy == nullptr, nth == 1);
    for (size_t i = 0; nth > 1 && i < nth - 2; ++i) {
      EXPECT_NE(copy[i], from[i]);
      EXPECT_EQ(std::memcmp(copy[i], from[i], sizeof *copy[i]), 0);
    }
    EXPECT_TRUE(!copy || !copy[nth - 2]);
    free_settings(copy);
  }
  EXPECT_EQ(ORB_cap_setting_copy(nullptr), nullptr);
  EXPECT_EQ(ORB_cap_setting_copy(List{}), nullptr);
}

TEST(Settings, set_available_tells_whether_it_changed_the_bit_and_touches_no_other) {
  ORB_CAPABILITY capability = {};
  capability.flags = 0xfb;
  const struct {
    int32_t available, changed;
    uint64_t flags;
  } rows[] = {{1, 0, 0xfb}, {0, 1, 0xff}, {0, 0, 0xff}, {7, 1, 0xfb}};
  for (const auto& row : rows) {
    EXPECT_EQ(ORB_set_available(&capability, row.available), row.changed);
    EXPECT_EQ(capability.flags, row.flags);
  }
  EXPECT_EQ(ORB_set_available(nullptr, 1), 0);
}

// ---- Lookup tables

TEST(Lut, impossible_counts_are_refused) {
  ReportRecorder recorder;
  const struct {
    int32_t count, code;
  } rows[] = {{-1, -16}, {INT_MIN, -16}, {INT_MAX, -10}, {(1 << 27) + 1, -10}};
  for (const auto& row : rows) {
    orb__err = 0;
    EXPECT_EQ(ORB_lut_alloc(row.count), nullptr) << row.count;
    EXPECT_EQ(orb__err, row.code) << row.count;
    EXPECT_EQ(ORB_lut_realloc(ORB_lut_alloc(2), row.count), nullptr) << row.count;  // the table is gone
  }
  const ORB_LUT broken = {nullptr, 3, -4, 1.0f};
  EXPECT_EQ(ORB_lut_copy(&broken), nullptr);
  EXPECT_EQ(ORB_lut_copy(nullptr), nullptr);
  EXPECT_EQ(ORB_lut_realloc(nullptr, 4), nullptr);
}

TEST(Lut, realloc_of_a_copy_keeps_entries_zeroes_new_ones_and_leaves_last_index) {
  ORB_LUT* lut = nullptr;
  for (int nth = 1; !lut; ++nth) {
    ReportRecorder recorder;
    FailAllocation fail(nth);
    ORB_LUT* original = ORB_lut_alloc(4);
    if (original) {
      EXPECT_TRUE(original->last_index == 3 && original->scale == 1.0f);
      EXPECT_EQ(original->entries[3].rgba[0], 0);
      for (uint16_t i = 0; i < 4; ++i) original->entries[i].rgba[0] = static_cast<uint16_t>(i + 1);
      original->scale = 2.5f;
    }
    lut = ORB_lut_realloc(ORB_lut_copy(original), 8);
    ORB_lut_free(original);
    EXPECT_EQ(lut == nullptr, fail.happened()) << nth;
    EXPECT_EQ(recorder.texts(), fail.happened() ? "No more internal memory" : "") << nth;
  }
  EXPECT_TRUE(lut->entry_count == 8 && lut->last_index == 3 && lut->scale == 2.5f);
  for (int32_t i = 0; i < 8; ++i) EXPECT_EQ(lut->entries[i].rgba[0], i < 4 ? i + 1 : 0);
  ASSERT_EQ(ORB_lut_realloc(lut, 2), lut);
  EXPECT_TRUE(lut->entry_count == 2 && lut->last_index == 3 && lut->entries[1].rgba[0] == 2);
  ORB_lut_free(lut);
}

TEST(Lut, is_written_for_indices_and_entries_alone) {
  const struct {
    int32_t colors, indices, entries;
    bool has_entries, is_written;
  } rows[] = {{0, 0, 1, true, false}, {0, 1, 1, true, true},   {3, 1, 1, true, false},
              {0, 1, 0, true, false}, {0, 1, 1, false, false}, {0, 1, 0, false, false}};
  for (const auto& row : rows) {
    ORB_LUT_ENTRY entry = {};
    ORB_LUT lut = {row.has_entries ? &entry : nullptr, 0, row.entries, 1};
    ORB_IFD ifd = {};
    ifd.color.count = row.colors;
    ifd.index.count = row.indices;
    ORB_INFO info = {};
    info.images = &ifd;
    info.write_option = reinterpret_cast<uintptr_t>(&lut);
    EXPECT_EQ(lut_to_write(info), row.is_written ? &lut : nullptr) << &row - rows;
    ORB_LUT* const copy = ORB_lut_copy(&lut);
    EXPECT_EQ(copy->entries[0].rgba[3], 0);
    ORB_lut_free(copy);
  }
}

TEST(Lut, read_passes_the_drivers_table_and_marks_its_failures) {
  static ORB_LUT table = {};
  int32_t code = 0;
  ORB_DRIVER_BLOCK block = {&code};
  ORB_IMAGE image = {};
  image.driver = &block;
  image.lut_read = [](void* data, ORB_LUT** lut_out) {
    EXPECT_EQ(*lut_out, nullptr);
    *lut_out = &table;
    return *static_cast<int32_t*>(data);
  };
  for (const auto& [given, result] :
       {std::pair{0, 0}, {1, 1}, {2, 1}, {-16, -255}, {0x100, 0x101}, {INT_MIN, INT_MIN + 1}}) {
    code = given;
    ORB_LUT* lut = nullptr;
    EXPECT_EQ(ORB_lut_read(&image, &lut), result) << given;
    EXPECT_EQ(lut, &table);
  }
  ORB_LUT* lut = &table;
  image.lut_read = nullptr;
  EXPECT_EQ(ORB_lut_read(&image, &lut), 1);
  EXPECT_EQ(lut, nullptr);
}

// ---- Reports

TEST(Messages, have_their_category_and_take_their_arguments_for_no_format) {
  ReportRecorder recorder;
  orb__report(ORB_MSG_CANNOT_READ_LINE, -5, "end of file");
  orb__report(ORB_MSG_READ_NOTE, "a.png", "%s%n%d");
  orb__report(1000, "no such message");
  ASSERT_EQ(recorder.texts(), "Cannot read scanline -5; end of file\na.png: %s%n%d");
  EXPECT_EQ(recorder.reports[0].category, ERR_ERROR);
  EXPECT_EQ(recorder.reports[1].category, ERR_INFORMATION);
}

}  // namespace
}  // namespace orb::testing
