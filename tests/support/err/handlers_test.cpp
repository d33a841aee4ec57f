// Declaring and cancelling handlers, also while reports are on their way.
#include <string>
#include <vector>

#include "tests/support/err/fresh_errors.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

class Handlers : public FreshErrors {
 protected:
  void SetUp() override {
    FreshErrors::SetUp();
    ran.clear();
  }
  static std::string ran;
};
std::string Handlers::ran;

int32_t pass_on(const void*, uint8_t, const char*, ERR_RECORD*, void*) { return 1; }
int32_t take(const void*, uint8_t, const char*, ERR_RECORD*, void*) { return 0; }

TEST_F(Handlers, are_cancelled_in_reverse_order_and_each_chain_on_its_own) {
  ERR_RECORD record = record_of(ERR_ERROR, "name", "");
  EXPECT_EQ(ERR_can_handler(nullptr), nullptr);
  EXPECT_EQ(ERR_can_handler(&record), nullptr);
  EXPECT_EQ(ERR_dcl_handler(nullptr, pass_on, nullptr), 1);
  EXPECT_EQ(ERR_dcl_handler(&record, take, nullptr), 1);
  EXPECT_EQ(ERR_dcl_handler(nullptr, take, nullptr), 1);
  EXPECT_EQ(ERR_can_handler(&record), take);
  EXPECT_EQ(ERR_can_handler(&record), nullptr);
  EXPECT_EQ(ERR_can_handler(nullptr), take);
  EXPECT_EQ(ERR_can_handler(nullptr), pass_on);
  EXPECT_EQ(ERR_can_handler(nullptr), nullptr);
}

TEST_F(Handlers, that_are_null_pass_everything_on) {
  ReportRecorder recorder;
  ASSERT_EQ(ERR_dcl_handler(nullptr, nullptr, nullptr), 1);
  ERR_printf(ERR_ERROR, "text");
  EXPECT_EQ(recorder.texts(), "text");
  EXPECT_EQ(ERR_can_handler(nullptr), nullptr);
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
    int cancels;
    int declares;
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
    int32_t result = 1;
    {
      const FailAllocation fail(1);
      // The pool first hands out the nodes of earlier declarations.
      while ((result = ERR_dcl_handler(of, pass_on, nullptr)) == 1 && declared < 1000) ++declared;
      EXPECT_TRUE(fail.happened());
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(recorder.texts(), "No more internal memory");
    EXPECT_EQ(ERR_dcl_handler(of, take, nullptr), 1);
    EXPECT_EQ(ERR_can_handler(of), take);
    for (; declared > 0; --declared) EXPECT_EQ(ERR_can_handler(of), pass_on);
  }
}

}  // namespace
}  // namespace orb::testing
