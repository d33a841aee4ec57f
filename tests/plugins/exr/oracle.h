// OpenEXR files made and read by the format's own C++ library, whose coders are not those of the plug-in, and the
// samples they hold: what the plug-in is held against.
#pragma once

#include <ImfHeader.h>
#include <ImfPixelType.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace orb::testing {

struct StoredChannel {
  std::string name;
  Imf::PixelType type = Imf::HALF;
};

// A part whose samples are a function of their place.
struct Stored {
  Imath::Box2i display = {{0, 0}, {36, 40}};
  Imath::Box2i data = {{0, 0}, {36, 40}};
  std::vector<StoredChannel> channels = {{"R"}, {"G"}, {"B"}};
  Imf::Compression compression = Imf::ZIP_COMPRESSION;
  Imf::LineOrder order = Imf::INCREASING_Y;
  int tile = 0;  // width of a tile, which is two thirds as high; 0: lines
  bool has_levels = false;
  std::string name = {};
  std::function<void(Imf::Header&)> decorate = nullptr;

  // The bits of a sample as it is stored; x and y in the file's coordinates.
  [[nodiscard]] uint32_t at(size_t channel, int x, int y) const;
};

void save_exr(const std::string& path, const std::vector<Stored>& parts);

// A part as the C++ library reads it. Samples are widened to 32 bits: halves as floats.
struct Loaded {
  Imf::Header header;
  std::map<std::string, std::vector<uint64_t>> samples;  // line by line, from the first of the data window
};
Loaded load_exr(const std::string& path, int part = 0);

// The bits of a half as those of a float.
uint32_t widened(uint16_t half);

}  // namespace orb::testing
