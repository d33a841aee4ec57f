// The module of the library's own format: the driver is in the library, its names are here.
#include "orbbase/formats/rla.h"
#include "orbbase/registry.h"

namespace {

constexpr int32_t kAllWidths = -1;        // 1 to 32 bits
constexpr int32_t kMostChannels = 32767;  // what the header's count holds

}  // namespace

ORB_BEGIN_C

ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageKey = "rla";
ORB_PLUGIN_API const char* imageExtension = ".rla";
ORB_PLUGIN_API const char* imageName = "RLA";
ORB_PLUGIN_API const char* imageDescription = "Run-length encoded image with matte and auxiliary channels";
ORB_PLUGIN_API const char* imageNameSyntax = "Name.####.Ext";
ORB_PLUGIN_API int32_t imageOrientation = 1;  // stored from the bottom up
ORB_PLUGIN_API int32_t imageNumberOfChannels = 3;
ORB_PLUGIN_API int32_t imageBitsPerChannel = kAllWidths;
ORB_PLUGIN_API int32_t imageNumberOfMattes = kMostChannels;
ORB_PLUGIN_API int32_t imageBitsPerMatte = kAllWidths;
ORB_PLUGIN_API int32_t imageNumberOfZChannels = kMostChannels;
ORB_PLUGIN_API int32_t imageBitsPerZChannel = kAllWidths;
ORB_PLUGIN_API int32_t imageSupportsActiveWindow = 1;
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE | ORB_ACCESS_ANY_LINE;

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) { return ORB_rla_r_open(image); }
ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image) { return ORB_rla_w_open(image); }
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) { return ORB_rla_is_file(name, stream); }

ORB_END_C
