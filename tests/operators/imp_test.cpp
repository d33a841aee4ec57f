// The table of image processes and what all generators share.
#include "orbbase/imp.h"

#include <gtest/gtest.h>

#include "tests/operators/reduce_oracle.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

TEST(Imp, TypesAreListedOnceWithTheirAccess) {
  ERR_unmask_s(ERR_DEBUG);
  const IMP_PROCESS process = {"none", 0, 0, 0, nullptr};
  for (const bool opens_first : {false, true}) {
    const ReportRecorder recorder;
    EXPECT_EQ(opens_first ? IMP_open(nullptr, &process, "r") : nullptr, nullptr);
    std::string types;
    while (const IMP_TYPE* type = IMP_info()) {
      types += std::string(type->name) + "|" + type->label + "|" + type->description + "|" +
               std::to_string(type->access) + "\n";
    }
    EXPECT_EQ(types,
              "none|none|No operation|3\n"
              "mipmap|Mipmap|Mipmap texture generator|3\n"
              "swatch|Swatch|Subsample image generator|3\n");
    EXPECT_EQ(IMP_info(), nullptr);
    EXPECT_EQ(recorder.texts(), std::string("imp, initializing database for ") +
                                    (opens_first ? "IMP_open" : "IMP_info") + " request");
    ORB_exit();  // the next walk begins anew
  }
}

TEST(Imp, OpensReportWhatTheyDoNotKnow) {
  const Image image = Source(Picture("imp.mem", "mem")).open();
  IMP_info();
  const struct {
    const char* type;
    const char* access;
    const char* report;
    int32_t status;
  } cases[] = {
      {"none", "rw", "\"rw\" access not recognized", 0},
      {"blur", "", "\"\" access not recognized", 0},
      {"none", nullptr, "\"\" access not recognized", 0},
      {"blur", "r", "Invalid image process type none", -1},
      {"Swatch", "r", "Invalid image process type none", -1},
      {nullptr, "r", "Invalid image process type none", -1},
      {"none", "r", "", 0},
      {"none", "w", "", 0},
  };
  for (const auto& c : cases) {
    const ReportRecorder recorder;
    const IMP_PROCESS process = {c.type, 0, 0, 0, nullptr};
    EXPECT_EQ(IMP_open(image.get(), &process, c.access), *c.report ? nullptr : image.get());
    EXPECT_EQ(recorder.texts(), c.report);
    EXPECT_EQ(IMP_status(), c.status);
  }
  EXPECT_EQ(IMP_open(image.get(), nullptr, "r"), nullptr);
}

TEST(Imp, PlansGiveAsManyImagesAsThereIsRoomFor) {
  ORB_IFD full = Picture("plan.mem").window({-5, 4, 10, 16}).active({-2, 3, 11, 14}).ifds[0];
  EXPECT_EQ(IMP_plan(&kMipmap, &full, nullptr, 0), 5);
  ORB_IFD images[3] = {};
  EXPECT_EQ(IMP_plan(&kMipmap, &full, images, 2), 5);
  EXPECT_EQ(images[0].window.left, -5);
  const ORB_WINDOW half[] = {{0, 4, 0, 3}, {1, 4, 0, 2}};  // and what is active in it
  EXPECT_EQ(std::memcmp(&images[1].window, half, sizeof half), 0);
  EXPECT_EQ(images[1].pair_a[0], 5);
  EXPECT_EQ(images[2].window.right, 0);  // untouched
  full.window = full.active_window = {INT32_MIN, INT32_MIN, INT32_MIN, INT32_MAX};
  EXPECT_EQ(IMP_plan(&kMipmap, &full, nullptr, 0), 33);
  EXPECT_EQ(IMP_plan(nullptr, &full, images, 3), 1);
  EXPECT_EQ(images[0].window.left, INT32_MIN);
  const ReportRecorder recorder;
  ORB_IFD reversed = full;
  reversed.active_window.bottom = 0;
  reversed.active_window.top = INT32_MIN;
  constexpr IMP_PROCESS kNone = {nullptr, 0, 0, 0, nullptr};
  const struct {
    IMP_PROCESS process;
    const ORB_IFD* full;
    int32_t room, count;
  } rows[] = {{kNone, &full, 1, 1},
              {kNone, &full, 0, 1},
              {swatch_of(4), &full, 0, 1},
              {swatch_of(4), nullptr, 1, 0},
              {swatch_of(-1), &full, 1, 0},
              {swatch_of(4), &reversed, 1, 0},
              {{"blur", 0, 0, 0, nullptr}, &full, 1, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    orb__err = 0;
    EXPECT_EQ(IMP_plan(&row.process, row.full, row.room ? images : nullptr, row.room), row.count);
    EXPECT_EQ(orb__err, row.count ? 0 : ORB_E_HANDLE);
  }
}

// ---- What all generators make, beside the slow form ----------------------------------------------------

// Empty when the images of a handle are what a process makes of a source.
std::string compare_made(ORB_IMAGE* image, const Source& source, bool is_pyramid) {
  if (!is_pyramid) return compare_image(image, reduced_planes(source, image->info.images[0]));
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

std::string compare_read(const Source& source, const IMP_PROCESS& process) {
  const Image image = source.open();
  if (IMP_open(image.get(), &process, "r") != image.get()) return "code " + std::to_string(orb__err);
  return compare_made(image.get(), source, process.size == 0);
}

std::string compare_written(const Source& source, IMP_PROCESS process, const char* key) {
  Image writer = open_to_write(planned_file(source, process, "made.file", key));
  process.full = &source.ifd();
  if (!writer || IMP_open(writer.get(), &process, "w") != writer.get())
    return "code " + std::to_string(orb__err);
  if (writer->info.image_count != 1) return "images for the application";
  if (window_width(writer->info.images[0]) != window_width(source.ifd())) return "width for the application";
  if (source.write(writer.get()) != 0) return "rows";
  if (ORB_close(writer.release()) != 0) return "close";
  return compare_made(open_to_read(Picture("made.file", key)).get(), source, process.size == 0);
}

// The same as an RLA file takes it, which knows no negative columns and no other order.
Source for_rla(const Source& source) {
  Picture picture = source.picture();
  picture.ifds[0].orientation = ORB_BOTTOM_UP;
  for (ORB_WINDOW* window : {&picture.ifds[0].window, &picture.ifds[0].active_window}) {
    window->left += 3;
    window->right += 3;
  }
  return Source(picture);
}

TEST(Generators, EveryKindIsTheSlowOneReadAndWritten) {
  const Plugins plugins({"rla_format"});
  for (const Source& source : every_kind_of_source()) {
    const ORB_IFD& ifd = source.ifd();
    for (const IMP_PROCESS& process : {kMipmap, swatch_of(5), swatch_of(16), swatch_of(22)}) {
      SCOPED_TRACE(std::string(process.type) + std::to_string(process.size) + " of " +
                   std::to_string(ifd.color.width) + " bits, gamma " + std::to_string(ifd.curve.gamma));
      EXPECT_EQ(compare_read(source, process), "");
      EXPECT_EQ(compare_written(source, process, "mem"), "");
      if (ifd.curve.kind != ORB_CURVE_GAMMA || !(ifd.curve.gamma >= 0)) continue;
      EXPECT_EQ(compare_written(for_rla(source), process, "rla"), "");
    }
  }
}

TEST(Generators, EverySizeIsTheSlowOne) {
  const auto check = [](int32_t width, int32_t height, bool is_upward, float gamma,
                        const IMP_PROCESS& process) {
    Picture picture("size.mem", "mem");
    picture.window({0, width - 1, 0, height - 1}).group(&ORB_IFD::color, 1, ORB_C_INTEGER, 8);
    if (!is_upward) picture.top_down();
    picture.ifds[0].curve.gamma = gamma;
    EXPECT_EQ(compare_read(Source(picture), process), "") << width << " x " << height << process.type;
  };
  for (int32_t size = 1; size <= 67; ++size) {
    for (int32_t other : {1, 2, 3, 7, 67}) {
      check(size, other, true, other % 2 == 0 || other == 7 ? 1.0F : 2.2F, kMipmap);
      check(other, size, false, 2.2F, kMipmap);
    }
    for (const int32_t height : {1, 3, size % 16 == 3 ? 67 : 2}) {
      for (const int32_t to : {1, 2, 31, 66, 100}) check(size, height, size % 2 == 0, 2.2F, swatch_of(to));
    }
  }
}

TEST(Generators, RemovalGivesTheHandleBack) {
  for (const IMP_PROCESS& process : {kMipmap, swatch_of(15)}) {
    const Image image = Source(Picture("remove.mem", "mem").window({5, 25, 0, 15}).images(2)).open();
    const ORB_IMAGE before = *image;
    void* const second = image->driver[1].data;
    ASSERT_NE(IMP_open(image.get(), &process, "r"), nullptr);
    ORB__select(image.get(), 1);
    const bool is_pyramid = process.size == 0;
    EXPECT_EQ(IMP_remove(image.get()), is_pyramid ? 0 : 1);
    EXPECT_EQ(ORB__select_remove(image.get()), is_pyramid ? 1 : 0);
    EXPECT_EQ(image->info.image_count, is_pyramid ? 6 : 2);
    EXPECT_EQ(IMP_remove(image.get()), is_pyramid ? 1 : 0);
    EXPECT_EQ(std::memcmp(&before, image.get(), sizeof before), 0);
    EXPECT_EQ(image->driver[1].data, second);
    EXPECT_EQ(IMP_remove(image.get()), 0);
  }
}

}  // namespace
