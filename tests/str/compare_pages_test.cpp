// Comparison at the ends of pages and of the memory that a process has; built where pages can be guarded.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/str/text.h"

namespace orb::testing {
namespace {

// Four pages, and one behind them that must not be touched.
class GuardedPages {
 public:
  GuardedPages() {
    void* pages = mmap(nullptr, 5 * kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) std::abort();
    start_ = static_cast<char*>(pages);
    if (mprotect(start_ + 4 * kBytes, kBytes, PROT_NONE) != 0) std::abort();
  }
  ~GuardedPages() { munmap(start_, 5 * kBytes); }
  GuardedPages(const GuardedPages&) = delete;
  GuardedPages& operator=(const GuardedPages&) = delete;

  // A copy of the text whose zero is so many bytes before the end.
  char* put(const std::string& text, size_t before_end) {
    char* at = start_ + 4 * kBytes - before_end - text.size() - 1;
    std::memcpy(at, text.c_str(), text.size() + 1);
    return at;
  }
  static inline const size_t kBytes = static_cast<size_t>(sysconf(_SC_PAGESIZE));

 private:
  char* start_;
};

}  // namespace

// Every length up to past three strides and some over several pages, at distances from the memory's end that bring
// the ends of pages to different places, with the difference nowhere and in many places.
TEST(Compare, is_right_at_every_length_and_place_and_stays_on_the_page) {
  GuardedPages left, right;
  std::vector<size_t> lengths = {96, 130, 199, 4095, 4096, 8199};
  for (size_t length = 0; length < 70; ++length) lengths.push_back(length);
  for (const size_t length : lengths) {
    const std::string text(length, 'k');
    for (const size_t left_gap : {0, 1, 5, 15, 16, 40, 63, 2048}) {
      for (const size_t right_gap : {0, 3, 17, 64, 3000}) {
        const char* a = left.put(text, left_gap);
        char* b = right.put(text, right_gap);
        EXPECT_EQ(STR_compare(a, b), 0) << length;
        for (size_t at = 0; at < length; at += length < 200 ? 1 + at / 20 : 37) {
          for (const char changed : {'\xe9', '\0', 'l'}) {
            b[at] = changed;
            ASSERT_EQ(STR_compare(a, b), 'k' - static_cast<int8_t>(changed)) << length << ' ' << at;
            ASSERT_EQ(STR_compare(b, a), static_cast<int8_t>(changed) - 'k') << length << ' ' << at;
          }
          b[at] = 'k';
        }
      }
    }
  }
}

}  // namespace orb::testing
