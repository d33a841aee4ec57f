// The module of the older revision of the library's own format, which is only read: the same driver, which takes
// the key or the ending for the word that a file has the field of that revision.
#include "orbbase/formats/rla.h"
#include "orbbase/registry.h"

namespace {

constexpr int32_t kEightBits = 128;
constexpr int32_t kMostChannels = 32767;

}  // namespace

ORB_BEGIN_C

ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageKey = "rlb";
ORB_PLUGIN_API const char* imageExtension = ".rlb";
ORB_PLUGIN_API const char* imageName = "RLB";
ORB_PLUGIN_API const char* imageDescription = "Older revision of RLA, 8 bits a sample";
ORB_PLUGIN_API const char* imageNameSyntax = "Name.####.Ext";
ORB_PLUGIN_API int32_t imageOrientation = 1;
ORB_PLUGIN_API int32_t imageNumberOfChannels = 3;
ORB_PLUGIN_API int32_t imageBitsPerChannel = kEightBits;
ORB_PLUGIN_API int32_t imageNumberOfMattes = kMostChannels;
ORB_PLUGIN_API int32_t imageBitsPerMatte = kEightBits;
ORB_PLUGIN_API int32_t imageNumberOfZChannels = kMostChannels;
ORB_PLUGIN_API int32_t imageBitsPerZChannel = kEightBits;
ORB_PLUGIN_API int32_t imageSupportsActiveWindow = 1;
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_ANY_LINE;

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) { return ORB_rla_r_open(image); }
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) { return ORB_rla_is_file(name, stream); }

ORB_END_C
