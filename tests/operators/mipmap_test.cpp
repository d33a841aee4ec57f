// The pyramid of a picture: read level by level, and written into one file.
#include <gtest/gtest.h>

#include "tests/operators/reduce_oracle.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

// One code everywhere, odd sizes: every level must hold it again, also where others have the same light.
TEST(Mipmap, ConstantsStay) {
  for (const int32_t width : {8, 12, 16}) {
    for (const int32_t code : {0, 1, 2, 117, 200, 255}) {
      Picture picture("constant.mem", "mem");
      picture.window({0, 12, 0, 4}).group(&ORB_IFD::color, 1, ORB_C_INTEGER, width);
      const ORB_CHANNELS color = picture.ifds[0].color;
      uint16_t samples[13];
      void* row[] = {samples};
      for (size_t x = 0; x < 13; ++x) store_sample(color, samples, x, code);
      Image image = open_to_write(picture);
      for (int32_t line = 0; line < 5; ++line) ORB_scan_write(image.get(), line, row);
      image.reset();
      image = open_to_read(picture);
      ASSERT_NE(IMP_open(image.get(), &kMipmap, "r"), nullptr);
      ORB__select(image.get(), 3);
      void** found = nullptr;
      ASSERT_EQ(ORB_scan_read(image.get(), 0, &found), 0);
      EXPECT_EQ(load_sample(color, found[0], 1), code) << width;
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

TEST(Mipmap, ReadsEachRowOnceInTheOrderOfTheFileAndAnyRowAloneOrAgain) {
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
  // A row that fails is passed on, and read from its beginning again.
  watched.next = -1;
  watched.failing = 12;
  void** found = nullptr;
  EXPECT_EQ(ORB_scan_read(handle, 0, &found), ORB_E_READ);
  watched.failing = INT32_MIN;
  EXPECT_EQ(compare_image(handle, levels[2]), "");
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
  constexpr void (*kSpoils[])(std::vector<ORB_IFD>&) = {
      [](auto& ifds) { ifds.pop_back(); },
      [](auto& ifds) { ifds.push_back(ifds.back()); },
      [](auto& ifds) { ++ifds[1].window.right; },
      [](auto& ifds) { ++ifds[2].window.top; },
      [](auto& ifds) { ++ifds[1].active_window.left; },
      [](auto& ifds) { ifds[1].orientation ^= ORB_BOTTOM_UP; },
      [](auto& ifds) { ++ifds[1].matte.count; },
      [](auto& ifds) { ifds[1].color.width = 16; },
      [](auto& ifds) { ifds[1].curve.gamma = 1.0F; },
  };
  for (const auto& spoil : kSpoils) {
    SCOPED_TRACE(&spoil - kSpoils);
    Picture file = good;
    spoil(file.ifds);
    const Image writer = open_to_write(file);
    const ORB_IMAGE before = *writer;
    const ReportRecorder recorder;
    EXPECT_EQ(IMP_open(writer.get(), &kMipmap, "w"), nullptr);
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(recorder.texts(), "mipmap cannot handle the requested action");
    EXPECT_EQ(std::memcmp(&before, writer.get(), sizeof before), 0);
  }
  Picture moved = good;  // as a driver may do it
  moved.ifds[1].window = moved.ifds[1].active_window = {5, 15, -3, 4};
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
