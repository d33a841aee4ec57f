// The face of the module: what it says of itself.
#include "plugins/common/entries.h"
#include "read.h"
#include "settings.h"
#include "write.h"

namespace orb::plugin {

const Format kFormat = {orb::gif::read_open, orb::gif::write_open, orb::gif::is_gif, orb::gif::capabilities};

}  // namespace orb::plugin

ORB_BEGIN_C

ORB_PLUGIN_API const char* imageKey = orb::gif::kKey;
ORB_PLUGIN_API const char* imageExtension = orb::gif::kExtension;
ORB_PLUGIN_API const char* imageName = "GIF";
ORB_PLUGIN_API const char* imageDescription = "Graphics Interchange Format";
ORB_PLUGIN_API int32_t imageOrientation = 0;  // stored from the top down
ORB_PLUGIN_API int32_t imageBitsPerPaletteEntry = orb::plugin::widths(1, 8);
ORB_PLUGIN_API int32_t imageNumberOfChannels = 3;
ORB_PLUGIN_API int32_t imageBitsPerChannel = orb::plugin::widths(1, 8);
ORB_PLUGIN_API int32_t imageNumberOfMattes = 1;
ORB_PLUGIN_API int32_t imageBitsPerMatte = orb::plugin::widths(8, 8);
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE | ORB_ACCESS_ANY_LINE;
ORB_PLUGIN_API int32_t imageMultiFrame = 2;

ORB_END_C
