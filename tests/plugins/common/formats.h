// The library with real plug-ins loaded, for one test, and short forms of its calls.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "orbbase/core.h"
#include "tests/support/image_owner.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

// Starts the library with these modules. The test's files go into its own folder, the current one.
class FormatTest : public ::testing::Test {
 protected:
  explicit FormatTest(std::initializer_list<const char*> modules);
  ~FormatTest() override;

  ReportRecorder reports;
};

std::string load(const std::string& path);
void save(const std::string& path, const std::string& bytes);

struct Setting {
  uint16_t code;
  int32_t value;
};

Image open_read(const char* key, const std::string& path);

// A description to write, with lent names; nothing is declared. The groups are the caller's to fill.
struct Wanted {
  explicit Wanted(const char* key, std::string file_name, int32_t width, int32_t height);
  Wanted& group(ORB_CHANNELS ORB_IFD::*group, int32_t count, int32_t width, uint32_t type = ORB_C_INTEGER);
  Image open();

  std::string key;
  std::string path;
  ORB_IFD ifd = {};
  ORB_INFO info = {};
  std::vector<Setting> settings;
};

// All channels of a picture, rows in the file's order; floats as their bits.
using Planes = std::vector<std::vector<uint32_t>>;

// Noise of so many bits a sample.
Planes noise(int channels, int bits, size_t pixels);

// Reads every row in the file's order. Empty when a row fails.
Planes read_all(ORB_IMAGE& image, int32_t index = 0);

// Opens, reads everything and closes: the first code that is not 0.
int32_t read_whole(const char* key, const std::string& path);

// Writes every row in the file's order and closes. The first code that is not 0.
int32_t write_all(Image image, const Planes& planes);

}  // namespace orb::testing
