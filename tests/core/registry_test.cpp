// How a module's symbols become a registration, starting and ending the library, and asking the registry.
#include <gmock/gmock.h>

#include <cstdlib>
#include <thread>

#include "orbbase/core/internal.h"
#include "tests/support/environment.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;
using testing::ElementsAre;

std::vector<int64_t> numbers(const ORB_FORMAT& f) {
  return {f.add_extension, f.usage,       f.palette_bits,         f.channels,     f.channel_bits,
          f.mattes,        f.matte_bits,  f.z_channels,           f.z_bits,       f.active_window,
          f.access,        f.multi_frame, f.hard_link_duplicates, f.remote_access};
}

TEST(Symbols, that_a_module_leaves_out_have_their_defaults) {
  const Plugins plugins({"minimal", "null_extension"});
  ASSERT_TRUE(ORB_find("minimal") && ORB_find("null"));
  const ORB_FORMAT& format = *ORB_find("minimal");
  EXPECT_STREQ(format.extension, "");
  EXPECT_STREQ(ORB_find("null")->extension, "");
  EXPECT_STREQ(format.format_string, "%s.%04.4d%s");
  EXPECT_THAT(numbers(format), ElementsAre(1, 1, 0, 3, 128, 0, 0, 0, 0, 0, 12, 0, 1, 0));
  EXPECT_FALSE(format.description || format.name_syntax || format.capability || format.caps_avail_update ||
               format.is_file || format.ui_popup || format.ui_popdown);
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
  EXPECT_THAT(numbers(*format), ElementsAre(21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 12, 33, 31, 32));
  EXPECT_EQ(format->orientation, 1);
  EXPECT_EQ(ORB_capabilities_available(format, 4, 0x105), 4005);  // the second argument is cut to 8 bits
  EXPECT_EQ(format->is_file("name", stderr), 1);
  EXPECT_EQ(ORB_private_ui_popup(format, 41), 42);
  EXPECT_EQ(ORB_private_ui_popdown(1, 2, 3, 4), 1234);
  EXPECT_EQ(ORB_private_ui_popdown(1, 2, 3, 4), 0);  // forgotten with the first call
  format->ui_popdown = nullptr;                      // panels need both functions
  EXPECT_EQ(ORB_private_ui_popup(format, 1), ORB_E_HANDLE);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(ORB_private_ui_popdown(0, 0, 0, 0), 0);
  format->ui_popup = nullptr;
  EXPECT_EQ(ORB_private_ui_popup(format, 1), ORB_E_HANDLE);
}

// The other symbols are the host's tests'.
TEST(Symbols, a_refused_module_is_reported_and_the_others_register) {
  const struct {
    const char *module, *report;
  } rows[] = {
      {"without_version", "without_version: version must be defined"},
      {"null_version", "null_version: version must be defined"},
      {"wrong_version",
       "wrong_version: the version protocol of this plug-in (\"version\") is not supported; expecting "
       "version \"3.2\" but found \"3.20\""},
      {"without_imageReadOpen", "without_imageReadOpen: imageReadOpen must be defined"},
      {"write_only_broken", "write_only_broken: imageWriteOpen must be defined"},
      {"declines", ""}};  // its imageInit said no, which is no matter for a report
  for (const auto& row : rows) {
    ReportRecorder recorder;
    const Plugins plugins({row.module, "other"});
    EXPECT_EQ(registered_keys(), "other pipe mem") << row.module;
    EXPECT_EQ(recorder.texts(), row.report);
  }
}

TEST(Symbols, an_earlier_module_goes_even_when_the_later_is_refused) {
  ReportRecorder recorder;
  const Plugins plugins({"good", "good_broken"});
  EXPECT_EQ(registered_keys() + recorder.texts(), "pipe memgood_broken: imageName must be defined");
}

TEST(Registry, shares_one_walk_between_find_and_info) {
  const Plugins plugins({"good", "other", "multi"});
  EXPECT_STREQ(ORB_info()->key, "good");
  EXPECT_EQ(ORB_find("no such key"), nullptr);  // leaves the walk alone
  EXPECT_STREQ(ORB_info()->key, "other");
  ORB_find("good");  // the walk goes on behind what was found
  for (const char* key : {"other", "multi"}) EXPECT_STREQ(ORB_info()->key, key);
  EXPECT_EQ(ORB_info(), nullptr);
  EXPECT_EQ(ORB_init(nullptr, nullptr), 0);  // started already: back to the first
  EXPECT_STREQ(ORB_info()->key, "good");
}

TEST(Registry, starts_by_itself_for_every_query_and_says_so_at_debug) {
  const struct {
    const char* query;
    void (*ask)();
  } rows[] = {{"ORB_find", [] { ORB_find("mem"); }},
              {"ORB_info", [] { EXPECT_EQ(ORB_info(), nullptr); }},  // which yields plug-ins alone
              {"ORB_def_key", [] { EXPECT_STREQ(ORB_def_key(), "rla"); }},
              {"ORB_def_base_name", [] { EXPECT_STREQ(ORB_def_base_name(), "im"); }},
              {"ORB_open", [] { ORB_open(nullptr, "r"); }}};
  ERR_unmask_s(ERR_DEBUG);
  for (const auto& row : rows) {
    ReportRecorder recorder;
    row.ask();
    row.ask();
    EXPECT_THAT(recorder.texts(),
                testing::StartsWith("orb, initializing database for " + std::string(row.query) + " request"));
    EXPECT_EQ(recorder.reports[0].category, ERR_DEBUG);
    EXPECT_EQ(registered_keys(), "pipe mem");
    ORB_exit();
  }
  ERR_mask_s(ERR_DEBUG);
}

TEST(Registry, starts_once_when_threads_ask_at_the_same_time) {
  ReportRecorder recorder;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] { EXPECT_EQ(Description("any").open("x"), nullptr); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(registered_keys(), "pipe mem");
  ORB_exit();
}

TEST(Registry, takes_the_multi_frame_limit_from_the_environment) {
  const std::pair<const char*, int32_t> rows[] = {{nullptr, 15},
                                                  {"4", 4},
                                                  {" 12abc", 12},
                                                  {"x", 0},
                                                  {"-3", -3},
                                                  {"+5", 5},
                                                  {"99999999999", INT32_MAX},
                                                  {"-99999999999", INT32_MIN}};
  for (const auto& [value, limit] : rows) {
    const Environment variable("QV_ORB_MULTIFRAME_OPEN", value);
    const Plugins none({});
    EXPECT_EQ(orb::multiframe_limit(), limit);
    EXPECT_EQ(ORB_multiframe_used(), 1);
  }
}

TEST(Registry, exit_calls_done_once_for_each_plugin_and_forgets_the_formats) {
  Plugins plugins({"good", "other"});
  ORB_exit();
  ORB_exit();
  EXPECT_EQ(plugins[0].variable<int32_t>("testDones"), 1);
  EXPECT_EQ(plugins[1].variable<int32_t>("testDones"), 1);
  EXPECT_EQ(registered_keys(), "");
  ORB_find("mem");  // starts again, without the plug-ins
  EXPECT_EQ(registered_keys(), "pipe mem");
}

TEST(Registry, gives_a_format_a_description_of_its_own_from_the_catalogue) {
  const Plugins none({});
  ORB_LOAD_RECORD record = orb::built_in_drivers()[0];
  record.key = "mine";
  record.description_from_catalogue = 1;
  record.catalogue_description = "from the catalogue";
  ASSERT_TRUE(orb::register_format(record, true));
  EXPECT_STREQ(ORB_find("mine")->description, "from the catalogue");
  EXPECT_NE(ORB_find("mine")->description, record.catalogue_description);
}

TEST(Registry, start_ends_at_a_built_in_driver_that_declines_and_keeps_what_it_has) {
  orb::built_in_drivers()[0].init = [](ORB_LOAD_RECORD*) { return 0; };
  Plugins plugins({"good"}, Plugins::Start::later);
  EXPECT_EQ(plugins.start(), -1);
  EXPECT_EQ(registered_keys(), "good pipe");
  EXPECT_STREQ(ORB_find("good")->key, "good");
  orb::built_in_drivers()[0].init = nullptr;
}

TEST(Registry, start_survives_the_failure_of_any_allocation) {
  ReportRecorder recorder;
  bool has_failed = true;
  for (int nth = 1; has_failed; ++nth) {
    SCOPED_TRACE(nth);
    Plugins plugins({"good", "capable", "without_imageKey"}, Plugins::Start::later);
    {
      const FailAllocation fail(nth);
      const int32_t result = plugins.start();
      has_failed = fail.happened();
      EXPECT_EQ(orb__err, has_failed ? ORB_E_MEMORY : 0);
      // -1 and nothing registered, or started all the same when only a capability's name could not be copied.
      EXPECT_TRUE(result == -1 || result == orb__err);
      EXPECT_EQ(registered_keys(), result == -1 ? "" : "good capable pipe mem");
    }
    ORB_exit();
    EXPECT_EQ(plugins.start(), 0);
    EXPECT_EQ(registered_keys(), "good capable pipe mem");
  }
}

TEST(Registry, start_passes_over_null_modules) {
  const auto yields_nulls = [](void** module_out, const char** name_out) {
    static int calls = 0;
    *module_out = nullptr;
    *name_out = nullptr;
    return int32_t{++calls < 3};
  };
  ReportRecorder recorder;
  EXPECT_EQ(ORB_init(nullptr, yields_nulls), 0);
  EXPECT_EQ(registered_keys() + recorder.texts(), "pipe mem");
  ORB_exit();
}

// ---- Capability tables ----

// The table of "capable_mem" is gone through for the built-in driver of that key as well.
TEST(Capabilities, are_completed_at_start_up_and_the_drivers_own_again_at_the_end) {
  for (const char* module : {"capable", "capable_mem"}) {
    const Plugins plugins({module});
    ORB_CAPABILITY* table = nullptr;
    int32_t count_a = 0;
    int32_t count_b = 0;
    int32_t count = 0;
    ORB_info_get_specific(ORB_info()->key, nullptr, &table, &count_a, &count_b, &count);
    ASSERT_EQ(count, 2);
    EXPECT_STREQ(table[0].name, "quality");
    EXPECT_STREQ(table[1].name, "depth");  // from the catalogue
    EXPECT_EQ(table[1].list->entry_count, 2u);
    EXPECT_STREQ(table[1].list->entries[1].name, "deep");
    EXPECT_EQ(ORB_info_num_specific(&count_a, &count_b), 9);
    EXPECT_EQ(count_a, 7);
    EXPECT_EQ(count_b, 9);
    ORB_exit();
    EXPECT_EQ(table[1].name, nullptr) << module;  // the copies are gone
    EXPECT_EQ(table[1].list->entries[1].name, nullptr) << module;
    EXPECT_STREQ(table[0].name, "quality");
  }
}

TEST(Capabilities, with_a_name_missing_are_reported_and_end_the_check) {
  const struct {
    const char *module, *report;
  } rows[] = {
      {"nameless_capability", "nameless: no name field was found for capability 1 of this image driver"},
      {"nameless_entry",
       "nameless: no name field was found for capability 1's list entry number 1 of this image driver"},
  };
  for (const auto& row : rows) {
    ReportRecorder recorder;
    Plugins plugins({row.module, "capable"}, Plugins::Start::later);
    EXPECT_EQ(plugins.start(), 0);
    EXPECT_EQ(recorder.texts(), row.report);
    EXPECT_EQ(recorder.reports.at(0).category, ERR_WARNING);
    EXPECT_EQ(registered_keys(), "nameless capable pipe mem");
    EXPECT_EQ(ORB_info_num_specific(nullptr, nullptr), 0);  // not even the later module's are collected
  }
}

TEST(CapabilitiesDeathTest, with_an_invalid_list_default_end_the_process) {
  Plugins plugins({"bad_default"}, Plugins::Start::later);
  EXPECT_DEATH(plugins.start(), "bad: capability `depth' has invalid list default 7");
}

TEST(Capabilities, of_an_unknown_key_are_reported_and_leave_the_results_untouched) {
  const Plugins none({});
  ReportRecorder recorder;
  for (const auto& [key, wanted] :
       {std::pair{"nosuch", 55}, {"mem", 0}, {static_cast<const char*>(nullptr), 0}}) {
    int32_t count = 55;
    ORB_info_get_specific(key, nullptr, nullptr, nullptr, nullptr, &count);
    EXPECT_EQ(count, wanted);
  }
  EXPECT_EQ(
      recorder.texts(),
      "Unknown file type key (\"nosuch\") was specified; Ensure that the plug-in for this type is defined");
  EXPECT_EQ(ORB_capabilities_available(nullptr, 1, 1), 0);
  EXPECT_EQ(ORB_capabilities_available(ORB_find("mem"), 1, 1), 0);
}

}  // namespace
