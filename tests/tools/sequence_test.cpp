// Sequences: what becomes of every frame, which of them may be run again, and that none stops another.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;

std::string numbered(const char* pattern, int frame) {
  char name[80];
  std::snprintf(name, sizeof name, pattern, frame);
  return name;
}

// Frames of one sample value each, which is ten times their number.
void write_frames(const Folder& folder, const char* pattern, const std::vector<int>& frames, int width = 3) {
  for (const int frame : frames) {
    PipeFile file;
    file.width = width;
    file.height = 2;
    file.fill = [&](void* row, int32_t, int32_t) {
      std::memset(row, 10 * frame, static_cast<size_t>(width));
    };
    file.write(folder.path(numbered(pattern, frame)));
  }
}

// The frames of a sequence of PNG files and their first samples: "1=10 2=20".
std::string shown(const Folder& folder, const char* pattern, int last = 9) {
  std::string text;
  for (int frame = 0; frame <= last; ++frame) {
    const std::string path = folder.path(numbered(pattern, frame));
    if (!fs::exists(path)) continue;
    text += (text.empty() ? "" : " ") + std::to_string(frame) + "=" +
            std::to_string(static_cast<uint8_t>(read_png(path).rows[0][0]));
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
  const Folder folder;
  write_frames(folder, "a.%04d.pipe", {1, 2, 4});
  const struct {
    const char* policy;
    int status;
    const char* summary;
    const char* written;
  } rows[] = {{"error", 1, "3 written, 3 missing (0, 3, 5)\n", "1=10 2=20 4=40"},
              {"skip", 0, "3 written, 3 missing (0, 3, 5)\n", "1=10 2=20 4=40"},
              {"hold", 1, "3 written, 2 filled (3, 5), 1 missing (0)\n", "1=10 2=20 3=20 4=40 5=40"},
              {"nearest", 0, "3 written, 3 filled (0, 3, 5)\n", "0=10 1=10 2=20 3=20 4=40 5=40"},
              {"black", 0, "3 written, 3 filled (0, 3, 5)\n", "0=0 1=10 2=20 3=0 4=40 5=0"}};
  for (const auto& row : rows) {
    const std::string out = std::string(row.policy) + ".%04d.png";
    const Outcome run =
        orb(folder, {"convert", "a.####.pipe", "-o", out, "--frames", "0-5", "--missing", row.policy});
    EXPECT_EQ(run.status, row.status) << row.policy << run.err;
    EXPECT_EQ(run.out, row.summary);
    EXPECT_EQ(shown(folder, out.c_str()), row.written) << row.policy;
  }
  const Outcome gap = orb(folder, {"convert", "a.@@@@.pipe", "-o", "gap.$F2.png"});
  EXPECT_EQ(gap.status, 1) << gap.err;
  EXPECT_EQ(gap.out, "3 written, 1 missing (3)\n");
  EXPECT_EQ(shown(folder, "gap.%02d.png"), "1=10 2=20 4=40");
}

TEST(Sequence, only_what_is_missing_is_made_again) {
  const Folder folder;
  write_frames(folder, "a.%d.pipe", {8, 9, 11});
  const std::vector<std::string> again = {"convert", "a.#.pipe", "-o", "b.#.png", "--only-missing"};
  EXPECT_EQ(orb(folder, again).status, 1);
  put_bytes(folder.path("b.0009.png"), "mine");
  fs::remove(folder.path("b.0011.png"));
  write_frames(folder, "a.%d.pipe", {10});
  const Outcome run = orb(folder, again);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "2 written, 2 skipped\n");
  EXPECT_EQ(bytes_of(folder.path("b.0009.png")), "mine");
  fs::remove(folder.path("b.0009.png"));
  EXPECT_EQ(shown(folder, "b.%04d.png", 11), "8=80 10=100 11=110");
}

// A sequence with every kind of frame that is none. Frame 1 and 9 are good, 8 is good and of another size.
void write_broken(const Folder& folder) {
  write_frames(folder, "a.%d.pipe", {1, 3, 9});
  write_frames(folder, "a.%d.pipe", {8}, 5);
  const std::string whole = bytes_of(folder.path("a.3.pipe"));
  fs::create_directory(folder.path("a.2.pipe"));
  put_bytes(folder.path("a.3.pipe"), whole.substr(0, whole.size() - 4));
  put_bytes(folder.path("a.4.pipe"), "");
  write_noise_png(folder.path("a.5.pipe"), 3, 2, 8, 2);
  fs::create_symlink("nowhere", folder.path("a.6.pipe"));
}

TEST(Sequence, a_broken_frame_stops_no_other_and_its_result_says_why) {
  const Folder folder;
  write_broken(folder);
  const struct {
    int frame;
    const char* result;
    const char* text;
  } rows[] = {{1, "written", ""},         {2, "failed", "a.2.pipe"},           {3, "failed", "cut short"},
              {4, "failed", "a.4.pipe"},  {5, "failed", "a.5.pipe"},           {6, "failed", "No such file"},
              {7, "missing", "a.7.pipe"}, {8, "written", "the size is 5 x 2"}, {9, "written", ""}};
  std::string first_results;
  for (const char* jobs : {"1", "2", "3"}) {
    const Outcome run = orb(folder, {"convert", "-f", "a.#.pipe", "-o", "b.%d.png", "-j", jobs, "--results",
                                     "results", "--mem", "64K", "--progress=plain"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "3 written, 1 missing (7), 5 failed (2-6)\n");
    EXPECT_NE(run.err.find("progress: 8/8 100%\n"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("orb: warning: a.8.pipe: the size is 5 x 2, that of frame 1 is 3 x 2\n"),
              std::string::npos);
    EXPECT_EQ(shown(folder, "b.%d.png"), "1=10 8=80 9=90");
    const std::string results = bytes_of(folder.path("results"));
    if (first_results.empty()) first_results = results;
    EXPECT_EQ(results, first_results) << jobs;
  }
  const std::vector<Json> lines = lines_of(first_results);
  ASSERT_EQ(lines.size(), std::size(rows));
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i]["frame"], rows[i].frame);
    EXPECT_EQ(lines[i]["result"], rows[i].result) << lines[i];
    EXPECT_NE(lines[i]["text"].get<std::string>().find(rows[i].text), std::string::npos) << lines[i];
    EXPECT_EQ(lines[i]["text"].get<std::string>().empty(), *rows[i].text == '\0') << lines[i];
    EXPECT_EQ(lines[i]["code"] == 0, lines[i]["result"] == "written") << lines[i];
  }
  EXPECT_EQ(lines[2]["code"], -18) << "of the input, not of the abandoned output";
  EXPECT_EQ(folder.names().size(), 8U + 3U + 1U) << "a temporary is left";
}

TEST(Sequence, a_worker_that_dies_takes_only_its_frame_with_it) {
  const Folder folder;
  for (int frame = 1; frame <= 9; ++frame) {
    put_bytes(folder.path(numbered("a.%d.pair", frame)), frame % 3 == 1 ? "k" : "0");
  }
  for (const char* jobs : {"1", "4"}) {
    const Outcome run =
        orb(folder, {"convert", "-f", "--allow-lossy", "a.#.pair", "-o", "b.#.pipe", "-j", jobs},
            {"", {std::string("QV_ORB_PLUGIN_PATH=") + ORB_PAIR_FOLDER}, false});
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_EQ(run.out, "6 written, 3 failed (1-7x3)\n");
    EXPECT_NE(run.err.find("orb: error: a.4.pair: the worker process was killed by signal 9"),
              std::string::npos)
        << run.err;
    EXPECT_EQ(folder.names().size(), 9U + 6U) << "a temporary is left";
  }
}

TEST(Sequence, an_interrupt_ends_the_workers_and_leaves_whole_files_only) {
  for (const int signal_number : {SIGINT, SIGTERM}) {
    const Folder folder;
    write_frames(folder, "a.%d.pipe", {1, 2});
    const std::string whole = bytes_of(folder.path("a.2.pipe"));
    fs::remove(folder.path("a.2.pipe"));
    ASSERT_EQ(mkfifo(folder.path("a.2.pipe").c_str(), 0600), 0);
    Running tool(folder, {"convert", "a.#.pipe", "-o", "b.#.png", "-j2"});
    // Opened once the worker has; what comes then is too little.
    const int frame = open(folder.path("a.2.pipe").c_str(), O_WRONLY);
    ASSERT_EQ(write(frame, whole.data(), whole.size() - 4), static_cast<ssize_t>(whole.size() - 4));
    const auto is_under_way = [&] {
      return folder.names().size() == 4 && fs::exists(folder.path("b.0001.png"));
    };
    for (int i = 0; i < 1000 && !is_under_way(); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(is_under_way());
    EXPECT_EQ(tool.end_with(signal_number), 130);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.1.pipe", "a.2.pipe", "b.0001.png"}));
    EXPECT_EQ(shown(folder, "b.%04d.png"), "1=10");
    close(frame);
  }
}

TEST(Sequence, what_cannot_be_meant_is_refused_in_one_line_before_anything_is_written) {
  const Folder folder;
  write_frames(folder, "a.%04d.pipe", {1, 2});
  write_frames(folder, "b.%04d.pipe", {1});
  write_frames(folder, "b%d.0001.pipe", {2});
  put_bytes(folder.path("plain.pipe"), "");
  const std::vector<std::string> before = folder.names();
  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* text;
  } rows[] = {
      {{"x.####.%04d.pipe", "-o", "c.####.png"}, 2, "x.####.%04d.pipe"},
      {{"a.####.pipe", "-o", "c.####.%d.png"}, 2, "c.####.%d.png"},
      {{"a.[1-2####.pipe", "-o", "c.####.png"}, 2, "[1-2"},
      {{"a.####.pipe", "-o", "c.####.png", "--frames", "1-2x0"}, 2, "1-2x0"},
      {{"a.####.pipe", "-o", "c.####.png", "--frames", "0-2147483647"}, 2, "2147483647"},
      {{"a.####.pipe", "-o", "c.####.png", "--missing", "guess"}, 2, "guess"},
      {{"a.####.pipe", "-o", "c.png"}, 2, "c.png is one file"},
      {{"a.0001.pipe", "a.0002.pipe", "-o", "c.png"}, 2, "c.png is one file"},
      {{"a.####.pipe", "b.0001.pipe", "-o", "c.####.png"}, 2, "a.0001.pipe and b.0001.pipe would both"},
      {{"plain.pipe", "-o", "c.####.png"}, 2, "plain.pipe: its name has no number"},
      {{"a.0001.pipe", "-o", "c.png", "--frames", "1-2"}, 2, "--frames is for sequences"},
      {{"b2.0001.pipe", "b.####.pipe", "-o", "c.####.pipe"}, 2, "would both be written"},
      {{"a.0002.pipe", "b2.0001.pipe", "-o", "b#.0001.pipe", "-f"},
       2,
       "frame 2 would be written over b2.0001"},
      {{"A.####.pipe", "-o", "c.####.png"}, 3, "a.[1-2]####.pipe"},
      {{"a.####.pipe", "-o", "c.####.png", "--frames", "7-9"}, 3, "a.[1-2]####.pipe"},
      {{"none/a.####.pipe", "-o", "c.####.png"}, 3, "none/a.####.pipe"},
      {{"n.0001.pipe", "n.0002.pipe", "-o", "c.####.png"}, 3, ""},
      {{"a.####.pipe", "-o", "none/c.####.png"}, 4, "none/"},
      {{std::string(300, 'n') + ".####.pipe", "-o", "c.####.png"}, 3, "a.[1-2]####.pipe"},
      {{std::string(300, 'n') + ".pipe", "-o", "c.png"}, 4, "File name too long"},
      {{"a.####.pipe", "-o", "c.####.unheardof"}, 4, "c.0001.unheardof"},
      {{"a.####.pipe", "-o", "c.####.png", "--results", "plain.pipe"}, 4, "plain.pipe exists and is kept"},
      {{"a.####.pipe", "-o", "c.####.png", "--drop", "color"}, 2, "no channels are left"}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"convert"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome run = orb(folder, arguments);
    EXPECT_EQ(run.status, row.status) << row.arguments[0] << run.err;
    EXPECT_NE((run.err + run.out).find(row.text), std::string::npos) << run.err;
    EXPECT_TRUE(row.status != 2 || run.err.find('\n') == run.err.size() - 1) << run.err;
    EXPECT_EQ(folder.names(), before) << row.arguments[0];
  }
}

TEST(Sequence, a_target_that_exists_is_kept_and_the_input_may_be_the_target) {
  const Folder folder;
  write_frames(folder, "a.%04d.pipe", {1, 2});
  ASSERT_EQ(orb(folder, {"convert", "-q", "a.####.pipe", "-o", "b.####.png"}).status, 0);
  const std::string kept = bytes_of(folder.path("b.0001.png"));
  EXPECT_EQ(orb(folder, {"convert", "a.####.pipe", "-o", "b.####.png"}).status, 4);
  fs::remove(folder.path("b.0002.png"));
  const Outcome half = orb(folder, {"convert", "a.####.pipe", "-o", "b.####.png"});
  EXPECT_EQ(half.status, 1);
  EXPECT_EQ(half.out, "1 written, 1 failed (1)\n");
  EXPECT_EQ(bytes_of(folder.path("b.0001.png")), kept);
  EXPECT_EQ(orb(folder, {"convert", "-f", "b.####.png", "-o", "./b.%04d.png", "--missing=hold", "--frames",
                         "1-3", "--set", "compression=1"})
                .status,
            0);
  EXPECT_EQ(shown(folder, "b.%04d.png"), "1=10 2=20 3=20");
}

TEST(Sequence, a_dry_run_and_json_tell_of_every_frame) {
  const Folder folder;
  write_frames(folder, "a.%04d.pipe", {1, 3});
  const Outcome dry = orb(folder, {"convert", "-n", "a.####.pipe", "-o", "b.####.png", "-j2"});
  EXPECT_EQ(dry.status, 1);
  EXPECT_EQ(dry.out,
            "would write b.0001.png (png) from a.0001.pipe (pipe), rows: spool\n"
            "would write b.0003.png (png) from a.0003.pipe (pipe), rows: spool\n"
            "2 would be written, 1 missing (2)\n");
  EXPECT_EQ(folder.names().size(), 2U);
  const Outcome run = orb(folder, {"convert", "--json", "a.####.pipe", "-o", "b.####.png"});
  const Json told = Json::parse(run.out);
  ASSERT_EQ(told["frames"].size(), 3U);
  EXPECT_EQ(told["frames"][1]["result"], "missing");
  EXPECT_EQ(told["frames"][2]["output"], "b.0003.png");
  EXPECT_EQ(told["summary"]["written"]["count"], 2);
  const Outcome piped = orb(folder, {"convert", "-f", "a.####.pipe", "-o", "b.####.png", "--results", "-"});
  EXPECT_EQ(lines_of(piped.out).size(), 3U);
}

TEST(Sequence, info_and_check_go_through_the_frames) {
  const Folder folder;
  write_broken(folder);
  const Outcome check = orb(folder, {"check", "a.#.pipe"});
  EXPECT_EQ(check.status, 1);
  for (const char* text :
       {"a.1.pipe: ok, pipe", "a.2.pipe: failed", "a.3.pipe: failed", "a.8.pipe: ok",
        "a.[7]#.pipe: failed, error -5", "a.#.pipe: 3 ok, 2 missing (6-7), 4 failed (2-5)\n"}) {
    EXPECT_NE(check.out.find(text), std::string::npos) << text << "\n" << check.out;
  }
  const Outcome info = orb(folder, {"info", "a.#.pipe", "--frames", "9,1"});
  EXPECT_EQ(info.status, 0) << info.err;
  EXPECT_LT(info.out.find("a.9.pipe\n"), info.out.find("a.1.pipe\n"));
  for (const char* verb : {"info", "check"}) {
    const Outcome none = orb(folder, {verb, "b.#.pipe"});
    EXPECT_EQ(none.status, 3);
    EXPECT_NE(none.err.find("a.["), std::string::npos) << none.err;
    EXPECT_EQ(orb(folder, {verb, "b.#.pipe", "a.1.pipe"}).status, 1);
    EXPECT_EQ(orb(folder, {verb, "a.#.pipe", "--frames", "2-1x0"}).status, 2);
  }
}

TEST(Sequence, diff_pairs_frames_by_number_and_the_worst_is_the_result) {
  const Folder folder;
  write_frames(folder, "a.%04d.pipe", {1, 2, 4, 5});
  write_frames(folder, "b.%d.pipe", {1, 2, 4});
  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* summary;
  } rows[] = {{{"a.####.pipe", "b.#.pipe", "--frames", "1-2"}, 0, "b.2.pipe: match\n2 match\n"},
              {{"a.[1-4]####.pipe", "b.#.pipe"}, 4, "\n3 match, 1 missing (3)\n"},
              {{"a.####.pipe", "b.#.pipe"}, 4, "\n3 match, 1 failed (5), 1 missing (3)\n"},
              {{"a.####.pipe", "b.0001.pipe"}, 2, ""},
              {{"c.####.pipe", "b.#.pipe"}, 4, ""}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"diff"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome run = orb(folder, arguments);
    EXPECT_EQ(run.status, row.status) << run.out << run.err;
    EXPECT_NE(run.out.find(row.summary), std::string::npos) << run.out;
  }
  fs::copy_file(folder.path("a.0001.pipe"), folder.path("b.2.pipe"), fs::copy_options::overwrite_existing);
  write_frames(folder, "b.%d.pipe", {4}, 9);
  const Outcome run = orb(folder, {"diff", "a.[1-2,4]####.pipe", "b.#.pipe", "-o", "d.####.png"});
  EXPECT_EQ(run.status, 3) << run.err;
  EXPECT_NE(run.out.find("FAILURE\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("1 match, 1 failure (2), 1 different sizes (4)\n"), std::string::npos) << run.out;
  EXPECT_EQ(shown(folder, "d.%04d.png"), "1=0 2=10");
}

}  // namespace
}  // namespace orb::testing
