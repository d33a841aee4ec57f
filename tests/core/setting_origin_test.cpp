#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <utility>

#include "orbbase/clr.h"
#include "orbbase/core.h"
#include "orbbase/registry.h"
#include "tests/support/config/configuration.h"
#include "tests/support/fail_allocation.h"

namespace {

using namespace orb::testing;

class SettingOrigin : public ConfigurationTest {
 protected:
  SettingOrigin() {
    for (const char* name :
         {"QV_ORB_MULTIFRAME_OPEN", "QV_JOB_NUM", "QV_IMG_DIR", "QV_TEX_DIR", "QV_BIN_DIR"})
      environment.unset(name);
  }

  // What the walk says of the settings of this name: "VALUE @ ORIGIN:LINE", one a line.
  std::string listed(const std::string& name) const {
    std::string all;
    ORB_SETTING setting;
    for (int32_t i = 0; ORB_setting(i, &setting); ++i) {
      if (setting.name != name) continue;
      const std::string origin = setting.origin == path() ? "file" : setting.origin;
      all += (all.empty() ? "" : "\n") + std::string(setting.value) + " @ " + origin;
      if (setting.line != 0) all += ":" + std::to_string(setting.line);
    }
    return all;
  }
};

TEST_F(SettingOrigin, is_built_in_for_everything_when_nobody_says_otherwise) {
  environment.unset("HOME");
  std::map<std::string, int> names;
  ORB_SETTING setting;
  for (int32_t i = 0; ORB_setting(i, &setting); ++i) {
    ++names[setting.name];
    EXPECT_STREQ(setting.origin, "built-in") << setting.name;
    EXPECT_EQ(setting.line, 0) << setting.name;
  }
  EXPECT_EQ(names.size(), 11u + 2 + 10 + 7 + 5);
  EXPECT_EQ(names["framebuffer"], 3);
  EXPECT_EQ(names["clr__sample_bins"], 10);
  const std::pair<const char*, const char*> rows[] = {{"fmt__gamma_default", "2.2"},
                                                      {"fmt__key_default", "rla"},
                                                      {"fmt__aspect_table", "ntsc_640 640 486 1.33"},
                                                      {"clr__default_white_point", "0.31 0.316 0.374"},
                                                      {"clr__tristimulus", "81 points"},
                                                      {"HOME", ""},
                                                      {"QV_ROOT", "/usr/zt/"},
                                                      {"QV_ORB_MULTIFRAME_OPEN", "15"},
                                                      {"ORB_LIMIT_BUFFER", "1073741824"},
                                                      {"ORB_LIMIT_PIXELS", "68719476736"}};
  for (const auto& [name, value] : rows) EXPECT_EQ(listed(name), std::string(value) + " @ built-in") << name;
}

TEST_F(SettingOrigin, is_the_line_that_last_took_effect) {
  configure(
      "fmt__frame_rate 24\nfmt__frame_rate 25\nfmt__frame_rate 0\nfmt__frame_rate 1 2\n"
      "fmt__gamma_default 2.2x\nfmt__aspect_default film\n"
      "fmt__aspect_table\nfilm 2048 1556 1.32\nend_aspect_table\n"
      "fmt__aspect_default none\nfmt__key_default 'a key'\n"
      "fb__default mine\nframebuffer mine\nresolution 720 486\nend_framebuffer\n"
      "clr__default_samples 9\nclr__tristimulus\n500 1 1 1\nend__tristimulus\nclr__sample_bins 3 uniform\n"
      "clr__sample_bins 2 \\\n 400 500 600\n");
  EXPECT_EQ(listed("fmt__frame_rate"), "25 @ file:2");
  EXPECT_EQ(listed("fmt__gamma_default"), "2.2 @ built-in");
  EXPECT_EQ(listed("fmt__aspect_default"), "ntsc_640 @ built-in");
  EXPECT_EQ(listed("fmt__key_default"), "a key @ file:11");
  EXPECT_EQ(listed("fmt__aspect_table"), "ntsc_640 640 486 1.33 @ built-in\nfilm 2048 1556 1.32 @ file:8");
  EXPECT_EQ(listed("fb__default"), "mine @ file:12");
  EXPECT_THAT(
      listed("framebuffer"),
      ::testing::EndsWith(
          "mine 720 486 1.33 0.67 0.33 0 0.21 0.71 0.08 0.14 0.08 0.78 0.31 0.316 0.374 2.2 @ file:13"));
  EXPECT_EQ(listed("clr__default_samples"), "9 @ file:16");
  EXPECT_EQ(listed("clr__tristimulus"), "1 points @ file:17");
  EXPECT_THAT(listed("clr__sample_bins"),
              ::testing::EndsWith("3 uniform @ file:20\n2 400 500 600 @ file:21"));
}

TEST_F(SettingOrigin, of_a_number_outlives_the_end_of_its_database_and_that_of_a_text_does_not) {
  configure("fb__default pal\nfmt__frame_rate 24\nfmt__key_default tif\nclr__default_samples 9\n");
  EXPECT_EQ(ORB_init(nullptr, nullptr), 0);
  EXPECT_EQ(listed("fmt__key_default"), "tif @ file:3");
  EXPECT_EQ(listed("fb__default"), "pal @ file:1");
  FMT_exit();
  orb::clr_exit();
  write(folder() / ".orbrc", "\nfb__default ntsc\n");
  EXPECT_EQ(listed("fmt__frame_rate"), "24 @ file:2");
  EXPECT_EQ(listed("clr__default_samples"), "9 @ file:4");
  EXPECT_EQ(listed("fmt__key_default"), "rla @ built-in");
  write(folder() / ".orbrc", "\nfb__default ntsc\nfmt__frame_rate 25\nclr__default_samples 8\n");
  EXPECT_EQ(ORB_exit(), 0);  // every database is looked up anew
  EXPECT_EQ(listed("fb__default"), "ntsc @ file:2");
  EXPECT_EQ(listed("fmt__frame_rate"), "25 @ file:3");
  EXPECT_EQ(listed("clr__default_samples"), "8 @ file:4");
  const std::filesystem::path other = folder() / "other";
  write(other / ".orbrc", "fmt__key_default png\n");
  environment.set("HOME", other.string());
  FMT_exit();  // the origins of the other databases are kept beside the new file's
  EXPECT_EQ(listed("fmt__key_default"), "png @ " + other.string() + "/.orbrc:1");
}

TEST_F(SettingOrigin, is_the_variable_or_the_application) {
  environment.set("QV_JOB_NUM", "42");
  environment.set("QV_IMG_DIR", std::string(30'000, 'd'));
  ORB_limit(ORB_LIMIT_IMAGES, 7);
  EXPECT_EQ(listed("QV_JOB_NUM"), "42 @ QV_JOB_NUM");
  EXPECT_EQ(listed("QV_IMG_DIR"), std::string(252, 'd') + "... @ QV_IMG_DIR");
  EXPECT_EQ(listed("ORB_LIMIT_IMAGES"), "7 @ application");
  ORB_limit(ORB_LIMIT_IMAGES, 65536);
}

TEST_F(SettingOrigin, walk_ends_and_leaves_other_walks_alone) {
  configure("fmt__aspect_table\na 1 1 1\n");
  EXPECT_EQ(FMT_init(nullptr), 0);
  EXPECT_STREQ(FMT_info()->name, "ntsc_640");
  ORB_SETTING setting;
  std::memset(&setting, 'x', sizeof setting);
  EXPECT_EQ(ORB_setting(-1, &setting), 0);
  EXPECT_EQ(ORB_setting(2147483647, &setting), 0);
  EXPECT_EQ(setting.value[0], 'x');
  EXPECT_NE(listed("fmt__aspect_table"), "");
  EXPECT_STREQ(FMT_info()->name, "a");
}

TEST_F(SettingOrigin, walk_survives_the_failure_of_any_allocation) {
  configure(
      "fmt__aspect_default a\nfmt__aspect_table\na 1 1 1\nfb__default pal\nframebuffer x\nend_framebuffer\n");
  for (int nth = 1;; ++nth) {
    reset_databases();
    bool has_failed = false;
    {
      const FailAllocation fail(nth);
      ORB_SETTING setting;
      int32_t count = 0;
      while (ORB_setting(count, &setting)) ++count;
      EXPECT_GE(count, 10 + 1 + 9 + 6 + 5) << nth;
      has_failed = fail.happened();
    }
    if (!has_failed) break;
    reset_databases();
    EXPECT_EQ(listed("fb__default"), "pal @ file:4") << nth;
  }
}

}  // namespace
