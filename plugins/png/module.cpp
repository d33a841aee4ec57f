// The PNG plug-in's face: what it exports for the library to read.
#include <png.h>

#include "codec.h"
#include "read.h"
#include "settings.h"
#include "streams.h"
#include "write.h"

namespace {

constexpr int32_t bits_of_widths(int least, int most) {
  int32_t bits = 0;
  for (int width = least; width <= most; ++width) bits |= 1 << (width - 1);
  return bits;
}

}  // namespace

ORB_BEGIN_C

ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageKey = orb::png::kKey;
ORB_PLUGIN_API const char* imageExtension = orb::png::kExtension;
ORB_PLUGIN_API const char* imageName = "PNG";
ORB_PLUGIN_API const char* imageDescription = "Portable Network Graphics";
ORB_PLUGIN_API const char* imageNameSyntax = "Name.####.Ext";
ORB_PLUGIN_API int32_t imageAddExtension = 1;
ORB_PLUGIN_API int32_t imageUsage = 1;
ORB_PLUGIN_API int32_t imageOrientation = 0;  // stored from the top down
ORB_PLUGIN_API int32_t imageBitsPerPaletteEntry =
    bits_of_widths(1, 2) | bits_of_widths(4, 4) | bits_of_widths(8, 8);
ORB_PLUGIN_API int32_t imageNumberOfChannels = 3;
ORB_PLUGIN_API int32_t imageBitsPerChannel = bits_of_widths(1, 16);
ORB_PLUGIN_API int32_t imageNumberOfMattes = 1;
ORB_PLUGIN_API int32_t imageBitsPerMatte = bits_of_widths(1, 16);
ORB_PLUGIN_API int32_t imageSupportsActiveWindow = 0;
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE;
ORB_PLUGIN_API int32_t imageMultiFrame = 0;
ORB_PLUGIN_API uint8_t imageHardLinkDuplicates = 1;
ORB_PLUGIN_API uint8_t imageSupportRemoteAccess = 0;

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) { return orb::png::read_open(*image) ? 1 : 0; }
ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image) { return orb::png::write_open(*image) ? 1 : 0; }
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) {
  return orb::png::is_png(name, stream) ? 1 : 0;
}
ORB_PLUGIN_API void imageCapability(ORB_CAPABILITY** table_out, int32_t* count_a_out, int32_t* count_b_out,
                                    int32_t* count_out) {
  orb::png::capabilities(table_out, count_a_out, count_b_out, count_out);
}

ORB_END_C
