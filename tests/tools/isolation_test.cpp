// --isolate: what a plug-in does to the process that it runs in costs one clear failure, and no more.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "run_orb.h"

namespace orb::testing {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using ::testing::HasSubstr;

// The sanitizers would make an exit of their own out of a crash.
const char* const kPlainSignals = "ASAN_OPTIONS=handle_segv=0:handle_abort=0:detect_leaks=0";

// A picture of 8 x 4 whose third row begins with a word; the module of_file does what the word says.
std::string picture_of(const std::string& word) {
  const int32_t window[4] = {0, 7, 0, 3};
  std::string bytes = "DEF1" + std::string(reinterpret_cast<const char*>(window), sizeof window);
  for (int row = 0; row < 4; ++row)
    bytes += row == 2 ? (word + std::string(8, '\0')).substr(0, 8) : std::string(8, '\1');
  return bytes + "END1";
}

class Isolation : public ::testing::Test {
 protected:
  Isolation() {
    fs::create_directory(folder_.path("p"));
    place("of_file");
  }
  void place(const std::string& defect) {
    fs::copy_file(std::string(ORB_DEFECTIVE_MODULES) + "/" + defect + ".module",
                  folder_.path("p/" + defect + ".so"));
  }
  Outcome run(const std::vector<std::string>& arguments) const {
    RunOptions options;
    options.environment = {"QV_ORB_PLUGIN_PATH=" + folder_.path("p"), kPlainSignals};
    return orb(folder_, arguments, options);
  }
  void put(const std::string& name, const std::string& word) const {
    put_bytes(folder_.path(name), picture_of(word));
  }
  // Names in the folder beside those of the inputs.
  std::string outputs() const {
    std::string text;
    for (const std::string& name : folder_.names()) {
      if (name != "p" && name.find(".defective") == std::string::npos)
        text += (text.empty() ? "" : " ") + name;
    }
    return text;
  }

  Folder folder_;
};

const char* const kLimits = "--isolate=time=1,memory=200M,file=1M";

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
    put("a.defective", row.word);
    const Outcome run = this->run({"convert", "a.defective", "-o", "b.png", kLimits});
    EXPECT_EQ(run.status, 4) << row.word;
    EXPECT_THAT(run.err, HasSubstr("a.defective: the format defective ")) << row.word;
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_THAT(run.err, HasSubstr(row.reason));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
#endif
    EXPECT_EQ(outputs(), "");
  }
}

TEST_F(Isolation, one_file_stops_no_other_whatever_the_verb) {
  put("a.1.defective", "");
  put("a.2.defective", "crash");
  put("a.3.defective", "");
  const Outcome check = run({"check", "--json", kLimits, "a.#.defective"});
  EXPECT_EQ(check.status, 1);
  const Json files = Json::parse(check.out)["files"];
  ASSERT_EQ(files.size(), 3u);
  EXPECT_EQ(files[0]["result"], "ok");
  EXPECT_EQ(files[1]["result"], "failed");
  EXPECT_THAT(files[1]["error"], HasSubstr("a.2.defective: the format defective crashed"));
  EXPECT_EQ(files[2]["rows"], 4);

  for (const char* jobs : {"-j1", "-j2"}) {
    const Outcome convert = run({"convert", "a.#.defective", "-o", "b.#.png", "-f", jobs, kLimits});
    EXPECT_EQ(convert.status, 1);
    EXPECT_EQ(convert.out, "2 written, 1 failed (2)\n");
    EXPECT_EQ(outputs(), "b.0001.png b.0003.png");
  }
  EXPECT_EQ(run({"view", kLimits, "a.1.defective", "a.2.defective"}).status, 1);
  EXPECT_EQ(run({"diff", kLimits, "a.1.defective", "a.3.defective"}).status, 0);
  EXPECT_EQ(run({"diff", kLimits, "a.1.defective", "a.2.defective"}).status, 4);
  EXPECT_EQ(run({"play", "-q", kLimits, "a.#.defective"}).status, 4);
}

TEST_F(Isolation, what_works_gives_what_it_gives_without) {
  put("a.defective", "");
  put("b.defective", "");
  for (const std::vector<std::string>& verb :
       std::vector<std::vector<std::string>>{{"info", "a.defective", "b.defective"},
                                             {"info", "--json", "a.defective"},
                                             {"check", "a.defective", "none"},
                                             {"convert", "a.defective", "-o", "-"},
                                             {"diff", "-v", "a.defective", "b.defective"},
                                             {"formats"},
                                             {"convert", "a.defective", "--json", "-o", "a.gif", "-f"},
                                             {"info", "none.defective"},
                                             {"view", "a.defective"}}) {
    std::vector<std::string> apart = verb;
    apart.insert(apart.begin() + 1, "--isolate");
    const Outcome plain = run(verb);
    const Outcome isolated = run(apart);
    EXPECT_EQ(isolated.status, plain.status) << verb[0];
    EXPECT_EQ(isolated.out, plain.out) << verb[0];
    EXPECT_EQ(isolated.err, plain.err) << verb[0];
  }
}

TEST_F(Isolation, a_writer_that_never_ends_leaves_nothing_behind) {
  put("a.defective", "");
  const Outcome run = this->run({"convert", "a.defective", "-o", "fill.1.defective", kLimits, "-f"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, HasSubstr("fill.1.defective: the format defective took more than 1 seconds"));
  EXPECT_THAT(folder_.names(), ::testing::ElementsAre("a.defective", "p"));
}

TEST_F(Isolation, a_module_that_cannot_even_be_loaded_is_left_out) {
  place("crash_at_load");
  place("crash_at_init");
  put("a.defective", "");
  fs::rename(folder_.path("p/of_file.so"), folder_.path("p/z.so"));  // of two with one key the later is taken
  const Outcome run = this->run({"check", "a.defective", kLimits});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(
      run.err,
      HasSubstr(
          "crash_at_load.so: the plug-in crashed (segmentation fault) when it was loaded; it is left out"));
  EXPECT_THAT(
      run.err,
      HasSubstr(
          "crash_at_init.so: the plug-in crashed (segmentation fault) when it was loaded; it is left out"));
}

TEST_F(Isolation, limits_that_make_no_sense_are_refused) {
  for (const char* limits :
       {"--isolate=memory", "--isolate=time=x", "--isolate=cpu=3", "--isolate=", "--isolate=time=1,"}) {
    EXPECT_EQ(run({"formats", limits}).status, 2) << limits;
  }
}

}  // namespace
}  // namespace orb::testing
