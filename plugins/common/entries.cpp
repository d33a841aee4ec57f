#include "entries.h"

using orb::plugin::kFormat;

ORB_BEGIN_C

ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageNameSyntax = "Name.####.Ext";

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) { return kFormat.read_open(*image) ? 1 : 0; }
ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image) { return kFormat.write_open(*image) ? 1 : 0; }
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) {
  return kFormat.is_file(name, stream) ? 1 : 0;
}
ORB_PLUGIN_API void imageCapability(ORB_CAPABILITY** table_out, int32_t* count_a_out, int32_t* count_b_out,
                                    int32_t* count_out) {
  const std::span<ORB_CAPABILITY> table = kFormat.capabilities();
  *table_out = table.data();
  *count_a_out = *count_b_out = *count_out = static_cast<int32_t>(table.size());
}

ORB_END_C
