// The face of one of the modules: what it says of itself. ORB_PNM_KEY says which one it is.
#include "kinds.h"
#include "plugins/common/entries.h"
#include "read.h"
#include "settings.h"
#include "write.h"

namespace {

constexpr const orb::pnm::Member& kMember = orb::pnm::member_named(ORB_PNM_KEY);
constexpr int32_t kWidths = orb::plugin::widths(kMember.most_bits == 32 ? 32 : 1, kMember.most_bits);

}  // namespace

namespace orb::plugin {

const Format kFormat = {
    [](ORB_IMAGE& image) { return orb::pnm::read_open(image, kMember); },
    [](ORB_IMAGE& image) { return orb::pnm::write_open(image, kMember); },
    [](const char* name, std::FILE* stream) { return orb::pnm::is_of_member(name, stream, kMember); },
    [] { return orb::pnm::capabilities(kMember); }};

}  // namespace orb::plugin

ORB_BEGIN_C

ORB_PLUGIN_API const char* imageKey = kMember.key.data();
ORB_PLUGIN_API const char* imageExtension = kMember.extension;
ORB_PLUGIN_API const char* imageName = kMember.name;
ORB_PLUGIN_API const char* imageDescription = kMember.description;
ORB_PLUGIN_API int32_t imageOrientation = kMember.kind == orb::pnm::Kind::pfm ? 1 : 0;
ORB_PLUGIN_API int32_t imageNumberOfChannels = kMember.channels;
ORB_PLUGIN_API int32_t imageBitsPerChannel = kWidths;
ORB_PLUGIN_API int32_t imageNumberOfMattes = kMember.mattes;
ORB_PLUGIN_API int32_t imageBitsPerMatte = kMember.mattes != 0 ? kWidths : 0;
ORB_PLUGIN_API int32_t imageNumberOfZChannels = kMember.auxes;
ORB_PLUGIN_API int32_t imageBitsPerZChannel = kMember.auxes != 0 ? kWidths : 0;
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE;

ORB_END_C
