// Paths built with a format string.
#include <gtest/gtest.h>

#include <fstream>

#include "orbbase/registry.h"
#include "tests/naming/built.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

// Gives the driver "mem" another format string and manner for a block.
class Manner {
 public:
  explicit Manner(const char* format_string, int32_t add_extension = 1) : before_(*ORB_find("mem")) {
    ORB_find("mem")->format_string = format_string;
    ORB_find("mem")->add_extension = add_extension;
  }
  ~Manner() { *ORB_find("mem") = before_; }
  Manner(const Manner&) = delete;
  Manner& operator=(const Manner&) = delete;

 private:
  ORB_FORMAT before_;
};

struct FormatRow {
  const char* format_string;
  const char* name;
  int32_t wanted;
  const char* path;
  int32_t frame;
  const char* base_name;
  int32_t mode = 0;
};

constexpr const char* kDot = "%s.%04d%s";

constexpr FormatRow kReplaced[] = {
    // the number behind the separator
    {kDot, "d.1/s.0007.mem", -1, "d.1/s.0007.mem", 7, "s"},
    {kDot, "s.0007.mem", 12, "s.0012.mem", 12, "s"},
    {kDot, "plate_v002.1001.mem", -1, "plate_v002.1001.mem", 1001, "plate_v002"},
    {kDot, "s.7x.mem", -1, "s.7x.mem", -1, "s.7x"},
    {kDot, "s.07.mem", 3, "s.03.mem", 3, "s"},
    {kDot, "s.000007.mem", 12, "s.000012.mem", 12, "s"},
    {kDot, "s.123456.mem", 12, "s.0012.mem", 12, "s"},
    {"%s-%d%s", "s-007.mem", 12, "s-012.mem", 12, "s"},
    {"%s_f%04d%s", "s_f0007.mem", 12, "s_f0012.mem", 12, "s"},
    {"%s_f%04d%s", "s_0007.mem", 12, "s_0007.mem", 12, "s_0007"},
    {"%s.%04dx%s", "s.0007x.mem", 12, "s.0012x.mem", 12, "s"},
    {"%s%%%04d%s", "s%0007.mem", 12, "s%0012.mem", 12, "s"},
    {"%s.%04.4d%s", "s.0007.mem", 12, "s.0012.mem", 12, "s"},
    {"%s.%06.4d%s", "s.000007", 12, "s.  0012.mem", 12, "s"},
    {kDot, "s.2147483648", 12, "s.2147483648.0012.mem", 12, "s.2147483648"},
    // digits at the end
    {kDot, "s0007.mem", 12, "s0012.mem", 12, "s"},       // no separator, but the extension
    {kDot, "s0007", 12, "s0007.0012.mem", 12, "s0007"},  // nor the extension
    {"%s%d%s", "s007", 12, "s012.mem", 12, "s"},
    {"%s%04d%s", "s123456.mem", 12, "s120012.mem", 12, "s12"},
    {"%s%04d%s", "s07.mem", -1, "s07.mem", 7, "s"},
    {"%04d", "07.mem", 12, "12.mem", 12, ""},
    {"%s%d%s", "s.mem", 12, "s.mem", 12, "s"},
    // a number that is added or left out
    {kDot, "s", 12, "s.0012.mem", 12, "s"},
    {"%s.%0d%s", "s", 12, "s.12.mem", 12, "s"},
    {kDot, "s", -1, "s.mem", -1, "s"},
    {kDot, "s.mem", 12, "s.mem", 12, "s"},
    {"%s%s", "s.0007.mem", 12, "s.0007.mem", 12, "s.0007"},
    {"", "s", 12, "s.mem", 12, "s"},
    // the conversion that a name holds
    {kDot, "s_%03d.mem", 12, "s_012.mem", 12, "s_"},
    {kDot, "s_%03f_l.mem", 12, "s_012_l.mem", 12, "s_"},
    {kDot, "s_%%03d", 12, "s_%%03d.0012.mem", 12, "s_%%03d"},
    {kDot, "s_%0s", 12, "s_%0s.0012.mem", 12, "s_%0s"},
    // wildcards and printf patterns
    {kDot, "d%/s.07.mem", 12, "d%/s.*.mem", 12, "s", 1},
    {"%s%%%04dx%s", "s", -1, "s%*.mem", -1, "s", 1},
    {kDot, "d%/s%.07.mem", 12, "d%%/s%%.%02d.mem", 12, "s%", 2},
    {"%s%%%04.4dx%s", "s", -1, "s%%%04.4dx.mem", -1, "s", 2},
    {kDot, "s.7.mem", -1, "s.%d.mem", 7, "s", 2},
    {kDot, "s_%03f.mem", -1, "s_%03d.mem", -1, "s_", 2},
};

TEST(BuildWithFormatString, replaces_adds_or_leaves_out_the_number) {
  for (const FormatRow& row : kReplaced) {
    const Manner manner(row.format_string);
    const Built built = build({nullptr, row.name, row.wanted, row.mode});
    const std::string label =
        std::string(row.format_string) + " " + row.name + " " + std::to_string(row.wanted);
    EXPECT_EQ(built.code, 0) << label;
    EXPECT_EQ(built.path, row.path) << label;
    EXPECT_EQ(built.frame, row.frame) << label;
    EXPECT_EQ(built.base_name, row.base_name) << label;
  }
}

TEST(BuildWithFormatString, leaves_an_existing_file_as_it_is_when_extensions_are_not_added) {
  for (const char* name : {"there", "there.0007"}) std::ofstream(name) << "x";
  const struct {
    const char* name;
    int32_t add_extension;
    int32_t keep_width;
    const char* path;
  } rows[] = {{"there", 0, 0, "there"},           {"there", 0, 1, "there.0012"},
              {"there", 1, 0, "there.0012.mem"},  {"gone", 0, 0, "gone.0012"},
              {"there.0007", 0, 0, "there.0012"}, {"there.mem", 0, 0, "there.mem"}};
  for (const auto& row : rows) {
    const Manner manner("%s.%04d%s", row.add_extension);
    EXPECT_EQ(build({nullptr, row.name, 12, 0, row.keep_width}).path, row.path);
  }
}

TEST(BuildWithFormatString, finds_the_format_by_key_or_by_the_name) {
  const Plugins plugins({"no_extension", "other", "rla"});
  const struct {
    const char* key;
    const char* name;
    const char* found;  // null: none
  } rows[] = {{nullptr, "s.1.rla", "rla"}, {nullptr, "s.1.other", "other"}, {"", "s.mem", "mem"},
              {".other", "s", "other"},    {nullptr, "s", nullptr},         {"none", "s.mem", nullptr},
              {"any", "s.mem", "any"}};
  for (const auto& row : rows) {
    const Built built = build({.name = row.name, .key = row.key});
    EXPECT_EQ(built.key, row.found ? row.found : "") << row.name;
    EXPECT_EQ(built.code, row.found ? 0 : ORB_E_NO_FORMAT) << row.name;
  }
}

TEST(BuildWithFormatString, needs_the_library_but_no_default_format) {
  const ReportRecorder recorder;  // its lock is made at the first use, where the system does so
  for (const char* syntax : {static_cast<const char*>(nullptr), "name.#.ext"}) {
    const FailAllocation fail(1, FailAllocation::Mode::from_there_on);
    EXPECT_EQ(build({.syntax = syntax, .name = "s.1.mem", .key = syntax ? "mem" : nullptr}).code,
              ORB_E_MEMORY);
  }
  EXPECT_EQ(build({.name = "s.1.mem", .key = nullptr}).key, "mem");
}

TEST(BuildWithFormatString, refuses_what_is_not_valid) {
  const std::string wide = "%s.%0" + std::string(400, '9') + "d%s";
  const std::string longer = "%s." + std::string(2 * ORB_PATHNAME_BYTES, 'x') + "%04d%s";
  const struct {
    std::string format_string;
    std::string name;
    int32_t code;
    int32_t mode = 0;
  } rows[] = {
      {kDot, "", ORB_E_NAME_LENGTH},
      {kDot, std::string(260, 'n'), ORB_E_NAME_LENGTH},
      {kDot, std::string(259, 'n'), 0},
      {kDot, "s%09999d", ORB_E_NAME_LENGTH},
      {wide, "s", ORB_E_NAME_LENGTH},
      {longer, "s", ORB_E_NAME_LENGTH},
      {"%s.%09999d%s", "s", ORB_E_NAME_LENGTH, 2},  // a pattern that no path fits
      {"%s.%0.9999d%s", "s", ORB_E_NAME_LENGTH, 2},
  };
  for (const auto& row : rows) {
    const Manner manner(row.format_string.c_str());
    const Built built = build({nullptr, row.name.c_str(), 12, row.mode});
    EXPECT_EQ(built.code, row.code) << row.format_string << " " << row.name;
    EXPECT_EQ(built.path + built.key == "untouched", row.code != 0);
  }
  for (const char* format_string : {"%s.x%s", "%s.%4d%s", "%s.%x%s", "%s.%0n%s", "%s.%n%04d%s",
                                    "%s.%04d%04d%s", "%s.%04d%", "%s.x%", "%s.%0", "%s.%%04d"}) {
    const Manner manner(format_string);
    EXPECT_EQ(build({nullptr, "s", 12}).code, ORB_E_NAME_SYNTAX) << format_string;
  }
  char path[ORB_PATHNAME_BYTES];
  int32_t frame = -1;
  const struct {
    const char* name;
    int32_t* frame;
    char* path;
    int32_t code;
  } calls[] = {{"s", nullptr, path, ORB_E_NO_ARGUMENT},
               {"s", &frame, nullptr, ORB_E_NO_ARGUMENT},
               {nullptr, nullptr, path, ORB_E_NAME_LENGTH}};
  for (const auto& call : calls) {
    orb__err = 0;
    EXPECT_EQ(ORB_pathname_build_no_name_syntax(call.name, "mem", 0, 0, call.frame, call.path, nullptr,
                                                nullptr, nullptr),
              0);
    EXPECT_EQ(orb__err, call.code);
  }
}

}  // namespace
