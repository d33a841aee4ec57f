// Configuration files as only a POSIX system can offer them.
#include <string>

#include "tests/support/config/configuration.h"

namespace {

class ConfigurationPath : public orb::testing::ConfigurationTest {};

TEST_F(ConfigurationPath, may_lead_to_a_file_that_never_ends) {
  std::filesystem::create_symlink("/dev/zero", folder() / ".orbrc");
  EXPECT_EQ(FMT_def_frame_rate(), 30);
  EXPECT_EQ(recorder.texts(), path() + ": only the first 20000 lines are read");
  environment.set("HOME", std::string(100'000, 'h'));
  reset_databases();
  EXPECT_EQ(FMT_def_frame_rate(), 30);
}

}  // namespace
