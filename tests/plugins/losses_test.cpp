// What formats keep and what they lose, as the real tool tells it of the modules as they are installed.
#include "tool_test.h"

namespace orb::testing {
namespace {

void write_pipe(void (*change)(ORB_INFO&, ORB_IFD&)) {
  PipeFile file;
  file.change = change;
  file.write("a.pipe");
}

// A description with all that RLA keeps, more digits than it stores, and 16 of floating point.
void rich(ORB_INFO& info, ORB_IFD& image) {
  static char text[] = "a text";
  info.text1 = info.text3 = info.text7 = info.text9 = text;
  info.frame_number = 1051;
  info.job_number = 7;
  info.chromaticity[0] = 0.64003F;
  info.chromaticity[2] = 1 - info.chromaticity[0] - info.chromaticity[1];
  info.word_e = ORB_ASSUMED_FRAME_RATE;
  image.curve.gamma = 1.70003F;
  image.window = {3, 9, 2, 6};
  image.active_window = {4, 8, 3, 5};
  image.pair_a[0] = 7;
  image.pair_a[1] = 5;
}

// It reads as local time, which has more characters than an RLA header has room for.
void dated(ORB_INFO& info, ORB_IFD&) { info.text7 = const_cast<char*>("{1700000000}"); }

TEST(FormatLosses, rla_keeps_windows_texts_rounded_numbers_and_dates_without_a_word) {
  for (const auto change : {dated, rich}) {
    write_pipe(change);
    expect_all({{"convert -f a.pipe -o b.rla"}, {"convert -f b.rla -o c.rla"}});
    EXPECT_EQ(bytes_of("b.rla"), bytes_of("c.rla"));
  }
  expect("diff a.pipe c.rla", 0);
}

TEST(FormatLosses, rla_does_not_keep_these) {
  const std::pair<std::string, void (*)(ORB_INFO&, ORB_IFD&)> rows[] = {
      {"frame-rate", [](ORB_INFO& info, ORB_IFD&) { info.frame_rate = 25, info.word_e = 0; }},
      {"frame-number",
       [](ORB_INFO& info, ORB_IFD&) { info.frame_number = 32768, info.word_e = ORB_ASSUMED_FRAME_RATE; }},
      {"pixel-aspect",
       [](ORB_INFO& info, ORB_IFD& image) {
         image.pixel_aspect = 1.0667F, info.word_e = ORB_ASSUMED_FRAME_RATE;
       }},
      {"date",
       [](ORB_INFO& info, ORB_IFD&) { info.text7 = const_cast<char*>("the first day of January 1970"); }}};
  for (const auto& [name, change] : rows) {
    write_pipe(change);
    expect_all({{"convert -f a.pipe -o b.rla", 5, _, HasSubstr("(--drop " + name + ")")},
                {"convert -f a.pipe -o b.rla --drop " + name}});
  }
}

TEST(FormatLosses, the_older_rla_is_read_by_its_ending_and_never_written) {
  PipeFile().write("a.pipe");
  expect("convert a.pipe -o b.rla", 0);
  std::string file = bytes_of("b.rla");
  file.replace(26, 2, std::string(2, '\0'));
  put_bytes("c.rlb", file);
  put_bytes("named-nothing", file);
  expect_all(
      {{"diff a.pipe c.rlb"}, {"convert a.pipe -o d.rlb", 4}, {"info named-nothing", 0, HasSubstr("rla")}});
}

TEST(FormatLosses, jpegs_samples_are_refused_unless_they_are_asked_for_by_name) {
  write_noise_png("in.png", 8, 8, 8, 2);
  expect_all(
      {{"convert in.png -o out.jpg --set subsampling=4:2:0", 5, _,
        HasSubstr("kept exactly (--allow-lossy, or --set with the format's own quality)")},
       {"convert in.png -o out.jpg --allow-lossy", 0, _, HasSubstr("samples: they are not kept exactly\n")},
       {"convert -f in.png -o out.jpg --set quality=100", 0, _, ""},
       // Reading gives what is there: a copy of that keeps its samples, and needs no word.
       {"convert out.jpg -o out.png", 0, _, ""}});
}

}  // namespace
}  // namespace orb::testing
