// What info, formats and config say, in text and as JSON.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using Json = nlohmann::json;

const Json* find(const Json& list, const char* field, const std::string& value) {
  for (const Json& entry : list) {
    if (entry[field] == value) return &entry;
  }
  return nullptr;
}

TEST(Info, tells_what_a_file_declares_and_what_is_assumed) {
  const Folder folder;
  std::string words = "with a\nbreak \033[31m";
  std::string label = "Z";
  PipeFile file;
  file.change = [&](ORB_INFO& info, ORB_IFD& image) {
    info.text3 = words.data();
    info.word_e = ORB_ASSUMED_PRIMARIES;
    image.curve.gamma = 1.8F;
    image.window = {-3, 3, 10, 14};
    image.active_window = {-1, 2, 11, 12};
    image.aux = {label.data(), 2, ORB_C_FLOAT, 32};
  };
  file.write(folder.path("a.pipe"));
  const Outcome text = orb(folder, {"info", "a.pipe"});
  EXPECT_EQ(text.status, 0);
  for (const char* part : {"7 x 5", "columns -3 to 3, rows 10 to 14", "columns -1 to 2, rows 11 to 12",
                           "bottom up", "3 channels, integer, 8 bits", "2 channels, float, 32 bits, \"Z\"",
                           "gamma 1.8\n", "0.374  (assumed)\n", "with a\\nbreak \\x1b[31m\n"}) {
    EXPECT_NE(text.out.find(part), std::string::npos) << part << "\n" << text.out;
  }
  const Json image = Json::parse(orb(folder, {"info", "--json", "a.pipe"}).out)["files"][0];
  EXPECT_EQ(image["format"]["key"], "pipe");
  EXPECT_EQ(image["texts"]["description"], words);
  EXPECT_EQ(image["primaries"]["assumed"], true);
  EXPECT_EQ(image["images"][0]["window"], (Json{{"left", -3}, {"right", 3}, {"bottom", 10}, {"top", 14}}));
  EXPECT_EQ(image["images"][0]["groups"]["aux"],
            (Json{{"count", 2}, {"type", "float"}, {"width", 32}, {"name", "Z"}}));
  EXPECT_EQ(image["images"][0]["curve"]["gamma"], 1.8);
  EXPECT_EQ(image["images"][0]["curve"]["assumed"], false);
}

TEST(Info, one_bad_file_does_not_stop_the_others_and_shows_in_the_exit_status) {
  const Folder folder;
  const std::string good = sample("chelsea.png");
  put_bytes(folder.path("bad.png"), "bad");
  const struct {
    std::vector<std::string> files;
    int status;
  } rows[] = {{{good, good}, 0},
              {{good, "bad.png", good}, 1},
              {{"missing.png", good}, 1},
              {{"bad.png", "bad.png"}, 4},
              {{"missing.png"}, 3},
              {{"missing.png", "bad.png"}, 4},
              {{"missing.png", "m2.png"}, 3}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"info", "--json"};
    arguments.insert(arguments.end(), row.files.begin(), row.files.end());
    const Outcome run = orb(folder, arguments);
    EXPECT_EQ(run.status, row.status) << row.files.front();
    const Json files = Json::parse(run.out)["files"];
    ASSERT_EQ(files.size(), row.files.size());
    for (size_t i = 0; i < files.size(); ++i) {
      EXPECT_EQ(files[i]["file"], row.files[i]);
      EXPECT_EQ(files[i]["result"], row.files[i] == good ? "read" : "failed");
      EXPECT_EQ(files[i].value("error", "") == "", row.files[i] == good);
    }
  }
}

TEST(Info, a_file_without_an_ending_is_known_by_its_content) {
  const Folder folder;
  put_bytes(folder.path("picture"), bytes_of(sample("chelsea.png")));
  PipeFile().write(folder.path("a.pipe"));
  put_bytes(folder.path("stream"), bytes_of(folder.path("a.pipe")));
  EXPECT_NE(orb(folder, {"info", "picture"}).out.find("png (PNG)"), std::string::npos);
  EXPECT_NE(orb(folder, {"info", "stream"}).out.find("pipe (pipe)"), std::string::npos);
  put_bytes(folder.path("noise"), "noise");
  EXPECT_EQ(orb(folder, {"info", "noise"}).status, 4);
}

TEST(Info, warns_of_a_name_that_the_content_contradicts_and_goes_by_the_name) {
  const Folder folder;
  const std::string png = bytes_of(sample("chelsea.png"));
  PipeFile().write(folder.path("a.pipe"));
  const struct {
    const char* file;
    std::string bytes;
    std::vector<std::string> options;
    int status;
    std::string warning;
  } rows[] = {{"picture.pipe", png, {}, 4, "the name says pipe, but the content says png; "},
              {"stream.png",
               bytes_of(folder.path("a.pipe")),
               {},
               4,
               "the name says png, but the content says pipe; "},
              {"stream.png", bytes_of(folder.path("a.pipe")), {"--from", "pipe"}, 0, ""},
              {"picture.png", png, {}, 0, ""},
              {"noise.png", "noise", {}, 4, ""}};
  for (const auto& row : rows) {
    put_bytes(folder.path(row.file), row.bytes);
    std::vector<std::string> arguments = {"info", row.file};
    arguments.insert(arguments.end(), row.options.begin(), row.options.end());
    const Outcome run = orb(folder, arguments);
    EXPECT_EQ(run.status, row.status) << run.err;
    const std::string warning = std::string("orb: warning: ") + row.file + ": " + row.warning;
    EXPECT_EQ(run.err.find("the name says") == std::string::npos, row.warning.empty()) << run.err;
    EXPECT_TRUE(row.warning.empty() || run.err.find(warning) == 0) << run.err;
  }
}

TEST(Info, a_limit_names_the_option_that_raises_it_and_trying_again_is_not_advised) {
  const Folder folder;
  const Outcome run = orb(folder, {"info", "--limit", "buffer=1K", sample("chelsea.png")});
  EXPECT_EQ(run.status, 4);
  EXPECT_NE(run.err.find("--limit buffer=SIZE"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("orb: error: " + sample("chelsea.png") + ": Opening"), std::string::npos) << run.err;
  EXPECT_EQ(orb(folder, {"info", "--limit", "buffer=1M", sample("chelsea.png")}).status, 0);
}

TEST(Info, a_reader_of_the_results_that_leaves_ends_the_tool_without_a_word) {
  const Folder folder;
  const Outcome run = shell(folder, "exec 3>&1; { sleep 0.2; \"$ORB\" formats; echo $? >&3; } | true");
  EXPECT_EQ(run.out, "4\n");
  EXPECT_EQ(run.err, "");
}

TEST(Formats, lists_plug_ins_and_built_in_drivers_with_their_origin) {
  const Folder folder;
  const Outcome text = orb(folder, {"formats"});
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.out.rfind("key ", 0), 0U);
  const Json listing = Json::parse(orb(folder, {"formats", "--json"}).out);
  const Json* png = find(listing["formats"], "key", "png");
  ASSERT_NE(png, nullptr);
  EXPECT_EQ((*png)["built_in"], false);
  EXPECT_NE((*png)["module"].get<std::string>().find("plugins-3.2/png.so"), std::string::npos);
  EXPECT_EQ((*png)["channels"]["color"]["widths"].size(), 16U);
  EXPECT_EQ((*find((*png)["settings"], "name", "palette"))["choices"], (Json{"colours", "indices"}));
  for (const char* key : {"pipe", "mem"}) {
    const Json* format = find(listing["formats"], "key", key);
    ASSERT_NE(format, nullptr);
    EXPECT_EQ((*format)["built_in"], true);
    EXPECT_EQ((*format)["any_line"], std::string(key) == "mem");
  }
}

TEST(Formats, a_module_that_cannot_be_used_is_explained_where_its_format_is_wanted) {
  const Folder folder;
  std::filesystem::create_directory(folder.path("plugins"));
  put_bytes(folder.path("plugins/zzz.so"), "no module at all");
  put_bytes(folder.path("picture.zzz"), "bytes");
  const RunOptions options = {"", {"QV_ORB_PLUGIN_PATH=" + folder.path("plugins")}, false};
  const Outcome listing = orb(folder, {"formats", "-v"}, options);
  EXPECT_EQ(listing.status, 0);
  EXPECT_NE(listing.out.find("plugins/zzz.so  cannot be loaded: "), std::string::npos) << listing.out;
  EXPECT_NE(listing.out.find(folder.path("plugins") + "  (QV_ORB_PLUGIN_PATH)"), std::string::npos);
  const std::vector<std::vector<std::string>> rows = {{"info", "picture.zzz"},
                                                      {"info", "--from", "zzz", sample("chelsea.png")},
                                                      {"convert", sample("chelsea.png"), "-o", "b.zzz"}};
  for (const auto& row : rows) {
    const Outcome run = orb(folder, row, options);
    EXPECT_EQ(run.status, 4);
    EXPECT_NE(run.err.find("plug-in present (" + folder.path("plugins/zzz.so") + "), but "),
              std::string::npos)
        << run.err;
  }
}

TEST(Config, names_the_origin_of_every_setting) {
  const Folder folder;
  put_bytes(folder.path(".orbrc"), "# ours\nfmt__gamma_default 1.5\n");
  const Outcome run = orb(folder, {"config", "--json"}, {"", {"QV_JOB_NUM=42"}, false});
  ASSERT_EQ(run.status, 0) << run.err;
  const Json config = Json::parse(run.out);
  const Json* gamma = find(config["settings"], "name", "fmt__gamma_default");
  ASSERT_NE(gamma, nullptr);
  EXPECT_EQ((*gamma)["value"], "1.5");
  EXPECT_EQ((*gamma)["origin"], folder.path(".orbrc"));
  EXPECT_EQ((*gamma)["line"], 2);
  EXPECT_EQ((*find(config["settings"], "name", "QV_JOB_NUM"))["value"], "42");
  EXPECT_EQ((*find(config["settings"], "name", "QV_JOB_NUM"))["origin"], "QV_JOB_NUM");
  EXPECT_EQ((*find(config["settings"], "name", "fmt__frame_rate"))["origin"], "built-in");
  EXPECT_FALSE(config["plugin_folders"].empty());
  EXPECT_NE(orb(folder, {"config"}).out.find("fmt__gamma_default = 1.5  (" + folder.path(".orbrc") + ":2)\n"),
            std::string::npos);
}

TEST(Config, a_configuration_that_stops_the_library_is_no_case_for_another_try) {
  const Folder folder;
  put_bytes(folder.path(".orbrc"), "clr__min_wavelength blue\n");
  const Outcome run = orb(folder, {"formats"});
  EXPECT_EQ(run.status, 4);
  EXPECT_NE(run.err.find("line 1; expecting a number"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("the library cannot start"), std::string::npos) << run.err;
}

TEST(Config, a_configuration_file_of_random_bytes_does_no_harm) {
  const Folder folder;
  std::string bytes;
  for (uint32_t i = 0, x = 1; i < 100000; ++i)
    bytes += static_cast<char>((x = x * 1664525 + 1013904223) >> 24);
  put_bytes(folder.path(".orbrc"), bytes);
  EXPECT_EQ(orb(folder, {"config"}).status, 0);
  EXPECT_EQ(orb(folder, {"convert", "-q", sample("chelsea.png"), "-o", "a.png"}).status, 0);
}

}  // namespace
}  // namespace orb::testing
