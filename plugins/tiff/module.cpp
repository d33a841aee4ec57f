// The TIFF plug-in's face: what it exports for the library to read.
#include "codec.h"
#include "read.h"
#include "settings.h"
#include "write.h"

namespace {

constexpr int32_t kOneTo16 = 0xFFFF;
constexpr int32_t kOneTo32 = -1;

}  // namespace

ORB_BEGIN_C

ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageKey = orb::tiff::kKey;
ORB_PLUGIN_API const char* imageExtension = orb::tiff::kExtension;
ORB_PLUGIN_API const char* imageName = "TIFF";
ORB_PLUGIN_API const char* imageDescription = "Tag Image File Format";
ORB_PLUGIN_API const char* imageNameSyntax = "Name.####.Ext";
ORB_PLUGIN_API int32_t imageAddExtension = 1;
ORB_PLUGIN_API int32_t imageUsage = 1;
ORB_PLUGIN_API int32_t imageOrientation = 0;  // stored from the top down, unless a setting says otherwise
ORB_PLUGIN_API int32_t imageBitsPerPaletteEntry = kOneTo16;
ORB_PLUGIN_API int32_t imageNumberOfChannels = 4;
ORB_PLUGIN_API int32_t imageBitsPerChannel = kOneTo32;
ORB_PLUGIN_API int32_t imageNumberOfMattes = 1;
ORB_PLUGIN_API int32_t imageBitsPerMatte = kOneTo32;
ORB_PLUGIN_API int32_t imageNumberOfZChannels = 32767;
ORB_PLUGIN_API int32_t imageBitsPerZChannel = kOneTo32;
ORB_PLUGIN_API int32_t imageSupportsActiveWindow = 0;
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE | ORB_ACCESS_ANY_LINE;
ORB_PLUGIN_API int32_t imageMultiFrame = 0;  // pages are images of a file, not frames
ORB_PLUGIN_API uint8_t imageHardLinkDuplicates = 1;
ORB_PLUGIN_API uint8_t imageSupportRemoteAccess = 0;

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) { return orb::tiff::read_open(*image) ? 1 : 0; }
ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image) { return orb::tiff::write_open(*image) ? 1 : 0; }
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) {
  return orb::tiff::is_tiff(name, stream) ? 1 : 0;
}
ORB_PLUGIN_API void imageCapability(ORB_CAPABILITY** table_out, int32_t* count_a_out, int32_t* count_b_out,
                                    int32_t* count_out) {
  orb::tiff::capabilities(table_out, count_a_out, count_b_out, count_out);
}

ORB_END_C
