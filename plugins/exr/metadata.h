// What stands beside the pictures: between the file's attributes and the description.
#pragma once

#include <cstdint>
#include <string_view>

#include "codec.h"
#include "orbbase/core.h"
#include "settings.h"

namespace orb::exr {

// Fills the description of one part, and with the first one the file's, from its attributes. What the file does
// not declare keeps the library's default and is marked in word_e; what the description has no place for is
// remarked on. The groups and windows are described before. False when memory ran out or a text is over a limit.
[[nodiscard]] bool take_metadata(Codec& codec, ORB_IMAGE& image, int32_t index);

// Before writing: makes the handle's description say what the file will hold. The groups and windows are settled
// by others. False when memory ran out.
[[nodiscard]] bool settle_metadata(Codec& codec, ORB_IMAGE& image, Compression compression);

// Sets the attributes of one part from the settled description. What it returns is passed to report_failure.
[[nodiscard]] exr_result_t put_metadata(const Codec& codec, const ORB_IMAGE& image, int32_t index);

// Puts a copy in the place of a text of the description. False when memory ran out: the text stays.
[[nodiscard]] bool set_text(char*& field, std::string_view text);

// The texts of the file, in its first part.
struct TextAttribute {
  const char* name;
  char* ORB_INFO::*field;
};
inline constexpr TextAttribute kTexts[] = {
    {"DocumentName", &ORB_INFO::text1},  {"comments", &ORB_INFO::text3},
    {"Software", &ORB_INFO::text4},      {"HostComputer", &ORB_INFO::text5},
    {"owner", &ORB_INFO::text6},         {"capDate", &ORB_INFO::text7},
    {"orbbaseDate", &ORB_INFO::text7},   {"orbbaseElapsed", &ORB_INFO::text8},
    {"orbbaseFilter", &ORB_INFO::text9},
};

// The names of a part's groups, where they are not what its channels' names make of them.
struct GroupAttribute {
  const char* name;
  ORB_CHANNELS ORB_IFD::*group;
};
inline constexpr GroupAttribute kGroupNames[] = {
    {"orbbaseColor", &ORB_IFD::color}, {"orbbaseMatte", &ORB_IFD::matte}, {"orbbaseAux", &ORB_IFD::aux}};

// The numbers of the file. Not written when it is initial, or assumed.
struct NumberAttribute {
  const char* name;
  int32_t ORB_INFO::*field;
  int32_t initial;
  uint64_t assumed;  // the bit of word_e that belongs to it; then initial is not looked at
};
inline constexpr NumberAttribute kNumbers[] = {
    {"imageCounter", &ORB_INFO::frame_number, 1, ORB_ASSUMED_FRAME_NUMBER},
    {"orbbaseJob", &ORB_INFO::job_number, -1, 0},
    {"orbbaseField", &ORB_INFO::field_value, 0, 0}};

inline constexpr const char* kCaptureDate = "capDate";
inline constexpr const char* kPrimaries = "chromaticities";
inline constexpr const char* kFrameRate = "framesPerSecond";

}  // namespace orb::exr
