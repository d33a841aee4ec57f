// The databases that configuration files fill: the defaults of formats, and frame buffers.
#include <set>
#include <sstream>
#include <string>

#include "orbbase/support/config/internal.h"
#include "tests/support/config/configuration.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/number_text.h"

namespace {

using namespace orb::testing;
using orb::fb::FrameBuffer;

class FormatDefaults : public ConfigurationTest {};

std::string all_defaults() {
  return std::string(FMT_def_aspect()) + " " + std::to_string(FMT_def_gamma_tab_res()) + " " +
         number_text(FMT_def_gamma()) + " " + number_text(FMT_def_input_gamma()) + " " +
         orb::fmt::configured_key() + " " + orb::fmt::configured_name() + " " + FMT_def_image_data() + " " +
         std::to_string(FMT_def_dominance()) + " " + std::to_string(FMT_def_frame_rate()) + " " +
         std::to_string(FMT_def_swatch());
}

std::string all_aspects() {
  std::string all;
  EXPECT_EQ(FMT_init(nullptr), 0);
  while (const FMT_ASPECT* aspect = FMT_info())
    all += std::string(aspect->name) + " " + std::to_string(aspect->x_resolution) + " " +
           std::to_string(aspect->y_resolution) + " " + number_text(aspect->aspect) + ";";
  return all;
}

TEST_F(FormatDefaults, come_from_the_file_each_in_its_own_way) {
  const struct {
    const char *lines, *defaults;
  } rows[] = {
      {"fmt__gamma_table_res 12abc\nfmt__key_default a\nfmt__key_default tif\nfmt__name_default 'my pic'\n"
       "fmt__chan_default rgba\nother__word 1 2\n#\nFMT__frame_rate 7\n",
       "ntsc_640 12 2.200000 1.000000 tif my pic rgba 1 30 0"},
      {"fmt__gamma_default 1.5e0 \nfmt__input_gamma_default -.5\n"
       "fmt__dominance even\nfmt__frame_rate 25\nfmt__swatch_size 64\n",
       "ntsc_640 4096 1.500000 -0.500000 rla im rgb 0 25 64"},
      {"fmt__gamma_default 2.2x\nfmt__input_gamma_default 1e100\n"
       "fmt__dominance even\nfmt__dominance odd\nfmt__frame_rate 0\nfmt__swatch_size -3\n",
       "ntsc_640 4096 2.200000 1.000000 rla im rgb 1 30 0"},
      {"fmt__dominance Even\nfmt__frame_rate -5\nfmt__swatch_size 9\nfmt__swatch_size none\n",
       "ntsc_640 4096 2.200000 1.000000 rla im rgb 1 30 0"}};
  for (const auto& row : rows) {
    configure(row.lines);
    EXPECT_EQ(all_defaults(), row.defaults) << row.lines;
    EXPECT_EQ(recorder.texts(), "");
  }
}

TEST_F(FormatDefaults, have_a_table_of_aspects_and_take_one_of_its_names) {
  configure("fmt__aspect_default film\n");
  EXPECT_STREQ(FMT_def_aspect(), "ntsc_640");
  configure(
      "early 1 2 3\nfmt__aspect_default film\nfmt__aspect_table\n# name x y aspect\n#\nfilm 2048 1556 1.32\n"
      "wrong 5 6\nodd 1x y 1.5x\nfmt__frame_rate 24\nend_aspect_table\nlate 1 2 3\n");
  EXPECT_EQ(all_aspects(), "ntsc_640 640 486 1.330000;film 2048 1556 1.320000;odd 1 0 0.000000;");
  EXPECT_STREQ(FMT_def_aspect(), "film");
  EXPECT_EQ(FMT_def_frame_rate(), 24);
  EXPECT_EQ(recorder.texts(), syntax_error(7));
  configure("fmt__aspect_table\na 1 1 1\nntsc_640 641 487 1.4\na 2 2 2\n");
  EXPECT_EQ(all_aspects(), "ntsc_640 641 487 1.400000;a 2 2 2.000000;");
  EXPECT_STREQ(FMT_find("ntsc_640")->name, "ntsc_640");
  EXPECT_EQ(FMT_find("A"), nullptr);  // leaves the walk behind what was found
  EXPECT_EQ(FMT_find(nullptr), nullptr);
  EXPECT_STREQ(FMT_info()->name, "a");
  EXPECT_EQ(FMT_info(), nullptr);
}

TEST_F(FormatDefaults, say_which_query_started_them) {
  const WithDebugReports debug;
  const struct {
    const char* name;
    void (*ask)();
  } rows[] = {{"fmt FMT_find", [] { FMT_find("x"); }},
              {"fmt FMT_info", [] { FMT_info(); }},
              {"fmt FMT_def_dominance", [] { FMT_def_dominance(); }},
              {"fmt FMT_def_frame_rate", [] { FMT_def_frame_rate(); }},
              {"fmt FMT_def_gamma", [] { FMT_def_gamma(); }},
              {"fmt FMT_def_input_gamma", [] { FMT_def_input_gamma(); }},
              {"fmt FMT_def_gamma_tab_res", [] { FMT_def_gamma_tab_res(); }},
              {"fmt FMT_def_aspect", [] { FMT_def_aspect(); }},
              {"fmt FMT_def_swatch", [] { FMT_def_swatch(); }},
              {"fmt FMT_def_image_data", [] { FMT_def_image_data(); }},
              {"fb FB_find", [] { orb::fb::find("x"); }},
              {"fb FB_info", [] { orb::fb::info(); }},
              {"fb FB_def_framebuffer", [] { orb::fb::default_name(); }}};
  for (const auto& row : rows) {
    reset_databases();
    recorder.clear();
    row.ask();
    row.ask();
    std::string wanted = row.name;
    wanted.replace(wanted.find(' '), 1, ", initializing database for ");
    EXPECT_EQ(recorder.texts(), wanted + " request");
    EXPECT_EQ(recorder.reports[0].category, ERR_DEBUG);
  }
}

TEST_F(FormatDefaults, answer_with_what_they_know_while_there_is_no_memory) {
  configure("fmt__frame_rate 24\nfmt__chan_default rgba\n");
  {
    const FailAllocation fail(1, FailAllocation::Mode::from_there_on);
    EXPECT_STREQ(FMT_def_image_data(), "rgb");
    EXPECT_EQ(FMT_find("ntsc_640"), nullptr);
    EXPECT_EQ(FMT_info(), nullptr);
  }
  EXPECT_STREQ(FMT_def_image_data(), "rgba");
}

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

// Resolution and depth, aspect and gamma, primaries and white point; whole numbers without their zeros.
std::string shown(const char* name) {
  const FrameBuffer* const fb = orb::fb::find(name);
  std::ostringstream text;
  text << fb->resolution[0] << "x" << fb->resolution[1] << "x" << fb->depth << " " << fb->aspect << " "
       << fb->gamma;
  for (const auto& colour : {fb->red, fb->green, fb->blue, fb->white}) {
    text << ", " << colour[0] << " " << colour[1] << " " << colour[2];
  }
  return text.str();
}

TEST_F(FrameBuffers, are_defined_by_their_difference_from_the_first_built_in_one) {
  configure(
      "resolution 1 2\nframebuffer 'my buffer'\nresolution 720 486\naspect 1.5\ngamma 1.8\nred_primary .1 .2 "
      ".7\n"
      "green_primary .3 bad .5\nblue_primary 1 2 3\nwhite_point 4 5 6\nend_framebuffer\n\naspect 9\n"
      "framebuffer left_open\n");
  EXPECT_EQ(names(), "full;ntsc;pal;my buffer;");
  EXPECT_EQ(shown("full"),
            "1280x1024x24 1.33 2.2, 0.67 0.33 0, 0.21 0.71 0.08, 0.14 0.08 0.78, 0.31 0.316 0.374");
  EXPECT_EQ(
      shown("ntsc"),
      "640x486x24 1.33 2.2, 0.598 0.363 0.039, 0.312 0.586 0.102, 0.145 0.059 0.796, 0.319 0.344 0.337");
  // A word that is no number leaves what it stands for as it was.
  EXPECT_EQ(shown("my buffer"), "720x486x24 1.5 1.8, 0.1 0.2 0.7, 0.3 0.71 0.5, 1 2 3, 4 5 6");
  EXPECT_EQ(recorder.texts(), "");
  configure("framebuffer\nframebuffer a\nresolution 720\nend_framebuffer 1\nend_framebuffer\n");
  EXPECT_EQ(names(), "full;ntsc;pal;a;");
  EXPECT_EQ(recorder.texts(), syntax_error(1) + "\n" + syntax_error(3) + "\n" + syntax_error(4));
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
  for (int again = 0; again < 2; ++again) EXPECT_EQ(orb::fb::exit() + FMT_exit(), 0);
  write(folder() / ".orbrc", "");
  EXPECT_STREQ(orb::fb::default_name(), "full");
}

TEST_F(FrameBuffers, have_a_symbol_that_only_says_not_to_call_it) {
  ::testing::internal::CaptureStderr();
  FB_symbols();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "FB_symbols: should not be called by the application\n");
}

TEST_F(FrameBuffers, and_defaults_survive_the_failure_of_any_allocation) {
  configure(
      "fmt__aspect_default a\nfmt__aspect_table\na 1 1 1\nntsc_640 2 2 2\nend_aspect_table\nfmt__key_default "
      "k\nfmt__key_default l\nfmt__swatch_size 5\n"
      "framebuffer a\nend_framebuffer\nframebuffer ntsc\nend_framebuffer\nfb__default a\nfb__default b\n");
  std::set<int32_t> codes;
  for (int32_t (*const init)(void*) : {FMT_init, orb::fb::init}) {
    for (int nth = 1; reset_databases(), recorder.clear(), true; ++nth) {
      const FailAllocation fail(nth);
      const int32_t code = init(nullptr);
      if (!fail.happened()) break;
      codes.insert(code);
      EXPECT_EQ(orb__err, code == -10 ? -10 : 0) << nth;
      EXPECT_EQ(recorder.texts(), "No more internal memory") << nth;
      EXPECT_EQ(all_aspects() + names(), "a 1 1 1.000000;ntsc_640 2 2 2.000000;full;pal;a;ntsc;") << nth;
      EXPECT_EQ(all_defaults(), "a 4096 2.200000 1.000000 l im rgb 1 30 5") << nth;
      EXPECT_STREQ(orb::fb::default_name(), "b") << nth;
    }
  }
  EXPECT_EQ(codes, (std::set<int32_t>{-10, -1}));  // the whole text, or a part of it, found no memory
}

}  // namespace
