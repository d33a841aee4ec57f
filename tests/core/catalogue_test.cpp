// Listings of the plug-ins, look-ups between key, name and extension, and which format a file is in.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <string>

#include "orbbase/core/internal.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;
using testing::ElementsAre;
using testing::StrEq;

constexpr const char* kName = "picture of the tests";  // of every test module

const char* texts[8];
char* names[8];
char buffer[256];

const std::string kOnce = "Plugins not loaded, so Load!!\n\n";
const std::string kTwice = kOnce + "No Plugins!\n";
constexpr const char* kNoPointer = "NULL pointer passed\n";
constexpr const char* kNoKey = "NULL key passed in\n";
constexpr const char* kNoName = "NULL pluginName passed in\n";

// What a call that finds nothing gives and prints: without plug-ins, and with a null argument.
const struct Call {
  int32_t (*make)(bool with_null);
  int32_t result;
  std::string without_plugins, with_null;
} kCalls[] = {
    {[](bool null) { return ORB_getFormatKeys(null ? nullptr : texts); }, 0, kTwice, kNoPointer},
    {[](bool null) { return ORB_getPluginExtensions(null ? nullptr : texts); }, 0, kTwice, kNoPointer},
    {[](bool null) { return ORB_getPluginNames(null ? nullptr : names); }, 0, kTwice, kNoPointer},
    {[](bool null) { return ORB_getPluginNameFromKey(null ? nullptr : "mem", buffer); }, -1, kOnce, kNoKey},
    {[](bool null) { return ORB_getKeyFromPluginName(null ? nullptr : "mem", buffer); }, -1, kTwice, kNoName},
    {[](bool null) { return ORB_getExtFromPluginName(null ? nullptr : "mem", buffer); }, -1, kTwice, kNoName},
    {[](bool null) { return ORB_getExtFromFormatKey(null ? nullptr : "mem", buffer); }, -1, kOnce, kNoKey},
    {[](bool null) { return ORB_isMultiFrameFormat(null ? nullptr : "mem"); }, 0, kTwice, kNoKey},
    {[](bool null) { return ORB_getOnlyExtensions(null ? nullptr : buffer), null ? 0 : int32_t{buffer[0]}; },
     0, kTwice, "NULL buffer passed in\n"},
    {[](bool null) {
       return ORB_getPluginNamesWithFilters(null ? nullptr : buffer), null ? 0 : int32_t{buffer[0]};
     },
     0, kOnce, "NULL pointer passed!\n"},
};

void expect_nothing(bool with_null) {
  for (const Call& call : kCalls) {
    SCOPED_TRACE(&call - kCalls);
    buffer[0] = '#';
    testing::internal::CaptureStderr();
    EXPECT_EQ(call.make(with_null), call.result);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), with_null ? call.with_null : call.without_plugins);
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
    int32_t reads, writes, has_many_frames;
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
  expect_nothing(true);
  EXPECT_EQ(ORB_name_from_key(nullptr), nullptr);
  EXPECT_EQ(ORB_hasReadSupport(nullptr) + ORB_hasWriteSupport(nullptr), 0);
  EXPECT_EQ(ORB_getPluginNameFromKey("good", nullptr), -1);
  EXPECT_EQ(recorder.reports.size(), 2U);
}

constexpr int kCannotBeAsked = -1;

// What the plug-ins answer, how often each was asked, and what about.
struct Answers {
  std::array<int, 3> now = {};
  std::array<int, 3> asked = {};
  const char* name = nullptr;
  FILE* stream = nullptr;
} answers;

template <int plugin>
uint8_t answer(const char* name, FILE* stream) {
  ++answers.asked[plugin];
  answers.name = name;
  answers.stream = stream;
  return static_cast<uint8_t>(answers.now[plugin]);
}

class Detect : public testing::Test {
 protected:
  // Makes the plug-ins answer so, and puts the walk behind the first of them.
  void set(std::array<int, 3> now) {
    answers = {now};
    const char* keys[] = {"good", "other", "multi"};
    const ORB_IS_FILE_FN functions[] = {answer<0>, answer<1>, answer<2>};
    for (int i = 0; i < 3; ++i) {
      ORB_find(keys[i])->is_file = now[i] == kCannotBeAsked ? nullptr : functions[i];
    }
    ORB_init(nullptr, nullptr);
    ORB_info();
  }
  // "1 1 0": how often each plug-in was asked since the last call.
  std::string asked() {
    std::string text;
    for (int& count : answers.asked) text += (text.empty() ? "" : " ") + std::to_string(count);
    answers.asked = {};
    return text;
  }
  static const char* next() {
    const ORB_FORMAT* format = ORB_info();
    return format ? format->key : "end";
  }

  Plugins plugins_{"good", "other", "multi"};
  int32_t known_ = 7;
};

TEST_F(Detect, takes_the_first_format_that_answers_exactly_1) {
  const struct {
    std::array<int, 3> now;
    const char* key;
    int32_t is_known;
    const char* next;
  } rows[] = {{{0, 0, 0}, "__none_", 1, "other"},
              {{2, 255, 3}, "__none_", 1, "other"},
              {{0, 0, kCannotBeAsked}, nullptr, 0, "other"},
              {{2, 1, 1}, "other", 1, "multi"},
              {{kCannotBeAsked, 0, 1}, "multi", 0, "end"},
              {{1, kCannotBeAsked, 0}, "good", 1, "other"}};
  for (const auto& row : rows) {
    set(row.now);
    EXPECT_STREQ(ORB_get_file_type("nosuch", nullptr, &known_), row.key) << row.now[0];
    EXPECT_EQ(known_, row.is_known) << row.now[0];
    EXPECT_STREQ(next(), row.next) << row.now[0];
  }
  EXPECT_STREQ(ORB_get_file_type("nosuch", stderr, nullptr), "good");
  EXPECT_STREQ(answers.name, "nosuch");
  EXPECT_EQ(answers.stream, stderr);
}

TEST_F(Detect, of_one_format_takes_any_answer_but_0) {
  const struct {
    const char* key;
    std::array<int, 3> now;
    const char* found;
    int32_t is_known;
    const char *asked, *next;
  } rows[] = {{"other", {1, 1, 1}, "other", 1, "0 1 0", "multi"},
              {"other", {1, 0, 1}, nullptr, 1, "0 2 0", "other"},  // as the last match, and in the walk
              {"other", {1, 0, 1}, nullptr, 1, "0 1 0", "other"},
              {"other", {0, 2, 0}, "other", 1, "0 1 0", "multi"},
              {"other", {0, 255, 0}, "other", 1, "0 1 0", "good"},  // the last match: back to the first
              {"multi", {0, 0, 9}, "multi", 1, "0 0 1", "end"},
              {"good", {kCannotBeAsked, 1, 1}, nullptr, 0, "0 0 0", "other"},
              {".other", {1, 1, 1}, nullptr, 1, "0 0 0", "other"},
              {nullptr, {0, 2, 1}, "multi", 1, "1 1 1", "end"}};
  for (const auto& row : rows) {
    set(row.now);
    known_ = 7;
    EXPECT_STREQ(ORB_is_file_type("nosuch", nullptr, row.key, &known_), row.found) << row.asked;
    EXPECT_EQ(known_, row.is_known) << row.asked;
    EXPECT_EQ(asked(), row.asked);
    EXPECT_STREQ(next(), row.next) << row.asked;
  }
}

TEST_F(Detect, goes_on_when_a_driver_that_is_asked_uses_the_registry_and_forgets_it_with_the_formats) {
  set({0, 0, 1});
  ORB_find("other")->is_file = [](const char*, FILE*) { return static_cast<uint8_t>(!ORB_find("good")); };
  EXPECT_STREQ(ORB_get_file_type("nosuch", nullptr, &known_), "multi");
  EXPECT_STREQ(next(), "end");
  ORB_exit();
  EXPECT_EQ(ORB_is_file_type("nosuch", nullptr, "multi", nullptr), nullptr);
  EXPECT_EQ(ORB_is_file_type("nosuch", nullptr, "multi", &known_), nullptr);  // started without plug-ins
  EXPECT_EQ(asked(), "1 0 1");
  EXPECT_EQ(known_, 1);
}

TEST(DetectStart, happens_by_itself_and_its_failure_leaves_the_answer_unknown) {
  const auto any = [](int32_t* known) { return ORB_get_file_type("a.mem", nullptr, known); };
  const auto one = [](int32_t* known) { return ORB_is_file_type("a.mem", nullptr, "mem", known); };
  const char* (*const queries[])(int32_t*) = {any, one};
  Description picture("a.mem");
  EXPECT_EQ(ORB_close(picture.rows(0, 1).open("w")), 0);
  ERR_unmask_s(ERR_DEBUG);
  for (const auto query : queries) {
    ORB_exit();
    ReportRecorder recorder;
    int32_t is_known = 7;
    {
      const FailAllocation fail(1);
      EXPECT_EQ(query(&is_known), nullptr);
      EXPECT_EQ(is_known, 0);
    }
    recorder.clear();
    EXPECT_STREQ(query(&is_known), "mem");
    EXPECT_EQ(is_known, 1);
    EXPECT_EQ(recorder.texts(), "orb, initializing database for ORB_find request");
  }
  ERR_mask_s(ERR_DEBUG);
  EXPECT_STREQ(ORB_get_file_type("b.mem", nullptr, nullptr), "__none_");
  ORB_mem_remove("a.mem");
  ORB_exit();
}

}  // namespace
