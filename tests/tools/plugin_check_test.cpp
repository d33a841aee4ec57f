// orb plugin-check: our own plug-ins pass, and each defect is found for what it is.
#include "tool_test.h"

namespace orb::testing {
namespace {

const RunOptions kPlainSignals = {
    .environment = {"ASAN_OPTIONS=handle_segv=0:handle_abort=0:detect_leaks=0"}};
const std::string kCheck = "plugin-check ";

class Own : public ::testing::TestWithParam<std::string> {};

TEST_P(Own, plug_in_passes) {
  expect({kCheck + ORB_OWN_PLUGINS "/" + GetParam() + ".so", 0, HasSubstr("ok    load: the format ")},
         kPlainSignals);
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
  const std::string finding = GetParam().finding;
  std::filesystem::copy_file(std::string(ORB_DEFECTIVE_MODULES "/") + GetParam().defect + ".module", "m.so");
  const std::string path = std::filesystem::absolute("m.so");
  expect({kCheck + path + " --isolate=time=10", finding.empty() ? 0 : 1,
          HasSubstr(finding.empty() ? "ok    manners" : "FAIL  " + finding)},
         kPlainSignals);
  EXPECT_THAT(names(), ElementsAre("m.so"));
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
  put_bytes("bad.png", "no picture");
  const Json json = Json::parse(expect(kCheck + "--json " ORB_OWN_PLUGINS "/png.so bad.png", 1).out);
  EXPECT_EQ(json["result"], "failed");
  Json samples;
  for (const Json& row : json["checks"]) {
    if (row["check"] == "samples") samples = row;
  }
  EXPECT_THAT(samples["findings"][0]["text"], HasSubstr("bad.png: open fails (-8, "));
  expect(kCheck + "none.so", 3);
}

}  // namespace
}  // namespace orb::testing
