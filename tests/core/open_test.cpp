// Opening images: which driver, what of the description goes into the handle, what happens when it fails.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "orbbase/core/internal.h"
#include "tests/support/environment.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/image_owner.h"
#include "tests/support/limit_setting.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;
using testing::StartsWith;

constexpr const char* kInvalidType =
    "Invalid type rla (either the output file format type or the channel type stored in the file is "
    "incorrect)";

// The name of a written picture, and the module that takes it.
class Open : public testing::Test {
 protected:
  // Opens with the picture's rows 0 and 1.
  ORB_IMAGE* open_writer() { return written.open("w"); }

  const Plugins plugins{"good"};
  Description written{"written.good"};
  ORB_INFO& info = written.rows(0, 1).info;
  ReportRecorder recorder;
};

TEST_F(Open, takes_one_of_two_modes) {
  for (const char* mode : {"rb", "R", "", "wr"}) {
    recorder.clear();
    orb::set_error(ORB_E_READ);
    EXPECT_EQ(written.open(mode), nullptr);
    EXPECT_EQ(orb__err, 0);
    EXPECT_EQ(recorder.texts(),
              "File open mode (\"" + std::string(mode) + "\") not recognized; expecting \"r\" or \"w\"");
  }
  EXPECT_EQ(written.open(nullptr), nullptr);
  EXPECT_EQ(ORB_open(nullptr, "r"), nullptr);
  EXPECT_EQ(orb__err, ORB_E_OPEN);
}

TEST(Choice, is_made_by_key_or_by_the_end_of_the_name) {
  const Plugins plugins({"other", "good", "mem_key"});
  const struct {
    const char *key, *name;
    const char* for_reading;  // keys of the drivers chosen
    const char* for_writing;
    const char* extension = nullptr;
  } rows[] = {
      {"good", "x.other", "good", "good"},    // the key decides, whatever the name says
      {".good", "x", "good", "good"},         // a plug-in's extension as a key
      {"mem", "x", "mem", "mem", ".hides"},   // a plug-in before the built-in driver
      {".mem", "x", nullptr, "mem", ".mem"},  // a built-in driver's extension as a key: for writing only
      {".pipe", "x", nullptr, "pipe"},          {"pipe", "x", "pipe", "pipe"},
      {"GOOD", "x.good", nullptr, nullptr},     {nullptr, "dir/x.good", "good", "good"},
      {nullptr, ".good", "good", "good"},       {nullptr, "xgood", nullptr, nullptr},
      {nullptr, "x.mem", "mem", "mem", ".mem"}, {nullptr, "x.tif", nullptr, nullptr},
      {nullptr, nullptr, nullptr, nullptr},     {nullptr, "d", nullptr, nullptr},
      {"", "x.good", nullptr, nullptr},
  };
  for (const auto& row : rows) {
    const auto* reading = orb::choose_driver(row.key, row.name, orb::Direction::read);
    const auto* writing = orb::choose_driver(row.key, row.name, orb::Direction::write);
    const std::string label = std::string(row.key ? row.key : "-") + " " + (row.name ? row.name : "-");
    EXPECT_STREQ(reading ? reading->key : nullptr, row.for_reading) << label;
    EXPECT_STREQ(writing ? writing->key : nullptr, row.for_writing) << label;
    if (row.extension && writing) {
      EXPECT_STREQ(writing->extension, row.extension) << label;
    }
  }
}

TEST(Choice, falls_back_to_the_default_key_and_to_a_plugin_without_extension) {
  const struct {
    std::initializer_list<std::string> modules;
    const char *key, *name, *chosen;
  } rows[] = {{{"good", "rla"}, nullptr, "x.tif", "rla"},
              // Takes what no plug-in before it took, built-in extensions too; one behind it gets nothing.
              {{"good", "no_extension", "other"}, nullptr, "x.good", "good"},
              {{"good", "no_extension", "other"}, nullptr, "x.mem", "any"},
              {{"good", "no_extension", "other"}, nullptr, "x.other", "any"},
              {{"good", "no_extension", "other"}, "", "x.good", "any"}};
  for (const auto& row : rows) {
    const Plugins plugins(row.modules);
    EXPECT_STREQ(orb::choose_driver(row.key, row.name, orb::Direction::read)->key, row.chosen) << row.name;
  }
}

TEST(Choice, without_a_driver_for_it_fails_by_the_default_keys_name) {
  const Plugins plugins({"read_only", "write_only"});
  const struct {
    const char *key, *name, *mode;
    int32_t error;
    const char* report;
  } rows[] = {
      {"tif", "x", "r", ORB_E_TYPE, kInvalidType},
      {nullptr, "x.tif", "w", ORB_E_TYPE, kInvalidType},
      {".mem", "x", "r", ORB_E_TYPE, kInvalidType},
      {"reader", "up_0_3", "w", ORB_E_HANDLE, "reader cannot handle the requested action"},
      {".writer", "up_0_3", "r", ORB_E_HANDLE, ".writer cannot handle the requested action"},
      {nullptr, "up_0_3.writer", "r", ORB_E_HANDLE, "writer cannot handle the requested action"},
      {"writer", nullptr, "w", ORB_E_OPEN, "Required field, handle, uninitialized"},
      {"reader", "no picture", "r", ORB_E_OPEN, "Cannot open file no picture; no such picture"},
      {"reader", nullptr, "r", ORB_E_OPEN, "Cannot open file ; no such picture"},
  };
  for (const auto& row : rows) {
    ReportRecorder recorder;
    Description wanted(row.name, row.key);
    wanted.info.settings = one_setting(1);
    EXPECT_EQ(wanted.open(row.mode), nullptr);
    EXPECT_EQ(orb__err, row.error);
    EXPECT_EQ(recorder.texts(), row.report);
    ASSERT_NE(wanted.info.settings, nullptr);
    EXPECT_EQ(wanted.info.settings[0]->value.integer, 1);  // still the caller's
    orb::free_settings(wanted.info.settings);
  }
}

TEST_F(Open, for_reading_takes_little_of_the_record_and_the_rest_from_the_file) {
  const struct {
    const char* name;
    int32_t current_line;
    uint32_t orientation;
  } rows[] = {{"a/up_3_9.good", -1, 1}, {"a/down_3_9.good", 10, 0}};
  for (const auto& row : rows) {
    Description wanted(row.name);
    wanted.info.open_option = 1;
    wanted.info.read_option = 0;
    wanted.info.text3 = const_cast<char*>("not for readers");
    wanted.info.job_number = 7;
    wanted.info.settings = one_setting(5);
    const Image image(wanted.open("r"));
    ASSERT_NE(image, nullptr);
    EXPECT_STREQ(image->info.handle, row.name);
    EXPECT_NE(image->info.handle, row.name);
    EXPECT_STREQ(image->info.key, "good");
    EXPECT_STREQ(image->info.extension, ".good");
    EXPECT_EQ(image->info.text3, nullptr);
    EXPECT_EQ(image->info.job_number, -1);
    EXPECT_TRUE(image->info.open_option == 1 && image->info.read_option == 0);
    EXPECT_EQ(image->info.settings, wanted.info.settings);  // the handle's from here
    EXPECT_EQ(image->current_line, row.current_line);
    EXPECT_EQ(image->info.images[0].orientation, row.orientation);
    EXPECT_EQ(image->format, ORB_find("good"));
  }
}

// That each field is copied is held by the drivers' round trips.
TEST_F(Open, for_writing_copies_the_description_and_fills_the_texts_that_were_left_out) {
  float samples[2] = {0.25f, 0.5f};
  void* tables[] = {samples};
  written.ifd.curve = {ORB_CURVE_TABLE, 1.0f, 0, 1, 2, ORB_C_FLOAT, 32, tables};
  written.ifd.color.name = const_cast<char*>("rgb");
  info.key = const_cast<char*>(".good");
  info.frame_count = 3;
  const auto before = std::time(nullptr);
  const Image image(open_writer());
  const auto after = std::time(nullptr);
  ASSERT_NE(image, nullptr);
  EXPECT_STREQ(image->info.key, ".good");  // as asked for: the name was not needed
  EXPECT_EQ(image->current_line, -1);
  EXPECT_EQ(image->format, ORB_find("good"));
  EXPECT_EQ(image->info.frame_count, 3);
  const ORB_IFD& ifd = image->info.images[0];
  ASSERT_NE(ifd.curve.tables, tables);
  EXPECT_EQ(static_cast<const float*>(ifd.curve.tables[0])[1], 0.5f);
  EXPECT_STREQ(ifd.color.name, "rgb");
  for (const char* text : {image->info.text1, image->info.text3, image->info.text4, image->info.text8,
                           image->info.text9, image->info.text10, ifd.name, ifd.index.name}) {
    EXPECT_STREQ(text, "unknown");
  }
  for (const char* text : {image->info.text5, image->info.text6}) EXPECT_STRNE(text, "");
  unsigned seconds = 0;
  char end = 0;
  ASSERT_EQ(std::sscanf(image->info.text7, "{%u%c", &seconds, &end), 2);
  EXPECT_TRUE(end == '}' && seconds >= before && seconds <= after) << image->info.text7;
}

TEST_F(Open, takes_a_job_number_of_0_from_the_environment) {
  const struct {
    const char* variable;
    int32_t wanted, number;
  } rows[] = {{"42", 0, 42},
              {"42", -1, -1},
              {"42", 6, 6},
              {nullptr, 0, -1},
              {"job", 0, 0},
              {"99999999999", 0, INT32_MAX},
              {"-99999999999%n", 0, INT32_MIN}};
  for (const auto& row : rows) {
    const Environment variable("QV_JOB_NUM", row.variable);
    info.job_number = row.wanted;
    EXPECT_EQ(Image(open_writer())->info.job_number, row.number);
  }
}

TEST_F(Open, takes_no_image_count_on_trust) {
  const struct {
    int32_t image_count;
    ORB_IFD* images;
    int32_t error;
    const char* report;
  } rows[] = {
      {INT32_MIN, &written.ifd, ORB_E_HANDLE, "good cannot handle the requested action"},  // counts as none
      {0, &written.ifd, ORB_E_HANDLE, "good cannot handle the requested action"},
      {INT32_MAX, nullptr, ORB_E_HANDLE, "good cannot handle the requested action"},
      {65537, &written.ifd, ORB_E_MEMORY, "ORB_open: over the limit of sub-images in a file: 65537 needed"},
  };
  for (const auto& row : rows) {
    recorder.clear();
    info.image_count = row.image_count;
    info.images = row.images;
    EXPECT_EQ(open_writer(), nullptr);
    EXPECT_EQ(orb__err, row.error) << row.image_count;
    EXPECT_THAT(recorder.texts(), StartsWith(row.report)) << row.image_count;
  }
}

TEST_F(Open, for_reading_holds_the_pixels_that_the_file_declares_to_their_limit) {
  Description wanted("up_0_29.good");  // 4 columns
  for (const uint64_t most : {120, 119}) {
    const LimitSetting limit(ORB_LIMIT_PIXELS, most);
    wanted.info.settings = one_setting(1);
    EXPECT_EQ(Image(wanted.open("r")) != nullptr, most == 120);
  }
  EXPECT_EQ(orb__err, ORB_E_MEMORY);
  EXPECT_THAT(recorder.texts(), StartsWith("ORB_open: over the limit of pixels in an image: 120 needed"));
  EXPECT_EQ(plugins[0].variable<int32_t>("testCloses"), 2);
  EXPECT_EQ(wanted.info.settings[0]->value.integer, 1);  // still the caller's
  orb::free_settings(wanted.info.settings);
}

TEST_F(Open, complains_of_a_record_never_initialised_and_goes_on) {
  info.magic = 0;
  testing::internal::CaptureStderr();
  EXPECT_NE(Image(open_writer()), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ORB_open: application programming error.\n"
            "The application must call ORB_info_init or ORB_info_alloc\n"
            "on the info structure before passing it to ORB_open.\n");
  info.magic = ORB_INFO_MAGIC;
}

TEST_F(Open, survives_the_failure_of_any_allocation) {
  Description reading("up_0_3.good");
  for (Description* wanted : {&reading, &written}) {
    int without_texts = 0;
    bool has_failed = true;
    for (int nth = 1; has_failed; ++nth) {
      SCOPED_TRACE(nth);
      recorder.clear();
      wanted->info.settings = one_setting(1);
      const FailAllocation fail(nth);
      const Image image(wanted->open(wanted == &reading ? "r" : "w"));
      has_failed = fail.happened();
      EXPECT_EQ(orb__err, image ? 0 : ORB_E_MEMORY);
      EXPECT_EQ(recorder.texts() != "", has_failed);
      if (!image) {
        EXPECT_TRUE(has_failed);
        orb::free_settings(wanted->info.settings);
        continue;
      }
      EXPECT_STREQ(image->info.handle, wanted->info.handle);
      if (!has_failed || wanted == &reading) continue;
      ++without_texts;
      EXPECT_EQ(image->info.text10, nullptr);  // the last: it and what comes before it stay unset
      EXPECT_STREQ(image->info.images[0].name, "unknown");
    }
    // One for each text; without its name or its images no file is written.
    EXPECT_EQ(without_texts, wanted == &written ? 9 : 0);
  }
}

TEST_F(Open, handles_can_be_duplicated_without_sharing_what_they_own) {
  Description wanted("up_0_3.good");
  wanted.info.settings = one_setting(9);
  const Image image(wanted.open("r"));
  ASSERT_NE(image, nullptr);
  image->info.reserved_a = 77;
  ORB_IMAGE* copy = nullptr;
  for (int nth = 1; !copy; ++nth) {
    const FailAllocation fail(nth);
    const int32_t result = orb::duplicate_handle(image.get(), &copy);
    EXPECT_EQ(result, fail.happened() ? 0 : 1) << nth;
    ASSERT_EQ(copy == nullptr, fail.happened()) << nth;
    EXPECT_TRUE(copy || orb__err == ORB_E_MEMORY) << nth;
  }
  EXPECT_STREQ(copy->info.handle, image->info.handle);
  EXPECT_NE(copy->info.handle, image->info.handle);
  EXPECT_NE(copy->info.settings, image->info.settings);
  EXPECT_EQ(copy->info.settings[0]->value.integer, 9);
  EXPECT_EQ(copy->info.reserved_a, 77u);
  EXPECT_TRUE(!copy->info.images && !copy->driver && copy->lock != image->lock);
  EXPECT_TRUE(copy->scan == image->scan && copy->close == image->close);
  EXPECT_EQ(orb__free_obj(copy), 1);
  EXPECT_EQ(orb__free_obj(nullptr), 1);
}

}  // namespace
