// What the tests of the plug-in share: the library with its module, and pictures between both libraries.
#pragma once

#include <gtest/gtest.h>
#include <openexr_base.h>

#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "oracle.h"
#include "tests/plugins/common/formats.h"

namespace orb::testing {

class ExrTest : public FormatTest {
 protected:
  ExrTest() : FormatTest({EXR_MODULE}) {}
};

enum : uint16_t { kCompression = 2, kSamples = 3 };
inline constexpr int32_t kHalf = 1;

inline constexpr const char* kCompressions[] = {"none",  "rle", "zips", "zip",  "piz",
                                                "pxr24", "b44", "b44a", "dwaa", "dwab"};

// The codec library came to code the two DWA compressions late.
inline bool core_has_dwa() {
  int major = 0;
  int minor = 0;
  exr_get_library_version(&major, &minor, nullptr, nullptr);
  return major > 3 || (major == 3 && minor >= 2);
}

// A sample of a reader's rows as 32 bits; a double as a float's or an integer's.
inline uint32_t sample_bits(const ORB_CHANNELS& group, const void* row, int32_t at, bool is_integer) {
  if (group.type != ORB_C_DOUBLE) return static_cast<const uint32_t*>(row)[at];
  double value = 0;  // rows of doubles may lie at any address
  std::memcpy(&value, static_cast<const char*>(row) + static_cast<size_t>(at) * 8, 8);
  return is_integer ? static_cast<uint32_t>(value) : std::bit_cast<uint32_t>(static_cast<float>(value));
}

}  // namespace orb::testing
