// What info, formats and config say, in text and as JSON.
#include "tool_test.h"

namespace orb::testing {
namespace {

Json find(const Json& list, const char* field, const std::string& value) {
  for (const Json& entry : list) {
    if (entry[field] == value) return entry;
  }
  return nullptr;
}

TEST(Info, tells_what_a_file_declares_and_what_is_assumed) {
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
  file.write("a.pipe");
  const Outcome text = expect("info a.pipe", 0);
  for (const char* part : {"7 x 5", "columns -3 to 3, rows 10 to 14", "columns -1 to 2, rows 11 to 12",
                           "bottom up", "3 channels, integer, 8 bits", "2 channels, float, 32 bits, \"Z\"",
                           "gamma 1.8\n", "0.374  (assumed)\n", "with a\\nbreak \\x1b[31m\n"}) {
    EXPECT_THAT(text.out, HasSubstr(part));
  }
  const Json found = json_of("info --json a.pipe")["files"][0];
  EXPECT_EQ(found["format"]["key"], "pipe");
  EXPECT_EQ(found["texts"]["description"], words);
  EXPECT_EQ(found["primaries"]["assumed"], true);
  const Json image = found["images"][0];
  EXPECT_EQ(image["window"], (Json{{"left", -3}, {"right", 3}, {"bottom", 10}, {"top", 14}}));
  EXPECT_EQ(image["groups"]["aux"], (Json{{"count", 2}, {"type", "float"}, {"width", 32}, {"name", "Z"}}));
  EXPECT_EQ(image["curve"]["gamma"], 1.8);
  EXPECT_EQ(image["curve"]["assumed"], false);
}

TEST(Info, one_bad_file_does_not_stop_the_others_and_shows_in_the_exit_status) {
  PipeFile().write("good.pipe");
  put_bytes("bad.png", "bad");
  const struct {
    std::string files;
    int status;
  } rows[] = {{" good.pipe bad.png good.pipe", 1},
              {" missing.png good.pipe", 1},
              {" missing.png bad.png", 4},
              {" missing.png missing.png", 3}};
  for (const auto& row : rows) {
    std::string told;
    const Json found = Json::parse(expect("info --json" + row.files, row.status).out);
    for (const Json& file : found["files"]) {
      const std::string name = file["file"];
      told += " " + name;
      EXPECT_EQ(file["result"], name == "good.pipe" ? "read" : "failed");
      EXPECT_EQ(file.value("error", "") == "", name == "good.pipe");
    }
    EXPECT_EQ(told, row.files);
  }
}

TEST(Info, goes_by_the_content_without_an_ending_and_by_a_name_that_the_content_contradicts) {
  const std::string png = bytes_of(sample("chelsea.png"));
  PipeFile().write("a.pipe");
  const std::string stream = bytes_of("a.pipe");
  const Text not_a_word = Not(HasSubstr("the name says"));
  const struct {
    const char* file;
    std::string bytes;
    Call call;
  } rows[] = {{"picture", png, {"info picture", 0, HasSubstr("png (PNG)")}},
              {"stream", stream, {"info stream", 0, HasSubstr("pipe (pipe)")}},
              {"picture.pipe",
               png,
               {"info picture.pipe", 4, _,
                StartsWith("orb: warning: picture.pipe: the name says pipe, but the content says png; ")}},
              {"stream.png",
               stream,
               {"info stream.png", 4, _,
                StartsWith("orb: warning: stream.png: the name says png, but the content says pipe; ")}},
              {"stream.png", stream, {"info stream.png --from pipe", 0, _, not_a_word}},
              {"noise.png", "noise", {"info noise.png", 4, _, not_a_word}}};
  for (const auto& row : rows) {
    put_bytes(row.file, row.bytes);
    expect(row.call);
  }
}

TEST(Info, a_limit_names_the_option_that_raises_it_and_trying_again_is_not_advised) {
  expect("info --limit buffer=1K samples/chelsea.png", 4, _,
         AllOf(HasSubstr("--limit buffer=SIZE"),
               HasSubstr("orb: error: " + sample("chelsea.png") + ": Opening")));
  expect("info --limit buffer=1M samples/chelsea.png", 0);
}

TEST(Info, a_reader_of_the_results_that_leaves_ends_the_tool_without_a_word) {
  const Outcome run = shell("exec 3>&1; { sleep 0.2; orb formats; echo $? >&3; } | true");
  EXPECT_EQ(run.out, "4\n");
  EXPECT_EQ(run.err, "");
}

TEST(Formats, lists_plug_ins_and_built_in_drivers_with_their_origin) {
  expect("formats", 0, StartsWith("key "));
  const Json formats = json_of("formats --json")["formats"];
  const Json png = find(formats, "key", "png");
  EXPECT_EQ(png["built_in"], false);
  EXPECT_THAT(png["module"].get<std::string>(), HasSubstr("plugins-3.2/png.so"));
  EXPECT_EQ(png["channels"]["color"]["widths"].size(), 16U);
  EXPECT_EQ(find(png["settings"], "name", "palette")["choices"], (Json{"colours", "indices"}));
  for (const std::string key : {"pipe", "mem"}) {
    EXPECT_EQ(find(formats, "key", key)["built_in"], true) << key;
    EXPECT_EQ(find(formats, "key", key)["any_line"], key == "mem");
  }
}

TEST(Formats, a_module_that_cannot_be_used_is_explained_where_its_format_is_wanted) {
  std::filesystem::create_directory("plugins");
  put_bytes("plugins/zzz.so", "no module at all");
  put_bytes("picture.zzz", "bytes");
  const std::string folder = std::filesystem::absolute("plugins");
  const Text explained = HasSubstr("plug-in present (" + folder + "/zzz.so), but ");
  expect_all(
      {{"formats -v", 0,
        AllOf(HasSubstr("plugins/zzz.so  cannot be loaded: "), HasSubstr(folder + "  (QV_ORB_PLUGIN_PATH)"))},
       {"info picture.zzz", 4, _, explained},
       {"info --from zzz samples/chelsea.png", 4, _, explained},
       {"convert samples/chelsea.png -o b.zzz", 4, _, explained}},
      {.environment = {"QV_ORB_PLUGIN_PATH=" + folder}});
}

TEST(Config, names_the_origin_of_every_setting) {
  const std::string file = std::filesystem::absolute(".orbrc");
  put_bytes(file, "# ours\nfmt__gamma_default 1.5\n");
  const Json config = Json::parse(expect({"config --json", 0}, {.environment = {"QV_JOB_NUM=42"}}).out);
  const Json gamma = find(config["settings"], "name", "fmt__gamma_default");
  EXPECT_EQ(gamma["value"], "1.5");
  EXPECT_EQ(gamma["origin"], file);
  EXPECT_EQ(gamma["line"], 2);
  const Json job = find(config["settings"], "name", "QV_JOB_NUM");
  EXPECT_EQ(job["value"], "42");
  EXPECT_EQ(job["origin"], "QV_JOB_NUM");
  EXPECT_EQ(find(config["settings"], "name", "fmt__frame_rate")["origin"], "built-in");
  EXPECT_FALSE(config["plugin_folders"].empty());
  expect("config", 0, HasSubstr("fmt__gamma_default = 1.5  (" + file + ":2)\n"));
}

TEST(Config, a_configuration_that_stops_the_library_is_no_case_for_another_try) {
  put_bytes(".orbrc", "clr__min_wavelength blue\n");
  expect("formats", 4, _,
         AllOf(HasSubstr("line 1; expecting a number"), HasSubstr("the library cannot start")));
}

}  // namespace
}  // namespace orb::testing
