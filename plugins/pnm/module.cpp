// The face of one of the modules: what it exports for the library to read. ORB_PNM_KEY says which one it is.
#include "kinds.h"
#include "read.h"
#include "settings.h"
#include "write.h"

namespace {

constexpr const orb::pnm::Member& kMember = orb::pnm::member_named(ORB_PNM_KEY);

// Of every width from 1 bit up to this; a float is 32.
constexpr int32_t bits_up_to(int32_t most) {
  return most == 32 ? INT32_MIN : static_cast<int32_t>((1U << most) - 1);
}

}  // namespace

ORB_BEGIN_C

ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageKey = kMember.key.data();
ORB_PLUGIN_API const char* imageExtension = kMember.extension;
ORB_PLUGIN_API const char* imageName = kMember.name;
ORB_PLUGIN_API const char* imageDescription = kMember.description;
ORB_PLUGIN_API const char* imageNameSyntax = "Name.####.Ext";
ORB_PLUGIN_API int32_t imageOrientation = kMember.kind == orb::pnm::Kind::pfm ? 1 : 0;
ORB_PLUGIN_API int32_t imageNumberOfChannels = kMember.channels;
ORB_PLUGIN_API int32_t imageBitsPerChannel = bits_up_to(kMember.most_bits);
ORB_PLUGIN_API int32_t imageNumberOfMattes = kMember.mattes;
ORB_PLUGIN_API int32_t imageBitsPerMatte = kMember.mattes != 0 ? bits_up_to(kMember.most_bits) : 0;
ORB_PLUGIN_API int32_t imageNumberOfZChannels = kMember.auxes;
ORB_PLUGIN_API int32_t imageBitsPerZChannel = kMember.auxes != 0 ? bits_up_to(kMember.most_bits) : 0;
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE;

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) {
  return orb::pnm::read_open(*image, kMember) ? 1 : 0;
}
ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image) {
  return orb::pnm::write_open(*image, kMember) ? 1 : 0;
}
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) {
  return orb::pnm::is_of_member(name, stream, kMember) ? 1 : 0;
}
ORB_PLUGIN_API void imageCapability(ORB_CAPABILITY** table_out, int32_t* count_a_out, int32_t* count_b_out,
                                    int32_t* count_out) {
  orb::pnm::capabilities(kMember, table_out, count_out);
  *count_a_out = *count_b_out = *count_out;
}

ORB_END_C
