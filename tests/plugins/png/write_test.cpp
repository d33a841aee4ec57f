// Pictures written through the plug-in, read by the codec library and by the plug-in again.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <utility>

#include "library.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Planes noise_planes(int channels, int width_bits, size_t pixels) {
  const Stored stored = noise(static_cast<uint32_t>(pixels) * static_cast<uint32_t>(channels), 1,
                              PNG_COLOR_TYPE_GRAY, width_bits);
  Planes planes(static_cast<size_t>(channels));
  for (size_t i = 0; i < stored.samples.size(); ++i) planes[i % planes.size()].push_back(stored.samples[i]);
  return planes;
}

void set_groups(ORB_IFD& ifd, int colours, int mattes, int width_bits) {
  ifd.color.count = colours;
  ifd.matte.count = mattes;
  ifd.color.width = ifd.matte.width = width_bits;
}

TEST_F(PngTest, every_width_of_every_kind_comes_back_with_its_width_and_samples) {
  for (const int colours : {1, 3}) {
    for (const int mattes : {0, 1}) {
      for (int width = 1; width <= 16; ++width) {
        SCOPED_TRACE(::testing::Message() << colours << "+" << mattes << " width " << width);
        Wanted wanted(path("out.png"), 21, 7);
        set_groups(wanted.ifd, colours, mattes, width);
        const Planes planes = noise_planes(colours + mattes, width, 21 * 7);
        ASSERT_EQ(write_all(wanted.open(), planes), 0) << reports.texts();
        const Image image = open_read(wanted.path);
        ASSERT_TRUE(image);
        EXPECT_EQ(image->info.images[0].color.width, width);
        EXPECT_EQ(image->info.images[0].color.count, colours);
        EXPECT_EQ(image->info.images[0].matte.count, mattes);
        Planes again;
        ASSERT_TRUE(read_all(*image, &again));
        EXPECT_EQ(again, planes);
        EXPECT_EQ(reports.texts(), "");
      }
    }
  }
}

TEST_F(PngTest, other_programs_see_native_depths_as_they_are_and_other_widths_scaled) {
  const struct {
    int colours, mattes, width, depth;
  } rows[] = {{1, 0, 1, 1}, {1, 0, 2, 2},   {1, 0, 4, 4},   {1, 0, 8, 8},  {1, 0, 16, 16},
              {3, 1, 8, 8}, {3, 0, 16, 16}, {1, 0, 3, 8},   {1, 1, 1, 8},  {3, 0, 5, 8},
              {3, 1, 7, 8}, {1, 0, 9, 16},  {3, 0, 10, 16}, {1, 1, 15, 16}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.colours << "+" << row.mattes << " width " << row.width);
    Wanted wanted(path("out.png"), 9, 3);
    set_groups(wanted.ifd, row.colours, row.mattes, row.width);
    const Planes planes = noise_planes(row.colours + row.mattes, row.width, 27);
    ASSERT_EQ(write_all(wanted.open(), planes), 0) << reports.texts();
    bool has_bits = false;
    const Stored stored = decode(load(wanted.path), [&has_bits](png_structp png, png_infop info) {
      has_bits = png_get_valid(png, info, PNG_INFO_sBIT) != 0;
    });
    EXPECT_EQ(stored.depth, row.depth);
    EXPECT_EQ(has_bits, row.depth != row.width);
    const Planes seen = planes_of(stored);
    ASSERT_EQ(seen.size(), planes.size());
    for (size_t c = 0; c < planes.size(); ++c) {
      for (size_t i = 0; i < planes[c].size(); ++i) {
        // Repeating bits is the nearest scaling of the whole range, to one step.
        const double exact = planes[c][i] * ((1 << row.depth) - 1.0) / ((1 << row.width) - 1.0);
        EXPECT_NEAR(seen[c][i], exact, 1.0);
      }
    }
  }
}

TEST_F(PngTest, significant_bits_alone_are_read_as_stored) {
  const Stored stored = noise(8, 8, PNG_COLOR_TYPE_GRAY, 8);
  const auto declare = [](const char* width_text) {
    return [width_text](png_structp png, png_infop info) {
      png_color_8 bits = {5, 5, 5, 5, 5};
      png_set_sBIT(png, info, &bits);
      png_text text = {};
      char key[] = "orbbase:width";
      std::string value = width_text;
      text.compression = PNG_TEXT_COMPRESSION_NONE;
      text.key = key;
      text.text = value.data();
      if (!value.empty()) png_set_text(png, info, &text, 1);
    };
  };
  for (const char* width_text : {"", "6", "9", "0", "-5", "5x", "99999999999"}) {
    Planes planes;
    const Image image = open_read(file(encode(stored, declare(width_text))));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->info.images[0].color.width, 8) << width_text;
    ASSERT_TRUE(read_all(*image, &planes));
    EXPECT_EQ(planes, planes_of(stored)) << width_text;
    EXPECT_THAT(reports.texts(), HasSubstr("sBIT"));
  }
  // Both agree, but somebody changed the samples since: said once, not a row at a time.
  reports.clear();
  const Image image = open_read(file(encode(stored, declare("5"))));
  Planes planes;
  ASSERT_TRUE(read_all(*image, &planes));
  EXPECT_EQ(image->info.images[0].color.width, 5);
  EXPECT_EQ(reports.reports.size(), 1U) << reports.texts();
  EXPECT_EQ(reports.reports[0].category, ERR_WARNING);
}

struct LutFreed {
  void operator()(ORB_LUT* lut) const { ORB_lut_free(lut); }
};
std::unique_ptr<ORB_LUT, LutFreed> table(int count) {
  std::unique_ptr<ORB_LUT, LutFreed> lut(ORB_lut_alloc(count));
  for (int i = 0; i < count; ++i) {
    lut->entries[i] = {{static_cast<uint16_t>(i * 257), static_cast<uint16_t>(65535 - i * 257), 257,
                        static_cast<uint16_t>(i == 1 ? 0 : 65535)}};
  }
  return lut;
}

Wanted wanted_indices(const std::string& path, int width, const ORB_LUT* lut) {
  Wanted wanted(path, 13, 5);
  wanted.ifd.color.count = 0;
  wanted.ifd.index = {nullptr, 1, ORB_C_INTEGER, width};
  wanted.info.write_option = reinterpret_cast<uintptr_t>(lut);
  return wanted;
}

TEST_F(PngTest, indices_and_their_table_survive) {
  for (const int width : {1, 2, 4, 8}) {
    SCOPED_TRACE(width);
    const auto lut = table(width == 8 ? 200 : 1 << width);
    Planes planes = noise_planes(1, width, 13 * 5);
    for (uint16_t& index : planes[0]) index = static_cast<uint16_t>(index % lut->entry_count);
    Wanted wanted = wanted_indices(path("out.png"), width, lut.get());
    ASSERT_EQ(write_all(wanted.open(), planes), 0) << reports.texts();
    const Setting as_indices(0, 1);
    const Image image = open_read(wanted.path, &as_indices);
    ASSERT_TRUE(image);
    Planes again;
    ASSERT_TRUE(read_all(*image, &again));
    EXPECT_EQ(again, planes);
    ORB_LUT* read = nullptr;
    ASSERT_EQ(ORB_lut_read(image.get(), &read), 0);
    EXPECT_EQ(read->entry_count, lut->entry_count);
    EXPECT_EQ(std::memcmp(read->entries, lut->entries,
                          sizeof(ORB_LUT_ENTRY) * static_cast<size_t>(lut->entry_count)),
              0);
    ORB_lut_free(read);
  }
}

TEST_F(PngTest, an_index_without_a_colour_is_refused_both_ways) {
  const auto lut = table(3);
  Wanted wanted = wanted_indices(path("out.png"), 2, lut.get());
  Planes planes(1, std::vector<uint16_t>(13 * 5, 2));
  planes[0][13 * 2] = 3;
  EXPECT_EQ(write_all(wanted.open(), planes), ORB_E_HANDLE);
  EXPECT_THAT(reports.texts(),
              StartsWith("Cannot write scanline 2; a colour index is beyond its lookup table\n"));
  reports.clear();
  Stored stored = noise(13, 5, PNG_COLOR_TYPE_PALETTE, 2);
  std::fill(stored.samples.begin(), stored.samples.end(), uint16_t{2});
  stored.samples[13 * 2] = 3;
  const std::string name = file(encode(stored, [](png_structp png, png_infop info) {
    const png_color palette[3] = {};
    png_set_PLTE(png, info, palette, 3);
    png_set_check_for_invalid_index(png, 0);
  }));
  const Setting as_indices(0, 1);
  const Image image = open_read(name, &as_indices);
  ASSERT_TRUE(image);
  EXPECT_FALSE(read_all(*image, &planes));
  EXPECT_EQ(orb__err, ORB_E_DECODE);
  EXPECT_EQ(reports.texts(), "Cannot decode scanline 2");
}

TEST_F(PngTest, what_a_png_cannot_hold_is_refused_before_a_file_is_made) {
  const auto lut = table(4);
  const auto wide = table(4);
  wide->entries[2].rgba[0] = 258;
  const struct {
    const char* what;
    void (*change)(Wanted&);
    const char* report;
  } rows[] = {
      {"two colours", [](Wanted& w) { w.ifd.color.count = 2; }, "png cannot handle the requested action"},
      {"no channels", [](Wanted& w) { w.ifd.color.count = 0; }, "png cannot handle the requested action"},
      {"two mattes", [](Wanted& w) { w.ifd.matte.count = 2; }, "png cannot handle the requested action"},
      {"auxiliary", [](Wanted& w) { w.ifd.aux.count = 1; }, "png cannot handle auxiliary channel type"},
      {"float", [](Wanted& w) { w.ifd.color.type = ORB_C_FLOAT; }, "png cannot handle image channel type"},
      {"17 bits", [](Wanted& w) { w.ifd.color.width = 17; }, "png cannot handle image channel width"},
      {"0 bits", [](Wanted& w) { w.ifd.color.width = 0; }, "png cannot handle image channel width"},
      {"float matte",
       [](Wanted& w) {
         w.ifd.matte = {nullptr, 1, ORB_C_FLOAT, 8};
       },
       "png cannot handle matte channel type"},
      {"other matte width",
       [](Wanted& w) {
         w.ifd.matte = {nullptr, 1, ORB_C_INTEGER, 7};
       },
       "png cannot handle matte channel width"},
      {"3-bit index",
       [](Wanted& w) {
         w.ifd.color.count = 0;
         w.ifd.index = {nullptr, 1, ORB_C_INTEGER, 3};
       },
       "png cannot handle color index channel width"},
      {"float index",
       [](Wanted& w) {
         w.ifd.color.count = 0;
         w.ifd.index = {nullptr, 1, ORB_C_FLOAT, 8};
       },
       "png cannot handle color index channel type"},
      {"empty window", [](Wanted& w) { w.ifd.window.right = -1; }, "png cannot handle the requested action"},
      {"window too wide",
       [](Wanted& w) {
         w.ifd.window = {-1, INT32_MAX, 0, 0};
       },
       "png cannot handle the requested action"},
      {"unstorable bottom",
       [](Wanted& w) {
         w.ifd.window = {0, 0, INT32_MIN, INT32_MIN};
       },
       "png cannot handle the requested action"},
      {"unstorable left",
       [](Wanted& w) {
         w.ifd.window = {INT32_MIN, INT32_MIN, 0, 0};
       },
       "png cannot handle the requested action"},
  };
  for (const auto& row : rows) {
    reports.clear();
    Wanted wanted(path("out.png"));
    row.change(wanted);
    EXPECT_FALSE(wanted.open()) << row.what;
    EXPECT_EQ(orb__err, ORB_E_HANDLE) << row.what;
    EXPECT_EQ(reports.texts(), row.report) << row.what;
    EXPECT_FALSE(std::filesystem::exists(wanted.path)) << row.what;
  }
  const struct {
    const ORB_LUT* lut;
    int width;
    const char* report;
  } tables[] = {{nullptr, 2, "colour indices need a lookup table"},
                {lut.get(), 1, "the lookup table does not fit the width of the colour indices"},
                {wide.get(), 2, "the lookup table's values need more than 8 bits"}};
  for (const auto& row : tables) {
    reports.clear();
    Wanted wanted = wanted_indices(path("out.png"), row.width, row.lut);
    EXPECT_FALSE(wanted.open());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_THAT(reports.texts(), EndsWith(row.report));
    EXPECT_FALSE(std::filesystem::exists(wanted.path));
  }
  Wanted two(path("out.png"));
  ORB_IFD both[2] = {two.ifd, two.ifd};
  two.info.images = both;
  two.info.image_count = 2;
  std::string key = "png";
  two.info.key = key.data();
  two.info.handle = two.path.data();
  EXPECT_EQ(ORB_open(&two.info, "w"), nullptr);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
}

TEST_F(PngTest, a_sample_beyond_its_width_is_refused_and_the_row_may_be_given_again) {
  for (const int width : {1, 3, 12}) {
    for (const int colours : {1, 3}) {
      Wanted wanted(path("out.png"), 4, 1);
      set_groups(wanted.ifd, colours, 0, width);
      const Image image = wanted.open();
      ASSERT_TRUE(image);
      reports.clear();
      void** rows = ORB_chan_alloc(&wanted.ifd, 4, "png", nullptr);
      const auto put = [&](unsigned sample) {
        if (width > 8) static_cast<uint16_t*>(rows[colours - 1])[3] = static_cast<uint16_t>(sample);
        if (width <= 8) static_cast<uint8_t*>(rows[colours - 1])[3] = static_cast<uint8_t>(sample);
      };
      put(1U << width);
      EXPECT_EQ(ORB_scan_write(image.get(), 0, rows), ORB_E_HANDLE);
      EXPECT_EQ(reports.texts(), "Cannot write scanline 0; a sample does not fit the channel width");
      put((1U << width) - 1);
      EXPECT_EQ(ORB_scan_write(image.get(), 0, rows), 0);
      ORB_chan_free(rows);
    }
  }
}

TEST_F(PngTest, rows_come_from_the_top_down_and_all_of_them) {
  Wanted wanted(path("out.png"), 4, 3);
  wanted.ifd.active_window.right = 1;
  wanted.ifd.image_kind = 4;
  Image image = wanted.open();
  ASSERT_TRUE(image);
  EXPECT_EQ(image->info.images[0].image_kind, 1) << "what the file cannot hold shows at once";
  EXPECT_EQ(image->info.images[0].orientation & ORB_BOTTOM_UP, 0U);
  EXPECT_EQ(image->info.images[0].active_window.right, 3) << "the whole window is stored";
  void** rows = ORB_chan_alloc(&wanted.ifd, 4, "png", nullptr);
  for (const int32_t line : {0, 1, 3, -1})
    EXPECT_EQ(ORB_scan_write(image.get(), line, rows), ORB_E_SCANLINE) << line;
  EXPECT_EQ(ORB_scan_write(image.get(), 2, rows), 0);
  EXPECT_EQ(ORB_scan_write(image.get(), 2, rows), ORB_E_SCANLINE);
  reports.clear();
  EXPECT_EQ(ORB_close(image.release()), ORB_E_WRITE);
  EXPECT_EQ(orb__err, ORB_E_WRITE);
  EXPECT_EQ(reports.texts(),
            "Cannot write to " + wanted.path + "; closed when 1 of 3 scanlines were written");
  const Bytes cut = load(wanted.path);
  EXPECT_EQ(find_chunk(cut, "IEND"), cut.size());
  ORB_chan_free(rows);
}

TEST_F(PngTest, settings_choose_compression_and_filter) {
  Stored smooth = noise(64, 64, PNG_COLOR_TYPE_GRAY, 8);
  for (size_t i = 0; i < smooth.samples.size(); ++i)
    smooth.samples[i] = static_cast<uint16_t>((i % 64 + i / 64) & 255);
  const auto size_with = [&](const Setting& setting) {
    Wanted wanted(path("out.png"), 64, 64);
    wanted.setting = &setting;
    EXPECT_EQ(write_all(wanted.open(), planes_of(smooth)), 0);
    EXPECT_EQ(decode(load(wanted.path)).samples, smooth.samples);
    return load(wanted.path).size();
  };
  EXPECT_GT(size_with(Setting(2, 0)), 4096U);
  EXPECT_LT(size_with(Setting(2, 9)), 1000U);
  // On a ramp the difference from the left neighbour is constant.
  EXPECT_LT(size_with(Setting(3, 1)), size_with(Setting(3, 0)));
  for (const int filter : {2, 3, 4, 5}) size_with(Setting(3, filter));
}

TEST_F(PngTest, writes_the_standard_output_and_leaves_it_open) {
  const Stored stored = noise(8, 4, PNG_COLOR_TYPE_GRAY, 8);
  std::fflush(stdout);
  const int kept = dup(STDOUT_FILENO);
  const int target = open(path("out.png").c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0600);
  dup2(target, STDOUT_FILENO);
  Wanted wanted("/dev/stdout");
  const int32_t code = write_all(wanted.open(), planes_of(stored));
  const bool is_open = fcntl(STDOUT_FILENO, F_GETFD) != -1;
  dup2(kept, STDOUT_FILENO);
  close(kept);
  close(target);
  EXPECT_EQ(code, 0) << reports.texts();
  EXPECT_TRUE(is_open);
  EXPECT_EQ(decode(load(path("out.png"))).samples, stored.samples);
}

TEST_F(PngTest, a_full_disk_is_reported_once_and_the_close_fails) {
  // Few bytes fail when they are flushed, many while rows are written.
  for (const int32_t side : {2, 600}) {
    reports.clear();
    Wanted wanted("/dev/full", side, side);
    const Planes planes = noise_planes(1, 8, static_cast<size_t>(side) * static_cast<size_t>(side));
    EXPECT_EQ(write_all(wanted.open(), planes), ORB_E_WRITE);
    EXPECT_EQ(orb__err, ORB_E_WRITE);
    EXPECT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_THAT(reports.texts(), StartsWith("Cannot write to /dev/full; "));
    EXPECT_THAT(reports.texts(), EndsWith("No space left on device"));
  }
  EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST_F(PngTest, a_target_that_cannot_be_made_is_reported) {
  for (const std::string& target : {path("no-such-folder/out.png"), path(""), std::string(100000, 'x')}) {
    reports.clear();
    Wanted wanted(target);
    EXPECT_FALSE(wanted.open());
    EXPECT_EQ(orb__err, ORB_E_OPEN);
    EXPECT_EQ(reports.reports.size(), 1U);
  }
}

TEST_F(PngTest, a_failed_open_takes_away_the_file_only_if_it_made_it) {
  for (const bool is_there_before : {false, true}) {
    bool is_done = false;
    for (int nth = 1; !is_done; ++nth) {
      std::filesystem::remove(path("out.png"));
      if (is_there_before) save(path("out.png"), {1, 2, 3});
      Wanted wanted(path("out.png"));
      const FailAllocation fail(nth);
      const Image image = wanted.open();
      is_done = !fail.happened();
      EXPECT_EQ(std::filesystem::exists(wanted.path), is_there_before || image) << nth;
    }
  }
}

TEST_F(PngTest, writing_survives_the_failure_of_any_allocation) {
  const auto lut = table(4);
  for (const bool has_indices : {false, true}) {
    bool is_done = false;
    int nth = 1;
    for (; !is_done; ++nth) {
      ASSERT_LT(nth, 1000);
      std::filesystem::remove(path("out.png"));
      Wanted wanted =
          has_indices ? wanted_indices(path("out.png"), 2, lut.get()) : Wanted(path("out.png"), 13, 5);
      if (!has_indices) set_groups(wanted.ifd, 3, 1, 12);
      std::string title = "T\xC3\xA9st";
      wanted.info.text1 = title.data();
      wanted.info.text3 = title.data();
      const Planes planes(4, std::vector<uint16_t>(13 * 5, 1));
      int32_t code = 0;
      {
        const FailAllocation fail(nth);
        code = write_all(wanted.open(), planes);
        is_done = !fail.happened();
      }
      EXPECT_TRUE(!is_done || code == 0) << code;
      // Without memory for a text of the description the open carries on; else it fails and leaves no whole
      // file.
      if (code != 0 && std::filesystem::exists(wanted.path)) {
        EXPECT_THROW(decode(load(wanted.path)), std::exception) << nth;
      }
      if (code == 0) decode(load(wanted.path));  // throws when it is not whole
      EXPECT_TRUE(code == 0 || code == ORB_E_MEMORY) << code << " at " << nth;
      EXPECT_TRUE(is_done || !reports.reports.empty()) << nth;
      reports.clear();
    }
    EXPECT_GT(nth, 40) << "the codec library's own allocations are among them";
  }
}

// The compressor asks for all of its blocks before it looks whether it got them.
TEST_F(PngTest, memory_that_stays_away_is_reported_once) {
  bool is_done = false;
  int nth = 1;
  for (; !is_done; ++nth) {
    ASSERT_LT(nth, 1000);
    reports.clear();
    std::filesystem::remove(path("out.png"));
    Wanted wanted(path("out.png"), 13, 5);
    const Planes planes(1, std::vector<uint16_t>(13 * 5, 1));
    Image image = wanted.open();
    {
      const FailAllocation fail(nth, FailAllocation::Mode::from_there_on);
      static_cast<void>(write_all(std::move(image), planes));
      is_done = !fail.happened();
    }
    const auto said = std::count_if(reports.reports.begin(), reports.reports.end(), [](const auto& report) {
      return report.text == "No more internal memory";
    });
    EXPECT_EQ(said, is_done ? 0 : 1) << nth << ": " << reports.texts();
  }
  EXPECT_GT(nth, 5) << "the codec library's own allocations are among them";
}

}  // namespace
}  // namespace orb::testing
