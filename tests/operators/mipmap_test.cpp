// The pyramid of a picture: read level by level, and written into one file.
#include <gtest/gtest.h>

#include "tests/operators/reduce_oracle.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

TEST(Mipmap, ReadsEachRowOnceInTheOrderOfTheFileAndAnyRowAloneOrAgain) {
  const Source source(Picture("order.mem", "mem").window({0, 20, 10, 46}));
  const Image image = source.open();
  Watched watched(image.get());
  ASSERT_NE(IMP_open(image.get(), &kMipmap, "r"), nullptr);
  const auto levels = pyramid_of(source);
  ORB__select(image.get(), 2);
  watched.is_sequential = true;
  watched.next = 10;
  EXPECT_EQ(compare_image(image.get(), levels[2]), "");
  EXPECT_EQ(watched.read.size(), 37u);
  // Row 7 of level 2 lies on lines 28 to 31 of the window from 10 on; the last one, row 9, on line 36 alone.
  ORB_IMAGE* handle = image.get();
  const struct {
    int32_t line;
    int32_t sought;
    size_t reads;
  } rows[] = {{7, 38, 4}, {9, 46, 1}, {0, 10, 4}};
  for (const auto& row : rows) {
    EXPECT_EQ(ORB_seek(&handle, row.line), 0);
    EXPECT_EQ(watched.sought.back(), row.sought);
    watched.read.clear();
    EXPECT_EQ(compare_row(handle, levels[2], static_cast<size_t>(row.line)), "");
    EXPECT_EQ(watched.read.size(), row.reads);
  }
  EXPECT_EQ(ORB_seek(&handle, -1), 0);
  EXPECT_EQ(watched.sought.back(), -1);
  EXPECT_EQ(ORB_scan_read(handle, 10, nullptr), ORB_E_SCANLINE);
  // A row that fails is passed on, and read from its beginning again.
  watched.is_sequential = false;
  watched.failing = 12;
  EXPECT_EQ(compare_row(handle, levels[2], 0), "row 0: code " + std::to_string(ORB_E_READ));
  watched.failing = INT32_MIN;
  EXPECT_EQ(compare_image(handle, levels[2]), "");
  EXPECT_EQ(compare_row(handle, levels[2], 4), "");
}

TEST(Mipmap, WritesAsManyLevelsAsAskedFor) {
  const Source source(Picture("few.mem", "mem").window({0, 64, 0, 9}));
  for (const int32_t levels : {1, 2, 8, 9}) {
    const IMP_PROCESS process = {"mipmap", 0, levels, 0, nullptr};
    const Picture file = planned_file(source, process, "few.file", "mem");
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
  const Picture good = planned_file(source, kMipmap, "fit.file", "mem");
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
  Image writer = open_to_write(planned_file(source, kMipmap, "refuse.file", "mem"));
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
