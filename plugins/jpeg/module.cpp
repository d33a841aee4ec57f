// The JPEG plug-in's face: what it says of itself.
#include "codec.h"
#include "plugins/common/entries.h"
#include "read.h"
#include "settings.h"
#include "write.h"

namespace orb::plugin {

const Format kFormat = {orb::jpeg::read_open, orb::jpeg::write_open, orb::jpeg::is_jpeg,
                        orb::jpeg::capabilities};

}  // namespace orb::plugin

ORB_BEGIN_C

ORB_PLUGIN_API const char* imageKey = orb::jpeg::kKey;
ORB_PLUGIN_API const char* imageExtension = orb::jpeg::kExtension;
ORB_PLUGIN_API const char* imageName = "JPEG";
ORB_PLUGIN_API const char* imageDescription = "Photographs, stored with losses";
ORB_PLUGIN_API int32_t imageOrientation = 0;  // stored from the top down
ORB_PLUGIN_API int32_t imageNumberOfChannels = 4;
ORB_PLUGIN_API int32_t imageBitsPerChannel = orb::plugin::widths(8, 8);
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE;

ORB_END_C
