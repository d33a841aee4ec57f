// The bound of --mem, measured at the processes.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

// Of the largest process that has ended so far.
int64_t peak_kibibytes() {
  struct rusage usage = {};
  getrusage(RUSAGE_CHILDREN, &usage);
  return usage.ru_maxrss;
}

TEST(Memory, a_conversion_of_many_frames_stays_within_what_it_is_allowed) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's own memory hides the tool's";
#endif
  const Folder folder;
  PipeFile file;  // 20 MB in memory when its rows have to be turned round
  file.width = 50000;
  file.height = 130;
  for (const char* name : {"a.1.pipe", "a.2.pipe", "a.3.pipe", "a.4.pipe"}) file.write(folder.path(name));
  const auto convert = [&](const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"convert", "-qf",   "a.#.pipe",     "-o",
                                          "b.#.png", "--set", "compression=1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(orb(folder, arguments).status, 0);
    return peak_kibibytes();
  };
  const int64_t bare = convert({"--region", "0,0,0,0", "--drop", "window"});
  const int64_t bounded = convert({"-j2", "--mem", "4M"});
  EXPECT_LT(bounded - bare, 8 * 1024) << "of " << bare;
  const int64_t free = convert({"-j2"});
  EXPECT_GT(free - bare, 12 * 1024) << "there is nothing to bound";
}

}  // namespace
}  // namespace orb::testing
