#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "orbbase/core.h"
#include "orbbase/support/err/internal.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/limit_setting.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

struct Group {
  int32_t count = 0;
  uint32_t type = ORB_C_INTEGER;
  int32_t width = 8;
  operator ORB_CHANNELS() const { return {nullptr, count, type, width}; }
};

ORB_IFD make_ifd(Group color, Group matte, Group aux, Group index) {
  ORB_IFD ifd = {};
  ifd.color = color, ifd.matte = matte, ifd.aux = aux, ifd.index = index;
  return ifd;
}

TEST(ChanAlloc, lays_out_even_zeroed_rows_back_to_back_in_group_order) {
  const Group none = {};
  const struct {
    const char* name;
    int32_t pixels;
    Group color, matte, aux, index;
    std::vector<size_t> row_bytes;
  } rows[] = {
      {"8 bits round up to even", 3, {1, 1, 8}, none, none, none, {4}},
      {"12 bits take two bytes", 5, {1, 1, 12}, none, none, none, {10}},
      {"16 and 17 bits", 3, {1, 1, 16}, {1, 1, 17}, none, none, {6, 12}},
      {"9 and 32 bits", 1, {1, 1, 9}, {1, 1, 32}, none, none, {2, 4}},
      {"a width of 0 or less is a byte", 2, {1, 1, 0}, {1, 1, -7}, none, none, {2, 2}},
      {"reals ignore their width", 3, {1, 2, 64}, {1, 3, 99}, none, none, {12, 24}},
      {"groups in order", 1, {2, 3, 64}, {1, 1, 8}, {2, 2, 32}, none, {8, 8, 2, 4, 4}},
      {"indices after matte", 3, {0, 1, 8}, {1, 1, 8}, none, {2, 1, 8}, {4, 6, 6}},
      {"no index beside colour", 3, {3, 1, 8}, {1, 1, 8}, none, {1, 1, 16}, {4, 4, 4, 4}},
      {"no pixels", 0, {2, 1, 8}, none, none, none, {0, 0}},
      {"no channels", 9, none, none, none, none, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ORB_IFD ifd = make_ifd(row.color, row.matte, row.aux, row.index);
    size_t size = 99;
    void** buffer = ORB_chan_alloc(&ifd, row.pixels, "test", &size);
    ASSERT_NE(buffer, nullptr);
    auto* expected = static_cast<uint8_t*>(buffer[0]);
    size_t total = 0;
    for (size_t i = 0; i < row.row_bytes.size(); ++i) {
      EXPECT_EQ(buffer[i], expected) << i;
      for (size_t k = 0; k < row.row_bytes[i]; ++k) EXPECT_EQ(expected[k], 0);
      std::memset(buffer[i], 1, row.row_bytes[i]);
      expected += row.row_bytes[i];
      total += row.row_bytes[i];
    }
    EXPECT_EQ(size, total);
    EXPECT_EQ(ifd.index.count, row.color.count ? 0 : row.index.count);
    EXPECT_EQ(ORB_chan_free(buffer), 1);
  }
}

TEST(ChanAlloc, refuses_unsupported_groups_in_order_even_empty_ones) {
  const Group ok = {};
  const struct {
    Group color, matte, aux, index;
    const char* text;
  } rows[] = {
      {{1, 0, 8}, {1, 9, 8}, ok, ok, "rla cannot handle image channel type"},
      {{0, 4, 8}, ok, ok, ok, "rla cannot handle image channel type"},
      {{1, 1, 33}, {1, 9, 8}, ok, ok, "rla cannot handle image channel width"},
      {ok, {1, 7, 8}, {1, 7, 8}, ok, "rla cannot handle matte channel type"},
      {ok, {1, 1, 33}, ok, ok, "rla cannot handle matte channel width"},
      {ok, ok, {0, 7, 8}, {0, 2, 8}, "rla cannot handle auxiliary channel type"},
      {ok, ok, {0, 1, 33}, ok, "rla cannot handle auxiliary channel width"},
      {{3, 1, 8}, ok, ok, {0, 2, 8}, "rla cannot handle color index channel type"},
      {ok, ok, ok, {1, 3, 8}, "rla cannot handle color index channel type"},
      {ok, ok, ok, {1, 1, 17}, "rla cannot handle color index channel width"},
      {{-1, 1, 8}, ok, ok, ok, "rla cannot handle the requested action"},
      {ok, {2, 1, 8}, {-2, 1, 8}, ok, "rla cannot handle the requested action"},
      {ok, ok, ok, {INT_MIN, 1, 8}, "rla cannot handle the requested action"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    ReportRecorder recorder;
    ORB_IFD ifd = make_ifd(row.color, row.matte, row.aux, row.index);
    size_t size = 99;
    orb__err = 0;
    EXPECT_EQ(ORB_chan_alloc(&ifd, 4, "rla", &size), nullptr);
    EXPECT_EQ(orb__err, -16);
    EXPECT_EQ(recorder.texts(), row.text);
    EXPECT_EQ(recorder.reports.at(0).category, ERR_ERROR);
    EXPECT_EQ(size, 99u);
  }
}

TEST(ChanAlloc, holds_channels_and_bytes_to_their_limits_and_never_wraps_around_to_a_small_size) {
  const Group most = {INT_MAX, ORB_C_DOUBLE, 64};
  const struct {
    uint64_t most_bytes, most_channels;
    Group color, matte;
    int32_t pixels;
    bool accepted;
  } rows[] = {
      {48, 6, {3, 1, 8}, {1, 1, 32}, 6, true},                                       // 18 + 24 bytes
      {48, 6, {6, 1, 8}, {}, 8, true},                                               // 48
      {48, 6, {6, 1, 8}, {}, 9, false},                                              // 60: rows are even
      {48, 6, {3, 1, 8}, {4, 1, 8}, 1, false},                                       // 7 channels
      {48, 6, {6, 3, 8}, {}, 1, true},                                               // 48
      {1 << 30, UINT64_MAX, {2147352580, ORB_C_DOUBLE, 64}, {}, 1073807362, false},  // 2^64 + 64 bytes
      {1 << 30, UINT64_MAX, most, {1, ORB_C_DOUBLE, 64}, 1 << 30, false},  // the groups' sum is 2^64
      {1 << 30, UINT64_MAX, most, most, INT_MAX, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const LimitSetting bytes(ORB_LIMIT_BUFFER, row.most_bytes);
    const LimitSetting channels(ORB_LIMIT_CHANNELS, row.most_channels);
    ReportRecorder recorder;
    ORB_IFD ifd = make_ifd(row.color, row.matte, {}, {});
    orb__err = 0;
    void** buffer = orb__chan_alloc(&ifd, row.pixels, "rla");
    EXPECT_EQ(buffer != nullptr, row.accepted);
    EXPECT_EQ(orb__err, row.accepted ? 0 : -10);
    EXPECT_EQ(recorder.texts().find("over the limit") == std::string::npos, row.accepted);
    orb__chan_free(buffer);
  }
}

TEST(ChanAlloc, without_memory_or_arguments_gives_no_rows) {
  ORB_IFD ifd = make_ifd({3, 1, 8}, {1, 1, 8}, {}, {});
  bool has_failed = true;
  for (int nth = 1; has_failed; ++nth) {
    ReportRecorder recorder;
    orb__err = 0;
    FailAllocation fail(nth);
    void** buffer = ORB_chan_alloc(&ifd, 64, "rla", nullptr);
    has_failed = fail.happened();
    EXPECT_EQ(buffer == nullptr, has_failed) << nth;
    EXPECT_EQ(orb__err, has_failed ? -10 : 0) << nth;
    EXPECT_EQ(recorder.texts(), has_failed ? "No more internal memory" : "") << nth;
    ORB_chan_free(buffer);
  }
  ReportRecorder recorder;
  EXPECT_EQ(orb__chan_alloc(&ifd, -1, nullptr), nullptr);
  EXPECT_EQ(recorder.texts(), " cannot handle the requested action");
  EXPECT_EQ(ORB_chan_alloc(nullptr, 1, "rla", nullptr), nullptr);
  EXPECT_EQ(orb__err, -16);
  EXPECT_EQ(ORB_chan_free(nullptr), 1);
}

TEST(ChanCopy, moves_exactly_the_samples_asked_for_the_last_channel_first) {
  using Copy = int32_t (*)(void* const*, void* const*, int32_t, int32_t);
  const struct {
    Copy copy;
    size_t bytes;
  } rows[] = {{orb__chan_copy_1, 1}, {orb__chan_copy_2, 2}, {orb__chan_copy_4, 4}};
  for (const auto& row : rows) {
    uint8_t from[2][16], to[2][16];
    std::memset(from, 7, sizeof from);
    std::memset(to, 0, sizeof to);
    void* src[] = {from[0], from[1]};
    void* dest[] = {to[0], to[1]};
    EXPECT_EQ(row.copy(dest, src, 2, 3), 0);
    for (const auto& copied : to) {
      for (size_t i = 0; i < sizeof copied; ++i) EXPECT_EQ(copied[i], i < 3 * row.bytes ? 7 : 0);
    }
    EXPECT_EQ(row.copy(dest, src, -1, 3), 0);
    EXPECT_EQ(row.copy(dest, src, 2, -3), 0);
    void* shared[] = {to[0], to[0]};  // shows that the first channel is copied last
    from[0][0] = 1;
    row.copy(shared, src, 2, 1);
    EXPECT_EQ(to[0][0], 1);
  }
}

}  // namespace
