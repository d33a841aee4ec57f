// The run-length coding of the OpenEXR core library on a file in memory, chunk by chunk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/pictures.h"

namespace orb::bench {

// A picture coded by OpenEXR. It has no samples of 8 bits: two of them go as one of 16, so that the bytes coded
// are the same.
class ExrPeer {
 public:
  explicit ExrPeer(const Picture& picture);
  ~ExrPeer();
  ExrPeer(const ExrPeer&) = delete;
  ExrPeer& operator=(const ExrPeer&) = delete;

  // Decodes all lines into the rows of one line.
  void read_all();
  // Whether the file holds the picture.
  [[nodiscard]] bool is_same();

 private:
  struct Impl;
  Impl* impl_;
};

}  // namespace orb::bench
