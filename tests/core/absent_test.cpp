// Calls without what they need: each is refused by its result and code, and nothing is touched.
#include <gtest/gtest.h>

#include <cstring>

#include "orbbase/core/drivers/description.h"
#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "tests/core/picture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

int32_t scan_nothing(void*, int32_t, void*) { return 0; }
int32_t pop_up(intptr_t) { return 7; }

TEST(Absent, ArgumentsAreRefused) {
  orb::ImageOwner bare = orb::new_handle(ORB_MODE_READ);
  ORB_IMAGE* const image = bare.get();
  const ORB_LAYER_KIND kind = {1001, scan_nothing, nullptr};
  const ORB_LAYER_KIND scanless = {1001, nullptr, nullptr};
  ORB_LAYER layer = {};
  ORB_RESPONSE_CURVE curve = {};
  ORB_LUT* lut = nullptr;
  ORB_FORMAT half = {};
  half.ui_popup = pop_up;
  char samples[4] = {};
  void* row = samples;
  void** rows = &row;
  const struct {
    const char* what;
    int32_t result;
    int32_t expected;
  } calls[] = {
      {"layer, image", orb__install_layer(nullptr, &kind, &layer), 0},
      {"layer, kind", orb__install_layer(image, nullptr, &layer), 0},
      {"layer, scan of its kind", orb__install_layer(image, &scanless, &layer), 0},
      {"layer", orb__install_layer(image, &kind, nullptr), 0},
      {"layer, scan of the driver", orb__install_layer(image, &kind, &layer), 0},
      {"layer to remove", orb__remove_layer(nullptr, 1001), 1},
      {"curve, first", ORB_response_curve_comp(nullptr, &curve, &curve), -1},
      {"curve, second", ORB_response_curve_comp(&curve, nullptr, &curve), -1},
      {"curve, result", ORB_response_curve_comp(&curve, &curve, nullptr), -1},
      {"lookup table, image", ORB_lut_read(nullptr, &lut), 1},
      {"lookup table, driver's", ORB_lut_read(image, &lut), 1},
      {"lookup table, place", ORB_lut_read(image, nullptr), 1},
      {"panel, format", ORB_private_ui_popup(nullptr, 0), ORB_E_HANDLE},
      {"panel, way back", ORB_private_ui_popup(&half, 0), ORB_E_HANDLE},
      {"frame, of a handle without names", ORB_get_frame(image, 0, 0, 0), ORB_E_HANDLE},
      {"rows to copy to", orb__chan_copy_1(nullptr, rows, 1, 4), 0},
      {"rows to copy", orb__chan_copy_1(rows, nullptr, 1, 4), 0},
  };
  for (const auto& call : calls) EXPECT_EQ(call.result, call.expected) << call.what;
  EXPECT_EQ(orb__module_text(nullptr, "version"), nullptr);
  EXPECT_EQ(orb__module_text(samples, nullptr), nullptr);
  ORB_info_init(nullptr);
  EXPECT_EQ(ORB_multiframe_open(nullptr), nullptr);
  ORB_multiframe_set(1, 4);
  ORB_INFO info;
  ORB_info_init(&info);
  ORB_multiframe_add(nullptr, &info);
  ORB_multiframe_add(image, nullptr);
  ORB_multiframe_add(image, &info);
  EXPECT_EQ(ORB_multiframe_open(&info), nullptr);
}

TEST(Absent, ALookupTableIsWrittenForIndicesAndEntriesAlone) {
  ORB_LUT_ENTRY entry = {};
  const struct {
    ORB_LUT_ENTRY* entries;
    int32_t count, colors, indices;
    bool is_written;
  } rows[] = {{&entry, 1, 0, 1, true},
              {nullptr, 1, 0, 1, false},
              {&entry, 0, 0, 1, false},
              {&entry, 1, 3, 1, false},
              {&entry, 1, 0, 0, false}};
  for (const auto& row : rows) {
    ORB_LUT lut = {row.entries, 0, row.count, 1};
    ORB_IFD ifd = {};
    ifd.color.count = row.colors;
    ifd.index.count = row.indices;
    ORB_INFO info;
    ORB_info_init(&info);
    info.images = &ifd;
    info.write_option = static_cast<decltype(info.write_option)>(reinterpret_cast<uintptr_t>(&lut));
    EXPECT_EQ(orb::lut_to_write(info), row.is_written ? &lut : nullptr);
  }
}

TEST(Absent, EntriesOfALookupTableAreNotCopied) {
  ORB_LUT none = {nullptr, -1, 0, 1};
  ORB_LUT* const copy = ORB_lut_copy(&none);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->entry_count, 0);
  ORB_lut_free(copy);
  ORB_LUT lost = {nullptr, 4, 5, 1};
  ORB_LUT* const zeroed = ORB_lut_copy(&lost);
  ASSERT_NE(zeroed, nullptr);
  const ORB_LUT_ENTRY zero = {};
  EXPECT_EQ(std::memcmp(&zeroed->entries[4], &zero, sizeof zero), 0);
  ORB_lut_free(zeroed);
}

TEST(Absent, WhatADriverNeedsOfADescriptionIsNamed) {
  ORB_IFD ifd = {};
  char name[] = "name";
  const struct {
    char* handle;
    ORB_IFD* images;
    int32_t count;
    const char* missing;  // null: nothing
  } rows[] = {{name, &ifd, 1, nullptr},
              {nullptr, &ifd, 1, "handle"},
              {name, nullptr, 1, "images"},
              {name, &ifd, 0, "images"}};
  for (const auto& row : rows) {
    ORB_INFO info;
    ORB_info_init(&info);
    info.handle = row.handle;
    info.images = row.images;
    info.image_count = row.count;
    const ReportRecorder recorder;
    EXPECT_EQ(orb::has_required_fields(info), row.missing == nullptr);
    if (row.missing) {
      EXPECT_NE(recorder.texts().find(row.missing), std::string::npos) << recorder.texts();
    }
  }
}

// A curve that says it has tables and has none that could be copied is refused, not taken for want of memory.
TEST(Absent, TablesOfACurveAreRefusedByTheOpen) {
  const struct {
    uint32_t type;
    int32_t depth, channels, entries;
    bool has_tables;
  } rows[] = {{ORB_C_INTEGER, 8, 1, 256, false}, {ORB_C_INTEGER, 7, 1, 128, true},
              {ORB_C_INTEGER, 17, 1, 256, true}, {ORB_C_INTEGER, 8, 0, 256, true},
              {ORB_C_INTEGER, 8, 1, 0, true},    {ORB_C_DOUBLE, 8, 1, 256, true},
              {ORB_C_FLOAT, 8, 1, 256, false}};
  float table[256] = {};
  void* tables[] = {table};
  for (const auto& row : rows) {
    Picture picture("curve.mem", "mem");
    ORB_RESPONSE_CURVE& curve = picture.ifds[0].curve;
    curve.kind = ORB_CURVE_TABLE;
    curve.curve_type = row.type;
    curve.depth = row.depth;
    curve.channel_count = row.channels;
    curve.resolution = row.entries;
    curve.tables = row.has_tables ? tables : nullptr;
    ORB_INFO info = picture.info();
    ReportRecorder recorder;
    EXPECT_EQ(ORB_open(&info, "w"), nullptr) << row.depth;
    EXPECT_EQ(orb__err, ORB_E_HANDLE) << row.depth << " " << row.entries;
  }
}

TEST(Absent, MemoryKeepsTheLibraryFromStarting) {
  ReportRecorder recorder;
  ORB_INFO info;
  ORB_info_init(&info);
  bool (*const kCalls[])(ORB_INFO&) = {[](ORB_INFO&) { return ORB_find("mem") != nullptr; },
                                       [](ORB_INFO&) { return ORB_info() != nullptr; },
                                       [](ORB_INFO& wanted) { return ORB_open(&wanted, "r") != nullptr; }};
  for (const auto& call : kCalls) {
    const FailAllocation fail(1, FailAllocation::Mode::from_there_on);
    orb__err = 0;
    EXPECT_FALSE(call(info));
    EXPECT_EQ(orb__err, ORB_E_MEMORY);
  }
  EXPECT_NE(ORB_find("mem"), nullptr);
}

}  // namespace
