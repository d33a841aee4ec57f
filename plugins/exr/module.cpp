// The OpenEXR plug-in's face: what it says of itself.
#include "codec.h"
#include "plugins/common/entries.h"
#include "read.h"
#include "settings.h"
#include "write.h"

namespace orb::plugin {

const Format kFormat = {orb::exr::read_open, orb::exr::write_open, orb::exr::is_exr, orb::exr::capabilities};

}  // namespace orb::plugin

ORB_BEGIN_C

ORB_PLUGIN_API const char* imageKey = orb::exr::kKey;
ORB_PLUGIN_API const char* imageExtension = orb::exr::kExtension;
ORB_PLUGIN_API const char* imageName = "OpenEXR";
ORB_PLUGIN_API const char* imageDescription = "OpenEXR high dynamic range image";
ORB_PLUGIN_API int32_t imageOrientation = 0;  // stored from the top down
ORB_PLUGIN_API int32_t imageNumberOfChannels = 3;
ORB_PLUGIN_API int32_t imageBitsPerChannel = orb::plugin::widths(32, 32);
ORB_PLUGIN_API int32_t imageNumberOfMattes = 3;
ORB_PLUGIN_API int32_t imageBitsPerMatte = orb::plugin::widths(32, 32);
ORB_PLUGIN_API int32_t imageNumberOfZChannels = 32767;
ORB_PLUGIN_API int32_t imageBitsPerZChannel = orb::plugin::widths(32, 32);
ORB_PLUGIN_API int32_t imageSupportsActiveWindow = 1;
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE | ORB_ACCESS_ANY_LINE;

ORB_END_C
