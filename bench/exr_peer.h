// The run-length coding of the OpenEXR core library on a file in memory, chunk by chunk.
#pragma once

#include <OpenEXR/openexr.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/pictures.h"

namespace orb::bench {

// A picture coded by OpenEXR. It has no samples of 8 bits: two of them go as one of 16, so that the bytes coded
// are the same.
class ExrPeer {
 public:
  // Ends the program when the picture does not come back.
  explicit ExrPeer(const Picture& coded);
  ~ExrPeer();
  ExrPeer(const ExrPeer&) = delete;
  ExrPeer& operator=(const ExrPeer&) = delete;

  // Decodes all lines into the rows of one line.
  void read_all();

 private:
  void start_decoding();
  void read_line(size_t line);

  const Picture& picture_;
  std::vector<uint8_t> file_;
  std::vector<uint8_t> rows_;
  exr_context_initializer_t stream_;
  exr_context_t context_ = nullptr;
  exr_decode_pipeline_t pipeline_ = {};
};

}  // namespace orb::bench
