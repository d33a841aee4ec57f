// Rectangles of images: what is read, what becomes zero, what stays.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>
#include <vector>

#include "orbbase/core/internal.h"
#include "tests/operators/operator_image.h"
#include "tests/operators/region_oracle.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

constexpr const char* kCannotHandle = " cannot handle the requested action";
constexpr uint8_t kUntouched = 0xCD;

size_t stored_bytes(const ORB_CHANNELS& group) { return group.width <= 8 ? 1 : group.width <= 16 ? 2 : 4; }

// An open image whose samples are made up line by line, each row in a block of exactly its size.
struct FakeImage {
  FakeImage() : owner(orb::new_handle(ORB_MODE_READ)) {
    EXPECT_TRUE(orb::replace_text(&owner->info.key, "mem"));
    owner->info.image_count = 1;
    owner->info.images = orb::make_zeroed<ORB_IFD>(1).release();
    orb__init_ifd(owner.get());
    owner->driver = orb::make_zeroed<ORB_DRIVER_BLOCK>(1).release();
    owner->driver->data = orb::make_zeroed<FakeImage*>(1).release();
    *static_cast<FakeImage**>(owner->driver->data) = this;
    owner->scan = scan;
    watched.emplace(owner.get());
    ifd().window = {-4, 51, -8, 12};
    ifd().active_window = {-2, 47, -1, 8};
    ifd().color.count = 3;
  }

  ORB_IFD& ifd() const { return owner->info.images[0]; }

  // A byte of a channel's row; any value.
  static uint8_t row_byte(int32_t channel, int32_t line, size_t i) {
    const uint32_t mixed = (static_cast<uint32_t>(i) * 31 + line * 7 + channel * 101 + 5) * 2654435761U;
    return static_cast<uint8_t>(mixed >> 24);
  }

  [[nodiscard]] size_t row_bytes(int32_t channel) const {
    const size_t samples = ifd().window.right - ifd().window.left + 1;
    return samples * stored_bytes(channel < ifd().color.count ? ifd().color : ifd().matte);
  }

  // The sample of a channel as it is read: of 1 or 2 bytes whatever it is stored in.
  [[nodiscard]] uint32_t sample(int32_t channel, int32_t line, int32_t column) const {
    const size_t bytes = ifd().color.width <= 8 ? 1 : 2;
    const size_t at = (column - ifd().window.left) * bytes;
    if (at + bytes > row_bytes(channel)) return 0;
    uint8_t parts[2] = {row_byte(channel, line, at), row_byte(channel, line, at + 1)};
    uint16_t sample = 0;
    std::memcpy(&sample, parts, bytes);
    return sample;
  }

  static int32_t scan(void* data, int32_t line, void* rows_out) {
    FakeImage& self = **static_cast<FakeImage**>(data);
    const int32_t channels = self.ifd().color.count + self.ifd().matte.count;
    self.rows.resize(channels);
    self.pointers.resize(channels);
    for (int32_t c = 0; c < channels; ++c) {
      self.rows[c].resize(self.row_bytes(c));
      for (size_t i = 0; i < self.rows[c].size(); ++i) self.rows[c][i] = row_byte(c, line, i);
      self.rows[c].shrink_to_fit();
      self.pointers[c] = self.rows[c].data();
    }
    *static_cast<void***>(rows_out) = self.pointers.data();
    return 0;
  }

  // The handle is replaced by what the call ends with, which here is the same.
  int32_t get(const ORB_WINDOW& wanted, void* buffer, uint32_t row_bytes, uint32_t layout) {
    ORB_IMAGE* image = owner.get();
    const int32_t result = ORB_get_region(&image, wanted.left, wanted.right, wanted.bottom, wanted.top,
                                          buffer, row_bytes, layout);
    EXPECT_EQ(image, owner.get());
    return result;
  }

  orb::ImageOwner owner;
  std::optional<Watched> watched;
  std::vector<std::vector<uint8_t>> rows;
  std::vector<void*> pointers;
};

// The pixel of an image, component by component.
void expected_pixel(const FakeImage& image, const PixelForm& form, int32_t line, int32_t column,
                    uint8_t* pixel) {
  const int32_t count = image.ifd().color.count;
  const int32_t channels[] = {0, count >= 2 ? 1 : 0, count >= 3 ? 2 : 0, std::min(count, 3)};
  for (uint32_t c = 0; c < form.components; ++c) {
    const bool is_opaque = c == 3 && image.ifd().matte.count == 0;
    const int32_t width = c == 3 ? image.ifd().matte.width : image.ifd().color.width;
    const uint32_t value = is_opaque ? 0xFFFF
                                     : expected_component(image.sample(channels[c], line, column),
                                                          expected_factor(width, form.bits), form.bits);
    store_component(pixel, c, value, form.bits);
  }
}

// The whole buffer, gaps between rows included.
std::vector<uint8_t> expected_region(const FakeImage& image, const ORB_WINDOW& wanted, size_t row_bytes,
                                     const PixelForm& form) {
  const ORB_WINDOW& active = image.ifd().active_window;
  const int32_t rows = wanted.top - wanted.bottom + 1;
  std::vector<uint8_t> out(rows * row_bytes, kUntouched);
  const int32_t below = std::max(active.bottom - wanted.bottom, 0);
  const bool is_outside = wanted.top < active.bottom || wanted.bottom > active.top ||
                          wanted.right < active.left || wanted.left > active.right;
  const bool is_all_zero = is_outside || wanted.right > active.right || wanted.left < active.left;
  for (int32_t r = 0; r < rows; ++r) {
    const bool is_second_fill = wanted.top > active.top && r >= active.top + 1 && r < active.top + 1 + below;
    if (is_all_zero || r < below || is_second_fill) std::fill_n(out.begin() + r * row_bytes, row_bytes, 0);
    const int32_t line = wanted.bottom + r;
    if (line < active.bottom || line > active.top) continue;
    for (int32_t x = std::max(wanted.left, active.left); x <= std::min(wanted.right, active.right); ++x) {
      expected_pixel(image, form, line, x, &out[r * row_bytes + (x - wanted.left) * form.bytes()]);
    }
  }
  return out;
}

void expect_region(FakeImage& image, const ORB_WINDOW& wanted, const PixelForm& form, uint32_t gap,
                   const std::string& about) {
  const uint32_t row_bytes = (wanted.right - wanted.left + 1) * form.bytes() + gap;
  std::vector<uint8_t> expected = expected_region(image, wanted, row_bytes, form);
  constexpr size_t kGuard = 24;
  std::vector<uint8_t> out(expected.size() + kGuard, kUntouched);
  EXPECT_EQ(image.get(wanted, out.data(), gap ? row_bytes : ORB_REGION_PACKED, form.layout), 0) << about;
  expected.resize(out.size(), kUntouched);
  EXPECT_EQ(out, expected) << about << ", layout " << form.layout << ", gap " << gap;
}

TEST(Region, is_right_at_every_clip_in_every_layout_and_order_of_rows) {
  constexpr ORB_WINDOW kActive = {-2, 47, -1, 8};
  constexpr ORB_WINDOW kBelow = {0, 9, -8, -5};  // counted from row 0: from row -4 on
  // Inside; over the left, the right, both; the bottom, the top, both; all sides; outside.
  constexpr ORB_WINDOW kClips[] = {
      kActive,         {47, 47, 8, 8},  {1, 40, 2, 5},  {-9, 30, 0, 8},  {3, 60, -1, 4},
      {-3, 48, 0, 1},  {0, 33, -4, 3},  {0, 33, 4, 11}, {0, 33, -3, 15}, {-10, 60, -10, 20},
      {-3, 9, -3, 2},  {-9, -3, 0, 3},  {48, 50, 0, 3}, {0, 9, -7, -2},  {0, 9, 9, 12},
      {0, 33, -30, 9}, {0, 9, -14, -3}, {0, 9, -10, 2}};  // the second fill cut at the end, at the start
  for (const uint32_t orientation : {1u, 0u}) {
    FakeImage image;
    image.ifd().orientation = orientation;
    image.ifd().matte.count = 1;
    for (const ORB_WINDOW& wanted : kClips) {
      image.ifd().active_window = &wanted < std::end(kClips) - 2 ? kActive : kBelow;
      const std::string about = "clip " + std::to_string(&wanted - kClips);
      for (const PixelForm& form : kPixelForms) {
        for (const uint32_t gap : {0u, 5u}) expect_region(image, wanted, form, gap, about);
      }
    }
  }
}

TEST(Region, is_right_for_every_kind_of_channels) {
  for (const auto& [width, full, sample, component] :
       {std::array{8, 16, 255, 65535}, {10, 16, 1, 64}, {16, 8, 65535, 255}, {16, 8, 257, 1}}) {
    EXPECT_EQ(expected_component(sample, expected_factor(width, full), full), component);  // as documented
  }
  for (const int32_t width : {0, 1, 2, 5, 8, 9, 10, 12, 15, 16}) {
    for (const int32_t matte_width : {0, 1, 7, 8, 12, 16, 31, 32}) {
      for (int32_t count = 1; count <= 5; ++count) {
        for (int32_t mattes = 0; mattes <= 2; ++mattes) {
          FakeImage image;
          image.ifd().color = {nullptr, count, ORB_C_INTEGER, width};
          image.ifd().matte = {nullptr, mattes, ORB_C_INTEGER, matte_width};
          const std::string about = std::to_string(count) + " of " + std::to_string(width) + " bits, " +
                                    std::to_string(mattes) + " of " + std::to_string(matte_width);
          for (const PixelForm& form : kPixelForms) expect_region(image, {-1, 47, 0, 1}, form, 0, about);
        }
      }
    }
  }
}

TEST(Region, reads_the_rows_of_the_part_in_the_files_order_after_one_seek) {
  for (const uint32_t orientation : {1u, 0u}) {
    uint8_t out[64];
    FakeImage image;
    image.ifd().orientation = orientation;
    EXPECT_EQ(image.get({0, 9, -3, 2}, out, ORB_REGION_PACKED, ORB_REGION_GREY8), 0);
    EXPECT_EQ(image.watched->sought, std::vector<int32_t>({orientation ? -1 : 2}));
    EXPECT_EQ(image.watched->read,
              orientation ? std::vector<int32_t>({-1, 0, 1, 2}) : std::vector<int32_t>({2, 1, 0, -1}));
  }
}

TEST(Region, outside_or_reversed_leaves_the_status_and_reads_nothing) {
  FakeImage image;
  const struct {
    ORB_WINDOW wanted;
    uint8_t byte;
  } rows[] = {{{48, 50, 0, 1}, 0},
              {{2, 1, 0, 3}, kUntouched},
              {{0, 3, 3, 2}, kUntouched},
              {{INT32_MAX, INT32_MIN, 0, 1}, kUntouched},
              {{0, 1, INT32_MAX, INT32_MIN}, kUntouched}};
  for (const auto& row : rows) {
    std::vector<uint8_t> out(64, kUntouched);
    orb::set_error(ORB_E_DECODE);
    EXPECT_EQ(image.get(row.wanted, out.data(), ORB_REGION_PACKED, ORB_REGION_GREY8), ORB_E_DECODE);
    EXPECT_EQ(out[0], row.byte) << row.wanted.left << " " << row.wanted.bottom;
  }
  EXPECT_TRUE(image.watched->read.empty() && image.watched->sought.empty());
}

TEST(Region, that_cannot_be_read_is_reported_with_the_formats_name) {
  const Plugins none({});
  const struct {
    uint32_t layout = ORB_REGION_RGBA16;
    ORB_WINDOW wanted = {0, 3, 0, 1};
    void (*spoil)(FakeImage& image) = [](FakeImage&) {};
    uint8_t byte = kUntouched;  // the first of the buffer afterwards
    size_t lines_read = 0;
  } rows[] = {
      {.layout = 0},
      {.layout = 2, .wanted = {-9, 3, 0, 1}},   // partly outside
      {.layout = 2, .wanted = {60, 63, 0, 1}},  // outside
      {.layout = 9},
      {.layout = UINT32_MAX},
      {.wanted = {0, 3, -2, 1}, .spoil = [](FakeImage& i) { i.ifd().color.count = 0; }, .byte = 0},
      {.spoil = [](FakeImage& i) { i.ifd().color.width = 17; }, .lines_read = 1},
      {.spoil = [](FakeImage& i) { i.owner->mode = ORB_MODE_WRITE; }},
      {.spoil = [](FakeImage& i) { i.owner->info.image_count = 0; }},
      {.spoil = [](FakeImage& i) { i.ifd().window.right = 2; }},
      {.wanted = {INT32_MIN, INT32_MAX, INT32_MIN, INT32_MAX}},  // a buffer beyond memory
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    FakeImage image;
    row.spoil(image);
    std::vector<uint8_t> out(256, kUntouched);
    ReportRecorder recorder;
    orb::set_error(0);
    EXPECT_EQ(image.get(row.wanted, out.data(), ORB_REGION_PACKED, row.layout), ORB_E_HANDLE);
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(recorder.texts(), std::string(ORB_find("mem")->name) + kCannotHandle);
    EXPECT_EQ(out[0], row.byte);
    EXPECT_EQ(image.watched->read.size(), row.lines_read);
  }
  const ReportRecorder silent;
  ORB_IMAGE* image = nullptr;
  for (ORB_IMAGE** handle : {&image, static_cast<ORB_IMAGE**>(nullptr)}) {
    uint8_t out;
    EXPECT_EQ(ORB_get_region(handle, 0, 0, 0, 0, &out, 1, ORB_REGION_GREY8), ORB_E_HANDLE);
  }
  EXPECT_EQ(silent.texts(), "");
}

TEST(Region, keeps_the_rows_before_one_that_cannot_be_read) {
  FakeImage image;
  image.watched->failing = 2;
  std::vector<uint8_t> out(4 * 10, kUntouched);
  EXPECT_EQ(image.get({0, 9, 0, 3}, out.data(), ORB_REGION_PACKED, ORB_REGION_GREY8), ORB_E_READ);
  EXPECT_EQ(image.watched->read, std::vector<int32_t>({0, 1, 2}));
  std::vector<uint8_t> expected = expected_region(image, {0, 9, 0, 3}, 10, kPixelForms[3]);
  std::fill(expected.begin() + 20, expected.end(), kUntouched);
  EXPECT_EQ(out, expected);
}

// ---- The driver's own reader ----

TEST(Region, of_a_driver_with_a_reader_is_the_drivers_affair) {
  FakeImage image;
  static int32_t error;
  static uint8_t out = kUntouched;
  image.owner->region = [](void* data, int32_t left, int32_t right, int32_t bottom, int32_t top, void* buffer,
                           uint32_t row_bytes, uint32_t layout) {
    EXPECT_EQ(data, (*static_cast<FakeImage**>(data))->owner->driver->data);
    EXPECT_TRUE(left == 90 && right == -7 && bottom == 60 && top == INT32_MIN && buffer == &out &&
                row_bytes == 0xFFFFFFFF && layout == 0x80000002);
    orb::set_error(error);
    return 99;
  };
  for (const int32_t code : {0, static_cast<int32_t>(ORB_E_READ)}) {
    error = code;
    EXPECT_EQ(image.get({90, -7, 60, INT32_MIN}, &out, 0xFFFFFFFF, 0x80000002), code);
  }
  EXPECT_TRUE(out == kUntouched && image.watched->read.empty() && image.watched->sought.empty());
}

TEST(RegionThreads, of_a_driver_with_a_reader_holds_the_handles_lock) {
  FakeImage image;
  static ORB_IMAGE* handle;
  static std::atomic<bool> has_read;
  static bool was_kept_out;
  static std::thread other;
  handle = image.owner.get();
  image.owner->region = [](void*, int32_t, int32_t, int32_t, int32_t, void*, uint32_t, uint32_t) {
    other = std::thread([] {
      void** rows = nullptr;
      ORB_scan_read(handle, 0, &rows);
      has_read = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    was_kept_out = !has_read;
    return 0;
  };
  uint8_t out;
  orb::set_error(0);
  EXPECT_EQ(image.get({0, 0, 0, 0}, &out, 1, ORB_REGION_GREY8), 0);
  other.join();
  EXPECT_TRUE(was_kept_out);
  EXPECT_TRUE(has_read);
}

// ---- Sequential files ----

// Rows 3 to 5 of a picture whose samples are its line numbers, columns 0 to 3.
int32_t get_rows_3_to_5(ORB_IMAGE** image, std::vector<uint8_t>* out) {
  out->assign(12, kUntouched);
  return ORB_get_region(image, 0, 3, 3, 5, out->data(), ORB_REGION_PACKED, ORB_REGION_GREY8);
}

TEST(Region, of_a_file_read_too_far_is_read_from_a_new_handle) {
  const Plugins plugins({"good"});
  auto& opens = plugins[0].variable<int32_t>("testOpens");
  auto& closes = plugins[0].variable<int32_t>("testCloses");
  const std::vector<uint8_t> expected = {3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5};
  std::vector<uint8_t> out;
  for (const char* name : {"up_0_29.good", "down_0_29.good"}) {
    Description wanted(name);
    ORB_IMAGE* image = wanted.open("r");
    const int32_t opens_before = opens - closes;
    for (int round = 0; round < 3; ++round) {
      EXPECT_EQ(get_rows_3_to_5(&image, &out), 0);
      EXPECT_EQ(out, expected);
    }
    EXPECT_EQ(image->current_line, name[0] == 'u' ? 5 : 3);
    EXPECT_EQ(image->info.read_option, 0);  // as the seek opens files again
    EXPECT_EQ(opens - closes, opens_before);
    ORB_close(image);
  }
}

TEST(Region, of_a_file_that_is_gone_or_another_fails_with_the_handle_written_back) {
  const Plugins plugins({"good"});
  const ReportRecorder recorder;
  for (const bool is_gone : {false, true}) {
    std::vector<uint8_t> out;
    ORB_IMAGE* image = Description("up_0_29.good").open("r");
    EXPECT_EQ(get_rows_3_to_5(&image, &out), 0);
    // None, or "xp_0_29.good", the same picture the other way round.
    image->info.handle[is_gone ? 2 : 0] = 'x';
    EXPECT_EQ(get_rows_3_to_5(&image, &out), is_gone ? ORB_E_OPEN : ORB_E_HANDLE);
    EXPECT_EQ(out, std::vector<uint8_t>(12, kUntouched));
    EXPECT_EQ(recorder.reports.front().text, std::string("picture of the tests") + kCannotHandle);
    ASSERT_EQ(image == nullptr, is_gone);
    if (image) ORB_close(image);
  }
}

}  // namespace
