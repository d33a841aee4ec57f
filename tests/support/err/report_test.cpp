// The ways in: what each formats, counts and remembers.
#include <cerrno>
#include <cstring>
#include <string>

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

TEST_F(Report, leaves_its_format_and_text_in_a_record_of_its_entry_point) {
  const ReportRecorder recorder;
  static const char* const kFormats[] = {"line %d", "row %d"};
  ERR_report_cat(nullptr, 902, 1, ERR_WARNING, kFormats[0], 3);
  ERR_printf(ERR_ERROR, kFormats[1], 4);
  const struct {
    uint32_t n;
    const char* format;
    int32_t category;
    const char* text;
  } rows[] = {{1, kFormats[0], ERR_WARNING, "line 3"}, {0, kFormats[1], ERR_ERROR, "row 4"}};
  for (const auto& row : rows) {
    int32_t category = -1;
    const void* identity = nullptr;
    const char* text = nullptr;
    ERR_query(ERR_last(row.n), &category, nullptr, nullptr, &identity, &text, nullptr, nullptr);
    EXPECT_EQ(identity, row.format);
    EXPECT_EQ(category, row.category);
    EXPECT_STREQ(text, row.text);
    EXPECT_EQ(ERR_last(row.n)->kind, 1);
  }
}

TEST_F(Report, may_quote_the_report_before) {
  ReportRecorder recorder;
  ERR_printf(ERR_ERROR, "%s", "disk gone");
  ERR_printf(ERR_ERROR, "while saving: %s", ERR_last(0)->message_template);
  EXPECT_EQ(recorder.texts(), "disk gone\nwhile saving: disk gone");
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

TEST_F(Report, allocates_nothing) {
  ReportRecorder recorder;
  recorder.reports.reserve(3);
  const FailAllocation fail(1, FailAllocation::Mode::from_there_on);
  through_catalogue("a");
  through_printf("b");
  through_record("c");
  EXPECT_FALSE(fail.happened());
  EXPECT_EQ(recorder.texts(), "a\nb\nc");
}

TEST_F(Report, count_is_kept_by_category_and_the_sum_wraps) {
  const ReportRecorder recorder;
  ERR_unmask_s(ERR_DEBUG);
  for (int32_t category = 0; category < 5; ++category) {
    for (int32_t i = 0; i <= category; ++i) ERR_printf(category, "text");
  }
  for (int32_t category = 0; category < 5; ++category)
    EXPECT_EQ(ERR_stats(category), static_cast<uint32_t>(category) + 1);
  EXPECT_EQ(ERR_stats(-1), 15u);
  EXPECT_EQ(ERR_stats(5), 0u);
  EXPECT_EQ(ERR_stats(-2), 0u);
  err::state.counts[1] = UINT32_MAX;
  EXPECT_EQ(ERR_stats(-1), 12u);
}

TEST_F(Report, names_are_compared_with_or_without_the_module_s_prefix) {
  const struct {
    const char* name;
    const char* identity;
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

}  // namespace
}  // namespace orb::testing
