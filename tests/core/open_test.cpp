// Opening images: which driver, what of the description goes into the handle, what happens when it fails.
#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>

#include "orbbase/core/internal.h"
#include "tests/support/environment.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::Description;
using orb::testing::Environment;
using orb::testing::FailAllocation;
using orb::testing::one_setting;
using orb::testing::Plugins;
using orb::testing::ReportRecorder;

constexpr const char* kInvalidType =
    "Invalid type rla (either the output file format type or the channel type stored in the file is "
    "incorrect)";

TEST(Open, takes_one_of_two_modes) {
  const Plugins plugins({"good"});
  for (const char* mode : {"rb", "R", "", "wr"}) {
    ReportRecorder recorder;
    Description wanted("up_0_3.good");
    orb::set_error(ORB_E_READ);
    EXPECT_EQ(wanted.open(mode), nullptr);
    EXPECT_EQ(orb__err, 0);
    EXPECT_EQ(recorder.texts(),
              "File open mode (\"" + std::string(mode) + "\") not recognized; expecting \"r\" or \"w\"");
  }
  ReportRecorder recorder;
  Description wanted("up_0_3.good");
  EXPECT_EQ(wanted.open(nullptr), nullptr);
  EXPECT_EQ(ORB_open(nullptr, "r"), nullptr);
  EXPECT_EQ(orb__err, ORB_E_OPEN);
}

TEST(Open, chooses_the_driver_by_key_or_by_the_end_of_the_name) {
  const Plugins plugins({"other", "good", "mem_key"});
  const struct {
    const char* key;
    const char* name;
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

TEST(Open, falls_back_to_the_default_key_and_to_a_plugin_without_extension) {
  {
    const Plugins plugins({"good", "rla"});
    EXPECT_STREQ(orb::choose_driver(nullptr, "x.tif", orb::Direction::read)->key, "rla");
  }
  // Takes what no plug-in before it took, built-in extensions too; a plug-in behind it gets nothing.
  const Plugins plugins({"good", "no_extension", "other"});
  EXPECT_STREQ(orb::choose_driver(nullptr, "x.good", orb::Direction::read)->key, "good");
  EXPECT_STREQ(orb::choose_driver(nullptr, "x.mem", orb::Direction::read)->key, "any");
  EXPECT_STREQ(orb::choose_driver(nullptr, "x.other", orb::Direction::read)->key, "any");
  EXPECT_STREQ(orb::choose_driver("", "x.good", orb::Direction::read)->key, "any");
}

TEST(Open, without_a_driver_for_it_fails_by_the_default_keys_name) {
  const Plugins plugins({"read_only", "write_only"});
  const struct {
    const char* key;
    const char* name;
    const char* mode;
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

TEST(Open, for_reading_takes_little_of_the_record_and_the_rest_from_the_file) {
  const Plugins plugins({"good"});
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
    ORB_IMAGE* image = wanted.open("r");
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->mode, static_cast<uint32_t>(ORB_MODE_READ));
    EXPECT_STREQ(image->info.handle, row.name);
    EXPECT_NE(image->info.handle, row.name);
    EXPECT_STREQ(image->info.key, "good");
    EXPECT_STREQ(image->info.extension, ".good");
    EXPECT_EQ(image->info.text3, nullptr);
    EXPECT_EQ(image->info.job_number, -1);
    EXPECT_EQ(image->info.open_option, 1);
    EXPECT_EQ(image->info.read_option, 0);
    EXPECT_EQ(image->info.settings, wanted.info.settings);  // the handle's from here
    EXPECT_EQ(image->current_line, row.current_line);
    EXPECT_EQ(image->info.images[0].orientation, row.orientation);
    EXPECT_EQ(image->format, ORB_find("good"));
    EXPECT_EQ(ORB_close(image), 0);
  }
}

TEST(Open, for_writing_copies_the_description) {
  const Plugins plugins({"good"});
  Description wanted("written", ".good");
  wanted.rows(2, 5, 0);
  wanted.ifd.pixel_aspect = 1.5f;
  wanted.ifd.color.name = const_cast<char*>("rgb");
  float samples[2] = {0.25f, 0.5f};
  void* tables[] = {samples};
  wanted.ifd.curve = {ORB_CURVE_TABLE, 1.0f, 0, 1, 2, ORB_C_FLOAT, 32, tables};
  wanted.info.frame_rate = 25.0f;
  wanted.info.frame_count = 3;
  wanted.info.word_e = ORB_ASSUMED_GAMMA;
  wanted.info.chromaticity[11] = 0.5f;
  ORB_IMAGE* image = wanted.open("w");
  ASSERT_NE(image, nullptr);
  const ORB_IFD& ifd = image->info.images[0];
  EXPECT_STREQ(image->info.key, ".good");  // as asked for: the name was not needed
  EXPECT_EQ(image->mode, static_cast<uint32_t>(ORB_MODE_WRITE));
  EXPECT_EQ(image->current_line, -1);
  EXPECT_EQ(image->format, ORB_find("good"));
  EXPECT_EQ(image->info.frame_rate, 25.0f);
  EXPECT_EQ(image->info.frame_count, 3);
  EXPECT_EQ(image->info.word_e, static_cast<uint64_t>(ORB_ASSUMED_GAMMA));
  EXPECT_EQ(image->info.chromaticity[11], 0.5f);
  EXPECT_EQ(ifd.pixel_aspect, 1.5f);
  EXPECT_EQ(ifd.orientation, 0u);
  EXPECT_EQ(ifd.window.top, 5);
  EXPECT_STREQ(ifd.name, "unknown");
  EXPECT_STREQ(ifd.color.name, "rgb");
  EXPECT_STREQ(ifd.index.name, "unknown");
  ASSERT_NE(ifd.curve.tables, tables);
  EXPECT_EQ(static_cast<const float*>(ifd.curve.tables[0])[1], 0.5f);
  EXPECT_EQ(ORB_close(image), 0);
}

TEST(Open, for_writing_fills_the_texts_that_were_left_out) {
  const Plugins plugins({"good"});
  Description wanted("written.good");
  wanted.rows(0, 1);
  wanted.info.text4 = const_cast<char*>("a program");
  const auto before = std::time(nullptr);
  ORB_IMAGE* image = wanted.open("w");
  const auto after = std::time(nullptr);
  ASSERT_NE(image, nullptr);
  EXPECT_STREQ(image->info.text4, "a program");
  for (const char* text :
       {image->info.text1, image->info.text3, image->info.text8, image->info.text9, image->info.text10}) {
    EXPECT_STREQ(text, "unknown");
  }
  for (const char* text : {image->info.text5, image->info.text6}) EXPECT_STRNE(text, "");
  unsigned seconds = 0;
  char end = 0;
  ASSERT_EQ(std::sscanf(image->info.text7, "{%u%c", &seconds, &end), 2);
  EXPECT_EQ(end, '}');
  EXPECT_GE(seconds, before);
  EXPECT_LE(seconds, after);
  ORB_close(image);
}

TEST(Open, takes_a_job_number_of_0_from_the_environment) {
  const Plugins plugins({"good"});
  const struct {
    const char* variable;
    int32_t wanted;
    int32_t number;
  } rows[] = {{"42", 0, 42},
              {"42", -1, -1},
              {"42", 6, 6},
              {nullptr, 0, -1},
              {"job", 0, 0},
              {"99999999999", 0, INT32_MAX},
              {"-99999999999%n", 0, INT32_MIN}};
  for (const auto& row : rows) {
    const Environment variable("QV_JOB_NUM", row.variable);
    Description wanted("written.good");
    wanted.rows(0, 1).info.job_number = row.wanted;
    ORB_IMAGE* image = wanted.open("w");
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->info.job_number, row.number);
    ORB_close(image);
  }
}

TEST(Open, refuses_a_curve_that_cannot_be_copied) {
  const Plugins plugins({"good"});
  ReportRecorder recorder;
  Description wanted("written.good");
  wanted.rows(0, 1).ifd.curve = {ORB_CURVE_TABLE, 1.0f, 0, 0, 0, ORB_C_FLOAT, 32, nullptr};
  EXPECT_EQ(wanted.open("w"), nullptr);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(recorder.texts(), "");  // no tables: no lack of memory either
  wanted.ifd.curve = {ORB_CURVE_TABLE, 1.0f, 0, 0, 0, ORB_C_INTEGER, 17, nullptr};
  EXPECT_EQ(wanted.open("w"), nullptr);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_THAT(recorder.texts(), testing::StartsWith("Invalid curve depth"));
}

TEST(Open, takes_no_image_count_on_trust) {
  const Plugins plugins({"good"});
  const struct {
    int32_t image_count;
    bool has_images;
    int32_t error;
    const char* report;
  } rows[] = {
      {INT32_MIN, true, ORB_E_HANDLE, "good cannot handle the requested action"},  // counts as none
      {0, true, ORB_E_HANDLE, "good cannot handle the requested action"},
      {INT32_MAX, false, ORB_E_HANDLE, "good cannot handle the requested action"},
      {65537, true, ORB_E_MEMORY, "ORB_open: over the limit of sub-images in a file: 65537 needed"},
      {INT32_MAX, true, ORB_E_MEMORY, "ORB_open: over the limit of sub-images in a file: 2147483647 needed"},
  };
  for (const auto& row : rows) {
    ReportRecorder recorder;
    Description wanted("written.good");
    wanted.rows(0, 1).info.image_count = row.image_count;
    if (!row.has_images) wanted.info.images = nullptr;
    EXPECT_EQ(wanted.open("w"), nullptr);
    EXPECT_EQ(orb__err, row.error) << row.image_count;
    EXPECT_THAT(recorder.texts(), testing::StartsWith(row.report)) << row.image_count;
  }
}

TEST(Open, of_a_driver_that_fills_nothing_in_gives_a_handle_that_can_do_nothing) {
  const Plugins plugins({"hollow"});
  Description wanted("any name", "hollow");
  ORB_IMAGE* image = wanted.open("r");
  ASSERT_NE(image, nullptr);
  ORB_IMAGE* const before = image;
  ORB_LUT* lut = nullptr;
  EXPECT_EQ(orb::testing::read_sample(image, 0), -1);
  EXPECT_EQ(ORB_seek(&image, 3), ORB_E_HANDLE);
  EXPECT_EQ(image, before);
  EXPECT_EQ(ORB_lut_read(image, &lut), 1);
  EXPECT_EQ(ORB_close(image), ORB_E_HANDLE);
  orb__free_obj(image);
}

TEST(Open, complains_of_a_record_never_initialised_and_goes_on) {
  const Plugins plugins({"good"});
  Description wanted("up_0_3.good");
  wanted.info.magic = 0;
  testing::internal::CaptureStderr();
  ORB_IMAGE* image = wanted.open("r");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ORB_open: application programming error.\n"
            "The application must call ORB_info_init or ORB_info_alloc\n"
            "on the info structure before passing it to ORB_open.\n");
  EXPECT_NE(image, nullptr);
  ORB_close(image);
  wanted.info.magic = ORB_INFO_MAGIC;
}

TEST(Open, endures_texts_of_a_hundred_thousand_characters) {
  const Plugins plugins({"good"});
  const std::string text(100000, '%');
  const std::string name = text + ".good";
  Description wanted(name.c_str());
  wanted.rows(0, 1).info.text3 = const_cast<char*>(text.c_str());
  ORB_IMAGE* image = wanted.open("w");
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->info.text3, text);
  ORB_close(image);
  ReportRecorder recorder;
  EXPECT_EQ(wanted.open("r"), nullptr);
  EXPECT_EQ(orb__err, ORB_E_OPEN);
  wanted.info.key = wanted.info.handle;
  EXPECT_EQ(wanted.open("r"), nullptr);
  EXPECT_EQ(wanted.open(name.c_str()), nullptr);
}

// Opens for every k with the kth allocation failing. Every result must be whole or null with -10 and a
// report.
void open_with_every_allocation_failing(Description& wanted, const char* mode) {
  for (int nth = 1;; ++nth) {
    ReportRecorder recorder;
    wanted.info.settings = one_setting(1);
    FailAllocation fail(nth);
    ORB_IMAGE* image = wanted.open(mode);
    if (image) {
      EXPECT_EQ(orb__err, 0) << nth;
      EXPECT_STREQ(image->info.handle, wanted.info.handle) << nth;
      EXPECT_EQ(ORB_close(image), 0) << nth;
    } else {
      EXPECT_EQ(orb__err, ORB_E_MEMORY) << nth;
      orb::free_settings(wanted.info.settings);
    }
    if (!fail.happened()) {
      EXPECT_NE(image, nullptr);
      EXPECT_GT(nth, 6);
      return;
    }
    EXPECT_THAT(recorder.texts(), testing::HasSubstr("No more internal memory")) << nth;
  }
}

TEST(Open, survives_the_failure_of_any_allocation) {
  const Plugins plugins({"good", "multi"});
  Description reading("up_0_3.good");
  open_with_every_allocation_failing(reading, "r");
  Description writing("written.good");
  writing.rows(0, 1);
  open_with_every_allocation_failing(writing, "w");
}

TEST(Open, for_writing_goes_on_when_a_text_cannot_be_copied) {
  const Plugins plugins({"good"});
  Description wanted("written.good");
  wanted.rows(0, 1);
  int opened = 0;
  for (int nth = 1;; ++nth) {
    ReportRecorder recorder;
    FailAllocation fail(nth);
    ORB_IMAGE* image = wanted.open("w");
    if (!fail.happened()) {
      ORB_close(image);
      break;
    }
    if (!image) continue;
    ++opened;
    EXPECT_EQ(image->info.text10, nullptr) << nth;  // the last: it and what comes before it stay unset
    EXPECT_STREQ(image->info.images[0].name, "unknown") << nth;
    ORB_close(image);
  }
  EXPECT_EQ(opened, 9);  // one for each text; without its name or its images no file is written
}

TEST(Open, handles_can_be_duplicated_without_sharing_what_they_own) {
  const Plugins plugins({"good"});
  Description wanted("up_0_3.good");
  wanted.info.settings = one_setting(9);
  ORB_IMAGE* image = wanted.open("r");
  ASSERT_NE(image, nullptr);
  image->info.reserved_a = 77;
  ReportRecorder recorder;
  for (int nth = 1;; ++nth) {
    FailAllocation fail(nth);
    ORB_IMAGE* copy = nullptr;
    const int32_t result = orb::duplicate_handle(image, &copy);
    if (fail.happened()) {
      EXPECT_EQ(result, 0) << nth;
      EXPECT_EQ(copy, nullptr) << nth;
      EXPECT_EQ(orb__err, ORB_E_MEMORY) << nth;
      continue;
    }
    ASSERT_EQ(result, 1);
    EXPECT_STREQ(copy->info.handle, image->info.handle);
    EXPECT_NE(copy->info.handle, image->info.handle);
    EXPECT_NE(copy->info.settings, image->info.settings);
    EXPECT_EQ(copy->info.settings[0]->value.integer, 9);
    EXPECT_EQ(copy->info.reserved_a, 77u);
    EXPECT_EQ(copy->info.images, nullptr);
    EXPECT_EQ(copy->driver, nullptr);
    EXPECT_NE(copy->lock, image->lock);
    EXPECT_TRUE(copy->scan == image->scan && copy->close == image->close);
    EXPECT_EQ(orb__free_obj(copy), 1);
    break;
  }
  ORB_close(image);
  EXPECT_EQ(orb__free_obj(nullptr), 1);
}

}  // namespace
