// The JPEG plug-in's face: what it exports for the library to read.
#include "codec.h"
#include "read.h"
#include "settings.h"
#include "write.h"

ORB_BEGIN_C

ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageKey = orb::jpeg::kKey;
ORB_PLUGIN_API const char* imageExtension = orb::jpeg::kExtension;
ORB_PLUGIN_API const char* imageName = "JPEG";
ORB_PLUGIN_API const char* imageDescription = "Photographs, stored with losses";
ORB_PLUGIN_API const char* imageNameSyntax = "Name.####.Ext";
ORB_PLUGIN_API int32_t imageOrientation = 0;  // stored from the top down
ORB_PLUGIN_API int32_t imageNumberOfChannels = 4;
ORB_PLUGIN_API int32_t imageBitsPerChannel = 1 << (8 - 1);
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE;

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) { return orb::jpeg::read_open(*image) ? 1 : 0; }
ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image) { return orb::jpeg::write_open(*image) ? 1 : 0; }
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) {
  return orb::jpeg::is_jpeg(name, stream) ? 1 : 0;
}
ORB_PLUGIN_API void imageCapability(ORB_CAPABILITY** table_out, int32_t* count_a_out, int32_t* count_b_out,
                                    int32_t* count_out) {
  orb::jpeg::capabilities(table_out, count_out);
  *count_a_out = *count_b_out = *count_out;
}

ORB_END_C
