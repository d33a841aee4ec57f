// The PNG plug-in's face: what it says of itself.
#include "codec.h"
#include "plugins/common/entries.h"
#include "read.h"
#include "settings.h"
#include "write.h"

namespace orb::plugin {

const Format kFormat = {orb::png::read_open, orb::png::write_open, orb::png::is_png, orb::png::capabilities};

}  // namespace orb::plugin

ORB_BEGIN_C

ORB_PLUGIN_API const char* imageKey = orb::png::kKey;
ORB_PLUGIN_API const char* imageExtension = orb::png::kExtension;
ORB_PLUGIN_API const char* imageName = "PNG";
ORB_PLUGIN_API const char* imageDescription = "Portable Network Graphics";
ORB_PLUGIN_API int32_t imageOrientation = 0;  // stored from the top down
ORB_PLUGIN_API int32_t imageBitsPerPaletteEntry =
    orb::plugin::widths(1, 2) | orb::plugin::widths(4, 4) | orb::plugin::widths(8, 8);
ORB_PLUGIN_API int32_t imageNumberOfChannels = 3;
ORB_PLUGIN_API int32_t imageBitsPerChannel = orb::plugin::widths(1, 16);
ORB_PLUGIN_API int32_t imageNumberOfMattes = 1;
ORB_PLUGIN_API int32_t imageBitsPerMatte = orb::plugin::widths(1, 16);
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE;

ORB_END_C
