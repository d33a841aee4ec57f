// The library with real plug-ins loaded, for one test, and short forms of its calls.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orbbase/core.h"
#include "tests/support/image_owner.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

// Starts the library with these modules, and keeps no idle file. The test's files go into its own folder, the
// current one.
class FormatTest : public ::testing::Test {
 protected:
  explicit FormatTest(std::vector<const char*> modules);
  ~FormatTest() override;

  // The reports of ERROR and above.
  [[nodiscard]] size_t errors() const;

  ReportRecorder reports;
};

std::string load(const std::string& path);
void save(const std::string& path, const std::string& bytes);

struct Setting {
  uint16_t code;
  int32_t value;
};
using Settings = std::vector<Setting>;

// is_exact: the name is opened as it is given, without an ending.
Image open_read(const char* key, const std::string& path, const Settings& settings = {},
                bool is_exact = true);

// A lookup table of so many entries, all different and opaque.
struct LutFreed {
  void operator()(ORB_LUT* lut) const { ORB_lut_free(lut); }
};
using Table = std::unique_ptr<ORB_LUT, LutFreed>;
Table make_table(int32_t count);
Table read_table(ORB_IMAGE& image);

// A description to write, with lent names; nothing is declared. The groups are the caller's to fill.
struct Wanted {
  explicit Wanted(const char* key, std::string file_name, int32_t width, int32_t height);
  Wanted& group(ORB_CHANNELS ORB_IFD::*group, int32_t count, int32_t width, uint32_t type = ORB_C_INTEGER);
  Wanted& color(int32_t count, int32_t bits, uint32_t type = ORB_C_INTEGER) {
    return group(&ORB_IFD::color, count, bits, type);
  }
  Wanted& matte(int32_t count, int32_t bits, uint32_t type = ORB_C_INTEGER) {
    return group(&ORB_IFD::matte, count, bits, type);
  }
  Wanted& aux(int32_t count, int32_t bits, uint32_t type = ORB_C_INTEGER) {
    return group(&ORB_IFD::aux, count, bits, type);
  }
  // Indices instead of colours.
  Wanted& index(int32_t bits, const Table& table, uint32_t type = ORB_C_INTEGER);
  // And the active window with it.
  Wanted& window(int32_t left, int32_t right, int32_t bottom, int32_t top);
  Wanted& set(uint16_t code, int32_t value);
  Wanted& of(const char* format) {
    key = format;
    return *this;
  }
  Image open();

  std::string key;
  std::string path;
  ORB_IFD ifd = {};
  std::vector<ORB_IFD> more;  // the images behind the first
  ORB_INFO info = {};
  Settings settings;
  bool is_exact = true;

 private:
  std::vector<ORB_IFD> images_;
};

// All channels of a picture, rows in the file's order; floats as their bits.
using Planes = std::vector<std::vector<uint64_t>>;

// Noise of so many bits a sample.
Planes noise(int channels, int bits, size_t pixels);
// Noise for each of its channels and bits.
Planes noise_for(const ORB_IFD& ifd);
// What is outside of the active window becomes 0.
void clear_inactive(const ORB_IFD& ifd, Planes& planes);

// The rows of a line; null, with orb__err, when it cannot be read.
void** read_row(ORB_IMAGE& image, int32_t line, int32_t index = 0);
// The bits of a sample in them; column counted from the left of the window.
uint64_t sample_at(const ORB_IFD& ifd, void* const* rows, int channel, int32_t column);

// Reads every row in the file's order. Empty when a row fails.
Planes read_all(ORB_IMAGE& image, int32_t index = 0);

// Opens, reads everything and closes: the first code that is not 0.
int32_t read_whole(const char* key, const std::string& path);

// Writes every row of an image in the file's order. The first code that is not 0.
int32_t write_image(ORB_IMAGE& image, const Planes& planes, int32_t index = 0);
// Writes an image for each of the planes, and closes.
int32_t write_images(Image image, const std::vector<Planes>& planes);
int32_t write_all(Image image, const Planes& planes);

}  // namespace orb::testing
