#include <string>

#include "orbbase/support/config/internal.h"
#include "tests/support/config/configuration.h"
#include "tests/support/fail_allocation.h"

namespace {

using orb::fb::FrameBuffer;
using orb::testing::ConfigurationTest;
using orb::testing::FailAllocation;
using orb::testing::WithDebugReports;

class FrameBuffers : public ConfigurationTest {};

std::string names() {
  std::string all;
  EXPECT_EQ(orb::fb::init(nullptr), 0);
  while (const FrameBuffer* fb = orb::fb::info()) all += std::string(fb->name) + ";";
  return all;
}

TEST(FrameBuffersAlone, are_there_for_the_first_who_asks) {
  EXPECT_NE(orb::fb::find("ntsc"), nullptr);
  EXPECT_EQ(orb::fb::find(nullptr), nullptr);
  orb::config::ListedSetting listed;
  EXPECT_TRUE(orb::fb::list(orb::fb::listed_count() - 1, &listed));
  EXPECT_FALSE(orb::fb::list(orb::fb::listed_count(), &listed));
  EXPECT_TRUE(orb::fmt::list(orb::fmt::listed_count() - 1, &listed));
  EXPECT_FALSE(orb::fmt::list(orb::fmt::listed_count(), &listed));
}

TEST_F(FrameBuffers, are_three_without_a_file) {
  EXPECT_EQ(names(), "full;ntsc;pal;");
  EXPECT_STREQ(orb::fb::default_name(), "full");
  const FrameBuffer* const ntsc = orb::fb::find("ntsc");
  EXPECT_EQ(ntsc->resolution[1], 486);
  EXPECT_EQ(ntsc->blue[2], 0.796f);
  for (const char* name : {"full", "ntsc", "pal"}) EXPECT_EQ(orb::fb::find(name)->depth, 24) << name;
}

TEST_F(FrameBuffers, are_defined_by_their_difference_from_the_first_built_in_one) {
  configure(
      "resolution 1 2\nframebuffer 'my buffer'\nresolution 720 486\naspect 1.5\ngamma 1.8\nred_primary .1 .2 "
      ".7\n"
      "green_primary .3 bad .5\nblue_primary 1 2 3\nwhite_point 4 5 6\nend_framebuffer\naspect 9\n"
      "framebuffer left_open\n");
  EXPECT_EQ(names(), "full;ntsc;pal;my buffer;");
  EXPECT_EQ(orb::fb::find("full")->resolution[0], 1280);
  const FrameBuffer* const fb = orb::fb::find("my buffer");
  EXPECT_EQ(fb->resolution[0], 720);
  EXPECT_EQ(fb->resolution[1], 486);
  EXPECT_EQ(fb->aspect, 1.5f);
  EXPECT_EQ(fb->gamma, 1.8f);
  EXPECT_EQ(fb->red[2], 0.7f);
  EXPECT_EQ(fb->green[0], 0.3f);
  EXPECT_EQ(fb->green[1], 0.71f);  // no number: as it was
  EXPECT_EQ(fb->green[2], 0.5f);
  EXPECT_EQ(fb->blue[1], 2);
  EXPECT_EQ(fb->white[2], 6);
  EXPECT_EQ(fb->depth, 24);
  EXPECT_TRUE(recorder.reports.empty()) << recorder.texts();
}

TEST_F(FrameBuffers, defined_again_stand_at_the_end) {
  configure(
      "framebuffer a\nend_framebuffer\nframebuffer ntsc\ngamma 7\nend_framebuffer\nframebuffer a\ngamma 8\n"
      "end_framebuffer\nend_framebuffer\nfb__default nowhere\n");
  EXPECT_EQ(names(), "full;pal;ntsc;a;");
  EXPECT_EQ(orb::fb::find("ntsc")->gamma, 7);
  EXPECT_STREQ(orb::fb::info()->name, "a");
  EXPECT_EQ(orb::fb::find("none"), nullptr);
  EXPECT_EQ(orb::fb::info(), nullptr);
  EXPECT_STREQ(orb::fb::default_name(), "nowhere");
  EXPECT_EQ(orb::fb::exit(), 0);
  write(folder() / ".orbrc", "");
  EXPECT_STREQ(orb::fb::default_name(), "full");
}

TEST_F(FrameBuffers, report_a_wrong_number_of_words) {
  configure("framebuffer\nframebuffer a\nresolution 720\nend_framebuffer 1\nend_framebuffer\n");
  EXPECT_EQ(names(), "full;ntsc;pal;a;");
  EXPECT_EQ(recorder.texts(), syntax_error(1) + "\n" + syntax_error(3) + "\n" + syntax_error(4));
}

TEST_F(FrameBuffers, say_which_query_started_them) {
  const WithDebugReports debug;
  const struct {
    const char* name;
    void (*ask)();
  } rows[] = {{"FB_find", [] { orb::fb::find("x"); }},
              {"FB_info", [] { orb::fb::info(); }},
              {"FB_def_framebuffer", [] { orb::fb::default_name(); }}};
  for (const auto& row : rows) {
    orb::fb::exit();
    recorder.clear();
    row.ask();
    row.ask();
    EXPECT_EQ(recorder.texts(), std::string("fb, initializing database for ") + row.name + " request");
  }
}

TEST_F(FrameBuffers, have_a_symbol_that_only_says_not_to_call_it) {
  ::testing::internal::CaptureStderr();
  FB_symbols();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "FB_symbols: should not be called by the application\n");
}

TEST_F(FrameBuffers, survive_the_failure_of_any_allocation) {
  configure(
      "framebuffer a\nend_framebuffer\nframebuffer ntsc\nend_framebuffer\nfb__default a\nfb__default b\n");
  for (int nth = 1;; ++nth) {
    reset_databases();
    recorder.clear();
    {
      const FailAllocation fail(nth);
      const int32_t code = orb::fb::init(nullptr);
      if (!fail.happened()) break;
      EXPECT_EQ(code, -1) << nth;
    }
    EXPECT_EQ(recorder.texts(), "No more internal memory") << nth;
    EXPECT_EQ(names(), "full;pal;a;ntsc;") << nth;
    EXPECT_STREQ(orb::fb::default_name(), "b") << nth;
  }
}

}  // namespace
