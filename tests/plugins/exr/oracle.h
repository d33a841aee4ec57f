// OpenEXR files made and read by the format's own C++ library, whose coders are not those of the plug-in, and the
// samples they hold: what the plug-in is held against.
#pragma once

#include <ImfHeader.h>
#include <ImfPixelType.h>
#include <gtest/gtest.h>
#include <openexr_base.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/plugins/common/formats.h"

namespace orb::testing {

class ExrTest : public FormatTest {
 protected:
  ExrTest() : FormatTest({EXR_MODULE}) {}
};

enum : uint16_t { kCompression = 2, kSamples = 3 };

inline constexpr const char* kCompressions[] = {"none",  "rle", "zips", "zip",  "piz",
                                                "pxr24", "b44", "b44a", "dwaa", "dwab"};

// The codec library came to code the two DWA compressions late.
inline bool core_has_dwa() {
  int major = 0;
  int minor = 0;
  exr_get_library_version(&major, &minor, nullptr, nullptr);
  return major > 3 || (major == 3 && minor >= 2);
}

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

// A part as the C++ library reads it, over the window that holds its samples and the display window. Samples are
// widened to 32 bits: halves as floats.
struct Loaded {
  Imf::Header header;
  std::map<std::string, std::vector<uint64_t>> samples;  // line by line from the top
};
Loaded load_exr(const std::string& path, int part = 0);

// The bits of a half as those of a float.
uint32_t widened(uint16_t half);

}  // namespace orb::testing
