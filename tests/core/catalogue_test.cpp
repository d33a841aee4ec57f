// Listings of the plug-ins, and look-ups between key, name and extension.
#include <gmock/gmock.h>

#include <string>

#include "orbbase/core/internal.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::FailAllocation;
using orb::testing::Plugins;
using orb::testing::registered_keys;
using orb::testing::ReportRecorder;
using testing::ElementsAre;
using testing::StrEq;

constexpr const char* kName = "picture of the tests";  // of every test module

const char* texts[8];
char* names[8];
char buffer[256];

constexpr const char* kOnce = "Plugins not loaded, so Load!!\n\n";
constexpr const char* kTwice = "Plugins not loaded, so Load!!\n\nNo Plugins!\n";

// What a call that finds nothing gives and prints: without plug-ins, and with a null argument.
const struct Call {
  int32_t (*make)(bool with_null);
  int32_t result;
  const char* without_plugins;
  const char* with_null;
} kCalls[] = {
    {[](bool null) { return ORB_getFormatKeys(null ? nullptr : texts); }, 0, kTwice, "NULL pointer passed\n"},
    {[](bool null) { return ORB_getPluginExtensions(null ? nullptr : texts); }, 0, kTwice,
     "NULL pointer passed\n"},
    {[](bool null) { return ORB_getPluginNames(null ? nullptr : names); }, 0, kTwice,
     "NULL pointer passed\n"},
    {[](bool null) { return ORB_getPluginNameFromKey(null ? nullptr : "mem", buffer); }, -1, kOnce,
     "NULL key passed in\n"},
    {[](bool null) { return ORB_getKeyFromPluginName(null ? nullptr : "memory", buffer); }, -1, kTwice,
     "NULL pluginName passed in\n"},
    {[](bool null) { return ORB_getExtFromPluginName(null ? nullptr : "memory", buffer); }, -1, kTwice,
     "NULL pluginName passed in\n"},
    {[](bool null) { return ORB_getExtFromFormatKey(null ? nullptr : "mem", buffer); }, -1, kOnce,
     "NULL key passed in\n"},
    {[](bool null) { return ORB_isMultiFrameFormat(null ? nullptr : "mem"); }, 0, kTwice,
     "NULL key passed in\n"},
    {[](bool null) { return ORB_getOnlyExtensions(null ? nullptr : buffer), null ? 0 : int32_t{buffer[0]}; },
     0, kTwice, "NULL buffer passed in\n"},
    {[](bool null) {
       return ORB_getPluginNamesWithFilters(null ? nullptr : buffer), null ? 0 : int32_t{buffer[0]};
     },
     0, kOnce, "NULL pointer passed!\n"},
};

void expect_nothing(bool with_null) {
  for (const Call& call : kCalls) {
    const char* printed = with_null ? call.with_null : call.without_plugins;
    buffer[0] = '#';
    testing::internal::CaptureStderr();
    EXPECT_EQ(call.make(with_null), call.result) << &call - kCalls;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), printed) << &call - kCalls;
  }
}

TEST(Catalogue, finds_nothing_before_the_start_and_starts_nothing_but_for_the_registry_s_questions) {
  expect_nothing(false);
  expect_nothing(true);
  EXPECT_EQ(registered_keys(), "");
  EXPECT_EQ(ORB_hasReadSupport("mem"), 4);
  EXPECT_EQ(registered_keys(), "pipe mem");
  expect_nothing(false);  // built-in drivers are invisible
  ORB_exit();
}

TEST(Catalogue, takes_null_arguments) {
  const Plugins plugins({"good"});
  ReportRecorder recorder;
  expect_nothing(true);
  EXPECT_EQ(ORB_name_from_key(nullptr), nullptr);
  EXPECT_EQ(ORB_hasReadSupport(nullptr) + ORB_hasWriteSupport(nullptr), 0);
  EXPECT_EQ(ORB_getPluginNameFromKey("good", nullptr), -1);
  EXPECT_EQ(recorder.texts(), "");
}

TEST(Catalogue, lists_the_plugins_in_their_order) {
  const Plugins plugins({"other", "no_extension", "good"});
  ASSERT_EQ(ORB_getFormatKeys(texts), 3);
  EXPECT_THAT(std::vector(texts, texts + 3), ElementsAre(StrEq("other"), StrEq("any"), StrEq("good")));
  EXPECT_EQ(texts[0], orb::registry().plugins[0].key);  // no copy
  ASSERT_EQ(ORB_getPluginExtensions(texts), 3);
  EXPECT_THAT(std::vector(texts, texts + 3), ElementsAre(StrEq(".other"), StrEq(""), StrEq(".good")));
  ORB_getOnlyExtensions(buffer);
  EXPECT_STREQ(buffer, "*.other;*;*.good;");
  ASSERT_EQ(ORB_getPluginNames(names), 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_STREQ(names[i], kName);
    EXPECT_NE(names[i], orb::registry().plugins[i].name);
    ERR_free(names[i]);
  }
  ReportRecorder recorder;
  const FailAllocation fail(2);
  ASSERT_EQ(ORB_getPluginNames(names), 3);
  EXPECT_TRUE(names[0] && !names[1] && names[2]);
  EXPECT_EQ(recorder.texts(), "No more internal memory");
  for (int i = 0; i < 3; ++i) ERR_free(names[i]);
}

TEST(Catalogue, looks_up_whole_texts_and_takes_the_first_that_matches) {
  const Plugins plugins({"good", "other", "multi"});
  const std::string long_name(300, 'n');
  orb::registry().plugins[2].name = long_name.c_str();
  const struct {
    int32_t (*look_up)(const char*, char*);
    const char* wanted;
    int32_t result;
    const char* found;
  } rows[] = {
      {ORB_getPluginNameFromKey, "other", 0, kName},
      {ORB_getPluginNameFromKey, "Other", -1, "untouched"},
      {ORB_getPluginNameFromKey, ".other", -1, "untouched"},
      {ORB_getKeyFromPluginName, kName, 0, "good"},
      {ORB_getKeyFromPluginName, "picture", -1, "untouched"},
      {ORB_getExtFromPluginName, kName, 0, ".good"},
      {ORB_getExtFromFormatKey, "other", 0, ".good"},  // by way of the name
      {ORB_getExtFromFormatKey, "multi", 0, ".multi"},
  };
  for (const auto& row : rows) {
    char found[64] = "untouched";
    EXPECT_EQ(row.look_up(row.wanted, found), row.result) << row.wanted;
    EXPECT_STREQ(found, row.found) << row.wanted;
  }
}

TEST(Catalogue, writes_the_filter_list_of_a_file_dialog) {
  const Plugins plugins({"good", "other", "multi"});
  const std::string longest_shown = "." + std::string(22, 'e');
  const std::string too_long = "." + std::string(23, 'e');
  const char* extensions[] = {".tif", longest_shown.c_str(), too_long.c_str()};
  const char* plugin_names[] = {"TIFF", "Long", ""};
  for (int i = 0; i < 3; ++i) {
    orb::registry().plugins[i].extension = extensions[i];
    orb::registry().plugins[i].name = plugin_names[i];
  }
  const std::string wanted = "TIFF (*.tif)|*.tif|Long (*" + longest_shown + ")|*" + longest_shown +
                             "| (all formats)|*" + too_long + "||#";
  std::fill(std::begin(buffer), std::end(buffer), '#');
  ORB_getPluginNamesWithFilters(buffer);
  std::replace(std::begin(buffer), std::end(buffer), '\0', '|');
  EXPECT_EQ(std::string(buffer, wanted.size()), wanted);
}

TEST(Catalogue, knows_what_a_format_can_do_and_its_name) {
  const Plugins plugins({"read_only", "write_only", "multi", "good"});
  orb::registry().plugins[3].multi_frame = 1;
  ORB_find("good")->name = nullptr;
  const struct {
    const char* key;
    int32_t reads;
    int32_t writes;
    int32_t has_many_frames;
    const char* name;
  } rows[] = {{"mem", 4, 8, 0, "memory"}, {".pipe", 4, 8, 0, "pipe"}, {"reader", 4, 0, 0, kName},
              {"writer", 0, 8, 0, kName}, {"multi", 4, 8, 1, kName},  {".multi", 4, 8, 0, kName},
              {"good", 4, 8, 0, "good"},  {"", 0, 0, 0, ""},          {"nosuch", 0, 0, 0, "nosuch"}};
  ReportRecorder recorder;
  for (const auto& row : rows) {
    EXPECT_EQ(ORB_hasReadSupport(row.key), row.reads) << row.key;
    EXPECT_EQ(ORB_hasWriteSupport(row.key), row.writes) << row.key;
    EXPECT_EQ(ORB_isMultiFrameFormat(row.key), row.has_many_frames) << row.key;
    EXPECT_STREQ(ORB_name_from_key(row.key), row.name) << row.key;
  }
  ASSERT_EQ(recorder.reports.size(), 2U);  // the unknown ones
  EXPECT_EQ(recorder.reports[1].category, ERR_ERROR);
  EXPECT_EQ(
      recorder.reports[1].text,
      "Unknown file type key (\"nosuch\") was specified; Ensure that the plug-in for this type is defined");
}

}  // namespace
