// Two fields as one picture: which files are a pair, what must agree, which rows come from where.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "tests/operators/operator_image.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

Picture field(const std::string& name, uint8_t seed) {
  return Picture(name, "mem").window({-2, 8, -1, 3}).active({0, 6, 0, 2}).seed(seed);
}

ORB_IMAGE* open_field(const Picture& picture) {
  ORB_IMAGE* const image = picture.open("r");
  if (image) image->info.field_value = 1;
  return image;
}

// Both fields of a picture, merged.
ORB_IMAGE* open_merged(const Picture& first, const Picture& second) {
  EXPECT_EQ(write_whole(first) | write_whole(second), 0);
  ORB_IMAGE* const opened = open_field(first);
  ORB_IMAGE* const merged = ORB__merge_fields(opened);
  EXPECT_NE(merged, opened);
  return merged;
}

uint8_t first_sample(ORB_IMAGE* image, int32_t line) {
  void** rows = nullptr;
  return ORB_scan_read(image, line, &rows) == 0 ? static_cast<uint8_t*>(rows[0])[2] : 0;
}

TEST(MergeFields, EvenRowsComeFromTheOddFileWhicheverWasOpened) {
  for (const bool opens_second : {false, true}) {
    // The partner's name never has an extension; the opened one's may.
    const Picture first = field(opens_second ? "shot.0007" : "shot.0007.mem", 3);
    const Picture second = field(opens_second ? "shot.0008.mem" : "shot.0008", 50);
    ASSERT_EQ(write_whole(first) | write_whole(second), 0);
    Image opened(open_field(opens_second ? second : first));
    ORB_IMAGE* field_again = nullptr;
    EXPECT_EQ(ORB__merge_fields_remove(opened.get(), &field_again), 0);
    ORB_IMAGE* merged = ORB__merge_fields(opened.get());
    ASSERT_NE(merged, opened.get());
    const ORB_WINDOW windows[] = {{-2, 8, -2, 7}, {0, 6, 0, 5}};
    EXPECT_EQ(std::memcmp(&merged->info.images[0].window, windows, sizeof windows), 0);
    for (int32_t row = 0; row <= 5; ++row) {
      const Picture& source = row % 2 == 0 ? first : second;
      EXPECT_EQ(first_sample(merged, row), source.sample_byte(0, 0, row / 2, 2)) << row;
    }
    EXPECT_EQ(first_sample(merged, -1), second.sample_byte(0, 0, 0, 2));  // toward zero
    for (const int32_t row : {4, 0}) EXPECT_EQ(ORB_seek(&merged, row), ORB_OK);
    const uint8_t plain = first_sample(merged, 4);
    ORB__minmax(merged, 0.5, 1);
    EXPECT_EQ(first_sample(merged, 4), plain / 2 + 128);
    EXPECT_EQ(ORB__minmax_remove(merged), 1);
    EXPECT_EQ(ORB__merge_fields_remove(merged, &field_again), 1);
    EXPECT_EQ(field_again, opened.get());
    EXPECT_NE(first_sample(opened.get(), 1), 0);
    EXPECT_EQ(ORB_close(ORB__merge_fields(opened.release())), 0);
  }
}

TEST(MergeFields, NamesWithoutAPairStayAsTheyAre) {
  const struct {
    const char* name;
    const char* text = "";
    int32_t field_value = 1;
  } rows[] = {{"shot"},
              {"shot.07a"},
              {"shot."},
              {"shot.-7"},
              {"shot.99999999999"},
              {"shot.2147483647"},
              {"frame.0001", "", 0},
              {"alone.0003", "Cannot open file alone.0004; No such file or directory"}};
  for (const auto& row : rows) {
    ASSERT_EQ(write_whole(field(row.name, 1)), 0);
    const Image image(open_field(field(row.name, 1)));
    image->info.field_value = row.field_value;
    const ReportRecorder recorder;
    EXPECT_EQ(ORB__merge_fields(image.get()), image.get()) << row.name;
    EXPECT_EQ(recorder.texts(), row.text) << row.name;
  }
}

TEST(MergeFields, FieldsThatDifferAreNotMerged) {
  constexpr const char* kColor = "image channel properties";
  constexpr const char* kMatte = "matte channel properties";
  constexpr const char* kWindows = "image window sizes";
  const struct {
    const char* text;  // null: which makes no difference
    void (*change)(ORB_INFO&, ORB_IFD&);
  } cases[] = {
      {nullptr, [](ORB_INFO& info, ORB_IFD&) { info.chromaticity[2] += 0.5f; }},
      {"color primaries", [](ORB_INFO& info, ORB_IFD&) { info.chromaticity[4] += 0.1f; }},
      {"gammas", [](ORB_INFO&, ORB_IFD& ifd) { ifd.curve.gamma = 2.21f; }},
      {kColor, [](ORB_INFO&, ORB_IFD& ifd) { ifd.color.name = const_cast<char*>("xyz"); }},
      {kColor, [](ORB_INFO&, ORB_IFD& ifd) { ifd.color.width = 7; }},
      {kColor, [](ORB_INFO&, ORB_IFD& ifd) { ifd.color.count = 2; }},
      {kMatte, [](ORB_INFO&, ORB_IFD& ifd) { ifd.matte.width = 5; }},
      {kMatte, [](ORB_INFO&, ORB_IFD& ifd) { ifd.matte.count = 1; }},
      {"aspect types", [](ORB_INFO&, ORB_IFD& ifd) { ifd.pixel_aspect = 2; }},
      {kWindows, [](ORB_INFO&, ORB_IFD& ifd) { --ifd.window.left; }},
      {kWindows, [](ORB_INFO&, ORB_IFD& ifd) { ++ifd.window.right; }},
      {kWindows, [](ORB_INFO&, ORB_IFD& ifd) { --ifd.window.bottom; }},
      {kWindows, [](ORB_INFO&, ORB_IFD& ifd) { ++ifd.window.top; }},
      // Rows of the one would be read past their end by the description of the other.
      {kColor, [](ORB_INFO&, ORB_IFD& ifd) { ifd.color.type = ORB_C_DOUBLE; }},
      {kColor, [](ORB_INFO&, ORB_IFD& ifd) { ifd.aux.count = 1; }},
  };
  const Picture first = field("d.0001", 1);
  ASSERT_EQ(write_whole(first), 0);
  for (const auto& c : cases) {
    Picture second("d.0002", "mem");
    second.ifds = first.ifds;
    ORB_INFO info = second.info();
    c.change(info, second.ifds[0]);
    ASSERT_EQ(ORB_close(ORB_open(&info, "w")), 0);
    ORB_IMAGE* const image = open_field(first);
    const ReportRecorder recorder;
    const Image merged(ORB__merge_fields(image));
    EXPECT_EQ(merged.get() == image, c.text != nullptr);
    EXPECT_EQ(recorder.texts(), c.text ? std::string("Field frames have different ") + c.text : "");
    if (!c.text) continue;
    EXPECT_EQ(orb__err, -1);
    EXPECT_EQ(compare_line(image, first, 1), "");
  }
}

// Each field of a sequential file goes to the row that is read of it next.
TEST(MergeFields, FieldsOfSequentialFilesAreSoughtEachToItsRow) {
  for (const bool is_downward : {false, true}) {
    Picture fields[] = {Picture("q.0001", "pipe").seed(1), Picture("q.0002", "pipe").seed(77)};
    for (Picture& picture : fields) {
      if (is_downward) picture.top_down();
    }
    ORB_IMAGE* image = open_merged(fields[0], fields[1]);
    for (const int32_t first : {3, 4, 9, 0, 5, 2}) {
      ASSERT_EQ(ORB_seek(&image, first), ORB_OK);
      for (int32_t line = first; line >= 0 && line <= 9; line += is_downward ? -1 : 1) {
        EXPECT_EQ(first_sample(image, line), fields[line % 2].sample_byte(0, 0, line / 2, 2))
            << first << " " << line;
      }
    }
    // A field that is another picture by now.
    Picture other("q.0001", "pipe");
    other.window({0, 20, 0, 4});
    if (is_downward) other.top_down();
    ASSERT_EQ(write_whole(other), 0);
    const ReportRecorder recorder;
    EXPECT_EQ(ORB_seek(&image, is_downward ? 9 : 0), ORB_E_HANDLE);
    EXPECT_EQ(recorder.texts(), "field merge cannot handle the requested action");
    EXPECT_EQ(first_sample(image, 2), 0);
    EXPECT_EQ(ORB_close(image), 0);
  }
}

TEST(MergeFields, AFieldThatIsGoneFailsTheSeekAndTheRowsAndNothingElse) {
  ORB_IMAGE* image = open_merged(Picture("g.0001", "pipe"), Picture("g.0002", "pipe"));
  ASSERT_EQ(ORB_seek(&image, 6), ORB_OK);
  EXPECT_NE(first_sample(image, 7), 0);
  if (std::remove("g.0002.pipe") != 0) {
    ASSERT_EQ(errno, EACCES);
    GTEST_SKIP() << "open files cannot be removed";
  }
  const ReportRecorder recorder;
  EXPECT_NE(ORB_seek(&image, 1), ORB_OK);
  EXPECT_EQ(recorder.texts(), "Cannot open file g.0002.pipe; No such file or directory");
  EXPECT_EQ(first_sample(image, 1), 0);
  EXPECT_NE(ORB_seek(&image, 3), ORB_OK);
  ORB_close(image);
}

TEST(MergeFields, RowsBeyondTheNumbersAreRefused) {
  for (const int32_t bottom : {(1 << 30) - 1, -(1 << 30) - 3}) {
    const ORB_WINDOW window = {0, 3, bottom, bottom + 3};
    const Picture first = field("far.0001", 1).window(window);
    ASSERT_EQ(write_whole(first) | write_whole(field("far.0002", 1).window(window)), 0);
    const Image image(open_field(first));
    const ReportRecorder recorder;
    EXPECT_EQ(ORB__merge_fields(image.get()), image.get());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(recorder.texts(), "field merge cannot handle the requested action");
  }
}

TEST(MergeFields, OperatorsOnAFieldLockItsOtherImages) {
  const Picture first = field("o.0001", 1).images(2);
  ASSERT_EQ(write_whole(first) | write_whole(field("o.0002", 2).images(2)), 0);
  const Image merged(ORB__merge_fields(ORB__minmax(open_field(first), 0.5, 1)));
  const ReportRecorder recorder;
  ORB__select(merged.get(), 1);
  void** rows = nullptr;
  EXPECT_EQ(ORB_scan_read(merged.get(), 0, &rows), -1);
  EXPECT_EQ(ORB_scan_read(merged.get(), 1, &rows), 0);
  EXPECT_EQ(recorder.texts(), "Cannot access sub image (attempted to access a locked sub image)");
}

TEST(MergeFields, FailedAllocationsLeaveTheSingleField) {
  const Picture first = field("m.0001", 1);
  ASSERT_EQ(write_whole(first) | write_whole(field("m.0002", 2)), 0);
  const Image image(open_field(first));
  bool has_failed = true;
  for (int64_t nth = 1; has_failed; ++nth) {
    const FailAllocation fault(nth);
    ORB_IMAGE* again = ORB__merge_fields(image.get());
    has_failed = fault.happened();
    EXPECT_TRUE(again != image.get() || orb__err != ORB_OK) << nth;
    if (again != image.get()) ORB__merge_fields_remove(again, &again);
    EXPECT_EQ(compare_line(image.get(), first, 1), "") << nth;
  }
}

}  // namespace
