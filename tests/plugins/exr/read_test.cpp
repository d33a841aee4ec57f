// Files of the format's own library, read by the plug-in.
#include <ImfChannelList.h>
#include <ImfChromaticitiesAttribute.h>
#include <ImfDeepScanLineOutputFile.h>
#include <ImfIntAttribute.h>
#include <ImfOutputFile.h>
#include <ImfPartType.h>
#include <ImfRationalAttribute.h>
#include <ImfStandardAttributes.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "exr_test.h"
#include "plugins/common/half.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

// Every line of an image, in no order, is what the format's own library reads; what lies outside of the data
// window is 0. rows: the channel's place among the rows.
void expect_as_loaded(ORB_IMAGE& image, int32_t index, const Loaded& loaded,
                      const std::vector<std::pair<std::string, int>>& rows) {
  const ORB_IFD& ifd = image.info.images[index];
  const Imath::Box2i data = loaded.header.dataWindow();
  const Imath::Box2i display = loaded.header.displayWindow();
  std::vector<int32_t> lines(static_cast<size_t>(ifd.window.top - ifd.window.bottom + 1));
  std::iota(lines.begin(), lines.end(), ifd.window.bottom);
  std::shuffle(lines.begin(), lines.end(), std::mt19937(3));
  for (const int32_t line : lines) {
    void** const got = read_row(image, line, index);
    ASSERT_TRUE(got) << line;
    const int32_t y = display.min.y + display.max.y - line;
    for (const auto& [name, row] : rows) {
      const bool is_aux = row >= ifd.color.count + ifd.matte.count;
      const ORB_CHANNELS& group = is_aux ? ifd.aux : row >= ifd.color.count ? ifd.matte : ifd.color;
      const bool is_integer = loaded.header.channels()[name.c_str()].type == Imf::UINT;
      for (int32_t x = ifd.window.left; x <= ifd.window.right; ++x) {
        const bool is_there = x >= data.min.x && x <= data.max.x && y >= data.min.y && y <= data.max.y;
        const size_t at =
            static_cast<size_t>((y - data.min.y) * (data.max.x - data.min.x + 1) + x - data.min.x);
        const uint64_t expected = is_there ? loaded.samples.at(name)[at] : 0;
        const uint32_t bits = sample_bits(group, got[row], x - ifd.window.left, is_integer);
        ASSERT_EQ(bits, expected) << name << " at " << x << ", " << y;
      }
    }
  }
}

TEST_F(ExrTest, every_compression_storage_and_type_reads_as_the_formats_own_library_does) {
  const std::vector<StoredChannel> channels = {
      {"A"}, {"B"}, {"G"}, {"R"}, {"Z", Imf::FLOAT}, {"id", Imf::UINT}};
  const std::vector<std::pair<std::string, int>> rows = {{"R", 0}, {"G", 1}, {"B", 2},
                                                         {"A", 3}, {"Z", 4}, {"id", 5}};
  const struct {
    Imf::LineOrder order;
    int tile;
    bool has_levels;
    uint32_t orientation;
  } storages[] = {{Imf::INCREASING_Y, 0, false, 0},
                  {Imf::DECREASING_Y, 0, false, ORB_BOTTOM_UP},
                  {Imf::INCREASING_Y, 15, false, 0},
                  {Imf::RANDOM_Y, 64, true, 0}};
  for (int compression = 0; compression < (core_has_dwa() ? 10 : 8); ++compression) {
    for (const auto& storage : storages) {
      SCOPED_TRACE(kCompressions[compression]);
      SCOPED_TRACE(storage.tile);
      reports.clear();
      save_exr("in.exr", {{.channels = channels,
                           .compression = static_cast<Imf::Compression>(compression),
                           .order = storage.order,
                           .tile = storage.tile,
                           .has_levels = storage.has_levels}});
      const Image image = open_read("exr", "in.exr");
      ASSERT_TRUE(image) << reports.texts();
      EXPECT_EQ(image->info.images[0].orientation, storage.orientation);
      EXPECT_STREQ(image->info.text10, kCompressions[compression]);
      expect_as_loaded(*image, 0, load_exr("in.exr"), rows);
      EXPECT_EQ(reports.texts().empty(), !storage.has_levels) << reports.texts();
    }
  }
}

TEST_F(ExrTest, channels_find_their_groups_by_name_and_kind) {
  const auto half = Imf::HALF;
  const auto uint = Imf::UINT;
  const auto real = Imf::FLOAT;
  const struct {
    std::vector<StoredChannel> channels;
    int groups[3];
    uint32_t aux_type;
    const char* names[3];  // null: not given
  } rows[] = {
      {{{"R", half}, {"G", real}, {"B", half}, {"A", half}}, {3, 1, 0}, 0, {nullptr, nullptr, nullptr}},
      {{{"Y", half}, {"Z", real}}, {1, 0, 1}, ORB_C_FLOAT, {nullptr, nullptr, "Z"}},
      {{{"R", half}, {"G", half}, {"B", uint}}, {0, 0, 3}, ORB_C_DOUBLE, {nullptr, nullptr, "B:uint,G,R"}},
      {{{"R", uint}, {"G", uint}, {"B", uint}, {"id", uint}},
       {3, 0, 1},
       ORB_C_INTEGER,
       {nullptr, nullptr, "id"}},
      {{{"AR", half}, {"AG", half}, {"AB", half}}, {0, 3, 0}, 0, {nullptr, nullptr, nullptr}},
      {{{"A", half}, {"AR", half}, {"AG", half}, {"AB", half}},
       {0, 1, 3},
       ORB_C_FLOAT,
       {nullptr, nullptr, "AB,AG,AR"}},
      {{{"k.R", half}, {"k.G", half}, {"k.B", half}, {"k.A", half}},
       {3, 1, 0},
       0,
       {"k.R,k.G,k.B", "k.A", nullptr}},
      {{{"R", half}, {"G", half}, {"B", half}, {"k.R", half}},
       {3, 0, 1},
       ORB_C_FLOAT,
       {nullptr, nullptr, "k.R"}},
      {{{"R", half}, {"Y", half}}, {1, 0, 1}, ORB_C_FLOAT, {nullptr, nullptr, "R"}},
      {{{"a,b:c\\", real}}, {0, 0, 1}, ORB_C_FLOAT, {nullptr, nullptr, "a\\,b\\:c\\\\"}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    save_exr("in.exr", {{.channels = row.channels}});
    const Image image = open_read("exr", "in.exr");
    ASSERT_TRUE(image) << reports.texts();
    const ORB_IFD& ifd = image->info.images[0];
    const ORB_CHANNELS* groups[] = {&ifd.color, &ifd.matte, &ifd.aux};
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(groups[i]->count, row.groups[i]);
      EXPECT_STREQ(groups[i]->name, row.names[i]);
    }
    EXPECT_EQ(ifd.aux.count > 0 ? ifd.aux.type : 0, row.aux_type);
    EXPECT_TRUE(read_row(*image, ifd.window.bottom)) << reports.texts();
  }
}

TEST_F(ExrTest, windows_are_where_the_file_has_them_counted_upward) {
  const struct {
    Imath::Box2i display, data;
    ORB_WINDOW window, active;
    int32_t picture[2], words[2];
  } rows[] = {
      {{{0, 0}, {9, 19}}, {{0, 0}, {9, 19}}, {0, 9, 0, 19}, {0, 9, 0, 19}, {10, 20}, {0, 0}},
      {{{0, 0}, {9, 19}}, {{2, 1}, {5, 4}}, {0, 9, 0, 19}, {2, 5, 15, 18}, {10, 20}, {0, 0}},
      {{{-5, -7}, {4, 12}}, {{-5, -7}, {-5, -7}}, {-5, 4, -7, 12}, {-5, -5, 12, 12}, {10, 20}, {0, 0}},
      {{{0, 0}, {9, 19}}, {{-3, -2}, {11, 20}}, {-3, 11, -1, 21}, {-3, 11, -1, 21}, {10, 20}, {0, 0}},
      {{{1, 2}, {9, 19}}, {{3, 30}, {5, 33}}, {1, 9, -12, 19}, {3, 5, -12, -9}, {9, 18}, {1, 2}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    save_exr("in.exr", {{.display = row.display, .data = row.data}});
    const Image image = open_read("exr", "in.exr");
    ASSERT_TRUE(image) << reports.texts();
    const ORB_IFD& ifd = image->info.images[0];
    EXPECT_EQ(std::memcmp(&ifd.window, &row.window, sizeof row.window), 0);
    EXPECT_EQ(std::memcmp(&ifd.active_window, &row.active, sizeof row.active), 0);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(ifd.pair_a[i], row.picture[i]);
      EXPECT_EQ(image->info.words[i], row.words[i]);
    }
    EXPECT_EQ(reports.texts().empty(),
              std::memcmp(&row.window.left, &row.display.min.x, 4) == 0 && row.words[0] == 0);
    reports.clear();
    expect_as_loaded(*image, 0, load_exr("in.exr"), {{"R", 0}, {"G", 1}, {"B", 2}});
    reports.clear();
  }
}

TEST_F(ExrTest, parts_are_images_and_attributes_the_description) {
  const auto decorate = [](Imf::Header& header) {
    Imf::addComments(header, "two\nlines");
    Imf::addOwner(header, "studio");
    Imf::addCapDate(header, "2024:05:06 07:08:09");
    Imf::addFramesPerSecond(header, {24000, 1001});
    Imf::addChromaticities(header, {{0.7347F, 0.2653F}, {0, 1}, {0.0001F, -0.077F}, {0.32168F, 0.33767F}});
    header.insert("imageCounter", Imf::IntAttribute(1017));
    header.pixelAspectRatio() = 2;
  };
  const Stored first = {.data = {{1, 2}, {30, 20}}, .name = "beauty", .decorate = decorate};
  Stored second = {.data = {{0, 0}, {36, 20}}, .channels = {{"Z", Imf::FLOAT}}, .name = "depth"};
  second.compression = Imf::PIZ_COMPRESSION;
  second.decorate = [&decorate](Imf::Header& header) {
    decorate(header);
    Imf::addComments(header, "other");
    Imf::addExpTime(header, 0.5F);
  };
  save_exr("in.exr", {first, second});
  const Image image = open_read("exr", "in.exr");
  ASSERT_TRUE(image) << reports.texts();
  const ORB_INFO& info = image->info;
  ASSERT_EQ(info.image_count, 2);
  EXPECT_STREQ(info.images[0].name, "beauty");
  EXPECT_STREQ(info.images[1].name, "depth");
  EXPECT_STREQ(info.text3, "two\nlines");
  EXPECT_STREQ(info.text6, "studio");
  EXPECT_STREQ(info.text7, "2024:05:06 07:08:09");
  EXPECT_FLOAT_EQ(info.frame_rate, 23.976024F);
  EXPECT_EQ(info.frame_number, 1017);
  EXPECT_EQ(info.chromaticity[7], -0.077F);
  EXPECT_EQ(info.images[1].pixel_aspect, 2.0F);
  EXPECT_EQ(info.images[0].curve.gamma, 1.0F);
  EXPECT_EQ(info.word_e, 0U);
  EXPECT_EQ(reports.reports.size(), 2U);
  EXPECT_THAT(reports.texts(), HasSubstr("in.exr: part 2: attribute comments (string) is not kept"));
  EXPECT_THAT(reports.texts(), HasSubstr("in.exr: part 2: attribute expTime (float) is not kept"));
  expect_as_loaded(*image, 1, load_exr("in.exr", 1), {{"Z", 0}});
  expect_as_loaded(*image, 0, load_exr("in.exr", 0), {{"R", 0}, {"G", 1}, {"B", 2}});
}

TEST_F(ExrTest, what_a_description_has_no_place_for_is_refused_in_words) {
  const auto save_deep = [] {
    Imf::Header header(4, 4);
    header.channels().insert("Z", Imf::Channel(Imf::FLOAT));
    header.setType(Imf::DEEPSCANLINE);
    header.compression() = Imf::ZIPS_COMPRESSION;
    const Imf::DeepScanLineOutputFile file("in.exr", header);
  };
  const auto save_subsampled = [] {
    Imf::Header header(4, 4);
    header.channels().insert("Z", Imf::Channel(Imf::FLOAT, 2, 2));
    const Imf::OutputFile file("in.exr", header);
  };
  const auto save_dwa = [] { save_exr("in.exr", {{.compression = Imf::DWAA_COMPRESSION}}); };
  const auto save_chroma = [] { save_exr("in.exr", {{.channels = {{"Y"}, {"RY"}, {"BY"}}}}); };
  std::vector<std::pair<const char*, std::function<void()>>> rows = {
      {"deep data", save_deep}, {"luminance and chroma", save_chroma}, {"subsampled", save_subsampled}};
  if (!core_has_dwa()) rows.emplace_back("dwaa", save_dwa);
  for (const auto& [says, save_file] : rows) {
    SCOPED_TRACE(says);
    reports.clear();
    save_file();
    EXPECT_FALSE(open_read("exr", "in.exr"));
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    ASSERT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_THAT(reports.texts(), HasSubstr(says));
  }
}

TEST(Half, every_half_and_the_floats_around_it_convert_as_the_formats_own_library_does) {
  for (uint32_t bits = 0; bits <= 0xFFFF; ++bits) {
    const auto half_bits = static_cast<uint16_t>(bits);
    const uint32_t exact = plugin::float_from_half(half_bits);
    ASSERT_EQ(exact, widened(half_bits)) << bits;
    ASSERT_EQ(plugin::half_from_float(exact), half_bits) << bits;
    // Up to the next half, its middle and both sides of that.
    for (const uint32_t more : {1U, 0xFFFU, 0x1000U, 0x1001U, 0x1FFFU}) {
      const uint32_t above = exact + more;
      if ((exact & 0x7FFFFFFF) >= 0x7F800000) break;
      ASSERT_EQ(plugin::half_from_float(above), half(std::bit_cast<float>(above)).bits()) << above;
    }
  }
  std::mt19937 random(11);
  for (int i = 0; i < 1 << 20; ++i) {
    const auto bits = static_cast<uint32_t>(random());
    if ((bits & 0x7FFFFFFF) > 0x7F800000) continue;
    ASSERT_EQ(plugin::half_from_float(bits), half(std::bit_cast<float>(bits)).bits()) << bits;
  }
}

}  // namespace
}  // namespace orb::testing
