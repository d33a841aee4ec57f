// Two fields as one picture: which files are a pair, what must agree, which rows come from where.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <functional>

#include "tests/operators/operator_image.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

Picture field(const std::string& name, uint8_t seed) {
  Picture picture(name, "mem");
  picture.window({-2, 8, -1, 3}).active({0, 6, 0, 2}).seed(seed);
  return picture;
}

void write_field(const Picture& picture, const std::function<void(ORB_INFO&)>& change = nullptr) {
  ORB_INFO info = picture.info();
  info.field_value = 1;
  if (change) change(info);
  const Image image(ORB_open(&info, "w"));
  ASSERT_NE(image, nullptr);
  for (int32_t line = 0; line <= 2; ++line) ASSERT_EQ(write_line(image.get(), picture, line), 0);
}

ORB_IMAGE* open_field(const Picture& picture) {
  ORB_INFO info = picture.info();
  return ORB_open(&info, "r");
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
    write_field(first);
    write_field(second);
    ORB_IMAGE* opened = open_field(opens_second ? second : first);
    const Image merged(ORB__merge_fields(opened));
    ASSERT_NE(merged.get(), opened);
    const ORB_IFD& ifd = merged->info.images[0];
    EXPECT_EQ(ifd.window.bottom, -2);
    EXPECT_EQ(ifd.window.top, 7);
    EXPECT_EQ(ifd.active_window.bottom, 0);
    EXPECT_EQ(ifd.active_window.top, 5);
    for (int32_t row = 0; row <= 5; ++row) {
      const Picture& source = row % 2 == 0 ? first : second;
      EXPECT_EQ(first_sample(merged.get(), row), source.sample_byte(0, 0, row / 2, 2)) << row;
    }
    EXPECT_EQ(first_sample(merged.get(), -1), second.sample_byte(0, 0, 0, 2));  // toward zero
  }
}

TEST(MergeFields, NamesWithoutAPairStayAsTheyAre) {
  for (const char* name : {"shot", "shot.07a", "shot.", "shot.-7", "shot.99999999999", "shot.2147483647"}) {
    write_field(field(name, 1));
    const Image image(open_field(field(name, 1)));
    const ReportRecorder recorder;
    orb__err = 0;
    EXPECT_EQ(ORB__merge_fields(image.get()), image.get()) << name;
    EXPECT_EQ(recorder.texts(), "") << name;
    EXPECT_EQ(orb__err, 0);
  }
  const Picture frame = field("frame.0001", 1);
  write_field(frame, [](ORB_INFO& info) { info.field_value = 0; });
  const Image image(open_field(frame));
  EXPECT_EQ(ORB__merge_fields(image.get()), image.get());
}

TEST(MergeFields, MissingPartnerIsReportedByTheOpenAlone) {
  const Picture alone = field("alone.0003", 1);
  write_field(alone);
  const Image image(open_field(alone));
  const ReportRecorder recorder;
  EXPECT_EQ(ORB__merge_fields(image.get()), image.get());
  EXPECT_EQ(recorder.texts(), "Cannot open file alone.0004; No such file or directory");
}

TEST(MergeFields, FieldsThatDifferAreNotMerged) {
  const struct {
    const char* text;
    std::function<void(ORB_INFO&)> change;
  } cases[] = {
      {"Field frames have different color primaries", [](ORB_INFO& info) { info.chromaticity[4] += 0.1f; }},
      {"Field frames have different gammas", [](ORB_INFO& info) { info.images[0].curve.gamma = 2.21f; }},
      {"Field frames have different image channel properties",
       [](ORB_INFO& info) { info.images[0].color.name = const_cast<char*>("xyz"); }},
      {"Field frames have different image channel properties",
       [](ORB_INFO& info) { info.images[0].color.width = 7; }},
      {"Field frames have different image channel properties",
       [](ORB_INFO& info) { info.images[0].color.count = 2; }},
      {"Field frames have different matte channel properties",
       [](ORB_INFO& info) { info.images[0].matte.width = 5; }},
      {"Field frames have different matte channel properties",
       [](ORB_INFO& info) { info.images[0].matte.count = 1; }},
      {"Field frames have different aspect types", [](ORB_INFO& info) { info.images[0].pixel_aspect = 2; }},
      {"Field frames have different image window sizes",
       [](ORB_INFO& info) { ++info.images[0].window.right; }},
      {"Field frames have different image window sizes",
       [](ORB_INFO& info) { --info.images[0].window.bottom; }},
      {"Field frames have different image window sizes", [](ORB_INFO& info) { ++info.images[0].window.top; }},
      // Rows of the one would be read past their end by the description of the other.
      {"Field frames have different image channel properties",
       [](ORB_INFO& info) { info.images[0].color.type = ORB_C_DOUBLE; }},
      {"Field frames have different image channel properties",
       [](ORB_INFO& info) { info.images[0].aux.count = 1; }},
  };
  for (const auto& c : cases) {
    const Picture first = field("d.0001", 1);
    Picture second = field("d.0002", 2);
    write_field(first);
    ORB_INFO info = second.info();
    info.field_value = 1;
    c.change(info);
    ASSERT_EQ(ORB_close(ORB_open(&info, "w")), 0);
    const Image image(open_field(first));
    const ReportRecorder recorder;
    EXPECT_EQ(ORB__merge_fields(image.get()), image.get());
    EXPECT_EQ(orb__err, -1);
    EXPECT_EQ(recorder.texts(), c.text);
    EXPECT_EQ(compare_line(image.get(), first, 1), "");
  }
}

TEST(MergeFields, ZOfAPrimaryMakesNoDifference) {
  write_field(field("z.0001", 1));
  write_field(field("z.0002", 2), [](ORB_INFO& info) { info.chromaticity[2] += 0.5f; });
  ORB_IMAGE* first = open_field(field("z.0001", 1));
  const Image merged(ORB__merge_fields(first));
  EXPECT_NE(merged.get(), first);
}

TEST(MergeFields, TakenApartTheCallersFieldIsThereAgain) {
  write_field(field("t.0001", 1));
  write_field(field("t.0002", 2));
  for (const char* name : {"t.0001", "t.0002"}) {
    const Image opened(open_field(field(name, 1)));
    ORB_IMAGE* field_again = nullptr;
    EXPECT_EQ(ORB__merge_fields_remove(opened.get(), &field_again), 0);
    ORB_IMAGE* merged = ORB__merge_fields(opened.get());
    ASSERT_NE(merged, opened.get());
    EXPECT_EQ(ORB__merge_fields_remove(merged, &field_again), 1);
    EXPECT_EQ(field_again, opened.get());
    EXPECT_NE(first_sample(opened.get(), 1), 0);
  }
}

TEST(MergeFields, MergedHandlesSeekAndCarryOperators) {
  const Picture first = field("s.0001", 1);
  write_field(first);
  write_field(field("s.0002", 2));
  ORB_IMAGE* image = ORB__merge_fields(open_field(first));
  EXPECT_EQ(ORB_seek(&image, 4), ORB_OK);
  const uint8_t plain = first_sample(image, 4);
  EXPECT_EQ(ORB_seek(&image, 0), ORB_OK);
  ORB__minmax(image, 0.5, 1);
  EXPECT_EQ(first_sample(image, 4), plain / 2 + 128);
  EXPECT_EQ(ORB_close(image), 0);
}

// Each field of a sequential file goes to the row that is read of it next.
TEST(MergeFields, FieldsOfSequentialFilesAreSoughtEachToItsRow) {
  for (const bool is_downward : {false, true}) {
    Picture fields[] = {Picture("q.0001", "pipe").seed(1), Picture("q.0002", "pipe").seed(77)};
    for (Picture& picture : fields) {
      if (is_downward) picture.top_down();
      ASSERT_EQ(write_whole(picture), 0);
    }
    ORB_IMAGE* image = open_field(fields[0]);
    image->info.field_value = 1;
    image = ORB__merge_fields(image);
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
  for (const char* name : {"g.0001", "g.0002"}) ASSERT_EQ(write_whole(Picture(name, "pipe")), 0);
  ORB_IMAGE* image = open_field(Picture("g.0001", "pipe"));
  image->info.field_value = 1;
  image = ORB__merge_fields(image);
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
    for (const char* name : {"far.0001", "far.0002"}) {
      Picture picture(name, "mem");
      picture.window({0, 3, bottom, bottom + 3});
      ASSERT_EQ(write_whole(picture), 0);
    }
    const Image image(open_field(Picture("far.0001", "mem")));
    image->info.field_value = 1;
    const ReportRecorder recorder;
    EXPECT_EQ(ORB__merge_fields(image.get()), image.get());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(recorder.texts(), "field merge cannot handle the requested action");
  }
}

TEST(MergeFields, OperatorsOnAFieldLockItsOtherImages) {
  const Picture first = field("o.0001", 1).images(2);
  const Picture second = field("o.0002", 2).images(2);
  ASSERT_EQ(write_whole(first) | write_whole(second), 0);
  ORB_IMAGE* image = open_field(first);
  image->info.field_value = 1;
  const Image merged(ORB__merge_fields(ORB__minmax(image, 0.5, 1)));
  const ReportRecorder recorder;
  ORB__select(merged.get(), 1);
  void** rows = nullptr;
  EXPECT_EQ(ORB_scan_read(merged.get(), 0, &rows), -1);
  EXPECT_EQ(ORB_scan_read(merged.get(), 1, &rows), 0);
  EXPECT_EQ(recorder.texts(), "Cannot access sub image (attempted to access a locked sub image)");
}

TEST(MergeFields, FailedAllocationsLeaveTheSingleField) {
  const Picture first = field("m.0001", 1);
  write_field(first);
  write_field(field("m.0002", 2));
  const Image image(open_field(first));
  for (int64_t nth = 1;; ++nth) {
    ASSERT_LT(nth, 200);
    ORB_IMAGE* result = nullptr;
    bool happened = false;
    {
      const FailAllocation fault(nth);
      result = ORB__merge_fields(image.get());
      happened = fault.happened();
    }
    if (result != image.get()) {  // some failures only cost a text of the description
      ORB_IMAGE* again = nullptr;
      EXPECT_EQ(ORB__merge_fields_remove(result, &again), 1);
    } else {
      EXPECT_NE(orb__err, ORB_OK) << nth;
    }
    EXPECT_EQ(compare_line(image.get(), first, 1), "") << nth;
    if (!happened) break;
  }
}

}  // namespace
