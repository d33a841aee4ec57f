// Handlers, the way of a report through them, and its end.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "orbbase/platform/platform.h"
#include "orbbase/support/err/state.h"
#include "tests/support/err/fresh_errors.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

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
    const char *ran, *printed;
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

void show_on_stderr(const char* caption, const char* message) {
  std::fprintf(stderr, "[box %s: %s]", caption, message);
  std::fflush(stderr);
}

TEST(DeliveryDeathTest, of_a_fatal_report_prints_shows_a_box_and_aborts) {
  const std::string line = "FATAL, disk gone\n";
  EXPECT_DEATH(
      {
        err::reset_for_test();
        platform::fatal_box = show_on_stderr;
        ERR_printf(ERR_FATAL, "%s", "disk gone");
      },
      ::testing::HasSubstr(line + "[box Fatal Error: " + line + "]"));
  EXPECT_DEATH(
      {
        platform::fatal_box = show_on_stderr;
        ERR_def_handler(nullptr, ERR_FATAL, std::string(40000, 'x').c_str(), nullptr, nullptr);
      },
      ::testing::EndsWith("x...]"));  // too long for the box
}

// Reports again through the entry point that it is called from, quoting the text, down to three levels.
int32_t quote(const void*, uint8_t, const char* message, ERR_RECORD*, void*) {
  const std::string before = message;
  if (std::strlen(message) < 10) ERR_printf(ERR_INFORMATION, "<%s>", message);
  EXPECT_EQ(before, message);
  return 1;
}

TEST_F(Delivery, ends_with_who_takes_it_and_goes_on_with_the_same_text_and_record_after_reports_in_between) {
  journal.stop = 'g';
  ERR_printf(ERR_FATAL, "stop");  // ends nothing, since it is taken
  EXPECT_EQ(journal.ran, "hg");
  journal.ran.clear();
  ASSERT_EQ(ERR_dcl_handler(nullptr, quote, nullptr), 1);
  static const char* const kFormat = "note %d";
  ERR_printf(ERR_WARNING, kFormat, 1);  // inside it <note 1>, inside that <<note 1>>
  EXPECT_EQ(journal.ran, "hghghg");
  EXPECT_EQ(journal.last_message, "note 1");
  EXPECT_EQ(journal.last_category, ERR_WARNING);
  EXPECT_EQ(journal.last_identity, kFormat);
  EXPECT_STREQ(ERR_last(0)->message_template, "note 1");
  EXPECT_EQ(ERR_last(0)->category, ERR_WARNING);
  EXPECT_EQ(ERR_stats(ERR_INFORMATION), 2u);
}

// ---- Declaring and cancelling, also while reports are on their way

class Handlers : public FreshErrors {
 protected:
  std::string ran;
};

int32_t pass_on(const void*, uint8_t, const char*, ERR_RECORD*, void*) { return 1; }
int32_t take(const void*, uint8_t, const char*, ERR_RECORD*, void*) { return 0; }

TEST_F(Handlers, are_cancelled_in_reverse_order_and_each_chain_on_its_own) {
  ReportRecorder recorder;
  ERR_RECORD record = record_of(ERR_ERROR, "name", "");
  EXPECT_EQ(ERR_can_handler(&record), nullptr);
  EXPECT_EQ(ERR_dcl_handler(nullptr, pass_on, nullptr), 1);
  EXPECT_EQ(ERR_dcl_handler(&record, take, nullptr), 1);
  EXPECT_EQ(ERR_dcl_handler(nullptr, nullptr, nullptr), 1);
  ERR_printf(ERR_ERROR, "text");
  EXPECT_EQ(recorder.texts(), "text");  // one that is null passes everything on
  EXPECT_EQ(ERR_can_handler(&record), take);
  EXPECT_EQ(ERR_can_handler(&record), nullptr);
  EXPECT_EQ(ERR_can_handler(nullptr), nullptr);
  EXPECT_EQ(ERR_can_handler(nullptr), pass_on);
}

// What a handler does to the chain while it runs.
struct Upset {
  std::string* ran;
  char letter;
  int cancels;
  int declares;
};
int32_t upset_chain(const void*, uint8_t, const char*, ERR_RECORD*, void* user_data) {
  const Upset& upset = *static_cast<Upset*>(user_data);
  *upset.ran += upset.letter;
  for (int i = 0; i < upset.cancels; ++i) ERR_can_handler(nullptr);
  for (int i = 0; i < upset.declares; ++i) ERR_dcl_handler(nullptr, pass_on, nullptr);
  if (upset.cancels > 0) ERR_printf(ERR_WARNING, "inside");
  return 1;
}

TEST_F(Handlers, may_cancel_and_declare_handlers_while_a_report_is_on_its_way) {
  const struct {
    int cancels, declares;
    const char* ran;  // a report inside goes to those that are left; the outer one to them once more
  } rows[] = {{0, 0, "cba"}, {1, 0, "cbaba"}, {2, 0, "caa"}, {3, 0, "c"},
              {9, 0, "c"},   {3, 2, "c"},     {2, 2, "caa"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.cancels << " cancelled, " << row.declares << " declared");
    err::reset_for_test();
    ERR_dcl_handler(nullptr, take, nullptr);  // keeps the reports from standard error
    ran.clear();
    Upset upsets[] = {{&ran, 'a', 0, 0}, {&ran, 'b', 0, 0}, {&ran, 'c', row.cancels, row.declares}};
    for (Upset& upset : upsets) ERR_dcl_handler(nullptr, upset_chain, &upset);
    ::testing::internal::CaptureStderr();
    ERR_printf(ERR_ERROR, "outside");
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(ran, row.ran);
    int left = 0;
    while (ERR_can_handler(nullptr)) ++left;
    EXPECT_EQ(left, std::max(0, 4 - row.cancels) + row.declares);
  }
}

TEST_F(Handlers, give_their_nodes_back_even_when_cancelled_inside_a_report) {
  for (int round = 0; round < 100; ++round) {
    Upset upset = {&ran, 'x', 1, 0};
    ASSERT_EQ(ERR_dcl_handler(nullptr, take, nullptr), 1);
    ASSERT_EQ(ERR_dcl_handler(nullptr, upset_chain, &upset), 1);
    const FailAllocation fail(round == 0 ? 1000 : 1);
    ERR_printf(ERR_ERROR, "text");
    ASSERT_EQ(ERR_dcl_handler(nullptr, take, nullptr), 1);
    ASSERT_FALSE(fail.happened()) << round;
    while (ERR_can_handler(nullptr)) continue;
  }
}

TEST_F(Handlers, that_find_no_memory_are_refused_with_a_report_and_may_be_declared_later) {
  ReportRecorder recorder;
  ERR_RECORD record = record_of(ERR_ERROR, "name", "text");
  for (ERR_RECORD* of : {&record, static_cast<ERR_RECORD*>(nullptr)}) {
    recorder.clear();
    int declared = 0;
    {
      const FailAllocation fail(1);  // the pool first hands out the nodes of earlier declarations
      while (ERR_dcl_handler(of, pass_on, nullptr) == 1 && declared < 1000) ++declared;
      EXPECT_TRUE(fail.happened());
    }
    EXPECT_EQ(recorder.texts(), "No more internal memory");
    EXPECT_EQ(ERR_dcl_handler(of, take, nullptr), 1);
    EXPECT_EQ(ERR_can_handler(of), take);
    for (; declared > 0; --declared) EXPECT_EQ(ERR_can_handler(of), pass_on);
  }
}

}  // namespace
}  // namespace orb::testing
