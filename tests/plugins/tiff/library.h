// The library with the TIFF module loaded, for one test, and short forms of its calls.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "oracle.h"
#include "orbbase/core.h"
#include "tests/support/image_owner.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

class TiffTest : public ::testing::Test {
 protected:
  TiffTest();
  ~TiffTest() override;

  ReportRecorder reports;
};

using Settings = std::vector<std::pair<uint16_t, int32_t>>;

Image open_read(const std::string& path, const Settings& settings = {});

// The rows of one image of a handle; null, with orb__err, when a line cannot be read.
void** read_line(ORB_IMAGE& image, int32_t index, int32_t line);

// The bits of a sample in a channel row of a descriptor.
uint64_t sample_at(const ORB_IFD& ifd, void* const* rows, int channel, int32_t column);

// All samples of one image: row by row from the top, in a row channel by channel. Empty when a line fails.
std::vector<uint64_t> read_all(ORB_IMAGE& image, int32_t index = 0);

int32_t read_whole(const std::string& path);  // every image; the code of the first failure, or 0

// Images to write, noise of their widths; the groups are the caller's to fill.
struct Wanted {
  explicit Wanted(std::string file_name, size_t images = 1, int32_t width = 37, int32_t height = 21);
  Image open();
  // Opens, writes every row in the file's order, and closes. The first code that is not 0.
  int32_t write();

  std::string path;
  std::vector<ORB_IFD> ifds;
  ORB_INFO info = {};
  Settings settings;
};

// What Wanted::write writes, as read_all gives it.
std::vector<uint64_t> noise_of(const ORB_IFD& ifd);

}  // namespace orb::testing
