// What a JPEG can and cannot be, against the codec library, for the tests of all formats; and how near samples stay.
#include <algorithm>

#include "oracle.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

using namespace std::string_literals;

std::string sized(int width, int height, bool is_progressive = false) {
  return encode(JCS_RGB, is_progressive ? jpeg_simple_progression : nullptr, nullptr, width, height);
}

std::string in_passes_by_component() {
  static const jpeg_scan_info kScans[] = {
      {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
  return encode(JCS_RGB, [](jpeg_compress_struct* cinfo) {
    cinfo->scan_info = kScans;
    cinfo->num_scans = 3;
  });
}

std::string of_unknown_colours() {
  return encode(JCS_GRAYSCALE, [](jpeg_compress_struct* cinfo) {
    cinfo->in_color_space = JCS_UNKNOWN;
    cinfo->input_components = 2;
    jpeg_set_defaults(cinfo);
  });
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

struct Marker {
  int code;
  std::string data;
};

std::string marked(const std::vector<Marker>& markers) {
  return encode(JCS_RGB, nullptr, [&markers](jpeg_compress_struct* cinfo) {
    for (const auto& [code, data] : markers)
      jpeg_write_marker(cinfo, code, reinterpret_cast<const JOCTET*>(data.data()),
                        static_cast<unsigned int>(data.size()));
  });
}

std::vector<Example> examples() { return {{marked({{JPEG_COM, "x"}}), true}, {sized(21, 13, true), true}}; }

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

// ---- What is read

Planes inverted(Planes planes) {
  for (auto& plane : planes) {
    for (uint64_t& sample : plane) sample = 255 - sample;
  }
  return planes;
}

void add_every_kind(std::vector<Known>& rows) {
  const auto be_rgb = [](jpeg_compress_struct* cinfo) { jpeg_set_colorspace(cinfo, JCS_RGB); };
  const auto be_ycck = [](jpeg_compress_struct* cinfo) { jpeg_set_colorspace(cinfo, JCS_YCCK); };
  const auto be_unmarked = [](jpeg_compress_struct* cinfo) { cinfo->write_Adobe_marker = FALSE; };
  const struct {
    J_COLOR_SPACE given;
    void (*choose)(jpeg_compress_struct*);
    bool is_inverted;
  } kinds[] = {{JCS_GRAYSCALE, nullptr, false},
               {JCS_GRAYSCALE, jpeg_simple_progression, false},
               {JCS_RGB, nullptr, false},
               {JCS_RGB, be_rgb, false},
               {JCS_RGB, jpeg_simple_progression, false},
               {JCS_CMYK, nullptr, true},
               {JCS_CMYK, be_ycck, true},
               {JCS_CMYK, be_unmarked, false}};
  for (const auto& kind : kinds) {
    const std::string bytes = encode(kind.given, kind.choose);
    const Planes planes = decode(bytes, kind.given);
    rows.push_back({bytes,
                    {"color " + std::to_string(planes.size()) + "x8", "matte 0"},
                    std::vector<std::string>(kind.choose == jpeg_simple_progression ? 1 : 0,
                                             "in: stored in several passes"),
                    kind.is_inverted ? inverted(planes) : planes});
  }
}

void add_densities(std::vector<Known>& rows) {
  const struct {
    int unit, across, down;
    const char* assumed;
    const char* aspect;
  } kinds[] = {{0, 1, 1, "gamma primaries aspect rate frame", "1"},
               {0, 2, 2, "gamma primaries rate frame", "1"},
               {0, 1, 2, "gamma primaries rate frame", "2"},
               {1, 72, 72, "gamma primaries rate frame", "1"},
               {2, 300, 150, "gamma primaries rate frame", "0.5"},
               {0, 0, 3, "gamma primaries aspect rate frame", "1"},
               {0, 65535, 1, "gamma primaries rate frame", "1.5259022e-05"}};
  for (const auto& kind : kinds) {
    const std::string bytes = encode(JCS_GRAYSCALE, [&kind](jpeg_compress_struct* cinfo) {
      cinfo->density_unit = static_cast<UINT8>(kind.unit);
      cinfo->X_density = static_cast<UINT16>(kind.across);
      cinfo->Y_density = static_cast<UINT16>(kind.down);
    });
    rows.push_back({bytes,
                    {"assumed "s + kind.assumed, "aspect "s + kind.aspect},
                    std::vector<std::string>(kind.unit != 0 ? 1 : 0, "in: the pixels' size is not kept")});
  }
}

std::vector<Known> known() {
  const std::string passes = sized(21, 13, true);
  const size_t second = find_marker(passes, 0xDA, find_marker(passes, 0xDA) + 2);
  const auto comments = [](const std::vector<std::string>& texts) {
    std::vector<Marker> markers;
    for (const std::string& text : texts) markers.push_back({JPEG_COM, text});
    return marked(markers);
  };
  const std::string longest(65533, 'x');
  std::string all_kept = longest;  // of a mebibyte
  for (int i = 1; i < 16; ++i) all_kept += '\n' + longest;
  std::string many = comments(std::vector<std::string>(17, longest));
  many.insert(many.size() - 2, "\xFF\xFE\0\5abc"s);
  std::vector<Known> rows = {
      {passes.substr(0, second) + "\xFF\xD9",
       {},
       {"in: stored in several passes", "warning: in: the last passes are missing: the picture is coarse"}},
      {comments({}), {"description unknown"}},
      {comments({"one"}), {"description one"}},
      {comments({"one", "two\n"}), {"description one\ntwo\n"}},
      {comments({"ends\0"s}), {"description ends"}},
      {comments({"a\0b"s}), {"description ab"}, {"warning: in: a comment holds zero bytes"}},
      {comments({""}), {"description unknown"}},
      {many,
       {"description " + all_kept},
       {"warning: in: comments of more than 1 MiB", "warning: in: a comment behind"}},
      {marked({{JPEG_APP0 + 1, "Exif\0\0II"s},
               {JPEG_APP0 + 1, "http://ns.adobe.com/xap"},
               {JPEG_APP0 + 2, "ICC_PROFILE\0\1\1"s},
               {JPEG_APP0 + 2, "MPF\0"s},
               {JPEG_APP0 + 5, ""}}),
       {},
       {"warning: in: Exif: the camera's data are not kept, the picture's turning among them",
        "in: XMP: this packet is not kept", "warning: in: ICC: the colour profile is not kept",
        "warning: in: MPF: of several pictures only the first is read",
        "in: APP5: this marker is not kept"}}};
  add_every_kind(rows);
  add_densities(rows);
  return rows;
}

// ---- What is written

std::string look(const std::string& path) {
  std::string all;
  decode(load(path), JCS_UNKNOWN, [&all](jpeg_decompress_struct& cinfo) {
    for (int c = 0; c < cinfo.num_components; ++c) {
      const jpeg_component_info& component = cinfo.comp_info[c];
      all += std::to_string(component.h_samp_factor) + "x" + std::to_string(component.v_samp_factor) + " ";
    }
  });
  return all;
}

Written subsampled(int32_t value, const char* seen) {
  return {[value](Wanted& w) { w.set(kSubsampling, value); }, seen};
}

// An aspect is kept as two densities where there is room for them.
Written stretched(int channels, float aspect, bool is_kept, const char* report = nullptr) {
  Written row = {[channels, aspect](Wanted& w) {
    w.color(channels, 8).info.word_e &= ~uint64_t{ORB_ASSUMED_PIXEL_ASPECT};
    w.ifd.pixel_aspect = aspect;
  }};
  row.says = {is_kept ? "assumed gamma primaries rate frame" : "assumed gamma primaries aspect rate frame"};
  if (report) row.reports = {report};
  return row;
}

Written commented(size_t length) {
  static std::string text;
  Written row = {[length](Wanted& w) {
    text.assign(length, 'x');
    w.info.text3 = text.data();
  }};
  row.says = {"description " + (length <= 65533 ? std::string(length, 'x') : "unknown")};
  if (length > 65533) row.reports = {"warning: out: a description of more than 65533 bytes cannot be stored"};
  return row;
}

std::vector<Written> written() {
  constexpr const char* kNotStored = "warning: out: the pixel aspect ratio cannot be stored";
  return {subsampled(0, "1x1 1x1 1x1"),
          subsampled(1, "2x1 1x1 1x1"),
          subsampled(2, "2x2 1x1 1x1"),
          stretched(3, 1, true),
          stretched(1, 16 / 15.0F, true),
          stretched(4, 2, false),
          stretched(3, -1, false, kNotStored),
          stretched(3, 1e9F, false, kNotStored),
          commented(65533),
          commented(65534)};
}

constexpr const char* kAction = "jpeg cannot handle the requested action";

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
    .refusals =
        {
            {kAction, [](Wanted& w) { w.color(2, 8); }},
            {"jpeg cannot handle matte channel type", [](Wanted& w) { w.matte(1, 8); }},
            {"jpeg cannot handle auxiliary channel type", [](Wanted& w) { w.aux(1, 8); }},
            {"jpeg cannot handle image channel width", [](Wanted& w) { w.color(3, 7); }},
            {"jpeg cannot handle image channel width", [](Wanted& w) { w.color(3, 16); }},
            {"jpeg cannot handle image channel type", [](Wanted& w) { w.color(3, 32, ORB_C_FLOAT); }},
            {"a JPEG's sides are at most 65500 pixels", [](Wanted& w) { w.window(0, 65500, 0, 1); }},
            {kAction, [](Wanted& w) { w.set(kQuality, 0); }},
            {kAction, [](Wanted& w) { w.set(kQuality, 101); }},
            {kAction, [](Wanted& w) { w.set(kSubsampling, 3); }},
        },
    .known = known,
    .written = written,
    .look = look};
ORB_TEST_CONFORMANCE(kJpeg);

struct Encoded {
  std::string bytes;
  Planes given;
};

Encoded write(int channels, Settings settings) {
  Wanted wanted("jpeg", "out", 21, 13);
  wanted.color(channels, 8).settings = std::move(settings);
  Planes planes(static_cast<size_t>(channels));
  for (int y = 0; y < 13; ++y) {
    for (int x = 0; x < 21; ++x) {
      for (int c = 0; c < channels; ++c) planes[static_cast<size_t>(c)].push_back(smooth(x, y, c));
    }
  }
  EXPECT_EQ(write_all(wanted.open(), planes), 0);
  return {load("out"), planes};
}

uint64_t largest_difference(const Planes& a, const Planes& b) {
  uint64_t largest = 0;
  for (size_t c = 0; c < a.size(); ++c) {
    for (size_t i = 0; i < a[c].size(); ++i) {
      largest = std::max(largest, a[c][i] > b[c][i] ? a[c][i] - b[c][i] : b[c][i] - a[c][i]);
    }
  }
  return largest;
}

TEST_F(JpegTest, what_is_written_is_near_the_picture_for_others_and_for_us) {
  const struct {
    int channels;
    J_COLOR_SPACE space;
  } rows[] = {{1, JCS_GRAYSCALE}, {3, JCS_RGB}, {4, JCS_CMYK}};
  for (const auto& row : rows) {
    const Encoded written = write(row.channels, {{kQuality, 100}});
    const Planes seen = decode(written.bytes, row.space);
    ASSERT_EQ(seen.size(), written.given.size());
    EXPECT_LE(largest_difference(row.channels == 4 ? inverted(seen) : seen, written.given), 4U);
    EXPECT_LE(largest_difference(read_all(*open_read("jpeg", "out")), written.given), 4U);
  }
}

TEST_F(JpegTest, quality_reaches_the_file_and_samples_count_as_changed_until_it_is_chosen) {
  EXPECT_LT(write(3, {{kQuality, 5}}).bytes.size(), write(3, {{kQuality, 100}}).bytes.size());
  EXPECT_EQ(write(3, {}).bytes, write(3, {{kQuality, 90}, {kSubsampling, 0}}).bytes);
  const std::pair<Settings, bool> rows[] = {
      {{}, true}, {{{kSubsampling, 1}}, true}, {{{kQuality, 100}}, false}};
  for (const auto& [settings, is_lossy] : rows) {
    Wanted wanted("jpeg", "out", 2, 2);
    wanted.color(1, 8).settings = settings;
    EXPECT_EQ((wanted.open()->info.word_e & ORB_LOSSY_SAMPLES) != 0, is_lossy);
  }
}

}  // namespace
}  // namespace orb::testing
