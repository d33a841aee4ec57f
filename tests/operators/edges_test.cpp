// What operators do with handles that lack something, and with images that are none of theirs.
#include <gtest/gtest.h>

#include "orbbase/imp.h"
#include "tests/operators/operator_image.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

using Install = ORB_IMAGE* (*)(ORB_IMAGE*);
constexpr ORB_QUANTIZE_TARGET kToBytes = {ORB_C_INTEGER, 8};
constexpr Install kOperators[] = {
    [](ORB_IMAGE* image) {
      ORB_RESPONSE_CURVE curve = gamma_curve(1.5f);
      return ORB__gamma(image, &curve);
    },
    [](ORB_IMAGE* image) { return ORB__minmax(image, 0.25, 0.75); },
    [](ORB_IMAGE* image) {
      return ORB__quantize(image, image ? image->mode : 0, &kToBytes, &kToBytes, &kToBytes);
    },
    [](ORB_IMAGE* image) { return ORB__select(image, 1); },
    [](ORB_IMAGE* image) { return ORB__merge_fields(image); },
    [](ORB_IMAGE* image) {
      const IMP_PROCESS process = {"swatch", 4, 0, 0, nullptr};
      return IMP_open(image, &process, "r");
    },
    [](ORB_IMAGE* image) {
      const IMP_PROCESS process = {"mipmap", 0, 0, 0, nullptr};
      return IMP_open(image, &process, "r");
    },
};

Picture picture_of(int32_t images) {
  return Picture("edge.0001", "mem").group(&ORB_IFD::color, 3, ORB_C_FLOAT, 32).images(images);
}

TEST(OperatorEdges, HandlesThatLackSomethingStayAsTheyAre) {
  constexpr void (*kLacks[])(ORB_IMAGE&) = {
      [](ORB_IMAGE& image) { image.scan = nullptr; },
      [](ORB_IMAGE& image) { image.driver = nullptr; },
      [](ORB_IMAGE& image) { image.info.images = nullptr, image.info.image_count = 0; },
      [](ORB_IMAGE& image) { image.info.image_count = 0; },
      [](ORB_IMAGE& image) { image.info.image_count = 1, image.info.handle = nullptr, image.scan = nullptr; },
  };
  const Image image = open_written(picture_of(2));
  image->info.field_value = 1;
  const ORB_IMAGE whole = *image;
  for (size_t i = 0; i < std::size(kOperators); ++i) {
    const ReportRecorder recorder;
    EXPECT_EQ(kOperators[i](nullptr), nullptr) << i;
    for (size_t lack = 0; lack < std::size(kLacks); ++lack) {
      kLacks[lack](*image);
      const ORB_IMAGE before = *image;
      kOperators[i](image.get());
      EXPECT_EQ(image->layers, nullptr) << i << " " << lack;
      EXPECT_EQ(image->scan, before.scan) << i << " " << lack;
      *image = whole;
    }
  }
  ORB_IMAGE* field = nullptr;
  EXPECT_EQ(ORB__merge_fields_remove(nullptr, &field), 1);
  EXPECT_EQ(ORB__minmax_remove(nullptr), 1);
  EXPECT_EQ(ORB__gamma(image.get(), nullptr), image.get());
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
}

// What ORB_scan_read would hand to a layer for an image that the layer does not know.
TEST(OperatorEdges, ImagesThatAnOperatorDoesNotKnowAreLocked) {
  for (size_t i = 0; i < std::size(kOperators); ++i) {
    if (i == 4) continue;  // needs two files; its own test has that
    for (const bool is_writing : {false, true}) {
      Picture picture = picture_of(i == 3 ? 2 : 1);
      if (i == 0 || i == 1) picture.group(&ORB_IFD::color, 3, ORB_C_INTEGER, 8);
      if (is_writing && i > 2) continue;
      const Image image = is_writing ? open_to_write(picture) : open_written(picture);
      const ReportRecorder recorder;
      kOperators[i](image.get());
      if (is_writing && !image->layers) continue;  // one that only reads
      ASSERT_NE(image->layers, nullptr) << i;
      void** rows = nullptr;
      EXPECT_EQ(image->scan(nullptr, 0, &rows), -1) << i;
      EXPECT_EQ(recorder.texts(), "Cannot access sub image (attempted to access a locked sub image)") << i;
      if (!image->seek) continue;
      EXPECT_NE(image->seek(nullptr, 0), 0) << i;
    }
  }
}

TEST(OperatorEdges, GammaNeedsSamplesThatItsTablesServe) {
  const struct {
    Picture picture;
    const char* text;
  } rows[] = {{Picture("n.mem", "mem").group(&ORB_IFD::color, 3, ORB_C_INTEGER, 4),
               "gamma correction operator cannot handle image channel width"},
              {Picture("n.mem", "mem").no_channels().group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 8),
               "gamma correction operator cannot handle the requested action"}};
  for (const auto& row : rows) {
    const Image image = open_to_write(row.picture);
    ASSERT_NE(image, nullptr);
    const ReportRecorder recorder;
    kOperators[0](image.get());
    EXPECT_EQ(image->layers, nullptr);
    EXPECT_EQ(recorder.texts(), row.text);
  }
}

// The depth of a file's own table says how many entries the other curve would need.
TEST(OperatorEdges, GammaRefusesDepthsThatAreNoNumberOfEntries) {
  uint8_t table[256] = {};
  void* tables[] = {table, table, table};
  const Image image = open_written(Picture("t.mem", "mem"));
  const ORB_RESPONSE_CURVE own = image->info.images[0].curve;
  for (const int32_t depth : {-1, 31, 7}) {
    ORB_RESPONSE_CURVE& curve = image->info.images[0].curve;
    curve = {};
    curve.kind = ORB_CURVE_TABLE;
    curve.tables = tables;
    curve.channel_count = 3;
    curve.resolution = 256;
    curve.curve_type = ORB_C_INTEGER;
    curve.depth = depth;
    const ReportRecorder recorder;
    kOperators[0](image.get());
    EXPECT_EQ(image->layers, nullptr) << depth;
    EXPECT_NE(orb__err, ORB_OK) << depth;
    curve = own;
  }
  const Image narrow = open_written(Picture("n.mem", "mem").group(&ORB_IFD::color, 3, ORB_C_INTEGER, 4));
  kOperators[0](narrow.get());
  EXPECT_NE(narrow->layers, nullptr);  // on reading the tables are of bytes all the same
}

TEST(OperatorEdges, GeneratorsRefuseCurvesWithoutUsableTables) {
  const struct {
    bool has_tables;
    int32_t channels, entries;
    uint32_t type;
    int32_t depth;
  } rows[] = {{false, 3, 256, ORB_C_INTEGER, 8}, {true, 0, 256, ORB_C_INTEGER, 8},
              {true, 3, 0, ORB_C_INTEGER, 8},    {true, 3, 256, ORB_C_INTEGER, 7},
              {true, 3, 256, ORB_C_INTEGER, 17}, {true, 3, 256, ORB_C_DOUBLE, 8}};
  const Image image = open_written(Picture("t.mem", "mem"));
  const ORB_RESPONSE_CURVE own = image->info.images[0].curve;
  uint8_t table[256] = {};
  void* tables[] = {table, table, table};
  for (const auto& row : rows) {
    ORB_RESPONSE_CURVE& curve = image->info.images[0].curve;
    curve = {};
    curve.kind = ORB_CURVE_TABLE;
    curve.tables = row.has_tables ? tables : nullptr;
    curve.channel_count = row.channels;
    curve.resolution = row.entries;
    curve.curve_type = row.type;
    curve.depth = row.depth;
    const ReportRecorder recorder;
    for (const Install install : {kOperators[5], kOperators[6]}) {
      EXPECT_EQ(install(image.get()), nullptr) << row.depth << " " << row.entries;
      EXPECT_EQ(image->layers, nullptr);
    }
    curve = own;
  }
  EXPECT_NE(kOperators[5](image.get()), nullptr);
  const Image indices =
      open_written(Picture("i.mem", "mem").no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8));
  for (const Install install : {kOperators[5], kOperators[6]}) {
    const ReportRecorder recorder;
    EXPECT_EQ(install(indices.get()), nullptr);
    EXPECT_EQ(indices->layers, nullptr);
    EXPECT_EQ(recorder.reports.size(), 1u);
  }
}

TEST(OperatorEdges, PlansWithoutAProcessOrRoomOnlyCount) {
  const Picture picture = picture_of(1);
  ORB_IFD planned = {};
  const IMP_PROCESS swatch = {"swatch", 4, 0, 0, nullptr};
  const IMP_PROCESS untyped = {nullptr, 0, 0, 0, nullptr};
  EXPECT_EQ(IMP_plan(nullptr, picture.ifds.data(), &planned, 1), 1);
  EXPECT_EQ(planned.window.right, picture.ifds[0].window.right);
  EXPECT_EQ(IMP_plan(&untyped, picture.ifds.data(), nullptr, 1), 1);
  EXPECT_EQ(IMP_plan(&swatch, picture.ifds.data(), nullptr, 0), 1);
  EXPECT_EQ(IMP_plan(&swatch, nullptr, &planned, 1), 0);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  const ReportRecorder recorder;
  const IMP_PROCESS negative = {"swatch", -1, 0, 0, nullptr};
  EXPECT_EQ(IMP_plan(&negative, picture.ifds.data(), &planned, 1), 0);
}

// Real samples corrected by tables: between two entries in a straight line, as bytes would be at the entries.
template <class Sample>
void expect_interpolated(uint32_t type) {
  Picture picture("table.mem", "mem");
  picture.group(&ORB_IFD::color, 1, type, 32);
  picture.ifds[0].curve.gamma = 1;
  const std::vector<Sample> samples = {0, Sample(-0.5), Sample(0.5), 1, 2, Sample(0.25), Sample(1.0 / 510)};
  {
    const Image image = open_to_write(picture);
    std::vector<Sample> row = samples;
    void* rows[] = {row.data()};
    for (int32_t line = 0; line <= 4; ++line) ASSERT_EQ(ORB_scan_write(image.get(), line, rows), 0);
  }
  ORB_INFO info = picture.info();
  const Image image(ORB_open(&info, "r"));
  ORB_RESPONSE_CURVE inverse = gamma_curve(1);
  inverse.channel_count = 1;
  inverse.resolution = 4096;
  inverse.curve_type = ORB_C_INTEGER;
  inverse.depth = 8;
  ASSERT_EQ(ORB_response_curve_init(&inverse), 0);
  auto* const table = static_cast<uint8_t*>(inverse.tables[0]);
  for (int32_t i = 0; i < 4096; ++i) table[i] = static_cast<uint8_t>(255 - i / 16);
  ORB__gamma(image.get(), &inverse);
  ASSERT_NE(image->layers, nullptr) << orb__err;
  const auto seen = read_line<Sample>(image.get(), 2, 1, samples.size());
  // 255 - i of a sample of i / 255; what is not above 0 stays, what is above 1 counts as 1.
  const double wanted[] = {0, -0.5, 0.5, 0, 0, 0.75, 1 - 1.0 / 510};
  for (size_t i = 0; i < samples.size(); ++i) EXPECT_NEAR(seen[0][i], wanted[i], 1e-6) << i;
  ORB__gamma_remove(image.get());
  ORB_response_curve_done(&inverse);
}

TEST(OperatorEdges, RealSamplesAreCorrectedByTables) {
  expect_interpolated<float>(ORB_C_FLOAT);
  expect_interpolated<double>(ORB_C_DOUBLE);
}

}  // namespace
