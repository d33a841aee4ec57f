// Sequences: what becomes of every frame, which of them may be run again, and that none stops another.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <sstream>

#include "tool_test.h"

namespace orb::testing {
namespace {

namespace fs = std::filesystem;

std::string numbered(const char* pattern, int frame) {
  char name[80];
  std::snprintf(name, sizeof name, pattern, frame);
  return name;
}

// Frames of one sample value each, which is ten times their number.
void write_frames(const char* pattern, const std::vector<int>& frames, size_t width = 3) {
  for (const int frame : frames) {
    const std::vector<double> row(width, 10 * frame);
    grey({row, row}).write(numbered(pattern, frame));
  }
}

// The frames of a sequence of PNG files and their first samples: "1=10 2=20 ".
std::string shown(const char* pattern) {
  std::string text;
  for (int frame = 0; frame < 12; ++frame) {
    const std::string path = numbered(pattern, frame);
    if (!fs::exists(path)) continue;
    const auto sample = static_cast<uint8_t>(read_png(path).rows[0][0]);
    text += std::to_string(frame) + "=" + std::to_string(sample) + " ";
  }
  return text;
}

std::vector<Json> lines_of(const std::string& text) {
  std::vector<Json> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(Json::parse(line));
  return lines;
}

TEST(Sequence, what_becomes_of_missing_frames_is_chosen_and_told) {
  write_frames("a.%04d.pipe", {1, 2, 4});
  const struct {
    Call call;
    const char* written;
  } rows[] = {{{"error", 1, "3 written, 3 missing (0, 3, 5)\n"}, "1=10 2=20 4=40 "},
              {{"skip", 0, "3 written, 3 missing (0, 3, 5)\n"}, "1=10 2=20 4=40 "},
              {{"hold", 1, "3 written, 2 filled (3, 5), 1 missing (0)\n"}, "1=10 2=20 3=20 4=40 5=40 "},
              {{"nearest", 0, "3 written, 3 filled (0, 3, 5)\n"}, "0=10 1=10 2=20 3=20 4=40 5=40 "},
              {{"black", 0, "3 written, 3 filled (0, 3, 5)\n"}, "0=0 1=10 2=20 3=0 4=40 5=0 "}};
  for (auto [call, written] : rows) {
    const std::string out = call.command + ".%04d.png";
    call.command = "convert a.####.pipe -o " + out + " --frames 0-5 --missing " + call.command;
    expect(call);
    EXPECT_EQ(shown(out.c_str()), written) << call.command;
  }
  expect("convert a.@@@@.pipe -o gap.$F2.png", 1, "3 written, 1 missing (3)\n");
  EXPECT_EQ(shown("gap.%02d.png"), "1=10 2=20 4=40 ");
}

TEST(Sequence, only_what_is_missing_is_made_again) {
  write_frames("a.%d.pipe", {8, 9, 11});
  const std::string again = "convert a.#.pipe -o b.#.png --only-missing";
  expect(again, 1);
  put_bytes("b.0009.png", "mine");
  fs::remove("b.0011.png");
  write_frames("a.%d.pipe", {10});
  expect(again, 0, "2 written, 2 skipped\n");
  EXPECT_EQ(bytes_of("b.0009.png"), "mine");
  fs::remove("b.0009.png");
  EXPECT_EQ(shown("b.%04d.png"), "8=80 10=100 11=110 ");
}

// A sequence with every kind of frame that is none. Frame 1 and 9 are good, 8 is good and of another size.
void write_broken() {
  write_frames("a.%d.pipe", {1, 3, 9});
  write_frames("a.%d.pipe", {8}, 5);
  const std::string whole = bytes_of("a.3.pipe");
  fs::create_directory("a.2.pipe");
  put_bytes("a.3.pipe", whole.substr(0, whole.size() - 4));
  put_bytes("a.4.pipe", "");
  write_noise_png("a.5.pipe", 3, 2, 8, 2);
  fs::create_symlink("nowhere", "a.6.pipe");
}

TEST(Sequence, a_broken_frame_stops_no_other_and_its_result_says_why) {
  write_broken();
  std::string results;
  for (const char* jobs : {"1", "3"}) {
    expect(std::string("convert -f a.#.pipe -o b.%d.png --results results --mem 64K --progress=plain -j ") +
               jobs,
           1, "3 written, 1 missing (7), 5 failed (2-6)\n",
           AllOf(HasSubstr("progress: 8/8 100%\n"),
                 HasSubstr("orb: warning: a.8.pipe: the size is 5 x 2, that of frame 1 is 3 x 2\n")));
    EXPECT_EQ(shown("b.%d.png"), "1=10 8=80 9=90 ");
    if (results.empty()) results = bytes_of("results");
    EXPECT_EQ(bytes_of("results"), results) << jobs;
  }
  const std::vector<Json> lines = lines_of(results);
  std::string told;
  for (const Json& line : lines) {
    const std::string result = line["result"];
    told += std::to_string(line["frame"].get<int>()) + " " + result + "\n";
    EXPECT_EQ(line["code"] == 0, result == "written") << line;
    EXPECT_EQ(line["text"] == "", line["frame"] == 1 || line["frame"] == 9) << line;
  }
  ASSERT_EQ(told,
            "1 written\n2 failed\n3 failed\n4 failed\n5 failed\n6 failed\n7 missing\n8 written\n9 written\n");
  EXPECT_THAT(lines[2]["text"].get<std::string>(), HasSubstr("cut short"));
  EXPECT_THAT(lines[7]["text"].get<std::string>(), HasSubstr("the size is 5 x 2"));
  EXPECT_EQ(lines[2]["code"], -18) << "of the input, not of the abandoned output";
  EXPECT_EQ(names().size(), 8U + 3U + 1U) << "a temporary is left";
}

TEST(Sequence, a_worker_that_dies_takes_only_its_frame_with_it) {
  for (int frame = 1; frame <= 9; ++frame)
    put_bytes(numbered("a.%d.pair", frame), frame % 3 == 1 ? "k" : "0");
  for (const char* jobs : {"1", "4"}) {
    expect({std::string("convert -f --allow-lossy a.#.pair -o b.#.pipe -j ") + jobs, 1,
            "6 written, 3 failed (1-7x3)\n",
            HasSubstr("orb: error: a.4.pair: the worker process was killed by signal 9")},
           kWithPair);
    EXPECT_EQ(names().size(), 9U + 6U) << "a temporary is left";
  }
}

TEST(Sequence, an_interrupt_ends_the_workers_and_leaves_whole_files_only) {
  write_frames("a.%d.pipe", {1, 2});
  const std::string whole = bytes_of("a.2.pipe");
  fs::remove("a.2.pipe");
  ASSERT_EQ(mkfifo("a.2.pipe", 0600), 0);
  for (const int signal_number : {SIGINT, SIGTERM}) {
    Running tool("convert a.#.pipe -o b.#.png -j2");
    // Opened once the worker has; what comes then is too little.
    const int frame = open("a.2.pipe", O_WRONLY);
    ASSERT_EQ(write(frame, whole.data(), whole.size() - 4), static_cast<ssize_t>(whole.size() - 4));
    EXPECT_TRUE(comes_true([] { return names().size() == 4 && fs::exists("b.0001.png"); }));
    EXPECT_EQ(tool.end_with(signal_number), 130);
    EXPECT_THAT(names(), ElementsAre("a.1.pipe", "a.2.pipe", "b.0001.png"));
    EXPECT_EQ(shown("b.%04d.png"), "1=10 ");
    close(frame);
    fs::remove("b.0001.png");
  }
}

TEST(Sequence, what_cannot_be_meant_is_refused_in_one_line_before_anything_is_written) {
  write_frames("a.%04d.pipe", {1, 2});
  write_frames("b.%04d.pipe", {1});
  write_frames("b%d.0001.pipe", {2});
  put_bytes("plain.pipe", "");
  fs::create_symlink("a.0002.pipe", "link");
  const Names before = names();
  const std::string long_name(300, 'n');
  const struct {
    std::string arguments;
    int status;
    const char* text;
  } rows[] = {{"x.####.%04d.pipe -o c.####.png", 2, "x.####.%04d.pipe"},
              {"a.[1-2####.pipe -o c.####.png", 2, "[1-2"},
              {"a.####.pipe -o c.####.png --frames 1-2x0", 2, "1-2x0"},
              {"a.####.pipe -o c.####.png --missing guess", 2, "guess"},
              {"a.####.pipe -o c.png", 2, "c.png is one file"},
              {"a.####.pipe b.0001.pipe -o c.####.png", 2, "a.0001.pipe and b.0001.pipe would both"},
              {"plain.pipe -o c.####.png", 2, "plain.pipe: its name has no number"},
              {"a.0001.pipe -o c.png --frames 1-2", 2, "--frames is for sequences"},
              {"b2.0001.pipe b.####.pipe -o c.####.pipe", 2, "would both be written"},
              {"a.0002.pipe b2.0001.pipe -o b#.0001.pipe -f", 2, "frame 2 would be written over b2.0001"},
              {"A.####.pipe -o c.####.png", 3, "a.[1-2]####.pipe"},
              {"a.####.pipe -o c.####.png --frames 7-9", 3, "a.[1-2]####.pipe"},
              {"n.0001.pipe n.0002.pipe -o c.####.png", 3, ""},
              {"n.0001.pipe n.0002.pipe -o c.####.png --missing skip", 3, "2 missing (1-2)"},
              {"a.####.pipe -o none/c.####.png", 4, "none/"},
              {long_name + ".####.pipe -o c.####.png", 3, "a.[1-2]####.pipe"},
              {long_name + ".pipe -o c.png", 4, "File name too long"},
              {"a.####.pipe -o c.####.unheardof --results r", 4, "c.0001.unheardof"},
              {"a.####.pipe -o c.####.png --results plain.pipe", 4, "plain.pipe exists and is kept"},
              {"a.####.pipe -o c.####.png --results ./c.0002.png", 2, "a frame of this run"},
              {"a.####.pipe -o c.####.png --results link -f", 2, "a frame of this run"},
              {"a.[1]####.pipe -o c.####.png --merge-fields --results link -f", 2, "a frame of this run"},
              {"a.####.pipe -o c.####.png --drop color --results r", 2, "no channels are left"}};
  for (const auto& row : rows) {
    const Outcome run = expect("convert " + row.arguments, row.status);
    EXPECT_THAT(run.err + run.out, HasSubstr(row.text));
    EXPECT_TRUE(row.status != 2 || run.err.find('\n') == run.err.size() - 1) << run.err;
    EXPECT_EQ(names(), before) << row.arguments;
  }
}

TEST(Sequence, a_target_that_exists_is_kept_and_the_input_may_be_the_target) {
  write_frames("a.%04d.pipe", {1, 2});
  expect("convert -q a.####.pipe -o b.####.png", 0);
  const std::string kept = bytes_of("b.0001.png");
  expect("convert a.####.pipe -o b.####.png", 4);
  fs::remove("b.0002.png");
  expect("convert a.####.pipe -o b.####.png", 1, "1 written, 1 failed (1)\n");
  EXPECT_EQ(bytes_of("b.0001.png"), kept);
  expect("convert -f b.####.png -o ./b.%04d.png --missing=hold --frames 1-3 --set compression=1", 0);
  EXPECT_EQ(shown("b.%04d.png"), "1=10 2=20 3=20 ");
}

TEST(Sequence, a_dry_run_and_json_tell_of_every_frame) {
  write_frames("a.%04d.pipe", {1, 3});
  expect("convert -n a.####.pipe -o b.####.png -j2", 1,
         "would write b.0001.png (png) from a.0001.pipe (pipe), rows: spool\n"
         "would write b.0003.png (png) from a.0003.pipe (pipe), rows: spool\n"
         "2 would be written, 1 missing (2)\n");
  EXPECT_EQ(names().size(), 2U);
  const Json told = Json::parse(expect("convert --json a.####.pipe -o b.####.png", 1).out);
  ASSERT_EQ(told["frames"].size(), 3U);
  EXPECT_EQ(told["frames"][2]["output"], "b.0003.png");
  EXPECT_EQ(told["summary"]["written"]["count"], 2);
  EXPECT_EQ(lines_of(expect("convert -f a.####.pipe -o b.####.png --results -", 1).out).size(), 3U);
  expect("convert -f a.####.pipe -o b.####.png --results /dev/full", 4, _,
         HasSubstr("Cannot write to /dev/full; "));
}

TEST(Sequence, info_and_check_go_through_the_frames) {
  write_broken();
  const Outcome check = expect("check a.#.pipe", 1);
  for (const char* text :
       {"a.1.pipe: ok, pipe", "a.2.pipe: failed", "a.3.pipe: failed", "a.8.pipe: ok",
        "a.[7]#.pipe: failed, error -5", "a.#.pipe: 3 ok, 2 missing (6-7), 4 failed (2-5)\n"}) {
    EXPECT_THAT(check.out, HasSubstr(text));
  }
  const Outcome info = expect("info a.#.pipe --frames 9,1", 0);
  EXPECT_LT(info.out.find("a.9.pipe\n"), info.out.find("a.1.pipe\n"));
  for (const std::string verb : {"info", "check"}) {
    expect_all({{verb + " b.#.pipe", 3, _, HasSubstr("a.[")},
                {verb + " b.#.pipe a.1.pipe", 1},
                {verb + " a.#.pipe --frames 2-1x0", 2}});
  }
}

TEST(Sequence, diff_pairs_frames_by_number_and_the_worst_is_the_result) {
  write_frames("a.%04d.pipe", {1, 2, 4, 5});
  write_frames("b.%d.pipe", {1, 2, 4});
  expect_all({{"diff a.####.pipe b.#.pipe --frames 1-2", 0, HasSubstr("b.2.pipe: match\n2 match\n")},
              {"diff a.[1-4]####.pipe b.#.pipe", 4, HasSubstr("\n3 match, 1 missing (3)\n")},
              {"diff a.####.pipe b.#.pipe", 4, HasSubstr("\n3 match, 1 failed (5), 1 missing (3)\n")},
              {"diff a.####.pipe b.0001.pipe", 2},
              {"diff c.####.pipe b.#.pipe", 4}});
  fs::copy_file("a.0001.pipe", "b.2.pipe", fs::copy_options::overwrite_existing);
  write_frames("b.%d.pipe", {4}, 9);
  expect("diff a.[1-2,4]####.pipe b.#.pipe -o d.####.png", 3,
         AllOf(HasSubstr("FAILURE\n"), HasSubstr("1 match, 1 failure (2), 1 different sizes (4)\n")));
  EXPECT_EQ(shown("d.%04d.png"), "1=0 2=10 ");
}

}  // namespace
}  // namespace orb::testing
