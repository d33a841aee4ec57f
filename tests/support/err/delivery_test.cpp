// The way of a report through the handlers, and its end.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "orbbase/platform/platform.h"
#include "orbbase/support/err/state.h"
#include "tests/support/err/fresh_errors.h"

namespace orb::testing {
namespace {

// The letters of the handlers that ran; the one named in stop deals with the report.
struct Journal {
  std::string ran;
  char stop = '\0';
  std::string last_message;
  uint8_t last_category = 0;
  const void* last_identity = nullptr;
} journal;

int32_t enter(char letter, const void* identity, uint8_t category, const char* message) {
  journal.ran += letter;
  journal.last_message = message;
  journal.last_category = category;
  journal.last_identity = identity;
  return letter == journal.stop ? 0 : -1;  // any value but 0 passes it on
}

// User data is the letter; without it the record's own handler was called.
int32_t by_letter(const void* identity, uint8_t category, const char* message, ERR_RECORD*, void* user_data) {
  return enter(user_data ? *static_cast<const char*>(user_data) : 'o', identity, category, message);
}

class Delivery : public FreshErrors {
 protected:
  void SetUp() override {
    FreshErrors::SetUp();
    journal = {};
    record.own_handler = by_letter;
    declare(&record, 'r');
    declare(&record, 's');
    declare(nullptr, 'g');
    declare(nullptr, 'h');
  }
  void TearDown() override {
    while (record.handlers) ERR_can_handler(&record);
    FreshErrors::TearDown();
  }
  static void declare(ERR_RECORD* of, char letter) {
    static char letters[128];
    letters[static_cast<int>(letter)] = letter;
    ASSERT_EQ(ERR_dcl_handler(of, by_letter, &letters[static_cast<int>(letter)]), 1);
  }
  ERR_RECORD record = record_of(ERR_WARNING, "abcd_name", "disk %d");
};

TEST_F(Delivery, goes_to_the_record_s_handlers_then_to_all_s_newest_first_until_one_takes_it) {
  const struct {
    char stop;
    const char* ran;
    const char* printed;
  } rows[] = {{'s', "s", ""},    {'r', "sr", ""},    {'o', "sro", ""},
              {'h', "sroh", ""}, {'g', "srohg", ""}, {'\0', "srohg", "WARNING, disk 4\n"}};
  for (const auto& row : rows) {
    journal = {};
    journal.stop = row.stop;
    ::testing::internal::CaptureStderr();
    ERR_report(&record, 4);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), row.printed);
    EXPECT_EQ(journal.ran, row.ran);
    EXPECT_EQ(journal.last_message, "disk 4");
    EXPECT_EQ(journal.last_category, ERR_WARNING);
    EXPECT_EQ(journal.last_identity, record.identity);
  }
}

TEST_F(Delivery, without_a_record_goes_to_the_handlers_of_all_with_no_user_data) {
  static constexpr char kName[] = "name";
  ::testing::internal::CaptureStderr();
  err::deliver_without_record(kName, ERR_ERROR, "from a resource");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "ERROR, from a resource\n");
  EXPECT_EQ(journal.ran, "oo");  // both global handlers, neither with its letter
  EXPECT_EQ(journal.last_identity, kName);
  EXPECT_EQ(ERR_last(0), nullptr);
  EXPECT_EQ(ERR_stats(-1), 0u);
}

TEST_F(Delivery, of_a_fatal_report_that_a_handler_takes_ends_nothing) {
  journal.stop = 'g';
  ERR_printf(ERR_FATAL, "stop");
  EXPECT_EQ(journal.ran, "hg");
}

void show_on_stderr(const char* caption, const char* message) {
  std::fprintf(stderr, "[box %s: %s]", caption, message);
  std::fflush(stderr);
}

TEST(DeliveryDeathTest, of_a_fatal_report_prints_shows_a_box_and_aborts) {
  const struct { std::string text; } rows[] = {{"disk gone"}, {std::string(32767, 'x')}};
  for (const auto& row : rows) {
    const std::string line = "FATAL, " + row.text + "\n";
    EXPECT_DEATH(
        {
          err::reset_for_test();
          platform::fatal_box = show_on_stderr;
          ERR_printf(ERR_FATAL, "%s", row.text.c_str());
        },
        ::testing::HasSubstr(line + "[box Fatal Error: " + line + "]"));
  }
}

TEST(DeliveryDeathTest, by_default_shows_a_text_too_long_for_the_box_with_its_cut_marked) {
  const std::string text(40000, 'x');
  EXPECT_DEATH(
      {
        platform::fatal_box = show_on_stderr;
        ERR_def_handler(nullptr, ERR_FATAL, text.c_str(), nullptr, nullptr);
      },
      ::testing::EndsWith("x...]"));
}

// Reports again through the entry point that it is called from, quoting the text, down to three levels.
int32_t quote(const void*, uint8_t, const char* message, ERR_RECORD*, void*) {
  const std::string before = message;
  if (std::strlen(message) < 10) ERR_printf(ERR_INFORMATION, "<%s>", message);
  EXPECT_EQ(before, message);
  return 1;
}

TEST_F(Delivery, goes_on_with_the_same_text_and_record_after_a_handler_reported_in_between) {
  journal.stop = 'g';
  ASSERT_EQ(ERR_dcl_handler(nullptr, quote, nullptr), 1);
  static const char* const kFormat = "note %d";
  ERR_printf(ERR_WARNING, kFormat, 1);  // inside it <note 1>, inside that <<note 1>>
  EXPECT_EQ(journal.ran, "hghghg");
  EXPECT_EQ(journal.last_message, "note 1");
  EXPECT_EQ(journal.last_category, ERR_WARNING);
  EXPECT_EQ(journal.last_identity, kFormat);
  EXPECT_STREQ(ERR_last(0)->message_template, "note 1");
  EXPECT_EQ(ERR_stats(ERR_INFORMATION), 2u);
}

}  // namespace
}  // namespace orb::testing
