// What only a POSIX system does to a file: permissions, devices, a limit of its size.
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "orbbase/support/err.h"
#include "orbbase/support/resource/records.h"
#include "tests/support/resource/resource_file.h"

namespace orb::testing {
namespace {

// Root may write anything; while this lives, the process is somebody else.
class OrdinaryUser {
 public:
  OrdinaryUser() : was_root_(geteuid() == 0) { EXPECT_TRUE(!was_root_ || seteuid(65534) == 0); }
  ~OrdinaryUser() {
    if (!was_root_) return;
    EXPECT_EQ(seteuid(0), 0);
    prctl(PR_SET_DUMPABLE, 1);  // taken away with root's rights, and needed by leak checks
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  bool was_root_;
};

TEST_F(ResourceFiles, that_may_only_be_read_are_not_changed) {
  const std::string bytes = resource_bytes({{kText, {{"a", "1"}}}});
  put_file("r", bytes);
  chmod("r", 0444);
  std::filesystem::create_directory("other");
  chmod(".", 0777);
  chmod("other", 0777);
  const OrdinaryUser user;
  ORB_RSRC_FILE* file = orb__rsrc_open("r");
  ASSERT_NE(file, nullptr) << recorder.texts();
  EXPECT_FALSE(file->is_update);
  EXPECT_EQ(loaded(file, kText, "a"), "1");
  EXPECT_EQ(orb__rsrc_add(file, kText, "b", "2", 1), 0);
  EXPECT_EQ(orb__rsrc_delete(file, kText, "a"), 0);
  EXPECT_EQ(orb__rsrc_save(file), 0);
  EXPECT_EQ(recorder.reports.size(), 3u);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(orb__rsrc_close("r", 1), 1);  // no failure
  EXPECT_EQ(file_bytes("r"), bytes);
  // One that may be changed goes first, wherever it lies.
  put_file("other/r", bytes);
  EXPECT_EQ(orb__rsrc_search("other/"), 1);
  file = orb__rsrc_open("r");
  ASSERT_NE(file, nullptr);
  EXPECT_STREQ(file->path, "other/r");
}

TEST_F(ResourceFiles, that_are_no_files_are_not_waited_for) {
  ASSERT_EQ(mkfifo("fifo", 0600), 0);
  for (const char* name : {"fifo", "/dev/zero"}) EXPECT_EQ(orb__rsrc_open(name), nullptr) << name;
  EXPECT_EQ(recorder.reports.size(), 2u);
}

TEST_F(ResourceFiles, that_find_no_room_say_so) {
  const std::string bytes = resource_bytes({{kText, {{"a", "1"}}}});
  ORB_RSRC_FILE* file = open_bytes(bytes);
  ASSERT_NE(file, nullptr);
  const std::string data(100'000, 'x');
  ASSERT_EQ(orb__rsrc_add(file, kText, "b", data.data(), data.size()), 1);
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit = {50'000, RLIM_INFINITY};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  EXPECT_EQ(orb__rsrc_close("r", 1), 0);
  EXPECT_EQ(recorder.texts(), "Cannot write resource file r; File too large");
  EXPECT_EQ(orb__err, ORB_E_WRITE);
  EXPECT_EQ(file_bytes("r").substr(0, 12), bytes.substr(0, 12));  // the header comes last
}

}  // namespace
}  // namespace orb::testing
