// The library with the PNG module loaded, for one test, and short forms of its calls.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "oracle.h"
#include "orbbase/core.h"
#include "tests/support/image_owner.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

// Starts the library with the module; offers an empty folder that goes with the test.
class PngTest : public ::testing::Test {
 protected:
  PngTest();
  ~PngTest() override;

  [[nodiscard]] std::string path(const std::string& name) const { return folder_ + "/" + name; }
  // Saves the bytes as a file and gives its path.
  [[nodiscard]] std::string file(const Bytes& bytes, const std::string& name = "in.png") const;

  ReportRecorder reports;

 private:
  void* module_ = nullptr;
  std::string folder_;
};

// One setting of a driver, as a list.
class Setting {
 public:
  Setting(uint16_t code, int32_t value);
  // A copy for a handle to own.
  [[nodiscard]] ORB_CAP_SETTING** list() const;

 private:
  mutable ORB_CAP_SETTING setting_;
};

Image open_read(const std::string& path, const Setting* setting = nullptr);

// A description to write, with lent names; the groups are the caller's to fill.
struct Wanted {
  explicit Wanted(std::string file_name, int32_t width = 8, int32_t height = 4);
  Image open();

  std::string path;
  ORB_IFD ifd = {};
  ORB_INFO info = {};
  const Setting* setting = nullptr;
};

// All channels of a picture, rows from the top, in the order colour, matte, index.
using Planes = std::vector<std::vector<uint16_t>>;

int channel_count(const ORB_IFD& ifd);

// Reads every row in the file's order. False when a row fails.
bool read_all(ORB_IMAGE& image, Planes* out);

// Writes every row in the file's order and closes. The first code that is not 0.
int32_t write_all(Image image, const Planes& planes);

// A file's samples as planes.
Planes planes_of(const Stored& picture);

}  // namespace orb::testing
