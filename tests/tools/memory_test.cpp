// The bound of --mem, measured at the processes.
#include <sys/resource.h>

#include "tool_test.h"

namespace orb::testing {
namespace {

using Memory = ToolTest;

TEST_F(Memory, a_conversion_of_many_frames_stays_within_what_it_is_allowed) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's own memory hides the tool's";
#endif
  PipeFile file;  // 20 MB in memory when its rows have to be turned round
  file.width = 50000;
  file.height = 130;
  for (const char* name : {"a.1.pipe", "a.2.pipe", "a.3.pipe", "a.4.pipe"}) file.write(name);
  // In KiB, of the largest process that has ended so far.
  const auto peak_after = [](const std::string& options) {
    expect("convert -qf a.#.pipe -o b.#.png --set compression=1 " + options, 0);
    struct rusage usage = {};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_maxrss;
  };
  const int64_t bare = peak_after("--region 0,0,0,0 --drop window");
  EXPECT_LT(peak_after("-j2 --mem 4M") - bare, 8 * 1024) << "of " << bare;
  EXPECT_GT(peak_after("-j2") - bare, 12 * 1024) << "there is nothing to bound";
}

}  // namespace
}  // namespace orb::testing
