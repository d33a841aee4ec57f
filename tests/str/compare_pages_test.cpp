// Comparison at the end of the memory that a process has; built where pages can be guarded.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/str/text.h"

namespace orb::testing {
namespace {

// Two pages, of which the second must not be touched.
class GuardedPage {
 public:
  GuardedPage() {
    void* pages = mmap(nullptr, 2 * kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) std::abort();
    start_ = static_cast<char*>(pages);
    if (mprotect(start_ + kBytes, kBytes, PROT_NONE) != 0) std::abort();
  }
  ~GuardedPage() { munmap(start_, 2 * kBytes); }
  GuardedPage(const GuardedPage&) = delete;
  GuardedPage& operator=(const GuardedPage&) = delete;

  // A copy of the text whose zero is so many bytes before the end of the page.
  char* put(const std::string& text, size_t before_end) {
    char* at = start_ + kBytes - before_end - text.size() - 1;
    std::memcpy(at, text.c_str(), text.size() + 1);
    return at;
  }
  static inline const size_t kBytes = static_cast<size_t>(sysconf(_SC_PAGESIZE));

 private:
  char* start_;
};

}  // namespace

// Every length up to past three strides, at every distance up to a vector from the page's end, with the
// difference nowhere and in each place.
TEST(Compare, is_right_at_every_length_and_place_and_stays_on_the_page) {
  GuardedPage left, right;
  for (size_t length = 0; length < 200; length += length < 70 ? 1 : 13) {
    const std::string text(length, 'k');
    for (const size_t left_gap : {0, 1, 5, 15, 16, 40, 63}) {
      for (const size_t right_gap : {0, 3, 17, 64}) {
        const char* a = left.put(text, left_gap);
        EXPECT_EQ(STR_compare(a, right.put(text, right_gap)), 0) << length;
        for (size_t at = 0; at < length; at += 1 + at / 20) {
          for (const char changed : {'\xe9', '\0', 'l'}) {
            std::string other = text;
            other[at] = changed;
            const char* b = right.put(other, right_gap);
            ASSERT_EQ(STR_compare(a, b), 'k' - static_cast<int8_t>(changed)) << length << ' ' << at;
            ASSERT_EQ(STR_compare(b, a), static_cast<int8_t>(changed) - 'k') << length << ' ' << at;
          }
        }
      }
    }
  }
}

}  // namespace orb::testing
