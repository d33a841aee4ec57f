// What the family can and cannot hold, against files written by hand, for the tests of all formats.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <thread>

#include "orbbase/registry.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;
using namespace std::string_literals;

constexpr uint16_t kEncoding = 2;
constexpr uint16_t kKind = 3;

const std::vector<const char*> kModules = {pnm_MODULE, pbm_MODULE, pgm_MODULE,
                                           ppm_MODULE, pam_MODULE, pfm_MODULE};

// The kind that names its planes; of tuple types, several lines.
std::string pam(int width, int height, int depth, int maximum, const std::string& type,
                const std::string& samples) {
  std::string file = "P7\nWIDTH " + std::to_string(width) + "\nHEIGHT " + std::to_string(height) +
                     "\nDEPTH " + std::to_string(depth) + "\nMAXVAL " + std::to_string(maximum) + "\n";
  if (!type.empty()) file += "TUPLTYPE " + type + "\n";
  return file + "ENDHDR\n" + samples;
}

std::vector<Example> examples() {
  return {{"P4 9 2\n\xA5\x80\x5A\0"s},     {"P1 3 2\n010\n101", true},
          {"P5 # x\n2 2 65535\nabcdefgh"}, {"P2 3 2 7 0 1 2 3 4 5", true},
          {"P6 1 2 255\nabcdef"},          {"P3 1 2 7\n0 1 2 3 4 5", true},
          {"Pf 1 2 1.0\nabcdefgh"},        {pam(1, 2, 2, 255, "GRAYSCALE_ALPHA", "abcd")}};
}

std::vector<Damaged> damaged() {
  const std::string largest = pam(INT32_MAX, INT32_MAX, INT32_MAX, 65535, "", "x");
  const std::string too_few = pam(1, 1, 3, 255, "RGB_ALPHA", "abc");
  return {{"", ORB_E_FORMAT, "in: This does not appear to be a PNM file; the file is empty"},
          {"P", ORB_E_FORMAT, "the file is shorter than a header"},
          {"GIF89a", ORB_E_FORMAT, "it begins with other bytes"},
          {"P7 332\n", ORB_E_FORMAT, "it begins with other bytes"},
          {"P5 0 1 255\nx", ORB_E_FORMAT, "its width is 0, and may be 1 to 2147483647"},
          {"P5 1 -1 255\nx", ORB_E_FORMAT, "its height is -1, and may be 1 to 2147483647"},
          {"P5 1 2147483648 255\nx", ORB_E_FORMAT, "its height is 2147483648, and may be 1 to 2147483647"},
          {"P5 1x 1 255\nx", ORB_E_FORMAT, "its width is not a number"},
          {"P5 " + std::string(10000, '9') + " 1 255\nx", ORB_E_FORMAT,
           "a number in its header has too many digits"},
          {"P5 1 1 65536\nxx", ORB_E_FORMAT, "its maximum sample is 65536, and may be 1 to 65535"},
          {"P5 1 1 0\nxx", ORB_E_FORMAT, "its maximum sample is 0, and may be 1 to 65535"},
          {"P5 1 1 200\nx", ORB_E_HANDLE,
           "in: its maximum sample is 200, which is not that of a width in bits (1, 3, 7 ... 65535)"},
          {"P5 #" + std::string(70000, 'x'), ORB_E_FORMAT, "its header does not end"},
          {"P5 " + std::string(70000, ' '), ORB_E_FORMAT, "its header does not end"},
          {"P5 2 2 255\nabc", ORB_E_READ, "the file ends too early: 3 bytes are there for 2 rows of 2"},
          {"P6 2147483647 2147483647 65535\nabc", ORB_E_READ, "for 2147483647 rows of 12884901882"},
          {"P3 2147483647 2147483647 65535\nabc", ORB_E_READ, "for 2147483647 rows of 12884901881"},
          {largest, ORB_E_READ, "1 bytes are there for 2147483647 rows of 9223372028264841218"},
          {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nENDHDR\nx", ORB_E_FORMAT, "lacks a size or the maximum sample"},
          {"P7\nWIDTH 1\nWIDTH 1\n", ORB_E_FORMAT, "its header says something twice"},
          {"P7\nWITH 1\n", ORB_E_FORMAT, "its header has a line with an unknown word"},
          {"P7\n" + std::string(300, 'x') + "\n", ORB_E_FORMAT, "a line of its header is too long"},
          {too_few, ORB_E_FORMAT, "it has fewer planes than its tuple type needs"},
          {"Pf 1 1 0\nabcd", ORB_E_FORMAT, "its scale is not a number other than 0"},
          {"Pf 1 1 nan\nabcd", ORB_E_FORMAT, "its scale is not a number other than 0"},
          {"Pf 1 1 -2.5\nabcd", ORB_E_HANDLE,
           "in: its scale is -2.5, and only 1 and -1 leave the samples as they are stored"},
          {"P5 1 1 255\nxP5 1 1 ", ORB_E_READ, "the file ends too early"},
          {"P5 1 1 255\nxP5 1 9 255\nx", ORB_E_READ, "1 bytes are there for 9 rows of 1"},
          {"P2 1 2 255\n1 256", ORB_E_DECODE, "in: scanline 0: a sample is above the file's maximum"},
          {"P2 1 2 255\n1 99999999999", ORB_E_DECODE, "in: scanline 0: a sample is above the file's maximum"},
          {"P5 1 2 15\n\1\x10", ORB_E_DECODE, "in: scanline 0: a sample is above the file's maximum"},
          {"P5 1 2 1023\n\1\1\4\1", ORB_E_DECODE, "in: scanline 0: a sample is above the file's maximum"},
          {"P2 1 2 255\n1 00000000000000000000001", ORB_E_DECODE, "scanline 0: something else than a number"},
          {"P2 1 2 255\n1 x", ORB_E_DECODE, "scanline 0: something else than a number"},
          {"P2 1 2 255\n1 2x", ORB_E_DECODE, "scanline 0: something else than a number"},
          {"P1 1 2\n1 2", ORB_E_DECODE, "scanline 0: something else than a number"}};
}

std::vector<Limited> limited() {
  const std::string wide = "P6 1000 1 65535\n" + std::string(6000, 'x');
  return {{wide, ORB_LIMIT_BUFFER, 6000},
          {wide, ORB_LIMIT_HANDLE, 12000},
          {pam(1, 1, 70000, 255, "", std::string(70000, 'x')), ORB_LIMIT_CHANNELS, 70000},
          {"P5 1 1 255\naP5 1 1 255\nbP5 1 1 255\nc", ORB_LIMIT_IMAGES, 3}};
}

// Of one module of the family.
Layout of(const char* key, int colours, int mattes, int auxes, int least_bits, int most_bits) {
  const uint32_t type = most_bits == 32 ? ORB_C_FLOAT : ORB_C_INTEGER;
  return {colours, mattes, auxes, least_bits, most_bits, type, {}, key};
}

// ---- What is read

// A file and what it holds.
Known held(const std::string& file, int colours, int mattes, int auxes, int bits, Planes planes,
           const std::vector<std::string>& reports = {}) {
  Known row = {file, {}, reports};
  for (const auto& [name, count] : {std::pair{"color ", colours}, {"matte ", mattes}, {"aux ", auxes}}) {
    const std::string width = count > 0 ? "x" + std::to_string(bits) : "";
    row.says.push_back(name + std::to_string(count) + width + (bits == 32 && count > 0 ? " float" : ""));
  }
  row.planes = std::move(planes);
  return row;
}

std::vector<Known> known() {
  return {
      // Set bits are black: 0. The last row's fill bits are anything.
      held("P4 9 2\n\xA5\x80\x5A\x7F"s, 1, 0, 0, 1, {{0, 1, 0, 1, 1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 0, 1, 1}}),
      held("P1\n3 2 10 1\n0 #1\n1\t0", 1, 0, 0, 1, {{0, 1, 0, 1, 0, 1}}),
      held("P5\n2\n2\n255\n\n #~"s, 1, 0, 0, 8, {{'\n', ' ', '#', '~'}}),
      held("P5#a\n1 2#b\n7#c\n\1\7"s, 1, 0, 0, 3, {{1, 7}}),
      held("P5 2 1 65535\n\1\2\xFE\xFF"s, 1, 0, 0, 16, {{0x102, 0xFEFF}}),
      held("P5 2 1 511\n\0\2\1\xFF"s, 1, 0, 0, 9, {{2, 511}}),
      held("P2 2 2 1023 0 1 0001023\r\n7", 1, 0, 0, 10, {{0, 1, 1023, 7}}),
      held("P6 2 1 255\nabcdef", 3, 0, 0, 8, {{'a', 'd'}, {'b', 'e'}, {'c', 'f'}}),
      held("P3 1 2 15\n0 1 2\n13 14 15\n", 3, 0, 0, 4, {{0, 13}, {1, 14}, {2, 15}}),
      held(pam(1, 2, 1, 1, "BLACKANDWHITE", "\0\1"s), 1, 0, 0, 1, {{0, 1}}),
      held("P7\n#x\nMAXVAL 255\n\n DEPTH\t2 \nHEIGHT 1\nWIDTH 2\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\nabcd", 1,
           1, 0, 8, {{'a', 'c'}, {'b', 'd'}}),
      held(pam(1, 1, 4, 65535, "RGB_ALPHA", "\0\1\0\2\0\3\0\4"s), 3, 1, 0, 16, {{1}, {2}, {3}, {4}}),
      held(pam(1, 1, 4, 255, "RGB", "abcd"), 3, 0, 1, 8, {{'a'}, {'b'}, {'c'}, {'d'}}),
      held(pam(1, 1, 2, 255, "", "ab"), 1, 0, 1, 8, {{'a'}, {'b'}}),
      held(pam(1, 1, 5, 255, "some\nTUPLTYPE thing", "abcde"), 3, 0, 2, 8,
           {{'a'}, {'b'}, {'c'}, {'d'}, {'e'}},
           {"warning: in: the tuple type some thing is not known; its planes are taken for 3 of colour and "
            "2"}),
      // From the bottom up, as the rows are given.
      held("Pf\n1 2\n-1.0\n\0\0\x80\x3F\1\0\xC0\x7F"s, 1, 0, 0, 32, {{0x3F800000, 0x7FC00001}}),
      held("PF 1 1 1\n\x3F\x80\0\0\0\0\0\1\xFF\x80\0\0"s, 3, 0, 0, 32, {{0x3F800000}, {1}, {0xFF800000}}),
      // Raw pictures behind the first are further images.
      {"P5 2 1 255\nabP6#no\n1 2 255\nabcdefPf 1 1 -1\n\0\0\0\x40"s,
       {"color 1x8", "image 2 color 3x8", "image 3 color 1x32 float"},
       {"in: the comments of further pictures are not kept"},
       {{'a', 'b'}, {'a', 'd'}, {'b', 'e'}, {'c', 'f'}, {0x40000000}}},
      {"P5 1 1 255\nx\n", {}, {"warning: in: the 1 bytes behind the picture are not kept"}},
      {"P2 1 1 255\n9\n P5", {}, {"warning: in: what stands behind the picture is not kept"}},
      {"P2 1 1 255\n9\n \n"},
      {"P5\n# first\n#second\n1 #  third\n1\n#\n255\nx", {"description first\nsecond\n third\n"}}};
}

// ---- What is written

struct Groups {
  const char* key;
  int colours, mattes, auxes, bits;
};

// These samples make this file.
Written stored(const Groups& of, int width, int height, const Settings& settings, Planes planes,
               const std::string& file) {
  Written row = {[of, width, height, settings](Wanted& w) {
    w.of(of.key).color(of.colours, of.bits, of.bits == 32 ? ORB_C_FLOAT : ORB_C_INTEGER);
    w.matte(of.mattes, of.bits).aux(of.auxes, of.bits).window(0, width - 1, 0, height - 1);
    w.settings = settings;
  }};
  row.seen = "[" + file + "]";
  row.planes = std::move(planes);
  return row;
}

Written commented(const char* key, const std::string& text, bool is_kept, bool is_refused = false) {
  Written row = {[key, lent = text](Wanted& w) mutable { w.of(key).color(1, 8).info.text3 = lent.data(); }};
  row.says = {"description " + (is_kept ? text : "unknown")};
  if (is_refused) row.reports = {"warning: out: the description cannot be stored"};
  return row;
}

std::vector<Written> written() {
  return {stored({"pbm", 1, 0, 0, 1}, 9, 1, {}, {{0, 1, 0, 1, 1, 0, 1, 0, 0}}, "P4\n9 1\n\xA5\x80"s),
          stored({"pbm", 1, 0, 0, 1}, 2, 2, {{kEncoding, 1}}, {{0, 1, 1, 0}}, "P1\n2 2\n10\n01\n"),
          stored({"pgm", 1, 0, 0, 3}, 2, 1, {}, {{1, 7}}, "P5\n2 1\n7\n\1\7"),
          stored({"pgm", 1, 0, 0, 12}, 2, 1, {}, {{1, 4095}}, "P5\n2 1\n4095\n\0\1\x0F\xFF"s),
          stored({"ppm", 3, 0, 0, 16}, 1, 2, {{kEncoding, 1}}, {{1, 4}, {2, 5}, {3, 65535}},
                 "P3\n1 2\n65535\n1 2 3\n4 5 65535\n"),
          stored({"ppm", 3, 0, 0, 8}, 1, 1, {}, {{'a'}, {'b'}, {'c'}}, "P6\n1 1\n255\nabc"),
          stored({"pnm", 1, 0, 0, 1}, 1, 1, {}, {{1}}, "P4\n1 1\n\0"s),
          stored({"pnm", 1, 0, 0, 1}, 1, 1, {{kKind, 2}}, {{1}}, "P5\n1 1\n1\n\1"),
          stored({"pnm", 1, 0, 0, 1}, 1, 1, {{kKind, 4}}, {{1}}, pam(1, 1, 1, 1, "BLACKANDWHITE", "\1")),
          stored({"pam", 3, 1, 0, 8}, 1, 1, {}, {{'a'}, {'b'}, {'c'}, {'d'}},
                 pam(1, 1, 4, 255, "RGB_ALPHA", "abcd")),
          stored({"pam", 4, 1, 0, 1}, 1, 1, {}, {{0}, {1}, {0}, {1}, {1}},
                 pam(1, 1, 5, 1, "CMYK_ALPHA", "\0\1\0\1\1"s)),
          stored({"pam", 0, 1, 2, 8}, 1, 1, {}, {{'a'}, {'b'}, {'c'}},
                 pam(1, 1, 3, 255, "COLOR_0_MATTE_1_AUX_2", "abc")),
          stored({"pfm", 1, 0, 0, 32}, 1, 2, {}, {{0x3F800000, 0x40000000}},
                 "Pf\n1 2\n-1.0\n\0\0\x80\x3F\0\0\0\x40"s),
          commented("pgm", "first\nsecond\n third\n", true),
          commented("pam", "\n\nx", true),
          commented("pgm", "a\rb", false, true),  // a reader would end the comment there
          commented("pgm", std::string(70000, 'x'), false, true),
          commented("pgm", std::string(30000, '\n'), false, true),
          commented("pgm", "unknown", false),
          commented("pgm", "", false)};
}

std::string look(const std::string& path) { return "[" + load(path) + "]"; }

constexpr const char* kAction = "pnm cannot handle the requested action";

const Format kPnm =
    {.key = "pnm",
     .modules = kModules,
     .traits = kKeepsDescription | kReadsPipes,
     .signature_bytes = 3,
     .cut_codes = {ORB_E_FORMAT, ORB_E_READ, ORB_E_HANDLE},
     .examples = examples,
     .damaged = damaged,
     .limited = limited,
     .layouts = {{1, 0, 0, 1, 16},
                 {3, 0, 0, 1, 16, ORB_C_INTEGER, {{kEncoding, 1}}},
                 of("pbm", 1, 0, 0, 1, 1),
                 of("pgm", 1, 0, 0, 1, 16),
                 of("ppm", 3, 0, 0, 1, 16),
                 of("pam", 1, 1, 0, 1, 16),
                 of("pam", 3, 1, 0, 1, 16),
                 of("pam", 3, 0, 2, 8, 9),
                 of("pam", 2, 0, 0, 8, 8),
                 of("pam", 0, 0, 1, 8, 8),
                 of("pam", 5, 3, 2, 16, 16),
                 of("pfm", 1, 0, 0, 32, 32),
                 of("pfm", 3, 0, 0, 32, 32),
                 {1, 0, 0, 1, 16, ORB_C_INTEGER, {{kEncoding, 1}}}},
     .refusals =
         {
             {"pbm cannot handle image channel width", [](Wanted& w) { w.of("pbm").color(1, 2); }},
             {"pbm cannot handle the requested action", [](Wanted& w) { w.of("pbm").color(3, 1); }},
             {"pgm cannot handle the requested action", [](Wanted& w) { w.of("pgm").color(3, 8); }},
             {"pgm cannot handle image channel width", [](Wanted& w) { w.of("pgm").color(1, 17); }},
             {"pgm cannot handle image channel type",
              [](Wanted& w) { w.of("pgm").color(1, 32, ORB_C_FLOAT); }},
             {"ppm cannot handle matte channel type", [](Wanted& w) { w.of("ppm").color(3, 8).matte(1, 8); }},
             {"ppm cannot handle auxiliary channel type",
              [](Wanted& w) { w.of("ppm").color(3, 8).aux(1, 8); }},
             {"pfm cannot handle image channel type", [](Wanted& w) { w.of("pfm").color(3, 16); }},
             {"pam cannot handle image channel width",
              [](Wanted& w) { w.of("pam").color(3, 17).matte(1, 17); }},
             {"pam cannot handle image channel type",
              [](Wanted& w) { w.of("pam").color(3, 64, ORB_C_DOUBLE); }},
             // Two widths have no common maximum.
             {"pam cannot handle matte channel width",
              [](Wanted& w) { w.of("pam").color(3, 8).matte(1, 16); }},
             {kAction, [](Wanted& w) { w.color(2, 8); }},
             {kAction, [](Wanted& w) { w.color(3, 8).set(kKind, 2); }},
             {kAction, [](Wanted& w) { w.color(3, 8).set(kKind, 6); }},
             {kAction, [](Wanted& w) { w.set(kKind, 4).set(kEncoding, 1); }},
             {"pgm cannot handle the requested action", [](Wanted& w) { w.of("pgm").set(kEncoding, 2); }},
         },
     .known = known,
     .written = written,
     .look = look};
ORB_TEST_CONFORMANCE(kPnm);

class PnmTest : public FormatTest {
 protected:
  PnmTest() : FormatTest(kModules) {}
};

TEST_F(PnmTest, any_member_reads_any_kind) {
  for (const Known& row : known()) {
    save("in", row.bytes);
    EXPECT_EQ(read_whole("ppm", "in"), 0) << row.bytes;
  }
}

TEST_F(PnmTest, a_matte_is_separate_and_needs_no_name_for_that) {
  const struct {
    std::string name;
    bool is_kept;
    const char* report;
  } rows[] = {{"separate", true, ""},
              {"associated", false, "out: the matte is named associated; the format's colours are taken as "},
              {"hold-out", false, ""}};
  for (auto row : rows) {
    reports.clear();
    Wanted wanted("pam", "out", 1, 1);
    wanted.color(3, 8).matte(1, 8).ifd.matte.name = row.name.data();
    const Image image = wanted.open();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->info.images[0].matte.name != nullptr, row.is_kept) << row.name;
    EXPECT_THAT(reports.texts(), StartsWith(row.report));
    EXPECT_EQ(reports.texts().empty(), *row.report == '\0') << reports.texts();
  }
}

TEST_F(PnmTest, lines_of_text_end_within_70_characters) {
  for (const int bits : {1, 8, 16}) {
    Wanted wanted("pnm", "out", 211, 3);
    ASSERT_EQ(write_all(wanted.color(1, bits).set(kEncoding, 1).open(), noise(1, bits, 633)), 0);
    const std::string text = load("out");
    for (size_t at = 0, end = 0; at < text.size(); at = end + 1) {
      end = text.find('\n', at);
      ASSERT_NE(end, std::string::npos);
      EXPECT_LE(end - at, 70U);
    }
  }
}

TEST_F(PnmTest, a_stream_is_read_in_order_and_a_cut_one_fails_its_row) {
  const struct {
    std::string file;
    int32_t code;
    const char* reason;
  } rows[] = {{"P5 1 2 255\na", ORB_E_READ, "scanline 0: the file ends too early"},
              {"P5 1 1 255\naP5 1 1 255\nb", 0, "what stands behind the picture is not kept"}};
  ASSERT_EQ(mkfifo("stream", 0600), 0);
  for (const auto& row : rows) {
    reports.clear();
    std::thread feeder([&row] { save("stream", row.file); });
    EXPECT_EQ(read_whole("pnm", "stream"), row.code);
    feeder.join();
    EXPECT_THAT(reports.texts(), EndsWith(row.reason));
  }
}

TEST_F(PnmTest, files_are_told_by_their_first_bytes) {
  const struct {
    const char* file;
    const char* key;  // of the members that know it, but for pnm; null: none does
  } rows[] = {{"P1\n1", "pbm"},   {"P4#c", "pbm"},  {"P2 1", "pgm"},  {"P5\t1", "pgm"}, {"P3\n1", "ppm"},
              {"P6\n1", "ppm"},   {"P7\nW", "pam"}, {"Pf\n1", "pfm"}, {"PF\n1", "pfm"}, {"P7 332", nullptr},
              {"P8\n1", nullptr}, {"P5", nullptr},  {"Pfx", nullptr}, {"P55", nullptr}, {"", nullptr}};
  for (const auto& row : rows) {
    save("in", row.file);
    for (const char* key : {"pnm", "pbm", "pgm", "ppm", "pam", "pfm"}) {
      const bool is_its_own = row.key && (std::string(key) == "pnm" || std::string(key) == row.key);
      EXPECT_EQ(ORB_find(key)->is_file("in", nullptr) == 1, is_its_own) << row.file << " " << key;
    }
  }
}

}  // namespace
}  // namespace orb::testing
