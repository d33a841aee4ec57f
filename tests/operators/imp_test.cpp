// The table of image processes and what all generators share.
#include "orbbase/imp.h"

#include <gtest/gtest.h>

#include "tests/operators/reduce_oracle.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

TEST(Imp, TypesAreListedOnceWithTheirAccess) {
  ERR_unmask_s(ERR_DEBUG);
  for (int round = 0; round < 2; ++round) {
    const ReportRecorder recorder;
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
    EXPECT_EQ(recorder.texts(), "imp, initializing database for IMP_info request");
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

TEST(Imp, OpenStartsTheDatabaseAndTheWalkBeginsAtTheFirst) {
  ERR_unmask_s(ERR_DEBUG);
  const ReportRecorder recorder;
  const IMP_PROCESS process = {"none", 0, 0, 0, nullptr};
  EXPECT_EQ(IMP_open(nullptr, &process, "r"), nullptr);
  EXPECT_EQ(recorder.texts(), "imp, initializing database for IMP_open request");
  EXPECT_STREQ(IMP_info()->name, "none");
}

TEST(Imp, DatabaseThatFindsNoMemorySaysSoAndStartsLater) {
  ORB_init(nullptr, nullptr);
  for (int64_t nth = 1; nth <= 3; ++nth) {
    const FailAllocation fault(nth);
    EXPECT_EQ(IMP_info(), nullptr) << nth;
    EXPECT_EQ(IMP_status(), -3) << nth;
  }
  EXPECT_STREQ(IMP_info()->name, "none");
  EXPECT_EQ(IMP_status(), 0);
}

TEST(Imp, GeneratorsRefuseWhatTheyCannotDo) {
  const struct {
    const char* what;
    IMP_PROCESS process;
    void (*spoil)(Picture&);
    const char* report;
  } cases[] = {
      {"size", {"swatch", -1, 0, 0, nullptr}, [](Picture&) {}, "swatch cannot handle the requested action"},
      {"levels", {"mipmap", 0, -1, 0, nullptr}, [](Picture&) {}, "mipmap cannot handle the requested action"},
      {"filter", {"swatch", 3, 0, 1, nullptr}, [](Picture&) {}, "swatch cannot handle the requested action"},
      {"indices",
       {"mipmap", 0, 0, 0, nullptr},
       [](Picture& p) { p.no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8); },
       "mipmap cannot handle image channel type"},
      {"tables for real samples",
       {"swatch", 3, 0, 0, nullptr},
       [](Picture& p) {
         static uint8_t table[2] = {};
         static void* tables[] = {table};
         p.group(&ORB_IFD::color, 3, ORB_C_FLOAT, 32);
         p.ifds[0].curve = {ORB_CURVE_TABLE, 1.0F, 0, 1, 2, ORB_C_INTEGER, 8, tables};
       },
       "swatch cannot handle the requested action"},
  };
  for (const auto& c : cases) {
    Picture picture("spoilt.mem", "mem");
    c.spoil(picture);
    const Image image = open_written(picture);
    ASSERT_TRUE(image) << c.what;
    const ORB_IMAGE before = *image;
    const ReportRecorder recorder;
    EXPECT_EQ(IMP_open(image.get(), &c.process, "r"), nullptr) << c.what;
    EXPECT_EQ(orb__err, ORB_E_HANDLE) << c.what;
    EXPECT_EQ(recorder.texts(), c.report) << c.what;
    EXPECT_EQ(std::memcmp(&before, image.get(), sizeof before), 0) << c.what;
    EXPECT_EQ(IMP_open(image.get(), &c.process, "w"), nullptr) << c.what;  // open in the other mode
    EXPECT_EQ(IMP_open(nullptr, &c.process, "r"), nullptr) << c.what;
  }
}

TEST(Imp, FailedAllocationsLeaveTheHandleAsItWas) {
  const Source source(Picture("memory.mem", "mem").window({0, 20, 0, 15}).active({1, 20, 0, 15}));
  for (const char* type : {"mipmap", "swatch"}) {
    const IMP_PROCESS process = {type, 4, 0, 0, &source.ifd()};
    for (const char* access : {"r", "w"}) {
      Picture file("memory.file", "mem");
      file.ifds.resize(10);
      file.ifds.resize(static_cast<size_t>(IMP_plan(&process, &source.ifd(), file.ifds.data(), 10)));
      const Image image = *access == 'r' ? source.open() : open_to_write(file);
      const ORB_IMAGE before = *image;
      IMP_info();
      int64_t nth = 1;
      for (bool happened = true; happened; ++nth) {
        const FailAllocation fault(nth);
        const ORB_IMAGE* const opened = IMP_open(image.get(), &process, access);
        happened = fault.happened();
        EXPECT_EQ(opened, happened ? nullptr : image.get()) << type << access << nth;
        if (!happened) break;
        EXPECT_EQ(orb__err, ORB_E_MEMORY) << type << access << nth;
        EXPECT_EQ(std::memcmp(&before, image.get(), sizeof before), 0) << type << access << nth;
      }
      EXPECT_GT(nth, 6);
    }
  }
}

TEST(Imp, PlansGiveAsManyImagesAsThereIsRoomFor) {
  ORB_IFD full = Picture("plan.mem").ifds[0];
  full.window = {-5, 4, 10, 16};
  full.active_window = {-2, 3, 11, 14};
  IMP_PROCESS process = {"mipmap", 0, 0, 0, nullptr};
  EXPECT_EQ(IMP_plan(&process, &full, nullptr, 0), 5);
  ORB_IFD images[3] = {};
  EXPECT_EQ(IMP_plan(&process, &full, images, 2), 5);
  EXPECT_EQ(images[0].window.left, -5);
  const ORB_WINDOW half = {0, 4, 0, 3};
  const ORB_WINDOW half_active = {1, 4, 0, 2};
  EXPECT_EQ(std::memcmp(&images[1].window, &half, sizeof half), 0);
  EXPECT_EQ(std::memcmp(&images[1].active_window, &half_active, sizeof half), 0);
  EXPECT_EQ(images[1].pair_a[0], 5);
  EXPECT_EQ(images[2].window.right, 0);  // untouched
  full.window = full.active_window = {INT32_MIN, INT32_MIN, INT32_MIN, INT32_MAX};
  EXPECT_EQ(IMP_plan(&process, &full, nullptr, 0), 33);
  process.type = nullptr;
  EXPECT_EQ(IMP_plan(&process, &full, images, 3), 1);
  process.type = "blur";
  EXPECT_EQ(IMP_plan(&process, &full, images, 3), 0);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  full.active_window.top = INT32_MIN;
  full.active_window.bottom = 0;
  process.type = "swatch";
  EXPECT_EQ(IMP_plan(&process, &full, images, 3), 0);
}

}  // namespace
