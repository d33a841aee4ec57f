// --isolate: what a plug-in does to the process that it runs in costs one clear failure, and no more.
#include <filesystem>

#include "animation.h"
#include "tool_test.h"

namespace orb::testing {
namespace {

namespace fs = std::filesystem;

// A picture of 8 x 4 whose third row begins with a word; the module of_file does what the word says.
void put_picture(const std::string& name, const std::string& word = "") {
  const int32_t window[4] = {0, 7, 0, 3};
  const std::string row(8, '\1');
  put_bytes(name, "DEF1" + std::string(reinterpret_cast<const char*>(window), sizeof window) + row + row +
                      (word + std::string(8, '\0')).substr(0, 8) + row + "END1");
}

class Isolation : public ::testing::Test {
 protected:
  Isolation() {
    fs::create_directory("p");
    place("of_file");
  }
  static void place(const std::string& defect) {
    fs::copy_file(ORB_DEFECTIVE_MODULES "/" + defect + ".module", "p/" + defect + ".so");
  }
  // The sanitizers would make an exit of their own out of a crash.
  RunOptions options_ = {.environment = {"QV_ORB_PLUGIN_PATH=" + fs::absolute("p").string(),
                                         "ASAN_OPTIONS=handle_segv=0:handle_abort=0:detect_leaks=0"}};
};

const std::string kLimits = " --isolate=time=1,memory=200M,file=1M ";

TEST_F(Isolation, each_way_to_end_a_process_is_one_line_that_names_file_format_and_reason) {
  const struct {
    const char* word;
    const char* reason;
  } rows[] = {{"crash", "crashed (segmentation fault)"},
              {"abort", "crashed (aborted)"},
              {"exit", "ended the process (exit status 0)"},
              {"loop", "took more than 1 seconds and was stopped"},
              {"sleep", "took more than 1 seconds and was stopped"},
              {"eat", "took more than 1 seconds and was stopped"}};
  for (const auto& row : rows) {
    put_picture("a.defective", row.word);
    const Outcome run = expect(
        {"convert a.defective -o b.png" + kLimits, 4, _, HasSubstr("a.defective: the format defective ")},
        options_);
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_THAT(run.err, HasSubstr(row.reason));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
#endif
    EXPECT_THAT(names(), ElementsAre("a.defective", "p"));
  }
}

TEST_F(Isolation, one_file_stops_no_other_whatever_the_verb) {
  put_picture("a.1.defective");
  put_picture("a.2.defective", "crash");
  put_picture("a.3.defective");
  const Json files = Json::parse(expect({"check --json a.#.defective" + kLimits, 1}, options_).out)["files"];
  ASSERT_EQ(files.size(), 3u);
  EXPECT_EQ(files[0]["result"], "ok");
  EXPECT_EQ(files[1]["result"], "failed");
  EXPECT_THAT(files[1]["error"], HasSubstr("a.2.defective: the format defective crashed"));
  EXPECT_EQ(files[2]["rows"], 4);
  for (const char* jobs : {"-j1", "-j2"}) {
    expect({"convert a.#.defective -o b.#.png -f" + kLimits + jobs, 1, "2 written, 1 failed (2)\n"},
           options_);
    EXPECT_TRUE(fs::remove("b.0001.png") && fs::remove("b.0003.png"));
    EXPECT_EQ(names().size(), 4U);
  }
  expect_all({{"check a.1.defective --isolate=time=16G", 0},
              {"view a.1.defective a.2.defective" + kLimits, 1},
              {"diff a.1.defective a.3.defective" + kLimits, 0},
              {"diff a.1.defective a.2.defective" + kLimits, 4},
              {"play a.#.defective" + kLimits, 1,
               AllOf(HasSubstr("\n2/3 a.2.defective: failed: a.2.defective: the format defective "),
                     EndsWith("\n3/3 a.3.defective\na.#.defective: 2 shown, 1 failed (2)\n")),
               HasSubstr("orb: error: a.2.defective: the format defective ")}},
             options_);
}

TEST_F(Isolation, a_reader_that_dies_takes_one_frame_of_an_animation_with_it) {
  put_bytes("a.gif", gif("0123"));
  const std::string kill_reader =
      " > out & until grep -qs 'frame 1' out; do sleep 0.05; done; read child < /proc/$!/task/$!/children; "
      "kill -KILL $(cat /proc/$child/task/$child/children); wait $!";
  EXPECT_EQ(shell("orb play a.gif --rate 2 --isolate" + kill_reader).status, 1);
  EXPECT_THAT(bytes_of("out"),
              AllOf(HasSubstr("\n2/4 a.gif, frame 2: failed: a.gif: the format gif was killed "),
                    EndsWith("\n@\n4/4 a.gif, frame 4\na.gif: 3 shown, 1 failed (2)\n")));
  // Of a stream there is nothing left.
  std::filesystem::remove("out");
  EXPECT_EQ(shell("orb play --from gif - --rate 2 --isolate < a.gif" + kill_reader).status, 1);
  EXPECT_THAT(bytes_of("out"), EndsWith("\n-: 1 shown, 3 failed (2-4)\n"));
}

TEST_F(Isolation, what_works_gives_what_it_gives_without) {
  put_picture("a.defective");
  put_picture("b.defective");
  for (const std::string command :
       {"info a.defective b.defective", "info --json a.defective", "check a.defective none",
        "convert a.defective -o -", "diff -v a.defective b.defective", "formats",
        "convert a.defective --json -o a.gif -f", "info none.defective", "view a.defective"}) {
    const Outcome plain = orb(command, options_);
    expect({command + " --isolate", plain.status, plain.out, plain.err}, options_);
  }
}

TEST_F(Isolation, a_writer_that_never_ends_leaves_nothing_behind) {
  put_picture("a.defective");
  expect({"convert a.defective -o fill.1.defective -f" + kLimits, 4, _,
          HasSubstr("fill.1.defective: the format defective took more than 1 seconds")},
         options_);
  EXPECT_THAT(names(), ElementsAre("a.defective", "p"));
}

TEST_F(Isolation, a_module_that_cannot_even_be_loaded_is_left_out) {
  place("crash_at_load");
  place("crash_at_init");
  put_picture("a.defective");
  fs::rename("p/of_file.so", "p/z.so");  // of two with one key the later is taken
  const std::string end = ".so: the plug-in crashed (segmentation fault) when it was loaded; it is left out";
  expect({"check a.defective" + kLimits, 0, _,
          AllOf(HasSubstr("crash_at_load" + end), HasSubstr("crash_at_init" + end))},
         options_);
}

TEST_F(Isolation, limits_that_make_no_sense_are_refused) {
  for (const std::string limits : {"memory", "time=x", "cpu=3", "", "time=1,"}) {
    expect({"formats --isolate=" + limits, 2}, options_);
  }
}

}  // namespace
}  // namespace orb::testing
