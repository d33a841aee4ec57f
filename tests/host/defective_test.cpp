// Plug-in modules with a defect each, loaded for real: what is found is reported and left out, or its calls fail with
// a code, and the sound module beside it works. What no program survives is looked at through the tool's --isolate.
#include <array>
#include <cerrno>
#include <fstream>

#include "orbbase/operators.h"
#include "orbbase/registry.h"
#include "tests/host/module_folders.h"

using ::testing::HasSubstr;

namespace {

// Modules beside a sound one.
class Defective : public ModuleFolders {
 protected:
  Defective() { place("none", "sound"); }

  void place(const std::string& defect, const std::string& name) {
    place_file("", name, fs::path(ORB_DEFECTIVE_MODULES) / (defect + ".module"));
  }
  void start() {
    ASSERT_EQ(start_with(root_.string()), 0);
    listen();  // the host takes the reports of its start for itself; each is a candidate's reason
    reports_.clear();
  }
  HOST_CANDIDATE candidate(const std::string& name) const {
    for (int32_t i = 0; const HOST_CANDIDATE* found = HOST_candidate(i); ++i) {
      if (fs::path(found->path).stem() == name) return *found;
    }
    return {"", "", -1, ""};
  }
};

ORB_IMAGE* open_file(const std::string& name, const char* mode, ORB_IFD* image = nullptr) {
  std::string copy = name;
  ORB_INFO info;
  ORB_info_init(&info);
  info.handle = copy.data();
  info.images = image;
  info.image_count = image ? 1 : 0;
  ORB_IMAGE* opened = ORB_open(&info, mode);
  ORB_info_cleanup(&info, 0);
  return opened;
}

// What goes into the files of these tests, 4 x 3 samples.
uint8_t sample_at(int32_t line, int32_t column) { return static_cast<uint8_t>(16 * line + column); }

std::string picture_bytes() {
  const int32_t window[4] = {0, 3, 0, 2};
  std::string bytes = "DEF1" + std::string(reinterpret_cast<const char*>(window), sizeof window);
  for (int32_t line = 2; line >= 0; --line) {
    for (int32_t column = 0; column < 4; ++column) bytes += static_cast<char>(sample_at(line, column));
  }
  return bytes + "END1";
}

void put(const std::string& name) { std::ofstream(name, std::ios::binary) << picture_bytes(); }

// The sound module reads and writes, whatever stands beside it.
void expect_sound_module_works() {
  put("good.sound");
  ORB_IMAGE* image = open_file("good.sound", "r");
  ASSERT_NE(image, nullptr);
  ORB_IFD form = image->info.images[0];
  ORB_IMAGE* copy = open_file("copy.sound", "w", &form);
  ASSERT_NE(copy, nullptr);
  for (int32_t line = 2; line >= 0; --line) {
    void** rows = nullptr;
    ASSERT_EQ(ORB_scan_read(image, line, &rows), 0);
    EXPECT_EQ(static_cast<uint8_t*>(rows[0])[3], sample_at(line, 3));
    ASSERT_EQ(ORB_scan_write(copy, line, rows), 0);
  }
  EXPECT_EQ(ORB_close(image), 0);
  EXPECT_EQ(ORB_close(copy), 0);
  std::ifstream stored("copy.sound", std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stored), {}), picture_bytes());
}

// A row of a table of defects, shown by its name.
struct Case {
  const char* defect;
};
std::ostream& operator<<(std::ostream& out, const Case& row) { return out << row.defect; }
const auto kDefectName = [](const auto& info) { return std::string(info.param.defect); };

// ---- Refused when they are loaded

struct Refused : Case {
  std::string reason;
  int32_t state = HOST_MISSING_SYMBOL;
};

constexpr const char* kPointer = " must be defined as a variable that points to a text";
constexpr const char* kText =
    " must be defined as a text of less than 1024 bytes, none of them a control character";

class AtLoad : public Defective, public ::testing::WithParamInterface<Refused> {};

TEST_P(AtLoad, is_refused_with_a_reason_and_harms_no_other) {
  const Refused& expected = GetParam();
  place(expected.defect, "bad");
  start();
  const HOST_CANDIDATE bad = candidate("bad");
  EXPECT_EQ(bad.state, expected.state) << bad.reason;
  EXPECT_THAT(bad.reason, HasSubstr(expected.reason));
  EXPECT_EQ(ORB_find(".defective") == nullptr, expected.state != HOST_FAILED_CHECK);
  EXPECT_EQ(candidate("sound").state, HOST_TAKEN);
  expect_sound_module_works();
}

const Refused kRefused[] = {
    {{"no_version"}, "version must be defined"},
    {{"version_is_array"}, std::string("version") + kPointer},
    {{"version_is_function"}, std::string("version") + kPointer},
    {{"version_wrong"}, "but found \"3\"", HOST_WRONG_VERSION},
    {{"no_key"}, "imageKey must be defined"},
    {{"key_is_function"}, kPointer},
    {{"key_null"}, "imageKey must be defined"},
    {{"key_empty"}, "imageKey must be defined as a text that is not empty"},
    {{"key_wild"}, kText},
    {{"key_with_control"}, kText},
    {{"key_unterminated"}, kText},
    {{"key_overlong"}, kText},
    {{"no_name"}, "imageName must be defined"},
    {{"name_is_array"}, kPointer},
    {{"description_of_two_lines"}, kText},
    {{"extension_wild"}, kText},
    {{"no_orientation"}, "imageOrientation must be defined"},
    {{"orientation_is_function"}, "imageOrientation must be defined as a 32-bit variable"},
    {{"orientation_is_byte"}, "imageOrientation must be defined as a 32-bit variable"},
    {{"byte_is_function"}, "imageHardLinkDuplicates must be defined as an 8-bit variable"},
    {{"no_read_open"}, "imageReadOpen must be defined"},
    {{"read_open_is_text"}, "imageReadOpen must be defined as a function"},
    {{"no_write_open"}, "imageWriteOpen must be defined"},
    {{"is_file_is_number"}, "imageIsFile must be defined as a function"},
    {{"init_is_text"}, "imageInit must be defined as a function"},
    {{"init_declines"}, "its imageInit declined", HOST_DECLINED},
    {{"init_reports"}, "its imageInit declined", HOST_DECLINED},
    {{"capability_is_number"}, "imageCapability must be defined as a function"},
    {{"capability_nameless"}, "no name field was found for capability 0", HOST_FAILED_CHECK}};

INSTANTIATE_TEST_SUITE_P(Module, AtLoad, ::testing::ValuesIn(kRefused), kDefectName);

// The loader would map what is not there, and die of it.
TEST_F(Defective, a_module_cut_anywhere_is_refused) {
  const fs::path whole = fs::path(ORB_DEFECTIVE_MODULES) / "of_file.module";
  constexpr int kCuts = 24;
  for (int i = 0; i < kCuts; ++i) {
    const fs::path cut = root_ / ("cut" + std::to_string(i) + ".so");
    fs::copy_file(whole, cut);
    fs::resize_file(cut, fs::file_size(whole) * static_cast<size_t>(i) / kCuts);
  }
  start();
  // Section tables and names for people lie behind all that is loaded; without them a module is whole.
  for (int i = 0; i < kCuts / 4; ++i) {
    EXPECT_EQ(candidate("cut" + std::to_string(i)).state, HOST_CANNOT_LOAD) << i;
  }
  expect_sound_module_works();
}

// ---- Taken, and found out when a file is opened

struct Opened : Case {
  const char* report;
};

class AtOpen : public Defective, public ::testing::WithParamInterface<Opened> {};

TEST_P(AtOpen, fails_with_one_report_and_a_code) {
  place(GetParam().defect, "bad");
  start();
  put("a.defective");
  EXPECT_EQ(open_file("a.defective", "r"), nullptr);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_THAT(reports_, ::testing::ElementsAre(HasSubstr(GetParam().report)));
  expect_sound_module_works();
}

const Opened kOpened[] = {
    {{"open_silent"}, "defective cannot handle the requested action"},
    {{"open_without_code"}, "Cannot open file a.defective; it will not"},
    {{"images_null"}, "a.defective: the defective driver counts 3 images and describes none"},
    {{"images_negative"}, "a.defective: the defective driver counts -1 images and describes none"}};
INSTANTIATE_TEST_SUITE_P(Module, AtOpen, ::testing::ValuesIn(kOpened), kDefectName);

// ---- Taken and opened: every call gives a code, and nothing is looked at that is not there

struct Used : Case {
  int32_t scan;    // code of the first row
  int32_t region;  // of a rectangle
  int32_t minmax;  // of a row through an operator; 0, too, when the operator refused the handle
  int32_t close;
};

class InUse : public Defective, public ::testing::WithParamInterface<Used> {};

int32_t first_row(ORB_IMAGE* image, int32_t* sample_out = nullptr) {
  void** rows = nullptr;
  const int32_t code = ORB_scan_read(image, 2, &rows);
  if (sample_out) *sample_out = code == 0 && rows && rows[0] ? static_cast<uint8_t*>(rows[0])[3] : -1;
  return code;
}

TEST_P(InUse, each_call_gives_a_code_and_touches_nothing_that_is_not_there) {
  const Used& expected = GetParam();
  place(expected.defect, "bad");
  start();
  put("a.defective");
  const auto reopened = [] { return open_file("a.defective", "r"); };
  const auto close = [&](ORB_IMAGE* image) {
    EXPECT_EQ(ORB_close(image), expected.close);
    if (expected.close == ORB_E_HANDLE) orb__free_obj(image);
  };

  ORB_IMAGE* image = reopened();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(first_row(image), expected.scan);
  close(image);

  std::array<uint8_t, 64> pixels = {};
  image = reopened();
  EXPECT_EQ(ORB_get_region(&image, 0, 3, 0, 2, pixels.data(), ORB_REGION_PACKED, ORB_REGION_RGBA8),
            expected.region);
  close(image);

  image = reopened();
  static_cast<void>(ORB_seek(&image, 0));
  ORB_LUT* lut = nullptr;
  static_cast<void>(ORB_lut_read(image, &lut));
  static_cast<void>(ORB_set_frame(image, 3, 0, 0));
  ORB_IFD form = image->info.images ? image->info.images[0] : ORB_IFD{};
  ORB_chan_free(ORB_chan_alloc(&form, form.window.right, "defective", nullptr));
  close(image);

  image = ORB__minmax(reopened(), 0, 255);
  if (orb__err == 0) {
    EXPECT_EQ(first_row(image), expected.minmax);
    EXPECT_EQ(ORB__minmax_remove(image), 1);
  } else {
    EXPECT_EQ(expected.minmax, 0);
  }
  close(image);
  expect_sound_module_works();
}

const Used kUsed[] = {{{"open_empty"}, ORB_E_HANDLE, ORB_E_HANDLE, 0, ORB_E_HANDLE},
                      {{"no_scan"}, ORB_E_HANDLE, ORB_E_HANDLE, 0, 0},
                      {{"no_close"}, 0, 0, 0, ORB_E_HANDLE},
                      {{"null_rows"}, 0, ORB_E_READ, ORB_E_READ, 0},
                      {{"null_row"}, 0, ORB_E_READ, ORB_E_READ, 0},
                      {{"scan_fails_silently"}, ORB_E_DECODE, 0, ORB_E_DECODE, 0},
                      {{"close_fails"}, 0, 0, 0, ORB_E_WRITE},
                      {{"window_upside_down"}, 0, ORB_E_HANDLE, 0, 0},
                      {{"channels_absurd"}, 0, 0, 0, 0},
                      {{"channels_negative"}, 0, ORB_E_HANDLE, 0, 0},
                      {{"type_unknown"}, 0, 0, 0, 0},
                      {{"frames_negative"}, 0, 0, 0, 0},
                      {{"frames_without_functions"}, 0, 0, 0, 0},
                      {{"capability_null_table"}, 0, 0, 0, 0},
                      {{"capability_negative"}, 0, 0, 0, 0},
                      {{"capability_without_list"}, 0, 0, 0, 0},
                      {{"changes_errno"}, 0, 0, 0, 0},
                      {{"changes_locale"}, 0, 0, 0, 0},
                      {{"is_file_writes"}, 0, 0, 0, 0},
                      {{"leaks_descriptors"}, 0, 0, 0, 0}};
INSTANTIATE_TEST_SUITE_P(Module, InUse, ::testing::ValuesIn(kUsed), kDefectName);

// ---- Others

TEST_F(Defective, is_file_that_answers_no_number_of_ours_claims_nothing) {
  place("is_file_of_no_value", "bad");
  start();
  put("a.bin");
  int32_t is_known = 0;
  EXPECT_STREQ(ORB_get_file_type("a.bin", nullptr, &is_known), "sound");
}

TEST_F(Defective, of_two_modules_with_one_key_one_is_taken_and_the_other_is_told) {
  place("close_fails", "a");
  place("no_extension", "b");
  start();
  EXPECT_EQ(candidate("a").state, HOST_REPLACED);
  EXPECT_EQ(candidate("b").state, HOST_TAKEN);
  expect_sound_module_works();
}

}  // namespace
