// Reports from several threads at once.
#include <string>
#include <thread>
#include <vector>

#include "tests/support/err/fresh_errors.h"

namespace orb::testing {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 500;

// Counts without a lock of its own, and checks that a text is one thread's from its first byte to its last.
struct Counter {
  uint32_t reports[kThreads] = {};
  uint32_t torn = 0;
};
int32_t count_whole(const void*, uint8_t, const char* message, ERR_RECORD*, void* user_data) {
  auto& counter = *static_cast<Counter*>(user_data);
  const int thread = message[0] - 'a';
  const bool is_whole =
      thread >= 0 && thread < kThreads && std::string(message) == std::string(200, message[0]);
  ++(is_whole ? counter.reports[thread] : counter.torn);
  return 0;
}

class Threads : public FreshErrors {
 protected:
  void SetUp() override {
    FreshErrors::SetUp();
    ASSERT_EQ(ERR_dcl_handler(nullptr, count_whole, &counter), 1);
  }
  // Does the work in all threads, each with its number and its text.
  template <class Work>
  void run_threads(Work work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([=] {
        const std::string text(200, static_cast<char>('a' + i));
        for (int round = 0; round < kRounds; ++round) work(i, text.c_str());
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter.torn, 0u);
  }
  Counter counter;
  ERR_RECORD record = record_of(ERR_WARNING, "name", "%s");
};

TEST_F(Threads, that_report_at_once_get_every_report_counted_and_delivered_whole) {
  run_threads([this](int, const char* text) {
    ERR_report_cat(orb__msg_cat, 902, 1, ERR_ERROR, "%s", text);
    ERR_printf(ERR_INFORMATION, "%s", text);
    ERR_report(&record, text);
  });
  for (int i = 0; i < kThreads; ++i) EXPECT_EQ(counter.reports[i], 3u * kRounds) << i;
  EXPECT_EQ(record.count, static_cast<uint32_t>(kThreads * kRounds));
  for (const int32_t category : {ERR_INFORMATION, ERR_WARNING, ERR_ERROR})
    EXPECT_EQ(ERR_stats(category), static_cast<uint32_t>(kThreads * kRounds));
}

TEST_F(Threads, may_declare_cancel_mask_and_ask_while_others_report) {
  const ERR_HANDLER pass_on = [](const void*, uint8_t, const char*, ERR_RECORD*, void*) { return 1; };
  run_threads([this, pass_on](int, const char* text) {
    ERR_dcl_handler(&record, pass_on, nullptr);
    ERR_mask(&record);
    ERR_report(&record, text);
    ERR_unmask(&record);
    ERR_printf(ERR_ERROR, "%s", text);
    (void)(ERR_last(0) && ERR_stats(-1));
    ERR_can_handler(&record);
    set_error(last_error() - 1);
  });
  set_error(0);
  EXPECT_EQ(record.handlers, nullptr);
  EXPECT_EQ(record.count, static_cast<uint32_t>(kThreads * kRounds));
  EXPECT_EQ(ERR_stats(ERR_ERROR), static_cast<uint32_t>(kThreads * kRounds));
}

// For the thread sanitizer: each thread makes one call only, so that no other call's lock orders it.
TEST_F(Threads, may_compare_and_show_a_record_while_others_report_through_it) {
  const std::string shared_text(200, 'a');
  ERR_printf(ERR_ERROR, "%s", shared_text.c_str());
  ERR_RECORD* shared = ERR_last(0);
  run_threads([shared, &shared_text](int i, const char*) {
    char words[256];
    if (i == 0) {
      EXPECT_EQ(ERR_compare("%s", shared, 0), 0);
    } else if (i == 1) {
      EXPECT_EQ(ERR_format_fill(shared, words), shared_text);
    } else {
      ERR_printf(ERR_ERROR, "%s", shared_text.c_str());
    }
  });
}

}  // namespace
}  // namespace orb::testing
