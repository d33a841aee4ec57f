// The rows of a region, split into channels.
#include "region_rows.h"

#include <cstring>
#include <utility>

namespace orb::tool {
namespace {

// One component of packed pixels, as a row of its own.
template <size_t SampleBytes>
void take_component(std::span<const uint8_t> pixels, size_t component, size_t components, uint8_t* out) {
  const size_t pixel_bytes = components * SampleBytes;
  const size_t count = pixels.size() / pixel_bytes;
  const uint8_t* in = pixels.data() + component * SampleBytes;
  for (size_t i = 0; i < count; ++i) {
    std::memcpy(out + i * SampleBytes, in + i * pixel_bytes, SampleBytes);
  }
}

}  // namespace

RegionRows::RegionRows(Image& reader, const Region& region, std::string name)
    : region_(region),
      bands_(reader, std::move(name), region.form().window, region.layout().code,
             region.layout().components() * region.layout().sample_bytes()),
      rows_(region.form()) {}

void** RegionRows::read(int64_t above_bottom) {
  const PixelLayout& layout = region_.layout();
  const std::span<const uint8_t> pixels = bands_.row(above_bottom);
  const auto take = layout.sample_bytes() == 1 ? take_component<1> : take_component<2>;
  const auto colors = static_cast<size_t>(form().color.count);
  for (size_t i = 0; i < colors; ++i) {
    take(pixels, i, layout.components(), static_cast<uint8_t*>(rows_.get()[i]));
  }
  if (form().matte.count > 0) {
    take(pixels, layout.components() - 1, layout.components(), static_cast<uint8_t*>(rows_.get()[colors]));
  }
  return rows_.get();
}

}  // namespace orb::tool
