// What check finds whole and what not.
#include <gtest/gtest.h>
#include <png.h>

#include <nlohmann/json.hpp>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using Json = nlohmann::json;

TEST(Check, no_cut_of_a_file_is_whole) {
  const Folder folder;
  write_noise_png(folder.path("a.png"), 5, 4, 8, PNG_COLOR_TYPE_RGB_ALPHA);
  PipeFile().write(folder.path("a.pipe"));
  for (const char* ending : {"png", "pipe"}) {
    const std::string whole = bytes_of(folder.path(std::string("a.") + ending));
    std::vector<std::string> arguments = {"check", "--json", "-q"};
    for (size_t kept = 0; kept <= whole.size(); ++kept) {
      arguments.push_back(std::to_string(kept) + "." + ending);
      put_bytes(folder.path(arguments.back()), whole.substr(0, kept));
    }
    const Outcome run = orb(folder, arguments);
    EXPECT_EQ(run.status, 1);
    const Json files = Json::parse(run.out)["files"];
    ASSERT_EQ(files.size(), whole.size() + 1);
    for (size_t kept = 0; kept <= whole.size(); ++kept) {
      EXPECT_EQ(files[kept]["result"], kept == whole.size() ? "ok" : "failed") << kept << " " << ending;
      EXPECT_EQ(files[kept].value("code", 0) != 0, kept < whole.size()) << kept << " " << ending;
      EXPECT_EQ(files[kept].value("error", "").empty(), kept == whole.size()) << kept << " " << ending;
    }
  }
}

TEST(Check, one_line_a_file_and_the_exit_status_tell_which_are_whole) {
  const Folder folder;
  PipeFile().write(folder.path("a.pipe"));
  const std::string whole = bytes_of(folder.path("a.pipe"));
  put_bytes(folder.path("cut.pipe"), whole.substr(0, whole.size() - 40));
  const std::string ok = "a.pipe: ok, pipe, 1 image, 5 rows, 3 channels, 105 bytes\n";
  const std::string cut = "cut.pipe: failed, pipe, error -18, after 3 rows: ";
  const std::string missing = "none.pipe: failed, error -5: Cannot open file none.pipe; ";
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::vector<std::string> lines;  // how each begins
  } rows[] = {{{"a.pipe"}, 0, {ok}},
              {{"-q", "a.pipe"}, 0, {}},
              {{"a.pipe", "cut.pipe", "none.pipe", "a.pipe"}, 1, {ok, cut, missing, ok}},
              {{"-q", "cut.pipe", "a.pipe"}, 1, {cut}},
              {{"none.pipe"}, 3, {missing}},
              {{"none.pipe", "cut.pipe"}, 4, {missing, cut}},
              {{"--from", "png", "a.pipe"}, 4, {"a.pipe: failed, error -"}}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"check"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome run = orb(folder, arguments);
    EXPECT_EQ(run.status, row.status) << run.out << run.err;
    size_t at = 0;
    for (const std::string& line : row.lines) {
      EXPECT_EQ(run.out.compare(at, line.size(), line), 0) << run.out;
      at = run.out.find('\n', at) + 1;
    }
    EXPECT_EQ(run.out.size(), at) << run.out;
  }
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.pipe", "cut.pipe"}));
}

TEST(Check, every_image_of_a_file_and_its_close_are_looked_at) {
  const Folder folder;
  const struct {
    const char* content;
    int status;
    const char* out;
    const char* err;
  } rows[] = {{"0", 0, "a.pair: ok, pair, 2 images, 6 rows, 1 channel, 12 bytes\n", ""},
              {"1", 4, "a.pair: failed, pair, error -7, after 2 rows: ", "it is broken"},
              {"2", 4, "a.pair: failed, pair, error -7, after 5 rows: ", "it is broken"},
              {"c", 4, "a.pair: failed, pair, error -18, after 6 rows: ", "cannot be read to its end"},
              {"f", 0, "a.pair: ok, pair, 2 images", "holds 9 frames"}};
  for (const auto& row : rows) {
    put_bytes(folder.path("a.pair"), row.content);
    const Outcome run =
        orb(folder, {"check", "a.pair"}, {"", {std::string("QV_ORB_PLUGIN_PATH=") + ORB_PAIR_FOLDER}, false});
    EXPECT_EQ(run.status, row.status) << row.content << run.err;
    EXPECT_EQ(run.out.rfind(row.out, 0), 0U) << run.out;
    EXPECT_NE(run.err.find(row.err), std::string::npos) << run.err;
    EXPECT_EQ(run.err.empty(), *row.err == '\0') << run.err;
  }
}

}  // namespace
}  // namespace orb::testing
