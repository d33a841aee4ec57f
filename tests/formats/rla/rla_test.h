// What the tests of the RLA driver share: the format's own modules, registered, and files opened through them.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/formats/rla/rla_file.h"
#include "tests/support/image_owner.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

class Rla : public ::testing::Test {
 protected:
  Plugins plugins_{"rla_format", "rlb_format"};
};

inline Image open_file(const std::string& name, const char* key = "rla") {
  ORB_INFO info;
  ORB_info_init(&info);
  info.key = const_cast<char*>(key);
  info.handle = const_cast<char*>(name.c_str());
  info.open_option = 1;
  return Image(ORB_open(&info, "r"));
}

inline Image open_bytes(const Bytes& bytes) {
  put_file("bytes.rla", bytes);
  return open_file("bytes.rla");
}

// Reads a row of one of a file's images.
inline int32_t read_row_of(ORB_IMAGE& image, size_t index, int32_t line, void*** rows_out) {
  return image.scan(image.driver[index].data, line, rows_out);
}

}  // namespace orb::testing
