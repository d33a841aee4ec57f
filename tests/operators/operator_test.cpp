// What all operators share: stacking, removal, refusals, and what a handle still does under them.
#include "orbbase/operators/operator.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "tests/operators/operator_image.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

Picture byte_picture() {
  return Picture("op.mem", "mem")
      .window({-2, 40, -1, 6})
      .active({1, 37, 0, 5})
      .group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 8);
}

ORB_IMAGE* gamma_once(ORB_IMAGE* image) {
  ORB_RESPONSE_CURVE curve = gamma_curve(1.5f);
  return ORB__gamma(image, &curve);
}
ORB_IMAGE* minmax_once(ORB_IMAGE* image) { return ORB__minmax(image, 0.25, 0.75); }
constexpr ORB_QUANTIZE_TARGET kBytes = {ORB_C_INTEGER, 8};
ORB_IMAGE* quantize_once(ORB_IMAGE* image) {
  return ORB__quantize(image, ORB_MODE_READ, &kBytes, &kBytes, &kBytes);
}
ORB_IMAGE* select_second(ORB_IMAGE* image) { return ORB__select(image, 1); }

struct Entries {
  explicit Entries(const ORB_IMAGE& image)
      : scan(image.scan),
        close(image.close),
        data(image.driver->data),
        layers(image.layers),
        seek(image.seek) {}
  bool operator==(const Entries&) const = default;
  ORB_SCAN_FN scan;
  ORB_CLOSE_FN close;
  void* data;
  void* layers;
  ORB_SEEK_FN seek;
};

TEST(Operators, StackIsTakenOffFromTheTopAlone) {
  const Picture picture = byte_picture();
  const Image image = open_written(picture);
  const Entries bare(*image);
  ASSERT_EQ(gamma_once(image.get()), image.get());
  const Entries lower(*image);
  minmax_once(image.get());
  const Entries middle(*image);
  gamma_once(image.get());
  ASSERT_EQ(orb__err, ORB_OK);
  const Entries upper(*image);
  EXPECT_FALSE(upper == middle || middle == lower || lower == bare);

  EXPECT_EQ(ORB__minmax_remove(image.get()), 0);
  EXPECT_EQ(ORB__quantize_remove(image.get()), 0);
  EXPECT_EQ(ORB__select_remove(image.get()), 0);
  EXPECT_TRUE(Entries(*image) == upper);
  EXPECT_EQ(ORB__gamma_remove(image.get()), 1);
  EXPECT_TRUE(Entries(*image) == middle);
  EXPECT_EQ(ORB__gamma_remove(image.get()), 0);
  EXPECT_EQ(ORB__minmax_remove(image.get()), 1);
  EXPECT_EQ(ORB__gamma_remove(image.get()), 1);
  EXPECT_TRUE(Entries(*image) == bare);
  EXPECT_EQ(ORB__gamma_remove(image.get()), 0);  // the driver's data is nobody's operator
  EXPECT_EQ(compare_line(image.get(), picture, 2), "");
}

TEST(Operators, CloseUnwindsTheStackAndTheDriverCloses) {
  const Picture picture = byte_picture();
  ORB_INFO info = picture.info();
  ASSERT_EQ(write_whole(picture), 0);
  ORB_IMAGE* image = ORB_open(&info, "r");
  gamma_once(minmax_once(image));
  EXPECT_EQ(ORB_close(image), 0);
}

TEST(Operators, HandlesThatCannotCarryOneAreRefused) {
  const ReportRecorder recorder;
  ORB_RESPONSE_CURVE curve = gamma_curve(1);
  EXPECT_EQ(ORB__minmax(nullptr, 0, 0.5), nullptr);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(ORB__gamma(nullptr, &curve), nullptr);
  EXPECT_EQ(ORB__select(nullptr, 0), nullptr);
  EXPECT_EQ(ORB__merge_fields(nullptr), nullptr);
  orb::ImageOwner bare = orb::new_handle(ORB_MODE_READ);
  EXPECT_EQ(ORB__minmax(bare.get(), 0, 0.5), bare.get());
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(ORB__minmax_remove(bare.get()), 1);  // there is nothing in slot 0
  EXPECT_EQ(recorder.texts(), "");

  const Image writing = open_to_write(byte_picture());
  const Entries before(*writing);
  minmax_once(writing.get());
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(recorder.texts(), "min-max transform operator cannot handle the requested action");
  EXPECT_TRUE(Entries(*writing) == before);

  const Image image = open_written(byte_picture());
  const std::pair<ORB_IMAGE* (*)(ORB_IMAGE*), const char*> operators[] = {
      {minmax_once, "min-max transform operator"}, {gamma_once, "gamma correction operator"}};
  for (const auto& [install, name] : operators) {
    const ReportRecorder without_image;
    const int32_t count = std::exchange(image->info.image_count, 0);
    install(image.get());
    image->info.image_count = count;
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(without_image.texts(), std::string(name) + " cannot store multiple images");
  }
}

TEST(Operators, ChannelsThatAreNotBytesAreRefusedByGroup) {
  constexpr ORB_CHANNELS ORB_IFD::*kColor = &ORB_IFD::color;
  const struct {
    ORB_CHANNELS ORB_IFD::*group;
    uint32_t type;
    int32_t width;
    ORB_IMAGE* (*install)(ORB_IMAGE*);
    const char* text;
  } cases[] = {
      {kColor, ORB_C_INTEGER, 16, minmax_once,
       "min-max transform operator cannot handle image channel width"},
      {kColor, ORB_C_FLOAT, 32, minmax_once, "min-max transform operator cannot handle image channel type"},
      {&ORB_IFD::matte, ORB_C_INTEGER, 9, minmax_once,
       "min-max transform operator cannot handle matte channel width"},
      {&ORB_IFD::matte, ORB_C_DOUBLE, 8, minmax_once,
       "min-max transform operator cannot handle matte channel type"},
      {&ORB_IFD::aux, ORB_C_INTEGER, 32, minmax_once,
       "min-max transform operator cannot handle auxiliary channel width"},
      {&ORB_IFD::aux, ORB_C_FLOAT, 8, minmax_once,
       "min-max transform operator cannot handle auxiliary channel type"},
      {kColor, ORB_C_INTEGER, 9, gamma_once, "gamma correction operator cannot handle image channel width"},
  };
  for (const auto& c : cases) {
    const Image image = open_written(byte_picture().group(c.group, 1, c.type, c.width));
    const Entries before(*image);
    const ReportRecorder recorder;
    EXPECT_EQ(c.install(image.get()), image.get());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(recorder.texts(), c.text);
    EXPECT_TRUE(Entries(*image) == before);
  }
}

TEST(Operators, ImageIndexBeyondTheCountIsReported) {
  const Image image = open_written(byte_picture());
  const ReportRecorder recorder;
  EXPECT_EQ(orb::op::check_matte("some operator", *image, 1), ORB_E_HANDLE);
  EXPECT_EQ(recorder.texts(), "some operator cannot store multiple images");
}

TEST(Operators, FailedAllocationsLeaveTheHandleAsItWas) {
  const struct {
    Picture picture;
    ORB_IMAGE* (*install)(ORB_IMAGE*);
  } cases[] = {
      {byte_picture(), gamma_once},
      {byte_picture(), minmax_once},
      {byte_picture().group(&ORB_IFD::color, 3, ORB_C_FLOAT, 32), quantize_once},
      {byte_picture().images(3), select_second},
  };
  for (const auto& c : cases) {
    const Image image = open_written(c.picture);
    const Entries before(*image);
    const ORB_IFD described = image->info.images[0];
    bool happened = true;
    for (int64_t nth = 1; happened; ++nth) {
      ASSERT_LT(nth, 20);
      {
        const FailAllocation fault(nth);
        EXPECT_EQ(c.install(image.get()), image.get());
        happened = fault.happened();
      }
      if (!happened) break;
      EXPECT_EQ(orb__err, ORB_E_MEMORY) << nth;
      EXPECT_TRUE(Entries(*image) == before) << nth;
      EXPECT_EQ(image->info.images[0].color.type, described.color.type);
      EXPECT_EQ(image->info.image_count, static_cast<int32_t>(c.picture.ifds.size()));
    }
    EXPECT_FALSE(Entries(*image) == before);
  }
}

TEST(Operators, FailureBelowIsPassedOn) {
  const Image image = open_written(byte_picture());
  gamma_once(minmax_once(image.get()));
  const ReportRecorder recorder;
  void** rows = nullptr;
  EXPECT_EQ(ORB_scan_read(image.get(), 99, &rows), ORB_E_SCANLINE);
  EXPECT_EQ(recorder.reports.size(), 1u);
}

// A reader whose file would have to be opened again loses no operator without a word.
TEST(Operators, SeekingBackInASequentialFileIsRefusedUnderAnOperator) {
  const Picture picture = byte_picture();
  Picture stream = picture;
  stream.name = "op.pipe";
  stream.key = "pipe";
  ORB_IMAGE* image = open_written(stream).release();
  minmax_once(image);
  EXPECT_EQ(ORB_seek(&image, 3), ORB_OK);
  void** rows = nullptr;
  EXPECT_EQ(ORB_scan_read(image, 3, &rows), 0);
  const ReportRecorder recorder;
  EXPECT_EQ(ORB_seek(&image, 1), ORB_E_HANDLE);
  EXPECT_EQ(recorder.texts(), "pipe cannot handle the requested action");
  EXPECT_EQ(ORB__minmax_remove(image), 1);
  EXPECT_EQ(ORB_seek(&image, 1), ORB_OK);
  EXPECT_EQ(compare_line(image, stream, 1), "");
  ORB_close(image);
}

TEST(Operators, RegionsAreReadThroughTheStack) {
  const Picture picture = byte_picture();
  ORB_IMAGE* image = open_written(picture).release();
  void** raw = nullptr;
  ASSERT_EQ(ORB_scan_read(image, 2, &raw), 0);
  const uint8_t sample = static_cast<uint8_t*>(raw[0])[5 - (-2)];
  minmax_once(image);
  uint8_t grey = 0;
  ASSERT_EQ(ORB_get_region(&image, 5, 5, 2, 2, &grey, ORB_REGION_PACKED, ORB_REGION_GREY8), 0);
  EXPECT_EQ(grey, sample / 2 + 64);
  ORB_close(image);
}

// ---- Selection ---------------------------------------------------------------------------------------

TEST(Select, ChosenImageIsTheOnlyOneUntilTheRemoval) {
  const Picture picture = byte_picture().images(3);
  const Image image = open_written(picture);
  ORB__select(image.get(), 2);
  ASSERT_EQ(image->info.image_count, 1);
  EXPECT_EQ(image->info.images[0].window.right, picture.ifds[2].window.right);
  EXPECT_EQ(image->driver[1].data, nullptr);
  // What the picture says of its third image, through the handle's only one.
  void** rows = nullptr;
  ASSERT_EQ(ORB_scan_read(image.get(), 3, &rows), 0);
  const ORB_IFD& ifd = picture.ifds[2];
  EXPECT_EQ(static_cast<uint8_t*>(rows[0])[ifd.active_window.left - ifd.window.left],
            picture.sample_byte(2, 0, 3, ifd.active_window.left - ifd.window.left));
  minmax_once(image.get());
  EXPECT_EQ(orb__err, ORB_OK);
  EXPECT_EQ(ORB__select_remove(image.get()), 0);
  EXPECT_EQ(ORB__minmax_remove(image.get()), 1);
  EXPECT_EQ(ORB__select_remove(image.get()), 1);
  EXPECT_EQ(image->info.image_count, 3);
  for (int32_t i = 0; i < 3; ++i) EXPECT_EQ(compare_line(image.get(), picture, 3, i), "") << i;
}

TEST(Select, OperatorsBeneathLockTheOtherImages) {
  const Image image = open_written(byte_picture().images(2));
  minmax_once(image.get());
  const ReportRecorder recorder;
  void** rows = nullptr;
  ORB__select(image.get(), 0);
  EXPECT_EQ(ORB_scan_read(image.get(), 1, &rows), 0);
  ORB__select_remove(image.get());
  ORB__select(image.get(), 1);
  EXPECT_EQ(ORB_scan_read(image.get(), 1, &rows), -1);
  EXPECT_EQ(recorder.texts(), "Cannot access sub image (attempted to access a locked sub image)");
}

TEST(Select, SingleImagesStayAndWrongIndexesAreRefused) {
  const Image single = open_written(byte_picture());
  const Entries before(*single);
  EXPECT_EQ(ORB__select(single.get(), 5), single.get());
  EXPECT_EQ(orb__err, ORB_OK);
  EXPECT_TRUE(Entries(*single) == before);
  const Image pair = open_written(byte_picture().images(2));
  for (const int32_t index : {-1, 2, INT32_MAX}) {
    const ReportRecorder recorder;
    ORB__select(pair.get(), index);
    EXPECT_EQ(orb__err, ORB_E_HANDLE) << index;
    EXPECT_EQ(recorder.texts(), "mem cannot handle the requested action") << index;
  }
}

}  // namespace
