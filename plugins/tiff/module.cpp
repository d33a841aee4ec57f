// The TIFF plug-in's face: what it says of itself.
#include "codec.h"
#include "plugins/common/entries.h"
#include "read.h"
#include "settings.h"
#include "write.h"

namespace orb::plugin {

const Format kFormat = {orb::tiff::read_open, orb::tiff::write_open, orb::tiff::is_tiff,
                        orb::tiff::capabilities};

}  // namespace orb::plugin

ORB_BEGIN_C

ORB_PLUGIN_API const char* imageKey = orb::tiff::kKey;
ORB_PLUGIN_API const char* imageExtension = orb::tiff::kExtension;
ORB_PLUGIN_API const char* imageName = "TIFF";
ORB_PLUGIN_API const char* imageDescription = "Tag Image File Format";
ORB_PLUGIN_API int32_t imageOrientation = 0;  // stored from the top down, unless a setting says otherwise
ORB_PLUGIN_API int32_t imageBitsPerPaletteEntry = orb::plugin::widths(1, 16);
ORB_PLUGIN_API int32_t imageNumberOfChannels = 4;
ORB_PLUGIN_API int32_t imageBitsPerChannel = orb::plugin::widths(1, 32);
ORB_PLUGIN_API int32_t imageNumberOfMattes = 1;
ORB_PLUGIN_API int32_t imageBitsPerMatte = orb::plugin::widths(1, 32);
ORB_PLUGIN_API int32_t imageNumberOfZChannels = 32767;
ORB_PLUGIN_API int32_t imageBitsPerZChannel = orb::plugin::widths(1, 32);
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE | ORB_ACCESS_ANY_LINE;

ORB_END_C
