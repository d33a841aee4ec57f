// The ways in: what each formats, counts, remembers and suppresses; the template language of records.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "orbbase/support/err/state.h"
#include "tests/support/err/fresh_errors.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

class Report : public FreshErrors {};

int32_t through_catalogue(const std::string& text) {
  return ERR_report_cat(orb__msg_cat, 902, 1, ERR_WARNING, "%s", text.c_str());
}
int32_t through_printf(const std::string& text) { return ERR_printf(ERR_WARNING, "%s", text.c_str()); }
int32_t through_record(const std::string& text) {
  static ERR_RECORD record = record_of(ERR_WARNING, "name", "%s");
  return ERR_report(&record, text.c_str());
}

TEST_F(Report, of_any_length_fits_its_buffer_and_a_cut_one_says_so) {
  const struct {
    int32_t (*report)(const std::string&);
    size_t most;
  } rows[] = {{through_catalogue, 32767}, {through_printf, 32767}, {through_record, 255}};
  for (const auto& row : rows) {
    for (const size_t length : {size_t{0}, row.most, row.most + 1, row.most + 100000}) {
      ReportRecorder recorder;
      const std::string text(length, 'x');
      row.report(text);
      ASSERT_EQ(recorder.reports.size(), 1u);
      const std::string cut = std::string(row.most - 3, 'x') + "...";
      EXPECT_EQ(recorder.reports[0].text, length <= row.most ? text : cut) << length;
      EXPECT_EQ(recorder.reports[0].category, ERR_WARNING);
    }
  }
}

TEST_F(Report, with_an_argument_that_cannot_be_converted_shows_its_format) {
  static constexpr wchar_t kUnknown[] = {static_cast<wchar_t>(0xd834), 0};
  if (std::snprintf(nullptr, 0, "%ls at", kUnknown) >= 0) GTEST_SKIP() << "this system converts it";
  ReportRecorder recorder;
  ERR_printf(ERR_ERROR, "%ls at", kUnknown);
  EXPECT_EQ(recorder.texts(), "%ls at");
}

TEST_F(Report, of_an_error_number_says_what_the_system_says) {
  const std::string no_entry = std::strerror(ENOENT);
  const struct {
    int32_t number;
    const char* prefix;
    std::string expected;
  } rows[] = {{ENOENT, "open", "open: " + no_entry}, {ENOENT, "", no_entry},
              {ENOENT, nullptr, no_entry},           {-5, "open", "open: error -5"},
              {INT32_MIN, "", "error -2147483648"},  {-5, nullptr, "error -5"},
              {-5, "100%d", "100%d: error -5"},      {0, "open", ""}};
  for (const auto& row : rows) {
    ReportRecorder recorder;
    ERR_report_errno(row.number, row.prefix);
    EXPECT_EQ(recorder.texts(), row.expected);
    for (const auto& report : recorder.reports) EXPECT_EQ(report.category, ERR_ERROR);
  }
  EXPECT_EQ(ERR_stats(ERR_ERROR), 7u);
}

TEST_F(Report, is_the_latest_of_a_history_of_sixteen) {
  EXPECT_EQ(ERR_last(0), nullptr);
  const ReportRecorder recorder;
  ERR_RECORD records[17];
  for (auto& record : records) {
    record = record_of(ERR_INFORMATION, "name", "");
    ERR_report(&record);
  }
  for (uint32_t n = 0; n < 16; ++n) EXPECT_EQ(ERR_last(n), &records[16 - n]) << n;
  EXPECT_EQ(ERR_last(16), &records[16]);
  EXPECT_EQ(ERR_last(17), nullptr);
  EXPECT_EQ(ERR_last(UINT32_MAX), nullptr);
}

TEST_F(Report, leaves_its_format_and_text_in_a_record_of_its_entry_point_and_may_quote_the_one_before) {
  const ReportRecorder recorder;
  static const char* const kFormats[] = {"while saving: %s", "disk %s", "line %d"};
  ERR_report_cat(nullptr, 902, 1, ERR_WARNING, kFormats[2], 3);
  ERR_printf(ERR_ERROR, kFormats[1], "gone");
  ERR_printf(ERR_ERROR, kFormats[0], ERR_last(0)->message_template);
  EXPECT_STREQ(ERR_last(0)->message_template, "while saving: disk gone");
  EXPECT_STREQ(ERR_last(2)->message_template, "line 3");
  for (const uint32_t n : {0u, 2u}) {
    EXPECT_EQ(ERR_last(n)->identity, kFormats[n]);
    EXPECT_EQ(ERR_last(n)->category, n == 0 ? ERR_ERROR : ERR_WARNING);
    EXPECT_EQ(ERR_last(n)->kind, 1);
  }
}

TEST_F(Report, with_an_unknown_category_is_delivered_but_neither_counted_nor_fatal) {
  for (const int32_t category : {-1, 5, 260, INT32_MAX, INT32_MIN}) {  // 260 is FATAL in its low byte
    ReportRecorder recorder;
    ERR_printf(category, "odd");
    ASSERT_EQ(recorder.reports.size(), 1u) << category;
    EXPECT_EQ(recorder.reports[0].category, 255) << category;
  }
  EXPECT_EQ(ERR_stats(-1), 0u);
  EXPECT_STREQ(ERR_type(5), "UNKNOWN");
}

TEST_F(Report, allocates_nothing_and_is_counted_by_category) {
  ReportRecorder recorder;
  recorder.reports.reserve(20);
  const FailAllocation fail(1, FailAllocation::Mode::from_there_on);
  through_catalogue("a");
  through_record("c");
  ERR_unmask_s(ERR_DEBUG);
  for (int32_t category = 0; category < 5; ++category) {
    for (int32_t i = 0; i <= category; ++i) ERR_printf(category, "text");
  }
  EXPECT_FALSE(fail.happened());
  for (uint32_t category = 0; category < 5; ++category) {
    EXPECT_EQ(ERR_stats(static_cast<int32_t>(category)), category + (category == ERR_WARNING ? 3 : 1));
  }
  EXPECT_EQ(ERR_stats(-1), 17u);
  EXPECT_EQ(ERR_stats(5) + ERR_stats(-2), 0u);
  err::state.counts[1] = UINT32_MAX;
  EXPECT_EQ(ERR_stats(-1), 14u) << "the sum wraps";
}

TEST_F(Report, names_are_compared_with_or_without_the_module_s_prefix) {
  const struct {
    const char *name, *identity;
    int32_t skip_prefix;
    int sign;
  } rows[] = {{"abcd_size", "abcd_size", 0, 0}, {"size", "abcd_size", 1, 0}, {"size", "abcd_size", 0, 1},
              {"a", "abcd_b", -1, -1},          {"", "abc", 1, 0},           {"x", "", 1, 1}};
  for (const auto& row : rows) {
    const ERR_RECORD record = record_of(ERR_ERROR, row.identity, "");
    const int32_t result = ERR_compare(row.name, &record, row.skip_prefix);
    EXPECT_EQ((result > 0) - (result < 0), row.sign) << row.name << " " << row.identity;
  }
}

TEST_F(Report, multi_process_slot_takes_a_pointer_without_the_flag_only) {
  int target = 0;
  EXPECT_EQ(ERR_report_mp(&target, 1), 0);
  EXPECT_EQ(err::state.multi_process_slot, nullptr);
  EXPECT_EQ(ERR_report_mp(&target, 0), 1);
  EXPECT_EQ(err::state.multi_process_slot, &target);
}

// ---- Suppressing

class Masks : public FreshErrors {
 protected:
  // Reports of one category through all three ways in. Returns how many were delivered.
  size_t deliveries(uint8_t category) {
    const ReportRecorder recorder;
    record.category = category;
    ERR_report_cat(orb__msg_cat, 902, 1, category, "text");
    ERR_printf(category, "text");
    ERR_report(&record);
    return recorder.reports.size();
  }
  ERR_RECORD record = record_of(ERR_ERROR, "name", "text");
};

TEST_F(Masks, keep_debug_silent_until_it_is_asked_for) {
  EXPECT_EQ(deliveries(ERR_DEBUG), 0u);
  EXPECT_EQ(ERR_stats(ERR_DEBUG), 1u);  // only the one through a record
  EXPECT_EQ(ERR_last(0), nullptr);
  EXPECT_EQ(ERR_unmask_s(ERR_DEBUG), 1);
  EXPECT_EQ(deliveries(ERR_DEBUG), 3u);
}

TEST_F(Masks, tell_whether_they_were_set_and_suppress_what_they_are_of_only) {
  record.flags = 6;  // the other bits are not the module's
  const auto twice = [](auto call, auto of) {
    const int32_t first = call(of);
    return std::pair(first, call(of));
  };
  ERR_RECORD* const all = nullptr;
  EXPECT_EQ(twice(ERR_mask, &record), std::pair(0, 1));
  EXPECT_EQ(record.flags, 7u);
  EXPECT_EQ(deliveries(ERR_ERROR), 2u);
  EXPECT_EQ(twice(ERR_unmask, &record), std::pair(1, 0));
  EXPECT_EQ(record.flags, 6u);
  EXPECT_EQ(twice(ERR_mask_s, ERR_FATAL), std::pair(0, 1));
  EXPECT_EQ(deliveries(ERR_FATAL), 0u);
  EXPECT_EQ(deliveries(ERR_ERROR), 3u);
  EXPECT_EQ(twice(ERR_unmask_s, ERR_FATAL), std::pair(1, 0));
  for (const uint32_t category : {5u, 256u, UINT32_MAX}) {  // there are five
    EXPECT_EQ(twice(ERR_mask_s, category), std::pair(0, 0));
    EXPECT_EQ(ERR_unmask_s(category), 0);
  }
  err::state.counts[ERR_ERROR] = 0;
  record.count = 0;
  EXPECT_EQ(twice(ERR_mask, all), std::pair(0, 1));
  for (uint8_t category = 0; category < 5; ++category) EXPECT_EQ(deliveries(category), 0u);
  EXPECT_EQ(record.count, 5u);  // all that a suppressed report leaves
  EXPECT_EQ(ERR_stats(ERR_ERROR), 1u);
  EXPECT_EQ(twice(ERR_unmask, all), std::pair(1, 0));
  EXPECT_EQ(deliveries(ERR_INFORMATION), 3u);
}

// ---- Templates

class Template : public FreshErrors {};

template <class... Args>
std::string formatted(const char* message_template, Args... args) {
  ERR_RECORD record = record_of(ERR_ERROR, "name", message_template);
  char buffer[2048];
  std::memset(buffer, '!', sizeof(buffer));
  EXPECT_EQ(ERR_format(buffer, &record, args...), buffer);
  return buffer;
}

TEST_F(Template, puts_in_its_arguments_and_copies_what_it_does_not_know) {
  EXPECT_EQ(formatted("%c%d", 7), "7");
  EXPECT_EQ(formatted("%s: row %d of %f%%", "a.png", INT32_MIN, -2.5),
            "a.png: row -2147483648 of -2.500000%");
  EXPECT_EQ(formatted("%s", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(formatted("%s|%d", "%d%n", 1), "%d%n|1");
  EXPECT_EQ(formatted("%x%5d%ld%", 1), "%x%5d%ld%");
  EXPECT_EQ(formatted("%"), "%");
  EXPECT_EQ(formatted("%%%"), "%%");
  EXPECT_EQ(formatted(""), "");
  EXPECT_EQ(formatted(nullptr), "");
  const std::string longest = formatted("%f", std::numeric_limits<double>::lowest());
  EXPECT_EQ(longest.size(), 317u);
  EXPECT_EQ(formatted("%s%s", longest.c_str(), longest.c_str()), longest + longest);
}

TEST_F(Template, leaves_the_buffer_alone_while_anything_masks_it) {
  ERR_RECORD record = record_of(ERR_ERROR, "name", "text");
  const auto formatted_text = [&] {
    char buffer[8] = "before";
    ERR_format(buffer, &record);
    return std::string(buffer);
  };
  for (ERR_RECORD* masked : {&record, static_cast<ERR_RECORD*>(nullptr)}) {
    ERR_mask(masked);
    EXPECT_EQ(formatted_text(), "before");
    ERR_unmask(masked);
    EXPECT_EQ(formatted_text(), "text");
  }
  ERR_mask_s(ERR_ERROR);
  EXPECT_EQ(formatted_text(), "before");
}

TEST_F(Template, shows_placeholders_by_name_while_there_are_names_then_by_type) {
  const char* none[] = {nullptr};
  const char* two[] = {"path", "line", nullptr};
  const struct {
    const char* message_template;
    const char** names;
    const char* expected;
  } rows[] = {{"%s at %d%%", nullptr, "<string> at <integer>%"},
              {"%s at %d%%", none, "<string> at <integer>%"},
              {"%c %f %q", nullptr, "<character> <real> <unknown type>"},
              {"%s at %d%%, %f %d", two, "<path> at <line>%, <real> <integer>"},
              {"%% %c %s", two, "% <path> <line>"},
              {"100%", two, "100%"},
              {"", two, "before"},
              {nullptr, two, "before"}};
  for (const auto& row : rows) {
    ERR_RECORD record = record_of(ERR_ERROR, "name", row.message_template);
    record.argument_names = row.names;
    char buffer[128] = "before";
    EXPECT_EQ(ERR_format_fill(&record, buffer), buffer);
    EXPECT_STREQ(buffer, row.expected);
  }
}

TEST_F(Template, and_all_else_of_a_record_can_be_asked_for) {
  int words[2] = {};
  ERR_RECORD record = record_of(ERR_WARNING, "abcd_name", "text");
  record.count = 9;
  record.user_word_1 = &words[0];
  record.user_word_2 = &words[1];
  ERR_mask(&record);
  int32_t category = -1, masked = -1;
  uint32_t count = 0;
  const void* identity = nullptr;
  const char* text = nullptr;
  void *word_1 = nullptr, *word_2 = nullptr;
  ERR_query(&record, &category, &masked, &count, &identity, &text, &word_1, &word_2);
  EXPECT_TRUE(category == ERR_WARNING && masked == 1 && count == 9 && identity == record.identity &&
              text == record.message_template && word_1 == &words[0] && word_2 == &words[1]);
  ERR_query(&record, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace
}  // namespace orb::testing
