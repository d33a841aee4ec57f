// The definition of a region's conversion, pixel by pixel, and the choice among its forms.
#include "orbbase/operators/region_rows.h"

#include <cstring>
#include <iterator>

#include "orbbase/operators.h"
#include "orbbase/platform/processor.h"

namespace orb::region {
namespace {

constexpr Layout kLayouts[] = {
    {ORB_REGION_GREY16, 1, 16}, {ORB_REGION_RGBA16, 4, 16}, {ORB_REGION_RGBA8, 4, 8},
    {ORB_REGION_GREY8, 1, 8},   {ORB_REGION_RGB8, 3, 8},
};

// Rows of a driver, and the caller's buffer, may begin at any address.
template <class Sample>
Sample load(const uint8_t* row, size_t index) {
  Sample sample;
  std::memcpy(&sample, row + index * sizeof(Sample), sizeof(Sample));
  return sample;
}

// A factor without a finite value, of a width that is none, gives 0.
template <class Out>
Out scale(uint32_t sample, float factor) {
  const float product = static_cast<float>(sample) * factor;
  const bool is_integer = product > -0x1p63F && product < 0x1p63F;
  return static_cast<Out>(static_cast<int64_t>(is_integer ? product : 0.0F));
}

template <class Sample, class Out, size_t components>
void convert_pixel(const RowSources& sources, const Factors& factors, size_t i, uint8_t* out) {
  Out pixel[components];
  for (size_t c = 0; c < components && c < 3; ++c) {
    pixel[c] = scale<Out>(load<Sample>(sources.channels[c], i), factors.color);
  }
  if constexpr (components == 4) {
    const uint8_t* alpha = sources.channels[3];
    pixel[3] =
        alpha ? scale<Out>(load<Sample>(alpha, i), factors.matte) : static_cast<Out>(sources.fixed_alpha);
  }
  std::memcpy(out + i * sizeof pixel, pixel, sizeof pixel);
}

template <class Sample, class Out, size_t components>
size_t convert_pixels(const RowSources& sources, const Factors& factors, size_t pixel_count, uint8_t* out) {
  size_t i = 0;
  for (; pixel_count - i >= 4; i += 4) {
    convert_pixel<Sample, Out, components>(sources, factors, i, out);
    convert_pixel<Sample, Out, components>(sources, factors, i + 1, out);
    convert_pixel<Sample, Out, components>(sources, factors, i + 2, out);
    convert_pixel<Sample, Out, components>(sources, factors, i + 3, out);
  }
  for (; i < pixel_count; ++i) convert_pixel<Sample, Out, components>(sources, factors, i, out);
  return pixel_count;
}

// By layout, in the order of kLayouts, and bytes a sample.
constexpr Kernel kScalarKernels[][2] = {
    {convert_pixels<uint8_t, uint16_t, 1>, convert_pixels<uint16_t, uint16_t, 1>},
    {convert_pixels<uint8_t, uint16_t, 4>, convert_pixels<uint16_t, uint16_t, 4>},
    {convert_pixels<uint8_t, uint8_t, 4>, convert_pixels<uint16_t, uint8_t, 4>},
    {convert_pixels<uint8_t, uint8_t, 1>, convert_pixels<uint16_t, uint8_t, 1>},
    {convert_pixels<uint8_t, uint8_t, 3>, convert_pixels<uint16_t, uint8_t, 3>},
};
static_assert(std::size(kScalarKernels) == std::size(kLayouts));

bool is_aligned(const void* address) { return reinterpret_cast<uintptr_t>(address) % 16 == 0; }

}  // namespace

const Layout* find_layout(uint32_t code) {
  for (const Layout& layout : kLayouts) {
    if (layout.code == code) return &layout;
  }
  return nullptr;
}

RowConverter::RowConverter(const Conversion& conversion) : RowConverter(conversion, BlockKernels{}) {}

RowConverter::RowConverter(const Conversion& conversion, BlockKernels blocks)
    : conversion_(conversion),
      blocks_(blocks),
      scalar_(kScalarKernels[conversion.layout - kLayouts][conversion.sample_bytes - 1]) {}

RowConverter::~RowConverter() {
  if (conversion_.is_large && blocks_.streaming) complete_streaming();
}

void RowConverter::operator()(const RowSources& sources, std::span<uint8_t> out) const {
  const size_t pixel_bytes = conversion_.layout->pixel_bytes();
  const size_t pixel_count = out.size() / pixel_bytes;
  const bool is_streaming = conversion_.is_large && blocks_.streaming && is_aligned(out.data());
  const Kernel blocks = is_streaming ? blocks_.streaming : blocks_.plain;
  const size_t done = blocks ? blocks(sources, conversion_.factors, pixel_count, out.data()) : 0;
  RowSources rest = sources;
  for (const uint8_t*& channel : rest.channels) {
    if (channel) channel += done * conversion_.sample_bytes;
  }
  scalar_(rest, conversion_.factors, pixel_count - done, out.data() + done * pixel_bytes);
}

// They cut to 32 bits, so no sample's product may need more.
bool suits_blocks(const Conversion& conversion) {
  const float largest_sample = conversion.sample_bytes == 1 ? 255.0F : 65535.0F;
  for (const float factor : {conversion.factors.color, conversion.factors.matte}) {
    const float largest = largest_sample * factor;
    if (!(largest >= 0 && largest < 0x1p31F)) return false;
  }
  return true;
}

RowConverter choose_converter(const Conversion& conversion) {
  if (!suits_blocks(conversion)) return RowConverter(conversion);
  const BlockKernels blocks = platform::has_avx2() ? avx2_kernels(conversion) : BlockKernels{};
  return {conversion, blocks.plain ? blocks : sse2_kernels(conversion)};
}

}  // namespace orb::region
