// What a JPEG can and cannot be, for the tests of all formats, and how its own damage is told.
#include <gmock/gmock.h>

#include "oracle.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;
using namespace std::string_literals;

std::string sized(int width, int height, bool is_progressive = false) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  if (is_progressive) picture.choose = jpeg_simple_progression;
  return encode(picture);
}

std::string in_passes_by_component() {
  static const jpeg_scan_info kScans[] = {
      {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
  Picture picture;
  picture.choose = [](jpeg_compress_struct* cinfo) {
    cinfo->scan_info = kScans;
    cinfo->num_scans = 3;
  };
  return encode(picture);
}

std::string of_unknown_colours() {
  Picture picture;
  picture.given = JCS_GRAYSCALE;
  picture.choose = [](jpeg_compress_struct* cinfo) {
    cinfo->in_color_space = JCS_UNKNOWN;
    cinfo->input_components = 2;
    jpeg_set_defaults(cinfo);
  };
  return encode(picture);
}

// The sides in the frame header become these.
std::string with_size(std::string file, int frame_marker, int width, int height) {
  size_t at = find_marker(file, frame_marker) + 5;
  for (const int side : {height, width}) {
    file[at++] = static_cast<char>(side >> 8);
    file[at++] = static_cast<char>(side);
  }
  return file;
}

std::vector<Example> examples() {
  Picture commented;
  commented.mark = [](jpeg_compress_struct& cinfo) {
    jpeg_write_marker(&cinfo, JPEG_COM, reinterpret_cast<const JOCTET*>("x"), 1);
  };
  return {{encode(commented), true}, {sized(21, 13, true), true}};
}

std::vector<Damaged> damaged() {
  const std::string separate = in_passes_by_component();
  const std::string last_pass = separate.substr(separate.rfind("\xFF\xDA"));
  std::string endless = separate;
  for (int i = 0; i < 600; ++i) endless.insert(endless.size() - 2, last_pass.substr(0, last_pass.size() - 2));
  std::vector<Damaged> rows = {
      {"", ORB_E_FORMAT, "in: This does not appear to be a JPEG file; the file is empty"},
      {"\xFF\xD8", ORB_E_FORMAT, "the file is shorter than a JPEG signature"},
      {"GIF89a", ORB_E_FORMAT, "it begins with other bytes"},
      {"\xFF\xD8xyz", ORB_E_FORMAT, "it begins with other bytes"},
      {with_size(sized(21, 13, true), 0xC2, 65499, 65500), ORB_E_MEMORY, "over the limit"},
      {with_size(sized(21, 13), 0xC0, 65499, 65500), ORB_E_DECODE, ""},
      {with_size(sized(21, 13), 0xC0, 65499, 0), ORB_E_DECODE, ""},
      {of_unknown_colours(), ORB_E_HANDLE, "in: 2 components whose colours are not known"},
      {endless, ORB_E_DECODE, "in: the picture comes in more than 500 passes"},
      {separate.substr(0, separate.rfind("\xFF\xDA")) + "\xFF\xD9", ORB_E_DECODE,
       "in: a component of the picture is missing"}};
  // A cut file with an end mark is no whole picture either.
  const std::string whole = sized(100, 100);
  for (size_t kept = find_marker(whole, 0xDA) + 14; kept + 3 < whole.size(); kept += 7)
    rows.push_back({whole.substr(0, kept) + "\xFF\xD9", ORB_E_DECODE, ""});
  return rows;
}

// The codec's own memory is held to it too, so that what suffices is looked for.
std::vector<Limited> limited() {
  const std::string file = sized(200, 200, true);
  save("sized", file);
  uint64_t least = 1;
  const uint64_t before = ORB_limit(ORB_LIMIT_HANDLE, 0);
  for (uint64_t step = 1U << 24; step > 0; step /= 2) {
    ORB_limit(ORB_LIMIT_HANDLE, least + step);
    if (!open_read("jpeg", "sized")) least += step;
  }
  EXPECT_GT(least, 200 * 200 * 2U);
  ORB_limit(ORB_LIMIT_HANDLE, before);
  return {{file, ORB_LIMIT_HANDLE, least + 1}};
}

const Format kJpeg = {
    .key = "jpeg",
    .modules = {JPEG_MODULE},
    .traits = kKeepsDescription | kReadsPipes | kIsLossy,
    .signature_bytes = 3,
    .cut_codes = {ORB_E_READ},
    .examples = examples,
    .damaged = damaged,
    .limited = limited,
    .layouts = {{3, 0, 0, 8, 8}, {1, 0, 0, 8, 8}, {4, 0, 0, 8, 8}},
    .refusals = {
        {"jpeg cannot handle the requested action", [](Wanted& w) { w.color(2, 8); }},
        {"jpeg cannot handle matte channel type", [](Wanted& w) { w.matte(1, 8); }},
        {"jpeg cannot handle auxiliary channel type", [](Wanted& w) { w.aux(1, 8); }},
        {"jpeg cannot handle image channel width", [](Wanted& w) { w.color(3, 7); }},
        {"jpeg cannot handle image channel width", [](Wanted& w) { w.color(3, 16); }},
        {"jpeg cannot handle image channel type", [](Wanted& w) { w.color(3, 32, ORB_C_FLOAT); }},
        {"a JPEG's sides are at most 65500 pixels",
         [](Wanted& w) {
           w.window({0, 65500, 0, 1});
         }},
        {"jpeg cannot handle the requested action", [](Wanted& w) { w.set(kQuality, 0); }},
        {"jpeg cannot handle the requested action", [](Wanted& w) { w.set(kQuality, 101); }},
        {"jpeg cannot handle the requested action", [](Wanted& w) { w.set(kSubsampling, 3); }},
    }};
ORB_TEST_CONFORMANCE(kJpeg);

TEST_F(JpegTest, missing_last_passes_make_a_coarse_picture_with_a_warning) {
  const std::string whole = sized(21, 13, true);
  const size_t second = find_marker(whole, 0xDA, find_marker(whole, 0xDA) + 2);
  save("in", whole.substr(0, second) + "\xFF\xD9");
  EXPECT_EQ(read_whole("jpeg", "in"), 0);
  EXPECT_THAT(reports.texts(), HasSubstr("in: the last passes are missing: the picture is coarse"));
}

}  // namespace
}  // namespace orb::testing
