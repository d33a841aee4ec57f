// What an OpenEXR file can and cannot be, against the format's own library, for the tests of all formats.
#include <ImfChannelList.h>
#include <ImfChromaticitiesAttribute.h>
#include <ImfDeepScanLineOutputFile.h>
#include <ImfIntAttribute.h>
#include <ImfOutputFile.h>
#include <ImfPartType.h>
#include <ImfRationalAttribute.h>
#include <ImfStandardAttributes.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "oracle.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

std::string file_of(const std::vector<Stored>& parts) {
  save_exr("made.exr", parts);
  return load("made.exr");
}

std::string small_file(int tile) {
  return file_of({{.display = {{0, 0}, {8, 6}},
                   .data = {{0, 0}, {8, 6}},
                   .channels = {{"R"}, {"G"}, {"B"}, {"id", Imf::UINT}},
                   .tile = tile}});
}

// A file that the format's own library declares, without samples.
template <class File>
std::string declared(const Imf::Channel& channel, const std::string& type) {
  Imf::Header header(4, 4);
  header.channels().insert("Z", channel);
  header.setType(type);
  header.compression() = Imf::ZIPS_COMPRESSION;
  { const File file("made.exr", header); }
  return load("made.exr");
}

std::vector<Example> examples() { return {{small_file(0)}, {small_file(6)}}; }

// Replaces what stands behind an attribute's name, type and length in the first header.
std::string with_value(std::string file, const std::string& name, const std::string& type,
                       const std::string& value) {
  const size_t at = file.find(name + '\0' + type + '\0');
  if (at == std::string::npos) std::abort();
  return file.replace(at + name.size() + type.size() + 2 + 4, value.size(), value);
}

std::string box(std::initializer_list<int32_t> corners) {
  std::string bytes;
  for (const int32_t number : corners) bytes.append(reinterpret_cast<const char*>(&number), 4);
  return bytes;
}

std::vector<Damaged> damaged() {
  constexpr int32_t kHuge = 0x3FFFFFFF;
  const auto with_window = [](const char* window, std::initializer_list<int32_t> corners) {
    return Damaged{with_value(small_file(0), window, "box2i", box(corners)), 0, ""};
  };
  std::vector<Damaged> rows = {
      with_window("dataWindow", {0, 0, kHuge, 6}),
      with_window("dataWindow", {0, 0, 8, kHuge}),
      with_window("dataWindow", {-kHuge, -kHuge, kHuge, kHuge}),
      with_window("dataWindow", {8, 6, 0, 0}),
      with_window("displayWindow", {INT32_MIN, 0, INT32_MAX, 6}),
      with_window("displayWindow", {0, INT32_MAX - 1, 8, INT32_MAX}),
      {with_value(small_file(6), "tiles", "tiledesc", box({kHuge, kHuge})), 0, ""},
      {with_value(small_file(6), "tiles", "tiledesc", box({0, 0})), 0, ""},
      {with_value(small_file(0), "compression", "compression", "\x77"), 0, ""},
      {with_value(small_file(0), "channels", "chlist", std::string(1, '\0')), 0, ""},
      {small_file(0).substr(0, 4), 0, ""},
      {"", ORB_E_FORMAT, ""},
      {"P5 1 1 255 x", ORB_E_FORMAT, ""},
      // A description has no place for these.
      {declared<Imf::DeepScanLineOutputFile>(Imf::Channel(Imf::FLOAT), Imf::DEEPSCANLINE), ORB_E_HANDLE,
       "deep data"},
      {declared<Imf::OutputFile>(Imf::Channel(Imf::FLOAT, 2, 2), Imf::SCANLINEIMAGE), ORB_E_HANDLE,
       "subsampled"},
      {file_of({{.channels = {{"Y"}, {"RY"}, {"BY"}}}}), ORB_E_HANDLE, "luminance and chroma"}};
  if (!core_has_dwa())
    rows.push_back({file_of({{.compression = Imf::DWAA_COMPRESSION}}), ORB_E_HANDLE, "dwaa"});
  return rows;
}

std::vector<Limited> limited() {
  return {{file_of({{.name = "one"}, {.name = "two"}}), ORB_LIMIT_IMAGES, 2},
          {small_file(0), ORB_LIMIT_CHANNELS, 4}};
}

// ---- What is read

// What is said of the halves in a file.
constexpr const char* kAllHalves = "in: its samples are halves (setting samples: half)";
constexpr const char* kHalfColours = "in: its colours and mattes are halves (setting samples: half-colours)";
constexpr const char* kSomeHalves = "in: some of its channels are halves";

// These channels of a part of the file made last, lines in its order; with doubles, those behind the fourth are of
// that type.
Planes planes_of(const std::vector<std::string>& names, bool has_doubles = false, int part = 0) {
  const Loaded loaded = load_exr("made.exr", part);
  Planes planes;
  for (const std::string& name : names) {
    planes.push_back(loaded.samples.at(name));
    std::vector<uint64_t>& plane = planes.back();
    const bool is_integer = loaded.header.channels()[name.c_str()].type == Imf::UINT;
    for (uint64_t& bits : plane) {
      if (!has_doubles || planes.size() <= 4) break;
      const auto narrow = static_cast<uint32_t>(bits);
      const double wide = is_integer ? static_cast<double>(narrow) : double{std::bit_cast<float>(narrow)};
      bits = std::bit_cast<uint64_t>(wide);
    }
    if (loaded.header.lineOrder() != Imf::DECREASING_Y) continue;
    std::reverse(plane.begin(), plane.end());
    for (size_t line = 0; line < plane.size(); line += 37)
      std::reverse(plane.begin() + static_cast<ptrdiff_t>(line),
                   plane.begin() + static_cast<ptrdiff_t>(line) + 37);
  }
  return planes;
}

void add_every_storage(std::vector<Known>& rows) {
  const struct {
    Imf::LineOrder order;
    int tile;
    bool has_levels;
    const char* says;
  } storages[] = {{Imf::INCREASING_Y, 0, false, "rows downward"},
                  {Imf::DECREASING_Y, 0, false, "rows upward"},
                  {Imf::INCREASING_Y, 15, false, "rows downward"},
                  {Imf::RANDOM_Y, 64, true, "rows downward"}};
  for (int compression = 0; compression < (core_has_dwa() ? 10 : 8); ++compression) {
    for (const auto& storage : storages) {
      std::vector<std::string> remarks(storage.has_levels ? 1 : 0, "in: only its largest level is read");
      remarks.emplace_back(kHalfColours);
      rows.push_back(
          {file_of({{.channels = {{"A"}, {"B"}, {"G"}, {"R"}, {"Z", Imf::FLOAT}, {"id", Imf::UINT}},
                     .compression = static_cast<Imf::Compression>(compression),
                     .order = storage.order,
                     .tile = storage.tile,
                     .has_levels = storage.has_levels}}),
           {storage.says, std::string("storage ") + kCompressions[compression]},
           std::move(remarks),
           planes_of({"R", "G", "B", "A", "Z", "id"}, true)});
    }
  }
}

// Channels find their groups by name and kind.
void add_groups(std::vector<Known>& rows) {
  constexpr auto kHalf = Imf::HALF;
  constexpr auto kUint = Imf::UINT;
  constexpr auto kFloat = Imf::FLOAT;
  const struct {
    std::vector<StoredChannel> channels;
    std::vector<std::string> says;
    std::vector<std::string> remarks;
  } kinds[] = {
      {{{"R", kHalf}, {"G", kFloat}, {"B", kHalf}, {"A", kHalf}},
       {"color 3x32 float", "matte 1x32 float", "aux 0"},
       {kSomeHalves}},
      {{{"Y", kHalf}, {"Z", kFloat}}, {"color 1x32 float", "matte 0", "aux 1x32 float Z"}, {kHalfColours}},
      {{{"Y", kFloat}, {"Z", kHalf}}, {"color 1x32 float", "aux 1x32 float Z"}, {kSomeHalves}},
      {{{"R", kHalf}, {"G", kHalf}, {"B", kUint}}, {"color 0", "aux 3x64 double B:uint,G,R"}, {kAllHalves}},
      {{{"R", kUint}, {"G", kUint}, {"B", kUint}, {"id", kUint}}, {"color 3x32", "aux 1x32 id"}, {}},
      {{{"AR", kHalf}, {"AG", kHalf}, {"AB", kHalf}}, {"color 0", "matte 3x32 float", "aux 0"}, {kAllHalves}},
      {{{"A", kHalf}, {"AR", kHalf}, {"AG", kHalf}, {"AB", kHalf}},
       {"color 0", "matte 1x32 float", "aux 3x32 float AB,AG,AR"},
       {kAllHalves}},
      {{{"k.R", kHalf}, {"k.G", kHalf}, {"k.B", kHalf}, {"k.A", kHalf}},
       {"color 3x32 float k.R,k.G,k.B", "matte 1x32 float k.A"},
       {kAllHalves}},
      {{{"R", kHalf}, {"G", kHalf}, {"B", kHalf}, {"k.R", kHalf}},
       {"color 3x32 float", "aux 1x32 float k.R"},
       {kAllHalves}},
      {{{"R", kHalf}, {"Y", kHalf}}, {"color 1x32 float", "aux 1x32 float R"}, {kAllHalves}},
      {{{"a,b:c\\", kFloat}}, {"color 0", "aux 1x32 float a\\,b\\:c\\\\"}, {}}};
  for (const auto& kind : kinds)
    rows.push_back({file_of({{.channels = kind.channels}}), kind.says, kind.remarks});
}

// Windows are where the file has them, counted upward.
void add_windows(std::vector<Known>& rows) {
  const auto add = [&rows](const Imath::Box2i& display, const Imath::Box2i& data,
                           std::vector<std::string> says, bool is_outside) {
    std::vector<std::string> remarks(is_outside ? 1 : 0, "in: there are samples outside");
    remarks.emplace_back(kAllHalves);
    rows.push_back({file_of({{.display = display, .data = data}}), std::move(says), std::move(remarks),
                    planes_of({"R", "G", "B"})});
  };
  const Imath::Box2i plain({0, 0}, {9, 19});
  add(plain, plain, {"window 0 9 0 19", "active 0 9 0 19", "picture 10 20", "origin 0 0"}, false);
  add(plain, {{2, 1}, {5, 4}}, {"window 0 9 0 19", "active 2 5 15 18", "picture 10 20"}, false);
  add({{-5, -7}, {4, 12}}, {{-5, -7}, {-5, -7}}, {"window -5 4 -7 12", "active -5 -5 12 12"}, false);
  add(plain, {{-3, -2}, {11, 20}}, {"window -3 11 -1 21", "active -3 11 -1 21", "picture 10 20"}, true);
  add({{1, 2}, {9, 19}}, {{3, 30}, {5, 33}},
      {"window 1 9 -12 19", "active 3 5 -12 -9", "picture 9 18", "origin 1 2"}, true);
}

// Parts are images, and attributes the description.
void add_parts(std::vector<Known>& rows) {
  const auto decorate = [](Imf::Header& header) {
    Imf::addComments(header, "two\nlines");
    Imf::addOwner(header, "studio");
    Imf::addCapDate(header, "2024:05:06 07:08:09");
    Imf::addFramesPerSecond(header, {24000, 1001});
    Imf::addChromaticities(header, {{0.7347F, 0.2653F}, {0, 1}, {0.0001F, -0.077F}, {0.32168F, 0.33767F}});
    header.insert("imageCounter", Imf::IntAttribute(1017));
    header.pixelAspectRatio() = 2;
  };
  const Stored first = {.data = {{1, 2}, {30, 20}}, .name = "beauty", .decorate = decorate};
  Stored second = {.data = {{0, 0}, {36, 20}}, .channels = {{"Z", Imf::FLOAT}}, .name = "depth"};
  second.compression = Imf::PIZ_COMPRESSION;
  second.decorate = [&decorate](Imf::Header& header) {
    decorate(header);
    Imf::addComments(header, "other");
    Imf::addExpTime(header, 0.5F);
    Imf::addFramesPerSecond(header, {24, 1});
  };
  rows.push_back(
      {file_of({first, second}),
       {"name beauty", "image 2 name depth", "description two\nlines", "user studio",
        "date 2024:05:06 07:08:09", "rate 23.976025", "frame 1017", "image 2 aspect 2", "gamma 1", "assumed",
        "primaries 73470 26530 0 0 100000 0 10 -7700 107690 32168 33767 34065"},
       {"in: part 1: its samples are halves", "in: part 2: attribute comments (string) is not kept",
        "in: part 2: attribute expTime (float) is not kept",
        "in: part 2: attribute framesPerSecond (rational) is not kept"},
       planes_of({"R", "G", "B"})});
  rows.back().planes.push_back(planes_of({"Z"}, false, 1)[0]);
  // What the first part does not declare is nobody's, though it be the default.
  const auto count = [](Imf::Header& header) {
    Imf::addFramesPerSecond(header, {2997, 100});
    header.insert("imageCounter", Imf::IntAttribute(1));
  };
  const std::vector<StoredChannel> depth = {{"Z", Imf::FLOAT}};
  rows.push_back(
      {file_of({{.channels = depth, .name = "one"}, {.channels = depth, .name = "two", .decorate = count}}),
       {"assumed primaries rate frame"},
       {"in: part 2: attribute framesPerSecond (rational) is not kept",
        "in: part 2: attribute imageCounter (int) is not kept"}});
}

std::vector<Known> known() {
  std::vector<Known> rows;
  for (const auto add : {add_every_storage, add_groups, add_windows, add_parts}) add(rows);
  return rows;
}

// ---- What is written

std::string look(const std::string& path) {
  const Imf::Header header = load_exr(path).header;
  std::string all;
  for (auto c = header.channels().begin(); c != header.channels().end(); ++c)
    all += c.name() + std::string(" ");
  return Imf::hasComments(header) ? all + Imf::comments(header) : all;
}

// Windows of images and the pictures they show, and where the first picture is.
struct Windows {
  ORB_WINDOW window, active;
  int32_t width, height;
};

Written placed(const std::vector<Windows>& images, std::vector<std::string> says, int32_t x = 0,
               int32_t y = 0) {
  const auto change = [images, x, y](Wanted& w) {
    for (const Windows& image : images) {
      ORB_IFD ifd = Wanted("", "", 1, 1).color(1, 32).ifd;
      ifd.window = image.window;
      ifd.active_window = image.active;
      ifd.pair_a[0] = image.width;
      ifd.pair_a[1] = image.height;
      w.more.push_back(ifd);
    }
    w.ifd = w.more[0];
    w.more.erase(w.more.begin());
    w.info.words[0] = x;
    w.info.words[1] = y;
  };
  Written row = {change, "", std::move(says)};
  if (x != 0) row.reports = {"out: there are samples outside"};  // of the picture
  return row;
}

void be_linear(Wanted& w) {
  w.color(1, 32, ORB_C_FLOAT).aux(1, 32, ORB_C_FLOAT);
  w.info.text3 = const_cast<char*>("two\nlines");
  w.ifd.aux.name = const_cast<char*>("fog, haze");
  w.info.word_e = 0;
  w.ifd.pixel_aspect = -1;
  w.info.frame_rate = 0;
}

void be_separate(Wanted& w) {
  w.color(3, 32, ORB_C_FLOAT).matte(1, 32, ORB_C_FLOAT).ifd.matte.name = const_cast<char*>("separate");
}

std::vector<Written> written() {
  return {{be_separate, "", {"matte 1x32 float separate"}, {"warning: out: the matte is named separate"}},
          {be_linear,
           "Y Z two\nlines",
           {"assumed rate", "gamma 1", "aspect 1", "storage zip", "aux 1x32 float fog, haze"},
           {"warning: out: the response curve is not stored", "warning: out: the pixel aspect ratio",
            "warning: out: the frame rate"}},
          placed({{{-5, 4, -7, 12}, {-1, 2, -7, 3}, 10, 20}},
                 {"window -5 4 -7 12", "active -1 2 -7 3", "picture 10 20"}),
          placed({{{-3, 11, -1, 21}, {-3, 11, -1, 21}, 8, 10}},
                 {"window -3 11 -1 21", "picture 8 10", "origin 1 2"}, 1, 2),
          placed({{{-12, 9, -12, 19}, {-12, 5, -12, -9}, 9, 18}},
                 {"window -12 9 -12 19", "active -12 5 -12 -9", "picture 9 18"}, 1, 2),
          // A pyramid, and an image elsewhere.
          placed({{{0, 9, 0, 19}, {0, 9, 0, 19}, 10, 20},
                  {{0, 4, 0, 9}, {0, 4, 0, 9}, 5, 10},
                  {{-40, -20, 50, 60}, {-30, -29, 51, 52}, 21, 11}},
                 {"image 2 window 0 4 0 9", "image 2 picture 5 10", "image 3 window -40 -20 50 60",
                  "image 3 active -30 -29 51 52"})};
}

constexpr const char* kAction = "exr cannot handle the requested action";

const Format kExr = {
    .key = "exr",
    .modules = {EXR_MODULE},
    .traits = kKeepsDescription | kKeepsTexts | kKeepsPrimaries | kKeepsRate | kKeepsFrame | kKeepsField |
              kKeepsPlace | kSettlesDates,
    .signature_bytes = 4,
    .cut_codes = {ORB_E_FORMAT, ORB_E_READ, ORB_E_DECODE},
    .examples = examples,
    .damaged = damaged,
    .limited = limited,
    .layouts = {{3, 0, 0, 32, 32, ORB_C_FLOAT},
                {1, 0, 0, 32, 32},
                {3, 1, 0, 32, 32},
                {3, 1, 2, 32, 32, ORB_C_FLOAT}},
    .refusals =
        {
            {kAction, [](Wanted& w) { w.color(2, 32, ORB_C_FLOAT); }},
            {kAction, [](Wanted& w) { w.matte(2, 32, ORB_C_FLOAT); }},
            {kAction, [](Wanted& w) { w.aux(40000, 32, ORB_C_FLOAT); }},
            {kAction, [](Wanted& w) { w.ifd.active_window.right = 99; }},
            {kAction, [](Wanted& w) { w.set(kCompression, 10); }},
            {kAction, [](Wanted& w) { w.set(kSamples, 3); }},
            {"exr cannot handle image channel width", [](Wanted& w) { w.color(3, 8); }},
            {"exr cannot handle image channel type", [](Wanted& w) { w.color(3, 64, ORB_C_DOUBLE); }},
            {"exr cannot handle matte channel width", [](Wanted& w) { w.matte(1, 16); }},
            {"exr cannot handle auxiliary channel type", [](Wanted& w) { w.aux(1, 64, ORB_C_DOUBLE); }},
        },
    .known = known,
    .written = written,
    .look = look};
ORB_TEST_CONFORMANCE(kExr);

TEST_F(ExrTest, a_damaged_chunk_leaves_the_others_readable) {
  save_exr("in.exr", {{}});
  std::string file = load("in.exr");
  // 41 lines are chunks of 16, 16 and 9; the last one's bytes end the file.
  save("in.exr", file.replace(file.size() - 60, 40, 40, '\x55'));
  const Image image = open_read("exr", "in.exr");
  ASSERT_TRUE(image) << reports.texts();
  EXPECT_TRUE(read_row(*image, 40));
  for (const int32_t line : {3, 2}) {
    reports.clear();
    EXPECT_FALSE(read_row(*image, line));
    EXPECT_EQ(orb__err, ORB_E_DECODE);
    EXPECT_EQ(errors(), 1U) << reports.texts();
    EXPECT_THAT(reports.texts(), HasSubstr("scanline " + std::to_string(line)));
  }
  EXPECT_TRUE(read_row(*image, 10)) << reports.texts();
}

}  // namespace
}  // namespace orb::testing
