// orb plugin-check: our own plug-ins pass, and each defect is found for what it is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "run_orb.h"

namespace orb::testing {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using ::testing::HasSubstr;

Outcome check(const Folder& folder, const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {"plugin-check"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  RunOptions options;
  options.environment = {"ASAN_OPTIONS=handle_segv=0:handle_abort=0:detect_leaks=0"};
  return orb(folder, all, options);
}

class Own : public ::testing::TestWithParam<std::string> {};

TEST_P(Own, plug_in_passes) {
  const Folder folder;
  const Outcome run = check(folder, {std::string(ORB_OWN_PLUGINS) + "/" + GetParam() + ".so"});
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  EXPECT_THAT(run.out, HasSubstr("ok    load: the format "));
}

INSTANTIATE_TEST_SUITE_P(Module, Own, ::testing::ValuesIn(std::vector<std::string>{ORB_OWN_PLUGIN_NAMES}),
                         [](const auto& row) { return row.param; });

struct Row {
  const char* defect;
  const char* finding;  // "" for a module that passes
};
std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.defect; }

class Found : public ::testing::TestWithParam<Row> {};

TEST_P(Found, for_what_it_is) {
  const Folder folder;
  const std::string module = folder.path("m.so");
  fs::copy_file(std::string(ORB_DEFECTIVE_MODULES) + "/" + GetParam().defect + ".module", module);
  const std::string finding = GetParam().finding;
  const Outcome run = check(folder, {module, "--isolate=time=10"});
  EXPECT_EQ(run.status, finding.empty() ? 0 : 1) << run.out << run.err;
  EXPECT_THAT(run.out, HasSubstr(finding.empty() ? "ok    manners" : "FAIL  " + finding));
  EXPECT_THAT(folder.names(), ::testing::ElementsAre("m.so"));
}

const Row kRows[] = {
    {"none", ""},
    {"no_name", "load: imageName must be defined"},
    {"key_wild", "load: imageKey must be defined as a text of less than 1024 bytes"},
    {"is_file_is_number", "load: imageIsFile must be defined as a function"},
    {"crash_at_load", "load: "},
    {"capability_bad_default", "load: "},
    {"capability_negative", "settings: imageCapability counts -7 settings"},
    {"capability_null_table", "settings: imageCapability counts settings and gives no table"},
    {"capability_without_list", "settings: depth: it is a choice, and there is no list to choose from"},
    {"capability_twice", "settings: two settings have the code 9"},
    {"is_file_true_of_all", "is-file: imageIsFile says yes to an empty file"},
    {"is_file_of_no_value", "is-file: imageIsFile answers 7; yes is 1 and no is 0"},
    {"is_file_writes", "is-file: imageIsFile writes to the file that it is asked about"},
    {"is_file_leaks", "is-file: imageIsFile leaves a file open"},
    {"crash_at_is_file", "is-file: "},
    {"crash_at_open", "pictures: "},
    {"crash_at_close", "pictures: "},
    {"open_silent", "pictures: 1 colour of 8-bit integers: what was written cannot be read back"},
    {"null_rows", "pictures: 1 colour of 8-bit integers: what was written cannot be read back"},
    {"alters_samples", "pictures: 1 colour of 8-bit integers: written and read back, samples of channel 0"},
    {"refuses_its_claim", "pictures: claims 8 bits a sample, and refuses every picture of them"},
    {"leaks_descriptors", "pictures: files are left open"},
    {"writes_into_rows",
     "pictures: 1 colour of 8-bit integers: the writer changes the rows that it is given"},
    {"claims_bottom_up", "pictures: "},
    {"accepts_all_types", "pictures: "},
    {"ignores_full_disk", "full-disk: /dev/full: written, says the format, with nowhere to write to"},
    {"any_line_not_in_order", "lines: a line is another one when it is read out of order or again"},
    {"reads_cut_files", "cut-files: the reading of a file cut after "},
    {"changes_locale", "manners: the locale of the process is changed"}};
INSTANTIATE_TEST_SUITE_P(Defect, Found, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.defect); });

TEST(PluginCheck, tells_programs_and_reads_the_authors_files) {
  const Folder folder;
  put_bytes(folder.path("bad.png"), "no picture");
  const Outcome run = check(folder, {"--json", std::string(ORB_OWN_PLUGINS) + "/png.so", "bad.png"});
  EXPECT_EQ(run.status, 1) << run.err;
  const Json json = Json::parse(run.out);
  EXPECT_EQ(json["result"], "failed");
  const auto samples = std::find_if(json["checks"].begin(), json["checks"].end(),
                                    [](const Json& row) { return row["check"] == "samples"; });
  ASSERT_NE(samples, json["checks"].end());
  EXPECT_THAT((*samples)["findings"][0]["text"], HasSubstr("bad.png: open fails (-8, "));
  EXPECT_EQ(check(folder, {"none.so"}).status, 3);
}

}  // namespace
}  // namespace orb::testing
