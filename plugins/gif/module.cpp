// The face of the module: what it exports for the library to read.
#include "read.h"
#include "settings.h"
#include "write.h"

ORB_BEGIN_C

ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageKey = orb::gif::kKey;
ORB_PLUGIN_API const char* imageExtension = orb::gif::kExtension;
ORB_PLUGIN_API const char* imageName = "GIF";
ORB_PLUGIN_API const char* imageDescription = "Graphics Interchange Format";
ORB_PLUGIN_API const char* imageNameSyntax = "Name.####.Ext";
ORB_PLUGIN_API int32_t imageOrientation = 0;  // stored from the top down
ORB_PLUGIN_API int32_t imageBitsPerPaletteEntry = 0xFF;
ORB_PLUGIN_API int32_t imageNumberOfChannels = 3;
ORB_PLUGIN_API int32_t imageBitsPerChannel = 0xFF;
ORB_PLUGIN_API int32_t imageNumberOfMattes = 1;
ORB_PLUGIN_API int32_t imageBitsPerMatte = 128;
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE | ORB_ACCESS_ANY_LINE;
ORB_PLUGIN_API int32_t imageMultiFrame = 2;

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) { return orb::gif::read_open(*image) ? 1 : 0; }
ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image) { return orb::gif::write_open(*image) ? 1 : 0; }
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) {
  return orb::gif::is_gif(name, stream) ? 1 : 0;
}
ORB_PLUGIN_API void imageCapability(ORB_CAPABILITY** table_out, int32_t* count_a_out, int32_t* count_b_out,
                                    int32_t* count_out) {
  orb::gif::capabilities(table_out, count_out);
  *count_a_out = *count_b_out = *count_out;
}

ORB_END_C
