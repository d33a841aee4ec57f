#include "orbbase/registry.h"
#include "tests/host/module_folders.h"

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include <fstream>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

// Between the folders of a search path.
const std::string kBetween = fs::path::preferred_separator == '/' ? ":" : ";";

class Host : public ModuleFolders {
 protected:
  // A test module.
  void place(const std::string& folder, const std::string& file, const std::string& module) {
    place_file(folder, file, fs::path(ORB_TEST_MODULES) / (module + ".module"));
  }
  int32_t start(const std::vector<std::string>& folders) {
    std::string path;
    for (const std::string& folder : folders) {
      path += (path.empty() ? "" : kBetween) + (root_ / folder).string();
    }
    return start_with(path);
  }

  // "folder/file state" of every candidate in our folders, in the order of the search.
  std::vector<std::string> verdicts() const {
    static const char* const kStates[] = {"taken",         "cannot load", "missing library", "missing symbol",
                                          "wrong version", "declined",    "replaced",        "failed check"};
    std::vector<std::string> all;
    for (int32_t i = 0; const HOST_CANDIDATE* candidate = HOST_candidate(i); ++i) {
      const fs::path path = candidate->path;
      if (path.string().rfind(root_.string(), 0) != 0) continue;
      all.push_back(path.parent_path().filename().string() + "/" + path.stem().string() + " " +
                    kStates[candidate->state]);
    }
    return all;
  }

  static std::string keys() {
    std::string all;
    ORB_init(nullptr, nullptr);  // rewinds
    while (const ORB_FORMAT* format = ORB_info()) all += (all.empty() ? "" : " ") + std::string(format->key);
    return all;
  }
};

TEST_F(Host, says_for_every_module_why_it_was_not_taken) {
  place("a", "declines", "declines");
  place("a", "good", "other");
  place("a", "symbol", "without_imageOrientation");
  place("a", "wrong", "wrong_version");
  place("a", "unnamed", "nameless_entry");
  place_file("a", "needy", ORB_NEEDY_MODULE);
  std::ofstream(root_ / "a" / (std::string("text") + ORB_MODULE_EXTENSION)) << "this is no module\n";
  std::ofstream(root_ / "a" / (std::string("void") + ORB_MODULE_EXTENSION));
  std::ofstream(root_ / "a" / "note.txt") << "not looked at\n";
  ASSERT_EQ(start({"a"}), 0);
  EXPECT_THAT(verdicts(),
              ElementsAre("a/declines declined", "a/good taken", "a/needy missing library",
                          "a/symbol missing symbol", "a/text cannot load", "a/unnamed failed check",
                          "a/void cannot load", "a/wrong wrong version"));
  EXPECT_THAT(reports_, Contains(HasSubstr("imageOrientation must be defined")));
  EXPECT_THAT(reports_, Contains(HasSubstr("plug-in present, but its library ")));
  EXPECT_THAT(keys(), HasSubstr("other"));
}

// A named pipe would be waited on for ever.
TEST_F(Host, what_is_no_file_is_not_opened) {
  fs::create_directories(root_ / "a" / (std::string("folder") + ORB_MODULE_EXTENSION));
#ifndef _WIN32
  ASSERT_EQ(mkfifo((root_ / "a" / (std::string("pipe") + ORB_MODULE_EXTENSION)).c_str(), 0600), 0);
#endif
  place("a", "z", "good");
  ASSERT_EQ(start({"a"}), 0);
  EXPECT_THAT(verdicts(), Contains("a/folder cannot load"));
  EXPECT_THAT(reports_, Contains(HasSubstr("folder" ORB_MODULE_EXTENSION ": it is not a regular file")));
  EXPECT_NE(ORB_find("good"), nullptr);
}

TEST_F(Host, of_two_modules_with_one_key_the_earlier_folder_wins_and_in_it_the_later_name) {
  place("a", "1", "good");
  place("a", "2", "good_again");
  place("b", "3", "good");
  ASSERT_EQ(start({"a", "b"}), 0);
  EXPECT_STREQ(ORB_find("good")->extension, ".again");
  EXPECT_THAT(verdicts(), ElementsAre("a/1 replaced", "a/2 taken", "b/3 replaced"));
}

// A module that holds a key and is then refused leaves it to the one that had stood back.
TEST_F(Host, a_refused_module_never_hides_a_good_one) {
  const struct {
    const char *good_folder, *broken_folder, *broken;
  } rows[] = {{"b", "a", "wrong_version"},
              {"b", "a", "without_imageName"},
              {"b", "a", "declines"},
              {"a", "a", "good_broken"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.broken);
    fs::remove_all(root_);
    place(row.good_folder, "1", "good");
    place(row.broken_folder, "2", row.broken);
    ASSERT_EQ(start({"a", "b"}), 0);
    ASSERT_NE(ORB_find("good"), nullptr);
    EXPECT_STREQ(ORB_find("good")->extension, ".good");
    HOST_stop();
  }
}

TEST_F(Host, explains_a_file_whose_plug_in_is_present_but_refused) {
  place("a", "good", "good");
  place_file("a", "needy", ORB_NEEDY_MODULE);
  ASSERT_EQ(start({"a"}), 0);
  for (const char* name : {"needy", "shot.needy", "/some/folder/shot.0001.needy"}) {
    const HOST_CANDIDATE* refused = HOST_explain(name);
    ASSERT_NE(refused, nullptr) << name;
    EXPECT_EQ(refused->state, HOST_MISSING_LIBRARY);
    EXPECT_THAT(refused->reason, HasSubstr("is missing"));
  }
  for (const char* name : {"good", "shot.good", "shot.unknown", "needy.png", "", "."}) {
    EXPECT_EQ(HOST_explain(name), nullptr) << name;
  }
  EXPECT_EQ(HOST_explain(nullptr), nullptr);
}

TEST_F(Host, lists_the_folders_of_the_search_once_each_present_or_not) {
  place("a", "good", "good");
  ASSERT_EQ(start({"a", "none", "a"}), 0);
  std::vector<std::string> from_path;
  std::vector<std::string> others;
  for (int32_t i = 0; const HOST_FOLDER* folder = HOST_folder(i); ++i) {
    const std::string line = fs::path(folder->path).filename().string() + (folder->exists ? "" : " absent");
    (std::string(folder->origin) == "QV_ORB_PLUGIN_PATH" ? from_path : others).push_back(line);
  }
  EXPECT_THAT(from_path, ElementsAre("a", "none absent"));
  EXPECT_EQ(others.size(), 2u);  // relative to the program, and installed
}

TEST_F(Host, a_search_path_of_any_length_and_shape_is_harmless) {
  place("a", "good", "good");
  for (const std::string& path : {std::string(30000, 'x'), kBetween + kBetween + kBetween, std::string(),
                                  (root_ / "a").string() + kBetween + std::string(5000, '/') + kBetween}) {
    EXPECT_EQ(start_with(path), 0);
    EXPECT_NE(ORB_find("mem"), nullptr);
    HOST_stop();
  }
}

TEST_F(Host, takes_modules_in_name_order_folder_by_folder_and_can_start_again_with_others) {
  place("a", "2", "good");
  place("a", "1", "other");
  place("b", "0", "multi");
  ASSERT_EQ(start({"a", "b"}), 0);
  EXPECT_EQ(keys(), "other good multi");
  EXPECT_THAT(verdicts(), ElementsAre("a/1 taken", "a/2 taken", "b/0 taken"));
  EXPECT_EQ(start({"b"}), 0) << "a second start changes nothing";
  EXPECT_EQ(keys(), "other good multi");
  EXPECT_EQ(HOST_stop(), 0);
  EXPECT_EQ(HOST_candidate(0), nullptr);
  EXPECT_EQ(HOST_folder(0), nullptr);
  ASSERT_EQ(start({"b"}), 0);
  EXPECT_EQ(keys(), "multi");
  EXPECT_THAT(reports_, ::testing::IsEmpty());
}

}  // namespace
