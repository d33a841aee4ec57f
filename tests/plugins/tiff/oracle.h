// TIFF files made and read by the codec library itself, without the plug-in, and the samples they hold: what
// the plug-in is held against.
#pragma once

#include <tiffio.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/plugins/common/formats.h"

namespace orb::testing {

class TiffTest : public FormatTest {
 protected:
  TiffTest() : FormatTest({TIFF_MODULE}) {}
};

// A page whose samples are a function of their place.
struct Stored {
  uint32_t width = 37;
  uint32_t height = 21;
  int bits = 8;
  int samples = 1;
  uint16_t photometric = PHOTOMETRIC_MINISBLACK;
  uint16_t format = SAMPLEFORMAT_UINT;
  uint16_t compression = COMPRESSION_NONE;
  bool is_planar = false;
  uint32_t tile = 0;  // side of a tile; 0: strips
  uint32_t strip_rows = 4;
  std::vector<uint16_t> extras = {};
  std::function<void(TIFF*)> decorate = nullptr;  // sets further tags

  // The bits of a sample; row counted from the first of the file.
  [[nodiscard]] uint64_t at(uint32_t column, uint32_t row, int sample) const;
};

// mode: as TIFFOpen takes it, "wl", "wb", "w8".
void save_tiff(const std::string& path, const std::vector<Stored>& pages, const char* mode = "wl");

// Opens a file with the codec library and shows it; its messages fail the test.
void inspect(const std::string& path, const std::function<void(TIFF*)>& look);

}  // namespace orb::testing
