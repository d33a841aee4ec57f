// How a module's symbols become a registration, and which modules are refused.
#include <gmock/gmock.h>

#include "orbbase/core/internal.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::Plugins;
using orb::testing::registered_keys;
using orb::testing::ReportRecorder;

TEST(Symbols, that_a_module_leaves_out_have_their_defaults) {
  const Plugins plugins({"minimal"});
  const ORB_FORMAT* format = ORB_find("minimal");
  ASSERT_NE(format, nullptr);
  EXPECT_STREQ(format->extension, "");
  EXPECT_EQ(format->description, nullptr);
  EXPECT_STREQ(format->format_string, "%s.%04.4d%s");
  EXPECT_EQ(format->name_syntax, nullptr);
  const int64_t numbers[] = {format->add_extension,
                             format->usage,
                             format->palette_bits,
                             format->channels,
                             format->channel_bits,
                             format->mattes,
                             format->matte_bits,
                             format->z_channels,
                             format->z_bits,
                             format->active_window,
                             format->access,
                             format->multi_frame,
                             format->hard_link_duplicates,
                             format->remote_access};
  EXPECT_THAT(numbers, testing::ElementsAre(1, 1, 0, 3, 128, 0, 0, 0, 0, 0, 12, 0, 1, 0));
  EXPECT_FALSE(format->capability || format->caps_avail_update || format->is_file || format->ui_popup ||
               format->ui_popdown);
  EXPECT_FALSE(orb::registry().plugins[0].done || orb::registry().plugins[0].init);
}

TEST(Symbols, that_a_module_has_each_arrive_in_their_own_field) {
  const Plugins plugins({"complete"});
  ORB_FORMAT* format = ORB_find(".complete");
  ASSERT_NE(format, nullptr);
  EXPECT_STREQ(format->key, "complete");
  EXPECT_STREQ(format->name, "picture of the tests");
  EXPECT_STREQ(format->description, "a description");
  EXPECT_STREQ(format->format_string, "%s-%d%s");
  EXPECT_STREQ(format->name_syntax, "Name-#.Ext");
  const int64_t numbers[] = {
      format->add_extension, format->usage,         format->palette_bits,         format->channels,
      format->channel_bits,  format->mattes,        format->matte_bits,           format->z_channels,
      format->z_bits,        format->active_window, format->hard_link_duplicates, format->remote_access,
      format->multi_frame,   format->orientation};
  EXPECT_THAT(numbers, testing::ElementsAre(21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 1));

  EXPECT_EQ(ORB_capabilities_available(format, 4, 0x105), 4005);  // the second argument is cut to 8 bits
  EXPECT_EQ(format->is_file("name", stderr), 1);
  EXPECT_EQ(ORB_private_ui_popup(format, 41), 42);
  EXPECT_EQ(ORB_private_ui_popdown(1, 2, 3, 4), 1234);
  EXPECT_EQ(ORB_private_ui_popdown(1, 2, 3, 4), 0);  // forgotten with the first call
}

TEST(Symbols, panels_need_both_functions) {
  ORB_FORMAT format = {};
  EXPECT_EQ(ORB_private_ui_popup(&format, 1), ORB_E_HANDLE);
  format.ui_popup = [](intptr_t) { return 1; };
  orb::set_error(0);
  EXPECT_EQ(ORB_private_ui_popup(&format, 1), ORB_E_HANDLE);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(ORB_private_ui_popdown(0, 0, 0, 0), 0);
}

TEST(Symbols, a_refused_module_is_reported_and_the_others_register) {
  const struct {
    const char* module;
    const char* report;
  } rows[] = {
      {"without_version", "without_version: version must be defined"},
      {"null_version", "null_version: version must be defined"},
      {"wrong_version",
       "wrong_version: the version protocol of this plug-in (\"version\") is not supported; expecting "
       "version "
       "\"3.2\" but found \"3.20\""},
      {"without_imageKey", "without_imageKey: imageKey must be defined"},
      {"null_key", "null_key: imageKey must be defined"},
      {"without_imageName", "without_imageName: imageName must be defined"},
      {"without_imageOrientation", "without_imageOrientation: imageOrientation must be defined"},
      {"without_imageReadOpen", "without_imageReadOpen: imageReadOpen must be defined"},
      {"without_imageWriteOpen", "without_imageWriteOpen: imageWriteOpen must be defined"},
      {"write_only_broken", "write_only_broken: imageWriteOpen must be defined"},
      {"declines", ""},  // its imageInit said no, which is no matter for a report
  };
  for (const auto& row : rows) {
    ReportRecorder recorder;
    const Plugins plugins({row.module, "other"});
    EXPECT_EQ(registered_keys(), "other pipe mem") << row.module;
    EXPECT_EQ(recorder.texts(), row.report);
    for (const auto& report : recorder.reports) EXPECT_EQ(report.category, ERR_ERROR);
  }
}

TEST(Symbols, only_the_opens_that_access_claims_are_required) {
  ReportRecorder recorder;
  const Plugins plugins({"read_only", "write_only"});
  EXPECT_EQ(registered_keys(), "reader writer pipe mem");
  EXPECT_EQ(recorder.texts(), "");
}

TEST(Symbols, a_null_extension_counts_as_none) {
  const Plugins plugins({"null_extension"});
  ASSERT_NE(ORB_find("null"), nullptr);
  EXPECT_STREQ(ORB_find("null")->extension, "");
}

TEST(Symbols, of_two_modules_with_one_key_the_later_wins_in_its_own_place) {
  const Plugins plugins({"good", "other", "good_again"});
  EXPECT_EQ(registered_keys(), "other good pipe mem");
  EXPECT_STREQ(ORB_find("good")->extension, ".again");
  EXPECT_EQ(ORB_find(".good"), nullptr);
}

TEST(Symbols, an_earlier_module_goes_even_when_the_later_is_refused) {
  ReportRecorder recorder;
  const Plugins plugins({"good", "good_broken"});
  EXPECT_EQ(registered_keys(), "pipe mem");
  EXPECT_EQ(recorder.texts(), "good_broken: imageName must be defined");
}

}  // namespace
