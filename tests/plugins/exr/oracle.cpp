#include "oracle.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfInputPart.h>
#include <ImfMultiPartInputFile.h>
#include <ImfMultiPartOutputFile.h>
#include <ImfOutputPart.h>
#include <ImfPartType.h>
#include <ImfTiledOutputPart.h>
#include <half.h>

#include <bit>
#include <cstring>

namespace orb::testing {
namespace {

size_t bytes_of(Imf::PixelType type) { return type == Imf::HALF ? 2 : 4; }
size_t width_of(const Imath::Box2i& box) { return static_cast<size_t>(box.max.x - box.min.x + 1); }
size_t height_of(const Imath::Box2i& box) { return static_cast<size_t>(box.max.y - box.min.y + 1); }

Imf::Header header_of(const Stored& part) {
  Imf::Header header(part.display, part.data, 1, {0, 0}, 1, part.order, part.compression);
  for (const StoredChannel& channel : part.channels) header.channels().insert(channel.name, channel.type);
  if (!part.name.empty()) header.setName(part.name);
  header.setType(part.tile != 0 ? Imf::TILEDIMAGE : Imf::SCANLINEIMAGE);
  if (part.tile != 0) {
    header.setTileDescription({static_cast<unsigned>(part.tile), static_cast<unsigned>(part.tile) * 2 / 3,
                               part.has_levels ? Imf::MIPMAP_LEVELS : Imf::ONE_LEVEL});
  }
  if (part.decorate) part.decorate(header);
  return header;
}

// All samples of a part with the frame buffer that shows them; box is where the first sample is.
struct Buffers {
  Buffers(const Imf::ChannelList& channels, const Imath::Box2i& box) {
    for (auto c = channels.begin(); c != channels.end(); ++c) {
      const size_t size = bytes_of(c.channel().type);
      std::vector<char>& bytes = planes[c.name()];
      bytes.resize(width_of(box) * height_of(box) * size);
      const auto before = static_cast<ptrdiff_t>(
          (static_cast<int64_t>(box.min.y) * static_cast<int64_t>(width_of(box)) + box.min.x) *
          static_cast<int64_t>(size));
      frame.insert(c.name(), Imf::Slice(c.channel().type, bytes.data() - before, size, size * width_of(box)));
    }
  }
  std::map<std::string, std::vector<char>> planes;
  Imf::FrameBuffer frame;
};

void fill(const Stored& part, Buffers& buffers) {
  for (size_t c = 0; c < part.channels.size(); ++c) {
    char* out = buffers.planes[part.channels[c].name].data();
    for (int y = part.data.min.y; y <= part.data.max.y; ++y) {
      for (int x = part.data.min.x; x <= part.data.max.x; ++x) {
        const uint32_t bits = part.at(c, x, y);
        std::memcpy(out, &bits, bytes_of(part.channels[c].type));
        out += bytes_of(part.channels[c].type);
      }
    }
  }
}

void write_part(Imf::MultiPartOutputFile& file, int index, const Stored& part) {
  Buffers buffers(file.header(index).channels(), part.data);
  fill(part, buffers);
  if (part.tile == 0) {
    Imf::OutputPart out(file, index);
    out.setFrameBuffer(buffers.frame);
    out.writePixels(static_cast<int>(height_of(part.data)));
    return;
  }
  Imf::TiledOutputPart out(file, index);
  out.setFrameBuffer(buffers.frame);
  for (int level = 0; level < out.numLevels(); ++level) {
    out.writeTiles(0, out.numXTiles(level) - 1, 0, out.numYTiles(level) - 1, level);
  }
}

}  // namespace

// A smooth ramp with noise: coders that go by neighbours have something to do.
uint32_t Stored::at(size_t channel, int x, int y) const {
  const auto place = static_cast<uint32_t>(x * 7 + y * 13) + static_cast<uint32_t>(channel) * 101;
  const uint32_t noise = (place * 2654435761U) >> 28;
  if (channels[channel].type == Imf::UINT) return place * 2654435761U;
  const float value = static_cast<float>(static_cast<int32_t>(place % 511) - 37) / 16.0F;
  const uint32_t bits = std::bit_cast<uint32_t>(value) + noise;
  return channels[channel].type == Imf::FLOAT ? bits : half(std::bit_cast<float>(bits)).bits();
}

void save_exr(const std::string& path, const std::vector<Stored>& parts) {
  std::vector<Imf::Header> headers;
  for (const Stored& part : parts) headers.push_back(header_of(part));
  Imf::MultiPartOutputFile file(path.c_str(), headers.data(), static_cast<int>(headers.size()));
  for (size_t i = 0; i < parts.size(); ++i) write_part(file, static_cast<int>(i), parts[i]);
}

Loaded load_exr(const std::string& path, int index) {
  Imf::MultiPartInputFile file(path.c_str());
  Imf::InputPart part(file, index);
  Loaded loaded{part.header(), {}};
  const Imath::Box2i data = loaded.header.dataWindow();
  Imath::Box2i whole = loaded.header.displayWindow();
  whole.extendBy(data);
  Buffers buffers(loaded.header.channels(), whole);
  part.setFrameBuffer(buffers.frame);
  part.readPixels(data.min.y, data.max.y);
  for (const auto& [name, bytes] : buffers.planes) {
    const Imf::PixelType type = loaded.header.channels()[name.c_str()].type;
    for (size_t at = 0; at < bytes.size(); at += bytes_of(type)) {
      uint32_t bits = 0;
      std::memcpy(&bits, bytes.data() + at, bytes_of(type));
      loaded.samples[name].push_back(type == Imf::HALF ? widened(static_cast<uint16_t>(bits)) : bits);
    }
  }
  return loaded;
}

uint32_t widened(uint16_t bits) {
  half value;
  value.setBits(bits);
  return std::bit_cast<uint32_t>(static_cast<float>(value));
}

}  // namespace orb::testing
