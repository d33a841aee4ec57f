// What the family can and cannot hold, for the tests of all formats.
#include <gmock/gmock.h>

#include "pnm_test.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

using namespace std::string_literals;

std::vector<Example> examples() {
  return {{"P4 9 2\n\xA5\x80\x5A\0"s},
          {"P1 3 2\n010\n101", true},
          {"P5 # x\n2 2 65535\nabcdefgh"},
          {"P2 3 2 7 0 1 2 3 4 5", true},
          {"P6 1 2 255\nabcdef"},
          {"P3 1 2 7\n0 1 2 3 4 5", true},
          {"Pf 1 2 1.0\nabcdefgh"},
          {"P7\nWIDTH 1\nHEIGHT 2\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\nabcd"}};
}

std::vector<Damaged> damaged() {
  const std::string largest =
      "P7\nWIDTH 2147483647\nHEIGHT 2147483647\nDEPTH 2147483647\nMAXVAL 65535\nENDHDR\nx";
  const std::string too_few = "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\nabc";
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
  const std::string planes = "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 70000\nMAXVAL 255\nENDHDR\n";
  return {{wide, ORB_LIMIT_BUFFER, 6000},
          {wide, ORB_LIMIT_HANDLE, 12000},
          {planes + std::string(70000, 'x'), ORB_LIMIT_CHANNELS, 70000},
          {"P5 1 1 255\naP5 1 1 255\nbP5 1 1 255\nc", ORB_LIMIT_IMAGES, 3}};
}

// Of one module of the family.
Layout of(const char* key, int colours, int mattes, int auxes, int least_bits, int most_bits) {
  const uint32_t type = most_bits == 32 ? ORB_C_FLOAT : ORB_C_INTEGER;
  return {colours, mattes, auxes, least_bits, most_bits, type, {}, key};
}

const Format kPnm = {
    .key = "pnm",
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
    .refusals = {
        {"pbm cannot handle image channel width", [](Wanted& w) { w.of("pbm").color(1, 2); }},
        {"pbm cannot handle the requested action", [](Wanted& w) { w.of("pbm").color(3, 1); }},
        {"pgm cannot handle the requested action", [](Wanted& w) { w.of("pgm").color(3, 8); }},
        {"pgm cannot handle image channel width", [](Wanted& w) { w.of("pgm").color(1, 17); }},
        {"pgm cannot handle image channel type", [](Wanted& w) { w.of("pgm").color(1, 32, ORB_C_FLOAT); }},
        {"ppm cannot handle matte channel type", [](Wanted& w) { w.of("ppm").color(3, 8).matte(1, 8); }},
        {"ppm cannot handle auxiliary channel type", [](Wanted& w) { w.of("ppm").color(3, 8).aux(1, 8); }},
        {"pfm cannot handle image channel type", [](Wanted& w) { w.of("pfm").color(3, 16); }},
        {"pam cannot handle image channel width", [](Wanted& w) { w.of("pam").color(3, 17).matte(1, 17); }},
        {"pam cannot handle image channel type", [](Wanted& w) { w.of("pam").color(3, 64, ORB_C_DOUBLE); }},
        // Two widths have no common maximum.
        {"pam cannot handle matte channel width", [](Wanted& w) { w.of("pam").color(3, 8).matte(1, 16); }},
        {"pnm cannot handle the requested action", [](Wanted& w) { w.color(2, 8); }},
        {"pnm cannot handle the requested action", [](Wanted& w) { w.color(3, 8).set(kKind, 2); }},
        {"pnm cannot handle the requested action", [](Wanted& w) { w.color(3, 8).set(kKind, 6); }},
        {"pnm cannot handle the requested action", [](Wanted& w) { w.set(kKind, 4).set(kEncoding, 1); }},
        {"pgm cannot handle the requested action", [](Wanted& w) { w.of("pgm").set(kEncoding, 2); }},
    }};
ORB_TEST_CONFORMANCE(kPnm);

}  // namespace
}  // namespace orb::testing
