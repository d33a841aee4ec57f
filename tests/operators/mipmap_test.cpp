// The pyramid of a picture: read level by level, and written into one file.
#include <gtest/gtest.h>

#include "orbbase/core/internal.h"
#include "orbbase/imp.h"
#include "tests/operators/reduce_oracle.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

constexpr IMP_PROCESS kMipmap = {"mipmap", 0, 0, 0, nullptr};

std::vector<std::vector<Plane>> pyramid_of(const Source& source) {
  std::vector<std::vector<Plane>> levels(1);
  for (size_t c = 0; c < meanings(source.ifd()).size(); ++c) levels[0].push_back(source.light(c));
  while (levels.back()[0].width > 1 || levels.back()[0].height > 1) {
    std::vector<Plane> next;
    for (const Plane& plane : levels.back()) next.push_back(halved(plane));
    levels.push_back(next);
  }
  return levels;
}

// Empty when the images of a handle read as the levels of the source.
std::string compare_levels(ORB_IMAGE* image, const Source& source) {
  const auto levels = pyramid_of(source);
  if (image->info.image_count != static_cast<int32_t>(levels.size())) return "number of levels";
  for (int32_t k = 0; k < image->info.image_count; ++k) {
    ORB__select(image, k);
    const std::string difference = compare_image(image, levels[static_cast<size_t>(k)]);
    if (!difference.empty()) return "level " + std::to_string(k) + " " + difference;
    if (levels.size() > 1 && ORB__select_remove(image) != 1) return "selection stays";
  }
  return "";
}

std::string compare_pyramid(const Source& source) {
  const Image image = source.open();
  if (IMP_open(image.get(), &kMipmap, "r") != image.get()) return "code " + std::to_string(orb__err);
  return compare_levels(image.get(), source);
}

TEST(Mipmap, LevelsOfEveryKindAreTheSlowOnes) {
  for (const Source& source : every_kind_of_source()) {
    const ORB_IFD& ifd = source.ifd();
    EXPECT_EQ(compare_pyramid(source), "")
        << ifd.color.type << " " << ifd.color.width << " bits, gamma " << ifd.curve.gamma;
  }
}

TEST(Mipmap, LevelsOfEverySizeAreTheSlowOnes) {
  const auto check = [](int32_t width, int32_t height, bool is_upward, float gamma) {
    Picture picture("size.mem", "mem");
    picture.window({0, width - 1, 0, height - 1}).group(&ORB_IFD::color, 1, ORB_C_INTEGER, 8);
    if (!is_upward) picture.top_down();
    picture.ifds[0].curve.gamma = gamma;
    EXPECT_EQ(compare_pyramid(Source(picture)), "") << width << " x " << height;
  };
  for (int32_t size = 1; size <= 67; ++size) {
    for (int32_t other : {1, 2, 3, 7, 67}) {
      check(size, other, true, other % 2 == 0 || other == 7 ? 1.0F : 2.2F);
      check(other, size, false, 2.2F);
    }
  }
}

TEST(Mipmap, LightIsWhatTheTablesSay) {
  uint8_t falling[256];
  uint16_t steps[256];
  float hostile[200];
  for (int i = 0; i < 256; ++i) falling[i] = static_cast<uint8_t>(255 - i);
  for (int i = 0; i < 256; ++i) steps[i] = static_cast<uint16_t>(i / 40 * 600);
  for (int i = 0; i < 200; ++i) hostile[i] = i % 3 ? static_cast<float>(i * i) / 30000.0F - 0.01F : NAN;
  void* tables[] = {falling, falling, falling};
  void* step_tables[] = {steps};
  void* hostile_tables[] = {hostile};
  const ORB_RESPONSE_CURVE curves[] = {
      {ORB_CURVE_TABLE, 1.0F, 0, 3, 256, ORB_C_INTEGER, 8, tables},
      {ORB_CURVE_TABLE, 1.0F, 0, 1, 256, ORB_C_INTEGER, 12, step_tables},
      {ORB_CURVE_TABLE, 1.0F, 0, 1, 200, ORB_C_FLOAT, 32, hostile_tables},
  };
  for (const ORB_RESPONSE_CURVE& curve : curves) {
    Picture picture("table.mem", "mem");
    picture.window({0, 40, 0, 6}).active({2, 35, 1, 6}).ifds[0].curve = curve;
    EXPECT_EQ(compare_pyramid(Source(picture)), "") << curve.depth;
  }
}

TEST(Mipmap, ConstantsStayAndPlateausGiveTheirLowestCode) {
  // One code everywhere, odd sizes: every level must hold it again.
  for (const int32_t width : {8, 12, 16}) {
    for (const int32_t code : {0, 1, 2, 117, 200, 255}) {
      Picture picture("constant.mem", "mem");
      picture.window({0, 12, 0, 4}).group(&ORB_IFD::color, 1, ORB_C_INTEGER, width);
      Image writer = open_to_write(picture);
      ORB_IFD ifd = picture.ifds[0];
      void** rows = ORB_chan_alloc(&ifd, 13, "test", nullptr);
      for (size_t x = 0; x < 13; ++x) store_sample(ifd.color, rows[0], x, code);
      for (int32_t line = 0; line < 5; ++line) ORB_scan_write(writer.get(), line, rows);
      ORB_chan_free(rows);
      writer.reset();
      ORB_INFO info = picture.info();
      const Image image(ORB_open(&info, "r"));
      ASSERT_NE(IMP_open(image.get(), &kMipmap, "r"), nullptr);
      ORB__select(image.get(), 3);
      void** found = nullptr;
      ASSERT_EQ(ORB_scan_read(image.get(), 0, &found), 0);
      EXPECT_EQ(load_sample(ifd.color, found[0], 1), code) << width;
    }
  }
}

// A handle's driver with calls counted, and in order only if so wished.
struct Watched {
  explicit Watched(ORB_IMAGE* image) : scan(image->scan) {
    reads = 0;
    sought = -100;
    next = -1;
    the = this;
    image->scan = [](void* data, int32_t line, void* rows) {
      if (the->next >= 0 && line != the->next++) return ORB_E_SCANLINE + 0;
      ++the->reads;
      return line == the->failing ? ORB_E_READ + 0 : the->scan(data, line, rows);
    };
    image->seek = [](void*, int32_t line) { return the->next = the->sought = line, 0; };
  }
  ORB_SCAN_FN scan;
  int reads;
  int32_t next;  // the only line that is accepted; -1: any
  int32_t sought;
  int32_t failing = INT32_MIN;
  static Watched* the;
};
Watched* Watched::the = nullptr;

TEST(Mipmap, ReadsEachRowOnceInTheOrderOfTheFileAndAnyRowAlone) {
  const Source source(Picture("order.mem", "mem").window({0, 20, 10, 46}));
  const Image image = source.open();
  Watched watched(image.get());
  ASSERT_NE(IMP_open(image.get(), &kMipmap, "r"), nullptr);
  const auto levels = pyramid_of(source);
  ORB__select(image.get(), 2);
  watched.next = 10;
  EXPECT_EQ(compare_image(image.get(), levels[2]), "");
  EXPECT_EQ(watched.reads, 37);
  // Row 7 of level 2 lies on lines 28 to 31 of the window from 10 on; the last one, row 9, on line 36 alone.
  ORB_IMAGE* handle = image.get();
  const struct {
    int32_t line;
    int32_t sought;
    int reads;
  } rows[] = {{7, 38, 4}, {9, 46, 1}, {0, 10, 4}};
  for (const auto& row : rows) {
    EXPECT_EQ(ORB_seek(&handle, row.line), 0);
    EXPECT_EQ(watched.sought, row.sought);
    watched.reads = 0;
    void** found = nullptr;
    EXPECT_EQ(ORB_scan_read(handle, row.line, &found), 0);
    EXPECT_EQ(watched.reads, row.reads);
    EXPECT_EQ(meanings(source.ifd())[0].check(levels[2][0].at(3, static_cast<size_t>(row.line)),
                                              static_cast<uint8_t*>(found[0])[3]),
              "");
  }
  EXPECT_EQ(ORB_seek(&handle, -1), 0);
  EXPECT_EQ(watched.sought, -1);
  EXPECT_EQ(ORB_scan_read(handle, 10, nullptr), ORB_E_SCANLINE);
}

TEST(Mipmap, FailedRowIsPassedOnAndReadFromItsBeginningAgain) {
  const Source source(Picture("fail.mem", "mem").window({0, 20, 0, 15}));
  const Image image = source.open();
  Watched watched(image.get());
  ASSERT_NE(IMP_open(image.get(), &kMipmap, "r"), nullptr);
  ORB__select(image.get(), 2);
  watched.failing = 2;
  void** rows = nullptr;
  EXPECT_EQ(ORB_scan_read(image.get(), 0, &rows), ORB_E_READ);
  watched.failing = INT32_MIN;
  EXPECT_EQ(compare_image(image.get(), pyramid_of(source)[2]), "");
}

TEST(Mipmap, RemovalGivesTheHandleBack) {
  const Source source(Picture("remove.mem", "mem").window({0, 20, 0, 15}).images(2));
  const Image image = source.open();
  const ORB_IMAGE before = *image;
  void* const second = image->driver[1].data;
  ASSERT_NE(IMP_open(image.get(), &kMipmap, "r"), nullptr);
  ORB__select(image.get(), 1);
  EXPECT_EQ(IMP_remove(image.get()), 0);
  EXPECT_EQ(ORB__select_remove(image.get()), 1);
  EXPECT_EQ(image->info.image_count, 6);
  EXPECT_EQ(IMP_remove(image.get()), 1);
  EXPECT_EQ(std::memcmp(&before, image.get(), sizeof before), 0);
  EXPECT_EQ(image->driver[1].data, second);
  EXPECT_EQ(IMP_remove(image.get()), 0);
}

TEST(Mipmap, OperatorsStandBeneathAndAbove) {
  const Source source(Picture("stack.mem", "mem").window({0, 20, 0, 15}));
  const Image image = source.open();
  ORB__minmax(image.get(), 0.0, 0.5);
  ASSERT_NE(IMP_open(image.get(), &kMipmap, "r"), nullptr);
  ORB__select(image.get(), 4);
  void** rows = nullptr;
  ASSERT_EQ(ORB_scan_read(image.get(), 0, &rows), 0);
  const int dark = static_cast<uint8_t*>(rows[0])[0];
  ORB__minmax(image.get(), 0.5, 1.0);
  ASSERT_EQ(ORB_scan_read(image.get(), 0, &rows), 0);
  EXPECT_EQ(static_cast<uint8_t*>(rows[0])[0], 128 + dark / 2);
  EXPECT_LT(dark, 128);
}

// The picture of a file for all levels of a source.
Picture levels_file(const Source& source, const IMP_PROCESS& process, const char* name, const char* key) {
  Picture file(name, key);
  file.ifds.resize(40);
  file.ifds.resize(static_cast<size_t>(IMP_plan(&process, &source.ifd(), file.ifds.data(), 40)));
  return file;
}

TEST(Mipmap, WritesEveryLevelAsOneOfTheImages) {
  const Plugins plugins({"rla_format"});
  std::vector<Source> sources = every_kind_of_source();
  for (const Source& kind : sources) {
    for (const char* key : {"mem", "rla"}) {
      const bool is_rla = key[0] == 'r';
      Source source = kind;
      if (is_rla) {  // which knows no negative columns, and no other order
        Picture up = kind.picture();
        up.ifds[0].orientation = ORB_BOTTOM_UP;
        for (ORB_WINDOW* window : {&up.ifds[0].window, &up.ifds[0].active_window}) {
          window->left += 3;
          window->right += 3;
        }
        if (std::isnan(up.ifds[0].curve.gamma) || up.ifds[0].curve.gamma < 0) continue;
        source = Source(up);
      }
      Image writer = open_to_write(levels_file(source, kMipmap, "levels.file", key));
      ASSERT_TRUE(writer) << key << orb__err;
      ASSERT_EQ(IMP_open(writer.get(), &kMipmap, "w"), writer.get());
      EXPECT_EQ(writer->info.image_count, 1);
      EXPECT_EQ(source.write(writer.get()), 0);
      EXPECT_EQ(ORB_close(writer.release()), 0);
      Picture written("levels.file", key);
      ORB_INFO info = written.info();
      const Image reader(ORB_open(&info, "r"));
      ASSERT_TRUE(reader);
      EXPECT_EQ(compare_levels(reader.get(), source), "") << key << source.ifd().color.width;
    }
  }
}

TEST(Mipmap, WritesAsManyLevelsAsAskedFor) {
  const Source source(Picture("few.mem", "mem").window({0, 64, 0, 9}));
  for (const int32_t levels : {1, 2, 8, 9}) {
    const IMP_PROCESS process = {"mipmap", 0, levels, 0, nullptr};
    const Picture file = levels_file(source, process, "few.file", "mem");
    EXPECT_EQ(file.ifds.size(), static_cast<size_t>(std::min(levels, 8)));
    const Image writer = open_to_write(file);
    ASSERT_NE(IMP_open(writer.get(), &process, "w"), nullptr);
    EXPECT_EQ(source.write(writer.get()), 0);
    ReportRecorder recorder;
    EXPECT_EQ(source.write(writer.get()), ORB_E_SCANLINE);  // once more
    EXPECT_EQ(recorder.reports.size(), 1U);
  }
}

TEST(Mipmap, FilesThatDoNotFitThePlanAreRefused) {
  const Source source(Picture("fit.mem", "mem").window({0, 20, 0, 15}).active({1, 18, 2, 14}));
  const Picture good = levels_file(source, kMipmap, "fit.file", "mem");
  const struct {
    const char* what;
    void (*spoil)(std::vector<ORB_IFD>&);
  } cases[] = {
      {"an image too few", [](std::vector<ORB_IFD>& ifds) { ifds.pop_back(); }},
      {"an image too many", [](std::vector<ORB_IFD>& ifds) { ifds.push_back(ifds.back()); }},
      {"another width", [](std::vector<ORB_IFD>& ifds) { ++ifds[1].window.right; }},
      {"another height", [](std::vector<ORB_IFD>& ifds) { ++ifds[2].window.top; }},
      {"too little active", [](std::vector<ORB_IFD>& ifds) { ++ifds[1].active_window.left; }},
      {"another order", [](std::vector<ORB_IFD>& ifds) { ifds[1].orientation ^= ORB_BOTTOM_UP; }},
      {"more channels", [](std::vector<ORB_IFD>& ifds) { ++ifds[1].matte.count; }},
      {"wider channels", [](std::vector<ORB_IFD>& ifds) { ifds[1].color.width = 16; }},
      {"another curve", [](std::vector<ORB_IFD>& ifds) { ifds[1].curve.gamma = 1.0F; }},
  };
  for (const auto& c : cases) {
    Picture file = good;
    c.spoil(file.ifds);
    const Image writer = open_to_write(file);
    const ORB_IMAGE before = *writer;
    ReportRecorder recorder;
    EXPECT_EQ(IMP_open(writer.get(), &kMipmap, "w"), nullptr) << c.what;
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(recorder.texts(), "mipmap cannot handle the requested action") << c.what;
    EXPECT_EQ(std::memcmp(&before, writer.get(), sizeof before), 0);
  }
  Picture moved = good;  // as a driver may do it
  moved.ifds[1].window = {5, 15, -3, 4};
  moved.ifds[1].active_window = moved.ifds[1].window;
  const Image writer = open_to_write(moved);
  EXPECT_NE(IMP_open(writer.get(), &kMipmap, "w"), nullptr);
  EXPECT_EQ(source.write(writer.get()), 0);
}

TEST(Mipmap, LevelThatTheDriverRefusesShowsInTheResultOfTheClose) {
  const Source source(Picture("refuse.mem", "mem").window({0, 20, 0, 15}));
  Image writer = open_to_write(levels_file(source, kMipmap, "refuse.file", "mem"));
  static ORB_SCAN_FN driver;
  driver = writer->scan;
  writer->scan = [](void* data, int32_t line, void* rows) {
    static void* first = data;
    return data == first ? driver(data, line, rows) : ORB_E_WRITE + 0;
  };
  ASSERT_NE(IMP_open(writer.get(), &kMipmap, "w"), nullptr);
  EXPECT_EQ(source.write(writer.get()), ORB_E_WRITE);
  EXPECT_EQ(orb::testing::write_line(writer.get(), source.picture(), 2), ORB_E_WRITE);
  EXPECT_EQ(ORB_close(writer.release()), ORB_E_WRITE);
  EXPECT_EQ(orb__err, ORB_E_WRITE);
}

}  // namespace
