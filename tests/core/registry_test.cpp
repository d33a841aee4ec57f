// Starting and ending the library, and asking the registry.
#include <gmock/gmock.h>

#include <cstdlib>
#include <thread>

#include "orbbase/core/internal.h"
#include "tests/support/environment.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::Environment;
using orb::testing::FailAllocation;
using orb::testing::Plugins;
using orb::testing::registered_keys;
using orb::testing::ReportRecorder;

TEST(Registry, without_plugins_holds_pipe_then_mem) {
  const Plugins none({});
  EXPECT_EQ(registered_keys(), "pipe mem");
  EXPECT_EQ(ORB_info(), nullptr);  // yields plug-ins alone
}

TEST(Registry, finds_a_format_by_its_exact_key_or_extension) {
  const Plugins plugins({"good"});
  const struct {
    const char* name;
    const char* key;
  } rows[] = {{"mem", "mem"},  {".mem", "mem"},   {"MEM", nullptr},
              {"me", nullptr}, {".good", "good"}, {"", nullptr}};
  for (const auto& row : rows) {
    const ORB_FORMAT* format = ORB_find(row.name);
    EXPECT_STREQ(format ? format->key : nullptr, row.key) << row.name;
  }
  EXPECT_EQ(ORB_find(nullptr), nullptr);
}

TEST(Registry, lets_a_plugin_hide_a_built_in_driver) {
  const Plugins plugins({"mem_key"});
  EXPECT_STREQ(ORB_find("mem")->extension, ".hides");
  EXPECT_EQ(registered_keys(), "mem pipe mem");
}

TEST(Registry, shares_one_walk_between_find_and_info) {
  const Plugins plugins({"good", "other", "multi"});
  EXPECT_STREQ(ORB_info()->key, "good");
  EXPECT_EQ(ORB_find("no such key"), nullptr);  // leaves the walk alone
  EXPECT_STREQ(ORB_info()->key, "other");
  ORB_find("good");  // the walk goes on behind what was found
  EXPECT_STREQ(ORB_info()->key, "other");
  EXPECT_STREQ(ORB_info()->key, "multi");
  EXPECT_EQ(ORB_info(), nullptr);
  orb::set_error(ORB_E_OPEN);
  EXPECT_EQ(ORB_init(nullptr, nullptr), 0);  // started already: back to the first
  EXPECT_EQ(orb__err, 0);
  EXPECT_STREQ(ORB_info()->key, "good");
}

TEST(Registry, starts_by_itself_for_every_query_and_says_so_at_debug) {
  const struct {
    const char* query;
    void (*ask)();
  } rows[] = {{"ORB_find", [] { ORB_find("mem"); }},
              {"ORB_info", [] { ORB_info(); }},
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
    threads.emplace_back([] {
      ORB_INFO info;
      ORB_info_init(&info);
      EXPECT_EQ(ORB_open(&info, "x"), nullptr);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(registered_keys(), "pipe mem");
  ORB_exit();
}

TEST(Registry, takes_the_multi_frame_limit_from_the_environment) {
  const struct {
    const char* value;
    int32_t limit;
  } rows[] = {{nullptr, 15},
              {"4", 4},
              {" 12abc", 12},
              {"x", 0},
              {"-3", -3},
              {"+5", 5},
              {"99999999999", INT32_MAX},
              {"-99999999999", INT32_MIN}};
  for (const auto& row : rows) {
    const Environment variable("QV_ORB_MULTIFRAME_OPEN", row.value);
    const Plugins none({});
    EXPECT_EQ(orb::multiframe_limit(), row.limit) << (row.value ? row.value : "unset");
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

TEST(Registry, passes_over_null_modules_and_names) {
  const auto yields_nulls = [](void** module_out, const char** name_out) {
    static int calls = 0;
    *module_out = nullptr;
    *name_out = nullptr;
    return int32_t{++calls < 3};
  };
  ReportRecorder recorder;
  EXPECT_EQ(ORB_init(nullptr, yields_nulls), 0);
  EXPECT_EQ(registered_keys(), "pipe mem");
  EXPECT_EQ(recorder.texts(), "");
  ORB_exit();
}

TEST(Registry, gives_a_format_a_description_of_its_own_from_the_catalogue) {
  const Plugins none({});
  ORB_LOAD_RECORD record = orb::built_in_drivers()[0];
  record.key = "mine";
  record.description_from_catalogue = 1;
  record.catalogue_description = "from the catalogue";
  record.caps_avail_update = [](intptr_t, uint8_t) { return 1; };
  ASSERT_TRUE(orb::register_format(record, true));
  const ORB_FORMAT* format = ORB_find("mine");
  EXPECT_STREQ(format->description, "from the catalogue");
  EXPECT_NE(format->description, record.catalogue_description);
  EXPECT_FALSE(format->caps_avail_update);  // left out of a built-in driver's
}

TEST(Registry, start_ends_at_a_built_in_driver_that_declines_and_keeps_what_it_has) {
  orb::built_in_drivers()[0].init = [](ORB_LOAD_RECORD*) { return 0; };
  {
    Plugins plugins({"good"}, Plugins::Start::later);
    EXPECT_EQ(plugins.start(), -1);
    EXPECT_EQ(registered_keys(), "good pipe");
    EXPECT_STREQ(ORB_find("good")->key, "good");
  }
  orb::built_in_drivers()[0].init = nullptr;
}

TEST(Registry, start_survives_the_failure_of_any_allocation) {
  ReportRecorder recorder;
  for (int nth = 1;; ++nth) {
    Plugins plugins({"good", "capable", "without_imageKey"}, Plugins::Start::later);
    FailAllocation fail(nth);
    const int32_t result = plugins.start();
    const int32_t error = orb__err;
    if (!fail.happened()) {
      EXPECT_EQ(result, 0);
      EXPECT_GT(nth, 8);
      break;
    }
    // -1 and nothing registered, or started all the same when only a capability's name could not be copied.
    EXPECT_THAT(result, testing::AnyOf(-1, ORB_E_MEMORY)) << nth;
    EXPECT_EQ(registered_keys(), result == -1 ? "" : "good capable pipe mem") << nth;
    EXPECT_EQ(error, ORB_E_MEMORY) << nth;
    ORB_exit();
    EXPECT_EQ(plugins.start(), 0) << nth;
    EXPECT_EQ(registered_keys(), "good capable pipe mem") << nth;
  }
}

// ---- Capability tables ----

TEST(Capabilities, are_completed_at_start_up) {
  const Plugins plugins({"capable"});
  ORB_CAPABILITY* table = nullptr;
  int32_t count_a = 0;
  int32_t count_b = 0;
  int32_t count = 0;
  ORB_info_get_specific("capable", nullptr, &table, &count_a, &count_b, &count);
  ASSERT_EQ(count, 2);
  EXPECT_STREQ(table[0].name, "quality");
  EXPECT_STREQ(table[1].name, "depth");  // from the catalogue
  EXPECT_EQ(table[1].list->entry_count, 2u);
  EXPECT_STREQ(table[1].list->entries[1].name, "deep");
  EXPECT_EQ(ORB_info_num_specific(&count_a, &count_b), 9);
  EXPECT_EQ(count_a, 7);
  EXPECT_EQ(count_b, 9);
}

TEST(Capabilities, are_the_drivers_own_again_when_the_library_has_ended) {
  // The table of "capable_mem" is gone through for the built-in driver of that key as well.
  for (const char* module : {"capable", "capable_mem"}) {
    const Plugins plugins({module});
    ORB_CAPABILITY* table = nullptr;
    ORB_info_get_specific(ORB_info()->key, nullptr, &table, nullptr, nullptr, nullptr);
    ASSERT_NE(table, nullptr);
    EXPECT_STREQ(table[1].name, "depth");
    ORB_exit();
    EXPECT_EQ(table[1].name, nullptr) << module;  // the copies are gone
    EXPECT_EQ(table[1].list->entries[1].name, nullptr) << module;
    EXPECT_STREQ(table[0].name, "quality");
  }
}

TEST(Capabilities, with_a_name_missing_are_reported_and_end_the_check) {
  const struct {
    const char* module;
    const char* report;
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
  int32_t count = 55;
  ORB_info_get_specific("nosuch", nullptr, nullptr, nullptr, nullptr, &count);
  EXPECT_EQ(count, 55);
  EXPECT_EQ(
      recorder.texts(),
      "Unknown file type key (\"nosuch\") was specified; Ensure that the plug-in for this type is defined");
  ORB_info_get_specific("mem", nullptr, nullptr, nullptr, nullptr, &count);  // a format without capabilities
  EXPECT_EQ(count, 0);
  count = 55;
  ORB_info_get_specific(nullptr, nullptr, nullptr, nullptr, nullptr, &count);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(ORB_capabilities_available(nullptr, 1, 1), 0);
  EXPECT_EQ(ORB_capabilities_available(ORB_find("mem"), 1, 1), 0);
}

}  // namespace
